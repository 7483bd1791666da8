// The contact manager over the Contacts folder.
#include "contact_manager.h"

#include "contact_store.h"

#include "com/unique_any.h"

namespace wabfake {
namespace {

constexpr wchar_t kMeKey[] = L"Software\\Microsoft\\WAB\\Me";
constexpr wchar_t kGuidField[] = L"/GUID:\"";
constexpr wchar_t kPathField[] = L"PATH:\"";

std::wstring Field(const std::wstring& text, const wchar_t* field) {
    const size_t start = text.find(field);
    if (start == std::wstring::npos) return {};
    const size_t begin = start + wcslen(field);
    const size_t end = text.find(L'"', begin);
    return end == std::wstring::npos ? std::wstring() : text.substr(begin, end - begin);
}

}  // namespace

bool SplitContactId(const std::wstring& text, std::wstring& id, std::wstring& path) {
    id = Field(text, kGuidField);
    path = Field(text, kPathField);
    return !id.empty();
}

bool LocateContact(const std::wstring& contactId, std::unique_ptr<ContactDocument>& document, std::wstring& path) {
    std::wstring id, named;
    if (!SplitContactId(contactId, id, named) && named.empty()) {
        const bool isPath = contactId.find(L'\\') != std::wstring::npos;
        (isPath ? named : id) = contactId;
    }
    if (!named.empty()) {
        // A contact saved without an identifier is known by its file alone.
        document = id.empty() ? ReadContactDocument(named) : ReadContactFile(named);
        if (document && (id.empty() || document->ContactId() == id)) {
            path = named;
            return true;
        }
    }
    document.reset();
    if (id.empty()) return false;
    // The file may have been renamed since the identifier was handed out.
    for (const std::wstring& file : ListContactFiles(ContactsFolder())) {
        document = ReadContactFile(file);
        if (document && document->ContactId() == id) {
            path = file;
            return true;
        }
    }
    document.reset();
    return false;
}

com::ComPtr<CContact> FindContact(const std::wstring& contactId) {
    std::unique_ptr<ContactDocument> document;
    std::wstring path;
    if (!LocateContact(contactId, document, path)) return nullptr;
    return com::Make<CContact>(std::move(document), path);
}

STDMETHODIMP CContactManager::Initialize(LPCWSTR appName, LPCWSTR appVersion) noexcept {
    if (!appName || !appVersion || !*appName || !*appVersion) return E_INVALIDARG;
    m_initialized = true;
    return S_OK;
}

STDMETHODIMP CContactManager::Load(LPCWSTR contactId, IContact** contact) noexcept {
    return com::Boundary([&]() -> HRESULT {
        RETURN_HR_IF_NULL(E_POINTER, contact);
        *contact = nullptr;
        if (!m_initialized) return E_UNEXPECTED;
        RETURN_HR_IF_NULL(E_INVALIDARG, contactId);
        com::ComPtr<CContact> found = FindContact(contactId);
        if (!found) return kContactPathNotFound;
        *contact = found.detach();
        return S_OK;
    });
}

STDMETHODIMP CContactManager::MergeContactIDs(LPCWSTR, LPCWSTR) noexcept { return E_NOTIMPL; }

STDMETHODIMP CContactManager::GetMeContact(IContact** contact) noexcept {
    return com::Boundary([&]() -> HRESULT {
        RETURN_HR_IF_NULL(E_POINTER, contact);
        *contact = nullptr;
        if (!m_initialized) return E_UNEXPECTED;
        wchar_t value[MAX_PATH * 2] = {};
        DWORD size = sizeof(value) - sizeof(wchar_t);
        if (::RegGetValueW(HKEY_CURRENT_USER, kMeKey, nullptr, RRF_RT_REG_SZ, nullptr, value, &size) != ERROR_SUCCESS)
            return kContactPathNotFound;
        com::ComPtr<CContact> found = FindContact(value);
        if (!found) return kContactPathNotFound;
        *contact = found.detach();
        return S_OK;
    });
}

STDMETHODIMP CContactManager::SetMeContact(IContact* contact) noexcept {
    return com::Boundary([&]() -> HRESULT {
        if (!m_initialized) return E_UNEXPECTED;
        RETURN_HR_IF_NULL(E_INVALIDARG, contact);
        wchar_t id[MAX_PATH * 2] = {};
        DWORD required = 0;
        RETURN_IF_FAILED(contact->GetContactID(id, MAX_PATH * 2, &required));
        com::UniqueHKey key;
        LSTATUS status = ::RegCreateKeyExW(HKEY_CURRENT_USER, kMeKey, 0, nullptr, 0, KEY_SET_VALUE, nullptr,
                                           key.put(), nullptr);
        if (status == ERROR_SUCCESS)
            status = ::RegSetValueExW(key.get(), nullptr, 0, REG_SZ, reinterpret_cast<const BYTE*>(id),
                                      DWORD((wcslen(id) + 1) * sizeof(wchar_t)));
        return HRESULT_FROM_WIN32(status);
    });
}

STDMETHODIMP CContactManager::GetContactCollection(IContactCollection** collection) noexcept {
    return com::Boundary([&]() -> HRESULT {
        RETURN_HR_IF_NULL(E_POINTER, collection);
        *collection = nullptr;
        if (!m_initialized) return E_UNEXPECTED;
        *collection = com::Make<CContactCollection>(ListContactFiles(ContactsFolder())).detach();
        return S_OK;
    });
}

STDMETHODIMP CContactCollection::Reset() noexcept {
    m_next = 0;
    m_current.reset();
    m_currentPath.clear();
    return S_OK;
}

STDMETHODIMP CContactCollection::Next() noexcept {
    return com::Boundary([&]() -> HRESULT {
        m_current.reset();
        m_currentPath.clear();
        // Moving on does not read the file: Windows Contacts reads a contact
        // when it is asked for it, so a file that another program removed,
        // holds without sharing or wrote badly since the collection was made
        // fails GetCurrent, not Next (the collection's own documentation:
        // Next answers S_OK or S_FALSE, GetCurrent an error). A contact that
        // another program saved without an identifier is still one of the
        // folder's contacts and is handed out like any other: nothing invents
        // an identifier for it, so reading its ContactID answers
        // ERROR_PATH_NOT_FOUND, or S_FALSE when the value was deleted, as
        // IContactProperties::GetString documents for a property without data.
        if (m_next >= m_files.size()) return S_FALSE;
        m_currentPath = m_files[m_next++];
        return S_OK;
    });
}

STDMETHODIMP CContactCollection::GetCurrent(IContact** contact) noexcept {
    return com::Boundary([&]() -> HRESULT {
        RETURN_HR_IF_NULL(E_POINTER, contact);
        *contact = nullptr;
        if (m_currentPath.empty()) return E_UNEXPECTED;
        if (!m_current) RETURN_IF_FAILED(LoadContactDocument(m_currentPath, m_current));
        auto copy = std::make_unique<ContactDocument>(m_current->Root().Clone());
        *contact = com::Make<CContact>(std::move(copy), m_currentPath).detach();
        return S_OK;
    });
}

}  // namespace wabfake
