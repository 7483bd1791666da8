#include "control/interim_list.h"

#include <algorithm>
#include <cwctype>
#include <string>
#include <vector>

#ifndef HDS_CHECKBOXES
#define HDS_CHECKBOXES 0x0400
#endif
#ifndef HDF_CHECKBOX
#define HDF_CHECKBOX 0x0040
#define HDF_CHECKED 0x0080
#endif

namespace {

constexpr UINT kCheckedImage = INDEXTOSTATEIMAGEMASK(2);

// The number a "#" text starts with; false when it has no digits.
bool LeadingNumber(const std::wstring& text, long long& number) {
    size_t i = 0;
    number = 0;
    while (i < text.size() && std::iswdigit(text[i])) number = number * 10 + (text[i++] - L'0');
    return i > 0;
}

struct Row {
    LPARAM key;
    std::wstring text;
};

struct SortContext {
    int column;
    int direction;
    std::vector<Row>* rows;  // sorted by key, for the look-up by key
};

const Row* FindRow(const std::vector<Row>& rows, LPARAM key) {
    const auto found = std::lower_bound(rows.begin(), rows.end(), key,
                                        [](const Row& row, LPARAM k) { return row.key < k; });
    return found != rows.end() && found->key == key ? &*found : nullptr;
}

int CALLBACK CompareRows(LPARAM first, LPARAM second, LPARAM context) {
    const auto* sort = reinterpret_cast<const SortContext*>(context);
    if (LONG(first) < 0) return -sort->direction;
    if (LONG(second) < 0) return sort->direction;
    const Row* a = FindRow(*sort->rows, first);
    const Row* b = FindRow(*sort->rows, second);
    if (!a || !b) return 0;
    if (sort->column == CInterimListView::kColumnNumber) {
        long long x = 0, y = 0;
        if (!LeadingNumber(a->text, x) || !LeadingNumber(b->text, y) || x == y) return 0;
        return x > y ? sort->direction : -sort->direction;
    }
    const int order = a->text.compare(b->text);
    if (order == 0) return 0;
    return order > 0 ? sort->direction : -sort->direction;
}

}  // namespace

bool CInterimListView::IsMarked(int item) const noexcept {
    if (item < 0) return false;
    if (m_checkBoxes) return (GetItemState(item, LVIS_STATEIMAGEMASK) & LVIS_STATEIMAGEMASK) == kCheckedImage;
    return (GetItemState(item, LVIS_SELECTED) & LVIS_SELECTED) != 0;
}

int CInterimListView::GetMarkedCount() const noexcept {
    if (!m_checkBoxes) return GetSelectedCount();
    int count = 0;
    for (int i = 0, n = GetItemCount(); i < n; ++i) count += IsMarked(i) ? 1 : 0;
    return count;
}

void CInterimListView::SetCheckBoxMode(bool enable, const std::wstring& headerText) {
    if (enable == m_checkBoxes) return;
    SetExtendedStyle(LVS_EX_CHECKBOXES, enable ? LVS_EX_CHECKBOXES : 0);
    ModifyStyle(enable ? 0 : LVS_SINGLESEL, enable ? LVS_SINGLESEL : 0);
    m_checkBoxes = enable;
    const int count = GetItemCount();
    for (int i = 0; i < count; ++i) SetItemText(i, kColumnNumber, enable ? L"" : std::to_wstring(i + 1).c_str());
    win::HeaderCtrl header = GetHeader();
    header.ModifyStyle(enable ? 0 : HDS_CHECKBOXES, enable ? HDS_CHECKBOXES : 0);
    HDITEMW item{};
    item.mask = HDI_FORMAT | HDI_TEXT;
    item.fmt = header.GetFormat(0) & ~(HDF_CHECKBOX | HDF_CHECKED);
    if (enable) item.fmt |= HDF_CHECKBOX;
    item.pszText = const_cast<wchar_t*>(headerText.c_str());
    header.SetItem(0, item);
}

void CInterimListView::SetHeaderCheck(bool checked) const noexcept {
    if (!m_checkBoxes) return;
    win::HeaderCtrl header = GetHeader();
    int format = header.GetFormat(0);
    format = checked ? (format | HDF_CHECKED) : (format & ~HDF_CHECKED);
    if (format != header.GetFormat(0)) header.SetFormat(0, format);
}

void CInterimListView::SelectOnly(int item) const noexcept {
    if (!(GetStyle() & LVS_SINGLESEL)) SetItemState(-1, 0, LVIS_SELECTED);
    if (item >= 0) SetItemState(item, LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED);
}

void CInterimListView::SetSortMode(int mode) {
    if (mode > 7 || mode < 0) return;
    if (mode != 7) {
        m_sortMode = mode;
        ShowSortImage();
    }
    if (m_sortMode < 1 || m_sortMode > 6) return;
    const int column = (m_sortMode - 1) / 2;
    // The texts are read once, before the list starts moving its rows.
    std::vector<Row> rows;
    const int count = GetItemCount();
    rows.reserve(size_t(count));
    for (int i = 0; i < count; ++i) rows.push_back({GetItemData(i), GetItemText(i, column)});
    std::sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) { return a.key < b.key; });
    SortContext context{column, m_sortMode % 2 == 1 ? 1 : -1, &rows};
    SortItems(&CompareRows, reinterpret_cast<LPARAM>(&context));
}

void CInterimListView::ShowSortImage() const noexcept {
    win::HeaderCtrl header = GetHeader();
    HDITEMW owner{};
    owner.mask = HDI_FORMAT;
    if (header.GetItem(1, owner) && (owner.fmt & HDF_OWNERDRAW)) return;
    const int sorted = m_sortMode >= 1 && m_sortMode <= 6 ? (m_sortMode - 1) / 2 : -1;
    for (int column = 0; column < 3; ++column) {
        HDITEMW item{};
        item.mask = HDI_FORMAT;
        if (!header.GetItem(column, item)) continue;
        item.mask = HDI_FORMAT | HDI_IMAGE;
        if (column == sorted) {
            item.fmt |= HDF_IMAGE | HDF_BITMAP_ON_RIGHT;
            item.iImage = m_sortMode % 2 == 1 ? 1 : 0;
        } else {
            item.fmt &= ~(HDF_IMAGE | HDF_BITMAP_ON_RIGHT);
            item.iImage = 0;
        }
        header.SetItem(column, item);
    }
}

std::wstring CInterimListView::RowNumberText(int number) const {
    return m_checkBoxes ? std::wstring() : std::to_wstring(number);
}

void CInterimListView::Renumber() const {
    const int count = GetItemCount();
    for (int i = count - 1; i >= 0; --i)
        SetItemText(i, kColumnNumber, RowNumberText(m_sortMode == 2 ? count - i : i + 1).c_str());
}
