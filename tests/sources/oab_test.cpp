// The Outlook contacts source through IAB against the Outlook stand-in: what
// is listed, the favourite mark, the version and its reminders, the
// operations and their failures, and the connect failure with its log line.
#include "sources/oab.h"
#include "support/outlook_fixture.h"
#include "sources/wab6.h"

#include "com/invoke.h"
#include "log/logger.h"

#include <algorithm>
#include <fstream>
#include <memory>

using namespace testing_support;
using namespace outlooktest;

namespace {

constexpr wchar_t kAnn[] = L"000000000A00000000000000000000000000000000000001";
constexpr wchar_t kBob[] = L"000000000B00000000000000000000000000000000000002";
constexpr wchar_t kTeam[] = L"000000000C00000000000000000000000000000000000003";

// The entry identifier of one more contact.
std::wstring Id(int n) {
    return L"000000000D0000000000000000000000000000000000000" + std::to_wstring(n);
}

CRecipient Record(const wchar_t* name, const wchar_t* fax, bool favorite = false) {
    CRecipient r;
    r.name = name;
    r.faxNumber = fax;
    r.favorite = favorite;
    return r;
}

bool StoreHas(const std::wstring& text) {
    const auto lines = ReadStore();
    return std::any_of(lines.begin(), lines.end(),
                       [&](const std::wstring& line) { return line.find(text) != std::wstring::npos; });
}

class OutlookSourceTest : public OutlookTest {
protected:
    void TearDown() override {
        m_source.reset();
        OutlookTest::TearDown();
    }
    IAB& Connected() {
        EXPECT_EQ(S_OK, m_source->Connect());
        return *m_source;
    }
    RecipientList Listed() {
        RecipientList list;
        EXPECT_EQ(S_OK, m_source->LoadFaxRecipients(list));
        return list;
    }
    std::unique_ptr<COAB> m_source = std::make_unique<COAB>();
};

// Only contacts with a business fax are listed; the favourite mark is read
// only for them, and only a yes/no property holding true is a favourite.
TEST_F(OutlookSourceTest, ListsContactsWithABusinessFaxAndTheirFavouriteMark) {
    WriteStore({
        ContactLine(kAnn, L"Class=40\tFullName=Ann\tBusinessFaxNumber=111\tUser:ZentelFavorite=6:1"),
        // Other fax numbers do not make a fax recipient.
        ContactLine(
            kBob, L"Class=40\tFullName=Bob\tHomeFaxNumber=222\tOtherFaxNumber=333\tUser:ZentelFavorite=6:1"),
        // A distribution list that another program left with a business fax
        // passes Outlook's filter; the source must skip it by its class.
        ContactLine(kTeam, L"Class=69\tDLName=Team\tBusinessFaxNumber=999"),
        ContactLine(Id(4), L"Class=40\tFullName=Cid\tBusinessFaxNumber=444"),
        ContactLine(Id(5), L"Class=40\tFullName=Dan\tBusinessFaxNumber=5\tUser:ZentelFavorite=6:0"),
        ContactLine(Id(6), L"Class=40\tFullName=Eve\tBusinessFaxNumber=6\tUser:ZentelFavorite=1:yes"),
        ContactLine(Id(7), L"Class=40\tFullName=Fay\tBusinessFaxNumber=7\tUser:Other=6:1"),
    });
    IAB& book = Connected();
    {
        OutlookClient outlook;
        ASSERT_EQ(6, outlook.RestrictedCount(L"[BusinessFaxNumber] <> ''"))
            << "the filter as Outlook applies it";
    }
    const std::vector<std::wstring> names = {L"Ann", L"Cid", L"Dan", L"Eve", L"Fay"};
    for (int load = 0; load < 2; ++load) {
        RecipientList all;
        ASSERT_EQ(S_OK, book.LoadAll(all));
        ASSERT_EQ(names.size(), all.size());
        ULONG_PTR key = 0;
        for (const CRecipient& r : all) {
            EXPECT_EQ(names[key], r.name);
            // Keys are positions in the source's table: the same on every load.
            EXPECT_EQ(++key, r.key);
            EXPECT_EQ(r.name == L"Ann", r.favorite) << r.name;
            for (const auto& spare : r.spare) EXPECT_TRUE(spare.empty());
        }
        EXPECT_EQ(L"111", all.front().faxNumber);
        EXPECT_EQ(kAnn, all.front().identifier);
    }
    EXPECT_EQ(names.size(), Listed().size());
    CRecipient bob;
    ASSERT_EQ(S_OK, book.Get(ULONG(book.KeyFromIdentifier(kBob)), bob));
    EXPECT_EQ(L"Bob", bob.name);
    EXPECT_TRUE(bob.faxNumber.empty());
    EXPECT_FALSE(bob.favorite) << "the mark of a contact without a fax number is not read";
}

struct VersionCase {
    const wchar_t* text;
    int major;
    bool reminders;
};

class OutlookVersionTest : public OutlookSourceTest, public ::testing::WithParamInterface<VersionCase> {};

TEST_P(OutlookVersionTest, RemindersAreTakenAboveVersion9) {
    ASSERT_EQ(0, RunStandin(std::wstring(L"/Version \"") + GetParam().text + L"\""));
    ASSERT_EQ(S_OK, m_source->Connect());
    EXPECT_EQ(GetParam().major, m_source->MajorVersion());
    EXPECT_EQ(GetParam().reminders, m_source->Reminders() != nullptr);
    EXPECT_NE(nullptr, m_source->ContactItems());
}

INSTANTIATE_TEST_SUITE_P(VersionTexts, OutlookVersionTest,
                         ::testing::Values(VersionCase{L"9.0.0.2711", 9, false},
                                           VersionCase{L"10.0", 10, true},
                                           VersionCase{L"16.0.0.4266", 16, true},
                                           // "%i" reads C prefixes: octal and hexadecimal.
                                           VersionCase{L"011.0", 9, false}, VersionCase{L"0x10", 16, true},
                                           VersionCase{L"Outlook", 0, false}, VersionCase{L"", 0, false}));

TEST_F(OutlookSourceTest, AddModifyGetDeleteRoundTrip) {
    IAB& book = Connected();
    CRecipient ann = Record(L"Ann Smith", L"+49 (30) 123-4", true);
    ASSERT_EQ(S_OK, book.Add(ann));
    ASSERT_NE(0u, ann.key);
    ASSERT_FALSE(ann.identifier.empty());
    EXPECT_EQ(ann.key, book.KeyFromIdentifier(ann.identifier));
    EXPECT_TRUE(StoreHas(L"FullName=Ann Smith"));
    EXPECT_TRUE(StoreHas(L"User:ZentelFavorite=6:1"));

    CRecipient read;
    read.name = L"stale";
    ASSERT_EQ(S_OK, book.Get(ULONG(ann.key), read));
    EXPECT_EQ(L"Ann Smith", read.name);
    EXPECT_EQ(L"+49 (30) 123-4", read.faxNumber);
    EXPECT_TRUE(read.favorite);
    EXPECT_EQ(ann.key, read.key);

    ASSERT_EQ(S_OK, book.Modify(ULONG(ann.key), Record(L"Ann Jones", L"555")));
    ASSERT_EQ(S_OK, book.Get(ULONG(ann.key), read));
    EXPECT_EQ(L"Ann Jones", read.name);
    EXPECT_EQ(L"555", read.faxNumber);
    EXPECT_FALSE(read.favorite);
    EXPECT_TRUE(StoreHas(L"User:ZentelFavorite=6:0"));
    auto listed = Listed();
    ASSERT_EQ(1u, listed.size());
    EXPECT_EQ(ann.key, listed.front().key);

    ASSERT_EQ(S_OK, book.Delete(ULONG(ann.key)));
    EXPECT_TRUE(Listed().empty());
    EXPECT_TRUE(ReadStore().empty());
    EXPECT_EQ(E_FAIL, book.Get(ULONG(ann.key), read));
    EXPECT_EQ(E_FAIL, book.Delete(ULONG(ann.key)));
}

TEST_F(OutlookSourceTest, FavouriteIsCreatedWhenMissing) {
    WriteStore({ContactLine(kAnn, L"Class=40\tFullName=Ann\tBusinessFaxNumber=111"),
                ContactLine(kBob, L"Class=40\tFullName=Bob\tBusinessFaxNumber=222")});
    IAB& book = Connected();
    auto listed = Listed();
    ASSERT_EQ(2u, listed.size());
    ASSERT_EQ(S_OK, book.Modify(ULONG(listed.front().key), Record(L"Ann", L"111", true)));
    ASSERT_EQ(S_OK, book.Modify(ULONG(listed.back().key), Record(L"Bob", L"222", false)));
    const auto lines = ReadStore();
    ASSERT_EQ(2u, lines.size());
    EXPECT_NE(std::wstring::npos, lines[0].find(L"User:ZentelFavorite=6:1")) << lines[0];
    EXPECT_NE(std::wstring::npos, lines[1].find(L"User:ZentelFavorite=6:0")) << lines[1];
    // Written once, found afterwards: no second property of that name.
    ASSERT_EQ(S_OK, book.Modify(ULONG(listed.front().key), Record(L"Ann", L"111", false)));
    const std::wstring ann = ReadStore()[0];
    EXPECT_EQ(ann.find(L"User:ZentelFavorite"), ann.rfind(L"User:ZentelFavorite")) << ann;
    EXPECT_FALSE(Listed().front().favorite);
}

// A contact deleted in Outlook after listing, a distribution list, key 0 and
// a key the table never gave out.
TEST_F(OutlookSourceTest, KeysOfNoContactAreRefusedAndNothingIsWritten) {
    WriteStore({ContactLine(kAnn, L"Class=40\tFullName=Ann\tBusinessFaxNumber=111"),
                ContactLine(kTeam, L"Class=69\tDLName=Team\tBusinessFaxNumber=999")});
    IAB& book = Connected();
    const ULONG ann = ULONG(Listed().front().key);
    {
        OutlookClient outlook;
        auto item = outlook.Item(kAnn);
        ASSERT_TRUE(item);
        ASSERT_EQ(S_OK, CallByName(item.get(), L"Delete", DISPATCH_METHOD, {}, nullptr));
    }
    CRecipient read;
    EXPECT_EQ(E_FAIL, book.Get(0, read)) << "key 0 names no entry";
    EXPECT_EQ(E_INVALIDARG, book.Get(7, read)) << "a key the table never gave out";
    for (const ULONG key : {ann, ULONG(book.KeyFromIdentifier(kTeam))}) {
        EXPECT_EQ(E_FAIL, book.Get(key, read)) << key;
        EXPECT_EQ(E_FAIL, book.Modify(key, Record(L"x", L"1"))) << key;
        EXPECT_EQ(E_FAIL, book.Delete(key)) << key;
    }
    const auto lines = ReadStore();
    ASSERT_EQ(1u, lines.size()) << "Modify must not bring the contact back, nor Delete take the list";
    EXPECT_NE(std::wstring::npos, lines[0].find(L"DLName=Team"));
}

TEST_F(OutlookSourceTest, KeysStayAcrossReconnectAndOtherContactsComingAndGoing) {
    WriteStore({ContactLine(kAnn, L"Class=40\tFullName=Ann\tBusinessFaxNumber=111"),
                ContactLine(kBob, L"Class=40\tFullName=Bob\tBusinessFaxNumber=222")});
    IAB& book = Connected();
    const auto first = Listed();
    CRecipient cid = Record(L"Cid", L"333");
    ASSERT_EQ(S_OK, book.Add(cid));
    ASSERT_EQ(S_OK, book.Delete(ULONG(first.front().key)));
    book.Disconnect();
    ASSERT_EQ(S_OK, book.Connect());
    const auto second = Listed();
    ASSERT_EQ(2u, second.size());
    EXPECT_EQ(first.back().key, second.front().key) << "Bob keeps his key";
    EXPECT_EQ(cid.key, second.back().key);
    EXPECT_EQ(3u, cid.key);
}

// Sources never connected list nothing and refuse every operation, also on
// keys they handed out.
TEST(SourcesNotConnected, AnswerEFail) {
    ComApartment apartment;
    COAB outlook;
    CWAB6 contacts;
    for (IAB* book : {static_cast<IAB*>(&outlook), static_cast<IAB*>(&contacts)}) {
        SCOPED_TRACE(book == &outlook ? "Outlook" : "Windows Contacts");
        RecipientList list{CRecipient{}};
        EXPECT_EQ(E_FAIL, book->LoadAll(list));
        EXPECT_TRUE(list.empty());
        EXPECT_EQ(E_FAIL, book->LoadFaxRecipients(list));
        CRecipient r = Record(L"Ann", L"1");
        EXPECT_EQ(E_FAIL, book->Add(r));
        const ULONG key = ULONG(book->KeyFromIdentifier(kAnn));
        EXPECT_EQ(E_FAIL, book->Get(key, r));
        EXPECT_EQ(E_FAIL, book->Modify(key, r));
        EXPECT_EQ(E_FAIL, book->Delete(key));
        book->Disconnect();
        book->Disconnect();
    }
    EXPECT_TRUE(outlook.SetNotifyWindow(nullptr, true));
    EXPECT_EQ(nullptr, outlook.ContactItems());
}

// Outlook missing: nothing registered under its ProgID.
class OutlookMissingTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(WaitForNoStandin(10000));
        RunStandin(L"/UnregServer");
        ::GetTempPathW(MAX_PATH, m_logPath);
        wcscat_s(m_logPath, L"oab_connect_test.log");
        ::DeleteFileW(m_logPath);
        ::RegSetKeyValueW(HKEY_CURRENT_USER, kLoggerKeyPath, L"FilePath", REG_SZ, m_logPath,
                          DWORD((wcslen(m_logPath) + 1) * sizeof(wchar_t)));
        CLogger::Instance().LoadConfiguration(true);
    }
    // The logger keeps its defaults, and no key or file is left.
    void TearDown() override {
        DeleteUserKey(kLoggerKeyPath);
        CLogger::Instance().LoadConfiguration(true);
        DeleteUserKey(kLoggerKeyPath);
        ::DeleteFileW(m_logPath);
    }
    ComApartment m_apartment;
    wchar_t m_logPath[MAX_PATH] = {};
};

TEST_F(OutlookMissingTest, ConnectFailsWithThePlatformCodeAndLogsIt) {
    CLSID clsid{};
    const HRESULT platform = ::CLSIDFromProgID(L"Outlook.Application", &clsid);
    ASSERT_TRUE(platform == CO_E_CLASSSTRING || platform == REGDB_E_CLASSNOTREG) << std::hex << platform;
    COAB source;
    EXPECT_EQ(platform, source.Connect());
    EXPECT_EQ(nullptr, source.ContactItems());
    RecipientList list;
    EXPECT_EQ(E_FAIL, source.LoadFaxRecipients(list));

    wchar_t expected[64];
    swprintf(expected, 64, L"[Phonebook][COAB::Connect() failed. hr=0x%08Xh\n]", unsigned(platform));
    std::ifstream file(m_logPath, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    const std::wstring log(reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / sizeof(wchar_t));
    EXPECT_NE(std::wstring::npos, log.find(expected)) << "log: " << std::string(log.begin(), log.end());
    EXPECT_EQ(0u, log.find(L"\xFEFF[KTX Err]"));
}

// The stand-in is found the way Outlook is (every Outlook test goes through
// its ProgID, class, type library and the universal marshaler);
// /UnregServer takes all of it away.
TEST_F(OutlookMissingTest, StandInRegistersAsOutlookAndUnregistersCompletely) {
    const std::wstring clsid = L"{0006F03A-0000-0000-C000-000000000046}";
    ASSERT_EQ(0, RunStandin(L"/RegServer"));
    wchar_t server[MAX_PATH] = {};
    DWORD bytes = sizeof(server);
    EXPECT_EQ(ERROR_SUCCESS,
              ::RegGetValueW(HKEY_CLASSES_ROOT, (L"CLSID\\" + clsid + L"\\LocalServer32").c_str(), nullptr,
                             RRF_RT_REG_SZ, nullptr, server, &bytes));
    EXPECT_EQ(L"\"" + BinDir() + L"standin_outlook.exe\"", server);

    ASSERT_EQ(0, RunStandin(L"/UnregServer"));
    for (const std::wstring& key :
         {std::wstring(L"Outlook.Application"), std::wstring(L"Outlook.Application.16"), L"CLSID\\" + clsid,
          std::wstring(L"Interface\\{00063021-0000-0000-C000-000000000046}"),  // ContactItem
          std::wstring(L"Interface\\{00063077-0000-0000-C000-000000000046}"),  // ItemsEvents
          std::wstring(L"TypeLib\\{00062FFF-0000-0000-C000-000000000046}")}) {
        com::UniqueHKey opened;
        EXPECT_NE(ERROR_SUCCESS, ::RegOpenKeyExW(HKEY_CLASSES_ROOT, key.c_str(), 0, KEY_READ, opened.put()))
            << std::string(key.begin(), key.end()) << " is left behind";
    }
}

}  // namespace
