// Releasing an object from inside one of its own window messages: when the
// reference is the last one, the object would be freed while code of its
// windows (a list notifying its parent, an edit box ending) is still on the
// stack above the handler. Such a last reference is released once the thread
// is back in its message loop instead.
#pragma once

#include <unknwn.h>

namespace com {

// Releases `object` now unless this is its last reference; then on the
// thread's next dispatched message (a zero-delay thread timer).
void ReleaseWhenUnwound(IUnknown* object) noexcept;

// Holds a reference for a scope; its end goes through ReleaseWhenUnwound.
class KeepAlive {
public:
    explicit KeepAlive(IUnknown* object) noexcept : m_object(object) {
        if (m_object) m_object->AddRef();
    }
    ~KeepAlive() { ReleaseWhenUnwound(m_object); }
    KeepAlive(const KeepAlive&) = delete;
    KeepAlive& operator=(const KeepAlive&) = delete;

private:
    IUnknown* m_object;
};

}  // namespace com
