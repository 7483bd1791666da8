// A snapshot enumerator (IEnumXxx) over a vector of elements, for the
// enumerations the control kit hands out: verbs, connection points,
// connections. Copy(to, from) copies one element the way the interface's
// contract wants it (AddRef for interface pointers); Clear(element) undoes
// what Copy did for the snapshot's own elements.
#pragma once

#include "com/implements.h"

#include <ocidl.h>
#include <oleidl.h>

#include <vector>

namespace com {

template <class Element>
struct PlainCopy {
    static void Copy(Element& to, const Element& from) noexcept { to = from; }
    static void Clear(Element&) noexcept {}
};

template <class I>
struct InterfaceCopy {
    static void Copy(I*& to, I* from) noexcept {
        to = from;
        if (to) to->AddRef();
    }
    static void Clear(I*& element) noexcept {
        if (I* held = std::exchange(element, nullptr)) held->Release();
    }
};

struct ConnectDataCopy {
    static void Copy(CONNECTDATA& to, const CONNECTDATA& from) noexcept {
        to = from;
        if (to.pUnk) to.pUnk->AddRef();
    }
    static void Clear(CONNECTDATA& element) noexcept { InterfaceCopy<IUnknown>::Clear(element.pUnk); }
};

template <class IEnum, class Element, class Copier = PlainCopy<Element>>
class Enumerator : public Implements<Enumerator<IEnum, Element, Copier>, IEnum> {
public:
    // Takes a snapshot: each element is copied with Copier.
    explicit Enumerator(const std::vector<Element>& elements, size_t position = 0) : m_elements(elements.size()) {
        for (size_t i = 0; i < elements.size(); ++i) Copier::Copy(m_elements[i], elements[i]);
        m_position = position;
    }
    ~Enumerator() override {
        for (Element& element : m_elements) Copier::Clear(element);
    }

    STDMETHODIMP Next(ULONG count, Element* out, ULONG* fetched) noexcept override {
        if (!out || (count > 1 && !fetched)) return E_POINTER;
        ULONG done = 0;
        for (; done < count && m_position < m_elements.size(); ++done, ++m_position)
            Copier::Copy(out[done], m_elements[m_position]);
        if (fetched) *fetched = done;
        return done == count ? S_OK : S_FALSE;
    }
    STDMETHODIMP Skip(ULONG count) noexcept override {
        const size_t left = m_elements.size() - m_position;
        if (count > left) {
            m_position = m_elements.size();
            return S_FALSE;
        }
        m_position += count;
        return S_OK;
    }
    STDMETHODIMP Reset() noexcept override {
        m_position = 0;
        return S_OK;
    }
    STDMETHODIMP Clone(IEnum** out) noexcept override {
        return Boundary([&]() -> HRESULT {
            RETURN_HR_IF_NULL(E_POINTER, out);
            *out = Make<Enumerator>(m_elements, m_position).detach();
            return S_OK;
        });
    }

private:
    std::vector<Element> m_elements;
    size_t m_position = 0;
};

// Hands out a new enumerator over the elements.
template <class IEnum, class Element, class Copier = PlainCopy<Element>>
HRESULT MakeEnumerator(const std::vector<Element>& elements, IEnum** out) noexcept {
    return Boundary([&]() -> HRESULT {
        RETURN_HR_IF_NULL(E_POINTER, out);
        *out = Make<Enumerator<IEnum, Element, Copier>>(elements).detach();
        return S_OK;
    });
}

}  // namespace com
