// The translucent cover that dims the host's window while one of the
// module's modal dialogs is up: CEDCBlend (a layered pop-up, optionally with
// rounded corners) and CAutoShader (black, alpha 153, over a given window,
// gone with the object).
#pragma once

#include "win/display.h"
#include "win/window_impl.h"

namespace ui {

inline constexpr BYTE kShadeAlpha = 153;
inline constexpr int kShadeCornerUnits = 8;

class CEDCBlend : public win::WindowImpl<CEDCBlend> {
public:
    explicit CEDCBlend(bool roundedCorners) noexcept : m_rounded(roundedCorners) {}

    static HBRUSH ClassBackground() noexcept { return nullptr; }

    // A layered pop-up over the screen rectangle, owned by `owner` so that it
    // stays above it and below the dialogs the owner opens afterwards. It
    // takes no activation and stays off the task bar.
    HWND Create(HWND owner, const RECT& screenRect);
    bool RoundedCorners() const noexcept { return m_rounded; }
    // The colour that is see-through in the high-contrast cover.
    static COLORREF HatchKeyColour() noexcept;

    BEGIN_MSG_MAP(CEDCBlend)
    MESSAGE_HANDLER(WM_CREATE, OnCreate)
    MESSAGE_HANDLER(WM_ERASEBKGND, OnEraseBackground)
    END_MSG_MAP()

private:
    LRESULT OnCreate(UINT, WPARAM, LPARAM, BOOL& handled);
    LRESULT OnEraseBackground(UINT, WPARAM wParam, LPARAM, BOOL&);

    bool m_rounded;
    bool m_highContrast = false;
};

// Covers the window's screen rectangle from construction to destruction.
// A null window, or a cover that cannot be created, leaves the host undimmed.
class CAutoShader : public CEDCBlend {
public:
    explicit CAutoShader(HWND cover);
};

// Runs a dialog modally over the parent with the parent shaded for the
// duration, inside the module's common-controls context. The cover lies over
// the window the caller names (the control's host dialog, or the page a host
// nests the control in), not over whatever top-level window holds it.
template <class Dialog>
INT_PTR DoModalShaded(Dialog& dialog, HWND parent) {
    win::ActivationScope scope;
    CAutoShader shader(parent);
    return dialog.DoModal(parent);
}

}  // namespace ui
