// AddressBook methods.
#include "control/address_book.h"

#include "com/strings.h"
#include "core/phonebook_manager.h"
#include "core/unique_name.h"
#include "localization/localizer.h"
#include "localization/string_ids.h"

#include <string>
#include <vector>

namespace {

// Adds one pair unless the name is taken; a pair without a name gets the
// first free "New Recipient<n>".
HRESULT AddPair(IAB* source, RecipientList& records, const std::wstring& name, const std::wstring& number,
                const std::wstring& placeholder) {
    std::wstring candidate = name;
    if (name.empty()) {
        candidate = UniqueRecipientName(placeholder, records);
    } else if (HasRecordNamed(records, name)) {
        return S_FALSE;
    }
    if (!source) return E_UNEXPECTED;
    CRecipient record;
    record.name = candidate;
    record.faxNumber = number;
    const HRESULT hr = source->Add(record);
    // Later pairs of the same call must see this one.
    if (SUCCEEDED(hr)) records.push_back(record);
    return hr;
}

}  // namespace

STDMETHODIMP CAddressBook::SelectAddressBook(long lSelected) noexcept {
    m_book = lSelected;
    return S_OK;
}

STDMETHODIMP CAddressBook::AddNewContacts(SAFEARRAY* psaNames, SAFEARRAY* psaPhones) noexcept {
    return com::Boundary([&]() -> HRESULT {
        RETURN_HR_IF(E_INVALIDARG, !psaNames || !psaPhones);
        com::StringList names, numbers;
        RETURN_IF_FAILED(names.Read(psaNames));
        RETURN_IF_FAILED(numbers.Read(psaPhones));
        RETURN_HR_IF(E_INVALIDARG, numbers.texts.empty());
        // Every number needs its name at the same index: a shorter names
        // array is the caller's error, refused before anything is added.
        RETURN_HR_IF(E_INVALIDARG, !names.Holds(numbers.First()) || !names.Holds(numbers.Last()));
        std::vector<HRESULT> results;
        return AddPairs(names, numbers, results);
    });
}

STDMETHODIMP CAddressBook::AddContacts(VARIANT vNames, VARIANT vPhones, VARIANT* pvResults) noexcept {
    return com::Boundary([&]() -> HRESULT {
        RETURN_HR_IF_NULL(E_INVALIDARG, pvResults);
        ::VariantInit(pvResults);
        com::StringList names, numbers;
        RETURN_IF_FAILED(names.Read(vNames));
        RETURN_IF_FAILED(numbers.Read(vPhones));
        RETURN_HR_IF(E_INVALIDARG, numbers.texts.empty());
        RETURN_HR_IF(E_INVALIDARG, names.First() != numbers.First() || names.Last() != numbers.Last());
        std::vector<HRESULT> results;
        const HRESULT hr = AddPairs(names, numbers, results);
        // A book that cannot be opened or read fails the call; a pair's own
        // failure is its result, and the pairs after it (not tried) are empty.
        if (results.empty()) return FAILED(hr) ? hr : E_UNEXPECTED;
        return com::MakeVariantArray(
            numbers.texts.size(),
            [&](size_t i, VARIANT& element) -> HRESULT {
                if (i < results.size()) {
                    element.vt = VT_I4;
                    element.lVal = results[i];
                }
                return S_OK;
            },
            pvResults);
    });
}

HRESULT CAddressBook::AddPairs(const com::StringList& names, const com::StringList& numbers,
                               std::vector<HRESULT>& results) {
    results.clear();
    CPhonebookManagerStandalone manager;
    manager.SetKind(m_book != 0 ? kOutlookBook : kWindowsBook);
    RETURN_IF_FAILED(manager.OpenSource());

    RecipientList records;
    HRESULT hr = manager.Source()->LoadAll(records);
    if (SUCCEEDED(hr)) {
        const std::wstring placeholder = CLocalizerHelperT<CAddressBook>().LoadText(IDS_NEW_RECIPIENT);
        // (A loop counter of 32 bits would never pass an upper bound of INT_MAX.)
        for (LONGLONG i = numbers.First(); i <= numbers.Last(); ++i) {
            hr = AddPair(manager.Source(), records, names[i], numbers[i], placeholder);
            results.push_back(hr);
            if (FAILED(hr)) break;
        }
    }
    manager.CloseSource();
    return hr;
}
