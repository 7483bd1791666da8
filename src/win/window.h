// Window plumbing: a thin, non-owning wrapper over a window handle, and the
// message-map macros with which window classes and their mix-ins route
// messages to member functions and chain to the layer below.
#pragma once

#include <windows.h>

#include <string>

namespace win {

// One line per call, no ownership: the window belongs to whoever created it.
class Window {
public:
    Window(HWND hwnd = nullptr) noexcept : m_hWnd(hwnd) {}

    HWND hwnd() const noexcept { return m_hWnd; }
    operator HWND() const noexcept { return m_hWnd; }
    bool IsWindow() const noexcept { return m_hWnd && ::IsWindow(m_hWnd); }

    LRESULT SendMessage(UINT message, WPARAM wParam = 0, LPARAM lParam = 0) const noexcept {
        return ::SendMessageW(m_hWnd, message, wParam, lParam);
    }
    bool PostMessage(UINT message, WPARAM wParam = 0, LPARAM lParam = 0) const noexcept {
        return ::PostMessageW(m_hWnd, message, wParam, lParam) != FALSE;
    }

    HWND GetDlgItem(int id) const noexcept { return ::GetDlgItem(m_hWnd, id); }
    int GetDlgCtrlID() const noexcept { return ::GetDlgCtrlID(m_hWnd); }
    HWND GetParent() const noexcept { return ::GetParent(m_hWnd); }
    HWND GetTopLevelParent() const noexcept { return ::GetAncestor(m_hWnd, GA_ROOT); }

    std::wstring GetText() const;
    bool SetText(const std::wstring& text) const noexcept { return ::SetWindowTextW(m_hWnd, text.c_str()) != FALSE; }

    bool Show(int command = SW_SHOW) const noexcept { return ::ShowWindow(m_hWnd, command) != FALSE; }
    bool IsVisible() const noexcept { return ::IsWindowVisible(m_hWnd) != FALSE; }
    bool Enable(bool enable = true) const noexcept { return ::EnableWindow(m_hWnd, enable) != FALSE; }
    bool IsEnabled() const noexcept { return ::IsWindowEnabled(m_hWnd) != FALSE; }
    HWND SetFocus() const noexcept { return ::SetFocus(m_hWnd); }

    RECT ClientRect() const noexcept {
        RECT rect{};
        ::GetClientRect(m_hWnd, &rect);
        return rect;
    }
    RECT WindowRect() const noexcept {
        RECT rect{};
        ::GetWindowRect(m_hWnd, &rect);
        return rect;
    }
    bool Move(const RECT& rect, bool repaint = true) const noexcept {
        return ::MoveWindow(m_hWnd, rect.left, rect.top, rect.right - rect.left, rect.bottom - rect.top,
                            repaint) != FALSE;
    }
    bool Invalidate(bool erase = true) const noexcept { return ::InvalidateRect(m_hWnd, nullptr, erase) != FALSE; }
    void SetRedraw(bool redraw) const noexcept { SendMessage(WM_SETREDRAW, redraw); }
    HFONT GetFont() const noexcept { return reinterpret_cast<HFONT>(SendMessage(WM_GETFONT)); }
    void SetFont(HFONT font, bool redraw = true) const noexcept {
        SendMessage(WM_SETFONT, reinterpret_cast<WPARAM>(font), redraw);
    }

    LONG_PTR GetStyle() const noexcept { return ::GetWindowLongPtrW(m_hWnd, GWL_STYLE); }
    LONG_PTR GetExStyle() const noexcept { return ::GetWindowLongPtrW(m_hWnd, GWL_EXSTYLE); }
    // Sets and clears style bits; true when the style changed.
    bool ModifyStyle(LONG_PTR remove, LONG_PTR add) const noexcept;
    bool ModifyStyleEx(LONG_PTR remove, LONG_PTR add) const noexcept;
    // Undoes the mirroring and right-to-left reading a window took from a
    // mirrored parent: a fax number reads from left to right in every
    // language, where a mirrored edit box would show "+49 30" as "49 30+".
    void KeepLeftToRight() const noexcept;

    HWND m_hWnd = nullptr;
};

}  // namespace win

// Message maps. A class (or mix-in) declares
//     BEGIN_MSG_MAP(CThis)
//         MESSAGE_HANDLER(WM_SIZE, OnSize)
//         COMMAND_ID_HANDLER(IDOK, OnOK)
//         NOTIFY_HANDLER(204, LVN_ITEMCHANGED, OnItemChanged)
//         CHAIN_MSG_MAP(CBase)
//     END_MSG_MAP()
// which defines ProcessWindowMessage(). A handler clears `handled` to let the
// message go on to the next entry, the chained layer and finally the default
// processing. Handler signatures:
//     LRESULT OnMessage(UINT message, WPARAM wParam, LPARAM lParam, BOOL& handled);
//     LRESULT OnCommand(WORD code, WORD id, HWND control, BOOL& handled);
//     LRESULT OnNotify(int id, NMHDR* header, BOOL& handled);
#define BEGIN_MSG_MAP(theClass)                                                                            \
public:                                                                                                    \
    bool ProcessWindowMessage(HWND hWnd, UINT uMsg, WPARAM wParam, LPARAM lParam, LRESULT& lResult,      \
                              DWORD msgMapId = 0) {                                                        \
        BOOL bHandled = TRUE;                                                                              \
        (void)hWnd;                                                                                        \
        (void)bHandled;                                                                                    \
        switch (msgMapId) {                                                                                \
        case 0:

#define ALT_MSG_MAP(mapId) \
    break;                 \
    case mapId:

#define MESSAGE_HANDLER(msg, func)                                \
    if (uMsg == (msg)) {                                          \
        bHandled = TRUE;                                          \
        lResult = func(uMsg, wParam, lParam, bHandled);           \
        if (bHandled) return true;                                \
    }

#define MESSAGE_RANGE_HANDLER(first, last, func)                  \
    if (uMsg >= (first) && uMsg <= (last)) {                      \
        bHandled = TRUE;                                          \
        lResult = func(uMsg, wParam, lParam, bHandled);           \
        if (bHandled) return true;                                \
    }

#define COMMAND_HANDLER(id, code, func)                                                              \
    if (uMsg == WM_COMMAND && LOWORD(wParam) == (id) && HIWORD(wParam) == (code)) {                  \
        bHandled = TRUE;                                                                             \
        lResult = func(HIWORD(wParam), LOWORD(wParam), reinterpret_cast<HWND>(lParam), bHandled);    \
        if (bHandled) return true;                                                                   \
    }

#define COMMAND_ID_HANDLER(id, func)                                                                 \
    if (uMsg == WM_COMMAND && LOWORD(wParam) == (id)) {                                              \
        bHandled = TRUE;                                                                             \
        lResult = func(HIWORD(wParam), LOWORD(wParam), reinterpret_cast<HWND>(lParam), bHandled);    \
        if (bHandled) return true;                                                                   \
    }

#define COMMAND_CODE_HANDLER(code, func)                                                             \
    if (uMsg == WM_COMMAND && HIWORD(wParam) == (code)) {                                            \
        bHandled = TRUE;                                                                             \
        lResult = func(HIWORD(wParam), LOWORD(wParam), reinterpret_cast<HWND>(lParam), bHandled);    \
        if (bHandled) return true;                                                                   \
    }

#define NOTIFY_HANDLER(id, cd, func)                                                                 \
    if (uMsg == WM_NOTIFY && reinterpret_cast<NMHDR*>(lParam)->idFrom == UINT_PTR(id) &&             \
        reinterpret_cast<NMHDR*>(lParam)->code == UINT(cd)) {                                        \
        bHandled = TRUE;                                                                             \
        lResult = func(int(wParam), reinterpret_cast<NMHDR*>(lParam), bHandled);                     \
        if (bHandled) return true;                                                                   \
    }

#define NOTIFY_ID_HANDLER(id, func)                                                                  \
    if (uMsg == WM_NOTIFY && reinterpret_cast<NMHDR*>(lParam)->idFrom == UINT_PTR(id)) {             \
        bHandled = TRUE;                                                                             \
        lResult = func(int(wParam), reinterpret_cast<NMHDR*>(lParam), bHandled);                     \
        if (bHandled) return true;                                                                   \
    }

#define NOTIFY_CODE_HANDLER(cd, func)                                                                \
    if (uMsg == WM_NOTIFY && reinterpret_cast<NMHDR*>(lParam)->code == UINT(cd)) {                   \
        bHandled = TRUE;                                                                             \
        lResult = func(int(wParam), reinterpret_cast<NMHDR*>(lParam), bHandled);                     \
        if (bHandled) return true;                                                                   \
    }

#define CHAIN_MSG_MAP(theChainClass)                                                          \
    if (theChainClass::ProcessWindowMessage(hWnd, uMsg, wParam, lParam, lResult)) return true;

#define CHAIN_MSG_MAP_MEMBER(theChainMember)                                                  \
    if ((theChainMember).ProcessWindowMessage(hWnd, uMsg, wParam, lParam, lResult)) return true;

#define END_MSG_MAP() \
    break;            \
    default:          \
        break;        \
        }             \
        return false; \
        }
