// The soft drop shadow of the module's dialogs: MoonlightShadow, a layered,
// click-through tool window kept directly behind its dialog and drawn with
// GDI+ gradients, and CEDCShadowedDlg, the mix-in that keeps it placed.
#pragma once

#include "win/window_impl.h"

#include <array>
#include <vector>

namespace ui {

// One stop of the shadow's colour blend: position 0 is the dialog's edge,
// 1 the shadow's outer edge.
struct ShadowStop {
    float position;
    BYTE alpha, red, green, blue;
};
inline constexpr std::array<ShadowStop, 4> kShadowBlend{{
    {0.0f, 70, 10, 10, 10},
    {0.36f, 30, 10, 10, 10},
    {0.7f, 10, 10, 10, 10},
    {1.0f, 0, 20, 20, 20},
}};
inline constexpr int kShadowUnits = 10;

class MoonlightShadow : public win::WindowImpl<MoonlightShadow> {
public:
    // Starts GDI+ for the life of the object.
    MoonlightShadow();
    ~MoonlightShadow() override;

    static HBRUSH ClassBackground() noexcept { return nullptr; }

    // Creates the window on first use (owned by the dialog's owner), draws
    // it for the dialog's size, and puts it around the dialog and directly
    // behind it in the z-order; shown only while the dialog is visible.
    void Place(HWND dialog);
    void Hide() noexcept;
    void Destroy() noexcept;

    // The four widths in layout units (left, top, right, bottom).
    RECT Widths() const noexcept { return m_widths; }

    // Draws the shadow around a dialog of the given size in pixels into
    // `bits`: premultiplied 32-bit ARGB, top-down rows, of the dialog's size
    // grown by the scaled widths (that size is returned in `size`).
    bool Draw(SIZE dialogSize, std::vector<DWORD>& bits, SIZE& size) const;

    BEGIN_MSG_MAP(MoonlightShadow)
    END_MSG_MAP()

private:
    // Draws the shadow for a dialog of the given size and presents it.
    bool Render(const RECT& dialogRect);

    ULONG_PTR m_gdiplusToken = 0;
    RECT m_widths{kShadowUnits, kShadowUnits, kShadowUnits, kShadowUnits};
    SIZE m_drawnSize{};
};

// Mix-in of a dialog class T (a DialogImpl): owns the dialog's shadow and
// re-places it whenever the dialog is shown, moved or sized. T chains this
// map and calls PlaceShadow() at the end of its initialisation.
template <class T>
class CEDCShadowedDlg {
public:
    BEGIN_MSG_MAP(CEDCShadowedDlg)
    MESSAGE_HANDLER(WM_WINDOWPOSCHANGED, OnWindowPosChanged)
    MESSAGE_HANDLER(WM_DESTROY, OnDestroyShadow)
    END_MSG_MAP()

    void PlaceShadow() { m_shadow.Place(static_cast<T*>(this)->m_hWnd); }
    HWND ShadowWindow() const noexcept { return m_shadow.hwnd(); }

private:
    // The dialog's own processing (WM_SIZE, WM_MOVE from the default
    // handler) must still run, so the message is never taken.
    LRESULT OnWindowPosChanged(UINT, WPARAM, LPARAM lParam, BOOL& handled) {
        handled = FALSE;
        const auto* position = reinterpret_cast<const WINDOWPOS*>(lParam);
        if (position->flags & SWP_HIDEWINDOW)
            m_shadow.Hide();
        else if (m_shadow.hwnd() || (position->flags & SWP_SHOWWINDOW))
            PlaceShadow();
        return 0;
    }
    // The shadow belongs to the dialog's owner, so it would outlive the
    // dialog if it were not destroyed here.
    LRESULT OnDestroyShadow(UINT, WPARAM, LPARAM, BOOL& handled) {
        handled = FALSE;
        m_shadow.Destroy();
        return 0;
    }

    MoonlightShadow m_shadow;
};

}  // namespace ui
