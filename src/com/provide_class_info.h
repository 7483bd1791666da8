// IProvideClassInfo2: the coclass's type information from the module's
// type library, and the identifier of its default source interface.
#pragma once

#include "com/hresult.h"
#include "com/implements.h"
#include "com/module.h"

namespace com {

template <>
struct InterfaceBases<IProvideClassInfo2> {
    using type = std::tuple<IProvideClassInfo>;
};

template <class Derived>
class ProvideClassInfo : public IProvideClassInfo2 {
public:
    using Interface = IProvideClassInfo2;

    STDMETHODIMP GetClassInfo(ITypeInfo** info) noexcept override {
        RETURN_HR_IF_NULL(E_POINTER, info);
        return Module::GetTypeInfo(Derived::ClassId(), info);
    }
    STDMETHODIMP GetGUID(DWORD kind, GUID* guid) noexcept override {
        RETURN_HR_IF_NULL(E_POINTER, guid);
        *guid = GUID_NULL;
        if (kind != GUIDKIND_DEFAULT_SOURCE_DISP_IID) return E_INVALIDARG;
        *guid = Derived::EventInterfaceId();
        return S_OK;
    }
};

}  // namespace com
