// Hosts both phonebook controls, made by a copy of the module in a folder of
// its own, and reports every text of theirs that the room it is shown in
// cannot hold. Run once per user-interface language (the module picks its
// language once per process) and screen resolution.
//
//   text_fit_probe.exe FOLDER LANGUAGES ROWS [--squeeze]
//
// FOLDER holds VelPhonebook64.dll, its language files and the language
// library ZantixUI64.dll (the tests' stand-in, which answers with the
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
//   verdict fits|clipped CLIPPED MEASURED
// The exit code is 0 when the controls could be hosted and measured.
#include "com/com_ptr.h"
#include "module/VelPhonebook_h.h"

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

constexpr int kListId = 204;

int g_dpi = 96;
int Scale(int pixels) { return ::MulDiv(pixels, g_dpi, 96); }

std::string Utf8(const std::wstring& text) {
    if (text.empty()) return {};
    const int size = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), int(text.size()), nullptr, 0, nullptr, nullptr);
    std::string result(size_t(size), '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, text.data(), int(text.size()), result.data(), size, nullptr, nullptr);
    // The output is tab-separated, one finding a line.
    for (char& c : result)
        if (c == '\t' || c == '\n' || c == '\r') c = ' ';
    return result;
}

void PrintLine(const std::vector<std::string>& fields) {
    std::string line;
    for (const std::string& field : fields) line += (line.empty() ? "" : "\t") + field;
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), stdout);
}

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

std::wstring WindowText(HWND window) {
    std::wstring text(size_t(::GetWindowTextLengthW(window)) + 1, L'\0');
    text.resize(size_t(::GetWindowTextW(window, text.data(), int(text.size()))));
    return text;
}

std::wstring ClassName(HWND window) {
    wchar_t name[64] = {};
    ::GetClassNameW(window, name, 64);
    return name;
}

HFONT FontOf(HWND window) {
    const auto font = reinterpret_cast<HFONT>(::SendMessageW(window, WM_GETFONT, 0, 0));
    return font ? font : static_cast<HFONT>(::GetStockObject(SYSTEM_FONT));
}

// The size DrawText gives the text in the window's font.
SIZE TextSize(HWND window, const std::wstring& text, UINT flags, int wrapWidth = 0) {
    const HDC dc = ::GetDC(window);
    const HGDIOBJ old = ::SelectObject(dc, FontOf(window));
    RECT rect{0, 0, wrapWidth, 0};
    ::DrawTextW(dc, text.c_str(), int(text.size()), &rect, flags | DT_CALCRECT);
    ::SelectObject(dc, old);
    ::ReleaseDC(window, dc);
    return SIZE{rect.right - rect.left, rect.bottom - rect.top};
}

// Characters that come out as the font's missing glyph: each is drawn alone
// and compared with a code point no font has. (Glyphs taken from linked or
// fallback fonts count as present: the extent includes them.)
class GlyphCheck {
public:
    explicit GlyphCheck(HFONT font) {
        m_dc = ::CreateCompatibleDC(nullptr);
        m_oldFont = ::SelectObject(m_dc, font);
        TEXTMETRICW metrics{};
        ::GetTextMetricsW(m_dc, &metrics);
        m_width = 2 * metrics.tmMaxCharWidth + 8;
        m_height = metrics.tmHeight + 8;
        BITMAPINFO info{};
        info.bmiHeader.biSize = sizeof(info.bmiHeader);
        info.bmiHeader.biWidth = m_width;
        info.bmiHeader.biHeight = -m_height;
        info.bmiHeader.biPlanes = 1;
        info.bmiHeader.biBitCount = 32;
        void* bits = nullptr;
        m_bitmap = ::CreateDIBSection(m_dc, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
        m_bits = static_cast<const DWORD*>(bits);
        m_oldBitmap = ::SelectObject(m_dc, m_bitmap);
        m_missing = Draw(L'\x0378');  // unassigned in every version of Unicode
    }
    ~GlyphCheck() {
        ::SelectObject(m_dc, m_oldBitmap);
        ::SelectObject(m_dc, m_oldFont);
        ::DeleteObject(m_bitmap);
        ::DeleteDC(m_dc);
    }
    int MissingIn(const std::wstring& text) {
        int missing = 0;
        for (const wchar_t c : text) {
            if (c < 0x80 || std::iswspace(c) || c == 0x00A0 || (c >= 0x2000 && c <= 0x200F) || c == 0x202F ||
                (c >= 0xD800 && c <= 0xDFFF))
                continue;
            if (Draw(c) == m_missing) ++missing;
        }
        return missing;
    }

private:
    std::vector<DWORD> Draw(wchar_t c) {
        const RECT all{0, 0, m_width, m_height};
        ::FillRect(m_dc, &all, static_cast<HBRUSH>(::GetStockObject(WHITE_BRUSH)));
        ::SetTextColor(m_dc, RGB(0, 0, 0));
        ::SetBkMode(m_dc, TRANSPARENT);
        ::TextOutW(m_dc, 4, 4, &c, 1);
        ::GdiFlush();
        return std::vector<DWORD>(m_bits, m_bits + size_t(m_width) * size_t(m_height));
    }
    HDC m_dc = nullptr;
    HBITMAP m_bitmap = nullptr;
    HGDIOBJ m_oldFont = nullptr, m_oldBitmap = nullptr;
    const DWORD* m_bits = nullptr;
    int m_width = 0, m_height = 0;
    std::vector<DWORD> m_missing;
};

struct Tally {
    int measured = 0;
    int clipped = 0;
};
Tally g_tally;

void Report(const char* control, const std::string& where, HWND window, const std::wstring& text, int needed,
            int available) {
    ++g_tally.measured;
    const std::string fields[] = {control, where, Utf8(text), std::to_string(needed), std::to_string(available)};
    PrintLine({"text", fields[0], fields[1], fields[2], fields[3], fields[4]});
    if (needed > available) {
        ++g_tally.clipped;
        PrintLine({"clipped", fields[0], fields[1], fields[2], fields[3], fields[4]});
    }
    GlyphCheck glyphs(FontOf(window));
    if (const int missing = glyphs.MissingIn(text))
        PrintLine({"missing-glyphs", control, where, Utf8(text), std::to_string(missing)});
}

// --- Child windows -----------------------------------------------------------

void MeasureButton(const char* control, const std::string& where, HWND button, const std::wstring& text) {
    const LONG style = ::GetWindowLongW(button, GWL_STYLE);
    const LONG type = style & BS_TYPEMASK;
    if (type == BS_OWNERDRAW) return;  // an image button: its owner draws a picture
    RECT client{};
    ::GetClientRect(button, &client);
    const int margin = Scale(3);
    int available = client.right - 2 * margin;
    switch (type) {
    case BS_CHECKBOX:
    case BS_AUTOCHECKBOX:
    case BS_3STATE:
    case BS_AUTO3STATE:
    case BS_RADIOBUTTON:
    case BS_AUTORADIOBUTTON:
        available = client.right - Scale(13) - Scale(4) - margin;
        break;
    default:
        break;
    }
    if (style & BS_MULTILINE) {
        const SIZE wrapped = TextSize(button, text, DT_WORDBREAK, available);
        const int height = client.bottom - 2 * margin;
        // Wider than the room (a word that does not break) or taller: clipped.
        Report(control, where, button, text, wrapped.cx > available ? wrapped.cx : wrapped.cy,
               wrapped.cx > available ? available : height);
        return;
    }
    Report(control, where, button, text, TextSize(button, text, DT_SINGLELINE).cx, available);
}

void MeasureStatic(const char* control, const std::string& where, HWND label, const std::wstring& text) {
    const LONG style = ::GetWindowLongW(label, GWL_STYLE);
    const LONG type = style & SS_TYPEMASK;
    const UINT prefix = (style & SS_NOPREFIX) ? DT_NOPREFIX : 0;
    RECT client{};
    ::GetClientRect(label, &client);
    if (type == SS_SIMPLE || type == SS_LEFTNOWORDWRAP) {
        Report(control, where, label, text, TextSize(label, text, DT_SINGLELINE | prefix).cx, client.right);
    } else if (type == SS_LEFT || type == SS_CENTER || type == SS_RIGHT) {
        const SIZE wrapped = TextSize(label, text, DT_WORDBREAK | prefix, client.right);
        Report(control, where, label, text, wrapped.cx > client.right ? wrapped.cx : wrapped.cy,
               wrapped.cx > client.right ? client.right : client.bottom);
    }
    // Icons, bitmaps, frames: no text is drawn.
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

    Report(control, "header column " + std::to_string(index) + state, header, text,
           TextSize(header, text, DT_SINGLELINE).cx, available);
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

    const HMODULE module = ::LoadLibraryW((folder + L"VelPhonebook64.dll").c_str());
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
