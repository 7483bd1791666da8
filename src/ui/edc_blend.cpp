// The shading cover.
#include "ui/edc_blend.h"

#include "win/high_contrast.h"
#include "win/monitor.h"

namespace ui {

// Left out of the high-contrast cover's layer: any colour but the hatch's.
COLORREF CEDCBlend::HatchKeyColour() noexcept {
    const COLORREF text = ::GetSysColor(COLOR_WINDOWTEXT);
    return text == RGB(1, 2, 3) ? RGB(3, 2, 1) : RGB(1, 2, 3);
}

HWND CEDCBlend::Create(HWND owner, const RECT& screenRect) {
    const HWND hwnd = WindowImpl::Create(owner, screenRect, L"", WS_POPUP,
                                         WS_EX_LAYERED | WS_EX_TOOLWINDOW | WS_EX_NOACTIVATE);
    // Shown without activation: the dialog that follows takes it.
    if (hwnd) ::ShowWindow(hwnd, SW_SHOWNOACTIVATE);
    return hwnd;
}

LRESULT CEDCBlend::OnCreate(UINT, WPARAM, LPARAM, BOOL& handled) {
    handled = FALSE;
    ModifyStyle(0, WS_CLIPCHILDREN);
    // High contrast has no translucency: the cover is a hatch in the
    // system's text colour over the host, whose own pixels show between the
    // lines (the key colour is left out of the layer).
    m_highContrast = win::IsHighContrast();
    if (GetExStyle() & WS_EX_LAYERED) {
        if (m_highContrast)
            ::SetLayeredWindowAttributes(m_hWnd, HatchKeyColour(), 0, LWA_COLORKEY);
        else
            ::SetLayeredWindowAttributes(m_hWnd, 0, kShadeAlpha, LWA_ALPHA);
    }
    if (m_rounded) {
        const RECT client = ClientRect();
        // The window owns the region from here on.
        if (const HRGN region =
                ::CreateRoundRectRgn(0, 0, client.right + 1, client.bottom + 1,
                                     win::ScaleX(kShadeCornerUnits), win::ScaleY(kShadeCornerUnits)))
            if (!::SetWindowRgn(m_hWnd, region, FALSE)) ::DeleteObject(region);
    }
    return 0;
}

LRESULT CEDCBlend::OnEraseBackground(UINT, WPARAM wParam, LPARAM, BOOL&) {
    const RECT client = ClientRect();
    const HDC dc = reinterpret_cast<HDC>(wParam);
    if (!m_highContrast) {
        ::FillRect(dc, &client, static_cast<HBRUSH>(::GetStockObject(BLACK_BRUSH)));
        return 1;
    }
    const HBRUSH key = ::CreateSolidBrush(HatchKeyColour());
    ::FillRect(dc, &client, key);
    ::DeleteObject(key);
    const HBRUSH hatch = ::CreateHatchBrush(HS_BDIAGONAL, ::GetSysColor(COLOR_WINDOWTEXT));
    const int oldMode = ::SetBkMode(dc, TRANSPARENT);
    ::FillRect(dc, &client, hatch);
    ::SetBkMode(dc, oldMode);
    ::DeleteObject(hatch);
    return 1;
}

CAutoShader::CAutoShader(HWND cover) : CEDCBlend(false) {
    if (!cover || !::IsWindow(cover)) return;
    RECT rect{};
    ::GetWindowRect(cover, &rect);
    // Only the part of the window on its monitor's work area: a host window
    // partly off the screen or across two monitors is dimmed where it is seen
    // on its own monitor, and the cover never spills onto another one.
    const RECT area = win::WorkAreaOf(cover);
    RECT seen{};
    if (!::IntersectRect(&seen, &rect, &area)) return;
    Create(cover, seen);
}

}  // namespace ui
