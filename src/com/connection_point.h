// IConnectionPointContainer with the one connection point of the control's
// event dispinterface. Events go to every sink in turn through
// IDispatch::Invoke; what one sink answers (a failure, a disconnected proxy)
// never stops the others. While the container has frozen events they are
// held back and delivered, in order, when it thaws them.
#pragma once

#include "com/enumerator.h"
#include "com/hresult.h"
#include "com/implements.h"

#include <ocidl.h>
#include <olectl.h>

#include <deque>
#include <initializer_list>
#include <vector>

namespace com {

// The arguments of one event, in the reverse order DISPPARAMS wants,
// each owned (VariantCopy in, VariantClear out).
class EventArguments {
public:
    EventArguments(DISPID id, std::initializer_list<VARIANT> arguments);
    ~EventArguments();
    EventArguments(EventArguments&& other) noexcept;
    EventArguments(const EventArguments&) = delete;
    EventArguments& operator=(const EventArguments&) = delete;
    EventArguments& operator=(EventArguments&&) = delete;

    DISPID id() const noexcept { return m_id; }
    // Invokes the event on one sink with a fresh copy of the arguments (a
    // sink may change what it was given); returns the sink's answer.
    HRESULT InvokeOn(IDispatch* sink) const noexcept;

private:
    DISPID m_id;
    std::vector<VARIANT> m_reversed;
};

// The connections of one outgoing interface.
class SinkList {
public:
    HRESULT Advise(IUnknown* sink, REFIID eventIid, DWORD* cookie) noexcept;
    HRESULT Unadvise(DWORD cookie) noexcept;
    HRESULT Enumerate(IEnumConnections** connections) const noexcept;
    // Every sink in turn, on a snapshot (a sink may unadvise itself or
    // others while it is called).
    void Fire(const EventArguments& event) const;
    size_t size() const noexcept { return m_sinks.size(); }
    void clear() noexcept { m_sinks.clear(); }

private:
    struct Connection {
        DWORD cookie;
        ComPtr<IDispatch> sink;
    };
    std::vector<Connection> m_sinks;
    DWORD m_nextCookie = 1;
};

template <class Derived>
class ConnectionPoints : public IConnectionPointContainer {
public:
    using Interface = IConnectionPointContainer;

    STDMETHODIMP EnumConnectionPoints(IEnumConnectionPoints** points) noexcept override {
        const std::vector<IConnectionPoint*> list{&m_point};
        return MakeEnumerator<IEnumConnectionPoints, IConnectionPoint*, InterfaceCopy<IConnectionPoint>>(list, points);
    }
    STDMETHODIMP FindConnectionPoint(REFIID iid, IConnectionPoint** point) noexcept override {
        RETURN_HR_IF_NULL(E_POINTER, point);
        *point = nullptr;
        if (iid != Derived::EventInterfaceId()) return CONNECT_E_NOCONNECTION;
        m_point.AddRef();
        *point = &m_point;
        return S_OK;
    }

    // Fires now, or holds the event back while events are frozen.
    void FireEvent(DISPID id, std::initializer_list<VARIANT> arguments) {
        EventArguments event(id, arguments);
        if (static_cast<Derived*>(this)->OleState().freezeCount > 0) {
            m_held.push_back(std::move(event));
            return;
        }
        m_sinks.Fire(event);
    }
    // Delivers what was held back while events were frozen.
    void FlushHeldEvents() {
        while (!m_held.empty() && static_cast<Derived*>(this)->OleState().freezeCount == 0) {
            EventArguments event = std::move(m_held.front());
            m_held.pop_front();
            m_sinks.Fire(event);
        }
    }
    size_t SinkCount() const noexcept { return m_sinks.size(); }

private:
    // The connection point lives inside the control and counts on it.
    class Point : public IConnectionPoint {
    public:
        explicit Point(ConnectionPoints* owner) noexcept : m_owner(owner) {}
        STDMETHODIMP QueryInterface(REFIID iid, void** out) noexcept override {
            RETURN_HR_IF_NULL(E_POINTER, out);
            *out = nullptr;
            if (iid != IID_IUnknown && iid != IID_IConnectionPoint) return E_NOINTERFACE;
            AddRef();
            *out = static_cast<IConnectionPoint*>(this);
            return S_OK;
        }
        STDMETHODIMP_(ULONG) AddRef() noexcept override { return m_owner->AddRef(); }
        STDMETHODIMP_(ULONG) Release() noexcept override { return m_owner->Release(); }
        STDMETHODIMP GetConnectionInterface(IID* iid) noexcept override {
            RETURN_HR_IF_NULL(E_POINTER, iid);
            *iid = Derived::EventInterfaceId();
            return S_OK;
        }
        STDMETHODIMP GetConnectionPointContainer(IConnectionPointContainer** container) noexcept override {
            RETURN_HR_IF_NULL(E_POINTER, container);
            m_owner->AddRef();
            *container = m_owner;
            return S_OK;
        }
        STDMETHODIMP Advise(IUnknown* sink, DWORD* cookie) noexcept override {
            return m_owner->m_sinks.Advise(sink, Derived::EventInterfaceId(), cookie);
        }
        STDMETHODIMP Unadvise(DWORD cookie) noexcept override { return m_owner->m_sinks.Unadvise(cookie); }
        STDMETHODIMP EnumConnections(IEnumConnections** connections) noexcept override {
            return m_owner->m_sinks.Enumerate(connections);
        }

    private:
        ConnectionPoints* m_owner;
    };

    Point m_point{this};
    SinkList m_sinks;
    std::deque<EventArguments> m_held;
};

}  // namespace com
