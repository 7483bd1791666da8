// Names for recipients without one: the first of base, base1, base2, ...
// that no record carries, compared exactly.
#include "core/unique_name.h"

#include <gtest/gtest.h>

#include <random>

namespace {

RecipientList Named(std::initializer_list<const wchar_t*> names) {
    RecipientList records;
    for (const wchar_t* name : names) {
        CRecipient r;
        r.name = name;
        records.push_back(r);
    }
    return records;
}

// The rule as it reads: try the candidates in order.
std::wstring FirstFreeByTrying(const std::wstring& base, const RecipientList& records) {
    for (unsigned round = 0;; ++round)
        if (!HasRecordNamed(records, NameCandidate(base, round))) return NameCandidate(base, round);
}

TEST(UniqueNameTest, TakesTheFirstCandidateNoRecordHas) {
    const std::wstring base = L"New Recipient";
    struct Case {
        std::initializer_list<const wchar_t*> names;
        const wchar_t* expected;
    };
    const Case cases[] = {
        {{}, L"New Recipient"},
        {{L"Ann", L"New Recipient1"}, L"New Recipient"},
        {{L"New Recipient", L"New Recipient1"}, L"New Recipient2"},
        {{L"New Recipient", L"New Recipient2"}, L"New Recipient1"},
        {{L"New Recipient", L"new recipient1", L"New Recipient 1"}, L"New Recipient1"},
        {{L"New Recipient", L"New Recipient01", L"New Recipient+1"}, L"New Recipient1"},
        {{L"New Recipient", L"New Recipient1", L"New Recipient1"}, L"New Recipient2"},
        {{L"New Recipient", L"New Recipient99999999999"}, L"New Recipient1"},
    };
    for (const Case& c : cases) {
        const RecipientList records = Named(c.names);
        EXPECT_EQ(c.expected, UniqueRecipientName(base, records));
        EXPECT_EQ(FirstFreeByTrying(base, records), UniqueRecipientName(base, records));
    }
}

TEST(UniqueNameTest, AgreesWithTryingEveryCandidateOnRandomBooks) {
    std::mt19937 random(20261122);
    const std::wstring base = L"N";
    const wchar_t* shapes[] = {L"N", L"N%u", L"N0%u", L"n%u", L"N%u ", L"X%u"};
    for (int book = 0; book < 500; ++book) {
        RecipientList records;
        const int size = int(random() % 12);
        for (int i = 0; i < size; ++i) {
            wchar_t name[32];
            swprintf(name, 32, shapes[random() % 6], unsigned(random() % 8));
            CRecipient r;
            r.name = name;
            records.push_back(r);
        }
        ASSERT_EQ(FirstFreeByTrying(base, records), UniqueRecipientName(base, records)) << "book " << book;
    }
}

}  // namespace
