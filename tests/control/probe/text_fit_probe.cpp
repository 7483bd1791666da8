// Prints every text of both controls (hosted at the demo's size in the ATL
// host; the first also with check boxes; each header also sorted by each
// column), of the entry dialog in its three modes and of the question before
// 1,000 recipients are removed, with the room it has (DrawText in the
// window's font; buttons less 3 px a side, headers less divider, padding and
// what is drawn beside the text), and the layout of their windows. Run as
// "VelPhonebook.exe LANGUAGES ROWS" beside a copy of the module, the language
// files and the stand-in language library (which answers LANGUAGES); ROWS is
// the size of the recently used book. Lines, tab-separated UTF-8: "dpi N";
// "text|clipped CONTROL WHERE TEXT NEEDED AVAILABLE"; "missing-glyphs ...
// COUNT"; "unmeasured CONTROL WHERE TEXT"; "layout CONTROL WHERE
// mirrored|plain"; "verdict fits|clipped CLIPPED MEASURED".
#include "com/com_ptr.h"
#include "com/module.h"
#include "com/unique_any.h"
#include "core/recipient.h"
#include "localization/language.h"
#include "localization/localizer.h"
#include "localization/string_ids.h"
#include "module/VelPhonebook_h.h"
#include "ui/entry_info_dlg.h"
#include "ui/message_box_dlg.h"
#include "ui/ui_ids.h"

#include <windows.h>
#include <commctrl.h>
#include <ocidl.h>
#include <olectl.h>

#include <cstdio>
#include <cwctype>
#include <functional>
#include <string>
#include <vector>

namespace {

int g_dpi = 96, g_measured = 0, g_clipped = 0;

std::string Utf8(const std::wstring& text) {
    const int size = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), int(text.size()), nullptr, 0, nullptr, nullptr);
    std::string result(size_t(size), '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, text.data(), int(text.size()), result.data(), size, nullptr, nullptr);
    for (char& c : result)
        if (c == '\t' || c == '\n' || c == '\r') c = ' ';  // one finding a line
    return result;
}

void PrintLine(std::vector<std::string> fields) {
    std::string line = fields[0];
    for (size_t i = 1; i < fields.size(); ++i) line += '\t' + fields[i];
    std::fputs((line + '\n').c_str(), stdout);
}

std::wstring WindowText(HWND window) {
    std::wstring text(size_t(::GetWindowTextLengthW(window)) + 1, L'\0');
    text.resize(size_t(::GetWindowTextW(window, text.data(), int(text.size()))));
    return text;
}

HFONT FontOf(HWND window) {
    const auto font = reinterpret_cast<HFONT>(::SendMessageW(window, WM_GETFONT, 0, 0));
    return font ? font : static_cast<HFONT>(::GetStockObject(SYSTEM_FONT));
}

SIZE TextSize(HFONT font, const std::wstring& text, UINT flags, int wrapWidth = 0) {
    const HDC dc = ::GetDC(nullptr);
    const HGDIOBJ old = ::SelectObject(dc, font);
    RECT rect{0, 0, wrapWidth, 0};
    ::DrawTextW(dc, text.c_str(), int(text.size()), &rect, flags | DT_CALCRECT);
    ::SelectObject(dc, old);
    ::ReleaseDC(nullptr, dc);
    return SIZE{rect.right - rect.left, rect.bottom - rect.top};
}

// Characters drawn as the font's missing glyph: each drawn alone and compared
// with a code point no font has (glyphs from linked fonts count as present).
int MissingGlyphs(HFONT font, const std::wstring& text) {
    const HDC dc = ::CreateCompatibleDC(nullptr);
    const HGDIOBJ oldFont = ::SelectObject(dc, font);
    TEXTMETRICW metrics{};
    ::GetTextMetricsW(dc, &metrics);
    const int width = 2 * metrics.tmMaxCharWidth + 8, height = metrics.tmHeight + 8;
    BITMAPINFO info{};
    info.bmiHeader = {DWORD(sizeof(info.bmiHeader)), width, -height, WORD(1), WORD(32)};
    void* bits = nullptr;
    const HBITMAP bitmap = ::CreateDIBSection(dc, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    const HGDIOBJ oldBitmap = ::SelectObject(dc, bitmap);
    const auto draw = [&](wchar_t c) {
        const RECT all{0, 0, width, height};
        ::FillRect(dc, &all, static_cast<HBRUSH>(::GetStockObject(WHITE_BRUSH)));
        ::SetBkMode(dc, TRANSPARENT);
        ::TextOutW(dc, 4, 4, &c, 1);
        ::GdiFlush();
        const DWORD* pixels = static_cast<const DWORD*>(bits);
        return std::vector<DWORD>(pixels, pixels + size_t(width) * size_t(height));
    };
    const std::vector<DWORD> missing = draw(L'\x0378');  // unassigned in every version of Unicode
    int count = 0;
    for (const wchar_t c : text)
        if (c >= 0x80 && !std::iswspace(c) && c != 0x00A0 && !(c >= 0x2000 && c <= 0x200F) && c != 0x202F &&
            !(c >= 0xD800 && c <= 0xDFFF) && draw(c) == missing)
            ++count;
    ::SelectObject(dc, oldBitmap);
    ::SelectObject(dc, oldFont);
    ::DeleteObject(bitmap);
    ::DeleteDC(dc);
    return count;
}

void Report(const char* control, const std::string& where, HFONT font, const std::wstring& text, int needed,
            int available) {
    ++g_measured;
    std::vector<std::string> line = {"text", control, where, Utf8(text), std::to_string(needed), std::to_string(available)};
    PrintLine(line);
    if (needed > available) {
        ++g_clipped;
        line[0] = "clipped";
        PrintLine(line);
    }
    if (const int missing = MissingGlyphs(font, text))
        PrintLine({"missing-glyphs", control, where, Utf8(text), std::to_string(missing)});
}

// Wrapped in a room: wider than it (a word that does not break) or taller is clipped.
void ReportWrapped(const char* control, const std::string& where, HFONT font, const std::wstring& text, int width,
                   int height, UINT flags) {
    const SIZE wrapped = TextSize(font, text, DT_WORDBREAK | flags, width);
    if (wrapped.cx > width) Report(control, where, font, text, wrapped.cx, width);
    else Report(control, where + " height", font, text, wrapped.cy, height);
}

void ReportLayout(const char* control, const std::string& where, HWND window) {
    const bool mirrored = (::GetWindowLongW(window, GWL_EXSTYLE) & WS_EX_LAYOUTRTL) != 0;
    PrintLine({"layout", control, where, mirrored ? "mirrored" : "plain"});
}

void MeasureButton(const char* control, const std::string& where, HWND button) {
    const LONG style = ::GetWindowLongW(button, GWL_STYLE);
    if ((style & BS_TYPEMASK) == BS_OWNERDRAW) return;
    RECT client{};
    ::GetClientRect(button, &client);
    const int margin = ::MulDiv(3, g_dpi, 96), available = client.right - 2 * margin;
    const std::wstring text = WindowText(button);
    if (style & BS_MULTILINE)
        ReportWrapped(control, where, FontOf(button), text, available, client.bottom - 2 * margin, 0);
    else
        Report(control, where, FontOf(button), text, TextSize(FontOf(button), text, DT_SINGLELINE).cx, available);
}

bool IsClass(const wchar_t* name, const wchar_t* wanted) {
    return ::CompareStringOrdinal(name, -1, wanted, -1, TRUE) == CSTR_EQUAL;
}

void MeasureChildren(const char* control, HWND dialog) {
    for (HWND child = ::GetWindow(dialog, GW_CHILD); child; child = ::GetWindow(child, GW_HWNDNEXT)) {
        const std::wstring text = WindowText(child);
        const std::string where = "window " + std::to_string(::GetDlgCtrlID(child));
        wchar_t name[64] = {};
        ::GetClassNameW(child, name, 64);
        wchar_t cue[256] = {};
        if (::IsWindowVisible(child) && IsClass(name, L"Edit") &&
            ::SendMessageW(child, EM_GETCUEBANNER, WPARAM(cue), LPARAM(std::size(cue))) && cue[0]) {
            // The cue text of an empty edit box, between the box's margins.
            RECT box{};
            ::GetClientRect(child, &box);
            const LRESULT margins = ::SendMessageW(child, EM_GETMARGINS, 0, 0);
            Report(control, where + " cue", FontOf(child), cue, TextSize(FontOf(child), cue, DT_SINGLELINE).cx,
                   box.right - LOWORD(margins) - HIWORD(margins));
        }
        if (!::IsWindowVisible(child) || text.empty()) continue;
        const LONG style = ::GetWindowLongW(child, GWL_STYLE);
        RECT client{};
        ::GetClientRect(child, &client);
        if (IsClass(name, L"Button"))
            MeasureButton(control, where, child);
        else if (IsClass(name, L"Static") && (style & SS_TYPEMASK) <= SS_RIGHT)
            ReportWrapped(control, where, FontOf(child), text, client.right, client.bottom,
                          (style & SS_NOPREFIX) ? DT_NOPREFIX : 0);
        else if (!IsClass(name, WC_LISTVIEWW))  // a list's text is its name
            PrintLine({"unmeasured", control, where + " (" + Utf8(name) + ")", Utf8(text)});
    }
}

void MeasureHeader(const char* control, HWND list, const std::string& state = "", int only = -1) {
    const HWND header = ListView_GetHeader(list);
    for (int index = 0, count = Header_GetItemCount(header); index < count; ++index) {
        wchar_t buffer[260] = {};
        HDITEMW item{HDI_TEXT | HDI_FORMAT};
        item.pszText = buffer;
        item.cchTextMax = 260;
        if ((only >= 0 && index != only) || !Header_GetItem(header, index, &item) || !*buffer ||
            (item.fmt & HDF_OWNERDRAW))
            continue;
        RECT rect{}, client{};
        Header_GetItemRect(header, index, &rect);
        ::GetClientRect(header, &client);
        const int padding = 3 * ::GetSystemMetrics(SM_CXEDGE);
        int available = rect.right - rect.left - 2 - 2 * padding, width = 0, height = 0;
        if (item.fmt & (HDF_SORTUP | HDF_SORTDOWN))
            available -= 2 * ::MulDiv(client.bottom, 4, 13) + 2 * padding;
        else if ((item.fmt & HDF_IMAGE) && ::ImageList_GetIconSize(Header_GetImageList(header), &width, &height))
            available -= width + 2 * padding;
        if (item.fmt & HDF_CHECKBOX) available -= ::MulDiv(13, g_dpi, 96) + padding;
        Report(control, "header column " + std::to_string(index) + state, FontOf(header), buffer,
               TextSize(FontOf(header), buffer, DT_SINGLELINE).cx, available);
    }
}

void DispatchWaiting() {
    for (MSG message; ::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE);) {
        ::TranslateMessage(&message);
        ::DispatchMessageW(&message);
    }
}

using GetClassObject = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
using Attach = HRESULT(WINAPI*)(IUnknown*, HWND, IUnknown**);

// A control of the module copy in place active through the ATL host in a
// site window, showing the recently used book.
struct Host {
    HWND top = nullptr;
    com::ComPtr<IUnknown> container;
    com::ComPtr<IVelPhonebookControl3> control;

    bool Start(GetClassObject getClassObject, Attach attach, REFCLSID clsid, int x, int width, int height) {
        top = ::CreateWindowExW(0, L"STATIC", L"", WS_POPUP | WS_VISIBLE | WS_CLIPCHILDREN, x, 0, width + 20,
                                height + 20, nullptr, nullptr, nullptr, nullptr);
        const HWND site = ::CreateWindowExW(0, L"STATIC", L"", WS_CHILD | WS_VISIBLE | WS_CLIPCHILDREN, 10, 10, width,
                                            height, top, nullptr, nullptr, nullptr);
        com::ComPtr<IClassFactory> factory;
        com::ComPtr<IUnknown> object;
        if (!site || FAILED(getClassObject(clsid, IID_IClassFactory, factory.put_void())) ||
            FAILED(factory->CreateInstance(nullptr, IID_IUnknown, object.put_void())))
            return false;
        if (const auto persist = object.query<IPersistStreamInit>()) persist->InitNew();  // as the ATL host does
        if (FAILED(attach(object.get(), site, container.put()))) return false;
        control = object.query<IVelPhonebookControl3>();
        return control && Window() && SUCCEEDED(control->SelectOutlookAddressBook(-1));
    }
    HWND Window() const {
        HWND window = nullptr;
        if (const auto inPlace = control.query<IOleInPlaceObject>()) inPlace->GetWindow(&window);
        return window;
    }
    HWND List() const { return ::GetDlgItem(Window(), 204); }
    int Rows() const { return int(control->GetItemCount()); }
    // Everything, then sorted by each column in turn (the first class's modes
    // 1, 3, 5; the second's columns), each measured with its sort image.
    void Measure(const char* name, bool first) const {
        ReportLayout(name, "window", Window());
        ReportLayout(name, "list", List());
        MeasureChildren(name, Window());
        MeasureHeader(name, List());
        for (int column = 0; column < Header_GetItemCount(ListView_GetHeader(List())); ++column) {
            if (FAILED(control->SetSortMode(first ? 2 * column + 1 : column))) continue;
            DispatchWaiting();
            MeasureHeader(name, List(), " (sorted)", column);
        }
        if (first) control->SetSortMode(0);  // as it started, for what is measured next
        DispatchWaiting();
    }
    ~Host() {
        control.reset();
        if (top) ::DestroyWindow(top);
        container.reset();
        DispatchWaiting();
    }
};

// Runs a dialog modally, measures it from a timer once it shows, then closes
// it; false when it never showed.
struct Measurement {
    HWND* dialog;
    std::function<void()> measure;
    bool done = false;
};
Measurement* g_current = nullptr;

bool RunMeasured(HWND* dialog, std::function<void()> measure, const std::function<void()>& run) {
    Measurement measurement{dialog, std::move(measure)};
    g_current = &measurement;
    const UINT_PTR timer = ::SetTimer(nullptr, 0, 50, [](HWND, UINT, UINT_PTR, DWORD) WINAPI -> void {
        Measurement* current = g_current;
        if (!current || current->done || !*current->dialog || !::IsWindowVisible(*current->dialog)) return;
        current->done = true;
        current->measure();
        ::PostMessageW(*current->dialog, WM_CLOSE, 0, 0);
    });
    run();
    ::KillTimer(nullptr, timer);
    g_current = nullptr;
    return measurement.done;
}

void MeasureEntryDialog(const char* control, const ui::CEntryInfoDlg& dialog) {
    ReportLayout(control, "window", dialog.m_hWnd);
    ReportLayout(control, "name edit", ::GetDlgItem(dialog.m_hWnd, IDC_ENTRY_NAME));
    ReportLayout(control, "fax edit", ::GetDlgItem(dialog.m_hWnd, IDC_ENTRY_FAX));
    const char* names[] = {"prompt", "warning", "name label", "fax label"};
    int index = 0;
    for (const ui::CEntryInfoDlg::PaintedText& painted : dialog.PaintedTexts()) {
        // Painted on one line: too tall for its band is as cut as too wide.
        const SIZE size = TextSize(dialog.TextFont(), painted.text, DT_SINGLELINE | DT_NOPREFIX);
        const RECT& rect = painted.rect;
        const std::string where = names[index++];
        if (size.cy > rect.bottom - rect.top)
            Report(control, where + " height", dialog.TextFont(), painted.text, size.cy, rect.bottom - rect.top);
        else
            Report(control, where, dialog.TextFont(), painted.text, size.cx, rect.right - rect.left);
    }
    for (const int id : {IDC_ENTRY_FIRST, IDC_ENTRY_SECOND})
        MeasureButton(control, "button " + std::to_string(id), ::GetDlgItem(dialog.m_hWnd, id));
}

void MeasureMessageBox(const char* control, const ui::CMessageBoxDlg& box) {
    ReportLayout(control, "window", box.m_hWnd);
    const RECT rect = box.TextRect();
    ReportWrapped(control, "text", box.TextFont(), box.Text(), rect.right - rect.left, rect.bottom - rect.top,
                  DT_NOPREFIX);
    for (const int id : {IDOK, IDCANCEL})
        if (::IsWindowVisible(::GetDlgItem(box.m_hWnd, id)))
            MeasureButton(control, "button " + std::to_string(id), ::GetDlgItem(box.m_hWnd, id));
}

// The texts of the module's string table as its windows get them.
class Texts : public CLocalizerHelperT<Texts> {};

int Fail(const char* what) {
    std::printf("error\t%s\n", what);
    std::fflush(stdout);
    return 2;
}

template <class F>
F Function(HMODULE module, const char* name) {
    return module ? reinterpret_cast<F>(reinterpret_cast<void*>(::GetProcAddress(module, name))) : nullptr;
}

int Run(int rows) {
    wchar_t self[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, self, MAX_PATH);
    std::wstring folder = self;
    folder.resize(folder.rfind(L'\\') + 1);
    const HMODULE module = ::LoadLibraryW((folder + localization::kModuleFileName).c_str());
    const HMODULE atl = ::LoadLibraryW(L"atl100.dll");
    const auto getClassObject = Function<GetClassObject>(module, "DllGetClassObject");
    const auto init = Function<BOOL(WINAPI*)()>(atl, "AtlAxWinInit");
    const auto attach = Function<Attach>(atl, "AtlAxAttachControl");
    if (!getClassObject || !init || !attach) return Fail("the module copy or the ATL host did not load");
    init();
    {
        // The demo's size, scaled; side by side, so that their first loads overlap.
        const int width = ::MulDiv(480, g_dpi, 96), height = ::MulDiv(380, g_dpi, 96);
        Host first, second;
        if (!first.Start(getClassObject, attach, CLSID_VelPhonebookControl, 0, width, height) ||
            !second.Start(getClassObject, attach, CLSID_VelPhonebookControl2, width + 40, width, height))
            return Fail("a control could not be hosted");
        const ULONGLONG end = ::GetTickCount64() + 10000;
        while (first.Rows() != rows || second.Rows() != rows) {  // the first load runs from the controls' timer
            if (::GetTickCount64() > end) return Fail("the lists did not fill with the recently used book");
            ::MsgWaitForMultipleObjects(0, nullptr, FALSE, 10, QS_ALLINPUT);
            DispatchWaiting();
        }
        first.Measure("control1", true);
        // The host names the check-box column; the column holds its name beside the box.
        const com::UniqueBstr send(::SysAllocString(L"Send"));
        first.control->EnableCheckBoxes(TRUE, send.get());
        DispatchWaiting();
        MeasureChildren("control1-checkboxes", first.Window());
        MeasureHeader("control1-checkboxes", first.List());
        second.Measure("control2", false);
    }

    // A stuck dialog ends the run rather than hanging the test.
    ::CreateThread(nullptr, 0, [](void*) WINAPI -> DWORD {
        ::Sleep(60000);
        ::ExitProcess(3);
    }, nullptr, 0, nullptr);
    const HWND host = ::CreateWindowExW(0, L"STATIC", L"Send fax", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 80, 60,
                                        ::MulDiv(700, g_dpi, 96), ::MulDiv(540, g_dpi, 96), nullptr, nullptr, nullptr,
                                        nullptr);
    CRecipient someone;
    someone.name = L"Recipient 1";
    someone.faxNumber = L"+49 30 1234 5611";
    const std::pair<const char*, DWORD> entries[] = {{"entry-new", ui::CEntryInfoDlg::ModeNew},
                                                     {"entry-view", ui::CEntryInfoDlg::ModeView},
                                                     {"entry-edit", ui::CEntryInfoDlg::ModeEdit}};
    for (const auto& [name, mode] : entries) {
        ui::CEntryInfoDlg dialog(mode, someone, nullptr);
        if (!RunMeasured(&dialog.m_hWnd, [&, name = name] { MeasureEntryDialog(name, dialog); },
                         [&] { dialog.DoModal(host); }))
            return Fail("the entry dialog did not show");
    }
    std::wstring question = Texts().LoadText(IDS_CONFIRM_REMOVE);
    if (const size_t at = question.find(L"%d"); at != std::wstring::npos) question.replace(at, 2, L"1000");
    ui::CMessageBoxDlg box(question.c_str(), Texts().LoadText(IDS_REMOVE).c_str(), MB_YESNO);
    if (!RunMeasured(&box.m_hWnd, [&] { MeasureMessageBox("message", box); }, [&] { box.DoModal(host); }))
        return Fail("the message box did not show");
    ::DestroyWindow(host);
    PrintLine({"verdict", g_clipped ? "clipped" : "fits", std::to_string(g_clipped), std::to_string(g_measured)});
    return 0;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc < 3) return Fail("usage: VelPhonebook.exe LANGUAGES ROWS");
    // Read by the language library when the module first asks for its language.
    ::SetEnvironmentVariableW(L"ZANTIXUI_ORIGINAL_LIST", argv[1]);
    com::Module::SetInstance(::GetModuleHandleW(nullptr));
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    const HDC screen = ::GetDC(nullptr);
    g_dpi = ::GetDeviceCaps(screen, LOGPIXELSX);
    ::ReleaseDC(nullptr, screen);
    PrintLine({"dpi", std::to_string(g_dpi)});
    const int code = Run(std::wcstol(argv[2], nullptr, 10));
    std::fflush(stdout);
    ::CoUninitialize();
    return code;
}
