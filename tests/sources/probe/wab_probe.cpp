// A program the address-book tests run as another process:
//   wab_probe write FILE NAME      writes a contact file into the Contacts folder
//   wab_probe touch PATH           appends one byte to a file
//   wab_probe list5                lists the Windows Address Book source
//   wab_probe watch5 EVENT MS      registers a window with that source, signals
//                                  the named event and counts reload messages
//                                  for MS milliseconds; the count is the exit code
// Run as Windows XP (Wine's per-program version) it takes the older path.
#include "localization/language.h"
#include "sources/wab5.h"
#include "support/test_support.h"

#include <shlobj.h>

#include <cstdio>
#include <string>

namespace {

std::string Utf8(const std::wstring& text) {
    const int size = ::WideCharToMultiByte(CP_UTF8, 0, text.c_str(), -1, nullptr, 0, nullptr, nullptr);
    std::string out(size_t(size > 0 ? size : 1), '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, text.c_str(), -1, out.data(), size, nullptr, nullptr);
    out.resize(out.size() - 1);
    return out;
}

bool WriteBytes(const std::wstring& path, const std::string& bytes, DWORD disposition) {
    com::UniqueFile file(::CreateFileW(path.c_str(), FILE_APPEND_DATA | GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                       disposition, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return false;
    if (disposition == OPEN_ALWAYS) ::SetFilePointer(file.get(), 0, nullptr, FILE_END);
    DWORD written = 0;
    return ::WriteFile(file.get(), bytes.data(), DWORD(bytes.size()), &written, nullptr) && written == bytes.size();
}

int Write(const std::wstring& fileName, const std::wstring& name) {
    PWSTR folder = nullptr;
    if (FAILED(::SHGetKnownFolderPath(FOLDERID_Contacts, KF_FLAG_CREATE, nullptr, &folder))) return 2;
    const std::wstring path = std::wstring(folder) + L"\\" + fileName;
    ::CoTaskMemFree(folder);
    const std::string xml =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n"
        "<c:contact c:Version=\"1\" xmlns:c=\"http://schemas.microsoft.com/Contact\">"
        "<c:ContactIDCollection><c:ContactID><c:Value>probe-" + Utf8(fileName) + "</c:Value></c:ContactID>"
        "</c:ContactIDCollection><c:NameCollection><c:Name><c:FormattedName>" + Utf8(name) +
        "</c:FormattedName></c:Name></c:NameCollection></c:contact>\r\n";
    return WriteBytes(path, xml, CREATE_ALWAYS) ? 0 : 3;
}

int List() {
    CWAB5 source;
    std::printf("major=%lu\n", localization::CurrentWindowsVersion().major);
    std::printf("watcher=%d\n", source.WatcherThreadId() != 0 ? 1 : 0);
    RecipientList all;
    std::printf("load=%08lX\n", static_cast<unsigned long>(source.LoadAll(all)));
    for (const CRecipient& r : all)
        std::printf("entry=%s|%s|%d\n", Utf8(r.name).c_str(), Utf8(r.faxNumber).c_str(), r.key != 0 ? 1 : 0);
    CRecipient added;
    added.name = L"Added on this system";
    added.faxNumber = L"42";
    std::printf("add=%08lX\n", static_cast<unsigned long>(source.Add(added)));
    CRecipient got;
    const HRESULT hr = source.Get(ULONG(added.key), got);
    std::printf("get=%08lX|%s\n", static_cast<unsigned long>(hr), Utf8(got.name).c_str());
    return 0;
}

int Watch(const std::wstring& eventName, DWORD ms) {
    testing_support::ComApartment apartment;
    CWAB5 source;
    testing_support::MessageCounter window(kReloadMessage);
    if (!source.SetNotifyWindow(window.hwnd(), true)) return 100;
    com::UniqueHandle ready(::OpenEventW(EVENT_MODIFY_STATE, FALSE, eventName.c_str()));
    if (!ready || !::SetEvent(ready.get())) return 101;
    return window.WaitFor(1, ms);
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    testing_support::ComApartment apartment;
    const std::wstring mode = argc > 1 ? argv[1] : L"";
    if (mode == L"write" && argc > 3) return Write(argv[2], argv[3]);
    if (mode == L"touch" && argc > 2) return WriteBytes(argv[2], "x", OPEN_ALWAYS) ? 0 : 3;
    if (mode == L"list5") return List();
    if (mode == L"watch5" && argc > 3) return Watch(argv[2], DWORD(_wtoi(argv[3])));
    return 1;
}
