// The shading cover, the drop shadow and the skin service calls, seen from
// outside: what covers what, in which order, the shadow's pixels and the
// calls the host's skin service gets.
#include "ui/edc_blend.h"
#include "ui/entry_info_dlg.h"
#include "ui/message_box_dlg.h"
#include "ui/skin_service.h"

#include "ui_harness.h"
#include "win/display.h"

#include <gtest/gtest.h>

namespace {

using namespace ui_test;

class SkinFrameTest : public HostedTest<> {};

// Black at alpha 153 over the host leaves 102/255 of each channel on a
// display that composites; Xvfb, which does not, shows the cover in black.
TEST_F(SkinFrameTest, ShaderCoversTheWindowInTranslucentBlackUntilItGoes) {
    RECT hostRect{};
    ::GetWindowRect(host.get(), &hostRect);
    const auto hostPixel = [&] {
        const com::UniqueScreenDc screen(::GetDC(nullptr));
        return ::GetPixel(screen.get(), hostRect.left + 10, hostRect.top + 10);
    };
    EXPECT_EQ(hostPixel(), kHostColour);
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
        RECT covered{};
        ::GetWindowRect(shader, &covered);
        EXPECT_TRUE(::EqualRect(&covered, &hostRect));
        EXPECT_EQ(::GetWindowRgnBox(shader, &covered), ERROR) << "square corners unless asked";
        ::UpdateWindow(shader);
        const COLORREF dimmed = hostPixel();
        EXPECT_LE(GetRValue(dimmed), GetRValue(kHostColour) * 102 / 255 + 3);
        EXPECT_LE(GetGValue(dimmed), GetGValue(kHostColour) * 102 / 255 + 3);
        EXPECT_LE(GetBValue(dimmed), GetBValue(kHostColour) * 102 / 255 + 3);
    }
    EXPECT_FALSE(::IsWindow(shader));
    ui::CAutoShader none(nullptr);
    EXPECT_EQ(none.hwnd(), nullptr) << "no window to cover leaves the host undimmed";
    EXPECT_EQ(FindShader(), nullptr);

    ui::CEDCBlend rounded(true);
    ASSERT_TRUE(rounded.Create(host.get(), RECT{100, 100, 300, 200}));
    const HRGN region = ::CreateRectRgn(0, 0, 0, 0);
    ASSERT_NE(::GetWindowRgn(rounded.hwnd(), region), ERROR) << "rounded corners when asked";
    EXPECT_FALSE(::PtInRegion(region, 0, 0));
    EXPECT_FALSE(::PtInRegion(region, 199, 99));
    EXPECT_TRUE(::PtInRegion(region, win::ScaleX(8), 0));
    ::DeleteObject(region);
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
    EXPECT_TRUE(::GetWindowLongPtrW(shadow, GWL_STYLE) & WS_POPUP);
    const LONG_PTR exStyle = WS_EX_LAYERED | WS_EX_TRANSPARENT | WS_EX_TOOLWINDOW;
    EXPECT_EQ(::GetWindowLongPtrW(shadow, GWL_EXSTYLE) & exStyle, exStyle);
    RECT expected = WindowRect(dialog);
    ::InflateRect(&expected, win::ScaleX(10), win::ScaleY(10));
    const RECT shadowRect = WindowRect(shadow);
    EXPECT_TRUE(::EqualRect(&shadowRect, &expected))
        << shadowRect.left << "," << shadowRect.top << " " << shadowRect.right << "," << shadowRect.bottom;
    EXPECT_TRUE(FindShader()) << "a dialog without a skin service still gets its cover";
}

TEST_F(SkinFrameTest, ShadowStaysDirectlyBehindTheDialogWhenItMovesAndGoesWithIt) {
    RECT start{};
    ModalScript script({[&] { return FindDialog() != nullptr; }, Do([&] {
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
}

TEST_F(SkinFrameTest, ShadowIsDarkestAtTheDialogsEdgeAndFadesOutwardsOnEverySide) {
    ui::MoonlightShadow shadow;
    std::vector<DWORD> bits;
    SIZE size{};
    const SIZE dialog{200, 120};
    ASSERT_TRUE(shadow.Draw(dialog, bits, size));
    const int l = win::ScaleX(10), t = win::ScaleY(10);
    ASSERT_EQ(size.cx, dialog.cx + 2 * l);
    ASSERT_EQ(size.cy, dialog.cy + 2 * t);
    const int w = size.cx, h = size.cy, midX = w / 2, midY = h / 2;
    // Alpha and red of premultiplied ARGB.
    const auto alpha = [&](int x, int y) { return int(bits[size_t(y) * size_t(w) + size_t(x)] >> 24); };
    const auto red = [&](int x, int y) {
        return int((bits[size_t(y) * size_t(w) + size_t(x)] >> 16) & 0xFF);
    };

    // From the dialog's edge outwards, on each side: (x, y, dx, dy).
    const struct {
        int x, y, dx, dy;
    } sides[] = {{l - 1, midY, -1, 0}, {w - l, midY, 1, 0}, {midX, t - 1, 0, -1}, {midX, h - t, 0, 1}};
    std::vector<int> firstProfile;
    for (const auto& side : sides) {
        std::vector<int> profile;
        for (int i = 0; i < l; ++i) profile.push_back(alpha(side.x + i * side.dx, side.y + i * side.dy));
        EXPECT_GE(profile.front(), 55) << "position 0 (alpha 70) lies on the dialog's edge";
        EXPECT_LE(profile.front(), 70);
        EXPECT_LE(profile.back(), 8) << "position 1 (alpha 0) on the outer edge";
        for (size_t i = 1; i < profile.size(); ++i) EXPECT_LE(profile[i], profile[i - 1]);
        if (firstProfile.empty()) firstProfile = profile;
        for (size_t i = 0; i < profile.size(); ++i) EXPECT_NEAR(profile[i], firstProfile[i], 3);
        // Premultiplied near-black: the colour never exceeds its alpha's share.
        EXPECT_LE(red(side.x, side.y), 20 * profile.front() / 255 + 1);
    }
    // Corners: near-black and darkest next to the dialog's corner, clear in
    // the far corner, the same on all four.
    const POINT nearCorners[4] = {{l - 1, t - 1}, {w - l, t - 1}, {w - l, h - t}, {l - 1, h - t}};
    const POINT farCorners[4] = {{0, 0}, {w - 1, 0}, {w - 1, h - 1}, {0, h - 1}};
    for (int i = 0; i < 4; ++i) {
        SCOPED_TRACE(i);
        const int nearAlpha = alpha(nearCorners[i].x, nearCorners[i].y);
        EXPECT_LE(red(nearCorners[i].x, nearCorners[i].y), 20 * nearAlpha / 255 + 1);
        EXPECT_GE(nearAlpha, 45);
        EXPECT_LE(alpha(farCorners[i].x, farCorners[i].y), 2);
        EXPECT_NEAR(nearAlpha, alpha(nearCorners[0].x, nearCorners[0].y), 3);
    }
    // Where the dialog covers it, the shadow draws nothing.
    EXPECT_EQ(alpha(midX, midY), 0);
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
            for (size_t i = 0; i < expected.size(); ++i) {
                EXPECT_EQ(skin.calls[i].name, expected[i].name) << i;
                EXPECT_EQ(skin.calls[i].kinds, expected[i].kinds) << i;
                EXPECT_EQ(skin.calls[i].values, expected[i].values) << i;
                EXPECT_EQ(skin.calls[i].flags, DISPATCH_METHOD) << i;
            }
            EXPECT_EQ(skin.References(), 1u) << "the dialog lets go of the service";
        }
}

TEST(SkinServiceTest, EnableSendsOneUnsignedIntegerAndUnknownNamesFail) {
    RecordingSkin skin;
    EXPECT_EQ(ui::SkinEnable(&skin, true), S_OK);
    EXPECT_EQ(ui::SkinEnable(&skin, false), S_OK);
    ASSERT_EQ(skin.calls.size(), 2u);
    EXPECT_EQ(skin.calls[0].kinds, std::vector<VARTYPE>{VT_UI4});
    EXPECT_EQ(skin.calls[0].values, std::vector<ULONGLONG>{1});
    EXPECT_EQ(skin.calls[1].values, std::vector<ULONGLONG>{0});
    EXPECT_EQ(ui::InvokeSkinMethod(&skin, L"Paint", nullptr, 0), DISP_E_UNKNOWNNAME);
}

}  // namespace
