// Long recipient list texts of an exact length, with the lists they must give.
#pragma once

#include <iterator>
#include <string>
#include <vector>

namespace long_texts {

struct Case {
    std::wstring text;
    std::vector<std::wstring> names;    // expected, in text order
    std::vector<std::wstring> numbers;  // expected, in text order
};

inline constexpr wchar_t kNumber[] = L"+49-30#1*2";

// One recipient whose piece is `length` characters: a name of words and spaces
// (a name ending in a space would be kept so), one space and a number.
inline Case OnePiece(size_t length) {
    const std::wstring number = kNumber;
    const size_t nameLength = length - number.size() - 1;
    std::wstring name;
    name.reserve(nameLength);
    static constexpr wchar_t kWords[] = L"Recipient Ann Smith-Jones ";
    for (size_t i = 0; name.size() < nameLength; ++i) name += kWords[i % (std::size(kWords) - 1)];
    name.back() = L'x';
    return {name + L' ' + number, {name}, {number}};
}

// A whole text of `length` characters made of short pieces: most are
// recipients with leading spaces (removed), every tenth has no number (dropped),
// and the last one fills the text up to the length.
inline Case ManyPieces(size_t length) {
    Case result;
    result.text.reserve(length);
    for (size_t i = 0;; ++i) {
        const std::wstring name = L"R" + std::to_wstring(i);
        const std::wstring number = L"+" + std::to_wstring(1000 + i);
        const std::wstring piece = i % 10 == 9 ? L"no number " + name : L"  " + name + L' ' + number;
        if (result.text.size() + piece.size() + 1 + 40 > length) break;
        result.text += piece + L';';
        if (i % 10 != 9) {
            result.names.push_back(name);
            result.numbers.push_back(number);
        }
    }
    const std::wstring last = L"Last";
    const std::wstring filler(length - result.text.size() - last.size() - 3, L'z');
    result.text += last + filler + L" 99";
    result.names.push_back(last + filler);
    result.numbers.push_back(L"99");
    return result;
}

inline Case Make(const std::wstring& shape, size_t length) {
    return shape == L"text" ? ManyPieces(length) : OnePiece(length);
}

}  // namespace long_texts
