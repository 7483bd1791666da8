// The list of the second control class: owner-drawn fixed rows with a check
// box on every row and in the header, name and fax number from the owner's
// record cache, the favourite star in the last column, and sorting by a click
// on a column header with the header's sort indicator.
#pragma once

#include "control/list_view.h"
#include "core/recipient.h"

#include <vector>

namespace listview {

// Columns of the contact list.
inline constexpr int kContactCheckColumn = 0;
inline constexpr int kContactNameColumn = 1;
inline constexpr int kContactFaxColumn = 2;
inline constexpr int kContactFavoriteColumn = 3;
inline constexpr int kContactColumnCount = 4;

// Comparison kinds of the columns.
//   0 records' names: linguistic, case-insensitive, ties by number
//   1 the cells' texts, ordinal after case folding (also every other kind but 0, 2, 3)
//   2 records' fax numbers by their dial digits, ties by the whole text, then by name
//   3 the records' favourite flags: favourites after the others when ascending
inline constexpr int kCompareName = 0;
inline constexpr int kCompareText = 1;
inline constexpr int kCompareNumber = 2;
inline constexpr int kCompareFavorite = 3;

// What the list asks of its owner (the control, whose manager keeps the records).
class IContactListOwner {
public:
    virtual ~IContactListOwner() = default;
    // The cached record of a key, or null.
    virtual const CRecipient* FindRecord(LPARAM key) = 0;
    // The comparison kind of each column; a column beyond the table compares equal.
    virtual const std::vector<int>& ColumnCompareKinds() = 0;
};

// The kinds the control gives its columns: the check-box column has no text
// (its rows compare equal), then name, number and favourite.
const std::vector<int>& DefaultContactCompareKinds();

// Compares two records' rows by a kind (direction +1 or -1); a missing record
// sorts after present ones when ascending.
int CompareContacts(const CRecipient* first, const CRecipient* second, const std::wstring& firstText,
                    const std::wstring& secondText, int kind, int direction);

class CContactHeaderCtrl : public CHeaderCtrlImplV2<CContactHeaderCtrl> {
public:
    // Moves the sort indicator: the previous column loses the up and down
    // flags, the column gets up (ascending) or down. -1 names no column.
    void SetSortIndicator(int previousColumn, int column, bool ascending);
    // +1 up, -1 down, 0 none.
    int SortIndicator(int column) const;

    BEGIN_MSG_MAP(CContactHeaderCtrl)
        CHAIN_MSG_MAP(CHeaderCtrlImplV2<CContactHeaderCtrl>)
    END_MSG_MAP()
};

class CContactListView;
using CContactListBase =
    CLVCheckable<CContactListView,
                 CLVSortable<CContactListView,
                             CLVEditable<CContactListView, CListViewCtrlImplV2<CContactListView, CContactHeaderCtrl>>>>;

class CContactListView : public CContactListBase {
public:
    CContactListView() noexcept : CContactListBase(1) {}

    // Hands the owner-drawing messages, which go to the list's parent, to the list.
    class COwnerDrawRelay : public win::SubclassImpl<COwnerDrawRelay> {
    public:
        bool Attach(HWND parent, CContactListView* list) {
            m_list = list;
            return Subclass(parent);
        }
        BEGIN_MSG_MAP(COwnerDrawRelay)
            MESSAGE_HANDLER(WM_DRAWITEM, OnDrawItem)
            MESSAGE_HANDLER(WM_MEASUREITEM, OnMeasureItem)
        END_MSG_MAP()
        LRESULT OnDrawItem(UINT, WPARAM, LPARAM lParam, BOOL& handled);
        LRESULT OnMeasureItem(UINT, WPARAM, LPARAM lParam, BOOL& handled);

    private:
        CContactListView* m_list = nullptr;
    };

    bool Attach(HWND list);
    void Detach();
    // The owner-drawing relay steps aside during an update as well.
    void BeginUpdate();
    void EndUpdate();
    void SetOwner(IContactListOwner* owner) noexcept { m_owner = owner; }

    // Columns (check box, name, fax number, favourite star) at their 96-dpi
    // widths scaled to the screen, rows at the screen's height for the font,
    // check boxes on with the header's box.
    void SetUp(const wchar_t* name, const wchar_t* fax);
    // Appends a row for a record key (texts come from the owner's records).
    // The row count is the key map's: asking the list would pass its
    // subclasses, a round trip to the server per row under Wine.
    int AppendKey(LPARAM key) { return AppendRow(key, {L""}); }
    // What a cell shows: the record's name or number, else the item's own text.
    std::wstring DisplayText(int row, int column);
    int RowHeight() const;

    // Sort state: 0 unsorted, column + 1 ascending, -(column + 1) descending.
    void SetSortState(int state);
    int GetSortState() const noexcept { return m_sortState; }
    void SortByColumn(int column, bool ascending) { SetSortState(ascending ? column + 1 : -(column + 1)); }
    // A header click: ascending unless already ascending on that column.
    void ToggleSort(int column) { SortByColumn(column, m_sortState != column + 1); }
    // Sorts again in the current state (after a reload).
    void Resort() { SetSortState(m_sortState); }

    // No cell of this list is edited in place (the entry dialog edits records).
    bool IsEditableColumn(int) const noexcept { return false; }

    void DrawItem(const DRAWITEMSTRUCT& item);
    int HotRow() const noexcept { return m_hotRow; }

    BEGIN_MSG_MAP(CContactListView)
        MESSAGE_HANDLER(WM_CHAR, OnChar)
        MESSAGE_HANDLER(WM_LBUTTONDOWN, OnButtonDown)
        MESSAGE_HANDLER(WM_LBUTTONDBLCLK, OnButtonDown)
        MESSAGE_HANDLER(WM_MOUSEMOVE, OnMouseMove)
        MESSAGE_HANDLER(WM_MOUSELEAVE, OnMouseLeave)
        MESSAGE_HANDLER(WM_ENABLE, OnRepaint)
        MESSAGE_HANDLER(WM_SETFOCUS, OnRepaint)
        MESSAGE_HANDLER(WM_KILLFOCUS, OnRepaint)
        CHAIN_MSG_MAP(CContactListBase)
        NOTIFY_CODE_HANDLER(HDN_ITEMCLICKW, OnHeaderClick)
        NOTIFY_CODE_HANDLER(HDN_ITEMCLICKA, OnHeaderClick)
    END_MSG_MAP()

private:
    // Letters typed into the list find a recipient by name.
    LRESULT OnChar(UINT, WPARAM wParam, LPARAM, BOOL& handled) {
        handled = m_typeAhead.OnChar(m_hWnd, wchar_t(wParam), [this](int row) {
            const CRecipient* record = m_owner ? m_owner->FindRecord(KeyOfItem(row)) : nullptr;
            return record ? record->name : std::wstring();
        });
        return 0;
    }
    LRESULT OnButtonDown(UINT, WPARAM, LPARAM, BOOL&);
    LRESULT OnMouseMove(UINT, WPARAM, LPARAM, BOOL&);
    LRESULT OnMouseLeave(UINT, WPARAM, LPARAM, BOOL&);
    LRESULT OnRepaint(UINT, WPARAM, LPARAM, BOOL&);
    LRESULT OnHeaderClick(int, NMHDR*, BOOL&);
    void Sort();
    void InvalidateRow(int row);
    void DrawCell(HDC dc, const RECT& cell, int row, int column, int columns, COLORREF text, bool enabled);

    IContactListOwner* m_owner = nullptr;
    COwnerDrawRelay m_relay;
    int m_sortState = 0;
    int m_hotRow = -1;
    bool m_trackingLeave = false;
    CTypeAhead m_typeAhead;
    int m_updates = 0;
};

// Draws the favourite star (filled when set) centred in the rectangle.
// In high contrast the star is drawn in `ink` (the row's text colour),
// outlined, and filled with it when a favourite.
void DrawFavoriteStar(HDC dc, const RECT& cell, bool favorite, bool enabled, COLORREF ink = CLR_INVALID);

}  // namespace listview
