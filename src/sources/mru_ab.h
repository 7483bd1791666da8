// The MRU recipients book: the address-book source over the MRU store, with a
// watcher thread that reports changes made by any process of the user.
#pragma once

#include "com/unique_any.h"
#include "core/iab.h"
#include "sources/mru_store.h"

#include <memory>

class CMRUWatcher;

class CMRUAB : public IAB {
public:
    CMRUAB();
    ~CMRUAB() override;

    HRESULT Connect() override;
    void Disconnect() override;
    HRESULT LoadAll(RecipientList& out) override;
    // Those of IAB, each identifier once: see the definition.
    HRESULT LoadFaxRecipients(RecipientList& out) override;
    HRESULT Add(CRecipient& recipient) override;
    HRESULT Delete(ULONG key) override;
    HRESULT Get(ULONG key, CRecipient& recipient) override;
    HRESULT Modify(ULONG key, const CRecipient& recipient) override;
    bool SetNotifyWindow(HWND window, bool enable) override;

    // Thread identifier of the watcher, 0 when none runs.
    DWORD WatcherThreadId() const noexcept;

private:
    HRESULT EntryToRecord(MRUEntryList::const_iterator entry, CRecipient& recipient);
    HRESULT RecordToEntry(const CRecipient& recipient, MRUEntryList::iterator entry);
    MRUEntryList::iterator FindEntry(ULONG key);

    MRUEntryList m_entries;
    // Created so that it exists for every process of the user, but never
    // acquired: saves from different processes are not serialised, the last
    // complete save wins.
    com::UniqueHandle m_mutex;
    com::UniqueHandle m_event;
    std::unique_ptr<CMRUWatcher> m_watcher;
};
