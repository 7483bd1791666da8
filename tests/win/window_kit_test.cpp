// The window kit: message maps with chained layers, the default processing
// of what no layer handles, dialog results, subclassing and the end of a
// window's life as its object sees it. (Mirroring for right-to-left
// languages is checked on the module's own dialogs by the text-fit tests.)
#include "win/controls.h"
#include "win/window_impl.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

constexpr UINT kPing = WM_APP + 1;
constexpr UINT kPass = WM_APP + 2;

// The lower layer of a two-layer window, as the list view's mix-ins stack.
template <class T>
class CountingLayer {
public:
    std::vector<std::string> seen;

    BEGIN_MSG_MAP(CountingLayer)
        MESSAGE_HANDLER(kPing, OnLower)
        MESSAGE_HANDLER(kPass, OnLower)
    END_MSG_MAP()

    LRESULT OnLower(UINT, WPARAM, LPARAM, BOOL&) {
        seen.push_back("lower");
        return 2;
    }
};

class TwoLayerWindow : public win::WindowImpl<TwoLayerWindow>, public CountingLayer<TwoLayerWindow> {
public:
    int finalMessages = 0;

    BEGIN_MSG_MAP(TwoLayerWindow)
        MESSAGE_HANDLER(kPing, OnUpper)
        MESSAGE_HANDLER(kPass, OnUpperPassing)
        CHAIN_MSG_MAP(CountingLayer<TwoLayerWindow>)
    END_MSG_MAP()

    LRESULT OnUpper(UINT, WPARAM, LPARAM, BOOL&) {
        seen.push_back("upper");
        return 1;
    }
    LRESULT OnUpperPassing(UINT, WPARAM, LPARAM, BOOL& handled) {
        seen.push_back("upper");
        handled = FALSE;
        return 1;
    }
    void OnFinalMessage(HWND) override { ++finalMessages; }
};

TEST(WindowKitTest, MessagesGoThroughTheLayersInOrderAndTheRestToTheDefault) {
    TwoLayerWindow window;
    ASSERT_TRUE(window.Create(nullptr, RECT{0, 0, 100, 100}, L"kit window", WS_POPUP));

    EXPECT_EQ(window.SendMessage(kPing), 1);
    EXPECT_EQ(window.seen, (std::vector<std::string>{"upper"}));

    window.seen.clear();
    EXPECT_EQ(window.SendMessage(kPass), 2) << "a handler that lets go hands the message to the chained layer";
    EXPECT_EQ(window.seen, (std::vector<std::string>{"upper", "lower"}));

    EXPECT_EQ(window.GetText(), L"kit window") << "unhandled messages reach the default processing";

    const HWND hwnd = window.hwnd();
    ::DestroyWindow(hwnd);
    EXPECT_EQ(window.hwnd(), nullptr);
    EXPECT_EQ(window.finalMessages, 1);
}

class KitDialog : public win::DialogImpl<KitDialog> {
public:
    enum { IDD = 901 };
    LRESULT notifyResult = 0;

    BEGIN_MSG_MAP(KitDialog)
        MESSAGE_HANDLER(WM_INITDIALOG, OnInitDialog)
        MESSAGE_HANDLER(kPing, OnPing)
        NOTIFY_HANDLER(300, NM_CLICK, OnClick)
        COMMAND_ID_HANDLER(IDCANCEL, OnCancel)
    END_MSG_MAP()

    LRESULT OnInitDialog(UINT, WPARAM, LPARAM, BOOL&) {
        // A notification's result must come back to its sender.
        NMHDR header{};
        header.hwndFrom = GetDlgItem(300);
        header.idFrom = 300;
        header.code = UINT(NM_CLICK);
        notifyResult = SendMessage(WM_NOTIFY, 300, reinterpret_cast<LPARAM>(&header));
        PostMessage(kPing, 7);
        return TRUE;
    }
    LRESULT OnClick(int, NMHDR*, BOOL&) { return 42; }
    LRESULT OnPing(UINT, WPARAM wParam, LPARAM, BOOL&) {
        EndDialog(INT_PTR(wParam));
        return 0;
    }
    LRESULT OnCancel(WORD, WORD, HWND, BOOL&) {
        EndDialog(IDCANCEL);
        return 0;
    }
};

TEST(WindowKitTest, ModalDialogReturnsWhatItEndsWithAndNotificationsReturnTheirResult) {
    KitDialog dialog;
    EXPECT_EQ(dialog.DoModal(nullptr, ::GetModuleHandleW(nullptr)), 7);
    EXPECT_EQ(dialog.notifyResult, 42);
    EXPECT_EQ(dialog.hwnd(), nullptr);
}

TEST(WindowKitTest, AWindowOrModelessDialogWhoseObjectGoesFirstGoesWithIt) {
    HWND window = nullptr, dialog = nullptr;
    {
        TwoLayerWindow windowObject;
        KitDialog dialogObject;
        window = windowObject.Create(nullptr, RECT{0, 0, 10, 10}, L"", WS_POPUP);
        dialog = dialogObject.Create(nullptr, ::GetModuleHandleW(nullptr));
        ASSERT_TRUE(window && dialog);
        EXPECT_EQ(::GetDlgCtrlID(dialogObject.GetDlgItem(300)), 300);
    }
    EXPECT_FALSE(::IsWindow(window));
    EXPECT_FALSE(::IsWindow(dialog));
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
    ASSERT_TRUE(edit.hwnd());
    DigitFilter filter;
    ASSERT_TRUE(filter.Subclass(edit));
    EXPECT_FALSE(filter.Subclass(edit)) << "one window at a time";
    for (wchar_t c : std::wstring(L"a1b2")) edit.SendMessage(WM_CHAR, c, 1);
    EXPECT_EQ(edit.GetText(), L"ab");

    filter.Unsubclass();
    edit.SendMessage(WM_CHAR, L'3', 1);
    EXPECT_EQ(edit.GetText(), L"ab3");

    ASSERT_TRUE(filter.Subclass(edit));
    ::DestroyWindow(edit);
    EXPECT_EQ(filter.hwnd(), nullptr);
    EXPECT_EQ(filter.finalMessages, 1);
}

}  // namespace
