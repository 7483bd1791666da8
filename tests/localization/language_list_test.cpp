// The language list: the order of its sources, the sibling library (a
// stand-in built by the tests), the per-machine value and its bad types, the
// language codes of file names, and the per-process UI language seen by a
// fresh process.
#include "com/unique_any.h"
#include "localization/language.h"
#include "support/test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

using namespace localization;

namespace {

constexpr LANGID kGermanSwiss = 0x0807;  // 2055
constexpr LANGID kGerman = 0x0407;       // 1031
constexpr LANGID kFrench = 0x040C;       // 1036
constexpr LANGID kItalian = 0x0410;
constexpr LANGID kRussian = 0x0419;
constexpr LANGID kKorean = 0x0412;
constexpr LANGID kEnglish = 0x0409;
constexpr LANGID kEnglishUK = 0x0809;

const WindowsVersion kWindows7{6, 1, false};
const WindowsVersion kWindows2000{5, 0, false};
const WindowsVersion kWindowsXP{5, 1, false};
const WindowsVersion kWindowsXPHome{5, 1, true};
const WindowsVersion kServer2003{5, 2, false};

LanguageSources SystemList(const WindowsVersion& version, LanguageList preferred) {
    LanguageSources sources;
    sources.version = version;
    sources.hasThreadPreferred = true;
    sources.threadPreferred = std::move(preferred);
    return sources;
}

// A system without GetThreadPreferredUILanguages: user UI Russian, thread
// locale Italian, system UI English.
LanguageSources LegacySystem(const WindowsVersion& version) {
    LanguageSources sources;
    sources.version = version;
    sources.userDefaultUI = kRussian;
    sources.threadLocale = kItalian;
    sources.systemDefaultUI = kEnglish;
    return sources;
}

LanguageSources With(LanguageSources sources, DWORD machine, LanguageList sibling) {
    sources.machineLanguage = machine;
    sources.sibling = std::move(sibling);
    return sources;
}

struct MergeCase {
    const char* name;
    LanguageSources sources;
    LanguageList expected;
};

const MergeCase kMergeCases[] = {
    {"SwissGermanThenFrenchGetsGermanDefaultAfterBoth",
     SystemList(kWindows7, {kGermanSwiss, kFrench}),
     {kGermanSwiss, kFrench, kGerman, kEnglish}},
    {"SiblingListWinsOverSystem",
     With(SystemList(kWindows7, {kGerman}), 0, {kItalian, kKorean}),
     {kItalian, kKorean, kEnglish}},
    {"EnglishVariantGetsUnitedStatesAfterTheRest",
     SystemList(kWindows7, {kEnglishUK, kFrench}),
     {kEnglishUK, kFrench, kEnglish}},
    {"DuplicatesOfTheSystemListAreDropped",
     SystemList(kWindows7, {kFrench, kFrench, kGerman}),
     {kFrench, kGerman, kEnglish}},
    // Chinese (Hong Kong) and neutral German get their default forms; the
    // neutral (0) and invariant (127) primaries never do.
    {"DefaultFormsSkipNeutralAndInvariant",
     SystemList(kWindows7, {0x0C04, 0x007F, 0x0400, 0x0007}),
     {0x0C04, 0x007F, 0x0400, 0x0007, 0x0404, kGerman, kEnglish}},
    {"MachineValueFirstOnWindows2000",
     With(SystemList(kWindows2000, {kFrench}), kItalian, {}),
     {kItalian, kFrench, kEnglish}},
    {"MachineValueIgnoredOnXP", With(LegacySystem(kWindowsXP), kGerman, {}), {kRussian, kItalian, kEnglish}},
    {"LegacyOrderSwappedOnXPHome", LegacySystem(kWindowsXPHome), {kItalian, kRussian, kEnglish}},
    {"LegacyOrderSwappedOnWindows2000", LegacySystem(kWindows2000), {kItalian, kRussian, kEnglish}},
    // The sibling's only entry repeats the machine value, so it appended
    // nothing and the system is asked after all.
    {"SiblingRepeatingMachineValueCountsAsNothing",
     With(LegacySystem(kWindows2000), kRussian, {kRussian}),
     {kRussian, kItalian, kEnglish}},
    {"NothingKnownGivesEnglish", With(LanguageSources(), 0, {}), {kEnglish}},
};

class MergeLanguageListTest : public testing::TestWithParam<MergeCase> {};

TEST_P(MergeLanguageListTest, BuildsTheOrderedList) {
    EXPECT_EQ(MergeLanguageList(GetParam().sources), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Cases, MergeLanguageListTest, testing::ValuesIn(kMergeCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(ParseLanguageIdsTest, ReadsHexEntriesUpToTheFirstEmptyOne) {
    EXPECT_EQ(ParseLanguageIds(L"0807\0"
                               L"040C\0\0"),
              (LanguageList{kGermanSwiss, kFrench}));
    EXPECT_EQ(ParseLanguageIds(L"0407\0\0"
                               L"040C\0\0"),
              (LanguageList{kGerman}));
    EXPECT_EQ(ParseLanguageIds(L"zz\0"
                               L"0407x\0"
                               L"12345\0"
                               L"0\0"
                               L"0412\0\0"),
              (LanguageList{kKorean}));
    EXPECT_TRUE(ParseLanguageIds(L"\0").empty());
    EXPECT_TRUE(ParseLanguageIds(nullptr).empty());
}

struct FileNameCase {
    LANGID language;
    const wchar_t* fileName;
};

TEST(LanguageFileNameTest, FollowsTheCodeTable) {
    const FileNameCase cases[] = {
        {kGerman, L"Zantix.de.xml"},     {kGermanSwiss, L"Zantix.de.xml"}, {kEnglish, L"Zantix.xml"},
        {kEnglishUK, L"Zantix.xml"},     {0x0404, L"Zantix.zh-tw.xml"},    {0x0C04, L"Zantix.zh-cn.xml"},
        {0x0804, L"Zantix.zh-cn.xml"},   {0x1004, L"Zantix.zh-cn.xml"},    {0x0416, L"Zantix.pt-br.xml"},
        {0x0816, L"Zantix.pt-pt.xml"},   {0x0016, L"Zantix.pt.xml"},       {0x0814, L"Zantix.nb.xml"},
        {0x0411, L"Zantix.neutral.xml"}, {0x0000, L"Zantix.neutral.xml"},  {kKorean, L"Zantix.ko.xml"},
        {0x0422, L"Zantix.uk.xml"},      {0x040D, L"Zantix.he.xml"},       {0x041F, L"Zantix.tr.xml"},
    };
    for (const FileNameCase& c : cases)
        EXPECT_EQ(LanguageFileName(c.language), c.fileName) << std::hex << c.language;
}

TEST(ModuleNameTest, BaseNameDropsExtensionAndTrailing64) {
    EXPECT_EQ(ModuleBaseName(L"C:\\Program Files\\Orvanta\\VelPhonebook64.dll"), L"VelPhonebook");
    EXPECT_EQ(ModuleBaseName(L"C:\\bin\\test_localization.exe"), L"test_localization");
    EXPECT_EQ(ModuleBaseName(L"C:\\v1.2\\Tool64"), L"Tool");
    EXPECT_EQ(ModuleBaseName(L"C:\\bin\\x64\\Tool32.dll"), L"Tool32");
    EXPECT_EQ(ModuleBaseName(L"C:\\bin\\64.dll"), L"64");
    EXPECT_EQ(ModuleFolder(L"C:\\bin\\VelPhonebook64.dll"), L"C:\\bin\\");
}

// The stand-in sibling library answers with the environment variables below.
class SiblingLibraryTest : public testing::Test {
protected:
    void SetUp() override { ClearLists(); }
    void TearDown() override { ClearLists(); }
    static void ClearLists() {
        ::SetEnvironmentVariableW(L"ZANTIXUI_ORIGINAL_LIST", nullptr);
        ::SetEnvironmentVariableW(L"ZANTIXUI_PREFERRED_LIST", nullptr);
    }
    static std::wstring FullFolder() { return testing_support::BinDir() + L"zantixui\\"; }
    static std::wstring PlainFolder() { return testing_support::BinDir() + L"zantixui_plain\\"; }
};

TEST_F(SiblingLibraryTest, OriginalListIsPreferredAndSplitAtColons) {
    ::SetEnvironmentVariableW(L"ZANTIXUI_ORIGINAL_LIST", L"0807:xyz:040C");
    ::SetEnvironmentVariableW(L"ZANTIXUI_PREFERRED_LIST", L"0410");
    EXPECT_EQ(ReadSiblingLanguages(FullFolder()), (LanguageList{kGermanSwiss, kFrench}));
}

TEST_F(SiblingLibraryTest, FailingOriginalListIsNotReplacedByThePlainOne) {
    ::SetEnvironmentVariableW(L"ZANTIXUI_PREFERRED_LIST", L"0410");
    EXPECT_TRUE(ReadSiblingLanguages(FullFolder()).empty());
}

TEST_F(SiblingLibraryTest, PlainListServesWhenTheOriginalIsNotExported) {
    ::SetEnvironmentVariableW(L"ZANTIXUI_ORIGINAL_LIST", L"0407");
    ::SetEnvironmentVariableW(L"ZANTIXUI_PREFERRED_LIST", L"0410:0419");
    EXPECT_EQ(ReadSiblingLanguages(PlainFolder()), (LanguageList{kItalian, kRussian}));
}

TEST_F(SiblingLibraryTest, MissingLibraryGivesNothing) {
    ::SetEnvironmentVariableW(L"ZANTIXUI_ORIGINAL_LIST", L"0407");
    EXPECT_TRUE(ReadSiblingLanguages(testing_support::BinDir() + L"no-such-folder\\").empty());
}

TEST_F(SiblingLibraryTest, SwissGermanThenFrenchThroughTheLibrary) {
    ::SetEnvironmentVariableW(L"ZANTIXUI_ORIGINAL_LIST", L"0807:040C");
    EXPECT_EQ(BuildLanguageList(FullFolder(), kWindows7),
              (LanguageList{kGermanSwiss, kFrench, kGerman, kEnglish}));
}

TEST_F(SiblingLibraryTest, SystemTakesOverWhenTheLibraryAnswersNothing) {
    const LanguageList list = BuildLanguageList(FullFolder(), kWindows7);
    ASSERT_FALSE(list.empty());
    EXPECT_EQ(list.back(), kEnglish);
    EXPECT_EQ(list, BuildLanguageList(testing_support::BinDir() + L"no-such-folder\\", kWindows7));
}

// The per-machine value on the real registry; only the value is removed
// afterwards, so the key may outlive the test.
class MachineLanguageTest : public testing::Test {
protected:
    void SetUp() override { DeleteValue(); }
    void TearDown() override { DeleteValue(); }
    static void DeleteValue() {
        ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kLanguageKeyPath, kLanguageValueName);
    }
    static void SetValue(DWORD type, const void* data, DWORD size) {
        ASSERT_EQ(
            ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, kLanguageKeyPath, kLanguageValueName, type, data, size),
            ERROR_SUCCESS);
    }
    static std::wstring NoSibling() { return testing_support::BinDir() + L"no-such-folder\\"; }
};

TEST_F(MachineLanguageTest, DwordValueLeadsTheListOnWindows2000Only) {
    const DWORD italian = kItalian;
    SetValue(REG_DWORD, &italian, sizeof(italian));
    EXPECT_EQ(ReadMachineLanguage(), DWORD(kItalian));
    EXPECT_EQ(BuildLanguageList(NoSibling(), kWindows2000).front(), kItalian);
    for (const WindowsVersion& version : {kWindowsXP, kServer2003, kWindows7}) {
        const LanguageList list = BuildLanguageList(NoSibling(), version);
        EXPECT_EQ(std::count(list.begin(), list.end(), kItalian), 0) << version.major << "." << version.minor;
    }
}

TEST_F(MachineLanguageTest, ValuesOfOtherTypesAreIgnored) {
    const wchar_t text[] = L"1040";
    const BYTE binary[] = {0x10, 0x04, 0x00, 0x00};
    const ULONGLONG qword = kItalian;
    const DWORD zero = 0;
    struct Bad {
        DWORD type;
        const void* data;
        DWORD size;
    } const values[] = {{REG_SZ, text, sizeof(text)},
                        {REG_BINARY, binary, sizeof(binary)},
                        {REG_QWORD, &qword, sizeof(qword)},
                        {REG_DWORD, &zero, sizeof(zero)},
                        {REG_BINARY, binary, 0}};
    for (const Bad& value : values) {
        SetValue(value.type, value.data, value.size);
        EXPECT_EQ(ReadMachineLanguage(), 0u) << "type " << value.type;
        const LanguageList list = BuildLanguageList(NoSibling(), kWindows2000);
        EXPECT_EQ(std::count(list.begin(), list.end(), kItalian), 0) << "type " << value.type;
        EXPECT_EQ(std::count(list.begin(), list.end(), LANGID(0)), 0) << "type " << value.type;
    }
}

// A fresh process per case: the UI language is computed once per process,
// from the sibling library placed beside the program for the test.
class ProcessLanguageTest : public SiblingLibraryTest {
protected:
    void SetUp() override {
        SiblingLibraryTest::SetUp();
        m_sibling = testing_support::BinDir() + kSiblingLibraryName;
        ASSERT_TRUE(::CopyFileW((FullFolder() + kSiblingLibraryName).c_str(), m_sibling.c_str(), FALSE));
    }
    void TearDown() override {
        ::DeleteFileW(m_sibling.c_str());
        SiblingLibraryTest::TearDown();
    }
    static std::string RunProbe() {
        std::string output;
        EXPECT_EQ(testing_support::RunProcess(L"\"" + testing_support::BinDir() + L"localization_probe.exe\"",
                                              &output),
                  0);
        output.erase(std::remove(output.begin(), output.end(), '\r'), output.end());
        return output;
    }
    std::wstring m_sibling;
};

TEST_F(ProcessLanguageTest, KoreanFirstSelectsMalgunGothic) {
    ::SetEnvironmentVariableW(L"ZANTIXUI_ORIGINAL_LIST", L"0412:0407");
    const std::string output = RunProbe();
    EXPECT_NE(output.find("list=0412:0407:0409\n"), std::string::npos) << output;
    EXPECT_NE(output.find("primary=18\n"), std::string::npos) << output;
    EXPECT_NE(output.find("font=Malgun Gothic"), std::string::npos) << output;
}

TEST_F(ProcessLanguageTest, KoreanLaterInTheListKeepsSegoeUI) {
    ::SetEnvironmentVariableW(L"ZANTIXUI_ORIGINAL_LIST", L"0807:0412");
    const std::string output = RunProbe();
    EXPECT_NE(output.find("primary=7\n"), std::string::npos) << output;
    EXPECT_NE(output.find("font=Segoe UI"), std::string::npos) << output;
}

// The probe runs as the Windows version Wine is told to report for it, with
// the per-machine value set: only Windows 2000 reads it.
class WindowsVersionProcessTest : public ProcessLanguageTest {
protected:
    void SetUp() override {
        ProcessLanguageTest::SetUp();
        const DWORD italian = kItalian;
        ASSERT_EQ(::RegSetKeyValueW(HKEY_LOCAL_MACHINE, kLanguageKeyPath, kLanguageValueName, REG_DWORD,
                                    &italian, sizeof(italian)),
                  ERROR_SUCCESS);
    }
    void TearDown() override {
        ::RegDeleteTreeW(HKEY_CURRENT_USER, kAppDefaults);
        ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kLanguageKeyPath, kLanguageValueName);
        ProcessLanguageTest::TearDown();
    }
    static void ReportVersion(const std::wstring& version) {
        ASSERT_EQ(::RegSetKeyValueW(HKEY_CURRENT_USER, kAppDefaults, L"Version", REG_SZ, version.c_str(),
                                    DWORD((version.size() + 1) * sizeof(wchar_t))),
                  ERROR_SUCCESS);
    }
    static constexpr wchar_t kAppDefaults[] = L"Software\\Wine\\AppDefaults\\localization_probe.exe";
};

TEST_F(WindowsVersionProcessTest, MachineValueLeadsOnWindows2000Only) {
    ReportVersion(L"win2k");
    std::string output = RunProbe();
    EXPECT_NE(output.find("list=0410:"), std::string::npos) << output;
    EXPECT_NE(output.find("primary=16\n"), std::string::npos) << output;
    for (const wchar_t* version : {L"winxp64", L"win7"}) {
        ReportVersion(version);
        output = RunProbe();
        EXPECT_EQ(output.find("0410"), std::string::npos) << output;
    }
}

}  // namespace
