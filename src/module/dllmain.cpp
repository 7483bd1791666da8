// The module's entry points and its class table. Everything else lives in the
// static library.
#include "com/class_factory.h"
#include "control/address_book.h"
#include "com/module.h"
#include "com/unique_any.h"
#include "control/phonebook_control.h"
#include "control/phonebook_control2.h"
#include "localization/resource_library.h"
#include "module/VelPhonebook_h.h"
#include "module/registration.h"
#include "mru/mru_list.h"
#include "win/display.h"
#include "win/window_impl.h"

namespace {

struct ClassEntry {
    module::ClassRegistration registration;
    HRESULT (*createFactory)(REFIID iid, void** out) noexcept;
};

template <class T>
HRESULT CreateFactory(REFIID iid, void** out) noexcept {
    return com::MakeAndQuery<com::ClassFactory<T>>(iid, out);
}

const ClassEntry kClasses[] = {
    {{&CLSID_VelPhonebookControl, 102, L"CLSID_VelPhonebookControl", true, nullptr},
     &CreateFactory<CPhonebookControl>},
    {{&CLSID_VelPhonebookControl2, 121, L"CLSID_VelPhonebookControl2", true, nullptr},
     &CreateFactory<CPhonebookControl2>},
    {{&CLSID_MRUList, 104, L"CLSID_MRUList", false, "CMRUList::UpdateRegistry"}, &CreateFactory<CMRUList>},
    {{&CLSID_AddressBook, 108, L"CLSID_AddressBook", false, "CAddressBook::UpdateRegistry"},
     &CreateFactory<CAddressBook>},
};

// The language resource library, held from load to unload.
com::UniqueModule g_resourceLibrary;

}  // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, void* reserved) {
    if (reason == DLL_PROCESS_ATTACH) {
        com::Module::SetInstance(instance);
        ::DisableThreadLibraryCalls(instance);
        g_resourceLibrary.reset(localization::LoadResourceLibrary(com::Module::Path()));
        com::Module::SetResourceInstance(g_resourceLibrary.get());
    } else if (reason == DLL_PROCESS_DETACH) {
        com::Module::SetResourceInstance(nullptr);
        // When the process is ending, other modules may already be gone:
        // leave the library to the system then.
        if (reserved) g_resourceLibrary.release();
        else g_resourceLibrary.reset();
    }
    return TRUE;
}

STDAPI DllCanUnloadNow() {
    if (!com::Module::CanUnload()) return S_FALSE;
    com::Module::ReleaseTypeInfos();
    win::UnregisterWindowClasses();
    win::ReleaseActivationContext();
    return S_OK;
}

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, void** out) {
    if (!out) return E_POINTER;
    *out = nullptr;
    for (const ClassEntry& entry : kClasses)
        if (IsEqualCLSID(clsid, *entry.registration.clsid)) return entry.createFactory(iid, out);
    return CLASS_E_CLASSNOTAVAILABLE;
}

namespace {

HRESULT RegisterAll(module::Scope scope) {
    for (const ClassEntry& entry : kClasses)
        RETURN_IF_FAILED(module::UpdateRegistry(entry.registration, com::RegistrarMode::Register, scope));
    return module::RegisterTypeLibrary(scope);
}

HRESULT UnregisterAll(module::Scope scope) {
    HRESULT result = S_OK;
    // Remove as much as possible even when one part fails.
    for (const ClassEntry& entry : kClasses) {
        const HRESULT hr = module::UpdateRegistry(entry.registration, com::RegistrarMode::Unregister, scope);
        if (SUCCEEDED(result)) result = hr;
    }
    const HRESULT hr = module::UnregisterTypeLibrary(scope);
    return SUCCEEDED(result) ? hr : result;
}

}  // namespace

STDAPI DllRegisterServer() { return RegisterAll(module::Scope::Machine); }

STDAPI DllUnregisterServer() { return UnregisterAll(module::Scope::Machine); }

// "regsvr32 /n /i:user" registers the module for the current user alone, under
// HKCU\Software\Classes (no administrator needed); "regsvr32 /u /n /i:user"
// removes that registration again. No other command line is understood.
STDAPI DllInstall(BOOL install, LPCWSTR commandLine) {
    if (!commandLine || _wcsicmp(commandLine, L"user") != 0) return E_INVALIDARG;
    if (!install) return UnregisterAll(module::Scope::User);
    const HRESULT hr = RegisterAll(module::Scope::User);
    if (FAILED(hr)) UnregisterAll(module::Scope::User);  // no half registration left behind
    return hr;
}
