#include "com/view_object.h"

#include "com/unique_any.h"

namespace com {

void PrintWindowTree(HWND window, HDC dc) noexcept {
    RECT outer{};
    ::GetWindowRect(window, &outer);
    ::SendMessageW(window, WM_PRINT, reinterpret_cast<WPARAM>(dc),
                   PRF_NONCLIENT | PRF_CLIENT | PRF_ERASEBKGND);
    // Children one by one, each at its place relative to the parent, so
    // that no window procedure has to know PRF_CHILDREN. Bottom of the
    // z-order first, so that upper windows are painted over lower ones.
    for (HWND child = ::GetWindow(::GetWindow(window, GW_CHILD), GW_HWNDLAST); child;
         child = ::GetWindow(child, GW_HWNDPREV)) {
        if (!::IsWindowVisible(child)) continue;
        RECT rect{};
        ::GetWindowRect(child, &rect);
        POINT origin{};
        ::SetViewportOrgEx(dc, 0, 0, &origin);
        ::SetViewportOrgEx(dc, origin.x + rect.left - outer.left, origin.y + rect.top - outer.top, nullptr);
        const int saved = ::SaveDC(dc);
        ::IntersectClipRect(dc, 0, 0, rect.right - rect.left, rect.bottom - rect.top);
        PrintWindowTree(child, dc);
        ::RestoreDC(dc, saved);
        ::SetViewportOrgEx(dc, origin.x, origin.y, nullptr);
    }
}

void DrawControl(HWND window, HDC dc, const RECT& bounds, const wchar_t* placeholderName) noexcept {
    const int width = bounds.right - bounds.left;
    const int height = bounds.bottom - bounds.top;
    if (window && ::IsWindow(window)) {
        RECT rect{};
        ::GetWindowRect(window, &rect);
        const int sourceWidth = rect.right - rect.left;
        const int sourceHeight = rect.bottom - rect.top;
        const HDC screen = ::GetDC(nullptr);
        UniqueDc memory(::CreateCompatibleDC(screen));
        UniqueGdiObject bitmap(::CreateCompatibleBitmap(screen, sourceWidth, sourceHeight));
        ::ReleaseDC(nullptr, screen);
        if (memory && bitmap) {
            const HGDIOBJ old = ::SelectObject(memory.get(), bitmap.get());
            PrintWindowTree(window, memory.get());
            ::SetStretchBltMode(dc, HALFTONE);
            ::StretchBlt(dc, bounds.left, bounds.top, width, height, memory.get(), 0, 0, sourceWidth, sourceHeight,
                         SRCCOPY);
            ::SelectObject(memory.get(), old);
            return;
        }
    }
    // No window yet (or no memory for the picture): a frame with the
    // control's name, as design-time containers show it.
    UniqueGdiObject brush(::CreateSolidBrush(::GetSysColor(COLOR_BTNFACE)));
    RECT rect = bounds;
    ::FillRect(dc, &rect, static_cast<HBRUSH>(brush.get()));
    ::DrawEdge(dc, &rect, EDGE_SUNKEN, BF_RECT);
    ::SetBkMode(dc, TRANSPARENT);
    ::SetTextColor(dc, ::GetSysColor(COLOR_BTNTEXT));
    ::DrawTextW(dc, placeholderName, -1, &rect, DT_CENTER | DT_VCENTER | DT_SINGLELINE | DT_END_ELLIPSIS);
}

}  // namespace com
