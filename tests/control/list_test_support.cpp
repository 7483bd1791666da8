// The list tests' host window, key and mouse input, and screenshots.
#include "list_test_support.h"

#include "support/test_support.h"

#include "com/unique_any.h"

#include <gdiplus.h>

namespace listtest {

void Pump(DWORD ms) {
    const DWORD end = ::GetTickCount() + ms;
    MSG message;
    do {
        while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            ::TranslateMessage(&message);
            ::DispatchMessageW(&message);
        }
        ::Sleep(1);
    } while (int(::GetTickCount() - end) < 0);
}

void PressKey(HWND window, UINT key, bool shift) {
    BYTE state[256] = {};
    ::GetKeyboardState(state);
    const BYTE saved = state[VK_SHIFT];
    state[VK_SHIFT] = shift ? 0x80 : 0;
    ::SetKeyboardState(state);
    ::SendMessageW(window, WM_KEYDOWN, key, 1);
    ::GetKeyboardState(state);
    state[VK_SHIFT] = saved;
    ::SetKeyboardState(state);
}

void Type(HWND window, const std::wstring& text) {
    for (const wchar_t c : text) ::SendMessageW(window, WM_CHAR, c, 1);
}

void Click(HWND window, POINT client, int times) {
    // Two clicks within the double-click time would make the second a
    // double click; and the window's top level must be the active one.
    static DWORD lastClick = 0;
    const DWORD since = ::GetTickCount() - lastClick;
    if (since < ::GetDoubleClickTime() + 50) Pump(::GetDoubleClickTime() + 50 - since);
    ::SetForegroundWindow(::GetAncestor(window, GA_ROOT));
    ::ClientToScreen(window, &client);
    ::SetCursorPos(client.x, client.y);
    // The pointer reaches its place through the display server, which may
    // lag on a loaded machine: the press must not land where it was.
    for (int turn = 0; turn < 50; ++turn) {
        Pump(20);
        POINT at{};
        if (::GetCursorPos(&at) && at.x == client.x && at.y == client.y) break;
    }
    Pump(30);
    lastClick = ::GetTickCount();
    // Every press and release carries its own position as well: on a loaded
    // machine the display server may report the pointer in place before the
    // warp has really reached it, and a bare press would land where it was.
    const int width = ::GetSystemMetrics(SM_CXVIRTUALSCREEN), height = ::GetSystemMetrics(SM_CYVIRTUALSCREEN);
    INPUT input[4] = {};
    for (int i = 0; i < times * 2; ++i) {
        input[i].type = INPUT_MOUSE;
        input[i].mi.dx = LONG((client.x * 65535LL) / (width - 1));
        input[i].mi.dy = LONG((client.y * 65535LL) / (height - 1));
        input[i].mi.dwFlags =
            MOUSEEVENTF_MOVE | MOUSEEVENTF_ABSOLUTE | (i % 2 ? MOUSEEVENTF_LEFTUP : MOUSEEVENTF_LEFTDOWN);
    }
    ::SendInput(UINT(times * 2), input, sizeof(INPUT));
    Pump(200);
    lastClick = ::GetTickCount();
}

bool SaveScreenshot(HWND window, const std::wstring& name) {
    // What the screen shows over the window (Wine reads it back from the X server).
    RECT rect{};
    ::GetWindowRect(window, &rect);
    const int width = rect.right - rect.left;
    const int height = rect.bottom - rect.top;
    const HDC screen = ::GetDC(nullptr);
    const HDC memory = ::CreateCompatibleDC(screen);
    com::UniqueGdiObject bitmap(::CreateCompatibleBitmap(screen, width, height));
    const HGDIOBJ old = ::SelectObject(memory, bitmap.get());
    ::BitBlt(memory, 0, 0, width, height, screen, rect.left, rect.top, SRCCOPY);
    ::SelectObject(memory, old);
    ::DeleteDC(memory);
    ::ReleaseDC(nullptr, screen);

    Gdiplus::GdiplusStartupInput input;
    ULONG_PTR token = 0;
    if (Gdiplus::GdiplusStartup(&token, &input, nullptr) != Gdiplus::Ok) return false;
    bool saved = false;
    {
        Gdiplus::Bitmap image(static_cast<HBITMAP>(bitmap.get()), nullptr);
        const std::wstring folder = testing_support::BinDir() + L"artifacts";
        ::CreateDirectoryW(folder.c_str(), nullptr);
        // The PNG encoder of GDI+.
        static const CLSID png = {0x557cf406, 0x1a04, 0x11d3, {0x9a, 0x73, 0x00, 0x00, 0xf8, 0x1e, 0xf3, 0x2e}};
        saved = image.Save((folder + L"\\" + name).c_str(), &png, nullptr) == Gdiplus::Ok;
    }
    Gdiplus::GdiplusShutdown(token);
    return saved;
}

void ListFixture::SetUp() {
    ASSERT_TRUE(host.Create(nullptr, RECT{20, 20, 420, 320}, L"list host", WS_OVERLAPPEDWINDOW | WS_VISIBLE));
    // The style word of the list in the control's dialog template.
    const HWND hwnd = ::CreateWindowExW(0, WC_LISTVIEWW, L"", 0x50830209, 10, 10, 360, 240, host, HMENU(204), nullptr,
                                        nullptr);
    ASSERT_TRUE(hwnd);
    ASSERT_TRUE(list.Attach(hwnd));
    view = win::ListViewCtrl(hwnd);
    list.SetUpColumns(L"#", L"Name", L"Fax Number", listview::CreateSortArrowImages());
    ::SetForegroundWindow(host);
    ::SetFocus(hwnd);
}

void ListFixture::TearDown() {
    list.Detach();
    ::DestroyWindow(host);
    Pump(10);
}

void ListFixture::Fill(const std::vector<Row>& rows) {
    for (const Row& row : rows) {
        const std::wstring number = std::to_wstring(view.GetItemCount() + 1);
        list.AppendRow(row.key, {number.c_str(), row.name, row.fax});
    }
}

std::vector<std::wstring> ListFixture::Column(int column) const {
    std::vector<std::wstring> texts;
    for (int row = 0; row < view.GetItemCount(); ++row) texts.push_back(view.GetItemText(row, column));
    return texts;
}

std::vector<LPARAM> ListFixture::KeysInOrder() const {
    std::vector<LPARAM> keys;
    for (int row = 0; row < view.GetItemCount(); ++row) keys.push_back(view.GetItemData(row));
    return keys;
}

}  // namespace listtest
