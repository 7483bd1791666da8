// The shipped language files: named by the code table, each parses, holds
// every string and dialog text the module shows, and is found by language.
#include "localization/localizer.h"
#include "support/test_support.h"

#include <commctrl.h>
#include <gtest/gtest.h>

#include <map>

using namespace localization;

namespace {

// The strings of the module's table; per dialog the caption and the controls
// whose text is drawn (owner-drawn buttons draw images).
struct ModuleTexts {
    std::map<int, std::wstring> strings;
    std::map<int, std::vector<int>> controls;
    std::vector<int> captioned;
};

ModuleTexts ReadModule(HMODULE module) {
    ModuleTexts texts;
    std::vector<int> blocks, dialogs;
    const auto collect = [](HMODULE, LPCWSTR, LPWSTR name, LONG_PTR list) WINAPI -> BOOL {
        reinterpret_cast<std::vector<int>*>(list)->push_back(int(ULONG_PTR(name)));
        return TRUE;
    };
    ::EnumResourceNamesW(module, RT_STRING, collect, LONG_PTR(&blocks));
    ::EnumResourceNamesW(module, RT_DIALOG, collect, LONG_PTR(&dialogs));
    for (int block : blocks)
        for (int id = (block - 1) * 16; id < block * 16; ++id) {
            const wchar_t* text = nullptr;
            if (const int length = ::LoadStringW(module, UINT(id), reinterpret_cast<LPWSTR>(&text), 0))
                texts.strings[id].assign(text, size_t(length));
        }
    // The control's dialogs are child windows.
    const com::UniqueWindow parent(::CreateWindowW(L"STATIC", L"", WS_POPUP, 0, 0, 10, 10, nullptr, nullptr, nullptr, nullptr));
    for (int id : dialogs) {
        const com::UniqueWindow dialog(::CreateDialogParamW(module, MAKEINTRESOURCEW(id), parent.get(),
                                                            [](HWND, UINT, WPARAM, LPARAM) WINAPI -> INT_PTR { return 0; }, 0));
        EXPECT_TRUE(dialog) << "dialog " << id;
        if (::GetWindowTextLengthW(dialog.get())) texts.captioned.push_back(id);
        for (HWND child = ::GetWindow(dialog.get(), GW_CHILD); child; child = ::GetWindow(child, GW_HWNDNEXT)) {
            wchar_t kind[16] = {};
            ::GetClassNameW(child, kind, 16);
            const bool image = !lstrcmpiW(kind, L"Button") &&
                               (::GetWindowLongPtrW(child, GWL_STYLE) & BS_TYPEMASK) == BS_OWNERDRAW;
            if (::GetDlgCtrlID(child) && ::GetWindowTextLengthW(child) && !image)
                texts.controls[id].push_back(::GetDlgCtrlID(child));
        }
    }
    return texts;
}

TEST(ShippedLanguagesTest, EachFileIsNamedByTheCodeTableAndHoldsAllTheModulesTexts) {
    testing_support::ComApartment apartment;
    INITCOMMONCONTROLSEX classes{sizeof(classes), ICC_LISTVIEW_CLASSES};
    ::InitCommonControlsEx(&classes);
    const std::wstring bin = testing_support::BinDir();
    // Mapped as an image, so that its dialogs can be created, but not started.
    const com::UniqueModule module(
        ::LoadLibraryExW((bin + testing_support::kModuleFileName).c_str(), nullptr, DONT_RESOLVE_DLL_REFERENCES));
    ASSERT_TRUE(module);
    const ModuleTexts texts = ReadModule(module.get());
    ASSERT_EQ(texts.controls.at(120), (std::vector<int>{215, 216})) << "edit boxes have no text of their own";

    const std::pair<LANGID, const wchar_t*> files[] = {
        {0x0401, L"ar"}, {0x0404, L"zh-tw"}, {0x0804, L"zh-cn"}, {0x0405, L"cs"}, {0x0406, L"da"},
        {0x0407, L"de"}, {0x0408, L"el"},    {0x0C0A, L"es"},    {0x040B, L"fi"}, {0x040C, L"fr"},
        {0x040D, L"he"}, {0x040E, L"hu"},    {0x0410, L"it"},    {0x0412, L"ko"}, {0x0413, L"nl"},
        {0x0414, L"nb"}, {0x0415, L"pl"},    {0x0416, L"pt-br"}, {0x0816, L"pt-pt"}, {0x0016, L"pt"},
        {0x0419, L"ru"}, {0x041D, L"sv"},    {0x041F, L"tr"},    {0x0422, L"uk"}};
    for (const auto& [language, code] : files) {
        const std::wstring name = std::wstring(L"Zantix.") + code + L".xml";
        SCOPED_TRACE(testing_support::Utf8(name));
        EXPECT_EQ(LanguageFileName(language), name);
        CDomParser document;
        ASSERT_TRUE(LoadLanguageFile(document, {bin, L"VelPhonebook", {language}})) << "missing or not well-formed";
        EXPECT_EQ(document.Path(), bin + name);
        const std::wstring root = L"/Zantix/VelPhonebook/resources/";
        for (const auto& [id, english] : texts.strings) {
            const std::wstring text = document.SelectText(root + L"strings/string[@id='" + std::to_wstring(id) + L"']");
            EXPECT_FALSE(text.empty()) << "string " << id << " is missing";
        }
        for (const auto& [dialog, controls] : texts.controls)
            for (int control : controls)
                EXPECT_NE(document.SelectText(root + L"dlg[@id='" + std::to_wstring(dialog) + L"']/string[@id='" +
                                              std::to_wstring(control) + L"']"),
                          L"")
                    << "dialog " << dialog << " control " << control;
        for (int dialog : texts.captioned)
            EXPECT_NE(document.SelectText(root + L"dlg[@id='" + std::to_wstring(dialog) + L"']/caption"), L"");
    }
    // Outside the shipped files: English has no code, other languages are "neutral".
    EXPECT_EQ(LanguageFileName(0x0809) + LanguageFileName(0x0C04) + LanguageFileName(0x0807) + LanguageFileName(0x0411),
              L"Zantix.xmlZantix.zh-cn.xmlZantix.de.xmlZantix.neutral.xml");
    EXPECT_EQ(ModuleBaseName(L"C:\\Program Files\\Orvanta\\VelPhonebook64.dll") + ModuleBaseName(L"C:\\v1.2\\Tool64"),
              L"VelPhonebookTool");
}

}  // namespace
