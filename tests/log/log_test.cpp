// The log: line format, settings, rotation and debugger output. Files are
// found from the shell folder, not from the logger.
#include "log/logger.h"

#include "com/unique_any.h"
#include "support/test_support.h"

#include <gtest/gtest.h>
#include <shlobj.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <functional>
#include <numeric>
#include <thread>
#include <sstream>

namespace {

using Messages = std::vector<std::wstring>;
constexpr DWORD kAbsent = 0xDEAD0000;  // the value is not written, or not read back
constexpr ULONGLONG kOneMegabyte = 1 << 20;
constexpr wchar_t kSource[] = L"Phonebook";

std::wstring LogFolder() {
    wchar_t appData[MAX_PATH] = L"";
    ::SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, appData);
    return std::wstring(appData) + L"\\Quorvel\\Orvanta\\";
}
std::wstring DefaultLogPath() { return LogFolder() + L"\\FaxData.log"; }  // the doubled backslash is kept
std::wstring BackupPath(int n) { return LogFolder() + L"\\FaxData(" + std::to_wstring(n) + L").log"; }
std::vector<int> ExistingBackups() {
    std::vector<int> numbers;
    for (int n = 0; n <= 30; ++n)
        if (::GetFileAttributesW(BackupPath(n).c_str()) != INVALID_FILE_ATTRIBUTES) numbers.push_back(n);
    return numbers;
}

void SetRaw(const wchar_t* name, DWORD type, const void* data, DWORD size, const wchar_t* subkey = nullptr) {
    const std::wstring path = subkey ? std::wstring(kLoggerKeyPath) + L"\\" + subkey : kLoggerKeyPath;
    ASSERT_EQ(ERROR_SUCCESS, ::RegSetKeyValueW(HKEY_CURRENT_USER, path.c_str(), name, type, data, size));
}
void SetDword(const wchar_t* name, DWORD value, const wchar_t* subkey = nullptr) {
    if (value != kAbsent) SetRaw(name, REG_DWORD, &value, sizeof(value), subkey);
}
void SetText(const wchar_t* name, const std::wstring& text) { SetRaw(name, REG_SZ, text.c_str(), DWORD(text.size() * 2 + 2)); }
DWORD GetDword(const wchar_t* name) {
    DWORD value = 0, size = sizeof(value);
    return ::RegGetValueW(HKEY_CURRENT_USER, kLoggerKeyPath, name, RRF_RT_REG_DWORD, nullptr, &value, &size) ? kAbsent
                                                                                                              : value;
}

// A log file's text, byte-order mark and all; its lines.
std::wstring ReadLog(const std::wstring& path) {
    std::ifstream file(path.c_str(), std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    return std::wstring(reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / sizeof(wchar_t));
}
std::vector<std::wstring> ReadLogLines(const std::wstring& path) {
    const std::wstring all = ReadLog(path);
    std::wstringstream text(all.substr(all.rfind(wchar_t(0xFEFF), 0) == 0 ? 1 : 0));
    std::vector<std::wstring> lines;
    for (std::wstring line; std::getline(text, line);) lines.push_back(line);
    return lines;
}

// The fifth bracketed field of a line: the message (none of the tests' holds "]").
std::wstring MessageOf(const std::wstring& line) {
    size_t at = 0;
    for (int field = 0; field < 4 && at != std::wstring::npos; ++field) at = line.find(L"][", at + 1);
    return at == std::wstring::npos ? L"<bad line>" : line.substr(at + 2, line.find(L']', at + 2) - at - 2);
}
Messages FileMessages(const std::wstring& path) {
    Messages messages;
    for (const std::wstring& line : ReadLogLines(path)) messages.push_back(MessageOf(line));
    return messages;
}

// A log file of exactly `bytes` bytes, as the logger leaves one.
void WriteFilledLog(const std::wstring& path, ULONGLONG bytes, const std::wstring& marker) {
    std::wstring text(1, wchar_t(0xFEFF));
    const std::wstring line = L"[KTX Info][01:02:2003][04:05:06:007][Filler][" + marker + L"]\n";
    while (text.size() * sizeof(wchar_t) < bytes) text += line;
    text.resize(size_t(bytes / sizeof(wchar_t)));
    text.back() = L'\n';  // a cut filler line still ends, so what follows parses
    com::UniqueFile file(::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    DWORD written = 0;
    ASSERT_TRUE(file && ::WriteFile(file.get(), text.data(), DWORD(bytes), &written, nullptr));
}

void ResetLogState() {
    testing_support::DeleteUserKey(kLoggerKeyPath);
    ::DeleteFileW(DefaultLogPath().c_str());
    for (int n = 0; n <= 30; ++n) ::DeleteFileW(BackupPath(n).c_str());
}

class LoggerTest : public testing::Test {
protected:
    void SetUp() override { ResetLogState(); }
    void TearDown() override { ResetLogState(), Reload(), ResetLogState(); }
    static void Reload() { CLogger::Instance().LoadConfiguration(true); }
    // Afresh: file only, the values given, the key read again.
    static void Start(std::initializer_list<std::pair<const wchar_t*, DWORD>> values) {
        ResetLogState();
        SetDword(L"Type", kLogTypeFile);
        for (const auto& [name, value] : values) SetDword(name, value);
        Reload();
    }
};

// Source and message are data, never part of the format, and are written
// whole whatever their length or script; null ones give empty fields. Level 5
// is written as an error. The file is UTF-16 with one byte-order mark.
TEST_F(LoggerTest, EachLevelHasItsLineFormat) {
    const std::wstring longMessage(100000, L'x'), unicode = L"Zo\u00eb \u03a9\u03bc\u03ad\u03b3\u03b1 \u65e5\u672c \U0001F4E0";
    const struct {
        const wchar_t *source, *message;
        std::wstring line;  // the time's digits masked
    } cases[] = {
        {L"Outlook", L"Connect failed", L"[KTX Err][##:##:####][##:##:##:###][Outlook][Connect failed][Last error = 1001]"},
        {L"%s%n", L"100% done %d %s %n %%", L"[KTX Warn][##:##:####][##:##:##:###][%s%n][100% done %d %s %n %%][Last error = 1002]"},
        {kSource, unicode.c_str(), L"[KTX Info][##:##:####][##:##:##:###][Phonebook][" + unicode + L"]"},
        {kSource, longMessage.c_str(), L"[KTX Verb][##:##:####][##:##:##:###][Phonebook][" + longMessage + L"]"},
        {nullptr, nullptr, L"[KTX Err][##:##:####][##:##:##:###][][][Last error = 1005]"},
    };
    Start({{L"Verbose", 4}});
    for (DWORD level = 1; level <= 5; ++level) {
        ::SetLastError(1000 + level);
        Log(cases[level - 1].source, cases[level - 1].message, kLogTypeFromSettings, kLogWriteModeFromSettings, LogLevel(level));
    }
    EXPECT_EQ(0u, ReadLog(DefaultLogPath()).find(wchar_t(0xFEFF)));
    EXPECT_EQ(std::wstring::npos, ReadLog(DefaultLogPath()).find(wchar_t(0xFEFF), 1));
    const std::vector<std::wstring> lines = ReadLogLines(DefaultLogPath());
    ASSERT_EQ(std::size(cases), lines.size());
    for (size_t i = 0; i < lines.size(); ++i) {
        std::wstring masked = lines[i];
        for (size_t at = 0; at < 37 && at < masked.size(); ++at) masked[at] = iswdigit(masked[at]) ? L'#' : masked[at];
        EXPECT_TRUE(masked == cases[i].line) << testing_support::Utf8(lines[i].substr(0, 120));
    }
}

// "Enable" decides which sources are logged (missing is 2: every source; 1:
// those whose subkey holds a non-zero "Enable"; anything else none), then
// "Verbose" is the level threshold; level 5 passes the threshold only.
TEST_F(LoggerTest, EnableAndVerboseDecideWhatIsWritten) {
    const struct {
        DWORD enable;
        const wchar_t *source, *subkey;
        DWORD subkeyEnable, verbose;
        const wchar_t* written;  // of levels 1 to 5 logged as E, W, I, V and 5
    } cases[] = {
        {kAbsent, kSource, nullptr, 0, kAbsent, L"EWI5"}, {0, kSource, kSource, 1, kAbsent, L""},
        {2, kSource, kSource, 0, kAbsent, L"EWI5"},       {1, kSource, nullptr, 0, kAbsent, L""},
        {1, kSource, kSource, 7, kAbsent, L"EWI5"},       {1, kSource, kSource, 0, kAbsent, L""},
        {1, kSource, L"Outlook", 1, kAbsent, L""},        {1, L"", nullptr, 0, kAbsent, L""},
        {1, nullptr, nullptr, 0, kAbsent, L""},           {3, kSource, kSource, 1, kAbsent, L""},
        {0xFFFFFFFF, kSource, kSource, 1, kAbsent, L""},  {kAbsent, kSource, nullptr, 0, 0, L"EWIV5"},
        {kAbsent, kSource, nullptr, 0, 1, L"E5"},         {kAbsent, kSource, nullptr, 0, 2, L"EW5"},
        {kAbsent, kSource, nullptr, 0, 3, L"EWI5"},       {kAbsent, kSource, nullptr, 0, 4, L"EWIV5"},
        {kAbsent, kSource, nullptr, 0, 5, L"5"},          {kAbsent, kSource, nullptr, 0, 6, L"EWIV5"},
    };
    for (const auto& c : cases) {
        Start({{L"Enable", c.enable}, {L"Verbose", c.verbose}});
        if (c.subkey) SetDword(L"Enable", c.subkeyEnable, c.subkey);
        Reload();
        for (DWORD level = 1; level <= 5; ++level)
            Log(c.source, std::wstring(1, L"EWIV5"[level - 1]).c_str(), kLogTypeFromSettings,
                kLogWriteModeFromSettings, LogLevel(level));
        std::wstring got;
        for (const std::wstring& message : FileMessages(DefaultLogPath())) got += message;
        EXPECT_EQ(c.written, got) << "Enable " << c.enable << " subkey " << c.subkeyEnable << " Verbose " << c.verbose;
    }
}

// A value of the wrong type counts as missing; the load then saves all eight
// values, the defaults in place of the wrong ones.
TEST_F(LoggerTest, ValuesOfTheWrongTypeTakeTheirDefaults) {
    for (const wchar_t* name : {L"Enable", L"Type", L"WriteMode", L"MaxCount", L"CurrentCount"}) SetText(name, L"1");
    const ULONGLONG big = 1;
    SetRaw(L"MaxSize", REG_QWORD, &big, sizeof(big));
    const BYTE shortValue[2] = {1, 0};
    SetRaw(L"Verbose", REG_BINARY, shortValue, sizeof(shortValue));
    SetDword(L"FilePath", 1);
    Reload();
    std::vector<DWORD> values;
    for (const wchar_t* name : {L"Enable", L"Type", L"Verbose", L"WriteMode", L"MaxSize", L"MaxCount", L"CurrentCount"})
        values.push_back(GetDword(name));
    EXPECT_EQ(values, (std::vector<DWORD>{2, 3, 3, 2, 5, 10, 0}));
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

// Rotation at a 1 MB limit. The full log becomes the backup, which ends with
// a notice naming it, and the new log holds the new line only. The number
// comes from the key at each rotation (so processes sharing the log continue
// one cycle): one past "CurrentCount", back to 1 past "MaxCount", which
// counts as 10 above 10; a backup of that number is replaced.
TEST_F(LoggerTest, TheFullLogBecomesTheNextBackupEndingWithANotice) {
    for (const auto& [maxCount, currentCount, next] : {std::array<DWORD, 3>{10, 4, 5}, {10, 9, 10}, {10, 10, 1}, {3, 2, 3},
                                                       {3, 3, 1}, {20, 10, 1}, {20, 15, 1}, {0, 0, 1}}) {
        SCOPED_TRACE(testing::Message() << maxCount << "/" << currentCount);
        Start({{L"MaxSize", 1}});
        SetDword(L"MaxCount", maxCount);
        SetDword(L"CurrentCount", currentCount);
        WriteFilledLog(BackupPath(int(next)), 200, L"old");
        WriteFilledLog(DefaultLogPath(), kOneMegabyte, L"full");
        Log(kSource, L"new");
        EXPECT_EQ(std::vector<int>{int(next)}, ExistingBackups());
        EXPECT_EQ(next, GetDword(L"CurrentCount"));
        const Messages backup = FileMessages(BackupPath(int(next)));
        EXPECT_TRUE(backup.size() > 1 && backup.front() == L"full");
        EXPECT_EQ(ReadLogLines(BackupPath(int(next))).back().substr(0, 10), L"[KTX Info]");
        EXPECT_EQ(L"KTX log file is being backed-up, as its size reached to maximum limit allowed. File backed-up as : " +
                      BackupPath(int(next)),
                  backup.back());
        EXPECT_EQ(Messages{L"new"}, FileMessages(DefaultLogPath()));
    }
}

// Four processes logging at once across several rotations (lines of about
// a kilobyte, 1 MB files): every line of every writer is found exactly once,
// whole, in the log or a backup, each writer's lines in their order within a
// file, and each rotation took its own backup number.
TEST_F(LoggerTest, FourProcessesAtOnceLoseAndSpliceNothing) {
    constexpr int kWriters = 4, kLines = 1500, kLength = 500;
    Start({{L"MaxSize", 1}});
    std::vector<std::thread> writers;
    std::array<int, kWriters> exits{};
    for (int w = 0; w < kWriters; ++w)
        writers.emplace_back([&, w] {
            exits[size_t(w)] = testing_support::RunProcess(L"\"" + testing_support::BinDir() + L"log_writer.exe\" " +
                                                               std::wstring(1, wchar_t(L'A' + w)) + L" " +
                                                               std::to_wstring(kLines) + L" " + std::to_wstring(kLength),
                                                           nullptr, 300000);
        });
    for (std::thread& writer : writers) writer.join();
    EXPECT_EQ((std::array<int, kWriters>{}), exits);

    std::array<std::vector<int>, kWriters> found;
    int damaged = 0, notices = 0, disordered = 0;
    std::vector<int> files = ExistingBackups();
    files.push_back(0);
    ASSERT_GE(files.size(), 6u) << "the lines fill more than five files";
    ASSERT_LE(files.size(), 10u) << "no backup may have been reused";
    for (const int n : files) {
        std::array<int, kWriters> last;
        last.fill(-1);
        for (const std::wstring& line : ReadLogLines(n ? BackupPath(n) : DefaultLogPath())) {
            const std::wstring message = MessageOf(line);
            wchar_t tag = 0;
            int number = -1;
            if (line.find(L"][Logger][KTX log file is being backed-up") != std::wstring::npos) {
                ++notices;
            } else if (line.rfind(L"[KTX Info][", 0) != 0 || message.size() != size_t(kLength) ||
                       swscanf(message.c_str(), L"%lc N%d", &tag, &number) != 2 || tag < L'A' || tag >= L'A' + kWriters) {
                ++damaged;
            } else {
                const size_t w = size_t(tag - L'A');
                disordered += number <= last[w];
                last[w] = number;
                found[w].push_back(number);
            }
        }
    }
    EXPECT_EQ(0, damaged);
    EXPECT_EQ(0, disordered);
    EXPECT_EQ(int(files.size()) - 1, notices);
    for (auto& numbers : found) {
        std::sort(numbers.begin(), numbers.end());
        std::vector<int> all(kLines);
        std::iota(all.begin(), all.end(), 0);
        EXPECT_EQ(all, numbers);
    }
}

// Just below the limit, or with a write mode other than 2 from the key or
// from an override (which holds for later calls until the key is read
// again), the log is appended to and never rotates.
TEST_F(LoggerTest, BelowTheLimitOrInAnotherWriteModeTheLogGrows) {
    for (const auto& [mode, size] : {std::pair{2u, kOneMegabyte - 2}, {0u, 2 * kOneMegabyte}, {1u, 2 * kOneMegabyte},
                                     {3u, 2 * kOneMegabyte}, {0xFFFFFFFFu, 2 * kOneMegabyte}}) {
        Start({{L"MaxSize", 1}, {L"WriteMode", mode}});
        WriteFilledLog(DefaultLogPath(), size, L"fill");
        Log(kSource, L"appended");
        EXPECT_EQ(ExistingBackups(), std::vector<int>{}) << mode;
        EXPECT_EQ(L"appended", FileMessages(DefaultLogPath()).back()) << mode;
    }
    Start({{L"MaxSize", 1}});
    WriteFilledLog(DefaultLogPath(), kOneMegabyte, L"fill");
    Log(kSource, L"override", kLogTypeFromSettings, 1);
    Log(kSource, L"later");
    EXPECT_EQ(ExistingBackups(), std::vector<int>{});
    Reload();
    Log(kSource, L"rotates");
    EXPECT_EQ(ExistingBackups(), std::vector<int>{1});
}

// The debugger output as a debugger sees it: OutputDebugString's exception.

using Outputs = std::vector<std::wstring>;  // one per output-debug-string event

int CountStartingWith(const Outputs& outputs, const std::wstring& text) {
    return int(std::count_if(outputs.begin(), outputs.end(), [&](const std::wstring& o) { return o.rfind(text, 0) == 0; }));
}

Outputs g_outputs;
LONG CALLBACK CatchOutput(EXCEPTION_POINTERS* exception) {
    const EXCEPTION_RECORD& r = *exception->ExceptionRecord;
    const auto* text = reinterpret_cast<const void*>(r.ExceptionInformation[1]);
    if (r.ExceptionCode == DBG_PRINTEXCEPTION_WIDE_C)
        g_outputs.emplace_back(static_cast<const wchar_t*>(text), size_t(r.ExceptionInformation[0]) - 1);
    else if (r.ExceptionCode == DBG_PRINTEXCEPTION_C)
        g_outputs.push_back(testing_support::FromUtf8(std::string(static_cast<const char*>(text), size_t(r.ExceptionInformation[0]) - 1)));
    else
        return EXCEPTION_CONTINUE_SEARCH;
    return EXCEPTION_CONTINUE_EXECUTION;
}
// Runs the body and returns what it sent to the debugger output.
Outputs Capture(const std::function<void()>& body) {
    g_outputs.clear();
    const PVOID handler = ::AddVectoredExceptionHandler(1, &CatchOutput);
    body();
    ::RemoveVectoredExceptionHandler(handler);
    return g_outputs;
}

// Defaults send all but verbose lines to both; an override of the type holds
// for later calls until the settings are read again (once per process unless
// forced), and one on a line that is filtered out changes nothing.
TEST_F(LoggerTest, TypeAndItsOverridesDecideWhereLinesGo) {
    const Outputs run = Capture([] {
        Reload();
        for (const auto& [level, type, message] :
             {std::tuple{LogLevel::Error, 3u, L"error"}, {LogLevel::Verbose, 1u, L"verbose"}, {LogLevel::Warning, 3u, L"warning"},
              {LogLevel::Information, 3u, L"information"}, {LogLevel::Error, 2u, L"debugger"}, {LogLevel::Error, 3u, L"still-debugger"},
              {LogLevel::Error, 1u, L"file"}, {LogLevel::Error, 3u, L"still-file"}})
            Log(L"P", message, type, kLogWriteModeFromSettings, level);
        CLogger::Instance().LoadConfiguration(false);
        Reload();
        Log(L"P", L"both");
    });
    const wchar_t kLoading[] = L"[KTX Logger][Loading configuration]\n";
    EXPECT_EQ(kLoading, run.at(0));
    EXPECT_EQ(2, CountStartingWith(run, kLoading));
    Messages sent;
    for (const std::wstring& output : run)
        if (output.rfind(L"[KTX ", 0) == 0 && output != kLoading) sent.push_back(MessageOf(output));
    EXPECT_EQ((Messages{L"error", L"warning", L"information", L"debugger", L"still-debugger", L"both"}), sent);
    EXPECT_EQ((Messages{L"error", L"warning", L"information", L"file", L"still-file", L"both"}), FileMessages(DefaultLogPath()));
    EXPECT_EQ(1, CountStartingWith(run, ReadLogLines(DefaultLogPath()).at(1) + L"\n")) << "the very line the file gets";
}

// Files other programs hold. A reader that keeps the log from being renamed
// (opened without delete sharing, as editors do) still gets a rotation: the
// log is copied and emptied in place. A backup that cannot be replaced (a
// viewer holds it) is reported and costs no line: the full log is kept and
// the line appended to it.
TEST_F(LoggerTest, HeldFilesStillRotateOrCostNoLine) {
    Start({{L"MaxSize", 1}});
    WriteFilledLog(DefaultLogPath(), kOneMegabyte, L"full");
    com::UniqueFile reader(::CreateFileW(DefaultLogPath().c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                         nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(reader);
    Log(kSource, L"new");
    reader.reset();
    EXPECT_EQ(std::vector<int>{1}, ExistingBackups());
    EXPECT_EQ(L"full", FileMessages(BackupPath(1)).front());
    EXPECT_EQ(Messages{L"new"}, FileMessages(DefaultLogPath()));

    Start({{L"MaxSize", 1}});
    WriteFilledLog(DefaultLogPath(), kOneMegabyte, L"fill");
    WriteFilledLog(BackupPath(1), 16, L"old");
    com::UniqueFile viewer(::CreateFileW(BackupPath(1).c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(viewer);
    const Outputs run = Capture([] { Log(L"P", L"kept", kLogTypeFile); });
    viewer.reset();
    EXPECT_EQ(1, CountStartingWith(run, L"Log to file failed. Exception occured. File path: " + DefaultLogPath()));
    const Messages messages = FileMessages(DefaultLogPath());
    EXPECT_GT(messages.size(), 1u);
    EXPECT_EQ(L"kept", messages.back());
    EXPECT_EQ(0u, GetDword(L"CurrentCount"));
}

}  // namespace
