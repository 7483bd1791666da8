// CPhonebookControl2: the second phonebook control (class
// VelPhonebookControl2). A composite ActiveX control: dialog 122 with the
// owner-drawn contact list (a check box on every row and in the header, the
// favourite star last) and the buttons "New", "Delete" and "Add to Address
// Book". Recipients are edited in the entry dialog, not in place. It is its
// own phonebook manager with a record cache: list rows carry keys only, and
// their texts come from the cache. The host configures it through
// IPropertyBag::Write ("DrvUI", "SkinInterface").
#pragma once

#include "control/column_fit.h"
#include "control/contact_list_view.h"
#include "control/control2_ids.h"
#include "control/control_ids.h"
#include "control/phonebook_control_base.h"
#include "core/phonebook_manager.h"

#include <ocidl.h>

class CPhonebookControl2 : public CPhonebookControlBase<CPhonebookControl2, CPhonebookManager2,
                                                        listview::CContactListView, IPropertyBag>,
                           public listview::IContactListOwner {
    using Base = CPhonebookControlBase<CPhonebookControl2, CPhonebookManager2, listview::CContactListView,
                                       IPropertyBag>;
    friend Base;

public:
    enum { IDD = IDD_VELPHONEBOOKCONTROL2 };
    // Theme kinds the host's skin service gets for the children.
    static constexpr ULONG kSkinKindButton = 3;
    static constexpr ULONG kSkinKindList = 9;

    CPhonebookControl2();
    ~CPhonebookControl2() override;

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
    // IPropertyBag
    STDMETHODIMP Read(LPCOLESTR name, VARIANT* value, IErrorLog* log) noexcept override;
    STDMETHODIMP Write(LPCOLESTR name, VARIANT* value) noexcept override;

    // What the control kit asks of the control.
    static const CLSID& ClassId() noexcept { return CLSID_VelPhonebookControl2; }
    static const wchar_t* DisplayName() noexcept { return L"VelPhonebookControl2"; }

    // IContactListOwner
    const CRecipient* FindRecord(LPARAM key) override { return CPhonebookManager2::FindRecord(ULONG_PTR(key)); }
    const std::vector<int>& ColumnCompareKinds() override { return listview::DefaultContactCompareKinds(); }

    BEGIN_MSG_MAP(CPhonebookControl2)
        MESSAGE_HANDLER(WM_INITDIALOG, OnInitDialog)
        MESSAGE_HANDLER(WM_DESTROY, OnDestroy)
        COMMAND_HANDLER(IDC_NEW, BN_CLICKED, OnNew)
        COMMAND_HANDLER(IDC_DELETE, BN_CLICKED, OnDelete)
        COMMAND_HANDLER(IDC_ADD_TO_BOOK, BN_CLICKED, OnAddToBook)
        NOTIFY_HANDLER(IDC_LIST, LVN_ITEMCHANGED, OnItemChanged)
        NOTIFY_HANDLER(IDC_LIST, NM_CLICK, OnClick)
        NOTIFY_HANDLER(IDC_LIST, NM_DBLCLK, OnDoubleClick)
        CHAIN_MSG_MAP(Base)
    END_MSG_MAP()

private:
    LRESULT OnInitDialog(UINT, WPARAM, LPARAM, BOOL&);
    LRESULT OnDestroy(UINT, WPARAM, LPARAM, BOOL&);
    LRESULT OnNew(WORD, WORD, HWND, BOOL&);
    LRESULT OnDelete(WORD, WORD, HWND, BOOL&);
    LRESULT OnAddToBook(WORD, WORD, HWND, BOOL&);
    LRESULT OnItemChanged(int, NMHDR*, BOOL&);
    LRESULT OnClick(int, NMHDR*, BOOL&);
    LRESULT OnDoubleClick(int, NMHDR*, BOOL&);

    void Reload();
    void SelectNewRow(ULONG_PTR key);
    void UpdateButtons();
    size_t ShownRecordCount() const { return RecordKeys().size(); }
    void EditRowFromKeyboard(int row);
    void RemoveFromKeyboard();
    // The entry dialog for a row (a double click, F2).
    void OpenRow(int row);
    void Layout(int width, int height);
    void FitColumns(bool resized = false);
    // The search (control2_search.cpp): the rows shown are the checked ones
    // and those the search text finds; Enter checks the first match.
    void ApplySearch();
    void MarkFirstMatch();
    bool WantsRow(const CRecipient& record);
    int FirstMarked() const;
    HRESULT FillRow(int row, ULONG* id, BSTR* name, BSTR* fax);
    // Registers the control's window and its children with the skin service.
    void ApplySkin();
    void ReleaseSkin() noexcept;

    com::ComPtr<IDispatch> m_skin;
    bool m_drvUI = false;
    bool m_deleting = false;
    bool m_searching = false;  // rows hidden or shown: no change of marking
    ULONG_PTR m_selectAfterReload = 0;  // the row "New" added, once it is listed
    ULONG_PTR m_gdiplusToken = 0;
    listview::CColumnFit m_columnFit;
    SIZE m_fittedSize{};
};
