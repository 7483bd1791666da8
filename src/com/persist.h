// IPersistStreamInit and IPersistPropertyBag for a control without
// persistent properties: InitNew and Load accept, Save writes nothing, the
// control is never dirty.
#pragma once

#include "com/control_state.h"
#include "com/hresult.h"
#include "com/implements.h"

namespace com {

template <>
struct InterfaceBases<IPersistStreamInit> {
    using type = std::tuple<IPersist>;
};
template <>
struct InterfaceBases<IPersistPropertyBag> {
    using type = std::tuple<IPersist>;
};

template <class Derived>
class PersistStreamInit : public IPersistStreamInit {
public:
    using Interface = IPersistStreamInit;

    STDMETHODIMP GetClassID(CLSID* clsid) noexcept override {
        RETURN_HR_IF_NULL(E_POINTER, clsid);
        *clsid = Derived::ClassId();
        return S_OK;
    }
    STDMETHODIMP IsDirty() noexcept override { return S_FALSE; }
    STDMETHODIMP Load(LPSTREAM stream) noexcept override {
        RETURN_HR_IF_NULL(E_POINTER, stream);
        return Initialise();
    }
    STDMETHODIMP Save(LPSTREAM stream, BOOL) noexcept override {
        RETURN_HR_IF_NULL(E_POINTER, stream);
        return S_OK;
    }
    STDMETHODIMP GetSizeMax(ULARGE_INTEGER* size) noexcept override {
        RETURN_HR_IF_NULL(E_POINTER, size);
        size->QuadPart = 0;
        return S_OK;
    }
    STDMETHODIMP InitNew() noexcept override { return Initialise(); }

private:
    // A second initialisation is the container's mistake.
    HRESULT Initialise() noexcept {
        bool& initialised = static_cast<Derived*>(this)->OleState().initialised;
        if (initialised) return E_UNEXPECTED;
        initialised = true;
        return S_OK;
    }
};

template <class Derived>
class PersistPropertyBag : public IPersistPropertyBag {
public:
    using Interface = IPersistPropertyBag;

    STDMETHODIMP GetClassID(CLSID* clsid) noexcept override {
        RETURN_HR_IF_NULL(E_POINTER, clsid);
        *clsid = Derived::ClassId();
        return S_OK;
    }
    STDMETHODIMP InitNew() noexcept override { return Initialise(); }
    STDMETHODIMP Load(IPropertyBag* bag, IErrorLog*) noexcept override {
        RETURN_HR_IF_NULL(E_POINTER, bag);
        return Initialise();
    }
    STDMETHODIMP Save(IPropertyBag* bag, BOOL, BOOL) noexcept override {
        RETURN_HR_IF_NULL(E_POINTER, bag);
        return S_OK;
    }

private:
    HRESULT Initialise() noexcept {
        bool& initialised = static_cast<Derived*>(this)->OleState().initialised;
        if (initialised) return E_UNEXPECTED;
        initialised = true;
        return S_OK;
    }
};

}  // namespace com
