// The class object for one COM class. Class objects count in the module's lock
// count like any object, so the module stays loaded while a client holds one.
#pragma once

#include "com/implements.h"

namespace com {

template <class T>
class ClassFactory : public Implements<ClassFactory<T>, IClassFactory> {
public:
    STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** out) noexcept override {
        if (!out) return E_POINTER;
        *out = nullptr;
        if (outer) return CLASS_E_NOAGGREGATION;
        return MakeAndQuery<T>(iid, out);
    }
    STDMETHODIMP LockServer(BOOL lock) noexcept override {
        Module::LockServer(lock != FALSE);
        return S_OK;
    }
};

}  // namespace com
