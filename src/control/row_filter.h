// Bringing a phonebook list to the rows a search shows: the rows of the keys
// wanted stay or come, every other row goes. Rows that stay keep their state
// (marks, selection, focus); rows that come are unmarked. The list's owner
// sorts and renumbers afterwards.
#pragma once

#include "control/list_view.h"

#include <algorithm>
#include <optional>
#include <unordered_set>
#include <vector>

namespace listview {

// wanted: the keys to show, in the book's order (which rows that come back
// follow when the list is not sorted); append(key) adds the row of a key at
// the end. True when any row came or went.
template <class TList, class Append>
bool ShowOnlyRows(TList& list, const std::vector<LPARAM>& wanted, Append append) {
    const std::vector<LPARAM> current = list.Keys();
    const std::unordered_set<LPARAM> wantedSet(wanted.begin(), wanted.end());
    std::vector<int> leaving;
    for (size_t row = 0; row < current.size(); ++row)
        if (!wantedSet.count(current[row])) leaving.push_back(int(row));
    const std::unordered_set<LPARAM> listed(current.begin(), current.end());
    const bool anyComing = std::any_of(wanted.begin(), wanted.end(), [&](LPARAM key) { return !listed.count(key); });
    if (leaving.empty() && !anyComing) return false;

    const win::ListViewCtrl view = list.List();
    const size_t staying = current.size() - leaving.size();
    if (!anyComing && leaving.size() <= staying) {
        // Fewer rows go than stay: take them out one by one, from the bottom.
        std::optional<CListUpdate<TList>> update;
        if (leaving.size() > 16) update.emplace(list);
        for (auto row = leaving.rbegin(); row != leaving.rend(); ++row) list.DeleteRow(*row);
        return true;
    }
    // Otherwise the list is filled again with what it shows, which costs what
    // the rows shown cost; the states of the rows that stay are put back.
    constexpr UINT kStates = LVIS_SELECTED | LVIS_FOCUSED | LVIS_STATEIMAGEMASK;
    std::vector<std::pair<LPARAM, UINT>> states;
    for (size_t row = 0; row < current.size(); ++row) {
        if (!wantedSet.count(current[row])) continue;
        const UINT state = view.GetItemState(int(row), kStates);
        // An unchecked box is what every new row gets.
        if (state & (LVIS_SELECTED | LVIS_FOCUSED) || (state & LVIS_STATEIMAGEMASK) > INDEXTOSTATEIMAGEMASK(1))
            states.emplace_back(current[row], state);
    }
    CListUpdate<TList> update(list);
    view.DeleteAllItems();
    for (LPARAM key : wanted) append(key);
    for (const auto& [key, state] : states) {
        const int row = list.FindItemByKey(key);
        if (row >= 0) view.SetItemState(row, state, kStates);
    }
    return true;
}

}  // namespace listview
