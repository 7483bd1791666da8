#include "com/control_state.h"

namespace com {
namespace {
constexpr int kHimetricPerInch = 2540;

SIZE ScreenDpi() noexcept {
    const HDC screen = ::GetDC(nullptr);
    const SIZE dpi{::GetDeviceCaps(screen, LOGPIXELSX), ::GetDeviceCaps(screen, LOGPIXELSY)};
    ::ReleaseDC(nullptr, screen);
    return dpi;
}
}  // namespace

SIZEL PixelsToHimetric(SIZE pixels) noexcept {
    const SIZE dpi = ScreenDpi();
    return {::MulDiv(pixels.cx, kHimetricPerInch, dpi.cx), ::MulDiv(pixels.cy, kHimetricPerInch, dpi.cy)};
}

SIZE HimetricToPixels(SIZEL himetric) noexcept {
    const SIZE dpi = ScreenDpi();
    return {::MulDiv(himetric.cx, dpi.cx, kHimetricPerInch), ::MulDiv(himetric.cy, dpi.cy, kHimetricPerInch)};
}

}  // namespace com
