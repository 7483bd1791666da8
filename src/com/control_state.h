// What the mix-ins of an ActiveX control share: the container's pointers,
// the extent, the activation state and the event freeze count. One object
// per control, held by com::ControlKit.
#pragma once

#include "com/com_ptr.h"

#include <ocidl.h>
#include <oleidl.h>

namespace com {

// HIMETRIC (0.01 mm) from pixels of the screen and back.
SIZEL PixelsToHimetric(SIZE pixels) noexcept;
SIZE HimetricToPixels(SIZEL himetric) noexcept;

struct ControlState {
    ComPtr<IOleClientSite> clientSite;
    ComPtr<IOleAdviseHolder> adviseHolder;     // IOleObject::Advise sinks
    ComPtr<IAdviseSink> viewSink;              // IViewObject::SetAdvise
    DWORD viewAspects = 0;
    DWORD viewAdviseFlags = 0;
    SIZEL extent{};                            // HIMETRIC, DVASPECT_CONTENT

    ComPtr<IOleInPlaceSite> inPlaceSite;
    ComPtr<IOleInPlaceFrame> frame;
    ComPtr<IOleInPlaceUIWindow> uiWindow;
    bool inPlaceActive = false;
    bool uiActive = false;
    bool windowless = false;                   // never: the control always has a window
    RECT position{};                           // in the container's window

    int freezeCount = 0;                       // IOleControl::FreezeEvents
    bool initialised = false;                  // InitNew or Load seen
};

}  // namespace com
