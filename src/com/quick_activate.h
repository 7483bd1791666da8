// IQuickActivate: the container hands over its site, its advise sink and
// its event sink in one call (VB6 and MFC containers), and asks for the
// misc status and the view status in return.
#pragma once

#include "com/control_state.h"
#include "com/hresult.h"

namespace com {

template <class Derived>
class QuickActivation : public IQuickActivate {
public:
    using Interface = IQuickActivate;

    STDMETHODIMP QuickActivate(QACONTAINER* container, QACONTROL* control) noexcept override {
        RETURN_HR_IF_NULL(E_POINTER, container);
        RETURN_HR_IF_NULL(E_POINTER, control);
        if (container->cbSize < sizeof(QACONTAINER) || control->cbSize < sizeof(QACONTROL)) return E_UNEXPECTED;
        return Boundary([&]() -> HRESULT {
            Derived* self = Self();
            IOleObject* object = self;
            RETURN_IF_FAILED(object->SetClientSite(container->pClientSite));
            if (container->pAdviseSink) {
                // The container's sink serves both the view (drawing) and
                // the object (close, rename) notifications.
                static_cast<IViewObject2*>(self)->SetAdvise(DVASPECT_CONTENT, 0, container->pAdviseSink);
                DWORD cookie = 0;
                object->Advise(container->pAdviseSink, &cookie);
            }
            control->dwEventCookie = 0;
            control->dwPropNotifyCookie = 0;
            if (container->pUnkEventSink) {
                ComPtr<IConnectionPoint> point;
                if (SUCCEEDED(self->FindConnectionPoint(Derived::EventInterfaceId(), point.put())))
                    point->Advise(container->pUnkEventSink, &control->dwEventCookie);
            }
            object->GetMiscStatus(DVASPECT_CONTENT, &control->dwMiscStatus);
            control->dwViewStatus = VIEWSTATUS_OPAQUE | VIEWSTATUS_SOLIDBKGND;
            control->dwPointerActivationPolicy = 0;
            return S_OK;
        });
    }
    STDMETHODIMP SetContentExtent(LPSIZEL size) noexcept override {
        return static_cast<IOleObject*>(Self())->SetExtent(DVASPECT_CONTENT, size);
    }
    STDMETHODIMP GetContentExtent(LPSIZEL size) noexcept override {
        RETURN_HR_IF_NULL(E_POINTER, size);
        *size = Self()->OleState().extent;
        return S_OK;
    }

private:
    Derived* Self() noexcept { return static_cast<Derived*>(this); }
};

}  // namespace com
