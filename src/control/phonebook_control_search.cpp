// The first control's search and the widths of its columns.
#include "control/phonebook_control.h"

#include "control/row_filter.h"
#include "win/display.h"

#include <algorithm>

bool CPhonebookControl::WantsRow(ULONG_PTR key, const std::wstring& name, const std::wstring& fax) {
    return m_search.Matches(LPARAM(key), name, fax) || IsKeyMarked(LPARAM(key));
}

void CPhonebookControl::ApplySearch() {
    if (!HasList()) return;
    std::vector<LPARAM> wanted;
    wanted.reserve(m_shown.size());
    for (const LPARAM key : m_search.BookOrder()) {
        const auto found = m_shown.find(ULONG_PTR(key));
        if (found != m_shown.end() && WantsRow(found->first, found->second.name, found->second.fax))
            wanted.push_back(key);
    }
    // Rows hidden or shown are no change of marking: no events.
    ++m_quietItemChanges;
    const bool changed = listview::ShowOnlyRows(m_list, wanted, [this](LPARAM key) {
        const Shown& shown = m_shown[ULONG_PTR(key)];
        m_list.AppendRow(key, {RowNumber(RowCount() + 1).c_str(), shown.name.c_str(), shown.fax.c_str()});
    });
    if (changed) {
        m_list.SetSortMode(7);
        if (!m_list.IsCheckBoxMode()) m_list.Renumber();
    }
    --m_quietItemChanges;
    if (!changed) return;
    FitColumns(false);
    UpdateButtons();
}

// The first row the text finds that is not marked yet: checked in check-box
// mode, else added to the selection, so that each name typed and entered
// adds a recipient.
void CPhonebookControl::MarkFirstMatch() {
    if (!HasList() || !m_search.Active()) return;
    const win::ListViewCtrl list = List();
    for (int row = 0, count = list.GetItemCount(); row < count; ++row) {
        const auto found = m_shown.find(ULONG_PTR(m_list.KeyOfItem(row)));
        if (found == m_shown.end() || m_list.IsMarked(row) ||
            !m_search.Matches(LPARAM(found->first), found->second.name, found->second.fax))
            continue;
        if (m_list.IsCheckBoxMode()) list.SetItemState(row, INDEXTOSTATEIMAGEMASK(2), LVIS_STATEIMAGEMASK);
        else list.SetItemState(row, LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED);
        list.EnsureVisible(row);
        return;
    }
}

namespace {

// The width a header item needs for its text, in the header's font, with
// the header's margins (three edges either side) and, when given, a check box
// before the text as the header draws it.
int HeaderTextWidth(const win::HeaderCtrl& header, int column, bool checkBox) {
    wchar_t text[128] = {};
    HDITEMW item{};
    item.mask = HDI_TEXT;
    item.pszText = text;
    item.cchTextMax = int(std::size(text));
    if (!header.hwnd() || !header.GetItem(column, item)) return 0;
    SIZE size{};
    if (text[0]) {
        const HDC dc = ::GetDC(header.hwnd());
        const auto font = reinterpret_cast<HFONT>(::SendMessageW(header.hwnd(), WM_GETFONT, 0, 0));
        const HGDIOBJ previous = ::SelectObject(dc, font ? font : ::GetStockObject(DEFAULT_GUI_FONT));
        ::GetTextExtentPoint32W(dc, text, lstrlenW(text), &size);
        ::SelectObject(dc, previous);
        ::ReleaseDC(header.hwnd(), dc);
    }
    const int margins = 2 * 3 * ::GetSystemMetrics(SM_CXEDGE) + 2;
    // The box (13 units) stands 5 units in, the text 4 after it.
    const int box = checkBox ? win::ScaleX(5 + 13 + 4) : 0;
    return size.cx + margins + box;
}

}  // namespace

void CPhonebookControl::FitColumns(bool resized) {
    if (!HasList()) return;
    // A change of widths commits an open edit: only a resize may do that.
    if (!resized && m_list.IsEditing()) return;
    const win::ListViewCtrl list = List();
    if (list.GetHeader().GetItemCount() < 3) return;
    static constexpr int kLeast96[3] = {30, 94, 84};  // the published widths at 96 dpi
    int least[3];
    for (int column = 0; column < 3; ++column) least[column] = win::ScaleX(kLeast96[column]);
    // The check-box column holds its header text beside the box, in every language.
    if (m_list.IsCheckBoxMode()) {
        const int sorted = m_list.GetSortMode() == 1 || m_list.GetSortMode() == 2 ? listview::kHeaderImageWidth + 8 : 0;
        least[0] = std::max(least[0], HeaderTextWidth(list.GetHeader(), 0, true) + sorted);
    }
    if (resized) std::fill(std::begin(m_fittedWidths), std::end(m_fittedWidths), 0);

    int width[3];
    bool kept[3];
    for (int column = 0; column < 3; ++column) {
        const int now = list.GetColumnWidth(column);
        kept[column] = m_fittedWidths[column] != 0 && now != m_fittedWidths[column];
        width[column] = kept[column] ? now : least[column];
    }
    RECT inside{};
    ::GetClientRect(list.hwnd(), &inside);
    const int spare = int(inside.right) - (width[0] + width[1] + width[2]);
    // Name and number share what is left, in the proportion of their least widths.
    if (spare > 0) {
        if (!kept[1] && !kept[2]) {
            const int toName = spare * least[1] / (least[1] + least[2]);
            width[1] += toName;
            width[2] += spare - toName;
        } else if (!kept[1]) {
            width[1] += spare;
        } else if (!kept[2]) {
            width[2] += spare;
        }
    }
    for (int column = 0; column < 3; ++column) {
        if (!kept[column] && list.GetColumnWidth(column) != width[column]) list.SetColumnWidth(column, width[column]);
        m_fittedWidths[column] = list.GetColumnWidth(column);
    }
}
