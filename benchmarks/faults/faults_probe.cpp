// The probe of the fault tests: runs hostile cases against the component in a
// process of its own and reports each as a line, so that the program that
// started it sees a crash or a hang as what it is (see fault_runner.h).
//   faults_probe.exe CASEFILE FIRST
// Lines out: "start <i>", then "case <i> ok|wrong <ms> <detail>"; at the end
// "resources threads <a> <b> handles <c> <d> component <e> <f>" (after the
// first case and after the last, once every Outlook the cases started has
// ended; "component" counts the threads the module started), and "threads by
// start <module>:<n>..." (the module each remaining thread started in).
//
// Outlook cases ("<client> <path> <fault>"; fault "count" adds the calls the
// stand-in served, client "bare" is a client of Outlook without the
// component, for comparison): the stand-in's contacts are a
// numbered book; the fault is set, then the client uses Outlook: a hosted
// control (either class) switches to the Outlook book, or AddressBook adds a
// person to it. The list must end as the whole book or empty, the addition
// must be there exactly once when it reports success and at most once when
// not; then, with the fault taken away, a switch away and back must list the
// whole book again (another addition must succeed), and Outlook must end once
// the client lets go.
//
// Contacts cases ("contacts <seed>"): the Contacts folder gets intact
// contacts, contacts mutated at random and files that are not contacts at all;
// some are locked (opened without sharing) or deleted while the books are
// read. Windows Contacts (CWAB6) and the address-book library (CWAB5) list
// it: every intact contact that stays must be listed by both, and both must
// say S_OK.
#include "support/control_host.h"
#include "faults/fault_runner.h"
#include "support/outlook_fixture.h"
#include "support/wab_fixture.h"

#include "com/strings.h"
#include "sources/wab5.h"
#include "sources/wab6.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <set>
#include <sstream>
#include <map>
#include <thread>
#include <tlhelp32.h>

using namespace testing_support;

namespace {

using Clock = std::chrono::steady_clock;
constexpr wchar_t kSettingsKey[] = L"Software\\StandinOutlook";
constexpr int kBookItems = 12;  // 10 of them fax recipients (see WriteNumberedBook)

void Line(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::vprintf(format, args);
    va_end(args);
    std::fflush(stdout);
}

void SetSetting(const wchar_t* name, const std::wstring& value) {
    if (value.empty()) {
        ::RegDeleteKeyValueW(HKEY_CURRENT_USER, kSettingsKey, name);
        return;
    }
    ::RegSetKeyValueW(HKEY_CURRENT_USER, kSettingsKey, name, REG_SZ, value.c_str(),
                      DWORD((value.size() + 1) * sizeof(wchar_t)));
}

struct Outcome {
    bool ok = true;
    std::string detail;
    void Fail(const std::string& what) {
        if (!detail.empty()) detail += "; ";
        ok = false;
        detail += what;
    }
    void Note(const std::string& what) {
        if (!detail.empty()) detail += "; ";
        detail += what;
    }
};

std::string Hex(HRESULT hr) {
    char text[16];
    std::snprintf(text, sizeof text, "%08lX", static_cast<unsigned long>(hr));
    return text;
}

// ----------------------------------------------------------------- Outlook --

std::vector<std::wstring> SortedNames(IVelPhonebookControl3* control) {
    std::vector<std::wstring> names;
    for (int i = 0, count = int(control->GetItemCount()); i < count; ++i) {
        com::UniqueBstr name;
        if (control->GetItem(i, nullptr, name.put(), nullptr) == HRESULT(i)) names.emplace_back(name.get());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::wstring> ExpectedNames() {
    std::vector<std::wstring> names;
    for (int i = 0; i < kBookItems; ++i)
        if (i % 20 != 7 && i % 20 != 13) names.push_back(L"Contact " + std::to_wstring(i));
    std::sort(names.begin(), names.end());
    return names;
}

size_t StoreCount(const std::wstring& name) {
    size_t count = 0;
    for (const std::wstring& line : outlooktest::ReadStore())
        if (line.find(L"FullName=" + name + L"\t") != std::wstring::npos ||
            (line.size() >= name.size() + 9 &&
             line.compare(line.size() - name.size() - 9, std::wstring::npos, L"FullName=" + name) == 0))
            ++count;
    return count;
}

HRESULT AddToOutlook(const std::wstring& name, const std::wstring& number) {
    CLSID clsid{};
    RETURN_IF_FAILED(::CLSIDFromProgID(L"Zantix.AddressBook", &clsid));
    com::ComPtr<IAddressBook> book;
    RETURN_IF_FAILED(
        ::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IAddressBook), book.put_void()));
    RETURN_IF_FAILED(book->SelectAddressBook(1));
    com::UniqueSafeArray names(::SafeArrayCreateVector(VT_BSTR, 0, 1)),
        numbers(::SafeArrayCreateVector(VT_BSTR, 0, 1));
    LONG at = 0;
    com::UniqueBstr n(com::AllocBstr(name)), f(com::AllocBstr(number));
    ::SafeArrayPutElement(names.get(), &at, n.get());
    ::SafeArrayPutElement(numbers.get(), &at, f.get());
    return book->AddNewContacts(names.get(), numbers.get());
}

// Whether the module has let go of every object it made (the host could
// unload it); true when it is not loaded at all.
bool ModuleIdle() {
    const HMODULE module = ::GetModuleHandleW(L"VelPhonebook64.dll");
    if (!module) return true;
    using CanUnload = HRESULT(STDAPICALLTYPE*)();
    const auto canUnload =
        reinterpret_cast<CanUnload>(reinterpret_cast<void*>(::GetProcAddress(module, "DllCanUnloadNow")));
    return !canUnload || canUnload() == S_OK;
}

void EndStandins(Outcome& outcome) {
    if (outlooktest::WaitForNoStandin(10000)) return;
    outcome.Fail("Outlook still running after its client let go");
    for (DWORD id : outlooktest::StandinProcesses()) {
        com::UniqueHandle process(::OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, id));
        if (process) {
            ::TerminateProcess(process.get(), 1);
            ::WaitForSingleObject(process.get(), 5000);
        }
    }
}

Outcome RunOutlookCase(const std::string& client, const std::string& path, const std::string& fault) {
    Outcome outcome;
    // What an earlier case left is that case's verdict, not this one's.
    const bool idle = ModuleIdle();
    if (!outlooktest::WaitForNoStandin(10000)) EndStandins(outcome);
    outlooktest::WriteNumberedBook(kBookItems);
    SetSetting(L"TableFails", L"");
    SetSetting(L"Version", path == "items" ? L"11.0.0.8002" : L"");
    const bool counting = fault == "count";
    SetSetting(L"Fault", fault == "none" || counting ? L"" : FromUtf8(fault));
    const std::vector<std::wstring> expected = ExpectedNames();
    // Counting: a client of its own holds Outlook while the case runs and
    // asks it how many calls it served (its own two included).
    std::unique_ptr<outlooktest::OutlookClient> counter;
    if (counting) counter = std::make_unique<outlooktest::OutlookClient>();
    const auto noteCalls = [&] {
        if (counter) outcome.Note("calls " + std::to_string(counter->CallCount() - 2));
        counter.reset();
    };

    if (client == "bare") {
        // A client of Outlook's own, without the component: what the platform
        // itself keeps of a server that went away.
        {
            outlooktest::OutlookClient bare;
            outcome.Note("count " + std::to_string(bare.RestrictedCount(L"[BusinessFaxNumber] <> ''")));
        }
        SetSetting(L"Fault", L"");
        EndStandins(outcome);
        return outcome;
    }
    if (client == "addressbook") {
        const HRESULT hr = AddToOutlook(L"Fault Person", L"555 0199");
        const size_t stored = StoreCount(L"Fault Person");
        noteCalls();
        outcome.Note("add " + Hex(hr));
        if (hr == S_OK && stored != 1)
            outcome.Fail("reported added, stored " + std::to_string(stored) + " times");
        if (FAILED(hr) && stored > 1) outcome.Fail("failed, stored " + std::to_string(stored) + " times");
        if (hr != S_OK && SUCCEEDED(hr)) outcome.Fail("unclear success code");
        SetSetting(L"Fault", L"");
        EndStandins(outcome);
        const HRESULT again = AddToOutlook(L"Second Person", L"555 0200");
        if (again != S_OK || StoreCount(L"Second Person") != 1)
            outcome.Fail("no recovery: add " + Hex(again));
        EndStandins(outcome);
        if (idle && !ModuleIdle()) outcome.Fail("the module still holds objects");
        return outcome;
    }

    {
        control_test::AtlHost host(
            360, 330, client == "control" ? L"Zantix.VelPhonebookControl" : L"Zantix.VelPhonebookControl2");
        const auto control = host.query<IVelPhonebookControl3>();
        if (!control) {
            outcome.Fail("no control");
            return outcome;
        }
        control_test::Pump(100);
        const HRESULT hr = control->SelectOutlookAddressBook(1);
        outcome.Note("select " + Hex(hr));
        if (hr != S_OK && SUCCEEDED(hr)) outcome.Fail("unclear success code");
        // The list fills from the reload timer; wait for the whole book, and
        // give a list that is not whole the time of a reload more.
        std::vector<std::wstring> names;
        control_test::PumpUntil([&] { return (names = SortedNames(control.get())) == expected; }, 2000);
        if (names != expected) {
            control_test::Pump(600);
            names = SortedNames(control.get());
        }
        if (names != expected && !names.empty())
            outcome.Fail("list has " + std::to_string(names.size()) + " of " +
                         std::to_string(expected.size()) + " rows");
        outcome.Note(names.empty() ? "empty" : names == expected ? "whole" : "partial");
        noteCalls();

        // Outlook back: choosing it again lists it whole (a book that could
        // not be read is opened again), and so do away and back.
        SetSetting(L"Fault", L"");
        const HRESULT again = control->SelectOutlookAddressBook(1);
        if (again != S_OK) outcome.Fail("choosing Outlook again " + Hex(again));
        if (!control_test::PumpUntil([&] { return SortedNames(control.get()) == expected; }, 8000))
            outcome.Fail("choosing Outlook again: " + std::to_string(SortedNames(control.get()).size()) +
                         " rows");
        const HRESULT away = control->SelectOutlookAddressBook(-1);
        const HRESULT back = control->SelectOutlookAddressBook(1);
        if (FAILED(away) || back != S_OK) outcome.Fail("switch back " + Hex(away) + " " + Hex(back));
        if (!control_test::PumpUntil([&] { return SortedNames(control.get()) == expected; }, 8000))
            outcome.Fail("no recovery: " + std::to_string(SortedNames(control.get()).size()) + " rows");
    }
    control_test::Pump(50);
    EndStandins(outcome);
    if (idle && !ModuleIdle()) outcome.Fail("the module still holds objects");
    return outcome;
}

// ---------------------------------------------------------------- Contacts --

std::string Mutate(faults::Random& random, std::string doc, std::string& kind) {
    switch (random.Below(14)) {
        case 0:
            kind = "truncated";
            return doc.substr(0, random.Below(unsigned(doc.size())));
        case 1: {
            kind = "flipped";
            for (unsigned i = 0, n = 1 + random.Below(8); i < n; ++i)
                doc[random.Below(unsigned(doc.size()))] ^= char(1 << random.Below(8));
            return doc;
        }
        case 2: {
            kind = "random bytes";
            for (unsigned i = 0, n = 1 + random.Below(16); i < n; ++i)
                doc.insert(doc.begin() + random.Below(unsigned(doc.size())), char(random.Below(256)));
            return doc;
        }
        case 3: {
            kind = "utf-16 declared, utf-8 written";
            const size_t at = doc.find("UTF-8");
            if (at != std::string::npos) doc.replace(at, 5, "UTF-16");
            return doc;
        }
        case 4: {
            kind = "utf-16";
            std::wstring wide = FromUtf8(doc);
            std::string bytes;
            if (random.Below(2)) bytes = "\xFF\xFE";
            const size_t at = wide.find(L"UTF-8");
            if (at != std::wstring::npos) wide.replace(at, 5, L"UTF-16");
            bytes.append(reinterpret_cast<const char*>(wide.data()), wide.size() * 2);
            return bytes;
        }
        case 5: {
            kind = "latin-1 bytes";
            const size_t at = doc.find("<c:FormattedName>");
            if (at != std::string::npos) doc.insert(at + 17, "M\xFCller \xE9\xE8");
            return doc;
        }
        case 6: {
            kind = "huge name";
            const size_t at = doc.find("<c:FormattedName>");
            if (at != std::string::npos)
                doc.insert(at + 17, std::string(size_t(1) << (16 + random.Below(6)), 'N'));
            return doc;
        }
        case 7: {
            kind = "huge number";
            const size_t at = doc.find("<c:Number>");
            if (at != std::string::npos)
                doc.insert(at + 10, std::string(size_t(1) << (14 + random.Below(6)), '5'));
            return doc;
        }
        case 8: {
            kind = "deep nesting";
            const size_t depth = size_t(100) << random.Below(8);
            std::string open, close;
            for (size_t i = 0; i < depth; ++i) open += "<c:x>", close += "</c:x>";
            const size_t at = doc.find("<c:FormattedName>");
            if (at != std::string::npos) doc.insert(at, open + close);
            return doc;
        }
        case 9: {
            kind = "entity expansion";
            std::string dtd = "<!DOCTYPE c:contact [<!ENTITY a0 \"laugh\">";
            for (int i = 1; i < 12; ++i)
                dtd += "<!ENTITY a" + std::to_string(i) + " \"" + std::string() + "&a" +
                       std::to_string(i - 1) + ";&a" + std::to_string(i - 1) + ";&a" + std::to_string(i - 1) +
                       ";&a" + std::to_string(i - 1) + ";&a" + std::to_string(i - 1) + ";&a" +
                       std::to_string(i - 1) + ";&a" + std::to_string(i - 1) + ";&a" + std::to_string(i - 1) +
                       ";\">";
            dtd += "]>";
            const size_t decl = doc.find("?>");
            doc.insert(decl + 2, dtd);
            const size_t at = doc.find("<c:FormattedName>");
            if (at != std::string::npos) doc.insert(at + 17, "&a11;");
            return doc;
        }
        case 10: {
            kind = "external entity";
            const size_t decl = doc.find("?>");
            doc.insert(decl + 2,
                       "<!DOCTYPE c:contact [<!ENTITY ext SYSTEM \"file:///C:/windows/win.ini\">]>");
            const size_t at = doc.find("<c:FormattedName>");
            if (at != std::string::npos) doc.insert(at + 17, "&ext;");
            return doc;
        }
        case 11:
            kind = "empty";
            return {};
        case 12: {
            kind = "no identifier";
            const size_t from = doc.find("<c:ContactIDCollection>");
            const size_t to = doc.find("</c:ContactIDCollection>");
            if (from != std::string::npos && to != std::string::npos) doc.erase(from, to + 24 - from);
            return doc;
        }
        default: {
            kind = "other root";
            return "<?xml version=\"1.0\"?><html><body>not a contact</body></html>";
        }
    }
}

struct Person {
    std::wstring file, id, name, fax;
};

Person MakePerson(faults::Random& random, const std::wstring& prefix, int i) {
    Person person;
    wchar_t id[64];
    std::swprintf(id, 64, L"%08x-%04x-4%03x-8%03x-%012x", random.Next(), random.Below(0x10000),
                  random.Below(0x1000), random.Below(0x1000), random.Next());
    person.id = id;
    person.name = prefix + L" " + std::to_wstring(i) + L" " + std::to_wstring(random.Below(100000));
    person.fax = L"+49 30 " + std::to_wstring(100000 + random.Below(900000));
    person.file = prefix + std::to_wstring(i) + L".contact";
    return person;
}

ContactXml XmlOf(const Person& person) {
    return ContactXml{person.id, person.name, {PhoneElement{{L"Fax", L"Business"}, person.fax}}};
}

bool Lists(const RecipientList& list, const Person& person) {
    for (const CRecipient& r : list)
        if (r.name == person.name && r.faxNumber == person.fax) return true;
    return false;
}

Outcome RunContactsCase(unsigned seed) {
    Outcome outcome;
    faults::Random random(seed);
    ClearContactsFolder();
    std::vector<Person> intact, locked, deleted;
    std::vector<std::wstring> kinds;
    const int intactCount = 1 + int(random.Below(6));
    for (int i = 0; i < intactCount; ++i) {
        intact.push_back(MakePerson(random, L"Intact", i));
        WriteContact(intact.back().file, XmlOf(intact.back()));
    }
    const int hostileCount = 1 + int(random.Below(4));
    std::string kindsText;
    for (int i = 0; i < hostileCount; ++i) {
        const Person person = MakePerson(random, L"Hostile", i);
        std::string kind;
        const std::string bytes = Mutate(random, ContactDocument(XmlOf(person)), kind);
        WriteContactsFile(person.file, bytes);
        kindsText += (kindsText.empty() ? "" : ",") + kind;
    }
    if (random.Below(4) == 0) {
        ::CreateDirectoryW((ContactsFolder() + L"\\Folder.contact").c_str(), nullptr);
        kindsText += ",folder";
    }
    // Locked: opened by another program without sharing for the whole read.
    std::vector<com::UniqueFile> locks;
    if (random.Below(3) == 0) {
        locked.push_back(MakePerson(random, L"Locked", 0));
        const std::wstring path = WriteContact(locked.back().file, XmlOf(locked.back()));
        locks.emplace_back(::CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                         OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
        kindsText += ",locked";
    }
    // Deleted while the books are read, from another thread.
    const int deleteCount = random.Below(3) == 0 ? 1 + int(random.Below(20)) : 0;
    for (int i = 0; i < deleteCount; ++i) {
        deleted.push_back(MakePerson(random, L"Gone", i));
        WriteContact(deleted.back().file, XmlOf(deleted.back()));
    }
    if (deleteCount) kindsText += ",deleted while read";
    outcome.Note(kindsText);

    std::atomic<bool> stop{false};
    std::thread deleter;
    if (deleteCount)
        deleter = std::thread([&, pause = random.Below(20)] {
            ::Sleep(pause);
            for (const Person& person : deleted) {
                if (stop) break;
                ::DeleteFileW((ContactsFolder() + L"\\" + person.file).c_str());
                ::Sleep(1);
            }
        });

    RecipientList six, five;
    HRESULT sixHr = E_UNEXPECTED, fiveHr = E_UNEXPECTED;
    {
        CWAB6 source;
        sixHr = source.Connect();
        if (SUCCEEDED(sixHr)) sixHr = source.LoadAll(six);
    }
    {
        CWAB5 source;
        fiveHr = source.Connect();
        if (SUCCEEDED(fiveHr)) fiveHr = source.LoadAll(five);
    }
    stop = true;
    if (deleter.joinable()) deleter.join();
    locks.clear();

    if (sixHr != S_OK) outcome.Fail("Windows Contacts " + Hex(sixHr));
    if (fiveHr != S_OK) outcome.Fail("address-book library " + Hex(fiveHr));
    for (const Person& person : intact) {
        if (!Lists(six, person)) outcome.Fail("Windows Contacts lost " + Utf8(person.file));
        if (!Lists(five, person)) outcome.Fail("address-book library lost " + Utf8(person.file));
    }
    outcome.Note("listed " + std::to_string(six.size()) + "/" + std::to_string(five.size()));
    ClearContactsFolder();
    ::RemoveDirectoryW((ContactsFolder() + L"\\Folder.contact").c_str());
    return outcome;
}

// The module each thread of this process started in, with counts.
std::string ThreadsByStart() {
    using Query = LONG(WINAPI*)(HANDLE, ULONG, void*, ULONG, ULONG*);
    const auto query = reinterpret_cast<Query>(
        reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "NtQueryInformationThread")));
    std::map<std::string, int> owners;
    com::UniqueFile snapshot(::CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = ::Thread32First(snapshot.get(), &entry); more; more = ::Thread32Next(snapshot.get(), &entry)) {
        if (entry.th32OwnerProcessID != ::GetCurrentProcessId()) continue;
        com::UniqueHandle thread(::OpenThread(THREAD_QUERY_INFORMATION, FALSE, entry.th32ThreadID));
        void* start = nullptr;
        HMODULE module = nullptr;
        wchar_t name[MAX_PATH] = L"?";
        if (thread && query(thread.get(), 9 /* ThreadQuerySetWin32StartAddress */, &start, sizeof start, nullptr) == 0 &&
            ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                                 static_cast<LPCWSTR>(start), &module))
            ::GetModuleFileNameW(module, name, MAX_PATH);
        const std::wstring path = name;
        ++owners[Utf8(path.substr(path.find_last_of(L"\\/") + 1))];
    }
    std::string text;
    for (const auto& [owner, count] : owners) text += " " + owner + ":" + std::to_string(count);
    return text;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc < 3) {
        std::fputws(L"usage: faults_probe.exe CASEFILE FIRST\n", stderr);
        return 2;
    }
    ComApartment apartment;
    std::vector<std::string> cases;
    {
        std::ifstream in(argv[1], std::ios::binary);
        for (std::string line; std::getline(in, line);) {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            cases.push_back(line);
        }
    }
    const size_t first = size_t(_wtoi(argv[2]));
    int threads0 = -1, handles0 = -1, component0 = -1;
    for (size_t i = first; i < cases.size(); ++i) {
        Line("start %zu\n", i);
        std::istringstream in(cases[i]);
        std::string what;
        in >> what;
        const auto start = Clock::now();
        Outcome outcome;
        if (what == "contacts") {
            unsigned seed = 0;
            in >> seed;
            outcome = RunContactsCase(seed);
        } else {
            std::string path, fault;
            in >> path;
            std::getline(in, fault);
            if (!fault.empty() && fault[0] == ' ') fault.erase(0, 1);
            outcome = RunOutlookCase(what, path, fault);
        }
        const double ms = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
        Line("case %zu %s %.1f %s\n", i, outcome.ok ? "ok" : "wrong", ms, outcome.detail.c_str());
        if (i == first) {
            ::Sleep(200);
            threads0 = ThreadCount();
            handles0 = HandleCount();
            component0 = ComponentThreadCount();
        }
    }
    ::Sleep(200);
    if (threads0 >= 0) {
        Line("resources threads %d %d handles %d %d component %d %d\n", threads0, ThreadCount(), handles0,
             HandleCount(), component0, ComponentThreadCount());
        Line("threads by start%s\n", ThreadsByStart().c_str());
    }
    SetSetting(L"Fault", L"");
    SetSetting(L"Version", L"");
    return 0;
}
