// A COM client of the module in a process of its own, so that nothing COM
// caches in the test program answers for it. Built twice: activation_client.exe
// finds the classes through the registry, regfree_host.exe through its
// application manifest alone.
//
//   create   creates every class by each ProgID and by its class identifier,
//            calls MRUList by name through IDispatch and through its dual
//            interface, reports the controls' OLEMISC status, finds the type library
//   classes  the same, by the class identifiers alone
//   absent   no ProgID and no class identifier of the module resolves
//
// Prints a line per finding, then "PASS" or "FAIL: ..." last (under Wine a
// process may end with 0 even after a crash).
#include "com/com_ptr.h"
#include "localization/language.h"
#include "module/VelPhonebook_h.h"

#include <ole2.h>
#include <olectl.h>

#include <cstdio>
#include <string>

namespace {

const struct Class {
    const wchar_t* progId;
    const CLSID* clsid;
    bool control;
} kClasses[] = {
    {L"Zantix.VelPhonebookControl", &CLSID_VelPhonebookControl, true},
    {L"Zantix.VelPhonebookControl.1", &CLSID_VelPhonebookControl, true},
    {L"Zantix.VelPhonebookControl2", &CLSID_VelPhonebookControl2, true},
    {L"Zantix.VelPhonebookControl2.1", &CLSID_VelPhonebookControl2, true},
    {L"Zantix.MRUList", &CLSID_MRUList, false}, {L"Zantix.MRUList.1", &CLSID_MRUList, false},
    {L"Zantix.AddressBook", &CLSID_AddressBook, false}, {L"Zantix.AddressBook.1", &CLSID_AddressBook, false},
};
int g_failures = 0;

void Report(const std::wstring& text) {
    std::string line;  // plain ASCII on a pipe
    for (wchar_t c : text) line += c < 128 ? char(c) : '?';
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

bool Check(bool ok, const std::wstring& what, HRESULT hr = E_FAIL) {
    if (!ok) {
        ++g_failures;
        wchar_t code[16];
        swprintf(code, 16, L"%08lX", static_cast<unsigned long>(hr));
        Report(L"FAIL: " + what + L" (hr=" + code + L")");
    }
    return ok;
}

std::wstring LoadedModulePath() {
    wchar_t path[MAX_PATH] = {};
    ::GetModuleFileNameW(::GetModuleHandleW(localization::kModuleFileName), path, MAX_PATH);
    return path;
}

// Both ways must reach one object: it counts its Initialize calls.
void CallMRUList(IUnknown* object) {
    com::ComPtr<IDispatch> dispatch;
    HRESULT hr = object->QueryInterface(IID_IDispatch, dispatch.put_void());
    LPOLESTR name = const_cast<LPOLESTR>(L"Initialize");
    DISPID id = DISPID_UNKNOWN;
    if (SUCCEEDED(hr)) hr = dispatch->GetIDsOfNames(IID_NULL, &name, 1, LOCALE_USER_DEFAULT, &id);
    DISPPARAMS none{};
    if (SUCCEEDED(hr)) hr = dispatch->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &none, nullptr, nullptr, nullptr);
    if (!Check(hr == S_OK && id == 1, L"MRUList: Initialize by name through IDispatch", hr)) return;
    com::ComPtr<IMRUList> mru;
    BSTR list = nullptr;
    if (!Check(SUCCEEDED(object->QueryInterface(__uuidof(IMRUList), mru.put_void())) && mru->Initialize() == S_FALSE &&
                   SUCCEEDED(mru->GetMRU(&list)) && mru->Terminate() == S_FALSE && mru->Terminate() == S_OK,
               L"MRUList through IMRUList after IDispatch"))
        return;
    ::SysFreeString(list);
    Report(L"MRUList: Initialize, GetMRU, Terminate through IMRUList");
}

// The controls name their class through IPersist; the others have their own interface.
bool IsOfClass(IUnknown* object, const CLSID& expected) {
    com::ComPtr<IPersist> persist;
    com::ComPtr<IUnknown> own;
    CLSID actual{};
    if (SUCCEEDED(object->QueryInterface(IID_IPersist, persist.put_void())) && SUCCEEDED(persist->GetClassID(&actual)))
        return IsEqualCLSID(actual, expected);
    const IID& iid = IsEqualCLSID(expected, CLSID_MRUList) ? __uuidof(IMRUList) : __uuidof(IAddressBook);
    return !IsEqualCLSID(expected, CLSID_VelPhonebookControl) && !IsEqualCLSID(expected, CLSID_VelPhonebookControl2) &&
           SUCCEEDED(object->QueryInterface(iid, own.put_void()));
}

void Create(bool byProgId) {
    for (const Class& entry : kClasses) {
        // Through an activation context the ProgID may give an alias of the class identifier.
        CLSID clsid = *entry.clsid;
        com::ComPtr<IUnknown> object, byClass;
        HRESULT hr = byProgId ? ::CLSIDFromProgID(entry.progId, &clsid) : S_OK;
        if (!Check(SUCCEEDED(hr), std::wstring(L"CLSIDFromProgID ") + entry.progId, hr)) continue;
        hr = ::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, object.put_void());
        if (!Check(SUCCEEDED(hr) && IsOfClass(object.get(), *entry.clsid), std::wstring(L"create ") + entry.progId, hr))
            continue;
        Report(std::wstring(L"created ") + entry.progId +
               (!byProgId ? L" by its class identifier" : IsEqualCLSID(clsid, *entry.clsid) ? L"" : L" (by an alias)") +
               L" from " + LoadedModulePath());
        if (IsEqualCLSID(*entry.clsid, CLSID_MRUList)) CallMRUList(object.get());
        hr = ::CoCreateInstance(*entry.clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, byClass.put_void());
        Check(SUCCEEDED(hr) && IsOfClass(byClass.get(), *entry.clsid), std::wstring(L"create by the class identifier of ") + entry.progId, hr);
        // What containers ask a control's class before they create it.
        DWORD status = 0;
        hr = entry.control ? ::OleRegGetMiscStatus(*entry.clsid, DVASPECT_CONTENT, &status) : S_OK;
        if (entry.control && Check(SUCCEEDED(hr), std::wstring(L"OleRegGetMiscStatus of ") + entry.progId, hr))
            Report(std::wstring(L"misc status ") + entry.progId + L" " + std::to_wstring(status));
    }
    com::ComPtr<ITypeLib> library;
    if (Check(SUCCEEDED(::LoadRegTypeLib(LIBID_VELPHONEBOOKLib, 1, 1, 0x409, library.put())), L"LoadRegTypeLib"))
        Report(L"type library found");
}

void Absent() {
    for (const Class& entry : kClasses) {
        CLSID clsid{};
        com::ComPtr<IUnknown> object;
        Check(FAILED(::CLSIDFromProgID(entry.progId, &clsid)), std::wstring(L"resolves ") + entry.progId, S_OK);
        Check(FAILED(::CoCreateInstance(*entry.clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, object.put_void())),
              std::wstring(L"the class of ") + entry.progId + L" is created", S_OK);
    }
    Report(L"nothing resolves");
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    const std::wstring mode = argc > 1 ? argv[1] : L"";
    if (!Check(SUCCEEDED(::OleInitialize(nullptr)), L"OleInitialize")) return 1;
    if (mode == L"create" || mode == L"classes") Create(mode == L"create");
    else if (mode == L"absent") Absent();
    else Check(false, L"usage: activation_client create|classes|absent", E_INVALIDARG);
    ::OleUninitialize();
    Report(g_failures ? L"FAIL: " + std::to_wstring(g_failures) + L" check(s) failed" : L"PASS");
    return g_failures ? 1 : 0;
}
