// The Outlook contacts source: the contacts of Outlook's default contacts
// folder that have a business fax number, read and written through Outlook's
// automation object model.
#pragma once

#include "com/com_ptr.h"
#include "core/iab.h"

#include <oaidl.h>

class COAB : public IAB {
public:
    COAB();
    ~COAB() override;

    HRESULT Connect() override;
    void Disconnect() override;
    HRESULT LoadAll(RecipientList& out) override;
    HRESULT Add(CRecipient& recipient) override;
    HRESULT Delete(ULONG key) override;
    HRESULT Get(ULONG key, CRecipient& recipient) override;
    HRESULT Modify(ULONG key, const CRecipient& recipient) override;
    // Outlook reports its changes through the events of the contact items and
    // the reminders, which the control's sink receives; nothing to register.
    bool SetNotifyWindow(HWND window, bool enable) override;

    // What an event sink advises on while the source is connected (null when
    // not connected; the reminders also for Outlook 9 and earlier).
    IDispatch* ContactItems() const noexcept { return m_contactItems.get(); }
    IDispatch* Reminders() const noexcept { return m_reminders.get(); }
    // The number before the first point of Outlook's version text; 0 when
    // it could not be read.
    int MajorVersion() const noexcept { return m_majorVersion; }

private:
    // The member numbers of Outlook's Table family, looked up by name once
    // per connection (DISPID_UNKNOWN until then).
    struct TableMembers {
        DISPID getTable = DISPID_UNKNOWN;
        DISPID columns = DISPID_UNKNOWN;
        DISPID getRowCount = DISPID_UNKNOWN;
        DISPID getArray = DISPID_UNKNOWN;
        DISPID removeAll = DISPID_UNKNOWN;
        DISPID add = DISPID_UNKNOWN;
    };

    HRESULT ConnectSteps();
    HRESULT LoadAllFromTable(RecipientList& out);
    HRESULT LoadAllByItem(RecipientList& out);
    HRESULT ReadContact(IDispatch* contact, CRecipient& recipient);
    HRESULT WriteContact(IDispatch* contact, const CRecipient& recipient);
    HRESULT FindContact(ULONG key, com::ComPtr<IDispatch>& contact);

    com::ComPtr<IDispatch> m_application;
    com::ComPtr<IDispatch> m_namespace;
    com::ComPtr<IDispatch> m_folders;
    com::ComPtr<IDispatch> m_contactsFolder;
    com::ComPtr<IDispatch> m_contactItems;
    com::ComPtr<IDispatch> m_reminders;
    int m_majorVersion = 0;
    TableMembers m_tableMembers;
};
