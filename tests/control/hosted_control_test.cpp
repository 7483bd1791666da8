// Both control classes in Wine's ATL host, on each book, driven through
// their automation interfaces as the fax program drives them and through
// their windows as a user does.
#include "support/control_host.h"
#include "support/wab_fixture.h"
#include "ui_harness.h"

#include "com/unique_any.h"
#include "control/list_view.h"

#include <oleauto.h>

#include <algorithm>
#include <climits>
#include <set>

using namespace control_test;
using testing_support::ContactFiles;

namespace {

const People kPeople = {{L"Carla Brandt", L"+49 30 1234"}, {L"Anton Weiss", L"555-0101"}, {L"Bea Koch", L"777-12"}};
using NameList = std::vector<std::wstring>;

using Values = std::vector<std::vector<LONG>>;

std::string FileOf(const std::wstring& name) {
    return testing_support::ReadFileBytes(testing_support::ContactsFolder() + L"\\" + name);
}
// Each event's arguments.
Values ValuesOf(const std::vector<ReceivedEvent>& events) {
    Values values;
    for (const ReceivedEvent& event : events) values.push_back(event.values);
    return values;
}
NameList Sorted(NameList names) {
    std::sort(names.begin(), names.end());
    return names;
}
// Presses a button of the control and answers the box it shows; whether one showed.
bool PressAnswering(HWND control, int id, int button) {
    BoxAnswer answer(button);
    ::SendMessageW(control, WM_COMMAND, MAKEWPARAM(id, BN_CLICKED), LPARAM(::GetDlgItem(control, id)));
    return answer.answered();
}

// ---------------------------------------------------------------------------
// Every class on every book.

class EveryBook : public HostedEach {};

TEST_P(EveryBook, ListsTheBookAndFollowsAnotherProcessKeepingSortAndMark) {
    ASSERT_NO_FATAL_FAILURE(Host(kPeople));
    LONG book = 9;
    EXPECT_TRUE(m_control->IsOutlookAddressBookSelected(&book) == S_OK && book == m_setup.book);
    // Names descending: the first class's mode 4, the second's name column negated.
    ASSERT_EQ(m_control->SetSortMode(Second() ? -1 : 4), S_OK);
    EXPECT_EQ(Names(), (NameList{L"Carla Brandt", L"Bea Koch", L"Anton Weiss"}));
    ASSERT_EQ(m_control->SelectItem(2), S_OK);

    ASSERT_NO_FATAL_FAILURE(AddFromAnotherProcess());
    People more = kPeople;
    more.emplace_back(L"Helper 0", L"1000");
    ASSERT_TRUE(WaitForRows(more)) << ItemCount() << " rows";
    EXPECT_EQ(Names(), (NameList{L"Helper 0", L"Carla Brandt", L"Bea Koch", L"Anton Weiss"}));
    EXPECT_EQ(m_control->GetSelItemCount(), 1);
    EXPECT_EQ(NameAt(m_control->GetSelItem(-1, nullptr, nullptr, nullptr)), L"Anton Weiss") << "the mark stays";
}

INSTANTIATE_TEST_SUITE_P(Books, EveryBook,
                         testing::Values(kFirstOnRecent, kSecondOnRecent, kFirstOnContacts, kSecondOnContacts,
                                         kFirstOnOutlook, kSecondOnOutlook),
                         SetupName);

// ---------------------------------------------------------------------------
// Both classes on the recently used book.

class BothClasses : public HostedEach {};

TEST_P(BothClasses, RowsAndBooksAnswerAsPublished) {
    const std::wstring longName(1500, L'L');
    ASSERT_NO_FATAL_FAILURE(Host({{longName, L"111-222"}, {L"Ben", L"333-444"}, {L"Cid", L"555-666"}}));
    std::set<ULONG> keys;
    for (int item : {-1, 0, 1, 2, 3, 103}) {
        ULONG id = 5;
        BSTR name = nullptr;
        const bool inside = item >= 0 && item < 3;
        EXPECT_EQ(m_control->GetItem(item, &id, inside ? nullptr : &name, nullptr), HRESULT(inside ? item : -1));
        if (inside) keys.insert(id);
        else EXPECT_TRUE(id == 5 && !name) << "out-parameters stay untouched";
    }
    EXPECT_EQ(keys.size(), 3u) << "each row carries its own record's key";
    const NameList names = Names();
    EXPECT_EQ(std::count(names.begin(), names.end(), longName), 1) << "a long name comes whole";
    EXPECT_EQ(m_control->GetSelItemCount(), 0);
    EXPECT_LT(m_control->GetSelItem(-1, nullptr, nullptr, nullptr), 0);
    SetCheck(0, true);
    for (int row = 0; row < 3; ++row) Select(row);
    EXPECT_EQ(m_control->GetSelItem(-1, nullptr, nullptr, nullptr), 0);
    EXPECT_LT(m_control->GetSelItem(INT_MAX, nullptr, nullptr, nullptr), 0) << "a search from the end does not wrap";

    EXPECT_EQ(m_control->IsOutlookAddressBookSelected(nullptr), E_INVALIDARG);
    for (LONG bad : {2L, -2L, 100L}) EXPECT_EQ(m_control->SelectOutlookAddressBook(bad), E_INVALIDARG) << bad;
    EXPECT_EQ(m_control->SelectOutlookAddressBook(-1), S_OK) << "the current book again changes nothing";
    EXPECT_EQ(ItemCount(), 3);
}

TEST_P(BothClasses, SortModesFollowTheClassesRules) {
    ASSERT_NO_FATAL_FAILURE(Host(kPeople));
    const NameList ascending{L"Anton Weiss", L"Bea Koch", L"Carla Brandt"};
    const NameList descending(ascending.rbegin(), ascending.rend());
    const NameList unsorted = Names();
    struct Step {
        int mode;
        HRESULT result;
        int readBack;
        const NameList* names;
    };
    // The first class: modes 1-6 (column pairs ascending/descending), the low
    // 16 bits only. The second: a column, negative for descending; it reads
    // back the column's state without the direction, and refuses columns past
    // the favourite star.
    const std::vector<Step> first = {{4, S_OK, 4, &descending}, {0x10003, S_OK, 3, &ascending}};
    const std::vector<Step> second = {{-1, S_OK, 2, &descending}, {1, S_OK, 2, &ascending},
                                      {4, E_INVALIDARG, 2, &ascending}, {-4, E_INVALIDARG, 2, &ascending},
                                      {INT_MIN, E_INVALIDARG, 2, &ascending}};
    int mode = -5;
    EXPECT_TRUE(m_control->GetSortMode(&mode) == S_OK && mode == 0) << "unsorted at first";
    EXPECT_EQ(Names(), unsorted);
    for (const Step& step : Second() ? second : first) {
        const HRESULT result = m_control->SetSortMode(step.mode);
        m_control->GetSortMode(&mode);
        EXPECT_EQ(std::make_tuple(result, mode, Names()), std::make_tuple(step.result, step.readBack, *step.names)) << step.mode;
    }
    EXPECT_EQ(m_control->GetSortMode(nullptr), Second() ? E_INVALIDARG : S_OK);
}

// A header click sorts by its column: the first class starts descending, the
// second ascending.
TEST_P(BothClasses, AHeaderClickSortsByItsColumn) {
    ASSERT_NO_FATAL_FAILURE(Host(kPeople));
    const HWND header = ListView_GetHeader(List());
    const struct {
        int column, mode;
        const wchar_t* top;
    } first[] = {{1, 4, L"Carla Brandt"}, {1, 3, L"Anton Weiss"}, {2, 6, L"Bea Koch"}},
      second[] = {{1, 2, L"Anton Weiss"}, {1, 2, L"Carla Brandt"}, {2, 3, L"Carla Brandt"}};  // dial digits
    for (const auto& click : Second() ? second : first) {
        RECT rect{};
        Header_GetItemRect(header, click.column, &rect);
        const LPARAM at = MAKELPARAM((rect.left + rect.right) / 2, (rect.top + rect.bottom) / 2);
        ::SendMessageW(header, WM_LBUTTONDOWN, MK_LBUTTON, at);
        ::SendMessageW(header, WM_LBUTTONUP, 0, at);
        int mode = 0;
        m_control->GetSortMode(&mode);
        EXPECT_EQ(std::make_pair(mode, NameAt(0)), std::make_pair(click.mode, std::wstring(click.top))) << click.column;
    }
}

// A sink that fails keeps no other from hearing the event.
TEST_P(BothClasses, EverySinkHearsTheEventWhateverTheOthersDo) {
    ASSERT_NO_FATAL_FAILURE(Host(kPeople));
    const auto failing = com::Make<EventSink>(), last = com::Make<EventSink>();
    failing->answer = E_FAIL;
    AdviseSink(m_control.get(), failing.get());
    AdviseSink(m_control.get(), last.get());
    m_control->SelectItem(0);
    EXPECT_GT(last->events.size(), 0u);
    EXPECT_EQ(failing->events.size(), last->events.size());
}

// Lives of the control give back windows, GDI objects, threads and handles.
TEST_P(BothClasses, NothingOfTheControlIsLeftAfterItGoes) {
    ASSERT_NO_FATAL_FAILURE(Host(kPeople));
    Close();  // a first life loads what stays for the process
    const ui_test::ResourceCounts before = ui_test::CountResources();
    constexpr int kRounds = 2;
    for (int round = 0; round < kRounds; ++round) {
        ASSERT_NO_FATAL_FAILURE(Host(kPeople));
        SetCheck(0, true);
        m_control->SetSortMode(Second() ? -2 : 4);
        Close();
    }
    const ui_test::ResourceCounts after = ui_test::SettledResources(before);
    EXPECT_TRUE(after.windows <= before.windows && after.gdiObjects <= before.gdiObjects) << "windows or GDI objects";
    EXPECT_LE(after.threads, before.threads) << "the book's watcher runs on";
    // Wine's registry and COM keep a handle now and then for the whole
    // process; a handle per life would show as one each round.
    EXPECT_LT(after.handles, before.handles + kRounds);
    EXPECT_EQ(ModuleCanUnloadNow(), S_OK);
}

INSTANTIATE_TEST_SUITE_P(Classes, BothClasses, testing::Values(kFirstOnRecent, kSecondOnRecent), SetupName);

// ---------------------------------------------------------------------------
// The first class.

using FirstControl = HostedControl;

TEST_F(FirstControl, MarkingFiresOnItemSelectedForTheRowLeftAndTheRowChosen) {
    ASSERT_NO_FATAL_FAILURE(Host(kPeople));
    EXPECT_EQ(m_control->SelectItem(1), S_OK);
    auto events = TakeEvents();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(std::make_tuple(events[0].id, events[0].types), std::make_tuple(DISPID(1), std::vector<VARTYPE>{VT_I4, VT_BOOL, VT_I4}));
    EXPECT_EQ(ValuesOf(events), (Values{{1, -1, 1}}));
    EXPECT_EQ(m_control->SelectItem(2), S_OK);
    EXPECT_EQ(TakeEvents().size(), 2u);
    EXPECT_EQ(m_control->GetSelItem(-1, nullptr, nullptr, nullptr), HRESULT(2));
    EXPECT_LT(m_control->GetSelItem(2, nullptr, nullptr, nullptr), 0) << "none after the last marked";
    EXPECT_EQ(m_control->SelectItem(-1), S_OK);
    EXPECT_EQ(ValuesOf(TakeEvents()), (Values{{2, 0, 0}}));
    // Frozen by the container, the event waits; thawed, it arrives.
    const auto freezer = m_host->query<IOleControl>();
    ASSERT_EQ(freezer->FreezeEvents(TRUE), S_OK);
    m_control->SelectItem(0);
    EXPECT_TRUE(TakeEvents().empty());
    ASSERT_EQ(freezer->FreezeEvents(FALSE), S_OK);
    EXPECT_EQ(ValuesOf(TakeEvents()), (Values{{0, -1, 1}}));
    m_control->SelectItem(-1);

    // With check boxes only checked rows are marked, and the image buttons
    // stand in for the text buttons.
    Select(0);
    com::UniqueBstr header(::SysAllocString(L"All"));
    ASSERT_EQ(m_control->EnableCheckBoxes(TRUE, header.get()), S_OK);
    EXPECT_EQ(m_control->GetSelItemCount(), 0);
    EXPECT_FALSE(::IsWindowEnabled(m_host->item(211))) << "nothing to remove yet";
    TakeEvents();
    SetCheck(2, true);
    EXPECT_EQ(m_control->GetSelItem(-1, nullptr, nullptr, nullptr), HRESULT(2));
    ASSERT_FALSE(m_sink->events.empty());
    EXPECT_EQ(m_sink->events.back().values, (std::vector<LONG>{2, 0, 1})) << "the row's selection, and the count";
    EXPECT_TRUE(::IsWindowEnabled(m_host->item(211)));
    ASSERT_EQ(m_control->EnableCheckBoxes(FALSE, nullptr), S_OK);
    EXPECT_EQ(m_control->GetSelItemCount(), 1) << "marked means selected again";
}

TEST_F(FirstControl, RemoveAsksTheTopWindowAndRemovesTheMarkedRowsFromTheBottomUp) {
    const People five = {{L"Ann", L"1-111"}, {L"Ben", L"2-222"}, {L"Cid", L"3-333"}, {L"Dee", L"4-444"}, {L"Eve", L"5-555"}};
    ASSERT_NO_FATAL_FAILURE(Host(five));
    for (int row : {0, 2, 4}) Select(row);
    const NameList kept{NameAt(1), NameAt(3)};
    EXPECT_TRUE(PressAnswering(m_host->controlWindow(), 202, IDNO));
    EXPECT_EQ(BookNames().size(), 5u) << "No removes nothing";
    TakeEvents();
    {
        BoxAnswer yes(IDYES);
        Press(202);
        EXPECT_TRUE(yes.answered());
        EXPECT_EQ(yes.owner(), m_host->top()) << "owned by the control's top-level window";
    }
    EXPECT_EQ(ValuesOf(TakeEvents()), (Values{{4, 0, 2}, {2, 0, 1}, {0, 0, 0}}));
    EXPECT_EQ(Names(), kept);
    EXPECT_EQ(Sorted(BookNames()), kept) << "removed from the book as well";
}

// The sort, check boxes and search set while the control has no window hold once it has.
TEST_F(FirstControl, SettingsMadeWithoutAWindowHoldOnceItExists) {
    ASSERT_NO_FATAL_FAILURE(Host(kPeople));
    const auto inPlace = m_host->query<IOleInPlaceObject>();
    const auto object = m_host->query<IOleObject>();
    ASSERT_EQ(inPlace->InPlaceDeactivate(), S_OK);
    ASSERT_EQ(m_host->controlWindow(), nullptr);
    ASSERT_EQ(m_control->SetSortMode(4), S_OK);
    com::UniqueBstr header(::SysAllocString(L"All"));
    ASSERT_EQ(m_control->EnableCheckBoxes(TRUE, header.get()), S_OK);
    const auto search = m_control.query<IVelPhonebookControl4>();
    com::UniqueBstr filter(::SysAllocString(L"KO"));
    ASSERT_EQ(search->put_Filter(filter.get()), S_OK);
    ASSERT_EQ(search->put_SearchBox(VARIANT_FALSE), S_OK);
    com::ComPtr<IOleClientSite> site;
    ASSERT_EQ(object->GetClientSite(site.put()), S_OK);
    RECT rect{};
    ::GetClientRect(m_host->hostWindow(), &rect);
    ASSERT_EQ(object->DoVerb(OLEIVERB_INPLACEACTIVATE, nullptr, site.get(), 0, m_host->hostWindow(), &rect), S_OK);
    ASSERT_TRUE(PumpUntil([&] { return ItemCount() == 1; }, 3000)) << "the first fill is searched";
    EXPECT_EQ(Names(), NameList{L"Bea Koch"});
    EXPECT_FALSE(::IsWindowVisible(m_host->item(241))) << "the box stays hidden";
    wchar_t text[16] = {};
    ::GetWindowTextW(m_host->item(241), text, 16);
    EXPECT_STREQ(text, L"KO");
    filter.reset(::SysAllocString(L""));
    ASSERT_EQ(search->put_Filter(filter.get()), S_OK);
    EXPECT_EQ(Names(), (NameList{L"Carla Brandt", L"Bea Koch", L"Anton Weiss"}));
    EXPECT_TRUE(ListView_GetExtendedListViewStyle(List()) & LVS_EX_CHECKBOXES);
}

// ---------------------------------------------------------------------------
// The second class.

class SecondControl : public HostedControl {
protected:
    SecondControl() : HostedControl(kSecondOnRecent) {}
    bool HeaderChecked() const {
        HDITEMW item{};
        item.mask = HDI_FORMAT;
        ::SendMessageW(ListView_GetHeader(List()), HDM_GETITEMW, 0, reinterpret_cast<LPARAM>(&item));
        return (item.fmt & HDF_CHECKED) != 0;
    }
    std::vector<LONG> LastValues() {
        const Values values = ValuesOf(TakeEvents());
        return values.empty() ? std::vector<LONG>{} : values.back();
    }
};

TEST_F(SecondControl, ChecksFireEventsWithTheCheckAndTheHeaderBoxFollows) {
    ASSERT_NO_FATAL_FAILURE(Host(kPeople));
    EXPECT_EQ(m_control->SelectItem(1), S_OK);
    EXPECT_EQ(ValuesOf(TakeEvents()), (Values{{1, 0, 0}, {1, -1, 1}})) << "selected (not checked), then checked";
    SetCheck(0, true);
    EXPECT_FALSE(HeaderChecked());
    SetCheck(2, true);
    EXPECT_TRUE(HeaderChecked()) << "every row checked";
    EXPECT_EQ(LastValues(), (std::vector<LONG>{2, -1, 3}));
    SetCheck(0, false);
    EXPECT_FALSE(HeaderChecked());
    EXPECT_EQ(LastValues(), (std::vector<LONG>{0, 0, 2}));

    // A real click on the header's box checks every row.
    RECT box{};
    ::SendMessageW(ListView_GetHeader(List()), HDM_GETITEMRECT, 0, reinterpret_cast<LPARAM>(&box));
    Click(ListView_GetHeader(List()), POINT{box.left + (box.bottom - box.top) / 2 + 2, (box.top + box.bottom) / 2});
    EXPECT_EQ(m_control->GetSelItemCount(), 3);
    EXPECT_TRUE(HeaderChecked());
    EXPECT_EQ(m_control->EnableCheckBoxes(0, nullptr), S_OK);
    EXPECT_TRUE(ListView_GetExtendedListViewStyle(List()) & LVS_EX_CHECKBOXES) << "the boxes stay";
}

TEST_F(SecondControl, DeleteFiresOneEventForTheBatch) {
    const People five = {{L"Ann", L"1-111"}, {L"Ben", L"2-222"}, {L"Cid", L"3-333"}, {L"Dee", L"4-444"}, {L"Eve", L"5-555"}};
    struct Case {
        std::vector<int> checked;
        int item;  // all rows: -1; one row: its index; more: -2
    };
    for (const Case& c : {Case{{0, 1, 2, 3, 4}, -1}, Case{{3}, 3}, Case{{1, 4}, -2}}) {
        SCOPED_TRACE(c.item);
        ASSERT_NO_FATAL_FAILURE(Host(five));
        NameList kept;
        for (int row = 0; row < 5; ++row) {
            if (std::count(c.checked.begin(), c.checked.end(), row)) SetCheck(row, true);
            else kept.push_back(NameAt(row));
        }
        TakeEvents();
        EXPECT_TRUE(PressAnswering(m_host->controlWindow(), 202, IDOK));
        EXPECT_EQ(ValuesOf(TakeEvents()), (Values{{c.item, 0, 0}}));
        EXPECT_EQ(Names(), kept);
        EXPECT_EQ(Sorted(BookNames()), Sorted(kept));
        EXPECT_FALSE(::IsWindowEnabled(m_host->item(202))) << "nothing marked any more";
        EXPECT_FALSE(HeaderChecked());
        Close();
    }
}

TEST_F(SecondControl, AClickOnTheStarTogglesTheFavouriteInTheBook) {
    ASSERT_NO_FATAL_FAILURE(Host({kPeople[0], kPeople[1]}));
    const auto favourite = [](const std::wstring& name) {
        MRUEntryList entries;
        LoadMRUStore(entries);
        for (const MRUEntry& entry : entries)
            if (entry.name == name) return entry.favorite;
        return false;
    };
    const auto centre = [&](int column) {
        RECT cell{LVIR_BOUNDS, column, 0, 0};
        ::SendMessageW(List(), LVM_GETSUBITEMRECT, 1, reinterpret_cast<LPARAM>(&cell));
        return POINT{(cell.left + cell.right) / 2, (cell.top + cell.bottom) / 2};
    };
    const std::wstring name = NameAt(1);
    Click(List(), centre(3));  // the star, last
    EXPECT_TRUE(PumpUntil([&] { return favourite(name); }, 2000));
    EXPECT_FALSE(favourite(NameAt(0))) << "only the clicked row";
    Click(List(), centre(3));
    EXPECT_TRUE(PumpUntil([&] { return !favourite(name); }, 2000));
    Click(List(), centre(1));  // the name only selects
    EXPECT_FALSE(favourite(name));
}

// The property bag takes its two settings with their types only; the skin
// service is told the control's window and is let go once.
TEST_F(SecondControl, ThePropertyBagTakesTheSkinServiceWhichIsLetGoOnce) {
    ASSERT_NO_FATAL_FAILURE(Host({kPeople[0]}));
    auto bag = m_host->query<IPropertyBag>();
    ASSERT_TRUE(bag);
    VARIANT number{}, flag{}, skin{};
    number.vt = VT_I4, flag.vt = VT_BOOL, flag.boolVal = VARIANT_TRUE;
    EXPECT_EQ(bag->Write(L"SkinInterface", &number), E_INVALIDARG);
    EXPECT_EQ(bag->Write(L"drvui", &flag), S_OK);
    EXPECT_EQ(bag->Write(L"DrvUI", &number), E_INVALIDARG);

    ui_test::RecordingSkin first, second;
    skin.vt = VT_DISPATCH, skin.pdispVal = &first;
    ASSERT_EQ(bag->Write(L"SkinInterface", &skin), S_OK);
    // It is switched on and told the control's window, then its children's.
    ASSERT_GE(first.calls.size(), 3u);
    using Call = std::pair<std::wstring, std::vector<ULONGLONG>>;
    EXPECT_EQ((std::vector<Call>{{first.calls[0].name, first.calls[0].values}, {first.calls[1].name, first.calls[1].values}}),
              (std::vector<Call>{{L"Enable", {1}}, {L"Window", {ULONGLONG(ULONG_PTR(m_host->controlWindow()))}}}));
    const auto letGo = [](const ui_test::RecordingSkin& s) {
        return std::count_if(s.calls.begin(), s.calls.end(), [](const ui_test::RecordingSkin::Call& call) {
            return call.name == L"Enable" && call.values == std::vector<ULONGLONG>{0};
        });
    };
    skin.pdispVal = &second;
    ASSERT_EQ(bag->Write(L"SkinInterface", &skin), S_OK);
    EXPECT_EQ(letGo(first), 1);
    EXPECT_EQ(first.References(), 1u);
    bag.reset();
    Close();
    EXPECT_EQ(letGo(second), 1) << "the control going lets go of its service once";
    EXPECT_EQ(second.References(), 1u);
}

// ---------------------------------------------------------------------------
// Windows Contacts: what the user's Add, edits and Remove leave in the files.

class ContactsControl : public HostedControl {
protected:
    ContactsControl() : HostedControl(kFirstOnContacts) {}
    int RowOf(const std::wstring& name) const {
        for (int i = 0; i < ItemCount(); ++i)
            if (NameAt(i) == name) return i;
        return -1;
    }
    HWND Box() const {
        HWND box = nullptr;
        PumpUntil([&] { return (box = EditBox(List())) != nullptr; }, 1000);
        return box;
    }
    // Opens a row's number with the Edit button and Tab.
    HWND EditNumber(int row) {
        m_control->SelectItem(row);
        Press(208);
        if (Box()) PressKey(Box(), VK_TAB);
        return Box();
    }
};

TEST_F(ContactsControl, AddAndInPlaceEditsAreWrittenIntoTheContactFiles) {
    ASSERT_NO_FATAL_FAILURE(Host({{L"Anna Berg", L"+49 30 1234"}}));
    Press(203);
    ASSERT_EQ(ItemCount(), 2);
    EXPECT_EQ(ContactFiles(), (NameList{L"Anna Berg.contact", L"New Recipient.contact"}));
    ASSERT_TRUE(Box()) << "the edit opens over the new name";
    Type(Box(), L"Xaver Neu");
    PressKey(Box(), VK_TAB);
    ASSERT_TRUE(Box()) << "Tab moves the edit to the number";
    Type(Box(), L"+43 1 5550");
    PressKey(Box(), VK_RETURN);
    EXPECT_EQ(ContactFiles(), (NameList{L"Anna Berg.contact", L"Xaver Neu.contact"}));
    EXPECT_NE(FileOf(L"Xaver Neu.contact").find(">+43 1 5550<"), std::string::npos);
    // The watcher's reload after our own writes adds no second row.
    EXPECT_FALSE(PumpUntil([&] { return ItemCount() != 2; }, 1500));

    const HWND box = EditNumber(RowOf(L"Anna Berg"));
    ASSERT_TRUE(box);
    Type(box, L"0171 2345");
    PressKey(box, VK_RETURN);
    const std::string anna = FileOf(L"Anna Berg.contact");
    EXPECT_NE(anna.find(">0171 2345<"), std::string::npos);
    EXPECT_EQ(anna.find("+49 30 1234"), std::string::npos);
}

// A committed number must have 3 to 45 characters, not blank; a name and
// number of another row is a duplicate. A refusal tells the user over the
// host's window and reopens the cell.
TEST_F(ContactsControl, CommittedEditsAreCheckedBeforeTheBookIsWritten) {
    ASSERT_NO_FATAL_FAILURE(Host({{L"Ann", L"111-222"}, {L"Ben", L"333-444"}}));
    const int row = RowOf(L"Ben");
    const auto commit = [&](HWND box, const std::wstring& text, const wchar_t* refusal) {
        ASSERT_TRUE(box);
        ::SetWindowTextW(box, text.c_str());
        BoxAnswer ok(IDOK);
        PressKey(box, VK_RETURN);
        if (!refusal) {
            EXPECT_FALSE(ok.answered());
            return;
        }
        EXPECT_TRUE(PumpUntil([&] { return ok.answered(); }, 2000));
        EXPECT_EQ(ok.text().rfind(refusal, 0), 0u) << testing_support::Utf8(ok.text());
        EXPECT_EQ(ok.owner(), m_host->top());
        ASSERT_TRUE(Box()) << "reopened after a refusal";
        PressKey(Box(), VK_ESCAPE);
    };
    const wchar_t* const incorrect = L"This address is incorrect.";
    const std::pair<std::wstring, const wchar_t*> numbers[] = {
        {L"12", incorrect}, {std::wstring(46, L'9'), incorrect}, {L"   ", incorrect},
        {L"123", nullptr},  {std::wstring(45, L'8'), nullptr},  {L"111-222", nullptr}};
    for (const auto& [number, refusal] : numbers) {
        SCOPED_TRACE(testing_support::Utf8(number));
        ASSERT_NO_FATAL_FAILURE(commit(EditNumber(row), number, refusal));
        if (refusal) continue;
        EXPECT_EQ(FaxAt(row), number);
        EXPECT_NE(FileOf(L"Ben.contact").find(">" + testing_support::Utf8(number) + "<"), std::string::npos);
    }
    // Ben renamed to Ann, with Ann's number now: a duplicate.
    m_control->SelectItem(row);
    Press(208);
    ASSERT_NO_FATAL_FAILURE(commit(Box(), L"  Ann ", L"This address already exists."));
    EXPECT_EQ(NameAt(row), L"Ben");
}

// Two contacts of one name and number are two rows; Remove deletes the
// marked one's file, with an event per row from the bottom up.
TEST_F(ContactsControl, RemoveDeletesTheMarkedFilesWithOneEventPerRow) {
    ASSERT_NO_FATAL_FAILURE(Host({{L"Bea Koch", L"777-12"}, {L"Carla Brandt", L"555-0101"}, {L"Ann", L"555-1"}}));
    testing_support::WriteContact(L"Ann (1).contact", {L"id-ann-2", L"Ann", {{{L"Fax", L"Business"}, L"555-1"}}});
    ASSERT_TRUE(WaitForRows({{L"Bea Koch", L"777-12"}, {L"Carla Brandt", L"555-0101"}, {L"Ann", L"555-1"}, {L"Ann", L"555-1"}}));
    ASSERT_EQ(m_control->SetSortMode(3), S_OK);  // Ann, Ann, Bea, Carla
    Select(1);
    Select(3);
    TakeEvents();
    EXPECT_TRUE(PressAnswering(m_host->controlWindow(), 202, IDYES));
    const auto files = ContactFiles();
    EXPECT_EQ(files.size(), 2u);
    EXPECT_EQ(std::count(files.begin(), files.end(), L"Bea Koch.contact"), 1);
    EXPECT_EQ(ValuesOf(TakeEvents()), (Values{{3, 0, 1}, {1, 0, 0}}));
    EXPECT_TRUE(WaitForRows({{L"Ann", L"555-1"}, {L"Bea Koch", L"777-12"}}));
}

// Closing while the user types writes a good number and drops a bad one silently.
TEST_F(ContactsControl, ClosingWithAnOpenEditWritesAGoodNumberAndAsksNothing) {
    for (const wchar_t* typed : {L"0171 2345", L"12"}) {
        SCOPED_TRACE(testing_support::Utf8(typed));
        ASSERT_NO_FATAL_FAILURE(Host({{L"Anna Berg", typed == std::wstring(L"12") ? L"0171 2345" : L"+49 30 1234"}}));
        const HWND box = EditNumber(0);
        ASSERT_TRUE(box);
        Type(box, typed);
        BoxAnswer ok(IDOK);
        Close();
        EXPECT_FALSE(ok.answered()) << testing_support::Utf8(ok.text());
        EXPECT_NE(FileOf(L"Anna Berg.contact").find(">0171 2345<"), std::string::npos) << "the good number only";
    }
}

}  // namespace
