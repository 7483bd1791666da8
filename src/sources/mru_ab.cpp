// The MRU recipients book over the registry store.
#include "sources/mru_ab.h"

#include "com/hresult.h"
#include "sources/mru_watcher.h"

#include <algorithm>
#include <unordered_set>

namespace {

// The MRU key for watching; created first when it is missing.
com::UniqueHKey OpenWatchKey() {
    com::UniqueHKey key;
    if (::RegOpenKeyExW(HKEY_CURRENT_USER, kMRUKeyPath, 0, kMRUWatchAccess, key.put()) == ERROR_SUCCESS) return key;
    com::UniqueHKey created;
    if (::RegCreateKeyExW(HKEY_CURRENT_USER, kMRUKeyPath, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, created.put(),
                          nullptr) != ERROR_SUCCESS)
        return {};
    created.reset();
    if (::RegOpenKeyExW(HKEY_CURRENT_USER, kMRUKeyPath, 0, kMRUWatchAccess, key.put()) != ERROR_SUCCESS) return {};
    return key;
}

}  // namespace

CMRUAB::CMRUAB() {
    m_mutex.reset(::CreateMutexW(nullptr, FALSE, kMRUMutexName));
    m_event.reset(::CreateEventW(nullptr, FALSE, FALSE, kMRUEventName));
    // The watcher keeps its own handle of the event, so that closing ours
    // first at destruction cannot pull it from under a waiting thread.
    com::UniqueHandle watcherEvent;
    if (m_event)
        ::DuplicateHandle(::GetCurrentProcess(), m_event.get(), ::GetCurrentProcess(), watcherEvent.put(), 0,
                          FALSE, DUPLICATE_SAME_ACCESS);
    m_watcher = std::make_unique<CMRUWatcher>(OpenWatchKey(), std::move(watcherEvent));
    m_watcher->Start();
}

CMRUAB::~CMRUAB() {
    m_event.reset();
    m_mutex.reset();
    m_watcher.reset();
}

HRESULT CMRUAB::Connect() {
    LoadMRUStore(m_entries);
    return S_OK;
}

void CMRUAB::Disconnect() {}

HRESULT CMRUAB::LoadAll(RecipientList& out) {
    out.clear();
    LoadMRUStore(m_entries);
    for (auto entry = m_entries.cbegin(); entry != m_entries.cend(); ++entry) {
        CRecipient recipient;
        EntryToRecord(entry, recipient);
        out.push_back(std::move(recipient));
    }
    return S_OK;
}

// Other programs write the store too, and may give two entries one
// identifier. Their records would share a key, and a key names one entry:
// the first, which Get, Modify and Delete reach. A later entry could only be
// shown as an alias of it (a list that keys its rows by record cannot even
// show both, and loses track of them when they go), so only the first entry
// of an identifier is offered.
HRESULT CMRUAB::LoadFaxRecipients(RecipientList& out) {
    RETURN_IF_FAILED(IAB::LoadFaxRecipients(out));
    std::unordered_set<ULONG_PTR> offered;
    out.remove_if([&](const CRecipient& recipient) { return !offered.insert(recipient.key).second; });
    return S_OK;
}

HRESULT CMRUAB::EntryToRecord(MRUEntryList::const_iterator entry, CRecipient& recipient) {
    if (entry == m_entries.cend()) return E_INVALIDARG;
    recipient.identifier = entry->identifier;
    recipient.name = entry->name;
    recipient.faxNumber = entry->faxNumber;
    recipient.favorite = entry->favorite;
    recipient.date = entry->date;
    if (!entry->identifier.empty()) recipient.key = KeyFromIdentifier(entry->identifier);
    return S_OK;
}

HRESULT CMRUAB::RecordToEntry(const CRecipient& recipient, MRUEntryList::iterator entry) {
    if (entry == m_entries.end()) return E_INVALIDARG;
    entry->identifier = recipient.identifier;
    entry->name = recipient.name;
    entry->faxNumber = recipient.faxNumber;
    entry->favorite = recipient.favorite;
    entry->date = recipient.date;
    return S_OK;
}

// Key 0 finds the first entry without an identifier, like any other key.
MRUEntryList::iterator CMRUAB::FindEntry(ULONG key) {
    const std::wstring identifier = IdentifierFromKey(key);
    return std::find_if(m_entries.begin(), m_entries.end(),
                        [&](const MRUEntry& entry) { return entry.identifier == identifier; });
}

// Add, Delete and Modify read the store again right before they change and
// save it: another process (the fax program's UpdateMRU after a send) may
// have saved since this book's last load, and saving the list of that load
// would wipe what it wrote. The last writer still wins a true race.
HRESULT CMRUAB::Add(CRecipient& recipient) {
    LoadMRUStore(m_entries);
    m_entries.emplace_back();
    const auto entry = std::prev(m_entries.end());
    ::GetSystemTime(&entry->date);
    // Every field is replaced, the date included: the caller's date is stored.
    HRESULT hr = RecordToEntry(recipient, entry);
    CRecipient stored;
    if (SUCCEEDED(hr)) hr = EntryToRecord(entry, stored);
    if (FAILED(hr)) {
        m_entries.erase(entry);
        return hr;
    }
    recipient.identifier = stored.identifier;
    recipient.key = stored.key;
    SaveMRUStore(m_entries);
    return hr;
}

HRESULT CMRUAB::Delete(ULONG key) {
    LoadMRUStore(m_entries);
    const auto entry = FindEntry(key);
    if (entry == m_entries.end()) return E_FAIL;
    m_entries.erase(entry);
    SaveMRUStore(m_entries);
    return S_OK;
}

HRESULT CMRUAB::Get(ULONG key, CRecipient& recipient) {
    const auto entry = FindEntry(key);
    if (entry == m_entries.end()) return E_FAIL;
    return EntryToRecord(entry, recipient);
}

HRESULT CMRUAB::Modify(ULONG key, const CRecipient& recipient) {
    LoadMRUStore(m_entries);
    const auto entry = FindEntry(key);
    if (entry == m_entries.end()) return E_FAIL;
    CRecipient current;
    RETURN_IF_FAILED(EntryToRecord(entry, current));
    // The record's identifier is taken as it stands, so it may re-label the entry.
    RecordToEntry(recipient, entry);
    SaveMRUStore(m_entries);
    return S_OK;
}

bool CMRUAB::SetNotifyWindow(HWND window, bool enable) {
    m_watcher->SetWindow(enable ? window : nullptr);
    return true;
}

DWORD CMRUAB::WatcherThreadId() const noexcept { return m_watcher->ThreadId(); }
