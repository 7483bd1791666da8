// What containers other than the ATL host call: quick activation,
// persistence, frozen events, the extent, the keyboard, Close, and the class
// information (the registry entries are tests/module's).
#include "support/control_host.h"

#include "com/unique_any.h"

#include <ocidl.h>
#include <olectl.h>


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
// advise sink for view and close notices; it counts what it is told.
class Site : public com::Implements<Site, IOleClientSite, IOleInPlaceSite, IAdviseSinkEx> {
public:
    explicit Site(HWND window) : m_window(window) {}
    int activations = 0, deactivations = 0, uiActivations = 0, viewChanges = 0, closes = 0;
    RECT position{10, 10, 330, 310};

    STDMETHODIMP SaveObject() noexcept override { return S_OK; }
    STDMETHODIMP GetMoniker(DWORD, DWORD, IMoniker** moniker) noexcept override { return *moniker = nullptr, E_NOTIMPL; }
    STDMETHODIMP GetContainer(IOleContainer** container) noexcept override { return *container = nullptr, E_NOINTERFACE; }
    STDMETHODIMP ShowObject() noexcept override { return S_OK; }
    STDMETHODIMP OnShowWindow(BOOL) noexcept override { return S_OK; }
    STDMETHODIMP RequestNewObjectLayout() noexcept override { return E_NOTIMPL; }
    STDMETHODIMP GetWindow(HWND* window) noexcept override { return *window = m_window, S_OK; }
    STDMETHODIMP ContextSensitiveHelp(BOOL) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP CanInPlaceActivate() noexcept override { return S_OK; }
    STDMETHODIMP OnInPlaceActivate() noexcept override { return ++activations, S_OK; }
    STDMETHODIMP OnUIActivate() noexcept override { return ++uiActivations, S_OK; }
    STDMETHODIMP GetWindowContext(IOleInPlaceFrame** frame, IOleInPlaceUIWindow** document, LPRECT pos, LPRECT clip,
                                  LPOLEINPLACEFRAMEINFO) noexcept override {
        *frame = nullptr;
        *document = nullptr;
        *pos = *clip = position;
        return S_OK;
    }
    STDMETHODIMP Scroll(SIZE) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP OnUIDeactivate(BOOL) noexcept override { return S_OK; }
    STDMETHODIMP OnInPlaceDeactivate() noexcept override { return ++deactivations, S_OK; }
    STDMETHODIMP DiscardUndoState() noexcept override { return S_OK; }
    STDMETHODIMP DeactivateAndUndo() noexcept override { return S_OK; }
    STDMETHODIMP OnPosRectChange(LPCRECT) noexcept override { return S_OK; }
    STDMETHODIMP_(void) OnDataChange(FORMATETC*, STGMEDIUM*) noexcept override {}
    STDMETHODIMP_(void) OnViewChange(DWORD, LONG) noexcept override { ++viewChanges; }
    STDMETHODIMP_(void) OnRename(IMoniker*) noexcept override {}
    STDMETHODIMP_(void) OnSave() noexcept override {}
    STDMETHODIMP_(void) OnClose() noexcept override { ++closes; }
    STDMETHODIMP_(void) OnViewStatusChange(DWORD) noexcept override {}

private:
    HWND m_window;
};

class ContainerTest : public HostedControl {
protected:
    // One life of the control in a container that drives it as VB6 and MFC
    // containers do; checks as it goes.
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
    EXPECT_EQ(answer.dwMiscStatus, DWORD(OLEMISC_RECOMPOSEONRESIZE | OLEMISC_CANTLINKINSIDE | OLEMISC_INSIDEOUT |
                                         OLEMISC_ACTIVATEWHENVISIBLE | OLEMISC_SETCLIENTSITEFIRST));
    EXPECT_NE(answer.dwEventCookie, 0u) << "the event sink is connected";
    SIZEL extent{};
    EXPECT_EQ(quick->GetContentExtent(&extent), S_OK);

    const auto persist = quick.query<IPersistStreamInit>();
    ASSERT_TRUE(persist);
    EXPECT_EQ(persist->InitNew(), S_OK);
    EXPECT_EQ(persist->InitNew(), E_UNEXPECTED) << "initialised once";
    EXPECT_EQ(persist->IsDirty(), S_FALSE);
    CLSID clsid{};
    EXPECT_TRUE(persist->GetClassID(&clsid) == S_OK && clsid == CLSID_VelPhonebookControl);
    const auto object = quick.query<IOleObject>();
    com::ComPtr<IOleClientSite> given;
    EXPECT_EQ(object->GetClientSite(given.put()), S_OK);
    EXPECT_EQ(given.get(), static_cast<IOleClientSite*>(site.get()));

    const auto control = quick.query<IOleControl>();
    EXPECT_EQ(control->FreezeEvents(TRUE), S_OK);
    RECT rect = site->position;
    ASSERT_EQ(object->DoVerb(OLEIVERB_INPLACEACTIVATE, nullptr, site.get(), 0, window.get(), &rect), S_OK);
    const auto inPlace = quick.query<IOleInPlaceObject>();
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

    const RECT moved{20, 30, 300, 280};
    ASSERT_EQ(inPlace->SetObjectRects(&moved, &moved), S_OK);
    RECT now{};
    ::GetWindowRect(controlWindow, &now);
    ::MapWindowPoints(nullptr, window.get(), reinterpret_cast<POINT*>(&now), 2);
    EXPECT_TRUE(::EqualRect(&now, &moved)) << now.left << "," << now.top << "," << now.right << "," << now.bottom;
    SIZEL bigger{extent.cx + 500, extent.cy + 500};
    EXPECT_EQ(object->SetExtent(DVASPECT_CONTENT, &bigger), S_OK);
    EXPECT_GT(site->viewChanges, 0) << "a new extent is a new picture for the container";

    // UI-active: Tab moves among the control's children; other windows'
    // keys are the container's.
    ASSERT_EQ(object->DoVerb(OLEIVERB_UIACTIVATE, nullptr, site.get(), 0, window.get(), &rect), S_OK);
    const HWND list = ::GetDlgItem(controlWindow, 204);
    ::SetFocus(list);
    const auto active = quick.query<IOleInPlaceActiveObject>();
    MSG tab{list, WM_KEYDOWN, VK_TAB, 0, 0, {}};
    EXPECT_EQ(active->TranslateAccelerator(&tab), S_OK);
    EXPECT_NE(::GetFocus(), list);
    EXPECT_TRUE(::IsChild(controlWindow, ::GetFocus()));
    MSG outside{window.get(), WM_KEYDOWN, 'A', 0, 0, {}};
    EXPECT_EQ(active->TranslateAccelerator(&outside), S_FALSE);

    EXPECT_EQ(object->Close(OLECLOSE_NOSAVE), S_OK);
    EXPECT_FALSE(::IsWindow(controlWindow));
    EXPECT_EQ(std::vector<int>({site->activations, site->uiActivations, site->deactivations, site->closes}),
              std::vector<int>({1, 1, 1, 1})) << "in place, UI, deactivated, closed";
    EXPECT_EQ(object->SetClientSite(nullptr), S_OK);
}

}  // namespace

TEST_F(ContainerTest, QuickActivationFrozenEventsDrawingCloseAndTheModuleCanUnload) {
    WriteBook({{L"Ann", L"111-1"}, {L"Ben", L"222-2"}, {L"Cid", L"333-3"}});
    for (int life = 0; life < 2 && !HasFatalFailure(); ++life) RunContainerCycle();
    EXPECT_TRUE(PumpUntil([] { return ModuleCanUnloadNow() == S_OK; }, 2000));
}

TEST_F(ContainerTest, ClassInfoNamesTheEventsAndTheUserTypeComesFromTheRegistry) {
    com::ComPtr<IProvideClassInfo2> info;
    ASSERT_EQ(::CoCreateInstance(CLSID_VelPhonebookControl, nullptr, CLSCTX_INPROC_SERVER, IID_IProvideClassInfo2,
                                 info.put_void()),
              S_OK);
    GUID events{};
    EXPECT_EQ(info->GetGUID(GUIDKIND_DEFAULT_SOURCE_DISP_IID, &events), S_OK);
    EXPECT_EQ(events, DIID_IVelPhonebookControlEvents);
    EXPECT_EQ(info->GetGUID(42, &events), E_INVALIDARG);
    const auto object = info.query<IOleObject>();
    LPOLESTR type = nullptr;
    ASSERT_EQ(object->GetUserType(USERCLASSTYPE_FULL, &type), S_OK);
    EXPECT_EQ(std::wstring(type), L"Orvanta VelPhonebookControl Class");
    ::CoTaskMemFree(type);
    EXPECT_EQ(object->DoVerb(OLEIVERB_INPLACEACTIVATE, nullptr, nullptr, 0, nullptr, nullptr), E_UNEXPECTED)
        << "without a site there is nothing to activate in";
}
