// The user-interface language: the ordered list of candidate languages and
// where its entries come from, the UI primary language cached per process,
// the names of the language files and the font face that suits the language.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace localization {

// Windows language identifiers, most wanted first, without duplicates.
using LanguageList = std::vector<LANGID>;

inline constexpr WORD kPrimaryEnglish = LANG_ENGLISH;  // 9
inline constexpr WORD kPrimaryKorean = LANG_KOREAN;    // 18
inline constexpr WORD kPrimaryRussian = LANG_RUSSIAN;  // 25
inline constexpr LANGID kEnglishUnitedStates = 1033;
inline constexpr WORD kSubLanguageDefault = SUBLANG_DEFAULT;  // 1
// Primary languages that have no meaningful "default sub-language" form.
inline constexpr WORD kPrimaryNeutral = LANG_NEUTRAL;      // 0
inline constexpr WORD kPrimaryInvariant = LANG_INVARIANT;  // 127

// The family names its modules by architecture: "64" after the base name for
// x86-64 (VelPhonebook64.dll, ZantixUI64.dll), nothing for x86
// (VelPhonebook.dll, ZantixUI.dll). The language library is this module's
// sibling of the same architecture.
#ifdef _WIN64
inline constexpr wchar_t kModuleFileName[] = L"VelPhonebook64.dll";
inline constexpr wchar_t kSiblingLibraryName[] = L"ZantixUI64.dll";
#else
inline constexpr wchar_t kModuleFileName[] = L"VelPhonebook.dll";
inline constexpr wchar_t kSiblingLibraryName[] = L"ZantixUI.dll";
#endif
inline constexpr wchar_t kLanguageKeyPath[] = L"SOFTWARE\\Quorvel\\Orvanta";
inline constexpr wchar_t kLanguageValueName[] = L"LangID";
inline constexpr wchar_t kDefaultFontFace[] = L"Segoe UI";
inline constexpr wchar_t kKoreanFontFace[] = L"Malgun Gothic";

struct WindowsVersion {
    DWORD major = 0;
    DWORD minor = 0;
    bool homeEdition = false;  // VER_SUITE_PERSONAL
};

WindowsVersion CurrentWindowsVersion();
bool IsWindows2000(const WindowsVersion& version);
bool IsWindowsXPHome(const WindowsVersion& version);

// Everything the list is built from, as the platform reported it. Gathering
// has no side effects, so all of it is read up front and MergeLanguageList
// decides which parts count.
struct LanguageSources {
    WindowsVersion version;
    DWORD machineLanguage = 0;  // per-machine "LangID"; read on Windows 2000 only
    LanguageList sibling;       // from the sibling library's list function
    bool hasThreadPreferred = false;
    LanguageList threadPreferred;  // GetThreadPreferredUILanguages, when the system has it
    LANGID userDefaultUI = 0;
    LANGID threadLocale = 0;
    LANGID systemDefaultUI = 0;
};

// The ordered list from its sources (every step appends only new entries):
// the machine value on Windows 2000, the sibling library's list, the system's
// list when the sibling gave nothing new, the default-sub-language forms of
// what is there so far, and English (United States) last.
LanguageList MergeLanguageList(const LanguageSources& sources);

// Hexadecimal identifiers of a list of zero-terminated entries, ending at the
// first empty entry (the system's multi-string form). Entries that are not
// a 16-bit hexadecimal number are skipped.
LanguageList ParseLanguageIds(const wchar_t* entries);

// The per-machine "LangID" (a REG_DWORD); 0 when missing or of another type.
DWORD ReadMachineLanguage();
// The list of the sibling library (kSiblingLibraryName) in the folder (trailing backslash); empty when
// the library or both of its list functions are missing.
LanguageList ReadSiblingLanguages(const std::wstring& folder);
LanguageSources GatherLanguageSources(const std::wstring& moduleFolder, const WindowsVersion& version);

LanguageList BuildLanguageList(const std::wstring& moduleFolder, const WindowsVersion& version);
// The list for this module on this system.
LanguageList BuildLanguageList();

// The primary language of the first entry of this module's list, computed
// on first use and kept for the life of the process; English when empty.
WORD UIPrimaryLanguage();
bool IsUILanguage(WORD primary);
// Whether the language reads from right to left (Arabic, Hebrew): the
// module's windows are then mirrored.
bool IsRightToLeft(WORD primary) noexcept;
bool IsUIRightToLeft();

const wchar_t* FontFaceFor(WORD primary) noexcept;
// The face of the module's text fonts, following the UI language.
const wchar_t* FontFace();

// The code of the language in file names ("de", "zh-tw", "neutral"; empty
// for English).
std::wstring LanguageCode(LANGID language);
// "Zantix.<code>.xml", or "Zantix.xml" for English.
std::wstring LanguageFileName(LANGID language);

// The folder of a module file, with its trailing backslash.
std::wstring ModuleFolder(const std::wstring& modulePath);
// The file name without extension and without a trailing "64":
// "VelPhonebook" for ...\VelPhonebook64.dll.
std::wstring ModuleBaseName(const std::wstring& modulePath);

}  // namespace localization
