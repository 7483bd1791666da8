// Bringing a phonebook list to the rows a search shows: the rows of the keys
// wanted stay or come, every other row goes. Rows that stay keep their state
// (marks, selection, focus); rows that come are unmarked. The list's owner
// sorts and renumbers afterwards.
#pragma once

#include "control/list_view.h"

#include <algorithm>
#include <unordered_set>
#include <vector>

namespace listview {

// Rows leaving (and none coming) are taken out in place when they are few,
// or fewer than those that stay in a list that is not long: each removal
// moves the rows below it (in the list view and in the key map), so in a long
// list filling in the rows that stay costs less.
inline constexpr size_t kRowsLeavingInPlace = 16;
inline constexpr size_t kRowMovesInPlace = size_t(64) << 20;  // rows leaving times rows listed

// The keys of the marked rows: checked with check boxes, else selected.
template <class TList>
std::unordered_set<LPARAM> MarkedKeys(const TList& list) {
    std::unordered_set<LPARAM> keys;
    if (list.IsCheckBoxMode()) {
        for (int row = 0, count = int(list.Keys().size()); row < count; ++row)
            if ((list.RowState(row, kStateImageMask) & kStateImageMask) == kCheckedImage)
                keys.insert(list.KeyOfItem(row));
    } else {
        for (int row = -1; (row = list.NextRow(row, LVNI_SELECTED)) >= 0;) keys.insert(list.KeyOfItem(row));
    }
    return keys;
}

// wanted: the keys to show, in the book's order (which rows that come back
// follow when the list is not sorted); append(key) adds the row of a key at
// the end; then(refilled), when rows came or went, runs before the list is
// shown again (a sort, the row numbers), told whether every row was appended
// anew (else rows were only taken out). True when any row came or went.
template <class TList, class Append, class Then>
bool ShowOnlyRows(TList& list, const std::vector<LPARAM>& wanted, Append append, Then then) {
    const std::vector<LPARAM> current = list.Keys();
    const std::unordered_set<LPARAM> wantedSet(wanted.begin(), wanted.end());
    std::vector<int> leaving;
    for (size_t row = 0; row < current.size(); ++row)
        if (!wantedSet.count(current[row])) leaving.push_back(int(row));
    const std::unordered_set<LPARAM> listed(current.begin(), current.end());
    const bool anyComing =
        std::any_of(wanted.begin(), wanted.end(), [&](LPARAM key) { return !listed.count(key); });
    if (leaving.empty() && !anyComing) return false;

    // Redrawing off and the list's relays out of the way, as for a reload.
    CListUpdate<TList> update(list);
    const size_t staying = current.size() - leaving.size();
    if (!anyComing && (leaving.size() <= kRowsLeavingInPlace ||
                       (leaving.size() <= staying && leaving.size() * current.size() <= kRowMovesInPlace))) {
        // Taken out one by one, from the bottom.
        for (auto row = leaving.rbegin(); row != leaving.rend(); ++row) list.DeleteRow(*row);
        then(false);
        return true;
    }
    // Otherwise the list is filled again with what it shows, which costs what
    // the rows shown cost; the states of the rows that stay are put back.
    constexpr UINT kStates = LVIS_SELECTED | LVIS_FOCUSED | LVIS_STATEIMAGEMASK;
    std::vector<std::pair<LPARAM, UINT>> states;
    for (size_t row = 0; row < current.size(); ++row) {
        if (!wantedSet.count(current[row])) continue;
        const UINT state = list.RowState(int(row), kStates);
        // An unchecked box is what every new row gets.
        if (state & (LVIS_SELECTED | LVIS_FOCUSED) ||
            (state & LVIS_STATEIMAGEMASK) > INDEXTOSTATEIMAGEMASK(1))
            states.emplace_back(current[row], state);
    }
    const win::ListViewCtrl view = list.List();
    view.DeleteAllItems();
    for (LPARAM key : wanted) append(key);
    for (const auto& [key, state] : states) {
        const int row = list.FindItemByKey(key);
        if (row >= 0) view.SetItemState(row, state, kStates);
    }
    then(true);
    return true;
}

}  // namespace listview
