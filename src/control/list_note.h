// The note an empty list shows in its own area, under its header: why it is
// empty (no recipient with a fax number, a book that cannot be opened), in
// the system's grey text colour, word-wrapped and centred, so that the user
// can tell an empty book from a missing one.
#pragma once

#include "win/window_impl.h"

#include <string>

namespace listview {

class CListNote : public win::SubclassImpl<CListNote> {
public:
    bool Attach(HWND list) { return Subclass(list); }
    void Detach() noexcept { Unsubclass(); }
    // Shown only while the list has no rows; empty text shows nothing.
    void SetText(const std::wstring& text);
    const std::wstring& Text() const noexcept { return m_text; }
    // Where the note is drawn in the list's client area (below the header,
    // inside a margin); empty while nothing is drawn.
    RECT TextRect() const;

    BEGIN_MSG_MAP(CListNote)
    MESSAGE_HANDLER(WM_PAINT, OnPaint)
    MESSAGE_HANDLER(WM_SIZE, OnSize)
    END_MSG_MAP()

private:
    LRESULT OnPaint(UINT message, WPARAM wParam, LPARAM lParam, BOOL&);
    LRESULT OnSize(UINT message, WPARAM wParam, LPARAM lParam, BOOL&);
    bool Shown() const;
    UINT Format() const;

    std::wstring m_text;
};

}  // namespace listview
