// Reports every text of the entry dialog and the message box with the width
// it needs and the width it has, for the language the language library
// names first:
//
//   VelPhonebook.exe LANGUAGES
//
// The program is a copy of dialog_fit_probe.exe named after the module and
// placed beside a copy of it, the language files and the stand-in language
// library: the texts are looked up under the module's name in its folder, so
// the dialogs get exactly the module's texts. LANGUAGES is what the language
// library answers (hexadecimal identifiers separated by colons).
//
// Each dialog runs modally over a host window and is measured from a timer
// inside its loop, then closed:
// - the entry dialog for a new recipient, for viewing one and for editing
//   one (each mode has its own button captions): the texts it paints itself
//   (prompt, warning, the name and fax labels) against their rectangles,
//   single-line, in the dialog's text font; its buttons as push buttons;
// - the message box with the question asked before 1,000 recipients are
//   removed (yes/no buttons): the message wrapped to its rectangle, which
//   must hold its height and its longest unbreakable run; the buttons.
//
// Output: the lines of the control probe (text, clipped, missing-glyphs,
// layout of the dialog window and its edit boxes, verdict; the control column is "entry-new", "entry-view", "entry-edit" or
// "message"). The exit code is 0 when every dialog was shown and measured.
#include "com/module.h"
#include "core/recipient.h"
#include "localization/localizer.h"
#include "localization/string_ids.h"
#include "text_measure.h"
#include "ui/entry_info_dlg.h"
#include "ui/message_box_dlg.h"
#include "ui/ui_ids.h"

#include <windows.h>

#include <functional>
#include <string>

namespace {

using namespace probe;

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
    std::fflush(stdout);
    return 1;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc < 2) return Fail("usage: VelPhonebook.exe LANGUAGES");
    ::SetEnvironmentVariableW(L"ZANTIXUI_ORIGINAL_LIST", argv[1]);
    com::Module::SetInstance(::GetModuleHandleW(nullptr));
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    const HDC screen = ::GetDC(nullptr);
    g_dpi = ::GetDeviceCaps(screen, LOGPIXELSX);
    ::ReleaseDC(nullptr, screen);
    PrintLine({"dpi", std::to_string(g_dpi)});

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
