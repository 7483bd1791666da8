// Measures the phonebook list against the floor of a bare report list view:
// filling 1,000 and 10,000 rows (LVM_INSERTITEM and two LVM_SETITEMTEXT per
// row, redraw off and on again after), finding every row by its key, sorting by name and
// removing every tenth row by key; and the fill sent as plain messages by
// somebody else, which pass the list's subclass. Prints, asserts nothing.
//   list_bench [ROUNDS]
#include "control/list_view.h"
#include "win/display.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

// The median of the rounds, in milliseconds; each round gets a fresh list.
template <class Body>
double Median(int rounds, Body&& body) {
    std::vector<double> ms;
    for (int i = 0; i < rounds; ++i) ms.push_back(body());
    std::sort(ms.begin(), ms.end());
    return ms[ms.size() / 2];
}

double Since(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

struct Rows {
    std::vector<std::wstring> numbers, names, faxes;
    explicit Rows(int count) {
        for (int i = 0; i < count; ++i) {
            numbers.push_back(std::to_wstring(i + 1));
            names.push_back(L"Recipient " + std::to_wstring((i * 7919) % count));
            faxes.push_back(L"+1 (555) " + std::to_wstring(1000000 + i));
        }
    }
};

HWND CreateList(HWND parent) {
    return ::CreateWindowExW(0, WC_LISTVIEWW, L"", 0x50830209, 0, 0, 400, 300, parent, HMENU(204), nullptr, nullptr);
}

void AddColumns(HWND hwnd) {
    const win::ListViewCtrl list(hwnd);
    list.InsertColumn(0, L"#", 30);
    list.InsertColumn(1, L"Name", 94);
    list.InsertColumn(2, L"Fax Number", 84);
}

// The floor: the same rows into a list nobody watches.
void FillBare(const win::ListViewCtrl& list, const Rows& rows) {
    for (size_t i = 0; i < rows.names.size(); ++i) {
        const int row = list.InsertItem(int(i), rows.numbers[i].c_str(), LPARAM(i + 1));
        list.SetItemText(row, 1, rows.names[i].c_str());
        list.SetItemText(row, 2, rows.faxes[i].c_str());
    }
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    const int rounds = argc > 1 ? std::max(1, _wtoi(argv[1])) : 5;
    win::ActivationScope scope;
    const HWND parent = ::CreateWindowExW(0, L"STATIC", L"bench", WS_POPUP, 0, 0, 400, 300, nullptr, nullptr,
                                          nullptr, nullptr);
    std::printf("list_bench: median of %d rounds, times in ms\n", rounds);
    std::printf("%7s %10s %10s %6s %12s %12s %9s %10s %12s %14s\n", "rows", "floor", "list", "ratio", "find bare",
                "find list", "ratio", "sort name", "remove 10%", "fill by msgs");
    for (const int count : {1000, 10000}) {
        const Rows rows(count);
        double findBare = 0, findList = 0, sort = 0, remove = 0;
        const double floor = Median(rounds, [&] {
            const win::ListViewCtrl list(CreateList(parent));
            AddColumns(list);
            list.SetRedraw(false);
            const auto start = Clock::now();
            FillBare(list, rows);
            list.SetRedraw(true);  // as the list's update ends with
            const double ms = Since(start);
            // Finding by key without a map: LVM_FINDITEM walks the rows.
            // Only a tenth of the keys at 10,000 rows (scaled up), or it runs for minutes.
            const int step = count > 1000 ? 10 : 1;
            const auto find = Clock::now();
            for (int key = 1; key <= count; key += step) list.FindItemByData(key);
            findBare = Since(find) * step;
            ::DestroyWindow(list);
            return ms;
        });
        const double filled = Median(rounds, [&] {
            const HWND hwnd = CreateList(parent);
            listview::CPhonebookListView list;
            list.Attach(hwnd);
            AddColumns(hwnd);
            const auto start = Clock::now();
            {
                listview::CListUpdate<listview::CPhonebookListView> update(list);
                for (size_t i = 0; i < rows.names.size(); ++i)
                    list.AppendRow(LPARAM(i + 1),
                                   {rows.numbers[i].c_str(), rows.names[i].c_str(), rows.faxes[i].c_str()});
            }
            const double ms = Since(start);
            // The first lookup indexes the keys the fill appended.
            auto step = Clock::now();
            for (int key = 1; key <= count; ++key) list.FindItemByKey(key);
            findList = Since(step);
            step = Clock::now();
            {
                listview::CListUpdate<listview::CPhonebookListView> update(list);
                list.SetSortMode(3);
            }
            sort = Since(step);
            step = Clock::now();
            {
                listview::CListUpdate<listview::CPhonebookListView> update(list);
                for (int key = 1; key <= count; key += 10) list.DeleteItemByKey(key);
            }
            remove = Since(step);
            list.Detach();
            ::DestroyWindow(hwnd);
            return ms;
        });
        // The same rows sent as messages by somebody else: through the subclass.
        const double bySubclass = Median(rounds, [&] {
            const HWND hwnd = CreateList(parent);
            listview::CPhonebookListView list;
            list.Attach(hwnd);
            AddColumns(hwnd);
            list.List().SetRedraw(false);
            const auto start = Clock::now();
            FillBare(list.List(), rows);
            list.List().SetRedraw(true);
            const double ms = Since(start);
            list.Detach();
            ::DestroyWindow(hwnd);
            return ms;
        });
        std::printf("%7d %10.2f %10.2f %6.2f %12.2f %12.2f %9.0f %10.2f %12.2f %14.2f\n", count, floor, filled,
                    filled / floor, findBare, findList, findBare / std::max(findList, 0.001), sort, remove, bySubclass);
    }
    ::DestroyWindow(parent);
    return 0;
}
