// Recipient list text. The format is defined by two ECMAScript regular
// expressions, and their quirks are the format's: only leading spaces are
// removed (the middle group of "^([ ]*)(.*)([ ]*)$" is greedy), a piece holding
// a line terminator does not match that pattern at all, and the number of
// " [\+\-\*\#0-9]+$" must reach the very end of a piece.
//
// The patterns are matched by hand rather than with std::wregex: the
// library's engine recurses once per input character for them, so one long
// piece overflowed the caller's stack and took the host process down. The
// code below needs constant stack and linear time; the tests keep
// std::wregex as the oracle for the exact semantics.
#include "mru/mru_text.h"

#include <algorithm>
#include <string_view>

namespace {

// The characters ECMAScript's "." does not match.
bool IsLineTerminator(wchar_t c) {
    return c == L'\n' || c == L'\r' || c == L'\u2028' || c == L'\u2029';
}

bool IsNumberCharacter(wchar_t c) {
    return (c >= L'0' && c <= L'9') || c == L'+' || c == L'-' || c == L'*' || c == L'#';
}

// Group 2 of "^([ ]*)(.*)([ ]*)$": the text without its leading spaces
// (greedy middle group: trailing spaces stay). A text holding a line
// terminator does not match, and comes back empty.
std::wstring_view RemoveLeadingSpaces(std::wstring_view text) {
    if (std::any_of(text.begin(), text.end(), IsLineTerminator)) return {};
    const size_t first = text.find_first_not_of(L' ');
    return first == std::wstring_view::npos ? std::wstring_view() : text.substr(first);
}

// Searches " [\+\-\*\#0-9]+$" in " " + text and returns where the match's
// run of number characters starts in text, or npos when there is no match.
// "$" is the end of the input, so a match must hold the text's whole trailing
// run of number characters: the leftmost match starts at the space right
// before that run, and there is none when the run is empty or is preceded by
// anything but a space (the space put in front counts).
size_t FindTrailingNumber(std::wstring_view text) {
    size_t run = text.size();
    while (run > 0 && IsNumberCharacter(text[run - 1])) --run;
    if (run == text.size() || (run > 0 && text[run - 1] != L' ')) return std::wstring_view::npos;
    return run;
}

void Split(std::wstring_view piece, std::wstring& name, std::wstring& number) {
    name.clear();
    number.clear();
    // A piece of spaces only comes back empty and holds no number.
    const std::wstring_view text = RemoveLeadingSpaces(piece);
    const size_t run = FindTrailingNumber(text);
    if (run == std::wstring_view::npos) return;
    number = RemoveLeadingSpaces(text.substr(run));
    // The name is what precedes the match's space; the space put in front
    // only matters to the leading-space removal, which drops it again.
    name = RemoveLeadingSpaces(text.substr(0, run == 0 ? 0 : run - 1));
}

}  // namespace

std::wstring ListsToText(const std::vector<std::wstring>& names, const std::vector<std::wstring>& numbers) {
    std::wstring text;
    for (size_t i = 0; i < names.size() && i < numbers.size(); ++i) {
        if (numbers[i].empty()) continue;
        if (!text.empty()) text += L';';
        if (!names[i].empty()) text += names[i] + L' ';
        text += numbers[i];
    }
    return text;
}

void SplitRecipient(const std::wstring& piece, std::wstring& name, std::wstring& number) {
    Split(piece, name, number);
}

RecipientLists TextToLists(const std::wstring& text) {
    RecipientLists lists;
    if (text.empty()) return lists;
    const std::wstring_view all = text;
    size_t start = 0;
    for (;;) {
        const size_t end = all.find(L';', start);
        std::wstring name, number;
        Split(all.substr(start, end == std::wstring_view::npos ? std::wstring_view::npos : end - start), name,
              number);
        if (!number.empty()) {
            lists.names.push_back(std::move(name));
            lists.numbers.push_back(std::move(number));
        }
        if (end == std::wstring_view::npos) break;
        start = end + 1;
    }
    return lists;
}
