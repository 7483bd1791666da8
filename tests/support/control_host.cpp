#include "support/control_host.h"

#include <ocidl.h>
#include <olectl.h>

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

void WriteBook(const std::vector<std::pair<std::wstring, std::wstring>>& people) {
    MRUEntryList entries;
    int n = 0;
    for (const auto& [name, fax] : people) {
        MRUEntry entry;
        entry.identifier = L"id" + std::to_wstring(n++);
        entry.name = name;
        entry.faxNumber = fax;
        entries.push_back(entry);
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

STDMETHODIMP EventSink::GetTypeInfoCount(UINT* count) noexcept {
    if (!count) return E_POINTER;
    *count = 0;
    return S_OK;
}

STDMETHODIMP EventSink::Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* params, VARIANT*, EXCEPINFO*,
                               UINT*) noexcept {
    ReceivedEvent event;
    event.id = id;
    // DISPPARAMS holds the arguments last first.
    for (UINT i = params ? params->cArgs : 0; i-- > 0;) {
        const VARIANT& argument = params->rgvarg[i];
        event.types.push_back(argument.vt);
        event.values.push_back(argument.vt == VT_BOOL ? LONG(argument.boolVal) : argument.lVal);
    }
    events.push_back(event);
    if (onEvent) onEvent();
    return answer;
}

DWORD AdviseSink(IUnknown* control, IUnknown* sink) {
    com::ComPtr<IConnectionPointContainer> container;
    control->QueryInterface(IID_IConnectionPointContainer, container.put_void());
    com::ComPtr<IConnectionPoint> point;
    if (!container || FAILED(container->FindConnectionPoint(DIID_IVelPhonebookControlEvents, point.put()))) return 0;
    DWORD cookie = 0;
    point->Advise(sink, &cookie);
    return cookie;
}

void UnadviseSink(IUnknown* control, DWORD cookie) {
    com::ComPtr<IConnectionPointContainer> container;
    control->QueryInterface(IID_IConnectionPointContainer, container.put_void());
    com::ComPtr<IConnectionPoint> point;
    if (container && SUCCEEDED(container->FindConnectionPoint(DIID_IVelPhonebookControlEvents, point.put())))
        point->Unadvise(cookie);
}

namespace {
struct BoxSearch {
    HWND box = nullptr;
};

BOOL CALLBACK FindBox(HWND window, LPARAM context) {
    DWORD process = 0;
    ::GetWindowThreadProcessId(window, &process);
    wchar_t name[32] = {};
    ::GetClassNameW(window, name, 32);
    if (process == ::GetCurrentProcessId() && std::wstring(name) == L"#32770" && ::IsWindowVisible(window)) {
        reinterpret_cast<BoxSearch*>(context)->box = window;
        return FALSE;
    }
    return TRUE;
}
}  // namespace

MessageBoxAnswer::MessageBoxAnswer(int button) {
    m_thread = std::thread([this, button] {
        while (!m_stop) {
            BoxSearch search;
            ::EnumWindows(&FindBox, reinterpret_cast<LPARAM>(&search));
            if (search.box) {
                m_owner = ::GetWindow(search.box, GW_OWNER);
                wchar_t text[512] = {};
                ::GetDlgItemTextW(search.box, 0xFFFF, text, 512);
                m_text = text;
                ::PostMessageW(search.box, WM_COMMAND, MAKEWPARAM(button, BN_CLICKED),
                               reinterpret_cast<LPARAM>(::GetDlgItem(search.box, button)));
                m_answered = true;
                return;
            }
            ::Sleep(20);
        }
    });
}

MessageBoxAnswer::~MessageBoxAnswer() {
    m_stop = true;
    m_thread.join();
}

AtlHost::AtlHost(int width, int height, const wchar_t* progId, bool nested) {
    m_atl.reset(::LoadLibraryW(L"atl100.dll"));
    if (!m_atl) return;
    using Init = BOOL(WINAPI*)();
    using GetControl = HRESULT(WINAPI*)(HWND, IUnknown**);
    const auto init = reinterpret_cast<Init>(::GetProcAddress(m_atl.get(), "AtlAxWinInit"));
    const auto getControl = reinterpret_cast<GetControl>(::GetProcAddress(m_atl.get(), "AtlAxGetControl"));
    if (!init || !getControl) return;
    // A second call in the process finds the class registered and says so.
    init();
    const int margin = nested ? 160 : 20;
    m_top.reset(::CreateWindowExW(0, L"STATIC", L"", WS_POPUP | WS_VISIBLE | WS_CLIPCHILDREN, 0, 0,
                                  width + margin, height + margin, nullptr, nullptr, nullptr, nullptr));
    HWND parent = m_top.get();
    if (nested) {
        m_page = ::CreateWindowExW(0, L"STATIC", L"", WS_CHILD | WS_VISIBLE | WS_CLIPCHILDREN | SS_GRAYRECT,
                                   140, 140, width + 10, height + 10, parent, nullptr, nullptr, nullptr);
        parent = m_page;
    }
    m_host = ::CreateWindowExW(0, L"AtlAxWin100", progId, WS_CHILD | WS_VISIBLE, nested ? 5 : 10,
                               nested ? 5 : 10, width, height, parent, nullptr, nullptr, nullptr);
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

void HostedControlTest::SetUpTestSuite() {
    ASSERT_EQ(testing_support::RunRegsvr32(false), 0);
}

void HostedControlTest::SetUp() { testing_support::DeleteUserKey(kMRUKeyPath); }

void HostedControlTest::TearDown() {
    m_control.reset();
    m_host.reset();
    Pump(50);
    testing_support::DeleteUserKey(kMRUKeyPath);
}

void HostedControlTest::HostWithBook(const std::vector<std::pair<std::wstring, std::wstring>>& people) {
    if (!people.empty()) WriteBook(people);
    m_host = std::make_unique<AtlHost>();
    ASSERT_TRUE(m_host->control()) << "the ATL host did not create the control";
    m_control = m_host->query<IVelPhonebookControl3>();
    ASSERT_TRUE(m_control);
    ASSERT_TRUE(m_host->controlWindow()) << "not in-place active";
    ASSERT_EQ(m_control->SelectOutlookAddressBook(-1), S_OK);
    const int expected = int(people.size());
    ASSERT_TRUE(PumpUntil([&] { return ItemCount() == expected; }, 3000))
        << "list has " << ItemCount() << " rows, expected " << expected;
    if (expected == 0) Pump(700);  // the first (empty) load has happened
}

std::wstring HostedControlTest::NameAt(int item) const {
    ULONG id = 0;
    com::UniqueBstr name, fax;
    if (m_control->GetItem(item, &id, name.put(), fax.put()) != HRESULT(item)) return L"?";
    return name.get() ? name.get() : L"";
}

std::vector<std::wstring> HostedControlTest::Names() const {
    std::vector<std::wstring> names;
    for (int i = 0, n = ItemCount(); i < n; ++i) names.push_back(NameAt(i));
    return names;
}

void HostedControlTest::SetRowState(int row, UINT state, UINT mask) const {
    LVITEMW item{};
    item.state = state;
    item.stateMask = mask;
    ::SendMessageW(m_host->list(), LVM_SETITEMSTATE, WPARAM(row), reinterpret_cast<LPARAM>(&item));
}

}  // namespace control_test
