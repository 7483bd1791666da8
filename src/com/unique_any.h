// One RAII owner for every kind of platform handle, and the aliases the module
// uses. Business code never calls CloseHandle, RegCloseKey and friends itself.
#pragma once

#include <windows.h>
#include <oleauto.h>
#include <commctrl.h>

#include <cstdint>
#include <type_traits>
#include <utility>

namespace com {

template <class T, auto Close, intptr_t InvalidBits = 0>
class UniqueAny {
    static T Invalid() noexcept {
        if constexpr (std::is_pointer_v<T>) return reinterpret_cast<T>(InvalidBits);
        else return T(InvalidBits);
    }

public:
    UniqueAny() noexcept = default;
    explicit UniqueAny(T value) noexcept : m_value(value) {}
    UniqueAny(UniqueAny&& other) noexcept : m_value(other.release()) {}
    UniqueAny& operator=(UniqueAny&& other) noexcept {
        if (this != &other) reset(other.release());
        return *this;
    }
    UniqueAny(const UniqueAny&) = delete;
    UniqueAny& operator=(const UniqueAny&) = delete;
    ~UniqueAny() { reset(); }

    T get() const noexcept { return m_value; }
    explicit operator bool() const noexcept { return m_value != Invalid(); }

    // Frees the current value and hands out the slot for an out-parameter.
    T* put() noexcept {
        reset();
        return &m_value;
    }
    T release() noexcept { return std::exchange(m_value, Invalid()); }
    void reset(T value = Invalid()) noexcept {
        const T old = std::exchange(m_value, value);
        if (old != Invalid()) Close(old);
    }

private:
    T m_value = Invalid();
};

namespace detail {
inline void CloseKernel(HANDLE h) noexcept { ::CloseHandle(h); }
inline void CloseKey(HKEY h) noexcept { ::RegCloseKey(h); }
inline void CloseModule(HMODULE h) noexcept { ::FreeLibrary(h); }
inline void CloseFindChange(HANDLE h) noexcept { ::FindCloseChangeNotification(h); }
inline void CloseGdi(HGDIOBJ h) noexcept { ::DeleteObject(h); }
inline void CloseBstr(BSTR s) noexcept { ::SysFreeString(s); }
inline void CloseSafeArray(SAFEARRAY* a) noexcept { ::SafeArrayDestroy(a); }
inline void CloseWindow(HWND h) noexcept { ::DestroyWindow(h); }
inline void CloseIcon(HICON h) noexcept { ::DestroyIcon(h); }
inline void CloseImageList(HIMAGELIST h) noexcept { ::ImageList_Destroy(h); }
template <class T>
inline void CloseCoTaskMem(T* p) noexcept {
    ::CoTaskMemFree(p);
}
inline void CloseHook(HHOOK h) noexcept { ::UnhookWindowsHookEx(h); }
inline void CloseDc(HDC h) noexcept { ::DeleteDC(h); }
inline void ReleaseScreenDc(HDC h) noexcept { ::ReleaseDC(nullptr, h); }
}  // namespace detail

using UniqueHandle = UniqueAny<HANDLE, detail::CloseKernel>;
using UniqueFile = UniqueAny<HANDLE, detail::CloseKernel, -1>;
using UniqueFindChange = UniqueAny<HANDLE, detail::CloseFindChange, -1>;
using UniqueHKey = UniqueAny<HKEY, detail::CloseKey>;
using UniqueModule = UniqueAny<HMODULE, detail::CloseModule>;
using UniqueGdiObject = UniqueAny<HGDIOBJ, detail::CloseGdi>;
using UniqueBstr = UniqueAny<BSTR, detail::CloseBstr>;
using UniqueSafeArray = UniqueAny<SAFEARRAY*, detail::CloseSafeArray>;
using UniqueWindow = UniqueAny<HWND, detail::CloseWindow>;
using UniqueIcon = UniqueAny<HICON, detail::CloseIcon>;
using UniqueImageList = UniqueAny<HIMAGELIST, detail::CloseImageList>;
// Memory that the system handed out with CoTaskMemAlloc (paths, item lists).
template <class T>
using UniqueCoTaskMem = UniqueAny<T*, detail::CloseCoTaskMem<T>>;
using UniqueHook = UniqueAny<HHOOK, detail::CloseHook>;
// A memory DC (CreateCompatibleDC) and the screen's DC (GetDC(nullptr)).
using UniqueDc = UniqueAny<HDC, detail::CloseDc>;
using UniqueScreenDc = UniqueAny<HDC, detail::ReleaseScreenDc>;

// VARIANT needs VariantClear and a VariantInit'ed start, so it has its own owner.
class UniqueVariant : public VARIANT {
public:
    UniqueVariant() noexcept { ::VariantInit(this); }
    UniqueVariant(const UniqueVariant&) = delete;
    UniqueVariant& operator=(const UniqueVariant&) = delete;
    ~UniqueVariant() { ::VariantClear(this); }

    VARIANT* put() noexcept {
        ::VariantClear(this);
        return this;
    }
};

}  // namespace com
