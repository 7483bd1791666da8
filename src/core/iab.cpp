// Shared operations of the address-book sources.
#include "core/iab.h"

#include <algorithm>
#include <iterator>

IAB::IAB() : m_identifiers(1) {}
IAB::~IAB() = default;

ULONG_PTR IAB::KeyFromIdentifier(const std::wstring& identifier) {
    const auto found = std::find(m_identifiers.begin(), m_identifiers.end(), identifier);
    if (found != m_identifiers.end()) return ULONG_PTR(found - m_identifiers.begin());
    m_identifiers.push_back(identifier);
    return m_identifiers.size() - 1;
}

std::wstring IAB::IdentifierFromKey(ULONG_PTR key) const {
    return key != 0 && key < m_identifiers.size() ? m_identifiers[key] : std::wstring();
}

HRESULT IAB::LoadFaxRecipients(RecipientList& out) {
    out.clear();
    RecipientList all;
    const HRESULT hr = LoadAll(all);
    if (FAILED(hr)) return hr;
    for (const CRecipient& recipient : all)
        if (recipient.key != 0 && !recipient.faxNumber.empty()) out.push_back(recipient);
    return hr;
}

RecipientList::iterator IAB::FindByKey(RecipientList& list, ULONG_PTR key) {
    return std::find_if(list.begin(), list.end(), [key](const CRecipient& r) { return r.key == key; });
}

namespace {

// Takes one occurrence of the key out of a sorted multiset; false if absent.
bool TakeOne(KeyList& keys, ULONG_PTR key) {
    const auto found = std::lower_bound(keys.begin(), keys.end(), key);
    if (found == keys.end() || *found != key) return false;
    keys.erase(found);
    return true;
}

}  // namespace

bool IAB::Compare(const RecipientList& current, KeyList& known, KeyList& removed, RecipientList& kept,
                  RecipientList& added) {
    KeyList currentKeys;
    for (const CRecipient& r : current) currentKeys.push_back(r.key);
    currentKeys.sort();  // std::list::sort is a stable merge sort
    known.sort();

    removed.clear();
    KeyList both, fresh;
    std::set_intersection(currentKeys.begin(), currentKeys.end(), known.begin(), known.end(),
                          std::back_inserter(both));
    std::set_difference(currentKeys.begin(), currentKeys.end(), both.begin(), both.end(),
                        std::back_inserter(fresh));
    std::set_difference(known.begin(), known.end(), both.begin(), both.end(), std::back_inserter(removed));

    // True whenever either side holds anything, changed or not: callers only
    // use it to decide whether to look at the lists at all.
    const bool result = !both.empty() || !fresh.empty() || !removed.empty();

    for (const CRecipient& r : current) {
        if (TakeOne(fresh, r.key)) added.push_back(r);
        else if (TakeOne(both, r.key)) kept.push_back(r);
    }
    return result;
}
