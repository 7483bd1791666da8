// Outlook event sink of the control.
#include "control/phonebook_event_handler.h"

#include "com/implements.h"
#include "core/iab.h"
#include "sources/oab.h"
#include "sources/outlook_model.h"

// The COM face of the handler. Outlook may hold it for a moment after the
// handler is gone (a call already on its way), so it has its own lifetime and
// forgets the handler on Disconnect.
class CPhonebookEventHandler::Sink : public com::Implements<Sink, IDispatch> {
public:
    explicit Sink(CPhonebookEventHandler* owner) noexcept : m_owner(owner) {}
    void Detach() noexcept { m_owner = nullptr; }

    // The event interfaces are dispinterfaces: IDispatch stands for them.
    STDMETHODIMP QueryInterface(REFIID iid, void** out) noexcept override {
        if (out && (iid == outlook::DIID_ItemsEvents || iid == outlook::DIID_ReminderCollectionEvents)) {
            *out = static_cast<IDispatch*>(this);
            AddRef();
            return S_OK;
        }
        return Implements::QueryInterface(iid, out);
    }
    STDMETHODIMP GetTypeInfoCount(UINT* count) noexcept override {
        if (!count) return E_POINTER;
        *count = 0;
        return S_OK;
    }
    STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo** info) noexcept override {
        if (info) *info = nullptr;
        return E_NOTIMPL;
    }
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* params, VARIANT*, EXCEPINFO*,
                        UINT*) noexcept override {
        return m_owner ? m_owner->OnEvent(id, params) : S_OK;
    }

private:
    CPhonebookEventHandler* m_owner;
};

CPhonebookEventHandler::CPhonebookEventHandler() = default;

CPhonebookEventHandler::~CPhonebookEventHandler() {
    Disconnect();
}

HRESULT CPhonebookEventHandler::Connect(const COAB& source, HWND window) {
    return com::Boundary([&]() -> HRESULT {
        Disconnect();
        RETURN_HR_IF_NULL(E_INVALIDARG, window);
        RETURN_HR_IF_NULL(E_FAIL, source.ContactItems());
        m_sink = com::Make<Sink>(this);
        m_window = window;
        HRESULT hr = m_items.Advise(source.ContactItems(), outlook::DIID_ItemsEvents, m_sink.get());
        if (SUCCEEDED(hr) && source.Reminders())
            hr = m_reminders.Advise(source.Reminders(), outlook::DIID_ReminderCollectionEvents, m_sink.get());
        if (FAILED(hr)) Disconnect();
        return hr;
    });
}

HRESULT CPhonebookEventHandler::ConnectTo(const IAB* source, HWND window) {
    const auto* outlook = dynamic_cast<const COAB*>(source);
    if (!outlook) return E_FAIL;
    return Connect(*outlook, window);
}

void CPhonebookEventHandler::Disconnect() {
    m_reminders.reset();
    m_items.reset();
    if (m_sink) {
        m_sink->Detach();
        // An Outlook that died, or was too busy to take the Unadvise, still
        // holds the sink through its stub, and no one would ever release it
        // (nor the module with it): cut those references off.
        ::CoDisconnectObject(static_cast<IDispatch*>(m_sink.get()), 0);
    }
    m_sink.reset();
    m_window = nullptr;
}

HRESULT CPhonebookEventHandler::OnEvent(DISPID id, DISPPARAMS* params) noexcept {
    switch (id) {
        case outlook::kDispItemChange:
        case outlook::kDispItemAdd:
        case outlook::kDispItemRemove:
            if (m_window) ::PostMessageW(m_window, kReloadMessage, 0, 0);
            return S_OK;
        case outlook::kDispBeforeReminderShow: {
            // Cancel is the first (and only) argument, so the last in rgvarg.
            // Any non-zero value cancels; the sink has always stored 1, and
            // hosts that watch the same event may compare with it.
            if (!params || params->cArgs < 1 || !params->rgvarg) return DISP_E_BADPARAMCOUNT;
            VARIANT& cancel = params->rgvarg[params->cArgs - 1];
            if (V_VT(&cancel) == (VT_BOOL | VT_BYREF) && V_BOOLREF(&cancel)) {
                *V_BOOLREF(&cancel) = kCancelReminder;
                return S_OK;
            }
            if (V_VT(&cancel) == (VT_VARIANT | VT_BYREF) && V_VARIANTREF(&cancel) &&
                V_VT(V_VARIANTREF(&cancel)) == VT_BOOL) {
                V_BOOL(V_VARIANTREF(&cancel)) = kCancelReminder;
                return S_OK;
            }
            return DISP_E_TYPEMISMATCH;
        }
        default:
            return S_OK;
    }
}
