// The in-place edit box of the phonebook list: an edit control opened over
// one cell, which reports how it ended to the list (commit, cancel, or a move
// to the neighbouring column) and filters what may be typed into a number.
#pragma once

#include "com/unique_any.h"
#include "control/list_codes.h"
#include "win/window_impl.h"

#include <string>

namespace listview {

class CEditInList : public win::SubclassImpl<CEditInList> {
public:
    enum class InputKind { Text, Number };
    struct Settings {
        int limit = kEditBufferSize - 1;
        InputKind kind = InputKind::Text;
        std::wstring allowed;  // the characters a number may hold
    };

    CEditInList() = default;
    ~CEditInList() override;

    // Opens the box over the cell (list client coordinates). `startText` is
    // what the cell holds; `shownText` what the box starts with (the same,
    // except when a rejected text is offered again). The box takes the focus
    // and holds a mouse hook on this thread until it ends: a button pressed
    // over any other window of the thread ends the edit, keeping the text.
    bool Open(HWND list, const RECT& cell, int item, int column, const std::wstring& startText,
              const std::wstring& shownText, const Settings& settings);

    // Ends the edit once (re-entry, e.g. through the focus loss that ending
    // causes, is ignored): reads the text, destroys the box and sends the list
    // a WM_NOTIFY with kEditCommit or kEditCancel, an NMLVDISPINFOW whose
    // pszText is the text, cchTextMax the buffer size and lParam the move code
    // (0 or kEditNextColumn/kEditPreviousColumn). A commit of the unchanged
    // starting text is reported as a cancel. For a move it then posts the list
    // WM_COMMAND with the move code as notification code.
    void End(UINT code);

    // Places the open box over another cell (its row moved).
    void MoveTo(const RECT& cell, int item) noexcept {
        if (!m_hWnd) return;
        m_item = item;
        ::MoveWindow(m_hWnd, cell.left, cell.top, cell.right - cell.left, cell.bottom - cell.top, TRUE);
    }

    bool IsOpen() const noexcept { return m_hWnd != nullptr; }
    int Item() const noexcept { return m_item; }
    int Column() const noexcept { return m_column; }
    // Counts each edit; the hook's end request names the edit it meant.
    UINT_PTR Generation() const noexcept { return m_generation; }
    const std::wstring& StartText() const noexcept { return m_startText; }
    // Characters refused (with a beep) since the box opened.
    int RefusedCharacters() const noexcept { return m_refused; }

    BEGIN_MSG_MAP(CEditInList)
        MESSAGE_HANDLER(WM_GETDLGCODE, OnGetDlgCode)
        MESSAGE_HANDLER(WM_KEYDOWN, OnKeyDown)
        MESSAGE_HANDLER(WM_CHAR, OnChar)
        MESSAGE_HANDLER(WM_PASTE, OnPaste)
        MESSAGE_HANDLER(WM_KILLFOCUS, OnKillFocus)
    END_MSG_MAP()

    static constexpr int kControlId = 1;

private:
    LRESULT OnGetDlgCode(UINT, WPARAM, LPARAM, BOOL&);
    LRESULT OnKeyDown(UINT, WPARAM, LPARAM, BOOL&);
    LRESULT OnChar(UINT, WPARAM, LPARAM, BOOL&);
    LRESULT OnPaste(UINT, WPARAM, LPARAM, BOOL&);
    LRESULT OnKillFocus(UINT, WPARAM, LPARAM, BOOL&);
    bool Allowed(wchar_t c) const noexcept;
    void Refuse() noexcept;
    static LRESULT CALLBACK MouseHook(int code, WPARAM wParam, LPARAM lParam);

    HWND m_list = nullptr;
    int m_item = -1;
    int m_column = 0;
    std::wstring m_startText;
    wchar_t m_buffer[kEditBufferSize] = {};
    bool m_ending = false;
    Settings m_settings;
    int m_refused = 0;
    UINT_PTR m_generation = 0;
    com::UniqueHook m_hook;
};

}  // namespace listview
