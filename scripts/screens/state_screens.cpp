// Pictures of both controls side by side in Wine's ATL host, for people to
// look at (no test reads them): "state_screens.exe BOOK OUT.bmp [hc]" shows
// the book BOOK (1 Outlook, 0 Windows, -1 recently used, emptied first) in
// both classes and writes the host window as Wine composes it; with "hc"
// the recently used book holds three recipients, one marked, in the
// high-contrast stand-in. The language is the stand-in language library's.
#include "com/com_ptr.h"
#include "fakes/high_contrast/high_contrast_standin.h"
#include "module/VelPhonebook_h.h"
#include "sources/mru_store.h"
#include "support/control_host.h"
#include "support/wab_fixture.h"

#include <commctrl.h>
#include <windows.h>

#include <cstdio>
#include <memory>
#include <string>

namespace {

void SaveBitmap(HWND window, const wchar_t* path) {
    RECT rect{};
    ::GetWindowRect(window, &rect);
    const int width = rect.right - rect.left, height = rect.bottom - rect.top;
    const HDC screen = ::GetDC(nullptr);
    const HDC memory = ::CreateCompatibleDC(screen);
    const HBITMAP bitmap = ::CreateCompatibleBitmap(screen, width, height);
    const HGDIOBJ old = ::SelectObject(memory, bitmap);
    ::BitBlt(memory, 0, 0, width, height, screen, rect.left, rect.top, SRCCOPY);
    ::SelectObject(memory, old);
    BITMAPINFOHEADER info{sizeof(info), width, height, 1, 24, BI_RGB};
    const int stride = (width * 3 + 3) & ~3;
    std::string bits(size_t(stride) * height, '\0');
    ::GetDIBits(memory, bitmap, 0, UINT(height), bits.data(), reinterpret_cast<BITMAPINFO*>(&info),
                DIB_RGB_COLORS);
    BITMAPFILEHEADER file{0x4D42, DWORD(sizeof(BITMAPFILEHEADER) + sizeof(info) + bits.size()), 0, 0,
                          DWORD(sizeof(BITMAPFILEHEADER) + sizeof(info))};
    if (FILE* out = _wfopen(path, L"wb")) {
        std::fwrite(&file, sizeof(file), 1, out);
        std::fwrite(&info, sizeof(info), 1, out);
        std::fwrite(bits.data(), 1, bits.size(), out);
        std::fclose(out);
    }
    ::DeleteObject(bitmap);
    ::DeleteDC(memory);
    ::ReleaseDC(nullptr, screen);
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc < 3) return 2;
    const LONG book = std::wcstol(argv[1], nullptr, 10);
    const bool highContrast = argc > 3 && std::wstring(argv[3]) == L"hc";
    ::CoInitialize(nullptr);
    {
        testing_support::DeleteUserKey(kMRUKeyPath);
        if (highContrast)
            control_test::WriteBook(
                {{L"Anna Berg", L"+49 30 1234"}, {L"Ben Hart", L"555-0101"}, {L"Cid Lau", L"777-12"}});
        // The Windows book: the stand-in address book taken away for the picture.
        if (book == 0) testing_support::RegisterStandIn(true);
        const HMODULE module = ::LoadLibraryW(testing_support::kModuleFileName);
        std::unique_ptr<control_test::HighContrastStandIn> contrast;
        if (highContrast) contrast = std::make_unique<control_test::HighContrastStandIn>(module);
        const HMODULE atl = ::LoadLibraryW(L"atl100.dll");
        using Init = BOOL(WINAPI*)();
        using GetControl = HRESULT(WINAPI*)(HWND, IUnknown**);
        reinterpret_cast<Init>(::GetProcAddress(atl, "AtlAxWinInit"))();
        const auto getControl = reinterpret_cast<GetControl>(::GetProcAddress(atl, "AtlAxGetControl"));
        const HWND top = ::CreateWindowExW(0, L"STATIC", L"", WS_POPUP | WS_VISIBLE | WS_CLIPCHILDREN, 40, 40,
                                           700, 360, nullptr, nullptr, nullptr, nullptr);
        ::SetClassLongPtrW(top, GCLP_HBRBACKGROUND, LONG_PTR(::GetSysColorBrush(COLOR_BTNFACE)));
        com::ComPtr<IVelPhonebookControl4> controls[2];
        const wchar_t* ids[2] = {control_test::kProgId, control_test::kProgId2};
        for (int i = 0; i < 2; ++i) {
            const HWND host = ::CreateWindowExW(0, L"AtlAxWin100", ids[i], WS_CHILD | WS_VISIBLE,
                                                10 + i * 345, 10, 335, 340, top, nullptr, nullptr, nullptr);
            com::ComPtr<IUnknown> control;
            getControl(host, control.put());
            if (control) controls[i] = control.query<IVelPhonebookControl4>();
            if (controls[i]) controls[i]->SelectOutlookAddressBook(book);
        }
        control_test::PumpUntil([] { return false; }, 1500);
        if (highContrast) {
            for (auto& control : controls) {
                HWND window = nullptr;
                if (const auto inPlace = control.query<IOleInPlaceObject>()) inPlace->GetWindow(&window);
                const HWND list = ::GetDlgItem(window, 204);
                ListView_SetItemState(list, 0, LVIS_SELECTED, LVIS_SELECTED);
                ListView_SetItemState(list, 1, INDEXTOSTATEIMAGEMASK(2), LVIS_STATEIMAGEMASK);
            }
            control_test::PumpUntil([] { return false; }, 500);
        }
        ::RedrawWindow(top, nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_ALLCHILDREN | RDW_UPDATENOW);
        control_test::PumpUntil([] { return false; }, 300);
        SaveBitmap(top, argv[2]);
        for (auto& control : controls) control.reset();
        ::DestroyWindow(top);
        control_test::PumpUntil([] { return false; }, 200);
        testing_support::DeleteUserKey(kMRUKeyPath);
        if (book == 0) testing_support::RegisterStandIn();
    }
    ::CoUninitialize();
    std::puts("done");
    return 0;
}
