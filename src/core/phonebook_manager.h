// The phonebook manager: owns the one address-book source a control (or the
// entry dialog, or the AddressBook object) works with, creates it for the
// selected kind of address book, and replaces it when the selection changes.
#pragma once

#include "core/iab.h"

#include <map>
#include <memory>

// Selection values of the address books.
inline constexpr int kMRUBook = -1;
inline constexpr int kWindowsBook = 0;
inline constexpr int kOutlookBook = 1;

class CPhonebookManager {
public:
    CPhonebookManager() = default;
    // Disconnects a source still open, without the hooks (the owner is gone):
    // an owner with an Outlook event sink calls CloseSource first.
    virtual ~CPhonebookManager();
    CPhonebookManager(const CPhonebookManager&) = delete;
    CPhonebookManager& operator=(const CPhonebookManager&) = delete;

    // Hooks of the owner.
    virtual HWND GetNotifyWindow() = 0;
    // After an Outlook source has connected; a failure undoes the connection.
    virtual HRESULT OnOutlookConnected() = 0;
    // Before an Outlook source is disconnected.
    virtual void OnOutlookDisconnecting() = 0;

    // Creates and connects the source for the current kind (closing any
    // source first). Windows Contacts failing to connect is replaced once by
    // the Windows Address Book, and the manager stays with the latter.
    HRESULT OpenSource();
    void CloseSource();
    // Registers the window with the current source; never with Outlook,
    // which reports its changes through the owner's event sink instead.
    void SetNotifyWindow(HWND window, bool enable);

    // Switches to another kind: S_OK without any change for the current
    // kind, E_INVALIDARG for an unknown one; otherwise the owner's window is
    // unregistered, the source replaced and the window registered again, and
    // the result is that of OpenSource. `replaced` tells whether the source
    // was replaced (the owner then refills its list).
    HRESULT SelectKind(int kind, bool* replaced = nullptr);
    // Opens the current kind again, as SelectKind opens another one: for a
    // book whose opening or reading failed (Outlook busy, or gone).
    HRESULT ReopenKind();

    IAB* Source() const noexcept { return m_source.get(); }
    // Changes whenever the source is closed or replaced: a caller that runs
    // other code between two uses of the source tells by it that the source
    // it had is gone.
    unsigned SourceGeneration() const noexcept { return m_sourceGeneration; }
    int Kind() const noexcept { return m_kind; }
    void SetKind(int kind) noexcept { m_kind = kind; }
    bool UsesWindowsContacts() const noexcept { return m_useWindowsContacts; }
    void SetUseWindowsContacts(bool use) noexcept { m_useWindowsContacts = use; }

    static bool IsKnownKind(int kind) noexcept { return kind == kMRUBook || kind == kWindowsBook || kind == kOutlookBook; }
    // Windows Contacts exists from Windows 6.0 (Vista) on.
    static bool SystemHasWindowsContacts();

protected:
    explicit CPhonebookManager(bool useWindowsContacts) noexcept : m_useWindowsContacts(useWindowsContacts) {}

private:
    HRESULT OpenWindowsBook();

    int m_kind = kWindowsBook;
    std::unique_ptr<IAB> m_source;
    unsigned m_sourceGeneration = 0;
    bool m_useWindowsContacts = false;
};

// The same manager preferring Windows Contacts for the Windows address book,
// with a cache of the records its owner shows: the owner's rows carry only
// keys, and their texts come from here.
class CPhonebookManager2 : public CPhonebookManager {
public:
    CPhonebookManager2() noexcept : CPhonebookManager(true) {}

    // The cached record of a key, or null.
    const CRecipient* FindRecord(ULONG_PTR key) const {
        const auto found = m_records.find(key);
        return found == m_records.end() ? nullptr : &found->second;
    }
    void StoreRecord(const CRecipient& record) { m_records[record.key] = record; }
    void RemoveRecord(ULONG_PTR key) { m_records.erase(key); }
    void ClearRecords() noexcept { m_records.clear(); }
    // The cached keys, for comparing with what the source holds now.
    KeyList RecordKeys() const {
        KeyList keys;
        for (const auto& entry : m_records) keys.push_back(entry.first);
        return keys;
    }
    // Whether the MRU book is the one shown (its rows may be edited in the
    // entry dialog; the other books' rows are only viewed there).
    bool IsMRUSelected() const noexcept { return m_mruSelected; }
    void SetMRUSelected(bool selected) noexcept { m_mruSelected = selected; }

private:
    std::map<ULONG_PTR, CRecipient> m_records;
    bool m_mruSelected = false;
};

// A manager with no window and no Outlook event sink, for a short-lived use
// (the entry dialog's duplicate check, the AddressBook object). Its Windows
// book is the address-book library (WABOpen): only a control chooses Windows
// Contacts by the system, and from Windows 6 on the library serves the same
// contacts.
class CPhonebookManagerStandalone : public CPhonebookManager {
public:
    HWND GetNotifyWindow() override { return nullptr; }
    HRESULT OnOutlookConnected() override { return S_OK; }
    void OnOutlookDisconnecting() override {}

    // The user's preferred address book, the value "AddressBook" under
    // SOFTWARE\Quorvel\Orvanta\Recipients (0 when absent).
    static int ReadPreferredKind();
};
