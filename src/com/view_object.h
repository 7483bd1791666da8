// IViewObject2: draws the control into any device context (containers that
// print it or show it while it is not active), and tells the container's
// view sink when the picture changes.
#pragma once

#include "com/control_state.h"
#include "com/hresult.h"
#include "com/implements.h"

namespace com {

template <>
struct InterfaceBases<IViewObject2> {
    using type = std::tuple<IViewObject>;
};

// Paints a window and its visible children (as they lie on the screen)
// into the DC at the origin; used for the picture of an active control.
void PrintWindowTree(HWND window, HDC dc) noexcept;
// Draws the control's picture into bounds: its window printed and
// stretched when it has one, else a placeholder frame with the name.
void DrawControl(HWND window, HDC dc, const RECT& bounds, const wchar_t* placeholderName) noexcept;

template <class Derived>
class ViewObject : public IViewObject2 {
public:
    using Interface = IViewObject2;

    STDMETHODIMP Draw(DWORD aspect, LONG, void*, DVTARGETDEVICE*, HDC, HDC dc, LPCRECTL bounds, LPCRECTL,
                      BOOL(STDMETHODCALLTYPE*)(ULONG_PTR), ULONG_PTR) noexcept override {
        if (aspect != DVASPECT_CONTENT) return DV_E_DVASPECT;
        RETURN_HR_IF_NULL(E_INVALIDARG, dc);
        RETURN_HR_IF_NULL(E_INVALIDARG, bounds);
        const RECT rect{bounds->left, bounds->top, bounds->right, bounds->bottom};
        DrawControl(Self()->ControlWindow(), dc, rect, Derived::DisplayName());
        return S_OK;
    }
    STDMETHODIMP GetColorSet(DWORD, LONG, void*, DVTARGETDEVICE*, HDC, LOGPALETTE** colors) noexcept override {
        if (colors) *colors = nullptr;
        return S_FALSE;
    }
    STDMETHODIMP Freeze(DWORD, LONG, void*, DWORD*) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP Unfreeze(DWORD) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP SetAdvise(DWORD aspects, DWORD flags, IAdviseSink* sink) noexcept override {
        ControlState& state = Self()->OleState();
        state.viewSink = ComPtr<IAdviseSink>(sink);
        state.viewAspects = aspects;
        state.viewAdviseFlags = flags;
        return S_OK;
    }
    STDMETHODIMP GetAdvise(DWORD* aspects, DWORD* flags, IAdviseSink** sink) noexcept override {
        const ControlState& state = Self()->OleState();
        if (aspects) *aspects = state.viewAspects;
        if (flags) *flags = state.viewAdviseFlags;
        if (sink) state.viewSink.CopyTo(sink);
        return S_OK;
    }
    STDMETHODIMP GetExtent(DWORD aspect, LONG, DVTARGETDEVICE*, LPSIZEL size) noexcept override {
        if (aspect != DVASPECT_CONTENT) return DV_E_DVASPECT;
        RETURN_HR_IF_NULL(E_POINTER, size);
        *size = Self()->OleState().extent;
        return S_OK;
    }

private:
    Derived* Self() noexcept { return static_cast<Derived*>(this); }
};

}  // namespace com
