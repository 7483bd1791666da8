// The phonebook list's behaviours, each a mix-in over the one below:
// CLVEditable (in-place editing with CEditInList, and CEditNotify, which keeps
// the list's built-in label editing out), CLVSortable (sort modes 0-7, header
// images, comparison, renumbering) and CLVCheckable (check-box mode with the
// header's check box). CPhonebookListView stacks all three for the first
// control class.
#pragma once

#include "control/edit_in_list.h"
#include "control/list_view_base.h"
#include "control/type_ahead.h"
#include "core/recipient.h"
#include "win/display.h"

#include <commctrl.h>

#include <algorithm>
#include <cwchar>
#include <numeric>
#include <string>
#include <vector>

namespace listview {

// Whether the system is Windows 6 (Vista) or later.
bool IsWindows6OrLater() noexcept;
// The registered number of "WMU_ADJUST_HEADER".
UINT AdjustHeaderMessage() noexcept;
// Private messages of the list: open an edit that was asked for while the
// list was busy (a rejected commit, a label edit the list wanted to start).
UINT ReopenEditMessage() noexcept;
UINT BeginEditMessage() noexcept;
// The header images built in code: 9 pixels wide, 1 an upward (ascending)
// and 0 a downward (descending) triangle. The control loads bitmap 201 instead.
HIMAGELIST CreateSortArrowImages() noexcept;
// Loads the header images from a bitmap resource (9-pixel images, mask 0,128,128).
HIMAGELIST LoadHeaderImages(HINSTANCE module, int resourceId) noexcept;

// ---------------------------------------------------------------------------
// In-place editing.
//
// The edit position (item, start code) is recorded by the owner (Add: 1,
// Edit: 2) or by a row insertion (0); StartEdit opens the box over the name
// cell of that item (or over a given column). Columns 1 and 2 are editable.
// A move past the last editable column wraps to the first one of the same row
// and back (Tab in the number goes to the name, Shift+Tab in the name to the
// number): the edit stays with the one recipient being typed in.
//
// The commit reaches the parent as kEndEditNotify; the list itself writes no
// text into the cell, the parent does that once it has accepted it. When the
// parent answers 1 the list reopens the edit on the same cell offering the
// rejected text again (so nothing typed is lost; Escape then restores the
// cell), unless the restart-suppressed flag is set, which is then cleared.
// The edited row is followed by its key, so rows inserted or removed by a
// reload during the edit do not make the text land on another row; when the
// edited row itself goes, the edit is cancelled.
template <class T, class TBase = CListViewCtrlImplV2<T>>
class CLVEditable : public TBase {
public:
    // Relays the list's own begin-label-edit notification to the editable
    // list. That notification goes to the list's parent, so the relay
    // subclasses the parent (the control's dialog). On Windows 6 and later it
    // answers 1 whatever the relay returned, which keeps the built-in label
    // editing from ever running.
    class CEditNotify : public win::SubclassImpl<CEditNotify> {
    public:
        bool Attach(HWND parent, T* list) {
            m_list = list;
            return this->Subclass(parent);
        }
        BEGIN_MSG_MAP(CEditNotify)
            MESSAGE_HANDLER(WM_NOTIFY, OnNotify)
        END_MSG_MAP()
        LRESULT OnNotify(UINT, WPARAM, LPARAM lParam, BOOL& handled) {
            const auto* header = reinterpret_cast<const NMHDR*>(lParam);
            if (!m_list || header->hwndFrom != m_list->m_hWnd ||
                (header->code != LVN_BEGINLABELEDITW && header->code != LVN_BEGINLABELEDITA)) {
                handled = FALSE;
                return 0;
            }
            const LRESULT relayed = m_list->OnBeginLabelEdit(reinterpret_cast<const NMLVDISPINFOW*>(lParam));
            return IsWindows6OrLater() ? 1 : relayed;
        }

    private:
        T* m_list = nullptr;
    };

    bool Attach(HWND list) {
        if (!TBase::Attach(list)) return false;
        m_editNotify.Attach(::GetParent(list), static_cast<T*>(this));
        return true;
    }
    void Detach() {
        EndEdit(false);
        m_editNotify.Unsubclass();
        TBase::Detach();
    }

    // A fill or a reload: redrawing off, and the relay and the header's
    // subclass out of the way. Every inserted row notifies the parent and
    // every cell text asks the header for its column order; a message through
    // a subclass costs more than the list's own work (under Wine each one
    // looks the subclass up in the window's properties, a round trip to the
    // server). Nests; the last EndUpdate restores all and repaints.
    void BeginUpdate() {
        if (m_updates++ > 0) return;
        this->List().SetRedraw(false);
        m_editNotify.Unsubclass();
        this->Header().Detach();
    }
    void EndUpdate() {
        if (m_updates <= 0 || --m_updates > 0) return;
        if (const HWND header = this->List().GetHeader().hwnd()) this->Header().Attach(header);
        m_editNotify.Attach(this->GetParent(), static_cast<T*>(this));
        this->List().SetRedraw(true);
        this->Invalidate(false);
    }

    void SetEditPosition(int item, int startCode) noexcept {
        m_editItem = item;
        m_editStartCode = startCode;
    }
    int EditItem() const noexcept { return m_editItem; }
    int EditStartCode() const noexcept { return m_editStartCode; }
    bool IsEditing() const noexcept { return m_edit.IsOpen(); }
    // Whether a click on a selected row's label opens the edit box; the
    // owner's own edit requests are not affected.
    void AllowLabelEdit(bool allowed) noexcept { m_labelEditAllowed = allowed; }
    int EditColumn() const noexcept { return m_edit.Column(); }
    CEditInList& EditBox() noexcept { return m_edit; }
    void SetRestartSuppressed(bool suppressed) noexcept { m_restartSuppressed = suppressed; }
    bool IsRestartSuppressed() const noexcept { return m_restartSuppressed; }

    // The editable columns and what each accepts; T may declare its own.
    bool IsEditableColumn(int column) const noexcept { return column == kNameColumn || column == kFaxColumn; }
    CEditInList::Settings EditSettings(int column) const {
        CEditInList::Settings settings;
        if (column == kFaxColumn) {
            settings.limit = kMaxListFaxLength;
            settings.kind = CEditInList::InputKind::Number;
            settings.allowed = kListFaxChars;
        } else {
            settings.limit = kMaxListNameLength;
        }
        return settings;
    }
    int NeighbourColumn(int column, bool next) const noexcept {
        const int count = this->List().GetHeader().GetItemCount();
        for (int step = 1; step <= count; ++step) {
            const int candidate = ((column + (next ? step : -step)) % count + count) % count;
            if (Self().IsEditableColumn(candidate)) return candidate;
        }
        return column;
    }

    // Opens the edit box at the recorded edit position (an open edit is
    // committed first). `shownText` replaces the cell's text in the box.
    bool StartEdit(int column = kNameColumn, const std::wstring* shownText = nullptr) {
        if (IsEditing()) EndEdit(true);
        const win::ListViewCtrl list = this->List();
        const int item = m_editItem;
        if (item < 0 || item >= list.GetItemCount() || !Self().IsEditableColumn(column)) return false;
        list.EnsureVisible(item, false);
        RECT cell{};
        if (!list.GetSubItemRect(item, column, LVIR_BOUNDS, cell)) return false;
        // Scroll a cell that lies partly outside the client area into view.
        const RECT client = list.ClientRect();
        int scroll = 0;
        if (cell.right > client.right) scroll = cell.right - client.right;
        if (cell.left - scroll < client.left) scroll = cell.left - client.left;
        if (scroll) {
            list.SendMessage(LVM_SCROLL, WPARAM(scroll), 0);
            list.GetSubItemRect(item, column, LVIR_BOUNDS, cell);
        }
        if (column == 0) cell.right = cell.left + list.GetColumnWidth(0);
        const std::wstring text = list.GetItemText(item, column, kEditBufferSize - 1);
        m_editKey = this->KeyOfItem(item);
        return m_edit.Open(list, cell, item, column, text, shownText ? *shownText : text, Self().EditSettings(column));
    }
    // Moves an open edit box over its row's cell again, wherever rows
    // inserted, removed or sorted have taken that row.
    void FollowEditedRow() {
        if (!IsEditing()) return;
        const int row = this->FindItemByKey(m_editKey);
        if (row < 0) return;
        m_editItem = row;
        const win::ListViewCtrl list = this->List();
        RECT cell{};
        if (!list.GetSubItemRect(row, m_edit.Column(), LVIR_BOUNDS, cell)) return;
        if (m_edit.Column() == 0) cell.right = cell.left + list.GetColumnWidth(0);
        m_edit.MoveTo(cell, row);
    }
    // Ends an open edit, keeping (commit) or dropping the text.
    void EndEdit(bool commit = true) {
        if (IsEditing()) m_edit.End(commit ? kEditCommit : kEditCancel);
    }

    // The list's own label editing was about to start on an item: edit that
    // item with the box instead, once the list has finished its click.
    // Letters typed into the list find a recipient by name; while a cell
    // is being edited nothing moves.
    LRESULT OnChar(UINT, WPARAM wParam, LPARAM, BOOL& handled) {
        if (IsEditing()) return 0;
        const HWND list = this->m_hWnd;
        handled = m_typeAhead.OnChar(list, wchar_t(wParam), [list](int row) { return CellText(list, row, kNameColumn); });
        return 0;
    }

    // Not where the owner has editing off (a book that cannot be changed).
    LRESULT OnBeginLabelEdit(const NMLVDISPINFOW* info) {
        if (info && info->item.iItem >= 0 && m_labelEditAllowed) {
            SetEditPosition(info->item.iItem, kStartAfterEdit);
            this->PostMessage(BeginEditMessage(), WPARAM(kNameColumn), 0);
        }
        return 1;
    }

    void OnRowInserted(int row) {
        TBase::OnRowInserted(row);
        SetEditPosition(row, kStartAfterInsert);
    }
    void OnRowDeleting(int row) {
        if (IsEditing() && this->KeyOfItem(row) == m_editKey) {
            m_editKey = kNoKey;
            m_edit.End(kEditCancel);
        }
        TBase::OnRowDeleting(row);
    }
    void OnAllRowsDeleting() {
        if (IsEditing()) {
            m_editKey = kNoKey;
            m_edit.End(kEditCancel);
        }
        TBase::OnAllRowsDeleting();
    }

    BEGIN_MSG_MAP(CLVEditable)
        MESSAGE_HANDLER(WM_CHAR, OnChar)
        MESSAGE_HANDLER(WM_NOTIFY, OnNotify)
        MESSAGE_HANDLER(WM_COMMAND, OnEditMove)
        MESSAGE_HANDLER(kEditCommit, OnEndEditRequest)
        MESSAGE_HANDLER(WM_SIZE, OnLayoutChange)
        MESSAGE_HANDLER(WM_HSCROLL, OnLayoutChange)
        MESSAGE_HANDLER(WM_VSCROLL, OnLayoutChange)
        MESSAGE_HANDLER(WM_MOUSEWHEEL, OnLayoutChange)
        MESSAGE_HANDLER(WM_MOUSEHWHEEL, OnLayoutChange)
        MESSAGE_HANDLER(LVM_SCROLL, OnLayoutChange)
        if (uMsg == ReopenEditMessage()) {
            lResult = OnReopen();
            return true;
        }
        if (uMsg == BeginEditMessage()) {
            lResult = StartEdit(int(wParam));
            return true;
        }
        CHAIN_MSG_MAP(TBase)
    END_MSG_MAP()

private:
    static constexpr LPARAM kNoKey = LPARAM(0x7FFFFFFF5EEDBEEFLL);
    T& Self() noexcept { return *static_cast<T*>(this); }
    const T& Self() const noexcept { return *static_cast<const T*>(this); }

    LRESULT OnNotify(UINT, WPARAM, LPARAM lParam, BOOL& handled) {
        const auto* header = reinterpret_cast<const NMHDR*>(lParam);
        if (header->code == kEditCommit || header->code == kEditCancel) {
            OnEditEnded(header->code, reinterpret_cast<const NMLVDISPINFOW*>(lParam));
            return 0;
        }
        if (header->code == kEditReserved1 || header->code == kEditReserved2) return 0;
        // A header item changed (a column resized): the box would stand over
        // the wrong place, so the focus goes to the list, which commits.
        if (header->hwndFrom == this->List().GetHeader().hwnd() &&
            (header->code == HDN_ITEMCHANGEDW || header->code == HDN_ITEMCHANGEDA)) {
            if (IsEditing()) FocusListAndCommit();
            else this->Invalidate(false);
        }
        handled = FALSE;
        return 0;
    }

    void OnEditEnded(UINT code, const NMLVDISPINFOW* info) {
        const int row = m_editKey == kNoKey ? -1 : this->FindItemByKey(m_editKey);
        m_pendingMove = false;
        if (code != kEditCommit || row < 0) return;
        m_editItem = row;
        NMLVDISPINFOW notify = *info;
        notify.hdr.hwndFrom = this->m_hWnd;
        notify.hdr.idFrom = UINT_PTR(this->GetDlgCtrlID());
        notify.hdr.code = kEndEditNotify;
        notify.item.iItem = row;
        const LRESULT rejected =
            ::SendMessageW(this->GetParent(), WM_NOTIFY, notify.hdr.idFrom, reinterpret_cast<LPARAM>(&notify));
        if (rejected != 1) return;
        // A move that follows a rejected commit is dropped: the edit stays on the cell.
        m_dropMove = info->item.lParam != 0;
        if (m_restartSuppressed) {
            m_restartSuppressed = false;
            return;
        }
        m_rejectedText = info->item.pszText ? info->item.pszText : L"";
        m_reopenColumn = info->item.iSubItem;
        this->PostMessage(ReopenEditMessage());
    }

    LRESULT OnReopen() {
        const int row = this->FindItemByKey(m_editKey);
        if (row < 0) return 0;
        m_editItem = row;
        const std::wstring text = std::move(m_rejectedText);
        return StartEdit(m_reopenColumn, &text);
    }

    LRESULT OnEditMove(UINT, WPARAM wParam, LPARAM, BOOL& handled) {
        const UINT code = HIWORD(wParam);
        if (LOWORD(wParam) != CEditInList::kControlId || (code != kEditNextColumn && code != kEditPreviousColumn)) {
            handled = FALSE;
            return 0;
        }
        if (std::exchange(m_dropMove, false)) return 0;
        const int row = m_editKey == kNoKey ? -1 : this->FindItemByKey(m_editKey);
        if (row < 0 || IsEditing()) return 0;
        m_editItem = row;
        StartEdit(NeighbourColumn(m_edit.Column(), code == kEditNextColumn));
        return 0;
    }

    // 2541 sent to the list: end the open edit. A non-zero wParam names the
    // edit (the mouse hook's request) and is ignored when that edit is over.
    LRESULT OnEndEditRequest(UINT, WPARAM wParam, LPARAM, BOOL&) {
        if (IsEditing() && (wParam == 0 || wParam == m_edit.Generation())) EndEdit(true);
        return 0;
    }

    LRESULT OnLayoutChange(UINT, WPARAM, LPARAM, BOOL& handled) {
        if (IsEditing()) FocusListAndCommit();
        handled = FALSE;
        return 0;
    }

    void FocusListAndCommit() {
        ::SetFocus(this->m_hWnd);
        // The box had no focus to lose (another thread's window was active).
        EndEdit(true);
    }

    CEditInList m_edit;
    CEditNotify m_editNotify;
    int m_updates = 0;
    int m_editItem = -1;
    int m_editStartCode = kStartAfterInsert;
    bool m_labelEditAllowed = true;
    CTypeAhead m_typeAhead;
    bool m_restartSuppressed = false;
    bool m_dropMove = false;
    bool m_pendingMove = false;
    LPARAM m_editKey = kNoKey;
    std::wstring m_rejectedText;
    int m_reopenColumn = kNameColumn;
};

// Holds a list in an update (BeginUpdate/EndUpdate) for the life of the object.
template <class TList>
class CListUpdate {
public:
    explicit CListUpdate(TList& list) : m_list(list) { m_list.BeginUpdate(); }
    ~CListUpdate() { m_list.EndUpdate(); }
    CListUpdate(const CListUpdate&) = delete;
    CListUpdate& operator=(const CListUpdate&) = delete;

private:
    TList& m_list;
};

// ---------------------------------------------------------------------------
// Sorting.
//
// The column-0 callback gets the two texts (comparison kind 0, as
// reinterpret_cast<LPARAM>(const wchar_t*)) or the two keys (kind 1), the
// direction (+1 or -1) and the context value.
using Column0Compare = int (*)(LPARAM first, LPARAM second, int direction, LPARAM context);
// The default: leading decimal digits as integers; 0 when equal or a text is missing.
int DefaultColumn0Compare(LPARAM first, LPARAM second, int direction, LPARAM context);

// The comparison of two rows by the rules of the sort modes (kept apart from
// the window so that it is one function for every sort).
struct SortRow {
    LPARAM key;
    const std::wstring* text;
};
int CompareRows(const SortRow& first, const SortRow& second, int column, int direction, int kind,
                Column0Compare callback, LPARAM context);

template <class T, class TBase = CLVEditable<T>>
class CLVSortable : public TBase {
public:
    explicit CLVSortable(short compareKind = 0) noexcept : m_compareKind(compareKind) {}
    ~CLVSortable() {
        if (m_headerImages) ::ImageList_Destroy(m_headerImages);
    }

    // The header images (the list keeps and destroys them).
    void SetHeaderImages(HIMAGELIST images) {
        if (m_headerImages) ::ImageList_Destroy(m_headerImages);
        m_headerImages = images;
        this->List().GetHeader().SetImageList(images);
    }

    // 0 unsorted; 1/2 "#" ascending/descending, 3/4 name, 5/6 number; 7 sorts
    // again in the current mode; above 7 ignored. Before the list window
    // exists the mode is only kept. An open edit stays open and follows its
    // row: a re-sort after someone else's change must not commit what the
    // user is half-way through typing.
    void SetSortMode(unsigned short mode) {
        if (mode > 7) return;
        if (mode != 7) m_sortMode = short(mode);
        if (!this->m_hWnd) return;
        UpdateHeaderImages();
        if (m_sortMode >= 1 && m_sortMode <= 6) Sort();
        this->FollowEditedRow();
    }
    short GetSortMode() const noexcept { return m_sortMode; }
    short CompareKind() const noexcept { return m_compareKind; }
    void SetColumn0Compare(Column0Compare callback, LPARAM context) noexcept {
        m_column0Compare = callback;
        m_column0Context = context;
    }
    void SetRowNumberFormat(const wchar_t* format) { m_rowNumberFormat = format ? format : L""; }
    const std::wstring& RowNumberFormat() const noexcept { return m_rowNumberFormat; }

    // Writes the row numbers into the "#" column (nothing with kind 1): i + 1,
    // or count - i in mode 2, in the current row-number format.
    void Renumber() {
        if (m_compareKind == 1) return;
        const int count = int(this->Keys().size());
        wchar_t text[32];
        for (int row = count - 1; row >= 0; --row) {
            const int number = m_sortMode == 2 ? count - row : row + 1;
            text[0] = L'\0';
            if (!m_rowNumberFormat.empty()) swprintf(text, 32, m_rowNumberFormat.c_str(), number);
            this->SetCellText(row, 0, text);
        }
    }

    // The number of "WMU_ADJUST_HEADER", registered when the list was made.
    UINT AdjustHeaderMessageId() const noexcept { return m_adjustHeaderMessage; }

    BEGIN_MSG_MAP(CLVSortable)
        if (uMsg == m_adjustHeaderMessage) {
            UpdateHeaderImages();
            lResult = m_sortMode;
            return true;
        }
        MESSAGE_HANDLER(LVM_INSERTCOLUMNW, OnColumnChange)
        MESSAGE_HANDLER(LVM_SETCOLUMNW, OnColumnChange)
        CHAIN_MSG_MAP(TBase)
    END_MSG_MAP()

protected:
    // Sorts in the current mode.
    void Sort() {
        if (m_sortMode < 1 || m_sortMode > 6) return;
        const int column = (m_sortMode - 1) / 2;
        const int direction = (m_sortMode % 2) ? 1 : -1;
        const std::vector<LPARAM>& keys = this->Keys();
        std::vector<std::wstring> texts(keys.size());
        for (size_t row = 0; row < keys.size(); ++row)
            texts[row] = this->CellText(int(row), column);
        std::vector<int> order(keys.size());
        std::iota(order.begin(), order.end(), 0);
        std::stable_sort(order.begin(), order.end(), [&](int a, int b) {
            return CompareRows({keys[size_t(a)], &texts[size_t(a)]}, {keys[size_t(b)], &texts[size_t(b)]}, column,
                               direction, m_compareKind, m_column0Compare, m_column0Context) < 0;
        });
        this->ApplyOrder(order);
    }

    // The sorted column shows the mode's image on the right; the others none.
    // Left alone when header item 1 is owner-drawn (its owner draws the state).
    // Items already right are not set again: every change of a header item
    // makes the list lay its columns out anew.
    void UpdateHeaderImages() {
        const win::HeaderCtrl header = this->List().GetHeader();
        if (!header.hwnd() || (header.GetFormat(1) & HDF_OWNERDRAW)) return;
        const int sorted = m_sortMode >= 1 && m_sortMode <= 6 ? (m_sortMode - 1) / 2 : -1;
        const int columns = std::min(3, header.GetItemCount());
        for (int column = 0; column < columns; ++column) {
            HDITEMW item{};
            item.mask = HDI_FORMAT | HDI_IMAGE;
            if (!header.GetItem(column, item)) continue;
            const int format = item.fmt;
            const int image = item.iImage;
            item.mask = HDI_FORMAT | HDI_IMAGE;
            item.fmt &= ~(HDF_IMAGE | HDF_BITMAP_ON_RIGHT);
            item.iImage = 0;
            if (column == sorted) {
                item.fmt |= HDF_IMAGE | HDF_BITMAP_ON_RIGHT;
                item.iImage = (m_sortMode % 2) ? kImageAscending : kImageDescending;
            }
            FitHeaderText(header, column, column == sorted);
            // Without the image flag the image index is not shown, so only
            // the sorted column's index needs to be compared. (A header item
            // set again also ends an open edit: a re-sort must not.)
            if (item.fmt == format && (column != sorted || item.iImage == image)) continue;
            header.SetItem(column, item);
        }
    }

    // A header text is never shown cut: a column too narrow for its text,
    // and for the sort arrow while it has one, grows to hold them (a longer
    // language, or "Fax Number" with its arrow). Columns never shrink here,
    // so nothing moves while an edit is open unless a sort added an arrow.
    void FitHeaderText(const win::HeaderCtrl& header, int column, bool withImage) {
        wchar_t text[128] = {};
        HDITEMW item{};
        item.mask = HDI_TEXT;
        item.pszText = text;
        item.cchTextMax = int(std::size(text));
        if (!header.GetItem(column, item) || !text[0]) return;
        const HDC dc = ::GetDC(header.hwnd());
        if (!dc) return;
        const auto font = reinterpret_cast<HFONT>(::SendMessageW(header.hwnd(), WM_GETFONT, 0, 0));
        const HGDIOBJ previous = ::SelectObject(dc, font ? font : ::GetStockObject(DEFAULT_GUI_FONT));
        SIZE size{};
        ::GetTextExtentPoint32W(dc, text, lstrlenW(text), &size);
        ::SelectObject(dc, previous);
        ::ReleaseDC(header.hwnd(), dc);
        // The header keeps three edges either side of its text and of its
        // image, and a pixel for each divider.
        const int margin = 3 * ::GetSystemMetrics(SM_CXEDGE);
        const int needed = size.cx + 2 * margin + 2 + (withImage ? kHeaderImageWidth + 2 * margin : 0);
        if (this->List().GetColumnWidth(column) < needed) this->List().SetColumnWidth(column, needed);
    }

private:
    // A column inserted or changed may have lost its header decorations.
    LRESULT OnColumnChange(UINT, WPARAM, LPARAM, BOOL& handled) {
        this->PostMessage(m_adjustHeaderMessage);
        handled = FALSE;
        return 0;
    }

    UINT m_adjustHeaderMessage = AdjustHeaderMessage();
    short m_sortMode = 0;
    short m_compareKind = 0;
    Column0Compare m_column0Compare = &DefaultColumn0Compare;
    LPARAM m_column0Context = 0;
    std::wstring m_rowNumberFormat = L"%d";
    HIMAGELIST m_headerImages = nullptr;
};

// ---------------------------------------------------------------------------
// Check boxes.
//
// A click on the header's check box checks every row, or unchecks every row
// when it was checked. The owner keeps the header box in step with the rows
// through SetHeaderCheck, which changes the header without touching the rows.
template <class T, class TBase = CLVSortable<T>>
class CLVCheckable : public TBase {
public:
    using TBase::TBase;

    // Keeps the header notifications raised by the list's own header changes
    // from being handled again.
    class CSuppressNotify {
    public:
        explicit CSuppressNotify(int& depth) noexcept : m_depth(depth) { ++m_depth; }
        ~CSuppressNotify() { --m_depth; }
        CSuppressNotify(const CSuppressNotify&) = delete;
        CSuppressNotify& operator=(const CSuppressNotify&) = delete;

    private:
        int& m_depth;
    };

    // Switches check-box mode (nothing when it does not change).
    void SetCheckBoxMode(bool on, const wchar_t* headerText) {
        if (on == m_checkBoxes) return;
        const win::ListViewCtrl list = this->List();
        list.SetExtendedStyle(LVS_EX_CHECKBOXES, on ? LVS_EX_CHECKBOXES : 0);
        if (on) list.ModifyStyle(0, LVS_SINGLESEL);
        else list.ModifyStyle(LVS_SINGLESEL, 0);
        const int count = list.GetItemCount();
        wchar_t number[16] = L"";
        for (int row = 0; row < count; ++row) {
            if (!on) swprintf(number, 16, L"%i", row + 1);
            list.SetItemText(row, 0, number);
        }
        {
            CSuppressNotify guard(m_suppress);
            const win::HeaderCtrl header = list.GetHeader();
            if (on) header.ModifyStyle(0, HDS_CHECKBOXES);
            else header.ModifyStyle(HDS_CHECKBOXES, 0);
            HDITEMW item{};
            item.mask = HDI_FORMAT;
            header.GetItem(0, item);
            item.mask = HDI_FORMAT | HDI_TEXT;
            if (on) item.fmt |= HDF_CHECKBOX;
            else item.fmt &= ~(HDF_CHECKBOX | HDF_CHECKED);
            m_headerText = headerText ? headerText : L"";
            item.pszText = const_cast<wchar_t*>(m_headerText.c_str());
            header.SetItem(0, item);
            header.Invalidate();
        }
        m_checkBoxes = on;
        this->SetRowNumberFormat(on ? L"" : L"%d");
    }
    bool IsCheckBoxMode() const noexcept { return m_checkBoxes; }

    // Checked rows with check boxes, selected rows without; -1 never.
    bool IsMarked(int item) const noexcept {
        if (item < 0) return false;
        const win::ListViewCtrl list = this->List();
        if (m_checkBoxes) return (list.GetItemState(item, kStateImageMask) & kStateImageMask) == kCheckedImage;
        return (list.GetItemState(item, LVIS_SELECTED) & LVIS_SELECTED) != 0;
    }
    // Asked after every change of marking: the list's own count of selected
    // rows, and without subclass messages per row where rows must be read.
    int MarkedCount() const noexcept {
        if (!m_checkBoxes) return int(this->Direct(LVM_GETSELECTEDCOUNT, 0, 0));
        const int count = int(this->Direct(LVM_GETITEMCOUNT, 0, 0));
        int marked = 0;
        for (int row = 0; row < count; ++row)
            marked += (this->Direct(LVM_GETITEMSTATE, WPARAM(row), kStateImageMask) & kStateImageMask) == kCheckedImage;
        return marked;
    }
    // Selects the item alone (-1 only clears the selection).
    void SelectItemExclusively(int item) const noexcept {
        const win::ListViewCtrl list = this->List();
        if (!(list.GetStyle() & LVS_SINGLESEL)) list.SetItemState(-1, 0, LVIS_SELECTED);
        if (item >= 0) list.SetItemState(item, LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED);
        else list.SetItemState(-1, 0, LVIS_SELECTED);
    }
    // Checks or unchecks every row.
    void CheckAll(bool checked) const noexcept {
        this->List().SetItemState(-1, INDEXTOSTATEIMAGEMASK(checked ? 2 : 1), LVIS_STATEIMAGEMASK);
    }
    // Sets the header's check box without touching the rows.
    void SetHeaderCheck(bool checked) {
        CSuppressNotify guard(m_suppress);
        const win::HeaderCtrl header = this->List().GetHeader();
        const int format = header.GetFormat(0);
        const int wanted = checked ? (format | HDF_CHECKED) : (format & ~HDF_CHECKED);
        if (wanted != format) header.SetFormat(0, wanted);
    }
    bool IsHeaderChecked() const noexcept { return (this->List().GetHeader().GetFormat(0) & HDF_CHECKED) != 0; }

    BEGIN_MSG_MAP(CLVCheckable)
        MESSAGE_HANDLER(WM_NOTIFY, OnHeaderNotify)
        if (uMsg == this->AdjustHeaderMessageId()) AdjustHeader();
        CHAIN_MSG_MAP(TBase)
    END_MSG_MAP()

protected:
    // The header's check box changes state: every row follows it.
    LRESULT OnHeaderItemChanging(const NMHEADERW* change) {
        if (m_suppress || !m_checkBoxes || change->iItem != 0 || !change->pitem ||
            !(change->pitem->mask & HDI_FORMAT))
            return FALSE;
        const bool checked = (change->pitem->fmt & HDF_CHECKED) != 0;
        if (checked == IsHeaderChecked()) return FALSE;
        CSuppressNotify guard(m_suppress);
        CheckAll(checked);
        return FALSE;
    }

    // The header's check box was clicked: toggle it (the rows follow through
    // OnHeaderItemChanging).
    void OnHeaderCheckClick() {
        const win::HeaderCtrl header = this->List().GetHeader();
        header.SetFormat(0, header.GetFormat(0) ^ HDF_CHECKED);
        header.Invalidate();
    }

    void AdjustHeader() {
        if (!m_checkBoxes) return;
        CSuppressNotify guard(m_suppress);
        const win::HeaderCtrl header = this->List().GetHeader();
        header.ModifyStyle(0, HDS_CHECKBOXES);
        HDITEMW item{};
        item.mask = HDI_FORMAT;
        header.GetItem(0, item);
        item.mask = HDI_FORMAT | HDI_TEXT;
        item.fmt |= HDF_CHECKBOX;
        item.pszText = const_cast<wchar_t*>(m_headerText.c_str());
        header.SetItem(0, item);
    }

private:
    LRESULT OnHeaderNotify(UINT, WPARAM, LPARAM lParam, BOOL& handled) {
        handled = FALSE;
        const auto* header = reinterpret_cast<const NMHEADERW*>(lParam);
        if (header->hdr.hwndFrom != this->List().GetHeader().hwnd()) return 0;
        switch (header->hdr.code) {
        case HDN_ITEMCHANGINGW:
        case HDN_ITEMCHANGINGA:
            return OnHeaderItemChanging(header);
        case HDN_ITEMSTATEICONCLICK:
            if (!m_checkBoxes || header->iItem != 0) return 0;
            handled = TRUE;
            OnHeaderCheckClick();
            return 0;
        case HDN_ITEMCLICKW:
        case HDN_ITEMCLICKA:
        case HDN_ITEMDBLCLICKW:
        case HDN_ITEMDBLCLICKA:
            // Where the header draws no check box of its own, its box is ours
            // and so is a click on it (which is then no column click); the
            // second click of a quick pair toggles again.
            if (m_checkBoxes && header->iItem == 0 && !HeaderHasNativeCheckBoxes() && ClickOnHeaderBox(header->hdr.hwndFrom)) {
                handled = TRUE;
                OnHeaderCheckClick();
            }
            return 0;
        default:
            return 0;
        }
    }

    static bool ClickOnHeaderBox(HWND header) noexcept {
        const DWORD position = ::GetMessagePos();
        POINT point{GET_X_LPARAM_(position), GET_Y_LPARAM_(position)};
        ::ScreenToClient(header, &point);
        RECT item{};
        if (!::SendMessageW(header, HDM_GETITEMRECT, 0, reinterpret_cast<LPARAM>(&item))) return false;
        RECT box = HeaderCheckBoxRect(item);
        ::InflateRect(&box, win::ScaleX(3), win::ScaleY(3));
        return ::PtInRect(&box, point) != FALSE;
    }
    static int GET_X_LPARAM_(DWORD value) noexcept { return int(short(LOWORD(value))); }
    static int GET_Y_LPARAM_(DWORD value) noexcept { return int(short(HIWORD(value))); }

    bool m_checkBoxes = false;
    int m_suppress = 0;
    std::wstring m_headerText;
};

// The list of the first control class: editable, sortable (comparison kind 0)
// and checkable.
class CPhonebookListView : public CLVCheckable<CPhonebookListView> {
public:
    explicit CPhonebookListView(short compareKind = 0) noexcept : CLVCheckable(compareKind) {}

    // Full-row selection, the header images, the three columns at their
    // 96-dpi widths scaled to the screen, check-box mode off.
    void SetUpColumns(const wchar_t* number, const wchar_t* name, const wchar_t* fax, HIMAGELIST headerImages);

    BEGIN_MSG_MAP(CPhonebookListView)
        CHAIN_MSG_MAP(CLVCheckable<CPhonebookListView>)
    END_MSG_MAP()
};

}  // namespace listview
