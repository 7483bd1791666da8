// Tools of the Outlook tests.
#include "support/outlook_fixture.h"

#include "com/invoke.h"
#include "com/strings.h"

#include <shlobj.h>
#include <tlhelp32.h>

#include <fstream>

using namespace testing_support;

namespace outlooktest {
namespace {

constexpr wchar_t kSettingsKey[] = L"Software\\StandinOutlook";
constexpr IID IID_IStandinOutlook = {
    0x5E0C8A2B, 0x7F41, 0x4C9D, {0x9B, 0x6A, 0x3D, 0x2E, 0x1F, 0x0A, 0x8C, 0x71}};

std::wstring StorePath() {
    wchar_t appData[MAX_PATH] = {};
    ::SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, appData);
    return std::wstring(appData) + L"\\StandinOutlook\\contacts.txt";
}

}  // namespace

std::wstring ContactLine(const std::wstring& entryId, const std::wstring& fields) {
    return L"EntryID=" + entryId + (fields.empty() ? L"" : L"\t" + fields);
}

void WriteStore(const std::vector<std::wstring>& lines) {
    const std::wstring path = StorePath();
    ::CreateDirectoryW(path.substr(0, path.find_last_of(L'\\')).c_str(), nullptr);
    std::ofstream file(path.c_str(), std::ios::binary | std::ios::trunc);
    for (const auto& line : lines) file << Utf8(line) << "\n";
}

size_t WriteNumberedBook(int items) {
    std::vector<std::wstring> lines;
    size_t listed = 0;
    for (int i = 0; i < items; ++i) {
        wchar_t id[64];
        swprintf(id, 64, L"00000000BE0C0000000000000000000000000000%08X", unsigned(i));
        const std::wstring n = std::to_wstring(i);
        const bool list = i % 20 == 7, noFax = i % 20 == 13;
        listed += !list && !noFax;
        lines.push_back(ContactLine(
            id, list    ? L"Class=69\tDLName=List " + n
                : noFax ? L"Class=40\tFullName=No Fax " + n + L"\tHomeFaxNumber=+1 555 0"
                        : L"Class=40\tFullName=Contact " + n + L"\tBusinessFaxNumber=+1 555 " +
                              std::to_wstring(1000000 + i) + (i % 10 ? L"" : L"\tUser:ZentelFavorite=6:1")));
    }
    WriteStore(lines);
    return listed;
}

std::vector<std::wstring> ReadStore() {
    std::vector<std::wstring> lines;
    std::ifstream file(StorePath().c_str(), std::ios::binary);
    std::string line;
    while (std::getline(file, line))
        if (!line.empty()) lines.push_back(FromUtf8(line));
    return lines;
}

void DeleteStore() {
    ::DeleteFileW(StorePath().c_str());
}

int RunStandin(const std::wstring& arguments) {
    return RunProcess(L"\"" + BinDir() + L"standin_outlook.exe\" " + arguments);
}

std::vector<DWORD> StandinProcesses() {
    std::vector<DWORD> found;
    com::UniqueFile snapshot(::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    if (!snapshot) return found;
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof(entry);
    for (BOOL more = ::Process32FirstW(snapshot.get(), &entry); more;
         more = ::Process32NextW(snapshot.get(), &entry))
        if (_wcsicmp(entry.szExeFile, L"standin_outlook.exe") == 0) found.push_back(entry.th32ProcessID);
    return found;
}

bool WaitForNoStandin(DWORD timeoutMs) {
    for (const ULONGLONG deadline = ::GetTickCount64() + timeoutMs; !StandinProcesses().empty(); ::Sleep(50))
        if (::GetTickCount64() >= deadline) return false;
    return true;
}

int RunChangeScript(const std::wstring& arguments, std::string* output) {
    // Pumping meanwhile: the script's changes call back into this apartment.
    return RunProcess(L"cscript.exe //nologo \"" + BinDir() + L"outlook_change.js\" " + arguments, output,
                      30000, true);
}

HRESULT CallByName(IDispatch* object, const wchar_t* name, WORD flags, std::initializer_list<VARIANT> args,
                   VARIANT* result) {
    if (!object) return E_POINTER;
    DISPID id = 0;
    LPOLESTR names[] = {const_cast<LPOLESTR>(name)};
    const HRESULT hr = object->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id);
    if (FAILED(hr)) return hr;
    return com::Invoke(object, id, flags, args, result);
}

com::ComPtr<IDispatch> ObjectByName(IDispatch* object, const wchar_t* name,
                                    std::initializer_list<VARIANT> args) {
    com::UniqueVariant result;
    const WORD flags = DISPATCH_METHOD | DISPATCH_PROPERTYGET;
    if (FAILED(CallByName(object, name, flags, args, result.put())) || V_VT(&result) != VT_DISPATCH)
        return {};
    return com::ComPtr<IDispatch>(V_DISPATCH(&result));
}

std::wstring TextByName(IDispatch* object, const wchar_t* name) {
    com::UniqueVariant result;
    if (FAILED(CallByName(object, name, DISPATCH_PROPERTYGET, {}, result.put())) || V_VT(&result) != VT_BSTR)
        return L"<error>";
    return com::FromBstr(V_BSTR(&result));
}

OutlookClient::OutlookClient() {
    CLSID clsid{};
    if (FAILED(::CLSIDFromProgID(L"Outlook.Application", &clsid))) return;
    ::CoCreateInstance(clsid, nullptr, CLSCTX_LOCAL_SERVER, IID_IDispatch, application.put_void());
    com::UniqueBstr mapi(com::AllocBstr(L"MAPI"));
    nameSpace = ObjectByName(application.get(), L"GetNamespace", {com::TextArg(mapi.get())});
}

com::ComPtr<IDispatch> OutlookClient::Item(const std::wstring& entryId) {
    com::UniqueBstr id(com::AllocBstr(entryId));
    return ObjectByName(nameSpace.get(), L"GetItemFromID", {com::TextArg(id.get())});
}

long OutlookClient::RestrictedCount(const wchar_t* filter) {
    auto folder = ObjectByName(nameSpace.get(), L"GetDefaultFolder", {com::LongArg(10)});
    auto items = ObjectByName(folder.get(), L"Items");
    com::UniqueBstr text(com::AllocBstr(filter));
    auto restricted = ObjectByName(items.get(), L"Restrict", {com::TextArg(text.get())});
    com::UniqueVariant count;
    return SUCCEEDED(CallByName(restricted.get(), L"Count", DISPATCH_PROPERTYGET, {}, count.put())) ? V_I4(&count) : -1;
}

void OutlookClient::ListAsTheBookDoes() {
    const auto folder = ObjectByName(nameSpace.get(), L"GetDefaultFolder", {com::LongArg(10)});
    const auto items = ObjectByName(folder.get(), L"Items");
    com::UniqueBstr filter(com::AllocBstr(L"[BusinessFaxNumber] <> ''"));
    if (const auto table = ObjectByName(folder.get(), L"GetTable", {com::TextArg(filter.get()), com::LongArg(0)})) {
        com::UniqueVariant rows;
        CallByName(table.get(), L"GetArray", DISPATCH_METHOD, {com::LongArg(100)}, rows.put());
    }
    // Outlook's ItemsEvents.
    constexpr IID kItemsEvents = {0x00063077, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
    com::ComPtr<IConnectionPoint> point;
    DWORD cookie = 0;
    if (const auto container = items.query<IConnectionPointContainer>();
        container && SUCCEEDED(container->FindConnectionPoint(kItemsEvents, point.put())) &&
        SUCCEEDED(point->Advise(application.get(), &cookie)))
        point->Unadvise(cookie);
}

namespace {

// A member of IStandinOutlook, the stand-in's own interface, called by name.
bool CallStandin(IDispatch* application, const wchar_t* name, WORD flags, VARTYPE type, VARIANT* result) {
    com::ComPtr<IDispatch> control;
    return application && SUCCEEDED(application->QueryInterface(IID_IStandinOutlook, control.put_void())) &&
           SUCCEEDED(CallByName(control.get(), name, flags, {}, result)) && V_VT(result) == type;
}

}  // namespace

VARIANT_BOOL OutlookClient::FireBeforeReminderShow() {
    com::UniqueVariant cancel;
    return CallStandin(application.get(), L"FireBeforeReminderShow", DISPATCH_METHOD, VT_BOOL, cancel.put())
               ? V_BOOL(&cancel)
               : VARIANT_BOOL(-2);
}

long OutlookClient::CallCount() {
    com::UniqueVariant count;
    return CallStandin(application.get(), L"CallCount", DISPATCH_PROPERTYGET, VT_I4, count.put()) ? V_I4(&count) : -1;
}

void OutlookTest::SetUpTestSuite() {
    ASSERT_TRUE(WaitForNoStandin(10000));
    ASSERT_EQ(0, RunStandin(L"/RegServer"));
}

void OutlookTest::TearDownTestSuite() {
    RunStandin(L"/UnregServer");
    DeleteUserKey(kSettingsKey);
    DeleteStore();
}

void OutlookTest::SetUp() {
    ASSERT_TRUE(WaitForNoStandin(10000)) << "a stand-in of an earlier test is still running";
    DeleteStore();
    DeleteUserKey(kSettingsKey);
}

// Whether the stand-in ends after its last client is asserted where the
// source is released (once); here a straggler only must not carry its store
// into the next test.
void OutlookTest::TearDown() {
    if (WaitForNoStandin(10000)) return;
    for (DWORD id : StandinProcesses()) {
        com::UniqueHandle process(::OpenProcess(PROCESS_TERMINATE, FALSE, id));
        if (process) ::TerminateProcess(process.get(), 1);
    }
    WaitForNoStandin(10000);
}

}  // namespace outlooktest
