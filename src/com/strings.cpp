// BSTR and SAFEARRAY(BSTR) conversions.
#include "com/strings.h"

#include "com/hresult.h"

namespace com {
namespace {

bool HoldsBstrs(SAFEARRAY* array) noexcept {
    VARTYPE type = VT_EMPTY;
    if (FAILED(::SafeArrayGetVartype(array, &type)))
        type = (array->fFeatures & FADF_BSTR) ? VT_BSTR : VT_EMPTY;
    return type == VT_BSTR && array->cbElements == sizeof(BSTR);
}

// Keeps an array locked while its elements are read.
class ArrayLock {
public:
    explicit ArrayLock(SAFEARRAY* array) noexcept : m_array(array), m_hr(::SafeArrayLock(array)) {}
    ~ArrayLock() {
        if (SUCCEEDED(m_hr)) ::SafeArrayUnlock(m_array);
    }
    HRESULT hr() const noexcept { return m_hr; }

private:
    SAFEARRAY* m_array;
    HRESULT m_hr;
};

}  // namespace

HRESULT ReadStringArray(SAFEARRAY* array, std::vector<std::wstring>& out) {
    out.clear();
    RETURN_HR_IF_NULL(E_INVALIDARG, array);
    RETURN_HR_IF(E_INVALIDARG, ::SafeArrayGetDim(array) != 1 || !HoldsBstrs(array));
    ArrayLock lock(array);
    RETURN_IF_FAILED(lock.hr());
    // By the element count, whatever the bounds: upper - lower overflows
    // for a lower bound near INT_MIN.
    const auto* elements = static_cast<const BSTR*>(array->pvData);
    for (ULONG i = 0; i < array->rgsabound[0].cElements; ++i) out.push_back(FromBstr(elements[i]));
    return S_OK;
}

HRESULT MakeStringArray(const std::vector<std::wstring>& texts, SAFEARRAY** out) noexcept {
    RETURN_HR_IF_NULL(E_INVALIDARG, out);
    *out = nullptr;
    UniqueSafeArray array(::SafeArrayCreateVector(VT_BSTR, 0, ULONG(texts.size())));
    RETURN_HR_IF_NULL(E_OUTOFMEMORY, array.get());
    {
        ArrayLock lock(array.get());
        RETURN_IF_FAILED(lock.hr());
        auto* elements = static_cast<BSTR*>(array.get()->pvData);
        for (size_t i = 0; i < texts.size(); ++i) {
            elements[i] = AllocBstr(texts[i]);
            RETURN_HR_IF_NULL(E_OUTOFMEMORY, elements[i]);
        }
    }
    *out = array.release();
    return S_OK;
}

}  // namespace com
