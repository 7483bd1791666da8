// The list-view and header wrappers the phonebook list's mix-ins stack on:
// a subclassed list that keeps its own key-to-row map in step with every
// insertion, removal and sort (so finding a row by its record key never walks
// the rows), and a subclassed header that supplies the header check box where
// the platform's header control has none.
#pragma once

#include "control/list_codes.h"
#include "win/controls.h"
#include "win/display.h"
#include "win/window_impl.h"

#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

namespace listview {

// The keys of the rows in list order and a map from key to row. The map is
// kept lazily: rows below m_valid have their entries, the rest are indexed on
// the first lookup that needs them. Entries are verified against the row
// vector, so stale entries of removed rows do no harm.
class CRowKeys {
public:
    void Assign(std::vector<LPARAM> keys);
    void Clear();
    void Inserted(int row, LPARAM key);
    void Deleted(int row);
    void Changed(int row, LPARAM key);
    // The row of the key, or -1.
    int Find(LPARAM key);
    LPARAM KeyAt(int row) const noexcept { return row >= 0 && row < size() ? m_keys[size_t(row)] : 0; }
    int size() const noexcept { return int(m_keys.size()); }
    const std::vector<LPARAM>& keys() const noexcept { return m_keys; }
    bool HasDuplicates() const noexcept { return m_duplicates; }

private:
    void Index(size_t from);
    std::vector<LPARAM> m_keys;
    std::unordered_map<LPARAM, int> m_rows;
    size_t m_valid = 0;
    bool m_duplicates = false;
};

// Whether the header control draws check boxes itself (HDS_CHECKBOXES).
// Wine's header has no check boxes: there the header subclass draws the box
// and turns a click on it into the state-icon click the real control sends.
bool HeaderHasNativeCheckBoxes() noexcept;
// Whether the header shows HDF_SORTUP/HDF_SORTDOWN (common controls 5.82 and later).
bool HeaderHasSortIndicators() noexcept;
// The rectangle of the check box inside a header item's rectangle.
RECT HeaderCheckBoxRect(const RECT& item) noexcept;
// Draws a check box (the classic frame control, scaled to the screen).
void DrawCheckBox(HDC dc, const RECT& box, bool checked, bool enabled) noexcept;

// A subclassed header. Derived classes add behaviour through their own maps.
template <class T>
class CHeaderCtrlImplV2 : public win::SubclassImpl<T> {
public:
    bool Attach(HWND header) { return this->Subclass(header); }
    void Detach() { this->Unsubclass(); }
    win::HeaderCtrl Header() const noexcept { return win::HeaderCtrl(this->m_hWnd); }

    bool IsItemChecked(int index) const noexcept { return (Header().GetFormat(index) & HDF_CHECKED) != 0; }

    BEGIN_MSG_MAP(CHeaderCtrlImplV2)
        MESSAGE_HANDLER(WM_PAINT, OnPaint)
    END_MSG_MAP()

    // Paints the header, then the check box of item 0 where the platform does not.
    LRESULT OnPaint(UINT message, WPARAM wParam, LPARAM lParam, BOOL&) {
        const LRESULT result = this->DefWindowProc(message, wParam, lParam);
        if (HeaderHasNativeCheckBoxes() || !(this->GetStyle() & HDS_CHECKBOXES)) return result;
        const win::HeaderCtrl header = Header();
        HDITEMW item{};
        wchar_t text[260] = L"";
        item.mask = HDI_FORMAT | HDI_TEXT;
        item.pszText = text;
        item.cchTextMax = 260;
        if (header.GetItemCount() < 1 || !header.GetItem(0, item) || !(item.fmt & HDF_CHECKBOX)) return result;
        RECT rect{};
        if (!header.SendMessage(HDM_GETITEMRECT, 0, reinterpret_cast<LPARAM>(&rect))) return result;
        const HDC dc = ::GetDC(this->m_hWnd);
        if (!dc) return result;
        RECT inner = rect;
        inner.right -= 2;
        inner.bottom -= 2;
        ::FillRect(dc, &inner, ::GetSysColorBrush(COLOR_BTNFACE));
        const RECT box = HeaderCheckBoxRect(rect);
        DrawCheckBox(dc, box, (item.fmt & HDF_CHECKED) != 0, ::IsWindowEnabled(this->m_hWnd) != FALSE);
        RECT textRect = inner;
        textRect.left = box.right + win::ScaleX(4);
        const HGDIOBJ oldFont = ::SelectObject(dc, reinterpret_cast<HFONT>(::SendMessageW(this->m_hWnd, WM_GETFONT, 0, 0)));
        ::SetBkMode(dc, TRANSPARENT);
        ::SetTextColor(dc, ::GetSysColor(::IsWindowEnabled(this->m_hWnd) ? COLOR_BTNTEXT : COLOR_GRAYTEXT));
        if (textRect.left < textRect.right)
            ::DrawTextW(dc, text, -1, &textRect, DT_SINGLELINE | DT_VCENTER | DT_END_ELLIPSIS | DT_NOPREFIX | DT_LEFT);
        ::SelectObject(dc, oldFont);
        ::ReleaseDC(this->m_hWnd, dc);
        return result;
    }
};

// The header of the first control class: nothing beyond the base.
class CListHeaderCtrl : public CHeaderCtrlImplV2<CListHeaderCtrl> {
public:
    BEGIN_MSG_MAP(CListHeaderCtrl)
        CHAIN_MSG_MAP(CHeaderCtrlImplV2<CListHeaderCtrl>)
    END_MSG_MAP()
};

// Sorts rows of a list into a new order in one LVM_SORTITEMS pass: each key
// gets its rank in the order, so the list's own sort needs no texts.
// order[newRow] is the old row. Returns false when keys repeat (the caller
// then reads the keys back from the list).
// `sort` sends LVM_SORTITEMS with its two parameters.
bool ApplyRowOrder(const std::function<void(WPARAM, LPARAM)>& sort, const std::vector<LPARAM>& keys,
                   const std::vector<int>& order);

// The subclassed list. T is the final class, THeader the header subclass.
// Every item insertion, removal, key change and foreign sort passes through
// here, so the key map is right whoever changed the list. Hooks for the layers
// above (found on T, defaults here): OnRowInserted, OnRowDeleting, OnAllRowsDeleting.
template <class T, class THeader = CListHeaderCtrl>
class CListViewCtrlImplV2 : public win::SubclassImpl<T> {
public:
    bool Attach(HWND list) {
        if (!this->Subclass(list)) return false;
        m_listProc = reinterpret_cast<WNDPROC>(::GetClassLongPtrW(list, GCLP_WNDPROC));
        ResyncKeys();
        if (const HWND header = List().GetHeader()) {
            m_header.Attach(header);
            m_headerWnd = header;
            m_headerProc = reinterpret_cast<WNDPROC>(::GetClassLongPtrW(header, GCLP_WNDPROC));
        }
        return true;
    }
    void Detach() {
        m_header.Detach();
        this->Unsubclass();
        m_keys.Clear();
        m_headerWnd = nullptr;
        m_headerProc = nullptr;
    }

    win::ListViewCtrl List() const noexcept { return win::ListViewCtrl(this->m_hWnd); }
    THeader& Header() noexcept { return m_header; }

    // The row whose item data is the key, or -1; constant time on average.
    int FindItemByKey(LPARAM key) { return m_keys.Find(key); }
    LPARAM KeyOfItem(int row) const noexcept { return m_keys.KeyAt(row); }
    const std::vector<LPARAM>& Keys() const noexcept { return m_keys.keys(); }

    // The list's own row operations talk to the list view's procedure
    // directly and keep the key map themselves: a message through the
    // subclass costs several times the list view's own work (under Wine
    // about ten times), and a fill of 10,000 rows sends 30,000 of them.
    // Messages that others send still pass the subclass and keep the map right.

    // Inserts a row with its key and the texts of columns 0, 1, ...; returns its index.
    int InsertRow(int row, LPARAM key, std::initializer_list<const wchar_t*> texts) {
        auto text = texts.begin();
        LVITEMW item{};
        item.mask = LVIF_TEXT | LVIF_PARAM;
        item.iItem = row;
        item.pszText = const_cast<wchar_t*>(text != texts.end() ? *text : L"");
        item.lParam = key;
        const int index = int(Direct(LVM_INSERTITEMW, 0, reinterpret_cast<LPARAM>(&item)));
        if (index < 0) return index;
        m_keys.Inserted(index, key);
        Self().OnRowInserted(index);
        int column = 1;
        for (++text; text < texts.end(); ++text, ++column) SetCellText(index, column, *text);
        return index;
    }
    int AppendRow(LPARAM key, std::initializer_list<const wchar_t*> texts) {
        return InsertRow(m_keys.size(), key, texts);
    }
    bool SetCellText(int row, int column, const wchar_t* text) {
        LVITEMW item{};
        item.iSubItem = column;
        item.pszText = const_cast<wchar_t*>(text);
        return Direct(LVM_SETITEMTEXTW, WPARAM(row), reinterpret_cast<LPARAM>(&item)) != 0;
    }
    std::wstring CellText(int row, int column, int maxChars = kEditBufferSize - 1) {
        std::wstring text(size_t(maxChars) + 1, L'\0');
        LVITEMW item{};
        item.iSubItem = column;
        item.pszText = text.data();
        item.cchTextMax = maxChars + 1;
        text.resize(size_t(Direct(LVM_GETITEMTEXTW, WPARAM(row), reinterpret_cast<LPARAM>(&item))));
        return text;
    }
    bool DeleteRow(int row) {
        if (row < 0 || row >= m_keys.size()) return false;
        Self().OnRowDeleting(row);
        if (!Direct(LVM_DELETEITEM, WPARAM(row), 0)) return false;
        m_keys.Deleted(row);
        return true;
    }
    // A row's state, and the next row after `from` with the given LVNI_
    // flags, straight from the list view (a search reads every row's).
    UINT RowState(int row, UINT mask) const noexcept { return UINT(Direct(LVM_GETITEMSTATE, WPARAM(row), mask)); }
    int NextRow(int from, UINT flags) const noexcept {
        return int(Direct(LVM_GETNEXTITEM, WPARAM(from), MAKELPARAM(flags, 0)));
    }
    // Removes the row of the key; false when there is none.
    bool DeleteItemByKey(LPARAM key) { return DeleteRow(FindItemByKey(key)); }

    // Hooks (T may declare its own and call these).
    void OnRowInserted(int) {}
    void OnRowDeleting(int) {}
    void OnAllRowsDeleting() {}

    BEGIN_MSG_MAP(CListViewCtrlImplV2)
        MESSAGE_HANDLER(LVM_INSERTITEMW, OnInsertItem)
        MESSAGE_HANDLER(LVM_INSERTITEMA, OnInsertItem)
        MESSAGE_HANDLER(LVM_DELETEITEM, OnDeleteItem)
        MESSAGE_HANDLER(LVM_DELETEALLITEMS, OnDeleteAllItems)
        MESSAGE_HANDLER(LVM_SETITEMW, OnSetItem)
        MESSAGE_HANDLER(LVM_SETITEMA, OnSetItem)
        MESSAGE_HANDLER(LVM_SORTITEMS, OnForeignSort)
        MESSAGE_HANDLER(LVM_SORTITEMSEX, OnForeignSort)
    END_MSG_MAP()

protected:
    LRESULT Direct(UINT message, WPARAM wParam, LPARAM lParam) const noexcept {
        return m_listProc ? ::CallWindowProcW(m_listProc, this->m_hWnd, message, wParam, lParam)
                          : ::SendMessageW(this->m_hWnd, message, wParam, lParam);
    }
    // The same for the list's header (painting asks it for every row's cells).
    LRESULT HeaderDirect(UINT message, WPARAM wParam, LPARAM lParam) const noexcept {
        return m_headerProc ? ::CallWindowProcW(m_headerProc, m_headerWnd, message, wParam, lParam)
                            : ::SendMessageW(List().GetHeader().hwnd(), message, wParam, lParam);
    }

    // Puts the rows into the given order (order[newRow] = old row).
    void ApplyOrder(const std::vector<int>& order) {
        if (order.size() != size_t(m_keys.size())) return;
        std::vector<LPARAM> sorted(order.size());
        for (size_t i = 0; i < order.size(); ++i) sorted[i] = m_keys.KeyAt(order[i]);
        const bool unique = ApplyRowOrder(
            [this](WPARAM context, LPARAM compare) { Direct(LVM_SORTITEMS, context, compare); }, m_keys.keys(), order);
        if (unique) m_keys.Assign(std::move(sorted));
        else ResyncKeys();
    }
    // Reads every row's key from the list.
    void ResyncKeys() {
        std::vector<LPARAM> keys(size_t(Direct(LVM_GETITEMCOUNT, 0, 0)));
        for (size_t row = 0; row < keys.size(); ++row) {
            LVITEMW item{};
            item.mask = LVIF_PARAM;
            item.iItem = int(row);
            keys[row] = Direct(LVM_GETITEMW, 0, reinterpret_cast<LPARAM>(&item)) ? item.lParam : 0;
        }
        m_keys.Assign(std::move(keys));
    }

private:
    T& Self() noexcept { return *static_cast<T*>(this); }

    LRESULT OnInsertItem(UINT message, WPARAM wParam, LPARAM lParam, BOOL&) {
        const auto* item = reinterpret_cast<const LVITEMW*>(lParam);
        const LRESULT row = this->DefWindowProc(message, wParam, lParam);
        if (row >= 0 && item) {
            m_keys.Inserted(int(row), (item->mask & LVIF_PARAM) ? item->lParam : 0);
            Self().OnRowInserted(int(row));
        }
        return row;
    }
    LRESULT OnDeleteItem(UINT message, WPARAM wParam, LPARAM lParam, BOOL&) {
        const int row = int(wParam);
        if (row >= 0 && row < m_keys.size()) Self().OnRowDeleting(row);
        const LRESULT deleted = this->DefWindowProc(message, wParam, lParam);
        if (deleted && row >= 0 && row < m_keys.size()) m_keys.Deleted(row);
        return deleted;
    }
    LRESULT OnDeleteAllItems(UINT message, WPARAM wParam, LPARAM lParam, BOOL&) {
        Self().OnAllRowsDeleting();
        const LRESULT result = this->DefWindowProc(message, wParam, lParam);
        if (result) m_keys.Clear();
        return result;
    }
    LRESULT OnSetItem(UINT message, WPARAM wParam, LPARAM lParam, BOOL&) {
        const auto* item = reinterpret_cast<const LVITEMW*>(lParam);
        const LRESULT result = this->DefWindowProc(message, wParam, lParam);
        if (result && item && (item->mask & LVIF_PARAM) && item->iSubItem == 0) m_keys.Changed(item->iItem, item->lParam);
        return result;
    }
    LRESULT OnForeignSort(UINT message, WPARAM wParam, LPARAM lParam, BOOL&) {
        const LRESULT result = this->DefWindowProc(message, wParam, lParam);
        ResyncKeys();
        return result;
    }

    CRowKeys m_keys;
    THeader m_header;
    WNDPROC m_listProc = nullptr;
    HWND m_headerWnd = nullptr;
    WNDPROC m_headerProc = nullptr;
};

}  // namespace listview
