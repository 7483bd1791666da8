// The shading cover, the drop shadow and the skin service calls, seen from
// outside: what covers what, in which order, the shadow's pixels and the
// calls the host's skin service gets.
#include "ui/edc_blend.h"
#include "ui/entry_info_dlg.h"
#include "ui/message_box_dlg.h"
#include "ui/skin_service.h"

#include "support/test_support.h"
#include "ui_harness.h"
#include "win/display.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using namespace ui_test;

class SkinFrameTest : public HostedTest<> {};

TEST_F(SkinFrameTest, ShaderCoversTheWindowInTranslucentBlackUntilItGoes) {
    HWND shader = nullptr;
    {
        ui::CAutoShader cover(host.get());
        shader = cover.hwnd();
        ASSERT_TRUE(shader);
        EXPECT_EQ(FindShader(), shader);
        EXPECT_TRUE(::IsWindowVisible(shader));
        BYTE alpha = 0;
        DWORD flags = 0;
        ASSERT_TRUE(::GetLayeredWindowAttributes(shader, nullptr, &alpha, &flags));
        EXPECT_EQ(alpha, 153);
        EXPECT_TRUE(flags & LWA_ALPHA);
        RECT covered{}, hostRect{};
        ::GetWindowRect(shader, &covered);
        ::GetWindowRect(host.get(), &hostRect);
        EXPECT_TRUE(::EqualRect(&covered, &hostRect));
        EXPECT_EQ(::GetWindowRgnBox(shader, &covered), ERROR) << "square corners unless asked";
    }
    EXPECT_FALSE(::IsWindow(shader));
    ui::CAutoShader none(nullptr);
    EXPECT_EQ(none.hwnd(), nullptr) << "no window to cover leaves the host undimmed";
    EXPECT_EQ(FindShader(), nullptr);
}

RECT WindowRect(HWND window) {
    RECT rect{};
    ::GetWindowRect(window, &rect);
    return rect;
}

// The shadow of the dialog up over the host: visible, owned by the dialog's
// parent, directly behind the dialog and ten units bigger on every side.
void ExpectShadowBehindTheDialog(HWND owner) {
    const HWND dialog = FindDialog(), shadow = FindShadow();
    ASSERT_TRUE(shadow);
    EXPECT_TRUE(::IsWindowVisible(shadow));
    EXPECT_EQ(::GetWindow(dialog, GW_HWNDNEXT), shadow) << "directly behind the dialog";
    EXPECT_EQ(::GetWindow(shadow, GW_OWNER), owner) << "owned by the dialog's parent";
    EXPECT_TRUE(::GetWindowLongPtrW(shadow, GWL_EXSTYLE) & WS_EX_TOOLWINDOW) << "off the task bar";
    RECT expected = WindowRect(dialog), shadowRect = WindowRect(shadow);
    ::InflateRect(&expected, win::ScaleX(10), win::ScaleY(10));
    EXPECT_TRUE(::EqualRect(&shadowRect, &expected));
    EXPECT_TRUE(FindShader()) << "a dialog without a skin service still gets its cover";
}

// While the box is up the host shows darkened: black at alpha 153 leaves
// 102/255 of each channel on a display that composites (Xvfb, which does
// not, shows the cover in black); afterwards it shows in its own colour.
TEST_F(SkinFrameTest, ShadowStaysBehindTheMovedDialogTheHostIsDarkenedAndBothGoWithIt) {
    RECT start{};
    RECT corner = WindowRect(host.get());
    corner = RECT{corner.left + 10, corner.top + 10, corner.left + 11, corner.top + 11};
    const auto hostShows = [&](COLORREF colour, int tolerance) { return CountPixels(nullptr, colour, tolerance, corner) == 1; };
    const BYTE r = GetRValue(kHostColour) * 102 / 255, g = GetGValue(kHostColour) * 102 / 255, b = GetBValue(kHostColour) * 102 / 255;
    ModalScript script({[&] { return FindDialog() != nullptr; }, Do([&] {
                            ::UpdateWindow(FindShader());
                            // Dimmed: any colour from black to the blended one.
                            EXPECT_TRUE(hostShows(RGB(r / 2, g / 2, b / 2), std::max({r, g, b}) / 2 + 3));
                            ExpectShadowBehindTheDialog(host.get());
                            start = WindowRect(FindDialog());
                            ::SetWindowPos(FindDialog(), nullptr, start.left + 37, start.top - 21, 0, 0,
                                           SWP_NOSIZE | SWP_NOZORDER);
                        }),
                        Do([&] {
                            ExpectShadowBehindTheDialog(host.get());
                            EXPECT_EQ(WindowRect(FindDialog()).left, start.left + 37);
                        }),
                        CloseDialog()});
    ui::ShowMessageBox(nullptr, host.get(), L"Move me", L"Shadow", MB_OKCANCEL);
    EXPECT_TRUE(script.Finished());
    EXPECT_EQ(script.failure(), "");
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
    const auto pixel = [&](int x, int y) { return bits[size_t(y) * size_t(w) + size_t(x)]; };
    // From the dialog's edge outwards on each side, and at each corner: (x, y, dx, dy).
    const int sides[][4] = {{l - 1, h / 2, -1, 0}, {w - l, h / 2, 1, 0}, {w / 2, t - 1, 0, -1}, {w / 2, h - t, 0, 1},
                            {l - 1, t - 1, -1, -1}, {w - l, h - t, 1, 1}};
    for (const auto& [x, y, dx, dy] : sides) {
        SCOPED_TRACE(testing::Message() << x << "," << y);
        int previous = 255;
        for (int i = 0; i < l; ++i) {
            const DWORD p = pixel(x + i * dx, y + i * dy);
            EXPECT_LE(int(p >> 24), previous);
            EXPECT_LE(int((p >> 16) & 0xFF), 20 * int(p >> 24) / 255 + 1) << "near-black";
            previous = int(p >> 24);
        }
        EXPECT_NEAR(int(pixel(x, y) >> 24), dx && dy ? 58 : 62, 12);
        EXPECT_LE(previous, 8);
    }
    EXPECT_EQ(pixel(w / 2, h / 2) >> 24, 0u) << "nothing where the dialog covers it";
}

// The skin service gets the dialog's window, then the themes: the message
// box themes itself and both buttons, the entry dialog only its buttons,
// and neither themes anything when "Window" failed.
TEST_F(SkinFrameTest, SkinServiceThemesTheDialogsAndTheirButtonsOnlyAfterWindowSucceeded) {
    const auto handle = [](HWND window) { return ULONGLONG(ULONG_PTR(window)) & 0xFFFFFFFF; };
    for (bool entry : {false, true})
        for (bool failWindow : {false, true}) {
            SCOPED_TRACE(std::string(entry ? "entry dialog" : "message box") +
                         (failWindow ? ", Window fails" : ""));
            RecordingSkin skin;
            skin.failWindow = failWindow;
            HWND dialog = nullptr, first = nullptr, second = nullptr;
            ModalScript script({[&] { return (dialog = FindDialog()) != nullptr; }, Do([&] {
                                    first = ::GetDlgItem(dialog, entry ? 215 : IDOK);
                                    second = ::GetDlgItem(dialog, entry ? 216 : IDCANCEL);
                                }),
                                CloseDialog()});
            if (entry) {
                ui::CEntryInfoDlg view(ui::CEntryInfoDlg::ModeView, Recipient(L"", L"Ann", L"123"), nullptr);
                view.SetSkinService(&skin);
                ui::DoModalShaded(view, host.get());
            } else {
                ui::ShowMessageBox(&skin, host.get(), L"Skinned", L"Skin", 292);
            }
            std::vector<RecordingSkin::Call> expected{{L"Window", {VT_UI8}, {ULONGLONG(ULONG_PTR(dialog))}}};
            if (!failWindow) {
                if (!entry) expected.push_back({L"Themes", {VT_UI4, VT_UI4}, {handle(dialog), 0}});
                expected.push_back({L"Themes", {VT_UI4, VT_UI4}, {handle(first), 2}});
                expected.push_back({L"Themes", {VT_UI4, VT_UI4}, {handle(second), 3}});
            }
            ASSERT_EQ(skin.calls.size(), expected.size());
            for (size_t i = 0; i < expected.size(); ++i)
                EXPECT_TRUE(skin.calls[i].name == expected[i].name && skin.calls[i].kinds == expected[i].kinds &&
                            skin.calls[i].values == expected[i].values && skin.calls[i].flags == DISPATCH_METHOD)
                    << "call " << i << " " << testing_support::Utf8(skin.calls[i].name);
            EXPECT_EQ(skin.References(), 1u) << "the dialog lets go of the service";
        }
}

}  // namespace
