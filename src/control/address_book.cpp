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

// The elements of a one-dimensional array of BSTR with their lower bound.
// Indexes are compared and subtracted in 64 bits: the platform allows any
// bounds, and two arrays whose lower bounds lie far apart (INT_MIN and 5)
// would overflow 32-bit differences into an index inside the array.
struct StringArray {
    std::vector<std::wstring> texts;
    LONG lower = 0;

    HRESULT Read(SAFEARRAY* array) {
        RETURN_IF_FAILED(com::ReadStringArray(array, texts));
        return ::SafeArrayGetLBound(array, 1, &lower);
    }
    bool Holds(LONGLONG index) const noexcept { return index >= lower && index - lower < LONGLONG(texts.size()); }
    const std::wstring& operator[](LONGLONG index) const { return texts[size_t(index - lower)]; }
};

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
        StringArray names, numbers;
        RETURN_IF_FAILED(names.Read(psaNames));
        RETURN_IF_FAILED(numbers.Read(psaPhones));
        RETURN_HR_IF(E_INVALIDARG, numbers.texts.empty());
        // (A loop counter of 32 bits would never pass an upper bound of INT_MAX.)
        const LONGLONG first = numbers.lower;
        const LONGLONG last = first + LONGLONG(numbers.texts.size()) - 1;
        // Every number needs its name at the same index: a shorter names
        // array is the caller's error, refused before anything is added.
        RETURN_HR_IF(E_INVALIDARG, !names.Holds(first) || !names.Holds(last));

        CPhonebookManagerStandalone manager;
        manager.SetKind(m_book != 0 ? kOutlookBook : kWindowsBook);
        RETURN_IF_FAILED(manager.OpenSource());

        RecipientList records;
        HRESULT hr = manager.Source()->LoadAll(records);
        if (SUCCEEDED(hr)) {
            const std::wstring placeholder = CLocalizerHelperT<CAddressBook>().LoadText(IDS_NEW_RECIPIENT);
            for (LONGLONG i = first; i <= last; ++i) {
                hr = AddPair(manager.Source(), records, names[i], numbers[i], placeholder);
                if (FAILED(hr)) break;
            }
        }
        manager.CloseSource();
        return hr;
    });
}
