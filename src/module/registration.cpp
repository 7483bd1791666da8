// Self-registration of the module's classes and type library.
#include "module/registration.h"

#include "com/com_ptr.h"
#include "com/hresult.h"
#include "com/module.h"
#include "com/unique_any.h"
#include "module/VelPhonebook_h.h"

#include <cstdio>
#include <map>
#include <utility>
#include <vector>

namespace module {
namespace {

std::wstring RegistryForm(REFGUID guid) {
    wchar_t text[MAX_PATH] = {};
    ::StringFromGUID2(guid, text, MAX_PATH);
    return text;
}

// The library identifier without its braces: the scripts add them.
std::wstring Unbraced(REFGUID guid) {
    const std::wstring braced = RegistryForm(guid);
    return braced.substr(1, braced.size() - 2);
}

com::ReplacementMap Replacements(const ClassRegistration& entry) {
    const std::wstring path = com::Module::Path();
    com::ReplacementMap map{
        {L"VendorName", L"Quorvel"},
        {L"ProductName", L"Orvanta"},
        {L"ProdAbb", L"Zantix"},
        {L"LIBID_VELPHONEBOOKLib", Unbraced(LIBID_VELPHONEBOOKLib)},
        {entry.clsidKey, RegistryForm(*entry.clsid)},
        {L"MODULE", path},
        {L"Module", path},
        {L"Module_Raw", path},
    };
    if (entry.isControl) map[L"MODULE_FILE_NAME_EXT"] = path.substr(path.find_last_of(L"\\/") + 1);
    return map;
}

constexpr wchar_t kUserClasses[] = L"Software\\Classes";

// The key a scope's classes live under: HKEY_CLASSES_ROOT itself for the
// machine, HKCU\Software\Classes (created when a profile lacks it) for the user.
class ClassesRoot {
public:
    explicit ClassesRoot(Scope scope) noexcept {
        if (scope == Scope::Machine) return;
        m_status = HRESULT_FROM_WIN32(::RegCreateKeyExW(HKEY_CURRENT_USER, kUserClasses, 0, nullptr, 0,
                                                        KEY_READ | KEY_WRITE, nullptr, m_userKey.put(), nullptr));
    }
    HRESULT status() const noexcept { return m_status; }
    HKEY get() const noexcept { return m_userKey ? m_userKey.get() : HKEY_CLASSES_ROOT; }

private:
    com::UniqueHKey m_userKey;
    HRESULT m_status = S_OK;
};

// The type library functions of oleaut32 write to HKEY_CLASSES_ROOT. For the
// user's scope that handle is pointed at HKCU\Software\Classes while they run:
// RegisterTypeLibForUser does not exist before Vista, and where it does, it is
// not everywhere what its name says (Wine 8 registers machine-wide from it).
// The override is process-wide, so it is held only around those calls.
class UserClassesOverride {
public:
    explicit UserClassesOverride(HKEY userClasses) noexcept
        : m_status(HRESULT_FROM_WIN32(::RegOverridePredefKey(HKEY_CLASSES_ROOT, userClasses))) {}
    ~UserClassesOverride() {
        if (SUCCEEDED(m_status)) ::RegOverridePredefKey(HKEY_CLASSES_ROOT, nullptr);
    }
    UserClassesOverride(const UserClassesOverride&) = delete;
    UserClassesOverride& operator=(const UserClassesOverride&) = delete;
    HRESULT status() const noexcept { return m_status; }

private:
    HRESULT m_status;
};

// The per-user entry points where oleaut32 has them (looked up, so that the
// module still loads where it does not), else the machine-wide ones, which
// the override sends to the user's classes all the same.
template <class Function>
Function OleAutomation(const char* name) noexcept {
    const HMODULE library = ::GetModuleHandleW(L"oleaut32.dll");
    return library ? reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(library, name)))
                   : nullptr;
}

// A registry key with everything below it, held in memory: the values of each
// key by its path below the tree's top ("" for the top itself). Empty when the
// key does not exist.
using SavedValues = std::map<std::wstring, std::pair<DWORD, std::vector<BYTE>>>;
using SavedTree = std::map<std::wstring, SavedValues>;

SavedTree SaveTree(HKEY root, const std::wstring& path, REGSAM view) {
    SavedTree tree;
    std::vector<std::wstring> pending{L""};  // not recursive: the depth is not bounded
    while (!pending.empty()) {
        const std::wstring relative = std::move(pending.back());
        pending.pop_back();
        com::UniqueHKey key;
        const std::wstring full = relative.empty() ? path : path + L"\\" + relative;
        if (::RegOpenKeyExW(root, full.c_str(), 0, KEY_READ | view, key.put()) != ERROR_SUCCESS) continue;
        SavedValues& values = tree[relative];
        wchar_t name[16384];  // the longest a value name can be
        std::vector<BYTE> data(1024);
        for (DWORD i = 0;;) {
            DWORD nameLength = 16384, type = 0, size = DWORD(data.size());
            const LSTATUS status = ::RegEnumValueW(key.get(), i, name, &nameLength, nullptr, &type, data.data(), &size);
            if (status == ERROR_MORE_DATA && size > data.size()) {
                data.resize(size);
                continue;
            }
            if (status != ERROR_SUCCESS) break;
            values[name] = {type, std::vector<BYTE>(data.begin(), data.begin() + size)};
            ++i;
        }
        for (DWORD i = 0, length = 256;
             ::RegEnumKeyExW(key.get(), i, name, &length, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
             ++i, length = 256)
            pending.push_back(relative.empty() ? name : relative + L"\\" + name);
    }
    return tree;
}

// Makes the key at root\path (in the given view) hold exactly the saved tree,
// or removes it when the tree is empty.
HRESULT RestoreTree(HKEY root, const std::wstring& path, REGSAM view, const SavedTree& tree) {
    const size_t split = path.find_last_of(L'\\');
    com::UniqueHKey parent;
    if (::RegOpenKeyExW(root, path.substr(0, split).c_str(), 0, KEY_READ | KEY_WRITE | view, parent.put()) ==
        ERROR_SUCCESS) {
        const std::wstring leaf = path.substr(split + 1);
        const LSTATUS status = ::RegDeleteTreeW(parent.get(), leaf.c_str());
        if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND) return HRESULT_FROM_WIN32(status);
        ::RegDeleteKeyExW(parent.get(), leaf.c_str(), view, 0);  // RegDeleteTree leaves the key itself on some systems
    }
    // The map's order puts every key after the keys above it.
    for (const auto& [relative, values] : tree) {
        com::UniqueHKey key;
        const std::wstring full = relative.empty() ? path : path + L"\\" + relative;
        RETURN_IF_FAILED(HRESULT_FROM_WIN32(
            ::RegCreateKeyExW(root, full.c_str(), 0, nullptr, 0, KEY_WRITE | view, nullptr, key.put(), nullptr)));
        for (const auto& [name, value] : values)
            RETURN_IF_FAILED(HRESULT_FROM_WIN32(::RegSetValueExW(key.get(), name.empty() ? nullptr : name.c_str(), 0,
                                                                 value.first, value.second.data(),
                                                                 DWORD(value.second.size()))));
    }
    return S_OK;
}

// Besides an interface's key in the module's own registry view, the platform's
// type library functions may write and delete it in the other view (the
// 32-bit one for the x86-64 module, the 64-bit one for the x86 module),
// and open that through HKEY_CLASSES_ROOT in a way the override does not
// redirect: Wine 8 does so, reaching HKLM\Software\Classes\Wow6432Node even for
// a per-user registration. The keeper notes the machine's keys there before
// the call; afterwards it moves what the call added to the user's classes of
// that view and puts back what the call changed or removed, so that the
// machine's classes stay as they were.
class MachineViewKeeper {
public:
    MachineViewKeeper(ITypeLib* library, HKEY userClasses) : m_userClasses(userClasses) {
        for (UINT i = 0, count = library->GetTypeInfoCount(); i < count; ++i) {
            com::ComPtr<ITypeInfo> info;
            TYPEATTR* attributes = nullptr;
            if (FAILED(library->GetTypeInfo(i, info.put())) || FAILED(info->GetTypeAttr(&attributes))) continue;
            // The interfaces the type library functions register.
            if (attributes->typekind == TKIND_DISPATCH ||
                (attributes->typekind == TKIND_INTERFACE &&
                 (attributes->wTypeFlags & (TYPEFLAG_FOLEAUTOMATION | TYPEFLAG_FDUAL)))) {
                const std::wstring key = L"Interface\\" + RegistryForm(attributes->guid);
                m_saved[key] = SaveTree(HKEY_LOCAL_MACHINE, kMachineClasses + key, kOtherView);
            }
            info->ReleaseTypeAttr(attributes);
        }
    }

    // After a registration: the user gets what appeared in the machine's view.
    HRESULT MoveAdded() {
        for (const auto& [key, before] : m_saved) {
            const SavedTree now = SaveTree(HKEY_LOCAL_MACHINE, kMachineClasses + key, kOtherView);
            if (now == before) continue;
            RETURN_IF_FAILED(RestoreTree(m_userClasses, kUserView + key, kUserViewAccess, now));
            RETURN_IF_FAILED(RestoreTree(HKEY_LOCAL_MACHINE, kMachineClasses + key, kOtherView, before));
        }
        return S_OK;
    }

    // After an unregistration: the user's keys in that view go, the
    // machine's come back.
    HRESULT RemoveFromUser() {
        HRESULT result = S_OK;
        for (const auto& [key, before] : m_saved) {
            HRESULT hr = RestoreTree(m_userClasses, kUserView + key, kUserViewAccess, {});
            if (SUCCEEDED(result)) result = hr;
            if (SaveTree(HKEY_LOCAL_MACHINE, kMachineClasses + key, kOtherView) != before) {
                hr = RestoreTree(HKEY_LOCAL_MACHINE, kMachineClasses + key, kOtherView, before);
                if (SUCCEEDED(result)) result = hr;
            }
        }
        return result;
    }

private:
    static inline const std::wstring kMachineClasses = L"Software\\Classes\\";
#ifdef _WIN64
    // The user's 32-bit classes: Wow6432Node under HKCU\Software\Classes.
    static constexpr REGSAM kOtherView = KEY_WOW64_32KEY;
    static inline const std::wstring kUserView = L"Wow6432Node\\";
    static constexpr REGSAM kUserViewAccess = 0;
#else
    // The user's 64-bit classes, reached from this 32-bit process through the
    // 64-bit view of the same keys.
    static constexpr REGSAM kOtherView = KEY_WOW64_64KEY;
    static inline const std::wstring kUserView;
    static constexpr REGSAM kUserViewAccess = KEY_WOW64_64KEY;
#endif
    HKEY m_userClasses;
    std::map<std::wstring, SavedTree> m_saved;
};

bool TypeLibraryRegistered(HKEY classesRoot) noexcept {
    const std::wstring versionKey = L"TypeLib\\" + RegistryForm(LIBID_VELPHONEBOOKLib) + L"\\1.1";
    com::UniqueHKey key;
    return ::RegOpenKeyExW(classesRoot, versionKey.c_str(), 0, KEY_READ, key.put()) != ERROR_FILE_NOT_FOUND;
}

// The library's path under the neutral locale as well as under its own
// (0x409, which the type library functions write). The automation marshaller,
// which carries the dual interfaces between apartments, finds the library
// from the interface's key: Windows' tries the locales in turn, Wine's (8.x)
// reads the neutral one only ("TypeLib\{...}\1.1\0\win64") and without it
// fails every cross-apartment use with E_FAIL. The key names this
// architecture's platform only, so the other architecture's module keeps its
// own beside it.
constexpr SYSKIND kModuleSysKind = sizeof(void*) == 8 ? SYS_WIN64 : SYS_WIN32;
const wchar_t kNeutralLocale[] = L"0";
constexpr const wchar_t* kModulePlatform = sizeof(void*) == 8 ? L"win64" : L"win32";

std::wstring NeutralLocaleKey() {
    return L"TypeLib\\" + RegistryForm(LIBID_VELPHONEBOOKLib) + L"\\1.1\\" + kNeutralLocale;
}

HRESULT WriteNeutralLocalePath(HKEY classesRoot, const std::wstring& path) {
    const std::wstring key = NeutralLocaleKey() + L"\\" + kModulePlatform;
    return HRESULT_FROM_WIN32(::RegSetKeyValueW(classesRoot, key.c_str(), nullptr, REG_SZ, path.c_str(),
                                                DWORD((path.size() + 1) * sizeof(wchar_t))));
}

// Removes this architecture's entry, and the locale's key when nothing else
// is left in it, so that the library's version key empties as unregistration
// expects.
void RemoveNeutralLocalePath(HKEY classesRoot) {
    com::UniqueHKey locale;
    if (::RegOpenKeyExW(classesRoot, NeutralLocaleKey().c_str(), 0, KEY_READ | KEY_WRITE, locale.put()) !=
        ERROR_SUCCESS)
        return;
    ::RegDeleteKeyW(locale.get(), kModulePlatform);
    DWORD subkeys = 0, values = 0;
    const bool empty = ::RegQueryInfoKeyW(locale.get(), nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr,
                                          &values, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS &&
                       subkeys == 0 && values == 0;
    locale.reset();
    if (empty) ::RegDeleteKeyW(classesRoot, NeutralLocaleKey().c_str());
}

}  // namespace

HRESULT UpdateRegistry(const ClassRegistration& entry, com::RegistrarMode mode, Scope scope) noexcept {
    const HRESULT hr = com::Boundary([&] {
        const ClassesRoot root(scope);
        RETURN_IF_FAILED(root.status());
        return com::RunRegistryScriptResource(com::Module::Instance(), entry.scriptResource, Replacements(entry),
                                              mode, root.get());
    });
    if (FAILED(hr)) {
        // The text's format is fixed ("%08.8X" pads with zeros through its
        // precision, which GCC does not expect the 0 flag beside).
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat"
        char text[128];
        if (entry.operation)
            snprintf(text, sizeof text, "%s failed. hr=%08.8Xh\n", entry.operation, unsigned(hr));
        else
            snprintf(text, sizeof text, "UpdateRegistry failed. hr=%08.8Xh\n", unsigned(hr));
#pragma GCC diagnostic pop
        ::OutputDebugStringA(text);
    }
    return hr;
}

HRESULT RegisterTypeLibrary(Scope scope) noexcept {
    return com::Boundary([&]() -> HRESULT {
        std::wstring path = com::Module::Path();
        com::ComPtr<ITypeLib> library;
        RETURN_IF_FAILED(::LoadTypeLibEx(path.c_str(), REGKIND_NONE, library.put()));
        if (scope == Scope::Machine) {
            RETURN_IF_FAILED(::RegisterTypeLib(library.get(), path.data(), nullptr));
            return WriteNeutralLocalePath(HKEY_CLASSES_ROOT, path);
        }

        const ClassesRoot root(scope);
        RETURN_IF_FAILED(root.status());
        using Register = HRESULT(WINAPI*)(ITypeLib*, OLECHAR*, OLECHAR*);
        const auto registerForUser = OleAutomation<Register>("RegisterTypeLibForUser");
        MachineViewKeeper keeper(library.get(), root.get());
        HRESULT hr;
        {
            const UserClassesOverride redirect(root.get());
            RETURN_IF_FAILED(redirect.status());
            hr = (registerForUser ? registerForUser : &::RegisterTypeLib)(library.get(), path.data(), nullptr);
        }
        RETURN_IF_FAILED(hr);
        RETURN_IF_FAILED(keeper.MoveAdded());
        return WriteNeutralLocalePath(root.get(), path);
    });
}

HRESULT UnregisterTypeLibrary(Scope scope) noexcept {
    return com::Boundary([&]() -> HRESULT {
        const ClassesRoot root(scope);
        RETURN_IF_FAILED(root.status());
        // Unregistering twice is not an error, but what UnRegisterTypeLib says
        // about a library that is not registered differs between systems.
        if (!TypeLibraryRegistered(root.get())) return S_OK;
        RemoveNeutralLocalePath(root.get());
        if (scope == Scope::Machine) return ::UnRegisterTypeLib(LIBID_VELPHONEBOOKLib, 1, 1, 0x409, kModuleSysKind);

        com::ComPtr<ITypeLib> library;
        RETURN_IF_FAILED(::LoadTypeLibEx(com::Module::Path().c_str(), REGKIND_NONE, library.put()));
        using Unregister = HRESULT(WINAPI*)(REFGUID, WORD, WORD, LCID, SYSKIND);
        const auto unregisterForUser = OleAutomation<Unregister>("UnRegisterTypeLibForUser");
        MachineViewKeeper keeper(library.get(), root.get());
        HRESULT hr;
        {
            const UserClassesOverride redirect(root.get());
            RETURN_IF_FAILED(redirect.status());
            hr = (unregisterForUser ? unregisterForUser : &::UnRegisterTypeLib)(LIBID_VELPHONEBOOKLib, 1, 1, 0x409,
                                                                                 kModuleSysKind);
        }
        const HRESULT restored = keeper.RemoveFromUser();
        return FAILED(hr) ? hr : restored;
    });
}

}  // namespace module
