// The MRU book over the real registry: the store's layout and reading rules,
// the operations of the address-book interface, and the change watch.
#include "sources/mru_ab.h"
#include "support/control_host.h"
#include "support/mru_fixture.h"

using namespace testing_support;

namespace {

class MRUBookTest : public MRUStoreTest {
protected:
    CRecipient Added(const wchar_t* id, const std::wstring& name, const wchar_t* fax, CMRUAB* book = nullptr) {
        CRecipient r;
        std::tie(r.identifier, r.name, r.faxNumber) = std::tuple(id, name, fax);
        EXPECT_EQ(S_OK, (book ? book : &m_book)->Add(r));
        return r;
    }
    std::vector<std::wstring> Names() {
        RecipientList all;
        EXPECT_EQ(S_OK, m_book.LoadAll(all));
        std::vector<std::wstring> names;
        for (const CRecipient& r : all) names.push_back(r.name);
        return names;
    }
    static std::vector<BYTE> Bytes(const void* data, size_t size) {
        return std::vector<BYTE>(static_cast<const BYTE*>(data), static_cast<const BYTE*>(data) + size);
    }
    CMRUAB m_book;
};

TEST_F(MRUBookTest, AddWritesTheLayoutThatAFreshBookReadsBack) {
    EXPECT_TRUE(Names().empty()) << "a missing store reads as empty";
    CRecipient ann;
    std::tie(ann.identifier, ann.name, ann.faxNumber, ann.favorite) = std::tuple(L"X", L"Ann", L"+1 (555) 0100;9", true);
    ann.date = SYSTEMTIME{2026, 11, 6, 20, 14, 30, 15, 250};
    ASSERT_EQ(S_OK, m_book.Add(ann));
    EXPECT_EQ(1u, ann.key);
    ASSERT_EQ(std::vector<std::wstring>{L"00"}, MRUSubkeys());
    const DWORD one = 1;
    const std::tuple<const wchar_t*, DWORD, std::vector<BYTE>> layout[] = {
        {L"ID", REG_SZ, Bytes(L"X", 4)}, {L"Name", REG_SZ, Bytes(L"Ann", 8)},
        {L"Fax", REG_SZ, Bytes(L"+1 (555) 0100;9", 32)}, {L"Date", REG_BINARY, Bytes(&ann.date, 16)},
        {L"Favorite", REG_DWORD, Bytes(&one, 4)}};
    for (const auto& [name, type, bytes] : layout) {
        const auto value = ReadMRUValue(L"00", name).value_or(RawValue{});
        EXPECT_EQ(std::tie(type, bytes), std::tie(value.type, value.bytes)) << name;
    }
    CMRUAB other;
    RecipientList all;
    ASSERT_EQ(S_OK, other.LoadAll(all));
    ASSERT_EQ(1u, all.size());
    const CRecipient& read = all.front();
    EXPECT_EQ(std::tie(ann.key, ann.identifier, ann.name, ann.faxNumber, ann.favorite),
              std::tie(read.key, read.identifier, read.name, read.faxNumber, read.favorite));
    EXPECT_EQ(Bytes(&ann.date, 16), Bytes(&read.date, 16));
}

// An entry without a Fax value is skipped, the first missing position ends
// the list; values of another type, or too long to read, read as empty (a
// Fax value too long to read drops its entry).
TEST_F(MRUBookTest, ReadingSkipsEntriesWithoutFaxStopsAtAGapAndTakesOnlyTexts) {
    const std::wstring longest(2047, L'n'), tooLong(2048, L'n');
    const DWORD number = 42;
    WriteRawMRUEntry(L"00", L"a", L"A", nullptr);
    WriteRawMRUEntry(L"01", L"b", longest.c_str(), longest.c_str());
    WriteRawMRUEntry(L"02", L"c", nullptr, nullptr);
    WriteMRUValue(L"02", L"Name", REG_DWORD, &number, sizeof number);
    WriteMRUValue(L"02", L"Fax", REG_EXPAND_SZ, L"%PATH%", 14);
    WriteRawMRUEntry(L"03", L"d", tooLong.c_str(), L"4");
    WriteRawMRUEntry(L"04", L"e", L"E", tooLong.c_str());
    WriteRawMRUEntry(L"06", L"g", L"G", L"6");
    RecipientList all;
    ASSERT_EQ(S_OK, m_book.LoadAll(all));
    std::vector<std::wstring> read;
    for (const CRecipient& r : all) read.insert(read.end(), {r.identifier, r.name, r.faxNumber});
    EXPECT_EQ((std::vector<std::wstring>{L"b", longest, longest, L"c", L"", L"", L"d", L"", L"4"}), read);
}

// What is saved is what the next load reads: a text longer than a read
// takes (2047 characters) is stored cut there, never whole and then lost; a
// cut does not split a surrogate pair.
TEST_F(MRUBookTest, TextsLongerThanAReadTakesAreSavedCut) {
    const std::wstring n2047(2047, L'n'), n3000(3000, L'n'), f2048(2048, L'5');
    const std::wstring pairAtTheCut = std::wstring(2046, L'p') + L"\U0001F4E0" + L"p";
    MRUEntryList saved(1);
    for (const auto& [name, fax, readName, readFax] :
         {std::tuple{n2047, f2048, n2047, std::wstring(2047, L'5')}, {n3000, std::wstring(L"1"), n2047, std::wstring(L"1")},
          {pairAtTheCut, std::wstring(L"2"), std::wstring(2046, L'p'), std::wstring(L"2")}}) {
        saved.front().identifier = L"id";
        saved.front().name = name;
        saved.front().faxNumber = fax;
        SaveMRUStore(saved);
        MRUEntryList read;
        LoadMRUStore(read);
        ASSERT_EQ(1u, read.size()) << "the entry was lost";
        // Not compared by EXPECT_EQ, so that a failure does not print 2,000 characters.
        EXPECT_TRUE(read.front().name == readName) << read.front().name.size();
        EXPECT_TRUE(read.front().faxNumber == readFax) << read.front().faxNumber.size();
    }
}

TEST_F(MRUBookTest, DeletingRenumbersFromZeroAndThe101stEntryIsWrittenUnder100) {
    for (int i = 0; i < 102; ++i) WriteRawMRUEntry(MRUSubkeyName(i), std::to_wstring(i).c_str(), L"N", L"1");
    ASSERT_EQ(S_OK, m_book.Delete(ULONG(m_book.KeyFromIdentifier(L"0"))));
    EXPECT_EQ(101u, MRUSubkeys().size());
    for (auto [subkey, id] : {std::pair{L"00", L"1"}, {L"09", L"10"}, {L"100", L"101"}})
        EXPECT_EQ(id, ReadMRUValue(subkey, L"ID")->text()) << subkey;
    EXPECT_EQ(E_FAIL, m_book.Delete(ULONG(m_book.KeyFromIdentifier(L"0")))) << "already gone";
}

// Modify takes the record's identifier as it stands; key 0 is the entry
// without one, which is never offered, nor a second entry of one identifier.
TEST_F(MRUBookTest, KeysFollowIdentifiers) {
    const CRecipient a = Added(L"a", L"A", L"1"), b = Added(L"b", L"B", L"2");
    CRecipient read;
    EXPECT_EQ(std::pair(E_FAIL, E_FAIL), std::pair(m_book.Get(0, read), m_book.Get(77, read)));
    ASSERT_EQ(S_OK, m_book.Get(ULONG(b.key), read));
    read.name = L"Bea";
    read.identifier = L"z";
    ASSERT_EQ(S_OK, m_book.Modify(ULONG(b.key), read));
    EXPECT_EQ(L"z", ReadMRUValue(L"01", L"ID")->text());
    EXPECT_EQ(L"A", ReadMRUValue(L"00", L"Name")->text()) << "the other entry is untouched";
    EXPECT_EQ(E_FAIL, m_book.Get(ULONG(b.key), read)) << "the old key's identifier is gone";
    EXPECT_EQ(0u, Added(L"", L"Anon", L"5").key);
    ASSERT_EQ(S_OK, m_book.Get(0, read));
    EXPECT_EQ(L"Anon", read.name);
    Added(L"a", L"A again", L"3");
    WriteRawMRUEntry(L"00", L"z", L"Bea", L"2");
    WriteRawMRUEntry(L"01", L"a", L"A", L"1");
    RecipientList fax;
    ASSERT_EQ(S_OK, m_book.LoadFaxRecipients(fax));
    ASSERT_EQ(2u, fax.size());
    EXPECT_EQ(std::tuple(a.key, L"A"), std::tie(fax.back().key, fax.back().name));
}

// Another writer saves between this book's load and its own change: add,
// delete and modify each keep what the other wrote.
TEST_F(MRUBookTest, AChangeKeepsWhatAnotherWriterSavedSinceTheLastLoad) {
    Added(L"a", L"Ann", L"111");
    ASSERT_EQ(S_OK, m_book.Connect());
    CMRUAB other;
    Added(L"b", L"Bea", L"222", &other);
    Added(L"c", L"Cid", L"333");
    EXPECT_EQ(Names(), (std::vector<std::wstring>{L"Ann", L"Bea", L"Cid"})) << "add";
    Added(L"d", L"Dora", L"444", &other);
    ASSERT_EQ(S_OK, m_book.Delete(ULONG(m_book.KeyFromIdentifier(L"b"))));
    EXPECT_EQ(Names(), (std::vector<std::wstring>{L"Ann", L"Cid", L"Dora"})) << "delete";
    Added(L"e", L"Eva", L"555", &other);
    CRecipient ann;
    ASSERT_EQ(S_OK, m_book.Get(ULONG(m_book.KeyFromIdentifier(L"a")), ann));
    ann.name = L"Anna";
    ASSERT_EQ(S_OK, m_book.Modify(ULONG(ann.key), ann));
    EXPECT_EQ(Names(), (std::vector<std::wstring>{L"Anna", L"Cid", L"Dora", L"Eva"})) << "modify";
}

// Saves of another process reach the window save after save (a save replaces
// the watched key) until it is unregistered; books leave no thread or handle.
TEST_F(MRUBookTest, SavesOfAnotherProcessReachTheWindowUntilItIsUnregistered) {
    const auto save = [] { ASSERT_EQ(0, RunProcess(L"\"" + BinDir() + L"mru_change.exe\" 1 0")); };
    {  // what the first book, window and child process create lives as long as the process
        CMRUAB book;
        MessageCounter window(kReloadMessage);
        book.SetNotifyWindow(window.hwnd(), true);
        window.WaitAfter(save, 1, 2000);
    }
    // The book's code is linked into this program: its watcher thread starts in this image.
    const HMODULE program = ::GetModuleHandleW(nullptr);
    const int threads = ComponentThreadCount(program), handles = HandleCount();
    {
        CMRUAB book;
        MessageCounter window(kReloadMessage);
        ASSERT_TRUE(book.SetNotifyWindow(window.hwnd(), true));
        EXPECT_EQ(threads + 1, ComponentThreadCount(program));
        for (int change = 1; change <= 2; ++change) {
            EXPECT_GE(window.WaitAfter(save, 1, 2000), 1) << "save " << change;
            EXPECT_EQ(2, window.lastLParam());
        }
        book.SetNotifyWindow(window.hwnd(), false);
        EXPECT_EQ(0, window.WaitAfter(save, INT_MAX, 600));
    }
    // Wine's own workers come and go with handles of theirs: wait for them.
    EXPECT_TRUE(control_test::PumpUntil([&] { return ComponentThreadCount(program) == threads; }, 2000));
    EXPECT_TRUE(control_test::PumpUntil([&] { return HandleCount() <= handles; }, 2000)) << HandleCount() - handles;
}

}  // namespace
