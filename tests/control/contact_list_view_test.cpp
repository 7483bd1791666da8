// The contact list of the second control class with an owner that keeps the
// records: header-driven sorting with its indicator, the column comparison
// kinds, the check-box column and the owner-drawn rows as they reach the screen.
#include "control/contact_list_view.h"
#include "list_test_support.h"

#include <map>

namespace listtest {
namespace {

using namespace listview;

class RecordOwner : public IContactListOwner {
public:
    std::map<LPARAM, CRecipient> records;
    std::vector<int> kinds = DefaultContactCompareKinds();
    const CRecipient* FindRecord(LPARAM key) override {
        const auto found = records.find(key);
        return found == records.end() ? nullptr : &found->second;
    }
    const std::vector<int>& ColumnCompareKinds() override { return kinds; }
};

class ContactListTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(host.Create(nullptr, RECT{40, 40, 440, 300}, L"contacts", WS_OVERLAPPEDWINDOW | WS_VISIBLE));
        // The style word of the list in the second control's dialog template.
        const HWND hwnd = ::CreateWindowExW(0, WC_LISTVIEWW, L"", 0x50010C09 | WS_BORDER, 10, 10, 360, 200, host,
                                            HMENU(204), nullptr, nullptr);
        ASSERT_TRUE(hwnd);
        view = win::ListViewCtrl(hwnd);
        ASSERT_TRUE(list.Attach(hwnd));
        list.SetOwner(&owner);
        list.SetUp(L"Name", L"Fax Number");
        Add(1, L"delta", L"+1 (555) 300", false);
        Add(2, L"Alpha", L"5552", true);
        Add(3, L"charlie", L"555-1", false);
        Add(4, L"Bravo", L"+49 555 4", true);
        ::SetForegroundWindow(host);
        ::SetFocus(hwnd);
    }
    void TearDown() override {
        list.Detach();
        ::DestroyWindow(host);
        Pump(10);
    }
    void Add(LPARAM key, const wchar_t* name, const wchar_t* fax, bool favorite) {
        CRecipient record;
        record.key = ULONG_PTR(key);
        record.name = name;
        record.faxNumber = fax;
        record.favorite = favorite;
        owner.records[key] = record;
        list.AppendKey(key);
    }
    std::vector<LPARAM> Keys() const {
        std::vector<LPARAM> keys;
        for (int row = 0; row < view.GetItemCount(); ++row) keys.push_back(view.GetItemData(row));
        return keys;
    }
    POINT CellCenter(int row, int column) {
        RECT cell{};
        view.GetSubItemRect(row, column, LVIR_BOUNDS, cell);
        if (column == 0) cell.right = cell.left + view.GetColumnWidth(0);
        return POINT{(cell.left + cell.right) / 2, (cell.top + cell.bottom) / 2};
    }
    COLORREF ScreenPixel(HWND window, POINT client) {
        ::ClientToScreen(window, &client);
        const HDC screen = ::GetDC(nullptr);
        const COLORREF color = ::GetPixel(screen, client.x, client.y);
        ::ReleaseDC(nullptr, screen);
        return color;
    }

    win::ActivationScope scope;
    ListHost host;
    RecordOwner owner;
    CContactListView list;
    win::ListViewCtrl view;
};

TEST_F(ContactListTest, AHeaderClickSortsAscendingThenTogglesAndMovesTheIndicator) {
    list.ToggleSort(kContactNameColumn);
    EXPECT_EQ(list.GetSortState(), 2);
    EXPECT_EQ(Keys(), (std::vector<LPARAM>{2, 4, 3, 1})) << "names without regard to case";
    EXPECT_EQ(list.Header().SortIndicator(kContactNameColumn), Shown(1));

    list.ToggleSort(kContactNameColumn);
    EXPECT_EQ(list.GetSortState(), -2);
    EXPECT_EQ(Keys(), (std::vector<LPARAM>{1, 3, 4, 2}));
    EXPECT_EQ(list.Header().SortIndicator(kContactNameColumn), Shown(-1));

    list.ToggleSort(kContactFaxColumn);
    EXPECT_EQ(list.GetSortState(), 3);
    EXPECT_EQ(list.Header().SortIndicator(kContactNameColumn), 0) << "the previous column loses its indicator";
    EXPECT_EQ(list.Header().SortIndicator(kContactFaxColumn), Shown(1));

    // A real click on the header.
    RECT item{};
    ::SendMessageW(list.Header().hwnd(), HDM_GETITEMRECT, kContactFavoriteColumn, reinterpret_cast<LPARAM>(&item));
    Click(list.Header().hwnd(), POINT{(item.left + item.right) / 2, (item.top + item.bottom) / 2});
    EXPECT_EQ(list.GetSortState(), 4);
    EXPECT_EQ(Keys(), (std::vector<LPARAM>{1, 3, 4, 2})) << "favourites last, each group as it was";
    EXPECT_EQ(host.columnClicks, std::vector<UINT>{kContactFavoriteColumn}) << "the parent still hears the click";
}

TEST_F(ContactListTest, EachColumnKindComparesItsOwnWay) {
    struct Case {
        int state;
        std::vector<LPARAM> keys;
    };
    const Case cases[] = {
        {3, {1, 4, 3, 2}},   // dial digits as text: 1555300, 495554, 5551, 5552
        {-3, {2, 3, 4, 1}},
        {4, {3, 1, 2, 4}},   // favourites after the others, each group as it was
        {-4, {2, 4, 3, 1}},
    };
    for (const Case& c : cases) {
        list.SetSortState(0);
        list.SetSortState(c.state);
        EXPECT_EQ(Keys(), c.keys) << "state " << c.state;
    }
    // Kind 1: the cells' own texts, folded; the name column given kind 1 here.
    owner.kinds = {kCompareText, kCompareText};
    list.SetSortState(2);
    EXPECT_EQ(Keys(), (std::vector<LPARAM>{2, 4, 3, 1}));
    // A column beyond the owner's table compares equal: the order stays.
    const std::vector<LPARAM> before = Keys();
    list.SetSortState(-3);
    EXPECT_EQ(Keys(), before);
    EXPECT_EQ(list.GetSortState(), -3);
}

TEST_F(ContactListTest, NegativeKeysAndMissingRecordsHaveTheirPlaces) {
    Add(-5, L"zzz", L"1", false);
    list.AppendKey(9);  // no record for this key
    list.SetSortState(2);
    EXPECT_EQ(Keys().front(), -5);
    EXPECT_EQ(Keys().back(), 9) << "a row without a record sorts last ascending";
    list.SetSortState(-2);
    EXPECT_EQ(Keys().back(), -5);
    EXPECT_EQ(Keys().front(), 9);
    for (int row = 0; row < view.GetItemCount(); ++row) ASSERT_EQ(list.FindItemByKey(view.GetItemData(row)), row);
}

TEST(ContactCompareTest, MissingRecordsAndUnknownKindsFollowTheirRules) {
    CRecipient a, b;
    a.name = L"\u00e9clair";
    b.name = L"Zebra";
    EXPECT_LT(CompareContacts(&a, &b, L"", L"", kCompareName, 1), 0) << "linguistic: the accent sorts with e";
    EXPECT_EQ(CompareContacts(&a, &b, L"x", L"X", 7, 1), 0) << "other kinds fold the case";
    EXPECT_EQ(CompareContacts(nullptr, nullptr, L"", L"", kCompareNumber, 1), 0);
    EXPECT_EQ(CompareContacts(nullptr, &b, L"", L"", kCompareNumber, 1), 1) << "missing after present ascending";
    EXPECT_EQ(CompareContacts(nullptr, &b, L"", L"", kCompareNumber, -1), -1) << "and before them descending";
}

TEST_F(ContactListTest, TheCheckColumnTogglesItsBoxAndTheHeaderBoxChecksAll) {
    EXPECT_TRUE(list.IsCheckBoxMode());
    EXPECT_TRUE(view.GetStyle() & LVS_OWNERDRAWFIXED);
    list.SelectItemExclusively(3);
    const POINT box = CellCenter(1, kContactCheckColumn);
    const auto press = [&](UINT message) {
        view.SendMessage(message, MK_LBUTTON, MAKELPARAM(box.x, box.y));
        view.SendMessage(WM_LBUTTONUP, 0, MAKELPARAM(box.x, box.y));
    };
    press(WM_LBUTTONDOWN);
    EXPECT_TRUE(view.GetCheckState(1));
    EXPECT_EQ(view.GetNextItem(-1, LVNI_SELECTED), 3) << "the box click leaves the selection alone";
    press(WM_LBUTTONDBLCLK);
    EXPECT_FALSE(view.GetCheckState(1)) << "the second click of a double click toggles again";
    const POINT name = CellCenter(1, kContactNameColumn);
    view.SendMessage(WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(name.x, name.y));
    view.SendMessage(WM_LBUTTONUP, 0, MAKELPARAM(name.x, name.y));
    EXPECT_FALSE(view.GetCheckState(1));
    EXPECT_EQ(view.GetNextItem(-1, LVNI_SELECTED), 1) << "elsewhere a click selects";

    NMHEADERW click{};
    click.hdr.hwndFrom = list.Header().hwnd();
    click.hdr.code = UINT(HDN_ITEMSTATEICONCLICK);
    ::SendMessageW(view, WM_NOTIFY, 0, reinterpret_cast<LPARAM>(&click));
    EXPECT_EQ(list.MarkedCount(), 4);
}

TEST_F(ContactListTest, RowsArePaintedAtTheScreensHeightWithStarsSelectionAndDisabledState) {
    RECT row{};
    row.left = LVIR_BOUNDS;
    view.SendMessage(LVM_GETITEMRECT, 0, reinterpret_cast<LPARAM>(&row));
    EXPECT_GE(row.bottom - row.top, list.RowHeight()) << "the list may add its padding";
    EXPECT_LE(row.bottom - row.top, list.RowHeight() + 2);
    EXPECT_GE(list.RowHeight(), win::ScaleY(22));

    list.SelectItemExclusively(2);
    ::SetFocus(view);
    ::UpdateWindow(view);
    Pump(100);
    const COLORREF gold = RGB(246, 180, 0);
    EXPECT_EQ(ScreenPixel(view, CellCenter(1, kContactFavoriteColumn)), gold) << "Alpha is a favourite";
    EXPECT_NE(ScreenPixel(view, CellCenter(0, kContactFavoriteColumn)), gold);
    POINT selected = CellCenter(2, kContactNameColumn);
    selected.x = view.GetColumnWidth(0) + view.GetColumnWidth(1) - 3;  // behind the text
    EXPECT_EQ(ScreenPixel(view, selected), ::GetSysColor(COLOR_HIGHLIGHT));
    EXPECT_TRUE(SaveScreenshot(host, L"contact_list.png"));

    view.Enable(false);
    ::UpdateWindow(view);
    Pump(100);
    EXPECT_EQ(ScreenPixel(view, selected), ::GetSysColor(COLOR_BTNFACE)) << "a disabled list shows no selection";
    view.Enable(true);
}

TEST_F(ContactListTest, LongTextsEndInAnEllipsisAndRightToLeftRowsAreMirrored) {
    Add(5, L"Maximilian Alexander Fitzgerald-Worthington the Third", L"+1 (555) 0100 0200 0300 0400", true);
    for (const HWND window : {view.hwnd(), list.Header().hwnd()}) {
        ::SetWindowLongPtrW(window, GWL_EXSTYLE, ::GetWindowLongPtrW(window, GWL_EXSTYLE) | WS_EX_LAYOUTRTL);
        ::SetWindowPos(window, nullptr, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOZORDER | SWP_FRAMECHANGED);
        ::InvalidateRect(window, nullptr, TRUE);
    }
    view.Invalidate();
    ::UpdateWindow(view);
    Pump(100);
    EXPECT_TRUE(SaveScreenshot(host, L"contact_list_rtl.png"));
    // Mirrored painting lands where the mirrored list places its cells.
    const int row = list.FindItemByKey(5);
    EXPECT_EQ(ScreenPixel(view, CellCenter(row, kContactFavoriteColumn)), RGB(246, 180, 0));
    POINT left = CellCenter(row, kContactFavoriteColumn), right = CellCenter(row, kContactCheckColumn);
    ::ClientToScreen(view, &left);
    ::ClientToScreen(view, &right);
    EXPECT_LT(left.x, right.x) << "the star is on the left, the check box on the right";
}

}  // namespace
}  // namespace listtest
