// Shared operations of the address-book sources.
#include "core/iab.h"

#include <algorithm>
#include <iterator>

IAB::IAB() : m_identifiers(1), m_positions{{std::wstring(), 0}} {}
IAB::~IAB() = default;

ULONG_PTR IAB::KeyFromIdentifier(const std::wstring& identifier) {
    // The table never holds a text twice, so the index's one position per
    // text is the first match a scan from position 0 would find.
    const auto [position, added] = m_positions.try_emplace(identifier, m_identifiers.size());
    if (added) {
        try {
            m_identifiers.push_back(identifier);
        } catch (...) {
            m_positions.erase(position);
            throw;
        }
    }
    return position->second;
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
    return CompareMatching(current, known, removed, kept, added, [](ULONG_PTR key) { return key; });
}

bool IAB::CompareMatching(const RecipientList& current, KeyList& known, KeyList& removed, RecipientList& kept,
                          RecipientList& added, const KeyMatch& match) {
    KeyList currentKeys;
    for (const CRecipient& r : current) currentKeys.push_back(match(r.key));
    currentKeys.sort();  // std::list::sort is a stable merge sort
    known.sort();

    // The known keys as they count, each with the key the caller gave.
    std::vector<std::pair<ULONG_PTR, ULONG_PTR>> knownKeys;
    for (ULONG_PTR key : known) knownKeys.emplace_back(match(key), key);
    std::stable_sort(knownKeys.begin(), knownKeys.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });

    // The standard merge of two sorted multisets: both = the intersection,
    // fresh = current minus both, removed = known minus both.
    removed.clear();
    KeyList both, fresh;
    auto c = currentKeys.begin();
    auto k = knownKeys.begin();
    while (c != currentKeys.end() || k != knownKeys.end()) {
        if (k == knownKeys.end() || (c != currentKeys.end() && *c < k->first)) {
            fresh.push_back(*c++);
        } else if (c == currentKeys.end() || k->first < *c) {
            removed.push_back((k++)->second);
        } else {
            both.push_back(*c++);
            ++k;
        }
    }
    removed.sort();

    // True whenever either side holds anything, changed or not: callers only
    // use it to decide whether to look at the lists at all.
    const bool result = !both.empty() || !fresh.empty() || !removed.empty();

    for (const CRecipient& r : current) {
        const ULONG_PTR key = match(r.key);
        if (TakeOne(fresh, key)) added.push_back(r);
        else if (TakeOne(both, key)) kept.push_back(r);
    }
    return result;
}
