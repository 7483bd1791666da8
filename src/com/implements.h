// IUnknown for a COM class from its list of interfaces, in one line:
//   class CMRUList : public com::Implements<CMRUList, com::Dispatch<IMRUList>>
// QueryInterface walks the list at compile time. A list entry is either an
// interface or a mix-in that implements one and names it as `Interface`.
// Every object counts in the module's lock count for its whole life.
#pragma once

#include "com/com_ptr.h"
#include "com/hresult.h"
#include "com/module.h"

#include <atomic>
#include <tuple>
#include <type_traits>
#include <utility>

namespace com {

template <class T, class = void>
struct InterfaceOf {
    using type = T;
};
template <class T>
struct InterfaceOf<T, std::void_t<typename T::Interface>> {
    using type = typename T::Interface;
};

// A list entry may also bundle several mix-ins: it names them as
// `Interfaces` (a std::tuple of its own bases), and each of them is searched
// in turn, as if it had been listed itself.
template <class T, class = void>
struct IsBundle : std::false_type {};
template <class T>
struct IsBundle<T, std::void_t<typename T::Interfaces>> : std::true_type {};

// Interfaces that an interface derives from (besides IUnknown and IDispatch)
// and that QueryInterface must therefore also answer; specialised next to
// interfaces that have such bases.
template <class I>
struct InterfaceBases {
    using type = std::tuple<>;
};

template <class Derived, class... Bases>
class Implements : public Bases... {
    static_assert(sizeof...(Bases) > 0, "a COM class implements at least one interface");
    using First = std::tuple_element_t<0, std::tuple<Bases...>>;

public:
    Implements() noexcept { Module::Lock(); }
    virtual ~Implements() { Module::Unlock(); }
    Implements(const Implements&) = delete;
    Implements& operator=(const Implements&) = delete;

    STDMETHODIMP QueryInterface(REFIID iid, void** out) noexcept override {
        if (!out) return E_POINTER;
        *out = nullptr;
        IUnknown* found = nullptr;
        if (iid == IID_IUnknown) {
            found = static_cast<typename InterfaceOf<First>::type*>(static_cast<First*>(this));
        } else {
            (FindInterface<Bases>(iid, found) || ...);
        }
        if (!found) return E_NOINTERFACE;
        found->AddRef();
        *out = found;
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() noexcept override { return ++m_refs; }
    STDMETHODIMP_(ULONG) Release() noexcept override {
        const ULONG refs = --m_refs;
        if (refs == 0) delete static_cast<Derived*>(this);
        return refs;
    }

private:
    template <class Base>
    bool FindInterface(REFIID iid, IUnknown*& found) noexcept {
        return Find(static_cast<Base*>(this), iid, found);
    }

    template <class Base>
    static bool Find(Base* base, REFIID iid, IUnknown*& found) noexcept {
        if constexpr (IsBundle<Base>::value) {
            return FindInBundle(base, iid, found, static_cast<typename Base::Interfaces*>(nullptr));
        } else {
            using I = typename InterfaceOf<Base>::type;
            I* itf = base;
            if (iid == __uuidof(I)) {
                found = itf;
                return true;
            }
            if constexpr (std::is_base_of_v<IDispatch, I>) {
                if (iid == IID_IDispatch) {
                    found = itf;
                    return true;
                }
            }
            return FindBase(iid, itf, found, static_cast<typename InterfaceBases<I>::type*>(nullptr));
        }
    }

    template <class Bundle, class... Part>
    static bool FindInBundle(Bundle* bundle, REFIID iid, IUnknown*& found, std::tuple<Part...>*) noexcept {
        return (Find(static_cast<Part*>(bundle), iid, found) || ...);
    }

    template <class I, class... Base>
    static bool FindBase(REFIID iid, [[maybe_unused]] I* itf, IUnknown*& found, std::tuple<Base...>*) noexcept {
        return ((iid == __uuidof(Base) ? (found = static_cast<Base*>(itf), true) : false) || ...);
    }

    std::atomic<ULONG> m_refs{1};
};

// Creates an object with its single reference owned by the returned pointer.
// Throws std::bad_alloc like new.
template <class T, class... Args>
ComPtr<T> Make(Args&&... args) {
    return ComPtr<T>::attach(new T(std::forward<Args>(args)...));
}

// Make<T>() followed by QueryInterface, for class factories.
template <class T, class... Args>
HRESULT MakeAndQuery(REFIID iid, void** out, Args&&... args) noexcept {
    return Boundary([&]() -> HRESULT {
        RETURN_HR_IF_NULL(E_POINTER, out);
        *out = nullptr;
        return Make<T>(std::forward<Args>(args)...)->QueryInterface(iid, out);
    });
}

}  // namespace com
