// CContact and its property collection.
#include "contact.h"

#include "contact_store.h"

namespace wabfake {

HRESULT CopyToBuffer(const std::wstring& text, LPWSTR buffer, DWORD capacity, DWORD* required) noexcept {
    const DWORD needed = DWORD(text.size() + 1);
    if (required) *required = needed;
    if (!buffer && capacity) return E_INVALIDARG;
    if (capacity < needed) return kContactBufferTooSmall;
    text.copy(buffer, text.size());
    buffer[text.size()] = L'\0';
    return S_OK;
}

HRESULT CContact::Document(DWORD flags, const void* name, ContactDocument*& document) noexcept {
    document = m_document.get();
    if (flags != CGD_DEFAULT || !name) return E_INVALIDARG;
    return document ? S_OK : E_UNEXPECTED;
}

STDMETHODIMP CContact::GetContactID(LPWSTR id, DWORD capacity, DWORD* required) noexcept {
    return com::Boundary([&]() -> HRESULT {
        if (!m_document) return E_UNEXPECTED;
        // The form IContactManager::Load takes back: the identifier and, once
        // the contact has a file, its path.
        return CopyToBuffer(ContactIdText(m_document->ContactId(), m_path), id, capacity, required);
    });
}

STDMETHODIMP CContact::GetPath(LPWSTR path, DWORD capacity, DWORD* required) noexcept {
    return com::Boundary([&]() -> HRESULT {
        if (m_path.empty()) return kContactPathNotFound;
        return CopyToBuffer(m_path, path, capacity, required);
    });
}

STDMETHODIMP CContact::CommitChanges(DWORD flags) noexcept {
    return com::Boundary([&]() -> HRESULT {
        if (flags != CGD_DEFAULT) return E_INVALIDARG;
        if (!m_document) return E_UNEXPECTED;
        if (m_path.empty()) {
            // A contact that never had a file gets one in the Contacts folder.
            std::wstring name;
            m_document->GetString(kFormattedNameProperty, name);
            m_path = NewContactFilePath(ContactsFolder(), name, m_document->ContactId());
            if (m_path.empty()) return kContactPathNotFound;
        }
        RETURN_IF_FAILED(WriteXmlFile(m_document->Root(), m_path));
        m_dirty = false;
        return S_OK;
    });
}

STDMETHODIMP CContact::GetString(LPCWSTR name, DWORD flags, LPWSTR value, DWORD capacity, DWORD* required) noexcept {
    return com::Boundary([&]() -> HRESULT {
        ContactDocument* document = nullptr;
        RETURN_IF_FAILED(Document(flags, name, document));
        std::wstring text;
        const HRESULT hr = document->GetString(name, text);
        if (hr == S_FALSE && value && capacity) value[0] = L'\0';
        if (hr != S_OK) return hr;
        return CopyToBuffer(text, value, capacity, required);
    });
}

STDMETHODIMP CContact::GetDate(LPCWSTR name, DWORD flags, FILETIME* value) noexcept {
    return com::Boundary([&]() -> HRESULT {
        ContactDocument* document = nullptr;
        RETURN_IF_FAILED(Document(flags, name, document));
        RETURN_HR_IF_NULL(E_INVALIDARG, value);
        return document->GetDate(name, *value);
    });
}

STDMETHODIMP CContact::GetBinary(LPCWSTR, DWORD, LPWSTR, DWORD, DWORD*, IStream** stream) noexcept {
    if (stream) *stream = nullptr;
    return E_NOTIMPL;
}

STDMETHODIMP CContact::GetLabels(LPCWSTR element, DWORD flags, LPWSTR labels, DWORD capacity,
                                 DWORD* required) noexcept {
    return com::Boundary([&]() -> HRESULT {
        ContactDocument* document = nullptr;
        RETURN_IF_FAILED(Document(flags, element, document));
        std::vector<std::wstring> list;
        RETURN_IF_FAILED(document->GetLabels(element, list));
        // "str1\0str2\0\0": each label terminated, then an empty one.
        std::wstring joined;
        for (const std::wstring& label : list) joined.append(label).push_back(L'\0');
        if (list.empty()) joined.push_back(L'\0');
        return CopyToBuffer(joined, labels, capacity, required);
    });
}

STDMETHODIMP CContact::SetString(LPCWSTR name, DWORD flags, LPCWSTR value) noexcept {
    return com::Boundary([&]() -> HRESULT {
        ContactDocument* document = nullptr;
        RETURN_IF_FAILED(Document(flags, name, document));
        RETURN_HR_IF_NULL(E_INVALIDARG, value);
        RETURN_IF_FAILED(document->SetString(name, value));
        m_dirty = true;
        return S_OK;
    });
}

STDMETHODIMP CContact::SetDate(LPCWSTR name, DWORD flags, FILETIME value) noexcept {
    return com::Boundary([&]() -> HRESULT {
        ContactDocument* document = nullptr;
        RETURN_IF_FAILED(Document(flags, name, document));
        RETURN_IF_FAILED(document->SetDate(name, value));
        m_dirty = true;
        return S_OK;
    });
}

STDMETHODIMP CContact::SetBinary(LPCWSTR, DWORD, LPCWSTR, IStream*) noexcept { return E_NOTIMPL; }

STDMETHODIMP CContact::SetLabels(LPCWSTR element, DWORD flags, DWORD count, LPCWSTR labels[]) noexcept {
    return com::Boundary([&]() -> HRESULT {
        ContactDocument* document = nullptr;
        RETURN_IF_FAILED(Document(flags, element, document));
        if (count && !labels) return E_INVALIDARG;
        std::vector<std::wstring> list;
        for (DWORD i = 0; i < count; ++i) {
            RETURN_HR_IF_NULL(E_INVALIDARG, labels[i]);
            list.emplace_back(labels[i]);
        }
        RETURN_IF_FAILED(document->SetLabels(element, list));
        m_dirty = true;
        return S_OK;
    });
}

STDMETHODIMP CContact::CreateArrayNode(LPCWSTR collection, DWORD flags, BOOL append, LPWSTR newElement,
                                       DWORD capacity, DWORD* required) noexcept {
    return com::Boundary([&]() -> HRESULT {
        ContactDocument* document = nullptr;
        RETURN_IF_FAILED(Document(flags, collection, document));
        if (!newElement && capacity) return E_INVALIDARG;
        std::wstring name;
        RETURN_IF_FAILED(document->CreateArrayNode(collection, append != FALSE, name));
        m_dirty = true;
        if (!newElement) {
            if (required) *required = DWORD(name.size() + 1);
            return S_OK;
        }
        return CopyToBuffer(name, newElement, capacity, required);
    });
}

STDMETHODIMP CContact::DeleteProperty(LPCWSTR name, DWORD flags) noexcept {
    return com::Boundary([&]() -> HRESULT {
        ContactDocument* document = nullptr;
        RETURN_IF_FAILED(Document(flags, name, document));
        RETURN_IF_FAILED(document->DeleteProperty(name));
        m_dirty = true;
        return S_OK;
    });
}

STDMETHODIMP CContact::DeleteArrayNode(LPCWSTR element, DWORD flags) noexcept {
    return com::Boundary([&]() -> HRESULT {
        ContactDocument* document = nullptr;
        RETURN_IF_FAILED(Document(flags, element, document));
        RETURN_IF_FAILED(document->DeleteArrayNode(element));
        m_dirty = true;
        return S_OK;
    });
}

STDMETHODIMP CContact::DeleteLabels(LPCWSTR element, DWORD flags) noexcept {
    return com::Boundary([&]() -> HRESULT {
        ContactDocument* document = nullptr;
        RETURN_IF_FAILED(Document(flags, element, document));
        RETURN_IF_FAILED(document->DeleteLabels(element));
        m_dirty = true;
        return S_OK;
    });
}

STDMETHODIMP CContact::GetPropertyCollection(IContactPropertyCollection** collection, DWORD flags,
                                             LPCWSTR multiValueName, DWORD labelCount, LPCWSTR labels[],
                                             BOOL anyLabelMatches) noexcept {
    return com::Boundary([&]() -> HRESULT {
        RETURN_HR_IF_NULL(E_INVALIDARG, collection);
        *collection = nullptr;
        if (flags != CGD_DEFAULT || (labelCount && !labels)) return E_INVALIDARG;
        if (!m_document) return E_UNEXPECTED;
        std::vector<std::wstring> filter;
        for (DWORD i = 0; i < labelCount; ++i) {
            RETURN_HR_IF_NULL(E_INVALIDARG, labels[i]);
            filter.emplace_back(labels[i]);
        }
        auto entries = m_document->Collect(multiValueName, filter, anyLabelMatches != FALSE);
        *collection = com::Make<CContactPropertyCollection>(std::move(entries)).detach();
        return S_OK;
    });
}

STDMETHODIMP CContact::GetClassID(CLSID* clsid) noexcept {
    if (!clsid) return E_POINTER;
    *clsid = CLSID_Contact;
    return S_OK;
}

STDMETHODIMP CContact::IsDirty() noexcept { return m_dirty ? S_OK : S_FALSE; }

STDMETHODIMP CContact::Load(IStream* stream) noexcept {
    return com::Boundary([&]() -> HRESULT {
        RETURN_HR_IF_NULL(E_POINTER, stream);
        auto root = ParseXmlStream(stream);
        if (!root) return HRESULT_FROM_WIN32(ERROR_INVALID_DATA);
        m_document = std::make_unique<ContactDocument>(std::move(root));
        m_dirty = false;
        return S_OK;
    });
}

STDMETHODIMP CContact::Save(IStream* stream, BOOL clearDirty) noexcept {
    return com::Boundary([&]() -> HRESULT {
        RETURN_HR_IF_NULL(E_POINTER, stream);
        if (!m_document) return E_UNEXPECTED;
        RETURN_IF_FAILED(WriteXmlStream(m_document->Root(), stream));
        if (clearDirty) m_dirty = false;
        return S_OK;
    });
}

STDMETHODIMP CContact::GetSizeMax(ULARGE_INTEGER*) noexcept { return E_NOTIMPL; }

STDMETHODIMP CContact::InitNew() noexcept {
    return com::Boundary([&]() -> HRESULT {
        m_document = std::make_unique<ContactDocument>();
        m_path.clear();
        m_dirty = true;
        return S_OK;
    });
}

const PropertyEntry* CContactPropertyCollection::Current() const noexcept {
    return m_position < m_entries.size() ? &m_entries[m_position] : nullptr;
}

STDMETHODIMP CContactPropertyCollection::Reset() noexcept {
    m_position = SIZE_MAX;
    return S_OK;
}

STDMETHODIMP CContactPropertyCollection::Next() noexcept {
    if (m_position == SIZE_MAX) m_position = 0;
    else if (m_position < m_entries.size()) ++m_position;
    return m_position < m_entries.size() ? S_OK : S_FALSE;
}

STDMETHODIMP CContactPropertyCollection::GetPropertyName(LPWSTR name, DWORD capacity, DWORD* required) noexcept {
    const PropertyEntry* entry = Current();
    return entry ? CopyToBuffer(entry->name, name, capacity, required) : E_UNEXPECTED;
}

STDMETHODIMP CContactPropertyCollection::GetPropertyType(DWORD* type) noexcept {
    if (!type) return E_INVALIDARG;
    const PropertyEntry* entry = Current();
    if (!entry) return E_UNEXPECTED;
    *type = entry->type;
    return S_OK;
}

STDMETHODIMP CContactPropertyCollection::GetPropertyVersion(DWORD* version) noexcept {
    if (!version) return E_INVALIDARG;
    const PropertyEntry* entry = Current();
    if (!entry) return E_UNEXPECTED;
    *version = entry->version;
    return S_OK;
}

STDMETHODIMP CContactPropertyCollection::GetPropertyModificationDate(FILETIME* modified) noexcept {
    if (!modified) return E_INVALIDARG;
    const PropertyEntry* entry = Current();
    if (!entry) return E_UNEXPECTED;
    *modified = entry->modified;
    return S_OK;
}

STDMETHODIMP CContactPropertyCollection::GetPropertyArrayElementID(LPWSTR id, DWORD capacity,
                                                                   DWORD* required) noexcept {
    const PropertyEntry* entry = Current();
    if (!entry) return E_UNEXPECTED;
    if (entry->elementId.empty()) return S_FALSE;
    return CopyToBuffer(entry->elementId, id, capacity, required);
}

}  // namespace wabfake
