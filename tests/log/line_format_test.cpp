// The lines in the log file, parsed back: tag per level, local date and time,
// source, message, the caller's last error, and the file's encoding.
#include "log_test_support.h"

using namespace logtest;

namespace {

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

}  // namespace
