// The language resource library chosen by the thread locale (three fixture
// builds whose string 101 tells which was loaded) and the module's resource
// source it becomes.
#include "localization/resource_library.h"
#include "com/module.h"
#include "com/unique_any.h"
#include "localization/localizer.h"
#include "localization/string_ids.h"
#include "support/test_support.h"

#include <gtest/gtest.h>

using namespace localization;

namespace {

TEST(ResourceLibraryTest, ThreadLocalePicksTheLibraryWhichReplacesTheBuiltInTable) {
    const LCID saved = ::GetThreadLocale();
    const std::wstring module = testing_support::BinDir() + L"resfixture\\fixture_module.dll";
    const std::pair<LANGID, const wchar_t*> cases[] = {
        {0x0419, L"resources.ru"}, {0x0819, L"resources.ru"}, {0x0412, L"resources.ko"}, {0x0407, L"resources"}};
    const CLocalizerHelperT<void> localizer({L"C:\\no-such-folder\\", L"VelPhonebook", {0x0409}});
    for (const auto& [language, tag] : cases) {
        ASSERT_TRUE(::SetThreadLocale(MAKELCID(language, SORT_DEFAULT)));
        const com::UniqueModule library(LoadResourceLibrary(module));
        ASSERT_TRUE(library) << std::hex << language;
        com::Module::SetResourceInstance(library.get());
        EXPECT_EQ(localizer.LoadText(IDS_REMOVE), tag) << std::hex << language;
        std::wstring text;
        EXPECT_FALSE(localizer.LoadText(IDS_NEW_RECIPIENT, text)) << "the library has no other string";
        com::Module::SetResourceInstance(nullptr);
    }
    ::SetThreadLocale(saved);
    EXPECT_EQ(localizer.LoadText(IDS_REMOVE), L"Remove");
    EXPECT_EQ(LoadResourceLibrary(testing_support::BinDir() + L"resfixture\\other_module.dll"), nullptr);
    EXPECT_EQ(ResourceLibraryPath(L"C:\\v1.2\\VelPhonebook64", 18), L"C:\\v1.2\\VelPhonebook64.resources.ko.dll");
    EXPECT_EQ(ResourceLibraryPath(L"C:\\a\\b.c.dll", 7), L"C:\\a\\b.c.resources.dll");
}

}  // namespace
