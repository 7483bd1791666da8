// Where the module's pop-up windows go: on the monitor that holds the host's
// window, inside that monitor's work area (the screen less the task bar),
// whatever the host window's position (partly off the screen, or on a
// monitor left of the primary one, at negative coordinates).
#pragma once

#include <windows.h>

namespace win {

// The rectangle moved (not resized) so that it lies inside the area; a
// rectangle wider or taller than the area keeps its size and starts at the
// area's left or top edge, so that its caption and first words stay seen.
RECT FitRectInto(const RECT& rect, const RECT& area) noexcept;

// The work area of the monitor that holds the window (the nearest monitor
// when it lies off every screen); the primary monitor's without a window.
RECT WorkAreaOf(HWND window) noexcept;

// Moves a top-level window into the work area of the monitor of `onMonitorOf`
// (the window itself when `onMonitorOf` is null), keeping its size.
void KeepInWorkArea(HWND window, HWND onMonitorOf = nullptr) noexcept;

// The platform's message box, kept on the owner's monitor inside its work area.
int MessageBoxOnMonitor(HWND owner, const wchar_t* text, const wchar_t* caption, UINT flags) noexcept;

}  // namespace win
