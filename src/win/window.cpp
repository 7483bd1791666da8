// The shared window, dialog and subclass procedures behind the window kit.
#include "win/window_impl.h"

#include "win/controls.h"

#include "com/module.h"

#include <cstring>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

namespace win {

DialogTemplate::DialogTemplate(HINSTANCE resources, UINT id, bool rightToLeft) noexcept : m_resources(resources) {
    const HRSRC found = ::FindResourceW(resources, MAKEINTRESOURCEW(id), MAKEINTRESOURCEW(5) /* RT_DIALOG */);
    const HGLOBAL loaded = found ? ::LoadResource(resources, found) : nullptr;
    const auto* stored = loaded ? static_cast<const BYTE*>(::LockResource(loaded)) : nullptr;
    const DWORD size = found ? ::SizeofResource(resources, found) : 0;
    if (!stored || size < sizeof(DLGTEMPLATE)) return;
    if (!rightToLeft) {
        m_template = reinterpret_cast<const DLGTEMPLATE*>(stored);
        return;
    }
    try {
        m_copy.assign(stored, stored + size);
    } catch (...) {
        m_template = reinterpret_cast<const DLGTEMPLATE*>(stored);  // left to right rather than nothing
        return;
    }
    // The extended style sits at byte 8 of an extended template (version 1,
    // signature 0xFFFF) and at byte 4 of a classic one.
    const auto* words = reinterpret_cast<const WORD*>(m_copy.data());
    const size_t at = words[0] == 1 && words[1] == 0xFFFF ? 8 : 4;
    DWORD extended = 0;
    std::memcpy(&extended, m_copy.data() + at, sizeof(extended));
    extended |= WS_EX_LAYOUTRTL;
    std::memcpy(m_copy.data() + at, &extended, sizeof(extended));
    m_template = reinterpret_cast<const DLGTEMPLATE*>(m_copy.data());
}

std::wstring Window::GetText() const {
    const int length = ::GetWindowTextLengthW(m_hWnd);
    if (length <= 0) return {};
    std::wstring text(size_t(length) + 1, L'\0');
    text.resize(size_t(::GetWindowTextW(m_hWnd, text.data(), length + 1)));
    return text;
}

namespace {

bool ChangeLong(HWND hwnd, int index, LONG_PTR remove, LONG_PTR add) noexcept {
    const LONG_PTR old = ::GetWindowLongPtrW(hwnd, index);
    const LONG_PTR wanted = (old & ~remove) | add;
    if (wanted == old) return false;
    ::SetWindowLongPtrW(hwnd, index, wanted);
    return true;
}

std::mutex g_classLock;
std::map<std::pair<UINT, HBRUSH>, ATOM> g_classes;

}  // namespace

bool Window::ModifyStyle(LONG_PTR remove, LONG_PTR add) const noexcept {
    return ChangeLong(m_hWnd, GWL_STYLE, remove, add);
}

bool Window::ModifyStyleEx(LONG_PTR remove, LONG_PTR add) const noexcept {
    return ChangeLong(m_hWnd, GWL_EXSTYLE, remove, add);
}

void Window::KeepLeftToRight() const noexcept {
    constexpr LONG_PTR kRightToLeft = WS_EX_LAYOUTRTL | WS_EX_RTLREADING | WS_EX_RIGHT | WS_EX_LEFTSCROLLBAR;
    if (!(::GetWindowLongPtrW(m_hWnd, GWL_EXSTYLE) & kRightToLeft)) return;
    ModifyStyleEx(kRightToLeft, 0);
    ::SetWindowPos(m_hWnd, nullptr, 0, 0, 0, 0,
                   SWP_NOMOVE | SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE | SWP_FRAMECHANGED);
    ::InvalidateRect(m_hWnd, nullptr, TRUE);
}

namespace detail {

ATOM WindowClass(UINT classStyle, HBRUSH background) {
    std::lock_guard<std::mutex> lock(g_classLock);
    const auto key = std::make_pair(classStyle, background);
    if (const auto found = g_classes.find(key); found != g_classes.end()) return found->second;
    wchar_t name[64];
    swprintf(name, 64, L"VelPhonebook.Window.%u.%p", classStyle, static_cast<void*>(background));
    WNDCLASSEXW info{};
    info.cbSize = sizeof(info);
    info.style = classStyle;
    info.lpfnWndProc = &WindowProc;
    info.hInstance = com::Module::Instance();
    info.hCursor = ::LoadCursorW(nullptr, IDC_ARROW);
    info.hbrBackground = background;
    info.lpszClassName = name;
    ATOM atom = ::RegisterClassExW(&info);
    if (!atom && ::GetLastError() == ERROR_CLASS_ALREADY_EXISTS)
        atom = ATOM(::GetClassInfoExW(info.hInstance, name, &info));
    if (atom) g_classes[key] = atom;
    return atom;
}

LRESULT CALLBACK WindowProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    auto* target = reinterpret_cast<MessageTarget*>(::GetWindowLongPtrW(hwnd, GWLP_USERDATA));
    if (message == WM_NCCREATE) {
        target = static_cast<MessageTarget*>(reinterpret_cast<CREATESTRUCTW*>(lParam)->lpCreateParams);
        ::SetWindowLongPtrW(hwnd, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(target));
        if (target) target->m_hWnd = hwnd;
    }
    LRESULT result = 0;
    if (!target || !target->DispatchMessage(hwnd, message, wParam, lParam, result))
        result = ::DefWindowProcW(hwnd, message, wParam, lParam);
    if (message == WM_NCDESTROY && target) {
        ::SetWindowLongPtrW(hwnd, GWLP_USERDATA, 0);
        target->m_hWnd = nullptr;
        target->OnFinalMessage(hwnd);
    }
    return result;
}

// Handled messages return TRUE and leave their result in DWLP_MSGRESULT,
// except the few whose result the dialog manager takes from the return
// value itself.
INT_PTR CALLBACK DialogProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    auto* target = reinterpret_cast<MessageTarget*>(::GetWindowLongPtrW(hwnd, DWLP_USER));
    if (message == WM_INITDIALOG) {
        target = reinterpret_cast<MessageTarget*>(lParam);
        ::SetWindowLongPtrW(hwnd, DWLP_USER, lParam);
        if (target) target->m_hWnd = hwnd;
    }
    if (!target) return FALSE;
    LRESULT result = 0;
    const bool handled = target->DispatchMessage(hwnd, message, wParam, lParam, result);
    if (message == WM_NCDESTROY) {
        ::SetWindowLongPtrW(hwnd, DWLP_USER, 0);
        target->m_hWnd = nullptr;
        target->OnFinalMessage(hwnd);
    }
    if (!handled) return message == WM_INITDIALOG ? TRUE : FALSE;
    switch (message) {
    case WM_INITDIALOG:
    case WM_COMPAREITEM:
    case WM_VKEYTOITEM:
    case WM_CHARTOITEM:
    case WM_QUERYDRAGICON:
    case WM_CTLCOLORMSGBOX:
    case WM_CTLCOLOREDIT:
    case WM_CTLCOLORLISTBOX:
    case WM_CTLCOLORBTN:
    case WM_CTLCOLORDLG:
    case WM_CTLCOLORSCROLLBAR:
    case WM_CTLCOLORSTATIC:
        return INT_PTR(result);
    default:
        ::SetWindowLongPtrW(hwnd, DWLP_MSGRESULT, result);
        return TRUE;
    }
}

LRESULT CALLBACK SubclassProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam, UINT_PTR id,
                              DWORD_PTR refData) {
    auto* target = reinterpret_cast<MessageTarget*>(refData);
    LRESULT result = 0;
    if (!target->DispatchMessage(hwnd, message, wParam, lParam, result))
        result = ::DefSubclassProc(hwnd, message, wParam, lParam);
    if (message == WM_NCDESTROY) {
        ::RemoveWindowSubclass(hwnd, &SubclassProc, id);
        target->m_hWnd = nullptr;
        target->OnFinalMessage(hwnd);
    }
    return result;
}

}  // namespace detail

LRESULT CallDialogMap(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) noexcept {
    auto* target = reinterpret_cast<MessageTarget*>(::GetWindowLongPtrW(dialog, DWLP_USER));
    LRESULT result = 0;
    if (target) target->DispatchMessage(dialog, message, wParam, lParam, result);
    return result;
}

std::wstring ListViewCtrl::GetItemText(int index, int column, int maxChars) const {
    std::wstring text(size_t(maxChars) + 1, L'\0');
    LVITEMW item{};
    item.iSubItem = column;
    item.pszText = text.data();
    item.cchTextMax = maxChars + 1;
    text.resize(size_t(SendMessage(LVM_GETITEMTEXTW, WPARAM(index), reinterpret_cast<LPARAM>(&item))));
    return text;
}

void UnregisterWindowClasses() noexcept {
    std::lock_guard<std::mutex> lock(g_classLock);
    for (const auto& entry : g_classes)
        ::UnregisterClassW(MAKEINTATOM(entry.second), com::Module::Instance());
    g_classes.clear();
}

}  // namespace win
