// The MRU book's change watch: changes made by other processes reach the
// registered window, one at a time and in series, and the watcher thread
// ends with its book.
#include "sources/mru_ab.h"
#include "support/mru_fixture.h"

using namespace testing_support;

namespace {

constexpr DWORD kDeliveryMs = 1000;  // how long a change may take to arrive
constexpr DWORD kSettleMs = 400;     // lets the follow-ups of one save arrive

void RunMRUChange(const wchar_t* arguments = L"1 0") {
    ASSERT_EQ(0, RunProcess(L"\"" + BinDir() + L"mru_change.exe\" " + arguments));
}

class MRUWatchTest : public MRUStoreTest {};

// Saves by the module in another process, and subkeys that reg.exe adds.
TEST_F(MRUWatchTest, EveryChangeOfAnotherProcessReachesTheWindowUntilItIsUnregistered) {
    CMRUAB book;
    MessageCounter window(kReloadMessage);
    ASSERT_TRUE(book.SetNotifyWindow(window.hwnd(), true));
    for (int change = 1; change <= 4; ++change) {
        EXPECT_GE(window.WaitAfter([] { RunMRUChange(); }, 1, kDeliveryMs, kSettleMs), 1)
            << "save " << change;
        EXPECT_EQ(2, window.lastLParam());
    }
    for (int change = 0; change < 3; ++change) {
        const std::wstring subkey =
            L"HKCU\\" + std::wstring(kMRUKeyPath) + L"\\" + std::to_wstring(70 + change);
        const auto regAdd = [&] {
            ASSERT_EQ(0, RunProcess(L"reg.exe add \"" + subkey + L"\" /v Fax /d 123 /f"));
        };
        EXPECT_GE(window.WaitAfter(regAdd, 1, kDeliveryMs, kSettleMs), 1) << "reg add " << change;
    }
    book.SetNotifyWindow(window.hwnd(), false);
    EXPECT_EQ(0, window.WaitAfter([] { RunMRUChange(L"2 0"); }, INT_MAX, kDeliveryMs, kSettleMs));
}

// Two books open at once, as with two phonebook controls in two programs.
struct TwoOpenBooks {
    TwoOpenBooks() {
        first.SetNotifyWindow(firstWindow.hwnd(), true);
        second.SetNotifyWindow(secondWindow.hwnd(), true);
    }
    // Lets the follow-ups of the last change arrive, counts afresh, makes the
    // change and pumps both windows' messages (one thread) for the delivery time.
    void Change(const wchar_t* arguments) {
        firstWindow.PumpFor(kSettleMs);
        firstWindow.Reset();
        secondWindow.Reset();
        RunMRUChange(arguments);
        firstWindow.PumpFor(kDeliveryMs);
    }
    CMRUAB first, second;
    MessageCounter firstWindow{kReloadMessage}, secondWindow{kReloadMessage};
};

// The change event is shared by all books of the user and resets itself:
// one signal of it is reported by exactly one book. A save replaces the key
// every book watches; each of them still sees it, save after save.
TEST_F(MRUWatchTest, OneSignalWakesOneOfTwoBooksAndEverySaveReachesBoth) {
    TwoOpenBooks books;
    for (int round = 0; round < 3; ++round) {
        books.Change(L"signal");
        EXPECT_EQ(1, books.firstWindow.count() + books.secondWindow.count())
            << "first " << books.firstWindow.count() << ", second " << books.secondWindow.count();
        books.Change(L"1 0");
        EXPECT_GE(books.firstWindow.count(), 1) << "save " << round;
        EXPECT_GE(books.secondWindow.count(), 1) << "save " << round;
    }
}

// The MRU key deleted and not to be made again (its parent made volatile,
// where only volatile keys may be created): the window is told of the loss,
// but not again and again (every message would restart the control's reload
// timer, so that the list never reloaded). When the key can be made again,
// the watch comes back by itself.
TEST_F(MRUWatchTest, AKeyThatCannotBeMadeAgainIsToldOnceAndWatchedWhenItComesBack) {
    const std::wstring parent = L"SOFTWARE\\Quorvel\\Orvanta\\Recipients";
    CMRUAB book;
    MessageCounter window(kReloadMessage);
    ASSERT_TRUE(book.SetNotifyWindow(window.hwnd(), true));
    window.PumpFor(kSettleMs);
    window.Reset();
    // The watcher held still meanwhile, so that it cannot make the key
    // again between the deletion and the volatile parent.
    com::UniqueHandle watcher(::OpenThread(THREAD_SUSPEND_RESUME, FALSE, book.WatcherThreadId()));
    ASSERT_TRUE(watcher);
    ASSERT_NE(DWORD(-1), ::SuspendThread(watcher.get()));
    const LSTATUS deleted = ::RegDeleteTreeW(HKEY_CURRENT_USER, parent.c_str());
    com::UniqueHKey volatileParent;
    const LSTATUS created =
        ::RegCreateKeyExW(HKEY_CURRENT_USER, parent.c_str(), 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS,
                          nullptr, volatileParent.put(), nullptr);
    ::ResumeThread(watcher.get());
    ASSERT_EQ(ERROR_SUCCESS, deleted);
    ASSERT_EQ(ERROR_SUCCESS, created);
    {
        com::UniqueHKey probe;
        if (::RegCreateKeyExW(HKEY_CURRENT_USER, kMRUKeyPath, 0, nullptr, 0, KEY_READ, nullptr, probe.put(),
                              nullptr) == ERROR_SUCCESS) {
            volatileParent.reset();
            ::RegDeleteTreeW(HKEY_CURRENT_USER, parent.c_str());
            GTEST_SKIP() << "this registry lets a stable key be made under a volatile one";
        }
    }
    const int told = window.PumpFor(2000);
    EXPECT_GE(told, 1) << "the loss is told";
    EXPECT_LE(told, 2) << "and not every turn of the watch";

    volatileParent.reset();
    ASSERT_EQ(ERROR_SUCCESS, ::RegDeleteTreeW(HKEY_CURRENT_USER, parent.c_str()));
    window.Reset();
    EXPECT_GE(window.WaitFor(1, 6000), 1) << "the key made again is told";
    EXPECT_GE(window.WaitAfter([] { RunMRUChange(); }, 1, kDeliveryMs, kSettleMs), 1) << "and watched again";
}

TEST_F(MRUWatchTest, BooksComeAndGoWithoutLeavingThreadsOrHandles) {
    { CMRUAB warmUp; }  // the first book creates what lives as long as the process
    const int threads = ThreadCount();
    const int handles = HandleCount();
    ASSERT_GT(handles, 0);
    DWORD watcher = 0;
    {
        CMRUAB book;
        watcher = book.WatcherThreadId();
        ASSERT_NE(0u, watcher);
        EXPECT_TRUE(ThreadAlive(watcher));
        EXPECT_EQ(threads + 1, ThreadCount());
    }
    EXPECT_FALSE(ThreadAlive(watcher));
    for (int i = 0; i < 20; ++i) {
        CMRUAB book;
        book.Connect();
        CRecipient r;
        r.identifier = L"id";
        r.faxNumber = L"1";
        book.Add(r);
    }
    EXPECT_EQ(threads, ThreadCount());
    EXPECT_EQ(handles, HandleCount());
}

}  // namespace
