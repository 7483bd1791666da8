// The second phonebook control in Wine's ATL host, driven through its
// interfaces and its windows as the newer send dialog drives it: check
// events, the favourite star, deleting through the skinned message box, the
// sort state, the property bag and the host's skin service, and what the
// control leaves behind.
#include "support/control_host.h"
#include "list_test_support.h"
#include "support/wab_fixture.h"
#include "ui_harness.h"

#include "com/unique_any.h"
#include "control/control2_ids.h"
#include "control/control_ids.h"

#include <oleauto.h>

#include <algorithm>

using namespace control_test;
using listtest::Shown;

namespace {

constexpr wchar_t kProgId2[] = L"Zantix.VelPhonebookControl2";

const std::vector<std::pair<std::wstring, std::wstring>> kPeople = {
    {L"Carla Brandt", L"+49 30 1234"}, {L"Anton Weiss", L"555-0101"}, {L"Bea Koch", L"777-12"},
    {L"Dora Lind", L"030 99 88"},      {L"Emil Roth", L"123-456"},
};

VARIANT Variant(VARTYPE type) {
    VARIANT v;
    ::VariantInit(&v);
    v.vt = type;
    return v;
}

class Control2Test : public ::testing::Test {
protected:
    // Windows Contacts present, as on the systems the control is made for:
    // the control opens it before the host picks another book.
    static void SetUpTestSuite() {
        ASSERT_EQ(testing_support::RunRegsvr32(false), 0);
        ASSERT_EQ(testing_support::RunProcess(L"regsvr32.exe /s \"" + testing_support::BinDir() +
                                              L"standin_wab32.dll\""),
                  0);
    }
    void SetUp() override { testing_support::DeleteUserKey(kMRUKeyPath); }
    void TearDown() override {
        if (m_cookie && m_host) UnadviseSink(m_host->query<IUnknown>().get(), m_cookie);
        m_cookie = 0;
        m_sink.reset();
        m_control.reset();
        m_host.reset();
        Pump(50);
        testing_support::DeleteUserKey(kMRUKeyPath);
    }

    // Hosts the control on the MRU book with these people and waits for the fill.
    void Host(const std::vector<std::pair<std::wstring, std::wstring>>& people) {
        if (!people.empty()) WriteBook(people);
        m_host = std::make_unique<AtlHost>(420, 330, kProgId2);
        m_control = m_host->query<IVelPhonebookControl3>();
        ASSERT_TRUE(m_control) << "the ATL host did not create the control";
        ASSERT_TRUE(m_host->controlWindow()) << "not in-place active";
        ASSERT_EQ(m_control->SelectOutlookAddressBook(-1), S_OK);
        const int expected = int(people.size());
        ASSERT_TRUE(PumpUntil([&] { return Count() == expected; }, 3000)) << Count() << " rows";
        Pump(100);
        m_sink = com::Make<EventSink>();
        m_cookie = AdviseSink(m_host->query<IUnknown>().get(), m_sink.get());
        ASSERT_NE(m_cookie, 0u);
    }
    int Count() const { return int(m_control->GetItemCount()); }
    HWND List() const { return m_host->item(IDC_LIST); }
    std::wstring NameAt(int row) const {
        com::UniqueBstr name;
        if (m_control->GetItem(row, nullptr, name.put(), nullptr) != HRESULT(row)) return L"?";
        return name.get();
    }
    std::vector<std::wstring> Names() const {
        std::vector<std::wstring> names;
        for (int i = 0; i < Count(); ++i) names.push_back(NameAt(i));
        return names;
    }
    void SetCheck(int row, bool checked) const {
        LVITEMW item{};
        item.state = INDEXTOSTATEIMAGEMASK(checked ? 2 : 1);
        item.stateMask = LVIS_STATEIMAGEMASK;
        ::SendMessageW(List(), LVM_SETITEMSTATE, WPARAM(row), reinterpret_cast<LPARAM>(&item));
    }
    bool HeaderChecked() const {
        const HWND header = reinterpret_cast<HWND>(::SendMessageW(List(), LVM_GETHEADER, 0, 0));
        HDITEMW item{};
        item.mask = HDI_FORMAT;
        ::SendMessageW(header, HDM_GETITEMW, 0, reinterpret_cast<LPARAM>(&item));
        return (item.fmt & HDF_CHECKED) != 0;
    }
    // Presses "Delete" and answers the skinned message box with Yes from a
    // timer inside its modal loop.
    void DeleteMarked() {
        ui_test::ModalScript script({[] {
            const HWND box = ui_test::FindDialog();
            if (!box) return false;
            ::PostMessageW(box, WM_COMMAND, MAKEWPARAM(IDOK, BN_CLICKED), 0);
            return true;
        }});
        ::SendMessageW(m_host->controlWindow(), WM_COMMAND, MAKEWPARAM(IDC_DELETE, BN_CLICKED),
                       reinterpret_cast<LPARAM>(m_host->item(IDC_DELETE)));
        EXPECT_TRUE(script.Finished()) << script.failure();
    }
    std::vector<ReceivedEvent> TakeEvents() { return std::exchange(m_sink->events, {}); }

    testing_support::ComApartment m_apartment;
    std::unique_ptr<AtlHost> m_host;
    com::ComPtr<IVelPhonebookControl3> m_control;
    com::ComPtr<EventSink> m_sink;
    DWORD m_cookie = 0;
};

}  // namespace

TEST_F(Control2Test, SortStateReadsBackAsColumnWithoutDirection) {
    ASSERT_NO_FATAL_FAILURE(Host(kPeople));
    int mode = 7;
    EXPECT_EQ(m_control->GetSortMode(&mode), S_OK);
    EXPECT_EQ(mode, 0) << "unsorted at start";
    EXPECT_EQ(m_control->GetSortMode(nullptr), E_INVALIDARG);

    std::vector<std::wstring> ascending = Names();
    std::sort(ascending.begin(), ascending.end());
    const std::vector<std::wstring> descending(ascending.rbegin(), ascending.rend());

    EXPECT_EQ(m_control->SetSortMode(-1), S_OK);  // names, descending
    EXPECT_EQ(m_control->GetSortMode(&mode), S_OK);
    EXPECT_EQ(mode, 2) << "the direction is dropped on the way back";
    EXPECT_EQ(Names(), descending);
    EXPECT_EQ(m_control->SetSortMode(1), S_OK);
    EXPECT_EQ(m_control->GetSortMode(&mode), S_OK);
    EXPECT_EQ(mode, 2);
    EXPECT_EQ(Names(), ascending);

    // Columns past the favourite star are refused and change nothing.
    for (int bad : {4, -4, 100, INT_MIN}) EXPECT_EQ(m_control->SetSortMode(bad), E_INVALIDARG) << bad;
    EXPECT_EQ(Names(), ascending);
    EXPECT_EQ(m_control->EnableCheckBoxes(0, nullptr), S_OK) << "the check boxes stay";
    EXPECT_TRUE(::SendMessageW(List(), LVM_GETEXTENDEDLISTVIEWSTYLE, 0, 0) & LVS_EX_CHECKBOXES);
}

TEST_F(Control2Test, HeaderClickSortsAndMovesTheArrow) {
    ASSERT_NO_FATAL_FAILURE(Host(kPeople));
    const HWND header = reinterpret_cast<HWND>(::SendMessageW(List(), LVM_GETHEADER, 0, 0));
    RECT name{};
    ::SendMessageW(header, HDM_GETITEMRECT, 1, reinterpret_cast<LPARAM>(&name));
    const auto arrow = [&](int column) {
        HDITEMW item{};
        item.mask = HDI_FORMAT;
        ::SendMessageW(header, HDM_GETITEMW, WPARAM(column), reinterpret_cast<LPARAM>(&item));
        return (item.fmt & HDF_SORTUP) ? 1 : (item.fmt & HDF_SORTDOWN) ? -1 : 0;
    };
    listtest::Click(header, POINT{(name.left + name.right) / 2, (name.top + name.bottom) / 2});
    Pump(100);
    int mode = 0;
    m_control->GetSortMode(&mode);
    EXPECT_EQ(mode, 2);
    EXPECT_EQ(arrow(1), Shown(1));
    const std::vector<std::wstring> ascending = Names();
    EXPECT_TRUE(std::is_sorted(ascending.begin(), ascending.end()));
    listtest::Click(header, POINT{(name.left + name.right) / 2, (name.top + name.bottom) / 2});
    Pump(100);
    EXPECT_EQ(arrow(1), Shown(-1));
    const std::vector<std::wstring> names = Names();
    EXPECT_TRUE(std::is_sorted(names.rbegin(), names.rend()));
    EXPECT_EQ(m_control->SetSortMode(2), S_OK);
    EXPECT_EQ(arrow(1), 0) << "the arrow follows the column";
    EXPECT_EQ(arrow(2), Shown(1));
}

TEST_F(Control2Test, ChecksFireEventsWithTheCheckAndKeepTheHeaderBoxInStep) {
    ASSERT_NO_FATAL_FAILURE(Host({kPeople[0], kPeople[1], kPeople[2]}));
    EXPECT_EQ(m_control->SelectItem(1), S_OK);
    // The row is selected (an event telling it is not checked) and checked.
    auto events = TakeEvents();
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0].values, (std::vector<LONG>{1, 0, 0}));
    EXPECT_EQ(events[1].id, 1);
    EXPECT_EQ(events[1].types, (std::vector<VARTYPE>{VT_I4, VT_BOOL, VT_I4}));
    EXPECT_EQ(events[1].values, (std::vector<LONG>{1, -1, 1})) << "bSelect is the check";
    EXPECT_EQ(m_control->GetSelItemCount(), 1);
    ULONG id = 0;
    com::UniqueBstr name;
    EXPECT_EQ(m_control->GetSelItem(-1, &id, name.put(), nullptr), 1);
    EXPECT_EQ(std::wstring(name.get()), NameAt(1));
    EXPECT_LT(m_control->GetSelItem(1, nullptr, nullptr, nullptr), 0);

    SetCheck(0, true);
    EXPECT_FALSE(HeaderChecked());
    SetCheck(2, true);
    EXPECT_TRUE(HeaderChecked()) << "every row checked";
    events = TakeEvents();
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[1].values, (std::vector<LONG>{2, -1, 3}));
    SetCheck(0, false);
    EXPECT_FALSE(HeaderChecked());
    events = TakeEvents();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].values, (std::vector<LONG>{0, 0, 2}));

    // The header's box checks every row; each row reports, the last with all of them.
    const HWND header = reinterpret_cast<HWND>(::SendMessageW(List(), LVM_GETHEADER, 0, 0));
    RECT box{};
    ::SendMessageW(header, HDM_GETITEMRECT, 0, reinterpret_cast<LPARAM>(&box));
    listtest::Click(header, POINT{box.left + (box.bottom - box.top) / 2 + 2, (box.top + box.bottom) / 2});
    Pump(100);
    EXPECT_EQ(m_control->GetSelItemCount(), 3);
    EXPECT_TRUE(HeaderChecked());
    events = TakeEvents();
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(events.back().values[1], -1);
    EXPECT_EQ(events.back().values[2], 3);
    // SelectItem(-1) still checks the first row.
    SetCheck(0, false);
    TakeEvents();
    EXPECT_EQ(m_control->SelectItem(-1), S_OK);
    EXPECT_EQ(m_control->GetSelItem(-1, nullptr, nullptr, nullptr), 0);
}

TEST_F(Control2Test, DeleteFiresOneEventForTheBatch) {
    struct Case {
        std::vector<int> checked;
        int expectedItem;
    };
    // All rows: -1; one row: its index; two or more: -2.
    const Case cases[] = {{{0, 1, 2, 3, 4}, -1}, {{3}, 3}, {{1, 4}, -2}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.expectedItem);
        ASSERT_NO_FATAL_FAILURE(Host(kPeople));
        for (int row : c.checked) SetCheck(row, true);
        std::vector<std::wstring> kept;
        for (int row = 0; row < Count(); ++row)
            if (std::find(c.checked.begin(), c.checked.end(), row) == c.checked.end()) kept.push_back(NameAt(row));
        TakeEvents();
        DeleteMarked();
        const auto events = TakeEvents();
        ASSERT_EQ(events.size(), 1u);
        EXPECT_EQ(events[0].values, (std::vector<LONG>{c.expectedItem, 0, 0}));
        EXPECT_EQ(Names(), kept);
        std::vector<std::wstring> stored = BookNames();
        std::sort(stored.begin(), stored.end());
        std::sort(kept.begin(), kept.end());
        EXPECT_EQ(stored, kept) << "deleted from the book";
        EXPECT_FALSE(::IsWindowEnabled(m_host->item(IDC_DELETE))) << "nothing marked any more";
        EXPECT_FALSE(HeaderChecked());
        TearDown();
    }
}

TEST_F(Control2Test, ClickOnTheStarTogglesTheFavouriteInTheBook) {
    ASSERT_NO_FATAL_FAILURE(Host({kPeople[0], kPeople[1]}));
    const auto favourite = [](const std::wstring& name) {
        MRUEntryList entries;
        LoadMRUStore(entries);
        for (const MRUEntry& entry : entries)
            if (entry.name == name) return entry.favorite;
        ADD_FAILURE() << "no " << testing::PrintToString(name);
        return false;
    };
    const std::wstring name = NameAt(1);
    ASSERT_FALSE(favourite(name));
    RECT star{};
    star.top = 3;  // the last column
    star.left = LVIR_BOUNDS;
    ::SendMessageW(List(), LVM_GETSUBITEMRECT, 1, reinterpret_cast<LPARAM>(&star));
    const POINT centre{(star.left + star.right) / 2, (star.top + star.bottom) / 2};
    listtest::Click(List(), centre);
    EXPECT_TRUE(PumpUntil([&] { return favourite(name); }, 2000));
    EXPECT_FALSE(favourite(NameAt(0))) << "only the clicked row";
    listtest::Click(List(), centre);
    EXPECT_TRUE(PumpUntil([&] { return !favourite(name); }, 2000));
    // A click on the name only selects.
    RECT cell{};
    cell.top = 1;
    cell.left = LVIR_BOUNDS;
    ::SendMessageW(List(), LVM_GETSUBITEMRECT, 1, reinterpret_cast<LPARAM>(&cell));
    listtest::Click(List(), POINT{(cell.left + cell.right) / 2, (cell.top + cell.bottom) / 2});
    Pump(100);
    EXPECT_FALSE(favourite(name));
}

TEST_F(Control2Test, PropertyBagTakesOnlyItsTwoTypedSettings) {
    ASSERT_NO_FATAL_FAILURE(Host({kPeople[0]}));
    const auto bag = m_host->query<IPropertyBag>();
    ASSERT_TRUE(bag);
    VARIANT number = Variant(VT_I4), text = Variant(VT_BSTR), flag = Variant(VT_BOOL), empty = Variant(VT_EMPTY);
    number.lVal = 5;
    com::UniqueBstr words(::SysAllocString(L"yes"));
    text.bstrVal = words.get();
    flag.boolVal = VARIANT_TRUE;
    struct Case {
        const wchar_t* name;
        VARIANT* value;
        HRESULT expected;
    };
    const Case cases[] = {
        {L"SkinInterface", &number, E_INVALIDARG}, {L"skininterface", &text, E_INVALIDARG},
        {L"DrvUI", &text, E_INVALIDARG},           {L"DRVUI", &number, E_INVALIDARG},
        {L"drvui", &flag, S_OK},                   {L"SKININTERFACE", &empty, S_OK},
        {L"Colour", &number, S_OK},                {nullptr, &flag, E_INVALIDARG},
        {L"DrvUI", nullptr, E_INVALIDARG},
    };
    for (const Case& c : cases)
        EXPECT_EQ(bag->Write(c.name, c.value), c.expected) << (c.name ? c.name : L"(null)");
    VARIANT out = Variant(VT_EMPTY);
    EXPECT_EQ(bag->Read(L"DrvUI", &out, nullptr), E_NOTIMPL);
    EXPECT_EQ(out.vt, VT_EMPTY);
    EXPECT_TRUE(::IsWindow(m_host->controlWindow()));
}

TEST_F(Control2Test, SkinServiceSeesTheControlAndItsChildrenAndIsLetGoOnce) {
    ASSERT_NO_FATAL_FAILURE(Host({kPeople[0]}));
    auto bag = m_host->query<IPropertyBag>();
    ui_test::RecordingSkin first, second;
    VARIANT skin = Variant(VT_DISPATCH);
    skin.pdispVal = &first;
    ASSERT_EQ(bag->Write(L"SkinInterface", &skin), S_OK);

    const HWND control = m_host->controlWindow();
    const auto handle = [](HWND window) { return ULONGLONG(ULONG_PTR(window)) & 0xFFFFFFFF; };
    struct Expected {
        const wchar_t* name;
        std::vector<VARTYPE> kinds;
        std::vector<ULONGLONG> values;
    };
    const std::vector<Expected> expected = {
        {L"Enable", {VT_UI4}, {1}},
        {L"Window", {VT_UI8}, {ULONGLONG(ULONG_PTR(control))}},
        {L"Themes", {VT_UI4, VT_UI4}, {handle(control), 0}},
        {L"Themes", {VT_UI4, VT_UI4}, {handle(m_host->item(IDC_NEW)), 3}},
        {L"Themes", {VT_UI4, VT_UI4}, {handle(m_host->item(IDC_DELETE)), 3}},
        {L"Themes", {VT_UI4, VT_UI4}, {handle(m_host->item(IDC_ADD_TO_BOOK)), 3}},
        {L"Themes", {VT_UI4, VT_UI4}, {handle(List()), 9}},
    };
    ASSERT_EQ(first.calls.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(first.calls[i].name, expected[i].name);
        EXPECT_EQ(first.calls[i].kinds, expected[i].kinds);
        EXPECT_EQ(first.calls[i].values, expected[i].values);
        EXPECT_EQ(first.calls[i].flags, DISPATCH_METHOD);
    }
    EXPECT_GT(first.References(), 1u) << "the control holds the service";

    const auto enableZero = [](const ui_test::RecordingSkin& s) {
        return std::count_if(s.calls.begin(), s.calls.end(), [](const ui_test::RecordingSkin::Call& call) {
            return call.name == L"Enable" && call.values == std::vector<ULONGLONG>{0};
        });
    };
    // Replaced: the first is let go once; cleared twice: the second once.
    skin.pdispVal = &second;
    ASSERT_EQ(bag->Write(L"SkinInterface", &skin), S_OK);
    EXPECT_EQ(enableZero(first), 1);
    EXPECT_EQ(first.References(), 1u);
    VARIANT empty = Variant(VT_EMPTY);
    ASSERT_EQ(bag->Write(L"skinInterface", &empty), S_OK);
    ASSERT_EQ(bag->Write(L"SkinInterface", &empty), S_OK);
    EXPECT_EQ(enableZero(second), 1);
    EXPECT_EQ(second.References(), 1u);
    EXPECT_EQ(enableZero(first), 1);

    // A failing "Window" stops the theming.
    ui_test::RecordingSkin refusing;
    refusing.failWindow = true;
    skin.pdispVal = &refusing;
    ASSERT_EQ(bag->Write(L"SkinInterface", &skin), S_OK);
    ASSERT_EQ(refusing.calls.size(), 2u);
    EXPECT_EQ(refusing.calls[1].name, L"Window");

    // The control going lets go of the service once.
    bag.reset();
    TearDown();
    EXPECT_EQ(enableZero(refusing), 1);
    EXPECT_EQ(refusing.References(), 1u);
}

TEST_F(Control2Test, NothingOfTheControlIsLeftAfterItGoes) {
    // A first round loads what stays for the process (libraries, classes).
    ASSERT_NO_FATAL_FAILURE(Host(kPeople));
    TearDown();
    const ui_test::ResourceCounts before = ui_test::CountResources();
    constexpr int kRounds = 3;
    for (int round = 0; round < kRounds; ++round) {
        ASSERT_NO_FATAL_FAILURE(Host(kPeople));
        ui_test::RecordingSkin skin;
        VARIANT value = Variant(VT_DISPATCH);
        value.pdispVal = &skin;
        m_host->query<IPropertyBag>()->Write(L"SkinInterface", &value);
        SetCheck(0, true);
        m_control->SetSortMode(-2);
        TearDown();
    }
    const ui_test::ResourceCounts after = ui_test::SettledResources(before);
    EXPECT_LE(after.windows, before.windows);
    EXPECT_LE(after.gdiObjects, before.gdiObjects);
    EXPECT_LE(after.threads, before.threads);
    // Wine's registry and COM keep a handle now and then for the whole
    // process after a busy run; a handle per life would show as one each round.
    EXPECT_LT(after.handles, before.handles + kRounds) << "no handle per life of the control";
    using CanUnload = HRESULT(STDAPICALLTYPE*)();
    const HMODULE module = ::GetModuleHandleW(testing_support::kModuleFileName);
    ASSERT_TRUE(module);
    const auto canUnload = reinterpret_cast<CanUnload>(::GetProcAddress(module, "DllCanUnloadNow"));
    ASSERT_TRUE(canUnload);
    EXPECT_EQ(canUnload(), S_OK);
}

// The host lets the control go (its window destroyed, its last reference
// released) while one of the control's modal windows is open: the dialog of
// "New", of a double click and of "Add to Address Book", and the question of
// "Delete". The control gets back out of its handler without touching what
// is gone, and nothing of it is left afterwards.
TEST_F(Control2Test, HostReleasingTheControlWhileADialogIsOpen) {
    const auto doubleClick = [this] {
        NMITEMACTIVATE click{};
        click.hdr.hwndFrom = List();
        click.hdr.idFrom = IDC_LIST;
        click.hdr.code = NM_DBLCLK;
        click.iItem = 0;
        ::SendMessageW(m_host->controlWindow(), WM_NOTIFY, IDC_LIST, reinterpret_cast<LPARAM>(&click));
    };
    const auto press = [this](int id) {
        return [this, id] {
            ::SendMessageW(m_host->controlWindow(), WM_COMMAND, MAKEWPARAM(id, BN_CLICKED),
                           reinterpret_cast<LPARAM>(m_host->item(id)));
        };
    };
    const std::pair<const char*, std::function<void()>> actions[] = {
        {"New", press(IDC_NEW)},
        {"double click", doubleClick},
        {"Add to Address Book", press(IDC_ADD_TO_BOOK)},
        {"Delete", press(IDC_DELETE)},
    };
    for (const auto& [what, act] : actions) {
        SCOPED_TRACE(what);
        ASSERT_NO_FATAL_FAILURE(Host(kPeople));
        SetCheck(0, true);
        ui_test::ModalScript script({[] { return ui_test::FindDialog() != nullptr; }, ui_test::Do([this] {
                                         UnadviseSink(m_host->query<IUnknown>().get(), m_cookie);
                                         m_cookie = 0;
                                         m_control.reset();
                                         m_host.reset();
                                     })});
        act();
        EXPECT_TRUE(script.Finished()) << script.failure();
        Pump(200);
        EXPECT_EQ(ui_test::FindDialog(), nullptr) << "the dialog went with its owner";
        EXPECT_EQ(BookNames().size(), kPeople.size()) << "nothing deleted by a control that is gone";
        using CanUnload = HRESULT(STDAPICALLTYPE*)();
        const auto canUnload = reinterpret_cast<CanUnload>(
            ::GetProcAddress(::GetModuleHandleW(testing_support::kModuleFileName), "DllCanUnloadNow"));
        ASSERT_TRUE(canUnload);
        EXPECT_EQ(canUnload(), S_OK) << "the control is gone";
        TearDown();
    }
}

// "New" brings the list up to date from the reload timer, after its own
// message: the new row is then there and selected, and the header's "all"
// check is cleared. (On the MRU book a new record has no identifier and is
// not offered, so this runs on Windows Contacts.)
TEST_F(Control2Test, NewSelectsTheAddedRowAfterTheReload) {
    testing_support::ClearContactsFolder();
    testing_support::WriteContact(L"ann.contact", {L"a1", L"Ann", {{{L"Fax", L"Business"}, L"111-222"}}});
    testing_support::WriteContact(L"ben.contact", {L"b2", L"Ben", {{{L"Fax", L"Business"}, L"333-444"}}});
    ASSERT_NO_FATAL_FAILURE(Host(kPeople));
    ASSERT_EQ(m_control->SelectOutlookAddressBook(0), S_OK);
    ASSERT_TRUE(PumpUntil([&] { return Count() == 2; }, 3000)) << Count();
    for (int row = 0; row < Count(); ++row) SetCheck(row, true);
    ASSERT_TRUE(HeaderChecked());
    ui_test::ModalScript script({[] { return ui_test::FindDialog() != nullptr; }, ui_test::Do([] {
                                     const HWND dialog = ui_test::FindDialog();
                                     ::PostMessageW(dialog, WM_COMMAND, MAKEWPARAM(215, BN_CLICKED),
                                                    reinterpret_cast<LPARAM>(::GetDlgItem(dialog, 215)));
                                 })});
    ::SendMessageW(m_host->controlWindow(), WM_COMMAND, MAKEWPARAM(IDC_NEW, BN_CLICKED),
                   reinterpret_cast<LPARAM>(m_host->item(IDC_NEW)));
    EXPECT_TRUE(script.Finished()) << script.failure();
    ASSERT_TRUE(PumpUntil([&] { return Count() == 3; }, 2000)) << "the new row is listed";
    const int selected = int(::SendMessageW(List(), LVM_GETNEXTITEM, WPARAM(-1), LVNI_SELECTED));
    ASSERT_GE(selected, 0);
    EXPECT_EQ(NameAt(selected), L"New Recipient");
    EXPECT_FALSE(HeaderChecked()) << "not all rows are checked any more";
    TearDown();
    testing_support::ClearContactsFolder();
}

// A host that shows the control on a page of its dialog: "Delete" shades
// that page (the control's grandparent) and centres its question on it, not
// on the top-level window. The picture is kept under artifacts/.
TEST_F(Control2Test, ANestedHostHasItsPageShadedAndTheQuestionCentredOnIt) {
    WriteBook(kPeople);
    m_host = std::make_unique<AtlHost>(420, 330, kProgId2, true);
    m_control = m_host->query<IVelPhonebookControl3>();
    ASSERT_TRUE(m_control && m_host->controlWindow());
    ASSERT_EQ(m_control->SelectOutlookAddressBook(-1), S_OK);
    ASSERT_TRUE(PumpUntil([&] { return Count() == int(kPeople.size()); }, 3000));
    SetCheck(1, true);
    const HWND page = m_host->page();
    ASSERT_EQ(::GetParent(::GetParent(m_host->controlWindow())), page);
    RECT pageRect{};
    ::GetWindowRect(page, &pageRect);
    ui_test::ModalScript script(
        {[] { return ui_test::FindDialog() != nullptr && ui_test::FindShader() != nullptr; },
         ui_test::Do([&] {
             RECT cover{}, box{};
             ::GetWindowRect(ui_test::FindShader(), &cover);
             ::GetWindowRect(ui_test::FindDialog(), &box);
             EXPECT_TRUE(::EqualRect(&cover, &pageRect)) << "the page is shaded";
             EXPECT_NEAR(box.left + box.right, pageRect.left + pageRect.right, 1);
             EXPECT_NEAR(box.top + box.bottom, pageRect.top + pageRect.bottom, 1);
             Pump(300);
             EXPECT_TRUE(listtest::SaveScreenshot(m_host->top(), L"control2_nested_delete.png"));
         }),
         ui_test::CloseDialog()});
    ::SendMessageW(m_host->controlWindow(), WM_COMMAND, MAKEWPARAM(IDC_DELETE, BN_CLICKED),
                   reinterpret_cast<LPARAM>(m_host->item(IDC_DELETE)));
    EXPECT_TRUE(script.Finished()) << script.failure();
    EXPECT_EQ(BookNames().size(), kPeople.size()) << "closing the question deletes nothing";
}
