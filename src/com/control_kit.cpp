#include "com/control_kit.h"

namespace com {

bool TranslateControlKey(HWND controlWindow, MSG& message) noexcept {
    if (!controlWindow || message.message < WM_KEYFIRST || message.message > WM_KEYLAST) return false;
    const HWND target = message.hwnd;
    if (!target || (target != controlWindow && !::IsChild(controlWindow, target))) return false;
    // A child that wants every key (an in-place edit over the list, which
    // ends on Enter, Escape and Tab) gets it before any navigation.
    const LRESULT wants = ::SendMessageW(target, WM_GETDLGCODE, message.wParam, reinterpret_cast<LPARAM>(&message));
    if (wants & DLGC_WANTALLKEYS) {
        ::TranslateMessage(&message);
        ::DispatchMessageW(&message);
        return true;
    }
    return ::IsDialogMessageW(controlWindow, &message) != FALSE;
}

}  // namespace com
