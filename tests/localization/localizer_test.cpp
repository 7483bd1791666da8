// The localizer on real files and the real XML service: which file is
// loaded, string look-up with the built-in fallback, and hostile files.
#include "localization/localizer.h"
#include "language_files.h"
#include "localization/string_ids.h"
#include "support/test_support.h"

#include <gtest/gtest.h>

using namespace localization;
using loc_test::LanguageXml;
using loc_test::ScratchFolder;

namespace {

constexpr LANGID kGermanSwiss = 0x0807, kGerman = 0x0407, kFrench = 0x040C, kEnglish = 0x0409, kEnglishUK = 0x0809;
using Localizer = CLocalizerHelperT<void>;
using Files = std::vector<std::pair<std::wstring, std::string>>;

std::wstring RemoveText(const Files& files, const LanguageList& languages) {
    ScratchFolder folder(L"velphonebook-loc");
    for (const auto& [name, bytes] : files) EXPECT_TRUE(folder.Write(name, bytes));
    return Localizer({folder.path(), L"VelPhonebook", languages}).LoadText(IDS_REMOVE);
}

// The first language with a file that parses wins; English ends the walk
// (its texts are the built-in ones unless it has a file of its own).
TEST(LocalizerTest, FirstLanguageWithAUsableFileWinsUntilEnglish) {
    testing_support::ComApartment apartment;
    const std::wstring de = L"Zantix.de.xml", fr = L"Zantix.fr.xml";
    const std::string german = LanguageXml("VelPhonebook", {{IDS_REMOVE, "Entfernen"}}),
                      french = LanguageXml("VelPhonebook", {{IDS_REMOVE, "Supprimer"}});
    const std::string malformed = "<Zantix><VelPhonebook><resources><strings><string id=\"101\">X</strin>";
    const std::string otherRoot = "<Other><VelPhonebook><resources><strings><string id=\"101\">X</string>"
                                  "</strings></resources></VelPhonebook></Other>";
    const LanguageList swissFrench = {kGermanSwiss, kFrench, kGerman, kEnglish}, germanOnly = {kGerman, kEnglish};
    const struct {
        Files files;
        LanguageList languages;
        const wchar_t* text;
    } cases[] = {
        {{{de, german}, {fr, french}}, swissFrench, L"Entfernen"},
        {{{fr, french}}, swissFrench, L"Supprimer"},
        {{{de, malformed}, {fr, french}}, {kGerman, kFrench, kEnglish}, L"Supprimer"},
        {{{de, german}}, {kEnglish, kGerman}, L"Remove"},
        {{{de, german}}, {kEnglishUK, kGerman}, L"Remove"},
        {{{de, german}, {L"Zantix.xml", LanguageXml("VelPhonebook", {{IDS_REMOVE, "Take away"}})}},
         {kEnglishUK, kGerman}, L"Take away"},
        {{{de, malformed}}, germanOnly, L"Remove"},
        {{{de, german.substr(0, german.size() / 2)}}, germanOnly, L"Remove"},
        {{{de, otherRoot}}, germanOnly, L"Remove"},
        {{{de, LanguageXml("VelPhonebook64", {{IDS_REMOVE, "X"}})}}, germanOnly, L"Remove"},
    };
    for (size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(RemoveText(cases[i].files, cases[i].languages), cases[i].text) << "case " << i;

    // Per string: only a non-empty text of the string's own replaces the built-in one.
    ScratchFolder folder(L"velphonebook-loc-ko");
    ASSERT_TRUE(folder.Write(L"Zantix.ko.xml", LanguageXml("VelPhonebook", {{IDS_REMOVE, "삭제"}, {IDS_NEW_RECIPIENT, ""},
                                                                            {IDS_COLUMN_NAME, "<b>Name</b>"}, {998, "Only here"}})));
    const Localizer localizer({folder.path(), L"VelPhonebook", {0x0412, kEnglish}});
    const std::tuple<UINT, bool, const wchar_t*> strings[] = {
        {IDS_REMOVE, true, L"삭제"}, {IDS_NEW_RECIPIENT, true, L"New Recipient"}, {IDS_COLUMN_NAME, true, L"Name"},
        {998, true, L"Only here"},  {999, false, L""}};
    for (const auto& [id, found, expected] : strings) {
        std::wstring text = L"stale";
        EXPECT_EQ(localizer.LoadText(id, text), found) << id;
        EXPECT_EQ(text, expected) << id;
    }
}

// Hostile files on a small stack (deep nesting, billion laughs, external
// entity or document type, far too large): refused or read without their
// document type; nothing of the other file shows and the load returns.
TEST(LocalizerTest, HostileFilesAreRefusedOrReadWithoutTheirDocumentType) {
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
    std::string deep;
    for (int i = 0; i < 100'000; ++i) deep += "<x>";
    for (int i = 0; i < 100'000; ++i) deep += "</x>";
    const std::string body = "<Zantix><VelPhonebook><resources><strings><string id=\"101\">";
    const std::string tail = "</string></strings></resources></VelPhonebook></Zantix>";
    const std::pair<const char*, std::string> cases[] = {
        {"deep", LanguageXml("VelPhonebook", {{IDS_REMOVE, "Entfernen"}, {998, deep}})},
        {"billion laughs", "<?xml version=\"1.0\"?>" + laughs + "]>" + body + "&k;" + tail},
        {"external entity",
         "<?xml version=\"1.0\"?><!DOCTYPE Zantix [<!ENTITY x SYSTEM \"" + secretUrl + "\">]>" + body + "&x;" + tail},
        {"external document type",
         "<?xml version=\"1.0\"?><!DOCTYPE Zantix SYSTEM \"" + secretUrl + "\">" + body + "Entfernen" + tail},
        {"too large", "<?xml version=\"1.0\"?>" + body + "Entfernen" + std::string(40 * 1024 * 1024, ' ') + tail},
    };
    for (const auto& [what, xml] : cases) {
        SCOPED_TRACE(what);
        ScratchFolder folder(L"velphonebook-hostile");
        ASSERT_TRUE(folder.Write(L"Zantix.de.xml", xml));
        std::wstring text = L"not returned";
        ASSERT_TRUE(testing_support::RunOnThread(256 * 1024, [&] {
            testing_support::ComApartment apartment;
            text = Localizer({folder.path(), L"VelPhonebook", {kGerman, kEnglish}}).LoadText(IDS_REMOVE);
        }));
        EXPECT_TRUE(text == L"Remove" || text == L"Entfernen") << testing_support::Utf8(text.substr(0, 40));
    }
}

}  // namespace
