// The control in containers nobody here wrote and in one that drives it the
// way VB6 and MFC containers do: quick activation, frozen events, drawing
// while inactive, the keyboard, Close and release. Afterwards nothing of the
// control is left and the module can unload. Also what a container asked
// for that the control declined, and the column widths at 144 dpi.
#include "support/control_host.h"

#include <ocidl.h>
#include <olectl.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <set>

using namespace control_test;

namespace com {
template <>
struct InterfaceBases<IOleInPlaceSite> {
    using type = std::tuple<IOleWindow>;
};
template <>
struct InterfaceBases<IAdviseSinkEx> {
    using type = std::tuple<IAdviseSink>;
};
}  // namespace com

namespace {

// A container's site: in-place activation inside its window, and the
// advise sink for view and close notices.
class Site : public com::Implements<Site, IOleClientSite, IOleInPlaceSite, IAdviseSinkEx> {
public:
    explicit Site(HWND window) : m_window(window) {}
    int activations = 0, deactivations = 0, uiActivations = 0, viewChanges = 0, closes = 0;
    RECT position{10, 10, 330, 310};

    // IOleClientSite
    STDMETHODIMP SaveObject() noexcept override { return S_OK; }
    STDMETHODIMP GetMoniker(DWORD, DWORD, IMoniker** moniker) noexcept override {
        *moniker = nullptr;
        return E_NOTIMPL;
    }
    STDMETHODIMP GetContainer(IOleContainer** container) noexcept override {
        *container = nullptr;
        return E_NOINTERFACE;
    }
    STDMETHODIMP ShowObject() noexcept override { return S_OK; }
    STDMETHODIMP OnShowWindow(BOOL) noexcept override { return S_OK; }
    STDMETHODIMP RequestNewObjectLayout() noexcept override { return E_NOTIMPL; }
    // IOleInPlaceSite
    STDMETHODIMP GetWindow(HWND* window) noexcept override {
        *window = m_window;
        return S_OK;
    }
    STDMETHODIMP ContextSensitiveHelp(BOOL) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP CanInPlaceActivate() noexcept override { return S_OK; }
    STDMETHODIMP OnInPlaceActivate() noexcept override {
        ++activations;
        return S_OK;
    }
    STDMETHODIMP OnUIActivate() noexcept override {
        ++uiActivations;
        return S_OK;
    }
    STDMETHODIMP GetWindowContext(IOleInPlaceFrame** frame, IOleInPlaceUIWindow** document, LPRECT pos, LPRECT clip,
                                  LPOLEINPLACEFRAMEINFO) noexcept override {
        *frame = nullptr;
        *document = nullptr;
        *pos = position;
        *clip = position;
        return S_OK;
    }
    STDMETHODIMP Scroll(SIZE) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP OnUIDeactivate(BOOL) noexcept override { return S_OK; }
    STDMETHODIMP OnInPlaceDeactivate() noexcept override {
        ++deactivations;
        return S_OK;
    }
    STDMETHODIMP DiscardUndoState() noexcept override { return S_OK; }
    STDMETHODIMP DeactivateAndUndo() noexcept override { return S_OK; }
    STDMETHODIMP OnPosRectChange(LPCRECT) noexcept override { return S_OK; }
    // IAdviseSink
    STDMETHODIMP_(void) OnDataChange(FORMATETC*, STGMEDIUM*) noexcept override {}
    STDMETHODIMP_(void) OnViewChange(DWORD, LONG) noexcept override { ++viewChanges; }
    STDMETHODIMP_(void) OnRename(IMoniker*) noexcept override {}
    STDMETHODIMP_(void) OnSave() noexcept override {}
    STDMETHODIMP_(void) OnClose() noexcept override { ++closes; }
    STDMETHODIMP_(void) OnViewStatusChange(DWORD) noexcept override {}

private:
    HWND m_window;
};

// Distinct colours in a drawn picture (a blank picture has one).
size_t ColoursIn(HDC dc, int width, int height) {
    std::set<COLORREF> colours;
    for (int y = 0; y < height; y += 3)
        for (int x = 0; x < width; x += 3) colours.insert(::GetPixel(dc, x, y));
    return colours.size();
}

// A memory picture that IViewObject::Draw paints into.
struct Picture {
    Picture(int w, int h) : width(w), height(h) {
        const HDC screen = ::GetDC(nullptr);
        dc.reset(::CreateCompatibleDC(screen));
        bitmap.reset(::CreateCompatibleBitmap(screen, w, h));
        ::ReleaseDC(nullptr, screen);
        old = ::SelectObject(dc.get(), bitmap.get());
        RECT all{0, 0, w, h};
        ::FillRect(dc.get(), &all, static_cast<HBRUSH>(::GetStockObject(WHITE_BRUSH)));
    }
    ~Picture() { ::SelectObject(dc.get(), old); }
    HRESULT DrawFrom(IUnknown* control, DWORD aspect = DVASPECT_CONTENT) {
        com::ComPtr<IViewObject2> view;
        control->QueryInterface(IID_IViewObject2, view.put_void());
        const RECTL bounds{0, 0, width, height};
        return view ? view->Draw(aspect, -1, nullptr, nullptr, nullptr, dc.get(), &bounds, nullptr, nullptr, 0)
                    : E_NOINTERFACE;
    }
    int width, height;
    com::UniqueDc dc;
    com::UniqueGdiObject bitmap;
    HGDIOBJ old = nullptr;
};

int ThreadWindowCount() {
    int count = 0;
    ::EnumThreadWindows(
        ::GetCurrentThreadId(),
        [](HWND, LPARAM context) WINAPI -> BOOL {
            ++*reinterpret_cast<int*>(context);
            return TRUE;
        },
        reinterpret_cast<LPARAM>(&count));
    return count;
}

HRESULT ModuleCanUnloadNow() {
    const HMODULE module = ::GetModuleHandleW(testing_support::kModuleFileName);
    if (!module) return S_OK;  // not even loaded
    using CanUnload = HRESULT(STDAPICALLTYPE*)();
    const auto canUnload = reinterpret_cast<CanUnload>(::GetProcAddress(module, "DllCanUnloadNow"));
    return canUnload ? canUnload() : E_FAIL;
}

class ContainerTest : public HostedControlTest {
protected:
    // One life of the control in a VB6-like container; checks as it goes.
    void RunContainerCycle();
};

void ContainerTest::RunContainerCycle() {
    com::UniqueWindow window(::CreateWindowExW(0, L"STATIC", L"Form", WS_POPUP | WS_VISIBLE | WS_CLIPCHILDREN, 0, 0,
                                                400, 400, nullptr, nullptr, nullptr, nullptr));
    const auto site = com::Make<Site>(window.get());
    const auto sink = com::Make<EventSink>();
    com::ComPtr<IQuickActivate> quick;
    ASSERT_EQ(::CoCreateInstance(CLSID_VelPhonebookControl, nullptr, CLSCTX_INPROC_SERVER, IID_IQuickActivate,
                                 quick.put_void()),
              S_OK);

    QACONTAINER container{};
    container.cbSize = sizeof(container);
    container.pClientSite = site.get();
    container.pAdviseSink = site.get();
    container.pUnkEventSink = sink.get();
    QACONTROL answer{};
    answer.cbSize = sizeof(answer);
    ASSERT_EQ(quick->QuickActivate(&container, &answer), S_OK);
    EXPECT_EQ(answer.dwMiscStatus, 131473u);
    EXPECT_NE(answer.dwEventCookie, 0u) << "the event sink is connected";
    SIZEL extent{};
    EXPECT_EQ(quick->GetContentExtent(&extent), S_OK);
    EXPECT_GT(extent.cx, 0);

    const auto persist = quick.query<IPersistStreamInit>();
    ASSERT_TRUE(persist);
    EXPECT_EQ(persist->InitNew(), S_OK);
    EXPECT_EQ(persist->InitNew(), E_UNEXPECTED) << "initialised once";
    EXPECT_EQ(persist->IsDirty(), S_FALSE);
    CLSID clsid{};
    EXPECT_EQ(persist->GetClassID(&clsid), S_OK);
    EXPECT_EQ(clsid, CLSID_VelPhonebookControl);

    const auto object = quick.query<IOleObject>();
    ASSERT_TRUE(object);
    com::ComPtr<IOleClientSite> given;
    EXPECT_EQ(object->GetClientSite(given.put()), S_OK);
    EXPECT_EQ(given.get(), static_cast<IOleClientSite*>(site.get()));

    // Inactive: the picture is a placeholder, not a blank.
    {
        Picture picture(200, 150);
        EXPECT_EQ(picture.DrawFrom(quick.get()), S_OK);
        EXPECT_GT(ColoursIn(picture.dc.get(), 200, 150), 1u);
        EXPECT_EQ(picture.DrawFrom(quick.get(), DVASPECT_ICON), DV_E_DVASPECT);
    }

    const auto control = quick.query<IOleControl>();
    ASSERT_TRUE(control);
    CONTROLINFO info{};
    info.cb = sizeof(info);
    EXPECT_EQ(control->GetControlInfo(&info), S_OK);
    EXPECT_EQ(control->FreezeEvents(TRUE), S_OK);

    RECT rect = site->position;
    ASSERT_EQ(object->DoVerb(OLEIVERB_INPLACEACTIVATE, nullptr, site.get(), 0, window.get(), &rect), S_OK);
    EXPECT_EQ(site->activations, 1);
    const auto inPlace = quick.query<IOleInPlaceObject>();
    ASSERT_TRUE(inPlace);
    HWND controlWindow = nullptr;
    ASSERT_EQ(inPlace->GetWindow(&controlWindow), S_OK);
    EXPECT_EQ(::GetParent(controlWindow), window.get());

    const auto phonebook = quick.query<IVelPhonebookControl3>();
    ASSERT_EQ(phonebook->SelectOutlookAddressBook(-1), S_OK);
    ASSERT_TRUE(PumpUntil([&] { return phonebook->GetItemCount() == 3; }, 3000));

    // Frozen: the event waits; thawed: it arrives.
    phonebook->SelectItem(1);
    EXPECT_TRUE(sink->events.empty());
    EXPECT_EQ(control->FreezeEvents(FALSE), S_OK);
    ASSERT_EQ(sink->events.size(), 1u);
    EXPECT_EQ(sink->events[0].values, (std::vector<LONG>{1, -1, 1}));

    // New rectangles move the window.
    const RECT moved{20, 30, 300, 280};
    ASSERT_EQ(inPlace->SetObjectRects(&moved, &moved), S_OK);
    RECT now{};
    ::GetWindowRect(controlWindow, &now);
    ::MapWindowPoints(nullptr, window.get(), reinterpret_cast<POINT*>(&now), 2);
    EXPECT_EQ(now.left, 20);
    EXPECT_EQ(now.top, 30);
    EXPECT_EQ(now.right - now.left, 280);
    EXPECT_EQ(now.bottom - now.top, 250);

    // A new extent is a new picture for the container.
    SIZEL bigger{extent.cx + 500, extent.cy + 500};
    EXPECT_EQ(object->SetExtent(DVASPECT_CONTENT, &bigger), S_OK);
    EXPECT_GT(site->viewChanges, 0);
    {
        Picture picture(280, 250);
        EXPECT_EQ(picture.DrawFrom(quick.get()), S_OK);
        EXPECT_GT(ColoursIn(picture.dc.get(), 280, 250), 3u) << "the list and its buttons";
    }

    // UI-active: Tab moves among the control's children.
    ASSERT_EQ(object->DoVerb(OLEIVERB_UIACTIVATE, nullptr, site.get(), 0, window.get(), &rect), S_OK);
    EXPECT_EQ(site->uiActivations, 1);
    const HWND list = ::GetDlgItem(controlWindow, 204);
    ::SetFocus(list);
    const auto active = quick.query<IOleInPlaceActiveObject>();
    ASSERT_TRUE(active);
    MSG tab{list, WM_KEYDOWN, VK_TAB, 0, 0, {}};
    EXPECT_EQ(active->TranslateAccelerator(&tab), S_OK);
    EXPECT_NE(::GetFocus(), list);
    EXPECT_TRUE(::IsChild(controlWindow, ::GetFocus()));
    MSG outside{window.get(), WM_KEYDOWN, 'A', 0, 0, {}};
    EXPECT_EQ(active->TranslateAccelerator(&outside), S_FALSE) << "keys of other windows are the container's";

    EXPECT_EQ(object->Close(OLECLOSE_NOSAVE), S_OK);
    EXPECT_FALSE(::IsWindow(controlWindow));
    EXPECT_EQ(site->deactivations, 1);
    EXPECT_EQ(site->closes, 1);
    EXPECT_EQ(object->SetClientSite(nullptr), S_OK);
}

}  // namespace

TEST_F(ContainerTest, QuickActivationFrozenEventsDrawingCloseAndNothingLeftBehind) {
    WriteBook({{L"Ann", L"111-1"}, {L"Ben", L"222-2"}, {L"Cid", L"333-3"}});
    // The first life loads what stays loaded for the process (COM, the
    // type library's system parts); the later ones must not grow anything.
    RunContainerCycle();
    Pump(200);
    ASSERT_EQ(ModuleCanUnloadNow(), S_OK);
    const int threads = testing_support::ThreadCount();
    const int handles = testing_support::HandleCount();
    const int windows = ThreadWindowCount();
    for (int i = 0; i < 3; ++i) {
        RunContainerCycle();
        if (HasFatalFailure()) return;
    }
    EXPECT_TRUE(PumpUntil([&] { return testing_support::ThreadCount() <= threads; }, 2000))
        << "watcher threads end with their control";
    EXPECT_EQ(ThreadWindowCount(), windows);
    // Handles of ended threads and released servers go a moment later.
    EXPECT_TRUE(PumpUntil([&] { return testing_support::HandleCount() < handles + 3; }, 2000))
        << "no handle per life of the control: " << testing_support::HandleCount() << " after, " << handles
        << " before";
    EXPECT_EQ(ModuleCanUnloadNow(), S_OK);
}

namespace {

// Writes down every QueryInterface the control declines, on any of its
// interfaces, by putting a recording function into the first slot of each
// of the control class's interface tables (shared by all its objects) for
// the life of the trace.
class DeclinedInterfaceTrace {
public:
    explicit DeclinedInterfaceTrace(IUnknown* sample) {
        s_declined.clear();
        static const IID* const kInterfaces[] = {
            &IID_IUnknown, &IID_IDispatch, &IID_IVelPhonebookControl3, &IID_IOleObject, &IID_IOleInPlaceObject,
            &IID_IOleInPlaceActiveObject, &IID_IOleControl, &IID_IViewObject2, &IID_IPersistStreamInit,
            &IID_IPersistPropertyBag, &IID_IQuickActivate, &IID_IProvideClassInfo2, &IID_IConnectionPointContainer,
            &IID_ISupportErrorInfo};
        for (const IID* iid : kInterfaces) {
            com::ComPtr<IUnknown> itf;
            if (SUCCEEDED(sample->QueryInterface(*iid, itf.put_void()))) Patch(*reinterpret_cast<void***>(itf.get()));
        }
    }
    ~DeclinedInterfaceTrace() {
        for (const auto& [table, original] : s_originals) Write(table, original);
        s_originals.clear();
    }
    static const std::vector<IID>& declined() { return s_declined; }

private:
    using QueryFunction = HRESULT(STDMETHODCALLTYPE*)(IUnknown*, REFIID, void**);

    static HRESULT STDMETHODCALLTYPE Recording(IUnknown* self, REFIID iid, void** out) {
        const auto original = reinterpret_cast<QueryFunction>(s_originals.at(*reinterpret_cast<void***>(self)));
        const HRESULT hr = original(self, iid, out);
        if (FAILED(hr)) s_declined.push_back(iid);
        return hr;
    }
    static void Write(void** table, void* function) {
        DWORD old = 0;
        ::VirtualProtect(table, sizeof(void*), PAGE_READWRITE, &old);
        table[0] = function;
        ::VirtualProtect(table, sizeof(void*), old, &old);
    }
    static void Patch(void** table) {
        if (s_originals.count(table)) return;
        s_originals[table] = table[0];
        Write(table, reinterpret_cast<void*>(&Recording));
    }

    static inline std::map<void**, void*> s_originals;
    static inline std::vector<IID> s_declined;
};

std::wstring InterfaceName(REFIID iid) {
    wchar_t text[64] = {};
    ::StringFromGUID2(iid, text, 64);
    wchar_t name[256] = {};
    LONG size = sizeof(name);
    const std::wstring key = std::wstring(L"Interface\\") + text;
    if (::RegQueryValueW(HKEY_CLASSES_ROOT, key.c_str(), name, &size) == ERROR_SUCCESS && *name)
        return std::wstring(name) + L" " + text;
    return text;
}

}  // namespace

TEST_F(ContainerTest, WhatContainersAskForAndAreDeclined) {
    WriteBook({{L"Ann", L"111-1"}, {L"Ben", L"222-2"}, {L"Cid", L"333-3"}});
    com::ComPtr<IUnknown> sample;
    ASSERT_EQ(::CoCreateInstance(CLSID_VelPhonebookControl, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown,
                                 sample.put_void()),
              S_OK);
    std::set<std::wstring> names;
    {
        DeclinedInterfaceTrace trace(sample.get());
        sample.reset();
        {
            // Wine's ATL host: creation, activation, a resize, destruction.
            AtlHost host;
            ASSERT_TRUE(host.control());
            ::MoveWindow(host.hostWindow(), 10, 10, 300, 280, TRUE);
            Pump(100);
        }
        Pump(100);
        // The container of this program, as VB6 and MFC drive a control.
        RunContainerCycle();
        for (const IID& iid : trace.declined()) names.insert(InterfaceName(iid));
        for (const IID& iid : {IID_IOleObject, IID_IViewObject2, IID_IOleInPlaceObject, IID_IOleControl})
            EXPECT_EQ(std::count(trace.declined().begin(), trace.declined().end(), iid), 0);

        // The trace sees a declined request on any interface of any object
        // of the class (an empty list above is an answer, not a blind spot).
        const size_t seen = trace.declined().size();
        com::ComPtr<IOleObject> probe;
        ASSERT_EQ(::CoCreateInstance(CLSID_VelPhonebookControl, nullptr, CLSCTX_INPROC_SERVER, IID_IOleObject,
                                     probe.put_void()),
                  S_OK);
        com::ComPtr<IDataObject> data;
        EXPECT_EQ(probe->QueryInterface(IID_IDataObject, data.put_void()), E_NOINTERFACE);
        EXPECT_EQ(trace.declined().size(), seen + 1);
    }
    // For the record: what containers looked for and this control does not offer.
    std::printf("declined: %d interface(s)\n", int(names.size()));
    for (const std::wstring& name : names) std::printf("declined: %ls\n", name.c_str());
}

namespace {


std::string ProbeColumns() {
    std::string output;
    const int code = testing_support::RunProcess(L"\"" + testing_support::BinDir() + L"control_dpi_probe.exe\"", &output);
    return code == 0 ? output : "exit " + std::to_string(code);
}

}  // namespace

TEST_F(ContainerTest, ColumnsAreScaledFrom96DotsPerInchToTheScreen) {
    EXPECT_EQ(ProbeColumns().substr(0, 8), "30 94 84");
    std::string high;
    {
        ScreenDpiSetting dpi(144);
        high = ProbeColumns();
    }
    EXPECT_EQ(high.substr(0, 10), "45 141 126");
}

TEST_F(ContainerTest, ClassInfoNamesTheCoclassAndItsEventInterface) {
    com::ComPtr<IProvideClassInfo2> info;
    ASSERT_EQ(::CoCreateInstance(CLSID_VelPhonebookControl, nullptr, CLSCTX_INPROC_SERVER, IID_IProvideClassInfo2,
                                 info.put_void()),
              S_OK);
    GUID events{};
    EXPECT_EQ(info->GetGUID(GUIDKIND_DEFAULT_SOURCE_DISP_IID, &events), S_OK);
    EXPECT_EQ(events, DIID_IVelPhonebookControlEvents);
    EXPECT_EQ(info->GetGUID(42, &events), E_INVALIDARG);
    com::ComPtr<ITypeInfo> coclass;
    ASSERT_EQ(info->GetClassInfo(coclass.put()), S_OK);
    TYPEATTR* attributes = nullptr;
    ASSERT_EQ(coclass->GetTypeAttr(&attributes), S_OK);
    EXPECT_EQ(attributes->guid, CLSID_VelPhonebookControl);
    EXPECT_EQ(attributes->typekind, TKIND_COCLASS);
    coclass->ReleaseTypeAttr(attributes);

    // Verbs a container offers in its menus, and the user type from the registry.
    const auto object = info.query<IOleObject>();
    com::ComPtr<IEnumOLEVERB> verbs;
    ASSERT_EQ(object->EnumVerbs(verbs.put()), S_OK);
    std::set<LONG> ids;
    OLEVERB verb{};
    while (verbs->Next(1, &verb, nullptr) == S_OK) ids.insert(verb.lVerb);
    EXPECT_TRUE(ids.count(OLEIVERB_INPLACEACTIVATE) && ids.count(OLEIVERB_UIACTIVATE) && ids.count(OLEIVERB_PRIMARY));
    LPOLESTR type = nullptr;
    ASSERT_EQ(object->GetUserType(USERCLASSTYPE_FULL, &type), S_OK);
    EXPECT_EQ(std::wstring(type), L"Orvanta VelPhonebookControl Class");
    ::CoTaskMemFree(type);
    // Without a site there is nothing to activate in.
    EXPECT_EQ(object->DoVerb(OLEIVERB_INPLACEACTIVATE, nullptr, nullptr, 0, nullptr, nullptr), E_UNEXPECTED);
}
