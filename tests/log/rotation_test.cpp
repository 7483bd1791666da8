// Rotation of the log file at a 1 MB limit: the cycling backup numbers and
// their cap, the notice line, write modes that never rotate, and four threads
// writing across rotations.
#include "log_test_support.h"

#include <array>
#include <atomic>
#include <map>
#include <thread>

using namespace logtest;

namespace {

constexpr ULONGLONG kOneMegabyte = 1 << 20;
constexpr DWORD kMissing = 0xFFFF0000;
constexpr wchar_t kNotice[] =
    L"KTX log file is being backed-up, as its size reached to maximum limit allowed. File backed-up as : ";

class RotationTest : public LoggerTest {
protected:
    // Starts afresh: no backups, file only, a 1 MB limit, then `more`.
    static void Start(std::initializer_list<std::pair<const wchar_t*, DWORD>> more = {}) {
        ResetLogState();
        Configure({{L"Type", kLogTypeFile}, {L"MaxSize", 1}});
        Configure(more);
    }
    // Fills the log to the limit with lines carrying `marker`, then logs `message`.
    static void FillAndLog(const std::wstring& marker, const std::wstring& message = L"line") {
        WriteFilledLog(DefaultLogPath(), kOneMegabyte, marker);
        Log(L"Phonebook", message.c_str());
    }
};

// The eleventh backup overwrites number 1 ("MaxCount" above 10 counts as 10:
// see the next test).
TEST_F(RotationTest, EleventhBackupOverwritesTheFirst) {
    Start({{L"MaxCount", 10}});
    // Just below the limit nothing rotates.
    WriteFilledLog(DefaultLogPath(), kOneMegabyte - 2, L"fill 0");
    Log(L"Phonebook", L"crosses the limit");
    ASSERT_TRUE(ExistingBackups().empty());
    for (int round = 1; round <= 11; ++round) {
        FillAndLog(L"fill " + std::to_wstring(round), L"line " + std::to_wstring(round));
        ASSERT_EQ(round <= 10 ? DWORD(round) : 1u, GetDword(L"CurrentCount", kMissing)) << round;
    }
    EXPECT_EQ((std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}), ExistingBackups());
    EXPECT_NE(std::wstring::npos, ReadLog(BackupPath(1)).find(L"[fill 11]"));
    // The backup ends with a notice naming it; the new log holds the new line only.
    ParsedLine notice;
    ASSERT_TRUE(ParseLine(ReadLogLines(BackupPath(1)).back(), notice));
    EXPECT_EQ(L"Info", notice.tag);
    EXPECT_EQ(kNotice + BackupPath(1), notice.message);
    EXPECT_EQ(Messages{L"line 11"}, FileMessages(DefaultLogPath()));
}

// The numbers are read from the key at each rotation, so processes sharing
// the log continue one cycle.
TEST_F(RotationTest, NextNumberComesFromTheKey) {
    // "MaxCount", "CurrentCount" and the next backup number.
    for (const auto& [maxCount, currentCount, next] :
         {std::array<DWORD, 3>{10, 4, 5}, {3, 2, 3}, {3, 3, 1}, {20, 10, 1}, {20, 15, 1}, {0, 0, 1}}) {
        Start();
        SetDword(L"MaxCount", maxCount);
        SetDword(L"CurrentCount", currentCount);
        FillAndLog(L"fill");
        EXPECT_EQ(std::vector<int>{int(next)}, ExistingBackups()) << maxCount << "/" << currentCount;
        EXPECT_EQ(next, GetDword(L"CurrentCount", kMissing));
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

TEST_F(RotationTest, FourThreadsAcrossRotationsLoseNothing) {
    constexpr int kThreads = 4;
    constexpr int kLinesPerThread = 5000;
    // About 200 bytes a line: a few rotations, and no backup overwritten.
    const auto message = [](int t, int n) {
        return L"T" + std::to_wstring(t) + L" N" + std::to_wstring(n) + L" " + std::wstring(50, L'.');
    };
    Start();
    std::vector<std::thread> writers;
    for (int t = 0; t < kThreads; ++t)
        writers.emplace_back([t, &message] {
            for (int n = 0; n < kLinesPerThread; ++n) Log(L"Thread", message(t, n).c_str());
        });
    // Meanwhile the settings are read again, as a support tool may make a host do.
    std::atomic<bool> writing{true};
    std::thread reloader([&writing] {
        while (writing) Reload();
    });
    for (std::thread& writer : writers) writer.join();
    writing = false;
    reloader.join();

    const DWORD rotations = GetDword(L"CurrentCount", kMissing);
    ASSERT_TRUE(rotations >= 2 && rotations <= 9) << rotations << " rotations";
    std::map<int, int> nextOfThread;
    DWORD notices = 0;
    for (DWORD file = 1; file <= rotations + 1; ++file) {
        const std::wstring path = file <= rotations ? BackupPath(int(file)) : DefaultLogPath();
        for (const std::wstring& line : ReadLogLines(path)) {
            ParsedLine parsed;
            ASSERT_TRUE(ParseLine(line, parsed)) << "damaged line";
            if (parsed.source == L"Logger") {
                ++notices;
                continue;
            }
            // Each thread's lines arrive whole, once each and in its order.
            int thread = -1;
            swscanf(parsed.message.c_str(), L"T%d", &thread);
            ASSERT_EQ(message(thread, nextOfThread[thread]++), parsed.message);
        }
    }
    EXPECT_EQ(rotations, notices);
    for (int t = 0; t < kThreads; ++t) EXPECT_EQ(kLinesPerThread, nextOfThread[t]) << "thread " << t;
}

}  // namespace
