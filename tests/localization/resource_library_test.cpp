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

// The module itself carries the built-in table that later work relies on.
TEST(ModuleStringTableTest, ModuleCarriesEveryEnglishText) {
    const com::UniqueModule module(::LoadLibraryExW(
        (testing_support::BinDir() + L"VelPhonebook64.dll").c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE));
    ASSERT_TRUE(module);
    for (UINT id = IDS_REMOVE; id <= IDS_BUTTON_CANCEL; ++id)
        if (id != 102) EXPECT_FALSE(StringOf(module.get(), id).empty()) << id;
    for (const UINT id :
         {IDS_CONFIRM_REMOVE, IDS_CANNOT_MODIFY_OUTLOOK, IDS_TIP_ADD, IDS_TIP_EDIT, IDS_TIP_REMOVE})
        EXPECT_FALSE(StringOf(module.get(), id).empty()) << id;
    EXPECT_EQ(StringOf(module.get(), IDS_REMOVE), L"Remove");
    EXPECT_EQ(StringOf(module.get(), IDS_ADDRESS_INCORRECT),
              L"This address is incorrect.\nPlease modify either user name or phone number.");
    EXPECT_EQ(StringOf(module.get(), IDS_CONFIRM_REMOVE),
              L"Are you sure you want to remove selected %d recipient(s)?");
}

}  // namespace
