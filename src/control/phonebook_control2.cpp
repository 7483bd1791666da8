#include "control/phonebook_control2.h"

#include "com/strings.h"
#include "core/unique_name.h"
#include "localization/language.h"
#include "localization/string_ids.h"
#include "ui/edc_blend.h"
#include "ui/entry_info_dlg.h"
#include "ui/gdiplus_include.h"
#include "ui/message_box_dlg.h"
#include "ui/skin_service.h"
#include "win/display.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cwchar>
#include <utility>

namespace {

bool IsChecked(UINT state) noexcept { return (state & LVIS_STATEIMAGEMASK) == INDEXTOSTATEIMAGEMASK(2); }

}  // namespace

CPhonebookControl2::CPhonebookControl2() {
    // The control draws its images with GDI+ for as long as it lives.
    Gdiplus::GdiplusStartupInput input;
    if (Gdiplus::GdiplusStartup(&m_gdiplusToken, &input, nullptr) != Gdiplus::Ok) m_gdiplusToken = 0;
    // The template's extent (163 x 170 dialog units, "MS Shell Dlg" 8) on
    // this screen, until a container sets one.
    const int dpi = win::ScreenDpiX();
    OleState().extent = com::PixelsToHimetric(SIZE{::MulDiv(163 * 6, dpi, 4 * 96), ::MulDiv(170 * 13, dpi, 8 * 96)});
    m_list.SetOwner(this);
}

CPhonebookControl2::~CPhonebookControl2() {
    DestroyControlWindow();
    ReleaseSkin();
    if (m_gdiplusToken) Gdiplus::GdiplusShutdown(m_gdiplusToken);
}

// --- IVelPhonebookControl --------------------------------------------------

HRESULT CPhonebookControl2::FillRow(int row, ULONG* id, BSTR* name, BSTR* fax) {
    const ULONG_PTR key = ULONG_PTR(m_list.KeyOfItem(row));
    const CRecipient* record = CPhonebookManager2::FindRecord(key);
    if (!record) return HRESULT(-1);
    com::UniqueBstr nameText, faxText;
    if (name && !(*nameText.put() = ::SysAllocString(record->name.c_str()))) return E_OUTOFMEMORY;
    if (fax && !(*faxText.put() = ::SysAllocString(record->faxNumber.c_str()))) return E_OUTOFMEMORY;
    if (id) *id = ULONG(key);
    if (name) *name = nameText.release();
    if (fax) *fax = faxText.release();
    return HRESULT(row);
}

STDMETHODIMP CPhonebookControl2::GetItem(int item, ULONG* id, BSTR* name, BSTR* fax) noexcept {
    return com::Boundary([&]() -> HRESULT {
        if (!HasList() || item < 0 || item >= List().GetItemCount()) return HRESULT(-1);
        return FillRow(item, id, name, fax);
    });
}

STDMETHODIMP CPhonebookControl2::GetSelItem(int from, ULONG* id, BSTR* name, BSTR* fax) noexcept {
    return com::Boundary([&]() -> HRESULT {
        if (!HasList()) return HRESULT(-1);
        // Marked rows of this list are the checked ones.
        // From the row after nFrom; INT_MAX has none after it (no wrap).
        const int first = from < 0 ? 0 : from == INT_MAX ? INT_MAX : from + 1;
        for (int row = first, count = List().GetItemCount(); row < count; ++row)
            if (m_list.IsMarked(row)) return FillRow(row, id, name, fax);
        return HRESULT(-1);
    });
}

// --- IVelPhonebookControl2 -------------------------------------------------

STDMETHODIMP CPhonebookControl2::SelectOutlookAddressBook(LONG selected) noexcept {
    return com::Boundary([&]() -> HRESULT {
        if (!IsKnownKind(int(selected)))
            return com::ReportError(E_INVALIDARG, ClassId(), __uuidof(IVelPhonebookControl2),
                                    L"The address book is 1 (Outlook), 0 (Windows) or -1 (recently used).");
        if (int(selected) == Kind() && ShownBookWorks()) return S_OK;
        // Whether the new book opened or not, the list starts empty and a
        // reload follows: a book that failed shows as an empty list.
        const HRESULT hr = int(selected) == Kind() ? ReopenKind() : SelectKind(int(selected));
        m_readFailed = false;
        if (HasList()) {
            m_list.BeginUpdate();
            List().DeleteAllItems();
            m_list.EndUpdate();
        }
        ClearRecords();
        m_search.ClearBook();
        SetMRUSelected(selected == kMRUBook);
        // The published result stays S_OK; BookState and BookError tell.
        NoteBookOpened(hr);
        if (m_hWnd) {
            if (m_vista) m_list.SetHeaderCheck(false);
            PostMessage(kReloadMessage);
        }
        UpdateButtons();
        return S_OK;
    });
}

// --- IVelPhonebookControl3 -------------------------------------------------

// This list always has its check boxes.
STDMETHODIMP CPhonebookControl2::EnableCheckBoxes(LONG, BSTR) noexcept { return S_OK; }

STDMETHODIMP CPhonebookControl2::SelectItem(int item) noexcept {
    if (!HasList()) return S_OK;
    m_list.SelectItemExclusively(item);
    // -1 clears the selection but still shows and checks the first row.
    const int shown = item < 0 ? 0 : item;
    if (shown < List().GetItemCount()) {
        List().EnsureVisible(shown);
        List().SetItemState(shown, INDEXTOSTATEIMAGEMASK(2), LVIS_STATEIMAGEMASK);
    }
    return S_OK;
}

STDMETHODIMP CPhonebookControl2::SetSortMode(int mode) noexcept {
    // The column is |mode|, the sign the direction.
    if (mode == INT_MIN || std::abs(mode) >= listview::kContactColumnCount)
        return com::ReportError(E_INVALIDARG, ClassId(), __uuidof(IVelPhonebookControl3),
                                L"The sort mode names a column of the list, negative for descending.");
    return com::Boundary([&]() -> HRESULT {
        m_list.SortByColumn(std::abs(mode), mode >= 0);
        return S_OK;
    });
}

STDMETHODIMP CPhonebookControl2::GetSortMode(int* mode) noexcept {
    if (!mode)
        return com::ReportError(E_INVALIDARG, ClassId(), __uuidof(IVelPhonebookControl3), L"No place for the answer.");
    // Column + 1, the direction dropped: SetSortMode(-1) reads back as 2.
    *mode = std::abs(m_list.GetSortState());
    return S_OK;
}

// --- IPropertyBag ----------------------------------------------------------

STDMETHODIMP CPhonebookControl2::Read(LPCOLESTR, VARIANT*, IErrorLog*) noexcept { return E_NOTIMPL; }

STDMETHODIMP CPhonebookControl2::Write(LPCOLESTR name, VARIANT* value) noexcept {
    return com::Boundary([&]() -> HRESULT {
        if (!name || !value) return E_INVALIDARG;
        if (::CompareStringOrdinal(name, -1, L"DrvUI", -1, TRUE) == CSTR_EQUAL) {
            if (value->vt != VT_BOOL) return E_INVALIDARG;
            m_drvUI = value->boolVal != VARIANT_FALSE;
            if (m_hWnd) {
                const RECT client = ClientRect();
                Layout(client.right, client.bottom);
                ::RedrawWindow(m_hWnd, nullptr, nullptr, RDW_INVALIDATE | RDW_ALLCHILDREN | RDW_ERASE);
            }
            return S_OK;
        }
        if (::CompareStringOrdinal(name, -1, L"SkinInterface", -1, TRUE) == CSTR_EQUAL) {
            if (value->vt != VT_DISPATCH && value->vt != VT_EMPTY) return E_INVALIDARG;
            ReleaseSkin();
            if (value->vt == VT_DISPATCH && value->pdispVal) {
                m_skin = com::ComPtr<IDispatch>(value->pdispVal);
                ui::SkinEnable(m_skin.get(), true);
                // Without a window yet, the window and its children are
                // registered when the dialog is made.
                if (m_hWnd) ApplySkin();
            }
            return S_OK;
        }
        if (::CompareStringOrdinal(name, -1, L"SearchBox", -1, TRUE) == CSTR_EQUAL) {
            if (value->vt != VT_BOOL) return E_INVALIDARG;
            ShowSearchBox(value->boolVal != VARIANT_FALSE);
            return S_OK;
        }
        return S_OK;  // other names are not ours
    });
}

void CPhonebookControl2::ApplySkin() {
    if (!m_skin || !m_hWnd) return;
    if (FAILED(ui::SkinWindow(m_skin.get(), m_hWnd))) return;
    ui::SkinThemes(m_skin.get(), m_hWnd, 0);
    for (int id : {IDC_NEW, IDC_DELETE, IDC_ADD_TO_BOOK}) ui::SkinThemes(m_skin.get(), GetDlgItem(id), kSkinKindButton);
    ui::SkinThemes(m_skin.get(), GetDlgItem(IDC_LIST), kSkinKindList);
}

void CPhonebookControl2::ReleaseSkin() noexcept {
    if (!m_skin) return;
    // Taken out first: whatever the service does in "Enable" 0, it is told once.
    com::ComPtr<IDispatch> skin = std::move(m_skin);
    ui::SkinEnable(skin.get(), false);
}

// --- The dialog --------------------------------------------------------------

LRESULT CPhonebookControl2::OnInitDialog(UINT, WPARAM, LPARAM, BOOL&) {
    m_vista = localization::CurrentWindowsVersion().major >= 6;
    SetUseWindowsContacts(m_vista);

    m_list.Attach(GetDlgItem(IDC_LIST));
    AttachNote();
    LocalizeDialog();
    m_list.SetUp(LoadText(IDS_COLUMN_NAME).c_str(), LoadText(IDS_COLUMN_FAX).c_str());
    List().SetText(LoadText(IDS_LIST_NAME));
    CreateSearchBox();

    NoteBookOpened(OpenSource());
    SetNotifyWindow(m_hWnd, true);
    SetMRUSelected(Kind() == kMRUBook);

    const RECT client = ClientRect();
    Layout(client.right, client.bottom);
    ApplySkin();
    UpdateButtons();
    PostMessage(kReloadMessage);
    return TRUE;
}

LRESULT CPhonebookControl2::OnDestroy(UINT, WPARAM, LPARAM, BOOL& handled) {
    handled = FALSE;
    ::KillTimer(m_hWnd, kReloadTimer);
    SetNotifyWindow(m_hWnd, false);
    CloseSource();
    ClearRecords();
    m_search.ClearBook();
    m_list.Detach();
    return 0;
}

void CPhonebookControl2::Reload() {
    ::KillTimer(m_hWnd, kReloadTimer);
    IAB* source = Source();
    if (!source) return;
    RecipientList current;
    // A book that cannot be read keeps the rows it showed.
    const HRESULT read = source->LoadFaxRecipients(current);
    NoteBookRead(read);
    m_readFailed = FAILED(read);
    if (m_readFailed) return;
    KeyList known = RecordKeys(), removed;
    RecipientList kept, added;
    source->Compare(current, known, removed, kept, added);

    bool changed = !removed.empty() || !added.empty();
    m_list.BeginUpdate();
    for (ULONG_PTR key : removed) {
        m_list.DeleteItemByKey(LPARAM(key));
        RemoveRecord(key);
    }
    for (const CRecipient& record : kept) {
        const CRecipient* cached = CPhonebookManager2::FindRecord(record.key);
        if (!cached || cached->name != record.name || cached->faxNumber != record.faxNumber ||
            cached->favorite != record.favorite)
            changed = true;
        StoreRecord(record);
        if (m_list.FindItemByKey(LPARAM(record.key)) < 0 && WantsRow(record)) m_list.AppendKey(LPARAM(record.key));
    }
    for (const CRecipient& record : added) {
        StoreRecord(record);
        if (WantsRow(record)) m_list.AppendKey(LPARAM(record.key));
    }
    if (changed) m_list.Resort();
    m_list.EndUpdate();
    std::vector<LPARAM> order;
    order.reserve(current.size());
    for (const CRecipient& record : current) order.push_back(LPARAM(record.key));
    m_search.SetBookOrder(std::move(order));
    // A recipient renamed so that the search no longer finds it goes.
    if (changed && m_search.Active()) ApplySearch();
    if (changed) {
        FitColumns();
        List().Invalidate();
        UpdateButtons();
    }
    if (const ULONG_PTR key = std::exchange(m_selectAfterReload, 0)) SelectNewRow(key);
}

// After "New": the recipient just added is the selected row, in view, and
// the header's "all" check no longer holds.
void CPhonebookControl2::SelectNewRow(ULONG_PTR key) {
    const int row = m_list.FindItemByKey(LPARAM(key));
    if (row >= 0) {
        m_list.SelectItemExclusively(row);
        List().EnsureVisible(row);
    }
    if (m_list.IsHeaderChecked()) m_list.SetHeaderCheck(false);
    UpdateButtons();
}

// Buttons by the number of checked rows: "New" while the book can be
// opened; "Delete" for one or more (and the book open);
// "Add to Address Book" for exactly one, and only while the MRU list is
// shown, since a row of an address book is in one already.
void CPhonebookControl2::UpdateButtons() {
    if (!HasList()) return;
    const int marked = m_list.MarkedCount();
    const int count = List().GetItemCount();
    ::EnableWindow(GetDlgItem(IDC_NEW), BookUsable());
    ::EnableWindow(GetDlgItem(IDC_DELETE), marked > 0 && BookUsable());
    ::EnableWindow(GetDlgItem(IDC_ADD_TO_BOOK), marked == 1 && IsMRUSelected());
    List().GetHeader().Enable(count > 0);
    m_list.SetHeaderCheck(count > 0 && marked == count);
}

int CPhonebookControl2::FirstMarked() const {
    for (int row = 0, count = List().GetItemCount(); row < count; ++row)
        if (m_list.IsMarked(row)) return row;
    return -1;
}

LRESULT CPhonebookControl2::OnItemChanged(int, NMHDR* header, BOOL&) {
    const auto* change = reinterpret_cast<const NMLISTVIEW*>(header);
    if (m_deleting || m_searching || !(change->uChanged & LVIF_STATE) || (change->uChanged & LVIF_TEXT)) return 0;
    if (!((change->uOldState ^ change->uNewState) & 0xF002)) return 0;
    // bSelect tells the row's check, not its selection.
    const bool checked = IsChecked(change->uNewState);
    int marked = 0;
    if (change->iItem != -1 || checked) {
        marked = m_list.MarkedCount();
        m_list.SetHeaderCheck(marked != 0 && marked == List().GetItemCount());
    }
    FireItemSelected(change->iItem, checked, marked);
    UpdateButtons();
    return 0;
}

LRESULT CPhonebookControl2::OnClick(int, NMHDR* header, BOOL&) {
    const auto* click = reinterpret_cast<const NMITEMACTIVATE*>(header);
    LVHITTESTINFO hit{};
    hit.pt = click->ptAction;
    const int row = List().SubItemHitTest(hit);
    if (row < 0 || hit.iSubItem != List().GetHeader().GetItemCount() - 1) return 0;
    // The last column is the favourite star: the flag is stored in the book.
    IAB* source = Source();
    const ULONG_PTR key = ULONG_PTR(m_list.KeyOfItem(row));
    const CRecipient* cached = CPhonebookManager2::FindRecord(key);
    if (!source || !cached) return 0;
    CRecipient record;
    if (FAILED(source->Get(ULONG(key), record))) return 0;
    record.favorite = !cached->favorite;
    SetNotifyWindow(m_hWnd, false);
    const HRESULT hr = source->Modify(ULONG(key), record);
    SetNotifyWindow(m_hWnd, true);
    if (FAILED(hr)) return 0;
    CRecipient stored = *cached;
    stored.favorite = record.favorite;
    StoreRecord(stored);
    RECT cell{};
    List().GetSubItemRect(row, hit.iSubItem, LVIR_BOUNDS, cell);
    ::InvalidateRect(List().hwnd(), &cell, FALSE);
    return 0;
}

LRESULT CPhonebookControl2::OnDoubleClick(int, NMHDR* header, BOOL&) {
    OpenRow(reinterpret_cast<const NMITEMACTIVATE*>(header)->iItem);
    return 0;
}

// F2: the focused row in the entry dialog, as a double click opens it.
void CPhonebookControl2::EditRowFromKeyboard(int row) { OpenRow(row); }

// Delete: the question of the "Delete" button, while that button could be pressed.
void CPhonebookControl2::RemoveFromKeyboard() {
    if (!::IsWindowEnabled(GetDlgItem(IDC_DELETE))) return;
    BOOL handled = TRUE;
    OnDelete(IDC_DELETE, BN_CLICKED, nullptr, handled);
}

void CPhonebookControl2::OpenRow(int row) {
    if (m_deleting || row < 0) return;
    const CRecipient* record = CPhonebookManager2::FindRecord(ULONG_PTR(m_list.KeyOfItem(row)));
    if (!record) return;
    const com::KeepAlive alive = KeepSelf();
    ui::CEntryInfoDlg dialog(ui::CEntryInfoDlg::ModeView, *record, this);
    // Only the MRU list's rows are edited here; the address books are
    // changed in their own programs.
    dialog.SetReadOnly(Kind() != kMRUBook);
    dialog.SetSkinService(m_skin.get());
    ui::DoModalShaded(dialog, m_hWnd);
    if (!StillShown()) return;
    // An edit was written with this window's notices suspended. The reload
    // runs from the timer, outside this notification of the list.
    ReloadSoon();
    List().Invalidate();
}

// --- New, delete, add to the address book ---------------------------------

LRESULT CPhonebookControl2::OnNew(WORD, WORD, HWND, BOOL&) {
    IAB* source = Source();
    RecipientList all;
    if (!source || FAILED(source->LoadAll(all))) return 0;
    CRecipient draft;
    draft.name = UniqueRecipientName(LoadText(IDS_NEW_RECIPIENT), all);
    draft.faxNumber = LoadText(IDS_NEW_NUMBER);
    const com::KeepAlive alive = KeepSelf();
    ui::CEntryInfoDlg dialog(ui::CEntryInfoDlg::ModeNew, draft, this);
    dialog.SetSkinService(m_skin.get());
    if (ui::DoModalShaded(dialog, HostWindow()) != 1 || !StillShown()) return 0;
    // The new row is selected once the reload has brought it in; the reload
    // runs from the timer, outside the button's own message.
    m_selectAfterReload = dialog.Record().key;
    ReloadSoon();
    return 0;
}

LRESULT CPhonebookControl2::OnDelete(WORD, WORD, HWND, BOOL&) {
    IAB* source = Source();
    int count = List().GetItemCount();
    int marked = m_list.MarkedCount();
    if (!source || count == 0 || marked == 0) return 0;
    const std::wstring question = RemoveQuestion(marked);
    const com::KeepAlive alive = KeepSelf();
    const unsigned opened = SourceGeneration();
    if (ui::ShowMessageBox(m_skin.get(), HostWindow(), question.c_str(), LoadText(IDS_REMOVE).c_str(),
                           MB_YESNO | MB_ICONQUESTION | MB_DEFBUTTON2) != IDYES)
        return 0;
    // Closed, or another book chosen, while the question was open: the
    // marked rows are not there to delete any more.
    if (!StillShown() || SourceGeneration() != opened) return 0;
    // A reload may have run meanwhile: the rows marked now are the ones meant.
    count = List().GetItemCount();
    marked = m_list.MarkedCount();
    if (count == 0 || marked == 0) return 0;

    // Our own deletions come back as no reload and no per-row events.
    SetNotifyWindow(m_hWnd, false);
    m_deleting = true;
    SetRedraw(false);
    m_list.BeginUpdate();
    int highest = -1;
    for (int row = count - 1; row >= 0; --row) {
        if (!m_list.IsMarked(row)) continue;
        const ULONG_PTR key = ULONG_PTR(m_list.KeyOfItem(row));
        if (FAILED(source->Delete(ULONG(key)))) continue;
        RemoveRecord(key);
        m_list.DeleteItemByKey(LPARAM(key));
        highest = std::max(highest, row);
    }
    m_list.EndUpdate();
    SetRedraw(true);
    m_deleting = false;
    SetNotifyWindow(m_hWnd, true);
    ::RedrawWindow(m_hWnd, nullptr, nullptr, RDW_INVALIDATE | RDW_ALLCHILDREN | RDW_ERASE);

    const bool all = marked == count;
    FireItemSelected(all ? -1 : marked < 2 ? highest : -2, false, 0);
    if (!StillShown()) return 0;  // the host closed the control from the event
    UpdateButtons();
    if (all) {
        m_list.SetHeaderCheck(false);
        List().Invalidate();
        ::EnableWindow(GetDlgItem(IDC_DELETE), FALSE);
        ::EnableWindow(GetDlgItem(IDC_ADD_TO_BOOK), FALSE);
    }
    return 0;
}

LRESULT CPhonebookControl2::OnAddToBook(WORD, WORD, HWND, BOOL&) {
    if (List().GetItemCount() == 0 || m_list.MarkedCount() != 1) return 0;
    const CRecipient* record = CPhonebookManager2::FindRecord(ULONG_PTR(m_list.KeyOfItem(FirstMarked())));
    if (!record) return 0;
    // No owner: the dialog stores the recipient in the book chosen in the settings.
    const com::KeepAlive alive = KeepSelf();
    ui::CEntryInfoDlg dialog(ui::CEntryInfoDlg::ModeNew, *record, nullptr);
    dialog.SetSkinService(m_skin.get());
    ui::DoModalShaded(dialog, HostWindow());
    if (StillShown()) List().Invalidate();
    return 0;
}

// --- Layout ------------------------------------------------------------------

// The list takes all the room above the button band and stretches both
// ways; its fax number column takes what the other columns leave. The buttons keep their template height and their distance from the
// bottom: "New" and "Delete" stay at the left; "Add to Address Book" goes to
// the right edge and is as wide as its text needs (at least the template's
// 50 units), so the three never overlap while the control is wide enough.
void CPhonebookControl2::Layout(int width, int height) {
    if (!HasList()) return;
    const RECT band = DialogUnits(3, 170 - 139, 50, 14);  // left margin, band height, width, height
    // The search box, when shown, takes a band above the list.
    const int searchBand = m_searchBox.BandHeight();
    m_searchBox.Place(width);
    List().Move({0, searchBand, width, std::max(long(searchBand), height - band.top)});
    const bool resized = width != m_fittedSize.cx || height != m_fittedSize.cy;
    m_fittedSize = {width, height};
    FitColumns(resized);
    const int top = height - band.top;
    const RECT deleteLeft = DialogUnits(57, 0, 0, 0);
    ::MoveWindow(GetDlgItem(IDC_NEW), band.left, top, band.right, band.bottom, TRUE);
    ::MoveWindow(GetDlgItem(IDC_DELETE), deleteLeft.left, top, band.right, band.bottom, TRUE);

    const HWND add = GetDlgItem(IDC_ADD_TO_BOOK);
    wchar_t text[128] = {};
    ::GetWindowTextW(add, text, 128);
    const HDC dc = ::GetDC(add);
    const HGDIOBJ old = ::SelectObject(dc, reinterpret_cast<HGDIOBJ>(::SendMessageW(add, WM_GETFONT, 0, 0)));
    SIZE extent{};
    ::GetTextExtentPoint32W(dc, text, int(wcslen(text)), &extent);
    ::SelectObject(dc, old);
    ::ReleaseDC(add, dc);
    const int addWidth = std::max(int(band.right), int(extent.cx + 2 * band.left) + win::ScaleX(8));
    const int addLeft = std::max(int(deleteLeft.left + band.right + band.left), int(width - band.left - addWidth));
    ::MoveWindow(add, addLeft, top, std::max(int(band.right), std::min(addWidth, int(width - band.left - addLeft))),
                 band.bottom, TRUE);
}

// Name and number share the list's spare width, so that both are shown
// whole when there is room and the star stays in view without a horizontal
// scroll bar (a narrow cell ends its text with an ellipsis). A column the
// user resized keeps its width until the control is resized.
void CPhonebookControl2::FitColumns(bool resized) {
    using listview::CColumnFit;
    const std::vector<CColumnFit::Column> columns = {
        {win::ScaleX(26), 0}, {win::ScaleX(60), 100}, {win::ScaleX(24), 88}, {win::ScaleX(26), 0}};
    m_columnFit.Fit(List().hwnd(), columns, resized);
}
