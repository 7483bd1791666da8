// The search box above the phonebook list: an edit box with a localized cue
// text, named for screen readers by a label just before it (the name the
// platform's accessibility layer gives an edit box) and by an annotation.
// Escape clears it, Down and Enter go to its owner. A change of its text
// made by a message to the box reaches the owner through onChange once the
// box has handled the message, outside the dialog's own message handling
// (the list's update takes relays off the dialog, which it can do fully only
// from outside them); while the box handles a message it is Busy(), and the
// EN_CHANGE it sends its dialog meanwhile is to be left alone. Changes made
// some other way (the edit's own context menu) come as EN_CHANGE only.
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
    std::function<void()> onChange;
    bool Busy() const noexcept { return m_busy > 0; }

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
        if (ChangesText(uMsg)) {
            lResult = OnEditing(uMsg, wParam, lParam);
            return true;
        }
    END_MSG_MAP()

private:
    LRESULT OnGetDlgCode(UINT, WPARAM, LPARAM, BOOL&);
    static bool ChangesText(UINT message) noexcept;
    LRESULT OnEditing(UINT message, WPARAM wParam, LPARAM lParam);

    HWND m_label = nullptr;
    int m_busy = 0;
    std::wstring m_told;  // the text onChange last told
    bool m_shown = true;
};

}  // namespace search
