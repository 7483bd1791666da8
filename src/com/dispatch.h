// IDispatch for a dual interface, driven by the module's type library, so
// that script engines can call it by name.
#pragma once

#include "com/com_ptr.h"
#include "com/module.h"

#include <oaidl.h>

namespace com {

template <class I>
class Dispatch : public I {
public:
    using Interface = I;

    STDMETHODIMP GetTypeInfoCount(UINT* count) noexcept override {
        if (!count) return E_POINTER;
        *count = 1;
        return S_OK;
    }
    STDMETHODIMP GetTypeInfo(UINT index, LCID, ITypeInfo** typeInfo) noexcept override {
        if (!typeInfo) return E_POINTER;
        *typeInfo = nullptr;
        if (index != 0) return DISP_E_BADINDEX;
        return Module::GetTypeInfo(__uuidof(I), typeInfo);
    }
    STDMETHODIMP GetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, LCID,
                               DISPID* ids) noexcept override {
        if (iid != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
        ComPtr<ITypeInfo> info;
        const HRESULT hr = Module::GetTypeInfo(__uuidof(I), info.put());
        if (FAILED(hr)) return hr;
        return info->GetIDsOfNames(names, count, ids);
    }
    STDMETHODIMP Invoke(DISPID id, REFIID iid, LCID, WORD flags, DISPPARAMS* params,
                        VARIANT* result, EXCEPINFO* excepInfo, UINT* argError) noexcept override {
        if (iid != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
        ComPtr<ITypeInfo> info;
        const HRESULT hr = Module::GetTypeInfo(__uuidof(I), info.put());
        if (FAILED(hr)) return hr;
        return info->Invoke(static_cast<I*>(this), id, flags, params, result, excepInfo, argError);
    }
};

}  // namespace com
