// Pictures of the dialogs for people to look at (no test uses them). Built
// on request (target ui_screens) and run by scripts/screens/screenshots.sh.
// Shows one of the dialogs over a host window for a screenshot and waits:
//     ui_screens.exe entry|message|shadow OUTPUT_FOLDER
// "entry": the entry dialog refusing a recipient the book already holds
// (red warning with its image); "message": the message box over the shaded
// host; "shadow": the shadow's own pixels over white, enlarged four times
// (Xvfb has no compositor, so the screen shows layered windows unblended).
// When the scene is up it saves the screen as this process sees it
// (<scene>_<dpi>dpi_gdi.png), prints READY and waits until the file "done"
// appears in the folder (at most 20 s), so that a screenshot of the X
// display can be taken meanwhile.
#include "sources/mru_store.h"
#include "ui/edc_blend.h"
#include "ui/entry_info_dlg.h"
#include "ui/gdiplus_include.h"
#include "ui/message_box_dlg.h"
#include "win/display.h"

#include "ui_harness.h"

#include <cstdio>
#include <cstring>
#include <string>

namespace {

std::wstring g_folder;
std::wstring g_scene;

std::wstring OutputName(const wchar_t* suffix) {
    return g_folder + L"\\" + g_scene + L"_" + std::to_wstring(win::ScreenDpiY()) + L"dpi" + suffix;
}

// Writes 32-bit ARGB pixels, top-down rows, as a PNG file.
bool SavePng(std::vector<DWORD>& pixels, int width, int height, const std::wstring& path) {
    Gdiplus::GdiplusStartupInput input;
    ULONG_PTR token = 0;
    if (Gdiplus::GdiplusStartup(&token, &input, nullptr) != Gdiplus::Ok) return false;
    bool saved = false;
    {
        Gdiplus::Bitmap bitmap(width, height, width * 4, PixelFormat32bppARGB,
                               reinterpret_cast<BYTE*>(pixels.data()));
        // The PNG encoder's class identifier.
        const CLSID png = {0x557cf406, 0x1a04, 0x11d3, {0x9a, 0x73, 0x00, 0x00, 0xf8, 0x1e, 0xf3, 0x2e}};
        saved = bitmap.Save(path.c_str(), &png, nullptr) == Gdiplus::Ok;
    }
    Gdiplus::GdiplusShutdown(token);
    return saved;
}

// Saves the screen as this process sees it (read back with BitBlt),
// announces the scene and waits for the go-ahead.
bool Announce() {
    ::UpdateWindow(ui_test::FindDialog());
    const int width = ::GetSystemMetrics(SM_CXVIRTUALSCREEN), height = ::GetSystemMetrics(SM_CYVIRTUALSCREEN);
    std::vector<DWORD> opaque(size_t(width) * size_t(height));
    const HDC screen = ::GetDC(nullptr);
    const HDC memory = ::CreateCompatibleDC(screen);
    BITMAPINFO info{{sizeof(BITMAPINFOHEADER), width, -height, 1, 32, BI_RGB, 0, 0, 0, 0, 0}, {}};
    void* bits = nullptr;
    const HBITMAP bitmap = ::CreateDIBSection(screen, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    const HGDIOBJ previous = ::SelectObject(memory, bitmap);
    ::BitBlt(memory, 0, 0, width, height, screen, 0, 0, SRCCOPY);
    ::GdiFlush();
    memcpy(opaque.data(), bits, opaque.size() * 4);
    ::SelectObject(memory, previous);
    ::DeleteObject(bitmap);
    ::DeleteDC(memory);
    ::ReleaseDC(nullptr, screen);
    for (DWORD& p : opaque) p |= 0xFF000000u;
    SavePng(opaque, width, height, OutputName(L"_gdi.png"));
    std::printf("READY %ls\n", g_scene.c_str());
    std::fflush(stdout);
    const std::wstring done = g_folder + L"\\done";
    for (int i = 0; i < 200 && ::GetFileAttributesW(done.c_str()) == INVALID_FILE_ATTRIBUTES; ++i) {
        MSG message;
        while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageW(&message);
        ::Sleep(100);
    }
    return true;
}

int EntryScene(HWND host) {
    ::RegDeleteTreeW(HKEY_CURRENT_USER, kMRUKeyPath);
    ui_test::MRUOwner owner;
    CRecipient ann = ui_test::Recipient(L"s1", L"Ann Example", L"+49 30 1234567");
    owner.Source()->Add(ann);
    ui::CEntryInfoDlg dialog(ui::CEntryInfoDlg::ModeView, ann, &owner);
    HWND window = nullptr;
    ui_test::ModalScript script({[&] { return (window = ui_test::FindDialog()) != nullptr; },
                                 [&] {
                                     ::SendMessageW(::GetDlgItem(window, 215), BM_CLICK, 0, 0);  // Edit
                                     ::SendMessageW(::GetDlgItem(window, 215), BM_CLICK, 0, 0);  // Save
                                     return dialog.IsDuplicate();
                                 },
                                 Announce, ui_test::CloseDialog()});
    ui::DoModalShaded(dialog, host);
    ::RegDeleteTreeW(HKEY_CURRENT_USER, kMRUKeyPath);
    return script.failure().empty() ? 0 : 1;
}

int MessageScene(HWND host) {
    ui_test::ModalScript script(
        {[] { return ui_test::FindDialog() != nullptr; }, Announce, ui_test::CloseDialog()});
    ui::ShowMessageBox(nullptr, host, L"Are you sure you want to remove selected 2 recipient(s)?", L"Remove",
                       292);
    return script.failure().empty() ? 0 : 1;
}

// The shadow of a 120 by 60 pixel dialog over white, each pixel shown as 4.
int ShadowScene() {
    ui::MoonlightShadow shadow;
    std::vector<DWORD> bits;
    SIZE size{};
    if (!shadow.Draw(SIZE{120, 60}, bits, size)) return 1;
    constexpr int kZoom = 4;
    std::vector<DWORD> picture(size_t(size.cx * kZoom) * size_t(size.cy * kZoom));
    for (int y = 0; y < size.cy * kZoom; ++y)
        for (int x = 0; x < size.cx * kZoom; ++x) {
            const DWORD p = bits[size_t(y / kZoom) * size_t(size.cx) + size_t(x / kZoom)];
            const DWORD alpha = p >> 24;
            // Premultiplied over white.
            auto channel = [&](int shift) { return ((p >> shift) & 0xFF) + (255 - alpha); };
            picture[size_t(y) * size_t(size.cx * kZoom) + size_t(x)] =
                0xFF000000u | (channel(16) << 16) | (channel(8) << 8) | channel(0);
        }
    return SavePng(picture, size.cx * kZoom, size.cy * kZoom, OutputName(L".png")) ? 0 : 1;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc < 3) return 2;
    g_scene = argv[1];
    g_folder = argv[2];
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    int result = 2;
    if (g_scene == L"shadow") {
        result = ShadowScene();
    } else {
        const com::UniqueWindow host = ui_test::ShowHostWindow(RECT{60, 60, 860, 660});
        if (g_scene == L"entry")
            result = EntryScene(host.get());
        else if (g_scene == L"message")
            result = MessageScene(host.get());
    }
    ::CoUninitialize();
    return result;
}
