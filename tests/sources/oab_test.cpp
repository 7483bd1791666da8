// The Outlook contacts source through IAB against the Outlook stand-in: what
// is listed, the favourite mark, the version and its reminders, the
// operations and their failures, and the connect failure with its log line.
#include "sources/oab.h"
#include "sources/outlook_fixture.h"

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
constexpr wchar_t kCid[] = L"000000000D00000000000000000000000000000000000004";

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

TEST_F(OutlookSourceTest, ListsOnlyContactsWithABusinessFax) {
    WriteStore({
        ContactLine(kAnn, L"Class=40\tFullName=Ann\tBusinessFaxNumber=111\tUser:ZentelFavorite=6:1"),
        // Other fax numbers do not make a fax recipient.
        ContactLine(kBob, L"Class=40\tFullName=Bob\tHomeFaxNumber=222\tOtherFaxNumber=333"),
        // A distribution list that another program left with a business fax
        // passes Outlook's filter; the source must skip it by its class.
        ContactLine(kTeam, L"Class=69\tDLName=Team\tBusinessFaxNumber=999"),
        ContactLine(kCid, L"Class=40\tFullName=Cid\tBusinessFaxNumber=444"),
    });
    IAB& book = Connected();
    {
        OutlookClient outlook;
        ASSERT_EQ(3, outlook.RestrictedCount(L"[BusinessFaxNumber] <> ''"))
            << "the filter as Outlook applies it";
    }
    for (int load = 0; load < 2; ++load) {
        RecipientList all;
        ASSERT_EQ(S_OK, book.LoadAll(all));
        ASSERT_EQ(2u, all.size());
        EXPECT_EQ(L"Ann", all.front().name);
        EXPECT_EQ(L"111", all.front().faxNumber);
        EXPECT_EQ(kAnn, all.front().identifier);
        EXPECT_TRUE(all.front().favorite);
        EXPECT_EQ(L"Cid", all.back().name);
        EXPECT_FALSE(all.back().favorite);
        for (const auto& r : all)
            for (const auto& spare : r.spare) EXPECT_TRUE(spare.empty());
        // Keys are positions in the source's table: the same on every load.
        EXPECT_EQ(1u, all.front().key);
        EXPECT_EQ(2u, all.back().key);
    }
    EXPECT_EQ(2u, Listed().size());
}

TEST_F(OutlookSourceTest, FavouriteIsNotReadWhenTheFaxIsEmpty) {
    WriteStore({ContactLine(kBob, L"Class=40\tFullName=Bob\tHomeFaxNumber=222\tUser:ZentelFavorite=6:1")});
    IAB& book = Connected();
    EXPECT_TRUE(Listed().empty());
    CRecipient bob;
    ASSERT_EQ(S_OK, book.Get(ULONG(book.KeyFromIdentifier(kBob)), bob));
    EXPECT_EQ(L"Bob", bob.name);
    EXPECT_TRUE(bob.faxNumber.empty());
    EXPECT_FALSE(bob.favorite) << "the mark of a contact without a fax number is not read";
}

TEST_F(OutlookSourceTest, FavouriteReadsTrueOnlyForAYesNoHoldingTrue) {
    WriteStore({
        ContactLine(kAnn, L"Class=40\tFullName=Ann\tBusinessFaxNumber=1\tUser:ZentelFavorite=6:0"),
        ContactLine(kBob, L"Class=40\tFullName=Bob\tBusinessFaxNumber=2\tUser:ZentelFavorite=1:yes"),
        ContactLine(kCid, L"Class=40\tFullName=Cid\tBusinessFaxNumber=3\tUser:Other=6:1"),
    });
    Connected();
    for (const auto& r : Listed()) EXPECT_FALSE(r.favorite) << r.name;
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

TEST_F(OutlookSourceTest, ContactDeletedInOutlookAfterListingIsNotFound) {
    WriteStore({ContactLine(kAnn, L"Class=40\tFullName=Ann\tBusinessFaxNumber=111")});
    IAB& book = Connected();
    const ULONG key = ULONG(Listed().front().key);
    {
        OutlookClient outlook;
        auto ann = outlook.Item(kAnn);
        ASSERT_TRUE(ann);
        ASSERT_EQ(S_OK, CallByName(ann.get(), L"Delete", DISPATCH_METHOD, {}, nullptr));
    }
    EXPECT_EQ(E_FAIL, book.Modify(key, Record(L"Ann", L"111")));
    CRecipient read;
    EXPECT_EQ(E_FAIL, book.Get(key, read));
    EXPECT_EQ(E_FAIL, book.Delete(key));
    EXPECT_TRUE(ReadStore().empty()) << "Modify must not bring the contact back";
}

TEST_F(OutlookSourceTest, KeysOutsideTheTableAndTheDistributionListAreRefused) {
    WriteStore({ContactLine(kTeam, L"Class=69\tDLName=Team\tBusinessFaxNumber=999")});
    IAB& book = Connected();
    CRecipient read;
    EXPECT_EQ(E_FAIL, book.Get(0, read)) << "key 0 names no entry";
    EXPECT_EQ(E_INVALIDARG, book.Get(7, read)) << "a key the table never gave out";
    const ULONG team = ULONG(book.KeyFromIdentifier(kTeam));
    EXPECT_EQ(E_FAIL, book.Get(team, read)) << "a distribution list is not a contact";
    EXPECT_EQ(E_FAIL, book.Modify(team, Record(L"x", L"1")));
    EXPECT_EQ(E_FAIL, book.Delete(team));
    EXPECT_EQ(1u, ReadStore().size());
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

TEST_F(OutlookSourceTest, NotConnectedAnswersEFail) {
    IAB& book = *m_source;
    RecipientList list{CRecipient{}};
    EXPECT_EQ(E_FAIL, book.LoadAll(list));
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(E_FAIL, book.LoadFaxRecipients(list));
    CRecipient r = Record(L"Ann", L"1");
    EXPECT_EQ(E_FAIL, book.Add(r));
    const ULONG key = ULONG(book.KeyFromIdentifier(kAnn));
    EXPECT_EQ(E_FAIL, book.Get(key, r));
    EXPECT_EQ(E_FAIL, book.Modify(key, r));
    EXPECT_EQ(E_FAIL, book.Delete(key));
    EXPECT_TRUE(book.SetNotifyWindow(nullptr, true));
    book.Disconnect();
    book.Disconnect();
    EXPECT_EQ(nullptr, m_source->ContactItems());
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
        ResetLogger();
        const std::wstring path = m_logPath;
        ::RegSetKeyValueW(HKEY_CURRENT_USER, kLoggerKeyPath, L"FilePath", REG_SZ, path.c_str(),
                          DWORD((path.size() + 1) * sizeof(wchar_t)));
        CLogger::Instance().LoadConfiguration(true);
    }
    void TearDown() override {
        ResetLogger();
        ::DeleteFileW(m_logPath);
    }
    static void ResetLogger() {
        DeleteUserKey(kLoggerKeyPath);
        CLogger::Instance().LoadConfiguration(true);
        DeleteUserKey(kLoggerKeyPath);
    }
    std::wstring LogText() const {
        std::ifstream file(m_logPath, std::ios::binary);
        std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
        std::wstring text(bytes.size() / 2, L'\0');
        memcpy(text.data(), bytes.data(), text.size() * sizeof(wchar_t));
        return text;
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
    const std::wstring log = LogText();
    EXPECT_NE(std::wstring::npos, log.find(expected)) << "log: " << std::string(log.begin(), log.end());
    EXPECT_EQ(0u, log.find(L"\xFEFF[KTX Err]"));
}

std::wstring ClassesText(const std::wstring& path, const wchar_t* name = nullptr) {
    wchar_t text[512] = {};
    DWORD bytes = sizeof(text) - sizeof(wchar_t);
    if (::RegGetValueW(HKEY_CLASSES_ROOT, path.c_str(), name, RRF_RT_REG_SZ, nullptr, text, &bytes) !=
        ERROR_SUCCESS)
        return L"<missing>";
    return text;
}

// The stand-in is found the way Outlook is: ProgID, class, type library and
// the universal marshaler for its interfaces; /UnregServer takes it all away.
TEST_F(OutlookMissingTest, StandInRegistersAsOutlookAndUnregistersCompletely) {
    const std::wstring clsid = L"{0006F03A-0000-0000-C000-000000000046}";
    const std::wstring contactItem = L"Interface\\{00063021-0000-0000-C000-000000000046}";
    const std::wstring itemsEvents = L"Interface\\{00063077-0000-0000-C000-000000000046}";
    const std::wstring typeLib = L"TypeLib\\{00062FFF-0000-0000-C000-000000000046}\\9.6\\0\\win64";
    ASSERT_EQ(0, RunStandin(L"/RegServer"));
    EXPECT_EQ(clsid, ClassesText(L"Outlook.Application\\CLSID"));
    EXPECT_EQ(L"Outlook.Application.16", ClassesText(L"Outlook.Application\\CurVer"));
    EXPECT_EQ(clsid, ClassesText(L"Outlook.Application.16\\CLSID"));
    EXPECT_EQ(L"\"" + BinDir() + L"standin_outlook.exe\"",
              ClassesText(L"CLSID\\" + clsid + L"\\LocalServer32"));
    EXPECT_EQ(L"{00020424-0000-0000-C000-000000000046}", ClassesText(contactItem + L"\\ProxyStubClsid32"));
    EXPECT_EQ(L"{00062FFF-0000-0000-C000-000000000046}", ClassesText(contactItem + L"\\TypeLib"));
    EXPECT_NE(L"<missing>", ClassesText(itemsEvents + L"\\ProxyStubClsid32"));
    EXPECT_EQ(BinDir() + L"standin_outlook.exe", ClassesText(typeLib));

    ASSERT_EQ(0, RunStandin(L"/UnregServer"));
    for (const std::wstring& key :
         {std::wstring(L"Outlook.Application"), std::wstring(L"Outlook.Application.16"), L"CLSID\\" + clsid,
          contactItem, itemsEvents, typeLib}) {
        com::UniqueHKey opened;
        EXPECT_NE(ERROR_SUCCESS, ::RegOpenKeyExW(HKEY_CLASSES_ROOT, key.c_str(), 0, KEY_READ, opened.put()))
            << std::string(key.begin(), key.end()) << " is left behind";
    }
}

}  // namespace
