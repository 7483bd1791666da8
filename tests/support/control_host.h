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

#include <functional>
#include <string>
#include <thread>
#include <atomic>
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

// Clicks a button of the next message box that appears in this process,
// from another thread, and remembers the box's owner and text.
class MessageBoxAnswer {
public:
    explicit MessageBoxAnswer(int button);
    ~MessageBoxAnswer();
    bool answered() const { return m_answered; }
    HWND owner() const { return m_owner; }
    std::wstring text() const { return m_text; }

private:
    std::thread m_thread;
    std::atomic<bool> m_stop{false};
    std::atomic<bool> m_answered{false};
    HWND m_owner = nullptr;
    std::wstring m_text;
};

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

// The fixture: registered module, apartment, a clean MRU store.
class HostedControlTest : public ::testing::Test {
protected:
    static void SetUpTestSuite();
    void SetUp() override;
    void TearDown() override;

    // Hosts the control on the MRU book with these people and waits for the
    // first fill.
    void HostWithBook(const std::vector<std::pair<std::wstring, std::wstring>>& people);
    int ItemCount() const { return int(m_control->GetItemCount()); }
    std::wstring NameAt(int item) const;
    std::vector<std::wstring> Names() const;
    // Marks rows as a user would (selection, or check boxes in that mode).
    void SetRowState(int row, UINT state, UINT mask) const;

    testing_support::ComApartment m_apartment;
    std::unique_ptr<AtlHost> m_host;
    com::ComPtr<IVelPhonebookControl3> m_control;
};

}  // namespace control_test
