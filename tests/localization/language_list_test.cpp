// The language list: the order of its sources, the sibling library (a
// stand-in built by the tests) and the UI language of a fresh process.
#include "localization/language.h"
#include "support/test_support.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace localization;

namespace {

constexpr LANGID kGermanSwiss = 0x0807, kGerman = 0x0407, kFrench = 0x040C, kItalian = 0x0410, kRussian = 0x0419,
                 kKorean = 0x0412, kEnglish = 0x0409, kEnglishUK = 0x0809;
const WindowsVersion kWindows7{6, 1, false}, kWindows2000{5, 0, false}, kWindowsXP{5, 1, false},
    kWindowsXPHome{5, 1, true};

// A system with GetThreadPreferredUILanguages answering `preferred`, or
// (legacy) one without it where the user UI is Russian, the thread locale
// Italian and the system UI English; machine value and sibling's list as given.
LanguageSources Sources(const WindowsVersion& version, LanguageList preferred, bool legacy = false,
                        DWORD machine = 0, LanguageList sibling = {}) {
    return {version,  machine, std::move(sibling), !legacy, std::move(preferred), kRussian,
            kItalian, kEnglish};
}

TEST(MergeLanguageListTest, BuildsTheOrderedList) {
    const std::pair<LanguageSources, LanguageList> cases[] = {
        {Sources(kWindows7, {kGermanSwiss, kFrench}), {kGermanSwiss, kFrench, kGerman, kEnglish}},
        {Sources(kWindows7, {kGerman}, false, 0, {kItalian, kKorean}), {kItalian, kKorean, kEnglish}},
        {Sources(kWindows7, {kEnglishUK, kFrench, kFrench}), {kEnglishUK, kFrench, kEnglish}},
        // Chinese (Hong Kong) and neutral German get their default forms; the
        // neutral (0) and invariant (127) primaries never do.
        {Sources(kWindows7, {0x0C04, 0x007F, 0x0400, 0x0007}),
         {0x0C04, 0x007F, 0x0400, 0x0007, 0x0404, kGerman, kEnglish}},
        // Legacy order: swapped on 2000 (after the machine value) and XP Home.
        {Sources(kWindows2000, {}, true, kGerman), {kGerman, kItalian, kRussian, kEnglish}},
        {Sources(kWindowsXPHome, {}, true), {kItalian, kRussian, kEnglish}},
        {Sources(kWindowsXP, {}, true, kGerman), {kRussian, kItalian, kEnglish}},
        // A sibling that only repeats the machine value appended nothing.
        {Sources(kWindows2000, {kFrench}, false, kRussian, {kRussian}), {kRussian, kFrench, kEnglish}},
        {LanguageSources(), {kEnglish}},
    };
    for (const auto& [sources, expected] : cases) EXPECT_EQ(MergeLanguageList(sources), expected);
}

// The stand-in sibling (both functions in zantixui\, the plain one only in
// zantixui_plain\) answers with the variables below; the UI language is
// computed once per process, so a probe runs as a fresh one.
class PlatformTest : public testing::Test {
protected:
    void SetUp() override { SetLists(nullptr, nullptr); }
    void TearDown() override {
        SetLists(nullptr, nullptr);
        ::DeleteFileW((testing_support::BinDir() + kSiblingLibraryName).c_str());
        ::RegDeleteTreeW(HKEY_CURRENT_USER, kAppDefaults);
        ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kLanguageKeyPath, kLanguageValueName);
    }
    static void SetLists(const wchar_t* original, const wchar_t* preferred) {
        ::SetEnvironmentVariableW(L"ZANTIXUI_ORIGINAL_LIST", original);
        ::SetEnvironmentVariableW(L"ZANTIXUI_PREFERRED_LIST", preferred);
    }
    static std::wstring Folder(const wchar_t* name) { return testing_support::BinDir() + name + L"\\"; }
    static void SetMachineValue(DWORD type, const void* data, DWORD size) {
        ASSERT_EQ(::RegSetKeyValueW(HKEY_LOCAL_MACHINE, kLanguageKeyPath, kLanguageValueName, type, data, size), 0);
    }
    // The probe's output, with the sibling beside it, as the Windows version given.
    static std::string RunProbe(const std::wstring& version = L"") {
        const std::wstring bin = testing_support::BinDir();
        EXPECT_TRUE(::CopyFileW((Folder(L"zantixui") + kSiblingLibraryName).c_str(),
                                (bin + kSiblingLibraryName).c_str(), FALSE));
        if (!version.empty())
            ::RegSetKeyValueW(HKEY_CURRENT_USER, kAppDefaults, L"Version", REG_SZ, version.c_str(), DWORD((version.size() + 1) * 2));
        std::string output;
        EXPECT_EQ(testing_support::RunProcess(L"\"" + bin + L"localization_probe.exe\"", &output), 0);
        output.erase(std::remove(output.begin(), output.end(), '\r'), output.end());
        return output;
    }
    static constexpr wchar_t kAppDefaults[] = L"Software\\Wine\\AppDefaults\\localization_probe.exe";
};

TEST_F(PlatformTest, SiblingOriginalListBeforeThePlainOne) {
    const struct {
        const wchar_t *folder, *original, *preferred;
        LanguageList expected;
    } cases[] = {
        // Colons split the list, bad entries are skipped, an empty one ends it.
        {L"zantixui", L"zz:0807:0407x:12345:0:040C::0412", L"0410", {kGermanSwiss, kFrench}},
        {L"zantixui", nullptr, L"0410", {}},  // a failing original is not replaced
        {L"zantixui_plain", L"0407", L"0410:0419", {kItalian, kRussian}},
        {L"no-such-folder", L"0407", L"0410", {}},
    };
    for (const auto& c : cases) {
        SetLists(c.original, c.preferred);
        EXPECT_EQ(ReadSiblingLanguages(Folder(c.folder)), c.expected) << c.folder << " " << !!c.original;
    }
}

// The per-machine value counts on Windows 2000 only (not on XP's 5.2); the
// primary language of the list's head picks the font.
TEST_F(PlatformTest, FreshProcessFollowsItsListAndWindowsVersion) {
    SetLists(L"0412:0807", nullptr);
    std::string output = RunProbe();
    EXPECT_NE(output.find("list=0412:0807:0407:0409\nprimary=18\nfont=Malgun Gothic"), std::string::npos) << output;
    const DWORD italian = kItalian;
    SetMachineValue(REG_DWORD, &italian, sizeof(italian));
    output = RunProbe(L"win2k");
    EXPECT_NE(output.find("list=0410:0412:0807:0407:0409\nprimary=16\nfont=Segoe UI"), std::string::npos) << output;
    output = RunProbe(L"winxp64");
    EXPECT_NE(output.find("list=0412:0807:0407:0409\n"), std::string::npos) << output;
}

}  // namespace
