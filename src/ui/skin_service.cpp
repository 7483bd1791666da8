// Late-bound calls into the host's skin service.
#include "ui/skin_service.h"

#include <oleauto.h>

#include <algorithm>

namespace ui {

HRESULT InvokeSkinMethod(IDispatch* skin, const wchar_t* name, const VARIANT* arguments,
                         UINT count) noexcept {
    if (!skin || !name) return E_INVALIDARG;
    DISPID id = DISPID_UNKNOWN;
    LPOLESTR names[] = {const_cast<LPOLESTR>(name)};
    HRESULT hr = skin->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id);
    if (FAILED(hr)) return hr;
    // Automation takes its arguments last first.
    VARIANT reversed[4];
    if (count > 4) return E_INVALIDARG;
    std::reverse_copy(arguments, arguments + count, reversed);
    DISPPARAMS parameters{count ? reversed : nullptr, nullptr, count, 0};
    VARIANT result;
    ::VariantInit(&result);
    hr = skin->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters, &result, nullptr,
                      nullptr);
    ::VariantClear(&result);
    return hr;
}

namespace {

VARIANT UInt32(ULONG value) noexcept {
    VARIANT v;
    ::VariantInit(&v);
    v.vt = VT_UI4;
    v.ulVal = value;
    return v;
}

VARIANT UInt64(ULONGLONG value) noexcept {
    VARIANT v;
    ::VariantInit(&v);
    v.vt = VT_UI8;
    v.ullVal = value;
    return v;
}

}  // namespace

HRESULT SkinEnable(IDispatch* skin, bool enable) noexcept {
    const VARIANT argument = UInt32(enable ? 1 : 0);
    return InvokeSkinMethod(skin, L"Enable", &argument, 1);
}

HRESULT SkinWindow(IDispatch* skin, HWND window) noexcept {
    const VARIANT argument = UInt64(reinterpret_cast<ULONG_PTR>(window));
    return InvokeSkinMethod(skin, L"Window", &argument, 1);
}

HRESULT SkinThemes(IDispatch* skin, HWND window, ULONG kind) noexcept {
    const VARIANT arguments[] = {UInt32(ULONG(reinterpret_cast<ULONG_PTR>(window))), UInt32(kind)};
    return InvokeSkinMethod(skin, L"Themes", arguments, 2);
}

void SkinDialog(IDispatch* skin, HWND dialog, bool themeWindow, HWND acceptButton,
                HWND cancelButton) noexcept {
    if (!skin || FAILED(SkinWindow(skin, dialog))) return;
    if (themeWindow) SkinThemes(skin, dialog, kSkinKindWindow);
    if (acceptButton) SkinThemes(skin, acceptButton, kSkinKindAcceptButton);
    if (cancelButton) SkinThemes(skin, cancelButton, kSkinKindCancelButton);
}

}  // namespace ui
