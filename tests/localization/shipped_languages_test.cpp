// The language files that ship beside the module, one table over the files:
// the code table names each file, each parses, holds every string and every
// dialog text the module shows (non-empty, printf conversions and line breaks
// kept) and nothing more, and the product's look-up finds it by language.
#include "localization/localizer.h"
#include "support/test_support.h"

#include <commctrl.h>
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>

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

// The printf conversions of a text in order ("%d", "%s"); "%%" is none.
std::vector<std::wstring> Conversions(const std::wstring& text) {
    std::vector<std::wstring> found;
    for (size_t i = text.find(L'%'); i != std::wstring::npos; i = text.find(L'%', i + 1)) {
        const size_t end = text.find_first_not_of(L"-+ #0123456789.lhI", i + 1);
        if (end == std::wstring::npos) break;
        if (text[end] != L'%' || end != i + 1) found.push_back(text.substr(i, end + 1 - i));
        i = end;
    }
    return found;
}

size_t Occurrences(const std::string& text, const std::string& what) {
    size_t count = 0;
    for (size_t at = text.find(what); at != text.npos; at = text.find(what, at + 1)) ++count;
    return count;
}

TEST(ShippedLanguagesTest, EachFileIsNamedByTheCodeTableAndHoldsExactlyTheModulesTexts) {
    testing_support::ComApartment apartment;
    INITCOMMONCONTROLSEX classes{sizeof(classes), ICC_LISTVIEW_CLASSES};
    ::InitCommonControlsEx(&classes);
    const std::wstring bin = testing_support::BinDir();
    // Mapped as an image, so that its dialogs can be created, but not started.
    const com::UniqueModule module(
        ::LoadLibraryExW((bin + testing_support::kModuleFileName).c_str(), nullptr, DONT_RESOLVE_DLL_REFERENCES));
    ASSERT_TRUE(module);
    const ModuleTexts texts = ReadModule(module.get());
    ASSERT_EQ(texts.strings.at(206), L"Are you sure you want to remove selected %d recipient(s)?");
    ASSERT_EQ(texts.controls.at(120), (std::vector<int>{215, 216})) << "edit boxes have no text of their own";
    size_t controlTexts = 0;
    for (const auto& [dialog, controls] : texts.controls) controlTexts += controls.size();

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
            EXPECT_EQ(Conversions(english), Conversions(text)) << "string " << id;
            EXPECT_EQ(english.find(L'\n') == english.npos, text.find(L'\n') == text.npos) << "string " << id;
        }
        for (const auto& [dialog, controls] : texts.controls)
            for (int control : controls)
                EXPECT_NE(document.SelectText(root + L"dlg[@id='" + std::to_wstring(dialog) + L"']/string[@id='" +
                                              std::to_wstring(control) + L"']"),
                          L"")
                    << "dialog " << dialog << " control " << control;
        for (int dialog : texts.captioned)
            EXPECT_NE(document.SelectText(root + L"dlg[@id='" + std::to_wstring(dialog) + L"']/caption"), L"");
        // Nothing the module does not have: no other entries, none twice.
        std::stringstream bytes;
        bytes << std::ifstream(testing_support::Utf8(bin + name), std::ios::binary).rdbuf();
        EXPECT_EQ(Occurrences(bytes.str(), "<string "), texts.strings.size() + controlTexts);
        EXPECT_EQ(Occurrences(bytes.str(), "<caption"), texts.captioned.size());
    }
    // Outside the shipped files: English has no code, other languages are "neutral".
    EXPECT_EQ(LanguageFileName(0x0809) + LanguageFileName(0x0C04) + LanguageFileName(0x0807) + LanguageFileName(0x0411),
              L"Zantix.xmlZantix.zh-cn.xmlZantix.de.xmlZantix.neutral.xml");
    EXPECT_EQ(ModuleBaseName(L"C:\\Program Files\\Orvanta\\VelPhonebook64.dll") + ModuleBaseName(L"C:\\v1.2\\Tool64"),
              L"VelPhonebookTool");
}

}  // namespace
