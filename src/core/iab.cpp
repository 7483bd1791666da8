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

bool IAB::Compare(const RecipientList& current, KeyList& known, KeyList& removed, RecipientList& kept,
                  RecipientList& added) {
    return CompareMatching(current, known, removed, kept, added, [](ULONG_PTR key) { return key; });
}

bool IAB::CompareMatching(const RecipientList& current, KeyList& known, KeyList& removed, RecipientList& kept,
                          RecipientList& added, const KeyMatch& match) {
    std::vector<ULONG_PTR> currentKeys;
    currentKeys.reserve(current.size());
    for (const CRecipient& r : current) currentKeys.push_back(match(r.key));
    std::sort(currentKeys.begin(), currentKeys.end());
    known.sort();  // std::list::sort is a stable merge sort

    // The known keys as they count, each with the key the caller gave.
    std::vector<std::pair<ULONG_PTR, ULONG_PTR>> knownKeys;
    knownKeys.reserve(known.size());
    for (ULONG_PTR key : known) knownKeys.emplace_back(match(key), key);
    std::stable_sort(knownKeys.begin(), knownKeys.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });

    // The standard merge of two sorted multisets, one run of equal keys at a
    // time: of a key's c occurrences in current and k in known, min(c, k)
    // are in both, c - min are fresh, and the last k - min known ones (in
    // the caller's sorted order) are removed.
    struct Counts {
        ULONG_PTR key;
        size_t fresh;
        size_t both;
    };
    std::vector<Counts> counts;
    removed.clear();
    size_t c = 0, k = 0;
    bool any = false;
    while (c < currentKeys.size() || k < knownKeys.size()) {
        const ULONG_PTR key = k == knownKeys.size() || (c < currentKeys.size() && currentKeys[c] < knownKeys[k].first)
                                  ? currentKeys[c]
                                  : knownKeys[k].first;
        size_t inCurrent = 0, inKnown = 0;
        for (; c < currentKeys.size() && currentKeys[c] == key; ++c) ++inCurrent;
        for (; k < knownKeys.size() && knownKeys[k].first == key; ++k) ++inKnown;
        const size_t both = std::min(inCurrent, inKnown);
        for (size_t i = k - inKnown + both; i < k; ++i) removed.push_back(knownKeys[i].second);
        if (inCurrent) counts.push_back({key, inCurrent - both, both});
        any = true;
    }
    removed.sort();

    // True whenever either side holds anything, changed or not: callers only
    // use it to decide whether to look at the lists at all.
    const bool result = any;

    // A key's fresh occurrences go to the first of its records in current,
    // the ones in both to the records after them.
    for (const CRecipient& r : current) {
        const ULONG_PTR key = match(r.key);
        const auto found = std::lower_bound(counts.begin(), counts.end(), key,
                                            [](const Counts& entry, ULONG_PTR value) { return entry.key < value; });
        if (found->fresh) {
            --found->fresh;
            added.push_back(r);
        } else if (found->both) {
            --found->both;
            kept.push_back(r);
        }
    }
    return result;
}
