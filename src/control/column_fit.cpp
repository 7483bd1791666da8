// Fitting the list's columns to its width.
#include "control/column_fit.h"

#include <commctrl.h>

namespace listview {

void CColumnFit::Fit(HWND list, const std::vector<Column>& columns, bool resized) {
    const size_t count = columns.size();
    if (resized || m_given.size() != count) m_given.assign(count, 0);
    std::vector<int> width(count);
    std::vector<bool> kept(count);
    int used = 0, shareWeight = 0;
    for (size_t i = 0; i < count; ++i) {
        const int now = int(::SendMessageW(list, LVM_GETCOLUMNWIDTH, WPARAM(i), 0));
        kept[i] = m_given[i] != 0 && now != m_given[i];
        width[i] = kept[i] ? now : columns[i].least;
        if (columns[i].firm && width[i] < columns[i].least) {
            width[i] = columns[i].least;
            kept[i] = false;
        }
        used += width[i];
        if (!kept[i]) shareWeight += columns[i].weight;
    }
    RECT inside{};
    ::GetClientRect(list, &inside);
    int spare = int(inside.right) - used;
    if (spare > 0 && shareWeight > 0) {
        // The last sharing column takes what rounding leaves.
        int last = -1;
        for (size_t i = 0; i < count; ++i)
            if (!kept[i] && columns[i].weight > 0) last = int(i);
        int given = 0;
        for (size_t i = 0; i < count; ++i) {
            if (kept[i] || columns[i].weight <= 0) continue;
            const int part = int(i) == last ? spare - given : ::MulDiv(spare, columns[i].weight, shareWeight);
            width[i] += part;
            given += part;
        }
    }
    for (size_t i = 0; i < count; ++i) {
        if (!kept[i] && int(::SendMessageW(list, LVM_GETCOLUMNWIDTH, WPARAM(i), 0)) != width[i])
            ::SendMessageW(list, LVM_SETCOLUMNWIDTH, WPARAM(i), width[i]);
        m_given[i] = int(::SendMessageW(list, LVM_GETCOLUMNWIDTH, WPARAM(i), 0));
    }
}

}  // namespace listview
