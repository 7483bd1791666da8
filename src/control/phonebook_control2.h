// CPhonebookControl2: the second phonebook control (class
// VelPhonebookControl2). A composite ActiveX control: dialog 122 with the
// owner-drawn contact list (a check box on every row and in the header, the
// favourite star last) and the buttons "New", "Delete" and "Add to Address
// Book". Recipients are edited in the entry dialog, not in place. It is its
// own phonebook manager with a record cache: list rows carry keys only, and
// their texts come from the cache. The host configures it through
// IPropertyBag::Write ("DrvUI", "SkinInterface").
#pragma once

#include "com/control_kit.h"
#include "com/dispatch.h"
#include "com/error_info.h"
#include "control/contact_list_view.h"
#include "control/control2_ids.h"
#include "control/control_ids.h"
// The interface bases of IVelPhonebookControl3 are declared with the first control.
#include "control/phonebook_control.h"
#include "core/phonebook_manager.h"
#include "localization/localizer.h"
#include "module/VelPhonebook_h.h"
#include "win/window_impl.h"

#include <ocidl.h>

class CPhonebookControl2
    : public com::Implements<CPhonebookControl2, com::Dispatch<IVelPhonebookControl3>, IPropertyBag,
                             com::ControlKit<CPhonebookControl2>,
                             com::SupportErrorInfo<IVelPhonebookControl, IVelPhonebookControl2, IVelPhonebookControl3>>,
      public CPhonebookManager2,
      public win::DialogImpl<CPhonebookControl2>,
      public CLocalizerHelperT<CPhonebookControl2>,
      public listview::IContactListOwner {
public:
    enum { IDD = IDD_VELPHONEBOOKCONTROL2 };
    static constexpr UINT kReloadTimer = 123;
    static constexpr UINT kReloadDelayMs = 500;
    static constexpr DISPID kOnItemSelected = 1;
    static constexpr DWORD kMiscStatus = 131473;
    // Theme kinds the host's skin service gets for the children.
    static constexpr ULONG kSkinKindButton = 3;
    static constexpr ULONG kSkinKindList = 9;

    CPhonebookControl2();
    ~CPhonebookControl2() override;

    // IVelPhonebookControl
    STDMETHODIMP GetItem(int item, ULONG* id, BSTR* name, BSTR* fax) noexcept override;
    STDMETHODIMP GetItemCount() noexcept override;
    STDMETHODIMP GetSelItem(int from, ULONG* id, BSTR* name, BSTR* fax) noexcept override;
    STDMETHODIMP GetSelItemCount() noexcept override;
    // IVelPhonebookControl2
    STDMETHODIMP SelectOutlookAddressBook(LONG selected) noexcept override;
    STDMETHODIMP IsOutlookAddressBookSelected(LONG* selected) noexcept override;
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
    static const IID& EventInterfaceId() noexcept { return DIID_IVelPhonebookControlEvents; }
    static const wchar_t* DisplayName() noexcept { return L"VelPhonebookControl2"; }
    HWND ControlWindow() const noexcept { return m_hWnd; }
    HWND CreateControlWindow(HWND parent, const RECT& position);
    void DestroyControlWindow() noexcept;

    // CPhonebookManager hooks.
    HWND GetNotifyWindow() override { return m_hWnd; }
    HRESULT OnOutlookConnected() override { return S_OK; }
    void OnOutlookDisconnecting() override {}

    // IContactListOwner
    const CRecipient* FindRecord(LPARAM key) override { return CPhonebookManager2::FindRecord(ULONG_PTR(key)); }
    const std::vector<int>& ColumnCompareKinds() override { return listview::DefaultContactCompareKinds(); }

    BEGIN_MSG_MAP(CPhonebookControl2)
        MESSAGE_HANDLER(WM_INITDIALOG, OnInitDialog)
        MESSAGE_HANDLER(WM_DESTROY, OnDestroy)
        MESSAGE_HANDLER(WM_TIMER, OnTimer)
        MESSAGE_HANDLER(kReloadMessage, OnReloadRequest)
        MESSAGE_HANDLER(WM_SIZE, OnSize)
        MESSAGE_HANDLER(WM_MOUSEACTIVATE, OnMouseActivate)
        COMMAND_HANDLER(IDC_NEW, BN_CLICKED, OnNew)
        COMMAND_HANDLER(IDC_DELETE, BN_CLICKED, OnDelete)
        COMMAND_HANDLER(IDC_ADD_TO_BOOK, BN_CLICKED, OnAddToBook)
        NOTIFY_HANDLER(IDC_LIST, LVN_ITEMCHANGED, OnItemChanged)
        NOTIFY_HANDLER(IDC_LIST, NM_CLICK, OnClick)
        NOTIFY_HANDLER(IDC_LIST, NM_DBLCLK, OnDoubleClick)
    END_MSG_MAP()

private:
    LRESULT OnInitDialog(UINT, WPARAM, LPARAM, BOOL&);
    LRESULT OnDestroy(UINT, WPARAM, LPARAM, BOOL&);
    LRESULT OnTimer(UINT, WPARAM, LPARAM, BOOL&);
    LRESULT OnReloadRequest(UINT, WPARAM, LPARAM, BOOL&);
    LRESULT OnSize(UINT, WPARAM, LPARAM, BOOL&);
    LRESULT OnMouseActivate(UINT, WPARAM, LPARAM, BOOL&);
    LRESULT OnNew(WORD, WORD, HWND, BOOL&);
    LRESULT OnDelete(WORD, WORD, HWND, BOOL&);
    LRESULT OnAddToBook(WORD, WORD, HWND, BOOL&);
    LRESULT OnItemChanged(int, NMHDR*, BOOL&);
    LRESULT OnClick(int, NMHDR*, BOOL&);
    LRESULT OnDoubleClick(int, NMHDR*, BOOL&);

    void Reload();
    void UpdateButtons();
    void Layout(int width, int height);
    void FitColumns();
    void FireItemSelected(int item, bool selected, int count);
    win::ListViewCtrl List() const noexcept { return m_list.List(); }
    bool HasList() const noexcept { return m_list.IsWindow(); }
    int FirstMarked() const;
    HRESULT FillRow(int row, ULONG* id, BSTR* name, BSTR* fax);
    // The window the control's dialogs are shown over: the host's dialog.
    HWND HostWindow() const { return ::GetParent(GetParent()); }
    // Registers the control's window and its children with the skin service.
    void ApplySkin();
    void ReleaseSkin() noexcept;

    listview::CContactListView m_list;
    com::ComPtr<IDispatch> m_skin;
    bool m_drvUI = false;
    bool m_vista = false;
    bool m_deleting = false;
    ULONG_PTR m_gdiplusToken = 0;
};
