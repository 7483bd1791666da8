// Tools of the dialog tests.
#include "ui_harness.h"

#include "sources/mru_store.h"
#include "support/test_support.h"
#include "ui/edc_blend.h"
#include "ui/entry_info_dlg.h"
#include "ui/gdiplus_include.h"
#include "ui/message_box_dlg.h"

#include <gtest/gtest.h>

#include <intrin.h>
#include <cstdlib>

namespace ui_test {
namespace {

LRESULT CALLBACK HostProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    return ::DefWindowProcW(hwnd, message, wParam, lParam);
}

const wchar_t* HostClass() {
    static const wchar_t* name = [] {
        WNDCLASSEXW info{};
        info.cbSize = sizeof(info);
        info.lpfnWndProc = &HostProc;
        info.hInstance = ::GetModuleHandleW(nullptr);
        info.hCursor = ::LoadCursorW(nullptr, IDC_ARROW);
        // Created once for the process, before any count is taken.
        info.hbrBackground = ::CreateSolidBrush(kHostColour);
        info.lpszClassName = L"UiTestHost";
        ::RegisterClassExW(&info);
        return L"UiTestHost";
    }();
    return name;
}

ModalScript* g_script = nullptr;
constexpr DWORD kStepTimeoutMs = 5000;

struct ThreadWindows {
    std::vector<HWND> windows;
};

BOOL CALLBACK CollectWindow(HWND hwnd, LPARAM context) {
    reinterpret_cast<ThreadWindows*>(context)->windows.push_back(hwnd);
    return TRUE;
}

std::vector<HWND> AllThreadWindows() {
    ThreadWindows found;
    ::EnumThreadWindows(::GetCurrentThreadId(), &CollectWindow, reinterpret_cast<LPARAM>(&found));
    return found.windows;
}

void SendKey(WORD scan, DWORD flags) {
    INPUT input{};
    input.type = INPUT_KEYBOARD;
    input.ki.wScan = scan;
    input.ki.dwFlags = flags;
    ::SendInput(1, &input, sizeof(input));
}

}  // namespace

HostWindow::HostWindow(const RECT& rect) {
    m_hwnd = ::CreateWindowExW(0, HostClass(), L"Host", WS_POPUP | WS_VISIBLE, rect.left, rect.top,
                               rect.right - rect.left, rect.bottom - rect.top, nullptr, nullptr,
                               ::GetModuleHandleW(nullptr), nullptr);
    ::SetForegroundWindow(m_hwnd);
    ::UpdateWindow(m_hwnd);
}

HostWindow::~HostWindow() {
    if (m_hwnd) ::DestroyWindow(m_hwnd);
}

ModalScript::ModalScript(std::vector<Step> steps, UINT intervalMs) : m_steps(std::move(steps)) {
    g_script = this;
    m_stepStart = ::GetTickCount();
    m_timer = ::SetTimer(nullptr, 0, intervalMs, &ModalScript::Tick);
}

ModalScript::~ModalScript() {
    if (m_timer) ::KillTimer(nullptr, m_timer);
    if (g_script == this) g_script = nullptr;
}

void CALLBACK ModalScript::Tick(HWND, UINT, UINT_PTR, DWORD) {
    if (g_script) g_script->Run();
}

void ModalScript::Run() {
    // A step may pump messages itself (a nested modal loop); ticks that
    // arrive meanwhile wait for it.
    if (m_running || Finished()) return;
    m_running = true;
    if (m_steps[m_next]()) {
        ++m_next;
        m_stepStart = ::GetTickCount();
    } else if (::GetTickCount() - m_stepStart > kStepTimeoutMs) {
        m_failure = "step " + std::to_string(m_next) + " did not complete";
        m_next = m_steps.size();
        if (const HWND dialog = FindDialog()) ::PostMessageW(dialog, WM_CLOSE, 0, 0);
    }
    m_running = false;
}

HWND FindDialog() {
    for (HWND hwnd : AllThreadWindows()) {
        wchar_t name[32] = {};
        ::GetClassNameW(hwnd, name, 32);
        if (std::wstring(name) == L"#32770" && ::IsWindowVisible(hwnd)) return hwnd;
    }
    return nullptr;
}

std::vector<HWND> ThreadWindowsWithExStyle(DWORD exStyle) {
    std::vector<HWND> result;
    for (HWND hwnd : AllThreadWindows())
        if ((DWORD(::GetWindowLongPtrW(hwnd, GWL_EXSTYLE)) & exStyle) == exStyle) result.push_back(hwnd);
    return result;
}

HWND FindShadow() {
    const auto found = ThreadWindowsWithExStyle(WS_EX_LAYERED | WS_EX_TRANSPARENT);
    return found.empty() ? nullptr : found.front();
}

HWND FindShader() {
    for (HWND hwnd : ThreadWindowsWithExStyle(WS_EX_LAYERED))
        if (!(::GetWindowLongPtrW(hwnd, GWL_EXSTYLE) & WS_EX_TRANSPARENT)) return hwnd;
    return nullptr;
}

int ThreadWindowCount() {
    return int(AllThreadWindows().size());
}

void TypeText(HWND window, const std::wstring& text) {
    ::SetForegroundWindow(::GetAncestor(window, GA_ROOT));
    ::SetFocus(window);
    for (wchar_t c : text) {
        SendKey(c, KEYEVENTF_UNICODE);
        SendKey(c, KEYEVENTF_UNICODE | KEYEVENTF_KEYUP);
    }
}

void PasteText(HWND edit, const std::wstring& text) {
    if (!::OpenClipboard(nullptr)) return;
    ::EmptyClipboard();
    const size_t bytes = (text.size() + 1) * sizeof(wchar_t);
    if (HGLOBAL memory = ::GlobalAlloc(GMEM_MOVEABLE, bytes)) {
        memcpy(::GlobalLock(memory), text.c_str(), bytes);
        ::GlobalUnlock(memory);
        if (!::SetClipboardData(CF_UNICODETEXT, memory)) ::GlobalFree(memory);
    }
    ::CloseClipboard();
    ::SendMessageW(edit, WM_PASTE, 0, 0);
}

void ClickWindow(HWND window) {
    RECT rect{};
    ::GetWindowRect(window, &rect);
    const int x = (rect.left + rect.right) / 2, y = (rect.top + rect.bottom) / 2;
    const int width = ::GetSystemMetrics(SM_CXVIRTUALSCREEN), height = ::GetSystemMetrics(SM_CYVIRTUALSCREEN);
    INPUT inputs[3]{};
    for (INPUT& input : inputs) {
        input.type = INPUT_MOUSE;
        input.mi.dx = LONG((x * 65535LL) / (width - 1));
        input.mi.dy = LONG((y * 65535LL) / (height - 1));
    }
    inputs[0].mi.dwFlags = MOUSEEVENTF_MOVE | MOUSEEVENTF_ABSOLUTE;
    inputs[1].mi.dwFlags = MOUSEEVENTF_MOVE | MOUSEEVENTF_LEFTDOWN | MOUSEEVENTF_ABSOLUTE;
    inputs[2].mi.dwFlags = MOUSEEVENTF_MOVE | MOUSEEVENTF_LEFTUP | MOUSEEVENTF_ABSOLUTE;
    ::SendInput(3, inputs, sizeof(INPUT));
}

std::wstring WindowText(HWND window) {
    wchar_t text[600] = {};
    ::GetWindowTextW(window, text, 600);
    return text;
}

ScreenShot::ScreenShot() {
    m_width = ::GetSystemMetrics(SM_CXVIRTUALSCREEN);
    m_height = ::GetSystemMetrics(SM_CYVIRTUALSCREEN);
    m_pixels.resize(size_t(m_width) * size_t(m_height));
    const HDC screen = ::GetDC(nullptr);
    const HDC memory = ::CreateCompatibleDC(screen);
    BITMAPINFO info{};
    info.bmiHeader.biSize = sizeof(info.bmiHeader);
    info.bmiHeader.biWidth = m_width;
    info.bmiHeader.biHeight = -m_height;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    info.bmiHeader.biCompression = BI_RGB;
    void* bits = nullptr;
    const HBITMAP bitmap = ::CreateDIBSection(screen, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    const HGDIOBJ previous = ::SelectObject(memory, bitmap);
    ::BitBlt(memory, 0, 0, m_width, m_height, screen, 0, 0, SRCCOPY);
    ::GdiFlush();
    memcpy(m_pixels.data(), bits, m_pixels.size() * 4);
    ::SelectObject(memory, previous);
    ::DeleteObject(bitmap);
    ::DeleteDC(memory);
    ::ReleaseDC(nullptr, screen);
}

COLORREF ScreenShot::At(int x, int y) const {
    if (x < 0 || y < 0 || x >= m_width || y >= m_height) return CLR_INVALID;
    const DWORD p = m_pixels[size_t(y) * size_t(m_width) + size_t(x)];
    return RGB((p >> 16) & 0xFF, (p >> 8) & 0xFF, p & 0xFF);
}

int ScreenShot::Count(const RECT& rect, COLORREF colour, int tolerance) const {
    int count = 0;
    for (int y = rect.top; y < rect.bottom; ++y)
        for (int x = rect.left; x < rect.right; ++x) {
            const COLORREF c = At(x, y);
            if (c == CLR_INVALID) continue;
            if (std::abs(GetRValue(c) - GetRValue(colour)) <= tolerance &&
                std::abs(GetGValue(c) - GetGValue(colour)) <= tolerance &&
                std::abs(GetBValue(c) - GetBValue(colour)) <= tolerance)
                ++count;
        }
    return count;
}

int ScreenShot::Darkest(const RECT& rect) const {
    int darkest = 3 * 255;
    for (int y = rect.top; y < rect.bottom; ++y)
        for (int x = rect.left; x < rect.right; ++x) {
            const COLORREF c = At(x, y);
            if (c != CLR_INVALID) darkest = std::min(darkest, Brightness(c));
        }
    return darkest;
}

bool ScreenShot::SavePng(const std::wstring& path) const {
    Gdiplus::GdiplusStartupInput input;
    ULONG_PTR token = 0;
    if (Gdiplus::GdiplusStartup(&token, &input, nullptr) != Gdiplus::Ok) return false;
    bool saved = false;
    {
        std::vector<DWORD> opaque(m_pixels);
        for (DWORD& p : opaque) p |= 0xFF000000u;
        Gdiplus::Bitmap bitmap(m_width, m_height, m_width * 4, PixelFormat32bppARGB,
                               reinterpret_cast<BYTE*>(opaque.data()));
        // The PNG encoder's class identifier.
        const CLSID png = {0x557cf406, 0x1a04, 0x11d3, {0x9a, 0x73, 0x00, 0x00, 0xf8, 0x1e, 0xf3, 0x2e}};
        saved = bitmap.Save(path.c_str(), &png, nullptr) == Gdiplus::Ok;
    }
    Gdiplus::GdiplusShutdown(token);
    return saved;
}

RECT ClientToScreenRect(HWND window, RECT rect) {
    ::MapWindowPoints(window, nullptr, reinterpret_cast<POINT*>(&rect), 2);
    return rect;
}

int Brightness(COLORREF colour) {
    return GetRValue(colour) + GetGValue(colour) + GetBValue(colour);
}

namespace {

// Wine answers GetGuiResources with 0. Its GDI handle table lies in the
// process (the PEB's GdiSharedHandleTable, as on Windows), 24-byte entries
// whose type byte (offset 14) is zero for a free entry, so the objects can
// be counted there instead.
DWORD GdiObjectCount() {
    const DWORD reported = ::GetGuiResources(::GetCurrentProcess(), GR_GDIOBJECTS);
    if (reported) return reported;
    const BYTE* peb = reinterpret_cast<const BYTE*>(__readgsqword(0x60));
    const BYTE* table = *reinterpret_cast<const BYTE* const*>(peb + 0xF8);
    if (!table) return 0;
    constexpr size_t kEntries = 0x10000, kEntrySize = 24, kTypeOffset = 14;
    DWORD count = 0;
    for (size_t i = 0; i < kEntries; ++i)
        if (table[i * kEntrySize + kTypeOffset]) ++count;
    return count;
}

}  // namespace

ResourceCounts CountResources() {
    ResourceCounts counts;
    counts.windows = ThreadWindowCount();
    counts.gdiObjects = GdiObjectCount();
    counts.userObjects = ::GetGuiResources(::GetCurrentProcess(), GR_USEROBJECTS);
    counts.threads = testing_support::ThreadCount();
    counts.handles = testing_support::HandleCount();
    return counts;
}

ResourceCounts SettledResources(const ResourceCounts& baseline) {
    ResourceCounts now = CountResources();
    for (int i = 0; i < 100; ++i) {
        if (now.windows <= baseline.windows && now.gdiObjects <= baseline.gdiObjects &&
            now.threads <= baseline.threads && now.handles <= baseline.handles)
            break;
        MSG message;
        while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageW(&message);
        ::Sleep(10);
        now = CountResources();
    }
    return now;
}

HRESULT RecordingSkin::QueryInterface(REFIID iid, void** out) {
    if (!out) return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IDispatch) {
        *out = static_cast<IDispatch*>(this);
        AddRef();
        return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
}

HRESULT RecordingSkin::GetTypeInfoCount(UINT* count) {
    if (count) *count = 0;
    return S_OK;
}

namespace {
const wchar_t* const kSkinNames[] = {L"Enable", L"Window", L"Themes"};
}

HRESULT RecordingSkin::GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) {
    if (count != 1) return E_INVALIDARG;
    for (DISPID i = 0; i < 3; ++i)
        if (_wcsicmp(names[0], kSkinNames[i]) == 0) {
            ids[0] = i + 1;
            return S_OK;
        }
    ids[0] = DISPID_UNKNOWN;
    return DISP_E_UNKNOWNNAME;
}

HRESULT RecordingSkin::Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* parameters, VARIANT*,
                              EXCEPINFO*, UINT*) {
    if (id < 1 || id > 3 || !parameters) return DISP_E_MEMBERNOTFOUND;
    Call call;
    call.name = kSkinNames[id - 1];
    call.flags = flags;
    // Automation passes the last argument first.
    for (UINT i = parameters->cArgs; i-- > 0;) {
        const VARIANT& argument = parameters->rgvarg[i];
        call.kinds.push_back(argument.vt);
        call.values.push_back(argument.vt == VT_UI8 ? argument.ullVal : ULONGLONG(argument.ulVal));
    }
    calls.push_back(call);
    if (id == 2 && failWindow) return E_FAIL;
    return S_OK;
}

}  // namespace ui_test

namespace {

// Process-wide set-up that the platform does once (the display connection's
// helpers, the MRU book's named objects): done before any test counts what
// a dialog leaves behind.
class WarmUp : public ::testing::Environment {
public:
    void SetUp() override {
        ui_test::ScreenShot shot;
        ::OpenClipboard(nullptr);
        ::CloseClipboard();
        // The first dialog of a process loads fonts and GDI+ for good.
        ui_test::HostWindow host;
        ui_test::ModalScript script({[] { return ui_test::FindDialog() != nullptr; },
                                     [] {
                                         ::UpdateWindow(ui_test::FindDialog());
                                         ui_test::ClickWindow(::GetDlgItem(ui_test::FindDialog(), IDOK));
                                         return true;
                                     },
                                     [] { return ui_test::FindDialog() == nullptr; }});
        ui::ShowMessageBox(nullptr, host.hwnd(), L"Warm-up", L"", MB_OK);

        // And the entry dialog: typing, pasting, the warning image.
        testing_support::DeleteUserKey(kMRUKeyPath);
        {
            WarmUpOwner owner;
            CRecipient ann;
            ann.identifier = L"w1";
            ann.name = L"Ann";
            ann.faxNumber = L"111";
            owner.Source()->Add(ann);
            ui::CEntryInfoDlg entry(ui::CEntryInfoDlg::ModeNew, ann, &owner);
            HWND dialog = nullptr;
            ui_test::ModalScript entryScript(
                {[&] { return (dialog = ui_test::FindDialog()) != nullptr; },
                 [&] {
                     ui_test::TypeText(::GetDlgItem(dialog, 214), L"1a-");
                     return true;
                 },
                 [&] { return ui_test::WindowText(::GetDlgItem(dialog, 214)).size() > 3; },
                 [&] {
                     ::SetWindowTextW(::GetDlgItem(dialog, 214), L"");
                     ui_test::PasteText(::GetDlgItem(dialog, 214), L"1a1");
                     ::SetWindowTextW(::GetDlgItem(dialog, 213), L"Ann");
                     ::SetWindowTextW(::GetDlgItem(dialog, 214), L"111");
                     ::SendMessageW(::GetDlgItem(dialog, 215), BM_CLICK, 0, 0);
                     return true;
                 },
                 [&] { return entry.IsDuplicate(); },
                 [&] {
                     ::UpdateWindow(dialog);
                     ui_test::ScreenShot shot;
                     ::PostMessageW(dialog, WM_CLOSE, 0, 0);
                     return true;
                 }});
            ui::DoModalShaded(entry, host.hwnd());
        }
        testing_support::DeleteUserKey(kMRUKeyPath);
    }

    class WarmUpOwner : public CPhonebookManager {
    public:
        WarmUpOwner() {
            SetKind(kMRUBook);
            OpenSource();
        }
        HWND GetNotifyWindow() override { return nullptr; }
        HRESULT OnOutlookConnected() override { return S_OK; }
        void OnOutlookDisconnecting() override {}
    };
};

const auto* const g_warmUp = ::testing::AddGlobalTestEnvironment(new WarmUp);

}  // namespace
