// One connection of an event sink to a connection point: advised on
// construction through Advise(), unadvised when the owner lets it go, so that
// a sink is never left registered with a source.
#pragma once

#include "com/com_ptr.h"
#include "com/hresult.h"

#include <ocidl.h>

#include <utility>

namespace com {

class AdviseConnection {
public:
    AdviseConnection() noexcept = default;
    AdviseConnection(AdviseConnection&& other) noexcept
        : m_point(std::move(other.m_point)), m_cookie(std::exchange(other.m_cookie, 0)) {}
    AdviseConnection& operator=(AdviseConnection&& other) noexcept {
        if (this != &other) {
            reset();
            m_point = std::move(other.m_point);
            m_cookie = std::exchange(other.m_cookie, 0);
        }
        return *this;
    }
    AdviseConnection(const AdviseConnection&) = delete;
    AdviseConnection& operator=(const AdviseConnection&) = delete;
    ~AdviseConnection() { reset(); }

    // Finds the source's connection point for the event interface and
    // advises the sink on it; the previous connection is dropped first.
    HRESULT Advise(IUnknown* source, REFIID events, IUnknown* sink) noexcept {
        reset();
        RETURN_HR_IF_NULL(E_POINTER, source);
        RETURN_HR_IF_NULL(E_POINTER, sink);
        ComPtr<IConnectionPointContainer> container;
        RETURN_IF_FAILED(source->QueryInterface(IID_IConnectionPointContainer, container.put_void()));
        ComPtr<IConnectionPoint> point;
        RETURN_IF_FAILED(container->FindConnectionPoint(events, point.put()));
        DWORD cookie = 0;
        RETURN_IF_FAILED(point->Advise(sink, &cookie));
        m_point = std::move(point);
        m_cookie = cookie;
        return S_OK;
    }

    // Unadvises; a source that is gone already is not an error here.
    void reset() noexcept {
        if (m_point && m_cookie) m_point->Unadvise(m_cookie);
        m_point.reset();
        m_cookie = 0;
    }

    explicit operator bool() const noexcept { return m_cookie != 0; }

private:
    ComPtr<IConnectionPoint> m_point;
    DWORD m_cookie = 0;
};

}  // namespace com
