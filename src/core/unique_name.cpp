// Unique recipient names.
#include "core/unique_name.h"

#include <algorithm>

std::wstring NameCandidate(const std::wstring& base, unsigned round) {
    return round == 0 ? base : base + std::to_wstring(round);
}

bool HasRecordNamed(const RecipientList& records, const std::wstring& name) {
    return std::any_of(records.begin(), records.end(), [&](const CRecipient& r) { return r.name == name; });
}

std::wstring UniqueRecipientName(const std::wstring& base, const RecipientList& records) {
    // One pass over the records instead of one per candidate, so that a
    // book full of "New Recipient<n>" names stays linear.
    std::vector<bool> taken;
    bool baseTaken = false;
    for (const CRecipient& r : records) {
        if (r.name.size() < base.size() || r.name.compare(0, base.size(), base) != 0) continue;
        if (r.name.size() == base.size()) {
            baseTaken = true;
            continue;
        }
        const std::wstring suffix = r.name.substr(base.size());
        // Only the canonical decimal form ("%d" of a positive number) can collide.
        if (suffix.size() > 9 || suffix[0] == L'0' ||
            !std::all_of(suffix.begin(), suffix.end(), [](wchar_t c) { return c >= L'0' && c <= L'9'; }))
            continue;
        const size_t round = std::stoul(suffix);
        if (round > records.size()) continue;  // cannot be reached before a free one
        if (taken.size() <= round) taken.resize(round + 1);
        taken[round] = true;
    }
    if (!baseTaken) return base;
    unsigned round = 1;
    while (round < taken.size() && taken[round]) ++round;
    return NameCandidate(base, round);
}
