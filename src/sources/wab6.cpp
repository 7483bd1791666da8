// The Windows Contacts source over IContactManager and .contact files.
#include "sources/wab6.h"

#include "com/hresult.h"

#include <shlwapi.h>

#include <algorithm>
#include <cwctype>
#include <vector>

namespace {

using CreateStreamOnFileFn = HRESULT(WINAPI*)(LPCWSTR, DWORD, DWORD, BOOL, IStream*, IStream**);

// Reads a text property, first into the given number of characters; a
// longer value is read again at the size the platform asks for, so that a
// long name does not cost the contact its number.
HRESULT ReadString(IContactProperties* properties, const wchar_t* name, DWORD capacity, std::wstring& value) {
    std::vector<wchar_t> buffer(capacity);
    DWORD required = 0;
    HRESULT hr = properties->GetString(name, CGD_DEFAULT, buffer.data(), capacity, &required);
    if (hr == kContactBufferTooSmall && required > capacity) {
        buffer.assign(required, L'\0');
        hr = properties->GetString(name, CGD_DEFAULT, buffer.data(), required, &required);
    }
    if (FAILED(hr)) return hr;
    value.assign(buffer.data(), wcsnlen(buffer.data(), buffer.size()));
    return hr;
}

HRESULT ReadPropertyName(IContactPropertyCollection* collection, std::wstring& name) {
    std::vector<wchar_t> buffer(kContactTextChars);
    DWORD required = 0;
    HRESULT hr = collection->GetPropertyName(buffer.data(), kContactTextChars, &required);
    if (hr == kContactBufferTooSmall && required > kContactTextChars) {
        buffer.assign(required, L'\0');
        hr = collection->GetPropertyName(buffer.data(), required, &required);
    }
    if (FAILED(hr)) return hr;
    name.assign(buffer.data(), wcsnlen(buffer.data(), buffer.size()));
    return hr;
}

// The phone elements labelled "Fax", and no others.
HRESULT FaxElements(IContactProperties* properties, com::ComPtr<IContactPropertyCollection>& collection) {
    LPCWSTR labels[] = {kFaxLabel};
    return properties->GetPropertyCollection(collection.put(), CGD_DEFAULT, kPhoneNumberCollection, 1, labels,
                                              FALSE);
}

bool FolderExists(const std::wstring& folder) {
    const DWORD attributes = ::GetFileAttributesW(folder.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

std::wstring WithBackslash(std::wstring folder) {
    if (folder.empty() || folder.back() != L'\\') folder += L'\\';
    return folder;
}

// Device names that Windows resolves in any folder and with any extension
// ("con.contact" is the console): such a file can never be made.
bool IsReservedDeviceName(const std::wstring& name) {
    std::wstring stem = name.substr(0, name.find(L'.'));
    while (!stem.empty() && stem.back() == L' ') stem.pop_back();
    std::transform(stem.begin(), stem.end(), stem.begin(), [](wchar_t c) { return wchar_t(std::towupper(c)); });
    static const wchar_t* const kDevices[] = {L"CON", L"PRN", L"AUX", L"NUL", L"CONIN$", L"CONOUT$"};
    for (const wchar_t* device : kDevices)
        if (stem == device) return true;
    if (stem.size() == 4 && (stem.compare(0, 3, L"COM") == 0 || stem.compare(0, 3, L"LPT") == 0)) {
        const wchar_t digit = stem[3];
        return (digit >= L'0' && digit <= L'9') || digit == L'\u00B9' || digit == L'\u00B2' || digit == L'\u00B3';
    }
    return false;
}

std::wstring FormatPath(const std::wstring& folder, const std::wstring& name, int number) {
    std::vector<wchar_t> buffer(folder.size() + name.size() + kContactFileCounterChars + 32);
    if (number == 0) _snwprintf(buffer.data(), buffer.size() - 1, kContactFileFormat, folder.c_str(), name.c_str());
    else _snwprintf(buffer.data(), buffer.size() - 1, kNumberedContactFileFormat, folder.c_str(), name.c_str(), number);
    return buffer.data();
}

// The path really names a file directly in the folder.
bool InsideFolder(const std::wstring& folder, const std::wstring& path) {
    wchar_t full[MAX_PATH];
    wchar_t* filePart = nullptr;
    const DWORD length = ::GetFullPathNameW(path.c_str(), MAX_PATH, full, &filePart);
    if (length == 0 || length >= MAX_PATH || !filePart) return false;
    return std::wstring(full, filePart) == folder && *filePart != L'\0';
}

}  // namespace

HRESULT MakeContactFileName(const std::wstring& folderPath, const std::wstring& wanted, bool numbered,
                            std::wstring& path, bool claim) {
    if (!FolderExists(folderPath)) return E_FAIL;
    const std::wstring folder = WithBackslash(folderPath);
    const size_t overhead = std::size(kNumberedContactFileFormat) - 1 + folder.size() + kContactFileCounterChars;
    if (overhead > kMaxContactFileOverhead) return E_FAIL;
    std::wstring name = wanted.substr(0, kContactFileNameLimit - overhead);
    // A cut between the two halves of a surrogate pair would leave half a
    // character, which no file system name may hold.
    if (name.size() < wanted.size() && !name.empty() && IS_HIGH_SURROGATE(name.back())) name.pop_back();
    for (wchar_t& c : name)
        if (std::wcschr(kFileNameReplaced, c) && c != L'\0') c = kFileNameReplacement;
    if (name.find_first_not_of(L". ") == std::wstring::npos || IsReservedDeviceName(name)) return E_FAIL;

    // The file is created exclusively: it proves that the name can be a
    // file here (characters the file system refuses), and a name another
    // process takes meanwhile makes this one try the next number instead of
    // writing over that process's contact.
    constexpr int kMaxNumber = 100000;
    for (int number = 0; number <= (numbered ? kMaxNumber : 0); ++number) {
        std::wstring candidate = FormatPath(folder, name, number);
        if (!InsideFolder(folder, candidate)) return E_FAIL;
        com::UniqueFile file(::CreateFileW(candidate.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                           FILE_ATTRIBUTE_NORMAL, nullptr));
        if (!file) {
            const DWORD error = ::GetLastError();
            if (error == ERROR_FILE_EXISTS || error == ERROR_ALREADY_EXISTS ||
                (error == ERROR_ACCESS_DENIED && ::PathFileExistsW(candidate.c_str())))
                continue;  // taken, by a file or a folder
            return E_FAIL;
        }
        file.reset();
        if (!claim) ::DeleteFileW(candidate.c_str());
        path = std::move(candidate);
        return S_OK;
    }
    return E_FAIL;
}

CWAB6::CWAB6() {
    m_shell.reset(::LoadLibraryW(kKnownFolderLibrary));
    if (m_shell)
        m_getKnownFolderPath = reinterpret_cast<GetKnownFolderPathFn>(
            reinterpret_cast<void*>(::GetProcAddress(m_shell.get(), kKnownFolderFunction)));
    m_folder = KnownContactsFolder(m_getKnownFolderPath);
    if (!m_folder.empty()) StartWatcher(m_folder);
}

CWAB6::~CWAB6() {
    m_manager.reset();
    m_getKnownFolderPath = nullptr;
    m_shell.reset();
}

HRESULT CWAB6::Connect() {
    HRESULT hr = ::CoCreateInstance(CLSID_ContactManager, nullptr, CLSCTX_ALL, IID_IContactManager,
                                    m_manager.put_void());
    if (SUCCEEDED(hr) && !m_manager) hr = E_NOINTERFACE;
    if (SUCCEEDED(hr)) hr = m_manager->Initialize(kContactsAppName, kContactsAppVersion);
    if (FAILED(hr)) {
        Disconnect();
        return hr;
    }
    return S_OK;
}

void CWAB6::Disconnect() { m_manager.reset(); }

HRESULT CWAB6::ReadContact(IUnknown* contact, CRecipient& recipient) {
    if (!contact) return E_INVALIDARG;
    com::ComPtr<IContactProperties> properties;
    if (FAILED(contact->QueryInterface(IID_IContactProperties, properties.put_void())) || !properties)
        return E_NOINTERFACE;

    recipient.favorite = false;
    std::wstring text;
    HRESULT hr = ReadString(properties.get(), kContactFavoriteProperty, kContactTextChars, text);
    if (SUCCEEDED(hr)) recipient.favorite = !text.empty() && text[0] == kFavoriteYes[0];
    else if (hr != kContactPathNotFound) return hr;  // a missing mark is no favourite

    RETURN_IF_FAILED(ReadString(properties.get(), kContactIdProperty, kContactIdChars, recipient.identifier));
    if (!recipient.identifier.empty()) recipient.key = KeyFromIdentifier(recipient.identifier);

    // A contact that another program saved without a name is read on with
    // an empty one: its number is still someone to send a fax to.
    hr = ReadString(properties.get(), kFormattedNameProperty, kContactTextChars, recipient.name);
    if (hr == kContactPathNotFound) hr = S_OK;
    if (FAILED(hr)) return hr;

    com::ComPtr<IContactPropertyCollection> faxes;
    if (FAILED(FaxElements(properties.get(), faxes)) || !faxes) return S_OK;
    hr = S_OK;
    faxes->Reset();
    while (faxes->Next() == S_OK) {
        std::wstring element;
        if (FAILED(ReadPropertyName(faxes.get(), element))) continue;
        // The last "Fax" element with a number wins. One without a number
        // (none written, its value deleted, or left empty) gives nothing:
        // it neither takes away the number an earlier element gave nor
        // makes the contact unreadable.
        std::wstring number;
        hr = ReadString(properties.get(), (element + kNumberSuffix).c_str(), kContactTextChars, number);
        if (hr == kContactPathNotFound) hr = S_OK;
        else if (SUCCEEDED(hr) && !number.empty()) recipient.faxNumber = std::move(number);
    }
    return FAILED(hr) ? hr : S_OK;
}

HRESULT CWAB6::WriteContact(IContactProperties* properties, const CRecipient& recipient) {
    RETURN_IF_FAILED(properties->SetString(kFormattedNameProperty, CGD_DEFAULT, recipient.name.c_str()));
    RETURN_IF_FAILED(
        properties->SetString(kContactFavoriteProperty, CGD_DEFAULT, recipient.favorite ? kFavoriteYes : kFavoriteNo));

    // The number goes into the last "Fax" element; without one, the phone
    // numbers are left as they are.
    com::ComPtr<IContactPropertyCollection> faxes;
    if (FAILED(FaxElements(properties, faxes)) || !faxes) return S_OK;
    std::wstring last;
    faxes->Reset();
    while (faxes->Next() == S_OK) {
        std::wstring element;
        if (SUCCEEDED(ReadPropertyName(faxes.get(), element))) last = std::move(element);
    }
    if (last.empty()) return S_OK;
    return properties->SetString((last + kNumberSuffix).c_str(), CGD_DEFAULT, recipient.faxNumber.c_str());
}

HRESULT CWAB6::LoadAll(RecipientList& out) {
    out.clear();
    if (!m_manager) return E_FAIL;
    com::ComPtr<IContactCollection> contacts;
    RETURN_IF_FAILED(m_manager->GetContactCollection(contacts.put()));
    if (!contacts) return E_FAIL;
    contacts->Reset();
    HRESULT step;
    while ((step = contacts->Next()) == S_OK) {
        com::ComPtr<IContact> contact;
        if (FAILED(contacts->GetCurrent(contact.put()))) continue;
        CRecipient recipient;
        // One contact that cannot be read must not cost the user the whole
        // book, so its result does not become the walk's: a contact whose
        // read failed before it got a key is left out, one with a key is
        // listed with what was read.
        ReadContact(contact.get(), recipient);
        if (recipient.key != 0) out.push_back(std::move(recipient));
    }
    return FAILED(step) ? step : S_OK;
}

HRESULT CWAB6::FindContact(ULONG key, com::ComPtr<IContact>& found) {
    if (!m_manager) return E_FAIL;
    if (key >= IdentifierCount()) return E_INVALIDARG;
    const std::wstring wanted = IdentifierFromKey(key);
    if (wanted.empty()) return E_FAIL;
    com::ComPtr<IContactCollection> contacts;
    if (FAILED(m_manager->GetContactCollection(contacts.put())) || !contacts) return E_FAIL;
    contacts->Reset();
    while (contacts->Next() == S_OK) {
        com::ComPtr<IContact> contact;
        if (FAILED(contacts->GetCurrent(contact.put())) || !contact) continue;
        com::ComPtr<IContactProperties> properties;
        if (FAILED(contact->QueryInterface(IID_IContactProperties, properties.put_void())) || !properties) continue;
        std::wstring identifier;
        if (SUCCEEDED(ReadString(properties.get(), kContactIdProperty, kContactIdChars, identifier)) &&
            identifier == wanted) {
            found = std::move(contact);
            return S_OK;
        }
    }
    return E_FAIL;
}

HRESULT CWAB6::Get(ULONG key, CRecipient& recipient) {
    com::ComPtr<IContact> contact;
    RETURN_IF_FAILED(FindContact(key, contact));
    CRecipient read;
    const HRESULT hr = ReadContact(contact.get(), read);
    if (SUCCEEDED(hr)) recipient = std::move(read);
    return hr;
}

HRESULT CWAB6::Add(CRecipient& recipient) {
    if (!m_manager) return E_FAIL;
    // A recipient with neither name nor number would be an empty person.
    if (recipient.name.empty() && recipient.faxNumber.empty()) return E_FAIL;
    if (m_folder.empty()) return E_FAIL;

    com::ComPtr<IContact> contact;
    RETURN_IF_FAILED(::CoCreateInstance(CLSID_Contact, nullptr, CLSCTX_ALL, IID_IContact, contact.put_void()));
    if (!contact) return E_INVALIDARG;
    com::ComPtr<IPersistStreamInit> persist;
    RETURN_IF_FAILED(contact->QueryInterface(IID_IPersistStreamInit, persist.put_void()));
    RETURN_IF_FAILED(persist->InitNew());
    com::ComPtr<IContactProperties> properties;
    if (FAILED(contact->QueryInterface(IID_IContactProperties, properties.put_void())) || !properties)
        return E_NOINTERFACE;

    std::vector<wchar_t> element(kContactTextChars);
    DWORD required = 0;
    RETURN_IF_FAILED(
        properties->CreateArrayNode(kNameCollection, CGD_DEFAULT, TRUE, element.data(), kContactTextChars, &required));
    RETURN_IF_FAILED(properties->CreateArrayNode(kPhoneNumberCollection, CGD_DEFAULT, TRUE, element.data(),
                                                 kContactTextChars, &required));
    LPCWSTR labels[] = {kFaxLabel, kBusinessLabel};
    RETURN_IF_FAILED(properties->SetLabels(element.data(), CGD_DEFAULT, DWORD(std::size(labels)), labels));
    RETURN_IF_FAILED(WriteContact(properties.get(), recipient));

    std::wstring identifier;
    ReadString(properties.get(), kContactIdProperty, kContactIdChars, identifier);
    std::wstring path;
    if (FAILED(MakeContactFileName(m_folder, recipient.name, true, path, true)) &&
        FAILED(MakeContactFileName(m_folder, identifier, true, path, true)))
        return E_FAIL;
    // The claimed file is this contact's, empty until saved below.

    com::UniqueModule streams(::LoadLibraryW(kStreamLibrary));
    const auto createStream = streams ? reinterpret_cast<CreateStreamOnFileFn>(reinterpret_cast<void*>(
                                            ::GetProcAddress(streams.get(), kStreamFunction)))
                                      : nullptr;
    if (!createStream) {
        ::DeleteFileW(path.c_str());
        return E_FAIL;
    }
    {
        com::ComPtr<IStream> stream;
        // The file claimed above is opened, not created again.
        const HRESULT opened =
            createStream(path.c_str(), STGM_WRITE, FILE_ATTRIBUTE_NORMAL, FALSE, nullptr, stream.put());
        if (FAILED(opened)) {
            ::DeleteFileW(path.c_str());
            return opened;
        }
        const HRESULT saved = persist->Save(stream.get(), FALSE);
        if (FAILED(saved)) {
            // A half-written file is no contact for anyone: take it away.
            stream.reset();
            ::DeleteFileW(path.c_str());
            return saved;
        }
    }

    CRecipient read;
    const HRESULT hr = ReadContact(contact.get(), read);
    if (SUCCEEDED(hr)) {
        recipient.key = read.key;
        recipient.identifier = read.identifier;
    }
    return hr;
}

HRESULT CWAB6::Modify(ULONG key, const CRecipient& recipient) {
    com::ComPtr<IContact> contact;
    RETURN_IF_FAILED(FindContact(key, contact));
    CRecipient stored;
    ReadContact(contact.get(), stored);
    com::ComPtr<IContactProperties> properties;
    if (FAILED(contact->QueryInterface(IID_IContactProperties, properties.put_void())) || !properties)
        return E_NOINTERFACE;
    RETURN_IF_FAILED(WriteContact(properties.get(), recipient));
    RETURN_IF_FAILED(contact->CommitChanges(CGD_DEFAULT));

    if (stored.name == recipient.name) return S_OK;
    std::vector<wchar_t> buffer(kContactPathChars);
    DWORD required = 0;
    if (FAILED(contact->GetPath(buffer.data(), kContactPathChars, &required))) return S_OK;
    const std::wstring oldPath(buffer.data());
    const size_t slash = oldPath.find_last_of(L'\\');
    if (slash == std::wstring::npos) return S_OK;
    // The file follows the new name, but never onto another file: when the
    // new name's file exists (another contact's, or this one's own under a
    // name that maps to the same file), the old name is kept. The rename
    // does not change the result.
    std::wstring newPath;
    if (SUCCEEDED(MakeContactFileName(oldPath.substr(0, slash), recipient.name, false, newPath)) &&
        !::PathFileExistsW(newPath.c_str()))
        ::MoveFileW(oldPath.c_str(), newPath.c_str());
    return S_OK;
}

HRESULT CWAB6::Delete(ULONG key) {
    std::wstring path;
    HRESULT hr;
    {
        com::ComPtr<IContact> contact;
        RETURN_IF_FAILED(FindContact(key, contact));
        CRecipient stored;
        ReadContact(contact.get(), stored);
        std::vector<wchar_t> buffer(kDeletePathChars);
        DWORD required = 0;
        hr = contact->GetPath(buffer.data(), kDeletePathChars, &required);
        if (SUCCEEDED(hr)) path = buffer.data();
    }
    // The contact is released before its file goes; a failed deletion does
    // not change the result.
    if (!path.empty()) ::DeleteFileW(path.c_str());
    return hr;
}
