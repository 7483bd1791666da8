// The Outlook source's two ways of listing a book: through the folder's Table
// (Outlook 2007 and later) and item by item (earlier Outlook, and whenever a
// step of the Table fails). Both must give the same list, over seeded random
// stores; the stand-in's call count tells which way was taken. Also the
// stand-in's Table itself, as Outlook documents it.
#include "sources/oab.h"
#include "support/outlook_fixture.h"

#include "com/invoke.h"
#include "com/strings.h"
#include "log/logger.h"

#include <fstream>
#include <iterator>
#include <random>

using namespace testing_support;
using namespace outlooktest;

namespace {

constexpr wchar_t kFavoriteColumn[] =
    L"http://schemas.microsoft.com/mapi/string/{00020329-0000-0000-C000-000000000046}/ZentelFavorite";

// A generated store and the list it must give.
struct Book {
    std::vector<std::wstring> lines;
    std::vector<CRecipient> expected;
};

std::wstring EntryId(unsigned seed, int n) {
    wchar_t text[64];
    swprintf(text, 64, L"00000000%08X%08X0000000000000000%08X", seed, unsigned(n) * 2654435761u, unsigned(n));
    return text;
}

// Names from plain letters, letters with accents, CJK, a character outside
// the basic plane (a surrogate pair), spaces and quotes; sometimes empty.
std::wstring RandomName(std::mt19937& random) {
    static const std::vector<std::wstring> parts = {L"Ann",          L"Bj\x00F6rn",   L"\x00C9lodie",
                                                    L"\x674E\x56DB", L"\xD83D\xDE00", L"O'Neil",
                                                    L"\"Q\"",        L"Zo\x00EB",     L"\xD840\xDC0B"};
    if (random() % 8 == 0) return {};
    std::wstring name;
    const int count = 1 + int(random() % 3);
    for (int i = 0; i < count; ++i) name += (i ? L" " : L"") + parts[random() % parts.size()];
    return name;
}

Book RandomBook(unsigned seed, int count) {
    std::mt19937 random(seed);
    Book book;
    for (int n = 0; n < count; ++n) {
        const std::wstring id = EntryId(seed, n);
        const bool list = random() % 8 == 0;
        const bool fax = random() % 4 != 0;
        const std::wstring number = L"+1 (555) " + std::to_wstring(random() % 100000);
        std::wstring fields;
        if (list) {
            // A distribution list, with a business fax that another program
            // left on it now and then: never listed.
            fields = L"Class=69\tDLName=" + RandomName(random);
            if (fax) fields += L"\tBusinessFaxNumber=" + number;
            book.lines.push_back(ContactLine(id, fields));
            continue;
        }
        CRecipient r;
        r.name = RandomName(random);
        fields = L"Class=40";
        if (!r.name.empty()) fields += L"\tFullName=" + r.name;
        if (fax) fields += L"\tBusinessFaxNumber=" + number;
        if (random() % 3 == 0) fields += L"\tHomeFaxNumber=+44 " + std::to_wstring(n);
        switch (random() % 6) {
            case 0:
                fields += L"\tUser:ZentelFavorite=6:1";
                r.favorite = true;
                break;
            case 1:
                fields += L"\tUser:ZentelFavorite=6:0";
                break;
            case 2:  // of the wrong type: text that reads as true elsewhere
                fields += L"\tUser:ZentelFavorite=1:1";
                break;
            case 3:  // another property that is true
                fields += L"\tUser:Other=6:1";
                break;
            default:  // none
                break;
        }
        book.lines.push_back(ContactLine(id, fields));
        if (!fax) continue;
        r.faxNumber = number;
        r.identifier = id;
        r.key = book.expected.size() + 1;
        book.expected.push_back(r);
    }
    return book;
}

void ExpectSameList(const std::vector<CRecipient>& expected, const RecipientList& listed, const char* how) {
    SCOPED_TRACE(how);
    ASSERT_EQ(expected.size(), listed.size());
    auto it = listed.begin();
    for (const CRecipient& e : expected) {
        SCOPED_TRACE(testing::Message() << "key " << e.key);
        EXPECT_EQ(e.key, it->key);
        EXPECT_EQ(e.identifier, it->identifier);
        EXPECT_EQ(e.name, it->name);
        EXPECT_EQ(e.faxNumber, it->faxNumber);
        EXPECT_EQ(e.favorite, it->favorite);
        for (const auto& spare : it->spare) EXPECT_TRUE(spare.empty());
        ++it;
    }
}

class OutlookTableTest : public OutlookTest {
protected:
    // Lists the book with a new source under the given version; the calls
    // the stand-in served for the listing.
    long List(const wchar_t* version, RecipientList& listed, HRESULT expected = S_OK) {
        EXPECT_EQ(0, RunStandin(std::wstring(L"/Version ") + version));
        COAB source;
        EXPECT_EQ(S_OK, source.Connect());
        const long before = m_client->CallCount();
        EXPECT_EQ(expected, source.LoadAll(listed));
        const long after = m_client->CallCount();
        EXPECT_LE(0, before);
        return after - before;
    }
    void TearDown() override {
        m_client.reset();
        OutlookTest::TearDown();
    }
    // Keeps the stand-in running across the sources of one test.
    void StartClient() { m_client = std::make_unique<OutlookClient>(); }
    std::unique_ptr<OutlookClient> m_client;
};

// The Table's calls: the table, its columns and their five additions, the
// row count, and one GetArray per 2,000 rows (the member numbers are asked by
// name on the first listing of a connection).
long MostTableCalls(size_t contacts) {
    return 16 + long(contacts / 2000);
}

TEST_F(OutlookTableTest, BothWaysListRandomBooksAlike) {
    const std::pair<unsigned, int> cases[] = {{1, 0}, {2, 1}, {3, 2}, {4, 40}, {5, 40}, {6, 150}};
    for (const auto& [seed, count] : cases) {
        SCOPED_TRACE(testing::Message() << "seed " << seed << ", " << count << " items");
        const Book book = RandomBook(seed, count);
        WriteStore(book.lines);
        StartClient();
        RecipientList byItem, byTable;
        const long itemCalls = List(L"11.0.0.8161", byItem);
        const long tableCalls = List(L"16.0.0.4266", byTable);
        ExpectSameList(book.expected, byItem, "item by item");
        ExpectSameList(book.expected, byTable, "through the Table");
        EXPECT_LE(tableCalls, MostTableCalls(book.expected.size())) << "the Table was not used";
        if (!book.expected.empty()) {
            EXPECT_GT(itemCalls, long(4 * book.expected.size()));
        }
        m_client.reset();
        ASSERT_TRUE(WaitForNoStandin(10000));
    }
}

// A second listing on the same connection uses the member numbers it found.
TEST_F(OutlookTableTest, ARepeatedListingKeepsKeysAndCallsFewer) {
    const Book book = RandomBook(7, 30);
    WriteStore(book.lines);
    StartClient();
    COAB source;
    ASSERT_EQ(S_OK, source.Connect());
    long calls[2] = {};
    for (long& used : calls) {
        RecipientList listed;
        const long before = m_client->CallCount();
        ASSERT_EQ(S_OK, source.LoadAll(listed));
        used = m_client->CallCount() - before;
        ExpectSameList(book.expected, listed, "listing");
    }
    EXPECT_LT(calls[1], calls[0]);
    EXPECT_LE(calls[1], 10);
}

// Any failing step of the Table leaves the listing to the item-by-item way,
// with the same list, nothing in the identifier table out of order, and
// nothing in the diagnostic log.
TEST_F(OutlookTableTest, AFailingTableFallsBackQuietly) {
    wchar_t logPath[MAX_PATH] = {};
    ::GetTempPathW(MAX_PATH, logPath);
    wcscat_s(logPath, L"oab_table_test.log");
    ::DeleteFileW(logPath);
    ::RegSetKeyValueW(HKEY_CURRENT_USER, kLoggerKeyPath, L"FilePath", REG_SZ, logPath,
                      DWORD((wcslen(logPath) + 1) * sizeof(wchar_t)));
    CLogger::Instance().LoadConfiguration(true);
    struct RestoreLog {
        ~RestoreLog() {
            DeleteUserKey(kLoggerKeyPath);
            CLogger::Instance().LoadConfiguration(true);
        }
    } restoreLog;

    const Book book = RandomBook(8, 25);
    WriteStore(book.lines);
    StartClient();
    for (const wchar_t* member :
         {L"GetTable", L"Columns", L"RemoveAll", L"Add", L"GetRowCount", L"GetArray"}) {
        SCOPED_TRACE(testing::Message() << "failing: " << std::string(member, member + wcslen(member)));
        ASSERT_EQ(0, RunStandin(std::wstring(L"/TableFails ") + member));
        RecipientList listed;
        const long calls = List(L"16.0", listed);
        ExpectSameList(book.expected, listed, "after the fall-back");
        EXPECT_GT(calls, long(4 * book.expected.size())) << "listed item by item";
    }
    ASSERT_EQ(0, RunStandin(L"/TableFails"));
    RecipientList listed;
    EXPECT_LE(List(L"16.0", listed), MostTableCalls(book.expected.size()));
    // The log may be there with its header; no line of the source's.
    std::ifstream file(logPath, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    file.close();
    const std::wstring log(reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / sizeof(wchar_t));
    EXPECT_EQ(std::wstring::npos, log.find(L"[Phonebook]")) << std::string(log.begin(), log.end());
    ::DeleteFileW(logPath);
}

// Outlook 2007 refuses GetArray for more rows than the table holds: the
// source asks for what is left, so a book of more than one batch still goes
// through the Table there.
TEST_F(OutlookTableTest, Outlook2007ListsThroughTheTableInBatches) {
    const Book book = RandomBook(9, 4000);
    ASSERT_GT(book.expected.size(), 2000u);
    WriteStore(book.lines);
    StartClient();
    RecipientList listed;
    const long calls = List(L"12.0.6672.5000", listed);
    ExpectSameList(book.expected, listed, "Outlook 2007");
    EXPECT_LE(calls, MostTableCalls(book.expected.size()));
}

// ------------------------------------------------- the stand-in's Table --

com::ComPtr<IDispatch> Table(OutlookClient& outlook, const wchar_t* filter) {
    auto folder = ObjectByName(outlook.nameSpace.get(), L"GetDefaultFolder", {com::LongArg(10)});
    com::UniqueBstr text(com::AllocBstr(filter));
    return ObjectByName(folder.get(), L"GetTable", {com::TextArg(text.get()), com::LongArg(0)});
}

long LongByName(IDispatch* object, const wchar_t* name, std::initializer_list<VARIANT> args = {}) {
    com::UniqueVariant value;
    if (FAILED(CallByName(object, name, DISPATCH_METHOD | DISPATCH_PROPERTYGET, args, value.put())) ||
        FAILED(::VariantChangeType(&value, &value, 0, VT_I4)))
        return -1;
    return V_I4(&value);
}

TEST_F(OutlookTableTest, StandInTableAnswersAsOutlookDocumentsIt) {
    WriteStore({
        ContactLine(EntryId(1, 1), L"Class=40\tFullName=Ann\tBusinessFaxNumber=111\tUser:ZentelFavorite=6:1"),
        ContactLine(EntryId(1, 2), L"Class=40\tFullName=Bob\tHomeFaxNumber=222"),
        ContactLine(EntryId(1, 3), L"Class=69\tDLName=Team\tBusinessFaxNumber=999"),
        ContactLine(EntryId(1, 4), L"Class=40\tBusinessFaxNumber=444\tUser:ZentelFavorite=1:x"),
    });
    OutlookClient outlook;
    auto table = Table(outlook, L"[BusinessFaxNumber] <> ''");
    ASSERT_TRUE(table);
    EXPECT_EQ(3, LongByName(table.get(), L"GetRowCount"));
    auto columns = ObjectByName(table.get(), L"Columns");
    ASSERT_TRUE(columns);
    EXPECT_EQ(5, LongByName(columns.get(), L"Count")) << "EntryID, Subject, two times, MessageClass";
    ASSERT_EQ(S_OK, CallByName(columns.get(), L"RemoveAll", DISPATCH_METHOD, {}, nullptr));
    for (const wchar_t* name : {L"MessageClass", L"Subject", kFavoriteColumn}) {
        com::UniqueBstr text(com::AllocBstr(name));
        ASSERT_TRUE(ObjectByName(columns.get(), L"Add", {com::TextArg(text.get())}));
    }
    com::UniqueBstr body(com::AllocBstr(L"NoSuchProperty"));
    EXPECT_FALSE(ObjectByName(columns.get(), L"Add", {com::TextArg(body.get())}));

    // Two rows of three, rows first; then the last row alone; then none.
    const long expectedRows[] = {2, 1, 0};
    for (long rows : expectedRows) {
        com::UniqueVariant array;
        ASSERT_EQ(S_OK,
                  CallByName(table.get(), L"GetArray", DISPATCH_METHOD, {com::LongArg(2)}, array.put()));
        ASSERT_EQ(VT_ARRAY | VT_VARIANT, V_VT(&array));
        ASSERT_EQ(2u, ::SafeArrayGetDim(V_ARRAY(&array)));
        LONG last = 0;
        ::SafeArrayGetUBound(V_ARRAY(&array), 1, &last);
        EXPECT_EQ(rows, last + 1);
        ::SafeArrayGetUBound(V_ARRAY(&array), 2, &last);
        EXPECT_EQ(3, last + 1);
        if (rows == 2) {
            com::UniqueVariant cell;
            LONG at[2] = {1, 0};
            ASSERT_EQ(S_OK, ::SafeArrayGetElement(V_ARRAY(&array), at, cell.put()));
            EXPECT_EQ(L"IPM.DistList", com::FromBstr(V_BSTR(&cell)));
            at[0] = 0;
            at[1] = 2;
            ASSERT_EQ(S_OK, ::SafeArrayGetElement(V_ARRAY(&array), at, cell.put()));
            EXPECT_EQ(VT_BOOL, V_VT(&cell));
            EXPECT_EQ(VARIANT_TRUE, V_BOOL(&cell));
        }
        if (rows == 1) {
            com::UniqueVariant cell;
            LONG at[2] = {0, 1};
            ASSERT_EQ(S_OK, ::SafeArrayGetElement(V_ARRAY(&array), at, cell.put()));
            EXPECT_EQ(VT_EMPTY, V_VT(&cell)) << "no name: Empty";
            at[1] = 2;
            ASSERT_EQ(S_OK, ::SafeArrayGetElement(V_ARRAY(&array), at, cell.put()));
            EXPECT_EQ(VT_BSTR, V_VT(&cell)) << "a text property keeps its type";
        }
    }
    EXPECT_EQ(-1, LongByName(table.get(), L"EndOfTable")) << "true at the end";
    EXPECT_FALSE(ObjectByName(table.get(), L"GetNextRow"));
    ASSERT_EQ(S_OK, CallByName(table.get(), L"MoveToStart", DISPATCH_METHOD, {}, nullptr));
    EXPECT_EQ(0, LongByName(table.get(), L"EndOfTable"));
    auto row = ObjectByName(table.get(), L"GetNextRow");
    ASSERT_TRUE(row);
    com::UniqueVariant subject;
    ASSERT_EQ(S_OK, CallByName(row.get(), L"Item", DISPATCH_METHOD, {com::LongArg(2)}, subject.put()));
    EXPECT_EQ(L"Ann", com::FromBstr(V_BSTR(&subject)));
    com::UniqueVariant none;
    EXPECT_NE(S_OK, CallByName(table.get(), L"GetArray", DISPATCH_METHOD, {com::LongArg(0)}, none.put()));

    // Outlook 2007: no more rows than the table has.
    ASSERT_EQ(0, RunStandin(L"/Version 12.0"));
    auto again = Table(outlook, L"[BusinessFaxNumber] <> ''");
    EXPECT_NE(S_OK, CallByName(again.get(), L"GetArray", DISPATCH_METHOD, {com::LongArg(4)}, none.put()));
    EXPECT_EQ(S_OK, CallByName(again.get(), L"GetArray", DISPATCH_METHOD, {com::LongArg(3)}, none.put()));
    // A snapshot: items deleted afterwards stay in a table made before.
    EXPECT_EQ(S_OK, CallByName(outlook.Item(EntryId(1, 1)).get(), L"Delete", DISPATCH_METHOD, {}, nullptr));
    EXPECT_EQ(3, LongByName(again.get(), L"GetRowCount"));
    EXPECT_EQ(2, LongByName(Table(outlook, L"[BusinessFaxNumber] <> ''").get(), L"GetRowCount"));
}

}  // namespace
