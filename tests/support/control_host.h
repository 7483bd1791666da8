// Hosting the phonebook control the way the fax program does: Wine's ATL
// host (atl100.dll, a window of class AtlAxWin100 named by the ProgID), the
// module registered with regsvr32; only the control's interfaces and windows are touched.
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
#include <string>
#include <utility>
#include <vector>

namespace control_test {

inline constexpr wchar_t kProgId[] = L"Zantix.VelPhonebookControl";
inline constexpr wchar_t kProgId2[] = L"Zantix.VelPhonebookControl2";
using People = std::vector<std::pair<std::wstring, std::wstring>>;  // (name, fax)

// Pumps this thread's messages until the condition holds or the time is up;
// the condition's last answer.
bool PumpUntil(const std::function<bool()>& condition, DWORD timeoutMs);
inline void Pump(DWORD ms) { PumpUntil([] { return false; }, ms); }
inline void Drain() { PumpUntil([] { return true; }, 0); }  // what is posted, without waiting

// The MRU store written with these people (identifiers "id<n>"); its names in its order.
void WriteBook(const People& people);
std::vector<std::wstring> BookNames();
// The in-place edit box open over a cell of the list, or null.
HWND EditBox(HWND list);

struct ReceivedEvent {
    DISPID id = 0;
    std::vector<VARTYPE> types;  // first argument first
    std::vector<LONG> values;    // VT_I4 values, VT_BOOL as -1 / 0
};

// An event sink with IDispatch only (as script hosts' sinks are) that records
// what it gets; it can be told to fail every call.
class EventSink : public com::Implements<EventSink, IDispatch> {
public:
    std::vector<ReceivedEvent> events;
    HRESULT answer = S_OK;

    STDMETHODIMP GetTypeInfoCount(UINT* count) noexcept override { return count ? (*count = 0, S_OK) : E_POINTER; }
    STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* params, VARIANT*, EXCEPINFO*,
                        UINT*) noexcept override;
};

// Advises a sink on the control's events (the cookie), or unadvises `cookie`
// when the sink is null.
DWORD AdviseSink(IUnknown* control, IUnknown* sink, DWORD cookie = 0);
inline void UnadviseSink(IUnknown* control, DWORD cookie) { AdviseSink(control, nullptr, cookie); }

// Answers the next dialog box (class #32770) this thread shows with a button,
// from a timer inside its modal loop; remembers its owner and its message
// (a message box's static 0xFFFF).
class BoxAnswer {
public:
    explicit BoxAnswer(int button);
    ~BoxAnswer();
    bool answered() const { return m_answered; }
    HWND owner() const { return m_owner; }
    std::wstring text() const { return m_text; }

private:
    static void CALLBACK Tick(HWND, UINT, UINT_PTR, DWORD);
    int m_button;
    UINT_PTR m_timer = 0;
    bool m_answered = false;
    HWND m_owner = nullptr;
    std::wstring m_text;
};

// A key press (Shift held or not) and characters sent to a window; a real
// mouse click (SendInput) at a point of a window's client area.
void PressKey(HWND window, UINT key, bool shift = false);
inline void Type(HWND window, const std::wstring& text) {
    for (const wchar_t c : text) ::SendMessageW(window, WM_CHAR, c, 1);
}
void Click(HWND window, POINT client);

// Wine's ATL host with the control in it, inside a top-level window.
class AtlHost {
public:
    explicit AtlHost(int width = 360, int height = 330, const wchar_t* progId = kProgId);
    ~AtlHost();
    IUnknown* control() const { return m_control.get(); }
    template <class I>
    com::ComPtr<I> query() const { return m_control ? m_control.template query<I>() : com::ComPtr<I>(); }
    HWND top() const { return m_top.get(); }
    HWND hostWindow() const { return m_host; }
    HWND controlWindow() const;  // the control's own window (its dialog)
    HWND item(int id) const { return ::GetDlgItem(controlWindow(), id); }
    HWND list() const { return item(204); }

private:
    com::UniqueModule m_atl;
    com::UniqueWindow m_top;
    HWND m_host = nullptr;
    com::ComPtr<IUnknown> m_control;
};

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

// The fixture: the module and the stand-ins of the books Wine lacks
// registered, an apartment, empty books, a low double-click time (clicks
// meant one by one need not wait long); a control of the setup's class in
// Wine's ATL host on the setup's book.
class HostedControl : public ::testing::Test {
protected:
    explicit HostedControl(HostSetup setup = kFirstOnRecent) : m_setup(setup) {}
    static void SetUpTestSuite();
    static void TearDownTestSuite();
    void SetUp() override;
    void TearDown() override;

    bool Second() const { return m_setup.progId == kProgId2; }
    void FillBook(const People& people) const;
    // Adds ("Helper 0", "1000") to the setup's book from another process.
    void AddFromAnotherProcess() const;
    // Fills the book, hosts the control, selects the book and waits for the
    // first fill; a sink hears the events from then on.
    void Host(const People& people);
    void Close();  // the host lets the control go (window and reference)

    int ItemCount() const { return m_control ? int(m_control->GetItemCount()) : -1; }
    std::wstring NameAt(int item) const { return Cell(item, false); }
    std::wstring FaxAt(int item) const { return Cell(item, true); }
    std::vector<std::wstring> Names() const;
    bool WaitForRows(People wanted, DWORD timeoutMs = 5000) const;
    HWND List() const { return m_host->list(); }
    // Marks rows as a user would: selection, or the check box in that mode.
    void SetRowState(int row, UINT state, UINT mask) const;
    void Select(int row) const { SetRowState(row, LVIS_SELECTED, LVIS_SELECTED); }
    void SetCheck(int row, bool checked) const {
        SetRowState(row, INDEXTOSTATEIMAGEMASK(checked ? 2 : 1), LVIS_STATEIMAGEMASK);
    }
    void Press(int id) const;  // a button of the control, as a click would
    std::vector<ReceivedEvent> TakeEvents() { return std::exchange(m_sink->events, {}); }
    static HRESULT ModuleCanUnloadNow();

    HostSetup m_setup;
    testing_support::ComApartment m_apartment;
    std::unique_ptr<AtlHost> m_host;
    com::ComPtr<IVelPhonebookControl3> m_control;
    com::ComPtr<EventSink> m_sink;
    DWORD m_cookie = 0;

private:
    std::wstring Cell(int item, bool fax) const;
};

// The same fixture over a list of setups.
class HostedEach : public HostedControl, public ::testing::WithParamInterface<HostSetup> {
protected:
    HostedEach() : HostedControl(GetParam()) {}
};

}  // namespace control_test
