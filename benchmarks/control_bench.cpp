// Measures the phonebook control's list against the floor of a bare report
// list view, at 1,000 and 10,000 rows, in one process. Prints, asserts
// nothing. The control runs hosted in Wine's ATL host on the recently used
// book and reloads the way it does in a host: on its own timer, after the book
// is chosen and after somebody renames one recipient. It times each reload
// itself and reports it in a line on the debugger output (the book read,
// LoadAll, and the list update after it, apart), which the benchmark catches
// in its own process: the debugger output is an exception that a vectored
// handler sees before the system's default handling.
// The machine is shared and noisy: every figure is the best of a few runs.
//   control_bench [ROWS...]   (default 1000 10000)
#include "com/com_ptr.h"
#include "com/unique_any.h"
#include "localization/language.h"
#include "module/VelPhonebook_h.h"
#include "sources/mru_ab.h"
#include "sources/mru_store.h"

#include "reload_log.h"

#include <commctrl.h>
#include <ocidl.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using bench::DebugOutput;
using bench::Pump;
using bench::Reload;

using Clock = std::chrono::steady_clock;

double Since(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
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
    if (generation > 0) entries.front().name += L" (changed " + std::to_wstring(generation) + L")";
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

// The floor: a bare report list view filled with the same rows, redraw off.
// Hidden, it is the list's own work alone; on screen (a visible child of the
// control's size in a visible window) it also pays for showing its scroll bar
// and repainting at the end, as every list that a user sees does.
double FloorFill(const MRUEntryList& entries, const std::wstring& module, bool onScreen) {
    ModuleContext context(module);
    com::UniqueWindow top(::CreateWindowExW(0, L"STATIC", L"", WS_POPUP | (onScreen ? WS_VISIBLE : 0), 0, 0, 420, 360,
                                            nullptr, nullptr, nullptr, nullptr));
    com::UniqueWindow list(::CreateWindowExW(0, WC_LISTVIEWW, L"",
                                             (onScreen ? WS_CHILD | WS_VISIBLE : WS_POPUP) | LVS_REPORT, 10, 10, 400,
                                             300, onScreen ? top.get() : nullptr, nullptr, nullptr, nullptr));
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

constexpr int kRuns = 3;

}  // namespace

int wmain(int argc, wchar_t** argv) {
    std::vector<int> sizes;
    for (int i = 1; i < argc; ++i) sizes.push_back(_wtoi(argv[i]));
    if (sizes.empty()) sizes = {1000, 10000};

    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    DebugOutput log;
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

    for (const int rows : sizes) {
        double hidden = 1e300, floor = 1e300;
        for (int run = 0; run < kRuns; ++run) {
            hidden = std::min(hidden, FloorFill(Book(rows, 0), module, false));
            floor = std::min(floor, FloorFill(Book(rows, 0), module, true));
            Pump();
        }
        Reload first, change;
        first.update = change.update = 1e300;
        bool complete = true;
        for (int run = 0; run < kRuns && complete; ++run) {
            SaveMRUStore(Book(rows, 0));
            com::UniqueWindow top(::CreateWindowExW(0, L"STATIC", L"", WS_POPUP | WS_VISIBLE, 0, 0, 420, 360, nullptr,
                                                    nullptr, nullptr, nullptr));
            const HWND host = ::CreateWindowExW(0, L"AtlAxWin100", L"Zantix.VelPhonebookControl",
                                                WS_CHILD | WS_VISIBLE, 10, 10, 400, 340, top.get(), nullptr, nullptr,
                                                nullptr);
            com::ComPtr<IUnknown> unknown;
            getControl(host, unknown.put());
            const auto control = unknown.query<IVelPhonebookControl3>();
            if (!control) {
                std::printf("the control was not created\n");
                return 1;
            }
            // Choosing the book starts the first fill on the control's timer,
            // as it does in a host.
            Reload reload;
            control->SelectOutlookAddressBook(-1);
            if (!log.NextReload(reload, 600000) || reload.added != unsigned(rows)) {
                std::printf("%6d rows: the first fill did not come (%lu added)\n", rows, reload.added);
                complete = false;
                break;
            }
            if (reload.update < first.update) first = reload;

            // Somebody renames one recipient and saves the store, which
            // rewrites it; the store's watcher starts the reload. A save seen
            // halfway gives a reload of its own: the one that counts is the
            // reload that sees the whole book again.
            SaveMRUStore(Book(rows, run + 1));
            bool seen = false;
            while (!seen && log.NextReload(reload, 600000)) seen = reload.shown == unsigned(rows);
            if (!seen) {
                std::printf("%6d rows: no reload after the change\n", rows);
                complete = false;
                break;
            }
            if (reload.update < change.update) change = reload;
            top.reset();
            Pump();
        }
        if (!complete) continue;
        std::printf("%6d rows: floor %.1f ms hidden, %.1f ms on screen; LoadAll %.1f ms\n"
                    "             first fill %.1f ms: %.2f x the floor on screen, %.2f x hidden\n"
                    "             reload after one change %.1f ms: %.3f of the first fill (LoadAll %.1f ms)\n",
                    rows, hidden, floor, first.read, first.update, first.update / floor, first.update / hidden,
                    change.update, change.update / first.update, change.read);
    }
    // The store was the benchmark's own.
    ::RegDeleteTreeW(HKEY_CURRENT_USER, kMRUKeyPath);
    ::CoUninitialize();
    return 0;
}
