// The lines in the log file, parsed back: tag per level, local date and time,
// source, message, the caller's last error, and the file's encoding.
#include "log_test_support.h"

using namespace logtest;

namespace {

ULONGLONG AsNumber(const SYSTEMTIME& time) {
    FILETIME file{};
    ::SystemTimeToFileTime(&time, &file);
    return (ULONGLONG(file.dwHighDateTime) << 32) | file.dwLowDateTime;
}

class LineFormatTest : public LoggerTest {
protected:
    void SetUp() override {
        LoggerTest::SetUp();
        Configure({{L"Type", kLogTypeFile}, {L"Verbose", 4}});
    }

    // The only line of the log file, parsed.
    static ParsedLine OnlyLine() {
        const std::vector<std::wstring> lines = ReadLogLines(DefaultLogPath());
        EXPECT_EQ(1u, lines.size());
        ParsedLine parsed;
        if (!lines.empty()) {
            EXPECT_TRUE(ParseLine(lines[0], parsed)) << "line does not parse";
        }
        return parsed;
    }
};

struct LevelFormat {
    const char* name;
    LogLevel level;
    const wchar_t* tag;
    bool hasLastError;
};

void PrintTo(const LevelFormat& c, std::ostream* os) {
    *os << c.name;
}

const LevelFormat kLevelFormats[] = {
    {"Error", LogLevel::Error, L"Err", true},
    {"Warning", LogLevel::Warning, L"Warn", true},
    {"Information", LogLevel::Information, L"Info", false},
    {"Verbose", LogLevel::Verbose, L"Verb", false},
    {"LevelFive", LogLevel::Always, L"Err", true},
};

class LevelFormatTest : public LineFormatTest, public testing::WithParamInterface<LevelFormat> {};

TEST_P(LevelFormatTest, LineCarriesTagTimeSourceMessageAndLastError) {
    const LevelFormat& f = GetParam();
    constexpr DWORD kCallerError = 1234;
    SYSTEMTIME before{}, after{};
    ::GetLocalTime(&before);
    ::SetLastError(kCallerError);
    Log(L"Outlook", L"Connect failed", kLogTypeFromSettings, kLogWriteModeFromSettings, f.level);
    const DWORD errorAfterwards = ::GetLastError();
    ::GetLocalTime(&after);

    const ParsedLine line = OnlyLine();
    EXPECT_EQ(f.tag, line.tag);
    EXPECT_EQ(L"Outlook", line.source);
    EXPECT_EQ(L"Connect failed", line.message);
    EXPECT_EQ(f.hasLastError, line.hasLastError);
    if (f.hasLastError) {
        EXPECT_EQ(kCallerError, line.lastError);
    }
    // Logging leaves the caller's last error alone.
    EXPECT_EQ(kCallerError, errorAfterwards);
    // Day, month, year and the time of day of the local clock, in that order.
    EXPECT_LE(AsNumber(before) / 10000, AsNumber(line.time) / 10000);
    EXPECT_GE(AsNumber(after) / 10000, AsNumber(line.time) / 10000);
}

INSTANTIATE_TEST_SUITE_P(Levels, LevelFormatTest, testing::ValuesIn(kLevelFormats),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(LineFormatTest, FixedWidthFieldsAndNewline) {
    Log(L"S", L"M", kLogTypeFromSettings, kLogWriteModeFromSettings, LogLevel::Information);
    const std::wstring text = ReadLog(DefaultLogPath());
    // "[KTX Info][dd:mm:yyyy][hh:mm:ss:mmm][S][M]\n"
    ASSERT_EQ(43u, text.size());
    EXPECT_EQ(L"[KTX Info][", text.substr(0, 11));
    EXPECT_EQ(L"[S][M]\n", text.substr(36));
    EXPECT_EQ(std::wstring::npos, text.find(L'\r'));
}

// Source and message are data, never part of the format, and are written
// whole whatever their length or script.
TEST_F(LineFormatTest, TextIsWrittenAsGiven) {
    const std::pair<std::wstring, std::wstring> texts[] = {
        {L"%s%n", L"100% done %d %s %n %%"},
        {L"Phonebook", L"Zo\u00eb \u03a9\u03bc\u03ad\u03b3\u03b1 \u65e5\u672c \U0001F4E0"},
        {L"Phonebook", std::wstring(100000, L'x')},
    };
    for (const auto& [source, message] : texts) {
        ResetLogState();
        Configure({{L"Type", kLogTypeFile}});
        Log(source.c_str(), message.c_str());
        const ParsedLine line = OnlyLine();
        EXPECT_EQ(source, line.source);
        EXPECT_TRUE(message == line.message) << "message " << message.size() << " characters";
    }
}

TEST_F(LineFormatTest, NullSourceAndMessageGiveEmptyFields) {
    Log(nullptr, nullptr);
    const ParsedLine line = OnlyLine();
    EXPECT_EQ(L"", line.source);
    EXPECT_EQ(L"", line.message);
}

// One byte-order mark at the start of the file, none between lines.
TEST_F(LineFormatTest, FileIsUtf16WithOneByteOrderMark) {
    for (int i = 0; i < 3; ++i) Log(L"Phonebook", std::to_wstring(i).c_str());
    bool hasMark = false;
    const std::wstring text = ReadLog(DefaultLogPath(), &hasMark);
    EXPECT_TRUE(hasMark);
    EXPECT_EQ(std::wstring::npos, text.find(wchar_t(0xFEFF)));
    EXPECT_EQ(3u, ReadLogLines(DefaultLogPath()).size());
}

}  // namespace
