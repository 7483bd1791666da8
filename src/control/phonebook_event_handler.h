// The control's sink for Outlook's events: item changes in the contacts
// folder become the reload message to the control window, and the reminder
// dialog is suppressed while the phonebook listens.
#pragma once

#include "com/advise.h"
#include "com/com_ptr.h"

#include <oaidl.h>
#include <windows.h>

class COAB;
class IAB;

class CPhonebookEventHandler {
public:
    // Identifies this sink among the control's event sinks.
    static constexpr UINT kSinkId = 2;
    // What the sink stores into the reminder's Cancel argument.
    static constexpr VARIANT_BOOL kCancelReminder = 1;

    CPhonebookEventHandler();
    ~CPhonebookEventHandler();
    CPhonebookEventHandler(const CPhonebookEventHandler&) = delete;
    CPhonebookEventHandler& operator=(const CPhonebookEventHandler&) = delete;

    // Advises on the contact items' ItemsEvents and, when the source has
    // them, the reminders' ReminderCollectionEvents; posts to window. All or
    // nothing: on failure no connection is left.
    HRESULT Connect(const COAB& source, HWND window);
    // The same for whatever source the manager holds: E_FAIL unless it is
    // Outlook's.
    HRESULT ConnectTo(const IAB* source, HWND window);
    void Disconnect();
    bool IsConnected() const noexcept { return bool(m_items); }

    // What the sink does with one event (its IDispatch::Invoke lands here).
    HRESULT OnEvent(DISPID id, DISPPARAMS* params) noexcept;

private:
    class Sink;
    com::ComPtr<Sink> m_sink;
    com::AdviseConnection m_items;
    com::AdviseConnection m_reminders;
    HWND m_window = nullptr;
};
