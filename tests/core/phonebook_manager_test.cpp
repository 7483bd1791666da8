// The phonebook manager: which selections it takes, that an unchanged
// selection keeps the connected source, that the owner's window follows the
// source it switches to, and the user's preferred address book.
#include "core/phonebook_manager.h"
#include "support/mru_fixture.h"

using namespace testing_support;

namespace {

constexpr wchar_t kRecipientsKey[] = L"SOFTWARE\\Quorvel\\Orvanta\\Recipients";

// An owner that records its hooks.
class RecordingManager : public CPhonebookManager {
public:
    explicit RecordingManager(HWND window = nullptr) : m_window(window) {}
    HWND GetNotifyWindow() override { return m_window; }
    HRESULT OnOutlookConnected() override {
        ++connected;
        return S_OK;
    }
    void OnOutlookDisconnecting() override { ++disconnecting; }
    int connected = 0;
    int disconnecting = 0;

private:
    HWND m_window;
};

class PhonebookManagerTest : public MRUStoreTest {};

TEST_F(PhonebookManagerTest, UnknownSelectionsAreRefusedAndChangeNothing) {
    RecordingManager manager;
    ASSERT_EQ(S_OK, manager.SelectKind(kMRUBook));
    IAB* const source = manager.Source();
    ASSERT_NE(source, nullptr);
    for (int kind : {2, -2, 5, INT_MIN}) {
        bool replaced = true;
        EXPECT_EQ(E_INVALIDARG, manager.SelectKind(kind, &replaced)) << kind;
        EXPECT_FALSE(replaced);
        EXPECT_EQ(manager.Kind(), kMRUBook);
        EXPECT_EQ(manager.Source(), source);
    }
    manager.SetKind(7);
    EXPECT_EQ(E_INVALIDARG, manager.OpenSource());
    EXPECT_EQ(manager.Source(), nullptr);
}

TEST_F(PhonebookManagerTest, SelectingTheCurrentBookKeepsItsSource) {
    RecordingManager manager;
    bool replaced = false;
    ASSERT_EQ(S_OK, manager.SelectKind(kMRUBook, &replaced));
    EXPECT_TRUE(replaced);
    IAB* const source = manager.Source();
    EXPECT_EQ(S_OK, manager.SelectKind(kMRUBook, &replaced));
    EXPECT_FALSE(replaced);
    EXPECT_EQ(manager.Source(), source);
    EXPECT_EQ(manager.connected, 0) << "no Outlook hook for other books";
}

TEST_F(PhonebookManagerTest, TheOwnersWindowHearsOfChangesToTheBookItSwitchedTo) {
    MessageCounter window(kReloadMessage);
    RecordingManager manager(window.hwnd());
    ASSERT_EQ(S_OK, manager.SelectKind(kMRUBook));
    window.PumpFor(300);
    window.Reset();
    ASSERT_EQ(0, RunProcess(L"\"" + BinDir() + L"mru_change.exe\" 1 0"));
    EXPECT_GE(window.WaitFor(1, 1000), 1);

    // Unregistered, the window hears nothing more.
    manager.SetNotifyWindow(window.hwnd(), false);
    window.PumpFor(300);
    window.Reset();
    ASSERT_EQ(0, RunProcess(L"\"" + BinDir() + L"mru_change.exe\" 1 0"));
    EXPECT_EQ(window.PumpFor(600), 0);
}

TEST_F(PhonebookManagerTest, ClosingLeavesNoSourceAndIsHarmlessTwice) {
    RecordingManager manager;
    manager.SetKind(kMRUBook);
    ASSERT_EQ(S_OK, manager.OpenSource());
    manager.CloseSource();
    EXPECT_EQ(manager.Source(), nullptr);
    manager.CloseSource();
    manager.SetNotifyWindow(nullptr, true);  // no source: nothing to pass it to
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

}  // namespace
