// Measures the search box of both phonebook controls on books of 1,000,
// 10,000 and 50,000 recipients: the time from a keystroke in the box to the
// list shown (the rows brought in line and the list painted), over typing
// "s", "sm", "smi", "smit" and then clearing with Escape, beside the time of
// the first control's first fill of its list at the same size (its own
// account of the reload, without the book's read). Each step is the best of
// three passes after a warm-up pass. Prints, asserts nothing.
// The controls run hosted in Wine's ATL host on the recently used book,
// whose store the benchmark writes and deletes again. Names are drawn from
// common surnames and first names with a fixed seed (printed).
//   filter_bench [ROWS...]   (default 1000 10000 50000)
#include "com/com_ptr.h"
#include "com/unique_any.h"
#include "localization/language.h"
#include "module/VelPhonebook_h.h"
#include "sources/mru_store.h"

#include "reload_log.h"

#include <commctrl.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
constexpr unsigned kSeed = 25;
constexpr int kSearchBox = 241;

MRUEntryList Book(int rows) {
    static const wchar_t* const kFirst[] = {L"Anna", L"Ben", L"Carla", L"David", L"Emma", L"Felix", L"Grace",
                                            L"Hugo", L"Ida", L"Jonas", L"Kate",  L"Liam", L"Mia",   L"Noah"};
    static const wchar_t* const kLast[] = {L"Smith",    L"Smithers", L"Schmidt", L"Johnson", L"Williams",
                                           L"Brown",    L"Jones",    L"Garcia",  L"Miller",  L"Davis",
                                           L"Martinez", L"Wilson",   L"Taylor",  L"Moore",   L"Lee",
                                           L"Anderson", L"Thomas",   L"Walker"};
    std::mt19937 random(kSeed);
    MRUEntryList entries;
    for (int i = 0; i < rows; ++i) {
        MRUEntry entry;
        entry.identifier = L"id" + std::to_wstring(i);
        entry.name = std::wstring(kFirst[random() % std::size(kFirst)]) + L" " +
                     kLast[random() % std::size(kLast)] + L" " + std::to_wstring(i);
        entry.faxNumber = L"+1 (555) " + std::to_wstring(1000000 + random() % 9000000);
        entries.push_back(entry);
    }
    return entries;
}

struct Steps {
    std::vector<double> ms;  // one per keystroke
    std::vector<int> rows;   // rows shown after it
};

// One keystroke: the key reaches the box as the message loop gives it, the
// rows follow at once; the list is then painted.
double Keystroke(HWND box, HWND list, UINT message, WPARAM key) {
    const auto start = Clock::now();
    ::SendMessageW(box, message, key, 1);
    ::RedrawWindow(list, nullptr, nullptr, RDW_INVALIDATE | RDW_UPDATENOW | RDW_ALLCHILDREN);
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

Steps TypeAndClear(HWND box, HWND list) {
    Steps steps;
    ::SetFocus(box);
    for (const wchar_t c : std::wstring(L"smit")) {
        steps.ms.push_back(Keystroke(box, list, WM_CHAR, c));
        steps.rows.push_back(int(::SendMessageW(list, LVM_GETITEMCOUNT, 0, 0)));
    }
    steps.ms.push_back(Keystroke(box, list, WM_KEYDOWN, VK_ESCAPE));
    steps.rows.push_back(int(::SendMessageW(list, LVM_GETITEMCOUNT, 0, 0)));
    return steps;
}

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    std::vector<int> sizes;
    for (int i = 1; i < argc; ++i) sizes.push_back(_wtoi(argv[i]));
    if (sizes.empty()) sizes = {1000, 10000, 50000};
    std::printf("seed %u\n", kSeed);

    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    bench::DebugOutput log;
    wchar_t self[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, self, MAX_PATH);
    std::wstring module = self;
    module = module.substr(0, module.find_last_of(L"\\/") + 1) + localization::kModuleFileName;
    com::UniqueModule dll(::LoadLibraryW(module.c_str()));
    using Register = HRESULT(STDAPICALLTYPE*)();
    if (!dll || FAILED(reinterpret_cast<Register>(::GetProcAddress(dll.get(), "DllRegisterServer"))())) {
        std::printf("cannot register %ls\n", module.c_str());
        return 1;
    }
    const HMODULE atl = ::LoadLibraryW(L"atl100.dll");
    using Init = BOOL(WINAPI*)();
    using GetControl = HRESULT(WINAPI*)(HWND, IUnknown**);
    reinterpret_cast<Init>(::GetProcAddress(atl, "AtlAxWinInit"))();
    const auto getControl = reinterpret_cast<GetControl>(::GetProcAddress(atl, "AtlAxGetControl"));

    std::printf("%-9s %7s | %-42s | %9s %9s | %10s %12s\n", "control", "rows",
                "ms per keystroke: s sm smi smit clear", "median", "worst", "first fill", "worst/fill");
    for (const int rows : sizes) {
        SaveMRUStore(Book(rows));
        for (const wchar_t* progId : {L"Zantix.VelPhonebookControl", L"Zantix.VelPhonebookControl2"}) {
            const bool first = progId[std::wcslen(progId) - 1] == L'l';
            com::UniqueWindow top(::CreateWindowExW(0, L"STATIC", L"", WS_POPUP | WS_VISIBLE, 0, 0, 440, 380,
                                                    nullptr, nullptr, nullptr, nullptr));
            const HWND host = ::CreateWindowExW(0, L"AtlAxWin100", progId, WS_CHILD | WS_VISIBLE, 10, 10, 420,
                                                360, top.get(), nullptr, nullptr, nullptr);
            com::ComPtr<IUnknown> unknown;
            getControl(host, unknown.put());
            const auto control = unknown.query<IVelPhonebookControl4>();
            if (!control) {
                std::printf("the control was not created\n");
                return 1;
            }
            // The first fill on the control's timer, as in a host; the first
            // class reports its list update in its reload line.
            bench::Reload reload;
            control->SelectOutlookAddressBook(-1);
            const ULONGLONG deadline = ::GetTickCount64() + 600000;
            while (control->GetItemCount() < rows && ::GetTickCount64() < deadline) {
                ::MsgWaitForMultipleObjects(0, nullptr, FALSE, 20, QS_ALLINPUT);
                bench::Pump();
            }
            double fill = 0;
            if (first && log.NextReload(reload, 1000)) fill = reload.update;
            HWND window = nullptr;
            if (const auto inPlace = unknown.query<IOleInPlaceObject>()) inPlace->GetWindow(&window);
            const HWND box = ::GetDlgItem(window, kSearchBox), list = ::GetDlgItem(window, 204);
            TypeAndClear(box, list);  // once to warm up (the folded texts are made on the first search)
            // The machine is shared and noisy: each step's best of three passes.
            Steps steps = TypeAndClear(box, list);
            for (int pass = 1; pass < 3; ++pass) {
                const Steps again = TypeAndClear(box, list);
                for (size_t i = 0; i < steps.ms.size(); ++i) steps.ms[i] = std::min(steps.ms[i], again.ms[i]);
            }
            char line[64] = {};
            int at = 0;
            for (const double ms : steps.ms)
                at += std::snprintf(line + at, sizeof(line) - size_t(at), "%7.1f", ms);
            const double worst = *std::max_element(steps.ms.begin(), steps.ms.end());
            std::printf("%-9s %7d | %-42s | %9.1f %9.1f | ", first ? "control1" : "control2", rows, line,
                        Median(steps.ms), worst);
            if (fill > 0)
                std::printf("%10.1f %12.3f\n", fill, worst / fill);
            else
                std::printf("%10s %12s\n", "-", "-");
            std::printf("%-9s %7s   rows shown:", "", "");
            for (const int shown : steps.rows) std::printf(" %d", shown);
            std::printf("\n");
            top.reset();
            bench::Pump();
        }
    }
    ::RegDeleteTreeW(HKEY_CURRENT_USER, kMRUKeyPath);
    ::CoUninitialize();
    return 0;
}
