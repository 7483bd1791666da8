// The skinned message box with real windows: results of each button type
// for each way of answering, the layout, the text's colour and its band,
// the cover over the host and the shadow behind the box.
#include "ui/message_box_dlg.h"

#include "ui_harness.h"
#include "win/display.h"

#include <gtest/gtest.h>

namespace {

using namespace ui_test;

class MessageBoxTest : public HostedTest<> {
protected:
    // Shows the box over the host with the steps; the first step waits for it.
    INT_PTR Show(UINT style, std::vector<ModalScript::Step> steps,
                 const wchar_t* text = L"Are you sure you want to remove selected 2 recipient(s)?") {
        steps.insert(steps.begin(), [this] { return (dialog = FindDialog()) != nullptr; });
        ModalScript script(std::move(steps));
        const INT_PTR result = ui::ShowMessageBox(nullptr, host.get(), text, L"Remove", style);
        EXPECT_TRUE(script.Finished());
        EXPECT_EQ(script.failure(), "");
        return result;
    }
    HWND dialog = nullptr;
};

enum class Answer { First, Second, Close, Escape };

struct ResultCase {
    UINT style;
    Answer answer;
    INT_PTR expected;
};

class MessageBoxResultTest : public MessageBoxTest, public ::testing::WithParamInterface<ResultCase> {};

TEST_P(MessageBoxResultTest, EachButtonTypeAnswersWithItsResult) {
    const Answer answer = GetParam().answer;
    EXPECT_EQ(GetParam().expected,
              Show(GetParam().style, {Do([&] {
                       if (answer == Answer::First || answer == Answer::Second)
                           ClickWindow(::GetDlgItem(dialog, answer == Answer::First ? IDOK : IDCANCEL));
                       else if (answer == Answer::Close)
                           ::PostMessageW(dialog, WM_CLOSE, 0, 0);
                       else
                           ::PostMessageW(dialog, WM_COMMAND, IDCANCEL, 0);
                   })}));
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

TEST_F(MessageBoxTest, LayoutShowsYesNoAsOkAndCancelAndALoneOkWhereTheFirstOfTwoWouldCentredOnTheParent) {
    using win::ScaleX;
    using win::ScaleY;
    LONG firstLeft = -1;
    Show(292, {Do([&] {
                   const HWND first = ::GetDlgItem(dialog, IDOK), second = ::GetDlgItem(dialog, IDCANCEL);
                   const RECT firstRect = ChildRect(dialog, first), secondRect = ChildRect(dialog, second);
                   RECT client{}, window{}, hostRect{};
                   ::GetClientRect(dialog, &client);
                   ::GetWindowRect(dialog, &window);
                   ::GetWindowRect(host.get(), &hostRect);
                   EXPECT_EQ(WindowText(first), L"OK");
                   EXPECT_EQ(WindowText(second), L"Cancel");
                   EXPECT_TRUE(::IsWindowVisible(second));
                   EXPECT_EQ(WindowText(dialog), L"Remove");
                   EXPECT_EQ(client.right, ScaleX(470));
                   EXPECT_EQ(client.bottom, ScaleY(162));
                   EXPECT_EQ(secondRect.right, client.right - ScaleX(15));
                   EXPECT_EQ(secondRect.right - secondRect.left, ScaleX(130));
                   EXPECT_EQ(secondRect.bottom - secondRect.top, ScaleY(36));
                   EXPECT_EQ(firstRect.right, secondRect.left - ScaleX(20));
                   // Centred in the bottom band of 50 units (within a pixel of rounding).
                   const int band = client.bottom - ScaleY(50);
                   EXPECT_NEAR(firstRect.top - band, client.bottom - firstRect.bottom, 1);
                   EXPECT_NEAR(window.left + window.right, hostRect.left + hostRect.right, 1);
                   EXPECT_NEAR(window.top + window.bottom, hostRect.top + hostRect.bottom, 1);
                   firstLeft = firstRect.left;
               }),
               CloseDialog()});
    Show(0, {Do([&] {
                 EXPECT_FALSE(::IsWindowVisible(::GetDlgItem(dialog, IDCANCEL)));
                 EXPECT_EQ(ChildRect(dialog, ::GetDlgItem(dialog, IDOK)).left, firstLeft);
             }),
             CloseDialog()});
}

// A host that nests the control in a page of its dialog passes that page:
// the box is centred on the page and the cover lies over the page, not over
// the whole top-level window.
TEST_F(MessageBoxTest, ANestedPageIsWhatIsCoveredAndWhatTheBoxIsCentredOn) {
    const HWND page = ::CreateWindowExW(0, L"STATIC", L"", WS_CHILD | WS_VISIBLE, 300, 200, 380, 300,
                                        host.get(), nullptr, nullptr, nullptr);
    ASSERT_TRUE(page);
    RECT pageRect{};
    ::GetWindowRect(page, &pageRect);
    ModalScript script({[&] { return FindDialog() != nullptr; }, Do([&] {
                            RECT window{}, cover{};
                            ::GetWindowRect(FindDialog(), &window);
                            EXPECT_NEAR(window.left + window.right, pageRect.left + pageRect.right, 1);
                            EXPECT_NEAR(window.top + window.bottom, pageRect.top + pageRect.bottom, 1);
                            const HWND shader = FindShader();
                            ASSERT_TRUE(shader);
                            ::GetWindowRect(shader, &cover);
                            EXPECT_TRUE(::EqualRect(&cover, &pageRect)) << "the page is covered";
                        }),
                        CloseDialog()});
    ui::ShowMessageBox(nullptr, page, L"Are you sure?", L"Remove", MB_YESNO);
    EXPECT_TRUE(script.Finished());
    EXPECT_EQ(script.failure(), "");
    ::DestroyWindow(page);
}

TEST_F(MessageBoxTest, WithoutParentTextOrCaptionItIsCentredOnTheDesktopAndNothingIsShaded) {
    ModalScript script({[&] { return FindDialog() != nullptr; }, Do([&] {
                            RECT window{}, work{};
                            ::GetWindowRect(FindDialog(), &window);
                            ::SystemParametersInfoW(SPI_GETWORKAREA, 0, &work, 0);
                            EXPECT_NEAR(window.left + window.right, work.left + work.right, 1);
                            EXPECT_NEAR(window.top + window.bottom, work.top + work.bottom, 1);
                            EXPECT_EQ(WindowText(FindDialog()), L"");
                            EXPECT_EQ(FindShader(), nullptr);
                        }),
                        CloseDialog()});
    EXPECT_EQ(ui::ShowMessageBox(nullptr, nullptr, nullptr, nullptr, MB_OK), IDOK);
    EXPECT_TRUE(script.Finished());
    EXPECT_EQ(script.failure(), "");
}

TEST_F(MessageBoxTest, LongTextWrapsInGreyAndStopsAtTheBottomOfItsBand) {
    std::wstring text;
    for (int i = 0; i < 40; ++i) text += L"Every recipient listed here will be removed from the book. ";
    std::unique_ptr<ScreenShot> shot;
    RECT textRect{}, belowText{};
    Show(0,
         {Do([&] { ::UpdateWindow(dialog); }),  // let the box paint
          Do([&] {
              RECT client{}, button{};
              ::GetClientRect(dialog, &client);
              const int margin = win::ScaleX(20), marginY = win::ScaleY(20);
              textRect = ClientToScreenRect(dialog, RECT{margin, marginY, client.right - margin,
                                                         client.bottom - win::ScaleY(50) - marginY});
              // Between the text's band and the buttons.
              ::GetWindowRect(::GetDlgItem(dialog, IDOK), &button);
              belowText = RECT{textRect.left, textRect.bottom, textRect.right, button.top - 1};
              shot = std::make_unique<ScreenShot>();
              ::PostMessageW(dialog, WM_CLOSE, 0, 0);
          })},
         text.c_str());
    ASSERT_TRUE(shot);
    EXPECT_GT(shot->Count(textRect, RGB(85, 85, 85), 4), 50) << "the text is grey";
    EXPECT_EQ(shot->Count(textRect, RGB(0, 0, 0), 20), 0) << "and never black";
    EXPECT_GT(shot->Darkest(belowText), Brightness(RGB(85, 85, 85)) + 60)
        << "nothing is drawn below the band";
}

}  // namespace
