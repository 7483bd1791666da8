// MRUList methods.
#include "mru/mru_list.h"

#include "com/strings.h"
#include "mru/mru_text.h"
#include "sources/mru_store.h"

#include <algorithm>

STDMETHODIMP CMRUList::Initialize() noexcept { return m_initCount++ == 0 ? S_OK : S_FALSE; }

STDMETHODIMP CMRUList::Terminate() noexcept {
    if (m_initCount == 0) return E_FAIL;
    return --m_initCount == 0 ? S_OK : S_FALSE;
}

STDMETHODIMP CMRUList::UpdateMRU(BSTR bstrList) noexcept {
    return com::Boundary([&]() -> HRESULT {
        RETURN_HR_IF_NULL(E_INVALIDARG, bstrList);
        const RecipientLists sent = TextToLists(com::FromBstr(bstrList));
        MRUEntryList entries;
        LoadMRUStore(entries);
        for (size_t i = 0; i < sent.numbers.size(); ++i) {
            const auto found = std::find_if(entries.begin(), entries.end(), [&](const MRUEntry& e) {
                return e.name == sent.names[i] && e.faxNumber == sent.numbers[i];
            });
            MRUEntry entry;
            if (found != entries.end()) {
                entry = std::move(*found);  // keeps its identifier and favourite mark
                entries.erase(found);
            } else {
                entry.identifier = sent.numbers[i] + L' ' + sent.names[i];
                entry.name = sent.names[i];
                entry.faxNumber = sent.numbers[i];
            }
            ::GetSystemTime(&entry.date);
            entries.push_front(std::move(entry));
        }
        while (entries.size() > kMaxMRUEntries) entries.pop_back();
        SaveMRUStore(entries);
        return S_OK;
    });
}

STDMETHODIMP CMRUList::GetMRU(BSTR* bstrList) noexcept {
    return com::Boundary([&]() -> HRESULT {
        RETURN_HR_IF_NULL(E_INVALIDARG, bstrList);
        *bstrList = nullptr;
        MRUEntryList entries;
        LoadMRUStore(entries);
        std::vector<std::wstring> names, numbers;
        for (const MRUEntry& entry : entries) {
            if (names.size() == kMaxMRUEntries) break;
            names.push_back(entry.name);
            numbers.push_back(entry.faxNumber);
        }
        *bstrList = com::AllocBstr(ListsToText(names, numbers));
        return *bstrList ? S_OK : E_FAIL;
    });
}

STDMETHODIMP CMRUList::ListsToString(BSTR* bstrList, SAFEARRAY* psaNames, SAFEARRAY* psaPhones) noexcept {
    return com::Boundary([&]() -> HRESULT {
        RETURN_HR_IF(E_INVALIDARG, !bstrList || !psaNames || !psaPhones);
        *bstrList = nullptr;
        std::vector<std::wstring> names, numbers;
        RETURN_IF_FAILED(com::ReadStringArray(psaNames, names));
        RETURN_IF_FAILED(com::ReadStringArray(psaPhones, numbers));
        *bstrList = com::AllocBstr(ListsToText(names, numbers));
        return *bstrList ? S_OK : E_OUTOFMEMORY;
    });
}

STDMETHODIMP CMRUList::StringToLists(SAFEARRAY** ppsaNames, SAFEARRAY** ppsaPhones, BSTR bstrList) noexcept {
    return com::Boundary([&]() -> HRESULT {
        RETURN_HR_IF(E_INVALIDARG, !ppsaNames || !ppsaPhones || !bstrList);
        *ppsaNames = nullptr;
        *ppsaPhones = nullptr;
        const RecipientLists lists = TextToLists(com::FromBstr(bstrList));
        com::UniqueSafeArray names, numbers;
        RETURN_IF_FAILED(com::MakeStringArray(lists.names, names.put()));
        RETURN_IF_FAILED(com::MakeStringArray(lists.numbers, numbers.put()));
        *ppsaNames = names.release();
        *ppsaPhones = numbers.release();
        return S_OK;
    });
}
