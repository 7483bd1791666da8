// The phonebook manager: which selections it takes, that an unchanged
// selection keeps the connected source, that the owner's window follows the
// source it switches to, the Outlook hooks around the Outlook source, the
// fall-back from Windows Contacts to the Windows Address Book, and the
// user's preferred address book.
#include "core/phonebook_manager.h"

#include "control/phonebook_event_handler.h"
#include "sources/oab.h"
#include "support/outlook_fixture.h"
#include "sources/wab5.h"
#include "sources/wab6.h"
#include "support/wab_fixture.h"
#include "support/mru_fixture.h"

using namespace testing_support;

namespace {

constexpr wchar_t kRecipientsKey[] = L"SOFTWARE\\Quorvel\\Orvanta\\Recipients";

// An owner that records its hooks: how often they ran, and whether the
// Outlook source could still be read when the owner was told it goes.
class RecordingManager : public CPhonebookManager {
public:
    explicit RecordingManager(HWND window = nullptr) : m_window(window) {}
    HWND GetNotifyWindow() override { return m_window; }
    HRESULT OnOutlookConnected() override {
        ++connected;
        return connectResult;
    }
    void OnOutlookDisconnecting() override {
        ++disconnecting;
        RecipientList records;
        sourceReadWhenDisconnecting = Source() ? Source()->LoadAll(records) : E_POINTER;
    }
    int connected = 0;
    int disconnecting = 0;
    HRESULT connectResult = S_OK;
    HRESULT sourceReadWhenDisconnecting = E_PENDING;

private:
    HWND m_window;
};

// Changes by other processes: a save of the MRU store, and a file written
// into the Contacts folder, as a contact saved by another program is.
std::wstring ScratchFile() { return ContactsFolder() + L"\\manager_test_scratch.txt"; }
void ChangeMRU() { ASSERT_EQ(0, RunProcess(L"\"" + BinDir() + L"mru_change.exe\" 1 0")); }
void ChangeContacts() { ASSERT_EQ(0, WriteFromAnotherProcess(ScratchFile())); }

// The reload messages for one change: up to the first when one is expected,
// else all that come within 600 ms.
int Reloads(MessageCounter& window, void (*change)(), bool expected) {
    return window.WaitAfter(change, expected ? 1 : INT_MAX, expected ? 2000 : 600);
}

class PhonebookManagerTest : public MRUStoreTest {};

TEST_F(PhonebookManagerTest, SelectionsKeepTheSourceUnlessTheBookChanges) {
    RecordingManager manager;
    bool replaced = false;
    ASSERT_EQ(S_OK, manager.SelectKind(kMRUBook, &replaced));
    EXPECT_TRUE(replaced);
    IAB* const source = manager.Source();
    ASSERT_NE(source, nullptr);
    EXPECT_EQ(S_OK, manager.SelectKind(kMRUBook, &replaced));
    EXPECT_FALSE(replaced);
    // Unknown selections are refused and change nothing.
    for (int kind : {2, -2, 5, INT_MIN}) {
        replaced = true;
        EXPECT_EQ(E_INVALIDARG, manager.SelectKind(kind, &replaced)) << kind;
        EXPECT_FALSE(replaced);
        EXPECT_EQ(manager.Kind(), kMRUBook);
    }
    EXPECT_EQ(manager.Source(), source);
    EXPECT_EQ(manager.connected, 0) << "no Outlook hook for other books";
    manager.SetKind(7);
    EXPECT_EQ(E_INVALIDARG, manager.OpenSource());
    EXPECT_EQ(manager.Source(), nullptr);

    // Closing is harmless twice, and a window with no source has nothing to go to.
    manager.SetKind(kMRUBook);
    ASSERT_EQ(S_OK, manager.OpenSource());
    manager.CloseSource();
    EXPECT_EQ(manager.Source(), nullptr);
    manager.CloseSource();
    manager.SetNotifyWindow(nullptr, true);
    EXPECT_EQ(manager.disconnecting, 0);
}

TEST(PreferredAddressBookTest, ReadsTheUsersChoiceAndDefaultsToTheWindowsBook) {
    DeleteUserKey(kRecipientsKey);
    EXPECT_EQ(kWindowsBook, CPhonebookManagerStandalone::ReadPreferredKind());

    com::UniqueHKey key;
    ASSERT_EQ(ERROR_SUCCESS, ::RegCreateKeyExW(HKEY_CURRENT_USER, kRecipientsKey, 0, nullptr, 0, KEY_ALL_ACCESS,
                                               nullptr, key.put(), nullptr));
    const DWORD mru = DWORD(-1);
    ::RegSetValueExW(key.get(), L"AddressBook", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&mru), sizeof mru);
    EXPECT_EQ(kMRUBook, CPhonebookManagerStandalone::ReadPreferredKind());

    // A value of the wrong type is no choice.
    ::RegSetValueExW(key.get(), L"AddressBook", 0, REG_SZ, reinterpret_cast<const BYTE*>(L"1"), 4);
    EXPECT_EQ(kWindowsBook, CPhonebookManagerStandalone::ReadPreferredKind());
    key.reset();
    DeleteUserKey(kRecipientsKey);
}

// The manager on the real books: the Outlook stand-in, the Windows Contacts
// and Windows Address Book stand-in, and the MRU store, all reached through
// the registry as the product reaches them.
class ManagerOnBooksTest : public outlooktest::OutlookTest {
protected:
    // The address-book stand-in stays registered, as the system's library is
    // on Windows (see WABTest).
    static void SetUpTestSuite() {
        OutlookTest::SetUpTestSuite();
        ASSERT_EQ(0, RegisterStandIn());
    }
    void SetUp() override {
        OutlookTest::SetUp();
        DeleteUserKey(kMRUKeyPath);
    }
    void TearDown() override {
        DeleteUserKey(kMRUKeyPath);
        ::DeleteFileW(ScratchFile().c_str());
        OutlookTest::TearDown();
    }
};

// The Windows Contacts class missing, as on a system with only the WAB
// library: its key removed for the test and registered again after.
class ContactManagerClassRemoved {
public:
    ContactManagerClassRemoved() {
        removed = ::RegDeleteTreeW(HKEY_CLASSES_ROOT, L"CLSID\\{7165C8AB-AF88-42BD-86FD-5310B4285A02}") ==
                  ERROR_SUCCESS;
    }
    ~ContactManagerClassRemoved() { RegisterStandIn(); }
    bool removed = false;
};

TEST_F(ManagerOnBooksTest, TheWindowsBookIsContactsOrTheAddressBookByTheFlag) {
    RecordingManager wab;
    ASSERT_EQ(S_OK, wab.OpenSource());
    EXPECT_NE(nullptr, dynamic_cast<CWAB5*>(wab.Source()));

    // Without a control to choose, the library, whatever the system.
    CPhonebookManagerStandalone standalone;
    EXPECT_FALSE(standalone.UsesWindowsContacts());
    ASSERT_EQ(S_OK, standalone.OpenSource());
    EXPECT_NE(nullptr, dynamic_cast<CWAB5*>(standalone.Source()));

    struct Manager2 : CPhonebookManager2 {
        HWND GetNotifyWindow() override { return nullptr; }
        HRESULT OnOutlookConnected() override { return S_OK; }
        void OnOutlookDisconnecting() override {}
    } contacts;
    ASSERT_EQ(S_OK, contacts.OpenSource());
    EXPECT_NE(nullptr, dynamic_cast<CWAB6*>(contacts.Source()));
    EXPECT_TRUE(contacts.UsesWindowsContacts());
}

TEST_F(ManagerOnBooksTest, FailingWindowsContactsFallsBackToTheAddressBookForGood) {
    RecordingManager manager;
    manager.SetUseWindowsContacts(true);
    {
        ContactManagerClassRemoved missing;
        ASSERT_TRUE(missing.removed);
        ASSERT_EQ(S_OK, manager.OpenSource());
        EXPECT_NE(nullptr, dynamic_cast<CWAB5*>(manager.Source()));
        EXPECT_FALSE(manager.UsesWindowsContacts());
    }
    // Windows Contacts is back, but this manager stays with the WAB.
    ASSERT_EQ(S_OK, manager.SelectKind(kMRUBook));
    ASSERT_EQ(S_OK, manager.SelectKind(kWindowsBook));
    EXPECT_NE(nullptr, dynamic_cast<CWAB5*>(manager.Source()));

    // Neither face there: the WAB source opens its library at construction
    // and connects whatever came of it, so the manager ends with a WAB
    // source that has no book and refuses to add to it.
    RecordingManager nothing;
    nothing.SetUseWindowsContacts(true);
    ASSERT_EQ(0, RegisterStandIn(true));
    ContactManagerClassRemoved restoreAfter;
    EXPECT_EQ(S_OK, nothing.OpenSource());
    ASSERT_NE(nullptr, dynamic_cast<CWAB5*>(nothing.Source()));
    EXPECT_FALSE(nothing.UsesWindowsContacts());
    CRecipient record;
    record.name = L"Ann";
    record.faxNumber = L"100";
    EXPECT_EQ(E_FAIL, nothing.Source()->Add(record));
}

// The owner's window is registered with the book the manager switches to,
// and only while it is registered; never with Outlook, whatever the source
// is at that moment (and Outlook has no sink of this owner's to report through).
TEST_F(ManagerOnBooksTest, TheOwnersWindowHearsTheBookItSwitchedToButNeverOutlook) {
    for (const bool contacts : {true, false}) {
        SCOPED_TRACE(contacts ? "Windows Contacts" : "Windows Address Book");
        MessageCounter window(kReloadMessage);
        RecordingManager manager(window.hwnd());
        manager.SetUseWindowsContacts(contacts);
        ASSERT_EQ(S_OK, manager.SelectKind(kMRUBook));
        EXPECT_GE(Reloads(window, ChangeMRU, true), 1);
        ASSERT_EQ(S_OK, manager.SelectKind(kWindowsBook));
        EXPECT_GE(Reloads(window, ChangeContacts, true), 1);
        EXPECT_EQ(0, Reloads(window, ChangeMRU, false)) << "the MRU book is closed";
        manager.SetNotifyWindow(window.hwnd(), false);
        EXPECT_EQ(0, Reloads(window, ChangeContacts, false)) << "unregistered";
    }

    MessageCounter window(kReloadMessage);
    RecordingManager manager(window.hwnd());
    ASSERT_EQ(S_OK, manager.SelectKind(kMRUBook));
    manager.SetNotifyWindow(window.hwnd(), false);
    manager.SetKind(kOutlookBook);
    manager.SetNotifyWindow(window.hwnd(), true);
    EXPECT_EQ(0, Reloads(window, ChangeMRU, false));
    manager.SetKind(kMRUBook);
    manager.SetNotifyWindow(window.hwnd(), true);
    EXPECT_GE(Reloads(window, ChangeMRU, true), 1) << "the same call reaches the MRU source";

    ASSERT_EQ(S_OK, manager.SelectKind(kOutlookBook));
    std::string output;
    const auto changes = [&] {
        ChangeMRU();
        ASSERT_EQ(0, outlooktest::RunChangeScript(L"add Zed 555", &output));
    };
    EXPECT_EQ(0, window.WaitAfter(changes, INT_MAX, 600));
    EXPECT_NE(std::string::npos, output.find("done add")) << output;
}

TEST_F(ManagerOnBooksTest, SelectingOutlookAgainKeepsTheConnectionAndBadKindsKeepIt) {
    RecordingManager manager;
    ASSERT_EQ(S_OK, manager.SelectKind(kOutlookBook));
    IAB* const source = manager.Source();
    ASSERT_NE(nullptr, dynamic_cast<COAB*>(source));
    EXPECT_EQ(1, manager.connected);
    const auto processes = outlooktest::StandinProcesses();

    bool replaced = true;
    EXPECT_EQ(S_OK, manager.SelectKind(kOutlookBook, &replaced));
    EXPECT_FALSE(replaced);
    EXPECT_EQ(E_INVALIDARG, manager.SelectKind(2, &replaced));
    EXPECT_FALSE(replaced);
    EXPECT_EQ(source, manager.Source());
    EXPECT_EQ(kOutlookBook, manager.Kind());
    EXPECT_EQ(1, manager.connected);
    EXPECT_EQ(0, manager.disconnecting);
    EXPECT_EQ(processes, outlooktest::StandinProcesses()) << "the same Outlook serves on";

    // Leaving Outlook tells the owner while the source still answers.
    ASSERT_EQ(S_OK, manager.SelectKind(kMRUBook));
    EXPECT_EQ(1, manager.disconnecting);
    EXPECT_EQ(S_OK, manager.sourceReadWhenDisconnecting);
}

TEST_F(ManagerOnBooksTest, OwnerIsToldBeforeTheOutlookSourceGoesOnEveryWayOut) {
    {
        RecordingManager closed;
        closed.SetKind(kOutlookBook);
        ASSERT_EQ(S_OK, closed.OpenSource());
        closed.CloseSource();
        EXPECT_EQ(1, closed.disconnecting);
        EXPECT_EQ(S_OK, closed.sourceReadWhenDisconnecting);
        closed.CloseSource();
        EXPECT_EQ(1, closed.disconnecting) << "no source, nothing to tell";

        RecordingManager reopened;
        reopened.SetKind(kOutlookBook);
        ASSERT_EQ(S_OK, reopened.OpenSource());
        ASSERT_EQ(S_OK, reopened.OpenSource());
        EXPECT_EQ(1, reopened.disconnecting);
        EXPECT_EQ(2, reopened.connected);

        // Kind changed behind the manager's back: it is still an Outlook
        // source that goes.
        reopened.SetKind(kMRUBook);
        ASSERT_EQ(S_OK, reopened.OpenSource());
        EXPECT_EQ(2, reopened.disconnecting);
        EXPECT_EQ(S_OK, reopened.sourceReadWhenDisconnecting);
    }
    struct Destroyed : RecordingManager {
        explicit Destroyed(int* told) : m_told(told) {}
        ~Destroyed() override { CloseSource(); }
        void OnOutlookDisconnecting() override { ++*m_told; }
        int* m_told;
    };
    int told = 0;
    {
        Destroyed destroyed(&told);
        destroyed.SetKind(kOutlookBook);
        ASSERT_EQ(S_OK, destroyed.OpenSource());
    }
    EXPECT_EQ(1, told) << "an owner closing the source before it goes is told";
}

TEST_F(ManagerOnBooksTest, AFailingOutlookHookDropsTheSourceWithItsCode) {
    RecordingManager manager;
    manager.connectResult = E_ACCESSDENIED;
    ASSERT_EQ(S_OK, manager.SelectKind(kMRUBook));
    EXPECT_EQ(E_ACCESSDENIED, manager.SelectKind(kOutlookBook));
    EXPECT_EQ(nullptr, manager.Source());
    EXPECT_EQ(kOutlookBook, manager.Kind());
    EXPECT_EQ(1, manager.connected);
    EXPECT_EQ(0, manager.disconnecting) << "the hook that failed is not undone by the owner's other hook";
    EXPECT_TRUE(outlooktest::WaitForNoStandin(10000)) << "the dropped source let Outlook go";

    // A later opening with a working hook connects.
    manager.connectResult = S_FALSE;
    EXPECT_EQ(S_FALSE, manager.OpenSource()) << "the hook's own success code is the result";
    EXPECT_NE(nullptr, manager.Source());
}

TEST_F(ManagerOnBooksTest, OutlookMissingLeavesNoSourceAndNoHookCalled) {
    ASSERT_EQ(0, outlooktest::RunStandin(L"/UnregServer"));
    CLSID clsid{};
    const HRESULT platform = ::CLSIDFromProgID(L"Outlook.Application", &clsid);
    RecordingManager manager;
    ASSERT_EQ(S_OK, manager.SelectKind(kMRUBook));
    const HRESULT hr = manager.SelectKind(kOutlookBook);
    ASSERT_EQ(0, outlooktest::RunStandin(L"/RegServer"));
    EXPECT_TRUE(FAILED(platform));
    EXPECT_EQ(platform, hr);
    EXPECT_EQ(nullptr, manager.Source());
    EXPECT_EQ(0, manager.connected);
    manager.CloseSource();
    EXPECT_EQ(0, manager.disconnecting);
}

// An owner as the controls are: its event sink follows the Outlook source.
class SinkOwner : public CPhonebookManager {
public:
    explicit SinkOwner(HWND window) : m_window(window) {}
    ~SinkOwner() override { CloseSource(); }
    HWND GetNotifyWindow() override { return m_window; }
    HRESULT OnOutlookConnected() override {
        const COAB* outlook = dynamic_cast<const COAB*>(Source());
        if (!outlook) return E_UNEXPECTED;
        return m_handler.Connect(*outlook, m_window);
    }
    void OnOutlookDisconnecting() override { m_handler.Disconnect(); }
    bool Listening() const noexcept { return m_handler.IsConnected(); }

private:
    HWND m_window;
    CPhonebookEventHandler m_handler;
};

TEST_F(ManagerOnBooksTest, OutlookChangesByAnotherProcessReachTheOwnersWindowThroughItsSink) {
    MessageCounter window(kReloadMessage);
    SinkOwner owner(window.hwnd());
    ASSERT_EQ(S_OK, owner.SelectKind(kOutlookBook));
    ASSERT_TRUE(owner.Listening());

    std::string output;
    ASSERT_EQ(0, outlooktest::RunChangeScript(L"add Zed 555", &output));
    ASSERT_NE(std::string::npos, output.find("done add")) << output;
    EXPECT_GE(window.WaitFor(1, 1000), 1);
    const std::string entryId = output.substr(0, output.find_first_of("\r\n"));

    // Back to the MRU list: the sink is gone with the source.
    ASSERT_EQ(S_OK, owner.SelectKind(kMRUBook));
    EXPECT_FALSE(owner.Listening());
    const auto remove = [&] {
        ASSERT_EQ(0, outlooktest::RunChangeScript(L"delete " + std::wstring(entryId.begin(), entryId.end()), &output));
    };
    EXPECT_EQ(0, window.WaitAfter(remove, INT_MAX, 600, 200));
    EXPECT_NE(std::string::npos, output.find("done delete")) << output;
}

}  // namespace
