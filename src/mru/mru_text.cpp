// Recipient list text. The patterns are ECMAScript regular expressions, and
// their quirks are the format's: only leading spaces are removed (the middle
// group of the trim pattern is greedy), and the number must reach the very
// end of a piece.
#include "mru/mru_text.h"

#include <regex>

namespace {

const std::wregex& BlankPattern() {
    static const std::wregex pattern(L"[ ]+");
    return pattern;
}

const std::wregex& TrimPattern() {
    static const std::wregex pattern(L"^([ ]*)(.*)([ ]*)$");
    return pattern;
}

const std::wregex& NumberPattern() {
    static const std::wregex pattern(L" [\\+\\-\\*\\#0-9]+$");
    return pattern;
}

// The text without its leading spaces; a text the pattern does not match
// (one holding a line break) comes back empty.
std::wstring RemoveLeadingSpaces(const std::wstring& text) {
    std::wsmatch match;
    return std::regex_match(text, match, TrimPattern()) ? match.str(2) : std::wstring();
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
    name.clear();
    number.clear();
    if (piece.empty() || std::regex_match(piece, BlankPattern())) return;
    const std::wstring text = L' ' + RemoveLeadingSpaces(piece);
    std::wsmatch match;
    if (!std::regex_search(text, match, NumberPattern())) return;
    number = RemoveLeadingSpaces(match.str(0).substr(1));
    name = RemoveLeadingSpaces(text.substr(0, size_t(match.position(0))));
}

RecipientLists TextToLists(const std::wstring& text) {
    RecipientLists lists;
    if (text.empty()) return lists;
    size_t start = 0;
    for (;;) {
        const size_t end = text.find(L';', start);
        std::wstring name, number;
        SplitRecipient(text.substr(start, end == std::wstring::npos ? std::wstring::npos : end - start), name,
                       number);
        if (!number.empty()) {
            lists.names.push_back(std::move(name));
            lists.numbers.push_back(std::move(number));
        }
        if (end == std::wstring::npos) break;
        start = end + 1;
    }
    return lists;
}
