// IDispatch for a dual interface, driven by the module's type library, so
// that script engines can call it by name.
#pragma once

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
        ITypeInfo* info = nullptr;
        const HRESULT hr = Module::GetTypeInfo(__uuidof(I), &info);
        if (FAILED(hr)) return hr;
        const HRESULT result = info->GetIDsOfNames(names, count, ids);
        info->Release();
        return result;
    }
    STDMETHODIMP Invoke(DISPID id, REFIID iid, LCID, WORD flags, DISPPARAMS* params,
                        VARIANT* result, EXCEPINFO* excepInfo, UINT* argError) noexcept override {
        if (iid != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
        ITypeInfo* info = nullptr;
        const HRESULT hr = Module::GetTypeInfo(__uuidof(I), &info);
        if (FAILED(hr)) return hr;
        const HRESULT outcome = info->Invoke(static_cast<I*>(this), id, flags, params, result,
                                             excepInfo, argError);
        info->Release();
        return outcome;
    }
};

}  // namespace com
