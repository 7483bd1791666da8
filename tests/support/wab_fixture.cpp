// Scratch Contacts folder and contact files for the Windows address-book tests.
#include "support/wab_fixture.h"

#include <shlobj.h>

#include <algorithm>

namespace testing_support {

std::wstring ContactsFolder() {
    com::UniqueCoTaskMem<wchar_t> path;
    if (FAILED(::SHGetKnownFolderPath(FOLDERID_Contacts, KF_FLAG_CREATE, nullptr, path.put()))) return {};
    return path.get();
}

std::vector<std::wstring> FilesIn(const std::wstring& folder, const wchar_t* pattern) {
    std::vector<std::wstring> names;
    WIN32_FIND_DATAW found;
    const HANDLE search = ::FindFirstFileW((folder + L"\\" + pattern).c_str(), &found);
    for (BOOL more = search != INVALID_HANDLE_VALUE; more; more = ::FindNextFileW(search, &found))
        if (wcscmp(found.cFileName, L".") && wcscmp(found.cFileName, L"..")) names.push_back(found.cFileName);
    if (search != INVALID_HANDLE_VALUE) ::FindClose(search);
    std::sort(names.begin(), names.end());
    return names;
}

void ClearContactsFolder() {
    for (const std::wstring& name : FilesIn(ContactsFolder())) {
        const std::wstring path = ContactsFolder() + L"\\" + name;
        ::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
        ::DeleteFileW(path.c_str());
    }
}

int WriteFromAnotherProcess(const std::wstring& path) {
    return RunProcess(L"cmd.exe /c echo x>>\"" + path + L"\"");
}

namespace {

std::string Escape(const std::wstring& text) {
    std::string out;
    for (char c : Utf8(text)) {
        switch (c) {
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '&': out += "&amp;"; break;
        case '"': out += "&quot;"; break;
        default: out += c;
        }
    }
    return out;
}

}  // namespace

std::string ContactDocument(const ContactXml& contact) {
    std::string xml =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n"
        "<c:contact c:Version=\"1\" xmlns:c=\"http://schemas.microsoft.com/Contact\" "
        "xmlns:dt=\"http://schemas.microsoft.com/Contact/DataType\">\r\n"
        "\t<c:CreationDate>2024-03-01T09:30:00Z</c:CreationDate>\r\n";
    if (!contact.id.empty())
        xml += "\t<c:ContactIDCollection><c:ContactID c:ElementID=\"7d2c1f50-3a6e-4c8b-9f1d-2b5e8a4c6d01\">"
               "<c:Value>" + Escape(contact.id) + "</c:Value></c:ContactID></c:ContactIDCollection>\r\n";
    xml += "\t<c:NameCollection><c:Name c:ElementID=\"1f0e2d3c-4b5a-6978-8796-a5b4c3d2e1f0\">"
           "<c:FormattedName>" + Escape(contact.name) + "</c:FormattedName></c:Name></c:NameCollection>\r\n";
    if (!contact.phones.empty()) {
        xml += "\t<c:PhoneNumberCollection>\r\n";
        int element = 0;
        for (const PhoneElement& phone : contact.phones) {
            xml += "\t\t<c:PhoneNumber c:ElementID=\"0a1b2c3d-0000-4000-8000-00000000000" + std::to_string(element++) +
                   "\">";
            if (!phone.number.empty()) xml += "<c:Number>" + Escape(phone.number) + "</c:Number>";
            xml += "<c:LabelCollection>";
            for (const std::wstring& label : phone.labels) xml += "<c:Label>" + Escape(label) + "</c:Label>";
            xml += "</c:LabelCollection></c:PhoneNumber>\r\n";
        }
        xml += "\t</c:PhoneNumberCollection>\r\n";
    }
    xml += "</c:contact>\r\n";
    return xml;
}

std::wstring WriteContactsFile(const std::wstring& fileName, const std::string& bytes) {
    const std::wstring path = ContactsFolder() + L"\\" + fileName;
    com::UniqueFile file(
        ::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    DWORD written = 0;
    if (file) ::WriteFile(file.get(), bytes.data(), DWORD(bytes.size()), &written, nullptr);
    return path;
}

std::wstring WriteContact(const std::wstring& fileName, const ContactXml& contact) {
    return WriteContactsFile(fileName, ContactDocument(contact));
}

std::string ReadFileBytes(const std::wstring& path) {
    com::UniqueFile file(
        ::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
    if (!file) return {};
    std::string bytes;
    char buffer[4096];
    DWORD read = 0;
    while (::ReadFile(file.get(), buffer, sizeof buffer, &read, nullptr) && read > 0) bytes.append(buffer, read);
    return bytes;
}

std::string Between(const std::string& text, const std::string& from, const std::string& to) {
    const size_t start = text.find(from);
    if (start == std::string::npos) return {};
    const size_t end = text.find(to, start + from.size());
    return text.substr(start, end == std::string::npos ? std::string::npos : end + to.size() - start);
}

int RegisterStandIn(bool unregister) {
    return RunProcess(std::wstring(L"regsvr32.exe ") + (unregister ? L"/u " : L"") + L"/s \"" + BinDir() +
                      L"standin_wab32.dll\"");
}

}  // namespace testing_support
