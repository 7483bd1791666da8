// The skinned message box with real windows (the result of each button type
// for each way of answering, where it stands, what it covers, its text kept
// out of the button band), the shading cover and the drop shadow of both
// dialogs, and the calls the host's skin service gets.
#include "ui/edc_blend.h"
#include "ui/entry_info_dlg.h"
#include "ui/message_box_dlg.h"

#include "support/test_support.h"
#include "ui_harness.h"
#include "win/display.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

namespace {

using namespace ui_test;

class MessageBoxTest : public HostedTest<> {
protected:
    INT_PTR Show(UINT style, std::vector<ModalScript::Step> steps, const wchar_t* text = L"Remove 2 recipients?",
                 HWND parent = nullptr) {
        return Modal([&] { return ui::ShowMessageBox(nullptr, parent ? parent : host.get(), text, L"Remove", style); },
                     std::move(steps));
    }
};

// Only the low four bits of the style count: 0 is a lone OK, 4 yes/no
// (shown as OK and Cancel), anything else OK and cancel.
TEST_F(MessageBoxTest, EachButtonTypeAnswersWithItsResult) {
    enum Answer { First, Second, Close, Escape };
    const struct {
        UINT style;
        Answer answer;
        INT_PTR expected;
    } cases[] = {
        {0, First, IDOK},     {0, Close, IDOK},    {0, Escape, IDOK},      {1, First, IDOK},
        {1, Second, IDCANCEL}, {1, Close, IDCANCEL}, {292, First, IDYES},  {292, Second, IDNO},
        {292, Close, IDNO},   {MB_RETRYCANCEL | MB_ICONERROR, Second, IDCANCEL},
        {MB_YESNO | 0xFFFF0000u, First, IDYES},
    };
    std::map<UINT, LONG> firstLeft;
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "style " << c.style << " answer " << c.answer);
        EXPECT_EQ(c.expected, Show(c.style, {Do([&] {
                                       EXPECT_EQ(WindowText(Item(IDOK)) + L"/" + WindowText(Item(IDCANCEL)), L"OK/Cancel");
                                       EXPECT_EQ(::IsWindowVisible(Item(IDCANCEL)) != FALSE, c.style != 0);
                                       firstLeft[c.style] = WindowRect(Item(IDOK)).left - WindowRect(dialog).left;
                                       if (c.answer == First || c.answer == Second)
                                           ::SendMessageW(Item(c.answer == First ? IDOK : IDCANCEL), BM_CLICK, 0, 0);
                                       else
                                           ::PostMessageW(dialog, c.answer == Close ? WM_CLOSE : WM_COMMAND, IDCANCEL, 0);
                                   })}));
    }
    EXPECT_EQ(firstLeft[0], firstLeft[1]) << "a lone OK stands where the first of two would";
}

// The box is centred on the window it is given and the cover lies over that
// window: a page nested in the host's dialog, not the whole top-level window.
// Without a parent it is centred on the desktop and nothing is shaded.
TEST_F(MessageBoxTest, CentredOnAndCoveringTheWindowItIsGiven) {
    const com::UniqueWindow page(::CreateWindowExW(0, L"STATIC", L"", WS_CHILD | WS_VISIBLE, 300, 200, 380, 300,
                                                   host.get(), nullptr, nullptr, nullptr));
    RECT work{};
    ::SystemParametersInfoW(SPI_GETWORKAREA, 0, &work, 0);
    for (const HWND parent : {page.get(), HWND(nullptr)}) {
        const RECT around = parent ? WindowRect(parent) : work;
        EXPECT_EQ(Modal([&] { return ui::ShowMessageBox(nullptr, parent, parent ? L"Sure?" : nullptr, nullptr, MB_OK); },
                        {Do([&] {
                             const RECT box = WindowRect(dialog), cover = WindowRect(FindShader());
                             EXPECT_NEAR(box.left + box.right, around.left + around.right, 1);
                             EXPECT_NEAR(box.top + box.bottom, around.top + around.bottom, 1);
                             EXPECT_EQ(FindShader() != nullptr, parent != nullptr);
                             EXPECT_EQ(WindowText(dialog), L"") << "no caption";
                             EXPECT_TRUE(!parent || ::EqualRect(&cover, &around)) << "the page is covered";
                         }),
                         CloseDialog()}),
                  IDOK);
    }
}

// A text far longer than the box wraps in grey within the client area less
// the bottom band of 50 units, shrunk by 20 on every side: nothing of it
// reaches the strip between that and the buttons.
TEST_F(MessageBoxTest, LongTextWrapsInGreyAndStaysOutOfTheButtonBand) {
    std::wstring text;
    for (int i = 0; i < 40; ++i) text += L"Every recipient listed here will be removed from the book. ";
    int grey = 0, black = 0, belowText = -1;
    Show(0,
         {Do([&] {
              ::UpdateWindow(dialog);
              RECT client{}, button = WindowRect(Item(IDOK));
              ::GetClientRect(dialog, &client);
              ::MapWindowPoints(nullptr, dialog, reinterpret_cast<POINT*>(&button), 2);
              const LONG textBottom = client.bottom - win::ScaleY(50 + 20);
              grey = CountPixels(dialog, RGB(85, 85, 85), 4, RECT{0, 0, client.right, textBottom});
              black = CountPixels(dialog, RGB(0, 0, 0), 20, RECT{0, 0, client.right, textBottom});
              belowText = CountPixels(dialog, RGB(85, 85, 85), 60, RECT{0, textBottom, client.right, button.top});
          }),
          CloseDialog()},
         text.c_str());
    EXPECT_GT(grey, 50) << "the text is grey";
    EXPECT_EQ(black, 0) << "and never black";
    EXPECT_EQ(belowText, 0) << "nothing of the text below its band";
}

// The shadow of the dialog up over the host: visible, owned by the dialog's
// parent, off the task bar, directly behind the dialog and ten units bigger
// on every side; the cover over the host in black at alpha 153, square
// unless asked. Both go with the dialog.
void ExpectShadowAndCover(HWND host) {
    const HWND dialog = FindDialog(), shadow = FindShadow(), shader = FindShader();
    ASSERT_TRUE(shadow && shader);
    EXPECT_TRUE(::IsWindowVisible(shadow) && ::IsWindowVisible(shader));
    EXPECT_EQ(::GetWindow(dialog, GW_HWNDNEXT), shadow) << "directly behind the dialog";
    EXPECT_EQ(::GetWindow(shadow, GW_OWNER), host);
    EXPECT_TRUE(::GetWindowLongPtrW(shadow, GWL_EXSTYLE) & WS_EX_TOOLWINDOW);
    RECT expected = WindowRect(dialog), shadowRect = WindowRect(shadow), covered = WindowRect(shader), hostRect = WindowRect(host);
    ::InflateRect(&expected, win::ScaleX(10), win::ScaleY(10));
    EXPECT_TRUE(::EqualRect(&shadowRect, &expected) && ::EqualRect(&covered, &hostRect));
    BYTE alpha = 0;
    DWORD flags = 0;
    EXPECT_TRUE(::GetLayeredWindowAttributes(shader, nullptr, &alpha, &flags) && alpha == 153 && (flags & LWA_ALPHA));
    EXPECT_EQ(::GetWindowRgnBox(shader, &covered), ERROR) << "square corners";
}

// While the box is up the host shows darkened: black at alpha 153 leaves
// 102/255 of each channel on a display that composites (Xvfb, which does
// not, shows the cover in black); afterwards it shows in its own colour.
TEST_F(MessageBoxTest, ShadowStaysBehindTheMovedDialogTheHostIsDarkenedAndBothGoWithIt) {
    RECT start{}, corner = WindowRect(host.get());
    corner = RECT{corner.left + 10, corner.top + 10, corner.left + 11, corner.top + 11};
    const auto hostShows = [&](COLORREF colour, int tolerance) { return CountPixels(nullptr, colour, tolerance, corner) == 1; };
    const BYTE r = GetRValue(kHostColour) * 102 / 255, g = GetGValue(kHostColour) * 102 / 255, b = GetBValue(kHostColour) * 102 / 255;
    Show(MB_OKCANCEL, {Do([&] {
                           ::UpdateWindow(FindShader());
                           // Dimmed: any colour from black to the blended one.
                           EXPECT_TRUE(hostShows(RGB(r / 2, g / 2, b / 2), std::max({r, g, b}) / 2 + 3));
                           ExpectShadowAndCover(host.get());
                           start = WindowRect(dialog);
                           ::SetWindowPos(dialog, nullptr, start.left + 37, start.top - 21, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
                       }),
                       Do([&] {
                           ExpectShadowAndCover(host.get());
                           EXPECT_EQ(WindowRect(dialog).left, start.left + 37);
                       }),
                       CloseDialog()});
    EXPECT_EQ(FindShadow(), nullptr);
    EXPECT_EQ(FindShader(), nullptr);
    // The host repaints what the cover hid.
    for (int i = 0; i < 100 && !hostShows(kHostColour, 0); ++i) {
        MSG message;
        while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageW(&message);
        ::Sleep(10);
    }
    EXPECT_TRUE(hostShows(kHostColour, 0));
}

// Blend position 0 (alpha 70) lies on the dialog's edge, 1 (alpha 0) on the
// shadow's outer edge; near-black, premultiplied, the same on every side.
TEST(ShadowTest, ShadowIsDarkestAtTheDialogsEdgeAndFadesOutwardsOnEverySide) {
    ui::MoonlightShadow shadow;
    std::vector<DWORD> bits;
    SIZE size{};
    ASSERT_TRUE(shadow.Draw(SIZE{200, 120}, bits, size));
    const int l = win::ScaleX(10), t = win::ScaleY(10), w = size.cx, h = size.cy;
    ASSERT_TRUE(w == 200 + 2 * l && h == 120 + 2 * t);
    const auto alpha = [&](int x, int y) { return int(bits[size_t(y) * size_t(w) + size_t(x)] >> 24); };
    // From the dialog's edge outwards on each side, and at two corners: (x, y, dx, dy).
    const int sides[][4] = {{l - 1, h / 2, -1, 0}, {w - l, h / 2, 1, 0}, {w / 2, t - 1, 0, -1}, {w / 2, h - t, 0, 1},
                            {l - 1, t - 1, -1, -1}, {w - l, h - t, 1, 1}};
    for (const auto& [x, y, dx, dy] : sides) {
        SCOPED_TRACE(testing::Message() << x << "," << y);
        int previous = 255;
        for (int i = 0; i < l; ++i) {
            const DWORD p = bits[size_t(y + i * dy) * size_t(w) + size_t(x + i * dx)];
            EXPECT_LE(int(p >> 24), previous);
            EXPECT_LE(int((p >> 16) & 0xFF), 20 * int(p >> 24) / 255 + 1) << "near-black";
            previous = int(p >> 24);
        }
        EXPECT_NEAR(alpha(x, y), dx && dy ? 58 : 62, 12);
        EXPECT_LE(previous, 8);
    }
    EXPECT_EQ(alpha(w / 2, h / 2), 0) << "nothing where the dialog covers it";
}

// The skin service gets the dialog's window, then the themes: the message
// box themes itself and both buttons, the entry dialog only its buttons,
// and neither themes anything when "Window" failed.
TEST_F(MessageBoxTest, SkinServiceThemesTheDialogsAndTheirButtonsOnlyAfterWindowSucceeded) {
    // A call as "name(flags) kind:value ...": VT_UI8 (21) with the whole handle, VT_UI4 (19) with its low half.
    const auto call = [](const RecordingSkin::Call& c) {
        std::wstring text = c.name + L"(" + std::to_wstring(c.flags) + L")";
        for (size_t i = 0; i < c.kinds.size(); ++i) text += L" " + std::to_wstring(c.kinds[i]) + L":" + std::to_wstring(c.values[i]);
        return text;
    };
    const auto themes = [](HWND window, int kind) {
        return L"Themes(1) 19:" + std::to_wstring(ULONG_PTR(window) & 0xFFFFFFFF) + L" 19:" + std::to_wstring(kind);
    };
    for (bool entry : {false, true})
        for (bool failWindow : {false, true}) {
            RecordingSkin skin;
            skin.failWindow = failWindow;
            HWND first = nullptr, second = nullptr;
            Modal([&]() -> INT_PTR {
                if (!entry) return ui::ShowMessageBox(&skin, host.get(), L"Skinned", L"Skin", 292);
                ui::CEntryInfoDlg view(ui::CEntryInfoDlg::ModeView, Recipient(L"", L"Ann", L"123"), nullptr);
                view.SetSkinService(&skin);
                return ui::DoModalShaded(view, host.get());
            }, {Do([&] { first = Item(entry ? 215 : IDOK), second = Item(entry ? 216 : IDCANCEL); }), CloseDialog()});
            std::vector<std::wstring> expected = {L"Window(1) 21:" + std::to_wstring(ULONG_PTR(dialog))}, calls;
            if (!failWindow && !entry) expected.push_back(themes(dialog, 0));
            if (!failWindow) expected.push_back(themes(first, 2));
            if (!failWindow) expected.push_back(themes(second, 3));
            for (const auto& c : skin.calls) calls.push_back(call(c));
            EXPECT_EQ(calls, expected) << (entry ? "entry dialog" : "message box") << (failWindow ? ", Window fails" : "");
            EXPECT_EQ(skin.References(), 1u) << "the dialog lets go of the service";
        }
}

}  // namespace
