// The first control while the user is busy with it: what the host sets
// before the window exists holds once it does, and a change made by another
// process in the middle of an in-place edit neither commits nor loses what
// is being typed.
#include "control_host.h"

#include "com/unique_any.h"

#include <commctrl.h>
#include <climits>

using namespace control_test;

namespace {

void Press(HWND window, UINT key) {
    ::SendMessageW(window, WM_KEYDOWN, key, 1);
}

std::wstring Text(HWND window) {
    wchar_t text[256] = {};
    ::GetWindowTextW(window, text, 256);
    return text;
}

// The row's cell in the list's client coordinates.
RECT Cell(HWND list, int row, int column) {
    RECT cell{};
    cell.top = column;
    cell.left = LVIR_BOUNDS;
    ::SendMessageW(list, LVM_GETSUBITEMRECT, WPARAM(row), reinterpret_cast<LPARAM>(&cell));
    return cell;
}

RECT RectInList(HWND list, HWND child) {
    RECT rect{};
    ::GetWindowRect(child, &rect);
    ::MapWindowPoints(nullptr, list, reinterpret_cast<POINT*>(&rect), 2);
    return rect;
}

}  // namespace

// The host may set both while the control has no window (before its
// in-place activation, or between two): they hold once the window is made.
TEST_F(HostedControlTest, SortModeAndCheckBoxesSetWithoutAWindowHoldOnceItExists) {
    ASSERT_NO_FATAL_FAILURE(
        HostWithBook({{L"Ann", L"111-222"}, {L"Carla", L"333-444"}, {L"Ben", L"555-666"}}));
    const auto inPlace = m_host->query<IOleInPlaceObject>();
    const auto object = m_host->query<IOleObject>();
    ASSERT_TRUE(inPlace && object);
    ASSERT_EQ(inPlace->InPlaceDeactivate(), S_OK);
    ASSERT_EQ(m_host->controlWindow(), nullptr) << "the window went with the deactivation";

    int mode = -1;
    ASSERT_EQ(m_control->SetSortMode(4), S_OK);  // name, descending
    ASSERT_EQ(m_control->GetSortMode(&mode), S_OK);
    EXPECT_EQ(mode, 4) << "kept without a window";
    EXPECT_EQ(m_control->SetSortMode(8), S_OK);
    EXPECT_EQ(m_control->SetSortMode(7), S_OK);
    m_control->GetSortMode(&mode);
    EXPECT_EQ(mode, 4) << "8 is ignored and 7 keeps the mode";
    com::UniqueBstr header(::SysAllocString(L"All"));
    ASSERT_EQ(m_control->EnableCheckBoxes(TRUE, header.get()), S_OK);

    com::ComPtr<IOleClientSite> site;
    ASSERT_EQ(object->GetClientSite(site.put()), S_OK);
    RECT rect{};
    ::GetClientRect(m_host->hostWindow(), &rect);
    ASSERT_EQ(object->DoVerb(OLEIVERB_INPLACEACTIVATE, nullptr, site.get(), 0, m_host->hostWindow(), &rect),
              S_OK);
    ASSERT_TRUE(m_host->controlWindow());
    ASSERT_TRUE(PumpUntil([&] { return ItemCount() == 3; }, 3000));
    EXPECT_EQ(Names(), (std::vector<std::wstring>{L"Carla", L"Ben", L"Ann"}));
    m_control->GetSortMode(&mode);
    EXPECT_EQ(mode, 4);
    const HWND list = m_host->list();
    EXPECT_TRUE(ListView_GetExtendedListViewStyle(list) & LVS_EX_CHECKBOXES);
    EXPECT_FALSE(::IsWindowVisible(m_host->item(203))) << "the image buttons replace the text buttons";
    EXPECT_TRUE(::IsWindowVisible(m_host->item(209)));
    // The name column shows the descending image.
    HDITEMW item{};
    item.mask = HDI_FORMAT | HDI_IMAGE;
    ASSERT_TRUE(Header_GetItem(ListView_GetHeader(list), 1, &item));
    EXPECT_TRUE(item.fmt & HDF_IMAGE);
    EXPECT_EQ(item.iImage, 0);
}

// Another process adds a recipient that sorts above the one being edited,
// while the user has typed only part of a number: the reload re-sorts, the
// edit stays open over the same recipient with the half-typed text, no
// "incorrect address" box appears, and the book keeps the old number until
// the user commits.
TEST_F(HostedControlTest, AnOutsideChangeLeavesAHalfTypedCellOpen) {
    ASSERT_NO_FATAL_FAILURE(HostWithBook({{L"Ben", L"333-444"}, {L"Carla", L"555-666"}}));
    ASSERT_EQ(m_control->SetSortMode(3), S_OK);  // by name, ascending
    ASSERT_EQ(NameAt(0), L"Ben");
    const HWND list = m_host->list();
    ::SendMessageW(list, LVM_EDITLABELW, 0, 0);
    ASSERT_TRUE(PumpUntil([&] { return EditBox(list) != nullptr; }, 1000));
    Press(EditBox(list), VK_TAB);  // on to Ben's number
    ASSERT_TRUE(PumpUntil([&] { return EditBox(list) != nullptr; }, 1000));
    const HWND box = EditBox(list);
    ::SetWindowTextW(box, L"12");  // too short to be accepted yet

    MessageBoxAnswer noBox(IDOK);
    WriteBook({{L"Ben", L"333-444"}, {L"Carla", L"555-666"}, {L"Anna", L"777-888"}});
    ASSERT_TRUE(PumpUntil([&] { return ItemCount() == 3; }, 3000));
    Pump(300);
    EXPECT_FALSE(noBox.answered()) << "a message box appeared: "
                                   << std::string(noBox.text().begin(), noBox.text().end());
    EXPECT_EQ(Names(), (std::vector<std::wstring>{L"Anna", L"Ben", L"Carla"})) << "re-sorted";
    ASSERT_EQ(EditBox(list), box) << "the edit is still open";
    EXPECT_EQ(Text(box), L"12");
    const RECT cell = Cell(list, 1, 2), shown = RectInList(list, box);
    EXPECT_EQ(shown.top, cell.top) << "the box moved with Ben's row";
    EXPECT_EQ(shown.left, cell.left);

    // The user finishes the number: it lands on Ben.
    ::SetWindowTextW(box, L"123-999");
    Press(box, VK_RETURN);
    Pump(200);
    EXPECT_EQ(EditBox(list), nullptr);
    com::UniqueBstr name, fax;
    ASSERT_EQ(m_control->GetItem(1, nullptr, name.put(), fax.put()), HRESULT(1));
    EXPECT_EQ(std::wstring(name.get()), L"Ben");
    EXPECT_EQ(std::wstring(fax.get()), L"123-999");
}

// Reloads leave the diagnostic log alone: its first use would make the log's
// folder and file and write its settings for every user who sees the
// control. (The log's settings are read once per process: run alone, this
// sees the first use.)
TEST_F(HostedControlTest, ReloadsWriteNothingOfTheDiagnosticLog) {
    testing_support::DeleteUserKey(L"SOFTWARE\\Quorvel\\Orvanta\\Logger");
    ASSERT_NO_FATAL_FAILURE(HostWithBook({{L"Ann", L"111-222"}, {L"Ben", L"333-444"}}));
    WriteBook({{L"Ann", L"111-222"}, {L"Ben", L"333-444"}, {L"Carla", L"555-666"}});
    ASSERT_TRUE(PumpUntil([&] { return ItemCount() == 3; }, 3000));
    HKEY key = nullptr;
    EXPECT_NE(ERROR_SUCCESS,
              ::RegOpenKeyExW(HKEY_CURRENT_USER, L"SOFTWARE\\Quorvel\\Orvanta\\Logger", 0, KEY_READ, &key))
        << "the log's settings were written";
    if (key) ::RegCloseKey(key);
}

// What a host reads back: a name longer than the list's edit buffer comes
// whole, and a search from INT_MAX finds nothing (it does not wrap to the
// top).
TEST_F(HostedControlTest, LongNamesComeWholeAndASearchFromTheLastIndexFindsNothing) {
    const std::wstring longName(1500, L'L');
    ASSERT_NO_FATAL_FAILURE(HostWithBook({{longName, L"111-222"}, {L"Ben", L"333-444"}}));
    const int row = NameAt(0) == L"Ben" ? 1 : 0;
    com::UniqueBstr name;
    ASSERT_EQ(m_control->GetItem(row, nullptr, name.put(), nullptr), HRESULT(row));
    EXPECT_EQ(std::wstring(name.get()), longName);

    for (int r = 0; r < 2; ++r) SetRowState(r, LVIS_SELECTED, LVIS_SELECTED);
    EXPECT_LT(m_control->GetSelItem(INT_MAX, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(m_control->GetSelItem(-1, nullptr, nullptr, nullptr), 0);
    com::UniqueBstr header(::SysAllocString(L""));
    m_control->EnableCheckBoxes(TRUE, header.get());
    SetRowState(0, INDEXTOSTATEIMAGEMASK(2), LVIS_STATEIMAGEMASK);
    EXPECT_LT(m_control->GetSelItem(INT_MAX, nullptr, nullptr, nullptr), 0) << "check-box mode";
    EXPECT_EQ(m_control->GetSelItem(-1, nullptr, nullptr, nullptr), 0);
}
