// The localizer on real files and the real XML service: which file is
// loaded, string look-up with the built-in fallback, bad files, and a real
// dialog window localized from its template.
#include "localization/localizer.h"
#include "language_files.h"
#include "localization/string_ids.h"
#include "support/test_support.h"

#include <gtest/gtest.h>

using namespace localization;
using loc_test::DialogTexts;
using loc_test::LanguageXml;
using loc_test::ScratchFolder;

namespace {

constexpr LANGID kGermanSwiss = 0x0807;
constexpr LANGID kGerman = 0x0407;
constexpr LANGID kFrench = 0x040C;
constexpr LANGID kEnglish = 0x0409;
constexpr LANGID kEnglishUK = 0x0809;
constexpr wchar_t kModule[] = L"VelPhonebook";

// The file of one language with string 101 telling which file it is.
std::string TaggedFile(const std::string& tag) {
    return LanguageXml("VelPhonebook", {{IDS_REMOVE, tag}});
}

class LanguageFileTest : public testing::Test {
protected:
    using Localizer = CLocalizerHelperT<void>;

    Localizer Make(LanguageList languages) {
        return Localizer({m_folder.path(), kModule, std::move(languages)});
    }
    std::wstring LoadedFile(const Localizer& localizer) {
        return localizer.IsLoaded() ? localizer.Document().Path().substr(m_folder.path().size()) : L"";
    }

    testing_support::ComApartment m_apartment;
    ScratchFolder m_folder{L"velphonebook-loc"};
};

TEST_F(LanguageFileTest, FirstLanguageWithAFileWins) {
    ASSERT_TRUE(m_folder.Write(L"Zantix.de.xml", TaggedFile("Entfernen")));
    ASSERT_TRUE(m_folder.Write(L"Zantix.fr.xml", TaggedFile("Supprimer")));
    const LanguageList list = {kGermanSwiss, kFrench, kGerman, kEnglish};
    {
        const Localizer localizer = Make(list);
        EXPECT_EQ(LoadedFile(localizer), L"Zantix.de.xml");
        EXPECT_EQ(localizer.LoadText(IDS_REMOVE), L"Entfernen");
    }
    ASSERT_TRUE(m_folder.Remove(L"Zantix.de.xml"));
    EXPECT_EQ(LoadedFile(Make(list)), L"Zantix.fr.xml");
}

TEST_F(LanguageFileTest, UnparsableFileIsPassedOver) {
    ASSERT_TRUE(m_folder.Write(L"Zantix.de.xml", "<Zantix><VelPhonebook>"));
    ASSERT_TRUE(m_folder.Write(L"Zantix.fr.xml", TaggedFile("Supprimer")));
    EXPECT_EQ(LoadedFile(Make({kGerman, kFrench, kEnglish})), L"Zantix.fr.xml");
}

TEST_F(LanguageFileTest, EnglishEndsTheSearch) {
    ASSERT_TRUE(m_folder.Write(L"Zantix.de.xml", TaggedFile("Entfernen")));
    for (const LANGID english : {kEnglish, kEnglishUK}) {
        const Localizer localizer = Make({english, kGerman});
        EXPECT_FALSE(localizer.IsLoaded()) << english;
        EXPECT_EQ(localizer.LoadText(IDS_REMOVE), L"Remove");
    }
    ASSERT_TRUE(m_folder.Write(L"Zantix.xml", TaggedFile("Take away")));
    EXPECT_EQ(LoadedFile(Make({kEnglishUK, kGerman})), L"Zantix.xml");
}

TEST_F(LanguageFileTest, ReloadDropsTheOldDocument) {
    ASSERT_TRUE(m_folder.Write(L"Zantix.de.xml", TaggedFile("Entfernen")));
    Localizer localizer = Make({kGerman, kEnglish});
    ASSERT_TRUE(localizer.IsLoaded());
    ASSERT_TRUE(m_folder.Remove(L"Zantix.de.xml"));
    EXPECT_FALSE(localizer.Load());
    EXPECT_EQ(localizer.LoadText(IDS_REMOVE), L"Remove");
}

class StringLookUpTest : public LanguageFileTest {
protected:
    void SetUp() override {
        const std::string file =
            LanguageXml("VelPhonebook",
                        {{IDS_REMOVE, "삭제"},
                         {IDS_NEW_RECIPIENT, ""},
                         {IDS_COLUMN_NAME, "<b>Name</b>"},
                         {IDS_ADDRESS_EXISTS, "Existe d&#233;j&#224;.&#10;Modifiez &amp; r&#233;essayez."},
                         {IDS_CONFIRM_REMOVE, "%d Empf\xC3\xA4nger entfernen?"},
                         {998, "Only here"}});
        // Another module's section of the same file must not be read.
        std::string shared = file;
        shared.insert(
            shared.find("<VelPhonebook>"),
            "<Other><resources><strings><string id=\"104\">Wrong</string></strings></resources></Other>\n");
        ASSERT_TRUE(m_folder.Write(L"Zantix.ko.xml", shared));
    }
};

TEST_F(StringLookUpTest, LanguageFileOverridesOnlyNonEmptyTexts) {
    const Localizer localizer = Make({0x0412, kEnglish});
    ASSERT_TRUE(localizer.IsLoaded());
    struct Case {
        UINT id;
        bool found;
        const wchar_t* text;
    } const cases[] = {
        {IDS_REMOVE, true, L"삭제"},
        {IDS_NEW_RECIPIENT, true, L"New Recipient"},  // empty element
        {IDS_NEW_NUMBER, true, L"000-00-00"},         // only in the other module
        {IDS_COLUMN_NAME, true, L"Name"},             // element without text of its own
        {IDS_ADDRESS_EXISTS, true, L"Existe déjà.\nModifiez & réessayez."},
        {IDS_CONFIRM_REMOVE, true, L"%d Empfänger entfernen?"},
        {998, true, L"Only here"},
        {999, false, L""},
    };
    for (const Case& c : cases) {
        std::wstring text = L"stale";
        EXPECT_EQ(localizer.LoadText(c.id, text), c.found) << c.id;
        EXPECT_EQ(text, c.text) << c.id;
    }
}

TEST_F(StringLookUpTest, WithoutDocumentTheBuiltInTableAnswers) {
    const Localizer localizer = Make({kFrench, kEnglish});
    ASSERT_FALSE(localizer.IsLoaded());
    std::wstring text;
    EXPECT_TRUE(localizer.LoadText(IDS_ADDRESS_EXISTS, text));
    EXPECT_EQ(text, L"This address already exists.\nPlease modify either user name or phone number.");
    EXPECT_FALSE(localizer.LoadText(998, text));
    EXPECT_TRUE(text.empty());
}

struct BadFile {
    const char* name;
    std::string bytes;
};

class BadLanguageFileTest : public LanguageFileTest, public testing::WithParamInterface<BadFile> {};

TEST_P(BadLanguageFileTest, BuiltInTextsAreUsed) {
    ASSERT_TRUE(m_folder.Write(L"Zantix.de.xml", GetParam().bytes));
    const Localizer localizer = Make({kGerman, kEnglish});
    std::wstring text;
    EXPECT_TRUE(localizer.LoadText(IDS_REMOVE, text));
    EXPECT_EQ(text, L"Remove");
    EXPECT_EQ(localizer.LoadText(IDS_COLUMN_FAX), L"Fax Number");
}

const std::string kGood = TaggedFile("Entfernen");
const BadFile kBadFiles[] = {
    {"Empty", ""},
    {"Truncated", kGood.substr(0, kGood.size() / 2)},
    {"Malformed", "<Zantix><VelPhonebook><resources><strings><string id=\"101\">Entfernen</strin></strings>"},
    {"UnquotedAttribute",
     "<Zantix><VelPhonebook><resources><strings><string id=101>X</string>"
     "</strings></resources></VelPhonebook></Zantix>"},
    {"WrongRoot",
     "<Other><VelPhonebook><resources><strings><string id=\"101\">Entfernen</string>"
     "</strings></resources></VelPhonebook></Other>"},
    {"WrongModule", LanguageXml("VelPhonebook64", {{IDS_REMOVE, "Entfernen"}})},
    {"BinaryJunk", std::string("\x00\xFF\xFE\x01\x02<\x80\x81", 8)},
    {"IdNotDecimal",
     "<Zantix><VelPhonebook><resources><strings><string id=\"0x65\">Entfernen</string>"
     "</strings></resources></VelPhonebook></Zantix>"},
};

INSTANTIATE_TEST_SUITE_P(Files, BadLanguageFileTest, testing::ValuesIn(kBadFiles),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(LanguageFileTest, Utf16FileLoads) {
    const std::wstring text =
        L"<?xml version=\"1.0\" encoding=\"utf-16\"?><Zantix><VelPhonebook><resources>"
        L"<strings><string id=\"101\">Удалить</string></strings></resources>"
        L"</VelPhonebook></Zantix>";
    std::string bytes = "\xFF\xFE";
    bytes.append(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t));
    ASSERT_TRUE(m_folder.Write(L"Zantix.ru.xml", bytes));
    EXPECT_EQ(Make({0x0419, kEnglish}).LoadText(IDS_REMOVE), L"Удалить");
}

// A dialog of the test program's template 900, owning its localizer the way
// the module's dialogs do.
constexpr int kDialogId = 900;
constexpr int kNested = 220;

class TestDialog : public CLocalizerHelperT<TestDialog> {
public:
    enum { IDD = kDialogId };
    explicit TestDialog(LanguageFileSource source) : CLocalizerHelperT<TestDialog>(std::move(source)) {
        m_hWnd = ::CreateDialogParamW(::GetModuleHandleW(nullptr), MAKEINTRESOURCEW(IDD), nullptr, &Proc, 0);
        // A control inside a control: not part of the template.
        ::CreateWindowW(L"STATIC", L"Nested", WS_CHILD | WS_VISIBLE, 0, 0, 40, 10, ::GetDlgItem(m_hWnd, 217),
                        reinterpret_cast<HMENU>(kNested), nullptr, nullptr);
    }
    ~TestDialog() { ::DestroyWindow(m_hWnd); }

    std::wstring Text(int id = 0) const {
        const HWND window = id == 0         ? m_hWnd
                            : id == kNested ? ::GetDlgItem(::GetDlgItem(m_hWnd, 217), kNested)
                                            : ::GetDlgItem(m_hWnd, id);
        wchar_t text[256] = L"";
        ::GetWindowTextW(window, text, 256);
        return text;
    }
    HFONT Font(int id) const {
        const HWND window =
            id == kNested ? ::GetDlgItem(::GetDlgItem(m_hWnd, 217), kNested) : ::GetDlgItem(m_hWnd, id);
        return reinterpret_cast<HFONT>(::SendMessageW(window, WM_GETFONT, 0, 0));
    }

    HWND m_hWnd = nullptr;

private:
    static INT_PTR CALLBACK Proc(HWND, UINT message, WPARAM, LPARAM) { return message == WM_INITDIALOG; }
};

class DialogTest : public LanguageFileTest {
protected:
    LanguageFileSource Source() { return {m_folder.path(), kModule, {kGerman, kEnglish}}; }
    void WriteDialog(const std::string& caption) {
        const std::vector<std::pair<int, std::string>> strings = {{IDS_REMOVE, "Entfernen"}};
        ASSERT_TRUE(
            m_folder.Write(L"Zantix.de.xml",
                           LanguageXml("VelPhonebook", strings,
                                       {{kDialogId - 1, "Falscher Dialog", {{1, "Falsch"}, {218, "Falsch"}}},
                                        {kDialogId,
                                         caption,
                                         {{1, "Übernehmen"},
                                          {2, "Abbrechen"},
                                          {217, "Name:"},
                                          {214, "Eingabe"},
                                          {219, ""},
                                          {kNested, "Verschachtelt"}}}})));
    }
    const HFONT m_guiFont = static_cast<HFONT>(::GetStockObject(DEFAULT_GUI_FONT));
};

TEST_F(DialogTest, CaptionAndTextsOfDirectChildrenAreReplaced) {
    WriteDialog("Adressbuch");
    TestDialog dialog(Source());
    ASSERT_TRUE(dialog.m_hWnd);
    ASSERT_TRUE(dialog.IsLoaded());
    dialog.LocalizeDialog();

    EXPECT_EQ(dialog.Text(), L"Adressbuch");
    EXPECT_EQ(dialog.Text(1), L"Übernehmen");
    EXPECT_EQ(dialog.Text(2), L"Abbrechen");
    EXPECT_EQ(dialog.Text(217), L"Name:");
    EXPECT_EQ(dialog.Text(214), L"");              // no text of its own: left alone
    EXPECT_EQ(dialog.Text(218), L"Untranslated");  // only another dialog has it
    EXPECT_EQ(dialog.Text(219), L"Blank");         // empty element
    EXPECT_EQ(dialog.Text(kNested), L"Nested");    // not a direct child
    for (const int id : {1, 2, 214, 217, 218, 219}) EXPECT_EQ(dialog.Font(id), m_guiFont) << id;
    EXPECT_NE(dialog.Font(kNested), m_guiFont);
}

TEST_F(DialogTest, EmptyCaptionKeepsTheTemplateCaption) {
    WriteDialog("");
    TestDialog dialog(Source());
    dialog.LocalizeDialog();
    EXPECT_EQ(dialog.Text(), L"Address Book");
    EXPECT_EQ(dialog.Text(1), L"Übernehmen");
}

TEST_F(DialogTest, WithoutLanguageFileOnlyTheFontChanges) {
    TestDialog dialog(Source());
    ASSERT_FALSE(dialog.IsLoaded());
    dialog.LocalizeDialog();
    EXPECT_EQ(dialog.Text(), L"Address Book");
    EXPECT_EQ(dialog.Text(1), L"OK");
    EXPECT_EQ(dialog.Text(217), L"Name");
    EXPECT_EQ(dialog.Font(217), m_guiFont);
}

// The real product path: this program's folder, its base name and the list
// the sibling library gives, as a control or dialog of the module would.
class ModuleFolderTest : public LanguageFileTest {
protected:
    void SetUp() override {
        const std::wstring bin = testing_support::BinDir();
        m_sibling = bin + L"ZantixUI64.dll";
        m_file = bin + L"Zantix.de.xml";
        ASSERT_TRUE(::CopyFileW((bin + L"zantixui\\ZantixUI64.dll").c_str(), m_sibling.c_str(), FALSE));
        ::SetEnvironmentVariableW(L"ZANTIXUI_ORIGINAL_LIST", L"0807:040C");
        ASSERT_TRUE(
            loc_test::WriteFileBytes(m_file, LanguageXml("test_localization", {{IDS_REMOVE, "Entfernen"}})));
    }
    void TearDown() override {
        ::SetEnvironmentVariableW(L"ZANTIXUI_ORIGINAL_LIST", nullptr);
        ::DeleteFileW(m_sibling.c_str());
        ::DeleteFileW(m_file.c_str());
    }
    std::wstring m_sibling;
    std::wstring m_file;
};

TEST_F(ModuleFolderTest, DefaultLocalizerUsesTheModulesFolderNameAndList) {
    const CLocalizerHelperT<void> localizer;
    ASSERT_TRUE(localizer.IsLoaded());
    EXPECT_EQ(localizer.Document().Path(), m_file);
    EXPECT_EQ(localizer.LoadText(IDS_REMOVE), L"Entfernen");
    EXPECT_EQ(localizer.LoadText(IDS_NEW_NUMBER), L"000-00-00");
}

}  // namespace
