// The localizer on real files and the real XML service: which file is
// loaded, string look-up with the built-in fallback, bad files, and a real
// dialog window localized from its template.
#include "localization/localizer.h"
#include "language_files.h"
#include "localization/string_ids.h"
#include "support/test_support.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <tuple>

using namespace localization;
using loc_test::LanguageXml;
using loc_test::ScratchFolder;

namespace {

constexpr LANGID kGermanSwiss = 0x0807;
constexpr LANGID kGerman = 0x0407;
constexpr LANGID kFrench = 0x040C;
constexpr LANGID kEnglish = 0x0409;
constexpr LANGID kEnglishUK = 0x0809;
constexpr wchar_t kModule[] = L"VelPhonebook";

// A language file whose string 101 tells which file it is.
std::string Tagged(const std::string& tag, const std::string& module = "VelPhonebook") {
    return LanguageXml(module, {{IDS_REMOVE, tag}});
}

class LocalizerTest : public testing::Test {
protected:
    using Localizer = CLocalizerHelperT<void>;
    Localizer Make(LanguageList languages) {
        return Localizer({m_folder.path(), kModule, std::move(languages)});
    }

    testing_support::ComApartment m_apartment;
    ScratchFolder m_folder{L"velphonebook-loc"};
};

// Which file answers, if any; bad files give the built-in texts.
TEST_F(LocalizerTest, FirstLanguageWithAUsableFileWinsUntilEnglish) {
    const std::wstring de = L"Zantix.de.xml", fr = L"Zantix.fr.xml";
    const std::string german = Tagged("Entfernen"), french = Tagged("Supprimer");
    const std::string malformed = "<Zantix><VelPhonebook><resources><strings><string id=\"101\">X</strin>";
    const LanguageList swissFrench = {kGermanSwiss, kFrench, kGerman, kEnglish},
                       germanOnly = {kGerman, kEnglish};
    const struct {
        const char* name;
        std::vector<std::pair<std::wstring, std::string>> files;
        LanguageList languages;
        const wchar_t* text;
    } cases[] = {
        {"German first", {{de, german}, {fr, french}}, swissFrench, L"Entfernen"},
        {"French next", {{fr, french}}, swissFrench, L"Supprimer"},
        {"unparsable passed over",
         {{de, malformed}, {fr, french}},
         {kGerman, kFrench, kEnglish},
         L"Supprimer"},
        {"English ends", {{de, german}}, {kEnglish, kGerman}, L"Remove"},
        {"any English ends", {{de, german}}, {kEnglishUK, kGerman}, L"Remove"},
        {"English file",
         {{de, german}, {L"Zantix.xml", Tagged("Take away")}},
         {kEnglishUK, kGerman},
         L"Take away"},
        {"malformed", {{de, malformed}}, germanOnly, L"Remove"},
        {"truncated", {{de, german.substr(0, german.size() / 2)}}, germanOnly, L"Remove"},
        {"wrong root",
         {{de,
           "<Other><VelPhonebook><resources><strings><string id=\"101\">X</string></strings></resources>"
           "</VelPhonebook></Other>"}},
         germanOnly,
         L"Remove"},
        {"wrong module", {{de, Tagged("X", "VelPhonebook64")}}, germanOnly, L"Remove"},
    };
    for (const auto& c : cases) {
        ScratchFolder folder(L"velphonebook-loc-files");
        for (const auto& [name, bytes] : c.files) ASSERT_TRUE(folder.Write(name, bytes));
        const Localizer localizer({folder.path(), kModule, c.languages});
        std::wstring text;
        EXPECT_TRUE(localizer.LoadText(IDS_REMOVE, text)) << c.name;
        EXPECT_EQ(text, c.text) << c.name;
    }
}

TEST_F(LocalizerTest, LanguageFileOverridesOnlyNonEmptyTexts) {
    ASSERT_TRUE(
        m_folder.Write(L"Zantix.ko.xml", LanguageXml("VelPhonebook", {{IDS_REMOVE, "삭제"},
                                                                      {IDS_NEW_RECIPIENT, ""},
                                                                      {IDS_COLUMN_NAME, "<b>Name</b>"},
                                                                      {998, "Only here"}})));
    const std::tuple<UINT, bool, const wchar_t*> cases[] = {
        {IDS_REMOVE, true, L"삭제"},
        {IDS_NEW_RECIPIENT, true, L"New Recipient"},  // empty element
        {IDS_COLUMN_NAME, true, L"Name"},             // element without text of its own
        {IDS_ADDRESS_EXISTS, true,
         L"This address already exists.\nPlease modify either user name or phone number."},
        {998, true, L"Only here"},
        {999, false, L""},
    };
    const Localizer localizer = Make({0x0412, kEnglish});
    ASSERT_TRUE(localizer.IsLoaded());
    for (const auto& [id, found, expected] : cases) {
        std::wstring text = L"stale";
        EXPECT_EQ(localizer.LoadText(id, text), found) << id;
        EXPECT_EQ(text, expected) << id;
    }
}

// The XML service parses on the caller's thread: a file nested far deeper
// than any real one neither overflows a small stack nor hides the others' texts.
TEST_F(LocalizerTest, ADeeplyNestedFileIsSafeOnASmallStack) {
    std::string deep;
    for (int i = 0; i < 100'000; ++i) deep += "<x>";
    for (int i = 0; i < 100'000; ++i) deep += "</x>";
    ASSERT_TRUE(m_folder.Write(L"Zantix.de.xml", LanguageXml("VelPhonebook", {{IDS_REMOVE, "Entfernen"}, {998, deep}})));
    bool loaded = false, found = false;
    std::wstring text;
    ASSERT_TRUE(testing_support::RunOnThread(256 * 1024, [&] {
        testing_support::ComApartment apartment;
        const Localizer localizer = Make({kGerman, kEnglish});
        loaded = localizer.IsLoaded();
        found = localizer.LoadText(IDS_REMOVE, text);
    }));
    EXPECT_TRUE(found) << "the thread did not get through";
    EXPECT_EQ(loaded ? L"Entfernen" : L"Remove", text) << "loaded " << loaded;
}

// Files nobody should have put there: a document type whose entities expand
// a billionfold, an external entity that would pull in another file of the
// machine, an external document type, and a file far too large for a language
// file. Each is refused or read without the document type's doing: nothing of
// the other file shows, the built-in text answers, and the load returns.
TEST_F(LocalizerTest, HostileFilesAreRefusedOrReadWithoutTheirDocumentType) {
    ScratchFolder secrets{L"velphonebook-secret"};
    ASSERT_TRUE(secrets.Write(L"secret.txt", "SECRET-OUTSIDE"));
    std::string secretUrl = "file:///";
    for (wchar_t c : secrets.path() + L"secret.txt") secretUrl += c == L'\\' ? '/' : char(c);
    std::string laughs = "<!DOCTYPE Zantix [<!ENTITY a \"hahahahahahahahahaha\">";
    for (char e = 'b'; e <= 'k'; ++e) {
        laughs += std::string("<!ENTITY ") + e + " \"";
        for (int i = 0; i < 10; ++i) laughs += std::string("&") + char(e - 1) + ";";
        laughs += "\">";
    }
    laughs += "]>";
    const std::string body = "<Zantix><VelPhonebook><resources><strings><string id=\"101\">";
    const std::string tail = "</string></strings></resources></VelPhonebook></Zantix>";
    struct Case {
        const char* what;
        std::string xml;
    };
    const Case cases[] = {
        {"billion laughs", "<?xml version=\"1.0\"?>" + laughs + body + "&k;" + tail},
        {"external entity", "<?xml version=\"1.0\"?><!DOCTYPE Zantix [<!ENTITY x SYSTEM \"" + secretUrl + "\">]>" +
                                body + "&x;" + tail},
        {"external document type",
         "<?xml version=\"1.0\"?><!DOCTYPE Zantix SYSTEM \"" + secretUrl + "\">" + body + "Entfernen" + tail},
        {"too large", "<?xml version=\"1.0\"?>" + body + "Entfernen" + std::string(40 * 1024 * 1024, ' ') + tail},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ASSERT_TRUE(m_folder.Write(L"Zantix.de.xml", c.xml));
        const auto started = std::chrono::steady_clock::now();
        const Localizer localizer = Make({kGerman, kEnglish});
        const std::wstring text = localizer.LoadText(IDS_REMOVE);
        const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - started);
        std::printf("  %s: loaded %d, %lld ms\n", c.what, int(localizer.IsLoaded()), (long long)ms.count());
        EXPECT_EQ(text.find(L"SECRET"), std::wstring::npos) << "another file of the machine was read";
        EXPECT_EQ(text.find(L"haha"), std::wstring::npos) << "the entities were expanded";
        EXPECT_TRUE(text == L"Remove" || text == L"Entfernen");
    }
}

// The test program's dialog template 900, with a control inside control 217
// that is not part of the template, localized from the file in m_folder.
constexpr int kDialogId = 900;
constexpr int kNested = 220;

class DialogTest : public LocalizerTest {
protected:
    void WriteDialog(const std::string& caption) {
        const loc_test::Texts controls = {{1, "Übernehmen"}, {2, "Abbrechen"}, {217, "Name:"},
                                          {214, "Eingabe"},  {219, ""},        {kNested, "Verschachtelt"}};
        const loc_test::DialogTexts other = {kDialogId - 1, "Falsch", {{1, "Falsch"}, {218, "Falsch"}}};
        ASSERT_TRUE(m_folder.Write(L"Zantix.de.xml",
                                   LanguageXml("VelPhonebook", {}, {other, {kDialogId, caption, controls}})));
    }
    void Localize(LANGID language) {
        m_dialog.reset(::CreateDialogParamW(::GetModuleHandleW(nullptr), MAKEINTRESOURCEW(kDialogId), nullptr,
                                            &Proc, 0));
        ASSERT_TRUE(m_dialog);
        ::CreateWindowW(L"STATIC", L"Nested", WS_CHILD | WS_VISIBLE, 0, 0, 40, 10, Window(217),
                        reinterpret_cast<HMENU>(kNested), nullptr, nullptr);
        Make({language, kEnglish}).LocalizeDialog(m_dialog.get(), kDialogId);
    }
    HWND Window(int id) const {
        return id == 0 ? m_dialog.get() : ::GetDlgItem(id == kNested ? Window(217) : m_dialog.get(), id);
    }
    std::wstring Text(int id = 0) const {
        wchar_t text[256] = L"";
        ::GetWindowTextW(Window(id), text, 256);
        return text;
    }
    bool HasGuiFont(int id) const {
        return ::SendMessageW(Window(id), WM_GETFONT, 0, 0) == LRESULT(::GetStockObject(DEFAULT_GUI_FONT));
    }
    static INT_PTR CALLBACK Proc(HWND, UINT message, WPARAM, LPARAM) { return message == WM_INITDIALOG; }

    com::UniqueWindow m_dialog;
};

// A dialog of the file replaces the caption and the texts of direct
// children it has; without a caption element, or without a file, the
// template's texts stay and only the font changes.
TEST_F(DialogTest, CaptionAndTextsOfDirectChildrenAreReplaced) {
    WriteDialog("Adressbuch");
    Localize(kGerman);
    EXPECT_EQ(Text(), L"Adressbuch");
    EXPECT_EQ(Text(1), L"Übernehmen");
    EXPECT_EQ(Text(2), L"Abbrechen");
    EXPECT_EQ(Text(217), L"Name:");
    EXPECT_EQ(Text(214), L"");              // no text of its own: left alone
    EXPECT_EQ(Text(218), L"Untranslated");  // only another dialog has it
    EXPECT_EQ(Text(219), L"Blank");         // empty element
    EXPECT_EQ(Text(kNested), L"Nested");    // not a direct child
    for (const int id : {1, 2, 214, 217, 218, 219}) EXPECT_TRUE(HasGuiFont(id)) << id;
    EXPECT_FALSE(HasGuiFont(kNested));

    WriteDialog("");
    Localize(kGerman);
    EXPECT_EQ(Text(), L"Address Book");
    EXPECT_EQ(Text(1), L"Übernehmen");
    Localize(kFrench);
    EXPECT_EQ(Text(), L"Address Book");
    EXPECT_EQ(Text(217), L"Name");
    EXPECT_TRUE(HasGuiFont(217));
}

// The real product path: this program's folder, its base name and the list
// the sibling library gives, as a control or dialog of the module would.
TEST_F(LocalizerTest, DefaultLocalizerUsesTheModulesFolderNameAndList) {
    ASSERT_TRUE(m_folder.Write(L"Zantix.de.xml", Tagged("Entfernen", "test_localization")));
    const std::wstring bin = testing_support::BinDir();
    const std::wstring sibling = bin + kSiblingLibraryName, file = bin + L"Zantix.de.xml";
    // The shipped German file lies there too: out of the way for the test,
    // and back afterwards.
    const std::wstring shipped = file + L".shipped";
    const bool hadShipped = ::MoveFileExW(file.c_str(), shipped.c_str(), MOVEFILE_REPLACE_EXISTING) != FALSE;
    ::SetEnvironmentVariableW(L"ZANTIXUI_ORIGINAL_LIST", L"0807:040C");
    EXPECT_TRUE(::CopyFileW((bin + L"zantixui\\" + kSiblingLibraryName).c_str(), sibling.c_str(), FALSE));
    EXPECT_TRUE(::CopyFileW((m_folder.path() + L"Zantix.de.xml").c_str(), file.c_str(), FALSE));
    {
        const Localizer localizer;
        EXPECT_EQ(localizer.Document().Path(), file);
        EXPECT_EQ(localizer.LoadText(IDS_REMOVE), L"Entfernen");
    }
    ::SetEnvironmentVariableW(L"ZANTIXUI_ORIGINAL_LIST", nullptr);
    ::DeleteFileW(sibling.c_str());
    ::DeleteFileW(file.c_str());
    if (hadShipped) ::MoveFileExW(shipped.c_str(), file.c_str(), MOVEFILE_REPLACE_EXISTING);
}

}  // namespace
