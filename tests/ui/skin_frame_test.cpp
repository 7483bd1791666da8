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
    // The host may still be repainting what an earlier test's cover hid.
    for (int i = 0; i < 200 && hostPixel() != kHostColour; ++i) {
        MSG message;
        while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageW(&message);
        ::Sleep(10);
    }
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
