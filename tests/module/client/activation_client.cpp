// A COM client of the module in a process of its own, so that nothing COM
// caches in the test program (class lookups, loaded modules) answers for it.
// Built twice: as activation_client.exe, a plain program that finds the classes
// through the registry, and as regfree_host.exe, whose application manifest
// depends on the module's assembly and which finds them through that alone.
//
//   create   creates every class by each of its ProgIDs and by its class
//            identifier, calls MRUList through IDispatch (by name) and through
//            its dual interface, reports the controls' OLEMISC status and
//            looks the type library up by its identifier
//   absent   checks that no ProgID and no class identifier of the module resolves
//   host     hosts both controls by each ProgID in the ATL host (atl100.dll) and
//            finds their list window
//
// Prints what it finds, one line each, then "PASS" or "FAIL: reason" last:
// under Wine a process may end with 0 even after a crash, so the caller looks
// for the verdict line instead of the exit code.
#include "localization/language.h"
#include "module/VelPhonebook_h.h"

#include <ole2.h>
#include <olectl.h>
#include <windows.h>

#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

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
    {L"Zantix.MRUList", &CLSID_MRUList, false},
    {L"Zantix.MRUList.1", &CLSID_MRUList, false},
    {L"Zantix.AddressBook", &CLSID_AddressBook, false},
    {L"Zantix.AddressBook.1", &CLSID_AddressBook, false},
};

constexpr int kListId = 204;  // the list view in both controls' dialogs

int g_failures = 0;

void Report(const wchar_t* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    wchar_t text[1024];
    _vsnwprintf(text, 1023, format, arguments);
    text[1023] = L'\0';
    va_end(arguments);
    // Plain ASCII on a pipe: the caller reads bytes.
    std::string line;
    for (const wchar_t* c = text; *c; ++c) line += *c < 128 ? char(*c) : '?';
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

void Fail(const wchar_t* what, HRESULT hr) {
    ++g_failures;
    Report(L"FAIL: %ls (hr=%08lX)", what, static_cast<unsigned long>(hr));
}

template <class T>
struct Ptr {
    T* p = nullptr;
    ~Ptr() {
        if (p) p->Release();
    }
    T* operator->() const { return p; }
    void** put() { return reinterpret_cast<void**>(&p); }
};

std::wstring LoadedModulePath() {
    const HMODULE module = ::GetModuleHandleW(localization::kModuleFileName);
    wchar_t path[MAX_PATH] = {};
    if (module) ::GetModuleFileNameW(module, path, MAX_PATH);
    return path;
}

// Calls MRUList by name through IDispatch, then through its dual interface:
// the object counts its Initialize calls, so both ways must reach one object.
void CallMRUList(IUnknown* object) {
    Ptr<IDispatch> dispatch;
    HRESULT hr = object->QueryInterface(IID_IDispatch, dispatch.put());
    if (FAILED(hr)) return Fail(L"MRUList has no IDispatch", hr);
    LPOLESTR name = const_cast<LPOLESTR>(L"Initialize");
    DISPID id = DISPID_UNKNOWN;
    hr = dispatch->GetIDsOfNames(IID_NULL, &name, 1, LOCALE_USER_DEFAULT, &id);
    if (FAILED(hr) || id != 1) return Fail(L"GetIDsOfNames(Initialize) through the type library", hr);
    DISPPARAMS none{};
    VARIANT result;
    ::VariantInit(&result);
    hr = dispatch->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &none, &result, nullptr, nullptr);
    if (hr != S_OK) return Fail(L"Invoke(Initialize)", hr);
    Report(L"MRUList: Initialize through IDispatch");

    Ptr<IMRUList> mru;
    hr = object->QueryInterface(__uuidof(IMRUList), mru.put());
    if (FAILED(hr)) return Fail(L"MRUList has no IMRUList", hr);
    if ((hr = mru->Initialize()) != S_FALSE) return Fail(L"the dual interface's Initialize does not see the first", hr);
    BSTR list = nullptr;
    if (FAILED(hr = mru->GetMRU(&list))) return Fail(L"GetMRU", hr);
    ::SysFreeString(list);
    if ((hr = mru->Terminate()) != S_FALSE || (hr = mru->Terminate()) != S_OK)
        return Fail(L"Terminate after two Initialize calls", hr);
    Report(L"MRUList: Initialize, GetMRU, Terminate through IMRUList");
}

// Whether the object is of the class: the controls name their class through
// IPersist, the other two are told apart by their own interface.
bool IsOfClass(IUnknown* object, const CLSID& expected) {
    Ptr<IPersist> persist;
    CLSID actual{};
    if (SUCCEEDED(object->QueryInterface(IID_IPersist, persist.put())) && SUCCEEDED(persist->GetClassID(&actual)))
        return IsEqualCLSID(actual, expected);
    Ptr<IUnknown> own;
    if (IsEqualCLSID(expected, CLSID_MRUList)) return SUCCEEDED(object->QueryInterface(__uuidof(IMRUList), own.put()));
    if (IsEqualCLSID(expected, CLSID_AddressBook))
        return SUCCEEDED(object->QueryInterface(__uuidof(IAddressBook), own.put()));
    return false;
}

void Create() {
    for (const Class& entry : kClasses) {
        // Through an activation context the ProgID may resolve to an alias of
        // the class identifier that only that context knows (Wine 8's does);
        // what matters is the object it creates.
        CLSID clsid{};
        HRESULT hr = ::CLSIDFromProgID(entry.progId, &clsid);
        if (FAILED(hr)) {
            Fail((std::wstring(L"CLSIDFromProgID ") + entry.progId).c_str(), hr);
            continue;
        }
        Ptr<IUnknown> object;
        hr = ::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, object.put());
        if (FAILED(hr)) {
            Fail((std::wstring(L"CoCreateInstance ") + entry.progId).c_str(), hr);
            continue;
        }
        if (!IsOfClass(object.p, *entry.clsid)) {
            Fail((std::wstring(L"not the class named by ") + entry.progId).c_str(), E_UNEXPECTED);
            continue;
        }
        Report(L"created %ls%ls from %ls", entry.progId, IsEqualCLSID(clsid, *entry.clsid) ? L"" : L" (by an alias)",
               LoadedModulePath().c_str());
        if (IsEqualCLSID(*entry.clsid, CLSID_MRUList)) CallMRUList(object.p);

        // Clients that were built with the class identifier create by it.
        Ptr<IUnknown> byClass;
        hr = ::CoCreateInstance(*entry.clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, byClass.put());
        if (FAILED(hr) || !IsOfClass(byClass.p, *entry.clsid))
            Fail((std::wstring(L"CoCreateInstance by the class identifier of ") + entry.progId).c_str(), hr);
        // What containers ask a control's class before they create it.
        DWORD status = 0;
        if (entry.control && FAILED(hr = ::OleRegGetMiscStatus(*entry.clsid, DVASPECT_CONTENT, &status)))
            Fail((std::wstring(L"OleRegGetMiscStatus of ") + entry.progId).c_str(), hr);
        else if (entry.control)
            Report(L"misc status %ls %lu", entry.progId, static_cast<unsigned long>(status));
    }
    Ptr<ITypeLib> library;
    const HRESULT hr = ::LoadRegTypeLib(LIBID_VELPHONEBOOKLib, 1, 1, 0x409, reinterpret_cast<ITypeLib**>(library.put()));
    if (FAILED(hr)) Fail(L"LoadRegTypeLib finds no type library", hr);
    else Report(L"type library found");
}

void Absent() {
    for (const Class& entry : kClasses) {
        CLSID clsid{};
        HRESULT hr = ::CLSIDFromProgID(entry.progId, &clsid);
        if (SUCCEEDED(hr)) Fail((std::wstring(L"CLSIDFromProgID resolves ") + entry.progId).c_str(), hr);
        Ptr<IUnknown> object;
        hr = ::CoCreateInstance(*entry.clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, object.put());
        if (SUCCEEDED(hr)) Fail((std::wstring(L"the class of ") + entry.progId + L" is created").c_str(), hr);
    }
    Report(L"nothing resolves");
}

bool PumpUntil(HWND& found, HWND control, DWORD timeoutMs) {
    const ULONGLONG end = ::GetTickCount64() + timeoutMs;
    for (;;) {
        MSG message;
        while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            ::TranslateMessage(&message);
            ::DispatchMessageW(&message);
        }
        found = ::GetDlgItem(control, kListId);
        if (found || ::GetTickCount64() >= end) return found != nullptr;
        ::MsgWaitForMultipleObjects(0, nullptr, FALSE, 10, QS_ALLINPUT);
    }
}

using GetControl = HRESULT(WINAPI*)(HWND, IUnknown**);

void HostOne(const Class& entry, GetControl getControl) {
    const HWND top = ::CreateWindowExW(0, L"STATIC", L"", WS_POPUP | WS_VISIBLE | WS_CLIPCHILDREN, 0, 0, 420, 340,
                                       nullptr, nullptr, nullptr, nullptr);
    const HWND site = ::CreateWindowExW(0, L"AtlAxWin100", entry.progId, WS_CHILD | WS_VISIBLE, 10, 10, 400, 320,
                                        top, nullptr, nullptr, nullptr);
    {
        Ptr<IUnknown> control;
        HRESULT hr = site ? getControl(site, reinterpret_cast<IUnknown**>(control.put())) : E_FAIL;
        Ptr<IOleInPlaceObject> inPlace;
        Ptr<IVelPhonebookControl> phonebook;
        HWND window = nullptr, list = nullptr;
        wchar_t className[64] = {};
        if (FAILED(hr) || !control.p) {
            Fail((std::wstring(L"the ATL host did not create ") + entry.progId).c_str(), hr);
        } else if (FAILED(hr = control->QueryInterface(IID_IOleInPlaceObject, inPlace.put())) ||
                   FAILED(hr = inPlace->GetWindow(&window)) || !window) {
            Fail((std::wstring(L"not in-place active: ") + entry.progId).c_str(), hr);
        } else if (!PumpUntil(list, window, 5000) || !::IsWindowVisible(list) ||
                   !::GetClassNameW(list, className, 64)) {
            Fail((std::wstring(L"no visible list window in ") + entry.progId).c_str(), E_FAIL);
        } else if (FAILED(hr = control->QueryInterface(__uuidof(IVelPhonebookControl), phonebook.put()))) {
            Fail((std::wstring(L"no IVelPhonebookControl on ") + entry.progId).c_str(), hr);
        } else {
            Report(L"hosted %ls: list %ls, from %ls", entry.progId, className, LoadedModulePath().c_str());
        }
    }  // the control goes before its windows, as in the fax program
    ::DestroyWindow(top);
}

void Host() {
    const HMODULE atl = ::LoadLibraryW(L"atl100.dll");
    const auto init = atl ? reinterpret_cast<BOOL(WINAPI*)()>(reinterpret_cast<void*>(::GetProcAddress(atl, "AtlAxWinInit"))) : nullptr;
    const auto getControl = atl ? reinterpret_cast<GetControl>(reinterpret_cast<void*>(::GetProcAddress(atl, "AtlAxGetControl"))) : nullptr;
    if (!init || !getControl || !init()) return Fail(L"the ATL host (atl100.dll) is not available", E_FAIL);
    for (const Class& entry : kClasses)
        if (entry.control) HostOne(entry, getControl);
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    const std::wstring mode = argc > 1 ? argv[1] : L"";
    if (FAILED(::OleInitialize(nullptr))) {
        Report(L"FAIL: OleInitialize");
        return 1;
    }
    if (mode == L"create") Create();
    else if (mode == L"absent") Absent();
    else if (mode == L"host") Host();
    else Fail(L"usage: activation_client create|absent|host", E_INVALIDARG);
    ::OleUninitialize();
    Report(g_failures ? L"FAIL: %d check(s) failed" : L"PASS", g_failures);
    return g_failures ? 1 : 0;
}
