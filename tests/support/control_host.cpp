#include "support/control_host.h"

#include <ocidl.h>
#include <olectl.h>

#include "support/outlook_fixture.h"
#include "support/wab_fixture.h"

#include "com/unique_any.h"

#include <algorithm>

namespace control_test {

bool PumpUntil(const std::function<bool()>& condition, DWORD timeoutMs) {
    const ULONGLONG end = ::GetTickCount64() + timeoutMs;
    for (;;) {
        MSG message;
        while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            ::TranslateMessage(&message);
            ::DispatchMessageW(&message);
        }
        if (condition()) return true;
        if (::GetTickCount64() >= end) return false;
        ::MsgWaitForMultipleObjects(0, nullptr, FALSE, 10, QS_ALLINPUT);
    }
}

void WriteBook(const People& people) {
    MRUEntryList entries;
    for (const auto& [name, fax] : people) {
        entries.emplace_back();
        entries.back().identifier = L"id" + std::to_wstring(entries.size() - 1);
        entries.back().name = name;
        entries.back().faxNumber = fax;
    }
    SaveMRUStore(entries);
}

std::vector<std::wstring> BookNames() {
    MRUEntryList entries;
    LoadMRUStore(entries);
    std::vector<std::wstring> names;
    for (const MRUEntry& entry : entries) names.push_back(entry.name);
    return names;
}

HWND EditBox(HWND list) {
    const HWND box = ::FindWindowExW(list, nullptr, L"Edit", nullptr);
    return box && ::IsWindowVisible(box) ? box : nullptr;
}

STDMETHODIMP EventSink::Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* params, VARIANT*, EXCEPINFO*,
                               UINT*) noexcept {
    ReceivedEvent event{id, {}, {}};
    for (UINT i = params ? params->cArgs : 0; i-- > 0;) {  // DISPPARAMS holds the last argument first
        const VARIANT& argument = params->rgvarg[i];
        event.types.push_back(argument.vt);
        event.values.push_back(argument.vt == VT_BOOL ? LONG(argument.boolVal) : argument.lVal);
    }
    events.push_back(event);
    return answer;
}

DWORD AdviseSink(IUnknown* control, IUnknown* sink, DWORD cookie) {
    com::ComPtr<IConnectionPointContainer> container;
    control->QueryInterface(IID_IConnectionPointContainer, container.put_void());
    com::ComPtr<IConnectionPoint> point;
    if (!container || FAILED(container->FindConnectionPoint(DIID_IVelPhonebookControlEvents, point.put()))) return 0;
    if (!sink) return point->Unadvise(cookie), 0;
    point->Advise(sink, &cookie);
    return cookie;
}

namespace {
BoxAnswer* g_answer = nullptr;
}  // namespace

BoxAnswer::BoxAnswer(int button) : m_button(button) {
    g_answer = this;
    m_timer = ::SetTimer(nullptr, 0, 20, &BoxAnswer::Tick);
}

BoxAnswer::~BoxAnswer() {
    ::KillTimer(nullptr, m_timer);
    if (g_answer == this) g_answer = nullptr;
}

void CALLBACK BoxAnswer::Tick(HWND, UINT, UINT_PTR, DWORD) {
    BoxAnswer* self = g_answer;
    HWND box = nullptr;
    if (!self || self->m_answered) return;
    ::EnumThreadWindows(::GetCurrentThreadId(), [](HWND window, LPARAM found) WINAPI -> BOOL {
        wchar_t name[16] = {};
        ::GetClassNameW(window, name, 16);
        if (std::wstring(name) != L"#32770" || !::IsWindowVisible(window)) return TRUE;
        return *reinterpret_cast<HWND*>(found) = window, FALSE;
    }, reinterpret_cast<LPARAM>(&box));
    if (!box) return;
    self->m_answered = true;
    self->m_owner = ::GetWindow(box, GW_OWNER);
    wchar_t text[512] = {};
    ::GetDlgItemTextW(box, 0xFFFF, text, 512);
    self->m_text = text;
    ::PostMessageW(box, WM_COMMAND, MAKEWPARAM(self->m_button, BN_CLICKED), LPARAM(::GetDlgItem(box, self->m_button)));
}

void PressKey(HWND window, UINT key, bool shift) {
    BYTE state[256] = {};
    ::GetKeyboardState(state);
    const BYTE saved = std::exchange(state[VK_SHIFT], BYTE(shift ? 0x80 : 0));
    ::SetKeyboardState(state);
    ::SendMessageW(window, WM_KEYDOWN, key, 1);
    ::GetKeyboardState(state);
    state[VK_SHIFT] = saved;
    ::SetKeyboardState(state);
}

void Click(HWND window, POINT client) {
    // Clicks meant one by one must not make a double click.
    static ULONGLONG lastClick = 0;
    const ULONGLONG quiet = lastClick + ::GetDoubleClickTime() + 20;
    PumpUntil([&] { return ::GetTickCount64() > quiet; }, ::GetDoubleClickTime() + 20);
    ::SetForegroundWindow(::GetAncestor(window, GA_ROOT));
    ::ClientToScreen(window, &client);
    ::SetCursorPos(client.x, client.y);
    PumpUntil([&] {
        POINT at{};
        return ::GetCursorPos(&at) && at.x == client.x && at.y == client.y;
    }, 1000);
    // Press and release carry the position too: the display server may lag.
    const int width = ::GetSystemMetrics(SM_CXVIRTUALSCREEN), height = ::GetSystemMetrics(SM_CYVIRTUALSCREEN);
    INPUT input[2] = {};
    for (int i = 0; i < 2; ++i) {
        input[i].type = INPUT_MOUSE;
        input[i].mi.dx = LONG((client.x * 65535LL) / (width - 1));
        input[i].mi.dy = LONG((client.y * 65535LL) / (height - 1));
        input[i].mi.dwFlags =
            MOUSEEVENTF_MOVE | MOUSEEVENTF_ABSOLUTE | (i % 2 ? MOUSEEVENTF_LEFTUP : MOUSEEVENTF_LEFTDOWN);
    }
    ::SendInput(2, input, sizeof(INPUT));
    PumpUntil([] { return !(::GetAsyncKeyState(VK_LBUTTON) & 0x8000) && !::GetInputState(); }, 500);
    Pump(50);
    lastClick = ::GetTickCount64();
}

AtlHost::AtlHost(int width, int height, const wchar_t* progId) {
    m_atl.reset(::LoadLibraryW(L"atl100.dll"));
    if (!m_atl) return;
    using Init = BOOL(WINAPI*)();
    using GetControl = HRESULT(WINAPI*)(HWND, IUnknown**);
    const auto init = reinterpret_cast<Init>(::GetProcAddress(m_atl.get(), "AtlAxWinInit"));
    const auto getControl = reinterpret_cast<GetControl>(::GetProcAddress(m_atl.get(), "AtlAxGetControl"));
    if (!init || !getControl) return;
    // A second call in the process finds the class registered and says so.
    init();
    m_top.reset(::CreateWindowExW(0, L"STATIC", L"", WS_POPUP | WS_VISIBLE | WS_CLIPCHILDREN, 0, 0, width + 20,
                                  height + 20, nullptr, nullptr, nullptr, nullptr));
    m_host = ::CreateWindowExW(0, L"AtlAxWin100", progId, WS_CHILD | WS_VISIBLE, 10, 10, width, height, m_top.get(),
                               nullptr, nullptr, nullptr);
    if (m_host) getControl(m_host, m_control.put());
}

AtlHost::~AtlHost() {
    m_control.reset();
    m_top.reset();
    // The ATL host's window class stays registered for the process.
    m_atl.release();
}

HWND AtlHost::controlWindow() const {
    HWND window = nullptr;
    if (const auto inPlace = query<IOleInPlaceObject>()) inPlace->GetWindow(&window);
    return window;
}

namespace {
UINT g_savedDoubleClickTime = 0;
bool g_outlookRegistered = false;
constexpr wchar_t kFirstEntryId[] = L"000000000A000000000000000000000000000000000000";
}  // namespace

void HostedControl::SetUpTestSuite() {
    // Once a process: the module, and the Windows address book's stand-in for
    // good, as the system's is where the control is used (an activation of a
    // missing class costs Wine handles every time).
    static bool registered = false;
    if (!std::exchange(registered, true)) {
        ASSERT_EQ(testing_support::RunRegsvr32(false), 0);
        ASSERT_EQ(testing_support::RegisterStandIn(), 0);
    }
    g_savedDoubleClickTime = ::GetDoubleClickTime();
    ::SetDoubleClickTime(150);
}

void HostedControl::TearDownTestSuite() {
    ::SetDoubleClickTime(g_savedDoubleClickTime);
    if (std::exchange(g_outlookRegistered, false)) outlooktest::RunStandin(L"/UnregServer");
}

void HostedControl::SetUp() {
    // Outlook's stand-in, for the suites that use it.
    if (m_setup.book == 1 && !g_outlookRegistered) {
        ASSERT_TRUE(outlooktest::WaitForNoStandin(10000));
        ASSERT_EQ(outlooktest::RunStandin(L"/RegServer"), 0);
        g_outlookRegistered = true;
    }
    testing_support::DeleteUserKey(kMRUKeyPath);
    testing_support::ClearContactsFolder();
    if (m_setup.book == 1) outlooktest::DeleteStore();
}

void HostedControl::TearDown() {
    Close();
    testing_support::DeleteUserKey(kMRUKeyPath);
    testing_support::ClearContactsFolder();
    if (m_setup.book == 1) {
        EXPECT_TRUE(outlooktest::WaitForNoStandin(10000)) << "Outlook is still held after the control went";
        outlooktest::DeleteStore();
    }
}

void HostedControl::FillBook(const People& people) const {
    if (m_setup.book == -1) return WriteBook(people);
    std::vector<std::wstring> lines;
    int n = 0;
    for (const auto& [name, fax] : people) {
        const std::wstring id = std::to_wstring(++n);
        if (m_setup.book == 0)
            testing_support::WriteContact(name + L".contact", {L"id-" + id, name, {{{L"Fax", L"Business"}, fax}}});
        else
            lines.push_back(outlooktest::ContactLine(kFirstEntryId + std::wstring(2 - id.size(), L'0') + id,
                                                     L"Class=40\tFullName=" + name + L"\tBusinessFaxNumber=" + fax));
    }
    if (m_setup.book == 1) outlooktest::WriteStore(lines);
}

void HostedControl::AddFromAnotherProcess() const {
    using testing_support::BinDir;
    if (m_setup.book == -1) {
        ASSERT_EQ(testing_support::RunProcess(L"\"" + BinDir() + L"mru_change.exe\" 1 0"), 0);
    } else if (m_setup.book == 0) {
        ASSERT_EQ(testing_support::RunProcess(L"\"" + BinDir() +
                                              L"wab_probe.exe\" write \"Helper 0.contact\" \"Helper 0\" 1000"),
                  0);
    } else {
        std::string output;
        ASSERT_EQ(outlooktest::RunChangeScript(L"add \"Helper 0\" 1000", &output), 0) << output;
    }
}

void HostedControl::Host(const People& people) {
    FillBook(people);
    m_host = std::make_unique<AtlHost>(420, 330, m_setup.progId);
    m_control = m_host->query<IVelPhonebookControl3>();
    ASSERT_TRUE(m_control) << "the ATL host did not create the control";
    ASSERT_TRUE(m_host->controlWindow()) << "not in-place active";
    ASSERT_EQ(m_control->SelectOutlookAddressBook(m_setup.book), S_OK);
    ASSERT_TRUE(WaitForRows(people)) << "the list has " << ItemCount() << " rows, not " << people.size();
    m_sink = com::Make<EventSink>();
    m_cookie = AdviseSink(m_control.get(), m_sink.get());
    ASSERT_NE(m_cookie, 0u);
}

void HostedControl::Close() {
    if (m_cookie && m_host && m_host->control()) UnadviseSink(m_host->control(), m_cookie);
    m_cookie = 0;
    m_control.reset();
    m_host.reset();
    Drain();  // what the windows posted on their way out
}

std::wstring HostedControl::Cell(int item, bool fax) const {
    com::UniqueBstr text;
    if (m_control->GetItem(item, nullptr, fax ? nullptr : text.put(), fax ? text.put() : nullptr) != HRESULT(item))
        return L"?";
    return text.get() ? text.get() : L"";
}

std::vector<std::wstring> HostedControl::Names() const {
    std::vector<std::wstring> names;
    for (int i = 0, n = ItemCount(); i < n; ++i) names.push_back(NameAt(i));
    return names;
}

bool HostedControl::WaitForRows(People wanted, DWORD timeoutMs) const {
    std::sort(wanted.begin(), wanted.end());
    return PumpUntil([&] {
        People rows;
        for (int i = 0, n = ItemCount(); i < n; ++i) rows.emplace_back(NameAt(i), FaxAt(i));
        std::sort(rows.begin(), rows.end());
        return rows == wanted;
    }, timeoutMs);
}

void HostedControl::SetRowState(int row, UINT state, UINT mask) const {
    LVITEMW item{};
    item.state = state;
    item.stateMask = mask;
    ::SendMessageW(List(), LVM_SETITEMSTATE, WPARAM(row), reinterpret_cast<LPARAM>(&item));
}

void HostedControl::Press(int id) const {
    ::SendMessageW(m_host->controlWindow(), WM_COMMAND, MAKEWPARAM(id, BN_CLICKED),
                   reinterpret_cast<LPARAM>(m_host->item(id)));
}

HRESULT HostedControl::ModuleCanUnloadNow() {
    const HMODULE module = ::GetModuleHandleW(testing_support::kModuleFileName);
    if (!module) return S_OK;
    using CanUnload = HRESULT(STDAPICALLTYPE*)();
    const auto canUnload = reinterpret_cast<CanUnload>(reinterpret_cast<void*>(::GetProcAddress(module, "DllCanUnloadNow")));
    return canUnload ? canUnload() : E_FAIL;
}

}  // namespace control_test
