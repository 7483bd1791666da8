// CPhonebookControl: the phonebook control (class VelPhonebookControl). A
// composite ActiveX control: dialog 103 with the recipient list and its
// buttons, created in the container's window at in-place activation. It is
// at the same time the phonebook manager of its own list: it turns list
// actions into source operations and source changes into list refreshes.
#pragma once

#include "control/column_fit.h"
#include "control/control_ids.h"
#include "control/image_buttons.h"
#include "control/list_codes.h"
#include "control/list_view.h"
#include "control/phonebook_control_base.h"
#include "core/phonebook_manager.h"

#include <chrono>
#include <unordered_map>

class CPhonebookControl
    : public CPhonebookControlBase<CPhonebookControl, CPhonebookManager, listview::CPhonebookListView> {
    using Base = CPhonebookControlBase<CPhonebookControl, CPhonebookManager, listview::CPhonebookListView>;
    friend Base;

public:
    enum { IDD = IDD_VELPHONEBOOKCONTROL };
    // Up to this many rows inserted or removed, a reload changes the list in
    // place rather than in one update with redrawing off.
    static constexpr size_t kRowsChangedInPlace = 16;

    CPhonebookControl();
    ~CPhonebookControl() override;

    // IVelPhonebookControl
    STDMETHODIMP GetItem(int item, ULONG* id, BSTR* name, BSTR* fax) noexcept override;
    STDMETHODIMP GetSelItem(int from, ULONG* id, BSTR* name, BSTR* fax) noexcept override;
    // IVelPhonebookControl2
    STDMETHODIMP SelectOutlookAddressBook(LONG selected) noexcept override;
    // IVelPhonebookControl3
    STDMETHODIMP EnableCheckBoxes(LONG enable, BSTR header) noexcept override;
    STDMETHODIMP SelectItem(int item) noexcept override;
    STDMETHODIMP SetSortMode(int mode) noexcept override;
    STDMETHODIMP GetSortMode(int* mode) noexcept override;

    // What the control kit asks of the control.
    static const CLSID& ClassId() noexcept { return CLSID_VelPhonebookControl; }
    static const wchar_t* DisplayName() noexcept { return L"VelPhonebookControl"; }

    BEGIN_MSG_MAP(CPhonebookControl)
        MESSAGE_HANDLER(WM_INITDIALOG, OnInitDialog)
        MESSAGE_HANDLER(WM_DESTROY, OnDestroy)
        MESSAGE_HANDLER(WM_DRAWITEM, OnDrawItem)
        COMMAND_HANDLER(IDC_ADD, BN_CLICKED, OnAdd)
        COMMAND_HANDLER(IDC_IMAGE_ADD, BN_CLICKED, OnAdd)
        COMMAND_HANDLER(IDC_REMOVE, BN_CLICKED, OnRemove)
        COMMAND_HANDLER(IDC_IMAGE_REMOVE, BN_CLICKED, OnRemove)
        COMMAND_HANDLER(IDC_EDIT, BN_CLICKED, OnEdit)
        COMMAND_HANDLER(IDC_IMAGE_EDIT, BN_CLICKED, OnEdit)
        NOTIFY_HANDLER(IDC_LIST, listview::kEndEditNotify, OnEndEdit)
        NOTIFY_HANDLER(IDC_LIST, LVN_ITEMCHANGED, OnItemChanged)
        NOTIFY_HANDLER(IDC_LIST, LVN_COLUMNCLICK, OnColumnClick)
        CHAIN_MSG_MAP(Base)
    END_MSG_MAP()

private:
    LRESULT OnInitDialog(UINT, WPARAM, LPARAM, BOOL&);
    LRESULT OnDestroy(UINT, WPARAM, LPARAM, BOOL&);
    LRESULT OnDrawItem(UINT, WPARAM, LPARAM, BOOL&);
    LRESULT OnAdd(WORD, WORD, HWND, BOOL&);
    LRESULT OnRemove(WORD, WORD, HWND, BOOL&);
    LRESULT OnEdit(WORD, WORD, HWND, BOOL&);
    LRESULT OnEndEdit(int, NMHDR*, BOOL&);
    LRESULT OnItemChanged(int, NMHDR*, BOOL&);
    LRESULT OnColumnClick(int, NMHDR*, BOOL&);

    void SetUpList();
    void Reload();
    using ReloadClock = std::chrono::steady_clock;
    void LogReload(size_t shown, size_t added, size_t removed, ReloadClock::duration read,
                   ReloadClock::duration update) const;
    void UpdateButtons();
    size_t ShownRecordCount() const noexcept { return m_shown.size(); }
    void EditRowFromKeyboard(int row);
    void RemoveFromKeyboard();
    void ShowButtonSet(bool imageButtons);
    void Layout(int width, int height);
    // The search (control_search.cpp): the rows shown are the marked ones and
    // those the search text finds; Enter marks the first match.
    void ApplySearch();
    void MarkFirstMatch();
    bool WantsRow(ULONG_PTR key, const std::wstring& name, const std::wstring& fax);
    // The columns take the list's width: the published widths are the least
    // ones, name and number share the rest. A column the user resized keeps
    // its width until the control is resized (`resized`).
    void FitColumns(bool resized);
    std::wstring RowNumber(int number) const;
    int AppendRow(const CRecipient& recipient);
    int RowCount() const noexcept { return int(m_list.Keys().size()); }
    void DeleteRows(std::vector<int> rows);
    void ClearRows();
    // Checks and writes an in-place edit; the message id when refused, else 0.
    UINT CommitEdit(int item, int column, const std::wstring& text);
    // A standard message box over the host's window; the button pressed.
    int ShowMessage(const std::wstring& text, const std::wstring& caption, UINT flags) const;

    CImageButtons m_imageButtons;
    bool m_checkBoxesWanted = false;       // EnableCheckBoxes before the window existed
    std::wstring m_checkBoxHeader;
    int m_quietItemChanges = 0;            // own deletions: no item-changed events

    // Every recipient of the book by key, shown or hidden by the search (the
    // list finds the row of a key): the texts, so that a reload sees what
    // changed without reading the rows, and the search finds without them.
    struct Shown {
        std::wstring name;
        std::wstring fax;
    };
    std::unordered_map<ULONG_PTR, Shown> m_shown;
    listview::CColumnFit m_columnFit;
    SIZE m_fittedSize{};
};
