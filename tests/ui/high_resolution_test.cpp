// The dialogs at 144 dots per inch: the layout, pixel and shadow tests run
// again in a child process started with the user's LogPixels at 144 (the
// resolution is read when a process starts), and the value is restored.
#include "support/test_support.h"
#include "win/display.h"

#include <gtest/gtest.h>

#include <optional>

namespace {

constexpr wchar_t kDesktopKey[] = L"Control Panel\\Desktop";
constexpr wchar_t kLogPixels[] = L"LogPixels";
constexpr wchar_t kExpectedDpiVariable[] = L"VELPHONEBOOK_UI_EXPECTED_DPI";

std::optional<DWORD> ReadLogPixels() {
    DWORD value = 0, size = sizeof(value);
    if (::RegGetValueW(HKEY_CURRENT_USER, kDesktopKey, kLogPixels, RRF_RT_REG_DWORD, nullptr, &value,
                       &size) != ERROR_SUCCESS)
        return std::nullopt;
    return value;
}

void WriteLogPixels(std::optional<DWORD> value) {
    if (!value) {
        ::RegDeleteKeyValueW(HKEY_CURRENT_USER, kDesktopKey, kLogPixels);
        return;
    }
    ::RegSetKeyValueW(HKEY_CURRENT_USER, kDesktopKey, kLogPixels, REG_DWORD, &*value, sizeof(DWORD));
}

TEST(HighResolutionTest, ChildRunsAtTheResolutionItWasStartedWith) {
    wchar_t expected[16] = {};
    if (!::GetEnvironmentVariableW(kExpectedDpiVariable, expected, 16)) GTEST_SKIP() << "only in the child";
    EXPECT_EQ(win::ScreenDpiY(), _wtoi(expected));
}

TEST(HighResolutionTest, DialogsLayOutPaintAndCastTheirShadowAt144Dpi) {
    if (::GetEnvironmentVariableW(kExpectedDpiVariable, nullptr, 0)) GTEST_SKIP() << "the child itself";
    const std::optional<DWORD> previous = ReadLogPixels();
    WriteLogPixels(144);
    ::SetEnvironmentVariableW(kExpectedDpiVariable, L"144");
    std::string output;
    const int code = testing_support::RunProcess(L"\"" + testing_support::BinDir() +
                                                     L"test_ui.exe\" --gtest_brief=1 "
                                                     L"--gtest_filter=HighResolutionTest.Child*:*Layout*:"
                                                     L"MessageBoxTest.*:SkinFrameTest.Shadow*:Styles/*",
                                                 &output, 180000);
    ::SetEnvironmentVariableW(kExpectedDpiVariable, nullptr);
    WriteLogPixels(previous);
    EXPECT_EQ(code, 0) << output;
    EXPECT_NE(output.find("[  PASSED  ]"), std::string::npos) << output;
    EXPECT_EQ(output.find("[  FAILED  ]"), std::string::npos) << output;
}

}  // namespace
