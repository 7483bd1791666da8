// Rotation of the log file at a 1 MB limit: the backup numbers and their cap,
// the notice line, write modes that never rotate, and threads writing across
// rotations.
#include "log_test_support.h"

#include <array>
#include <atomic>
#include <map>
#include <thread>

using namespace logtest;

namespace {

constexpr ULONGLONG kOneMegabyte = 1 << 20;
constexpr DWORD kMissing = 0xFFFF0000;

class RotationTest : public LoggerTest {
protected:
    // Starts afresh: no backups, file only, a 1 MB limit, then `more`.
    static void Start(std::initializer_list<std::pair<const wchar_t*, DWORD>> more = {}) {
        ResetLogState();
        Configure({{L"Type", kLogTypeFile}, {L"MaxSize", 1}});
        Configure(more);
    }
};

// The full log becomes the backup, which ends with a notice naming it; the
// new log holds the new line only. Just below the limit nothing rotates.
TEST_F(RotationTest, TheFullLogBecomesABackupEndingWithANotice) {
    Start();
    WriteFilledLog(DefaultLogPath(), kOneMegabyte - 2, L"below");
    Log(L"Phonebook", L"crosses the limit");
    ASSERT_TRUE(ExistingBackups().empty());
    WriteFilledLog(DefaultLogPath(), kOneMegabyte, L"full");
    Log(L"Phonebook", L"new");
    EXPECT_EQ(std::vector<int>{1}, ExistingBackups());
    EXPECT_NE(std::wstring::npos, ReadLog(BackupPath(1)).find(L"[full]"));
    ParsedLine notice;
    ASSERT_TRUE(ParseLine(ReadLogLines(BackupPath(1)).back(), notice));
    EXPECT_EQ(L"Info", notice.tag);
    EXPECT_EQ(L"KTX log file is being backed-up, as its size reached to maximum limit allowed. File backed-up as : " +
                  BackupPath(1),
              notice.message);
    EXPECT_EQ(Messages{L"new"}, FileMessages(DefaultLogPath()));
}

// The next number comes from the key at each rotation (so processes sharing
// the log continue one cycle): one past "CurrentCount", back to 1 past
// "MaxCount", which counts as 10 above 10; a backup of that number is replaced.
TEST_F(RotationTest, NextNumberComesFromTheKey) {
    for (const auto& [maxCount, currentCount, next] : {std::array<DWORD, 3>{10, 4, 5}, {10, 9, 10}, {10, 10, 1}, {3, 2, 3},
                                                       {3, 3, 1}, {20, 10, 1}, {20, 15, 1}, {0, 0, 1}}) {
        Start();
        SetDword(L"MaxCount", maxCount);
        SetDword(L"CurrentCount", currentCount);
        WriteFilledLog(BackupPath(int(next)), 200, L"old");
        WriteFilledLog(DefaultLogPath(), kOneMegabyte, L"fill");
        Log(L"Phonebook", L"line");
        EXPECT_EQ(std::vector<int>{int(next)}, ExistingBackups()) << maxCount << "/" << currentCount;
        EXPECT_EQ(next, GetDword(L"CurrentCount", kMissing));
        EXPECT_NE(std::wstring::npos, ReadLog(BackupPath(int(next))).find(L"[fill]"));
    }
}

// A write mode other than 2 from the key, or from an override (which holds
// for later calls until the settings are read again), never rotates.
TEST_F(RotationTest, OtherWriteModesNeverRotate) {
    for (DWORD mode : {0u, 1u, 3u, 0xFFFFFFFFu}) {
        Start({{L"WriteMode", mode}});
        WriteFilledLog(DefaultLogPath(), 2 * kOneMegabyte, L"fill");
        Log(L"Phonebook", L"appended");
        EXPECT_TRUE(ExistingBackups().empty()) << mode;
        EXPECT_EQ(L"appended", FileMessages(DefaultLogPath()).back());
    }
    Start();
    WriteFilledLog(DefaultLogPath(), kOneMegabyte, L"fill");
    Log(L"Phonebook", L"override", kLogTypeFromSettings, 1);
    Log(L"Phonebook", L"later");
    EXPECT_TRUE(ExistingBackups().empty());
    Reload();
    Log(L"Phonebook", L"rotates");
    EXPECT_EQ(std::vector<int>{1}, ExistingBackups());
}

// Four threads, the settings read again meanwhile (as a support tool may make
// a host do): each thread's lines arrive whole, once and in order.
TEST_F(RotationTest, ThreadsAcrossRotationsLoseNothing) {
    constexpr int kThreads = 4, kLines = 3000;  // about 200 bytes a line: two or three rotations
    const auto message = [](int t, int n) { return L"T" + std::to_wstring(t) + L" N" + std::to_wstring(n) + std::wstring(50, L'.'); };
    Start();
    std::atomic<bool> writing{true};
    std::thread reloader([&writing] {
        while (writing) Reload();
    });
    std::vector<std::thread> writers;
    for (int t = 0; t < kThreads; ++t)
        writers.emplace_back([t, &message] {
            for (int n = 0; n < kLines; ++n) Log(L"Thread", message(t, n).c_str());
        });
    for (std::thread& writer : writers) writer.join();
    writing = false;
    reloader.join();

    const DWORD rotations = GetDword(L"CurrentCount", kMissing);
    ASSERT_TRUE(rotations >= 1 && rotations <= 9) << rotations << " rotations";
    std::map<int, int> next;
    DWORD notices = 0;
    for (DWORD file = 1; file <= rotations + 1; ++file)
        for (const std::wstring& line : ReadLogLines(file <= rotations ? BackupPath(int(file)) : DefaultLogPath())) {
            ParsedLine parsed;
            ASSERT_TRUE(ParseLine(line, parsed)) << "damaged line";
            if (parsed.source == L"Logger") {
                ++notices;
                continue;
            }
            int thread = -1;
            swscanf(parsed.message.c_str(), L"T%d", &thread);
            ASSERT_EQ(message(thread, next[thread]++), parsed.message);
        }
    EXPECT_EQ(rotations, notices);
    for (int t = 0; t < kThreads; ++t) EXPECT_EQ(kLines, next[t]) << "thread " << t;
}

}  // namespace
