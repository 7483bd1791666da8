#include "control/phonebook_control.h"

#include "com/strings.h"
#include "core/unique_name.h"
#include "localization/language.h"
#include "localization/string_ids.h"
#include "sources/oab.h"
#include "win/monitor.h"

#include <algorithm>
#include <climits>
#include <cwchar>
#include <functional>
#include <optional>

namespace {

// The dialog's size (163 x 170 dialog units) in pixels of this screen,
// with the template's font, as the default extent before a container sets one.
SIZE DefaultControlSize() {
    const HDC screen = ::GetDC(nullptr);
    LOGFONTW font{};
    font.lfHeight = -::MulDiv(8, ::GetDeviceCaps(screen, LOGPIXELSY), 72);
    wcscpy_s(font.lfFaceName, L"MS Shell Dlg");
    com::UniqueGdiObject handle(::CreateFontIndirectW(&font));
    const HGDIOBJ old = ::SelectObject(screen, handle.get());
    TEXTMETRICW metrics{};
    ::GetTextMetricsW(screen, &metrics);
    SIZE extent{};
    static const wchar_t kAlphabet[] = L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    ::GetTextExtentPoint32W(screen, kAlphabet, 52, &extent);
    ::SelectObject(screen, old);
    ::ReleaseDC(nullptr, screen);
    const int baseX = (extent.cx / 26 + 1) / 2;
    const int baseY = metrics.tmHeight;
    return {::MulDiv(163, baseX, 4), ::MulDiv(170, baseY, 8)};
}

std::wstring Trimmed(const std::wstring& text) {
    const size_t first = text.find_first_not_of(L" \t");
    if (first == std::wstring::npos) return {};
    return text.substr(first, text.find_last_not_of(L" \t") - first + 1);
}

// A cell's whole text: the list answers into a buffer of the caller's size,
// so the buffer grows until the text fits (a name of the recently used book
// may be up to 2047 characters).
std::wstring WholeCellText(const win::ListViewCtrl& list, int row, int column) {
    for (int size = 512;; size *= 4) {
        std::wstring text = list.GetItemText(row, column, size);
        if (int(text.size()) < size - 1 || size >= (1 << 20)) return text;
    }
}

// Fills the out-parameters of GetItem and GetSelItem for one row.
HRESULT FillRow(const win::ListViewCtrl& list, int row, ULONG* id, BSTR* name, BSTR* fax) {
    com::UniqueBstr nameText, faxText;
    if (name && !(*nameText.put() = ::SysAllocString(WholeCellText(list, row, 1).c_str())))
        return E_OUTOFMEMORY;
    if (fax && !(*faxText.put() = ::SysAllocString(WholeCellText(list, row, 2).c_str())))
        return E_OUTOFMEMORY;
    if (id) *id = ULONG(list.GetItemData(row));
    if (name) *name = nameText.release();
    if (fax) *fax = faxText.release();
    return S_OK;
}

}  // namespace

CPhonebookControl::CPhonebookControl() {
    const SIZE size = DefaultControlSize();
    OleState().extent = com::PixelsToHimetric(size);
}

CPhonebookControl::~CPhonebookControl() {
    // While every part of the object still exists, so that the dialog's own
    // tear-down runs (which closes the source with its hooks).
    DestroyControlWindow();
}

// --- IVelPhonebookControl --------------------------------------------------

STDMETHODIMP CPhonebookControl::GetItem(int item, ULONG* id, BSTR* name, BSTR* fax) noexcept {
    return com::Boundary([&]() -> HRESULT {
        if (!HasList() || item < 0 || item >= List().GetItemCount()) return HRESULT(-1);
        RETURN_IF_FAILED(FillRow(List(), item, id, name, fax));
        return HRESULT(item);
    });
}

STDMETHODIMP CPhonebookControl::GetSelItem(int from, ULONG* id, BSTR* name, BSTR* fax) noexcept {
    return com::Boundary([&]() -> HRESULT {
        if (!HasList()) return HRESULT(-1);
        int found = -1;
        if (m_list.IsCheckBoxMode()) {
            // From the row after nFrom; INT_MAX has none after it (no wrap).
            const int first = from < 0 ? 0 : from == INT_MAX ? INT_MAX : from + 1;
            for (int i = first, count = List().GetItemCount(); i < count && found < 0; ++i)
                if (m_list.IsMarked(i)) found = i;
        } else if (from < List().GetItemCount() - 1) {
            found = List().GetNextItem(from < -1 ? -1 : from, LVNI_SELECTED);
        }
        if (found < 0) return HRESULT(found);
        RETURN_IF_FAILED(FillRow(List(), found, id, name, fax));
        return HRESULT(found);
    });
}

// --- IVelPhonebookControl2 -------------------------------------------------

STDMETHODIMP CPhonebookControl::SelectOutlookAddressBook(LONG selected) noexcept {
    return com::Boundary([&]() -> HRESULT {
        if (!IsKnownKind(int(selected)))
            return com::ReportError(E_INVALIDARG, ClassId(), __uuidof(IVelPhonebookControl2),
                                    L"The address book is 1 (Outlook), 0 (Windows) or -1 (recently used).");
        if (int(selected) == Kind() && ShownBookWorks()) return S_OK;
        const HRESULT hr = int(selected) == Kind() ? ReopenKind() : SelectKind(int(selected));
        m_readFailed = false;
        if (HasList()) ClearRows();
        NoteBookOpened(hr);
        if (Source() && m_hWnd) {
            if (m_vista) m_list.SetHeaderCheck(false);
            PostMessage(kReloadMessage);
        }
        UpdateButtons();
        if (FAILED(hr))
            return com::ReportError(hr, ClassId(), __uuidof(IVelPhonebookControl2),
                                    L"The address book could not be opened.");
        return hr;
    });
}

// --- IVelPhonebookControl3 -------------------------------------------------

STDMETHODIMP CPhonebookControl::EnableCheckBoxes(LONG enable, BSTR header) noexcept {
    return com::Boundary([&]() -> HRESULT {
        m_checkBoxesWanted = enable != 0;
        m_checkBoxHeader = header ? header : L"";
        if (!HasList()) return S_OK;
        m_list.SetCheckBoxMode(m_checkBoxesWanted, m_checkBoxHeader.c_str());
        ShowButtonSet(m_checkBoxesWanted);
        FitColumns(false);
        UpdateButtons();
        return S_OK;
    });
}

STDMETHODIMP CPhonebookControl::SelectItem(int item) noexcept {
    if (!HasList()) return S_OK;
    m_list.SelectItemExclusively(item);
    List().EnsureVisible(item < 0 ? 0 : item);
    return S_OK;
}

STDMETHODIMP CPhonebookControl::SetSortMode(int mode) noexcept {
    return com::Boundary([&]() -> HRESULT {
        // Without the window yet the list keeps the mode for its first fill.
        m_list.SetSortMode((unsigned short)(mode & 0xFFFF));
        return S_OK;
    });
}

STDMETHODIMP CPhonebookControl::GetSortMode(int* mode) noexcept {
    if (mode) *mode = int(m_list.GetSortMode());
    return S_OK;
}

// --- The dialog --------------------------------------------------------------

LRESULT CPhonebookControl::OnInitDialog(UINT, WPARAM, LPARAM, BOOL&) {
    m_vista = localization::CurrentWindowsVersion().major >= 6;
    SetUseWindowsContacts(m_vista);

    m_list.Attach(GetDlgItem(IDC_LIST));
    AttachNote();
    LocalizeDialog();
    SetUpList();
    CreateSearchBox();
    // A mode the host set before the window existed shows in the header now.
    m_list.SetSortMode(7);

    NoteBookOpened(OpenSource());
    SetNotifyWindow(m_hWnd, true);

    ::ShowWindow(GetDlgItem(IDC_ADD), SW_SHOW);
    m_imageButtons.Add(m_hWnd, IDC_IMAGE_ADD, IDI_ADD, IDI_ADD_OFF, LoadText(IDS_TIP_ADD));
    ::ShowWindow(GetDlgItem(IDC_IMAGE_ADD), SW_HIDE);
    ::ShowWindow(GetDlgItem(IDC_EDIT), SW_SHOW);
    m_imageButtons.Add(m_hWnd, IDC_IMAGE_EDIT, IDI_EDIT, IDI_EDIT_OFF, LoadText(IDS_TIP_EDIT));
    ::ShowWindow(GetDlgItem(IDC_IMAGE_EDIT), SW_HIDE);
    ::ShowWindow(GetDlgItem(IDC_REMOVE), SW_SHOW);
    m_imageButtons.Add(m_hWnd, IDC_IMAGE_REMOVE, IDI_REMOVE, IDI_REMOVE_OFF, LoadText(IDS_TIP_REMOVE));
    ::ShowWindow(GetDlgItem(IDC_IMAGE_REMOVE), SW_HIDE);
    // A host that switched check boxes on before the window existed.
    if (m_checkBoxesWanted) {
        m_list.SetCheckBoxMode(true, m_checkBoxHeader.c_str());
        ShowButtonSet(true);
    }

    const RECT client = ClientRect();
    Layout(client.right, client.bottom);

    UpdateButtons();
    PostMessage(kReloadMessage);
    return TRUE;
}

void CPhonebookControl::SetUpList() {
    // Full-row selection, header images, columns scaled from 96 dpi, no check boxes.
    m_list.SetUpColumns(LoadText(IDS_COLUMN_NUMBER).c_str(), LoadText(IDS_COLUMN_NAME).c_str(),
                        LoadText(IDS_COLUMN_FAX).c_str(),
                        listview::LoadHeaderImages(com::Module::Instance(), IDB_SORT_IMAGES));
    // The list has no label: its window text is what a screen reader says.
    List().SetText(LoadText(IDS_LIST_NAME));
}

std::wstring CPhonebookControl::RowNumber(int number) const {
    const std::wstring& format = m_list.RowNumberFormat();
    if (format.empty()) return {};
    wchar_t text[32] = {};
    swprintf(text, 32, format.c_str(), number);
    return text;
}

LRESULT CPhonebookControl::OnDestroy(UINT, WPARAM, LPARAM, BOOL& handled) {
    handled = FALSE;
    // Closing an Outlook source is a call into another process, during which
    // a pending reload could otherwise run against the source going away.
    ::KillTimer(m_hWnd, kReloadTimer);
    SetNotifyWindow(m_hWnd, false);
    CloseSource();
    m_imageButtons.Clear();
    m_shown.clear();
    m_search.ClearBook();
    m_list.Detach();
    return 0;
}

void CPhonebookControl::Reload() {
    ::KillTimer(m_hWnd, kReloadTimer);
    IAB* source = Source();
    if (!source) return;
    const ReloadClock::time_point start = ReloadClock::now();
    RecipientList current;
    // A book that cannot be read keeps the rows it showed.
    const HRESULT read = source->LoadFaxRecipients(current);
    NoteBookRead(read);
    m_readFailed = FAILED(read);
    if (m_readFailed) return;
    const ReloadClock::time_point loaded = ReloadClock::now();
    KeyList known, removed;
    for (const auto& shown : m_shown) known.push_back(shown.first);
    RecipientList kept, added;
    source->Compare(current, known, removed, kept, added);

    bool changed = false;
    // No half-drawn state is ever shown: redrawing is off for the whole pass
    // and back on (one repaint) at its end.
    m_list.List().SetRedraw(false);
    {
        // Rows inserted or removed in numbers also take the list's subclasses
        // out of the way for the pass; a few rows are changed with them in
        // place, which costs less than taking them out and back. Either way no
        // per-row work for the notifications the rows raise: the buttons and
        // the sort follow once, at the end.
        std::optional<listview::CListUpdate<listview::CPhonebookListView>> update;
        if (removed.size() + added.size() > kRowsChangedInPlace) update.emplace(m_list);
        ++m_quietItemChanges;
        std::vector<int> gone;
        for (ULONG_PTR key : removed) {
            const int row = m_list.FindItemByKey(LPARAM(key));
            if (row >= 0) gone.push_back(row);
            m_shown.erase(key);
        }
        if (!gone.empty()) {
            DeleteRows(std::move(gone));
            changed = true;
        }
        for (const CRecipient& recipient : kept) {
            int row = m_list.FindItemByKey(LPARAM(recipient.key));
            Shown& shown = m_shown[recipient.key];
            if (row < 0) {
                // Hidden by the search, and still not found by it.
                if (!WantsRow(recipient.key, recipient.name, recipient.faxNumber)) {
                    shown = Shown{recipient.name, recipient.faxNumber};
                    continue;
                }
                row = m_list.AppendRow(LPARAM(recipient.key), {RowNumber(RowCount() + 1).c_str()});
                shown = Shown{};
                changed = true;
            }
            if (shown.name != recipient.name) {
                m_list.SetCellText(row, listview::kNameColumn, recipient.name.c_str());
                shown.name = recipient.name;
                changed = true;
            }
            if (shown.fax != recipient.faxNumber) {
                m_list.SetCellText(row, listview::kFaxColumn, recipient.faxNumber.c_str());
                shown.fax = recipient.faxNumber;
                changed = true;
            }
        }
        if (!added.empty()) {
            m_shown.reserve(m_shown.size() + added.size());
            for (const CRecipient& recipient : added) {
                if (WantsRow(recipient.key, recipient.name, recipient.faxNumber)) AppendRow(recipient);
                else m_shown[recipient.key] = Shown{recipient.name, recipient.faxNumber};
            }
            changed = true;
        }
        if (changed) m_list.SetSortMode(7);
        --m_quietItemChanges;
    }
    std::vector<LPARAM> order;
    order.reserve(current.size());
    for (const CRecipient& recipient : current) order.push_back(LPARAM(recipient.key));
    m_search.SetBookOrder(std::move(order));
    // A recipient renamed so that the search no longer finds it goes.
    if (changed && m_search.Active()) ApplySearch();
    if (changed) FitColumns(false);
    m_list.List().SetRedraw(true);
    if (changed) ::RedrawWindow(m_list.m_hWnd, nullptr, nullptr, RDW_INVALIDATE | RDW_ALLCHILDREN);
    if (changed) UpdateButtons();
    LogReload(current.size(), added.size(), removed.size(), loaded - start, ReloadClock::now() - loaded);
}

// One line per reload on the debugger output: what a developer needs to
// tell a slow address book from a slow list. Not the diagnostic log: its
// first use creates the log's folder, file and settings for every user who
// sees the control.
void CPhonebookControl::LogReload(size_t shown, size_t added, size_t removed, ReloadClock::duration read,
                                  ReloadClock::duration update) const {
    using Milliseconds = std::chrono::duration<double, std::milli>;
    wchar_t line[200];
    swprintf(line, 200,
             L"Reload of book %d: %zu recipients, %zu added, %zu removed; read in %.1f ms, list updated in "
             L"%.1f ms\n",
             Kind(), shown, added, removed, Milliseconds(read).count(), Milliseconds(update).count());
    ::OutputDebugStringW(line);
}

int CPhonebookControl::AppendRow(const CRecipient& recipient) {
    const int row = m_list.AppendRow(LPARAM(recipient.key), {RowNumber(RowCount() + 1).c_str(),
                                                             recipient.name.c_str(), recipient.faxNumber.c_str()});
    if (row >= 0) m_shown[recipient.key] = Shown{recipient.name, recipient.faxNumber};
    return row;
}

void CPhonebookControl::DeleteRows(std::vector<int> rows) {
    // From the bottom up, so that the rows still to go keep their index.
    std::sort(rows.begin(), rows.end(), std::greater<int>());
    ++m_quietItemChanges;
    for (int row : rows) m_list.DeleteRow(row);
    --m_quietItemChanges;
}

void CPhonebookControl::ClearRows() {
    ++m_quietItemChanges;
    List().DeleteAllItems();
    --m_quietItemChanges;
    m_shown.clear();
    m_search.ClearBook();
}

void CPhonebookControl::UpdateButtons() {
    if (!HasList()) return;
    const win::ListViewCtrl list = List();
    // A book that cannot be opened takes nothing: its buttons wait.
    const bool usable = BookUsable();
    const bool anyBook = Kind() != kMRUBook && usable;
    const int selected = list.GetSelectedCount();
    const int marked = m_list.MarkedCount();
    const int count = list.GetItemCount();
    ::EnableWindow(GetDlgItem(IDC_ADD), usable);
    ::EnableWindow(GetDlgItem(IDC_IMAGE_ADD), anyBook);
    ::EnableWindow(GetDlgItem(IDC_EDIT), anyBook && selected == 1);
    m_list.AllowLabelEdit(anyBook);
    ::EnableWindow(GetDlgItem(IDC_IMAGE_EDIT), anyBook && marked == 1);
    ::EnableWindow(GetDlgItem(IDC_REMOVE), usable && selected != 0);
    ::EnableWindow(GetDlgItem(IDC_IMAGE_REMOVE), usable && marked != 0);
    list.GetHeader().Enable(count > 0);
    m_list.SetHeaderCheck(count > 0 && marked == count);
}

void CPhonebookControl::ShowButtonSet(bool imageButtons) {
    for (int id : {IDC_ADD, IDC_EDIT, IDC_REMOVE}) ::ShowWindow(GetDlgItem(id), imageButtons ? SW_HIDE : SW_SHOW);
    for (int id : {IDC_IMAGE_ADD, IDC_IMAGE_EDIT, IDC_IMAGE_REMOVE})
        ::ShowWindow(GetDlgItem(id), imageButtons ? SW_SHOW : SW_HIDE);
}

LRESULT CPhonebookControl::OnItemChanged(int, NMHDR* header, BOOL&) {
    if (m_quietItemChanges) return 0;
    const auto* change = reinterpret_cast<const NMLISTVIEW*>(header);
    if ((change->uChanged & LVIF_STATE) && ((change->uOldState ^ change->uNewState) & 0xF002))
        FireItemSelected(change->iItem, (change->uNewState & LVIS_SELECTED) != 0, m_list.MarkedCount());
    UpdateButtons();
    return 0;
}

LRESULT CPhonebookControl::OnColumnClick(int, NMHDR* header, BOOL&) {
    const int column = reinterpret_cast<const NMLISTVIEW*>(header)->iSubItem;
    if (column < 0 || column > 2) return 0;
    const int descending = 2 * (column + 1);
    m_list.SetSortMode((unsigned short)(m_list.GetSortMode() == descending ? descending - 1 : descending));
    if (column != listview::kNumberColumn) m_list.Renumber();
    return 0;
}

// --- Add, edit, remove -----------------------------------------------------

LRESULT CPhonebookControl::OnAdd(WORD, WORD, HWND, BOOL&) {
    IAB* source = Source();
    if (!source) return 0;
    RecipientList all;
    if (FAILED(source->LoadAll(all))) return 0;
    // Our own change must not come back as a reload.
    SetNotifyWindow(m_hWnd, false);
    CRecipient recipient;
    recipient.name = UniqueRecipientName(LoadText(IDS_NEW_RECIPIENT), all);
    recipient.faxNumber = LoadText(IDS_NEW_NUMBER);
    if (SUCCEEDED(source->Add(recipient))) {
        const int row = AppendRow(recipient);
        m_search.AddToBookOrder(LPARAM(recipient.key));
        m_list.SelectItemExclusively(row);
        m_list.SetSortMode(0);
        if (m_list.IsEditing()) m_list.EndEdit(true);
        // The user types over the placeholder name at once.
        m_list.SetEditPosition(row, listview::kStartAfterAdd);
        m_list.StartEdit();
    }
    SetNotifyWindow(m_hWnd, true);
    return 0;
}

LRESULT CPhonebookControl::OnEdit(WORD, WORD, HWND, BOOL&) {
    if (List().GetItemCount() == 0 || m_list.MarkedCount() != 1) return 0;
    int row = 0;
    while (!m_list.IsMarked(row)) ++row;
    m_list.SetEditPosition(row, listview::kStartAfterEdit);
    m_list.StartEdit();
    return 0;
}

LRESULT CPhonebookControl::OnEndEdit(int, NMHDR* header, BOOL&) {
    const auto* info = reinterpret_cast<const NMLVDISPINFOW*>(header);
    const int item = info->item.iItem;
    const int column = info->item.iSubItem;
    if (item < 0 || (column != listview::kNameColumn && column != listview::kFaxColumn)) return 0;
    const UINT message = CommitEdit(item, column, info->item.pszText ? info->item.pszText : L"");
    if (!message) return 0;
    // Hidden (the host closing with an edit open, which ends the edit): no
    // message over a window on its way out, and no edit opened again.
    if (!::IsWindowVisible(m_hWnd)) {
        m_list.SetRestartSuppressed(true);
        return 1;
    }
    const com::KeepAlive alive = KeepSelf();
    ShowMessage(LoadText(message), L"", MB_OK | MB_ICONERROR);
    // Closed while the box was open: nothing to reopen.
    if (!StillShown()) return 0;
    // Rejected: the list opens the edit again (unless told not to once).
    return 1;
}

UINT CPhonebookControl::CommitEdit(int item, int column, const std::wstring& text) {
    const bool editsName = column == listview::kNameColumn;
    const win::ListViewCtrl list = List();
    const std::wstring name = Trimmed(editsName ? text : list.GetItemText(item, listview::kNameColumn));
    const std::wstring fax = Trimmed(editsName ? list.GetItemText(item, listview::kFaxColumn) : text);
    if (name.empty() || fax.size() < 3 || fax.size() > 45) return IDS_ADDRESS_INCORRECT;
    for (int i = list.GetItemCount() - 1; i >= 0; --i) {
        if (i != item && list.GetItemText(i, listview::kNameColumn) == name &&
            list.GetItemText(i, listview::kFaxColumn) == fax)
            return IDS_ADDRESS_EXISTS;
    }
    const UINT failure = Kind() == kOutlookBook ? IDS_CANNOT_MODIFY_OUTLOOK : IDS_CANNOT_MODIFY_SYSTEM_AB;
    IAB* source = Source();
    if (!source) return failure;
    const ULONG key = ULONG(list.GetItemData(item));
    CRecipient recipient;
    if (FAILED(source->Get(key, recipient))) return failure;
    recipient.name = name;
    recipient.faxNumber = fax;
    SetNotifyWindow(m_hWnd, false);
    const HRESULT hr = source->Modify(key, recipient);
    SetNotifyWindow(m_hWnd, true);
    if (FAILED(hr)) return failure;
    const ULONG_PTR newKey = recipient.key ? recipient.key : key;
    list.SetItemText(item, listview::kNameColumn, name.c_str());
    list.SetItemText(item, listview::kFaxColumn, fax.c_str());
    list.SetItemData(item, LPARAM(newKey));
    m_shown.erase(key);
    m_shown[newKey] = Shown{name, fax};
    if (newKey != key) m_search.AddToBookOrder(LPARAM(newKey));
    return 0;
}

LRESULT CPhonebookControl::OnRemove(WORD, WORD, HWND, BOOL&) {
    // The box and the events run the host's code: it may release the control
    // or switch books (which frees the source) before the loop is through.
    const com::KeepAlive alive = KeepSelf();
    const unsigned opened = SourceGeneration();
    const auto sameBook = [&] { return StillShown() && SourceGeneration() == opened; };
    SetNotifyWindow(m_hWnd, false);
    const int marked = m_list.MarkedCount();
    const std::wstring question = RemoveQuestion(marked);
    if (Source() && List().GetItemCount() > 0 && marked != 0 &&
        ShowMessage(question, LoadText(IDS_REMOVE), MB_YESNO | MB_ICONQUESTION | MB_DEFBUTTON2) == IDYES) {
        int remaining = marked;
        for (int row = List().GetItemCount() - 1; row >= 0 && remaining > 0 && sameBook(); --row) {
            if (row >= List().GetItemCount() || !m_list.IsMarked(row)) continue;
            const ULONG_PTR key = ULONG_PTR(m_list.KeyOfItem(row));
            if (FAILED(Source()->Delete(ULONG(key)))) continue;
            DeleteRows({row});
            m_shown.erase(key);
            --remaining;
            FireItemSelected(row, false, remaining);
        }
    }
    // A new book registered the window itself; a closed control has none.
    if (!sameBook()) return 0;
    SetNotifyWindow(m_hWnd, true);
    UpdateButtons();
    m_list.Renumber();
    return 0;
}

int CPhonebookControl::ShowMessage(const std::wstring& text, const std::wstring& caption, UINT flags) const {
    // The platform's box reads and aligns from the right when told to.
    if (localization::IsUIRightToLeft()) flags |= MB_RTLREADING | MB_RIGHT;
    return win::MessageBoxOnMonitor(HostWindow(), text.c_str(), caption.c_str(), flags);
}

// --- The list's keys ---------------------------------------------------------

// F2: the focused row's name, where the buttons would edit it.
void CPhonebookControl::EditRowFromKeyboard(int row) {
    if (Kind() == kMRUBook || !BookUsable()) return;
    m_list.SetEditPosition(row, listview::kStartAfterEdit);
    m_list.StartEdit();
}

// Delete: the question of the remove button, while that button could be pressed.
void CPhonebookControl::RemoveFromKeyboard() {
    if (!::IsWindowEnabled(GetDlgItem(m_list.IsCheckBoxMode() ? IDC_IMAGE_REMOVE : IDC_REMOVE))) return;
    BOOL handled = TRUE;
    OnRemove(IDC_REMOVE, BN_CLICKED, nullptr, handled);
}

// --- Layout and looks ----------------------------------------------------

// The list takes the room the buttons leave; the buttons keep their place
// relative to the bottom left corner.
void CPhonebookControl::Layout(int width, int height) {
    if (!HasList()) return;
    const RECT listGap = DialogUnits(0, 0, 0, 170 - 135);
    // The search box, when shown, takes a band above the list.
    const int top = m_searchBox.BandHeight();
    m_searchBox.Place(width);
    List().Move({0, top, width, std::max(long(top), height - listGap.bottom)});
    const bool resized = width != m_fittedSize.cx || height != m_fittedSize.cy;
    m_fittedSize = {width, height};
    FitColumns(resized);
    struct Place {
        int id, left, top, width, height;
    };
    static const Place kButtons[] = {
        {IDC_ADD, 3, 139, 50, 14},         {IDC_REMOVE, 57, 139, 50, 14},     {IDC_EDIT, 113, 139, 50, 14},
        {IDC_IMAGE_ADD, 0, 137, 17, 16},   {IDC_IMAGE_EDIT, 24, 137, 17, 16}, {IDC_IMAGE_REMOVE, 48, 137, 17, 16},
    };
    for (const Place& place : kButtons) {
        RECT rect = DialogUnits(place.left, place.top - 170, place.left + place.width, place.top - 170 + place.height);
        ::OffsetRect(&rect, 0, height);
        ::MoveWindow(GetDlgItem(place.id), rect.left, rect.top, rect.right - rect.left, rect.bottom - rect.top, TRUE);
    }
}

LRESULT CPhonebookControl::OnDrawItem(UINT, WPARAM, LPARAM item, BOOL& handled) {
    handled = m_imageButtons.Draw(*reinterpret_cast<const DRAWITEMSTRUCT*>(item));
    return TRUE;
}
