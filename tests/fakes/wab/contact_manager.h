// CContactManager (CLSID_ContactManager) and the contact collection it hands
// out: the contacts of the user's Contacts folder, one file each.
#pragma once

#include "contact.h"

#include "com/implements.h"
#include "sources/contacts_api.h"

#include <memory>
#include <string>
#include <vector>

namespace wabfake {

class CContactManager : public com::Implements<CContactManager, IContactManager> {
public:
    STDMETHODIMP Initialize(LPCWSTR appName, LPCWSTR appVersion) noexcept override;
    STDMETHODIMP Load(LPCWSTR contactId, IContact** contact) noexcept override;
    STDMETHODIMP MergeContactIDs(LPCWSTR newContactId, LPCWSTR oldContactId) noexcept override;
    STDMETHODIMP GetMeContact(IContact** contact) noexcept override;
    STDMETHODIMP SetMeContact(IContact* contact) noexcept override;
    STDMETHODIMP GetContactCollection(IContactCollection** collection) noexcept override;

private:
    bool m_initialized = false;
};

class CContactCollection : public com::Implements<CContactCollection, IContactCollection> {
public:
    explicit CContactCollection(std::vector<std::wstring> files) : m_files(std::move(files)) {}

    STDMETHODIMP Reset() noexcept override;
    STDMETHODIMP Next() noexcept override;
    STDMETHODIMP GetCurrent(IContact** contact) noexcept override;

private:
    std::vector<std::wstring> m_files;
    size_t m_next = 0;  // the file Next looks at first
    std::unique_ptr<ContactDocument> m_current;
    std::wstring m_currentPath;
};

// The file and contents of a contact found by what GetContactID gives
// (/GUID:"id" PATH:"path"), by a bare identifier or by a file path.
bool LocateContact(const std::wstring& contactId, std::unique_ptr<ContactDocument>& document, std::wstring& path);

// A contact found by what GetContactID gives (/GUID:"id" PATH:"path"), by a
// bare identifier or by a file path; null when no file holds it.
com::ComPtr<CContact> FindContact(const std::wstring& contactId);

// The identifier and path inside a GetContactID text; false when it has none.
bool SplitContactId(const std::wstring& text, std::wstring& id, std::wstring& path);

}  // namespace wabfake
