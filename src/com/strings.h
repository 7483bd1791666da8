// BSTR and SAFEARRAY(BSTR) conversions at the automation boundary.
#pragma once

#include "com/unique_any.h"

#include <oaidl.h>

#include <string>
#include <string_view>
#include <vector>

namespace com {

// A new BSTR with the text, or null when it cannot be allocated.
inline BSTR AllocBstr(std::wstring_view text) noexcept {
    return ::SysAllocStringLen(text.data(), UINT(text.size()));
}

inline std::wstring FromBstr(BSTR text) { return std::wstring(text ? text : L"", ::SysStringLen(text)); }

// Copies the elements of a one-dimensional array of BSTR. Anything else
// (other element type, other number of dimensions) is E_INVALIDARG; a null
// element reads as the empty text.
HRESULT ReadStringArray(SAFEARRAY* array, std::vector<std::wstring>& out);

// A new one-dimensional BSTR array with lower bound 0 holding copies of the
// texts; E_OUTOFMEMORY when the array or an element cannot be allocated.
HRESULT MakeStringArray(const std::vector<std::wstring>& texts, SAFEARRAY** out) noexcept;

}  // namespace com
