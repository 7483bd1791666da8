// The address-book source interface: the operations every source offers, the
// identifier table that turns a source's entry identifiers into small keys,
// and the operations shared by all sources (fax filter, find, compare).
#pragma once

#include "core/recipient.h"

#include <functional>
#include <list>
#include <string>
#include <unordered_map>
#include <vector>

using RecipientList = std::list<CRecipient>;
using KeyList = std::list<ULONG_PTR>;

// Posted to a source's notification window when its store has changed.
inline constexpr UINT kReloadMessage = WM_USER + 342;

class IAB {
public:
    IAB();
    virtual ~IAB();
    IAB(const IAB&) = delete;
    IAB& operator=(const IAB&) = delete;

    virtual HRESULT Connect() = 0;
    virtual void Disconnect() = 0;
    virtual HRESULT LoadAll(RecipientList& out) = 0;
    // LoadAll without the records that have no identifier or no fax number.
    virtual HRESULT LoadFaxRecipients(RecipientList& out);
    // The first record with the key, or the list's end.
    virtual RecipientList::iterator FindByKey(RecipientList& list, ULONG_PTR key);
    virtual HRESULT Add(CRecipient& recipient) = 0;
    virtual HRESULT Delete(ULONG key) = 0;
    virtual HRESULT Get(ULONG key, CRecipient& recipient) = 0;
    virtual HRESULT Modify(ULONG key, const CRecipient& recipient) = 0;
    virtual bool SetNotifyWindow(HWND window, bool enable) = 0;
    // Works out what changed between the keys a caller shows (known, sorted
    // in place) and the records a source holds now (current). Keys are a
    // multiset. Returns true whenever current or known holds anything.
    virtual bool Compare(const RecipientList& current, KeyList& known, KeyList& removed,
                         RecipientList& kept, RecipientList& added);

    ULONG_PTR KeyFromIdentifier(const std::wstring& identifier);
    std::wstring IdentifierFromKey(ULONG_PTR key) const;
    // The table's size: keys at or past it are out of range.
    ULONG_PTR IdentifierCount() const noexcept { return m_identifiers.size(); }

protected:
    // Compare for a source whose keys can name one entry twice: `match`
    // gives every key the key it counts as (a key of known for a key of
    // current that is the same entry). removed, kept and added still carry
    // the keys as given.
    using KeyMatch = std::function<ULONG_PTR(ULONG_PTR)>;
    bool CompareMatching(const RecipientList& current, KeyList& known, KeyList& removed, RecipientList& kept,
                         RecipientList& added, const KeyMatch& match);

private:
    // Position 0 holds the empty identifier; entries are only ever appended.
    std::vector<std::wstring> m_identifiers;
    // Each identifier's position in the table, so that a source loading n
    // entries does n lookups instead of n scans of a growing table.
    std::unordered_map<std::wstring, ULONG_PTR> m_positions;
};
