// A program the address-book tests run as another process:
//   wab_probe write FILE NAME [FAX]  writes a contact file into the Contacts folder
//                                    (identifier "probe-FILE", FAX labelled Fax and Business)
//   wab_probe delete FILE            deletes a file of the Contacts folder
//   wab_probe list5                  lists the Windows Address Book source
//   wab_probe watch5 EVENT MS        registers a window with that source, signals
//                                    the named event and counts reload messages
//                                    for MS milliseconds; the count is the exit code
// Run as Windows XP (Wine's per-program version) it takes the older path.
#include "localization/language.h"
#include "sources/wab5.h"
#include "support/wab_fixture.h"
#include "support/test_support.h"

#include <cstdio>
#include <string>

namespace {

using testing_support::Utf8;

int Write(const std::wstring& fileName, const std::wstring& name, const std::wstring& fax) {
    testing_support::ContactXml contact{L"probe-" + fileName, name, {}};
    if (!fax.empty()) contact.phones.push_back({{L"Fax", L"Business"}, fax});
    const std::wstring path = testing_support::WriteContact(fileName, contact);
    return testing_support::ReadFileBytes(path) == testing_support::ContactDocument(contact) ? 0 : 3;
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
    if (mode == L"write" && argc > 3) return Write(argv[2], argv[3], argc > 4 ? argv[4] : L"");
    if (mode == L"delete" && argc > 2)
        return ::DeleteFileW((testing_support::ContactsFolder() + L"\\" + argv[2]).c_str()) ? 0 : 3;
    if (mode == L"list5") return List();
    if (mode == L"watch5" && argc > 3) return Watch(argv[2], DWORD(_wtoi(argv[3])));
    return 1;
}
