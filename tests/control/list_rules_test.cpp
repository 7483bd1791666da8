// The first class's list in a window of its own, driven by real messages:
// sort modes and renumbering, the key-to-row map, in-place editing with its
// keys, character filter, limits and rejections, check-box mode; and the
// comparison rules of both classes' lists.
#include "support/control_host.h"

#include "control/contact_list_view.h"
#include "control/list_view.h"
#include "win/window_impl.h"

#include <functional>
#include <tuple>

namespace {

using namespace control_test;  // Drain: a move or a reopening is posted
using Keys = std::vector<LPARAM>;
using Texts = std::vector<std::wstring>;

// The parent of a list, as the control's dialog is: it hears the list's
// end-of-edit notices (and may reject them) and its column clicks.
class ListHost : public win::WindowImpl<ListHost> {
public:
    std::vector<std::tuple<int, int, std::wstring>> commits;  // row, column, text
    int rejections = 0;
    std::vector<UINT> columnClicks;

    BEGIN_MSG_MAP(ListHost)
        NOTIFY_CODE_HANDLER(listview::kEndEditNotify, OnEndEdit)
        NOTIFY_CODE_HANDLER(LVN_COLUMNCLICK, OnColumnClick)
    END_MSG_MAP()

    LRESULT OnEndEdit(int, NMHDR* header, BOOL&) {
        const auto* info = reinterpret_cast<const NMLVDISPINFOW*>(header);
        commits.emplace_back(info->item.iItem, info->item.iSubItem, info->item.pszText ? info->item.pszText : L"");
        return rejections > 0 ? (--rejections, 1) : 0;
    }
    LRESULT OnColumnClick(int, NMHDR* header, BOOL&) {
        columnClicks.push_back(UINT(reinterpret_cast<NMLISTVIEW*>(header)->iSubItem));
        return 0;
    }
};

class ListTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(host.Create(nullptr, RECT{20, 20, 420, 320}, L"list host", WS_OVERLAPPEDWINDOW | WS_VISIBLE));
        // The style word of the list in the first control's dialog.
        const HWND hwnd = ::CreateWindowExW(0, WC_LISTVIEWW, L"", 0x50830209, 10, 10, 360, 240, host, HMENU(204),
                                            nullptr, nullptr);
        ASSERT_TRUE(hwnd && list.Attach(hwnd));
        view = win::ListViewCtrl(hwnd);
        list.SetUpColumns(L"#", L"Name", L"Fax Number", listview::CreateSortArrowImages());
        // "#" 1..5 as filled; names and numbers out of order.
        const std::tuple<LPARAM, const wchar_t*, const wchar_t*> rows[] = {
            {101, L"delta", L"30"}, {102, L"Alpha", L"5"}, {103, L"charlie", L"100"}, {104, L"bravo", L"20"},
            {105, L"Echo", L"4"}};
        for (const auto& [key, name, fax] : rows)
            list.AppendRow(key, {std::to_wstring(view.GetItemCount() + 1).c_str(), name, fax});
        ::SetForegroundWindow(host);
        ::SetFocus(hwnd);
    }
    void TearDown() override {
        list.Detach();
        ::DestroyWindow(host);
    }
    Texts Column(int column) const {
        Texts texts;
        for (int row = 0; row < view.GetItemCount(); ++row) texts.push_back(view.GetItemText(row, column));
        return texts;
    }
    Keys KeysInOrder() const {
        Keys keys;
        for (int row = 0; row < view.GetItemCount(); ++row) keys.push_back(view.GetItemData(row));
        return keys;
    }
    int HeaderImage(int column) {
        HDITEMW item{};
        item.mask = HDI_FORMAT | HDI_IMAGE;
        view.GetHeader().GetItem(column, item);
        return (item.fmt & HDF_IMAGE) ? item.iImage : -1;
    }
    HWND Box() { return list.EditBox().hwnd(); }
    std::wstring BoxText() { return win::Window(Box()).GetText(); }
    void Edit(int item, int column) {
        list.SetEditPosition(item, listview::kStartAfterEdit);
        ASSERT_TRUE(list.StartEdit(column));
        ASSERT_TRUE(Box());
    }

    win::ActivationScope scope;
    ListHost host;
    listview::CPhonebookListView list;
    win::ListViewCtrl view;
};

TEST_F(ListTest, EachModeSortsItsColumnInItsDirectionAndMarksTheHeader) {
    const struct {
        unsigned short mode;
        Keys keys;
        int images[3];  // 1 up, 0 down, -1 none
    } cases[] = {
        {1, {101, 102, 103, 104, 105}, {1, -1, -1}},
        {2, {105, 104, 103, 102, 101}, {0, -1, -1}},
        {3, {102, 105, 104, 103, 101}, {-1, 1, -1}},  // code units: capitals first
        {4, {101, 103, 104, 105, 102}, {-1, 0, -1}},
        {5, {103, 104, 101, 105, 102}, {-1, -1, 1}},  // texts, not numbers
        {6, {102, 105, 101, 104, 103}, {-1, -1, 0}},
        {0, {102, 105, 101, 104, 103}, {-1, -1, -1}},  // unsorted: stays as it is
        {8, {102, 105, 101, 104, 103}, {-1, -1, -1}},  // above 7: ignored
        {0xFFFF, {102, 105, 101, 104, 103}, {-1, -1, -1}},
    };
    for (const auto& c : cases) {
        list.SetSortMode(c.mode);
        EXPECT_EQ(list.GetSortMode(), c.mode > 7 ? 0 : short(c.mode)) << c.mode;
        EXPECT_EQ(KeysInOrder(), c.keys) << "mode " << c.mode;
        for (int column = 0; column < 3; ++column) EXPECT_EQ(HeaderImage(column), c.images[column]) << c.mode;
    }
    // 7 sorts again in the current mode and keeps it.
    list.SetSortMode(4);
    list.AppendRow(106, {L"6", L"zulu", L"1"});
    EXPECT_EQ(KeysInOrder().back(), 106);
    list.SetSortMode(7);
    EXPECT_EQ(list.GetSortMode(), 4);
    EXPECT_EQ(KeysInOrder().front(), 106);
    // A negative key (a row without a record) comes first ascending, last descending.
    list.AppendRow(-7, {L"0", L"middle", L"50"});
    for (unsigned short mode = 1; mode <= 6; ++mode) {
        list.SetSortMode(mode);
        EXPECT_EQ(mode % 2 ? KeysInOrder().front() : KeysInOrder().back(), -7) << "mode " << mode;
    }
}

TEST_F(ListTest, RenumberingCountsFromTheTopOrFromTheBottomInModeTwo) {
    list.SetSortMode(3);
    list.Renumber();
    EXPECT_EQ(Column(0), (Texts{L"1", L"2", L"3", L"4", L"5"}));
    list.SetSortMode(2);
    list.Renumber();
    EXPECT_EQ(Column(0), (Texts{L"5", L"4", L"3", L"2", L"1"}));
    view.SetItemText(0, 0, L"10");
    view.SetItemText(1, 0, L"9");
    list.SetSortMode(1);
    EXPECT_EQ(Column(0), (Texts{L"1", L"2", L"3", L"9", L"10"})) << "the numbers sort as integers";
    list.SetCheckBoxMode(true, L"All");
    list.Renumber();
    EXPECT_EQ(Column(0), Texts(5)) << "no numbers while boxes are shown";
    list.SetCheckBoxMode(false, nullptr);
    EXPECT_EQ(Column(0), (Texts{L"1", L"2", L"3", L"4", L"5"}));
}

TEST_F(ListTest, KeysAlwaysFindTheirRowsAfterSortsRemovalsAndForeignChanges) {
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
    view.DeleteAllItems();
    EXPECT_EQ(list.FindItemByKey(101), -1);
}

TEST_F(ListTest, EnterCommitsAChangeEscapeDropsItAndTheParentWritesTheText) {
    Edit(1, 1);
    PressKey(Box(), VK_RETURN);
    EXPECT_FALSE(list.IsEditing());
    EXPECT_TRUE(host.commits.empty()) << "the unchanged text is a cancel";
    Edit(1, 1);
    Type(Box(), L"by");
    PressKey(Box(), VK_RETURN);
    ASSERT_EQ(host.commits.size(), 1u);
    EXPECT_EQ(host.commits[0], std::make_tuple(1, 1, std::wstring(L"by"))) << "typed over the selected text";
    EXPECT_EQ(view.GetItemText(1, 1), L"Alpha") << "the parent, not the list, writes an accepted text";
    EXPECT_EQ(::GetFocus(), view.hwnd()) << "the keyboard stays with the list";
    Edit(2, 2);
    Type(Box(), L"7");
    PressKey(Box(), VK_ESCAPE);
    EXPECT_EQ(host.commits.size(), 1u);
    EXPECT_EQ(::SendMessageW(view, LVM_GETEDITCONTROL, 0, 0), 0);
}

TEST_F(ListTest, TabAndShiftArrowsMoveAlongTheRowCommittingAndWrapAtItsEnds) {
    const struct {
        UINT key;
        bool shift;
        int column;
    } moves[] = {{VK_TAB, false, 2}, {VK_TAB, false, 1}, {VK_TAB, true, 2}, {VK_RIGHT, true, 1}};
    Edit(0, 1);
    for (const auto& move : moves) {
        PressKey(Box(), move.key, move.shift);
        Drain();
        ASSERT_TRUE(list.IsEditing());
        EXPECT_EQ(list.EditColumn(), move.column) << "key " << move.key << " shift " << move.shift;
        EXPECT_EQ(list.EditBox().Item(), 0);
    }
    PressKey(Box(), VK_RIGHT);
    EXPECT_TRUE(list.IsEditing()) << "Right without Shift moves the caret only";
    Type(Box(), L"Ada");
    PressKey(Box(), VK_TAB);
    Drain();
    ASSERT_EQ(host.commits.size(), 1u) << "a changed cell is committed before the edit moves on";
    EXPECT_EQ(std::get<2>(host.commits[0]), L"deltaAda");
    EXPECT_EQ(list.EditColumn(), 2);
}

TEST_F(ListTest, TheNumberTakesDialCharactersAndStopsAt45TheNameAt130) {
    Edit(0, 2);
    ::SetWindowTextW(Box(), L"");
    Type(Box(), L"+1 (555);x*#-9");
    EXPECT_EQ(BoxText(), L"+1 (555)*#-9");
    EXPECT_EQ(list.EditBox().RefusedCharacters(), 2);
    PressKey(Box(), VK_ESCAPE);
    for (const auto& [column, limit] : {std::pair{2, 45}, std::pair{1, 130}}) {
        Edit(0, column);
        ::SetWindowTextW(Box(), L"");
        Type(Box(), std::wstring(size_t(limit), L'5') + L"6");
        EXPECT_EQ(BoxText(), std::wstring(size_t(limit), L'5')) << "character " << limit + 1 << " is refused";
        PressKey(Box(), VK_RETURN);
    }
    Edit(0, 1);
    Type(Box(), L"Ann;x(");
    EXPECT_EQ(BoxText(), L"Ann;x(") << "the name takes any character";
    PressKey(Box(), VK_ESCAPE);
}

TEST_F(ListTest, ARejectedCommitReopensTheCellWithTheRejectedText) {
    host.rejections = 1;
    Edit(2, 2);
    Type(Box(), L"12");
    PressKey(Box(), VK_RETURN);
    Drain();
    ASSERT_TRUE(list.IsEditing()) << "the rejected edit opens again";
    EXPECT_EQ(list.EditBox().Item(), 2);
    EXPECT_EQ(list.EditColumn(), 2);
    EXPECT_EQ(BoxText(), L"12");
    PressKey(Box(), VK_RETURN);
    EXPECT_EQ(host.commits.size(), 2u) << "the offered text is still a change";
    Drain();
    EXPECT_FALSE(list.IsEditing());

}

TEST_F(ListTest, LosingTheFocusAColumnChangeOrAClickOutsideCommits) {
    const HWND other = ::CreateWindowExW(0, L"BUTTON", L"other", WS_CHILD | WS_VISIBLE, 10, 260, 80, 24, host, nullptr,
                                         nullptr, nullptr);
    const std::function<void()> actions[] = {
        [&] { ::SetFocus(view); },
        [&] { view.SetColumnWidth(2, 120); },
        // A button takes no focus on a click it does not complete: the
        // mouse hook ends the edit all the same.
        [&] { Click(other, POINT{5, 5}); },
    };
    for (size_t i = 0; i < std::size(actions); ++i) {
        Edit(0, 1);
        Type(Box(), L"N" + std::to_wstring(i));
        actions[i]();
        EXPECT_TRUE(PumpUntil([&] { return !list.IsEditing(); }, 1000)) << "action " << i;
        ASSERT_EQ(host.commits.size(), i + 1);
        EXPECT_EQ(std::get<2>(host.commits.back()), L"N" + std::to_wstring(i));
    }
}

TEST_F(ListTest, CheckBoxModeMarksByCheckAndTheHeaderBoxChecksEveryRow) {
    // (Marking by selection or by check: the hosted control's tests.)
    list.SetCheckBoxMode(true, L"All");
    EXPECT_TRUE(view.GetStyle() & LVS_SINGLESEL);
    EXPECT_TRUE(view.GetHeader().GetFormat(0) & HDF_CHECKBOX);
    view.SetCheckState(2, true);
    list.SetHeaderCheck(true);
    EXPECT_EQ(list.MarkedCount(), 1) << "keeping the header in step leaves the rows alone";
    list.SetHeaderCheck(false);

    RECT item{};
    const HWND header = view.GetHeader();
    ::SendMessageW(header, HDM_GETITEMRECT, 0, reinterpret_cast<LPARAM>(&item));
    const RECT box = listview::HeaderCheckBoxRect(item);
    const POINT centre{(box.left + box.right) / 2, (box.top + box.bottom) / 2};
    Click(header, centre);
    EXPECT_TRUE(list.IsHeaderChecked());
    EXPECT_EQ(list.MarkedCount(), 5);
    Click(header, centre);
    EXPECT_FALSE(list.IsHeaderChecked());
    EXPECT_EQ(list.MarkedCount(), 0);
    EXPECT_TRUE(host.columnClicks.empty()) << "the box is no column click";
    list.SetCheckBoxMode(false, nullptr);
    EXPECT_FALSE(view.GetHeader().GetFormat(0) & (HDF_CHECKBOX | HDF_CHECKED));
    EXPECT_FALSE(view.GetStyle() & LVS_SINGLESEL);
}

// The second class's comparison kinds: name (linguistic, case-blind), text
// (the cells', folded), number (dial digits as text), favourite (others
// first, each group in its order); a missing record after present ones
// ascending. The first class's: kind 1 asks the callback with the keys.
TEST(CompareTest, EachKindComparesItsOwnWay) {
    using namespace listview;
    const auto person = [](const wchar_t* name, const wchar_t* fax, bool favourite) {
        CRecipient record;
        record.name = name;
        record.faxNumber = fax;
        record.favorite = favourite;
        return record;
    };
    const CRecipient alpha = person(L"Alpha", L"5552", true), bravo = person(L"Bravo", L"+49 555 4", true),
                     charlie = person(L"charlie", L"555-1", false), eclair = person(L"\u00e9clair", L"1", false),
                     zebra = person(L"Zebra", L"+1 (555) 300", false);
    const struct {
        const CRecipient *a, *b;
        const wchar_t *textA, *textB;
        int kind, direction, sign;
    } cases[] = {
        {&alpha, &charlie, L"", L"", kCompareName, 1, -1},   {&charlie, &bravo, L"", L"", kCompareName, 1, 1},
        {&eclair, &zebra, L"", L"", kCompareName, 1, -1},    {&eclair, &zebra, L"", L"", kCompareName, -1, 1},
        {&zebra, &bravo, L"", L"", kCompareNumber, 1, -1},   {&bravo, &charlie, L"", L"", kCompareNumber, 1, -1},
        {&charlie, &alpha, L"", L"", kCompareFavorite, 1, -1}, {&alpha, &bravo, L"", L"", kCompareFavorite, 1, 0},
        {&alpha, &charlie, L"", L"", kCompareFavorite, -1, -1}, {&alpha, &charlie, L"x", L"X", kCompareText, 1, 0},
        {&alpha, &charlie, L"b", L"A", kCompareText, 1, 1},  {&alpha, &charlie, L"x", L"X", 7, 1, 0},
        {nullptr, nullptr, L"", L"", kCompareNumber, 1, 0},  {nullptr, &zebra, L"", L"", kCompareNumber, 1, 1},
        {nullptr, &zebra, L"", L"", kCompareNumber, -1, -1},
    };
    for (const auto& c : cases) {
        const int result = CompareContacts(c.a, c.b, c.textA, c.textB, c.kind, c.direction);
        EXPECT_EQ((result > 0) - (result < 0), c.sign) << "case " << &c - cases;
    }
    const std::wstring x = L"a", y = L"b";
    const auto byKey = [](LPARAM p, LPARAM q, int direction, LPARAM) { return (p < q ? -1 : p > q) * direction; };
    EXPECT_EQ(CompareRows({2, &y}, {1, &x}, 1, 1, 1, byKey, 0), 1) << "kind 1: the callback with keys";
    EXPECT_EQ(CompareRows({2, &y}, {1, &x}, 2, -1, 1, byKey, 0), -1) << "other columns compare texts";
    EXPECT_EQ(CompareRows({2, &y}, {1, &x}, 2, 1, 5, byKey, 0), 0) << "an unknown kind compares equal";
    EXPECT_EQ(CompareRows({LPARAM(-1), &y}, {LPARAM(-2), &x}, 2, 1, 0, byKey, 0), 0) << "two negative keys keep their order";
}

}  // namespace
