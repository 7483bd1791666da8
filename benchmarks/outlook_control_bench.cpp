// Times the phonebook control on an Outlook book from outside, through its
// public surface, as a user waits for it: from choosing "Outlook contacts"
// (SelectOutlookAddressBook(1)) until the list shows every fax recipient, and
// from a contact saved in Outlook by another client until the list shows it
// (Outlook's item event, the control's reload timer, the reload). Both waits
// include the control's reload timer. Runs against the Outlook stand-in,
// kept running by a client of the benchmark's own as a user's open Outlook
// is. Prints, asserts nothing.
//   outlook_control_bench [ITEMS] [VERSION] [RUNS]
// (default 10000 items, Outlook "16.0.0.4266", 3 runs; "11.0" lists item by
// item, as Outlook before 2007 does)
#include "com/com_ptr.h"
#include "com/invoke.h"
#include "com/strings.h"
#include "com/unique_any.h"
#include "module/VelPhonebook_h.h"
#include "support/outlook_fixture.h"
#include "support/test_support.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

using namespace outlooktest;

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

// Handles messages until the control shows `rows` rows; false after the timeout.
bool WaitForRows(IVelPhonebookControl3* control, long rows, DWORD timeoutMs) {
    const ULONGLONG deadline = ::GetTickCount64() + timeoutMs;
    while (control->GetItemCount() != rows) {
        if (::GetTickCount64() > deadline) return false;
        ::MsgWaitForMultipleObjects(0, nullptr, FALSE, 5, QS_ALLINPUT);
        Pump();
    }
    return true;
}

// A new contact with a business fax, saved by another client of Outlook.
bool SaveContact(OutlookClient& outlook, int n) {
    auto item = ObjectByName(outlook.application.get(), L"CreateItem", {com::LongArg(2)});
    if (!item) return false;
    com::UniqueBstr name(com::AllocBstr(L"Added " + std::to_wstring(n)));
    com::UniqueBstr fax(com::AllocBstr(L"+1 555 " + std::to_wstring(2000000 + n)));
    return SUCCEEDED(CallByName(item.get(), L"FullName", DISPATCH_PROPERTYPUT, {com::TextArg(name.get())},
                                nullptr)) &&
           SUCCEEDED(CallByName(item.get(), L"BusinessFaxNumber", DISPATCH_PROPERTYPUT,
                                {com::TextArg(fax.get())}, nullptr)) &&
           SUCCEEDED(CallByName(item.get(), L"Save", DISPATCH_METHOD, {}, nullptr));
}

double Median(std::vector<double> ms) {
    if (ms.empty()) return 0;
    std::sort(ms.begin(), ms.end());
    return ms[ms.size() / 2];
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    const int items = argc > 1 ? _wtoi(argv[1]) : 10000;
    const std::wstring version = argc > 2 ? argv[2] : L"16.0.0.4266";
    const int runs = argc > 3 ? std::max(1, _wtoi(argv[3])) : 3;

    testing_support::ComApartment apartment;
    WaitForNoStandin(10000);
    if (testing_support::RunRegsvr32(false) != 0 || RunStandin(L"/RegServer") != 0 ||
        RunStandin(L"/Version " + version) != 0) {
        std::printf("registration failed\n");
        return 1;
    }
    const HMODULE atl = ::LoadLibraryW(L"atl100.dll");
    using Init = BOOL(WINAPI*)();
    using GetControl = HRESULT(WINAPI*)(HWND, IUnknown**);
    reinterpret_cast<Init>(reinterpret_cast<void*>(::GetProcAddress(atl, "AtlAxWinInit")))();
    const auto getControl =
        reinterpret_cast<GetControl>(reinterpret_cast<void*>(::GetProcAddress(atl, "AtlAxGetControl")));

    long listed = long(WriteNumberedBook(items));
    std::vector<double> fill, reload;
    {
        OutlookClient outlook;  // the user's open Outlook
        for (int run = 0; run < runs; ++run) {
            com::UniqueWindow top(::CreateWindowExW(0, L"STATIC", L"", WS_POPUP | WS_VISIBLE, 0, 0, 420, 360,
                                                    nullptr, nullptr, nullptr, nullptr));
            const HWND host =
                ::CreateWindowExW(0, L"AtlAxWin100", L"Zantix.VelPhonebookControl", WS_CHILD | WS_VISIBLE, 10,
                                  10, 400, 340, top.get(), nullptr, nullptr, nullptr);
            com::ComPtr<IUnknown> unknown;
            getControl(host, unknown.put());
            const auto control = unknown.query<IVelPhonebookControl3>();
            if (!control) {
                std::printf("the control was not created\n");
                return 1;
            }
            // Let the first fill of the default book come and go first.
            const auto settle = Clock::now();
            while (Since(settle) < 1500) {
                ::MsgWaitForMultipleObjects(0, nullptr, FALSE, 20, QS_ALLINPUT);
                Pump();
            }
            auto start = Clock::now();
            control->SelectOutlookAddressBook(1);
            if (!WaitForRows(control.get(), listed, 900000)) {
                std::printf("run %d: the list did not fill (%ld rows)\n", run, long(control->GetItemCount()));
                break;
            }
            fill.push_back(Since(start));
            start = Clock::now();
            if (!SaveContact(outlook, run) || !WaitForRows(control.get(), listed + 1, 900000)) {
                std::printf("run %d: the new contact did not appear\n", run);
                break;
            }
            reload.push_back(Since(start));
            ++listed;
            control->SelectOutlookAddressBook(-1);
            top.reset();
            Pump();
        }
    }
    std::printf("Outlook %ls, %d items (%ld fax recipients at the start), %zu runs:\n", version.c_str(),
                items, listed - long(reload.size()), fill.size());
    std::printf("  choose Outlook until all shown   median %9.1f ms  (%.4f ms per recipient)\n", Median(fill),
                Median(fill) / std::max(1L, listed));
    std::printf("  contact saved until it is shown  median %9.1f ms\n", Median(reload));
    std::printf("  (both include the control's reload timer of 500 ms)\n");

    WaitForNoStandin(10000);
    RunStandin(L"/Version");
    DeleteStore();
    RunStandin(L"/UnregServer");
    return 0;
}
