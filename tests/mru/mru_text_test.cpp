// The one-line recipient list text, both ways. The format is defined by
// ECMAScript patterns; std::wregex reads them as written and is the oracle.
#include "mru/mru_text.h"
#include "mru/regex_text.h"

#include <gtest/gtest.h>

#include <random>

namespace {

struct SplitCase {
    const wchar_t* piece;
    const wchar_t* name;
    const wchar_t* number;  // empty: the piece is no recipient
};

class SplitRecipientCases : public ::testing::TestWithParam<SplitCase> {};

TEST_P(SplitRecipientCases, SplitsNameFromTrailingNumber) {
    std::wstring name = L"stale", number = L"stale";
    SplitRecipient(GetParam().piece, name, number);
    EXPECT_EQ(GetParam().number, number) << "piece [" << ::testing::PrintToString(std::wstring(GetParam().piece)) << "]";
    EXPECT_EQ(GetParam().name, name);

    std::wstring regexName, regexNumber;
    regex_text::SplitRecipient(GetParam().piece, regexName, regexNumber);
    EXPECT_EQ(regexNumber, number) << "the patterns themselves disagree";
    EXPECT_EQ(regexName, name);
}

INSTANTIATE_TEST_SUITE_P(
    Pieces, SplitRecipientCases,
    ::testing::Values(
        SplitCase{L"Ann Smith +1-555-0100", L"Ann Smith", L"+1-555-0100"},
        SplitCase{L"555 0100", L"555", L"0100"},  // the name ends at the last space before the number
        SplitCase{L"Ann", L"", L""},
        SplitCase{L"123", L"", L"123"},
        SplitCase{L"   Ann 123", L"Ann", L"123"},      // leading spaces go
        SplitCase{L"Ann 123 ", L"", L""},              // trailing spaces stay, so no number reaches the end
        SplitCase{L"Ann  123", L"Ann ", L"123"},       // only leading spaces are removed from the name
        SplitCase{L"", L"", L""},
        SplitCase{L"    ", L"", L""},
        SplitCase{L"*#+-0", L"", L"*#+-0"},
        SplitCase{L"Fax (555) 0100", L"Fax (555)", L"0100"},
        SplitCase{L"Ann 12a", L"", L""},
        SplitCase{L"Ann\t123", L"", L""},              // only spaces separate
        SplitCase{L"Jos\u00e9 M\u00fcller 4711", L"Jos\u00e9 M\u00fcller", L"4711"},
        SplitCase{L"Ann\n 123", L"", L""},             // a line break does not match the trim pattern
        SplitCase{L"Ann\r 123", L"", L""},             // nor do the other line terminators
        SplitCase{L"Ann\u2028 123", L"", L""},
        SplitCase{L"\u2029Ann 123", L"", L""},
        SplitCase{L"\u2027Ann 123", L"\u2027Ann", L"123"},  // ... but their neighbours do
        SplitCase{L"Ann\v 123", L"Ann\v", L"123"},
        SplitCase{L"  42", L"", L"42"},
        SplitCase{L"A B  C 1 2 3", L"A B  C 1 2", L"3"},
        SplitCase{L"Ann 1-2 3#", L"Ann 1-2", L"3#"},
        SplitCase{L"Ann -", L"Ann", L"-"},              // any run of number characters is a number
        SplitCase{L"\U0001F600 \U0001F600 12", L"\U0001F600 \U0001F600", L"12"},  // surrogate pairs
        SplitCase{L"Ann \uFF11\uFF12", L"", L""}));     // full-width digits are no number characters

// Random short texts over the characters that matter to the patterns and
// their neighbours: both ways must give the same lists, piece by piece.
TEST(TextToLists, AgreesWithTheRegularExpressions) {
    static const std::wstring kAlphabet[] = {
        L"a",          L"Z",      L"0",      L"7",      L"9",      L"+",      L"-",
        L"*",          L"#",      L" ",      L" ",      L" ",      L";",      L";",
        L"\t",         L"\n",     L"\r",     L"\u2028", L"\u2029", L"\u00e9", L"\u4e2d",
        L"\U0001F600", L"\xD800", L"\xDC00", L"(",      L".",      L"\u3000", std::wstring(1, L'\0')};
    std::mt19937 random(20240611);
    std::uniform_int_distribution<size_t> pick(0, std::size(kAlphabet) - 1), length(0, 14);
    for (int i = 0; i < 20000; ++i) {
        std::wstring text;
        for (size_t n = length(random); n > 0; --n) text += kAlphabet[pick(random)];
        const RecipientLists expected = regex_text::TextToLists(text);
        const RecipientLists actual = TextToLists(text);
        ASSERT_EQ(expected.names, actual.names) << ::testing::PrintToString(text);
        ASSERT_EQ(expected.numbers, actual.numbers) << ::testing::PrintToString(text);
    }
}

TEST(ListsToText, JoinsPairsAndSkipsThoseWithoutNumber) {
    EXPECT_EQ(L"123", ListsToText({L"", L"Bob"}, {L"123", L""}));
    EXPECT_EQ(L"Ann 1;2;Cid 3", ListsToText({L"Ann", L"", L"Cid"}, {L"1", L"2", L"3"}));
    EXPECT_EQ(L"Ann 1", ListsToText({L"Ann", L"Extra"}, {L"1"})) << "the longer list's extra elements are ignored";
    EXPECT_EQ(L"", ListsToText({}, {L"1"}));
    EXPECT_EQ(L"", ListsToText({L"A"}, {L""}));
}

// Recipients keep their order, pieces without a number are dropped, and
// well-formed lists survive the round trip.
TEST(ListText, WellFormedListsSurviveTheRoundTrip) {
    const std::vector<std::wstring> names = {L"Ann Smith", L"", L"Bob"}, numbers = {L"+1-555", L"42", L"*7#"};
    const RecipientLists lists = TextToLists(L"  Ann Smith +1-555;;Nobody; 42;Bob *7#");
    EXPECT_EQ(names, lists.names);
    EXPECT_EQ(numbers, lists.numbers);
    const RecipientLists back = TextToLists(ListsToText(names, numbers));
    EXPECT_EQ(names, back.names);
    EXPECT_EQ(numbers, back.numbers);
}

}  // namespace
