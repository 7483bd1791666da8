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
    CRecipient Added(const wchar_t* id, const wchar_t* name, const wchar_t* fax) {
        CRecipient r = Record(id, name, fax);
        EXPECT_EQ(S_OK, m_book.Add(r));
        return r;
    }
    RecipientList LoadAll() {
        RecipientList all;
        EXPECT_EQ(S_OK, m_book.LoadAll(all));
        return all;
    }
    static std::vector<std::wstring> Names(const RecipientList& list) {
        std::vector<std::wstring> names;
        for (const CRecipient& r : list) names.push_back(r.name);
        return names;
    }
    static DWORD Favorite(const wchar_t* subkey) {
        return *reinterpret_cast<const DWORD*>(ReadMRUValue(subkey, L"Favorite")->bytes.data());
    }
    CMRUAB m_book;
};

// The store is created by the first save and read back by a fresh object.
TEST_F(MRUBookTest, AddWritesThePublishedLayoutThatReadsBack) {
    EXPECT_TRUE(LoadAll().empty()) << "a missing store reads as empty";
    EXPECT_EQ(S_OK, m_book.Connect());
    CRecipient ann = Record(L"X", L"Ann", L"+1 (555) 0100;9");
    ann.favorite = true;
    ann.date = SYSTEMTIME{2026, 11, 6, 20, 14, 30, 15, 250};
    ann.spare[CRecipient::Company] = L"not stored";
    ASSERT_EQ(S_OK, m_book.Add(ann));
    EXPECT_EQ(1u, ann.key);

    ASSERT_EQ(std::vector<std::wstring>{L"00"}, MRUSubkeys());
    for (auto [name, text] : {std::pair{L"ID", L"X"}, {L"Name", L"Ann"}, {L"Fax", L"+1 (555) 0100;9"}}) {
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
    EXPECT_EQ(DWORD(REG_DWORD), ReadMRUValue(L"00", L"Favorite")->type);
    EXPECT_EQ(1u, Favorite(L"00"));

    CMRUAB other;
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

// An entry without a Fax value is skipped; the first missing position ends
// the list; values of the wrong type read as empty (a Fax value of any type
// keeps its entry).
TEST_F(MRUBookTest, ReadingSkipsEntriesWithoutFaxAndStopsAtAGap) {
    WriteRawMRUEntry(L"00", L"a", L"A", nullptr);
    WriteRawMRUEntry(L"01", L"b", L"B", L"2");
    WriteRawMRUEntry(L"02", L"c", nullptr, nullptr);
    const DWORD number = 42;
    WriteMRUValue(L"02", L"Name", REG_DWORD, &number, sizeof number);
    WriteMRUValue(L"02", L"Fax", REG_EXPAND_SZ, L"%PATH%", 14);
    WriteRawMRUEntry(L"04", L"e", L"E", L"5");
    const RecipientList all = LoadAll();
    EXPECT_EQ((std::vector<std::wstring>{L"B", L""}), Names(all));
    ASSERT_EQ(2u, all.size());
    EXPECT_EQ(L"", all.back().faxNumber);
    EXPECT_EQ(L"c", all.back().identifier);
}

TEST_F(MRUBookTest, TextsOf2047CharactersRoundTripLongerOnesDoNot) {
    const std::wstring longest(2047, L'n'), tooLong(2048, L'n');
    Added(L"fits", longest.c_str(), longest.c_str());
    Added(L"over", tooLong.c_str(), L"5");
    Added(L"nofax", L"N", tooLong.c_str());

    const RecipientList all = LoadAll();
    ASSERT_EQ(2u, all.size()) << "a Fax value too long to read drops its entry";
    EXPECT_EQ(longest, all.front().name);
    EXPECT_EQ(longest, all.front().faxNumber);
    EXPECT_EQ(L"", all.back().name) << "a name too long to read whole reads as empty";
}

TEST_F(MRUBookTest, DeletingRenumbersTheStoreFromZero) {
    const CRecipient a = Added(L"a", L"A", L"1");
    Added(L"b", L"B", L"2");
    ASSERT_EQ(S_OK, m_book.Delete(ULONG(a.key)));
    EXPECT_EQ(std::vector<std::wstring>{L"00"}, MRUSubkeys());
    EXPECT_EQ(L"b", ReadMRUValue(L"00", L"ID")->text());
    EXPECT_EQ(E_FAIL, m_book.Delete(ULONG(a.key))) << "already gone";
}

TEST_F(MRUBookTest, The101stEntryIsWrittenUnder100) {
    for (int i = 0; i < 101; ++i) Added(std::to_wstring(i).c_str(), L"N", L"1");
    const auto subkeys = MRUSubkeys();
    ASSERT_EQ(101u, subkeys.size());
    EXPECT_TRUE(std::count(subkeys.begin(), subkeys.end(), L"09"));
    EXPECT_EQ(L"100", ReadMRUValue(L"100", L"ID")->text());
    EXPECT_EQ(101u, LoadAll().size());
}

TEST_F(MRUBookTest, GetAndModifyWorkByKeyAndModifyMayRelabel) {
    const CRecipient a = Added(L"a", L"A", L"1"), b = Added(L"b", L"B", L"2");
    CRecipient read;
    ASSERT_EQ(S_OK, m_book.Get(ULONG(b.key), read));
    EXPECT_EQ(L"B", read.name);
    EXPECT_EQ(b.key, read.key);

    read.name = L"Bea";
    read.favorite = true;
    ASSERT_EQ(S_OK, m_book.Modify(ULONG(b.key), read));
    EXPECT_EQ(L"Bea", ReadMRUValue(L"01", L"Name")->text());
    EXPECT_EQ(1u, Favorite(L"01"));
    EXPECT_EQ(L"A", ReadMRUValue(L"00", L"Name")->text()) << "the other entry is untouched";

    // The record's identifier is taken as it stands.
    ASSERT_EQ(S_OK, m_book.Modify(ULONG(a.key), Record(L"z", L"A", L"1")));
    EXPECT_EQ(L"z", ReadMRUValue(L"00", L"ID")->text());
    EXPECT_EQ(E_FAIL, m_book.Get(ULONG(a.key), read)) << "the old key's identifier is gone";

    // Keys never handed out find nothing, and key 0 no entry with an identifier.
    EXPECT_EQ(E_FAIL, m_book.Get(77, read));
    EXPECT_EQ(E_FAIL, m_book.Modify(77, a));
    EXPECT_EQ(E_FAIL, m_book.Delete(77));
    EXPECT_EQ(E_FAIL, m_book.Get(0, read));
    EXPECT_EQ((std::vector<std::wstring>{L"00", L"01"}), MRUSubkeys());
}

TEST_F(MRUBookTest, AnEntryAddedWithoutIdentifierIsNeverOffered) {
    EXPECT_EQ(0u, Added(L"", L"Anon", L"555").key);
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

namespace {

// Another writer (another process's UpdateMRU, here a second book) saves
// between this book's load and its own change: add, delete and modify each
// keep what the other wrote.
TEST_F(MRUBookTest, AChangeKeepsWhatAnotherWriterSavedSinceTheLastLoad) {
    Added(L"a", L"Ann", L"111");
    ASSERT_EQ(S_OK, m_book.Connect());
    CMRUAB other;
    ASSERT_EQ(S_OK, other.Connect());

    CRecipient bea = Record(L"b", L"Bea", L"222");
    ASSERT_EQ(S_OK, other.Add(bea));
    Added(L"c", L"Cid", L"333");
    EXPECT_EQ(Names(LoadAll()), (std::vector<std::wstring>{L"Ann", L"Bea", L"Cid"})) << "add";

    CRecipient dora = Record(L"d", L"Dora", L"444");
    ASSERT_EQ(S_OK, other.Add(dora));
    // Keys are this book's own: Bea's is taken from her identifier.
    ASSERT_EQ(S_OK, m_book.Delete(ULONG(m_book.KeyFromIdentifier(L"b"))));
    EXPECT_EQ(Names(LoadAll()), (std::vector<std::wstring>{L"Ann", L"Cid", L"Dora"})) << "delete";

    CRecipient eva = Record(L"e", L"Eva", L"555");
    ASSERT_EQ(S_OK, other.Add(eva));
    CRecipient ann;
    ASSERT_EQ(S_OK, m_book.Get(ULONG(m_book.KeyFromIdentifier(L"a")), ann));
    ann.name = L"Anna";
    ASSERT_EQ(S_OK, m_book.Modify(ULONG(ann.key), ann));
    EXPECT_EQ(Names(LoadAll()), (std::vector<std::wstring>{L"Anna", L"Cid", L"Dora", L"Eva"})) << "modify";
}

}  // namespace
