// MRUList: the automation object that records the recipients of a sent fax
// in the MRU store and converts recipient lists to and from one line of text.
#pragma once

#include "com/dispatch.h"
#include "com/implements.h"
#include "module/VelPhonebook_h.h"

#include <cstddef>

// The store keeps the most recent recipients only.
inline constexpr size_t kMaxMRUEntries = 30;

namespace com {
template <>
struct InterfaceBases<IMRUList2> {
    using type = std::tuple<IMRUList>;
};
}  // namespace com

// IDispatch serves IMRUList2, which holds every member of IMRUList with its
// dispatch identifier: scripts see both by name.
class CMRUList : public com::Implements<CMRUList, com::Dispatch<IMRUList2>> {
public:
    STDMETHODIMP Initialize() noexcept override;
    STDMETHODIMP Terminate() noexcept override;
    STDMETHODIMP UpdateMRU(BSTR bstrList) noexcept override;
    STDMETHODIMP GetMRU(BSTR* bstrList) noexcept override;
    STDMETHODIMP ListsToString(BSTR* bstrList, SAFEARRAY* psaNames, SAFEARRAY* psaPhones) noexcept override;
    STDMETHODIMP StringToLists(SAFEARRAY** ppsaNames, SAFEARRAY** ppsaPhones, BSTR bstrList) noexcept override;
    // IMRUList2
    STDMETHODIMP ReadMRU(BSTR* pbstrList) noexcept override;
    STDMETHODIMP ListsToText(VARIANT vNames, VARIANT vPhones, BSTR* pbstrList) noexcept override;
    STDMETHODIMP TextToLists(BSTR bstrList, VARIANT* pvLists) noexcept override;

private:
    unsigned m_initCount = 0;
};
