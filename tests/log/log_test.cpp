// The log: its line format, its settings in the registry, the rotation of its
// file and what it sends to the debugger output.
#include "log_test_support.h"

#include "com/unique_any.h"
#include "support/test_support.h"

#include <algorithm>
#include <array>

using namespace logtest;

namespace {

// --- The line format: tag per level, local date and time, source, message,
// the caller's last error, and the file's encoding.

ULONGLONG Milliseconds(const SYSTEMTIME& time) {
    FILETIME file{};
    ::SystemTimeToFileTime(&time, &file);
    return ((ULONGLONG(file.dwHighDateTime) << 32) | file.dwLowDateTime) / 10000;
}

// Source and message are data, never part of the format, and are written
// whole whatever their length or script; null ones give empty fields. Level 5
// is written as an error. The file is UTF-16 with one byte-order mark.
TEST_F(LoggerTest, EachLevelHasItsLineFormat) {
    const std::wstring longMessage(100000, L'x');
    struct Case {
        LogLevel level;
        const wchar_t* tag;
        bool hasLastError;
        const wchar_t* source;
        const wchar_t* message;
    };
    const Case cases[] = {
        {LogLevel::Error, L"Err", true, L"Outlook", L"Connect failed"},
        {LogLevel::Warning, L"Warn", true, L"%s%n", L"100% done %d %s %n %%"},
        {LogLevel::Information, L"Info", false, L"Phonebook",
         L"Zo\u00eb \u03a9\u03bc\u03ad\u03b3\u03b1 \u65e5\u672c \U0001F4E0"},
        {LogLevel::Verbose, L"Verb", false, L"Phonebook", longMessage.c_str()},
        {LogLevel::Always, L"Err", true, nullptr, nullptr},
    };
    Configure({{L"Type", kLogTypeFile}, {L"Verbose", 4}});
    SYSTEMTIME before{}, after{};
    ::GetLocalTime(&before);
    for (const Case& c : cases) {
        ::SetLastError(1000 + DWORD(c.level));
        Log(c.source, c.message, kLogTypeFromSettings, kLogWriteModeFromSettings, c.level);
        EXPECT_EQ(1000 + DWORD(c.level), ::GetLastError()) << "the caller's last error is left alone";
    }
    ::GetLocalTime(&after);

    bool hasMark = false;
    EXPECT_EQ(std::wstring::npos, ReadLog(DefaultLogPath(), &hasMark).find(wchar_t(0xFEFF)));
    EXPECT_TRUE(hasMark);
    const std::vector<std::wstring> lines = ReadLogLines(DefaultLogPath());
    ASSERT_EQ(std::size(cases), lines.size());
    for (size_t i = 0; i < lines.size(); ++i) {
        const Case& c = cases[i];
        ParsedLine line;
        ASSERT_TRUE(ParseLine(lines[i], line)) << i;
        EXPECT_EQ(c.tag, line.tag);
        EXPECT_EQ(c.source ? c.source : L"", line.source);
        EXPECT_TRUE(line.message == (c.message ? c.message : L"")) << i;
        EXPECT_EQ(c.hasLastError ? 1000 + DWORD(c.level) : 0, line.lastError);
        // Day, month, year and the time of day of the local clock, in that order.
        EXPECT_LE(Milliseconds(before), Milliseconds(line.time));
        EXPECT_GE(Milliseconds(after), Milliseconds(line.time));
    }
}

// --- The Logger key: "Enable" with its per-source subkeys, the "Verbose"
// threshold, and bad values or paths falling back to the defaults.

constexpr wchar_t kSource[] = L"Phonebook";
constexpr DWORD kAbsent = 0xDEAD0000;  // the value is not written

TEST_F(LoggerTest, EnableDecidesWhichSourcesAreLogged) {
    const struct {
        const char* name;
        DWORD enable;
        const wchar_t *source, *subkey;
        DWORD subkeyEnable;
        bool logged;
    } cases[] = {
        {"missing: every source", kAbsent, kSource, nullptr, 0, true},
        {"0: nothing", 0, kSource, kSource, 1, false},
        {"2: even a disabled source", 2, kSource, kSource, 0, true},
        {"1 without subkey", 1, kSource, nullptr, 0, false},
        {"1, subkey non-zero", 1, kSource, kSource, 7, true},
        {"1, subkey 0", 1, kSource, kSource, 0, false},
        {"1, another source's subkey", 1, kSource, L"Outlook", 1, false},
        {"1, nameless source", 1, L"", nullptr, 0, false},
        {"1, null source", 1, nullptr, nullptr, 0, false},
        {"3: nothing", 3, kSource, kSource, 1, false},
        {"all bits: nothing", 0xFFFFFFFF, kSource, kSource, 1, false},
    };
    for (const auto& c : cases) {
        ResetLogState();
        SetDword(L"Type", kLogTypeFile);
        if (c.enable != kAbsent) SetDword(L"Enable", c.enable);
        if (c.subkey) SetDword(L"Enable", c.subkeyEnable, c.subkey);
        Reload();
        Log(c.source, L"enabled?");
        EXPECT_EQ(c.logged, !FileMessages(DefaultLogPath()).empty()) << c.name;
    }
}

TEST_F(LoggerTest, VerboseIsTheLevelThreshold) {
    // "Verbose" and what gets through of levels 1 to 5, logged as E, W, I, V and 5.
    const std::pair<DWORD, std::wstring> cases[] = {{kAbsent, L"EWI5"}, {0, L"EWIV5"}, {1, L"E5"},
                                                    {2, L"EW5"},        {3, L"EWI5"},  {4, L"EWIV5"},
                                                    {5, L"5"},          {6, L"EWIV5"}};
    for (const auto& [verbose, written] : cases) {
        ResetLogState();
        SetDword(L"Type", kLogTypeFile);
        if (verbose != kAbsent) SetDword(L"Verbose", verbose);
        Reload();
        for (DWORD level = 1; level <= 5; ++level)
            Log(kSource, std::wstring(1, L"EWIV5"[level - 1]).c_str(), kLogTypeFromSettings,
                kLogWriteModeFromSettings, LogLevel(level));
        std::wstring got;
        for (const std::wstring& message : FileMessages(DefaultLogPath())) got += message;
        EXPECT_EQ(written, got) << "Verbose " << verbose;
    }
}

// A value of the wrong type counts as missing; the load then saves all eight
// values, the defaults in place of the wrong ones.
TEST_F(LoggerTest, ValuesOfTheWrongTypeTakeTheirDefaults) {
    for (const wchar_t* name : {L"Enable", L"Type", L"WriteMode", L"MaxCount", L"CurrentCount"})
        SetText(name, L"1");
    const ULONGLONG big = 1;
    SetRaw(L"MaxSize", REG_QWORD, &big, sizeof(big));
    const BYTE shortValue[2] = {1, 0};
    SetRaw(L"Verbose", REG_BINARY, shortValue, sizeof(shortValue));
    SetDword(L"FilePath", 1);
    Reload();
    for (const auto& [name, value] : {std::pair{L"Enable", 2u}, {L"Type", 3u}, {L"Verbose", 3u}, {L"WriteMode", 2u},
                                      {L"MaxSize", 5u}, {L"MaxCount", 10u}, {L"CurrentCount", 0u}})
        EXPECT_EQ(value, GetDword(name, kAbsent)) << name;
    EXPECT_EQ(DefaultLogPath(), testing_support::RegistryText(HKEY_CURRENT_USER, kLoggerKeyPath, L"FilePath"));
}

// A usable "FilePath" is kept; the others (empty, shorter than "\FaxData.log",
// in no folder, bad characters, no drive, a directory, a file another program
// holds unshared) fall back to the default, whose folder, gone too, is made again.
TEST_F(LoggerTest, FilePathIsKeptOnlyWhenUsable) {
    const std::wstring custom = L"C:\\velphonebook-custom.log", locked = L"C:\\velphonebook-locked.log";
    ::DeleteFileW(custom.c_str());
    com::UniqueFile holder(::CreateFileW(locked.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    ASSERT_TRUE(holder);
    for (const std::wstring& path : {custom, std::wstring(), std::wstring(L"C:\\x.log"), std::wstring(L"C:\\no-such-folder\\x.log"),
                                     std::wstring(L"C:\\bad<|>name\\FaxData.log"), std::wstring(L"Q:\\unmapped\\x.log"),
                                     std::wstring(L"C:\\windows\\system32"), locked}) {
        ResetLogState();
        ::RemoveDirectoryW(LogFolder().c_str());
        SetDword(L"Type", kLogTypeFile);
        SetText(L"FilePath", path);
        Reload();
        Log(kSource, L"where?");
        EXPECT_EQ(Messages{L"where?"}, FileMessages(path == custom ? custom : DefaultLogPath())) << path;
    }
    holder.reset();
    for (const std::wstring& file : {custom, locked, std::wstring(L"C:\\x.log")}) ::DeleteFileW(file.c_str());
}

// --- Rotation at a 1 MB limit: the backup numbers and their cap, the notice
// line, and write modes that never rotate.

constexpr ULONGLONG kOneMegabyte = 1 << 20;

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
        EXPECT_EQ(next, GetDword(L"CurrentCount", kAbsent));
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

// --- The debugger output, seen by running a program that logs as the
// debuggee of a real debug loop.

using Outputs = std::vector<std::wstring>;  // one per output-debug-string event

int CountStartingWith(const Outputs& outputs, const std::wstring& text) {
    return int(std::count_if(outputs.begin(), outputs.end(), [&](const std::wstring& o) { return o.rfind(text, 0) == 0; }));
}

// The messages of the log lines among the outputs.
Messages LoggedMessages(const Outputs& outputs) {
    Messages messages;
    ParsedLine parsed;
    for (const std::wstring& output : outputs)
        if (!output.empty() && ParseLine(output.substr(0, output.size() - 1), parsed)) messages.push_back(parsed.message);
    return messages;
}

// Runs log_child.exe with the steps ("load", "reload", "log|LEVEL|TYPE|WRITEMODE|SOURCE|MESSAGE")
// as the debuggee of this thread, until it exits or a minute has passed.
Outputs RunChild(const std::wstring& steps) {
    Outputs outputs;
    std::wstring commandLine = L"\"" + testing_support::BinDir() + L"log_child.exe\" " + steps;
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION info{};
    if (!::CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, DEBUG_ONLY_THIS_PROCESS, nullptr,
                          nullptr, &startup, &info)) {
        ADD_FAILURE() << "log_child.exe did not start";
        return outputs;
    }
    com::UniqueHandle process(info.hProcess), thread(info.hThread);
    DEBUG_EVENT event{};
    for (bool ended = false; !ended;) {
        if (!::WaitForDebugEvent(&event, 60000)) {
            ADD_FAILURE() << "log_child.exe did not end";
            ::TerminateProcess(process.get(), 1);
            ::DebugActiveProcessStop(info.dwProcessId);
            break;
        }
        DWORD status = DBG_CONTINUE;
        if (event.dwDebugEventCode == CREATE_PROCESS_DEBUG_EVENT) ::CloseHandle(event.u.CreateProcessInfo.hFile);
        if (event.dwDebugEventCode == LOAD_DLL_DEBUG_EVENT) ::CloseHandle(event.u.LoadDll.hFile);
        if (event.dwDebugEventCode == OUTPUT_DEBUG_STRING_EVENT) {
            // The text comes in the ANSI code page, even OutputDebugStringW's.
            const OUTPUT_DEBUG_STRING_INFO& string = event.u.DebugString;
            std::string bytes(size_t(string.nDebugStringLength) + 1, '\0');
            ::ReadProcessMemory(process.get(), string.lpDebugStringData, bytes.data(), string.nDebugStringLength, nullptr);
            std::wstring text(bytes.size(), L'\0');
            ::MultiByteToWideChar(CP_ACP, 0, bytes.c_str(), -1, text.data(), int(text.size()));
            outputs.push_back(text.c_str());
        }
        // The loader's breakpoint is ours to pass; any other exception is the program's.
        if (event.dwDebugEventCode == EXCEPTION_DEBUG_EVENT &&
            event.u.Exception.ExceptionRecord.ExceptionCode != EXCEPTION_BREAKPOINT)
            status = DBG_EXCEPTION_NOT_HANDLED;
        if (event.dwDebugEventCode == EXIT_PROCESS_DEBUG_EVENT) {
            EXPECT_EQ(0u, event.u.ExitProcess.dwExitCode) << "log_child.exe failed";
            ended = true;
        }
        ::ContinueDebugEvent(event.dwProcessId, event.dwThreadId, status);
    }
    return outputs;
}

// Defaults send all but verbose lines to both; an override of the type holds
// for later calls until the settings are read again (once per process unless
// forced), and one on a line that is filtered out changes nothing.
TEST_F(LoggerTest, TypeAndItsOverridesDecideWhereLinesGo) {
    const Outputs run = RunChild(
        L"load log|1|3|2|P|error log|4|1|2|P|verbose log|2|3|2|P|warning log|3|3|2|P|information "
        L"log|1|2|2|P|debugger log|1|3|2|P|still-debugger log|1|1|2|P|file log|1|3|2|P|still-file "
        L"load reload log|1|3|2|P|both");
    const wchar_t kLoading[] = L"[KTX Logger][Loading configuration]\n";
    EXPECT_EQ(kLoading, run.at(0));
    EXPECT_EQ(2, CountStartingWith(run, kLoading));
    EXPECT_EQ((Messages{L"error", L"warning", L"information", L"debugger", L"still-debugger", L"both"}), LoggedMessages(run));
    EXPECT_EQ((Messages{L"error", L"warning", L"information", L"file", L"still-file", L"both"}), FileMessages(DefaultLogPath()));
    EXPECT_EQ(1, CountStartingWith(run, ReadLogLines(DefaultLogPath()).at(1) + L"\n")) << "the very line the file gets";
}

// A backup that cannot be replaced (a viewer holds it) is reported and costs
// no line: the full log is kept and the line appended to it.
TEST_F(LoggerTest, FailedBackupIsReported) {
    SetDword(L"MaxSize", 1);
    WriteFilledLog(DefaultLogPath(), kOneMegabyte, L"fill");
    WriteFilledLog(BackupPath(1), 16, L"old");
    com::UniqueFile holder(::CreateFileW(BackupPath(1).c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(holder);
    const Outputs run = RunChild(L"log|1|1|2|P|kept");
    holder.reset();
    EXPECT_EQ(1, CountStartingWith(run, L"Log to file failed. Exception occured. File path: " + DefaultLogPath()));
    const Messages messages = FileMessages(DefaultLogPath());
    EXPECT_GT(messages.size(), 1u);
    EXPECT_EQ(L"kept", messages.back());
    EXPECT_EQ(0u, GetDword(L"CurrentCount", kAbsent));
}

}  // namespace
