// The module's global state: its own handle, the count of live objects and
// locks that DllCanUnloadNow answers from, and the type library its dual
// interfaces are dispatched through.
#pragma once

#include <windows.h>
#include <oaidl.h>

#include <string>

namespace com {

class Module {
public:
    // The handle of the image that holds the resources (the DLL itself, or the
    // test executable when the library is linked statically).
    static void SetInstance(HINSTANCE instance) noexcept;
    static HINSTANCE Instance() noexcept;
    static std::wstring Path();

    // The image that resources are loaded from: the language resource
    // library chosen at load when there is one, else Instance(). The caller
    // of the setter keeps ownership of the library.
    static void SetResourceInstance(HINSTANCE instance) noexcept;
    static HINSTANCE ResourceInstance() noexcept;

    // Live COM objects and LockServer locks.
    static void Lock() noexcept;
    static void Unlock() noexcept;
    // LockServer: counted apart from the objects, and an unlock without a
    // lock is ignored, so that a client's stray LockServer(FALSE) can neither
    // unload the module under a live object nor keep it loaded for good.
    static void LockServer(bool lock) noexcept;
    static long LockCount() noexcept;
    static bool CanUnload() noexcept;

    // Type information of an interface from the embedded type library
    // (TYPELIB resource 1), loaded once per process and released when the
    // module has nothing left alive.
    static HRESULT GetTypeInfo(REFIID iid, ITypeInfo** typeInfo) noexcept;
    static void ReleaseTypeInfos() noexcept;
};

}  // namespace com
