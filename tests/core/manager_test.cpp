// The phonebook manager on the real books (the Outlook and address-book
// stand-ins, the MRU store): the selections it takes, the owner's hooks
// around an Outlook source, the fall-back from Windows Contacts to the
// Windows Address Book, and where the owner's window is registered.
#include "core/phonebook_manager.h"

#include "sources/mru_ab.h"
#include "sources/oab.h"
#include "sources/wab5.h"
#include "sources/wab6.h"
#include "support/outlook_fixture.h"
#include "support/wab_fixture.h"

using namespace testing_support;

namespace {

// An owner that counts its hooks and reads the Outlook source when told it goes.
class Owner : public CPhonebookManager {
public:
    explicit Owner(HWND window = nullptr) : m_window(window) {}
    HWND GetNotifyWindow() override { return m_window; }
    HRESULT OnOutlookConnected() override { return ++connected, connectResult; }
    void OnOutlookDisconnecting() override {
        RecipientList records;
        ++disconnecting;
        readWhenDisconnecting = Source() ? Source()->LoadAll(records) : E_POINTER;
    }
    int connected = 0, disconnecting = 0;
    HRESULT connectResult = S_OK, readWhenDisconnecting = E_PENDING;

private:
    HWND m_window;
};

class ManagerTest : public outlooktest::OutlookTest {
protected:
    static void SetUpTestSuite() {
        OutlookTest::SetUpTestSuite();
        ASSERT_EQ(0, RegisterStandIn());
    }
};

TEST_F(ManagerTest, SelectionsAndTheOutlookHooks) {
    Owner owner;
    bool replaced = false;
    ASSERT_EQ(S_OK, owner.SelectKind(kOutlookBook, &replaced));
    IAB* const outlook = owner.Source();
    EXPECT_TRUE(replaced && dynamic_cast<COAB*>(outlook));
    for (int kind : {kOutlookBook, 2, -2}) {
        EXPECT_EQ(kind == kOutlookBook ? S_OK : E_INVALIDARG, owner.SelectKind(kind, &replaced)) << kind;
        EXPECT_FALSE(replaced);
    }
    EXPECT_EQ(std::pair(outlook, kOutlookBook), std::pair(owner.Source(), owner.Kind())) << "the connection is kept";
    // Leaving Outlook, on every way out, tells the owner while the source
    // still answers; the kind is not what decides.
    ASSERT_EQ(S_OK, owner.SelectKind(kMRUBook));
    EXPECT_NE(nullptr, dynamic_cast<CMRUAB*>(owner.Source()));
    EXPECT_EQ(1, owner.disconnecting);
    owner.SetKind(kOutlookBook);
    ASSERT_EQ(S_OK, owner.OpenSource());
    owner.SetKind(kMRUBook);
    ASSERT_EQ(S_OK, owner.OpenSource());
    EXPECT_EQ(2, owner.disconnecting);
    owner.SetKind(kOutlookBook);
    ASSERT_EQ(S_OK, owner.OpenSource());
    owner.CloseSource();
    owner.CloseSource();
    EXPECT_EQ(std::tuple(3, S_OK, 3), std::tuple(owner.disconnecting, owner.readWhenDisconnecting, owner.connected));
    // A failing hook drops the source with its code, without the other hook.
    // (Outlook is let end first: under Wine a class asked for while its
    // server exits may read as not registered.)
    const auto reopen = [&](HRESULT result) {
        EXPECT_TRUE(outlooktest::WaitForNoStandin(10000));
        owner.connectResult = result;
        return owner.OpenSource();
    };
    EXPECT_EQ(E_ACCESSDENIED, reopen(E_ACCESSDENIED));
    EXPECT_EQ(std::pair(static_cast<IAB*>(nullptr), 3), std::pair(owner.Source(), owner.disconnecting));
    EXPECT_EQ(S_FALSE, reopen(S_FALSE)) << "the hook's own success code is the result";
    owner.CloseSource();
}

// Windows Contacts failing to connect is replaced by the address book, for good.
TEST_F(ManagerTest, TheWindowsBookFallsBackToTheAddressBookForGood) {
    Owner owner;
    ASSERT_EQ(S_OK, owner.OpenSource());
    EXPECT_NE(nullptr, dynamic_cast<CWAB5*>(owner.Source())) << "without the flag";
    owner.SetUseWindowsContacts(true);
    ASSERT_EQ(S_OK, owner.OpenSource());
    EXPECT_NE(nullptr, dynamic_cast<CWAB6*>(owner.Source())) << "with the flag";
    ASSERT_EQ(ERROR_SUCCESS, ::RegDeleteTreeW(HKEY_CLASSES_ROOT, L"CLSID\\{7165C8AB-AF88-42BD-86FD-5310B4285A02}"));
    const HRESULT opened = owner.OpenSource();
    ASSERT_EQ(0, RegisterStandIn());
    EXPECT_TRUE(opened == S_OK && dynamic_cast<CWAB5*>(owner.Source()));
    ASSERT_EQ(S_OK, owner.OpenSource());
    EXPECT_NE(nullptr, dynamic_cast<CWAB5*>(owner.Source())) << "Windows Contacts is back, the manager stays";
}

// The owner's window hears the book the manager switched to, and never
// while the kind is Outlook's, whatever the source is at that moment.
TEST_F(ManagerTest, TheOwnersWindowFollowsTheBookButIsNeverGivenToOutlook) {
    const auto changeMRU = [] { ASSERT_EQ(0, RunProcess(L"\"" + BinDir() + L"mru_change.exe\" 1 0")); };
    MessageCounter window(kReloadMessage);
    Owner owner(window.hwnd());
    ASSERT_EQ(S_OK, owner.SelectKind(kMRUBook));
    EXPECT_GE(window.WaitAfter(changeMRU, 1, 2000), 1);
    ASSERT_EQ(S_OK, owner.SelectKind(kWindowsBook));
    EXPECT_GE(window.WaitAfter([] { ASSERT_EQ(0, WriteFromAnotherProcess(ContactsFolder() + L"\\m.txt")); }, 1, 2000), 1);
    ::DeleteFileW((ContactsFolder() + L"\\m.txt").c_str());
    EXPECT_EQ(0, window.WaitAfter(changeMRU, INT_MAX, 600)) << "the MRU book is closed";
    ASSERT_EQ(S_OK, owner.SelectKind(kMRUBook));
    owner.SetNotifyWindow(window.hwnd(), false);
    owner.SetKind(kOutlookBook);
    owner.SetNotifyWindow(window.hwnd(), true);
    EXPECT_EQ(0, window.WaitAfter(changeMRU, INT_MAX, 600));
    DeleteUserKey(kMRUKeyPath);
}

}  // namespace

namespace {

// The book a windowless use (the entry dialog, AddressBook) opens: the user's
// "AddressBook" value, the Windows book when it is absent or not a number.
TEST(PreferredBook, TheUsersChoiceOrTheWindowsBook) {
    constexpr wchar_t kRecipientsKey[] = L"SOFTWARE\\Quorvel\\Orvanta\\Recipients";
    const DWORD mru = DWORD(-1);
    DeleteUserKey(kRecipientsKey);
    EXPECT_EQ(kWindowsBook, CPhonebookManagerStandalone::ReadPreferredKind());
    ::RegSetKeyValueW(HKEY_CURRENT_USER, kRecipientsKey, L"AddressBook", REG_DWORD, &mru, sizeof mru);
    EXPECT_EQ(kMRUBook, CPhonebookManagerStandalone::ReadPreferredKind());
    ::RegSetKeyValueW(HKEY_CURRENT_USER, kRecipientsKey, L"AddressBook", REG_SZ, L"1", 4);
    EXPECT_EQ(kWindowsBook, CPhonebookManagerStandalone::ReadPreferredKind());
    DeleteUserKey(kRecipientsKey);
}

}  // namespace
