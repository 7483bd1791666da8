// The shading cover, the drop shadow and the skin service calls, seen from
// outside: window styles, alpha, rectangles, z-order, the recorded calls,
// and the pixels on the screen.
#include "ui/edc_blend.h"
#include "ui/entry_info_dlg.h"
#include "ui/message_box_dlg.h"
#include "ui/skin_service.h"

#include "ui_harness.h"
#include "win/display.h"

#include <gtest/gtest.h>

namespace {

using namespace ui_test;

class SkinFrameTest : public ::testing::Test {
protected:
    void SetUp() override {
        host = std::make_unique<HostWindow>();
        baseline = CountResources();
    }
    void TearDown() override {
        const ResourceCounts after = SettledResources(baseline);
        EXPECT_EQ(after.windows, baseline.windows);
        EXPECT_EQ(after.gdiObjects, baseline.gdiObjects);
        EXPECT_EQ(after.threads, baseline.threads);
        EXPECT_EQ(after.handles, baseline.handles);
        host.reset();
    }
    std::unique_ptr<HostWindow> host;
    ResourceCounts baseline;
};

TEST_F(SkinFrameTest, ShaderCoversTheWindowInTranslucentBlackUntilItGoes) {
    HWND shader = nullptr;
    {
        ui::CAutoShader cover(host->hwnd());
        shader = cover.hwnd();
        ASSERT_TRUE(shader);
        EXPECT_EQ(FindShader(), shader);
        EXPECT_TRUE(::IsWindowVisible(shader));
        EXPECT_TRUE(::GetWindowLongPtrW(shader, GWL_STYLE) & WS_POPUP);
        EXPECT_TRUE(::GetWindowLongPtrW(shader, GWL_STYLE) & WS_CLIPCHILDREN);
        EXPECT_TRUE(::GetWindowLongPtrW(shader, GWL_EXSTYLE) & WS_EX_LAYERED);

        BYTE alpha = 0;
        DWORD flags = 0;
        ASSERT_TRUE(::GetLayeredWindowAttributes(shader, nullptr, &alpha, &flags));
        EXPECT_EQ(alpha, 153);
        EXPECT_TRUE(flags & LWA_ALPHA);

        RECT covered{}, hostRect{};
        ::GetWindowRect(shader, &covered);
        ::GetWindowRect(host->hwnd(), &hostRect);
        EXPECT_TRUE(::EqualRect(&covered, &hostRect));
        RECT region{};
        EXPECT_EQ(::GetWindowRgnBox(shader, &region), ERROR) << "square corners unless asked";
    }
    EXPECT_FALSE(::IsWindow(shader));
    EXPECT_EQ(FindShader(), nullptr);
}

TEST_F(SkinFrameTest, RoundedBlendCutsItsCornersByEightUnits) {
    ui::CEDCBlend blend(true);
    ASSERT_TRUE(blend.Create(host->hwnd(), RECT{100, 100, 300, 200}));
    HRGN region = ::CreateRectRgn(0, 0, 0, 0);
    ASSERT_NE(::GetWindowRgn(blend.hwnd(), region), ERROR);
    EXPECT_FALSE(::PtInRegion(region, 0, 0));
    EXPECT_FALSE(::PtInRegion(region, 199, 99));
    EXPECT_TRUE(::PtInRegion(region, win::ScaleX(8), 0));
    EXPECT_TRUE(::PtInRegion(region, 100, 50));
    ::DeleteObject(region);
}

TEST_F(SkinFrameTest, NoWindowToCoverLeavesTheHostUndimmed) {
    ui::CAutoShader none(nullptr);
    EXPECT_EQ(none.hwnd(), nullptr);
    EXPECT_EQ(FindShader(), nullptr);
}

// What the screen shows while a message box is up over the host.
struct FrameView {
    HWND dialog = nullptr, shadow = nullptr, shader = nullptr, behindDialog = nullptr, shadowOwner = nullptr;
    LONG_PTR shadowStyle = 0, shadowExStyle = 0;
    RECT dialogRect{}, shadowRect{};
    bool shadowVisible = false;
};

FrameView LookAtFrame() {
    FrameView view;
    view.dialog = FindDialog();
    view.shadow = FindShadow();
    view.shader = FindShader();
    view.behindDialog = ::GetWindow(view.dialog, GW_HWNDNEXT);
    view.shadowOwner = ::GetWindow(view.shadow, GW_OWNER);
    view.shadowStyle = ::GetWindowLongPtrW(view.shadow, GWL_STYLE);
    view.shadowExStyle = ::GetWindowLongPtrW(view.shadow, GWL_EXSTYLE);
    view.shadowVisible = ::IsWindowVisible(view.shadow) != FALSE;
    ::GetWindowRect(view.dialog, &view.dialogRect);
    ::GetWindowRect(view.shadow, &view.shadowRect);
    return view;
}

RECT Grown(const RECT& rect) {
    return RECT{rect.left - win::ScaleX(10), rect.top - win::ScaleY(10), rect.right + win::ScaleX(10),
                rect.bottom + win::ScaleY(10)};
}

TEST_F(SkinFrameTest, ShadowStaysDirectlyBehindTheDialogWhenItMovesAndGoesWithIt) {
    FrameView atStart, afterMove;
    ModalScript script({
        [&] { return FindDialog() != nullptr; },
        [&] {
            atStart = LookAtFrame();
            ::SetWindowPos(atStart.dialog, nullptr, atStart.dialogRect.left + 37, atStart.dialogRect.top - 21,
                           0, 0, SWP_NOSIZE | SWP_NOZORDER);
            return true;
        },
        [&] {
            afterMove = LookAtFrame();
            ::PostMessageW(afterMove.dialog, WM_CLOSE, 0, 0);
            return true;
        },
    });
    ui::ShowMessageBox(nullptr, host->hwnd(), L"Move me", L"Shadow", MB_OKCANCEL);
    ASSERT_EQ(script.failure(), "");

    for (const FrameView* view : {&atStart, &afterMove}) {
        ASSERT_TRUE(view->shadow);
        EXPECT_TRUE(view->shadowVisible);
        EXPECT_EQ(view->behindDialog, view->shadow) << "directly behind the dialog";
        EXPECT_EQ(view->shadowOwner, host->hwnd()) << "owned by the dialog's parent";
        EXPECT_TRUE(view->shadowStyle & WS_POPUP);
        EXPECT_EQ(view->shadowExStyle & (WS_EX_LAYERED | WS_EX_TRANSPARENT | WS_EX_TOOLWINDOW),
                  WS_EX_LAYERED | WS_EX_TRANSPARENT | WS_EX_TOOLWINDOW);
        const RECT expected = Grown(view->dialogRect);
        EXPECT_TRUE(::EqualRect(&view->shadowRect, &expected))
            << view->shadowRect.left << "," << view->shadowRect.top << " " << view->shadowRect.right << ","
            << view->shadowRect.bottom;
        ASSERT_TRUE(view->shader) << "a dialog without a skin service still gets its cover";
    }
    EXPECT_EQ(afterMove.dialogRect.left, atStart.dialogRect.left + 37);
    EXPECT_EQ(FindShadow(), nullptr);
    EXPECT_EQ(FindShader(), nullptr);
}

TEST_F(SkinFrameTest, ScreenShowsTheHostDarkenedWhileTheBoxIsUp) {
    std::unique_ptr<ScreenShot> during;
    ModalScript script({
        [&] { return FindDialog() != nullptr; },
        [&] {
            during = std::make_unique<ScreenShot>();
            ::PostMessageW(FindDialog(), WM_CLOSE, 0, 0);
            return true;
        },
    });
    ui::ShowMessageBox(nullptr, host->hwnd(), L"Dimmed", L"Shade", MB_OK);
    ASSERT_TRUE(during);
    // The host repaints what the cover hid.
    for (int i = 0; i < 30; ++i) {
        MSG message;
        while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageW(&message);
        ::Sleep(10);
    }
    const ScreenShot after;

    RECT hostRect{};
    ::GetWindowRect(host->hwnd(), &hostRect);
    const COLORREF before = after.At(hostRect.left + 10, hostRect.top + 10);
    const COLORREF dimmed = during->At(hostRect.left + 10, hostRect.top + 10);
    EXPECT_EQ(before, kHostColour);
    // Black at 153/255 over the host leaves 102/255 of each channel. A
    // display that composites shows exactly that; Xvfb, which has no
    // compositor, shows the cover unblended, in black.
    const auto dimmedChannel = [](int channel) { return channel * (255 - 153) / 255 + 3; };
    EXPECT_LE(GetRValue(dimmed), dimmedChannel(GetRValue(kHostColour)));
    EXPECT_LE(GetGValue(dimmed), dimmedChannel(GetGValue(kHostColour)));
    EXPECT_LE(GetBValue(dimmed), dimmedChannel(GetBValue(kHostColour)));
}

// The shadow's own pixels (what the layered window is given): alpha from
// premultiplied ARGB.
struct ShadowPixels {
    std::vector<DWORD> bits;
    SIZE size{};
    int Alpha(int x, int y) const { return int(bits[size_t(y) * size_t(size.cx) + size_t(x)] >> 24); }
    int Red(int x, int y) const { return int((bits[size_t(y) * size_t(size.cx) + size_t(x)] >> 16) & 0xFF); }
};

TEST_F(SkinFrameTest, ShadowIsDarkestAtTheDialogsEdgeAndFadesOutwardsOnEverySide) {
    ui::MoonlightShadow shadow;
    ShadowPixels pixels;
    const SIZE dialog{200, 120};
    ASSERT_TRUE(shadow.Draw(dialog, pixels.bits, pixels.size));
    const int l = win::ScaleX(10), t = win::ScaleY(10);
    ASSERT_EQ(pixels.size.cx, dialog.cx + 2 * l);
    ASSERT_EQ(pixels.size.cy, dialog.cy + 2 * t);
    const int w = pixels.size.cx, h = pixels.size.cy, midX = w / 2, midY = h / 2;

    // From the dialog's edge outwards, on each side: (x, y, dx, dy).
    const struct {
        int x, y, dx, dy;
    } sides[] = {{l - 1, midY, -1, 0}, {w - l, midY, 1, 0}, {midX, t - 1, 0, -1}, {midX, h - t, 0, 1}};
    std::vector<int> firstProfile;
    for (const auto& side : sides) {
        std::vector<int> profile;
        for (int i = 0; i < l; ++i)
            profile.push_back(pixels.Alpha(side.x + i * side.dx, side.y + i * side.dy));
        EXPECT_GE(profile.front(), 55) << "position 0 (alpha 70) lies on the dialog's edge";
        EXPECT_LE(profile.front(), 70);
        EXPECT_LE(profile.back(), 8) << "position 1 (alpha 0) on the outer edge";
        for (size_t i = 1; i < profile.size(); ++i) EXPECT_LE(profile[i], profile[i - 1]);
        if (firstProfile.empty()) firstProfile = profile;
        for (size_t i = 0; i < profile.size(); ++i) EXPECT_NEAR(profile[i], firstProfile[i], 3);
        // Premultiplied near-black: the colour never exceeds its alpha's share.
        EXPECT_LE(pixels.Red(side.x, side.y), 20 * profile.front() / 255 + 1);
    }
    // Corners: darkest next to the dialog's corner, clear in the far corner,
    // the same on all four.
    const int nearCorner[4] = {pixels.Alpha(l - 1, t - 1), pixels.Alpha(w - l, t - 1),
                               pixels.Alpha(w - l, h - t), pixels.Alpha(l - 1, h - t)};
    const int farCorner[4] = {pixels.Alpha(0, 0), pixels.Alpha(w - 1, 0), pixels.Alpha(w - 1, h - 1),
                              pixels.Alpha(0, h - 1)};
    const POINT nearCornerAt[4] = {{l - 1, t - 1}, {w - l, t - 1}, {w - l, h - t}, {l - 1, h - t}};
    for (int i = 0; i < 4; ++i) {
        EXPECT_LE(pixels.Red(nearCornerAt[i].x, nearCornerAt[i].y), 20 * nearCorner[i] / 255 + 1)
            << "corner " << i << " is near-black too";
        EXPECT_GE(nearCorner[i], 45) << "corner " << i;
        EXPECT_LE(farCorner[i], 2) << "corner " << i;
        EXPECT_NEAR(nearCorner[i], nearCorner[0], 3);
    }
    // Where the dialog covers it, the shadow draws nothing.
    EXPECT_EQ(pixels.Alpha(midX, midY), 0);
}

class SkinCallTest : public SkinFrameTest {};

TEST_F(SkinCallTest, MessageBoxRegistersItselfThemesItselfAndBothButtonsWithTheirKinds) {
    RecordingSkin skin;
    HWND dialog = nullptr, first = nullptr, second = nullptr;
    ModalScript script({[&] { return (dialog = FindDialog()) != nullptr; },
                        [&] {
                            first = ::GetDlgItem(dialog, IDOK);
                            second = ::GetDlgItem(dialog, IDCANCEL);
                            ::PostMessageW(dialog, WM_CLOSE, 0, 0);
                            return true;
                        }});
    ui::ShowMessageBox(&skin, host->hwnd(), L"Skinned", L"Skin", 292);
    ASSERT_EQ(skin.calls.size(), 4u);
    const auto handle = [](HWND h) { return ULONGLONG(reinterpret_cast<ULONG_PTR>(h)); };
    EXPECT_EQ(skin.calls[0].name, L"Window");
    EXPECT_EQ(skin.calls[0].kinds, std::vector<VARTYPE>{VT_UI8});
    EXPECT_EQ(skin.calls[0].values, std::vector<ULONGLONG>{handle(dialog)});
    EXPECT_EQ(skin.calls[0].flags & DISPATCH_METHOD, DISPATCH_METHOD);
    const std::vector<std::vector<ULONGLONG>> themes{
        {handle(dialog), 0}, {handle(first), 2}, {handle(second), 3}};
    for (size_t i = 1; i < 4; ++i) {
        EXPECT_EQ(skin.calls[i].name, L"Themes");
        EXPECT_EQ(skin.calls[i].kinds, (std::vector<VARTYPE>{VT_UI4, VT_UI4}));
        EXPECT_EQ(skin.calls[i].values, themes[i - 1]);
    }
    EXPECT_EQ(skin.References(), 1u) << "the dialog lets go of the service";
}

TEST_F(SkinCallTest, EntryDialogThemesItsTwoButtonsOnlyAfterWindowSucceeded) {
    for (bool failWindow : {false, true}) {
        RecordingSkin skin;
        skin.failWindow = failWindow;
        HWND dialog = nullptr, first = nullptr, second = nullptr;
        CRecipient record;
        record.name = L"Ann";
        record.faxNumber = L"123";
        ui::CEntryInfoDlg entry(ui::CEntryInfoDlg::ModeView, record, nullptr);
        entry.SetSkinService(&skin);
        ModalScript script({[&] { return (dialog = FindDialog()) != nullptr; },
                            [&] {
                                first = ::GetDlgItem(dialog, 215);
                                second = ::GetDlgItem(dialog, 216);
                                ::PostMessageW(dialog, WM_CLOSE, 0, 0);
                                return true;
                            }});
        ui::DoModalShaded(entry, host->hwnd());
        const auto handle = [](HWND h) { return ULONGLONG(reinterpret_cast<ULONG_PTR>(h)); };
        ASSERT_FALSE(skin.calls.empty());
        EXPECT_EQ(skin.calls[0].name, L"Window");
        EXPECT_EQ(skin.calls[0].values, std::vector<ULONGLONG>{handle(dialog)});
        if (failWindow) {
            EXPECT_EQ(skin.calls.size(), 1u) << "no theming after a failed registration";
            continue;
        }
        ASSERT_EQ(skin.calls.size(), 3u);
        EXPECT_EQ(skin.calls[1].name, L"Themes");
        EXPECT_EQ(skin.calls[1].values, (std::vector<ULONGLONG>{handle(first), 2}));
        EXPECT_EQ(skin.calls[2].values, (std::vector<ULONGLONG>{handle(second), 3}));
        EXPECT_EQ(skin.calls[2].kinds, (std::vector<VARTYPE>{VT_UI4, VT_UI4}));
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
    EXPECT_EQ(ui::SkinWindow(nullptr, nullptr), E_INVALIDARG);
}

}  // namespace
