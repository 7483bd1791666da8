// CContact (CLSID_Contact): one contact with its properties, persisted as a
// Windows Contacts XML document in a stream or in its own file.
#pragma once

#include "contact_data.h"

#include "com/implements.h"
#include "sources/contacts_api.h"

#include <ocidl.h>

#include <memory>
#include <string>
#include <vector>

namespace com {
template <>
struct InterfaceBases<IPersistStreamInit> {
    using type = std::tuple<IPersist>;
};
}  // namespace com

namespace wabfake {

class CContact : public com::Implements<CContact, IContact, IContactProperties, IPersistStreamInit> {
public:
    CContact() = default;
    // A contact read from its file; the file is where CommitChanges writes.
    CContact(std::unique_ptr<ContactDocument> document, std::wstring path)
        : m_document(std::move(document)), m_path(std::move(path)) {}

    // IContact
    STDMETHODIMP GetContactID(LPWSTR id, DWORD capacity, DWORD* required) noexcept override;
    STDMETHODIMP GetPath(LPWSTR path, DWORD capacity, DWORD* required) noexcept override;
    STDMETHODIMP CommitChanges(DWORD flags) noexcept override;

    // IContactProperties
    STDMETHODIMP GetString(LPCWSTR name, DWORD flags, LPWSTR value, DWORD capacity, DWORD* required) noexcept override;
    STDMETHODIMP GetDate(LPCWSTR name, DWORD flags, FILETIME* value) noexcept override;
    STDMETHODIMP GetBinary(LPCWSTR name, DWORD flags, LPWSTR contentType, DWORD capacity, DWORD* required,
                           IStream** stream) noexcept override;
    STDMETHODIMP GetLabels(LPCWSTR element, DWORD flags, LPWSTR labels, DWORD capacity, DWORD* required) noexcept override;
    STDMETHODIMP SetString(LPCWSTR name, DWORD flags, LPCWSTR value) noexcept override;
    STDMETHODIMP SetDate(LPCWSTR name, DWORD flags, FILETIME value) noexcept override;
    STDMETHODIMP SetBinary(LPCWSTR name, DWORD flags, LPCWSTR contentType, IStream* stream) noexcept override;
    STDMETHODIMP SetLabels(LPCWSTR element, DWORD flags, DWORD count, LPCWSTR labels[]) noexcept override;
    STDMETHODIMP CreateArrayNode(LPCWSTR collection, DWORD flags, BOOL append, LPWSTR newElement, DWORD capacity,
                                 DWORD* required) noexcept override;
    STDMETHODIMP DeleteProperty(LPCWSTR name, DWORD flags) noexcept override;
    STDMETHODIMP DeleteArrayNode(LPCWSTR element, DWORD flags) noexcept override;
    STDMETHODIMP DeleteLabels(LPCWSTR element, DWORD flags) noexcept override;
    STDMETHODIMP GetPropertyCollection(IContactPropertyCollection** collection, DWORD flags, LPCWSTR multiValueName,
                                       DWORD labelCount, LPCWSTR labels[], BOOL anyLabelMatches) noexcept override;

    // IPersistStreamInit
    STDMETHODIMP GetClassID(CLSID* clsid) noexcept override;
    STDMETHODIMP IsDirty() noexcept override;
    STDMETHODIMP Load(IStream* stream) noexcept override;
    STDMETHODIMP Save(IStream* stream, BOOL clearDirty) noexcept override;
    STDMETHODIMP GetSizeMax(ULARGE_INTEGER* size) noexcept override;
    STDMETHODIMP InitNew() noexcept override;

private:
    // The document that property calls work on; E_UNEXPECTED before InitNew or Load.
    HRESULT Document(DWORD flags, const void* name, ContactDocument*& document) noexcept;

    std::unique_ptr<ContactDocument> m_document;
    std::wstring m_path;
    bool m_dirty = false;
};

class CContactPropertyCollection
    : public com::Implements<CContactPropertyCollection, IContactPropertyCollection> {
public:
    explicit CContactPropertyCollection(std::vector<PropertyEntry> entries) : m_entries(std::move(entries)) {}

    STDMETHODIMP Reset() noexcept override;
    STDMETHODIMP Next() noexcept override;
    STDMETHODIMP GetPropertyName(LPWSTR name, DWORD capacity, DWORD* required) noexcept override;
    STDMETHODIMP GetPropertyType(DWORD* type) noexcept override;
    STDMETHODIMP GetPropertyVersion(DWORD* version) noexcept override;
    STDMETHODIMP GetPropertyModificationDate(FILETIME* modified) noexcept override;
    STDMETHODIMP GetPropertyArrayElementID(LPWSTR id, DWORD capacity, DWORD* required) noexcept override;

private:
    const PropertyEntry* Current() const noexcept;

    std::vector<PropertyEntry> m_entries;
    // Before the first entry until the first Next.
    size_t m_position = SIZE_MAX;
};

// Copies a text into a caller's buffer as the platform does: the required
// size (terminator included) goes to `required`, and a buffer that is too
// small gets ERROR_INSUFFICIENT_BUFFER.
HRESULT CopyToBuffer(const std::wstring& text, LPWSTR buffer, DWORD capacity, DWORD* required) noexcept;

}  // namespace wabfake
