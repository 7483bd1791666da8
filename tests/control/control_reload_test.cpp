// The control's reload seen from outside: a burst of change messages gives
// one reload after the burst, and a click on a column header sorts and
// renumbers the rows.
#include "support/control_host.h"

#include "com/unique_any.h"

#include <commctrl.h>

#include <algorithm>

using namespace control_test;

namespace {

const std::vector<std::pair<std::wstring, std::wstring>> kPeople = {
    {L"Carla Brandt", L"+49 30 1234"}, {L"Anton Weiss", L"555-0101"}, {L"Bea Koch", L"777-12"},
};

constexpr UINT kReloadMessage = WM_USER + 342;

// Counts the rows the list reports inserted to its parent (the control's
// window): every row a reload adds passes here.
class InsertCounter {
public:
    explicit InsertCounter(HWND parent) : m_parent(parent) {
        ::SetWindowSubclass(m_parent, &Proc, reinterpret_cast<UINT_PTR>(this), reinterpret_cast<DWORD_PTR>(this));
    }
    ~InsertCounter() { ::RemoveWindowSubclass(m_parent, &Proc, reinterpret_cast<UINT_PTR>(this)); }
    int inserted = 0;

private:
    static LRESULT CALLBACK Proc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam, UINT_PTR, DWORD_PTR self) {
        if (message == WM_NOTIFY && reinterpret_cast<const NMHDR*>(lParam)->code == LVN_INSERTITEM)
            ++reinterpret_cast<InsertCounter*>(self)->inserted;
        return ::DefSubclassProc(hwnd, message, wParam, lParam);
    }
    HWND m_parent;
};

std::wstring CellText(HWND list, int row, int column) {
    wchar_t text[128] = {};
    LVITEMW item{};
    item.iSubItem = column;
    item.pszText = text;
    item.cchTextMax = 128;
    ::SendMessageW(list, LVM_GETITEMTEXTW, WPARAM(row), reinterpret_cast<LPARAM>(&item));
    return text;
}

// A click on a header item, as the mouse gives it.
void ClickHeader(HWND list, int column) {
    const HWND header = reinterpret_cast<HWND>(::SendMessageW(list, LVM_GETHEADER, 0, 0));
    RECT rect{};
    ::SendMessageW(header, HDM_GETITEMRECT, WPARAM(column), reinterpret_cast<LPARAM>(&rect));
    const LPARAM at = MAKELPARAM((rect.left + rect.right) / 2, (rect.top + rect.bottom) / 2);
    ::SendMessageW(header, WM_LBUTTONDOWN, MK_LBUTTON, at);
    ::SendMessageW(header, WM_LBUTTONUP, 0, at);
}

}  // namespace

TEST_F(HostedControlTest, ABurstOfChangeMessagesGivesOneReloadAfterTheBurst) {
    ASSERT_NO_FATAL_FAILURE(HostWithBook(kPeople));
    const HWND window = m_host->controlWindow();
    InsertCounter counter(window);
    auto people = kPeople;
    people.emplace_back(L"Dora Lind", L"030 99 88");
    WriteBook(people);
    // Five notices 150 ms apart: each restarts the half-second wait, so
    // nothing is reloaded while they keep coming.
    for (int i = 0; i < 5; ++i) {
        ::PostMessageW(window, kReloadMessage, 0, 2);
        Pump(150);
        EXPECT_EQ(counter.inserted, 0) << "reloaded during the burst, after notice " << i + 1;
    }
    ASSERT_TRUE(PumpUntil([&] { return ItemCount() == 4; }, 3000));
    Pump(800);
    EXPECT_EQ(counter.inserted, 1) << "one reload, one new row";
    EXPECT_EQ(ItemCount(), 4);
}

TEST_F(HostedControlTest, AHeaderClickSortsByItsColumnAndRenumbers) {
    ASSERT_NO_FATAL_FAILURE(HostWithBook(kPeople));
    const HWND list = m_host->list();
    ClickHeader(list, 1);
    Pump(100);
    int mode = 0;
    ASSERT_EQ(m_control->GetSortMode(&mode), S_OK);
    EXPECT_EQ(mode, 4) << "the first click on the name sorts it descending";
    EXPECT_EQ(Names(), (std::vector<std::wstring>{L"Carla Brandt", L"Bea Koch", L"Anton Weiss"}));
    for (int row = 0; row < 3; ++row) EXPECT_EQ(CellText(list, row, 0), std::to_wstring(row + 1)) << row;

    ClickHeader(list, 1);
    Pump(100);
    ASSERT_EQ(m_control->GetSortMode(&mode), S_OK);
    EXPECT_EQ(mode, 3);
    EXPECT_EQ(Names(), (std::vector<std::wstring>{L"Anton Weiss", L"Bea Koch", L"Carla Brandt"}));
    for (int row = 0; row < 3; ++row) EXPECT_EQ(CellText(list, row, 0), std::to_wstring(row + 1)) << row;

    // The fax column: its own descending first.
    ClickHeader(list, 2);
    Pump(100);
    ASSERT_EQ(m_control->GetSortMode(&mode), S_OK);
    EXPECT_EQ(mode, 6);
    EXPECT_EQ(CellText(list, 0, 2), L"777-12");
    EXPECT_EQ(CellText(list, 0, 0), L"1");
}
