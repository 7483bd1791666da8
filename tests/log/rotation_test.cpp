// Rotation of the log file at its size limit: the cycling backup numbers and
// their cap, the notice line, write modes that never rotate, a backup that
// cannot be written, and four threads writing across rotations.
#include "log_test_support.h"

#include "com/unique_any.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <thread>

using namespace logtest;

namespace {

constexpr ULONGLONG kOneMegabyte = 1 << 20;
constexpr DWORD kMissing = 0xFFFF0000;
constexpr wchar_t kNoticeStart[] =
    L"KTX log file is being backed-up, as its size reached to maximum limit allowed. File backed-up as : ";

class RotationTest : public LoggerTest {
protected:
    void SetUp() override {
        LoggerTest::SetUp();
        SetDword(L"Type", kLogTypeFile);
        SetDword(L"MaxSize", 1);
    }

    // Fills the log to the limit with lines carrying `marker`, then logs `message`.
    static void FillAndLog(const std::wstring& marker, const std::wstring& message) {
        WriteFilledLog(DefaultLogPath(), kOneMegabyte, marker);
        Log(L"Phonebook", message.c_str());
    }

    static bool Contains(const std::wstring& path, const std::wstring& text) {
        return ReadLog(path).find(text) != std::wstring::npos;
    }
};

TEST_F(RotationTest, EleventhBackupOverwritesTheFirst) {
    Reload();
    for (int round = 1; round <= 11; ++round) {
        FillAndLog(L"fill " + std::to_wstring(round), L"line " + std::to_wstring(round));
        const DWORD expected = round <= 10 ? DWORD(round) : 1;
        ASSERT_EQ(expected, GetDword(L"CurrentCount", kMissing)) << "round " << round;
    }

    std::vector<int> all(10);
    for (int n = 1; n <= 10; ++n) all[n - 1] = n;
    EXPECT_EQ(all, ExistingBackups());
    EXPECT_TRUE(Contains(BackupPath(1), L"[fill 11"));
    EXPECT_FALSE(Contains(BackupPath(1), L"[fill 1]"));
    EXPECT_TRUE(Contains(BackupPath(2), L"[fill 2"));
    // The restarted file holds the new line only.
    const std::vector<std::wstring> lines = ReadLogLines(DefaultLogPath());
    ASSERT_EQ(1u, lines.size());
    ParsedLine parsed;
    ASSERT_TRUE(ParseLine(lines[0], parsed));
    EXPECT_EQ(L"line 11", parsed.message);
}

// The backup ends with an information line that names it, written before
// the copy; the filler before it is intact.
TEST_F(RotationTest, BackupEndsWithTheNoticeNamingIt) {
    Reload();
    WriteFilledLog(DefaultLogPath(), kOneMegabyte, L"fill");
    const std::wstring filler = ReadLog(DefaultLogPath());
    Log(L"Phonebook", L"next");

    const std::wstring backup = ReadLog(BackupPath(1));
    ASSERT_EQ(filler, backup.substr(0, filler.size()));
    ParsedLine notice;
    ASSERT_TRUE(ParseLine(backup.substr(filler.size(), backup.size() - filler.size() - 1), notice));
    EXPECT_EQ(L'\n', backup.back());
    EXPECT_EQ(L"Info", notice.tag);
    EXPECT_EQ(kNoticeStart + BackupPath(1), notice.message);
}

TEST_F(RotationTest, MaxCountAboveTenStillKeepsTen) {
    Configure({{L"MaxCount", 20}});
    for (int round = 1; round <= 12; ++round) FillAndLog(L"fill", L"line");
    EXPECT_EQ(10u, ExistingBackups().size());
    EXPECT_EQ(2u, GetDword(L"CurrentCount", kMissing));
}

struct NextNumberCase {
    const char* name;
    DWORD maxCount;  // kMissing: no value
    DWORD currentCount;
    DWORD next;
};

void PrintTo(const NextNumberCase& c, std::ostream* os) {
    *os << c.name;
}

const NextNumberCase kNextNumberCases[] = {
    {"First", kMissing, kMissing, 1},  {"CountsOn", 10, 4, 5},          {"DefaultMaxIsTen", kMissing, 9, 10},
    {"WrapsAtMaxCount", 3, 3, 1},      {"BelowSmallMaxCount", 3, 2, 3}, {"CappedAtTen", 20, 10, 1},
    {"CurrentAboveCap", 20, 15, 1},    {"CurrentAboveMax", 10, 99, 1},  {"ZeroMaxCountAlwaysOne", 0, 0, 1},
    {"OneMaxCountAlwaysOne", 1, 1, 1},
};

class NextNumberTest : public RotationTest, public testing::WithParamInterface<NextNumberCase> {};

// The numbers are read from the key at rotation, so a second process
// rotating the same log continues the same cycle.
TEST_P(NextNumberTest, PicksTheBackupNumber) {
    const NextNumberCase& c = GetParam();
    Reload();
    if (c.maxCount != kMissing) SetDword(L"MaxCount", c.maxCount);
    if (c.currentCount != kMissing) SetDword(L"CurrentCount", c.currentCount);
    FillAndLog(L"fill", L"line");
    EXPECT_EQ(std::vector<int>{int(c.next)}, ExistingBackups());
    EXPECT_EQ(c.next, GetDword(L"CurrentCount", kMissing));
    EXPECT_EQ(c.next, CLogger::Instance().Settings().currentCount);
}

INSTANTIATE_TEST_SUITE_P(Cycle, NextNumberTest, testing::ValuesIn(kNextNumberCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(RotationTest, LimitIsReachedAtItsExactSize) {
    Reload();
    WriteFilledLog(DefaultLogPath(), kOneMegabyte - 2, L"fill");
    Log(L"Phonebook", L"below");
    EXPECT_TRUE(ExistingBackups().empty());
    // The line that crosses the limit stays; the next one rotates.
    Log(L"Phonebook", L"above");
    EXPECT_EQ(std::vector<int>{1}, ExistingBackups());
    EXPECT_TRUE(HasMessage(BackupPath(1), L"below"));
}

class OtherWriteModeTest : public RotationTest, public testing::WithParamInterface<DWORD> {};

TEST_P(OtherWriteModeTest, FileGrowsWithoutLimit) {
    Configure({{L"WriteMode", GetParam()}});
    WriteFilledLog(DefaultLogPath(), 2 * kOneMegabyte, L"fill");
    Log(L"Phonebook", L"appended");
    EXPECT_TRUE(ExistingBackups().empty());
    EXPECT_GT(FileSize(DefaultLogPath()), 2 * kOneMegabyte);
    EXPECT_TRUE(HasMessage(DefaultLogPath(), L"appended"));
    EXPECT_EQ(0u, GetDword(L"CurrentCount", kMissing));
}

INSTANTIATE_TEST_SUITE_P(Modes, OtherWriteModeTest, testing::Values(0u, 1u, 3u, 0xFFFFFFFFu));

// Backups are always made in the default folder, also for a log file
// configured elsewhere.
TEST_F(RotationTest, CustomLogIsBackedUpIntoTheDefaultFolder) {
    wchar_t temp[MAX_PATH];
    ::GetTempPathW(MAX_PATH, temp);
    const std::wstring custom = std::wstring(temp) + L"velphonebook-custom.log";
    SetText(L"FilePath", custom);
    Reload();
    WriteFilledLog(custom, kOneMegabyte, L"custom fill");
    Log(L"Phonebook", L"restarted");

    EXPECT_TRUE(Contains(BackupPath(1), L"[custom fill"));
    EXPECT_EQ(1u, ReadLogLines(custom).size());
    ::DeleteFileW(custom.c_str());
}

// ---------------------------------------------------------------- threads

constexpr int kThreads = 4;
constexpr int kLinesPerThread = 5000;
// Makes a line about 200 bytes, so the run crosses the 1 MB limit a few
// times and no backup is overwritten.
const std::wstring kPadding(50, L'.');

TEST_F(RotationTest, FourThreadsAcrossRotationsLoseNothing) {
    Reload();
    std::atomic<bool> writing{true};
    std::vector<std::thread> writers;
    for (int t = 0; t < kThreads; ++t)
        writers.emplace_back([t] {
            for (int n = 0; n < kLinesPerThread; ++n) {
                const std::wstring message =
                    L"T" + std::to_wstring(t) + L" N" + std::to_wstring(n) + L" " + kPadding;
                Log(L"Thread", message.c_str(), kLogTypeFromSettings, kLogWriteModeFromSettings,
                    LogLevel::Information);
            }
        });
    // Meanwhile the settings are re-read, as a support tool might make a host do.
    std::thread reloader([&writing] {
        while (writing) {
            CLogger::Instance().LoadConfiguration(true);
            ::Sleep(5);
        }
    });
    for (std::thread& writer : writers) writer.join();
    writing = false;
    reloader.join();

    const DWORD rotations = GetDword(L"CurrentCount", kMissing);
    ASSERT_GE(rotations, 2u);
    ASSERT_LE(rotations, 9u);
    std::vector<std::wstring> files;
    for (DWORD n = 1; n <= rotations; ++n) files.push_back(BackupPath(int(n)));
    files.push_back(DefaultLogPath());

    std::map<int, int> nextOfThread;
    int notices = 0;
    for (const std::wstring& file : files) {
        for (const std::wstring& line : ReadLogLines(file)) {
            ParsedLine parsed;
            ASSERT_TRUE(ParseLine(line, parsed)) << "damaged line";
            if (parsed.source == L"Logger") {
                ++notices;
                continue;
            }
            int thread = -1, number = -1;
            wchar_t padding[64] = L"";
            ASSERT_EQ(3, swscanf(parsed.message.c_str(), L"T%d N%d %63ls", &thread, &number, padding));
            ASSERT_EQ(kPadding, padding);
            // Each thread's lines arrive once each and in its order.
            ASSERT_EQ(nextOfThread[thread], number) << "thread " << thread;
            ++nextOfThread[thread];
        }
    }
    EXPECT_EQ(int(rotations), notices);
    for (int t = 0; t < kThreads; ++t) EXPECT_EQ(kLinesPerThread, nextOfThread[t]) << "thread " << t;
}

}  // namespace
