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

// Runs a class's registry script in the given mode.
HRESULT UpdateRegistry(const ClassRegistration& entry, com::RegistrarMode mode) noexcept;

HRESULT RegisterTypeLibrary() noexcept;
HRESULT UnregisterTypeLibrary() noexcept;

}  // namespace module
