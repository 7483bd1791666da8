// The Contacts folder, its files and the address-book change marker.
#include "contact_store.h"

#include "com/hresult.h"
#include "com/unique_any.h"

#include <knownfolders.h>
#include <shlobj.h>

#include <algorithm>

namespace wabfake {
namespace {

constexpr wchar_t kContactPattern[] = L"*.contact";
constexpr wchar_t kContactExtension[] = L".contact";
constexpr wchar_t kAddressBookFileName[] = L"Address Book.wab";
// Room left in MAX_PATH for " (nnnn).contact" and the terminator.
constexpr size_t kNameReserve = 24;

bool CanCreate(const std::wstring& path) {
    com::UniqueFile file(::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL,
                                       nullptr));
    if (!file) return false;
    // A reserved device name ("CON", "NUL") opens a device, not a file.
    const bool isFile = ::GetFileType(file.get()) == FILE_TYPE_DISK;
    file.reset();
    if (!isFile) return false;
    ::DeleteFileW(path.c_str());
    return true;
}

std::wstring CleanName(const std::wstring& name, size_t room) {
    std::wstring clean = name.substr(0, room);
    for (wchar_t& ch : clean)
        if (ch < 32 || wcschr(L"<>:*?/|\\\"", ch)) ch = L'_';
    while (!clean.empty() && (clean.back() == L' ' || clean.back() == L'.')) clean.pop_back();
    return clean;
}

std::wstring FreePath(const std::wstring& folder, const std::wstring& base) {
    std::wstring path = folder + base + kContactExtension;
    for (int counter = 1; ::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES && counter < 10000; ++counter)
        path = folder + base + L" (" + std::to_wstring(counter) + L")" + kContactExtension;
    return CanCreate(path) ? path : std::wstring();
}

}  // namespace

std::wstring ContactsFolder() {
    PWSTR path = nullptr;
    if (FAILED(::SHGetKnownFolderPath(FOLDERID_Contacts, KF_FLAG_CREATE, nullptr, &path)) || !path) return {};
    std::wstring folder(path);
    ::CoTaskMemFree(path);
    if (!folder.empty() && folder.back() != L'\\') folder += L'\\';
    return folder;
}

std::vector<std::wstring> ListContactFiles(const std::wstring& folder) {
    std::vector<std::wstring> files;
    if (folder.empty()) return files;
    WIN32_FIND_DATAW found{};
    HANDLE search = ::FindFirstFileW((folder + kContactPattern).c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return files;
    do {
        // The pattern also matches longer extensions ("x.contactx") on some systems.
        const std::wstring name = found.cFileName;
        if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0 && name.size() > 8 &&
            _wcsicmp(name.c_str() + name.size() - 8, kContactExtension) == 0)
            files.push_back(folder + name);
    } while (::FindNextFileW(search, &found));
    ::FindClose(search);
    std::sort(files.begin(), files.end());
    return files;
}

std::unique_ptr<ContactDocument> ReadContactFile(const std::wstring& path) {
    auto document = ReadContactDocument(path);
    return document && document->IsContact() ? std::move(document) : nullptr;
}

std::unique_ptr<ContactDocument> ReadContactDocument(const std::wstring& path) {
    std::unique_ptr<ContactDocument> document;
    LoadContactDocument(path, document);
    return document;
}

HRESULT LoadContactDocument(const std::wstring& path, std::unique_ptr<ContactDocument>& document) {
    document.reset();
    std::unique_ptr<XmlElement> root;
    RETURN_IF_FAILED(LoadXmlFile(path, root));
    auto read = std::make_unique<ContactDocument>(std::move(root));
    if (!read->IsContactDocument()) return kXmlNotAContact;
    document = std::move(read);
    return S_OK;
}

std::wstring AddressBookFile() {
    const std::wstring folder = ContactsFolder();
    return folder.empty() ? std::wstring() : folder + kAddressBookFileName;
}

void TouchAddressBookFile() {
    const std::wstring path = AddressBookFile();
    if (path.empty()) return;
    com::UniqueFile file(::CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                       OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return;
    // One byte rewritten: the last-write time moves and the folder's watchers wake.
    const char mark = 'W';
    DWORD written = 0;
    ::WriteFile(file.get(), &mark, 1, &written, nullptr);
    FILETIME now{};
    ::GetSystemTimeAsFileTime(&now);
    ::SetFileTime(file.get(), nullptr, nullptr, &now);
}

std::wstring NewContactFilePath(const std::wstring& folder, const std::wstring& name, const std::wstring& id) {
    if (folder.empty() || folder.size() + kNameReserve >= MAX_PATH) return {};
    const size_t room = MAX_PATH - kNameReserve - folder.size();
    std::wstring path;
    const std::wstring clean = CleanName(name, room);
    if (!clean.empty()) path = FreePath(folder, clean);
    if (path.empty()) path = FreePath(folder, CleanName(id, room));
    return path;
}

}  // namespace wabfake
