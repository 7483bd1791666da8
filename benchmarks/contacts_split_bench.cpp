// Where the time of listing the Windows address book goes, per contact, at
// 1,000 and 10,000 contacts in the Contacts folder (through the address-book
// stand-in library, as the sources reach the system's): reading the files
// alone, the contact manager's walk over them (each file parsed into a
// contact), and the whole LoadFaxRecipients of the Windows Contacts source
// (the walk, the property reads through IContactProperties, the identifier
// table and the list) and of the Windows Address Book source. Every figure is
// the median of a few runs. Prints, asserts nothing.
//   contacts_split_bench [CONTACTS...]   (default 1000 10000)
#include "com/com_ptr.h"
#include "com/unique_any.h"
#include "sources/contacts_api.h"
#include "sources/wab5.h"
#include "sources/wab6.h"
#include "support/wab_fixture.h"
#include "support/test_support.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

using namespace testing_support;

namespace {

using Clock = std::chrono::steady_clock;
constexpr int kRuns = 3;

template <class Body>
double MedianMs(Body&& body) {
    std::vector<double> ms;
    for (int i = 0; i < kRuns; ++i) {
        const auto start = Clock::now();
        body();
        ms.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
    }
    std::sort(ms.begin(), ms.end());
    return ms[ms.size() / 2];
}

void WriteBook(int count) {
    ClearContactsFolder();
    for (int i = 0; i < count; ++i) {
        wchar_t id[64];
        swprintf(id, 64, L"%08x-1b2c-4d3e-8f40-%012d", 0x5eed0000u + unsigned(i), i);
        ContactXml contact;
        contact.id = id;
        contact.name = L"Recipient " + std::to_wstring(i);
        contact.phones.push_back({{L"Fax", L"Business"}, L"+1 555 " + std::to_wstring(100000 + i)});
        if (i % 3 == 0) contact.phones.push_back({{L"Voice"}, L"+1 555 0"});
        WriteContact(L"Recipient " + std::to_wstring(i) + L".contact", contact);
    }
}

// Every file of the folder read into memory: the floor of any listing.
size_t ReadFiles() {
    size_t bytes = 0;
    const std::wstring folder = ContactsFolder() + L"\\";
    for (const std::wstring& name : FilesIn(ContactsFolder(), L"*.contact"))
        bytes += ReadFileBytes(folder + name).size();
    return bytes;
}

// The contact manager's walk: every contact parsed and handed out.
size_t WalkContacts() {
    com::ComPtr<IContactManager> manager;
    if (FAILED(::CoCreateInstance(CLSID_ContactManager, nullptr, CLSCTX_ALL, IID_IContactManager,
                                  manager.put_void())) ||
        FAILED(manager->Initialize(kContactsAppName, kContactsAppVersion)))
        return 0;
    com::ComPtr<IContactCollection> contacts;
    if (FAILED(manager->GetContactCollection(contacts.put())) || !contacts) return 0;
    size_t count = 0;
    contacts->Reset();
    while (contacts->Next() == S_OK) {
        com::ComPtr<IContact> contact;
        if (SUCCEEDED(contacts->GetCurrent(contact.put())) && contact) ++count;
    }
    return count;
}

template <class Source>
size_t List() {
    Source source;
    if (FAILED(source.Connect())) return 0;
    RecipientList list;
    source.LoadFaxRecipients(list);
    return list.size();
}

struct Split {
    int contacts = 0;
    double files = 0, walk = 0, contactsSource = 0, addressBook = 0;
};

void Print(const char* what, double small, double large, int smallCount, int largeCount) {
    std::printf("  %-44s %9.1f us %9.1f us   exponent %5.2f\n", what, small * 1000 / smallCount,
                large * 1000 / largeCount,
                std::log(large / small) / std::log(double(largeCount) / smallCount));
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    std::vector<int> sizes;
    for (int i = 1; i < argc; ++i) sizes.push_back(_wtoi(argv[i]));
    if (sizes.size() < 2) sizes = {1000, 10000};
    ComApartment apartment;
    if (RegisterStandIn() != 0) std::printf("registering the address-book stand-in failed\n");
    std::vector<Split> splits;
    for (const int n : sizes) {
        WriteBook(n);
        Split s;
        s.contacts = n;
        size_t seen = 0;
        s.files = MedianMs([&] { seen = ReadFiles(); });
        s.walk = MedianMs([&] { seen = WalkContacts(); });
        if (seen != size_t(n)) std::printf("  ! the walk met %zu of %d contacts\n", seen, n);
        s.contactsSource = MedianMs([&] { seen = List<CWAB6>(); });
        if (seen != size_t(n)) std::printf("  ! Windows Contacts listed %zu of %d\n", seen, n);
        s.addressBook = MedianMs([&] { seen = List<CWAB5>(); });
        if (seen != size_t(n)) std::printf("  ! the Windows Address Book listed %zu of %d\n", seen, n);
        splits.push_back(s);
    }
    for (size_t i = 1; i < splits.size(); ++i) {
        const Split& a = splits[i - 1];
        const Split& b = splits[i];
        std::printf("Per contact at %d and %d contacts (median of %d runs):\n", a.contacts, b.contacts,
                    kRuns);
        Print("files read alone", a.files, b.files, a.contacts, b.contacts);
        Print("contact manager's walk (files parsed)", a.walk, b.walk, a.contacts, b.contacts);
        Print("Windows Contacts source, LoadFaxRecipients", a.contactsSource, b.contactsSource, a.contacts,
              b.contacts);
        // The source's own reading (its property reads, identifier table and
        // list) is what it costs beyond the walk; below the noise it prints
        // negative.
        std::printf("  %-44s %9.1f us %9.1f us\n", "  beyond the walk (the source's own reading)",
                    (a.contactsSource - a.walk) * 1000 / a.contacts,
                    (b.contactsSource - b.walk) * 1000 / b.contacts);
        Print("Windows Address Book source, LoadFaxRecipients", a.addressBook, b.addressBook, a.contacts,
              b.contacts);
    }
    ClearContactsFolder();
    return 0;
}
