// Counts this process's threads and handles around many short uses of the
// Windows address book while one long use stays open (a control showing
// Windows Contacts in a long-running fax program): AddressBook.AddNewContacts
// on the Windows book, and book switches of a second control between the
// Windows book and the recently used list. Every use opens a source with a
// folder watcher; the counts must come back to where they started. Also
// prints the time per use. Asserts nothing.
//   watcher_bench [USES]   (default 1000)
// Registers the module and the address-book stand-in in the prefix and
// empties the Contacts folder before and after.
#include "com/com_ptr.h"
#include "com/strings.h"
#include "module/VelPhonebook_h.h"
#include "support/test_support.h"
#include "support/wab_fixture.h"

#include <shlobj.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

using namespace testing_support;

namespace {

using Clock = std::chrono::steady_clock;


com::ComPtr<IVelPhonebookControl3> MakeControl2() {
    CLSID clsid{};
    com::ComPtr<IVelPhonebookControl3> control;
    if (SUCCEEDED(::CLSIDFromProgID(L"Zantix.VelPhonebookControl2", &clsid)))
        ::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IVelPhonebookControl3,
                           control.put_void());
    return control;
}

void Report(const char* what, int uses, double ms, int threads0, int handles0) {
    // Watchers end within a few of their 10 ms turns; let the last ones go.
    ::Sleep(200);
    std::printf("%-44s %5d uses, %7.2f ms each: threads %d -> %d, handles %d -> %d\n", what, uses, ms / uses,
                threads0, ThreadCount(), handles0, HandleCount());
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    const int uses = argc > 1 ? std::max(1, _wtoi(argv[1])) : 1000;
    ComApartment apartment;
    if (RunRegsvr32(false) != 0 ||
        RunProcess(L"regsvr32.exe /s \"" + BinDir() + L"standin_wab32.dll\"") != 0) {
        std::printf("registration failed\n");
        return 1;
    }
    ClearContactsFolder();
    // The long use: a control on the Windows book for the whole run.
    const auto open = MakeControl2();
    if (!open || FAILED(open->SelectOutlookAddressBook(-1)) || FAILED(open->SelectOutlookAddressBook(0))) {
        std::printf("the control was not created\n");
        return 1;
    }
    CLSID bookClass{};
    ::CLSIDFromProgID(L"Zantix.AddressBook", &bookClass);
    {
        // One round first: what stays for the process (libraries, COM).
        com::ComPtr<IAddressBook> book;
        ::CoCreateInstance(bookClass, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IAddressBook), book.put_void());
        SAFEARRAY *names = nullptr, *numbers = nullptr;
        com::MakeStringArray({L"Bench"}, &names);
        com::MakeStringArray({L"555-0100"}, &numbers);
        if (book) book->AddNewContacts(names, numbers);
        ::SafeArrayDestroy(names);
        ::SafeArrayDestroy(numbers);
        const auto other = MakeControl2();
        if (other) other->SelectOutlookAddressBook(-1);
    }
    ::Sleep(200);

    int threads = ThreadCount(), handles = HandleCount();
    auto start = Clock::now();
    SAFEARRAY *names = nullptr, *numbers = nullptr;
    com::MakeStringArray({L"Bench"}, &names);
    com::MakeStringArray({L"555-0100"}, &numbers);
    int failed = 0;
    for (int i = 0; i < uses; ++i) {
        com::ComPtr<IAddressBook> book;
        if (FAILED(::CoCreateInstance(bookClass, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IAddressBook),
                                      book.put_void())) ||
            FAILED(book->SelectAddressBook(0)) || FAILED(book->AddNewContacts(names, numbers)))
            ++failed;
    }
    ::SafeArrayDestroy(names);
    ::SafeArrayDestroy(numbers);
    Report("AddressBook.AddNewContacts (Windows book)", uses,
           std::chrono::duration<double, std::milli>(Clock::now() - start).count(), threads, handles);
    if (failed) std::printf("  (%d calls failed)\n", failed);

    threads = ThreadCount();
    handles = HandleCount();
    auto switching = MakeControl2();
    start = Clock::now();
    for (int i = 0; i < uses && switching; ++i) switching->SelectOutlookAddressBook(i % 2 == 0 ? -1 : 0);
    const double ms = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    switching.reset();  // with it its last book and that book's watcher
    Report("second control, Windows book <-> recently used", uses, ms, threads, handles);

    ClearContactsFolder();
    return 0;
}
