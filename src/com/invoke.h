// Late-bound calls through IDispatch by DISPID, for servers whose vtables are
// not ours to rely on. A member that fails through an exception returns its
// own code, as the same call through the vtable would.
#pragma once

#include "com/hresult.h"

#include <oaidl.h>

#include <algorithm>
#include <initializer_list>
#include <vector>

namespace com {

// Argument variants that borrow their value (nothing to free).
inline VARIANT LongArg(long value) noexcept {
    VARIANT v;
    ::VariantInit(&v);
    V_VT(&v) = VT_I4;
    V_I4(&v) = value;
    return v;
}
inline VARIANT BoolArg(bool value) noexcept {
    VARIANT v;
    ::VariantInit(&v);
    V_VT(&v) = VT_BOOL;
    V_BOOL(&v) = value ? VARIANT_TRUE : VARIANT_FALSE;
    return v;
}
inline VARIANT TextArg(BSTR text) noexcept {
    VARIANT v;
    ::VariantInit(&v);
    V_VT(&v) = VT_BSTR;
    V_BSTR(&v) = text;
    return v;
}

// Calls the member with the arguments in the member's own order (the
// platform wants them last to first). A property put passes its value as the
// one named argument DISPID_PROPERTYPUT. result may be null.
inline HRESULT Invoke(IDispatch* object, DISPID member, WORD flags, std::initializer_list<VARIANT> args,
                      VARIANT* result = nullptr) noexcept {
    return Boundary([&]() -> HRESULT {
        RETURN_HR_IF_NULL(E_POINTER, object);
        std::vector<VARIANT> reversed(args.begin(), args.end());
        std::reverse(reversed.begin(), reversed.end());
        DISPPARAMS params{reversed.data(), nullptr, UINT(reversed.size()), 0};
        DISPID named = DISPID_PROPERTYPUT;
        if (flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) {
            params.rgdispidNamedArgs = &named;
            params.cNamedArgs = 1;
        }
        EXCEPINFO info{};
        UINT argError = 0;
        HRESULT hr =
            object->Invoke(member, IID_NULL, LOCALE_USER_DEFAULT, flags, &params, result, &info, &argError);
        if (hr == DISP_E_EXCEPTION) {
            if (info.pfnDeferredFillIn) info.pfnDeferredFillIn(&info);
            if (FAILED(info.scode))
                hr = info.scode;
            else if (info.wCode)
                hr = HRESULT(0x80040200u + info.wCode);  // the documented wCode mapping
            else
                hr = E_FAIL;
        }
        ::SysFreeString(info.bstrSource);
        ::SysFreeString(info.bstrDescription);
        ::SysFreeString(info.bstrHelpFile);
        return hr;
    });
}

}  // namespace com
