// Measures the phonebook control's list against the floor of a bare report
// list view, at 1,000 and 10,000 rows, in one process. Prints, asserts
// nothing. The control runs hosted in Wine's ATL host on the recently used
// book; its reload is started at once (the message its 500 ms timer sends)
// instead of waiting for the timer, and the book's own LoadAll, which every
// reload includes, is timed apart and taken out. The machine is shared and
// noisy, and LoadAll of the registry-backed book costs more than the fill
// itself: every figure is the best of a few runs.
//   control_bench [ROWS...]   (default 1000 10000)
#include "com/com_ptr.h"
#include "com/unique_any.h"
#include "module/VelPhonebook_h.h"
#include "sources/mru_ab.h"
#include "sources/mru_store.h"

#include <commctrl.h>
#include <ocidl.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

double Since(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

void Pump() {
    MSG message;
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        ::TranslateMessage(&message);
        ::DispatchMessageW(&message);
    }
}

MRUEntryList Book(int rows, int generation) {
    MRUEntryList entries;
    for (int i = 0; i < rows; ++i) {
        MRUEntry entry;
        entry.identifier = L"id" + std::to_wstring(i);
        entry.name = L"Recipient " + std::to_wstring((i * 7919) % rows);
        entry.faxNumber = std::to_wstring(5550000 + i);
        entries.push_back(entry);
    }
    if (generation > 0) entries.front().name += L" (changed)";
    return entries;
}

// The module's common-controls 6 context, as the control creates its windows in.
class ModuleContext {
public:
    explicit ModuleContext(const std::wstring& module) {
        ACTCTXW context{};
        context.cbSize = sizeof(context);
        context.dwFlags = ACTCTX_FLAG_RESOURCE_NAME_VALID;
        context.lpSource = module.c_str();
        context.lpResourceName = MAKEINTRESOURCEW(2);
        m_context = ::CreateActCtxW(&context);
        if (m_context != INVALID_HANDLE_VALUE) ::ActivateActCtx(m_context, &m_cookie);
    }
    ~ModuleContext() {
        if (m_context == INVALID_HANDLE_VALUE) return;
        ::DeactivateActCtx(0, m_cookie);
        ::ReleaseActCtx(m_context);
    }

private:
    HANDLE m_context = INVALID_HANDLE_VALUE;
    ULONG_PTR m_cookie = 0;
};

double FloorFill(const MRUEntryList& entries, const std::wstring& module) {
    ModuleContext context(module);
    com::UniqueWindow list(::CreateWindowExW(0, WC_LISTVIEWW, L"", WS_POPUP | LVS_REPORT, 0, 0, 400, 300, nullptr,
                                             nullptr, nullptr, nullptr));
    for (int column = 0; column < 3; ++column) {
        LVCOLUMNW info{};
        info.mask = LVCF_WIDTH;
        info.cx = 90;
        ::SendMessageW(list.get(), LVM_INSERTCOLUMNW, column, reinterpret_cast<LPARAM>(&info));
    }
    const auto start = Clock::now();
    ::SendMessageW(list.get(), WM_SETREDRAW, FALSE, 0);
    int row = 0;
    for (const MRUEntry& entry : entries) {
        const std::wstring number = std::to_wstring(row + 1);
        LVITEMW item{};
        item.mask = LVIF_TEXT | LVIF_PARAM;
        item.iItem = row;
        item.pszText = const_cast<wchar_t*>(number.c_str());
        item.lParam = row + 1;
        const int index = int(::SendMessageW(list.get(), LVM_INSERTITEMW, 0, reinterpret_cast<LPARAM>(&item)));
        LVITEMW text{};
        text.iSubItem = 1;
        text.pszText = const_cast<wchar_t*>(entry.name.c_str());
        ::SendMessageW(list.get(), LVM_SETITEMTEXTW, index, reinterpret_cast<LPARAM>(&text));
        text.iSubItem = 2;
        text.pszText = const_cast<wchar_t*>(entry.faxNumber.c_str());
        ::SendMessageW(list.get(), LVM_SETITEMTEXTW, index, reinterpret_cast<LPARAM>(&text));
        ++row;
    }
    ::SendMessageW(list.get(), WM_SETREDRAW, TRUE, 0);
    return Since(start);
}

double LoadAllTime() {
    CMRUAB book;
    book.Connect();
    double best = 1e300;
    for (int run = 0; run < 5; ++run) {
        RecipientList records;
        const auto start = Clock::now();
        book.LoadAll(records);
        best = std::min(best, Since(start));
    }
    return best;
}

constexpr int kRuns = 3;

struct ControlTimes {
    double first = 1e300;   // the first fill, LoadAll included
    double reload = 1e300;  // the reload after one change, LoadAll included
    int shown = 0;
};

}  // namespace

int wmain(int argc, wchar_t** argv) {
    std::vector<int> sizes;
    for (int i = 1; i < argc; ++i) sizes.push_back(_wtoi(argv[i]));
    if (sizes.empty()) sizes = {1000, 10000};

    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    wchar_t self[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, self, MAX_PATH);
    std::wstring module = self;
    module = module.substr(0, module.find_last_of(L"\\/") + 1) + L"VelPhonebook64.dll";
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

    for (const int rows : sizes) {
        double floor = 1e300;
        for (int run = 0; run < kRuns; ++run) floor = std::min(floor, FloorFill(Book(rows, 0), module));
        ControlTimes times;
        double load = 1e300, reloadLoad = 1e300;
        for (int run = 0; run < kRuns; ++run) {
            SaveMRUStore(Book(rows, 0));
            load = std::min(load, LoadAllTime());
            com::UniqueWindow top(::CreateWindowExW(0, L"STATIC", L"", WS_POPUP | WS_VISIBLE, 0, 0, 420, 360, nullptr,
                                                    nullptr, nullptr, nullptr));
            const HWND host = ::CreateWindowExW(0, L"AtlAxWin100", L"Zantix.VelPhonebookControl",
                                                WS_CHILD | WS_VISIBLE, 10, 10, 400, 340, top.get(), nullptr, nullptr,
                                                nullptr);
            com::ComPtr<IUnknown> unknown;
            getControl(host, unknown.put());
            const auto control = unknown.query<IVelPhonebookControl3>();
            const auto window = unknown.query<IOleInPlaceObject>();
            HWND dialog = nullptr;
            if (!control || !window || FAILED(window->GetWindow(&dialog))) {
                std::printf("the control was not created\n");
                return 1;
            }
            control->SelectOutlookAddressBook(-1);
            auto start = Clock::now();
            ::SendMessageW(dialog, WM_TIMER, 123, 0);  // the reload, at once
            times.first = std::min(times.first, Since(start));
            times.shown = int(control->GetItemCount());
            Pump();

            SaveMRUStore(Book(rows, 1));  // one recipient renamed by somebody
            start = Clock::now();
            ::SendMessageW(dialog, WM_TIMER, 123, 0);
            times.reload = std::min(times.reload, Since(start));
            reloadLoad = std::min(reloadLoad, LoadAllTime());
            Pump();
            top.reset();
            Pump();
        }

        const double fill = std::max(0.0, times.first - load);
        const double change = std::max(0.0, times.reload - reloadLoad);
        std::printf("%6d rows (%d shown): floor %8.1f ms  LoadAll %8.1f ms  first fill %8.1f ms (%.2f x floor)"
                    "  reload after one change %7.1f ms (%.3f of the first fill)\n",
                    rows, times.shown, floor, load, fill, fill / floor, change, fill > 0 ? change / fill : 0.0);
    }
    // The store was the benchmark's own.
    ::RegDeleteTreeW(HKEY_CURRENT_USER, kMRUKeyPath);
    ::CoUninitialize();
    return 0;
}
