// The search box above the phonebook list: an edit box with a localized cue
// text, named for screen readers by a label just before it (the name the
// platform's accessibility layer gives an edit box) and by an annotation.
// Escape clears it, Down and Enter go to its owner; every change of its
// text reaches the owner as EN_CHANGE from the box's control id.
#pragma once

#include "win/window_impl.h"

#include <functional>
#include <string>

namespace search {

class CSearchBox : public win::SubclassImpl<CSearchBox> {
public:
    static constexpr int kLabelId = 0xFFFF;  // the label is a static without an id of its own

    // Creates the box (and its label) as children of the dialog, before `next`
    // in the tab order.
    bool Create(HWND parent, int id, HWND next, const std::wstring& cue, bool rightToLeft);
    void Destroy() noexcept;
    bool Exists() const noexcept { return m_hWnd != nullptr; }

    // What the owner does for Down and Enter typed in the box.
    std::function<void()> onDown;
    std::function<void()> onEnter;

    std::wstring Text() const;
    void SetText(const std::wstring& text);
    void SelectAll() const noexcept;

    // Shown or not; a hidden box takes no room.
    void Show(bool shown);
    bool Shown() const noexcept { return m_shown; }
    // The height of the band the box takes at the top (0 when hidden), and
    // placing it in that band of the given width.
    int BandHeight() const;
    void Place(int width) const;

    BEGIN_MSG_MAP(CSearchBox)
        MESSAGE_HANDLER(WM_GETDLGCODE, OnGetDlgCode)
        MESSAGE_HANDLER(WM_KEYDOWN, OnKeyDown)
        MESSAGE_HANDLER(WM_CHAR, OnChar)
    END_MSG_MAP()

private:
    LRESULT OnGetDlgCode(UINT, WPARAM, LPARAM, BOOL&);
    LRESULT OnKeyDown(UINT, WPARAM, LPARAM, BOOL&);
    LRESULT OnChar(UINT, WPARAM, LPARAM, BOOL&);

    HWND m_label = nullptr;
    bool m_shown = true;
};

}  // namespace search
