// Another process that changes the MRU store: `mru_change COUNT INTERVAL_MS`
// saves the store COUNT times, INTERVAL_MS apart, each time with one entry
// more, the way a second fax program would. `mru_change signal` only signals
// the user's MRU change event once.
#include "sources/mru_store.h"

#include <cstdlib>
#include <string>

int wmain(int argc, wchar_t** argv) {
    if (argc > 1 && std::wstring(argv[1]) == L"signal") {
        const HANDLE event = ::OpenEventW(EVENT_MODIFY_STATE, FALSE, kMRUEventName);
        if (!event || !::SetEvent(event)) return 1;
        ::CloseHandle(event);
        return 0;
    }
    const int count = argc > 1 ? _wtoi(argv[1]) : 1;
    const int interval = argc > 2 ? _wtoi(argv[2]) : 0;
    for (int i = 0; i < count; ++i) {
        if (i > 0) ::Sleep(DWORD(interval));
        MRUEntryList entries;
        LoadMRUStore(entries);
        MRUEntry entry;
        entry.identifier = L"helper " + std::to_wstring(i);
        entry.name = L"Helper " + std::to_wstring(i);
        entry.faxNumber = std::to_wstring(1000 + i);
        entries.push_front(entry);
        SaveMRUStore(entries);
    }
    return 0;
}
