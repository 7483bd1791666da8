// The skinned message box with real windows: the result of each button type
// for each way of answering, where it stands, what it covers, that its cover
// and shadow go with it, and the calls the host's skin service gets.
#include "ui/edc_blend.h"
#include "ui/entry_info_dlg.h"
#include "ui/message_box_dlg.h"

#include "support/test_support.h"
#include "ui_harness.h"

#include <gtest/gtest.h>

namespace {

using namespace ui_test;

class MessageBoxTest : public HostedTest<> {
protected:
    INT_PTR Show(UINT style, std::vector<ModalScript::Step> steps) {
        return Modal([&] { return ui::ShowMessageBox(nullptr, host.get(), L"Remove 2?", L"Remove", style); }, std::move(steps));
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
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "style " << c.style << " answer " << c.answer);
        EXPECT_EQ(c.expected, Show(c.style, {Do([&] {
                                       EXPECT_EQ(WindowText(Item(IDOK)) + L"/" + WindowText(Item(IDCANCEL)), L"OK/Cancel");
                                       EXPECT_EQ(::IsWindowVisible(Item(IDCANCEL)) != FALSE, c.style != 0);
                                       if (c.answer == First || c.answer == Second)
                                           ::SendMessageW(Item(c.answer == First ? IDOK : IDCANCEL), BM_CLICK, 0, 0);
                                       else
                                           ::PostMessageW(dialog, c.answer == Close ? WM_CLOSE : WM_COMMAND, IDCANCEL, 0);
                                   })}));
    }
}

// Centred on and covering the window given (a nested page), or without one
// centred on the desktop and unshaded; the cover and shadow go with the box.
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
                             EXPECT_TRUE(!parent || FindShadow());
                             EXPECT_EQ(WindowText(dialog), L"") << "no caption";
                             EXPECT_TRUE(!parent || ::EqualRect(&cover, &around)) << "the page is covered";
                         }),
                         CloseDialog()}),
                  IDOK);
    }
}

// The skin gets "Window", then the themes (the box itself and both buttons,
// the entry dialog its buttons), none when "Window" failed.
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
