// Choosing and loading the language resource library.
#include "localization/resource_library.h"

#include "localization/language.h"

namespace localization {
namespace {

constexpr wchar_t kRussianSuffix[] = L".resources.ru.dll";
constexpr wchar_t kKoreanSuffix[] = L".resources.ko.dll";
constexpr wchar_t kDefaultSuffix[] = L".resources.dll";

}  // namespace

std::wstring ResourceLibraryPath(const std::wstring& modulePath, WORD primaryLanguage) {
    const size_t slash = modulePath.find_last_of(L"\\/");
    const size_t dot = modulePath.find_last_of(L'.');
    const bool hasExtension = dot != std::wstring::npos && (slash == std::wstring::npos || dot > slash);
    std::wstring path = hasExtension ? modulePath.substr(0, dot) : modulePath;
    switch (primaryLanguage) {
        case kPrimaryRussian:
            return path + kRussianSuffix;
        case kPrimaryKorean:
            return path + kKoreanSuffix;
        default:
            return path + kDefaultSuffix;
    }
}

HMODULE LoadResourceLibrary(const std::wstring& modulePath) {
    if (modulePath.empty()) return nullptr;
    const WORD primary = PRIMARYLANGID(LANGIDFROMLCID(::GetThreadLocale()));
    // Mapped as a data file: none of its code runs, it only lends resources.
    return ::LoadLibraryExW(ResourceLibraryPath(modulePath, primary).c_str(), nullptr,
                            LOAD_LIBRARY_AS_DATAFILE);
}

}  // namespace localization
