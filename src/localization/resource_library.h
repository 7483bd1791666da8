// The language resource library chosen when the module is loaded: a
// resource-only file beside the module that replaces its string table,
// dialog templates and images for the thread locale's language.
#pragma once

#include <windows.h>

#include <string>

namespace localization {

// The module path with its extension replaced by ".resources.ru.dll"
// (Russian), ".resources.ko.dll" (Korean) or ".resources.dll" (any other).
std::wstring ResourceLibraryPath(const std::wstring& modulePath, WORD primaryLanguage);

// Loads the library for the current thread locale as a data file; null when
// it does not exist. The caller owns the handle (FreeLibrary).
HMODULE LoadResourceLibrary(const std::wstring& modulePath);

}  // namespace localization
