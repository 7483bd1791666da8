// Another process that changes the MRU store: `mru_change COUNT` saves the
// store COUNT times, each time with one entry more, the way a second fax
// program would (callers still pass an interval of 0 after COUNT).
#include "sources/mru_store.h"

#include <cstdlib>
#include <string>

int wmain(int argc, wchar_t** argv) {
    for (int i = 0, count = argc > 1 ? _wtoi(argv[1]) : 1; i < count; ++i) {
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
