// IOleObject for an ActiveX control: client site, host names, extent,
// verbs with in-place activation, Close, misc status and the container's
// advise sinks (through an OLE advise holder). The activation itself lives
// in com::ControlKit, which every verb goes through.
#pragma once

#include "com/control_state.h"
#include "com/enumerator.h"
#include "com/hresult.h"

#include <ole2.h>
#include <olectl.h>

#include <vector>

namespace com {

template <class Derived>
class OleObject : public IOleObject {
public:
    using Interface = IOleObject;

    STDMETHODIMP SetClientSite(IOleClientSite* site) noexcept override {
        ControlState& state = Self()->OleState();
        state.clientSite = ComPtr<IOleClientSite>(site);
        if (!site) {
            // A container letting go clears everything it handed out.
            state.inPlaceSite.reset();
            state.frame.reset();
            state.uiWindow.reset();
        }
        return S_OK;
    }
    STDMETHODIMP GetClientSite(IOleClientSite** site) noexcept override {
        RETURN_HR_IF_NULL(E_POINTER, site);
        return Self()->OleState().clientSite.CopyTo(site);
    }
    STDMETHODIMP SetHostNames(LPCOLESTR, LPCOLESTR) noexcept override { return S_OK; }
    STDMETHODIMP Close(DWORD saveOption) noexcept override {
        return Boundary([&]() -> HRESULT {
            ControlState& state = Self()->OleState();
            if (state.inPlaceActive) Self()->DeactivateInPlace();
            Self()->DestroyControlWindow();
            // Nothing is ever dirty, so there is nothing to save or ask about.
            (void)saveOption;
            if (state.adviseHolder) state.adviseHolder->SendOnClose();
            return S_OK;
        });
    }
    STDMETHODIMP SetMoniker(DWORD, IMoniker*) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP GetMoniker(DWORD, DWORD, IMoniker** moniker) noexcept override {
        if (moniker) *moniker = nullptr;
        return E_NOTIMPL;
    }
    STDMETHODIMP InitFromData(IDataObject*, BOOL, DWORD) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP GetClipboardData(DWORD, IDataObject** data) noexcept override {
        if (data) *data = nullptr;
        return E_NOTIMPL;
    }
    STDMETHODIMP DoVerb(LONG verb, LPMSG, IOleClientSite* site, LONG, HWND parent, LPCRECT position) noexcept override {
        return Boundary([&]() -> HRESULT {
            ControlState& state = Self()->OleState();
            // A site given with the verb serves when none was set before.
            if (site && !state.clientSite) state.clientSite = ComPtr<IOleClientSite>(site);
            switch (verb) {
            case OLEIVERB_PRIMARY:
            case OLEIVERB_SHOW:
            case OLEIVERB_UIACTIVATE:
                return Self()->ActivateInPlace(true, parent, position);
            case OLEIVERB_INPLACEACTIVATE:
                return Self()->ActivateInPlace(false, parent, position);
            case OLEIVERB_HIDE:
                if (state.uiActive) Self()->DeactivateUI();
                if (const HWND window = Self()->ControlWindow()) ::ShowWindow(window, SW_HIDE);
                return S_OK;
            case OLEIVERB_DISCARDUNDOSTATE:
                return S_OK;
            case OLEIVERB_OPEN:
            case OLEIVERB_PROPERTIES:
                return E_NOTIMPL;
            default:
                return verb < 0 ? E_NOTIMPL : OLEOBJ_S_INVALIDVERB;
            }
        });
    }
    STDMETHODIMP EnumVerbs(IEnumOLEVERB** verbs) noexcept override {
        static wchar_t empty[] = L"";
        const std::vector<OLEVERB> list{
            {OLEIVERB_PRIMARY, empty, 0, OLEVERBATTRIB_NEVERDIRTIES | OLEVERBATTRIB_ONCONTAINERMENU},
            {OLEIVERB_SHOW, empty, 0, OLEVERBATTRIB_NEVERDIRTIES},
            {OLEIVERB_INPLACEACTIVATE, empty, 0, OLEVERBATTRIB_NEVERDIRTIES},
            {OLEIVERB_UIACTIVATE, empty, 0, OLEVERBATTRIB_NEVERDIRTIES},
            {OLEIVERB_HIDE, empty, 0, OLEVERBATTRIB_NEVERDIRTIES},
        };
        return MakeEnumerator<IEnumOLEVERB>(list, verbs);
    }
    STDMETHODIMP Update() noexcept override { return S_OK; }
    STDMETHODIMP IsUpToDate() noexcept override { return S_OK; }
    STDMETHODIMP GetUserClassID(CLSID* clsid) noexcept override {
        RETURN_HR_IF_NULL(E_POINTER, clsid);
        *clsid = Derived::ClassId();
        return S_OK;
    }
    STDMETHODIMP GetUserType(DWORD form, LPOLESTR* type) noexcept override {
        return ::OleRegGetUserType(Derived::ClassId(), form, type);
    }
    STDMETHODIMP SetExtent(DWORD aspect, SIZEL* size) noexcept override {
        if (aspect != DVASPECT_CONTENT) return DV_E_DVASPECT;
        RETURN_HR_IF_NULL(E_POINTER, size);
        ControlState& state = Self()->OleState();
        const bool changed = size->cx != state.extent.cx || size->cy != state.extent.cy;
        state.extent = *size;
        // The content is recomposed on resize: containers showing it
        // inactive draw it again.
        if (changed) Self()->SendViewChange();
        return S_OK;
    }
    STDMETHODIMP GetExtent(DWORD aspect, SIZEL* size) noexcept override {
        if (aspect != DVASPECT_CONTENT) return DV_E_DVASPECT;
        RETURN_HR_IF_NULL(E_POINTER, size);
        *size = Self()->OleState().extent;
        return S_OK;
    }
    STDMETHODIMP Advise(IAdviseSink* sink, DWORD* cookie) noexcept override {
        RETURN_HR_IF_NULL(E_INVALIDARG, sink);
        RETURN_HR_IF_NULL(E_POINTER, cookie);
        ControlState& state = Self()->OleState();
        if (!state.adviseHolder) RETURN_IF_FAILED(::CreateOleAdviseHolder(state.adviseHolder.put()));
        return state.adviseHolder->Advise(sink, cookie);
    }
    STDMETHODIMP Unadvise(DWORD cookie) noexcept override {
        ControlState& state = Self()->OleState();
        if (!state.adviseHolder) return OLE_E_NOCONNECTION;
        return state.adviseHolder->Unadvise(cookie);
    }
    STDMETHODIMP EnumAdvise(IEnumSTATDATA** advises) noexcept override {
        RETURN_HR_IF_NULL(E_POINTER, advises);
        *advises = nullptr;
        ControlState& state = Self()->OleState();
        if (!state.adviseHolder) return S_OK;
        return state.adviseHolder->EnumAdvise(advises);
    }
    STDMETHODIMP GetMiscStatus(DWORD aspect, DWORD* status) noexcept override {
        RETURN_HR_IF_NULL(E_POINTER, status);
        *status = aspect == DVASPECT_CONTENT ? Derived::kMiscStatus : 0;
        return S_OK;
    }
    STDMETHODIMP SetColorScheme(LOGPALETTE*) noexcept override { return E_NOTIMPL; }

private:
    Derived* Self() noexcept { return static_cast<Derived*>(this); }
};

}  // namespace com
