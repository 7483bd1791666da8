// Measures one AddressBook.AddNewContacts of 10 name and number pairs on each
// book, through COM by ProgID as a fax program calls it: the Windows address
// book (Windows Contacts, played by the address-book stand-in) and Outlook
// (its stand-in, a local server), the latter both started by the call and
// already running, and into an Outlook book of 10,000 contacts (the call
// lists the book before it adds: through the Table of Outlook 2007 and later,
// and, with --item-by-item, the way earlier Outlook is listed, item by item).
// Also the source comparison of n records against n shown keys, to show how
// it grows. Prints median and best; asserts nothing.
//   addressbook_bench [REPETITIONS] [--item-by-item]
// Registers the module and both stand-ins in the prefix, empties the
// Contacts folder and the Outlook stand-in's store before and after.
#include "com/com_ptr.h"
#include "com/strings.h"
#include "core/iab.h"
#include "module/VelPhonebook_h.h"
#include "sources/oab.h"
#include "support/outlook_fixture.h"
#include "sources/wab6.h"
#include "support/test_support.h"

#include <shlobj.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <random>
#include <string>
#include <vector>

using namespace testing_support;

namespace {

using Clock = std::chrono::steady_clock;
constexpr int kPairs = 10;
constexpr int kLargeBook = 10000;

std::wstring ContactsFolder() {
    wchar_t* path = nullptr;
    if (FAILED(::SHGetKnownFolderPath(FOLDERID_Contacts, KF_FLAG_CREATE, nullptr, &path))) return {};
    const std::wstring folder = std::wstring(path) + L"\\";
    ::CoTaskMemFree(path);
    return folder;
}

void ClearContacts() {
    const std::wstring folder = ContactsFolder();
    WIN32_FIND_DATAW data;
    const HANDLE find = ::FindFirstFileW((folder + L"*.contact").c_str(), &data);
    if (find == INVALID_HANDLE_VALUE) return;
    do ::DeleteFileW((folder + data.cFileName).c_str());
    while (::FindNextFileW(find, &data));
    ::FindClose(find);
}

com::UniqueSafeArray Strings(const std::vector<std::wstring>& texts) {
    SAFEARRAY* array = nullptr;
    com::MakeStringArray(texts, &array);
    return com::UniqueSafeArray(array);
}

struct Stats {
    double median;
    double best;
    int failures;
};

Stats Summarize(std::vector<double> ms, int failures) {
    std::sort(ms.begin(), ms.end());
    return {ms.empty() ? 0 : ms[ms.size() / 2], ms.empty() ? 0 : ms.front(), failures};
}

// One AddNewContacts of kPairs new names per repetition, on a fresh object.
Stats MeasureAdd(long book, int repetitions, const wchar_t* tag, bool outlookEndsBetween = false) {
    std::vector<double> ms;
    int failures = 0;
    CLSID clsid{};
    if (FAILED(::CLSIDFromProgID(L"Zantix.AddressBook", &clsid))) return {0, 0, repetitions};
    for (int rep = 0; rep < repetitions; ++rep) {
        std::vector<std::wstring> names, numbers;
        for (int i = 0; i < kPairs; ++i) {
            names.push_back(std::wstring(L"Bench ") + tag + L" " + std::to_wstring(rep) + L"." +
                            std::to_wstring(i));
            numbers.push_back(L"+49 30 " + std::to_wstring(1000000 + rep * 100 + i));
        }
        const com::UniqueSafeArray n = Strings(names), p = Strings(numbers);
        com::ComPtr<IAddressBook> object;
        if (FAILED(::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IAddressBook),
                                      object.put_void())) ||
            FAILED(object->SelectAddressBook(book))) {
            ++failures;
            continue;
        }
        const auto start = Clock::now();
        const HRESULT hr = object->AddNewContacts(n.get(), p.get());
        const auto end = Clock::now();
        if (hr != S_OK) {
            ++failures;
            continue;
        }
        ms.push_back(std::chrono::duration<double, std::milli>(end - start).count());
        // Outlook started by the call ends by itself: let it, so that the
        // next call starts it again.
        if (outlookEndsBetween) outlooktest::WaitForNoStandin(10000);
    }
    return Summarize(ms, failures);
}

void Print(const char* what, const Stats& stats, int repetitions) {
    std::printf("%-52s median %8.1f ms   best %8.1f ms   (%d runs, %d failed)\n", what, stats.median,
                stats.best, repetitions, stats.failures);
}

// A source whose records are given; only Compare is used.
class NoStore : public IAB {
public:
    HRESULT Connect() override { return S_OK; }
    void Disconnect() override {}
    HRESULT LoadAll(RecipientList&) override { return S_OK; }
    HRESULT Add(CRecipient&) override { return E_NOTIMPL; }
    HRESULT Delete(ULONG) override { return E_NOTIMPL; }
    HRESULT Get(ULONG, CRecipient&) override { return E_NOTIMPL; }
    HRESULT Modify(ULONG, const CRecipient&) override { return E_NOTIMPL; }
    bool SetNotifyWindow(HWND, bool) override { return false; }
};

// Where one call's time goes: the source's Connect, its LoadAll over what
// the earlier runs added, and one Add, on a source of the library directly.
template <class Source>
void MeasurePhases(const char* what, int repetitions) {
    std::vector<double> connect, load, add;
    size_t listed = 0;
    for (int rep = 0; rep < repetitions; ++rep) {
        Source source;
        auto start = Clock::now();
        if (FAILED(source.Connect())) continue;
        connect.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
        RecipientList records;
        start = Clock::now();
        source.LoadAll(records);
        listed = records.size();
        load.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
        CRecipient record;
        record.name = L"Bench phase " + std::to_wstring(rep);
        record.faxNumber = L"+49 30 2000000";
        start = Clock::now();
        if (SUCCEEDED(source.Add(record)))
            add.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
        source.Disconnect();
    }
    const Stats c = Summarize(connect, 0), l = Summarize(load, 0), a = Summarize(add, 0);
    std::printf("%-20s medians: Connect %7.1f ms, LoadAll of %zu %7.1f ms, one Add %7.1f ms\n", what,
                c.median, listed, l.median, a.median);
}

// n current records against n known keys, a tenth of them changed, shuffled.
void MeasureCompare(size_t n) {
    std::mt19937 random(7);
    RecipientList current;
    std::vector<ULONG_PTR> shown;
    for (size_t i = 0; i < n; ++i) {
        CRecipient r;
        r.key = i + 1;
        current.push_back(r);
        shown.push_back(i % 10 == 0 ? n + i + 1 : i + 1);
    }
    std::shuffle(shown.begin(), shown.end(), random);
    std::vector<double> ms;
    for (int rep = 0; rep < 5; ++rep) {
        NoStore source;
        KeyList known(shown.begin(), shown.end()), removed;
        RecipientList kept, added;
        const auto start = Clock::now();
        source.Compare(current, known, removed, kept, added);
        ms.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
    }
    const Stats stats = Summarize(ms, 0);
    std::printf("Compare, %7zu records against %7zu shown keys      median %8.2f ms   best %8.2f ms\n", n, n,
                stats.median, stats.best);
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    const int repetitions = argc > 1 ? std::max(1, _wtoi(argv[1])) : 7;
    bool itemByItem = false;
    for (int i = 1; i < argc; ++i) itemByItem = itemByItem || std::wstring(argv[i]) == L"--item-by-item";
    ComApartment apartment;
    const int module = RunRegsvr32(false);
    const int contacts = RunProcess(L"regsvr32.exe /s \"" + BinDir() + L"standin_wab32.dll\"");
    const int outlook = outlooktest::RunStandin(L"/RegServer");
    if (module != 0 || contacts != 0 || outlook != 0) {
        std::printf("registration failed: module %d, address-book stand-in %d, Outlook stand-in %d\n", module,
                    contacts, outlook);
        return 1;
    }
    outlooktest::WaitForNoStandin(10000);
    ClearContacts();
    outlooktest::DeleteStore();

    std::printf("AddNewContacts of %d pairs, a fresh AddressBook object each run:\n", kPairs);
    Print("Windows address book (Windows Contacts stand-in)", MeasureAdd(0, repetitions, L"wc"), repetitions);
    Print("Outlook, started by the call (stand-in)", MeasureAdd(1, repetitions, L"os", true), repetitions);
    {
        // A client of its own keeps the stand-in running, as a user's open
        // Outlook does.
        outlooktest::OutlookClient running;
        Print("Outlook, already running (stand-in)", MeasureAdd(1, repetitions, L"or"), repetitions);
    }
    {
        outlooktest::OutlookClient running;
        std::printf("Parts of one call (Outlook running):\n");
        MeasurePhases<CWAB6>("Windows Contacts", repetitions);
        MeasurePhases<COAB>("Outlook", repetitions);
    }
    {
        // A book of 10,000 items, Outlook running.
        outlooktest::WaitForNoStandin(10000);
        const size_t listed = outlooktest::WriteNumberedBook(kLargeBook);
        outlooktest::OutlookClient running;
        std::printf("Into an Outlook book of %d items (%zu fax recipients), Outlook running:\n", kLargeBook,
                    listed);
        Print("Outlook 16, listed through the Table", MeasureAdd(1, repetitions, L"big"), repetitions);
        if (itemByItem) {
            outlooktest::RunStandin(L"/Version 11.0");
            Print("Outlook 11, listed item by item", MeasureAdd(1, 1, L"big11"), 1);
            outlooktest::RunStandin(L"/Version");
        }
    }
    outlooktest::WaitForNoStandin(10000);
    outlooktest::DeleteStore();
    for (size_t n : {1000u, 10000u, 100000u}) MeasureCompare(n);

    outlooktest::WaitForNoStandin(10000);
    ClearContacts();
    outlooktest::DeleteStore();
    outlooktest::RunStandin(L"/UnregServer");
    return 0;
}
