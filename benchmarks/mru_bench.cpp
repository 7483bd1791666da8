// Measures the MRU list on a full store (30 recipients): UpdateMRU of a
// resent and of a new recipient, and GetMRU. Prints, asserts nothing.
//   mru_bench [ROUNDS]
#include "com/strings.h"
#include "mru/mru_list.h"
#include "sources/mru_store.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

template <class Body>
void Measure(const char* what, int rounds, Body&& body) {
    std::vector<double> ms;
    for (int i = 0; i < rounds; ++i) {
        const auto start = Clock::now();
        body(i);
        ms.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
    }
    std::sort(ms.begin(), ms.end());
    double total = 0;
    for (double m : ms) total += m;
    std::printf("%-40s rounds %4d  median %7.3f ms  mean %7.3f ms  p90 %7.3f ms\n", what, rounds, ms[ms.size() / 2],
                total / ms.size(), ms[ms.size() * 9 / 10]);
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    const int rounds = argc > 1 ? _wtoi(argv[1]) : 200;
    auto mru = com::Make<CMRUList>();

    MRUEntryList full;
    for (int i = 0; i < 30; ++i) {
        MRUEntry entry;
        entry.name = L"Recipient " + std::to_wstring(i);
        entry.faxNumber = L"+1-555-01" + std::to_wstring(10 + i);
        entry.identifier = entry.faxNumber + L" " + entry.name;
        full.push_back(entry);
    }
    SaveMRUStore(full);

    com::UniqueBstr resent(com::AllocBstr(L"Recipient 29 +1-555-0139"));
    Measure("UpdateMRU, full store, resent recipient", rounds, [&](int) { mru->UpdateMRU(resent.get()); });
    Measure("UpdateMRU, full store, new recipient", rounds, [&](int i) {
        com::UniqueBstr text(com::AllocBstr(L"New " + std::to_wstring(i) + L" 99" + std::to_wstring(i)));
        mru->UpdateMRU(text.get());
    });
    Measure("GetMRU, full store", rounds, [&](int) {
        com::UniqueBstr text;
        mru->GetMRU(text.put());
    });
    ::RegDeleteTreeW(HKEY_CURRENT_USER, kMRUKeyPath);
    ::RegDeleteKeyW(HKEY_CURRENT_USER, kMRUKeyPath);
    return 0;
}
