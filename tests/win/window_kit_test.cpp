// The window kit: chained message maps, default processing, dialog results,
// subclassing and a window's end as its object sees it.
#include "win/controls.h"
#include "win/window_impl.h"

#include <gtest/gtest.h>

#include <string>

namespace {

constexpr UINT kPing = WM_APP + 1, kPass = WM_APP + 2;

// The lower layer of a two-layer window, as the list view's mix-ins stack.
template <class T>
class LowerLayer {
public:
    std::string seen;
    BEGIN_MSG_MAP(LowerLayer)
        MESSAGE_RANGE_HANDLER(kPing, kPass, OnLower)
    END_MSG_MAP()
    LRESULT OnLower(UINT, WPARAM, LPARAM, BOOL&) { return seen += "lower ", 2; }
};

class TwoLayerWindow : public win::WindowImpl<TwoLayerWindow>, public LowerLayer<TwoLayerWindow> {
public:
    int finalMessages = 0;
    BEGIN_MSG_MAP(TwoLayerWindow)
        MESSAGE_RANGE_HANDLER(kPing, kPass, OnUpper)
        CHAIN_MSG_MAP(LowerLayer<TwoLayerWindow>)
    END_MSG_MAP()
    // Lets kPass go on to the chained layer.
    LRESULT OnUpper(UINT message, WPARAM, LPARAM, BOOL& handled) {
        handled = message == kPing;
        return seen += "upper ", 1;
    }
    void OnFinalMessage(HWND) override { ++finalMessages; }
};

TEST(WindowKitTest, MessagesGoThroughTheLayersInOrderAndTheRestToTheDefault) {
    TwoLayerWindow window;
    ASSERT_TRUE(window.Create(nullptr, RECT{0, 0, 100, 100}, L"kit window", WS_POPUP));
    EXPECT_EQ(window.SendMessage(kPing), 1);
    EXPECT_EQ(window.SendMessage(kPass), 2);
    EXPECT_EQ(window.seen, "upper upper lower ");
    EXPECT_EQ(window.GetText(), L"kit window") << "unhandled messages reach the default processing";
    ::DestroyWindow(window.hwnd());
    EXPECT_EQ(window.hwnd(), nullptr);
    EXPECT_EQ(window.finalMessages, 1);
}

// Dialog 901 sends itself a notification at start and posts its end.
class KitDialog : public win::DialogImpl<KitDialog> {
public:
    enum { IDD = 901 };
    LRESULT notifyResult = 0;
    BEGIN_MSG_MAP(KitDialog)
        MESSAGE_HANDLER(WM_INITDIALOG, OnInitDialog)
        MESSAGE_HANDLER(kPing, OnPing)
        NOTIFY_HANDLER(300, NM_CLICK, OnClick)
    END_MSG_MAP()
    LRESULT OnInitDialog(UINT, WPARAM, LPARAM, BOOL&) {
        NMHDR header{GetDlgItem(300), 300, UINT(NM_CLICK)};
        notifyResult = SendMessage(WM_NOTIFY, 300, reinterpret_cast<LPARAM>(&header));
        PostMessage(kPing, 7);
        return TRUE;
    }
    LRESULT OnClick(int, NMHDR*, BOOL&) { return 42; }
    LRESULT OnPing(UINT, WPARAM wParam, LPARAM, BOOL&) { return EndDialog(INT_PTR(wParam)), 0; }
};

// A modal dialog returns what it ends with; a window or modeless dialog
// whose object goes first goes with it.
TEST(WindowKitTest, DialogsReturnTheirResultAndWindowsGoWithTheirObjects) {
    KitDialog modal;
    EXPECT_EQ(modal.DoModal(nullptr, ::GetModuleHandleW(nullptr)), 7);
    EXPECT_EQ(modal.notifyResult, 42);
    EXPECT_EQ(modal.hwnd(), nullptr);

    HWND window = nullptr, dialog = nullptr;
    {
        TwoLayerWindow windowObject;
        KitDialog dialogObject;
        window = windowObject.Create(nullptr, RECT{0, 0, 10, 10}, L"", WS_POPUP);
        dialog = dialogObject.Create(nullptr, ::GetModuleHandleW(nullptr));
        ASSERT_TRUE(window && dialog);
        EXPECT_EQ(::GetDlgCtrlID(dialogObject.GetDlgItem(300)), 300);
    }
    EXPECT_FALSE(::IsWindow(window) || ::IsWindow(dialog));
}

// Swallows digits typed into an edit box it does not own.
class DigitFilter : public win::SubclassImpl<DigitFilter> {
public:
    int finalMessages = 0;
    BEGIN_MSG_MAP(DigitFilter)
        MESSAGE_HANDLER(WM_CHAR, OnChar)
    END_MSG_MAP()
    LRESULT OnChar(UINT, WPARAM wParam, LPARAM, BOOL& handled) {
        handled = wParam >= L'0' && wParam <= L'9';
        return 0;
    }
    void OnFinalMessage(HWND) override { ++finalMessages; }
};

TEST(WindowKitTest, SubclassSeesTheWindowsMessagesFirstUntilItGoes) {
    win::EditCtrl edit(::CreateWindowExW(0, L"EDIT", L"", WS_POPUP, 0, 0, 100, 20, nullptr, nullptr, nullptr, nullptr));
    DigitFilter filter;
    ASSERT_TRUE(filter.Subclass(edit));
    EXPECT_FALSE(filter.Subclass(edit)) << "one window at a time";
    for (wchar_t c : std::wstring(L"a1b2")) edit.SendMessage(WM_CHAR, c, 1);
    filter.Unsubclass();
    edit.SendMessage(WM_CHAR, L'3', 1);
    EXPECT_EQ(edit.GetText(), L"ab3");
    ASSERT_TRUE(filter.Subclass(edit));
    ::DestroyWindow(edit);
    EXPECT_EQ(filter.hwnd(), nullptr);
    EXPECT_EQ(filter.finalMessages, 1);
}

}  // namespace
