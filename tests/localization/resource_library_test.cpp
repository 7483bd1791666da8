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

// Scratch thread locale, restored afterwards. The fixture libraries lie
// beside a module of this name (which itself need not exist).
class ThreadLocaleTest : public testing::Test {
protected:
    void TearDown() override {
        ::SetThreadLocale(m_saved);
        com::Module::SetResourceInstance(nullptr);
    }
    static void SetLanguage(LANGID language) {
        ASSERT_TRUE(::SetThreadLocale(MAKELCID(language, SORT_DEFAULT)));
    }

    const LCID m_saved = ::GetThreadLocale();
    const std::wstring m_module = testing_support::BinDir() + L"resfixture\\fixture_module.dll";
};

TEST_F(ThreadLocaleTest, LibraryFollowsTheThreadLocale) {
    const std::pair<LANGID, const wchar_t*> cases[] = {{0x0419, L"resources.ru"},
                                                       {0x0819, L"resources.ru"},
                                                       {0x0412, L"resources.ko"},
                                                       {0x0407, L"resources"}};
    for (const auto& [language, tag] : cases) {
        SetLanguage(language);
        const com::UniqueModule library(LoadResourceLibrary(m_module));
        ASSERT_TRUE(library) << std::hex << language;
        EXPECT_EQ(StringOf(library.get(), IDS_REMOVE), tag) << std::hex << language;
    }
    EXPECT_EQ(LoadResourceLibrary(testing_support::BinDir() + L"resfixture\\other_module.dll"), nullptr);
    EXPECT_EQ(ResourceLibraryPath(L"C:\\v1.2\\VelPhonebook64", 18),
              L"C:\\v1.2\\VelPhonebook64.resources.ko.dll");
    EXPECT_EQ(ResourceLibraryPath(L"C:\\a\\b.c.dll", 7), L"C:\\a\\b.c.resources.dll");
}

TEST_F(ThreadLocaleTest, ChosenLibraryReplacesTheBuiltInTable) {
    SetLanguage(0x0419);
    const com::UniqueModule library(LoadResourceLibrary(m_module));
    ASSERT_TRUE(library);
    com::Module::SetResourceInstance(library.get());
    const CLocalizerHelperT<void> localizer({L"C:\\no-such-folder\\", L"VelPhonebook", {0x0419, 0x0409}});
    EXPECT_EQ(localizer.LoadText(IDS_REMOVE), L"resources.ru");
    std::wstring text;
    EXPECT_FALSE(localizer.LoadText(IDS_NEW_RECIPIENT, text));  // the library has no other string
    com::Module::SetResourceInstance(nullptr);
    EXPECT_EQ(localizer.LoadText(IDS_REMOVE), L"Remove");
}

// The module itself carries the built-in table.
TEST(ModuleStringTableTest, ModuleCarriesTheEnglishTexts) {
    const com::UniqueModule module(::LoadLibraryExW(
        (testing_support::BinDir() + testing_support::kModuleFileName).c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE));
    ASSERT_TRUE(module);
    EXPECT_EQ(StringOf(module.get(), IDS_REMOVE), L"Remove");
    EXPECT_EQ(StringOf(module.get(), IDS_TIP_REMOVE), L"Remove the AddressBook");
}

}  // namespace
