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
    const std::unordered_set<LPARAM> marked = listview::MarkedKeys(m_list);
    std::vector<LPARAM> wanted;
    wanted.reserve(m_shown.size());
    for (const LPARAM key : m_search.BookOrder()) {
        const auto found = m_shown.find(ULONG_PTR(key));
        if (found != m_shown.end() &&
            (marked.count(key) || m_search.Matches(key, found->second.name, found->second.fax)))
            wanted.push_back(key);
    }
    // Rows hidden or shown are no change of marking: no events.
    ++m_quietItemChanges;
    // An unsorted list keeps the order rows are appended in: after a refill
    // each row got its number as it came, which spares a second pass over
    // every row (a message per row costs about what the row's insertion does).
    const bool numbered = !m_list.IsCheckBoxMode();
    const bool unsorted = m_list.GetSortMode() == 0;
    const bool changed = listview::ShowOnlyRows(
        m_list, wanted,
        [this, numbered, unsorted](LPARAM key) {
            const Shown& shown = m_shown[ULONG_PTR(key)];
            const std::wstring number = numbered && unsorted ? RowNumber(RowCount() + 1) : std::wstring();
            m_list.AppendRow(key, {number.c_str(), shown.name.c_str(), shown.fax.c_str()});
        },
        [this, numbered, unsorted](bool refilled) {
            m_list.SetSortMode(7);
            if (numbered && !(unsorted && refilled)) m_list.Renumber();
        });
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
        if (m_list.IsCheckBoxMode())
            list.SetItemState(row, INDEXTOSTATEIMAGEMASK(2), LVIS_STATEIMAGEMASK);
        else
            list.SetItemState(row, LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED);
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
    // The published widths at 96 dpi are the least; name and number share.
    std::vector<listview::CColumnFit::Column> columns = {
        {win::ScaleX(30), 0}, {win::ScaleX(94), 94}, {win::ScaleX(84), 84}};
    // The check-box column holds its header text beside the box, in every language.
    if (m_list.IsCheckBoxMode()) {
        const int sorted =
            m_list.GetSortMode() == 1 || m_list.GetSortMode() == 2 ? listview::kHeaderImageWidth + 8 : 0;
        columns[0].least = std::max(columns[0].least, HeaderTextWidth(list.GetHeader(), 0, true) + sorted);
        columns[0].firm = true;
    }
    m_columnFit.Fit(list.hwnd(), columns, resized);
}
