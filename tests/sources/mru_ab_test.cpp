// The MRU book over the real registry: the store's layout, its reading
// quirks and the operations of the address-book interface.
#include "sources/mru_ab.h"
#include "support/mru_fixture.h"

using namespace testing_support;

namespace {

class MRUBookTest : public MRUStoreTest {
protected:
    static CRecipient Record(const wchar_t* id, const wchar_t* name, const wchar_t* fax) {
        CRecipient r;
        r.identifier = id;
        r.name = name;
        r.faxNumber = fax;
        return r;
    }
    RecipientList LoadAll() {
        RecipientList all;
        EXPECT_EQ(S_OK, m_book.LoadAll(all));
        return all;
    }
    CMRUAB m_book;
};

TEST_F(MRUBookTest, AddWritesThePublishedLayout) {
    CRecipient ann = Record(L"X", L"Ann", L"123");
    ann.favorite = true;
    ann.date = SYSTEMTIME{2026, 11, 6, 20, 14, 30, 15, 250};
    ASSERT_EQ(S_OK, m_book.Add(ann));
    EXPECT_EQ(1u, ann.key);
    EXPECT_EQ(L"X", ann.identifier);

    ASSERT_EQ(std::vector<std::wstring>{L"00"}, MRUSubkeys());
    for (auto [name, text] : {std::pair{L"ID", L"X"}, {L"Name", L"Ann"}, {L"Fax", L"123"}}) {
        const auto value = ReadMRUValue(L"00", name);
        ASSERT_TRUE(value) << name;
        EXPECT_EQ(DWORD(REG_SZ), value->type) << name;
        EXPECT_EQ((wcslen(text) + 1) * sizeof(wchar_t), value->bytes.size()) << name << ": with its terminating zero";
        EXPECT_EQ(text, value->text());
    }
    const auto date = ReadMRUValue(L"00", L"Date");
    ASSERT_TRUE(date);
    EXPECT_EQ(DWORD(REG_BINARY), date->type);
    ASSERT_EQ(16u, date->bytes.size());
    EXPECT_EQ(0, memcmp(&ann.date, date->bytes.data(), 16)) << "the caller's date is what is stored";
    const auto favorite = ReadMRUValue(L"00", L"Favorite");
    ASSERT_TRUE(favorite);
    EXPECT_EQ(DWORD(REG_DWORD), favorite->type);
    EXPECT_EQ(1u, *reinterpret_cast<const DWORD*>(favorite->bytes.data()));
}

TEST_F(MRUBookTest, RecordsRoundTripThroughTheStore) {
    CRecipient ann = Record(L"X", L"Ann", L"+1 (555) 0100;9");
    ann.favorite = true;
    ann.date = SYSTEMTIME{2025, 2, 1, 3, 4, 5, 6, 7};
    ann.spare[CRecipient::Company] = L"not stored";
    ASSERT_EQ(S_OK, m_book.Add(ann));

    CMRUAB other;  // a fresh object reads what the first one wrote
    RecipientList all;
    ASSERT_EQ(S_OK, other.LoadAll(all));
    ASSERT_EQ(1u, all.size());
    const CRecipient& read = all.front();
    EXPECT_EQ(1u, read.key);
    EXPECT_EQ(L"X", read.identifier);
    EXPECT_EQ(L"Ann", read.name);
    EXPECT_EQ(L"+1 (555) 0100;9", read.faxNumber) << "numbers are never normalised";
    EXPECT_TRUE(read.favorite);
    EXPECT_EQ(0, memcmp(&ann.date, &read.date, sizeof(SYSTEMTIME)));
    EXPECT_TRUE(read.spare[CRecipient::Company].empty());
}

TEST_F(MRUBookTest, TheFirstMissingPositionEndsTheList) {
    WriteRawMRUEntry(L"00", L"a", L"A", L"1");
    WriteRawMRUEntry(L"01", L"b", L"B", L"2");
    WriteRawMRUEntry(L"03", L"d", L"D", L"4");
    const RecipientList all = LoadAll();
    ASSERT_EQ(2u, all.size());
    EXPECT_EQ(L"B", all.back().name);
}

TEST_F(MRUBookTest, AnEntryWithoutFaxIsSkippedAndReadingGoesOn) {
    WriteRawMRUEntry(L"00", L"a", L"A", nullptr);
    WriteRawMRUEntry(L"01", L"b", L"B", L"2");
    const RecipientList all = LoadAll();
    ASSERT_EQ(1u, all.size());
    EXPECT_EQ(L"B", all.front().name);
}

TEST_F(MRUBookTest, ValuesOfTheWrongTypeReadAsEmpty) {
    WriteRawMRUEntry(L"00", L"a", nullptr, nullptr);
    const DWORD number = 42;
    WriteMRUValue(L"00", L"Name", REG_DWORD, &number, sizeof number);
    WriteMRUValue(L"00", L"Fax", REG_EXPAND_SZ, L"%PATH%", 14);
    const RecipientList all = LoadAll();
    ASSERT_EQ(1u, all.size()) << "a Fax value of any type keeps the entry";
    EXPECT_EQ(L"", all.front().name);
    EXPECT_EQ(L"", all.front().faxNumber);
    EXPECT_EQ(L"a", all.front().identifier);
}

TEST_F(MRUBookTest, MissingStoreReadsAsEmptyAndIsCreatedByTheFirstSave) {
    EXPECT_TRUE(LoadAll().empty());
    EXPECT_EQ(S_OK, m_book.Connect());
    CRecipient bob = Record(L"B", L"Bob", L"9");
    ASSERT_EQ(S_OK, m_book.Add(bob));
    EXPECT_EQ(1u, LoadAll().size());
}

TEST_F(MRUBookTest, TextsOf2047CharactersRoundTripLongerOnesDoNot) {
    const std::wstring longest(2047, L'n'), tooLong(2048, L'n');
    CRecipient fits = Record(L"fits", longest.c_str(), longest.c_str());
    ASSERT_EQ(S_OK, m_book.Add(fits));
    CRecipient overflows = Record(L"over", tooLong.c_str(), L"5");
    ASSERT_EQ(S_OK, m_book.Add(overflows));
    CRecipient noFax = Record(L"nofax", L"N", tooLong.c_str());
    ASSERT_EQ(S_OK, m_book.Add(noFax));

    const RecipientList all = LoadAll();
    ASSERT_EQ(2u, all.size()) << "a Fax value too long to read drops its entry";
    EXPECT_EQ(longest, all.front().name);
    EXPECT_EQ(longest, all.front().faxNumber);
    EXPECT_EQ(L"", all.back().name) << "a name too long to read whole reads as empty";
}

TEST_F(MRUBookTest, DeletingRenumbersTheStoreFromZero) {
    CRecipient a = Record(L"a", L"A", L"1"), b = Record(L"b", L"B", L"2");
    ASSERT_EQ(S_OK, m_book.Add(a));
    ASSERT_EQ(S_OK, m_book.Add(b));
    ASSERT_EQ(S_OK, m_book.Delete(ULONG(a.key)));
    EXPECT_EQ(std::vector<std::wstring>{L"00"}, MRUSubkeys());
    EXPECT_EQ(L"b", ReadMRUValue(L"00", L"ID")->text());
    EXPECT_EQ(E_FAIL, m_book.Delete(ULONG(a.key))) << "already gone";
}

TEST_F(MRUBookTest, The101stEntryIsWrittenUnder100) {
    for (int i = 0; i < 101; ++i) {
        CRecipient r = Record(std::to_wstring(i).c_str(), L"N", L"1");
        ASSERT_EQ(S_OK, m_book.Add(r));
    }
    const auto subkeys = MRUSubkeys();
    ASSERT_EQ(101u, subkeys.size());
    EXPECT_TRUE(std::count(subkeys.begin(), subkeys.end(), L"100"));
    EXPECT_TRUE(std::count(subkeys.begin(), subkeys.end(), L"09"));
    EXPECT_EQ(L"100", ReadMRUValue(L"100", L"ID")->text());
    EXPECT_EQ(101u, LoadAll().size());
}

TEST_F(MRUBookTest, GetAndModifyWorkByKey) {
    CRecipient a = Record(L"a", L"A", L"1"), b = Record(L"b", L"B", L"2");
    ASSERT_EQ(S_OK, m_book.Add(a));
    ASSERT_EQ(S_OK, m_book.Add(b));

    CRecipient read;
    ASSERT_EQ(S_OK, m_book.Get(ULONG(b.key), read));
    EXPECT_EQ(L"B", read.name);
    EXPECT_EQ(b.key, read.key);

    read.name = L"Bea";
    read.favorite = true;
    ASSERT_EQ(S_OK, m_book.Modify(ULONG(b.key), read));
    EXPECT_EQ(L"Bea", ReadMRUValue(L"01", L"Name")->text());
    EXPECT_EQ(1u, *reinterpret_cast<const DWORD*>(ReadMRUValue(L"01", L"Favorite")->bytes.data()));
    EXPECT_EQ(L"A", ReadMRUValue(L"00", L"Name")->text()) << "the other entry is untouched";
}

TEST_F(MRUBookTest, ModifyWithAnotherIdentifierRelabelsTheEntry) {
    CRecipient a = Record(L"a", L"A", L"1");
    ASSERT_EQ(S_OK, m_book.Add(a));
    CRecipient relabelled = Record(L"z", L"A", L"1");
    ASSERT_EQ(S_OK, m_book.Modify(ULONG(a.key), relabelled));
    EXPECT_EQ(L"z", ReadMRUValue(L"00", L"ID")->text());
    CRecipient read;
    EXPECT_EQ(E_FAIL, m_book.Get(ULONG(a.key), read)) << "the old key's identifier is gone";
}

TEST_F(MRUBookTest, KeysThatWereNeverHandedOutFindNothing) {
    CRecipient a = Record(L"a", L"A", L"1");
    ASSERT_EQ(S_OK, m_book.Add(a));
    CRecipient read;
    EXPECT_EQ(E_FAIL, m_book.Get(77, read));
    EXPECT_EQ(E_FAIL, m_book.Modify(77, a));
    EXPECT_EQ(E_FAIL, m_book.Delete(77));
    EXPECT_EQ(E_FAIL, m_book.Get(0, read)) << "no entry without an identifier";
    EXPECT_EQ(std::vector<std::wstring>{L"00"}, MRUSubkeys());
}

TEST_F(MRUBookTest, AnEntryAddedWithoutIdentifierIsNeverOffered) {
    CRecipient anonymous = Record(L"", L"Anon", L"555");
    ASSERT_EQ(S_OK, m_book.Add(anonymous));
    EXPECT_EQ(0u, anonymous.key);
    RecipientList fax;
    ASSERT_EQ(S_OK, m_book.LoadFaxRecipients(fax));
    EXPECT_TRUE(fax.empty());
    CRecipient read;
    EXPECT_EQ(S_OK, m_book.Get(0, read)) << "key 0 finds the first entry without an identifier";
    EXPECT_EQ(L"Anon", read.name);
}

TEST_F(MRUBookTest, KeysStayStableAcrossReloadsAndOrderChanges) {
    WriteRawMRUEntry(L"00", L"a", L"A", L"1");
    WriteRawMRUEntry(L"01", L"b", L"B", L"2");
    const RecipientList first = LoadAll();
    WriteRawMRUEntry(L"00", L"b", L"B", L"2");
    WriteRawMRUEntry(L"01", L"a", L"A", L"1");
    const RecipientList second = LoadAll();
    EXPECT_EQ(first.front().key, second.back().key);
    EXPECT_EQ(first.back().key, second.front().key);
}

}  // namespace
