// Finding a recipient by typing the start of the name, as the platform's own
// lists do: letters typed one after another make a prefix, and the list moves
// to the first row whose name starts with it.
#pragma once

#include <windows.h>

#include <functional>
#include <string>

namespace listview {

class CTypeAhead {
public:
    // A character typed into the list. True when it was taken (the caller
    // then keeps it from the list's own search, which would look at the
    // first column); control characters and the space are left to the list
    // (the space ticks check boxes).
    bool OnChar(HWND list, wchar_t typed, const std::function<std::wstring(int row)>& nameOf);
    // Ends the prefix, so that the next letter starts a new one.
    void Reset() noexcept { m_prefix.clear(); }
    const std::wstring& Prefix() const noexcept { return m_prefix; }

private:
    std::wstring m_prefix;
    ULONGLONG m_lastTyped = 0;
};

// The first row whose name starts with the prefix, compared without regard
// to case in the user's locale; -1 when none does.
int FindRowByPrefix(HWND list, const std::wstring& prefix, const std::function<std::wstring(int row)>& nameOf);
// A row's text in a column of the list.
std::wstring CellText(HWND list, int row, int column);

}  // namespace listview
