// Hosting the phonebook control the way the fax program does: Wine's ATL
// host (atl100.dll, a window of class AtlAxWin100 named by the ProgID), the
// module registered with regsvr32, the MRU book filled through its store.
// Only the control's interfaces and its windows are touched.
#pragma once

#include "com/com_ptr.h"
#include "com/implements.h"
#include "module/VelPhonebook_h.h"
#include "sources/mru_store.h"
#include "support/test_support.h"

#include <gtest/gtest.h>

#include <commctrl.h>

#include <functional>
#include <memory>
#include <utility>
#include <string>
#include <vector>

namespace control_test {

inline constexpr wchar_t kProgId[] = L"Zantix.VelPhonebookControl";

// Pumps this thread's messages for the given time, or until the condition
// holds; returns the condition's last answer.
bool PumpUntil(const std::function<bool()>& condition, DWORD timeoutMs);
inline void Pump(DWORD ms) { PumpUntil([] { return false; }, ms); }

// Writes the MRU store with these (name, fax) people, identifiers "id<n>".
void WriteBook(const std::vector<std::pair<std::wstring, std::wstring>>& people);
// The names in the store, in its order.
std::vector<std::wstring> BookNames();

// The in-place edit box open over a cell of the list, or null.
HWND EditBox(HWND list);

// One event as a sink received it.
struct ReceivedEvent {
    DISPID id = 0;
    std::vector<VARTYPE> types;  // in argument order (first argument first)
    std::vector<LONG> values;    // VT_I4 values, VT_BOOL as -1 / 0
};

// An event sink that only implements IDispatch (as script hosts' sinks do)
// and records what it gets; it can be told to fail every call.
class EventSink : public com::Implements<EventSink, IDispatch> {
public:
    std::vector<ReceivedEvent> events;
    HRESULT answer = S_OK;
    std::function<void()> onEvent;  // runs inside each call

    STDMETHODIMP GetTypeInfoCount(UINT* count) noexcept override;
    STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* params, VARIANT*, EXCEPINFO*,
                        UINT*) noexcept override;
};

// Advises a sink on the control's event connection point; the cookie.
DWORD AdviseSink(IUnknown* control, IUnknown* sink);
void UnadviseSink(IUnknown* control, DWORD cookie);

// Answers the next dialog box (class #32770) that this thread shows, from
// a timer inside its modal loop, with a button; remembers its owner and the
// text of its message (a message box's static 0xFFFF). `onShow` runs first,
// while the box is up.
class BoxAnswer {
public:
    explicit BoxAnswer(int button, std::function<void(HWND)> onShow = {});
    ~BoxAnswer();
    bool answered() const { return m_answered; }
    HWND owner() const { return m_owner; }
    std::wstring text() const { return m_text; }

private:
    static void CALLBACK Tick(HWND, UINT, UINT_PTR, DWORD);
    int m_button;
    std::function<void(HWND)> m_onShow;
    UINT_PTR m_timer = 0;
    bool m_answered = false;
    HWND m_owner = nullptr;
    std::wstring m_text;
};

// Key presses and characters sent to a window (Shift held or not); a real
// mouse click (SendInput) at a point of a window's client area, two make a
// double click.
void PressKey(HWND window, UINT key, bool shift = false);
void Type(HWND window, const std::wstring& text);
void Click(HWND window, POINT client, int times = 1);

// Sets Wine's screen resolution for the processes started meanwhile, and
// puts the old value back.
class ScreenDpiSetting {
public:
    explicit ScreenDpiSetting(DWORD dpi) {
        DWORD size = sizeof(m_old);
        m_had = ::RegGetValueW(HKEY_CURRENT_USER, kKey, L"LogPixels", RRF_RT_REG_DWORD, nullptr, &m_old, &size) ==
                ERROR_SUCCESS;
        ::RegSetKeyValueW(HKEY_CURRENT_USER, kKey, L"LogPixels", REG_DWORD, &dpi, sizeof(dpi));
    }
    ~ScreenDpiSetting() {
        if (m_had) ::RegSetKeyValueW(HKEY_CURRENT_USER, kKey, L"LogPixels", REG_DWORD, &m_old, sizeof(m_old));
        else ::RegDeleteKeyValueW(HKEY_CURRENT_USER, kKey, L"LogPixels");
    }
    ScreenDpiSetting(const ScreenDpiSetting&) = delete;
    ScreenDpiSetting& operator=(const ScreenDpiSetting&) = delete;

private:
    static constexpr wchar_t kKey[] = L"Control Panel\\Desktop";
    DWORD m_old = 0;
    bool m_had = false;
};

// Wine's ATL host with the control in it, inside a top-level window.
class AtlHost {
public:
    // `nested`: the host window sits in a child page of the top-level window
    // (a host that shows the control on one page of its dialog).
    explicit AtlHost(int width = 360, int height = 330, const wchar_t* progId = kProgId, bool nested = false);
    ~AtlHost();
    IUnknown* control() const { return m_control.get(); }
    template <class I>
    com::ComPtr<I> query() const { return m_control ? m_control.template query<I>() : com::ComPtr<I>(); }
    HWND top() const { return m_top.get(); }
    HWND page() const { return m_page; }
    HWND hostWindow() const { return m_host; }
    // The control's own window (the dialog) and its children.
    HWND controlWindow() const;
    HWND list() const { return ::GetDlgItem(controlWindow(), 204); }
    HWND item(int id) const { return ::GetDlgItem(controlWindow(), id); }

private:
    com::UniqueModule m_atl;
    com::UniqueWindow m_top;
    HWND m_page = nullptr;
    HWND m_host = nullptr;
    com::ComPtr<IUnknown> m_control;
};

inline constexpr wchar_t kProgId2[] = L"Zantix.VelPhonebookControl2";
using People = std::vector<std::pair<std::wstring, std::wstring>>;

// Which control on which book (the values SelectOutlookAddressBook takes).
struct HostSetup {
    const wchar_t* progId;
    LONG book;  // -1 recently used, 0 Windows Contacts, 1 Outlook
    const char* name;
};
inline constexpr HostSetup kFirstOnRecent{kProgId, -1, "Control_Recent"};
inline constexpr HostSetup kSecondOnRecent{kProgId2, -1, "Control2_Recent"};
inline constexpr HostSetup kFirstOnContacts{kProgId, 0, "Control_Contacts"};
inline constexpr HostSetup kSecondOnContacts{kProgId2, 0, "Control2_Contacts"};
inline constexpr HostSetup kFirstOnOutlook{kProgId, 1, "Control_Outlook"};
inline constexpr HostSetup kSecondOnOutlook{kProgId2, 1, "Control2_Outlook"};
inline void PrintTo(const HostSetup& setup, std::ostream* out) { *out << setup.name; }
inline std::string SetupName(const ::testing::TestParamInfo<HostSetup>& info) { return info.param.name; }

// The fixture: the module and the stand-ins for the books Wine lacks
// registered, an apartment, empty books, a low double-click time (so that
// clicks meant one by one need not wait long); a control of the setup's
// class hosted in Wine's ATL host on the setup's book.
class HostedControl : public ::testing::Test {
protected:
    explicit HostedControl(HostSetup setup = kFirstOnRecent) : m_setup(setup) {}
    static void SetUpTestSuite();
    static void TearDownTestSuite();
    void SetUp() override;
    void TearDown() override;

    bool Second() const { return m_setup.progId == kProgId2; }
    // Fills the setup's book with these people.
    void FillBook(const People& people) const;
    // Adds ("Helper 0", "1000") to the setup's book from another process.
    void AddFromAnotherProcess() const;
    // Fills the book, hosts the control, selects the book and waits for the
    // first fill; a sink hears the events from then on.
    void Host(const People& people, int width = 420, int height = 330, bool nested = false);
    // The host lets the control go (window and reference).
    void Close();

    int ItemCount() const { return m_control ? int(m_control->GetItemCount()) : -1; }
    std::wstring NameAt(int item) const;
    std::wstring FaxAt(int item) const;
    std::vector<std::wstring> Names() const;
    std::vector<std::pair<std::wstring, std::wstring>> SortedRows() const;
    bool WaitForRows(People wanted, DWORD timeoutMs = 5000) const;
    HWND List() const { return m_host->list(); }
    // Marks rows as a user would: selection, or the check box in that mode.
    void SetRowState(int row, UINT state, UINT mask) const;
    void SetCheck(int row, bool checked) const {
        SetRowState(row, INDEXTOSTATEIMAGEMASK(checked ? 2 : 1), LVIS_STATEIMAGEMASK);
    }
    // Presses a button of the control as a click would.
    void Press(int id) const;
    std::vector<ReceivedEvent> TakeEvents() { return std::exchange(m_sink->events, {}); }
    // The control's module has no object left.
    static HRESULT ModuleCanUnloadNow();

    HostSetup m_setup;
    testing_support::ComApartment m_apartment;
    std::unique_ptr<AtlHost> m_host;
    com::ComPtr<IVelPhonebookControl3> m_control;
    com::ComPtr<EventSink> m_sink;
    DWORD m_cookie = 0;
};

// The same fixture over a list of setups.
class HostedEach : public HostedControl, public ::testing::WithParamInterface<HostSetup> {
protected:
    HostedEach() : HostedControl(GetParam()) {}
};

}  // namespace control_test
