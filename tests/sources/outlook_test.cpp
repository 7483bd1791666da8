// The Outlook contacts source against the Outlook stand-in: listing through
// the folder's Table and item by item alike, the version and its reminders,
// the operations and their failures, and Outlook's events reaching a sink.
#include "control/phonebook_event_handler.h"
#include "sources/oab.h"
#include "support/outlook_fixture.h"

#include "com/invoke.h"

#include <random>

using namespace testing_support;
using namespace outlooktest;

namespace {

constexpr wchar_t kAnn[] = L"000000000A00000000000000000000000000000000000001";
constexpr wchar_t kBob[] = L"000000000B00000000000000000000000000000000000002";
constexpr wchar_t kTeam[] = L"000000000C00000000000000000000000000000000000003";

std::wstring Id(unsigned seed, int n) {
    wchar_t text[64];
    swprintf(text, 64, L"00000000%08X%08X0000000000000000%08X", seed, unsigned(n) * 2654435761u, unsigned(n));
    return text;
}

CRecipient Record(const std::wstring& name, const std::wstring& fax, bool favorite = false) {
    CRecipient r;
    std::tie(r.name, r.faxNumber, r.favorite) = std::tie(name, fax, favorite);
    return r;
}

// A seeded random store (names of every script, empty ones, lists with a
// fax, contacts without one, favourite marks of every kind) and what the
// source must list of it: the contacts with a business fax, keys from 1.
std::vector<CRecipient> WriteRandomBook(unsigned seed, int count) {
    static const wchar_t* const parts[] = {L"Ann", L"Bj\x00F6rn", L"\x674E\x56DB", L"\xD83D\xDE00", L"\"O'Neil\""};
    static const wchar_t* const marks[] = {L"\tUser:ZentelFavorite=6:1", L"\tUser:ZentelFavorite=6:0",
                                           L"\tUser:ZentelFavorite=1:1", L"\tUser:Other=6:1", L""};
    std::mt19937 random(seed);
    std::vector<std::wstring> lines;
    std::vector<CRecipient> expected;
    for (int n = 0; n < count; ++n) {
        const std::wstring name = random() % 8 ? std::wstring(parts[random() % 5]) + L" " + parts[random() % 5] : L"";
        const std::wstring fax = random() % 4 ? L"+1 (555) " + std::to_wstring(random() % 100000) : L"";
        const bool list = random() % 8 == 0;
        const unsigned mark = random() % 5;
        lines.push_back(ContactLine(Id(seed, n), (list ? L"Class=69\tDLName=" : L"Class=40\tFullName=") + name +
                                                     (fax.empty() ? L"" : L"\tBusinessFaxNumber=" + fax) +
                                                     L"\tHomeFaxNumber=+44 " + std::to_wstring(n) + marks[mark]));
        if (list || fax.empty()) continue;
        expected.push_back(Record(name, fax, mark == 0));
        std::tie(expected.back().identifier, expected.back().key) = std::tuple(Id(seed, n), expected.size());
    }
    WriteStore(lines);
    return expected;
}

class OutlookSourceTest : public OutlookTest {
protected:
    // Lists with a new source under the given version: the list is the
    // expected one, and the calls the stand-in served tell which way it went.
    void ListAsExpected(const std::wstring& version, int major, bool reminders, bool throughTable,
                        const std::vector<CRecipient>& expected) {
        SCOPED_TRACE(Utf8(version));
        EXPECT_EQ(0, RunStandin(L"/Version \"" + version + L"\""));
        COAB source;
        RecipientList listed;
        const HRESULT connected = source.Connect();
        EXPECT_EQ(std::tuple(S_OK, major, reminders), std::tuple(connected, source.MajorVersion(), source.Reminders() != nullptr));
        const long before = m_client->CallCount();
        EXPECT_EQ(S_OK, source.LoadAll(listed));
        const long calls = m_client->CallCount() - before;
        EXPECT_TRUE(throughTable ? calls < 30 : calls > long(4 * expected.size())) << calls << " calls";
        const auto fields = [](const auto& list) {
            std::vector<std::tuple<ULONG_PTR, std::wstring, std::wstring, std::wstring, bool>> all;
            for (const CRecipient& r : list) all.emplace_back(r.key, r.identifier, r.name, r.faxNumber, r.favorite);
            return all;
        };
        EXPECT_TRUE(fields(expected) == fields(listed));
    }
    std::unique_ptr<OutlookClient> m_client;
};

// The major version is read with "%i" (octal and hexadecimal prefixes too);
// the reminders are taken above 9. From 12 (Outlook 2007) on the book is
// listed through the Table in few calls (2007 gives no more rows than are
// left, so a book of more than one batch asks for the rest); before, and
// whenever a step of the Table fails, item by item, with the same list.
TEST_F(OutlookSourceTest, EveryVersionListsTheSameByTableOrItemByItem) {
    const std::tuple<const wchar_t*, int, bool> versions[] = {
        {L"16.0.0.4266", 16, true}, {L"12.0.6672.5000", 12, true}, {L"0x10", 16, true},
        {L"11.0.0.8161", 11, true}, {L"10.0", 10, true},           {L"9.0.0.2711", 9, false},
        {L"011.0", 9, false},       {L"Outlook", 0, false}};
    for (const auto& [seed, count] : {std::pair{1u, 4000}, {2u, 60}}) {
        SCOPED_TRACE(testing::Message() << "seed " << seed << ", " << count << " items");
        const std::vector<CRecipient> expected = WriteRandomBook(seed, count);
        m_client = std::make_unique<OutlookClient>();
        for (const auto& [text, major, reminders] : versions)
            if (major >= 12 || count < 100) ListAsExpected(text, major, reminders, major >= 12, expected);
        for (const wchar_t* member : {L"GetTable", L"Columns", L"RemoveAll", L"Add", L"GetRowCount", L"GetArray"}) {
            if (count > 100) break;
            ASSERT_EQ(0, RunStandin(std::wstring(L"/TableFails ") + member));
            ListAsExpected(L"16.0", 16, true, false, expected);
        }
        ASSERT_EQ(0, RunStandin(L"/TableFails"));
        m_client.reset();
        ASSERT_TRUE(WaitForNoStandin(10000));
    }
}

// Add, Get, Modify and Delete; the favourite property is created once and
// found afterwards, and not read without a business fax; keys of no contact
// (deleted in Outlook after listing, a distribution list, never handed out)
// are refused and nothing is written; keys stay across reconnecting.
TEST_F(OutlookSourceTest, OperationsAndTheirFailures) {
    WriteStore({ContactLine(kTeam, L"Class=69\tDLName=Team\tBusinessFaxNumber=999"),
                ContactLine(kBob, L"Class=40\tFullName=Bob\tHomeFaxNumber=2\tUser:ZentelFavorite=6:1")});
    COAB book;
    CRecipient ann = Record(L"Ann Smith", L"+49 (30) 123-4", true), read;
    RecipientList listed;
    const ULONG bob = ULONG(book.KeyFromIdentifier(kBob)), team = ULONG(book.KeyFromIdentifier(kTeam));
    EXPECT_EQ(std::tuple(E_FAIL, E_FAIL, E_FAIL), std::tuple(book.LoadFaxRecipients(listed), book.Add(ann), book.Get(bob, read)))
        << "not connected";
    ASSERT_EQ(S_OK, book.Connect());
    ASSERT_EQ(S_OK, book.Get(bob, read));
    EXPECT_EQ(std::tuple(L"Bob", false), std::tie(read.name, read.favorite)) << "no business fax, no mark read";
    ASSERT_EQ(S_OK, book.Add(ann));
    EXPECT_EQ(ann.key, book.KeyFromIdentifier(ann.identifier));
    ASSERT_EQ(S_OK, book.Get(ULONG(ann.key), read));
    EXPECT_EQ(std::tie(ann.name, ann.faxNumber, ann.favorite), std::tie(read.name, read.faxNumber, read.favorite));
    ASSERT_EQ(S_OK, book.Modify(ULONG(ann.key), Record(L"Ann Jones", L"555")));
    ASSERT_EQ(S_OK, book.Get(ULONG(ann.key), read));
    EXPECT_EQ(std::tuple(L"Ann Jones", L"555", false), std::tie(read.name, read.faxNumber, read.favorite));
    for (const std::wstring& line : ReadStore()) {
        const size_t mark = line.find(L"User:ZentelFavorite=6:0");
        if (line.find(L"FullName=Ann Jones") != std::wstring::npos) {
            EXPECT_TRUE(mark != std::wstring::npos && mark == line.rfind(L"User:ZentelFavorite")) << Utf8(line);
        }
    }
    book.Disconnect();
    ASSERT_EQ(S_OK, book.Connect());
    ASSERT_EQ(S_OK, book.LoadFaxRecipients(listed));
    EXPECT_TRUE(listed.size() == 1 && listed.front().key == ann.key);
    {
        OutlookClient outlook;
        ASSERT_EQ(S_OK, CallByName(outlook.Item(kBob).get(), L"Delete", DISPATCH_METHOD, {}, nullptr));
    }
    EXPECT_EQ(E_FAIL, book.Get(0, read));
    EXPECT_EQ(E_INVALIDARG, book.Get(77, read)) << "a key the table never gave out";
    for (const ULONG key : {bob, team})
        EXPECT_EQ(std::tuple(E_FAIL, E_FAIL, E_FAIL),
                  std::tuple(book.Get(key, read), book.Modify(key, Record(L"x", L"1")), book.Delete(key)));
    ASSERT_EQ(S_OK, book.Delete(ULONG(ann.key)));
    EXPECT_EQ(E_FAIL, book.Get(ULONG(ann.key), read));
    const auto lines = ReadStore();
    EXPECT_TRUE(lines.size() == 1 && lines[0].find(L"DLName=Team") != std::wstring::npos)
        << "Modify brings no contact back, Delete takes no list";
}

// Contacts changed and deleted by another process reach a connected sink as
// the reload message, and the reminder dialog is cancelled (with 1, as the
// sink has always done); after Disconnect neither; once the source and its
// sink are gone, Outlook ends.
TEST_F(OutlookSourceTest, OutlooksEventsReachAConnectedSink) {
    WriteStore({ContactLine(kAnn, L"Class=40\tFullName=Ann\tBusinessFaxNumber=111"),
                ContactLine(kBob, L"Class=40\tFullName=Bob\tBusinessFaxNumber=222")});
    const auto change = [](const std::wstring& arguments) {
        std::string output;
        EXPECT_EQ(0, RunChangeScript(arguments, &output));
        EXPECT_NE(std::string::npos, output.find("done ")) << output;
    };
    {
        COAB source;
        MessageCounter window(kReloadMessage);
        CPhonebookEventHandler sink;
        EXPECT_EQ(E_FAIL, sink.Connect(source, window.hwnd())) << "the source is not connected";
        ASSERT_EQ(S_OK, source.Connect());
        EXPECT_EQ(E_INVALIDARG, sink.Connect(source, nullptr));
        ASSERT_EQ(S_OK, sink.Connect(source, window.hwnd()));
        for (const std::wstring& step : {L"change " + std::wstring(kAnn) + L" \"Ann Jones\"", L"delete " + std::wstring(kBob)}) {
            window.Reset();
            change(step);
            EXPECT_GE(window.WaitFor(1, 2000), 1) << Utf8(step);
        }
        OutlookClient outlook;
        EXPECT_EQ(VARIANT_BOOL(1), outlook.FireBeforeReminderShow());
        sink.Disconnect();
        EXPECT_EQ(VARIANT_FALSE, outlook.FireBeforeReminderShow());
        EXPECT_EQ(0, window.WaitAfter([&] { change(L"change " + std::wstring(kAnn) + L" Ann"); }, INT_MAX, 300));
    }
    EXPECT_TRUE(WaitForNoStandin(10000)) << "the stand-in still runs after its last client let go";
}

}  // namespace
