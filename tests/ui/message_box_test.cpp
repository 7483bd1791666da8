// The skinned message box with real windows: results of each button type
// for each way of answering, the layout, the text's colour and its band,
// the cover over the host and the shadow behind the box.
#include "ui/message_box_dlg.h"

#include "ui_harness.h"
#include "win/display.h"

#include <gtest/gtest.h>

namespace {

using namespace ui_test;

class MessageBoxTest : public ::testing::Test {
protected:
    void SetUp() override {
        host = std::make_unique<HostWindow>();
        baseline = CountResources();
    }
    void TearDown() override {
        const ResourceCounts after = SettledResources(baseline);
        EXPECT_EQ(after.windows, baseline.windows) << "windows left behind";
        EXPECT_EQ(after.gdiObjects, baseline.gdiObjects) << "GDI objects left behind";
        EXPECT_EQ(after.userObjects, baseline.userObjects) << "USER objects left behind";
        EXPECT_EQ(after.threads, baseline.threads) << "threads left behind";
        EXPECT_EQ(after.handles, baseline.handles) << "handles left behind";
        host.reset();
    }

    INT_PTR Show(UINT style, std::vector<ModalScript::Step> steps, IDispatch* skin = nullptr,
                 const wchar_t* text = L"Are you sure you want to remove selected 2 recipient(s)?") {
        ModalScript script(std::move(steps));
        const INT_PTR result = ui::ShowMessageBox(skin, host->hwnd(), text, L"Remove", style);
        EXPECT_TRUE(script.Finished());
        EXPECT_EQ(script.failure(), "");
        return result;
    }

    std::unique_ptr<HostWindow> host;
    ResourceCounts baseline;
};

enum class Answer { First, Second, Close, Escape };

struct ResultCase {
    UINT style;
    Answer answer;
    INT_PTR expected;
};

class MessageBoxResultTest : public MessageBoxTest, public ::testing::WithParamInterface<ResultCase> {};

TEST_P(MessageBoxResultTest, EachButtonTypeAnswersWithItsResult) {
    const ResultCase c = GetParam();
    HWND dialog = nullptr;
    const INT_PTR result = Show(c.style, {
                                             [&] { return (dialog = FindDialog()) != nullptr; },
                                             [&] {
                                                 switch (c.answer) {
                                                     case Answer::First:
                                                         ClickWindow(::GetDlgItem(dialog, IDOK));
                                                         break;
                                                     case Answer::Second:
                                                         ClickWindow(::GetDlgItem(dialog, IDCANCEL));
                                                         break;
                                                     case Answer::Close:
                                                         ::PostMessageW(dialog, WM_CLOSE, 0, 0);
                                                         break;
                                                     case Answer::Escape:
                                                         ::PostMessageW(dialog, WM_COMMAND, IDCANCEL, 0);
                                                         break;
                                                 }
                                                 return true;
                                             },
                                         });
    EXPECT_EQ(result, c.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Styles, MessageBoxResultTest,
    ::testing::Values(ResultCase{0, Answer::First, IDOK}, ResultCase{0, Answer::Close, IDOK},
                      ResultCase{0, Answer::Escape, IDOK}, ResultCase{1, Answer::First, IDOK},
                      ResultCase{1, Answer::Second, IDCANCEL}, ResultCase{1, Answer::Close, IDCANCEL},
                      ResultCase{292, Answer::First, IDYES}, ResultCase{292, Answer::Second, IDNO},
                      ResultCase{292, Answer::Close, IDNO}, ResultCase{292, Answer::Escape, IDNO},
                      // Only the low four bits count: retry/cancel (5) behaves as OK/cancel.
                      ResultCase{MB_RETRYCANCEL | MB_ICONERROR, Answer::Second, IDCANCEL},
                      ResultCase{MB_YESNO | 0xFFFF0000u, Answer::First, IDYES}));

TEST_F(MessageBoxTest, YesNoShowsOkAndCancelAndALoneOkStandsWhereTheFirstOfTwoWould) {
    struct Seen {
        std::wstring first, second;
        bool secondVisible = false;
        RECT firstRect{}, secondRect{}, client{};
    };
    auto look = [](HWND dialog, Seen& seen) {
        const HWND first = ::GetDlgItem(dialog, IDOK), second = ::GetDlgItem(dialog, IDCANCEL);
        seen.first = WindowText(first);
        seen.second = WindowText(second);
        seen.secondVisible = ::IsWindowVisible(second) != FALSE;
        ::GetWindowRect(first, &seen.firstRect);
        ::GetWindowRect(second, &seen.secondRect);
        ::MapWindowPoints(nullptr, dialog, reinterpret_cast<POINT*>(&seen.firstRect), 2);
        ::MapWindowPoints(nullptr, dialog, reinterpret_cast<POINT*>(&seen.secondRect), 2);
        ::GetClientRect(dialog, &seen.client);
        ::PostMessageW(dialog, WM_CLOSE, 0, 0);
    };
    Seen yesNo, single;
    Show(292, {[&] { return FindDialog() != nullptr; },
               [&] {
                   look(FindDialog(), yesNo);
                   return true;
               }});
    Show(0, {[&] { return FindDialog() != nullptr; },
             [&] {
                 look(FindDialog(), single);
                 return true;
             }});

    EXPECT_EQ(yesNo.first, L"OK");
    EXPECT_EQ(yesNo.second, L"Cancel");
    EXPECT_TRUE(yesNo.secondVisible);
    EXPECT_FALSE(single.secondVisible);
    EXPECT_EQ(single.firstRect.left, yesNo.firstRect.left);

    using win::ScaleX;
    using win::ScaleY;
    EXPECT_EQ(yesNo.client.right, ScaleX(470));
    EXPECT_EQ(yesNo.client.bottom, ScaleY(162));
    EXPECT_EQ(yesNo.secondRect.right, yesNo.client.right - ScaleX(15));
    EXPECT_EQ(yesNo.secondRect.right - yesNo.secondRect.left, ScaleX(130));
    EXPECT_EQ(yesNo.secondRect.bottom - yesNo.secondRect.top, ScaleY(36));
    EXPECT_EQ(yesNo.firstRect.right, yesNo.secondRect.left - ScaleX(20));
    // Centred in the bottom band of 50 units (within a pixel of rounding).
    const int band = yesNo.client.bottom - ScaleY(50);
    EXPECT_NEAR(yesNo.firstRect.top - band, yesNo.client.bottom - yesNo.firstRect.bottom, 1);
}

TEST_F(MessageBoxTest, CentredOnTheParentAndCaptionedAsAsked) {
    RECT dialogRect{}, hostRect{};
    std::wstring caption;
    Show(1, {[&] { return FindDialog() != nullptr; },
             [&] {
                 const HWND dialog = FindDialog();
                 ::GetWindowRect(dialog, &dialogRect);
                 caption = WindowText(dialog);
                 ::PostMessageW(dialog, WM_CLOSE, 0, 0);
                 return true;
             }});
    ::GetWindowRect(host->hwnd(), &hostRect);
    EXPECT_EQ(caption, L"Remove");
    EXPECT_NEAR(dialogRect.left + dialogRect.right, hostRect.left + hostRect.right, 1);
    EXPECT_NEAR(dialogRect.top + dialogRect.bottom, hostRect.top + hostRect.bottom, 1);
}

TEST_F(MessageBoxTest, WithoutParentTextOrCaptionItIsCentredOnTheDesktopAndNothingIsShaded) {
    RECT dialogRect{};
    std::wstring caption = L"unset";
    HWND shader = host->hwnd();
    ModalScript script({[&] { return FindDialog() != nullptr; },
                        [&] {
                            ::GetWindowRect(FindDialog(), &dialogRect);
                            caption = WindowText(FindDialog());
                            shader = FindShader();
                            ::PostMessageW(FindDialog(), WM_CLOSE, 0, 0);
                            return true;
                        }});
    EXPECT_EQ(ui::ShowMessageBox(nullptr, nullptr, nullptr, nullptr, MB_OK), IDOK);
    EXPECT_EQ(script.failure(), "");
    EXPECT_EQ(caption, L"");
    EXPECT_EQ(shader, nullptr);
    RECT work{};
    ::SystemParametersInfoW(SPI_GETWORKAREA, 0, &work, 0);
    EXPECT_NEAR(dialogRect.left + dialogRect.right, work.left + work.right, 1);
    EXPECT_NEAR(dialogRect.top + dialogRect.bottom, work.top + work.bottom, 1);
}

TEST_F(MessageBoxTest, LongTextWrapsInGreyAndStopsAtTheBottomOfItsBand) {
    std::wstring text;
    for (int i = 0; i < 40; ++i) text += L"Every recipient listed here will be removed from the book. ";
    ScreenShot* shot = nullptr;
    RECT textRect{}, belowText{};
    Show(0,
         {[&] { return FindDialog() != nullptr; },
          [&] {
              // Let the box paint.
              ::UpdateWindow(FindDialog());
              return true;
          },
          [&] {
              const HWND dialog = FindDialog();
              RECT client{};
              ::GetClientRect(dialog, &client);
              const int margin = win::ScaleX(20), marginY = win::ScaleY(20);
              textRect = ClientToScreenRect(dialog, RECT{margin, marginY, client.right - margin,
                                                         client.bottom - win::ScaleY(50) - marginY});
              // Between the text's band and the buttons.
              RECT button{};
              ::GetWindowRect(::GetDlgItem(dialog, IDOK), &button);
              belowText = RECT{textRect.left, textRect.bottom, textRect.right, button.top - 1};
              shot = new ScreenShot();
              ::PostMessageW(dialog, WM_CLOSE, 0, 0);
              return true;
          }},
         nullptr, text.c_str());
    ASSERT_NE(shot, nullptr);
    std::unique_ptr<ScreenShot> owned(shot);
    EXPECT_GT(shot->Count(textRect, RGB(85, 85, 85), 4), 50) << "the text is grey";
    EXPECT_EQ(shot->Count(textRect, RGB(0, 0, 0), 20), 0) << "and never black";
    EXPECT_GT(shot->Darkest(belowText), Brightness(RGB(85, 85, 85)) + 60)
        << "nothing is drawn below the band";
}

}  // namespace
