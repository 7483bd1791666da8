// Linear error handling for code that speaks HRESULT: early-return macros, the
// exception type used inside the module, and the guard at every COM boundary.
#pragma once

#include <windows.h>

#include <new>
#include <stdexcept>

namespace com {

// Thrown inside the module for a failure that has an HRESULT; converted back to
// the HRESULT at the COM boundary by Boundary().
class ComError : public std::runtime_error {
public:
    explicit ComError(HRESULT hr) : std::runtime_error("COM error"), m_hr(hr) {}
    HRESULT hr() const noexcept { return m_hr; }

private:
    HRESULT m_hr;
};

inline HRESULT HResultFromLastError() noexcept {
    const DWORD error = ::GetLastError();
    return error == ERROR_SUCCESS ? E_FAIL : HRESULT_FROM_WIN32(error);
}

inline void ThrowIfFailed(HRESULT hr) {
    if (FAILED(hr)) throw ComError(hr);
}

// Runs the body and turns any exception into an HRESULT, so that nothing
// unwinds across a COM interface.
template <class Body>
HRESULT Boundary(Body&& body) noexcept {
    try {
        return body();
    } catch (const ComError& e) {
        return e.hr();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_UNEXPECTED;
    }
}

}  // namespace com

#define RETURN_IF_FAILED(expr)                        \
    do {                                              \
        const HRESULT hr_macro_ = (expr);             \
        if (FAILED(hr_macro_)) return hr_macro_;      \
    } while (0)

#define RETURN_HR_IF(hr, cond)                        \
    do {                                              \
        if (cond) return (hr);                        \
    } while (0)

#define RETURN_HR_IF_NULL(hr, ptr) RETURN_HR_IF(hr, (ptr) == nullptr)

#define RETURN_LAST_ERROR_IF(cond)                    \
    do {                                              \
        if (cond) return ::com::HResultFromLastError(); \
    } while (0)
