// The language resource library chosen by the thread locale, the module's
// resource source it becomes, and the string table inside the module itself.
#include "localization/resource_library.h"
#include "com/module.h"
#include "com/unique_any.h"
#include "localization/localizer.h"
#include "localization/string_ids.h"
#include "support/test_support.h"

#include <gtest/gtest.h>

using namespace localization;

namespace {

std::wstring StringOf(HMODULE library, UINT id) {
    const wchar_t* text = nullptr;
    const int length = ::LoadStringW(library, id, reinterpret_cast<wchar_t*>(&text), 0);
    return length > 0 ? std::wstring(text, size_t(length)) : std::wstring();
}

// Scratch thread locale, restored afterwards.
class ThreadLocaleTest : public testing::Test {
protected:
    void TearDown() override {
        ::SetThreadLocale(m_saved);
        com::Module::SetResourceInstance(nullptr);
    }
    static void SetLanguage(LANGID language) {
        ASSERT_TRUE(::SetThreadLocale(MAKELCID(language, SORT_DEFAULT)));
    }
    // The fake libraries lie beside a module of this name (which itself need not exist).
    static std::wstring FixtureModule() {
        return testing_support::BinDir() + L"resfixture\\fixture_module.dll";
    }

    const LCID m_saved = ::GetThreadLocale();
};

TEST_F(ThreadLocaleTest, LibraryFollowsTheThreadLocale) {
    struct Case {
        LANGID language;
        const wchar_t* tag;
    } const cases[] = {{0x0419, L"resources.ru"}, {0x0819, L"resources.ru"}, {0x0412, L"resources.ko"},
                       {0x0407, L"resources"},    {0x0409, L"resources"},    {0x0422, L"resources"}};
    for (const Case& c : cases) {
        SetLanguage(c.language);
        const com::UniqueModule library(LoadResourceLibrary(FixtureModule()));
        ASSERT_TRUE(library) << std::hex << c.language;
        EXPECT_EQ(StringOf(library.get(), IDS_REMOVE), c.tag) << std::hex << c.language;
    }
}

TEST_F(ThreadLocaleTest, MissingLibraryMeansTheModulesOwnResources) {
    SetLanguage(0x0419);
    EXPECT_EQ(LoadResourceLibrary(testing_support::BinDir() + L"resfixture\\other_module.dll"), nullptr);
    EXPECT_EQ(LoadResourceLibrary(L""), nullptr);
    EXPECT_EQ(com::Module::ResourceInstance(), com::Module::Instance());
}

TEST_F(ThreadLocaleTest, ChosenLibraryReplacesTheBuiltInTable) {
    SetLanguage(0x0419);
    const com::UniqueModule library(LoadResourceLibrary(FixtureModule()));
    ASSERT_TRUE(library);
    com::Module::SetResourceInstance(library.get());
    const CLocalizerHelperT<void> localizer({L"C:\\no-such-folder\\", L"VelPhonebook", {0x0419, 0x0409}});
    EXPECT_EQ(localizer.LoadText(IDS_REMOVE), L"resources.ru");
    std::wstring text;
    EXPECT_FALSE(localizer.LoadText(IDS_NEW_RECIPIENT, text));  // the library has no other string
    com::Module::SetResourceInstance(nullptr);
    EXPECT_EQ(localizer.LoadText(IDS_REMOVE), L"Remove");
}

TEST(ResourceLibraryPathTest, ReplacesOnlyTheExtension) {
    EXPECT_EQ(ResourceLibraryPath(L"C:\\Orvanta\\VelPhonebook64.dll", 25),
              L"C:\\Orvanta\\VelPhonebook64.resources.ru.dll");
    EXPECT_EQ(ResourceLibraryPath(L"C:\\v1.2\\VelPhonebook64", 18),
              L"C:\\v1.2\\VelPhonebook64.resources.ko.dll");
    EXPECT_EQ(ResourceLibraryPath(L"C:\\a\\b.c.dll", 7), L"C:\\a\\b.c.resources.dll");
}

// The module's own string table holds every text the system shows.
TEST(ModuleStringTableTest, ModuleCarriesTheEnglishTexts) {
    const com::UniqueModule module(::LoadLibraryExW(
        (testing_support::BinDir() + L"VelPhonebook64.dll").c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE));
    ASSERT_TRUE(module);
    struct Case {
        UINT id;
        const wchar_t* text;
    } const cases[] = {
        {IDS_REMOVE, L"Remove"},
        {IDS_NEW_RECIPIENT, L"New Recipient"},
        {IDS_NEW_NUMBER, L"000-00-00"},
        {IDS_COLUMN_NUMBER, L"#"},
        {IDS_COLUMN_NAME, L"Name"},
        {IDS_COLUMN_FAX, L"Fax Number"},
        {IDS_COLUMN_DATE, L"Date"},
        {IDS_ADDRESS_EXISTS,
         L"This address already exists.\nPlease modify either user name or phone number."},
        {IDS_CANNOT_MODIFY_SYSTEM_AB, L"Cannot modify the system address book."},
        {IDS_ADDRESS_INCORRECT,
         L"This address is incorrect.\nPlease modify either user name or phone number."},
        {IDS_BUTTON_EDIT, L"Edit"},
        {IDS_BUTTON_SAVE, L"Save"},
        {IDS_BUTTON_CLOSE, L"Close"},
        {IDS_ENTRY_PROMPT, L"Enter new Name or Number."},
        {IDS_ENTRY_EXISTS, L"Entered Name, Number is already exist"},
        {IDS_LABEL_NAME, L"Name"},
        {IDS_LABEL_FAX, L"Fax"},
        {IDS_BUTTON_OK, L"OK"},
        {IDS_BUTTON_CANCEL, L"Cancel"},
        {IDS_CONFIRM_REMOVE, L"Are you sure you want to remove selected %d recipient(s)?"},
        {IDS_CANNOT_MODIFY_OUTLOOK, L"Cannot modify the address book of Microsoft Outlook."},
        {IDS_TIP_ADD, L"Add the AddressBook"},
        {IDS_TIP_EDIT, L"Edit the AddressBook"},
        {IDS_TIP_REMOVE, L"Remove the AddressBook"},
    };
    for (const Case& c : cases) EXPECT_EQ(StringOf(module.get(), c.id), c.text) << c.id;
}

}  // namespace
