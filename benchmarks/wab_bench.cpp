// Measures LoadFaxRecipients of the Windows address-book sources over 1,000
// and 10,000 contacts in the Contacts folder (through the stand-in library),
// with the growth exponent from the smaller to the larger count. It also
// measures the identifier table alone for the identifiers of each load: the
// index the table uses now against a copy of the scan it used before.
// Prints, asserts nothing. Registers the stand-in beside it and empties the
// Contacts folder when done.
//   wab_bench [SMALL [LARGE]]
#include "core/iab.h"
#include "sources/wab5.h"
#include "sources/wab6.h"

#include <shlobj.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

double MsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// The identifier table as it was: a scan from position 0 for every lookup.
class ScanTable {
public:
    ULONG_PTR KeyFromIdentifier(const std::wstring& identifier) {
        const auto found = std::find(m_identifiers.begin(), m_identifiers.end(), identifier);
        if (found != m_identifiers.end()) return ULONG_PTR(found - m_identifiers.begin());
        m_identifiers.push_back(identifier);
        return m_identifiers.size() - 1;
    }

private:
    std::vector<std::wstring> m_identifiers{std::wstring()};
};

// The table as it is now, reached through a source that does nothing else.
class IndexTable : public IAB {
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

std::wstring ContactsFolder() {
    PWSTR path = nullptr;
    if (FAILED(::SHGetKnownFolderPath(FOLDERID_Contacts, KF_FLAG_CREATE, nullptr, &path))) return {};
    std::wstring folder = path;
    ::CoTaskMemFree(path);
    return folder;
}

void ClearContacts(const std::wstring& folder) {
    WIN32_FIND_DATAW found;
    const HANDLE search = ::FindFirstFileW((folder + L"\\*.contact").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return;
    do ::DeleteFileW((folder + L"\\" + found.cFileName).c_str());
    while (::FindNextFileW(search, &found));
    ::FindClose(search);
}

// Contacts numbered from `from` up to `to`, written as another program would.
void WriteContacts(const std::wstring& folder, int from, int to) {
    for (int i = from; i < to; ++i) {
        char id[64];
        std::snprintf(id, sizeof id, "%08x-1b2c-4d3e-8f40-%012d", 0x5eed0000u + unsigned(i), i);
        const std::string name = "Recipient " + std::to_string(i);
        const std::string xml =
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<c:contact c:Version=\"1\" "
            "xmlns:c=\"http://schemas.microsoft.com/Contact\"><c:ContactIDCollection><c:ContactID><c:Value>" +
            std::string(id) + "</c:Value></c:ContactID></c:ContactIDCollection><c:NameCollection><c:Name>"
            "<c:FormattedName>" + name + "</c:FormattedName></c:Name></c:NameCollection><c:PhoneNumberCollection>"
            "<c:PhoneNumber><c:Number>+1 555 " + std::to_string(100000 + i) + "</c:Number><c:LabelCollection>"
            "<c:Label>Fax</c:Label><c:Label>Business</c:Label></c:LabelCollection></c:PhoneNumber>"
            "</c:PhoneNumberCollection></c:contact>\r\n";
        const std::wstring path = folder + L"\\Recipient " + std::to_wstring(i) + L".contact";
        com::UniqueFile file(
            ::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
        DWORD written = 0;
        ::WriteFile(file.get(), xml.data(), DWORD(xml.size()), &written, nullptr);
    }
}

struct Result {
    double loadMs = 0;   // LoadFaxRecipients with the index, the first load of a fresh source
    double indexMs = 0;  // the identifier table alone, index
    double scanMs = 0;   // the identifier table alone, the scan it replaced
    size_t count = 0;
};

template <class Source>
Result Measure() {
    Result result;
    Source source;
    source.Connect();
    RecipientList list;
    const auto start = Clock::now();
    source.LoadFaxRecipients(list);
    result.loadMs = MsSince(start);
    result.count = list.size();

    // The identifiers in the order the load met them.
    std::vector<std::wstring> identifiers;
    for (const CRecipient& r : list) identifiers.push_back(r.identifier);
    IndexTable index;
    auto tableStart = Clock::now();
    for (const std::wstring& id : identifiers) index.KeyFromIdentifier(id);
    result.indexMs = MsSince(tableStart);
    ScanTable scan;
    tableStart = Clock::now();
    for (const std::wstring& id : identifiers) scan.KeyFromIdentifier(id);
    result.scanMs = MsSince(tableStart);
    return result;
}

void Report(const char* source, const Result& small, const Result& large) {
    const auto perContact = [](double ms, size_t n) { return n ? ms * 1000.0 / double(n) : 0.0; };
    const auto exponent = [&](double a, double b) {
        return a > 0 && b > 0 ? std::log(b / a) / std::log(double(large.count) / double(small.count)) : 0.0;
    };
    // What the load would have cost with the scan: the same load, with the
    // table's share replaced by the scan's.
    const double smallScanLoad = small.loadMs - small.indexMs + small.scanMs;
    const double largeScanLoad = large.loadMs - large.indexMs + large.scanMs;
    std::printf("%s, %zu and %zu contacts\n", source, small.count, large.count);
    std::printf("  load with index        %9.1f ms  %9.1f ms   %7.1f / %7.1f us per contact   exponent %.2f\n",
                small.loadMs, large.loadMs, perContact(small.loadMs, small.count),
                perContact(large.loadMs, large.count), exponent(small.loadMs, large.loadMs));
    std::printf("  load with scan (est.)  %9.1f ms  %9.1f ms   %7.1f / %7.1f us per contact   exponent %.2f\n",
                smallScanLoad, largeScanLoad, perContact(smallScanLoad, small.count),
                perContact(largeScanLoad, large.count), exponent(smallScanLoad, largeScanLoad));
    std::printf("  table alone: index     %9.2f ms  %9.2f ms   exponent %.2f\n", small.indexMs, large.indexMs,
                exponent(small.indexMs, large.indexMs));
    std::printf("  table alone: scan      %9.2f ms  %9.2f ms   exponent %.2f\n", small.scanMs, large.scanMs,
                exponent(small.scanMs, large.scanMs));
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    const int small = argc > 1 ? _wtoi(argv[1]) : 1000;
    const int large = argc > 2 ? _wtoi(argv[2]) : 10000;
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    // Both sources reach the stand-in the way they reach the system library.
    if (_wsystem(L"regsvr32 /s standin_wab32.dll") != 0) std::printf("registering the stand-in failed\n");
    const std::wstring folder = ContactsFolder();
    if (folder.empty()) {
        std::printf("no Contacts folder\n");
        return 1;
    }
    ClearContacts(folder);

    WriteContacts(folder, 0, small);
    const Result contactsSmall = Measure<CWAB6>();
    const Result bookSmall = Measure<CWAB5>();
    WriteContacts(folder, small, large);
    const Result contactsLarge = Measure<CWAB6>();
    const Result bookLarge = Measure<CWAB5>();
    Report("CWAB6 (Windows Contacts)", contactsSmall, contactsLarge);
    Report("CWAB5 (Windows Address Book)", bookSmall, bookLarge);

    ClearContacts(folder);
    ::CoUninitialize();
    return 0;
}
