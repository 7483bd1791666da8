// Entry points of the address-book stand-in: the two Windows Contacts classes,
// WABOpen (in wab.cpp) and the registration of every key the system's own
// library is found by.
#include "contact.h"
#include "contact_manager.h"
#include "contact_store.h"

#include "com/class_factory.h"
#include "com/module.h"
#include "com/registrar.h"
#include "com/unique_any.h"

namespace {

// The keys a client follows: the Windows.Contact class chain and both classes
// (Vista on), the library path and the address-book file (before Vista).
constexpr wchar_t kRegistryScript[] = LR"(
HKCR
{
    Windows.Contact = s 'Windows Contact'
    {
        CurVer = s 'Windows.Contact.1'
    }
    Windows.Contact.1 = s 'Windows Contact'
    {
        CLSID = s '{61B68808-8EEE-4FD1-ACB8-3D804C8DB056}'
    }
    NoRemove CLSID
    {
        ForceRemove {61B68808-8EEE-4FD1-ACB8-3D804C8DB056} = s 'Windows Contact'
        {
            ProgID = s 'Windows.Contact.1'
            VersionIndependentProgID = s 'Windows.Contact'
            InprocServer32 = s '%MODULE%'
            {
                val ThreadingModel = s 'Apartment'
            }
        }
        ForceRemove {7165C8AB-AF88-42BD-86FD-5310B4285A02} = s 'Windows Contact Manager'
        {
            InprocServer32 = s '%MODULE%'
            {
                val ThreadingModel = s 'Apartment'
            }
        }
    }
}
HKLM
{
    NoRemove Software
    {
        NoRemove Microsoft
        {
            WAB
            {
                DLLPath = s '%MODULE%'
            }
        }
    }
}
HKCU
{
    NoRemove Software
    {
        NoRemove Microsoft
        {
            WAB
            {
                WAB4
                {
                    'Wab File Name' = s '%WABFILE%'
                }
            }
        }
    }
}
)";

template <class T>
HRESULT CreateFactory(REFIID iid, void** out) noexcept {
    return com::MakeAndQuery<com::ClassFactory<T>>(iid, out);
}

HRESULT RunScript(com::RegistrarMode mode) noexcept {
    return com::Boundary([&]() -> HRESULT {
        const std::wstring addressBook = wabfake::AddressBookFile();
        if (addressBook.empty()) return HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND);
        const com::ReplacementMap replacements = {{L"MODULE", com::Module::Path()}, {L"WABFILE", addressBook}};
        return com::RunRegistryScript(kRegistryScript, replacements, mode);
    });
}

}  // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, void*) {
    if (reason == DLL_PROCESS_ATTACH) {
        com::Module::SetInstance(instance);
        ::DisableThreadLibraryCalls(instance);
    }
    return TRUE;
}

STDAPI DllCanUnloadNow() { return com::Module::CanUnload() ? S_OK : S_FALSE; }

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, void** out) {
    if (!out) return E_POINTER;
    *out = nullptr;
    if (IsEqualCLSID(clsid, CLSID_Contact)) return CreateFactory<wabfake::CContact>(iid, out);
    if (IsEqualCLSID(clsid, CLSID_ContactManager)) return CreateFactory<wabfake::CContactManager>(iid, out);
    return CLASS_E_CLASSNOTAVAILABLE;
}

STDAPI DllRegisterServer() {
    RETURN_IF_FAILED(RunScript(com::RegistrarMode::Register));
    // The address-book file exists from the start, so a watcher of its folder
    // has something to watch before the first change.
    wabfake::TouchAddressBookFile();
    return S_OK;
}

STDAPI DllUnregisterServer() { return RunScript(com::RegistrarMode::Unregister); }
