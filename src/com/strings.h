// BSTR, SAFEARRAY(BSTR) and script-made list conversions at the automation
// boundary.
#pragma once

#include "com/unique_any.h"

#include <oaidl.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace com {

// A new BSTR with the text, or null when it cannot be allocated.
inline BSTR AllocBstr(std::wstring_view text) noexcept {
    return ::SysAllocStringLen(text.data(), UINT(text.size()));
}

inline std::wstring FromBstr(BSTR text) { return std::wstring(text ? text : L"", ::SysStringLen(text)); }

// The element types an array may have: BSTR (what the published interfaces
// declare), or also VARIANT (what script engines make).
enum class ArrayElements { Bstr, BstrOrVariant };

// Copies the elements of a one-dimensional array of BSTR, or of VARIANT when
// allowed. Anything else (other element type, other number of dimensions) is
// E_INVALIDARG; a null element, and an empty or null VARIANT, reads as the
// empty text; a VARIANT of another type is converted to text (a script may
// pass a number as a number), DISP_E_TYPEMISMATCH when it cannot be.
HRESULT ReadStringArray(SAFEARRAY* array, std::vector<std::wstring>& out,
                        ArrayElements allowed = ArrayElements::Bstr);

// The texts of a list with the index of its first element. The platform allows
// any bounds (1-based arrays of VBA, lower bounds near INT_MIN), so indexes
// are compared and subtracted in 64 bits: 32-bit differences of two far-apart
// lower bounds would overflow into an index inside the array.
struct StringList {
    std::vector<std::wstring> texts;
    LONG lower = 0;

    // A SAFEARRAY (ReadStringArray).
    HRESULT Read(SAFEARRAY* array, ArrayElements allowed = ArrayElements::Bstr);
    // A list as a script or late-bound client passes it: a VARIANT holding an
    // array of BSTR or VARIANT, by value or by reference (VBScript passes
    // variables so), or a JScript array object (read through its "length" and
    // index properties).
    HRESULT Read(const VARIANT& list);

    LONGLONG First() const noexcept { return lower; }
    LONGLONG Last() const noexcept { return LONGLONG(lower) + LONGLONG(texts.size()) - 1; }
    bool Holds(LONGLONG index) const noexcept {
        return index >= lower && index - lower < LONGLONG(texts.size());
    }
    const std::wstring& operator[](LONGLONG index) const { return texts[size_t(index - lower)]; }
};

// A new one-dimensional BSTR array with lower bound 0 holding copies of the
// texts; E_OUTOFMEMORY when the array or an element cannot be allocated.
HRESULT MakeStringArray(const std::vector<std::wstring>& texts, SAFEARRAY** out) noexcept;

// A VARIANT holding a new one-dimensional array of `count` VARIANTs with lower
// bound 0 (what JScript's VBArray, VBScript, VBA and PowerShell read), element
// i set by fill(i, element); on failure `out` is left empty.
HRESULT MakeVariantArray(size_t count, const std::function<HRESULT(size_t, VARIANT&)>& fill, VARIANT* out);

// The texts as such a VARIANT array of BSTRs.
HRESULT MakeTextVariantArray(const std::vector<std::wstring>& texts, VARIANT* out);

}  // namespace com
