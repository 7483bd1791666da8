// Layout helpers of the skinned dialogs.
#include "ui/dialog_layout.h"

#include "com/module.h"
#include "localization/language.h"
#include "win/display.h"
#include "win/high_contrast.h"
#include "win/monitor.h"

#include <cwchar>

namespace ui {

HINSTANCE ResourcesWith(const wchar_t* type, int id) noexcept {
    const HINSTANCE localized = com::Module::ResourceInstance();
    if (::FindResourceW(localized, MAKEINTRESOURCEW(id), type)) return localized;
    return com::Module::Instance();
}

void SizeClientAndCentre(HWND window, HWND parent, int widthUnits, int heightUnits) noexcept {
    RECT windowRect{}, client{};
    ::GetWindowRect(window, &windowRect);
    ::GetClientRect(window, &client);
    // The frame is whatever the window has now: caption and borders as the
    // system draws them.
    const int width = win::ScaleX(widthUnits) + (windowRect.right - windowRect.left) - client.right;
    const int height = win::ScaleY(heightUnits) + (windowRect.bottom - windowRect.top) - client.bottom;
    RECT area{};
    if (parent && ::IsWindow(parent))
        ::GetWindowRect(parent, &area);
    else
        ::SystemParametersInfoW(SPI_GETWORKAREA, 0, &area, 0);
    const int x = area.left + ((area.right - area.left) - width) / 2;
    const int y = area.top + ((area.bottom - area.top) - height) / 2;
    // Centred on a parent partly off the screen, the dialog would be cut by
    // the screen's edge: it stays inside the work area of the parent's monitor.
    const RECT placed = win::FitRectInto(RECT{x, y, x + width, y + height}, win::WorkAreaOf(parent));
    ::SetWindowPos(window, nullptr, placed.left, placed.top, width, height, SWP_NOZORDER | SWP_NOACTIVATE);
}

ButtonPlaces PlaceButtons(const RECT& client) noexcept {
    const int width = win::ScaleX(kButtonWidthUnits);
    const int height = win::ScaleY(kButtonHeightUnits);
    const int band = win::ScaleY(kButtonBandUnits);
    const int top = client.bottom - band + (band - height) / 2;
    ButtonPlaces places{};
    places.second.right = client.right - win::ScaleX(kSecondButtonMarginUnits);
    places.second.left = places.second.right - width;
    places.first.right = places.second.left - win::ScaleX(kButtonGapUnits);
    places.first.left = places.first.right - width;
    places.first.top = places.second.top = top;
    places.first.bottom = places.second.bottom = top + height;
    return places;
}

com::UniqueGdiObject CreateDialogTextFont(HWND dialog) noexcept {
    LOGFONTW font{};
    HGDIOBJ current = reinterpret_cast<HGDIOBJ>(::SendMessageW(dialog, WM_GETFONT, 0, 0));
    if (!current) current = ::GetStockObject(DEFAULT_GUI_FONT);
    ::GetObjectW(current, sizeof(font), &font);
    font.lfHeight = -win::ScaleY(kDialogTextUnits);
    font.lfWidth = 0;
    std::wcsncpy(font.lfFaceName, localization::FontFace(), LF_FACESIZE - 1);
    font.lfFaceName[LF_FACESIZE - 1] = L'\0';
    return com::UniqueGdiObject(::CreateFontIndirectW(&font));
}

COLORREF DialogTextColour() noexcept { return win::LookColour(kDialogTextColour, COLOR_BTNTEXT); }
COLORREF WarningTextColour() noexcept { return win::LookColour(kWarningTextColour, COLOR_BTNTEXT); }

void DrawLabel(HDC dc, const std::wstring& text, const RECT& rect, COLORREF colour) noexcept {
    RECT box = rect;
    ::SetTextColor(dc, colour);
    ::DrawTextW(dc, text.c_str(), int(text.size()), &box, DT_SINGLELINE | DT_LEFT | DT_VCENTER | DT_NOPREFIX);
}

RedrawSuspension::RedrawSuspension(HWND window) noexcept
    : m_window(window), m_suspended(::IsWindowVisible(window) != FALSE) {
    if (m_suspended) ::SendMessageW(m_window, WM_SETREDRAW, FALSE, 0);
}

RedrawSuspension::~RedrawSuspension() {
    if (!m_suspended) return;
    ::SendMessageW(m_window, WM_SETREDRAW, TRUE, 0);
    ::RedrawWindow(m_window, nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_ALLCHILDREN | RDW_FRAME);
}

}  // namespace ui
