// The phonebook control in Wine's ATL host, driven through its automation
// interfaces the way the fax program drives it, with the user's actions
// played on its windows.
#include "support/control_host.h"

#include "com/unique_any.h"

#include <oleauto.h>

#include <algorithm>
#include <set>

using namespace control_test;

namespace {

const std::vector<std::pair<std::wstring, std::wstring>> kPeople = {
    {L"Carla Brandt", L"+49 30 1234"}, {L"Anton Weiss", L"555-0101"}, {L"Bea Koch", L"777-12"},
    {L"Dora Lind", L"030 99 88"},      {L"Emil Roth", L"123-456"},
};

std::vector<std::wstring> Sorted(std::vector<std::wstring> names, bool descending) {
    std::sort(names.begin(), names.end());
    if (descending) std::reverse(names.begin(), names.end());
    return names;
}

}  // namespace

TEST_F(HostedControlTest, EmptyBookAnswersCountsAndRefusesRows) {
    ASSERT_NO_FATAL_FAILURE(HostWithBook({}));
    EXPECT_EQ(m_control->GetItemCount(), 0);
    EXPECT_EQ(m_control->GetSelItemCount(), 0);
    ULONG id = 77;
    BSTR name = reinterpret_cast<BSTR>(0x1234);
    EXPECT_EQ(m_control->GetItem(0, &id, &name, nullptr), HRESULT(-1));
    EXPECT_EQ(m_control->GetSelItem(-1, &id, &name, nullptr), HRESULT(-1));
    EXPECT_EQ(id, 77u) << "out-parameters stay untouched";
    EXPECT_EQ(name, reinterpret_cast<BSTR>(0x1234));
}

TEST_F(HostedControlTest, RowsOutsideTheListAreRefusedAndRowsInsideAnswerTheirIndex) {
    ASSERT_NO_FATAL_FAILURE(HostWithBook(kPeople));
    const int count = int(kPeople.size());
    for (int item : {-1, count, count + 100}) {
        ULONG id = 5;
        BSTR name = nullptr;
        EXPECT_EQ(m_control->GetItem(item, &id, &name, nullptr), HRESULT(-1)) << item;
        EXPECT_EQ(id, 5u);
        EXPECT_EQ(name, nullptr);
    }
    std::vector<std::wstring> names;
    for (int item = 0; item < count; ++item) {
        ULONG id = 0;
        com::UniqueBstr name, fax;
        ASSERT_EQ(m_control->GetItem(item, &id, name.put(), fax.put()), HRESULT(item));
        EXPECT_NE(id, 0u) << "each row carries its record's key";
        names.push_back(name.get());
        // Null out-pointers are allowed.
        EXPECT_EQ(m_control->GetItem(item, nullptr, nullptr, nullptr), HRESULT(item));
    }
    std::vector<std::wstring> expected;
    for (const auto& person : kPeople) expected.push_back(person.first);
    EXPECT_EQ(Sorted(names, false), Sorted(expected, false));
}

TEST_F(HostedControlTest, SelectingTheAddressBookChecksTheValueAndIgnoresTheCurrentOne) {
    ASSERT_NO_FATAL_FAILURE(HostWithBook(kPeople));
    LONG selected = 9;
    EXPECT_EQ(m_control->IsOutlookAddressBookSelected(&selected), S_OK);
    EXPECT_EQ(selected, -1);
    EXPECT_EQ(m_control->IsOutlookAddressBookSelected(nullptr), E_INVALIDARG);

    for (LONG bad : {2L, -2L, 100L}) {
        ::SetErrorInfo(0, nullptr);
        EXPECT_EQ(m_control->SelectOutlookAddressBook(bad), E_INVALIDARG) << bad;
        com::ComPtr<IErrorInfo> error;
        ASSERT_EQ(::GetErrorInfo(0, error.put()), S_OK) << "a failure carries an error object";
        com::UniqueBstr description;
        error->GetDescription(description.put());
        EXPECT_TRUE(description.get() && *description.get());
    }
    const auto support = m_control.query<ISupportErrorInfo>();
    ASSERT_TRUE(support);
    EXPECT_EQ(support->InterfaceSupportsErrorInfo(IID_IVelPhonebookControl2), S_OK);
    EXPECT_EQ(support->InterfaceSupportsErrorInfo(IID_IOleObject), S_FALSE);

    // The current book again: nothing happens, the rows stay.
    EXPECT_EQ(m_control->SelectOutlookAddressBook(-1), S_OK);
    EXPECT_EQ(ItemCount(), int(kPeople.size()));
    Pump(700);
    EXPECT_EQ(ItemCount(), int(kPeople.size()));
    EXPECT_EQ(m_control->IsOutlookAddressBookSelected(&selected), S_OK);
    EXPECT_EQ(selected, -1);
}

TEST_F(HostedControlTest, SortModesOrderTheRowsAndIgnoreUnknownModes) {
    ASSERT_NO_FATAL_FAILURE(HostWithBook(kPeople));
    std::vector<std::wstring> all = Names();
    int mode = -5;
    EXPECT_EQ(m_control->GetSortMode(&mode), S_OK);
    EXPECT_EQ(mode, 0);

    EXPECT_EQ(m_control->SetSortMode(4), S_OK);  // name, descending
    EXPECT_EQ(Names(), Sorted(all, true));
    EXPECT_EQ(m_control->SetSortMode(8), S_OK);
    EXPECT_EQ(m_control->GetSortMode(&mode), S_OK);
    EXPECT_EQ(mode, 4) << "modes above 7 change nothing";
    EXPECT_EQ(Names(), Sorted(all, true));

    EXPECT_EQ(m_control->SetSortMode(0x10003), S_OK);  // only the low 16 bits count
    EXPECT_EQ(m_control->GetSortMode(&mode), S_OK);
    EXPECT_EQ(mode, 3);
    EXPECT_EQ(Names(), Sorted(all, false));

    // 7 sorts again in the current mode: a row appended by another program
    // lands in its place, and the mode stays.
    ASSERT_EQ(testing_support::RunProcess(L"\"" + testing_support::BinDir() + L"mru_change.exe\" 1 0"), 0);
    ASSERT_TRUE(PumpUntil([&] { return ItemCount() == int(kPeople.size()) + 1; }, 3000));
    EXPECT_EQ(m_control->SetSortMode(7), S_OK);
    EXPECT_EQ(m_control->GetSortMode(&mode), S_OK);
    EXPECT_EQ(mode, 3);
    all.push_back(L"Helper 0");
    EXPECT_EQ(Names(), Sorted(all, false));
    EXPECT_EQ(m_control->GetSortMode(nullptr), S_OK);
}

TEST_F(HostedControlTest, MarkingChangesFireOnItemSelectedWithExactArgumentTypes) {
    ASSERT_NO_FATAL_FAILURE(HostWithBook(kPeople));
    const auto sink = com::Make<EventSink>();
    const DWORD cookie = AdviseSink(m_control.get(), sink.get());
    ASSERT_NE(cookie, 0u);

    EXPECT_EQ(m_control->SelectItem(1), S_OK);
    ASSERT_EQ(sink->events.size(), 1u);
    const ReceivedEvent& first = sink->events[0];
    EXPECT_EQ(first.id, 1);
    EXPECT_EQ(first.types, (std::vector<VARTYPE>{VT_I4, VT_BOOL, VT_I4}));
    EXPECT_EQ(first.values, (std::vector<LONG>{1, -1, 1}));
    EXPECT_EQ(m_control->GetSelItemCount(), 1);

    sink->events.clear();
    EXPECT_EQ(m_control->SelectItem(3), S_OK);
    ASSERT_EQ(sink->events.size(), 2u) << "one for the row left, one for the row chosen";
    EXPECT_EQ(sink->events[0].values, (std::vector<LONG>{1, 0, 0}));
    EXPECT_EQ(sink->events[1].values, (std::vector<LONG>{3, -1, 1}));

    ULONG id = 0;
    com::UniqueBstr name;
    EXPECT_EQ(m_control->GetSelItem(-1, &id, name.put(), nullptr), HRESULT(3));
    EXPECT_EQ(std::wstring(name.get()), NameAt(3));
    EXPECT_LT(m_control->GetSelItem(3, nullptr, nullptr, nullptr), 0);

    sink->events.clear();
    EXPECT_EQ(m_control->SelectItem(-1), S_OK);
    EXPECT_EQ(m_control->GetSelItemCount(), 0);
    ASSERT_EQ(sink->events.size(), 1u);
    EXPECT_EQ(sink->events[0].values, (std::vector<LONG>{3, 0, 0}));
    UnadviseSink(m_control.get(), cookie);
}

TEST_F(HostedControlTest, EverySinkHearsTheEventWhateverTheOthersDo) {
    ASSERT_NO_FATAL_FAILURE(HostWithBook(kPeople));
    const auto failing = com::Make<EventSink>();
    failing->answer = E_FAIL;
    const auto leaving = com::Make<EventSink>();
    const auto last = com::Make<EventSink>();
    AdviseSink(m_control.get(), failing.get());
    const DWORD leavingCookie = AdviseSink(m_control.get(), leaving.get());
    AdviseSink(m_control.get(), last.get());
    // The second sink unadvises itself in the middle of the first event.
    leaving->onEvent = [&] { UnadviseSink(m_control.get(), leavingCookie); };

    m_control->SelectItem(0);
    EXPECT_EQ(failing->events.size(), 1u);
    EXPECT_EQ(leaving->events.size(), 1u);
    EXPECT_EQ(last->events.size(), 1u);
    m_control->SelectItem(-1);
    EXPECT_EQ(failing->events.size(), 2u);
    EXPECT_EQ(leaving->events.size(), 1u) << "gone after unadvising";
    EXPECT_EQ(last->events.size(), 2u);
}

TEST_F(HostedControlTest, AChangeByAnotherProcessReachesTheListWithinASecond) {
    ASSERT_NO_FATAL_FAILURE(HostWithBook(kPeople));
    ASSERT_EQ(m_control->SetSortMode(3), S_OK);
    m_control->SelectItem(2);
    const std::wstring marked = NameAt(2);
    ASSERT_EQ(testing_support::RunProcess(L"\"" + testing_support::BinDir() + L"mru_change.exe\" 1 0"), 0);
    const ULONGLONG start = ::GetTickCount64();
    ASSERT_TRUE(PumpUntil([&] { return ItemCount() == int(kPeople.size()) + 1; }, 3000));
    const ULONGLONG took = ::GetTickCount64() - start;
    EXPECT_LE(took, 1000u) << "the reload follows the change within a second";
    // The user's sort and mark survive the reload.
    auto names = Names();
    EXPECT_TRUE(std::is_sorted(names.begin(), names.end()));
    ULONG id = 0;
    com::UniqueBstr name;
    const HRESULT row = m_control->GetSelItem(-1, &id, name.put(), nullptr);
    ASSERT_GE(row, 0);
    EXPECT_EQ(std::wstring(name.get()), marked);
}

TEST_F(HostedControlTest, CheckBoxesMarkByCheckAndSwapTheButtons) {
    ASSERT_NO_FATAL_FAILURE(HostWithBook(kPeople));
    const auto sink = com::Make<EventSink>();
    AdviseSink(m_control.get(), sink.get());
    EXPECT_EQ(m_control->SelectItem(0), S_OK);
    EXPECT_EQ(m_control->GetSelItemCount(), 1);

    com::UniqueBstr header(::SysAllocString(L"All"));
    ASSERT_EQ(m_control->EnableCheckBoxes(TRUE, header.get()), S_OK);
    EXPECT_EQ(m_control->GetSelItemCount(), 0) << "with check boxes only checked rows are marked";
    for (int id : {203, 208, 202}) EXPECT_FALSE(::IsWindowVisible(m_host->item(id))) << id;
    for (int id : {209, 210, 211}) EXPECT_TRUE(::IsWindowVisible(m_host->item(id))) << id;
    EXPECT_TRUE(::GetWindowLongW(m_host->list(), GWL_STYLE) & LVS_SINGLESEL);
    EXPECT_FALSE(::IsWindowEnabled(m_host->item(211))) << "nothing to remove yet";

    sink->events.clear();
    SetRowState(2, INDEXTOSTATEIMAGEMASK(2), LVIS_STATEIMAGEMASK);  // the user ticks row 2
    EXPECT_EQ(m_control->GetSelItemCount(), 1);
    EXPECT_EQ(m_control->GetSelItem(-1, nullptr, nullptr, nullptr), HRESULT(2));
    ASSERT_FALSE(sink->events.empty());
    // The event tells the row's selection, not its check.
    EXPECT_EQ(sink->events.back().values, (std::vector<LONG>{2, 0, 1}));
    EXPECT_TRUE(::IsWindowEnabled(m_host->item(211)));
    EXPECT_TRUE(::IsWindowEnabled(m_host->item(209)) == FALSE) << "no adding to the recently used book";

    ASSERT_EQ(m_control->EnableCheckBoxes(FALSE, nullptr), S_OK);
    for (int id : {203, 208, 202}) EXPECT_TRUE(::IsWindowVisible(m_host->item(id))) << id;
    for (int id : {209, 210, 211}) EXPECT_FALSE(::IsWindowVisible(m_host->item(id))) << id;
    EXPECT_EQ(m_control->GetSelItemCount(), 1) << "marked means selected again";
}

TEST_F(HostedControlTest, RemovingThreeMarkedRowsAsksTheHostWindowAndFiresTwoOneZero) {
    ASSERT_NO_FATAL_FAILURE(HostWithBook(kPeople));
    const auto sink = com::Make<EventSink>();
    AdviseSink(m_control.get(), sink.get());
    for (int row : {0, 2, 4}) SetRowState(row, LVIS_SELECTED, LVIS_SELECTED);
    ASSERT_EQ(m_control->GetSelItemCount(), 3);
    std::vector<std::wstring> kept{NameAt(1), NameAt(3)};
    sink->events.clear();
    {
        MessageBoxAnswer yes(IDYES);
        ::SendMessageW(m_host->item(202), BM_CLICK, 0, 0);
        PumpUntil([&] { return yes.answered(); }, 100);
        EXPECT_TRUE(yes.answered());
        EXPECT_EQ(yes.owner(), m_host->top()) << "owned by the control's grandparent";
        EXPECT_NE(yes.text().find(L"3"), std::wstring::npos) << std::string(yes.text().begin(), yes.text().end());
    }
    ASSERT_EQ(sink->events.size(), 3u);
    EXPECT_EQ(sink->events[0].values, (std::vector<LONG>{4, 0, 2}));
    EXPECT_EQ(sink->events[1].values, (std::vector<LONG>{2, 0, 1}));
    EXPECT_EQ(sink->events[2].values, (std::vector<LONG>{0, 0, 0}));
    EXPECT_EQ(Names(), kept);
    auto stored = BookNames();
    std::sort(stored.begin(), stored.end());
    std::sort(kept.begin(), kept.end());
    EXPECT_EQ(stored, kept) << "removed from the book as well";
    // Our own deletion does not come back as a reload that changes anything.
    Pump(800);
    EXPECT_EQ(ItemCount(), 2);
}

TEST_F(HostedControlTest, AnsweringNoRemovesNothing) {
    ASSERT_NO_FATAL_FAILURE(HostWithBook(kPeople));
    SetRowState(1, LVIS_SELECTED, LVIS_SELECTED);
    {
        MessageBoxAnswer no(IDNO);
        ::SendMessageW(m_host->item(202), BM_CLICK, 0, 0);
        EXPECT_TRUE(no.answered() || PumpUntil([&] { return no.answered(); }, 2000));
    }
    EXPECT_EQ(ItemCount(), int(kPeople.size()));
    EXPECT_EQ(BookNames().size(), kPeople.size());
}

TEST_F(HostedControlTest, AddingPicksTheNextFreeNewRecipientName) {
    ASSERT_NO_FATAL_FAILURE(HostWithBook({{L"New Recipient", L"111-222"}, {L"New Recipient1", L"333-444"}, {L"Zoe", L"555-666"}}));
    ::SendMessageW(m_host->item(203), BM_CLICK, 0, 0);
    ASSERT_EQ(ItemCount(), 4);
    ULONG id = 0;
    com::UniqueBstr name, fax;
    ASSERT_EQ(m_control->GetItem(3, &id, name.put(), fax.put()), HRESULT(3));
    EXPECT_EQ(std::wstring(name.get()), L"New Recipient2");
    EXPECT_EQ(std::wstring(fax.get()), L"000-00-00");
    EXPECT_EQ(m_control->GetSelItem(-1, nullptr, nullptr, nullptr), HRESULT(3)) << "the new row is selected";
    const auto stored = BookNames();
    EXPECT_NE(std::find(stored.begin(), stored.end(), L"New Recipient2"), stored.end());
}

namespace {

// The window as it is on the screen, saved as a 24-bit BMP; the number of
// distinct colours in it (a blank picture has one).
size_t SaveWindowPicture(HWND window, const std::wstring& path) {
    RECT rect{};
    ::GetWindowRect(window, &rect);
    const int width = rect.right - rect.left, height = rect.bottom - rect.top;
    const HDC screen = ::GetDC(nullptr);
    com::UniqueDc memory(::CreateCompatibleDC(screen));
    com::UniqueGdiObject bitmap(::CreateCompatibleBitmap(screen, width, height));
    const HGDIOBJ old = ::SelectObject(memory.get(), bitmap.get());
    ::BitBlt(memory.get(), 0, 0, width, height, screen, rect.left, rect.top, SRCCOPY);
    ::SelectObject(memory.get(), old);
    BITMAPINFOHEADER info{};
    info.biSize = sizeof(info);
    info.biWidth = width;
    info.biHeight = height;
    info.biPlanes = 1;
    info.biBitCount = 24;
    const int stride = (width * 3 + 3) & ~3;
    std::vector<BYTE> pixels(size_t(stride) * height);
    ::GetDIBits(memory.get(), static_cast<HBITMAP>(bitmap.get()), 0, height, pixels.data(),
                reinterpret_cast<BITMAPINFO*>(&info), DIB_RGB_COLORS);
    ::ReleaseDC(nullptr, screen);
    BITMAPFILEHEADER file{};
    file.bfType = 0x4D42;
    file.bfOffBits = sizeof(file) + sizeof(info);
    file.bfSize = DWORD(file.bfOffBits + pixels.size());
    com::UniqueFile out(::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    DWORD written = 0;
    ::WriteFile(out.get(), &file, sizeof(file), &written, nullptr);
    ::WriteFile(out.get(), &info, sizeof(info), &written, nullptr);
    ::WriteFile(out.get(), pixels.data(), DWORD(pixels.size()), &written, nullptr);
    std::set<DWORD> colours;
    for (size_t i = 0; i + 2 < pixels.size(); i += 3) colours.insert(pixels[i] | pixels[i + 1] << 8 | pixels[i + 2] << 16);
    return colours.size();
}

}  // namespace

// Pictures of the control as the fax dialog shows it, kept under
// artifacts/ beside the test program for a person to look at.
TEST_F(HostedControlTest, PicturesOfTheFilledControlWithAndWithoutCheckBoxes) {
    ASSERT_NO_FATAL_FAILURE(HostWithBook({{L"Carla Brandt", L"+49 30 1234"}, {L"Anton Weiss", L"555-0101"},
                                          {L"Bea Koch", L"777-12"}, {L"Dora Lind", L"030 99 88"},
                                          {L"Emil Roth", L"123-456"}, {L"Fritz Haber", L"0049 89 5550"},
                                          {L"Greta Olsen", L"+47 22 00 11"}, {L"Hugo Sand", L"212-555-0199"}}));
    const std::wstring folder = testing_support::BinDir() + L"artifacts\\";
    ::CreateDirectoryW(folder.c_str(), nullptr);
    m_control->SetSortMode(3);
    m_control->SelectItem(1);
    Pump(300);
    EXPECT_GT(SaveWindowPicture(m_host->top(), folder + L"control_filled.bmp"), 10u);

    com::UniqueBstr header(::SysAllocString(L""));
    m_control->EnableCheckBoxes(TRUE, header.get());
    SetRowState(0, INDEXTOSTATEIMAGEMASK(2), LVIS_STATEIMAGEMASK);
    SetRowState(3, INDEXTOSTATEIMAGEMASK(2), LVIS_STATEIMAGEMASK);
    Pump(300);
    EXPECT_GT(SaveWindowPicture(m_host->top(), folder + L"control_checkboxes.bmp"), 10u);
}

namespace {

void Press(HWND window, UINT key) { ::SendMessageW(window, WM_KEYDOWN, key, 1); }

}  // namespace

// Keys the container hands over while the control is active: an open
// in-place edit gets them before any dialog navigation.
TEST_F(HostedControlTest, TheContainersKeysReachTheOpenEditFirst) {
    ASSERT_NO_FATAL_FAILURE(HostWithBook({{L"Ann", L"111-222"}, {L"Ben", L"333-444"}}));
    const auto active = m_host->query<IOleInPlaceActiveObject>();
    ASSERT_TRUE(active);
    const HWND list = m_host->list();
    ::SendMessageW(m_host->item(203), BM_CLICK, 0, 0);  // Add opens the new row's name
    ASSERT_TRUE(PumpUntil([&] { return EditBox(list) != nullptr; }, 1000));
    const HWND nameBox = EditBox(list);
    MSG tab{nameBox, WM_KEYDOWN, VK_TAB, 1, 0, {}};
    EXPECT_EQ(active->TranslateAccelerator(&tab), S_OK);
    // Tab moved the edit to the number cell instead of the focus to a button.
    ASSERT_TRUE(PumpUntil([&] { return EditBox(list) != nullptr; }, 1000));
    MSG escape{EditBox(list), WM_KEYDOWN, VK_ESCAPE, 1, 0, {}};
    EXPECT_EQ(active->TranslateAccelerator(&escape), S_OK);
    Pump(100);
    EXPECT_EQ(EditBox(list), nullptr) << "Escape ended the edit";
    EXPECT_EQ(NameAt(2), L"New Recipient");
}

// Many rows at once go in one update with the list's subclasses taken out;
// afterwards the list is whole, sorted, marked as before, and its own label
// editing is again in the control's hands.
TEST_F(HostedControlTest, AReloadOfManyRowsKeepsSortMarkAndEditing) {
    ASSERT_NO_FATAL_FAILURE(HostWithBook(kPeople));
    ASSERT_EQ(m_control->SetSortMode(4), S_OK);
    m_control->SelectItem(1);
    const std::wstring marked = NameAt(1);
    auto people = kPeople;
    for (int i = 0; i < 40; ++i) people.emplace_back(L"Extra " + std::to_wstring(100 + i), L"555-" + std::to_wstring(i));
    WriteBook(people);
    ASSERT_TRUE(PumpUntil([&] { return ItemCount() == int(people.size()); }, 3000));
    auto names = Names();
    EXPECT_TRUE(std::is_sorted(names.rbegin(), names.rend())) << "still by name, descending";
    ULONG id = 0;
    com::UniqueBstr name;
    ASSERT_GE(m_control->GetSelItem(-1, &id, name.put(), nullptr), 0);
    EXPECT_EQ(std::wstring(name.get()), marked);
    EXPECT_EQ(m_control->GetSelItemCount(), 1);

    // The recently used book is not edited in place, and the list's own
    // editor stays shut too: the relay is back.
    const HWND list = m_host->list();
    ::SendMessageW(list, LVM_EDITLABELW, 0, 0);
    Pump(200);
    EXPECT_EQ(::SendMessageW(list, LVM_GETEDITCONTROL, 0, 0), 0) << "the list's own editor opened: the relay is gone";
    EXPECT_EQ(EditBox(list), nullptr);
}
