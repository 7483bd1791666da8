// The skinned message box with real windows: the result of each button type
// for each way of answering, what it shows, where it stands and what it
// covers, and its text kept out of the button band.
#include "ui/message_box_dlg.h"

#include "ui_harness.h"
#include "win/display.h"

#include <gtest/gtest.h>

#include <map>

namespace {

using namespace ui_test;

class MessageBoxTest : public HostedTest<> {
protected:
    // Shows the box over the window with the steps; the first step waits for it.
    INT_PTR Show(UINT style, std::vector<ModalScript::Step> steps, const wchar_t* text = L"Remove 2 recipients?",
                 HWND parent = nullptr) {
        steps.insert(steps.begin(), [this] { return (dialog = FindDialog()) != nullptr; });
        ModalScript script(std::move(steps));
        const INT_PTR result = ui::ShowMessageBox(nullptr, parent ? parent : host.get(), text, L"Remove", style);
        EXPECT_TRUE(script.Finished());
        EXPECT_EQ(script.failure(), "");
        return result;
    }
    HWND Button(int id) const { return ::GetDlgItem(dialog, id); }
    HWND dialog = nullptr;
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
                                       EXPECT_EQ(WindowText(Button(IDOK)), L"OK");
                                       EXPECT_EQ(WindowText(Button(IDCANCEL)), L"Cancel");
                                       EXPECT_EQ(::IsWindowVisible(Button(IDCANCEL)) != FALSE, c.style != 0);
                                       RECT first{};
                                       ::GetWindowRect(Button(IDOK), &first);
                                       RECT box{};
                                       ::GetWindowRect(dialog, &box);
                                       firstLeft[c.style] = first.left - box.left;
                                       if (c.answer == First || c.answer == Second)
                                           ::SendMessageW(Button(c.answer == First ? IDOK : IDCANCEL), BM_CLICK, 0, 0);
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
    const HWND page = ::CreateWindowExW(0, L"STATIC", L"", WS_CHILD | WS_VISIBLE, 300, 200, 380, 300, host.get(),
                                        nullptr, nullptr, nullptr);
    ASSERT_TRUE(page);
    RECT pageRect{};
    ::GetWindowRect(page, &pageRect);
    Show(MB_YESNO, {Do([&] {
                        RECT box{}, cover{};
                        ::GetWindowRect(dialog, &box);
                        EXPECT_NEAR(box.left + box.right, pageRect.left + pageRect.right, 1);
                        EXPECT_NEAR(box.top + box.bottom, pageRect.top + pageRect.bottom, 1);
                        ASSERT_TRUE(FindShader());
                        ::GetWindowRect(FindShader(), &cover);
                        EXPECT_TRUE(::EqualRect(&cover, &pageRect)) << "the page is covered";
                    }),
                    CloseDialog()},
         L"Are you sure?", page);
    ::DestroyWindow(page);

    ModalScript script({[&] { return FindDialog() != nullptr; }, Do([&] {
                            RECT box{}, work{};
                            ::GetWindowRect(FindDialog(), &box);
                            ::SystemParametersInfoW(SPI_GETWORKAREA, 0, &work, 0);
                            EXPECT_NEAR(box.left + box.right, work.left + work.right, 1);
                            EXPECT_NEAR(box.top + box.bottom, work.top + work.bottom, 1);
                            EXPECT_EQ(WindowText(FindDialog()), L"");
                            EXPECT_EQ(FindShader(), nullptr);
                        }),
                        CloseDialog()});
    EXPECT_EQ(ui::ShowMessageBox(nullptr, nullptr, nullptr, nullptr, MB_OK), IDOK);
    EXPECT_TRUE(script.Finished());
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
              RECT client{}, button{};
              ::GetClientRect(dialog, &client);
              ::GetWindowRect(Button(IDOK), &button);
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

}  // namespace
