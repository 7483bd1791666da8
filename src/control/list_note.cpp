// The empty list's note.
#include "control/list_note.h"

#include "win/display.h"

#include <commctrl.h>

namespace listview {

void CListNote::SetText(const std::wstring& text) {
    if (text == m_text) return;
    m_text = text;
    if (m_hWnd) ::InvalidateRect(m_hWnd, nullptr, TRUE);
}

bool CListNote::Shown() const {
    return m_hWnd && !m_text.empty() && ::SendMessageW(m_hWnd, LVM_GETITEMCOUNT, 0, 0) == 0;
}

UINT CListNote::Format() const {
    UINT format = DT_CENTER | DT_WORDBREAK | DT_NOPREFIX | DT_TOP;
    if (::GetWindowLongW(m_hWnd, GWL_EXSTYLE) & (WS_EX_LAYOUTRTL | WS_EX_RTLREADING)) format |= DT_RTLREADING;
    return format;
}

RECT CListNote::TextRect() const {
    if (!Shown()) return RECT{};
    RECT client{};
    ::GetClientRect(m_hWnd, &client);
    const HWND header = reinterpret_cast<HWND>(::SendMessageW(m_hWnd, LVM_GETHEADER, 0, 0));
    RECT headerRect{};
    if (header && ::IsWindowVisible(header)) ::GetWindowRect(header, &headerRect);
    const int margin = win::ScaleX(8);
    return RECT{client.left + margin, client.top + (headerRect.bottom - headerRect.top) + win::ScaleY(12),
                client.right - margin, client.bottom};
}

LRESULT CListNote::OnPaint(UINT message, WPARAM wParam, LPARAM lParam, BOOL&) {
    // The list paints itself (background, header, no rows), then the note
    // goes over its empty area.
    const LRESULT result = DefWindowProc(message, wParam, lParam);
    if (!Shown()) return result;
    RECT rect = TextRect();
    if (rect.right <= rect.left || rect.bottom <= rect.top) return result;
    const HDC dc = ::GetDC(m_hWnd);
    if (!dc) return result;
    const HWND header = reinterpret_cast<HWND>(::SendMessageW(m_hWnd, LVM_GETHEADER, 0, 0));
    if (header && ::IsWindowVisible(header)) {
        // Never over the header, whatever the list's own clipping.
        RECT headerRect{};
        ::GetWindowRect(header, &headerRect);
        ::MapWindowPoints(nullptr, m_hWnd, reinterpret_cast<POINT*>(&headerRect), 2);
        ::ExcludeClipRect(dc, headerRect.left, headerRect.top, headerRect.right, headerRect.bottom);
    }
    const HGDIOBJ oldFont =
        ::SelectObject(dc, reinterpret_cast<HGDIOBJ>(::SendMessageW(m_hWnd, WM_GETFONT, 0, 0)));
    const int oldMode = ::SetBkMode(dc, TRANSPARENT);
    const COLORREF oldColour = ::SetTextColor(dc, ::GetSysColor(COLOR_GRAYTEXT));
    ::DrawTextW(dc, m_text.c_str(), int(m_text.size()), &rect, Format());
    ::SetTextColor(dc, oldColour);
    ::SetBkMode(dc, oldMode);
    ::SelectObject(dc, oldFont);
    ::ReleaseDC(m_hWnd, dc);
    return result;
}

LRESULT CListNote::OnSize(UINT message, WPARAM wParam, LPARAM lParam, BOOL&) {
    const LRESULT result = DefWindowProc(message, wParam, lParam);
    // Centred and wrapped by the width: a new size moves every line.
    if (Shown()) ::InvalidateRect(m_hWnd, nullptr, TRUE);
    return result;
}

}  // namespace listview
