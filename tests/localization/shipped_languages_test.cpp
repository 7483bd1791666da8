// The language files that ship beside the module, against the module itself:
// every language of the code table has its file, each file holds exactly the
// module's strings and dialog texts (so a string or a button added to the
// module without its translations fails here, as does a translation of
// something the module no longer has), printf conversions survive
// translation, and the product's own look-up finds the translated texts.
#include "com/unique_any.h"
#include "localization/localizer.h"
#include "localization/string_ids.h"
#include "support/test_support.h"

#include <gtest/gtest.h>
#include <msxml2.h>

#include <map>
#include <set>
#include <string>
#include <vector>

using namespace localization;

namespace {

// The XML service's document, version 6.0, and its second interface (the
// one with the selection language).
constexpr CLSID kDocument60 = {0x88d96a05, 0xf192, 0x11d4, {0xa6, 0x5f, 0x00, 0x40, 0x96, 0x32, 0x51, 0xe5}};
constexpr IID kDocument2 = {0x2933bf95, 0x7b36, 0x11d2, {0xb2, 0x0e, 0x00, 0xc0, 0x4f, 0x98, 0x3e, 0x60}};
constexpr const wchar_t* kModuleFile = testing_support::kModuleFileName;
constexpr wchar_t kModuleElement[] = L"VelPhonebook";

// One language of each code of the table (24; English is built in).
constexpr LANGID kShippedLanguages[] = {
    MAKELANGID(LANG_ARABIC, SUBLANG_DEFAULT),      MAKELANGID(LANG_CHINESE, SUBLANG_CHINESE_TRADITIONAL),
    MAKELANGID(LANG_CHINESE, SUBLANG_CHINESE_SIMPLIFIED), MAKELANGID(LANG_CZECH, SUBLANG_DEFAULT),
    MAKELANGID(LANG_DANISH, SUBLANG_DEFAULT),      MAKELANGID(LANG_GERMAN, SUBLANG_DEFAULT),
    MAKELANGID(LANG_GREEK, SUBLANG_DEFAULT),       MAKELANGID(LANG_SPANISH, SUBLANG_SPANISH_MODERN),
    MAKELANGID(LANG_FINNISH, SUBLANG_DEFAULT),     MAKELANGID(LANG_FRENCH, SUBLANG_DEFAULT),
    MAKELANGID(LANG_HEBREW, SUBLANG_DEFAULT),      MAKELANGID(LANG_HUNGARIAN, SUBLANG_DEFAULT),
    MAKELANGID(LANG_ITALIAN, SUBLANG_DEFAULT),     MAKELANGID(LANG_KOREAN, SUBLANG_DEFAULT),
    MAKELANGID(LANG_DUTCH, SUBLANG_DEFAULT),       MAKELANGID(LANG_NORWEGIAN, SUBLANG_NORWEGIAN_BOKMAL),
    MAKELANGID(LANG_POLISH, SUBLANG_DEFAULT),      MAKELANGID(LANG_PORTUGUESE, SUBLANG_PORTUGUESE_BRAZILIAN),
    MAKELANGID(LANG_PORTUGUESE, SUBLANG_PORTUGUESE), MAKELANGID(LANG_PORTUGUESE, SUBLANG_NEUTRAL),
    MAKELANGID(LANG_RUSSIAN, SUBLANG_DEFAULT),     MAKELANGID(LANG_SWEDISH, SUBLANG_DEFAULT),
    MAKELANGID(LANG_TURKISH, SUBLANG_DEFAULT),     MAKELANGID(LANG_UKRAINIAN, SUBLANG_DEFAULT),
};

// What the module shows: its string table, and per dialog the caption and
// the ids of the controls that carry a text.
struct ModuleTexts {
    std::map<int, std::wstring> strings;
    std::map<int, std::set<int>> dialogControls;
    std::set<int> captionedDialogs;
};

const wchar_t* SkipSzOrOrd(const wchar_t* at, std::wstring* text = nullptr) {
    if (*at == 0) return at + 1;
    if (*at == 0xFFFF) return at + 2;
    const wchar_t* start = at;
    while (*at) ++at;
    if (text) text->assign(start, at);
    return at + 1;
}

// Reads an extended dialog template: the caption, and the controls with a
// text other than owner-drawn buttons (their text is never drawn).
void ReadDialog(const BYTE* data, int id, ModuleTexts& texts) {
    const auto* words = reinterpret_cast<const WORD*>(data);
    ASSERT_EQ(words[1], 0xFFFF) << "dialog " << id << " is not an extended template";
    const DWORD style = *reinterpret_cast<const DWORD*>(data + 12);
    const WORD count = *reinterpret_cast<const WORD*>(data + 16);
    const wchar_t* at = reinterpret_cast<const wchar_t*>(data + 26);
    at = SkipSzOrOrd(at);  // menu
    at = SkipSzOrOrd(at);  // class
    std::wstring caption;
    at = SkipSzOrOrd(at, &caption);
    if (!caption.empty()) texts.captionedDialogs.insert(id);
    if (style & (DS_SETFONT | DS_SHELLFONT)) {
        at += 3;  // point size, weight, italic and character set
        at = SkipSzOrOrd(at);
    }
    std::set<int>& controls = texts.dialogControls[id];
    for (WORD i = 0; i < count; ++i) {
        const BYTE* item = reinterpret_cast<const BYTE*>((reinterpret_cast<ULONG_PTR>(at) + 3) & ~ULONG_PTR(3));
        const DWORD itemStyle = *reinterpret_cast<const DWORD*>(item + 8);
        const DWORD controlId = *reinterpret_cast<const DWORD*>(item + 20);
        const wchar_t* cls = reinterpret_cast<const wchar_t*>(item + 24);
        const bool button = (cls[0] == 0xFFFF && cls[1] == 0x0080) || (cls[0] != 0xFFFF && lstrcmpiW(cls, L"Button") == 0);
        at = SkipSzOrOrd(cls);
        std::wstring title;
        at = SkipSzOrOrd(at, &title);
        const WORD extra = *at++;
        at = reinterpret_cast<const wchar_t*>(reinterpret_cast<const BYTE*>(at) + extra);
        const bool ownerDrawn = button && (itemStyle & BS_TYPEMASK) == BS_OWNERDRAW;
        if (!title.empty() && !ownerDrawn) controls.insert(int(controlId));
    }
}

ModuleTexts ReadModuleTexts(HMODULE module) {
    ModuleTexts texts;
    std::vector<int> blocks, dialogs;
    const auto collect = [](HMODULE, LPCWSTR, LPWSTR name, LONG_PTR list) WINAPI -> BOOL {
        if (IS_INTRESOURCE(name)) reinterpret_cast<std::vector<int>*>(list)->push_back(int(ULONG_PTR(name)));
        return TRUE;
    };
    ::EnumResourceNamesW(module, MAKEINTRESOURCEW(6) /* RT_STRING */, collect, LONG_PTR(&blocks));
    ::EnumResourceNamesW(module, MAKEINTRESOURCEW(5) /* RT_DIALOG */, collect, LONG_PTR(&dialogs));
    for (int block : blocks) {
        for (int i = 0; i < 16; ++i) {
            const int id = (block - 1) * 16 + i;
            const wchar_t* text = nullptr;
            const int length = ::LoadStringW(module, UINT(id), reinterpret_cast<LPWSTR>(&text), 0);
            if (length > 0) texts.strings[id].assign(text, size_t(length));
        }
    }
    for (int dialog : dialogs) {
        const HRSRC found = ::FindResourceW(module, MAKEINTRESOURCEW(dialog), MAKEINTRESOURCEW(5));
        const BYTE* data = found ? static_cast<const BYTE*>(::LockResource(::LoadResource(module, found))) : nullptr;
        if (data) ReadDialog(data, dialog, texts);
    }
    return texts;
}

// What a language file holds, read with the platform's XML service.
struct FileTexts {
    std::map<int, std::wstring> strings;
    std::map<int, std::map<int, std::wstring>> dialogControls;
    std::map<int, std::wstring> captions;
    std::vector<std::string> problems;
};

std::wstring Attribute(IXMLDOMNode* node, const wchar_t* name) {
    com::ComPtr<IXMLDOMElement> element;
    if (FAILED(node->QueryInterface(IID_IXMLDOMElement, element.put_void()))) return {};
    VARIANT value;
    ::VariantInit(&value);
    com::UniqueBstr attribute(::SysAllocString(name));
    if (element->getAttribute(attribute.get(), &value) != S_OK || value.vt != VT_BSTR) return {};
    std::wstring text(value.bstrVal ? value.bstrVal : L"");
    ::VariantClear(&value);
    return text;
}

std::wstring NodeText(IXMLDOMNode* node) {
    BSTR text = nullptr;
    if (FAILED(node->get_text(&text))) return {};
    std::wstring out(text ? text : L"");
    ::SysFreeString(text);
    return out;
}

std::vector<com::ComPtr<IXMLDOMNode>> Select(IXMLDOMNode* from, const wchar_t* path) {
    std::vector<com::ComPtr<IXMLDOMNode>> nodes;
    com::ComPtr<IXMLDOMNodeList> list;
    com::UniqueBstr query(::SysAllocString(path));
    if (FAILED(from->selectNodes(query.get(), list.put())) || !list) return nodes;
    for (;;) {
        com::ComPtr<IXMLDOMNode> node;
        if (list->nextNode(node.put()) != S_OK || !node) break;
        nodes.push_back(std::move(node));
    }
    return nodes;
}

FileTexts ReadLanguageFile(const std::wstring& path) {
    FileTexts texts;
    com::ComPtr<IXMLDOMDocument> document;
    if (FAILED(::CoCreateInstance(kDocument60, nullptr, CLSCTX_INPROC_SERVER, IID_IXMLDOMDocument,
                                  document.put_void()))) {
        texts.problems.push_back("no XML service");
        return texts;
    }
    document->put_async(VARIANT_FALSE);
    com::ComPtr<IXMLDOMDocument2> document2;
    if (SUCCEEDED(document->QueryInterface(kDocument2, document2.put_void()))) {
        VARIANT language;
        ::VariantInit(&language);
        language.vt = VT_BSTR;
        language.bstrVal = ::SysAllocString(L"XPath");
        com::UniqueBstr property(::SysAllocString(L"SelectionLanguage"));
        document2->setProperty(property.get(), language);
        ::VariantClear(&language);
    }
    VARIANT file;
    ::VariantInit(&file);
    file.vt = VT_BSTR;
    file.bstrVal = ::SysAllocString(path.c_str());
    VARIANT_BOOL loaded = VARIANT_FALSE;
    document->load(file, &loaded);
    ::VariantClear(&file);
    if (loaded != VARIANT_TRUE) {
        texts.problems.push_back("does not load");
        return texts;
    }
    const std::wstring root = std::wstring(L"/Zantix/") + kModuleElement + L"/resources";
    for (const auto& node : Select(document.get(), (root + L"/strings/string").c_str())) {
        const int id = _wtoi(Attribute(node.get(), L"id").c_str());
        if (!texts.strings.emplace(id, NodeText(node.get())).second)
            texts.problems.push_back("string " + std::to_string(id) + " twice");
    }
    for (const auto& dialog : Select(document.get(), (root + L"/dlg").c_str())) {
        const int id = _wtoi(Attribute(dialog.get(), L"id").c_str());
        auto& controls = texts.dialogControls[id];
        for (const auto& node : Select(dialog.get(), L"string"))
            controls.emplace(_wtoi(Attribute(node.get(), L"id").c_str()), NodeText(node.get()));
        for (const auto& node : Select(dialog.get(), L"caption")) texts.captions[id] = NodeText(node.get());
    }
    // Anything else under the module's element is a typo of one of these.
    const size_t known = Select(document.get(), (root + L"/strings/string").c_str()).size() +
                         Select(document.get(), (root + L"/dlg/string").c_str()).size() +
                         Select(document.get(), (root + L"/dlg/caption").c_str()).size();
    const size_t all = Select(document.get(), (L"/Zantix/" + std::wstring(kModuleElement) + L"//*[not(*)]").c_str()).size();
    if (all != known) texts.problems.push_back("elements out of place");
    return texts;
}

// The printf conversions of a text in order ("%d", "%s"); "%%" is none.
std::vector<std::wstring> Conversions(const std::wstring& text) {
    std::vector<std::wstring> found;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != L'%') continue;
        size_t end = i + 1;
        while (end < text.size() && wcschr(L"-+ #0123456789.lhI", text[end])) ++end;
        if (end < text.size() && text[end] == L'%' && end == i + 1) {
            ++i;
            continue;
        }
        found.push_back(text.substr(i, end + 1 - i));
        i = end;
    }
    return found;
}

std::string Narrow(const std::wstring& text) {
    std::string out(size_t(::WideCharToMultiByte(CP_UTF8, 0, text.c_str(), int(text.size()), nullptr, 0, nullptr, nullptr)), '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, text.c_str(), int(text.size()), out.data(), int(out.size()), nullptr, nullptr);
    return out;
}

class ShippedLanguagesTest : public testing::Test {
protected:
    void SetUp() override {
        wchar_t path[MAX_PATH] = {};
        ::GetModuleFileNameW(nullptr, path, MAX_PATH);
        m_folder = ModuleFolder(path);
        m_module = ::LoadLibraryExW((m_folder + kModuleFile).c_str(), nullptr,
                                    LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE);
        ASSERT_TRUE(m_module) << "the module is not beside the test program";
        m_texts = ReadModuleTexts(m_module);
    }
    void TearDown() override {
        if (m_module) ::FreeLibrary(m_module);
    }

    testing_support::ComApartment m_apartment;
    std::wstring m_folder;
    HMODULE m_module = nullptr;
    ModuleTexts m_texts;
};

TEST_F(ShippedLanguagesTest, EveryLanguageHoldsExactlyTheModulesTexts) {
    // The reading of the module itself: a few texts it is known to have.
    ASSERT_EQ(m_texts.strings[IDS_CONFIRM_REMOVE], L"Are you sure you want to remove selected %d recipient(s)?");
    ASSERT_TRUE(m_texts.dialogControls[103].count(203)) << "Add";
    ASSERT_FALSE(m_texts.dialogControls[103].count(209)) << "an image button's text is never shown";
    ASSERT_TRUE(m_texts.captionedDialogs.count(120));

    for (const LANGID language : kShippedLanguages) {
        const std::wstring name = LanguageFileName(language);
        SCOPED_TRACE(Narrow(name));
        const FileTexts file = ReadLanguageFile(m_folder + name);
        for (const std::string& problem : file.problems) ADD_FAILURE() << problem;
        if (!file.problems.empty()) continue;

        for (const auto& [id, english] : m_texts.strings) {
            const auto found = file.strings.find(id);
            if (found == file.strings.end()) {
                ADD_FAILURE() << "string " << id << " is missing";
                continue;
            }
            EXPECT_FALSE(found->second.empty()) << "string " << id << " is empty";
            EXPECT_EQ(Conversions(english), Conversions(found->second))
                << "string " << id << ": " << Narrow(found->second);
            EXPECT_EQ(english.find(L'\n') != std::wstring::npos, found->second.find(L'\n') != std::wstring::npos)
                << "string " << id << " lost or gained its line break";
        }
        for (const auto& [id, text] : file.strings)
            EXPECT_TRUE(m_texts.strings.count(id)) << "string " << id << " is not the module's";

        for (const auto& [dialog, controls] : m_texts.dialogControls) {
            const auto found = file.dialogControls.find(dialog);
            for (int control : controls) {
                const bool has = found != file.dialogControls.end() && found->second.count(control) &&
                                 !found->second.at(control).empty();
                EXPECT_TRUE(has) << "dialog " << dialog << " control " << control << " is missing";
            }
            EXPECT_EQ(m_texts.captionedDialogs.count(dialog) != 0, file.captions.count(dialog) != 0)
                << "dialog " << dialog << " caption";
        }
        for (const auto& [dialog, controls] : file.dialogControls) {
            const auto known = m_texts.dialogControls.find(dialog);
            if (known == m_texts.dialogControls.end()) {
                ADD_FAILURE() << "dialog " << dialog << " is not the module's";
                continue;
            }
            for (const auto& [control, text] : controls)
                EXPECT_TRUE(known->second.count(control)) << "dialog " << dialog << " control " << control
                                                          << " has no text in the module";
        }
    }
}

// The product's own path: the file for the language is found beside the
// module and its texts replace the built-in ones.
TEST_F(ShippedLanguagesTest, TheProductsLookUpFindsEachLanguage) {
    for (const LANGID language : kShippedLanguages) {
        SCOPED_TRACE(Narrow(LanguageFileName(language)));
        CDomParser document;
        ASSERT_TRUE(LoadLanguageFile(document, {m_folder, kModuleElement, {language}}));
        std::wstring remove;
        ASSERT_TRUE(LoadLocalizedString(document, kModuleElement, IDS_REMOVE, remove));
        EXPECT_NE(remove, L"Remove");
        EXPECT_NE(remove.find_first_not_of(L" "), std::wstring::npos);
    }
}

}  // namespace
