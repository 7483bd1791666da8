// MRUList methods.
#include "mru/mru_list.h"

#include "com/strings.h"
#include "mru/mru_text.h"
#include "sources/mru_store.h"

#include <functional>
#include <string_view>
#include <unordered_map>

namespace {

// Name and fax number of an entry, viewing the strings of a list element
// (list elements do not move).
using EntryKey = std::pair<std::wstring_view, std::wstring_view>;

struct EntryKeyHash {
    size_t operator()(const EntryKey& key) const noexcept {
        const std::hash<std::wstring_view> hash;
        return hash(key.first) * 31 + hash(key.second);
    }
};

using EntryIndex = std::unordered_map<EntryKey, MRUEntryList::iterator, EntryKeyHash>;

}  // namespace

STDMETHODIMP CMRUList::Initialize() noexcept { return m_initCount++ == 0 ? S_OK : S_FALSE; }

STDMETHODIMP CMRUList::Terminate() noexcept {
    if (m_initCount == 0) return E_FAIL;
    return --m_initCount == 0 ? S_OK : S_FALSE;
}

STDMETHODIMP CMRUList::UpdateMRU(BSTR bstrList) noexcept {
    return com::Boundary([&]() -> HRESULT {
        RETURN_HR_IF_NULL(E_INVALIDARG, bstrList);
        const RecipientLists sent = ::TextToLists(com::FromBstr(bstrList));
        MRUEntryList entries;
        LoadMRUStore(entries);
        // The first entry from the front for each name and number: one fax may
        // name many recipients, and a search of the list for each of them
        // would cost time quadratic in the text.
        EntryIndex first;
        for (auto it = entries.begin(); it != entries.end(); ++it)
            first.emplace(EntryKey{it->name, it->faxNumber}, it);
        for (size_t i = 0; i < sent.numbers.size(); ++i) {
            const auto found = first.find(EntryKey{sent.names[i], sent.numbers[i]});
            if (found != first.end()) {
                // Moved as it is: it keeps its identifier and favourite mark,
                // and stays the first of its kind.
                entries.splice(entries.begin(), entries, found->second);
            } else {
                MRUEntry entry;
                entry.identifier = sent.numbers[i] + L' ' + sent.names[i];
                entry.name = sent.names[i];
                entry.faxNumber = sent.numbers[i];
                entries.push_front(std::move(entry));
                first.emplace(EntryKey{entries.front().name, entries.front().faxNumber}, entries.begin());
            }
            ::GetSystemTime(&entries.front().date);
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
        *bstrList = com::AllocBstr(::ListsToText(names, numbers));
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
        *bstrList = com::AllocBstr(::ListsToText(names, numbers));
        return *bstrList ? S_OK : E_OUTOFMEMORY;
    });
}

STDMETHODIMP CMRUList::StringToLists(SAFEARRAY** ppsaNames, SAFEARRAY** ppsaPhones, BSTR bstrList) noexcept {
    return com::Boundary([&]() -> HRESULT {
        RETURN_HR_IF(E_INVALIDARG, !ppsaNames || !ppsaPhones || !bstrList);
        *ppsaNames = nullptr;
        *ppsaPhones = nullptr;
        const RecipientLists lists = ::TextToLists(com::FromBstr(bstrList));
        com::UniqueSafeArray names, numbers;
        RETURN_IF_FAILED(com::MakeStringArray(lists.names, names.put()));
        RETURN_IF_FAILED(com::MakeStringArray(lists.numbers, numbers.put()));
        *ppsaNames = names.release();
        *ppsaPhones = numbers.release();
        return S_OK;
    });
}

STDMETHODIMP CMRUList::ReadMRU(BSTR* pbstrList) noexcept {
    return GetMRU(pbstrList);
}

STDMETHODIMP CMRUList::ListsToText(VARIANT vNames, VARIANT vPhones, BSTR* pbstrList) noexcept {
    return com::Boundary([&]() -> HRESULT {
        RETURN_HR_IF_NULL(E_INVALIDARG, pbstrList);
        *pbstrList = nullptr;
        com::StringList names, numbers;
        RETURN_IF_FAILED(names.Read(vNames));
        RETURN_IF_FAILED(numbers.Read(vPhones));
        // A script's two lists pair element by element: lists that do not
        // cover the same indexes are the caller's mistake, not extras to drop.
        RETURN_HR_IF(E_INVALIDARG, names.First() != numbers.First() || names.Last() != numbers.Last());
        *pbstrList = com::AllocBstr(::ListsToText(names.texts, numbers.texts));
        return *pbstrList ? S_OK : E_OUTOFMEMORY;
    });
}

STDMETHODIMP CMRUList::TextToLists(BSTR bstrList, VARIANT* pvLists) noexcept {
    return com::Boundary([&]() -> HRESULT {
        // (A script's empty text may arrive as a null BSTR: it is the empty list.)
        RETURN_HR_IF_NULL(E_INVALIDARG, pvLists);
        ::VariantInit(pvLists);
        const RecipientLists lists = ::TextToLists(com::FromBstr(bstrList));
        // Element 0 the names, element 1 the numbers.
        return com::MakeVariantArray(
            2,
            [&](size_t i, VARIANT& element) {
                return com::MakeTextVariantArray(i == 0 ? lists.names : lists.numbers, &element);
            },
            pvLists);
    });
}
