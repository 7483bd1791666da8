// Columns that use the list's width: each column has a least width, and the
// columns that share take what is left over in proportion to their weights.
// A column whose width is no longer the one given here was sized by the user
// (or grew for its header text) and keeps it until the next resize.
#pragma once

#include <windows.h>

#include <vector>

namespace listview {

class CColumnFit {
public:
    struct Column {
        int least;          // pixels
        int weight;         // its part of the spare width (0: none)
        bool firm = false;  // never narrower than `least`, whoever sized it
    };
    // `resized`: the control changed size, so user widths are given up.
    void Fit(HWND list, const std::vector<Column>& columns, bool resized);

private:
    std::vector<int> m_given;
};

}  // namespace listview
