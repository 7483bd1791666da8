// The phonebook list of the first control class, driven through real
// windows and real messages: in-place editing with its keys, filter, limits
// and rejections; sort modes and the key-to-row map; check-box mode with the
// header's check box.
#include "list_test_support.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>

namespace listtest {
namespace {

using listview::kEditBufferSize;

// ---------------------------------------------------------------------------
// In-place editing.

class EditTest : public ListFixture {
protected:
    void SetUp() override {
        ListFixture::SetUp();
        Fill({{11, L"Ann", L"555-1"}, {12, L"Bob", L"555-2"}, {13, L"Cid", L"555-3"}});
    }
    // Opens the box on a cell as the control does after "Edit".
    void Edit(int item, int column) {
        list.SetEditPosition(item, listview::kStartAfterEdit);
        ASSERT_TRUE(list.StartEdit(column));
        ASSERT_TRUE(Box());
    }
    std::wstring BoxText() { return win::Window(Box()).GetText(); }
};

TEST_F(EditTest, EnterCommitsAChangeAndWithoutAChangeIsACancel) {
    Edit(1, 1);
    EXPECT_EQ(BoxText(), L"Bob");
    EXPECT_EQ(list.EditBox().StartText(), L"Bob");
    PressKey(Box(), VK_RETURN);
    EXPECT_FALSE(list.IsEditing());
    EXPECT_TRUE(host.commits.empty()) << "the unchanged text is reported as a cancel";

    Edit(1, 1);
    Type(Box(), L"by");
    PressKey(Box(), VK_RETURN);
    ASSERT_EQ(host.commits.size(), 1u);
    EXPECT_EQ(host.commits[0].item, 1);
    EXPECT_EQ(host.commits[0].column, 1);
    EXPECT_EQ(host.commits[0].text, L"by") << "the box started with all of its text selected";
    EXPECT_EQ(view.GetItemText(1, 1), L"Bob") << "the parent, not the list, writes an accepted text";
    EXPECT_EQ(::GetFocus(), view.hwnd()) << "the keyboard stays with the list";

    Edit(2, 2);
    Type(Box(), L"7");
    PressKey(Box(), VK_ESCAPE);
    EXPECT_FALSE(list.IsEditing());
    EXPECT_EQ(host.commits.size(), 1u) << "Escape drops the change";
}

TEST_F(EditTest, TabAndShiftArrowsMoveAlongTheRowAndWrapAtItsEnds) {
    struct Move {
        UINT key;
        bool shift;
        int column;  // where the edit continues
    };
    const Move moves[] = {
        {VK_TAB, false, 2},   // name -> number
        {VK_TAB, false, 1},   // past the last editable column: back to the name
        {VK_TAB, true, 2},    // Shift+Tab in the name wraps to the number
        {VK_TAB, true, 1},    // number -> name
        {VK_RIGHT, true, 2},  // Shift+Right is Tab
        {VK_LEFT, true, 1},   // Shift+Left is Shift+Tab
    };
    Edit(0, 1);
    for (const Move& move : moves) {
        PressKey(Box(), move.key, move.shift);
        EXPECT_FALSE(list.IsEditing()) << "the move is posted";
        Pump();
        ASSERT_TRUE(list.IsEditing());
        EXPECT_EQ(list.EditColumn(), move.column) << "key " << move.key << " shift " << move.shift;
        EXPECT_EQ(list.EditBox().Item(), 0);
    }
    PressKey(Box(), VK_RIGHT);
    EXPECT_TRUE(list.IsEditing()) << "Right without Shift moves the caret only";
    EXPECT_TRUE(host.commits.empty());

    // A changed cell is committed before the edit moves on.
    Type(Box(), L"Ada");
    PressKey(Box(), VK_TAB);
    Pump();
    ASSERT_EQ(host.commits.size(), 1u);
    EXPECT_EQ(host.commits[0].text, L"AnnAda") << "typed at the caret, which Right moved to the end";
    EXPECT_EQ(list.EditColumn(), 2);
}

TEST_F(EditTest, TheNumberCellTakesDialCharactersOnlyAndBeepsOnTheRest) {
    Edit(0, 2);
    ::SendMessageW(Box(), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(L""));
    Type(Box(), L"+1 (555);x*#-9");
    EXPECT_EQ(BoxText(), L"+1 (555)*#-9");
    EXPECT_EQ(list.EditBox().RefusedCharacters(), 2) << "';' and 'x' were refused";

    // Pasting goes through the same filter.
    const std::wstring pasted = L"+1 (555) 123-4567 x9";
    ASSERT_TRUE(::OpenClipboard(host));
    ::EmptyClipboard();
    const HGLOBAL data = ::GlobalAlloc(GMEM_MOVEABLE, (pasted.size() + 1) * sizeof(wchar_t));
    memcpy(::GlobalLock(data), pasted.c_str(), (pasted.size() + 1) * sizeof(wchar_t));
    ::GlobalUnlock(data);
    ::SetClipboardData(CF_UNICODETEXT, data);
    ::CloseClipboard();
    ::SendMessageW(Box(), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(L""));
    ::SendMessageW(Box(), WM_PASTE, 0, 0);
    EXPECT_EQ(BoxText(), L"+1 (555) 123-4567 9");
    EXPECT_EQ(list.EditBox().RefusedCharacters(), 3);
    PressKey(Box(), VK_ESCAPE);

    Edit(0, 1);
    Type(Box(), L"Ann;x(");
    EXPECT_EQ(BoxText(), L"Ann;x(") << "the name takes any character";
    EXPECT_EQ(list.EditBox().RefusedCharacters(), 0);
    EXPECT_EQ(::SendMessageW(Box(), WM_GETDLGCODE, 0, 0) & DLGC_WANTALLKEYS, DLGC_WANTALLKEYS)
        << "the box keeps Tab, Enter and Escape from the dialog around the list";
}

TEST_F(EditTest, TheNumberStopsAt45CharactersAndTheNameAt130) {
    struct Case {
        int column;
        int limit;
    };
    for (const Case& c : {Case{2, 45}, Case{1, 130}}) {
        Edit(0, c.column);
        ::SendMessageW(Box(), WM_SETTEXT, 0, reinterpret_cast<LPARAM>(L""));
        Type(Box(), std::wstring(size_t(c.limit), L'5'));
        EXPECT_EQ(BoxText().size(), size_t(c.limit));
        Type(Box(), L"6");
        EXPECT_EQ(BoxText(), std::wstring(size_t(c.limit), L'5')) << "character " << c.limit + 1 << " is refused";
        PressKey(Box(), VK_RETURN);
        ASSERT_FALSE(host.commits.empty());
        EXPECT_EQ(host.commits.back().text.size(), size_t(c.limit));
    }
}

TEST_F(EditTest, ARejectedCommitReopensTheCellWithTheRejectedTextUnlessSuppressedOnce) {
    host.rejections = 1;
    Edit(2, 2);
    Type(Box(), L"12");
    PressKey(Box(), VK_RETURN);
    ASSERT_EQ(host.commits.size(), 1u);
    Pump();
    ASSERT_TRUE(list.IsEditing()) << "the rejected edit opens again";
    EXPECT_EQ(list.EditBox().Item(), 2);
    EXPECT_EQ(list.EditColumn(), 2);
    EXPECT_EQ(BoxText(), L"12") << "what the user typed is offered again";
    EXPECT_EQ(list.EditBox().StartText(), L"555-3");
    PressKey(Box(), VK_RETURN);
    EXPECT_EQ(host.commits.size(), 2u) << "the offered text is still a change";
    Pump();
    EXPECT_FALSE(list.IsEditing()) << "accepted this time";

    // A rejected Tab stays on its cell: the move is dropped.
    host.rejections = 1;
    Edit(0, 1);
    Type(Box(), L"X");
    PressKey(Box(), VK_TAB);
    Pump();
    ASSERT_TRUE(list.IsEditing());
    EXPECT_EQ(list.EditColumn(), 1);
    PressKey(Box(), VK_ESCAPE);

    // Restart suppressed: no reopening, and the flag is used up.
    host.rejections = 2;
    list.SetRestartSuppressed(true);
    Edit(1, 1);
    Type(Box(), L"Y");
    PressKey(Box(), VK_RETURN);
    Pump();
    EXPECT_FALSE(list.IsEditing());
    EXPECT_FALSE(list.IsRestartSuppressed());
    Edit(1, 1);
    Type(Box(), L"Z");
    PressKey(Box(), VK_RETURN);
    Pump();
    EXPECT_TRUE(list.IsEditing()) << "the next rejection reopens again";
}

TEST_F(EditTest, LosingTheFocusSizingOrAColumnChangeCommits) {
    const std::function<void()> actions[] = {
        [&] { ::SetFocus(view); },
        [&] { ::MoveWindow(view, 10, 10, 300, 200, TRUE); },
        [&] { view.SetColumnWidth(2, 120); },
        [&] { ::SendMessageW(view, listview::kEditCommit, 0, 0); },
    };
    int expected = 0;
    for (const auto& action : actions) {
        Edit(0, 1);
        Type(Box(), L"N" + std::to_wstring(expected));
        action();
        EXPECT_FALSE(list.IsEditing()) << "action " << expected;
        ASSERT_EQ(host.commits.size(), size_t(++expected));
        EXPECT_EQ(host.commits.back().text, L"N" + std::to_wstring(expected - 1));
    }
    // An end request of the mouse hook names its edit: a stale one does nothing.
    Edit(0, 1);
    ::SendMessageW(view, listview::kEditCommit, list.EditBox().Generation() + 5, 0);
    EXPECT_TRUE(list.IsEditing());
    PressKey(Box(), VK_ESCAPE);
}

TEST_F(EditTest, AClickOutsideTheBoxEndsTheEditThroughTheMouseHook) {
    const HWND other = ::CreateWindowExW(0, L"BUTTON", L"other", WS_CHILD | WS_VISIBLE, 10, 260, 80, 24, host, nullptr,
                                         nullptr, nullptr);
    Pump();
    Edit(0, 1);
    Type(Box(), L"Q");
    // A button takes no focus from the box on a click that it does not
    // complete as a command: the hook ends the edit all the same.
    Click(other, POINT{5, 5});
    Pump();
    EXPECT_FALSE(list.IsEditing());
    ASSERT_EQ(host.commits.size(), 1u);
    EXPECT_EQ(host.commits[0].text, L"Q");
}

TEST_F(EditTest, TheEditFollowsItsRowThroughChangesOfTheList) {
    Edit(2, 1);
    Type(Box(), L"Cy");
    view.DeleteItem(0);
    ASSERT_TRUE(list.IsEditing()) << "removing another row leaves the edit open";
    PressKey(Box(), VK_RETURN);
    ASSERT_EQ(host.commits.size(), 1u);
    EXPECT_EQ(host.commits[0].item, 1) << "the row moved up";

    Edit(1, 1);
    Type(Box(), L"gone");
    view.DeleteItem(1);
    EXPECT_FALSE(list.IsEditing()) << "the edited row went: the edit is cancelled";
    EXPECT_EQ(host.commits.size(), 1u);

    const int row = list.AppendRow(20, {L"3", L"New", L"000"});
    EXPECT_EQ(list.EditItem(), row) << "an insertion records the new row";
    EXPECT_EQ(list.EditStartCode(), listview::kStartAfterInsert);
}

TEST_F(EditTest, TheListsOwnLabelEditIsReplacedByTheBox) {
    NMLVDISPINFOW info{};
    info.hdr.hwndFrom = view;
    info.hdr.idFrom = 204;
    info.hdr.code = LVN_BEGINLABELEDITW;
    info.item.iItem = 1;
    EXPECT_EQ(::SendMessageW(host, WM_NOTIFY, 204, reinterpret_cast<LPARAM>(&info)), 1)
        << "the built-in editing is refused";
    Pump();
    ASSERT_TRUE(list.IsEditing());
    EXPECT_EQ(list.EditBox().Item(), 1);
    EXPECT_EQ(list.EditColumn(), 1);
    EXPECT_EQ(list.EditStartCode(), listview::kStartAfterEdit);
    PressKey(Box(), VK_ESCAPE);
    EXPECT_EQ(::SendMessageW(view, LVM_GETEDITCONTROL, 0, 0), 0);
}

TEST_F(EditTest, EditPositionsOutsideTheListOpenNothing) {
    list.SetEditPosition(7, listview::kStartAfterAdd);
    EXPECT_FALSE(list.StartEdit());
    list.SetEditPosition(0, listview::kStartAfterAdd);
    EXPECT_FALSE(list.StartEdit(0)) << "the number column is not editable";
    EXPECT_FALSE(list.IsEditing());
}

// ---------------------------------------------------------------------------
// Sorting.

class SortTest : public ListFixture {
protected:
    void SetUp() override {
        ListFixture::SetUp();
        // "#" texts 1..5 as filled; names and numbers out of order.
        Fill({{101, L"delta", L"30"}, {102, L"Alpha", L"5"}, {103, L"charlie", L"100"}, {104, L"bravo", L"20"},
              {105, L"Echo", L"4"}});
    }
    int HeaderImage(int column) {
        HDITEMW item{};
        item.mask = HDI_FORMAT | HDI_IMAGE;
        view.GetHeader().GetItem(column, item);
        if (!(item.fmt & HDF_IMAGE)) return -1;
        EXPECT_TRUE(item.fmt & HDF_BITMAP_ON_RIGHT);
        return item.iImage;
    }
};

TEST_F(SortTest, EachModeSortsItsColumnInItsDirectionAndMarksTheHeader) {
    struct Case {
        unsigned short mode;
        std::vector<LPARAM> keys;
        int images[3];
    };
    const Case cases[] = {
        {1, {101, 102, 103, 104, 105}, {1, -1, -1}},
        {2, {105, 104, 103, 102, 101}, {0, -1, -1}},
        {3, {102, 105, 104, 103, 101}, {-1, 1, -1}},  // code units: capitals first
        {4, {101, 103, 104, 105, 102}, {-1, 0, -1}},
        {5, {103, 104, 101, 105, 102}, {-1, -1, 1}},  // texts, not numbers
        {6, {102, 105, 101, 104, 103}, {-1, -1, 0}},
        {0, {102, 105, 101, 104, 103}, {-1, -1, -1}},  // unsorted: stays as it is
    };
    for (const Case& c : cases) {
        list.SetSortMode(c.mode);
        EXPECT_EQ(list.GetSortMode(), short(c.mode));
        EXPECT_EQ(KeysInOrder(), c.keys) << "mode " << c.mode;
        for (int column = 0; column < 3; ++column)
            EXPECT_EQ(HeaderImage(column), c.images[column]) << "mode " << c.mode << " column " << column;
    }
}

TEST_F(SortTest, ModeSevenSortsAgainAndModesAboveSevenAreIgnored) {
    list.SetSortMode(4);
    list.AppendRow(106, {L"6", L"zulu", L"1"});
    list.SetSortMode(8);
    EXPECT_EQ(list.GetSortMode(), 4);
    EXPECT_EQ(KeysInOrder().back(), 106);
    list.SetSortMode(0xFFFF);
    EXPECT_EQ(list.GetSortMode(), 4);
    list.SetSortMode(7);
    EXPECT_EQ(list.GetSortMode(), 4);
    EXPECT_EQ(KeysInOrder().front(), 106) << "sorted again descending by name";
    EXPECT_EQ(HeaderImage(1), 0);
}

TEST_F(SortTest, NegativeKeysComeFirstAscendingAndLastDescending) {
    list.AppendRow(-7, {L"0", L"middle", L"50"});
    for (unsigned short mode = 1; mode <= 6; ++mode) {
        list.SetSortMode(mode);
        const std::vector<LPARAM> keys = KeysInOrder();
        EXPECT_EQ(mode % 2 ? keys.front() : keys.back(), -7) << "mode " << mode;
    }
}

TEST_F(SortTest, RenumberingCountsFromTheTopOrFromTheBottomInModeTwo) {
    list.SetSortMode(3);
    list.Renumber();
    EXPECT_EQ(Column(0), (std::vector<std::wstring>{L"1", L"2", L"3", L"4", L"5"}));
    list.SetSortMode(2);
    list.Renumber();
    EXPECT_EQ(Column(0), (std::vector<std::wstring>{L"5", L"4", L"3", L"2", L"1"}));
    list.SetSortMode(1);
    EXPECT_EQ(KeysInOrder().front(), list.KeyOfItem(0));
    EXPECT_EQ(Column(0).front(), L"1") << "the numbers sort as integers";
}

TEST_F(SortTest, TheColumnZeroCallbackComparesNumbersUnlessReplaced) {
    // "10" after "9": integers, not texts.
    view.SetItemText(0, 0, L"10");
    view.SetItemText(1, 0, L"9");
    list.SetSortMode(1);
    EXPECT_EQ(Column(0), (std::vector<std::wstring>{L"3", L"4", L"5", L"9", L"10"}));

    // An owner's callback with its context value.
    static int calls;
    calls = 0;
    list.SetColumn0Compare(
        [](LPARAM a, LPARAM b, int direction, LPARAM context) {
            calls += int(context);
            return std::wstring(reinterpret_cast<const wchar_t*>(a)).compare(reinterpret_cast<const wchar_t*>(b)) *
                   direction;
        },
        1);
    list.SetSortMode(1);
    EXPECT_GT(calls, 0);
    EXPECT_EQ(Column(0), (std::vector<std::wstring>{L"10", L"3", L"4", L"5", L"9"}));
}

TEST_F(SortTest, KeysAlwaysFindTheirRowsAfterSortsRemovalsAndForeignChanges) {
    const auto verify = [&](const char* when) {
        for (int row = 0; row < view.GetItemCount(); ++row)
            ASSERT_EQ(list.FindItemByKey(view.GetItemData(row)), row) << when;
    };
    list.SetSortMode(4);
    verify("after a sort");
    ASSERT_TRUE(list.DeleteItemByKey(103));
    EXPECT_EQ(list.FindItemByKey(103), -1);
    verify("after a removal");
    view.DeleteItem(0);
    verify("after a removal at the top");
    list.InsertRow(1, 200, {L"x", L"inserted", L"9"});
    verify("after an insertion in the middle");
    view.SetItemData(0, 300);
    EXPECT_EQ(list.FindItemByKey(300), 0);
    verify("after a key change");
    view.SortItems([](LPARAM a, LPARAM b, LPARAM) WINAPI -> int { return a < b ? 1 : a > b ? -1 : 0; }, 0);
    verify("after a sort by somebody else");
    EXPECT_EQ(KeysInOrder().front(), 300);
    view.DeleteAllItems();
    EXPECT_EQ(list.FindItemByKey(300), -1);
}

TEST_F(SortTest, RepeatedKeysStillFindARowOfTheirs) {
    list.AppendRow(102, {L"6", L"twin", L"1"});
    list.SetSortMode(3);
    const int row = list.FindItemByKey(102);
    ASSERT_GE(row, 0);
    EXPECT_EQ(view.GetItemData(row), 102);
    view.DeleteItem(row);
    const int twin = list.FindItemByKey(102);
    ASSERT_GE(twin, 0) << "the other row of the key is found";
    EXPECT_EQ(view.GetItemData(twin), 102);
}

TEST_F(SortTest, AdjustHeaderPutsBackWhatAColumnChangeWiped) {
    list.SetSortMode(5);
    LVCOLUMNW column{};
    column.mask = LVCF_FMT | LVCF_TEXT;
    column.fmt = LVCFMT_LEFT;
    column.pszText = const_cast<wchar_t*>(L"Fax");
    ::SendMessageW(view, LVM_SETCOLUMNW, 2, reinterpret_cast<LPARAM>(&column));
    Pump();  // the list posts itself the message
    EXPECT_EQ(HeaderImage(2), 1);
    EXPECT_EQ(::SendMessageW(view, listview::AdjustHeaderMessage(), 0, 0), 5) << "answers the sort mode";
}

TEST_F(SortTest, AnOwnerDrawnNameHeaderIsLeftAlone) {
    view.GetHeader().SetFormat(1, HDF_OWNERDRAW);
    list.SetSortMode(3);
    EXPECT_EQ(HeaderImage(1), -1);
    EXPECT_EQ(KeysInOrder().front(), 102) << "the rows are sorted all the same";
}

TEST(SortKindTest, KindOneNumbersNothingAndAskTheCallbackWithKeysForTheNameOtherKindsCompareEqual) {
    using listview::CompareRows;
    const std::wstring a = L"a", b = L"b";
    const auto byKey = [](LPARAM x, LPARAM y, int direction, LPARAM) { return (x < y ? -1 : x > y) * direction; };
    EXPECT_EQ(CompareRows({2, &b}, {1, &a}, 1, 1, 1, byKey, 0), 1) << "keys, not texts";
    EXPECT_EQ(CompareRows({2, &b}, {1, &a}, 1, 1, 1, &listview::DefaultColumn0Compare, 0), 0)
        << "the default callback has no texts to read";
    EXPECT_EQ(CompareRows({2, &b}, {1, &a}, 2, -1, 1, byKey, 0), -1) << "other columns compare texts";
    EXPECT_EQ(CompareRows({2, &b}, {1, &a}, 2, 1, 5, byKey, 0), 0) << "an unknown kind compares equal";
    EXPECT_EQ(CompareRows({LPARAM(-1), &b}, {LPARAM(-2), &a}, 2, 1, 0, byKey, 0), 0)
        << "two negative keys keep their order";
}

TEST_F(ListFixture, KindOneSkipsRenumbering) {
    listview::CPhonebookListView dated(1);
    const HWND hwnd =
        ::CreateWindowExW(0, WC_LISTVIEWW, L"", 0x50830209, 0, 0, 200, 100, host, HMENU(205), nullptr, nullptr);
    ASSERT_TRUE(dated.Attach(hwnd));
    dated.SetUpColumns(L"#", L"Name", L"Date", nullptr);
    dated.AppendRow(1, {L"x", L"a", L"b"});
    dated.Renumber();
    EXPECT_EQ(win::ListViewCtrl(hwnd).GetItemText(0, 0), L"x");
    dated.Detach();
}

// ---------------------------------------------------------------------------
// Check boxes.

class CheckTest : public ListFixture {
protected:
    void SetUp() override {
        ListFixture::SetUp();
        Fill({{1, L"Ann", L"1"}, {2, L"Bob", L"2"}, {3, L"Cid", L"3"}, {4, L"Dee", L"4"}});
    }
    win::HeaderCtrl Header() const { return view.GetHeader(); }
    std::wstring HeaderText() const {
        wchar_t text[64] = L"";
        HDITEMW item{};
        item.mask = HDI_TEXT;
        item.pszText = text;
        item.cchTextMax = 64;
        Header().GetItem(0, item);
        return text;
    }
    int Checked() const {
        int count = 0;
        for (int row = 0; row < view.GetItemCount(); ++row) count += view.GetCheckState(row) ? 1 : 0;
        return count;
    }
};

TEST_F(CheckTest, SwitchingOnAndOffChangesStylesNumbersAndTheHeader) {
    list.SetCheckBoxMode(true, L"All");
    EXPECT_TRUE(view.GetExtendedStyle() & LVS_EX_CHECKBOXES);
    EXPECT_TRUE(view.GetStyle() & LVS_SINGLESEL);
    EXPECT_EQ(Column(0), std::vector<std::wstring>(4));
    EXPECT_TRUE(Header().GetStyle() & HDS_CHECKBOXES);
    EXPECT_TRUE(Header().GetFormat(0) & HDF_CHECKBOX);
    EXPECT_EQ(HeaderText(), L"All");
    list.Renumber();
    EXPECT_EQ(Column(0), std::vector<std::wstring>(4)) << "no numbers while boxes are shown";
    EXPECT_EQ(view.GetExtendedStyle() & LVS_EX_FULLROWSELECT, DWORD(LVS_EX_FULLROWSELECT)) << "only that bit changed";

    view.SetItemText(0, 0, L"kept");
    list.SetCheckBoxMode(true, L"Other");
    EXPECT_EQ(view.GetItemText(0, 0), L"kept") << "the same mode again changes nothing";
    EXPECT_EQ(HeaderText(), L"All");

    list.SetCheckBoxMode(false, nullptr);
    EXPECT_FALSE(view.GetExtendedStyle() & LVS_EX_CHECKBOXES);
    EXPECT_FALSE(view.GetStyle() & LVS_SINGLESEL);
    EXPECT_EQ(Column(0), (std::vector<std::wstring>{L"1", L"2", L"3", L"4"}));
    EXPECT_FALSE(Header().GetStyle() & HDS_CHECKBOXES);
    EXPECT_FALSE(Header().GetFormat(0) & (HDF_CHECKBOX | HDF_CHECKED));
    EXPECT_EQ(HeaderText(), L"");
}

TEST_F(CheckTest, MarkedMeansCheckedWithBoxesAndSelectedWithout) {
    list.SelectItemExclusively(1);
    view.SetItemState(3, LVIS_SELECTED, LVIS_SELECTED);
    EXPECT_TRUE(list.IsMarked(1));
    EXPECT_FALSE(list.IsMarked(-1));
    EXPECT_EQ(list.MarkedCount(), 2);
    list.SelectItemExclusively(2);
    EXPECT_EQ(list.MarkedCount(), 1) << "the others lost their selection";
    EXPECT_EQ(view.GetNextItem(-1, LVNI_FOCUSED), 2);
    list.SelectItemExclusively(-1);
    EXPECT_EQ(view.GetSelectedCount(), 0);

    list.SetCheckBoxMode(true, L"");
    list.SelectItemExclusively(0);
    EXPECT_EQ(list.MarkedCount(), 0) << "selection is not marking with boxes";
    view.SetCheckState(2, true);
    view.SetCheckState(3, true);
    EXPECT_TRUE(list.IsMarked(2));
    EXPECT_FALSE(list.IsMarked(0));
    EXPECT_EQ(list.MarkedCount(), 2);
}

TEST_F(CheckTest, TheHeaderBoxChecksAndUnchecksEveryRowButItsOwnerSettingItDoesNot) {
    list.SetCheckBoxMode(true, L"");
    view.SetCheckState(1, true);
    NMHEADERW click{};
    click.hdr.hwndFrom = Header();
    click.hdr.code = UINT(HDN_ITEMSTATEICONCLICK);
    click.iItem = 0;
    ::SendMessageW(view, WM_NOTIFY, 0, reinterpret_cast<LPARAM>(&click));
    EXPECT_TRUE(list.IsHeaderChecked());
    EXPECT_EQ(Checked(), 4);
    ::SendMessageW(view, WM_NOTIFY, 0, reinterpret_cast<LPARAM>(&click));
    EXPECT_FALSE(list.IsHeaderChecked());
    EXPECT_EQ(Checked(), 0);

    view.SetCheckState(2, true);
    list.SetHeaderCheck(true);
    EXPECT_TRUE(list.IsHeaderChecked());
    EXPECT_EQ(Checked(), 1) << "keeping the header in step leaves the rows alone";
    list.SetHeaderCheck(false);
    EXPECT_EQ(Checked(), 1);
}

TEST_F(CheckTest, AClickOnTheHeaderBoxChecksEveryRowAndIsNoColumnClick) {
    list.SetCheckBoxMode(true, L"All");
    Pump();
    RECT item{};
    ::SendMessageW(Header(), HDM_GETITEMRECT, 0, reinterpret_cast<LPARAM>(&item));
    const RECT box = listview::HeaderCheckBoxRect(item);
    Click(Header(), POINT{(box.left + box.right) / 2, (box.top + box.bottom) / 2});
    EXPECT_TRUE(list.IsHeaderChecked());
    EXPECT_EQ(Checked(), 4);
    EXPECT_TRUE(host.columnClicks.empty());
    // A double click toggles twice, as on any check box.
    Click(Header(), POINT{(box.left + box.right) / 2, (box.top + box.bottom) / 2}, 2);
    EXPECT_TRUE(list.IsHeaderChecked());
    EXPECT_EQ(Checked(), 4);

    // Elsewhere on the header it is a column click as always.
    ::SendMessageW(Header(), HDM_GETITEMRECT, 1, reinterpret_cast<LPARAM>(&item));
    Pump(::GetDoubleClickTime() + 50);
    Click(Header(), POINT{(item.left + item.right) / 2, (item.top + item.bottom) / 2});
    EXPECT_TRUE(list.IsHeaderChecked());
    EXPECT_EQ(host.columnClicks, std::vector<UINT>{1});
}

TEST_F(CheckTest, ScreenshotOfAFilledListWithCheckBoxes) {
    view.DeleteAllItems();
    const wchar_t* names[] = {L"Ann Archer", L"Bob Brenner", L"Cid Calloway", L"Dee Dunmore", L"Eve Easton",
                              L"Finn Fairweather-Fitzgerald", L"Gus Grant"};
    int key = 1;
    for (const wchar_t* name : names) {
        const std::wstring fax = L"+1 (555) 010-" + std::to_wstring(1000 + key * 7);
        list.AppendRow(key++, {L"", name, fax.c_str()});
    }
    list.SetCheckBoxMode(true, L"");
    view.SetCheckState(1, true);
    view.SetCheckState(4, true);
    list.SelectItemExclusively(2);
    list.SetSortMode(3);
    ::SetFocus(view);
    Pump(200);
    EXPECT_TRUE(SaveScreenshot(host, L"list_check_boxes.png"));
}

}  // namespace
}  // namespace listtest
