// The Logger key: "Enable" with its per-source subkeys, the "Verbose"
// threshold, overrides that stay in force, saving, and bad values or paths
// falling back to the defaults. Lines are checked in the real log file.
#include "log_test_support.h"

#include "com/unique_any.h"
#include "support/test_support.h"

using namespace logtest;

namespace {

constexpr wchar_t kSource[] = L"Phonebook";
constexpr DWORD kAbsent = 0xDEAD0000;  // marks a registry value that is not written

// ---------------------------------------------------------------- Enable

struct EnableCase {
    const char* name;
    DWORD enable;           // kAbsent: no value
    bool enableAsText;      // written as REG_SZ instead of REG_DWORD
    const wchar_t* subkey;  // nullptr: no subkey
    DWORD subkeyEnable;
    bool subkeyEnableAsText;
    bool logged;
};

void PrintTo(const EnableCase& c, std::ostream* os) {
    *os << c.name;
}

const EnableCase kEnableCases[] = {
    {"MissingMeansEverySource", kAbsent, false, nullptr, 0, false, true},
    {"ZeroLogsNothing", 0, false, nullptr, 0, false, false},
    {"TwoLogsEverySource", 2, false, nullptr, 0, false, true},
    {"TwoIgnoresADisabledSubkey", 2, false, kSource, 0, false, true},
    {"OneWithoutSubkey", 1, false, nullptr, 0, false, false},
    {"OneWithSubkeyEnabled", 1, false, kSource, 1, false, true},
    {"OneWithSubkeyAnyNonZero", 1, false, kSource, 7, false, true},
    {"OneWithSubkeyDisabled", 1, false, kSource, 0, false, false},
    {"OneWithOtherSourceEnabled", 1, false, L"Outlook", 1, false, false},
    {"OneWithSubkeyEnableAsText", 1, false, kSource, 1, true, false},
    {"ThreeLogsNothing", 3, false, nullptr, 0, false, false},
    {"AllBitsLogNothing", 0xFFFFFFFF, false, nullptr, 0, false, false},
    {"TextValueCountsAsMissing", 0, true, nullptr, 0, false, true},
};

class EnableTest : public LoggerTest, public testing::WithParamInterface<EnableCase> {};

TEST_P(EnableTest, DecidesWhetherTheSourceIsLogged) {
    const EnableCase& c = GetParam();
    SetDword(L"Type", kLogTypeFile);
    if (c.enableAsText)
        SetText(L"Enable", std::to_wstring(c.enable));
    else if (c.enable != kAbsent)
        SetDword(L"Enable", c.enable);
    if (c.subkey && c.subkeyEnableAsText)
        SetText(L"Enable", std::to_wstring(c.subkeyEnable), c.subkey);
    else if (c.subkey)
        SetDword(L"Enable", c.subkeyEnable, c.subkey);
    Reload();

    Log(kSource, L"enabled?", kLogTypeFromSettings, kLogWriteModeFromSettings, LogLevel::Error);

    EXPECT_EQ(c.logged, HasMessage(DefaultLogPath(), L"enabled?"));
}

INSTANTIATE_TEST_SUITE_P(Modes, EnableTest, testing::ValuesIn(kEnableCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(LoggerTest, NamelessSourceIsNeverEnabledPerSource) {
    Configure({{L"Type", kLogTypeFile}, {L"Enable", kLogEnablePerSource}});
    Log(L"", L"empty");
    Log(nullptr, L"null");
    EXPECT_TRUE(ReadLogLines(DefaultLogPath()).empty());
}

// ---------------------------------------------------------------- Verbose

struct ThresholdCase {
    const char* name;
    DWORD verbose;  // kAbsent: no value
    // One letter per level that is written: E error, W warning, I
    // information, V verbose, A level 5.
    const char* written;
};

void PrintTo(const ThresholdCase& c, std::ostream* os) {
    *os << c.name;
}

const ThresholdCase kThresholdCases[] = {
    {"DefaultIsInformation", kAbsent, "EWIA"},
    {"Zero", 0, "EWIVA"},
    {"ErrorsOnly", 1, "EA"},
    {"AndWarnings", 2, "EWA"},
    {"AndInformation", 3, "EWIA"},
    {"AndVerbose", 4, "EWIVA"},
    {"OnlyLevelFive", 5, "A"},
    {"Six", 6, "EWIVA"},
};

class ThresholdTest : public LoggerTest, public testing::WithParamInterface<ThresholdCase> {};

TEST_P(ThresholdTest, WritesTheLevelsItLetsThrough) {
    const ThresholdCase& c = GetParam();
    SetDword(L"Type", kLogTypeFile);
    if (c.verbose != kAbsent) SetDword(L"Verbose", c.verbose);
    Reload();

    const std::pair<char, LogLevel> levels[] = {{'E', LogLevel::Error},
                                                {'W', LogLevel::Warning},
                                                {'I', LogLevel::Information},
                                                {'V', LogLevel::Verbose},
                                                {'A', LogLevel::Always}};
    for (const auto& [letter, level] : levels)
        Log(kSource, std::wstring(1, wchar_t(letter)).c_str(), kLogTypeFromSettings,
            kLogWriteModeFromSettings, level);

    std::string written;
    for (const std::wstring& line : ReadLogLines(DefaultLogPath())) {
        ParsedLine parsed;
        ASSERT_TRUE(ParseLine(line, parsed)) << "bad line";
        written += char(parsed.message[0]);
        // Level 5 looks like an error in the file.
        if (parsed.message == L"A") {
            EXPECT_EQ(L"Err", parsed.tag);
        }
    }
    EXPECT_EQ(c.written, written);
}

INSTANTIATE_TEST_SUITE_P(Levels, ThresholdTest, testing::ValuesIn(kThresholdCases),
                         [](const auto& info) { return std::string(info.param.name); });

// ---------------------------------------------------------------- overrides

class OverrideTest : public LoggerTest {};

TEST_F(OverrideTest, TypeOverrideHoldsForLaterCallsUntilReload) {
    Configure({{L"Type", kLogTypeFile}});
    Log(kSource, L"debugger only", kLogTypeDebugger);
    Log(kSource, L"still debugger only");
    EXPECT_EQ(kLogTypeDebugger, CLogger::Instance().Settings().type);
    Log(kSource, L"file again", kLogTypeFile);
    Log(kSource, L"still file");
    Log(kSource, L"silenced", 0);
    Log(kSource, L"still silenced");
    Reload();
    Log(kSource, L"after reload");

    const std::wstring path = DefaultLogPath();
    EXPECT_FALSE(HasMessage(path, L"debugger only"));
    EXPECT_FALSE(HasMessage(path, L"still debugger only"));
    EXPECT_TRUE(HasMessage(path, L"file again"));
    EXPECT_TRUE(HasMessage(path, L"still file"));
    EXPECT_FALSE(HasMessage(path, L"silenced"));
    EXPECT_FALSE(HasMessage(path, L"still silenced"));
    EXPECT_TRUE(HasMessage(path, L"after reload"));
}

TEST_F(OverrideTest, WriteModeOverrideStopsRotationForLaterCalls) {
    Configure({{L"Type", kLogTypeFile}, {L"MaxSize", 1}});
    WriteFilledLog(DefaultLogPath(), 1 << 20, L"full");
    Log(kSource, L"grows", kLogTypeFromSettings, 1);
    Log(kSource, L"grows too");
    EXPECT_TRUE(ExistingBackups().empty());
    EXPECT_TRUE(HasMessage(DefaultLogPath(), L"grows too"));

    Reload();
    Log(kSource, L"rotates");
    EXPECT_EQ(std::vector<int>{1}, ExistingBackups());
}

// An override travels with a line; a line that is filtered out changes nothing.
TEST_F(OverrideTest, FilteredCallLeavesSettingsAlone) {
    Configure({{L"Type", kLogTypeFile}, {L"Verbose", 1}});
    Log(kSource, L"dropped", kLogTypeDebugger, kLogWriteModeFromSettings, LogLevel::Verbose);
    Log(kSource, L"kept");
    EXPECT_TRUE(HasMessage(DefaultLogPath(), L"kept"));
}

// ---------------------------------------------------------------- saving

TEST_F(LoggerTest, SaveWritesAllEightValuesWithTheirTypes) {
    Configure({{L"Enable", 1},
               {L"Type", 2},
               {L"Verbose", 4},
               {L"WriteMode", 0},
               {L"MaxSize", 7},
               {L"MaxCount", 3},
               {L"CurrentCount", 2}});
    testing_support::DeleteUserKey(kLoggerKeyPath);
    CLogger::Instance().SaveConfiguration();

    const std::pair<const wchar_t*, DWORD> expected[] = {
        {L"Enable", 1},  {L"Type", 2},     {L"Verbose", 4},     {L"WriteMode", 0},
        {L"MaxSize", 7}, {L"MaxCount", 3}, {L"CurrentCount", 2}};
    for (const auto& [name, value] : expected) {
        DWORD type = 0;
        std::vector<BYTE> data;
        ASSERT_TRUE(GetValue(name, type, data)) << "missing";
        EXPECT_EQ(DWORD(REG_DWORD), type);
        EXPECT_EQ(value, GetDword(name, kAbsent));
    }
    DWORD type = 0;
    std::vector<BYTE> data;
    ASSERT_TRUE(GetValue(L"FilePath", type, data));
    EXPECT_EQ(DWORD(REG_SZ), type);
    EXPECT_EQ(DefaultLogPath(), GetText(L"FilePath"));
}

// ---------------------------------------------------------------- bad input

TEST_F(LoggerTest, ValuesOfTheWrongTypeTakeTheirDefaults) {
    const wchar_t* names[] = {L"Enable",  L"Type",     L"Verbose",     L"WriteMode",
                              L"MaxSize", L"MaxCount", L"CurrentCount"};
    for (const wchar_t* name : names) SetText(name, L"1");
    const ULONGLONG big = 1;
    SetRaw(L"MaxSize", REG_QWORD, &big, sizeof(big));
    const BYTE shortValue[2] = {1, 0};
    SetRaw(L"Verbose", REG_BINARY, shortValue, sizeof(shortValue));
    SetDword(L"FilePath", 1);
    Reload();

    const LogSettings settings = CLogger::Instance().Settings();
    const LogSettings defaults;
    EXPECT_EQ(defaults.enable, settings.enable);
    EXPECT_EQ(defaults.type, settings.type);
    EXPECT_EQ(defaults.verbose, settings.verbose);
    EXPECT_EQ(defaults.writeMode, settings.writeMode);
    EXPECT_EQ(defaults.maxSizeMB, settings.maxSizeMB);
    EXPECT_EQ(defaults.maxCount, settings.maxCount);
    EXPECT_EQ(defaults.currentCount, settings.currentCount);
    EXPECT_EQ(DefaultLogPath(), settings.filePath);

    Log(kSource, L"information", kLogTypeFile, kLogWriteModeFromSettings, LogLevel::Information);
    Log(kSource, L"verbose", kLogTypeFile, kLogWriteModeFromSettings, LogLevel::Verbose);
    EXPECT_TRUE(HasMessage(DefaultLogPath(), L"information"));
    EXPECT_FALSE(HasMessage(DefaultLogPath(), L"verbose"));
}

// Openable, but shorter than "\FaxData.log" and so no full path.
constexpr wchar_t kShortPath[] = L"C:\\x.log";

class FilePathTest : public LoggerTest {
protected:
    void SetUp() override {
        LoggerTest::SetUp();
        ::DeleteFileW(kShortPath);
        wchar_t temp[MAX_PATH];
        ::GetTempPathW(MAX_PATH, temp);
        m_dir = std::wstring(temp) + L"velphonebook-log-test";
        ::CreateDirectoryW(m_dir.c_str(), nullptr);
        m_custom = m_dir + L"\\custom.log";
        ::DeleteFileW(m_custom.c_str());
    }
    void TearDown() override {
        ::DeleteFileW(m_custom.c_str());
        ::RemoveDirectoryW(m_dir.c_str());
        ::DeleteFileW(kShortPath);
        LoggerTest::TearDown();
    }

    // Loads with the given "FilePath" and logs one line.
    void LoadWithPathAndLog(const std::wstring& filePath) {
        SetDword(L"Type", kLogTypeFile);
        SetText(L"FilePath", filePath);
        Reload();
        Log(kSource, L"where?");
    }

    std::wstring m_dir;
    std::wstring m_custom;
};

TEST_F(FilePathTest, UsableCustomPathIsKept) {
    LoadWithPathAndLog(m_custom);
    EXPECT_TRUE(HasMessage(m_custom, L"where?"));
    EXPECT_EQ(m_custom, GetText(L"FilePath"));
    EXPECT_FALSE(FileExists(DefaultLogPath()));
}

TEST_F(FilePathTest, UnusablePathsFallBackToTheDefault) {
    const std::wstring unusable[] = {
        L"",
        kShortPath,
        L"C:\\no-such-folder-for-the-log\\deeper\\x.log",
        L"C:\\bad<|>name\\FaxData.log",
        L"Q:\\unmapped-drive-for-the-log\\x.log",
        m_dir,  // a directory
    };
    for (const std::wstring& path : unusable) {
        SCOPED_TRACE(testing::PrintToString(std::string(path.begin(), path.end())));
        ResetLogState();
        LoadWithPathAndLog(path);
        EXPECT_TRUE(HasMessage(DefaultLogPath(), L"where?"));
        EXPECT_EQ(DefaultLogPath(), GetText(L"FilePath"));
        EXPECT_EQ(DefaultLogPath(), CLogger::Instance().Settings().filePath);
    }
    EXPECT_FALSE(FileExists(kShortPath));
}

// A log file another program holds without sharing cannot be appended to.
TEST_F(FilePathTest, LockedCustomFileFallsBackToTheDefault) {
    com::UniqueFile holder(
        ::CreateFileW(m_custom.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    ASSERT_TRUE(holder);
    LoadWithPathAndLog(m_custom);
    EXPECT_TRUE(HasMessage(DefaultLogPath(), L"where?"));
}

TEST_F(FilePathTest, MissingDefaultFolderIsCreated) {
    ::RemoveDirectoryW(LogFolder().c_str());
    if (::GetFileAttributesW(LogFolder().c_str()) != INVALID_FILE_ATTRIBUTES)
        GTEST_SKIP() << "the log folder holds other files";
    LoadWithPathAndLog(L"");
    EXPECT_TRUE(HasMessage(DefaultLogPath(), L"where?"));
}

}  // namespace
