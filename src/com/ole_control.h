// IOleControl: keyboard mnemonics (the control has none), ambient property
// changes, and the container's freezing of events.
#pragma once

#include "com/control_state.h"
#include "com/hresult.h"

namespace com {

template <class Derived>
class OleControl : public IOleControl {
public:
    using Interface = IOleControl;

    STDMETHODIMP GetControlInfo(CONTROLINFO* info) noexcept override {
        RETURN_HR_IF_NULL(E_POINTER, info);
        if (info->cb < sizeof(CONTROLINFO)) return E_INVALIDARG;
        info->hAccel = nullptr;
        info->cAccel = 0;
        info->dwFlags = 0;
        return S_OK;
    }
    STDMETHODIMP OnMnemonic(MSG*) noexcept override { return S_OK; }
    STDMETHODIMP OnAmbientPropertyChange(DISPID id) noexcept override {
        return Boundary([&] {
            Self()->AmbientPropertyChanged(id);
            return S_OK;
        });
    }
    // Nested: every freeze needs its thaw; the last thaw delivers what was
    // held back.
    STDMETHODIMP FreezeEvents(BOOL freeze) noexcept override {
        return Boundary([&] {
            int& count = Self()->OleState().freezeCount;
            if (freeze) {
                ++count;
            } else if (count > 0 && --count == 0) {
                Self()->FlushHeldEvents();
            }
            return S_OK;
        });
    }

private:
    Derived* Self() noexcept { return static_cast<Derived*>(this); }
};

}  // namespace com
