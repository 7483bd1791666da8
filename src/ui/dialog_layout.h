// What the skinned dialogs share: client size and centring, the band of two
// buttons at the bottom, the text font and colours, and drawing suspended
// while children move.
#pragma once

#include "com/unique_any.h"

#include <windows.h>

#include <string>

namespace ui {

inline constexpr COLORREF kDialogTextColour = RGB(85, 85, 85);
inline constexpr COLORREF kWarningTextColour = RGB(255, 0, 0);
inline constexpr int kDialogTextUnits = 12;

inline constexpr int kButtonWidthUnits = 130;
inline constexpr int kButtonHeightUnits = 36;
inline constexpr int kButtonBandUnits = 50;
inline constexpr int kSecondButtonMarginUnits = 15;
inline constexpr int kButtonGapUnits = 20;

// Where a template or image of the module is taken from: the language
// resource library when it carries the resource, else the module itself
// (a language library need not repeat the images and templates).
HINSTANCE ResourcesWith(const wchar_t* type, int id) noexcept;

// Gives the window a client area of the size in layout units and centres it
// on the parent's window rectangle (the desktop's work area when there is
// no parent), inside the work area of the parent's monitor.
void SizeClientAndCentre(HWND window, HWND parent, int widthUnits, int heightUnits) noexcept;

struct ButtonPlaces {
    RECT first;
    RECT second;
};
// The two buttons, centred vertically in the bottom band of the client
// area; the second one's right edge a margin from the client's right edge,
// the first one a gap to the left of the second.
ButtonPlaces PlaceButtons(const RECT& client) noexcept;

// The dialog's font with the module's face and a character height of
// 12 layout units.
com::UniqueGdiObject CreateDialogTextFont(HWND dialog) noexcept;

// The colours of the dialogs' own texts: the grey and the red above, the
// system's button text in high contrast.
COLORREF DialogTextColour() noexcept;
COLORREF WarningTextColour() noexcept;

// Single-line text, left-aligned and vertically centred in the rectangle.
void DrawLabel(HDC dc, const std::wstring& text, const RECT& rect, COLORREF colour) noexcept;

// Suspends drawing of a visible window for the life of the object, then
// redraws it with its children. (WM_SETREDRAW would make a hidden window
// visible when drawing is switched back on, so hidden windows are left
// alone.)
class RedrawSuspension {
public:
    explicit RedrawSuspension(HWND window) noexcept;
    ~RedrawSuspension();
    RedrawSuspension(const RedrawSuspension&) = delete;
    RedrawSuspension& operator=(const RedrawSuspension&) = delete;

private:
    HWND m_window;
    bool m_suspended;
};

}  // namespace ui
