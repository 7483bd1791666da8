// Rotation of the log file at a 1 MB limit: the backup numbers and their cap,
// the notice line, and write modes that never rotate.
#include "log_test_support.h"

#include <array>

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

}  // namespace
