// Keeping pop-up windows on the host's monitor.
#include "win/monitor.h"

namespace win {

RECT FitRectInto(const RECT& rect, const RECT& area) noexcept {
    const LONG width = rect.right - rect.left;
    const LONG height = rect.bottom - rect.top;
    LONG left = rect.left, top = rect.top;
    if (left + width > area.right) left = area.right - width;
    if (top + height > area.bottom) top = area.bottom - height;
    // After the right and bottom edges: a window larger than the area keeps
    // its left and top edges (caption, start of the text) in view.
    if (left < area.left) left = area.left;
    if (top < area.top) top = area.top;
    return RECT{left, top, left + width, top + height};
}

RECT WorkAreaOf(HWND window) noexcept {
    const HMONITOR monitor = window && ::IsWindow(window)
                                 ? ::MonitorFromWindow(window, MONITOR_DEFAULTTONEAREST)
                                 : ::MonitorFromPoint(POINT{0, 0}, MONITOR_DEFAULTTOPRIMARY);
    MONITORINFO info{};
    info.cbSize = sizeof(info);
    if (monitor && ::GetMonitorInfoW(monitor, &info)) return info.rcWork;
    RECT area{};
    ::SystemParametersInfoW(SPI_GETWORKAREA, 0, &area, 0);
    return area;
}

void KeepInWorkArea(HWND window, HWND onMonitorOf) noexcept {
    RECT rect{};
    if (!::GetWindowRect(window, &rect)) return;
    const RECT fitted = FitRectInto(rect, WorkAreaOf(onMonitorOf ? onMonitorOf : window));
    if (fitted.left != rect.left || fitted.top != rect.top)
        ::SetWindowPos(window, nullptr, fitted.left, fitted.top, 0, 0,
                       SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
}

namespace {

// The platform's box places itself; a hook of this thread moves it when it
// is activated, before it is first seen. One box at a time per thread.
thread_local HHOOK t_boxHook = nullptr;
thread_local HWND t_boxOwner = nullptr;

LRESULT CALLBACK MoveBoxHook(int code, WPARAM wParam, LPARAM lParam) {
    const HHOOK hook = t_boxHook;
    if (code == HCBT_ACTIVATE) {
        const HWND box = reinterpret_cast<HWND>(wParam);
        wchar_t className[16] = {};
        ::GetClassNameW(box, className, 16);
        if (lstrcmpW(className, L"#32770") == 0) {
            KeepInWorkArea(box, t_boxOwner);
            ::UnhookWindowsHookEx(hook);
            t_boxHook = nullptr;
        }
    }
    return ::CallNextHookEx(hook, code, wParam, lParam);
}

}  // namespace

int MessageBoxOnMonitor(HWND owner, const wchar_t* text, const wchar_t* caption, UINT flags) noexcept {
    const bool hooked = !t_boxHook;
    if (hooked) {
        t_boxOwner = owner;
        t_boxHook = ::SetWindowsHookExW(WH_CBT, &MoveBoxHook, nullptr, ::GetCurrentThreadId());
    }
    const int result = ::MessageBoxW(owner, text, caption, flags);
    // Not activated at all (no box came): the hook goes now.
    if (hooked && t_boxHook) {
        ::UnhookWindowsHookEx(t_boxHook);
        t_boxHook = nullptr;
    }
    return result;
}

}  // namespace win
