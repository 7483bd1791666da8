// IOleInPlaceObject and IOleInPlaceActiveObject: the container's side of
// in-place activation (deactivation, new rectangles) and of the keyboard
// while the control is UI-active.
#pragma once

#include "com/control_state.h"
#include "com/hresult.h"
#include "com/implements.h"

namespace com {

template <>
struct InterfaceBases<IOleInPlaceObject> {
    using type = std::tuple<IOleWindow>;
};

template <class Derived>
class OleInPlaceObject : public IOleInPlaceObject {
public:
    using Interface = IOleInPlaceObject;

    STDMETHODIMP GetWindow(HWND* window) noexcept override {
        RETURN_HR_IF_NULL(E_POINTER, window);
        *window = Self()->ControlWindow();
        return *window ? S_OK : E_FAIL;
    }
    STDMETHODIMP ContextSensitiveHelp(BOOL) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP InPlaceDeactivate() noexcept override {
        return Boundary([&] { return Self()->DeactivateInPlace(); });
    }
    STDMETHODIMP UIDeactivate() noexcept override {
        return Boundary([&] { return Self()->DeactivateUI(); });
    }
    STDMETHODIMP SetObjectRects(LPCRECT position, LPCRECT clip) noexcept override {
        RETURN_HR_IF_NULL(E_INVALIDARG, position);
        return Boundary([&] { return Self()->MoveInPlace(*position, clip); });
    }
    STDMETHODIMP ReactivateAndUndo() noexcept override { return INPLACE_E_NOTUNDOABLE; }

private:
    Derived* Self() noexcept { return static_cast<Derived*>(this); }
};

template <class Derived>
class OleInPlaceActiveObject : public IOleInPlaceActiveObject {
public:
    using Interface = IOleInPlaceActiveObject;

    STDMETHODIMP GetWindow(HWND* window) noexcept override {
        RETURN_HR_IF_NULL(E_POINTER, window);
        *window = Self()->ControlWindow();
        return *window ? S_OK : E_FAIL;
    }
    STDMETHODIMP ContextSensitiveHelp(BOOL) noexcept override { return E_NOTIMPL; }
    // S_OK when the control used the message, S_FALSE to let the container
    // go on with it.
    STDMETHODIMP TranslateAccelerator(LPMSG message) noexcept override {
        RETURN_HR_IF_NULL(E_INVALIDARG, message);
        return Boundary([&] { return Self()->TranslateKey(*message) ? S_OK : S_FALSE; });
    }
    STDMETHODIMP OnFrameWindowActivate(BOOL) noexcept override { return S_OK; }
    STDMETHODIMP OnDocWindowActivate(BOOL activate) noexcept override {
        ControlState& state = Self()->OleState();
        // The container wants the active object on its frame again when
        // its document window comes back.
        if (activate && state.uiActive && state.frame)
            state.frame->SetActiveObject(this, nullptr);
        return S_OK;
    }
    STDMETHODIMP ResizeBorder(LPCRECT, IOleInPlaceUIWindow*, BOOL) noexcept override { return S_OK; }
    // The control opens no modeless window of its own.
    STDMETHODIMP EnableModeless(BOOL) noexcept override { return S_OK; }

private:
    Derived* Self() noexcept { return static_cast<Derived*>(this); }
};

}  // namespace com
