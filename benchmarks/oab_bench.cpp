// Measures how the Outlook contacts source lists a book, against the Outlook
// stand-in (a local server: every object-model call is a round trip to
// another process), both ways it can: through the folder's Table (Outlook
// 2007 and later) and item by item (earlier Outlook, and the fall-back). For
// each book size it prints the calls the stand-in served per contact, the
// time per contact, and how the time grows from the size before (the
// exponent k in time ~ contacts^k). Prints, asserts nothing.
//   oab_bench [CONTACTS...] [--item-up-to N] [--rounds R]
// (default 1000 10000 50000; the item-by-item way, about a dozen calls per
// contact, only up to 10000; 5 rounds, 1 for the item-by-item way past 1000)
// Calls are those the stand-in served through IDispatch; the _ContactItem
// queries and the releases of the item-by-item way come on top.
// Registers the stand-in beside this program; removes it and its store after.
#include "com/com_ptr.h"
#include "sources/oab.h"
#include "support/outlook_fixture.h"
#include "support/test_support.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

using namespace outlooktest;

namespace {

using Clock = std::chrono::steady_clock;

struct Figures {
    bool run = false;
    size_t listed = 0;
    long firstCalls = 0;  // the first listing of a connection
    long calls = 0;       // a listing after it
    double ms = 0;        // median of the rounds
};

// Lists the book `rounds` times on one connection under the given Outlook
// version: the calls of the first listing (which looks up member numbers) and
// of the last, and the median time of all.
Figures Measure(OutlookClient& outlook, const wchar_t* version, int rounds) {
    Figures f;
    RunStandin(std::wstring(L"/Version ") + version);
    COAB source;
    if (FAILED(source.Connect())) return f;
    RecipientList listed;
    std::vector<double> ms;
    for (int i = 0; i < rounds; ++i) {
        const long before = outlook.CallCount();
        const auto start = Clock::now();
        source.LoadAll(listed);
        ms.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
        f.calls = outlook.CallCount() - before;
        if (i == 0) f.firstCalls = f.calls;
    }
    std::sort(ms.begin(), ms.end());
    f.ms = ms[ms.size() / 2];
    f.listed = listed.size();
    f.run = true;
    return f;
}

void Print(const char* way, int contacts, const Figures& f, const Figures* smaller, int smallerContacts) {
    if (!f.run) {
        std::printf("%-12s %7d  not run\n", way, contacts);
        return;
    }
    char growth[32] = "     -";
    if (smaller && smaller->run && smaller->ms > 0)
        std::snprintf(growth, sizeof growth, "%6.2f",
                      std::log(f.ms / smaller->ms) / std::log(double(contacts) / smallerContacts));
    std::printf("%-12s %7d %7zu %9ld %9ld %11.4f %11.1f %10.4f %s\n", way, contacts, f.listed, f.firstCalls,
                f.calls, double(f.calls) / contacts, f.ms, f.ms / contacts, growth);
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    std::vector<int> sizes;
    int itemUpTo = 10000, rounds = 5;
    for (int i = 1; i < argc; ++i) {
        if (std::wstring(argv[i]) == L"--item-up-to" && i + 1 < argc)
            itemUpTo = _wtoi(argv[++i]);
        else if (std::wstring(argv[i]) == L"--rounds" && i + 1 < argc)
            rounds = std::max(1, _wtoi(argv[++i]));
        else
            sizes.push_back(_wtoi(argv[i]));
    }
    if (sizes.empty()) sizes = {1000, 10000, 50000};

    testing_support::ComApartment apartment;
    WaitForNoStandin(10000);
    if (RunStandin(L"/RegServer") != 0) {
        std::printf("the Outlook stand-in could not be registered\n");
        return 1;
    }
    std::printf("%-12s %7s %7s %9s %9s %11s %11s %10s %s\n", "way", "items", "listed", "calls 1st", "calls",
                "calls/item", "ms", "ms/item", "growth");
    std::vector<Figures> table, item;
    for (size_t s = 0; s < sizes.size(); ++s) {
        const int contacts = sizes[s];
        // A stand-in still running would keep the store it read; after a
        // large listing item by item it may take a while to let go.
        if (!WaitForNoStandin(120000)) {
            std::printf("the stand-in of the last size is still running\n");
            return 1;
        }
        const size_t listed = WriteNumberedBook(contacts);
        const auto start = Clock::now();
        OutlookClient outlook;  // keeps one stand-in running across the sources
        outlook.CallCount();
        const double startMs = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
        table.push_back(Measure(outlook, L"16.0.0.4266", rounds));
        item.push_back(contacts <= itemUpTo ? Measure(outlook, L"11.0.0.8161", contacts > 1000 ? 1 : rounds)
                                            : Figures{});
        const Figures* smallerTable = s ? &table[s - 1] : nullptr;
        const Figures* smallerItem = s ? &item[s - 1] : nullptr;
        Print("Table", contacts, table.back(), smallerTable, s ? sizes[s - 1] : 0);
        Print("item by item", contacts, item.back(), smallerItem, s ? sizes[s - 1] : 0);
        if (table.back().listed != listed || (item.back().run && item.back().listed != listed))
            std::printf("  ! expected %zu listed\n", listed);
        std::printf("  (the stand-in started with its store of %d items in %.0f ms)\n", contacts, startMs);
    }
    WaitForNoStandin(10000);
    RunStandin(L"/Version");
    DeleteStore();
    RunStandin(L"/UnregServer");
    return 0;
}
