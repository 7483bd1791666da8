// The control's image buttons: owner-drawn push buttons that show an icon
// (the first of their pair when enabled, the second when disabled), drawn
// with the same frame as the text buttons beside them, each with a tooltip
// whose text is also the button's name for screen readers.
#pragma once

#include "com/unique_any.h"

#include <windows.h>

#include <string>
#include <vector>

class CImageButtons {
public:
    // Loads the icons of a button of the dialog and gives it its tooltip.
    void Add(HWND dialog, int id, int enabledIcon, int disabledIcon, const std::wstring& tip);
    // Draws one of the buttons (WM_DRAWITEM); false for any other control.
    bool Draw(const DRAWITEMSTRUCT& item) const;
    // Frees the icons and the tooltip (the dialog is going away).
    void Clear() noexcept;

private:
    struct Button {
        int id;
        com::UniqueIcon enabled;
        com::UniqueIcon disabled;
    };
    std::vector<Button> m_buttons;
    com::UniqueWindow m_tooltip;
    int m_iconSize = 16;
};
