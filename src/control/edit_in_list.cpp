// The in-place edit box: keys that end or move the edit, the number filter,
// and the mouse hook that ends the edit when the user clicks elsewhere.
#include "control/edit_in_list.h"

#include "com/module.h"

#include <algorithm>
#include <cwchar>

namespace listview {
namespace {

// The box whose edit is open on this thread (one at a time per thread: the
// box takes the focus).
thread_local CEditInList* t_openBox = nullptr;

bool ShiftDown() noexcept { return ::GetKeyState(VK_SHIFT) < 0; }

bool IsButtonDown(WPARAM message) noexcept {
    switch (message) {
    case WM_LBUTTONDOWN:
    case WM_RBUTTONDOWN:
    case WM_MBUTTONDOWN:
    case WM_XBUTTONDOWN:
    case WM_NCLBUTTONDOWN:
    case WM_NCRBUTTONDOWN:
    case WM_NCMBUTTONDOWN:
    case WM_NCXBUTTONDOWN:
        return true;
    default:
        return false;
    }
}

}  // namespace

CEditInList::~CEditInList() {
    if (t_openBox == this) t_openBox = nullptr;
    m_hook.reset();
    if (const HWND box = m_hWnd) {
        Unsubclass();
        ::DestroyWindow(box);
    }
}

bool CEditInList::Open(HWND list, const RECT& cell, int item, int column, const std::wstring& startText,
                       const std::wstring& shownText, const Settings& settings) {
    if (m_hWnd || m_ending) return false;
    const HWND box = ::CreateWindowExW(0, L"EDIT", shownText.c_str(),
                                       WS_CHILD | WS_VISIBLE | WS_BORDER | ES_AUTOHSCROLL | ES_LEFT, cell.left,
                                       cell.top, cell.right - cell.left, cell.bottom - cell.top, list,
                                       reinterpret_cast<HMENU>(INT_PTR(kControlId)), com::Module::Instance(), nullptr);
    if (!box) return false;
    if (settings.kind == InputKind::Number) win::Window(box).KeepLeftToRight();
    if (!Subclass(box)) {
        ::DestroyWindow(box);
        return false;
    }
    m_list = list;
    m_item = item;
    m_column = column;
    m_startText = startText.substr(0, kEditBufferSize - 1);
    m_settings = settings;
    m_refused = 0;
    ++m_generation;
    SendMessage(WM_SETFONT, ::SendMessageW(list, WM_GETFONT, 0, 0), FALSE);
    SendMessage(EM_SETLIMITTEXT, WPARAM(std::clamp(settings.limit, 0, kEditBufferSize - 1)));
    SendMessage(EM_SETSEL, 0, -1);
    t_openBox = this;
    m_hook.reset(::SetWindowsHookExW(WH_MOUSE, &MouseHook, nullptr, ::GetCurrentThreadId()));
    ::SetFocus(box);
    return true;
}

void CEditInList::End(UINT code) {
    if (m_ending || !m_hWnd) return;
    m_ending = true;
    m_hook.reset();
    if (t_openBox == this) t_openBox = nullptr;

    const HWND box = m_hWnd;
    m_buffer[0] = L'\0';
    ::GetWindowTextW(box, m_buffer, kEditBufferSize);
    const bool move = code == kEditNextColumn || code == kEditPreviousColumn;
    UINT result = code == kEditCancel ? kEditCancel : kEditCommit;
    if (result == kEditCommit && m_startText == m_buffer) result = kEditCancel;

    // The keyboard stays with the list; the box goes before the list hears
    // of the end, so that the list may open the next edit at once.
    if (::GetFocus() == box) ::SetFocus(m_list);
    Unsubclass();
    ::DestroyWindow(box);

    NMLVDISPINFOW info{};
    info.hdr.hwndFrom = box;
    info.hdr.idFrom = kControlId;
    info.hdr.code = result;
    info.item.iItem = m_item;
    info.item.iSubItem = m_column;
    info.item.pszText = m_buffer;
    info.item.cchTextMax = kEditBufferSize;
    info.item.lParam = move ? LPARAM(code) : 0;
    const HWND list = m_list;
    m_ending = false;
    ::SendMessageW(list, WM_NOTIFY, kControlId, reinterpret_cast<LPARAM>(&info));
    if (move) ::PostMessageW(list, WM_COMMAND, MAKEWPARAM(kControlId, code), reinterpret_cast<LPARAM>(box));
}

LRESULT CEditInList::OnGetDlgCode(UINT message, WPARAM wParam, LPARAM lParam, BOOL&) {
    // Every key, Tab, Enter and Escape included, belongs to the box and not
    // to the dialog around the list.
    return DefWindowProc(message, wParam, lParam) | DLGC_WANTALLKEYS | DLGC_WANTARROWS | DLGC_WANTCHARS | DLGC_WANTTAB;
}

LRESULT CEditInList::OnKeyDown(UINT, WPARAM wParam, LPARAM, BOOL& handled) {
    switch (wParam) {
    case VK_RETURN:
        End(kEditCommit);
        return 0;
    case VK_ESCAPE:
        End(kEditCancel);
        return 0;
    case VK_TAB:
        End(ShiftDown() ? kEditPreviousColumn : kEditNextColumn);
        return 0;
    case VK_RIGHT:
        if (!ShiftDown()) break;
        End(kEditNextColumn);
        return 0;
    case VK_LEFT:
        if (!ShiftDown()) break;
        End(kEditPreviousColumn);
        return 0;
    default:
        break;
    }
    handled = FALSE;
    return 0;
}

LRESULT CEditInList::OnChar(UINT, WPARAM wParam, LPARAM, BOOL& handled) {
    const wchar_t c = wchar_t(wParam);
    // The characters of the keys handled on key-down would only beep.
    if (c == L'\r' || c == L'\n' || c == L'\t' || c == 0x1B) return 0;
    if (c >= 32 && !Allowed(c)) {
        Refuse();
        return 0;
    }
    handled = FALSE;
    return 0;
}

LRESULT CEditInList::OnPaste(UINT, WPARAM, LPARAM, BOOL& handled) {
    if (m_settings.kind != InputKind::Number) {
        handled = FALSE;
        return 0;
    }
    // Pasted numbers go through the same filter as typed ones.
    std::wstring text;
    if (::IsClipboardFormatAvailable(CF_UNICODETEXT) && ::OpenClipboard(m_hWnd)) {
        if (const HANDLE data = ::GetClipboardData(CF_UNICODETEXT)) {
            if (const auto* chars = static_cast<const wchar_t*>(::GlobalLock(data))) {
                text = chars;
                ::GlobalUnlock(data);
            }
        }
        ::CloseClipboard();
    }
    std::wstring kept;
    for (const wchar_t c : text) {
        if (c >= 32 && Allowed(c)) kept += c;
    }
    if (kept.size() != text.size()) Refuse();
    if (!kept.empty()) SendMessage(EM_REPLACESEL, TRUE, reinterpret_cast<LPARAM>(kept.c_str()));
    return 0;
}

LRESULT CEditInList::OnKillFocus(UINT, WPARAM, LPARAM, BOOL&) {
    // Handled here: ending destroys the box, nothing may reach its own procedure after.
    End(kEditCommit);
    return 0;
}

bool CEditInList::Allowed(wchar_t c) const noexcept {
    if (m_settings.kind != InputKind::Number) return true;
    return !m_settings.allowed.empty() && m_settings.allowed.find(c) != std::wstring::npos;
}

void CEditInList::Refuse() noexcept {
    ++m_refused;
    ::MessageBeep(MB_OK);
}

LRESULT CALLBACK CEditInList::MouseHook(int code, WPARAM wParam, LPARAM lParam) {
    CEditInList* box = t_openBox;
    if (code == HC_ACTION && box && box->m_hWnd && IsButtonDown(wParam)) {
        const auto* mouse = reinterpret_cast<const MOUSEHOOKSTRUCT*>(lParam);
        // Ending inside the hook could open a message box inside it (the
        // control's checks): ask the list to end this edit once the click is through.
        if (mouse->hwnd != box->m_hWnd)
            ::PostMessageW(box->m_list, kEditCommit, box->m_generation, 0);
    }
    return ::CallNextHookEx(nullptr, code, wParam, lParam);
}

}  // namespace listview
