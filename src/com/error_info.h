// Rich error information: ISupportErrorInfo for a list of interfaces, and
// the helper that sets the thread's error object before a failure is
// returned, so that script hosts and VB-style callers show a description.
#pragma once

#include "com/implements.h"

#include <oleauto.h>

namespace com {

// Sets the thread's error object (source ProgID or class, interface,
// description) and returns hr, for `return ReportError(...)`.
inline HRESULT ReportError(HRESULT hr, REFCLSID source, REFIID iid, const wchar_t* description) noexcept {
    ComPtr<ICreateErrorInfo> create;
    if (SUCCEEDED(::CreateErrorInfo(create.put()))) {
        wchar_t* progId = nullptr;
        if (SUCCEEDED(::ProgIDFromCLSID(source, &progId))) {
            create->SetSource(progId);
            ::CoTaskMemFree(progId);
        }
        create->SetGUID(iid);
        create->SetDescription(const_cast<wchar_t*>(description));
        if (const auto info = create.query<IErrorInfo>()) ::SetErrorInfo(0, info.get());
    }
    return hr;
}

// Answers S_OK for the listed interfaces, whose failures carry error objects.
template <class... Interfaces>
class SupportErrorInfo : public ISupportErrorInfo {
public:
    using Interface = ISupportErrorInfo;
    STDMETHODIMP InterfaceSupportsErrorInfo(REFIID iid) noexcept override {
        return ((iid == __uuidof(Interfaces)) || ...) ? S_OK : S_FALSE;
    }
};

}  // namespace com
