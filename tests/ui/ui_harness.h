// Tools of the dialog tests (and of the control tests that open dialogs).
#pragma once

#include "com/unique_any.h"
#include "core/phonebook_manager.h"

#include <gtest/gtest.h>
#include <oaidl.h>
#include <windows.h>

#include <functional>
#include <string>
#include <tuple>
#include <vector>

namespace ui_test {

// A visible top-level window, the stand-in for the host's dialog.
com::UniqueWindow ShowHostWindow(const RECT& rect = RECT{80, 60, 780, 600});

// Steps run one per timer tick inside the modal loop; a step returning false
// is retried, and after 5 s fails the script, which closes the dialog.
class ModalScript {
public:
    using Step = std::function<bool()>;
    explicit ModalScript(std::vector<Step> steps, UINT intervalMs = 20);
    ~ModalScript();
    bool Finished() const { return m_next >= m_steps.size(); }
    const std::string& failure() const { return m_failure; }

private:
    static void CALLBACK Tick(HWND, UINT, UINT_PTR, DWORD);
    std::vector<Step> m_steps;
    size_t m_next = 0;
    DWORD m_stepStart = 0;
    UINT_PTR m_timer = 0;
    bool m_running = false;
    std::string m_failure;
};
// A step that acts once; a step that closes the dialog of this thread.
ModalScript::Step Do(std::function<void()> action);
ModalScript::Step CloseDialog();

// This thread's dialog, drop shadow and shading cover, or null.
HWND FindDialog();
HWND FindShadow();
HWND FindShader();

void PasteText(HWND edit, const std::wstring& text);
std::wstring WindowText(HWND window);
inline RECT WindowRect(HWND window) { RECT rect{}; return ::GetWindowRect(window, &rect), rect; }

// This process's windows, GDI and USER objects, threads and handles.
struct ResourceCounts {
    int windows = 0;
    DWORD gdiObjects = 0, userObjects = 0;
    int threads = 0, handles = 0;
};
ResourceCounts CountResources();
// Waits up to a second for the counts to come back to the baseline.
ResourceCounts SettledResources(const ResourceCounts& baseline);

// A host window per test, and at the end all resources given back.
template <class Base = ::testing::Test>
class HostedTest : public Base {
protected:
    void SetUp() override {
        Base::SetUp();
        host = ShowHostWindow();
        baseline = CountResources();
    }
    void TearDown() override {
        const ResourceCounts a = SettledResources(baseline), b = baseline;
        EXPECT_EQ(std::make_tuple(a.windows, a.gdiObjects, a.userObjects, a.threads, a.handles),
                  std::make_tuple(b.windows, b.gdiObjects, b.userObjects, b.threads, b.handles))
            << "windows, GDI and USER objects, threads and handles left behind";
        host.reset();
        Base::TearDown();
    }
    INT_PTR Modal(const std::function<INT_PTR()>& show, std::vector<ModalScript::Step> steps) {
        steps.insert(steps.begin(), [this] { return (dialog = FindDialog()) != nullptr; });
        ModalScript script(std::move(steps));
        const INT_PTR result = show();
        EXPECT_EQ(script.failure(), "");
        EXPECT_TRUE(script.Finished());
        return result;
    }
    HWND Item(int id) const { return ::GetDlgItem(dialog, id); }
    com::UniqueWindow host;
    ResourceCounts baseline;
    HWND dialog = nullptr;
};

// The control's side of the phonebook manager, over the MRU book.
class MRUOwner : public CPhonebookManager {
public:
    MRUOwner() {
        SetKind(kMRUBook);
        OpenSource();
    }
    HWND GetNotifyWindow() override { return nullptr; }
    HRESULT OnOutlookConnected() override { return S_OK; }
    void OnOutlookDisconnecting() override {}
};
CRecipient Recipient(const wchar_t* id, const wchar_t* name, const wchar_t* fax);

// An automation object that records every call made on it by name.
class RecordingSkin : public IDispatch {
public:
    struct Call {
        std::wstring name;
        std::vector<VARTYPE> kinds;
        std::vector<ULONGLONG> values;
        WORD flags = 0;
    };
    std::vector<Call> calls;
    bool failWindow = false;

    virtual ~RecordingSkin() = default;
    ULONG References() const { return m_references; }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override { return --m_references; }  // lives on the test's stack
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override { return count ? (*count = 0, S_OK) : E_POINTER; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) override;
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* parameters,
                                     VARIANT* result, EXCEPINFO*, UINT*) override;

private:
    ULONG m_references = 1;
};

}  // namespace ui_test
