// The ActiveX control kit: every interface a container calls on a control,
// bundled so that a control class stays one line of plumbing:
//
//   class CMyControl : public com::Implements<CMyControl, com::Dispatch<IMyControl>,
//                                             com::ControlKit<CMyControl>> ...
//
// The control class supplies:
//   static const CLSID& ClassId();            its class (user type, class info)
//   static const IID& EventInterfaceId();     its default source dispinterface
//   static const wchar_t* DisplayName();      the placeholder text of Draw
//   static constexpr DWORD kMiscStatus;       OLEMISC_* bits of the content aspect
//   HWND ControlWindow() const;               its window, or null
//   HWND CreateControlWindow(HWND parent, const RECT& position);
//   void DestroyControlWindow();
// and may hide TranslateKey() and AmbientPropertyChanged() below.
#pragma once

#include "com/connection_point.h"
#include "com/control_state.h"
#include "com/in_place.h"
#include "com/ole_control.h"
#include "com/ole_object.h"
#include "com/persist.h"
#include "com/provide_class_info.h"
#include "com/quick_activate.h"
#include "com/view_object.h"

#include <tuple>

namespace com {

// Keyboard handling of an active control: keys for a child that wants them
// all (an in-place edit) go to it; otherwise the dialog's navigation (Tab,
// Shift+Tab, arrows, mnemonics) runs among the control's children. True
// when the message was used.
bool TranslateControlKey(HWND controlWindow, MSG& message) noexcept;

template <class Derived>
class ControlKit : public OleObject<Derived>,
                   public OleInPlaceObject<Derived>,
                   public OleInPlaceActiveObject<Derived>,
                   public OleControl<Derived>,
                   public ViewObject<Derived>,
                   public PersistStreamInit<Derived>,
                   public PersistPropertyBag<Derived>,
                   public QuickActivation<Derived>,
                   public ProvideClassInfo<Derived>,
                   public ConnectionPoints<Derived> {
public:
    using Interfaces = std::tuple<OleObject<Derived>, OleInPlaceObject<Derived>, OleInPlaceActiveObject<Derived>,
                                  OleControl<Derived>, ViewObject<Derived>, PersistStreamInit<Derived>,
                                  PersistPropertyBag<Derived>, QuickActivation<Derived>, ProvideClassInfo<Derived>,
                                  ConnectionPoints<Derived>>;

    ControlState& OleState() noexcept { return m_state; }
    const ControlState& OleState() const noexcept { return m_state; }
    bool IsInPlaceActive() const noexcept { return m_state.inPlaceActive; }

    // In-place activation as containers expect it: ask the site, create the
    // window as the child of the site's window, and for UI activation take
    // the focus and become the frame's active object.
    HRESULT ActivateInPlace(bool uiActivate, HWND parentHint, const RECT* positionHint) {
        ControlState& state = m_state;
        if (!state.clientSite) return E_UNEXPECTED;
        if (!state.inPlaceActive) {
            if (!state.inPlaceSite) {
                state.inPlaceSite = state.clientSite.template query<IOleInPlaceSite>();
                if (!state.inPlaceSite) return E_NOINTERFACE;
            }
            if (state.inPlaceSite->CanInPlaceActivate() != S_OK) return E_FAIL;
            RETURN_IF_FAILED(state.inPlaceSite->OnInPlaceActivate());
            state.inPlaceActive = true;

            HWND parent = nullptr;
            if (FAILED(state.inPlaceSite->GetWindow(&parent)) || !parent) parent = parentHint;
            RECT position{}, clip{};
            OLEINPLACEFRAMEINFO frameInfo{};
            frameInfo.cb = sizeof(frameInfo);
            state.frame.reset();
            state.uiWindow.reset();
            if (FAILED(state.inPlaceSite->GetWindowContext(state.frame.put(), state.uiWindow.put(), &position, &clip,
                                                           &frameInfo))) {
                if (!positionHint) return Fail(E_FAIL);
                position = *positionHint;
                clip = position;
            }
            state.position = position;
            HWND window = Self()->ControlWindow();
            if (!window) window = Self()->CreateControlWindow(parent, position);
            if (!window) return Fail(HResultFromLastError());
            MoveInPlace(position, &clip);
            ::ShowWindow(window, SW_SHOWNA);
        }
        if (uiActivate && !state.uiActive) {
            state.uiActive = true;
            state.inPlaceSite->OnUIActivate();
            const HWND window = Self()->ControlWindow();
            if (window && !::IsChild(window, ::GetFocus())) ::SetFocus(window);
            IOleInPlaceActiveObject* active = Self();
            if (state.frame) state.frame->SetActiveObject(active, nullptr);
            if (state.uiWindow) state.uiWindow->SetActiveObject(active, nullptr);
            if (state.frame) state.frame->SetBorderSpace(nullptr);
            if (state.uiWindow) state.uiWindow->SetBorderSpace(nullptr);
        }
        return S_OK;
    }

    HRESULT DeactivateUI() {
        ControlState& state = m_state;
        if (!state.uiActive) return S_OK;
        state.uiActive = false;
        if (state.uiWindow) state.uiWindow->SetActiveObject(nullptr, nullptr);
        if (state.frame) state.frame->SetActiveObject(nullptr, nullptr);
        if (state.inPlaceSite) state.inPlaceSite->OnUIDeactivate(FALSE);
        return S_OK;
    }

    // Leaves in-place activation: the window goes with it, the site hears
    // of it last.
    HRESULT DeactivateInPlace() {
        ControlState& state = m_state;
        if (!state.inPlaceActive) return S_OK;
        DeactivateUI();
        state.inPlaceActive = false;
        Self()->DestroyControlWindow();
        const ComPtr<IOleInPlaceSite> site = std::move(state.inPlaceSite);
        state.frame.reset();
        state.uiWindow.reset();
        if (site) site->OnInPlaceDeactivate();
        return S_OK;
    }

    // New rectangles from the container: the window takes the position,
    // and shows only what lies inside the clip rectangle.
    HRESULT MoveInPlace(const RECT& position, const RECT* clip) {
        m_state.position = position;
        const HWND window = Self()->ControlWindow();
        if (!window) return S_OK;
        ::MoveWindow(window, position.left, position.top, position.right - position.left,
                     position.bottom - position.top, TRUE);
        RECT visible{};
        if (clip && ::IntersectRect(&visible, &position, clip) && !::EqualRect(&visible, &position)) {
            ::OffsetRect(&visible, -position.left, -position.top);
            ::SetWindowRgn(window, ::CreateRectRgnIndirect(&visible), TRUE);  // the window owns the region
        } else {
            ::SetWindowRgn(window, nullptr, TRUE);
        }
        return S_OK;
    }

    // Tells the container's view sink that the picture changed.
    void SendViewChange() noexcept {
        if (m_state.viewSink && (m_state.viewAspects & DVASPECT_CONTENT)) {
            m_state.viewSink->OnViewChange(DVASPECT_CONTENT, -1);
            if (m_state.viewAdviseFlags & ADVF_ONLYONCE) m_state.viewSink.reset();
        }
    }

    // Hooks with their default behaviour.
    bool TranslateKey(MSG& message) { return TranslateControlKey(Self()->ControlWindow(), message); }
    void AmbientPropertyChanged(DISPID) {
        if (const HWND window = Self()->ControlWindow()) ::InvalidateRect(window, nullptr, TRUE);
    }

    // Drops every connection to the container (final release).
    void ReleaseContainer() noexcept {
        m_state = ControlState{};
    }

private:
    HRESULT Fail(HRESULT hr) {
        DeactivateInPlace();
        return hr;
    }
    Derived* Self() noexcept { return static_cast<Derived*>(this); }

    ControlState m_state;
};

}  // namespace com
