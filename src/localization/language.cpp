// Choice of the user-interface language: gathering the candidate languages
// from the platform and the sibling library, merging them in order, and the
// language-code table of the file names.
#include "localization/language.h"

#include "com/module.h"
#include "com/unique_any.h"

#include <algorithm>
#include <cwchar>
#include <optional>

namespace localization {
namespace {

// The sibling library fills the buffer with the identifier form of its list,
// entries separated by colons.
using SiblingListFunction = BOOL(WINAPI*)(DWORD flags, ULONG* count, wchar_t* buffer, ULONG* bufferChars);
using ThreadPreferredFunction = BOOL(WINAPI*)(DWORD flags, ULONG* count, wchar_t* buffer, ULONG* bufferChars);

constexpr DWORD kLanguageIdForm = 4;  // MUI_LANGUAGE_ID
constexpr ULONG kSiblingBufferChars = 2048;
// Room for the terminators that some systems do not count in the size.
constexpr ULONG kExtraTerminators = 2;
constexpr wchar_t kSiblingSeparator = L':';

// The sibling's functions in order of preference: the list before any
// user override, failing that the current one.
constexpr const char* kSiblingFunctions[] = {"GetOriginalPreferredUILanguagesListW",
                                             "GetPreferredUILanguagesListW"};

struct LanguageCodeEntry {
    WORD primary;
    WORD subLanguage;  // kAnySubLanguage matches every sub-language
    const wchar_t* code;
};
constexpr WORD kAnySubLanguage = 0xFFFF;

// The first matching row wins, so a sub-language row comes before the
// catch-all row of its primary language.
constexpr LanguageCodeEntry kLanguageCodes[] = {
    {LANG_ARABIC, kAnySubLanguage, L"ar"},
    {LANG_CHINESE, SUBLANG_CHINESE_TRADITIONAL, L"zh-tw"},
    {LANG_CHINESE, kAnySubLanguage, L"zh-cn"},
    {LANG_CZECH, kAnySubLanguage, L"cs"},
    {LANG_DANISH, kAnySubLanguage, L"da"},
    {LANG_GERMAN, kAnySubLanguage, L"de"},
    {LANG_GREEK, kAnySubLanguage, L"el"},
    {LANG_ENGLISH, kAnySubLanguage, L""},
    {LANG_SPANISH, kAnySubLanguage, L"es"},
    {LANG_FINNISH, kAnySubLanguage, L"fi"},
    {LANG_FRENCH, kAnySubLanguage, L"fr"},
    {LANG_HEBREW, kAnySubLanguage, L"he"},
    {LANG_HUNGARIAN, kAnySubLanguage, L"hu"},
    {LANG_ITALIAN, kAnySubLanguage, L"it"},
    {LANG_KOREAN, kAnySubLanguage, L"ko"},
    {LANG_DUTCH, kAnySubLanguage, L"nl"},
    {LANG_NORWEGIAN, kAnySubLanguage, L"nb"},
    {LANG_POLISH, kAnySubLanguage, L"pl"},
    {LANG_PORTUGUESE, SUBLANG_PORTUGUESE_BRAZILIAN, L"pt-br"},
    {LANG_PORTUGUESE, SUBLANG_PORTUGUESE, L"pt-pt"},
    {LANG_PORTUGUESE, kAnySubLanguage, L"pt"},
    {LANG_RUSSIAN, kAnySubLanguage, L"ru"},
    {LANG_SWEDISH, kAnySubLanguage, L"sv"},
    {LANG_TURKISH, kAnySubLanguage, L"tr"},
    {LANG_UKRAINIAN, kAnySubLanguage, L"uk"},
};
constexpr wchar_t kNeutralCode[] = L"neutral";
constexpr wchar_t kFileBaseName[] = L"Zantix";
constexpr wchar_t kFileExtension[] = L".xml";
constexpr wchar_t kModuleNameSuffix[] = L"64";

// Zero is no language: a missing legacy value never becomes an entry.
void AppendNew(LanguageList& list, LANGID language) {
    if (language != 0 && std::find(list.begin(), list.end(), language) == list.end())
        list.push_back(language);
}

// True when the step appended at least one entry.
bool AppendAllNew(LanguageList& list, const LanguageList& languages) {
    const size_t before = list.size();
    for (const LANGID language : languages) AppendNew(list, language);
    return list.size() != before;
}

std::optional<LANGID> ParseLanguageId(const wchar_t* text) {
    wchar_t* end = nullptr;
    const unsigned long value = std::wcstoul(text, &end, 16);
    if (end == text || *end != L'\0' || value == 0 || value > 0xFFFF) return std::nullopt;
    return LANGID(value);
}

LanguageList ReadThreadPreferredLanguages(ThreadPreferredFunction function) {
    ULONG count = 0;
    ULONG chars = 0;
    if (!function(kLanguageIdForm, &count, nullptr, &chars)) return {};
    std::vector<wchar_t> buffer(chars + kExtraTerminators, L'\0');
    if (!function(kLanguageIdForm, &count, buffer.data(), &chars)) return {};
    buffer.back() = L'\0';
    buffer[buffer.size() - 2] = L'\0';
    return ParseLanguageIds(buffer.data());
}

}  // namespace

WindowsVersion CurrentWindowsVersion() {
    OSVERSIONINFOEXW info{};
    info.dwOSVersionInfoSize = sizeof(info);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    ::GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&info));
#pragma GCC diagnostic pop
    return {info.dwMajorVersion, info.dwMinorVersion, (info.wSuiteMask & VER_SUITE_PERSONAL) != 0};
}

// Deliberately exactly 5.0: the machine value and the swapped legacy order
// belong to Windows 2000 alone, not to XP (5.1) or Server 2003 (5.2).
bool IsWindows2000(const WindowsVersion& version) {
    return version.major == 5 && version.minor == 0;
}

bool IsWindowsXPHome(const WindowsVersion& version) {
    return version.major == 5 && version.minor == 1 && version.homeEdition;
}

LanguageList MergeLanguageList(const LanguageSources& sources) {
    LanguageList list;
    if (IsWindows2000(sources.version) && sources.machineLanguage != 0 && sources.machineLanguage <= 0xFFFF)
        AppendNew(list, LANGID(sources.machineLanguage));

    const bool siblingAppended = AppendAllNew(list, sources.sibling);
    if (!siblingAppended) {
        if (sources.hasThreadPreferred) {
            AppendAllNew(list, sources.threadPreferred);
        } else if (IsWindows2000(sources.version) || IsWindowsXPHome(sources.version)) {
            AppendAllNew(list, {sources.threadLocale, sources.userDefaultUI, sources.systemDefaultUI});
        } else {
            AppendAllNew(list, {sources.userDefaultUI, sources.threadLocale, sources.systemDefaultUI});
        }
    }
    // Only the entries present before this step get their default form.
    const LanguageList specific = list;
    for (const LANGID language : specific) {
        const WORD primary = PRIMARYLANGID(language);
        if (primary == kPrimaryNeutral || primary == kPrimaryInvariant) continue;
        if (SUBLANGID(language) == kSubLanguageDefault) continue;
        AppendNew(list, MAKELANGID(primary, kSubLanguageDefault));
    }
    AppendNew(list, kEnglishUnitedStates);
    return list;
}

LanguageList ParseLanguageIds(const wchar_t* entries) {
    LanguageList list;
    if (!entries) return list;
    for (const wchar_t* entry = entries; *entry; entry += std::wcslen(entry) + 1)
        if (const auto language = ParseLanguageId(entry)) AppendNew(list, *language);
    return list;
}

DWORD ReadMachineLanguage() {
    com::UniqueHKey key;
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, kLanguageKeyPath, 0, KEY_READ, key.put()) != ERROR_SUCCESS)
        return 0;
    DWORD value = 0;
    DWORD type = REG_NONE;
    DWORD size = sizeof(value);
    if (::RegQueryValueExW(key.get(), kLanguageValueName, nullptr, &type, reinterpret_cast<BYTE*>(&value),
                           &size) != ERROR_SUCCESS)
        return 0;
    return type == REG_DWORD && size == sizeof(value) ? value : 0;
}

LanguageList ReadSiblingLanguages(const std::wstring& folder) {
    const com::UniqueModule library(::LoadLibraryW((folder + kSiblingLibraryName).c_str()));
    if (!library) return {};
    SiblingListFunction function = nullptr;
    for (const char* name : kSiblingFunctions) {
        function = reinterpret_cast<SiblingListFunction>(
            reinterpret_cast<void*>(::GetProcAddress(library.get(), name)));
        if (function) break;
    }
    if (!function) return {};

    std::vector<wchar_t> buffer(kSiblingBufferChars + kExtraTerminators, L'\0');
    ULONG count = 0;
    ULONG chars = kSiblingBufferChars;
    if (!function(kLanguageIdForm, &count, buffer.data(), &chars)) return {};
    // Whatever the library wrote, the list ends within the buffer.
    std::fill(buffer.begin() + kSiblingBufferChars, buffer.end(), L'\0');
    std::replace(buffer.begin(), buffer.end(), kSiblingSeparator, L'\0');
    return ParseLanguageIds(buffer.data());
}

LanguageSources GatherLanguageSources(const std::wstring& moduleFolder, const WindowsVersion& version) {
    LanguageSources sources;
    sources.version = version;
    if (IsWindows2000(version)) sources.machineLanguage = ReadMachineLanguage();
    sources.sibling = ReadSiblingLanguages(moduleFolder);
    // Resolved at run time: the call exists from Windows 6.0 on.
    if (const HMODULE kernel = ::GetModuleHandleW(L"kernel32.dll")) {
        if (const auto function = reinterpret_cast<ThreadPreferredFunction>(
                reinterpret_cast<void*>(::GetProcAddress(kernel, "GetThreadPreferredUILanguages")))) {
            sources.hasThreadPreferred = true;
            sources.threadPreferred = ReadThreadPreferredLanguages(function);
        }
    }
    sources.userDefaultUI = ::GetUserDefaultUILanguage();
    sources.threadLocale = LANGIDFROMLCID(::GetThreadLocale());
    sources.systemDefaultUI = ::GetSystemDefaultUILanguage();
    return sources;
}

LanguageList BuildLanguageList(const std::wstring& moduleFolder, const WindowsVersion& version) {
    return MergeLanguageList(GatherLanguageSources(moduleFolder, version));
}

LanguageList BuildLanguageList() {
    return BuildLanguageList(ModuleFolder(com::Module::Path()), CurrentWindowsVersion());
}

WORD UIPrimaryLanguage() {
    // Computed on the user-interface thread on first use, so no locking.
    static const WORD primary = [] {
        const LanguageList list = BuildLanguageList();
        return list.empty() ? kPrimaryEnglish : WORD(PRIMARYLANGID(list.front()));
    }();
    return primary;
}

bool IsUILanguage(WORD primary) {
    return UIPrimaryLanguage() == primary;
}

bool IsRightToLeft(WORD primary) noexcept {
    return primary == LANG_ARABIC || primary == LANG_HEBREW;
}

bool IsUIRightToLeft() {
    return IsRightToLeft(UIPrimaryLanguage());
}

const wchar_t* FontFaceFor(WORD primary) noexcept {
    return primary == kPrimaryKorean ? kKoreanFontFace : kDefaultFontFace;
}

const wchar_t* FontFace() {
    return FontFaceFor(UIPrimaryLanguage());
}

std::wstring LanguageCode(LANGID language) {
    const WORD primary = PRIMARYLANGID(language);
    const WORD subLanguage = SUBLANGID(language);
    for (const LanguageCodeEntry& entry : kLanguageCodes)
        if (entry.primary == primary &&
            (entry.subLanguage == kAnySubLanguage || entry.subLanguage == subLanguage))
            return entry.code;
    return kNeutralCode;
}

std::wstring LanguageFileName(LANGID language) {
    const std::wstring code = LanguageCode(language);
    std::wstring name = kFileBaseName;
    if (!code.empty()) name += L"." + code;
    return name + kFileExtension;
}

std::wstring ModuleFolder(const std::wstring& modulePath) {
    const size_t slash = modulePath.find_last_of(L"\\/");
    return slash == std::wstring::npos ? std::wstring() : modulePath.substr(0, slash + 1);
}

std::wstring ModuleBaseName(const std::wstring& modulePath) {
    const size_t slash = modulePath.find_last_of(L"\\/");
    std::wstring name = slash == std::wstring::npos ? modulePath : modulePath.substr(slash + 1);
    if (const size_t dot = name.find_last_of(L'.'); dot != std::wstring::npos) name.erase(dot);
    const std::wstring suffix = kModuleNameSuffix;
    if (name.size() > suffix.size() && name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0)
        name.erase(name.size() - suffix.size());
    return name;
}

}  // namespace localization
