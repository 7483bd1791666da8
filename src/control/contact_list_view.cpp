// The contact list of the second control class: header-driven sorting by
// column kinds, and the owner-drawn rows.
#include "control/contact_list_view.h"

#include "win/high_contrast.h"

#include "win/display.h"

#include <cmath>
#include <numeric>

namespace listview {
namespace {

constexpr double kPi = 3.14159265358979323846;

int Sign(int value) noexcept { return value > 0 ? 1 : value < 0 ? -1 : 0; }

std::wstring DialDigits(const std::wstring& number) {
    std::wstring digits;
    for (const wchar_t c : number) {
        if (c >= L'0' && c <= L'9') digits += c;
    }
    return digits;
}

int CompareNames(const std::wstring& a, const std::wstring& b) {
    const int result = ::CompareStringW(LOCALE_USER_DEFAULT, NORM_IGNORECASE, a.c_str(), int(a.size()), b.c_str(),
                                        int(b.size()));
    return result ? result - CSTR_EQUAL : Sign(a.compare(b));
}

int CompareFolded(const std::wstring& a, const std::wstring& b) {
    const int result = ::CompareStringOrdinal(a.c_str(), int(a.size()), b.c_str(), int(b.size()), TRUE);
    return result ? result - CSTR_EQUAL : Sign(a.compare(b));
}

COLORREF Blend(COLORREF a, COLORREF b, int percentOfA) noexcept {
    const auto mix = [&](int x, int y) { return (x * percentOfA + y * (100 - percentOfA)) / 100; };
    return RGB(mix(GetRValue(a), GetRValue(b)), mix(GetGValue(a), GetGValue(b)), mix(GetBValue(a), GetBValue(b)));
}

void Fill(HDC dc, const RECT& rect, COLORREF color) noexcept {
    const COLORREF old = ::SetBkColor(dc, color);
    ::ExtTextOutW(dc, 0, 0, ETO_OPAQUE, &rect, nullptr, 0, nullptr);
    ::SetBkColor(dc, old);
}

}  // namespace

const std::vector<int>& DefaultContactCompareKinds() {
    static const std::vector<int> kinds{kCompareText, kCompareName, kCompareNumber, kCompareFavorite};
    return kinds;
}

int CompareContacts(const CRecipient* first, const CRecipient* second, const std::wstring& firstText,
                    const std::wstring& secondText, int kind, int direction) {
    if (kind != kCompareName && kind != kCompareNumber && kind != kCompareFavorite)
        return CompareFolded(firstText, secondText) * direction;
    // Rows whose record is gone (the cache is being refreshed) go to the end.
    if (!first || !second) return first == second ? 0 : (first ? -1 : 1) * direction;
    int order = 0;
    switch (kind) {
    case kCompareName:
        order = CompareNames(first->name, second->name);
        if (!order) order = Sign(first->faxNumber.compare(second->faxNumber));
        break;
    case kCompareNumber:
        order = Sign(DialDigits(first->faxNumber).compare(DialDigits(second->faxNumber)));
        if (!order) order = Sign(first->faxNumber.compare(second->faxNumber));
        if (!order) order = CompareNames(first->name, second->name);
        break;
    default:
        order = int(first->favorite) - int(second->favorite);
        break;
    }
    return order * direction;
}

void CContactHeaderCtrl::SetSortIndicator(int previousColumn, int column, bool ascending) {
    if (!HeaderHasSortIndicators()) return;
    const win::HeaderCtrl header = Header();
    const int count = header.GetItemCount();
    if (previousColumn >= 0 && previousColumn < count)
        header.SetFormat(previousColumn, header.GetFormat(previousColumn) & ~(HDF_SORTUP | HDF_SORTDOWN));
    if (column >= 0 && column < count) {
        const int format = header.GetFormat(column) & ~(HDF_SORTUP | HDF_SORTDOWN);
        header.SetFormat(column, format | (ascending ? HDF_SORTUP : HDF_SORTDOWN));
    }
}

int CContactHeaderCtrl::SortIndicator(int column) const {
    const int format = Header().GetFormat(column);
    return (format & HDF_SORTUP) ? 1 : (format & HDF_SORTDOWN) ? -1 : 0;
}

bool CContactListView::Attach(HWND list) {
    if (!CContactListBase::Attach(list)) return false;
    m_relay.Attach(::GetParent(list), this);
    return true;
}

void CContactListView::BeginUpdate() {
    if (m_updates++ == 0) m_relay.Unsubclass();
    CContactListBase::BeginUpdate();
}

void CContactListView::EndUpdate() {
    CContactListBase::EndUpdate();
    if (m_updates > 0 && --m_updates == 0) m_relay.Attach(GetParent(), this);
}

void CContactListView::Detach() {
    m_relay.Unsubclass();
    CContactListBase::Detach();
}

int CContactListView::RowHeight() const {
    // The font's height with room above and below, never less than the check box wants.
    const HDC dc = ::GetDC(m_hWnd);
    const HGDIOBJ old = ::SelectObject(dc, List().GetFont() ? List().GetFont() : ::GetStockObject(DEFAULT_GUI_FONT));
    TEXTMETRICW metrics{};
    ::GetTextMetricsW(dc, &metrics);
    ::SelectObject(dc, old);
    ::ReleaseDC(m_hWnd, dc);
    return std::max(int(metrics.tmHeight) + win::ScaleY(8), win::ScaleY(22));
}

void CContactListView::SetUp(const wchar_t* name, const wchar_t* fax) {
    const win::ListViewCtrl list = List();
    list.SetExtendedStyle(LVS_EX_FULLROWSELECT, LVS_EX_FULLROWSELECT);
    list.InsertColumn(kContactCheckColumn, L"", win::ScaleX(26));
    list.InsertColumn(kContactNameColumn, name, win::ScaleX(100));
    list.InsertColumn(kContactFaxColumn, fax, win::ScaleX(88));
    list.InsertColumn(kContactFavoriteColumn, L"", win::ScaleX(26));
    SetCheckBoxMode(true, L"");
    // The list measured its owner-drawn rows when it was created, before
    // anybody could answer: a one-pixel-wide image list of the row's height
    // sets the height now (the list takes the tallest of font and images).
    const HIMAGELIST rows = ::ImageList_Create(1, RowHeight(), ILC_COLOR32, 1, 0);
    if (const HIMAGELIST old = list.SetImageList(rows, LVSIL_SMALL)) ::ImageList_Destroy(old);
}

std::wstring CContactListView::DisplayText(int row, int column) {
    if (m_owner && (column == kContactNameColumn || column == kContactFaxColumn)) {
        if (const CRecipient* record = m_owner->FindRecord(KeyOfItem(row)))
            return column == kContactNameColumn ? record->name : record->faxNumber;
    }
    return CContactListBase::CellText(row, column);
}

void CContactListView::SetSortState(int state) {
    const int previous = m_sortState ? std::abs(m_sortState) - 1 : -1;
    const int column = state ? std::abs(state) - 1 : -1;
    Header().SetSortIndicator(previous, column, state > 0);
    m_sortState = state;
    if (state) Sort();
}

void CContactListView::Sort() {
    const int column = std::abs(m_sortState) - 1;
    const int direction = m_sortState < 0 ? -1 : 1;
    const std::vector<int>& kinds = m_owner ? m_owner->ColumnCompareKinds() : DefaultContactCompareKinds();
    const int kind = column < int(kinds.size()) ? kinds[size_t(column)] : -1;
    if (kind < 0) return;  // beyond the table every row compares equal: the order stays
    const std::vector<LPARAM>& keys = Keys();
    std::vector<const CRecipient*> records(keys.size());
    std::vector<std::wstring> texts(keys.size());
    for (size_t row = 0; row < keys.size(); ++row) {
        records[row] = m_owner ? m_owner->FindRecord(keys[row]) : nullptr;
        if (kind != kCompareName && kind != kCompareNumber && kind != kCompareFavorite)
            texts[row] = DisplayText(int(row), column);
    }
    std::vector<int> order(keys.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](int a, int b) {
        const bool aNegative = int(keys[size_t(a)]) < 0, bNegative = int(keys[size_t(b)]) < 0;
        if (aNegative || bNegative) return aNegative && !bNegative ? direction > 0 : !aNegative && bNegative ? direction < 0 : false;
        return CompareContacts(records[size_t(a)], records[size_t(b)], texts[size_t(a)], texts[size_t(b)], kind,
                               direction) < 0;
    });
    ApplyOrder(order);
}

LRESULT CContactListView::OnHeaderClick(int, NMHDR* header, BOOL& handled) {
    // The list's header sorts by itself; the column click still reaches the parent.
    handled = FALSE;
    if (header->hwndFrom == Header().hwnd()) ToggleSort(reinterpret_cast<NMHEADERW*>(header)->iItem);
    return 0;
}

LRESULT CContactListView::OnButtonDown(UINT, WPARAM, LPARAM lParam, BOOL& handled) {
    // A click in the check-box column toggles the row's box and nothing else
    // (no selection, no double click opening the record).
    LVHITTESTINFO hit{};
    hit.pt = POINT{short(LOWORD(lParam)), short(HIWORD(lParam))};
    if (List().SubItemHitTest(hit) < 0 || hit.iSubItem != kContactCheckColumn || !IsCheckBoxMode()) {
        handled = FALSE;
        return 0;
    }
    ::SetFocus(m_hWnd);
    List().SetCheckState(hit.iItem, !List().GetCheckState(hit.iItem));
    return 0;
}

LRESULT CContactListView::OnMouseMove(UINT, WPARAM, LPARAM lParam, BOOL& handled) {
    handled = FALSE;
    LVHITTESTINFO hit{};
    hit.pt = POINT{short(LOWORD(lParam)), short(HIWORD(lParam))};
    const int row = List().SubItemHitTest(hit);
    if (row != m_hotRow) {
        InvalidateRow(m_hotRow);
        m_hotRow = row;
        InvalidateRow(row);
    }
    if (!m_trackingLeave) {
        TRACKMOUSEEVENT track{sizeof(track), TME_LEAVE, m_hWnd, 0};
        m_trackingLeave = ::TrackMouseEvent(&track) != FALSE;
    }
    return 0;
}

LRESULT CContactListView::OnMouseLeave(UINT, WPARAM, LPARAM, BOOL& handled) {
    handled = FALSE;
    m_trackingLeave = false;
    InvalidateRow(std::exchange(m_hotRow, -1));
    return 0;
}

LRESULT CContactListView::OnRepaint(UINT, WPARAM, LPARAM, BOOL& handled) {
    handled = FALSE;
    Invalidate(false);
    return 0;
}

void CContactListView::InvalidateRow(int row) {
    if (row < 0) return;
    RECT rect{};
    rect.left = LVIR_BOUNDS;
    if (SendMessage(LVM_GETITEMRECT, WPARAM(row), reinterpret_cast<LPARAM>(&rect)))
        ::InvalidateRect(m_hWnd, &rect, FALSE);
}

void CContactListView::DrawItem(const DRAWITEMSTRUCT& item) {
    const int row = int(item.itemID);
    const HDC dc = item.hDC;
    const bool enabled = IsEnabled();
    const bool focused = ::GetFocus() == m_hWnd;
    const bool selected = (item.itemState & ODS_SELECTED) != 0;
    const COLORREF window = ::GetSysColor(COLOR_WINDOW);
    const COLORREF highlight = ::GetSysColor(COLOR_HIGHLIGHT);
    COLORREF background = window;
    COLORREF text = ::GetSysColor(COLOR_WINDOWTEXT);
    if (!enabled) {
        background = ::GetSysColor(COLOR_BTNFACE);
        text = ::GetSysColor(COLOR_GRAYTEXT);
    } else if (selected && focused) {
        background = highlight;
        text = ::GetSysColor(COLOR_HIGHLIGHTTEXT);
    } else if (selected && win::IsHighContrast()) {
        // High contrast has no blends: the selection in the system's colours.
        background = highlight;
        text = ::GetSysColor(COLOR_HIGHLIGHTTEXT);
    } else if (selected) {
        // Shown always, but quieter while the list has no focus.
        background = Blend(highlight, window, 30);
    } else if (row == m_hotRow && !win::IsHighContrast()) {
        background = Blend(highlight, window, 12);
    }
    Fill(dc, item.rcItem, background);

    // What a row asks of the list and its header goes to their own
    // procedures: through their subclasses each of the twenty or so messages
    // of a row is a round trip to the server under Wine.
    const auto font = reinterpret_cast<HFONT>(Direct(WM_GETFONT, 0, 0));
    const HGDIOBJ oldFont = ::SelectObject(dc, font ? static_cast<HGDIOBJ>(font) : ::GetStockObject(DEFAULT_GUI_FONT));
    const int oldMode = ::SetBkMode(dc, TRANSPARENT);
    const int columns = int(HeaderDirect(HDM_GETITEMCOUNT, 0, 0));
    for (int column = 0; column < columns; ++column) {
        RECT header{};
        HeaderDirect(HDM_GETITEMRECT, WPARAM(column), reinterpret_cast<LPARAM>(&header));
        RECT cell = item.rcItem;
        cell.left = item.rcItem.left + header.left;
        cell.right = item.rcItem.left + header.right;
        DrawCell(dc, cell, row, column, columns, text, enabled);
    }
    ::SetBkMode(dc, oldMode);
    ::SelectObject(dc, oldFont);

    const bool hideFocus = (Direct(WM_QUERYUISTATE, 0, 0) & UISF_HIDEFOCUS) != 0;
    if ((item.itemState & ODS_FOCUS) && focused && !hideFocus) {
        RECT focus = item.rcItem;
        ::InflateRect(&focus, -1, -1);
        ::SetTextColor(dc, text);
        ::DrawFocusRect(dc, &focus);
    }
}

void CContactListView::DrawCell(HDC dc, const RECT& cell, int row, int column, int columns, COLORREF text,
                                bool enabled) {
    if (cell.right <= cell.left) return;
    if (column == kContactCheckColumn && IsCheckBoxMode()) {
        const int size = win::ScaleX(13);
        RECT box{};
        box.left = cell.left + (cell.right - cell.left - size) / 2;
        box.top = cell.top + (cell.bottom - cell.top - size) / 2;
        box.right = box.left + size;
        box.bottom = box.top + size;
        const bool checked = (RowState(row, LVIS_STATEIMAGEMASK) & LVIS_STATEIMAGEMASK) == INDEXTOSTATEIMAGEMASK(2);
        if (box.left >= cell.left) DrawCheckBox(dc, box, checked, enabled);
        return;
    }
    if (column == columns - 1 && column >= kContactFavoriteColumn) {
        const CRecipient* record = m_owner ? m_owner->FindRecord(KeyOfItem(row)) : nullptr;
        DrawFavoriteStar(dc, cell, record && record->favorite, enabled, text);
        return;
    }
    const std::wstring value = DisplayText(row, column);
    RECT rect = cell;
    rect.left += win::ScaleX(6);
    rect.right -= win::ScaleX(6);
    // Too narrow for even the ellipsis: show nothing rather than half a character.
    SIZE ellipsis{};
    ::GetTextExtentPoint32W(dc, L"...", 3, &ellipsis);
    if (value.empty() || rect.right - rect.left < ellipsis.cx) return;
    UINT format = DT_SINGLELINE | DT_VCENTER | DT_END_ELLIPSIS | DT_NOPREFIX | DT_LEFT;
    // Names read in the window's direction; a fax number reads left to right
    // in every language (its "+" and parentheses would swap sides otherwise).
    if (column != kContactFaxColumn && (GetExStyle() & (WS_EX_LAYOUTRTL | WS_EX_RTLREADING))) format |= DT_RTLREADING;
    ::SetTextColor(dc, text);
    ::DrawTextW(dc, value.c_str(), int(value.size()), &rect, format);
}

void DrawFavoriteStar(HDC dc, const RECT& cell, bool favorite, bool enabled, COLORREF ink) {
    const int width = cell.right - cell.left;
    const int height = cell.bottom - cell.top;
    const double outer = std::min(width, height) / 2.0 - win::ScaleX(4);
    if (outer < 3) return;
    const double inner = outer * 0.382;  // the regular five-pointed star
    const double cx = cell.left + width / 2.0;
    const double cy = cell.top + height / 2.0 + outer * 0.08;
    POINT points[10];
    for (int i = 0; i < 10; ++i) {
        const double radius = i % 2 ? inner : outer;
        const double angle = -kPi / 2 + i * kPi / 5;
        points[i] = POINT{LONG(std::lround(cx + radius * std::cos(angle))), LONG(std::lround(cy + radius * std::sin(angle)))};
    }
    const bool system = win::IsHighContrast() && ink != CLR_INVALID;
    const COLORREF gold = system ? ink : RGB(246, 180, 0);
    const COLORREF edge = system ? ink : favorite ? RGB(196, 128, 0) : RGB(160, 160, 160);
    const HPEN pen = ::CreatePen(PS_SOLID, std::max(1, win::ScaleX(1)), enabled ? edge : ::GetSysColor(COLOR_GRAYTEXT));
    const HBRUSH brush = favorite ? ::CreateSolidBrush(enabled ? gold : ::GetSysColor(COLOR_BTNSHADOW)) : nullptr;
    const HGDIOBJ oldPen = ::SelectObject(dc, pen);
    const HGDIOBJ oldBrush = ::SelectObject(dc, brush ? static_cast<HGDIOBJ>(brush) : ::GetStockObject(NULL_BRUSH));
    ::SetPolyFillMode(dc, WINDING);
    ::Polygon(dc, points, 10);
    ::SelectObject(dc, oldBrush);
    ::SelectObject(dc, oldPen);
    ::DeleteObject(pen);
    if (brush) ::DeleteObject(brush);
}

LRESULT CContactListView::COwnerDrawRelay::OnDrawItem(UINT, WPARAM, LPARAM lParam, BOOL& handled) {
    const auto* item = reinterpret_cast<const DRAWITEMSTRUCT*>(lParam);
    if (!m_list || item->CtlType != ODT_LISTVIEW || item->hwndItem != m_list->m_hWnd) {
        handled = FALSE;
        return 0;
    }
    m_list->DrawItem(*item);
    return TRUE;
}

LRESULT CContactListView::COwnerDrawRelay::OnMeasureItem(UINT, WPARAM, LPARAM lParam, BOOL& handled) {
    auto* item = reinterpret_cast<MEASUREITEMSTRUCT*>(lParam);
    if (!m_list || !m_list->m_hWnd || item->CtlType != ODT_LISTVIEW ||
        item->CtlID != UINT(::GetDlgCtrlID(m_list->m_hWnd))) {
        handled = FALSE;
        return 0;
    }
    item->itemHeight = UINT(m_list->RowHeight());
    return TRUE;
}

}  // namespace listview
