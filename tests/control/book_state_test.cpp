// What both controls tell a user and a host when the book shown cannot be
// used: the note in the empty list, BookState and BookError, the buttons that
// wait; where their questions and dialogs open; the list's keys; and how they
// look in high contrast. Wine has neither Outlook nor (without the stand-in)
// a Windows address book, which is exactly the machine meant.
#include "fakes/high_contrast/high_contrast_standin.h"
#include "support/control_host.h"
#include "support/wab_fixture.h"
#include "ui_harness.h"

#include "com/unique_any.h"

#include <algorithm>
#include <memory>
#include <set>
#include <vector>

using namespace control_test;

namespace {

constexpr wchar_t kEmptyNote[] = L"No recipient in this address book has a fax number.";
constexpr wchar_t kOutlookNote[] = L"Microsoft Outlook is not installed or did not start.";
constexpr wchar_t kCannotOpen[] = L"This address book cannot be opened.";
constexpr int kAdd = 203, kRemove = 202, kEdit = 208;

std::wstring PlatformText(HRESULT hr) {
    wchar_t text[512] = {};
    ::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, DWORD(hr), 0, text,
                     512, nullptr);
    std::wstring message = text;
    while (!message.empty() && (message.back() == L'\n' || message.back() == L'\r' || message.back() == L' '))
        message.pop_back();
    return message;
}

int Scaled(int units) {
    const HDC screen = ::GetDC(nullptr);
    const int dpi = ::GetDeviceCaps(screen, LOGPIXELSX);
    ::ReleaseDC(nullptr, screen);
    return ::MulDiv(units, dpi, 96);
}

// The list's client area as drawn, and the same area as the note's rule
// draws it: the window colour, the text in the grey text colour, centred and
// wrapped under the header inside a margin of 8 units, 12 units below it.
using Pixels = std::vector<COLORREF>;
Pixels Capture(HWND window, const RECT& rect, const std::wstring* note = nullptr) {
    const HDC source = ::GetDC(window);
    const HDC memory = ::CreateCompatibleDC(source);
    const HBITMAP bitmap = ::CreateCompatibleBitmap(source, rect.right, rect.bottom);
    const HGDIOBJ old = ::SelectObject(memory, bitmap);
    RECT header{};
    ::GetWindowRect(ListView_GetHeader(window), &header);
    if (!note) {
        ::BitBlt(memory, 0, 0, rect.right, rect.bottom, source, 0, 0, SRCCOPY);
    } else {
        ::FillRect(memory, &rect, ::GetSysColorBrush(COLOR_WINDOW));
        RECT text{Scaled(8), header.bottom - header.top + Scaled(12), rect.right - Scaled(8), rect.bottom};
        ::SelectObject(memory, reinterpret_cast<HGDIOBJ>(::SendMessageW(window, WM_GETFONT, 0, 0)));
        ::SetBkMode(memory, TRANSPARENT);
        ::SetTextColor(memory, ::GetSysColor(COLOR_GRAYTEXT));
        ::DrawTextW(memory, note->c_str(), int(note->size()), &text,
                    DT_CENTER | DT_WORDBREAK | DT_NOPREFIX | DT_TOP);
    }
    Pixels pixels;
    for (int y = header.bottom - header.top; y < rect.bottom; ++y)
        for (int x = 0; x < rect.right; ++x) pixels.push_back(::GetPixel(memory, x, y));
    ::SelectObject(memory, old);
    ::DeleteObject(bitmap);
    ::DeleteDC(memory);
    ::ReleaseDC(window, source);
    return pixels;
}

// Whether the list shows exactly the note (and something of it in grey).
bool ShowsNote(HWND list, const std::wstring& note) {
    ::RedrawWindow(list, nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_UPDATENOW);
    RECT client{};
    ::GetClientRect(list, &client);
    const Pixels shown = Capture(list, client), wanted = Capture(list, client, &note);
    const COLORREF grey = ::GetSysColor(COLOR_GRAYTEXT);
    return shown == wanted && std::count(shown.begin(), shown.end(), grey) > 0;
}

// The visible dialog boxes of this thread, the newest first.
std::vector<HWND> Dialogs() {
    std::vector<HWND> found;
    ::EnumThreadWindows(
        ::GetCurrentThreadId(),
        [](HWND hwnd, LPARAM list) WINAPI -> BOOL {
            wchar_t name[16] = {};
            ::GetClassNameW(hwnd, name, 16);
            if (std::wstring(name) == L"#32770" && ::IsWindowVisible(hwnd))
                reinterpret_cast<std::vector<HWND>*>(list)->push_back(hwnd);
            return TRUE;
        },
        reinterpret_cast<LPARAM>(&found));
    return found;
}

class BookStateTest : public HostedEach {
protected:
    PhonebookBookState State() const {
        PhonebookBookState state = PhonebookBookState(-1);
        EXPECT_EQ(m_host->query<IVelPhonebookControl4>()->get_BookState(&state), S_OK);
        return state;
    }
    HRESULT Error() const {
        LONG error = 1;
        EXPECT_EQ(m_host->query<IVelPhonebookControl4>()->get_BookError(&error), S_OK);
        return HRESULT(error);
    }
    bool Enabled(int id) const { return ::IsWindowEnabled(m_host->item(id)) != FALSE; }
    std::vector<int> Buttons() const {
        return Second() ? std::vector<int>{kAdd, kRemove} : std::vector<int>{kAdd, kEdit, kRemove};
    }
};

// Outlook and the Windows book missing: each says so in the list, through
// BookState and BookError, and its buttons wait; the recently used book,
// empty, says it has no one. The first class answers the opening's result,
// the second S_OK whatever happens.
TEST_P(BookStateTest, AMissingBookSaysWhyTheListIsEmptyAndItsButtonsWait) {
    ASSERT_NO_FATAL_FAILURE(Host({}));
    // The Windows book gone, and back for the tests that follow whatever happens here.
    struct StandInGone {
        StandInGone() { EXPECT_EQ(testing_support::RegisterStandIn(true), 0); }
        ~StandInGone() { EXPECT_EQ(testing_support::RegisterStandIn(), 0); }
    };
    auto gone = std::make_unique<StandInGone>();
    struct Missing {
        LONG book;
        std::wstring note;  // empty: the Windows book's text and the platform's message for the code
    };
    for (const Missing& missing : {Missing{1, kOutlookNote}, Missing{0, L""}}) {
        SCOPED_TRACE(missing.book);
        const HRESULT selected = m_control->SelectOutlookAddressBook(missing.book);
        EXPECT_EQ(State(), BookUnavailable);
        const HRESULT error = Error();
        EXPECT_TRUE(FAILED(error)) << std::hex << error;
        if (missing.book == 0) {
            EXPECT_EQ(error, REGDB_E_CLASSNOTREG) << "the address book's class is not registered";
        }
        // Only the first class's Outlook reports the failed opening; the
        // Windows book's library "opens" whatever it finds.
        EXPECT_EQ(selected, Second() || missing.book == 0 ? S_OK : error);
        const std::wstring note =
            missing.note.empty() ? std::wstring(kCannotOpen) + L"\n\n" + PlatformText(error) : missing.note;
        EXPECT_TRUE(PumpUntil([&] { return ShowsNote(List(), note); }, 2000)) << testing_support::Utf8(note);
        for (int id : Buttons()) EXPECT_FALSE(Enabled(id)) << id;
        Pump(700);  // the reload the choice posted changes none of it
        EXPECT_EQ(State(), BookUnavailable);
        EXPECT_FALSE(Enabled(kAdd));
    }
    gone.reset();
    // Asked right after the choice, before the list's own reading: the book is read now.
    ASSERT_EQ(m_control->SelectOutlookAddressBook(-1), S_OK);
    EXPECT_EQ(std::make_pair(State(), Error()), std::make_pair(BookEmpty, S_OK));
    EXPECT_TRUE(Enabled(kAdd));
    EXPECT_TRUE(ShowsNote(List(), kEmptyNote));
    WriteBook({{L"Ann", L"111-222"}});
    ASSERT_TRUE(WaitForRows({{L"Ann", L"111-222"}}));
    EXPECT_EQ(State(), BookOpen);
}

INSTANTIATE_TEST_SUITE_P(Classes, BookStateTest, testing::Values(kFirstOnRecent, kSecondOnRecent), SetupName);

// F2, Delete and Ctrl+A in the list; none while a cell is being edited. (The
// first class edits names in place only where its Edit button does: not in
// the recently used book.)
class ListKeys : public HostedEach {};

TEST_P(ListKeys, EditRemoveAndMarkAll) {
    ASSERT_NO_FATAL_FAILURE(Host({{L"Ann", L"111-222"}, {L"Ben", L"333-444"}, {L"Cid", L"555-666"}}));
    ::SetFocus(List());
    const auto ctrlA = [&] {
        BYTE state[256] = {};
        ::GetKeyboardState(state);
        state[VK_CONTROL] = 0x80;
        ::SetKeyboardState(state);
        ::SendMessageW(List(), WM_KEYDOWN, 'A', 1);
        state[VK_CONTROL] = 0;
        ::SetKeyboardState(state);
    };
    // Ctrl+A: one event per row that changes, none for a row already marked.
    if (Second())
        SetCheck(1, true);
    else
        Select(1);
    TakeEvents();
    ctrlA();
    EXPECT_EQ(m_control->GetSelItemCount(), 3);
    const auto events = TakeEvents();
    std::vector<LONG> rows;
    for (const ReceivedEvent& event : events) rows.push_back(event.values[0]);
    EXPECT_EQ(rows, (std::vector<LONG>{0, 2}));

    // Delete asks the button's question; No keeps the rows.
    {
        BoxAnswer no(Second() ? IDCANCEL : IDNO);
        PressKey(List(), VK_DELETE);
        EXPECT_TRUE(no.answered());
    }
    EXPECT_EQ(ItemCount(), 3);

    // F2: the first class edits the focused row's name in place; the second
    // opens the row in the entry dialog.
    ListView_SetItemState(List(), 2, LVIS_FOCUSED, LVIS_FOCUSED);
    if (Second()) {
        std::wstring shown;
        ui_test::ModalScript script({[&] { return !Dialogs().empty(); }, ui_test::Do([&] {
                                         shown = ui_test::WindowText(::GetDlgItem(Dialogs()[0], 213));
                                     }),
                                     ui_test::CloseDialog()});
        PressKey(List(), VK_F2);
        EXPECT_TRUE(script.Finished());
        EXPECT_EQ(shown, NameAt(2));
        return;
    }
    PressKey(List(), VK_F2);
    const HWND box = EditBox(List());
    ASSERT_TRUE(box) << "F2 opens the edit";
    EXPECT_EQ(ui_test::WindowText(box), NameAt(2));
    // While it is open the list's keys do nothing.
    BoxAnswer none(IDYES);
    PressKey(List(), VK_DELETE);
    PressKey(List(), VK_F2);
    Pump(100);
    EXPECT_FALSE(none.answered());
    EXPECT_EQ(EditBox(List()), box);
    PressKey(box, VK_ESCAPE);
    EXPECT_EQ(ItemCount(), 3);
}

INSTANTIATE_TEST_SUITE_P(Classes, ListKeys, testing::Values(kFirstOnContacts, kSecondOnRecent), SetupName);

// ---------------------------------------------------------------------------
// Where the module's boxes and dialogs open, for a host window far to the
// left, at the bottom right corner, and wholly off the screen.

class Placement : public HostedEach {};

TEST_P(Placement, TheRemoveQuestionAndTheEntryDialogStayInTheWorkArea) {
    ASSERT_NO_FATAL_FAILURE(Host({{L"Ann", L"111-222"}, {L"Ben", L"333-444"}}));
    if (Second())
        SetCheck(0, true);
    else
        Select(0);
    const POINT corners[] = {{-300, 200}, {-2000, -1500}, {1100, 880}};
    for (const POINT at : corners) {
        SCOPED_TRACE(std::to_string(at.x) + "," + std::to_string(at.y));
        ::SetWindowPos(m_host->top(), nullptr, at.x, at.y, 0, 0, SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
        MONITORINFO monitor{};
        monitor.cbSize = sizeof(monitor);
        ::GetMonitorInfoW(::MonitorFromWindow(m_host->top(), MONITOR_DEFAULTTONEAREST), &monitor);
        std::vector<RECT> seen;
        const auto look = ui_test::Do([&] { seen.push_back(ui_test::WindowRect(Dialogs()[0])); });
        const std::vector<int> opens = Second() ? std::vector<int>{kRemove, kAdd} : std::vector<int>{kRemove};
        for (int id : opens) {
            ui_test::ModalScript script({[&] { return !Dialogs().empty(); }, look, ui_test::Do([&] {
                                             ::PostMessageW(Dialogs()[0], WM_COMMAND, IDCANCEL, 0);
                                         })});
            Press(id);
            EXPECT_TRUE(script.Finished()) << id;
        }
        ASSERT_EQ(seen.size(), opens.size());
        for (const RECT& rect : seen) {
            RECT inside{};
            ::IntersectRect(&inside, &rect, &monitor.rcWork);
            EXPECT_TRUE(::EqualRect(&inside, &rect))
                << rect.left << "," << rect.top << " " << rect.right << "," << rect.bottom;
        }
    }
    EXPECT_EQ(ItemCount(), 2);
}

INSTANTIATE_TEST_SUITE_P(Classes, Placement, testing::Values(kFirstOnRecent, kSecondOnRecent), SetupName);

// ---------------------------------------------------------------------------
// "Add to Address Book" into a book that cannot take the recipient: the user
// is told, and the dialog stays with what was typed.

class AddToBook : public HostedControl {
protected:
    AddToBook() : HostedControl(kSecondOnRecent) {}
    void TearDown() override {
        ::RegDeleteKeyValueW(HKEY_CURRENT_USER, L"SOFTWARE\\Quorvel\\Orvanta\\Recipients", L"AddressBook");
        HostedControl::TearDown();
    }
};

TEST_F(AddToBook, AFailedStoreIsReportedAndTheDialogKeepsWhatWasTyped) {
    ASSERT_NO_FATAL_FAILURE(Host({{L"Ann", L"111-222"}}));
    const DWORD outlook = 1;  // the settings' book: Outlook, which Wine has not
    ASSERT_EQ(::RegSetKeyValueW(HKEY_CURRENT_USER, L"SOFTWARE\\Quorvel\\Orvanta\\Recipients", L"AddressBook",
                                REG_DWORD, &outlook, sizeof(outlook)),
              ERROR_SUCCESS);
    SetCheck(0, true);
    ASSERT_TRUE(::IsWindowEnabled(m_host->item(212)));
    HWND entry = nullptr, box = nullptr;
    std::wstring typed;
    ui_test::ModalScript script({
        [&] { return (entry = Dialogs().empty() ? nullptr : Dialogs()[0]) != nullptr; },
        ui_test::Do([&] {
            ::SetWindowTextW(::GetDlgItem(entry, 213), L"Ann Typed");
            ::PostMessageW(entry, WM_COMMAND, MAKEWPARAM(215, BN_CLICKED), LPARAM(::GetDlgItem(entry, 215)));
        }),
        [&] {
            for (HWND d : Dialogs())
                if (d != entry && ::GetWindow(d, GW_OWNER) == entry) box = d;
            return box != nullptr;
        },
        ui_test::Do([&] { ::PostMessageW(box, WM_COMMAND, IDOK, 0); }),
        [&] { return !::IsWindow(box) && ::IsWindowVisible(entry); },
        ui_test::Do([&] {
            typed = ui_test::WindowText(::GetDlgItem(entry, 213));
            ::PostMessageW(entry, WM_CLOSE, 0, 0);
        }),
    });
    Press(212);
    EXPECT_EQ(script.failure(), "");
    EXPECT_TRUE(box) << "the skinned box told the user";
    EXPECT_EQ(typed, L"Ann Typed") << "the dialog stayed open with the text";
    EXPECT_EQ(BookNames(), (std::vector<std::wstring>{L"Ann"}));
}

// ---------------------------------------------------------------------------
// High contrast: the lists, the star, the note, the skinned box and the
// cover in the system's colours, without shadow or translucency.

class HighContrast : public HostedEach {
protected:
    void SetUp() override {
        HostedEach::SetUp();
        m_module.reset(::LoadLibraryW(testing_support::kModuleFileName));
        m_contrast = std::make_unique<HighContrastStandIn>(m_module.get());
        ASSERT_TRUE(m_contrast->active());
    }
    void TearDown() override {
        HostedEach::TearDown();
        m_contrast.reset();
    }
    static COLORREF Pixel(HWND window, POINT at) {
        const HDC dc = ::GetDC(window);
        const COLORREF colour = ::GetPixel(dc, at.x, at.y);
        ::ReleaseDC(window, dc);
        return colour;
    }
    com::UniqueModule m_module;
    std::unique_ptr<HighContrastStandIn> m_contrast;
};

TEST_P(HighContrast, TheControlAndItsBoxDrawWithTheSystemsColours) {
    ASSERT_NO_FATAL_FAILURE(Host({}));
    EXPECT_TRUE(PumpUntil([&] { return ShowsNote(List(), kEmptyNote); }, 2000))
        << "the note in the scheme's grey";
    WriteBook({{L"Ann", L"111-222"}, {L"Ben", L"333-444"}});
    ASSERT_TRUE(WaitForRows({{L"Ann", L"111-222"}, {L"Ben", L"333-444"}}));
    ::SetFocus(m_host->item(kAdd));
    Select(0);
    if (Second()) SetCheck(0, true);
    ::RedrawWindow(List(), nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_UPDATENOW);
    RECT client{};
    ::GetClientRect(List(), &client);
    EXPECT_EQ(Pixel(List(), {client.right - 4, client.bottom - 4}), ::GetSysColor(COLOR_WINDOW))
        << "the background";
    if (Second()) {
        // The selected row without the focus: the highlight, not a blend.
        RECT row{LVIR_BOUNDS};
        ListView_GetItemRect(List(), 0, &row, LVIR_BOUNDS);
        RECT name{};
        ListView_GetSubItemRect(List(), 0, 1, LVIR_BOUNDS, &name);
        EXPECT_EQ(Pixel(List(), {name.right - 3, row.top + 2}), ::GetSysColor(COLOR_HIGHLIGHT));
        // The star of the row below: only the window's and the text's colours.
        RECT star{};
        ListView_GetSubItemRect(List(), 1, 3, LVIR_BOUNDS, &star);
        std::set<COLORREF> colours;
        for (int y = star.top + 1; y < star.bottom - 1; ++y)
            for (int x = star.left + 1; x < star.right - 1; ++x) colours.insert(Pixel(List(), {x, y}));
        EXPECT_EQ(colours,
                  (std::set<COLORREF>{::GetSysColor(COLOR_WINDOW), ::GetSysColor(COLOR_WINDOWTEXT)}));

        // The question before deleting: its text in the button text colour,
        // no shadow, and a see-through hatched cover instead of a translucent one.
        std::set<COLORREF> text;
        bool shadow = true;
        BYTE alpha = 0;
        DWORD flags = 0;
        ui_test::ModalScript script(
            {[&] { return !Dialogs().empty(); }, ui_test::Do([&] {
                 const HWND box = Dialogs()[0];
                 ::RedrawWindow(box, nullptr, nullptr, RDW_INVALIDATE | RDW_UPDATENOW);
                 RECT inside{};
                 ::GetClientRect(box, &inside);
                 for (int y = 20; y < 60; ++y)
                     for (int x = 20; x < inside.right / 2; ++x) text.insert(Pixel(box, {x, y}));
                 const HWND shade = ui_test::FindShadow();
                 shadow = shade && ::IsWindowVisible(shade);
                 COLORREF key = 0;
                 ::GetLayeredWindowAttributes(ui_test::FindShader(), &key, &alpha, &flags);
             }),
             ui_test::CloseDialog()});
        Press(kRemove);
        EXPECT_TRUE(script.Finished());
        EXPECT_TRUE(text.count(::GetSysColor(COLOR_BTNTEXT))) << "the question's text";
        EXPECT_FALSE(text.count(RGB(85, 85, 85))) << "not the dialogs' own grey";
        EXPECT_FALSE(shadow);
        EXPECT_EQ(flags, DWORD(LWA_COLORKEY));
    }
}

INSTANTIATE_TEST_SUITE_P(Classes, HighContrast, testing::Values(kFirstOnRecent, kSecondOnRecent), SetupName);

}  // namespace
