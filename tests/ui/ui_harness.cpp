// Tools of the dialog tests.
#include "ui_harness.h"

#include "sources/mru_store.h"
#include "support/test_support.h"
#include "ui/edc_blend.h"
#include "ui/entry_info_dlg.h"
#include "ui/message_box_dlg.h"

#include <intrin.h>


namespace ui_test {
namespace {

ModalScript* g_script = nullptr;

std::vector<HWND> ThreadWindows() {
    std::vector<HWND> found;
    ::EnumThreadWindows(::GetCurrentThreadId(), [](HWND hwnd, LPARAM list) WINAPI -> BOOL {
        reinterpret_cast<std::vector<HWND>*>(list)->push_back(hwnd);
        return TRUE;
    }, reinterpret_cast<LPARAM>(&found));
    return found;
}

HWND FindLayered(bool clickThrough) {
    for (HWND hwnd : ThreadWindows()) {
        const LONG_PTR style = ::GetWindowLongPtrW(hwnd, GWL_EXSTYLE);
        if ((style & WS_EX_LAYERED) && !(style & WS_EX_TRANSPARENT) == !clickThrough) return hwnd;
    }
    return nullptr;
}

}  // namespace

com::UniqueWindow ShowHostWindow(const RECT& rect) {
    static const bool registered = [] {
        WNDCLASSEXW info{sizeof(info), 0, &::DefWindowProcW, 0, 0, ::GetModuleHandleW(nullptr), nullptr,
                         ::LoadCursorW(nullptr, IDC_ARROW), HBRUSH(COLOR_BTNFACE + 1), nullptr, L"UiTestHost"};
        return ::RegisterClassExW(&info) != 0;
    }();
    com::UniqueWindow host(::CreateWindowExW(0, L"UiTestHost", L"Host", WS_POPUP | WS_VISIBLE, rect.left, rect.top,
                                             rect.right - rect.left, rect.bottom - rect.top, nullptr, nullptr,
                                             ::GetModuleHandleW(nullptr), nullptr));
    EXPECT_TRUE(registered && host);
    ::SetForegroundWindow(host.get());
    ::UpdateWindow(host.get());
    return host;
}

ModalScript::ModalScript(std::vector<Step> steps, UINT intervalMs)
    : m_steps(std::move(steps)), m_stepStart(::GetTickCount()), m_timer(::SetTimer(nullptr, 0, intervalMs, &Tick)) {
    g_script = this;
}

ModalScript::~ModalScript() {
    ::KillTimer(nullptr, m_timer);
    if (g_script == this) g_script = nullptr;
}

void CALLBACK ModalScript::Tick(HWND, UINT, UINT_PTR, DWORD) {
    // A step may pump messages itself (a nested modal loop); ticks that
    // arrive meanwhile wait for it.
    ModalScript* const s = g_script;
    if (!s || s->m_running || s->Finished()) return;
    s->m_running = true;
    if (s->m_steps[s->m_next]()) {
        ++s->m_next;
        s->m_stepStart = ::GetTickCount();
    } else if (::GetTickCount() - s->m_stepStart > 5000) {
        s->m_failure = "step " + std::to_string(s->m_next) + " did not complete";
        s->m_next = s->m_steps.size();
        if (const HWND dialog = FindDialog()) ::PostMessageW(dialog, WM_CLOSE, 0, 0);
    }
    s->m_running = false;
}

ModalScript::Step Do(std::function<void()> action) {
    return [action] {
        action();
        return true;
    };
}

ModalScript::Step CloseDialog() { return Do([] { ::PostMessageW(FindDialog(), WM_CLOSE, 0, 0); }); }

HWND FindDialog() {
    for (HWND hwnd : ThreadWindows()) {
        wchar_t name[32] = {};
        ::GetClassNameW(hwnd, name, 32);
        if (std::wstring(name) == L"#32770" && ::IsWindowVisible(hwnd)) return hwnd;
    }
    return nullptr;
}

HWND FindShadow() { return FindLayered(true); }
HWND FindShader() { return FindLayered(false); }

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

std::wstring WindowText(HWND window) {
    wchar_t text[600] = {};
    ::GetWindowTextW(window, text, 600);
    return text;
}

namespace {

// Wine answers GetGuiResources with 0; its GDI table (the PEB's
// GdiSharedHandleTable, 24-byte entries, type byte 14 zero when free) counts.
DWORD GdiObjectCount() {
    if (const DWORD reported = ::GetGuiResources(::GetCurrentProcess(), GR_GDIOBJECTS)) return reported;
#ifdef _WIN64
    const BYTE* table = *reinterpret_cast<const BYTE* const*>(reinterpret_cast<const BYTE*>(__readgsqword(0x60)) + 0xF8);
#else
    const BYTE* table = *reinterpret_cast<const BYTE* const*>(reinterpret_cast<const BYTE*>(__readfsdword(0x30)) + 0x94);
#endif
    DWORD count = 0;
    for (size_t i = 0; table && i < 0x10000; ++i) count += table[i * 24 + 14] != 0;
    return count;
}

}  // namespace

ResourceCounts CountResources() {
    return {int(ThreadWindows().size()), GdiObjectCount(), ::GetGuiResources(::GetCurrentProcess(), GR_USEROBJECTS),
            testing_support::ThreadCount(), testing_support::HandleCount()};
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

CRecipient Recipient(const wchar_t* id, const wchar_t* name, const wchar_t* fax) {
    CRecipient r;
    r.identifier = id;
    r.name = name;
    r.faxNumber = fax;
    return r;
}

static const wchar_t* const kSkinNames[] = {L"Enable", L"Window", L"Themes"};

HRESULT RecordingSkin::QueryInterface(REFIID iid, void** out) {
    if (!out) return E_POINTER;
    *out = iid == IID_IUnknown || iid == IID_IDispatch ? static_cast<IDispatch*>(this) : nullptr;
    return *out ? (AddRef(), S_OK) : E_NOINTERFACE;
}

HRESULT RecordingSkin::GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) {
    if (count != 1) return E_INVALIDARG;
    ids[0] = DISPID_UNKNOWN;
    for (DISPID i = 0; i < 3; ++i)
        if (_wcsicmp(names[0], kSkinNames[i]) == 0) ids[0] = i + 1;
    return ids[0] == DISPID_UNKNOWN ? DISP_E_UNKNOWNNAME : S_OK;
}

HRESULT RecordingSkin::Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* parameters, VARIANT*, EXCEPINFO*,
                              UINT*) {
    if (id < 1 || id > 3 || !parameters) return DISP_E_MEMBERNOTFOUND;
    Call call{kSkinNames[id - 1], {}, {}, flags};
    // Automation passes the last argument first.
    for (UINT i = parameters->cArgs; i-- > 0;) {
        const VARIANT& argument = parameters->rgvarg[i];
        call.kinds.push_back(argument.vt);
        call.values.push_back(argument.vt == VT_UI8 ? argument.ullVal : ULONGLONG(argument.ulVal));
    }
    calls.push_back(call);
    return id == 2 && failWindow ? E_FAIL : S_OK;
}

}  // namespace ui_test

namespace {

// What the platform sets up once per process (fonts, GDI+, clipboard, the
// MRU book's named objects), done before any test counts.
class WarmUp : public ::testing::Environment {
public:
    void SetUp() override {
        using namespace ui_test;
        { SCOPED_TRACE("warm-up"); }
        const com::UniqueWindow host = ShowHostWindow();
        testing_support::DeleteUserKey(kMRUKeyPath);
        {
            MRUOwner owner;
            CRecipient ann = Recipient(L"w1", L"Ann", L"111");
            owner.Source()->Add(ann);
            ui::CEntryInfoDlg entry(ui::CEntryInfoDlg::ModeNew, ann, &owner);
            HWND dialog = nullptr;
            const auto item = [&](int id) { return ::GetDlgItem(dialog, id); };
            ModalScript script({[&] { return (dialog = FindDialog()) != nullptr; }, Do([&] {
                                    // The first keyboard input of the process.
                                    ::SetFocus(item(214));
                                    INPUT key[2] = {{INPUT_KEYBOARD}, {INPUT_KEYBOARD}};
                                    key[0].ki = {0, L'1', KEYEVENTF_UNICODE};
                                    key[1].ki = {0, L'1', KEYEVENTF_UNICODE | KEYEVENTF_KEYUP};
                                    ::SendInput(2, key, sizeof(INPUT));
                                }),
                                [&] { return WindowText(item(214)).size() > 3; }, Do([&] {
                                    PasteText(item(213), std::wstring(140, L'n'));
                                    PasteText(item(214), L"1a1");
                                    ::SetWindowTextW(item(213), L"Ann");
                                    ::SetWindowTextW(item(214), L"111");  // refused: the book holds it
                                    ::SendMessageW(item(215), BM_CLICK, 0, 0);
                                    ::UpdateWindow(dialog);
                                }),
                                CloseDialog(), [] { return FindDialog() && !::GetDlgItem(FindDialog(), 215); },
                                CloseDialog()});  // the message box below
            ui::DoModalShaded(entry, host.get());
            ui::ShowMessageBox(nullptr, host.get(), L"Warm-up", L"", MB_OK);
        }
        testing_support::DeleteUserKey(kMRUKeyPath);
    }
};

const auto* const g_warmUp = ::testing::AddGlobalTestEnvironment(new WarmUp);

}  // namespace
