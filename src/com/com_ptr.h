// Smart interface pointer: owns one reference, put() for out-parameters,
// query<I>() for a typed QueryInterface.
#pragma once

#include <unknwn.h>

#include <utility>

namespace com {

template <class T>
class ComPtr {
public:
    ComPtr() noexcept = default;
    ComPtr(std::nullptr_t) noexcept {}
    // Takes a new reference to p.
    explicit ComPtr(T* p) noexcept : m_p(p) {
        if (m_p) m_p->AddRef();
    }
    ComPtr(const ComPtr& other) noexcept : ComPtr(other.m_p) {}
    ComPtr(ComPtr&& other) noexcept : m_p(other.detach()) {}
    ComPtr& operator=(ComPtr other) noexcept {
        std::swap(m_p, other.m_p);
        return *this;
    }
    ~ComPtr() { reset(); }

    static ComPtr attach(T* p) noexcept {
        ComPtr result;
        result.m_p = p;
        return result;
    }

    T* get() const noexcept { return m_p; }
    T* operator->() const noexcept { return m_p; }
    explicit operator bool() const noexcept { return m_p != nullptr; }

    T** put() noexcept {
        reset();
        return &m_p;
    }
    void** put_void() noexcept { return reinterpret_cast<void**>(put()); }

    T* detach() noexcept { return std::exchange(m_p, nullptr); }
    void reset() noexcept {
        if (T* old = std::exchange(m_p, nullptr)) old->Release();
    }

    template <class I>
    ComPtr<I> query() const noexcept {
        ComPtr<I> result;
        if (m_p) m_p->QueryInterface(__uuidof(I), result.put_void());
        return result;
    }

    HRESULT CopyTo(T** out) const noexcept {
        if (!out) return E_POINTER;
        *out = m_p;
        if (m_p) m_p->AddRef();
        return S_OK;
    }

private:
    T* m_p = nullptr;
};

}  // namespace com
