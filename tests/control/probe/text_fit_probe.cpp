// Reports every text of both controls, of the entry dialog and of the
// message box that its room cannot hold (the rules: text_measure.h), and the
// layout of their windows. Run once per language and screen resolution as
//
//   VelPhonebook.exe LANGUAGES ROWS
//
// from a folder that holds it (a copy named after the module, so that its
// own dialogs read the module's texts), a copy of the module, the language
// files and the stand-in language library, which answers LANGUAGES
// (hexadecimal identifiers, colons between). ROWS is the number of
// recipients in the recently used book. The controls are hosted at the
// demo's size in the ATL host: the first without and with check boxes, the
// second as it is; each header as it starts and sorted by each column in
// turn. Then the entry dialog in its three modes and the question before
// 1,000 recipients are removed run modally, each measured from a timer in
// its loop. Exit code 0 when everything could be shown and measured.
#include "com/com_ptr.h"
#include "com/module.h"
#include "core/recipient.h"
#include "localization/language.h"
#include "localization/localizer.h"
#include "localization/string_ids.h"
#include "module/VelPhonebook_h.h"
#include "text_measure.h"
#include "ui/entry_info_dlg.h"
#include "ui/message_box_dlg.h"
#include "ui/ui_ids.h"

#include <windows.h>
#include <commctrl.h>
#include <ocidl.h>
#include <olectl.h>

#include <cstdio>
#include <cstdlib>
#include <cwctype>
#include <functional>
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

// Measures the dialog of this thread once it shows, then closes it.
struct Measurement {
    HWND* dialog;
    std::function<void()> measure;
    bool done = false;
};
Measurement* g_current = nullptr;

void CALLBACK Tick(HWND, UINT, UINT_PTR, DWORD) {
    Measurement* current = g_current;
    if (!current || current->done || !*current->dialog || !::IsWindowVisible(*current->dialog)) return;
    current->done = true;
    current->measure();
    ::PostMessageW(*current->dialog, WM_CLOSE, 0, 0);
}

// Runs the dialog modally with the measurement in its loop; false when it
// never showed (the timer gives up after 10 s by closing nothing: the
// dialog is then still open, so a watchdog ends the process).
bool RunMeasured(HWND* dialog, const std::function<void()>& measure, const std::function<void()>& run) {
    Measurement measurement{dialog, measure};
    g_current = &measurement;
    const UINT_PTR timer = ::SetTimer(nullptr, 0, 50, &Tick);
    run();
    ::KillTimer(nullptr, timer);
    g_current = nullptr;
    return measurement.done;
}

void MeasurePaintedLine(const char* control, const std::string& where, HFONT font, const std::wstring& text,
                        const RECT& rect) {
    const SIZE size = TextSize(font, text, DT_SINGLELINE | DT_NOPREFIX);
    const int width = rect.right - rect.left, height = rect.bottom - rect.top;
    // Too tall for its band is as cut as too wide.
    if (size.cy > height)
        Report(control, where + " height", font, text, size.cy, height);
    else
        Report(control, where, font, text, size.cx, width);
}

void MeasureEntryDialog(const char* control, const ui::CEntryInfoDlg& dialog) {
    ReportLayout(control, "window", dialog.m_hWnd);
    ReportLayout(control, "name edit", ::GetDlgItem(dialog.m_hWnd, IDC_ENTRY_NAME));
    ReportLayout(control, "fax edit", ::GetDlgItem(dialog.m_hWnd, IDC_ENTRY_FAX));
    const char* names[] = {"prompt", "warning", "name label", "fax label"};
    int index = 0;
    for (const ui::CEntryInfoDlg::PaintedText& painted : dialog.PaintedTexts())
        MeasurePaintedLine(control, names[index++], dialog.TextFont(), painted.text, painted.rect);
    for (const int id : {IDC_ENTRY_FIRST, IDC_ENTRY_SECOND}) {
        const HWND button = ::GetDlgItem(dialog.m_hWnd, id);
        MeasureButton(control, "button " + std::to_string(id), button, WindowText(button));
    }
}

void MeasureMessageBox(const char* control, const ui::CMessageBoxDlg& box) {
    ReportLayout(control, "window", box.m_hWnd);
    const RECT rect = box.TextRect();
    const int width = rect.right - rect.left, height = rect.bottom - rect.top;
    const SIZE wrapped = TextSize(box.TextFont(), box.Text(), DT_WORDBREAK | DT_NOPREFIX, width);
    if (wrapped.cx > width)
        Report(control, "text", box.TextFont(), box.Text(), wrapped.cx, width);
    else
        Report(control, "text height", box.TextFont(), box.Text(), wrapped.cy, height);
    for (const int id : {IDOK, IDCANCEL}) {
        const HWND button = ::GetDlgItem(box.m_hWnd, id);
        if (::IsWindowVisible(button)) MeasureButton(control, "button " + std::to_string(id), button, WindowText(button));
    }
}

// The texts of the module's string table as the module's windows get them.
class Texts : public CLocalizerHelperT<Texts> {};

std::wstring WithCount(std::wstring text, int count) {
    const size_t at = text.find(L"%d");
    if (at != std::wstring::npos) text.replace(at, 2, std::to_wstring(count));
    return text;
}

int Fail(const char* what) {
    std::fprintf(stdout, "error\t%s\n", what);
    return 2;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc < 3) return Fail("usage: VelPhonebook.exe LANGUAGES ROWS");
    wchar_t self[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, self, MAX_PATH);
    std::wstring folder = self;
    folder.resize(folder.rfind(L'\\') + 1);
    const int rows = std::wcstol(argv[2], nullptr, 10);
    // Read by the language library when the module first asks for its language.
    ::SetEnvironmentVariableW(L"ZANTIXUI_ORIGINAL_LIST", argv[1]);
    com::Module::SetInstance(::GetModuleHandleW(nullptr));

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
    const HWND firstList = first.List();
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

    CloseHost(first);
    CloseHost(second);

    // A stuck dialog ends the run rather than hanging the test.
    ::CreateThread(nullptr, 0, [](void*) WINAPI -> DWORD {
        ::Sleep(60000);
        ::ExitProcess(3);
    }, nullptr, 0, nullptr);

    const HWND host = ::CreateWindowExW(0, L"STATIC", L"Send fax", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 80, 60,
                                        ::MulDiv(700, g_dpi, 96), ::MulDiv(540, g_dpi, 96), nullptr, nullptr,
                                        nullptr, nullptr);
    CRecipient someone;
    someone.name = L"Recipient 1";
    someone.faxNumber = L"+49 30 1234 5611";
    const struct {
        const char* control;
        DWORD mode;
    } entries[] = {{"entry-new", ui::CEntryInfoDlg::ModeNew},
                   {"entry-view", ui::CEntryInfoDlg::ModeView},
                   {"entry-edit", ui::CEntryInfoDlg::ModeEdit}};
    for (const auto& entry : entries) {
        ui::CEntryInfoDlg dialog(entry.mode, someone, nullptr);
        if (!RunMeasured(&dialog.m_hWnd, [&] { MeasureEntryDialog(entry.control, dialog); },
                         [&] { dialog.DoModal(host); }))
            return Fail("the entry dialog did not show");
    }

    const Texts texts;
    ui::CMessageBoxDlg box(WithCount(texts.LoadText(IDS_CONFIRM_REMOVE), 1000).c_str(),
                           texts.LoadText(IDS_REMOVE).c_str(), MB_YESNO);
    if (!RunMeasured(&box.m_hWnd, [&] { MeasureMessageBox("message", box); }, [&] { box.DoModal(host); }))
        return Fail("the message box did not show");

    PrintLine({"verdict", g_tally.clipped ? "clipped" : "fits", std::to_string(g_tally.clipped),
               std::to_string(g_tally.measured)});
    std::fflush(stdout);
    ::DestroyWindow(host);
    ::CoUninitialize();
    return 0;
}
