// The shading cover.
#include "ui/edc_blend.h"

namespace ui {

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
    if (GetExStyle() & WS_EX_LAYERED) ::SetLayeredWindowAttributes(m_hWnd, 0, kShadeAlpha, LWA_ALPHA);
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
    ::FillRect(reinterpret_cast<HDC>(wParam), &client, static_cast<HBRUSH>(::GetStockObject(BLACK_BRUSH)));
    return 1;
}

CAutoShader::CAutoShader(HWND cover) : CEDCBlend(false) {
    if (!cover || !::IsWindow(cover)) return;
    RECT rect{};
    ::GetWindowRect(cover, &rect);
    Create(cover, rect);
}

}  // namespace ui
