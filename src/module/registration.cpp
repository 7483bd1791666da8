// Self-registration of the module's classes and type library.
#include "module/registration.h"

#include "com/com_ptr.h"
#include "com/hresult.h"
#include "com/module.h"
#include "com/unique_any.h"
#include "module/VelPhonebook_h.h"

#include <cstdio>

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

}  // namespace

HRESULT UpdateRegistry(const ClassRegistration& entry, com::RegistrarMode mode) noexcept {
    const HRESULT hr = com::Boundary([&] {
        return com::RunRegistryScriptResource(com::Module::Instance(), entry.scriptResource, Replacements(entry),
                                              mode);
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

HRESULT RegisterTypeLibrary() noexcept {
    return com::Boundary([]() -> HRESULT {
        const std::wstring path = com::Module::Path();
        com::ComPtr<ITypeLib> library;
        RETURN_IF_FAILED(::LoadTypeLibEx(path.c_str(), REGKIND_NONE, library.put()));
        return ::RegisterTypeLib(library.get(), const_cast<wchar_t*>(path.c_str()), nullptr);
    });
}

HRESULT UnregisterTypeLibrary() noexcept {
    // Unregistering twice is not an error, but what UnRegisterTypeLib says
    // about a library that is not registered differs between systems.
    const std::wstring versionKey = L"TypeLib\\" + RegistryForm(LIBID_VELPHONEBOOKLib) + L"\\1.1";
    com::UniqueHKey key;
    if (::RegOpenKeyExW(HKEY_CLASSES_ROOT, versionKey.c_str(), 0, KEY_READ, key.put()) == ERROR_FILE_NOT_FOUND)
        return S_OK;
    return ::UnRegisterTypeLib(LIBID_VELPHONEBOOKLib, 1, 1, 0x409, SYS_WIN64);
}

}  // namespace module
