// What the log sends to the debugger output, seen by running a program that
// logs as a debuggee: the lines by "Type" and its override, the loading
// notice, and the texts that report a log file in trouble.
#include "debugger_capture.h"
#include "log_test_support.h"

#include "com/unique_any.h"
#include "support/test_support.h"

#include <algorithm>

using namespace logtest;

namespace {

constexpr wchar_t kLoading[] = L"[KTX Logger][Loading configuration]\n";

class DebuggerOutputTest : public LoggerTest {
protected:
    static DebuggedRun RunChild(const std::wstring& steps) {
        DebuggedRun run = RunUnderDebugger(L"\"" + testing_support::BinDir() + L"log_child.exe\" " + steps);
        EXPECT_TRUE(run.ended);
        EXPECT_EQ(0u, run.exitCode);
        return run;
    }

    // The messages of the log lines among the outputs, in order.
    static std::vector<std::wstring> LoggedMessages(const DebuggedRun& run) {
        std::vector<std::wstring> messages;
        for (const std::wstring& output : run.outputs) {
            ParsedLine parsed;
            if (!output.empty() && output.back() == L'\n' &&
                ParseLine(output.substr(0, output.size() - 1), parsed))
                messages.push_back(parsed.message);
        }
        return messages;
    }

    static std::vector<std::wstring> FileMessages() {
        std::vector<std::wstring> messages;
        for (const std::wstring& line : ReadLogLines(DefaultLogPath())) {
            ParsedLine parsed;
            if (ParseLine(line, parsed)) messages.push_back(parsed.message);
        }
        return messages;
    }
};

using Messages = std::vector<std::wstring>;

TEST_F(DebuggerOutputTest, DefaultsSendAllButVerboseToBoth) {
    const DebuggedRun run = RunChild(
        L"log|1|3|2|Phonebook|error log|2|3|2|Phonebook|warning "
        L"log|3|3|2|Phonebook|information log|4|3|2|Phonebook|verbose");
    ASSERT_FALSE(run.outputs.empty());
    EXPECT_EQ(kLoading, run.outputs.front());
    EXPECT_EQ((Messages{L"error", L"warning", L"information"}), LoggedMessages(run));
    EXPECT_EQ((Messages{L"error", L"warning", L"information"}), FileMessages());

    // The debugger gets the very line the file gets.
    const std::vector<std::wstring> lines = ReadLogLines(DefaultLogPath());
    ASSERT_EQ(3u, lines.size());
    EXPECT_EQ(1u, run.Containing(lines[1] + L"\n").size());
}

TEST_F(DebuggerOutputTest, FileOnlyOverrideSticksForLaterCalls) {
    const DebuggedRun run =
        RunChild(L"log|1|3|2|Phonebook|before log|1|1|2|Phonebook|switch log|1|3|2|Phonebook|after");
    EXPECT_EQ(Messages{L"before"}, LoggedMessages(run));
    EXPECT_EQ((Messages{L"before", L"switch", L"after"}), FileMessages());
}

TEST_F(DebuggerOutputTest, DebuggerOnlyTypeLeavesTheFileAlone) {
    SetDword(L"Type", kLogTypeDebugger);
    const DebuggedRun run = RunChild(L"log|1|3|2|Phonebook|only-debugger");
    EXPECT_EQ(Messages{L"only-debugger"}, LoggedMessages(run));
    EXPECT_TRUE(FileMessages().empty());
}

TEST_F(DebuggerOutputTest, SettingsAreLoadedOncePerProcessUnlessForced) {
    EXPECT_EQ(1, RunChild(L"load load log|1|3|2|Phonebook|x").CountStartingWith(kLoading));
    EXPECT_EQ(1, RunChild(L"log|1|3|2|Phonebook|x log|1|3|2|Phonebook|y").CountStartingWith(kLoading));
    EXPECT_EQ(3, RunChild(L"load reload log|1|3|2|Phonebook|x reload").CountStartingWith(kLoading));
}

// The default log file is held by another program without sharing: the
// load reports it, and so does every line that cannot be written.
TEST_F(DebuggerOutputTest, UnopenableLogFileIsReported) {
    com::UniqueFile holder(
        ::CreateFileW(DefaultLogPath().c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    ASSERT_TRUE(holder);
    const DebuggedRun run = RunChild(L"log|1|3|2|Phonebook|lost");

    const std::wstring cannotCreate =
        L"Error - Unable to create file at file path: " + DefaultLogPath() + L".Get last error is = ";
    EXPECT_EQ(1, run.CountStartingWith(cannotCreate));
    EXPECT_EQ(1, run.CountStartingWith(L"Unable to create/open KTX log file at path : "));
    // The line itself still reaches the debugger, and the child did not fail.
    EXPECT_EQ(Messages{L"lost"}, LoggedMessages(run));
}

// A file stands where the log folder should be created.
TEST_F(DebuggerOutputTest, FolderThatCannotBeCreatedIsReported) {
    std::wstring orvanta = LogFolder();
    orvanta.pop_back();
    const std::wstring quorvel = orvanta.substr(0, orvanta.find_last_of(L'\\'));
    ::RemoveDirectoryW(orvanta.c_str());
    ::RemoveDirectoryW(quorvel.c_str());
    if (::GetFileAttributesW(quorvel.c_str()) != INVALID_FILE_ATTRIBUTES)
        GTEST_SKIP() << "the application-data folder holds other files";
    {
        com::UniqueFile blocker(
            ::CreateFileW(quorvel.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr));
        ASSERT_TRUE(blocker);
    }
    const DebuggedRun run = RunChild(L"log|1|3|2|Phonebook|nowhere");
    ::DeleteFileW(quorvel.c_str());

    EXPECT_EQ(1, run.CountStartingWith(L"Error - Unable to create CreateDirectory: " + orvanta +
                                       L".Get last error is = "));
    EXPECT_EQ(1, run.CountStartingWith(L"Error - Unable to create file at file path: "));
    EXPECT_EQ(Messages{L"nowhere"}, LoggedMessages(run));
}

// A backup that cannot be replaced (a viewer holds it) is reported and must
// not cost the log: the full file is kept and the line appended to it.
TEST_F(DebuggerOutputTest, FailedBackupIsReported) {
    SetDword(L"MaxSize", 1);
    WriteFilledLog(DefaultLogPath(), 1 << 20, L"fill");
    WriteFilledLog(BackupPath(1), 16, L"old");
    com::UniqueFile holder(
        ::CreateFileW(BackupPath(1).c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(holder);
    const DebuggedRun run = RunChild(L"log|1|1|2|Phonebook|kept");

    EXPECT_EQ(
        1, run.CountStartingWith(L"Log to file failed. Exception occured. File path: " + DefaultLogPath()));
    holder.reset();
    EXPECT_TRUE(HasMessage(DefaultLogPath(), L"kept"));
    EXPECT_GT(FileSize(DefaultLogPath()), ULONGLONG(1 << 20));
    EXPECT_EQ(16u, FileSize(BackupPath(1)));
    EXPECT_EQ(0u, GetDword(L"CurrentCount", 0xFFFFFFFF));
}

}  // namespace
