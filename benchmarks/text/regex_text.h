// The recipient list text split with std::wregex, exactly as the format's
// patterns read. Only a reference for the benchmark: the
// library's engine recurses per character, so this overflows the stack on
// long pieces.
#pragma once

#include "mru/mru_text.h"

#include <regex>
#include <string>

namespace regex_text {

inline std::wstring RemoveLeadingSpaces(const std::wstring& text) {
    static const std::wregex trim(L"^([ ]*)(.*)([ ]*)$");
    std::wsmatch match;
    return std::regex_match(text, match, trim) ? match.str(2) : std::wstring();
}

inline void SplitRecipient(const std::wstring& piece, std::wstring& name, std::wstring& number) {
    static const std::wregex blank(L"[ ]+");
    static const std::wregex trailingNumber(L" [\\+\\-\\*\\#0-9]+$");
    name.clear();
    number.clear();
    if (piece.empty() || std::regex_match(piece, blank)) return;
    const std::wstring text = L' ' + RemoveLeadingSpaces(piece);
    std::wsmatch match;
    if (!std::regex_search(text, match, trailingNumber)) return;
    number = RemoveLeadingSpaces(match.str(0).substr(1));
    name = RemoveLeadingSpaces(text.substr(0, size_t(match.position(0))));
}

inline RecipientLists TextToLists(const std::wstring& text) {
    RecipientLists lists;
    if (text.empty()) return lists;
    for (size_t start = 0;;) {
        const size_t end = text.find(L';', start);
        std::wstring name, number;
        SplitRecipient(text.substr(start, end == std::wstring::npos ? std::wstring::npos : end - start), name,
                       number);
        if (!number.empty()) {
            lists.names.push_back(std::move(name));
            lists.numbers.push_back(std::move(number));
        }
        if (end == std::wstring::npos) return lists;
        start = end + 1;
    }
}

}  // namespace regex_text
