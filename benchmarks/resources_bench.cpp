// What a long-running fax program keeps after many uses of the component:
// threads (all, and those running the module's code), handles and private
// bytes before and after
//   - Outlook dying at each call of a listing, under both controls and
//     AddressBook, and the same deaths under a plain client of Outlook's
//     object model that does not load the component (what Wine's COM keeps
//     on its own);
//   - AddressBook.AddNewContacts of one existing name on the Windows book and
//     on Outlook, and the same Windows Contacts calls made straight on the
//     platform's contact manager (what the address-book service keeps);
//   - controls switching between the Windows book and the recently used
//     list, each switch a Windows-book watcher started and stopped.
// Prints; asserts nothing.
//   resources_bench [DEATHS] [CALLS]   (defaults 100 and 1000)
// Registers the module and both stand-ins in the prefix; empties the Contacts
// folder and the Outlook stand-in's store before and after.
#include "com/com_ptr.h"
#include "com/strings.h"
#include "module/VelPhonebook_h.h"
#include "sources/contacts_api.h"
#include "support/control_host.h"
#include "support/outlook_fixture.h"
#include "support/test_support.h"
#include "support/wab_fixture.h"

#include <shlobj.h>

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

using namespace testing_support;

namespace {

struct Counts {
    int threads = 0;     // all of the process's
    int component = 0;   // running the module's code
    int handles = 0;
    double privateKB = 0;  // committed private memory
    double liveKB = 0;     // live heap blocks
};

Counts Take() {
    // Watchers and released Outlook proxies end within a few turns of their
    // threads and of COM's clean-up: let them go before counting.
    control_test::Pump(300);
    const MemoryKB memory = ProcessMemory();
    return {ThreadCount(), ComponentThreadCount(), HandleCount(), memory.committed, memory.live};
}

void Print(const std::string& what, int uses, const Counts& before, const Counts& after) {
    std::printf("| %-52s | %5d | %3d -> %3d | %2d -> %2d | %4d -> %4d | %6.0f -> %6.0f | %6.0f -> %6.0f (%+.1f KB per use) |\n",
                what.c_str(), uses, before.threads, after.threads, before.component, after.component,
                before.handles, after.handles, before.privateKB, after.privateKB, before.liveKB, after.liveKB,
                (after.liveKB - before.liveKB) / uses);
    std::fflush(stdout);
}

// Runs `use` once (what stays for the process: libraries, caches, COM's own
// workers), then `uses` times between two counts.
void Measure(const std::string& what, int uses, const std::function<void(int)>& use) {
    use(0);
    const Counts before = Take();
    for (int i = 1; i <= uses; ++i) use(i);
    Print(what, uses, before, Take());
}

void SetFault(const std::wstring& fault) {
    ::RegSetKeyValueW(HKEY_CURRENT_USER, L"Software\\StandinOutlook", L"Fault", REG_SZ, fault.c_str(),
                      DWORD((fault.size() + 1) * sizeof(wchar_t)));
}

// The members a listing calls, in its order: Outlook dies at the first call of
// the one a round picks.
const wchar_t* const kDeathPoints[] = {L"GetNamespace", L"GetDefaultFolder", L"Items", L"GetTable",
                                       L"GetArray",     L"FindConnectionPoint", L"Advise"};
constexpr int kDeathPointCount = int(sizeof kDeathPoints / sizeof *kDeathPoints);

std::wstring DeathAt(int round) { return std::wstring(L"exit ") + kDeathPoints[round % kDeathPointCount] + L" 1"; }

// round -1: Outlook does not die.
void OutlookDiesUnderControl(const wchar_t* progId, int round) {
    if (round >= 0) SetFault(DeathAt(round));
    {
        control_test::AtlHost host(360, 330, progId);
        if (const auto control = host.query<IVelPhonebookControl3>()) control->SelectOutlookAddressBook(1);
        control_test::Pump(50);
    }
    outlooktest::WaitForNoStandin(10000);
}

void AddOne(LONG book) {
    CLSID bookClass{};
    ::CLSIDFromProgID(L"Zantix.AddressBook", &bookClass);
    com::ComPtr<IAddressBook> object;
    ::CoCreateInstance(bookClass, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IAddressBook), object.put_void());
    SAFEARRAY *names = nullptr, *numbers = nullptr;
    com::MakeStringArray({L"Resource Bench"}, &names);
    com::MakeStringArray({L"555-0199"}, &numbers);
    if (object && SUCCEEDED(object->SelectAddressBook(book))) object->AddNewContacts(names, numbers);
    ::SafeArrayDestroy(names);
    ::SafeArrayDestroy(numbers);
}

// The platform's contact manager without the component: what a lookup of one
// name by the address-book service costs on its own (the calls the Windows
// book makes before it adds: every contact's name and numbers read).
void ListContactsDirectly() {
    com::ComPtr<IContactManager> manager;
    if (FAILED(::CoCreateInstance(CLSID_ContactManager, nullptr, CLSCTX_INPROC_SERVER, IID_IContactManager,
                                  manager.put_void())) ||
        FAILED(manager->Initialize(L"resources_bench", L"1.0")))
        return;
    com::ComPtr<IContactCollection> contacts;
    if (FAILED(manager->GetContactCollection(contacts.put()))) return;
    while (contacts->Next() == S_OK) {
        com::ComPtr<IContact> contact;
        if (FAILED(contacts->GetCurrent(contact.put()))) break;
        com::ComPtr<IContactProperties> properties = contact.query<IContactProperties>();
        wchar_t text[512];
        DWORD length = 0;
        if (properties) properties->GetString(L"NameCollection/Name[1]/FormattedName", CGD_DEFAULT, text, 512, &length);
    }
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    const int deaths = argc > 1 ? std::max(1, _wtoi(argv[1])) : 100;
    const int calls = argc > 2 ? std::max(1, _wtoi(argv[2])) : 1000;
    ComApartment apartment;
    if (RunRegsvr32(false) != 0 || RunProcess(L"regsvr32.exe /s \"" + BinDir() + L"standin_wab32.dll\"") != 0 ||
        outlooktest::RunStandin(L"/RegServer") != 0) {
        std::printf("registration failed\n");
        return 1;
    }
    outlooktest::WaitForNoStandin(10000);
    ClearContactsFolder();
    outlooktest::DeleteStore();
    outlooktest::WriteNumberedBook(12);
    std::printf("%s, %d-bit\n\n", "resources before and after (after one use first)", int(sizeof(void*) * 8));
    std::printf("| what | uses | threads | module's threads | handles | committed private KB | live heap KB |\n|---|---|---|---|---|---|---|\n");

    // Outlook dying, with and without the component.
    const auto plainClient = [](int round, bool dies) {
        SetFault(dies ? DeathAt(round) : L"");
        outlooktest::OutlookClient().ListAsTheBookDoes();
        outlooktest::WaitForNoStandin(10000);
    };
    Measure("Outlook started and let go, plain client", deaths, [&](int round) { plainClient(round, false); });
    Measure("Outlook dies, plain client (no component)", deaths, [&](int round) { plainClient(round, true); });
    Measure("Outlook started and let go by VelPhonebookControl", deaths, [](int) {
        SetFault(L"");
        OutlookDiesUnderControl(control_test::kProgId, -1);
    });
    Measure("Outlook dies under VelPhonebookControl", deaths,
            [](int round) { OutlookDiesUnderControl(control_test::kProgId, round); });
    Measure("Outlook dies under VelPhonebookControl2", deaths,
            [](int round) { OutlookDiesUnderControl(control_test::kProgId2, round); });
    Measure("Outlook dies under AddressBook.AddNewContacts", deaths, [](int round) {
        SetFault(DeathAt(round));
        AddOne(1);
        outlooktest::WaitForNoStandin(10000);
    });
    SetFault(L"");

    // Many adds of one name that is already there: each call looks the book
    // over and adds nothing.
    AddOne(0);
    Measure("AddNewContacts, Windows book (Contacts stand-in)", calls, [](int) { AddOne(0); });
    Measure("the contact manager listed directly (no component)", calls, [](int) { ListContactsDirectly(); });
    {
        outlooktest::OutlookClient running;  // keeps the stand-in up, as an open Outlook does
        Measure("AddNewContacts, Outlook (running)", calls, [](int) { AddOne(1); });
    }
    outlooktest::WaitForNoStandin(10000);

    // Windows-book watchers: each switch to the Windows book starts one, each
    // switch away stops it.
    {
        control_test::AtlHost host(360, 330, control_test::kProgId2);
        const auto control = host.query<IVelPhonebookControl3>();
        Measure("VelPhonebookControl2 switching Windows book <-> recent", calls, [&](int) {
            if (!control) return;
            control->SelectOutlookAddressBook(0);
            control->SelectOutlookAddressBook(-1);
        });
    }
    {
        control_test::AtlHost host(360, 330, control_test::kProgId);
        const auto control = host.query<IVelPhonebookControl3>();
        Measure("VelPhonebookControl switching Windows book <-> recent", calls, [&](int) {
            if (!control) return;
            control->SelectOutlookAddressBook(0);
            control->SelectOutlookAddressBook(-1);
        });
    }

    ClearContactsFolder();
    outlooktest::DeleteStore();
    outlooktest::RunStandin(L"/UnregServer");
    return 0;
}
