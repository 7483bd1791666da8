// The second control's search: the rows shown are the checked ones and
// those the search text finds.
#include "control/phonebook_control2.h"

#include "control/row_filter.h"

bool CPhonebookControl2::WantsRow(const CRecipient& record) {
    return m_search.Matches(LPARAM(record.key), record.name, record.faxNumber) ||
           IsKeyMarked(LPARAM(record.key));
}

void CPhonebookControl2::ApplySearch() {
    if (!HasList()) return;
    const std::unordered_set<LPARAM> marked = listview::MarkedKeys(m_list);
    std::vector<LPARAM> wanted;
    for (const LPARAM key : m_search.BookOrder()) {
        const CRecipient* record = CPhonebookManager2::FindRecord(ULONG_PTR(key));
        if (record && (marked.count(key) || m_search.Matches(key, record->name, record->faxNumber)))
            wanted.push_back(key);
    }
    m_searching = true;
    const bool changed = listview::ShowOnlyRows(
        m_list, wanted, [this](LPARAM key) { m_list.AppendKey(key); }, [this](bool) { m_list.Resort(); });
    m_searching = false;
    if (!changed) return;
    FitColumns();
    List().Invalidate();
    UpdateButtons();
}

// The first row the text finds that is not checked yet gets its check.
void CPhonebookControl2::MarkFirstMatch() {
    if (!HasList() || !m_search.Active()) return;
    const win::ListViewCtrl list = List();
    for (int row = 0, count = list.GetItemCount(); row < count; ++row) {
        const CRecipient* record = CPhonebookManager2::FindRecord(ULONG_PTR(m_list.KeyOfItem(row)));
        if (!record || m_list.IsMarked(row) ||
            !m_search.Matches(LPARAM(record->key), record->name, record->faxNumber))
            continue;
        list.SetItemState(row, INDEXTOSTATEIMAGEMASK(2), LVIS_STATEIMAGEMASK);
        list.EnsureVisible(row);
        return;
    }
}
