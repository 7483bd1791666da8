// Self-registration: the replacement values of the module's registry
// scripts, and the type library registration.
#pragma once

#include "com/registrar.h"

#include <windows.h>

namespace module {

struct ClassRegistration {
    const CLSID* clsid;
    UINT scriptResource;
    const wchar_t* clsidKey;       // replacement name of the class identifier
    bool isControl;                // controls also get MODULE_FILE_NAME_EXT
    const char* operation;         // for the debug text on failure, or null
};

// Where a registration goes: the machine's classes (DllRegisterServer), or the
// current user's HKCU\Software\Classes (DllInstall with "user"), which a user
// without the right to change the machine's keys can write. Both write the
// same entries; the scripts name HKCR and are pointed at the scope's root.
enum class Scope { Machine, User };

// Runs a class's registry script in the given mode.
HRESULT UpdateRegistry(const ClassRegistration& entry, com::RegistrarMode mode,
                       Scope scope = Scope::Machine) noexcept;

HRESULT RegisterTypeLibrary(Scope scope = Scope::Machine) noexcept;
HRESULT UnregisterTypeLibrary(Scope scope = Scope::Machine) noexcept;

}  // namespace module
