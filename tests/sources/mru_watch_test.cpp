// The MRU book's change watch: changes made by other processes reach the
// registered window, one at a time and in series, and the watcher thread
// ends with its book.
#include "sources/mru_ab.h"
#include "support/mru_fixture.h"

using namespace testing_support;

namespace {

constexpr DWORD kDeliveryMs = 1000;  // how long a change may take to arrive
constexpr DWORD kSettleMs = 400;     // lets the follow-ups of one save arrive

int RunMRUChange(int saves) {
    return RunProcess(L"\"" + BinDir() + L"mru_change.exe\" " + std::to_wstring(saves) + L" 0");
}

class MRUWatchTest : public MRUStoreTest {};

TEST_F(MRUWatchTest, EverySaveOfAnotherProcessReachesTheWindow) {
    CMRUAB book;
    MessageCounter window(kReloadMessage);
    ASSERT_TRUE(book.SetNotifyWindow(window.hwnd(), true));
    for (int change = 1; change <= 5; ++change) {
        window.PumpFor(kSettleMs);
        window.Reset();
        ASSERT_EQ(0, RunMRUChange(1));
        EXPECT_GE(window.WaitFor(1, kDeliveryMs), 1) << "change " << change << " was not reported";
        EXPECT_EQ(2, window.lastLParam());
    }
}

TEST_F(MRUWatchTest, SubkeyAddedByRegExeIsReported) {
    CMRUAB book;
    MessageCounter window(kReloadMessage);
    book.SetNotifyWindow(window.hwnd(), true);
    for (int change = 0; change < 3; ++change) {
        window.PumpFor(kSettleMs);
        window.Reset();
        const std::wstring subkey = L"HKCU\\" + std::wstring(kMRUKeyPath) + L"\\" + std::to_wstring(70 + change);
        ASSERT_EQ(0, RunProcess(L"reg.exe add \"" + subkey + L"\" /v Fax /d 123 /f"));
        EXPECT_GE(window.WaitFor(1, kDeliveryMs), 1) << "reg add " << change << " was not reported";
    }
}

TEST_F(MRUWatchTest, NothingReachesAWindowAfterItIsUnregistered) {
    CMRUAB book;
    MessageCounter window(kReloadMessage);
    book.SetNotifyWindow(window.hwnd(), true);
    ASSERT_EQ(0, RunMRUChange(1));
    ASSERT_GE(window.WaitFor(1, kDeliveryMs), 1);

    book.SetNotifyWindow(window.hwnd(), false);
    window.PumpFor(kSettleMs);
    window.Reset();
    ASSERT_EQ(0, RunMRUChange(2));
    EXPECT_EQ(0, window.PumpFor(kDeliveryMs));
}

// Two books open at once, as with two phonebook controls in two programs.
struct TwoOpenBooks {
    TwoOpenBooks() {
        first.SetNotifyWindow(firstWindow.hwnd(), true);
        second.SetNotifyWindow(secondWindow.hwnd(), true);
    }
    // Lets the follow-ups of the last change arrive, then starts counting afresh.
    void Settle() {
        firstWindow.PumpFor(kSettleMs);
        firstWindow.Reset();
        secondWindow.Reset();
    }
    CMRUAB first, second;
    MessageCounter firstWindow{kReloadMessage}, secondWindow{kReloadMessage};
};

// The change event is shared by all books of the user and resets itself:
// one signal of it is reported by exactly one book.
TEST_F(MRUWatchTest, OneSignalOfTheSharedEventWakesOneOfTwoBooks) {
    TwoOpenBooks books;
    for (int signal = 0; signal < 3; ++signal) {
        books.Settle();
        ASSERT_EQ(0, RunProcess(L"\"" + BinDir() + L"mru_change.exe\" signal"));
        books.firstWindow.PumpFor(kDeliveryMs);
        EXPECT_EQ(1, books.firstWindow.count() + books.secondWindow.count())
            << "first " << books.firstWindow.count() << ", second " << books.secondWindow.count();
    }
}

// A save replaces the key every book watches; each of them still sees it,
// in another process's save after save.
TEST_F(MRUWatchTest, EverySaveReachesBothOpenBooks) {
    TwoOpenBooks books;
    for (int change = 0; change < 3; ++change) {
        books.Settle();
        ASSERT_EQ(0, RunMRUChange(1));
        books.firstWindow.PumpFor(kDeliveryMs);
        EXPECT_GE(books.firstWindow.count(), 1) << "change " << change;
        EXPECT_GE(books.secondWindow.count(), 1) << "change " << change;
    }
}

TEST_F(MRUWatchTest, DestroyingTheBookEndsItsWatcherThread) {
    const int before = ThreadCount();
    DWORD watcher = 0;
    {
        CMRUAB book;
        watcher = book.WatcherThreadId();
        ASSERT_NE(0u, watcher);
        EXPECT_TRUE(ThreadAlive(watcher));
        EXPECT_EQ(before + 1, ThreadCount());
    }
    EXPECT_FALSE(ThreadAlive(watcher));
    EXPECT_EQ(before, ThreadCount());
}

TEST_F(MRUWatchTest, ManyBooksComeAndGoWithoutLeavingThreadsOrHandles) {
    { CMRUAB warmUp; }  // the first book creates what lives as long as the process
    const int threads = ThreadCount();
    const int handles = HandleCount();
    ASSERT_GT(handles, 0);
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
