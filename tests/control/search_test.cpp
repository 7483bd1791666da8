// The search box of both control classes in Wine's ATL host: what a search
// finds, marks that survive searches, the events, a reload while a search is
// applied, the host's Filter and SearchBox, and the widths of the columns.
#include "support/control_host.h"

#include "com/unique_any.h"

#include <oleauto.h>

#include <algorithm>

using namespace control_test;

namespace {

using NameList = std::vector<std::wstring>;
constexpr int kSearchBox = 241;

const People kBook = {{L"J\u00fcrgen M\u00fcller", L"+1 (555) 010-0"},
                      {L"Anna Smith", L"555 0100"},
                      {L"Bob Smithers", L"+49 30 1234"},
                      {L"Kenji Koba", L"\uff10\uff13-1234-5678"},  // full-width "03"
                      {L"\u00c9lodie Durand", L"0033 1 44 55"}};

NameList Sorted(NameList names) {
    std::sort(names.begin(), names.end());
    return names;
}

class Search : public HostedEach {
protected:
    void SetUp() override {
        HostedEach::SetUp();
        ASSERT_NO_FATAL_FAILURE(Host(kBook));
        m_search = m_control.query<IVelPhonebookControl4>();
        ASSERT_TRUE(m_search);
    }
    HWND Box() const { return m_host->item(kSearchBox); }
    // Types into the box one character at a time, as a user does.
    void TypeInBox(const std::wstring& text) const {
        ::SetFocus(Box());
        Type(Box(), text);
    }
    std::wstring BoxText() const {
        wchar_t text[256] = {};
        ::GetWindowTextW(Box(), text, 256);
        return text;
    }
    void SetFilter(const wchar_t* text) const {
        const com::UniqueBstr filter(::SysAllocString(text));
        ASSERT_EQ(m_search->put_Filter(filter.get()), S_OK);
    }
    NameList MarkedNames() const {
        NameList names;
        for (int row = m_control->GetSelItem(-1, nullptr, nullptr, nullptr); row >= 0;
             row = m_control->GetSelItem(row, nullptr, nullptr, nullptr))
            names.push_back(NameAt(row));
        return Sorted(names);
    }
    void Mark(int row) const {
        if (Second())
            SetCheck(row, true);
        else
            Select(row);
    }
    // The first class's "#" column, which numbers the rows shown from 1.
    std::wstring NumberColumn() const {
        std::wstring numbers;
        wchar_t text[16];
        for (int row = 0, count = ItemCount(); row < count; ++row) {
            LVITEMW item{};
            item.pszText = text;
            item.cchTextMax = 16;
            text[0] = L'\0';
            ::SendMessageW(List(), LVM_GETITEMTEXTW, WPARAM(row), LPARAM(&item));
            numbers += std::wstring(row ? L" " : L"") + text;
        }
        return numbers;
    }
    int RowOf(const std::wstring& name) const {
        const NameList names = Names();
        const auto found = std::find(names.begin(), names.end(), name);
        return found == names.end() ? -1 : int(found - names.begin());
    }
    com::ComPtr<IVelPhonebookControl4> m_search;
};

TEST_P(Search, EveryWordIsFoundInNameOrNumberWhateverCaseAccentsWidthAndSeparators) {
    const std::wstring muller = kBook[0].first, anna = L"Anna Smith", bob = L"Bob Smithers",
                       kenji = L"Kenji Koba", elodie = kBook[4].first;
    const struct {
        const wchar_t* typed;
        NameList found;
    } kCases[] = {
        {L"muller", {muller}},  // accent and case
        {L"MÜLLER", {muller}},
        {L"smi", {anna, bob}},
        {L"smith anna", {anna}},                           // any order
        {L"\uff53\uff4d\uff49\uff54\uff48", {anna, bob}},  // full-width letters
        {L"elodie", {elodie}},
        {L"5550100", {muller, anna}},  // digits whatever the separators
        {L"555-01", {muller, anna}},
        {L"+15550100", {muller}},  // "+" is the international "00"
        {L"0015550100", {muller}},
        {L"4930", {bob}},  // the "+" not required
        {L"+33 1", {elodie}},
        {L"031234", {kenji}},  // full-width digits in the number
        {L"koba 5678", {kenji}},
        {L"smith 4930", {bob}},
        {L"xyz", {}},
        {L"   ", {muller, anna, bob, kenji, elodie}},
    };
    for (const auto& c : kCases) {
        ::SetWindowTextW(Box(), L"");
        TypeInBox(c.typed);
        // At once: no message loop between the keystroke and the rows.
        EXPECT_EQ(Sorted(Names()), Sorted(c.found))
            << "typed \"" << testing::PrintToString(std::wstring(c.typed)) << '"';
        EXPECT_EQ(ItemCount(), int(c.found.size()));
        if (!Second()) {
            const wchar_t* const kNumbers[] = {L"", L"1", L"1 2", L"1 2 3", L"1 2 3 4", L"1 2 3 4 5"};
            EXPECT_EQ(NumberColumn(), kNumbers[c.found.size()])
                << "after \"" << testing::PrintToString(std::wstring(c.typed)) << '"';
        }
    }
    PressKey(Box(), VK_ESCAPE);
    EXPECT_EQ(BoxText(), L"");
    EXPECT_EQ(ItemCount(), 5) << "Escape clears the search";
    if (!Second()) EXPECT_EQ(NumberColumn(), L"1 2 3 4 5");
    EXPECT_TRUE(TakeEvents().empty()) << "rows hidden and shown are no change of marking";
}

TEST_P(Search, EnterMarksTheFirstMatchAndMarksSurviveEverySearch) {
    TypeInBox(L"anna");
    PressKey(Box(), VK_RETURN);
    DWORD start = 9, end = 0;
    ::SendMessageW(Box(), EM_GETSEL, WPARAM(&start), LPARAM(&end));
    EXPECT_TRUE(start == 0 && end == 4) << "the text typed is selected, ready for the next name";
    // The next name replaces the selected text.
    TypeInBox(L"koba");
    EXPECT_EQ(BoxText(), L"koba");
    EXPECT_EQ(Sorted(Names()), Sorted({L"Anna Smith", L"Kenji Koba"})) << "the marked row stays shown";
    PressKey(Box(), VK_RETURN);
    const int kenji = RowOf(L"Kenji Koba");
    // A second search with both marked: nothing new to mark, nothing hidden that is marked.
    ::SetWindowTextW(Box(), L"");
    TypeInBox(L"smith");
    EXPECT_EQ(Sorted(Names()), Sorted({L"Anna Smith", L"Bob Smithers", L"Kenji Koba"}));
    EXPECT_EQ(m_control->GetSelItemCount(), 2);
    EXPECT_EQ(MarkedNames(), Sorted({L"Anna Smith", L"Kenji Koba"}))
        << "the host reads every marked recipient";
    PressKey(Box(), VK_ESCAPE);
    EXPECT_EQ(ItemCount(), 5);
    EXPECT_EQ(MarkedNames(), Sorted({L"Anna Smith", L"Kenji Koba"}));
    // Exactly the two markings were events; the first counts one marked row, the second two.
    const std::vector<ReceivedEvent> events = TakeEvents();
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0].values, (std::vector<LONG>{0, -1, 1}));
    EXPECT_EQ(events[1].values, (std::vector<LONG>{kenji, -1, 2}));
}

TEST_P(Search, AReloadAndASortKeepTheSearchAndItsMarks) {
    Mark(RowOf(L"Kenji Koba"));
    SetFilter(L"er");  // the host filters from its own field
    com::UniqueBstr filter;
    ASSERT_EQ(m_search->get_Filter(filter.put()), S_OK);
    EXPECT_STREQ(filter.get(), L"er");
    EXPECT_EQ(BoxText(), L"er") << "the box shows what the host searches for";
    EXPECT_EQ(Sorted(Names()), Sorted({kBook[0].first, L"Bob Smithers", L"Kenji Koba"}));

    ASSERT_NO_FATAL_FAILURE(AddFromAnotherProcess());  // "Helper 0" is found by "er"
    EXPECT_TRUE(PumpUntil([&] { return ItemCount() == 4; }, 5000)) << ItemCount() << " rows";
    EXPECT_EQ(Sorted(Names()), Sorted({kBook[0].first, L"Bob Smithers", L"Kenji Koba", L"Helper 0"}));
    // Names descending: the first class's mode 4, the second's name column negated.
    ASSERT_EQ(m_control->SetSortMode(Second() ? -1 : 4), S_OK);
    EXPECT_EQ(Names(), (NameList{L"Kenji Koba", kBook[0].first, L"Helper 0", L"Bob Smithers"}));
    SetFilter(L"ers");  // rows taken out of a sorted list: the rest keep their order
    EXPECT_EQ(Names(), (NameList{L"Kenji Koba", L"Bob Smithers"}));
    if (!Second()) EXPECT_EQ(NumberColumn(), L"1 2");
    SetFilter(L"");
    // The whole book comes back sorted: the first class compares code units,
    // the second as the user's language does.
    const std::wstring muller = kBook[0].first, elodie = kBook[4].first;
    const NameList linguistic{L"Kenji Koba", muller, L"Helper 0", elodie, L"Bob Smithers", L"Anna Smith"};
    const NameList codeUnits{elodie, L"Kenji Koba", muller, L"Helper 0", L"Bob Smithers", L"Anna Smith"};
    EXPECT_EQ(Names(), Second() ? linguistic : codeUnits);
    if (!Second()) EXPECT_EQ(NumberColumn(), L"1 2 3 4 5 6") << "rows sorted are numbered again";
    EXPECT_EQ(MarkedNames(), NameList{L"Kenji Koba"});
    const std::vector<ReceivedEvent> events = TakeEvents();
    EXPECT_EQ(events.size(), 1u) << "only the marking was an event";
}

TEST_P(Search, AHiddenBoxGivesTheListItsPlaceAndTheHostStillFilters) {
    // Named for screen readers: the cue text, and the label before the box.
    wchar_t cue[128] = {}, label[128] = {};
    ::SendMessageW(Box(), EM_GETCUEBANNER, WPARAM(cue), 128);
    EXPECT_STREQ(cue, L"Search names and fax numbers");
    const HWND before = ::GetWindow(Box(), GW_HWNDPREV);
    ::GetWindowTextW(before, label, 128);
    EXPECT_STREQ(label, cue);
    EXPECT_EQ(::GetWindow(Box(), GW_HWNDNEXT), List()) << "the box comes before the list in the tab order";

    const auto top = [&](HWND window) {
        RECT rect{};
        ::GetWindowRect(window, &rect);
        ::MapWindowPoints(nullptr, m_host->controlWindow(), reinterpret_cast<POINT*>(&rect), 2);
        return rect.top;
    };
    RECT box{};
    ::GetWindowRect(Box(), &box);
    EXPECT_GE(top(List()), box.bottom - box.top) << "the list lies below the box";
    VARIANT_BOOL shown = VARIANT_FALSE;
    ASSERT_EQ(m_search->get_SearchBox(&shown), S_OK);
    EXPECT_EQ(shown, VARIANT_TRUE);
    if (Second()) {
        // The second class also takes it from its property bag, as a boolean only.
        const auto bag = m_control.query<IPropertyBag>();
        VARIANT value{};
        value.vt = VT_I4;
        EXPECT_EQ(bag->Write(L"searchbox", &value), E_INVALIDARG);
        value.vt = VT_BOOL;
        value.boolVal = VARIANT_FALSE;
        ASSERT_EQ(bag->Write(L"SearchBox", &value), S_OK);
    } else {
        ASSERT_EQ(m_search->put_SearchBox(VARIANT_FALSE), S_OK);
    }
    EXPECT_FALSE(::IsWindowVisible(Box()));
    EXPECT_EQ(top(List()), 0);
    ASSERT_EQ(m_search->get_SearchBox(&shown), S_OK);
    EXPECT_EQ(shown, VARIANT_FALSE);
    SetFilter(L"koba");
    EXPECT_EQ(Names(), NameList{L"Kenji Koba"});
    ASSERT_EQ(m_search->put_SearchBox(VARIANT_TRUE), S_OK);
    EXPECT_TRUE(::IsWindowVisible(Box()));
    EXPECT_GT(top(List()), 0);
}

TEST_P(Search, DownLeavesTheBoxForTheListWithoutMarking) {
    TypeInBox(L"smi");
    PressKey(Box(), VK_DOWN);
    EXPECT_EQ(::GetFocus(), List());
    EXPECT_EQ(m_control->GetSelItemCount(), 0);
    EXPECT_TRUE(TakeEvents().empty());
}

INSTANTIATE_TEST_SUITE_P(Classes, Search, testing::Values(kFirstOnRecent, kSecondOnRecent), SetupName);

// ---------------------------------------------------------------------------
// The first class's columns use the list's width.

class Columns : public HostedControl {};

TEST_F(Columns, NameAndNumberShareTheWidthAndAUserWidthHoldsUntilAResize) {
    ASSERT_NO_FATAL_FAILURE(Host({{L"Accounts Payable Department", L"+47-22-55-00-00"}}));
    const auto widths = [&] {
        std::vector<int> w;
        for (int column = 0; column < 3; ++column) w.push_back(ListView_GetColumnWidth(List(), column));
        return w;
    };
    const auto inside = [&] {
        RECT rect{};
        ::GetClientRect(List(), &rect);
        return int(rect.right);
    };
    std::vector<int> w = widths();
    // The published widths at this screen's resolution are the least.
    const HDC screen = ::GetDC(nullptr);
    const int dpi = ::GetDeviceCaps(screen, LOGPIXELSX);
    ::ReleaseDC(nullptr, screen);
    EXPECT_GE(w[0], ::MulDiv(30, dpi, 96));
    EXPECT_GT(w[1], ::MulDiv(94, dpi, 96));
    EXPECT_GT(w[2], ::MulDiv(84, dpi, 96));
    EXPECT_EQ(w[0] + w[1] + w[2], inside()) << "no width left empty";

    ListView_SetColumnWidth(List(), 1, 60);  // the user narrows the name column
    ASSERT_NO_FATAL_FAILURE(AddFromAnotherProcess());
    ASSERT_TRUE(PumpUntil([&] { return ItemCount() == 2; }, 5000));
    w = widths();
    EXPECT_EQ(w[1], 60) << "kept after a reload";
    EXPECT_EQ(w[0] + w[1] + w[2], inside()) << "the number takes the rest";

    RECT host{};
    ::GetClientRect(m_host->top(), &host);
    ::MoveWindow(m_host->hostWindow(), 0, 0, host.right - 40, host.bottom, TRUE);
    Drain();
    w = widths();
    EXPECT_GT(w[1], ::MulDiv(94, dpi, 96)) << "a resize fits the columns again";
    EXPECT_EQ(w[0] + w[1] + w[2], inside());
}

}  // namespace
