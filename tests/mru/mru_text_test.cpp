// The one-line recipient list text, both ways: literal pieces, texts and lists
// with what they must give.
#include "mru/mru_text.h"

#include <gtest/gtest.h>

namespace {

using Texts = std::vector<std::wstring>;

// A piece and the name and number it splits into (no number: no recipient).
TEST(RecipientText, SplitsAPieceIntoNameAndTrailingNumber) {
    const wchar_t* const cases[][3] = {
        {L"Ann Smith +1-555-0100", L"Ann Smith", L"+1-555-0100"},
        {L"555 0100", L"555", L"0100"},  // the name ends at the last space before the number
        {L"Ann", L"", L""},
        {L"123", L"", L"123"},
        {L"   Ann 123", L"Ann", L"123"},  // leading spaces go
        {L"Ann 123 ", L"", L""},          // trailing spaces stay, so no number reaches the end
        {L"Ann  123", L"Ann ", L"123"},   // only leading spaces leave the name
        {L"", L"", L""},
        {L"    ", L"", L""},
        {L"  42", L"", L"42"},
        {L"*#+-0", L"", L"*#+-0"},
        {L"Ann -", L"Ann", L"-"},  // any run of number characters is a number
        {L"Fax (555) 0100", L"Fax (555)", L"0100"},
        {L"A B  C 1 2 3", L"A B  C 1 2", L"3"},
        {L"Ann 12a", L"", L""},
        {L"Ann\t123", L"", L""},  // only a space separates
        {L"Ann \uFF11\uFF12", L"", L""},  // full-width digits are no number characters
        {L"Jos\u00e9 M\u00fcller 4711", L"Jos\u00e9 M\u00fcller", L"4711"},
        // The trimming pattern's "." stops at line terminators, and only at them.
        {L"Ann\n 123", L"", L""},
        {L"Ann\r 123", L"", L""},
        {L"Ann\u2028 123", L"", L""},
        {L"\u2029Ann 123", L"", L""},
        {L"\u2027Ann 123", L"\u2027Ann", L"123"},
        {L"Ann\v 123", L"Ann\v", L"123"},
        {L"\U0001F600 \U0001F600 12", L"\U0001F600 \U0001F600", L"12"},
    };
    for (const auto& [piece, name, number] : cases) {
        std::wstring gotName = L"stale", gotNumber = L"stale";
        SplitRecipient(piece, gotName, gotNumber);
        EXPECT_EQ(number, gotNumber) << testing::PrintToString(std::wstring(piece));
        EXPECT_EQ(name, gotName) << testing::PrintToString(std::wstring(piece));
    }
}

struct Case {
    std::wstring text;
    Texts names, numbers;
};

// Texts and the lists they give (long ones: the small-stack test of MRUList).
TEST(RecipientText, TextGivesTheListsOfItsRecipients) {
    const Case cases[] = {
        {L"", {}, {}},
        {L";", {}, {}},
        {L"  Ann Smith +1-555;;Nobody; 42;Bob *7#", {L"Ann Smith", L"", L"Bob"}, {L"+1-555", L"42", L"*7#"}},
        {L"A 1;A 1", {L"A", L"A"}, {L"1", L"1"}},
        {L"A 1;", {L"A"}, {L"1"}},
        {std::wstring(L"A 1\0B 2", 7), {std::wstring(L"A 1\0B", 5)}, {L"2"}},  // a null is text like any other
    };
    for (const Case& c : cases) {
        const RecipientLists lists = TextToLists(c.text);
        EXPECT_TRUE(c.names == lists.names) << testing::PrintToString(c.text.substr(0, 60));
        EXPECT_TRUE(c.numbers == lists.numbers) << testing::PrintToString(c.text.substr(0, 60));
    }
}

TEST(RecipientText, ListsGiveTheText) {
    const Case cases[] = {
        {L"123", {L"", L"Bob"}, {L"123", L""}},
        {L"Ann 1;2;Cid 3", {L"Ann", L"", L"Cid"}, {L"1", L"2", L"3"}},
        {L"Ann 1", {L"Ann", L"Extra"}, {L"1"}},  // the longer list's extra elements are ignored
        {L"Ann 1", {L"Ann"}, {L"1", L"2"}},
        {L"", {}, {L"1"}},
        {L"", {L"A"}, {L""}},
        {L"Ann Smith  +1", {L"Ann Smith "}, {L"+1"}},  // no trimming on the way out
    };
    for (const Case& c : cases) EXPECT_EQ(c.text, ListsToText(c.names, c.numbers));
}

}  // namespace
