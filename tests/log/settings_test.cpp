// The Logger key: "Enable" with its per-source subkeys, the "Verbose"
// threshold, and bad values or paths falling back to the defaults.
#include "log_test_support.h"

#include "com/unique_any.h"
#include "support/test_support.h"

using namespace logtest;

namespace {

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

}  // namespace
