#include "control/type_ahead.h"

#include <commctrl.h>

#include <vector>

namespace listview {

std::wstring CellText(HWND list, int row, int column) {
    std::vector<wchar_t> text(256);
    for (;;) {
        LVITEMW item{};
        item.iSubItem = column;
        item.pszText = text.data();
        item.cchTextMax = int(text.size());
        const size_t length =
            size_t(::SendMessageW(list, LVM_GETITEMTEXTW, WPARAM(row), reinterpret_cast<LPARAM>(&item)));
        if (length + 1 < text.size()) return std::wstring(text.data(), length);
        text.resize(text.size() * 2);
    }
}

int FindRowByPrefix(HWND list, const std::wstring& prefix, const std::function<std::wstring(int row)>& nameOf) {
    if (prefix.empty()) return -1;
    const int count = int(::SendMessageW(list, LVM_GETITEMCOUNT, 0, 0));
    for (int row = 0; row < count; ++row) {
        const std::wstring name = nameOf(row);
        if (name.size() < prefix.size()) continue;
        if (::CompareStringW(LOCALE_USER_DEFAULT, NORM_IGNORECASE, name.c_str(), int(prefix.size()), prefix.c_str(),
                             int(prefix.size())) == CSTR_EQUAL)
            return row;
    }
    return -1;
}

bool CTypeAhead::OnChar(HWND list, wchar_t typed, const std::function<std::wstring(int row)>& nameOf) {
    if (typed <= L' ') return false;
    // A pause of two double-click times starts a new prefix, as in the
    // platform's lists.
    const ULONGLONG now = ::GetTickCount64();
    if (now - m_lastTyped > 2ULL * ::GetDoubleClickTime()) m_prefix.clear();
    m_lastTyped = now;
    m_prefix += typed;
    const int row = FindRowByPrefix(list, m_prefix, nameOf);
    if (row < 0) return true;
    // The row becomes the only selected and the focused one, and is shown.
    LVITEMW none{};
    none.stateMask = LVIS_SELECTED;
    const int selected = int(::SendMessageW(list, LVM_GETNEXTITEM, WPARAM(-1), LVNI_SELECTED));
    if (selected != row || ::SendMessageW(list, LVM_GETSELECTEDCOUNT, 0, 0) != 1)
        ::SendMessageW(list, LVM_SETITEMSTATE, WPARAM(-1), reinterpret_cast<LPARAM>(&none));
    LVITEMW state{};
    state.state = state.stateMask = LVIS_SELECTED | LVIS_FOCUSED;
    ::SendMessageW(list, LVM_SETITEMSTATE, WPARAM(row), reinterpret_cast<LPARAM>(&state));
    ::SendMessageW(list, LVM_SETSELECTIONMARK, 0, LPARAM(row));
    ::SendMessageW(list, LVM_ENSUREVISIBLE, WPARAM(row), FALSE);
    return true;
}

}  // namespace listview
