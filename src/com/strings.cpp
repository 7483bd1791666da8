// BSTR, SAFEARRAY(BSTR) and script-made list conversions.
#include "com/strings.h"

#include "com/com_ptr.h"
#include "com/hresult.h"

namespace com {
namespace {

// VT_BSTR or VT_VARIANT for arrays of those elements, VT_EMPTY for any other.
VARTYPE ElementType(SAFEARRAY* array) noexcept {
    VARTYPE type = VT_EMPTY;
    if (FAILED(::SafeArrayGetVartype(array, &type)))
        type = (array->fFeatures & FADF_BSTR)      ? VT_BSTR
               : (array->fFeatures & FADF_VARIANT) ? VT_VARIANT
                                                   : VT_EMPTY;
    if (type == VT_BSTR && array->cbElements == sizeof(BSTR)) return VT_BSTR;
    if (type == VT_VARIANT && array->cbElements == sizeof(VARIANT)) return VT_VARIANT;
    return VT_EMPTY;
}

HRESULT VariantText(const VARIANT& value, std::wstring& out) {
    if (value.vt == VT_EMPTY || value.vt == VT_NULL) {
        out.clear();
        return S_OK;
    }
    if (value.vt == VT_BSTR) {
        out = FromBstr(value.bstrVal);
        return S_OK;
    }
    UniqueVariant text;
    RETURN_IF_FAILED(::VariantChangeType(&text, const_cast<VARIANT*>(&value), VARIANT_ALPHABOOL, VT_BSTR));
    out = FromBstr(text.bstrVal);
    return S_OK;
}

// A property of a script object by name, or an element by its index as text.
HRESULT GetProperty(IDispatch* object, const std::wstring& name, VARIANT* value) {
    DISPID id = DISPID_UNKNOWN;
    LPOLESTR names[] = {const_cast<LPOLESTR>(name.c_str())};
    RETURN_IF_FAILED(object->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id));
    DISPPARAMS none{};
    return object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none, value, nullptr,
                          nullptr);
}

// A JScript array: "length" and the elements "0", "1", ... A hole in the
// array is refused rather than read as empty: a length near 2^32 with nothing
// behind it would otherwise keep the call going for hours.
HRESULT ReadScriptArray(IDispatch* object, std::vector<std::wstring>& out) {
    out.clear();
    RETURN_HR_IF_NULL(E_INVALIDARG, object);
    UniqueVariant length, count;
    RETURN_HR_IF(E_INVALIDARG, FAILED(GetProperty(object, L"length", &length)));
    RETURN_HR_IF(E_INVALIDARG, FAILED(::VariantChangeType(&count, &length, 0, VT_UI4)));
    for (ULONG i = 0; i < count.ulVal; ++i) {
        UniqueVariant element;
        std::wstring text;
        RETURN_HR_IF(E_INVALIDARG, FAILED(GetProperty(object, std::to_wstring(i), &element)));
        RETURN_IF_FAILED(VariantText(element, text));
        out.push_back(std::move(text));
    }
    return S_OK;
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

HRESULT ReadStringArray(SAFEARRAY* array, std::vector<std::wstring>& out, ArrayElements allowed) {
    out.clear();
    RETURN_HR_IF_NULL(E_INVALIDARG, array);
    const VARTYPE type = ::SafeArrayGetDim(array) == 1 ? ElementType(array) : VT_EMPTY;
    RETURN_HR_IF(E_INVALIDARG, type == VT_EMPTY || (type == VT_VARIANT && allowed == ArrayElements::Bstr));
    ArrayLock lock(array);
    RETURN_IF_FAILED(lock.hr());
    // By the element count, whatever the bounds: upper - lower overflows
    // for a lower bound near INT_MIN.
    const ULONG count = array->rgsabound[0].cElements;
    if (type == VT_BSTR) {
        const auto* elements = static_cast<const BSTR*>(array->pvData);
        for (ULONG i = 0; i < count; ++i) out.push_back(FromBstr(elements[i]));
        return S_OK;
    }
    const auto* elements = static_cast<const VARIANT*>(array->pvData);
    out.resize(count);
    for (ULONG i = 0; i < count; ++i) {
        const VARIANT& element = elements[i];
        if (element.vt == (VT_BYREF | VT_VARIANT) && element.pvarVal) {
            RETURN_IF_FAILED(VariantText(*element.pvarVal, out[i]));
        } else {
            RETURN_IF_FAILED(VariantText(element, out[i]));
        }
    }
    return S_OK;
}

HRESULT StringList::Read(SAFEARRAY* array, ArrayElements allowed) {
    lower = 0;
    RETURN_IF_FAILED(ReadStringArray(array, texts, allowed));
    return ::SafeArrayGetLBound(array, 1, &lower);
}

HRESULT StringList::Read(const VARIANT& list) {
    const VARIANT* value = &list;
    if (value->vt == (VT_BYREF | VT_VARIANT)) value = value->pvarVal;
    texts.clear();
    lower = 0;
    RETURN_HR_IF_NULL(E_INVALIDARG, value);
    switch (value->vt) {
        case VT_ARRAY | VT_VARIANT:
        case VT_ARRAY | VT_BSTR:
            return Read(value->parray, ArrayElements::BstrOrVariant);
        case VT_BYREF | VT_ARRAY | VT_VARIANT:
        case VT_BYREF | VT_ARRAY | VT_BSTR:
            RETURN_HR_IF_NULL(E_INVALIDARG, value->pparray);
            return Read(*value->pparray, ArrayElements::BstrOrVariant);
        case VT_DISPATCH:
            return ReadScriptArray(value->pdispVal, texts);
        default:
            return E_INVALIDARG;
    }
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

HRESULT MakeVariantArray(size_t count, const std::function<HRESULT(size_t, VARIANT&)>& fill, VARIANT* out) {
    RETURN_HR_IF_NULL(E_INVALIDARG, out);
    ::VariantInit(out);
    RETURN_HR_IF(E_OUTOFMEMORY, count > ULONG(-1));
    UniqueSafeArray array(::SafeArrayCreateVector(VT_VARIANT, 0, ULONG(count)));
    RETURN_HR_IF_NULL(E_OUTOFMEMORY, array.get());
    {
        ArrayLock lock(array.get());
        RETURN_IF_FAILED(lock.hr());
        auto* elements = static_cast<VARIANT*>(array.get()->pvData);
        for (size_t i = 0; i < count; ++i) RETURN_IF_FAILED(fill(i, elements[i]));
    }
    out->vt = VT_ARRAY | VT_VARIANT;
    out->parray = array.release();
    return S_OK;
}

HRESULT MakeTextVariantArray(const std::vector<std::wstring>& texts, VARIANT* out) {
    return MakeVariantArray(
        texts.size(),
        [&](size_t i, VARIANT& element) -> HRESULT {
            element.bstrVal = AllocBstr(texts[i]);
            RETURN_HR_IF_NULL(E_OUTOFMEMORY, element.bstrVal);
            element.vt = VT_BSTR;
            return S_OK;
        },
        out);
}

}  // namespace com
