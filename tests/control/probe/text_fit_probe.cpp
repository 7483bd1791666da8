// Hosts both phonebook controls, made by a copy of the module in a folder of
// its own, and reports every text of theirs that the room it is shown in
// cannot hold. Run once per user-interface language (the module picks its
// language once per process) and screen resolution.
//
//   text_fit_probe.exe FOLDER LANGUAGES ROWS [--squeeze]
//
// FOLDER holds the module, its language files and the language
// library (the tests' stand-in, which answers with the
// variable ZANTIXUI_ORIGINAL_LIST). LANGUAGES is that list: hexadecimal
// language identifiers separated by colons. ROWS is the number of recipients
// in the recently used book, which both controls show. --squeeze narrows the
// first control's "Add" button and its name column before measuring, so that
// a test can see that a text too wide for its room is reported.
//
// The controls are hosted at the demo's size (480 x 380 pixels at 96 dpi,
// scaled to the screen) in Wine's ATL host: the first control without and
// then with check boxes, the second as it is; each list header in its first
// state and sorted by each column in turn (a sorted column shows its image).
//
// What is measured, with the font the window answers to WM_GETFONT:
// - buttons with text (push buttons: the client width less 3 pixels per side
//   at 96 dpi, scaled, for the frame and the focus rectangle; check boxes and
//   radio buttons: less the box and a gap as well); owner-drawn buttons draw
//   images and are skipped;
// - static texts (single-line ones by width, wrapping ones by the height
//   their wrapped lines need);
// - every header item with text: the item's width less its divider (2 px),
//   the header's padding (three edge widths per side), and what is drawn
//   beside the text: the sort arrow (8/13 of the header's height, with its
//   padding), else the item's image or bitmap (its width, with its padding),
//   and a header check box.
// Any other visible child window with text is reported as unmeasured. (The
// list's own window text is its name for screen readers; it is not drawn.)
//
// Output, UTF-8, one line each, fields separated by tabs:
//   dpi N
//   text CONTROL WHERE TEXT NEEDED AVAILABLE      every text measured
//   clipped CONTROL WHERE TEXT NEEDED AVAILABLE   a text wider than its room
//   missing-glyphs CONTROL WHERE TEXT COUNT       characters no font could draw
//   unmeasured CONTROL WHERE TEXT
//   layout CONTROL WHERE mirrored|plain           the control's window and list
//   verdict fits|clipped CLIPPED MEASURED
// The exit code is 0 when the controls could be hosted and measured.
#include "com/com_ptr.h"
#include "localization/language.h"
#include "module/VelPhonebook_h.h"
#include "text_measure.h"

#include <windows.h>
#include <commctrl.h>
#include <ocidl.h>
#include <olectl.h>

#include <cstdio>
#include <cstdlib>
#include <cwctype>
#include <string>
#include <vector>

namespace {

using namespace probe;

constexpr int kListId = 204;

// Dispatches what is waiting in this thread's queue (posted work the
// controls gave themselves), without waiting for anything new.
void DispatchWaiting() {
    MSG message;
    for (int round = 0; round < 2; ++round)
        while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            ::TranslateMessage(&message);
            ::DispatchMessageW(&message);
        }
}

template <class Condition>
bool PumpUntil(Condition condition, DWORD timeoutMs) {
    const ULONGLONG end = ::GetTickCount64() + timeoutMs;
    for (;;) {
        DispatchWaiting();
        if (condition()) return true;
        if (::GetTickCount64() >= end) return false;
        ::MsgWaitForMultipleObjects(0, nullptr, FALSE, 10, QS_ALLINPUT);
    }
}

std::wstring ClassName(HWND window) {
    wchar_t name[64] = {};
    ::GetClassNameW(window, name, 64);
    return name;
}

void MeasureChildren(const char* control, HWND dialog) {
    for (HWND child = ::GetWindow(dialog, GW_CHILD); child; child = ::GetWindow(child, GW_HWNDNEXT)) {
        if (!::IsWindowVisible(child)) continue;
        const std::wstring text = WindowText(child);
        if (text.empty()) continue;
        const std::string where = "window " + std::to_string(::GetDlgCtrlID(child));
        const std::wstring name = ClassName(child);
        if (::CompareStringOrdinal(name.c_str(), -1, L"Button", -1, TRUE) == CSTR_EQUAL)
            MeasureButton(control, where, child, text);
        else if (::CompareStringOrdinal(name.c_str(), -1, L"Static", -1, TRUE) == CSTR_EQUAL)
            MeasureStatic(control, where, child, text);
        else if (::CompareStringOrdinal(name.c_str(), -1, WC_LISTVIEWW, -1, TRUE) != CSTR_EQUAL)
            PrintLine({"unmeasured", control, where + " (" + Utf8(name) + ")", Utf8(text)});
    }
}

// --- The list header ---------------------------------------------------------

void MeasureHeaderItem(const char* control, const std::string& state, HWND header, int index) {
    wchar_t buffer[260] = {};
    HDITEMW item{};
    item.mask = HDI_TEXT | HDI_FORMAT | HDI_BITMAP;
    item.pszText = buffer;
    item.cchTextMax = 260;
    if (!::SendMessageW(header, HDM_GETITEMW, WPARAM(index), reinterpret_cast<LPARAM>(&item))) return;
    const std::wstring text = item.pszText == buffer ? buffer : L"";
    if (text.empty() || (item.fmt & HDF_OWNERDRAW)) return;
    RECT rect{};
    ::SendMessageW(header, HDM_GETITEMRECT, WPARAM(index), reinterpret_cast<LPARAM>(&rect));
    RECT client{};
    ::GetClientRect(header, &client);

    const int padding = 3 * ::GetSystemMetrics(SM_CXEDGE);
    int available = rect.right - rect.left - 2 - 2 * padding;
    if (item.fmt & (HDF_SORTUP | HDF_SORTDOWN)) {
        available -= 2 * ::MulDiv(client.bottom, 4, 13) + 2 * padding;
    } else if (item.fmt & HDF_IMAGE) {
        int width = 0, height = 0;
        const auto images = reinterpret_cast<HIMAGELIST>(::SendMessageW(header, HDM_GETIMAGELIST, 0, 0));
        if (images && ::ImageList_GetIconSize(images, &width, &height)) available -= width + 2 * padding;
    } else if ((item.fmt & HDF_BITMAP) && item.hbm) {
        BITMAP bitmap{};
        if (::GetObjectW(item.hbm, sizeof(bitmap), &bitmap)) available -= bitmap.bmWidth + 2 * padding;
    }
    if (item.fmt & HDF_CHECKBOX) available -= Scale(13) + padding;

    Report(control, "header column " + std::to_string(index) + state, FontOf(header), text,
           TextSize(FontOf(header), text, DT_SINGLELINE).cx, available);
}

HWND HeaderOf(HWND list) { return reinterpret_cast<HWND>(::SendMessageW(list, LVM_GETHEADER, 0, 0)); }

void MeasureHeader(const char* control, HWND list) {
    const HWND header = HeaderOf(list);
    const int count = int(::SendMessageW(header, HDM_GETITEMCOUNT, 0, 0));
    for (int index = 0; index < count; ++index) MeasureHeaderItem(control, "", header, index);
}

// Sorts by each column in turn and measures that column with its image.
// (The second control reads its mode back in another form than it takes it:
// it is not put back.)
void MeasureSortedHeader(const char* control, HWND list, IVelPhonebookControl3* phonebook,
                         int (*modeOfColumn)(int), bool restore) {
    const HWND header = HeaderOf(list);
    const int count = int(::SendMessageW(header, HDM_GETITEMCOUNT, 0, 0));
    int before = 0;
    phonebook->GetSortMode(&before);
    for (int column = 0; column < count; ++column) {
        const int mode = modeOfColumn(column);
        if (mode < 0 || FAILED(phonebook->SetSortMode(mode))) continue;
        DispatchWaiting();
        MeasureHeaderItem(control, " (sorted)", header, column);
    }
    // Back to the first state for what is measured next.
    if (restore) phonebook->SetSortMode(before);
    DispatchWaiting();
}

// The first control's modes: 1/2 "#", 3/4 name, 5/6 number (ascending/descending).
int FirstControlMode(int column) { return column <= 2 ? 2 * column + 1 : -1; }
// The second control's: the column, ascending.
int SecondControlMode(int column) { return column; }

// --- Hosting -----------------------------------------------------------------

using GetClassObjectFunction = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
using AttachFunction = HRESULT(WINAPI*)(IUnknown*, HWND, IUnknown**);

struct Host {
    HWND top = nullptr;
    HWND site = nullptr;
    com::ComPtr<IUnknown> container;
    com::ComPtr<IVelPhonebookControl3> control;

    HWND ControlWindow() const {
        HWND window = nullptr;
        if (const auto inPlace = control.query<IOleInPlaceObject>()) inPlace->GetWindow(&window);
        return window;
    }
    HWND List() const { return ::GetDlgItem(ControlWindow(), kListId); }
    int Rows() const { return control ? int(control->GetItemCount()) : -1; }
};

// A control of the module copy in a site window of the given size, in place
// active through the ATL host, showing the recently used book.
bool HostControl(Host& host, GetClassObjectFunction getClassObject, AttachFunction attach, REFCLSID clsid, int x,
                 int width, int height) {
    static const wchar_t kSiteClass[] = L"TextFitProbeSite";
    WNDCLASSW windowClass{};
    windowClass.lpfnWndProc = ::DefWindowProcW;
    windowClass.hInstance = ::GetModuleHandleW(nullptr);
    windowClass.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_BTNFACE + 1);
    windowClass.lpszClassName = kSiteClass;
    ::RegisterClassW(&windowClass);  // the second control finds it registered

    host.top = ::CreateWindowExW(0, kSiteClass, L"", WS_POPUP | WS_VISIBLE | WS_CLIPCHILDREN, x, 0, width + 20,
                                 height + 20, nullptr, nullptr, nullptr, nullptr);
    host.site = ::CreateWindowExW(0, kSiteClass, L"", WS_CHILD | WS_VISIBLE | WS_CLIPCHILDREN, 10, 10, width, height,
                                  host.top, nullptr, nullptr, nullptr);
    if (!host.site) return false;

    com::ComPtr<IClassFactory> factory;
    if (FAILED(getClassObject(clsid, IID_IClassFactory, factory.put_void()))) return false;
    com::ComPtr<IUnknown> object;
    if (FAILED(factory->CreateInstance(nullptr, IID_IUnknown, object.put_void()))) return false;
    // As the ATL host does for a control it creates itself.
    if (const auto persist = object.query<IPersistStreamInit>()) persist->InitNew();
    if (FAILED(attach(object.get(), host.site, host.container.put()))) return false;
    host.control = object.query<IVelPhonebookControl3>();
    if (!host.control || !host.ControlWindow()) return false;
    return SUCCEEDED(host.control->SelectOutlookAddressBook(-1));
}

void CloseHost(Host& host) {
    host.control.reset();
    if (host.top) ::DestroyWindow(host.top);
    host.container.reset();
    DispatchWaiting();
}

int Fail(const char* what) {
    std::fprintf(stdout, "error\t%s\n", what);
    return 2;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc < 4) return Fail("usage: text_fit_probe FOLDER LANGUAGES ROWS [--squeeze]");
    std::wstring folder = argv[1];
    if (!folder.empty() && folder.back() != L'\\') folder += L'\\';
    const int rows = std::wcstol(argv[3], nullptr, 10);
    const bool squeeze = argc > 4 && std::wstring(argv[4]) == L"--squeeze";
    // Read by the language library when the module first asks for its language.
    ::SetEnvironmentVariableW(L"ZANTIXUI_ORIGINAL_LIST", argv[2]);

    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    const HDC screen = ::GetDC(nullptr);
    g_dpi = ::GetDeviceCaps(screen, LOGPIXELSX);
    ::ReleaseDC(nullptr, screen);
    PrintLine({"dpi", std::to_string(g_dpi)});

    const HMODULE module = ::LoadLibraryW((folder + localization::kModuleFileName).c_str());
    if (!module) return Fail("the module copy did not load");
    const auto getClassObject = reinterpret_cast<GetClassObjectFunction>(
        reinterpret_cast<void*>(::GetProcAddress(module, "DllGetClassObject")));
    const HMODULE atl = ::LoadLibraryW(L"atl100.dll");
    const auto init = reinterpret_cast<BOOL(WINAPI*)()>(reinterpret_cast<void*>(::GetProcAddress(atl, "AtlAxWinInit")));
    const auto attach =
        reinterpret_cast<AttachFunction>(reinterpret_cast<void*>(::GetProcAddress(atl, "AtlAxAttachControl")));
    if (!getClassObject || !init || !attach) return Fail("DllGetClassObject or the ATL host is missing");
    init();

    // The demo's size for the control, scaled to the screen; both controls
    // at once, side by side, so that their first loads overlap.
    const int width = Scale(480), height = Scale(380);
    Host first, second;
    if (!HostControl(first, getClassObject, attach, CLSID_VelPhonebookControl, 0, width, height))
        return Fail("the first control could not be hosted");
    if (!HostControl(second, getClassObject, attach, CLSID_VelPhonebookControl2, width + 40, width, height))
        return Fail("the second control could not be hosted");
    // The first load runs from the controls' timer.
    if (!PumpUntil([&] { return first.Rows() == rows && second.Rows() == rows; }, 10000))
        return Fail("the lists did not fill with the recently used book");
    if (rows == 0) PumpUntil([] { return false; }, 700);

    const HWND firstList = first.List();
    if (squeeze) {
        const HWND add = ::GetDlgItem(first.ControlWindow(), 203);
        RECT rect{};
        ::GetWindowRect(add, &rect);
        ::SetWindowPos(add, nullptr, 0, 0, Scale(12), rect.bottom - rect.top, SWP_NOMOVE | SWP_NOZORDER);
        ::SendMessageW(firstList, LVM_SETCOLUMNWIDTH, 1, Scale(12));
        DispatchWaiting();
    }
    ReportLayout("control1", "window", first.ControlWindow());
    ReportLayout("control1", "list", firstList);
    ReportLayout("control2", "window", second.ControlWindow());
    ReportLayout("control2", "list", second.List());
    MeasureChildren("control1", first.ControlWindow());
    MeasureHeader("control1", firstList);
    MeasureSortedHeader("control1", firstList, first.control.get(), &FirstControlMode, true);

    first.control->EnableCheckBoxes(TRUE, nullptr);
    DispatchWaiting();
    MeasureChildren("control1-checkboxes", first.ControlWindow());
    MeasureHeader("control1-checkboxes", firstList);

    MeasureChildren("control2", second.ControlWindow());
    MeasureHeader("control2", second.List());
    MeasureSortedHeader("control2", second.List(), second.control.get(), &SecondControlMode, false);

    PrintLine({"verdict", g_tally.clipped ? "clipped" : "fits", std::to_string(g_tally.clipped),
               std::to_string(g_tally.measured)});
    std::fflush(stdout);
    CloseHost(first);
    CloseHost(second);
    ::CoUninitialize();
    return 0;
}
