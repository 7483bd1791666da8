#include "com/connection_point.h"

#include <algorithm>

namespace com {

EventArguments::EventArguments(DISPID id, std::initializer_list<VARIANT> arguments) : m_id(id) {
    m_reversed.reserve(arguments.size());
    for (auto it = std::rbegin(arguments); it != std::rend(arguments); ++it) {
        VARIANT copy;
        ::VariantInit(&copy);
        ThrowIfFailed(::VariantCopy(&copy, const_cast<VARIANT*>(&*it)));
        m_reversed.push_back(copy);
    }
}

EventArguments::EventArguments(EventArguments&& other) noexcept
    : m_id(other.m_id), m_reversed(std::move(other.m_reversed)) {
    other.m_reversed.clear();
}

EventArguments::~EventArguments() {
    for (VARIANT& argument : m_reversed) ::VariantClear(&argument);
}

HRESULT EventArguments::InvokeOn(IDispatch* sink) const noexcept {
    std::vector<VARIANT> copies(m_reversed.size());
    for (size_t i = 0; i < m_reversed.size(); ++i) {
        ::VariantInit(&copies[i]);
        ::VariantCopy(&copies[i], const_cast<VARIANT*>(&m_reversed[i]));
    }
    DISPPARAMS params{copies.data(), nullptr, UINT(copies.size()), 0};
    const HRESULT hr = sink->Invoke(m_id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &params, nullptr,
                                    nullptr, nullptr);
    for (VARIANT& copy : copies) ::VariantClear(&copy);
    return hr;
}

HRESULT SinkList::Advise(IUnknown* sink, REFIID eventIid, DWORD* cookie) noexcept {
    return Boundary([&]() -> HRESULT {
        RETURN_HR_IF_NULL(E_POINTER, cookie);
        *cookie = 0;
        RETURN_HR_IF_NULL(E_POINTER, sink);
        // A sink answers for the event's dispinterface, or at least for
        // IDispatch (script hosts' sinks often know no more).
        ComPtr<IDispatch> dispatch;
        if (FAILED(sink->QueryInterface(eventIid, dispatch.put_void())) &&
            FAILED(sink->QueryInterface(IID_IDispatch, dispatch.put_void())))
            return CONNECT_E_CANNOTCONNECT;
        m_sinks.push_back({m_nextCookie, dispatch});
        *cookie = m_nextCookie++;
        return S_OK;
    });
}

HRESULT SinkList::Unadvise(DWORD cookie) noexcept {
    const auto found = std::find_if(m_sinks.begin(), m_sinks.end(),
                                    [cookie](const Connection& connection) { return connection.cookie == cookie; });
    if (found == m_sinks.end()) return CONNECT_E_NOCONNECTION;
    // Released after the list no longer holds it: the sink's destructor
    // may call back into the control.
    ComPtr<IDispatch> sink = std::move(found->sink);
    m_sinks.erase(found);
    return S_OK;
}

HRESULT SinkList::Enumerate(IEnumConnections** connections) const noexcept {
    return Boundary([&]() -> HRESULT {
        std::vector<CONNECTDATA> list;
        for (const Connection& connection : m_sinks) list.push_back({connection.sink.get(), connection.cookie});
        return MakeEnumerator<IEnumConnections, CONNECTDATA, ConnectDataCopy>(list, connections);
    });
}

void SinkList::Fire(const EventArguments& event) const {
    std::vector<ComPtr<IDispatch>> snapshot;
    snapshot.reserve(m_sinks.size());
    for (const Connection& connection : m_sinks) snapshot.push_back(connection.sink);
    // Each sink's answer is ignored: the event is a notice, not a question.
    for (const ComPtr<IDispatch>& sink : snapshot) event.InvokeOn(sink.get());
}

}  // namespace com
