// The first control while the user is busy with it: what the host sets
// before the window exists holds once it does, the recently used book opens
// no label edit, reloads leave the diagnostic log alone, and what a host
// reads back is whole.
#include "support/control_host.h"

#include "com/unique_any.h"

#include <commctrl.h>
#include <climits>

using namespace control_test;

namespace {

void Press(HWND window, UINT key) {
    ::SendMessageW(window, WM_KEYDOWN, key, 1);
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

// The recently used book is not edited in place (its Edit button is off):
// the list's own label editing, a click on a selected row's label, stays
// shut there too, while Add still opens the new row's name. (A reload with
// an edit open: the Windows Contacts tests.)
TEST_F(HostedControlTest, TheRecentlyUsedBookOpensNoLabelEdit) {
    ASSERT_NO_FATAL_FAILURE(HostWithBook({{L"Ben", L"333-444"}, {L"Carla", L"555-666"}}));
    const HWND list = m_host->list();
    m_control->SelectItem(0);
    ::SendMessageW(list, LVM_EDITLABELW, 0, 0);
    Pump(200);
    EXPECT_EQ(EditBox(list), nullptr) << "label editing opened on the recently used book";
    EXPECT_FALSE(::IsWindowEnabled(m_host->item(208))) << "Edit";

    ::SendMessageW(m_host->item(203), BM_CLICK, 0, 0);  // Add
    ASSERT_TRUE(PumpUntil([&] { return EditBox(list) != nullptr && ItemCount() == 3; }, 1000));
    Press(EditBox(list), VK_ESCAPE);
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
