// CPhonebookControlBase: what the two phonebook controls share. Each is a
// composite ActiveX control over a dialog of the module's with the recipient
// list, and at the same time the phonebook manager of that list. The base
// holds the COM plumbing, the list, what the control kit asks of a control,
// the reload timer and the item-selected event. The derived class supplies
//   enum { IDD };                         its dialog template
//   static ClassId(), DisplayName()       for the control kit
//   void Reload();                        brings the list in line with the source
//   void Layout(int width, int height);   places the children
//   void ApplySearch();                   shows the rows the search text finds
//   void MarkFirstMatch();                Enter in the search box
// and is a friend of the base (these may stay private).
#pragma once

#include "com/control_kit.h"
#include "com/deferred_release.h"
#include "com/dispatch.h"
#include "com/error_info.h"
#include "com/invoke.h"
#include "control/book_state.h"
#include "control/control_ids.h"
#include "control/list_note.h"
#include "control/phonebook_event_handler.h"
#include "control/recipient_search.h"
#include "control/search_box.h"
#include "core/iab.h"
#include "core/phonebook_manager.h"
#include "localization/language.h"
#include "localization/localizer.h"
#include "localization/string_ids.h"
#include "module/VelPhonebook_h.h"
#include "win/controls.h"
#include "win/display.h"
#include "win/system_message.h"
#include "win/window_impl.h"

#include <cwchar>
#include <string>
#include <tuple>

namespace com {
template <>
struct InterfaceBases<IVelPhonebookControl3> {
    using type = std::tuple<IVelPhonebookControl2, IVelPhonebookControl>;
};
template <>
struct InterfaceBases<IVelPhonebookControl4> {
    using type = std::tuple<IVelPhonebookControl3, IVelPhonebookControl2, IVelPhonebookControl>;
};
}  // namespace com

// Manager is the phonebook manager the control is; ListView its list class;
// MoreInterfaces what the control implements besides the phonebook control
// interfaces and the control kit (placed between the two in its interface list).
template <class Derived, class Manager, class ListView, class... MoreInterfaces>
class CPhonebookControlBase
    : public com::Implements<
          Derived, com::Dispatch<IVelPhonebookControl4>, MoreInterfaces..., com::ControlKit<Derived>,
          com::SupportErrorInfo<IVelPhonebookControl, IVelPhonebookControl2, IVelPhonebookControl3,
                                IVelPhonebookControl4>>,
      public Manager,
      public win::DialogImpl<Derived>,
      public CLocalizerHelperT<Derived> {
public:
    static constexpr UINT kReloadTimer = 123;
    static constexpr UINT kReloadDelayMs = 500;
    static constexpr DISPID kOnItemSelected = 1;
    // Recompose on resize, can't link inside, inside-out, activate when
    // visible, set client site first.
    static constexpr DWORD kMiscStatus = 131473;

    // IVelPhonebookControl
    STDMETHODIMP GetItemCount() noexcept override { return HasList() ? HRESULT(List().GetItemCount()) : 0; }
    STDMETHODIMP GetSelItemCount() noexcept override { return HasList() ? HRESULT(m_list.MarkedCount()) : 0; }
    // IVelPhonebookControl2
    STDMETHODIMP IsOutlookAddressBookSelected(LONG* selected) noexcept override {
        if (!selected)
            return com::ReportError(E_INVALIDARG, Derived::ClassId(), __uuidof(IVelPhonebookControl2),
                                    L"No place for the answer.");
        *selected = this->Kind();
        return S_OK;
    }
    // IVelPhonebookControl4
    STDMETHODIMP get_Filter(BSTR* text) noexcept override {
        if (!text)
            return com::ReportError(E_INVALIDARG, Derived::ClassId(), __uuidof(IVelPhonebookControl4),
                                    L"No place for the answer.");
        *text = ::SysAllocString(m_search.Text().c_str());
        return *text ? S_OK : E_OUTOFMEMORY;
    }
    STDMETHODIMP put_Filter(BSTR text) noexcept override {
        return com::Boundary([&]() -> HRESULT {
            SetSearchText(text ? text : L"");
            return S_OK;
        });
    }
    STDMETHODIMP get_SearchBox(VARIANT_BOOL* shown) noexcept override {
        if (!shown)
            return com::ReportError(E_INVALIDARG, Derived::ClassId(), __uuidof(IVelPhonebookControl4),
                                    L"No place for the answer.");
        *shown = m_searchBox.Shown() ? VARIANT_TRUE : VARIANT_FALSE;
        return S_OK;
    }
    STDMETHODIMP put_SearchBox(VARIANT_BOOL shown) noexcept override {
        return com::Boundary([&]() -> HRESULT {
            ShowSearchBox(shown != VARIANT_FALSE);
            return S_OK;
        });
    }
    // The state of the book shown, as the list has read it; asked before the
    // first reading of a book just chosen, the book is read now.
    STDMETHODIMP get_BookState(PhonebookBookState* state) noexcept override {
        if (!state)
            return com::ReportError(E_INVALIDARG, Derived::ClassId(), __uuidof(IVelPhonebookControl4),
                                    L"No place for the answer.");
        return com::Boundary([&]() -> HRESULT {
            ReadBookNow();
            *state = m_bookState;
            return S_OK;
        });
    }
    // The failure behind BookUnavailable (S_OK while the book can be read).
    STDMETHODIMP get_BookError(LONG* error) noexcept override {
        if (!error)
            return com::ReportError(E_INVALIDARG, Derived::ClassId(), __uuidof(IVelPhonebookControl4),
                                    L"No place for the answer.");
        return com::Boundary([&]() -> HRESULT {
            ReadBookNow();
            *error = LONG(m_bookError);
            return S_OK;
        });
    }

    // What the control kit asks of the control.
    static const IID& EventInterfaceId() noexcept { return DIID_IVelPhonebookControlEvents; }
    HWND ControlWindow() const noexcept { return this->m_hWnd; }
    // Mirrored for a language read from right to left.
    bool RightToLeftLayout() const { return localization::IsUIRightToLeft(); }
    HWND CreateControlWindow(HWND parent, const RECT&) {
        // Common controls 6 from the module's own manifest, whatever the host's.
        win::ActivationScope scope;
        return this->Create(parent);
    }
    void DestroyControlWindow() noexcept {
        if (this->m_hWnd) ::DestroyWindow(this->m_hWnd);
    }

    // CPhonebookManager hooks. Outlook has no notification window: its item
    // events reach the control's sink, which posts the same reload message the
    // other books post. Without a window yet there is nobody to post to; the
    // window's creation opens the source again and connects then.
    HWND GetNotifyWindow() override { return this->m_hWnd; }
    HRESULT OnOutlookConnected() override {
        if (!this->m_hWnd) return S_OK;
        return m_outlookEvents.ConnectTo(this->Source(), this->m_hWnd);
    }
    void OnOutlookDisconnecting() override { m_outlookEvents.Disconnect(); }

    BEGIN_MSG_MAP(CPhonebookControlBase)
        MESSAGE_HANDLER(WM_TIMER, OnTimer)
        MESSAGE_HANDLER(kReloadMessage, OnReloadRequest)
        MESSAGE_HANDLER(WM_SIZE, OnSize)
        MESSAGE_HANDLER(WM_MOUSEACTIVATE, OnMouseActivate)
        MESSAGE_HANDLER(WM_DESTROY, OnDestroyNote)
        MESSAGE_HANDLER(WM_SYSCOLORCHANGE, OnColoursChanged)
        MESSAGE_HANDLER(WM_SETTINGCHANGE, OnColoursChanged)
        NOTIFY_HANDLER(IDC_LIST, LVN_KEYDOWN, OnListKeyDown)
        COMMAND_HANDLER(kSearchBoxId, EN_CHANGE, OnSearchChange)
        NOTIFY_HANDLER(IDC_LIST, LVN_DELETEALLITEMS, OnDeleteAllRows)
        MESSAGE_HANDLER(WM_DESTROY, OnDestroySearchBox)
    END_MSG_MAP()

    // The search box's control id (its label has none).
    static constexpr int kSearchBoxId = IDC_SEARCH;

protected:
    win::ListViewCtrl List() const noexcept { return m_list.List(); }
    bool HasList() const noexcept { return m_list.IsWindow(); }
    // The window the control's dialogs are shown over: the host's dialog.
    HWND HostWindow() const { return ::GetParent(this->GetParent()); }

    // A rectangle given in the dialog's units, in pixels.
    RECT DialogUnits(int left, int top, int right, int bottom) const {
        RECT rect{left, top, right, bottom};
        ::MapDialogRect(this->m_hWnd, &rect);
        return rect;
    }

    // Held across anything that can run the host's code or a message loop
    // (a modal box, a dialog, the event): the host may release the control
    // meanwhile, and the handler still has to get back out of it.
    com::KeepAlive KeepSelf() noexcept { return com::KeepAlive(static_cast<IVelPhonebookControl4*>(this)); }
    // Whether the control still has its window and list after such a call.
    bool StillShown() const noexcept { return this->m_hWnd && ::IsWindow(this->m_hWnd) && HasList(); }
    // Runs the reload from the timer's path as soon as the thread is back in
    // its message loop (not from inside the message being handled).
    void ReloadSoon() {
        if (this->m_hWnd) ::SetTimer(this->m_hWnd, kReloadTimer, 0, &ReloadTimerProc);
    }

    // The question asked before rows are deleted: string 206 formatted with
    // their number. A language file's text may write the number as any
    // integer conversion ("%d", "%i", "%u", with flags and width); "%%" is a
    // percent sign. Nothing else is formatted: the text comes from a file.
    std::wstring RemoveQuestion(int rows) const {
        return FormatCount(this->LoadText(IDS_CONFIRM_REMOVE), rows);
    }
    static std::wstring FormatCount(const std::wstring& format, int count) {
        std::wstring out;
        bool done = false;
        for (size_t i = 0; i < format.size(); ++i) {
            if (format[i] != L'%') {
                out.push_back(format[i]);
                continue;
            }
            if (i + 1 < format.size() && format[i + 1] == L'%') {
                out.push_back(L'%');
                ++i;
                continue;
            }
            size_t end = i + 1;
            while (end < format.size() && std::wcschr(L"-+ 0#", format[end]) && format[end]) ++end;
            while (end < format.size() && format[end] >= L'0' && format[end] <= L'9' && end - i < 8) ++end;
            if (!done && end < format.size() && std::wcschr(L"diu", format[end]) && format[end]) {
                wchar_t text[64] = {};
                swprintf(text, 64, format.substr(i, end - i + 1).c_str(), count);
                out += text;
                done = true;
                i = end;
                continue;
            }
            out.push_back(L'%');
        }
        return out;
    }

    void FireItemSelected(int item, bool selected, int count) {
        this->FireEvent(kOnItemSelected, {com::LongArg(item), com::BoolArg(selected), com::LongArg(count)});
    }

    // Whether choosing the book that is shown again does anything: only when
    // its opening failed or its last reading did (Outlook was busy, or went
    // away), and the control runs; then the book is opened again.
    bool ShownBookWorks() noexcept { return !this->m_hWnd || (this->Source() && !m_readFailed); }

    // --- The book's state ------------------------------------------------
    // The derived class calls NoteBookOpened with the result of every opening
    // of a book (the window's creation, SelectOutlookAddressBook) and
    // NoteBookRead with that of every reading in its Reload; it attaches the
    // note to its list (AttachNote), answers ShownRecordCount() (the records
    // read, whatever the list filters) and leaves the buttons that cannot
    // work disabled while BookUsable() is false.
    void AttachNote() {
        m_note.Attach(this->GetDlgItem(IDC_LIST));
        RefreshListColours();
    }
    // The list in the system's colours of now (a high-contrast scheme chosen
    // before or while the control is shown): the common controls keep the
    // colours they read at their start until told, and a list keeps the
    // background it was created with.
    void RefreshListColours() {
        if (!HasList()) return;
        const HWND list = List().hwnd();
        ::SendMessageW(list, WM_SYSCOLORCHANGE, 0, 0);
        if (const HWND header = reinterpret_cast<HWND>(::SendMessageW(list, LVM_GETHEADER, 0, 0)))
            ::SendMessageW(header, WM_SYSCOLORCHANGE, 0, 0);
        ::SendMessageW(list, LVM_SETBKCOLOR, 0, LPARAM(::GetSysColor(COLOR_WINDOW)));
        ::SendMessageW(list, LVM_SETTEXTBKCOLOR, 0, LPARAM(::GetSysColor(COLOR_WINDOW)));
        ::SendMessageW(list, LVM_SETTEXTCOLOR, 0, LPARAM(::GetSysColor(COLOR_WINDOWTEXT)));
        ::RedrawWindow(this->m_hWnd, nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_ALLCHILDREN);
    }
    void NoteBookOpened(HRESULT hr) {
        m_openError = hr;
        m_readError = S_OK;
        m_bookRead = false;
        if (this->Source()) {
            // Until the first reading says otherwise.
            m_bookState = BookOpen;
            m_bookError = S_OK;
            m_note.SetText({});
        } else {
            UpdateBookState();
        }
    }
    void NoteBookRead(HRESULT hr) noexcept { m_readError = hr; }
    bool BookUsable() const noexcept { return m_bookState != BookUnavailable; }
    const listview::CListNote& Note() const noexcept { return m_note; }
    // The search box, made after the dialog's texts are localized, before
    // the list in the tab order. A text or a visibility the host set before
    // the window existed holds from then on.
    void CreateSearchBox() {
        m_searchBox.onDown = [this] { FocusListFromSearch(); };
        m_searchBox.onEnter = [this] { Self().MarkFirstMatch(); };
        m_searchBox.onChange = [this] { ApplySearchText(m_searchBox.Text()); };
        m_searchBox.Create(this->m_hWnd, kSearchBoxId, this->GetDlgItem(IDC_LIST), this->LoadText(IDS_SEARCH_CUE),
                           localization::IsUIRightToLeft());
        m_searchBox.Show(m_searchBox.Shown());
        m_searchBox.SetText(m_search.Text());
    }
    // The text searched for: from the box (each keystroke) or from the host.
    void SetSearchText(const std::wstring& text) {
        // The box tells of its own change (EN_CHANGE), which applies it.
        if (m_searchBox.Exists() && m_searchBox.Text() != text) {
            m_searchBox.SetText(text);
            return;
        }
        ApplySearchText(text);
    }
    void ShowSearchBox(bool shown) {
        if (shown == m_searchBox.Shown()) return;
        m_searchBox.Show(shown);
        if (!this->m_hWnd) return;
        const RECT client = this->ClientRect();
        Self().Layout(client.right, client.bottom);
    }
    // Down in the box: the list takes the focus, on its focused row or the first.
    void FocusListFromSearch() {
        if (!HasList()) return;
        const win::ListViewCtrl list = List();
        if (list.GetItemCount() > 0 && list.GetNextItem(-1, LVNI_FOCUSED) < 0) {
            list.SetItemState(0, LVIS_FOCUSED, LVIS_FOCUSED);
            list.EnsureVisible(0);
        }
        ::SetFocus(list.hwnd());
    }
    // The row of the list whose key is marked, if it is listed.
    bool IsKeyMarked(LPARAM key) {
        const int row = m_list.FindItemByKey(key);
        return row >= 0 && m_list.IsMarked(row);
    }

    ListView m_list;
    search::CRecipientSearch m_search;
    search::CSearchBox m_searchBox;
    bool m_vista = false;  // Windows 6 or later
    CPhonebookEventHandler m_outlookEvents;
    bool m_readFailed = false;  // the last reload could not read the book

private:
    Derived& Self() noexcept { return *static_cast<Derived*>(this); }

    void ReadBookNow() {
        if (this->m_hWnd && this->Source() && !m_bookRead && HasList())
            win::CallDialogMap(this->m_hWnd, WM_TIMER, kReloadTimer, 0);
    }

    // From what the last opening and reading gave: the state, the failure
    // behind it, the note of the empty list, the buttons.
    void UpdateBookState() {
        PhonebookBookState state = BookOpen;
        HRESULT error = S_OK;
        if (!this->Source()) {
            state = BookUnavailable;
            error = FAILED(m_openError) ? m_openError : E_FAIL;
        } else if (FAILED(m_readError)) {
            state = BookUnavailable;
            error = m_readError;
        } else if (Self().ShownRecordCount() == 0) {
            state = BookEmpty;
            // The Windows Address Book opens at its construction and says
            // nothing when it cannot: an empty one is asked once more.
            if (this->Kind() == kWindowsBook && control::IsAddressBookLibrarySource(this->Source())) {
                if (m_probedGeneration != this->SourceGeneration()) {
                    m_probeResult = control::ProbeWindowsAddressBook(m_vista);
                    m_probedGeneration = this->SourceGeneration();
                }
                if (FAILED(m_probeResult)) {
                    state = BookUnavailable;
                    error = m_probeResult;
                }
            }
        }
        m_bookState = state;
        m_bookError = error;
        std::wstring note;
        if (state == BookEmpty) {
            note = this->LoadText(IDS_BOOK_EMPTY);
        } else if (state == BookUnavailable && this->Kind() == kOutlookBook) {
            note = this->LoadText(IDS_OUTLOOK_UNAVAILABLE);
        } else if (state == BookUnavailable) {
            note = this->LoadText(IDS_BOOK_UNAVAILABLE);
            const std::wstring platform = win::SystemMessage(error);
            if (!platform.empty()) note += L"\n\n" + platform;
        }
        m_note.SetText(note);
        Self().UpdateButtons();
    }

    // The list's keys, as Windows lists have them: F2 edits the focused row,
    // Delete asks to remove the marked rows, Ctrl+A marks every row; none
    // while a cell is being edited.
    LRESULT OnListKeyDown(int, NMHDR* header, BOOL&) {
        const WORD key = reinterpret_cast<const NMLVKEYDOWN*>(header)->wVKey;
        if (m_list.IsEditing() || !HasList()) return 0;
        const bool control = ::GetKeyState(VK_CONTROL) < 0;
        if (key == VK_F2 && !control) {
            const int row = List().GetNextItem(-1, LVNI_FOCUSED);
            if (row >= 0) Self().EditRowFromKeyboard(row);
        } else if (key == VK_DELETE && !control) {
            Self().RemoveFromKeyboard();
        } else if (key == 'A' && control) {
            MarkAllRows();
        }
        return 0;
    }
    // Each row not yet marked is marked by itself, so that the host hears
    // one OnItemSelected per changed row, as when the user marks them.
    void MarkAllRows() {
        const bool checks = m_list.IsCheckBoxMode();
        for (int row = 0, count = List().GetItemCount(); row < count && HasList(); ++row) {
            if (m_list.IsMarked(row)) continue;
            LVITEMW item{};
            item.stateMask = checks ? LVIS_STATEIMAGEMASK : LVIS_SELECTED;
            item.state = checks ? INDEXTOSTATEIMAGEMASK(2) : LVIS_SELECTED;
            ::SendMessageW(List().hwnd(), LVM_SETITEMSTATE, WPARAM(row), reinterpret_cast<LPARAM>(&item));
        }
    }

    // A host passes these on to its children as the platform asks of it.
    LRESULT OnColoursChanged(UINT message, WPARAM, LPARAM, BOOL& handled) {
        handled = FALSE;
        if (message == WM_SYSCOLORCHANGE || ::IsWindowVisible(this->m_hWnd)) RefreshListColours();
        return 0;
    }

    LRESULT OnDestroyNote(UINT, WPARAM, LPARAM, BOOL& handled) {
        handled = FALSE;
        m_note.Detach();
        return 0;
    }

    listview::CListNote m_note;
    PhonebookBookState m_bookState = BookOpen;
    HRESULT m_bookError = S_OK;
    HRESULT m_openError = S_OK;
    HRESULT m_readError = S_OK;
    bool m_bookRead = false;
    unsigned m_probedGeneration = ~0u;
    HRESULT m_probeResult = S_OK;

    LRESULT OnReloadRequest(UINT, WPARAM, LPARAM, BOOL&) {
        // A burst of change notices gives one reload, half a second after the
        // last. The timer reaches the message map through its own procedure
        // rather than the dialog's window procedure, because the reload takes
        // the list's relays out of the dialog (see CLVEditable::BeginUpdate),
        // which can only be done completely from outside the relay.
        ::SetTimer(this->m_hWnd, kReloadTimer, kReloadDelayMs, &ReloadTimerProc);
        return 0;
    }
    static void CALLBACK ReloadTimerProc(HWND dialog, UINT message, UINT_PTR timer, DWORD) {
        win::CallDialogMap(dialog, message, timer, 0);
    }
    LRESULT OnTimer(UINT, WPARAM timer, LPARAM, BOOL&) {
        if (timer != kReloadTimer || !HasList()) return 0;
        // A modal box shown inside a reload runs a message loop in which the
        // timer fires again: that reload waits for this one to end.
        if (m_reloading) {
            ::SetTimer(this->m_hWnd, kReloadTimer, kReloadDelayMs, &ReloadTimerProc);
            return 0;
        }
        const com::KeepAlive alive = KeepSelf();
        m_reloading = true;
        Self().Reload();
        m_reloading = false;
        if (!StillShown()) return 0;
        if (this->Source()) m_bookRead = true;
        UpdateBookState();
        return 0;
    }
    bool m_reloading = false;

    LRESULT OnSize(UINT, WPARAM, LPARAM size, BOOL&) {
        Self().Layout(LOWORD(size), HIWORD(size));
        return 0;
    }

    // A change the box did not tell through onChange (its context menu).
    LRESULT OnSearchChange(WORD, WORD, HWND, BOOL&) {
        if (!m_searchBox.Busy()) ApplySearchText(m_searchBox.Text());
        return 0;
    }
    void ApplySearchText(const std::wstring& text) {
        if (m_search.SetText(text) && HasList()) Self().ApplySearch();
    }
    // Emptying the list (a search that fills it again, a book switch) needs
    // no notice per row: nothing here follows rows by LVN_DELETEITEM.
    LRESULT OnDeleteAllRows(int, NMHDR*, BOOL&) { return TRUE; }
    LRESULT OnDestroySearchBox(UINT, WPARAM, LPARAM, BOOL& handled) {
        handled = FALSE;
        m_searchBox.Destroy();
        return 0;
    }

    LRESULT OnMouseActivate(UINT, WPARAM, LPARAM, BOOL& handled) {
        // A click makes an in-place active control UI-active (keyboard, Tab).
        if (this->IsInPlaceActive() && !this->OleState().uiActive)
            this->ActivateInPlace(true, nullptr, nullptr);
        handled = FALSE;
        return 0;
    }
};
