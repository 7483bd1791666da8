// Measures the Outlook contacts source against the Outlook stand-in (a local
// server, so every object-model call is a round trip to another process):
// Connect, LoadFaxRecipients over N contacts, Add, Get and Modify. Registers
// the stand-in beside this program first and removes it and its store after.
// Prints, asserts nothing.
//   oab_bench [CONTACTS] [ROUNDS]
#include "com/com_ptr.h"
#include "sources/oab.h"

#include <objbase.h>
#include <shlobj.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

template <class Body>
void Measure(const char* what, int rounds, Body&& body) {
    std::vector<double> ms;
    for (int i = 0; i < rounds; ++i) {
        const auto start = Clock::now();
        body(i);
        ms.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
    }
    std::sort(ms.begin(), ms.end());
    std::printf("%-44s rounds %4d  median %8.3f ms  best %8.3f ms  p90 %8.3f ms\n", what, rounds,
                ms[ms.size() / 2], ms.front(), ms[ms.size() * 9 / 10]);
}

std::wstring BinDir() {
    wchar_t path[MAX_PATH];
    const DWORD length = ::GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring dir(path, length);
    return dir.substr(0, dir.find_last_of(L"\\/") + 1);
}

int RunStandin(const wchar_t* arguments) {
    std::wstring line = L"\"" + BinDir() + L"standin_outlook.exe\" " + arguments;
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION info{};
    if (!::CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                          &info))
        return -1;
    ::WaitForSingleObject(info.hProcess, 60000);
    DWORD code = 1;
    ::GetExitCodeProcess(info.hProcess, &code);
    ::CloseHandle(info.hThread);
    ::CloseHandle(info.hProcess);
    return int(code);
}

void DeleteStore() {
    wchar_t appData[MAX_PATH] = {};
    ::SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, appData);
    ::DeleteFileW((std::wstring(appData) + L"\\StandinOutlook\\contacts.txt").c_str());
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    const int contacts = argc > 1 ? _wtoi(argv[1]) : 100;
    const int rounds = argc > 2 ? _wtoi(argv[2]) : 20;
    if (RunStandin(L"/RegServer") != 0) {
        std::printf("the Outlook stand-in could not be registered\n");
        return 1;
    }
    DeleteStore();
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    {
        COAB source;
        if (FAILED(source.Connect())) {
            std::printf("Connect failed\n");
            return 1;
        }
        for (int i = 0; i < contacts; ++i) {
            CRecipient r;
            r.name = L"Contact " + std::to_wstring(i);
            r.faxNumber = L"+1-555-" + std::to_wstring(1000 + i);
            source.Add(r);
        }
        // Another client keeps the server running while the source reconnects
        // (Connect lets go of everything first, which may end the server).
        com::ComPtr<IUnknown> keepAlive;
        CLSID clsid{};
        ::CLSIDFromProgID(L"Outlook.Application", &clsid);
        ::CoCreateInstance(clsid, nullptr, CLSCTX_LOCAL_SERVER, IID_IUnknown, keepAlive.put_void());
        Measure("Connect (server running)", rounds, [&](int) { source.Connect(); });
        keepAlive.reset();
        // A server that has ended is started by COM again: three times.
        for (int i = 0; i < 3; ++i) {
            source.Disconnect();
            ::Sleep(3000);
            const auto start = Clock::now();
            source.Connect();
            std::printf("%-44s %8.1f ms\n", "Connect (server started anew)",
                        std::chrono::duration<double, std::milli>(Clock::now() - start).count());
        }
        char what[64];
        std::snprintf(what, sizeof what, "LoadFaxRecipients, %d contacts", contacts);
        RecipientList listed;
        Measure(what, rounds, [&](int) { source.LoadFaxRecipients(listed); });
        std::printf("  %zu recipients listed\n", listed.size());
        const ULONG key = listed.empty() ? 0 : ULONG(listed.front().key);
        CRecipient read;
        Measure("Get", rounds, [&](int) { source.Get(key, read); });
        Measure("Modify", rounds, [&](int i) {
            read.favorite = (i % 2) != 0;
            source.Modify(key, read);
        });
        Measure("Add", rounds, [&](int i) {
            CRecipient r;
            r.name = L"Added " + std::to_wstring(i);
            r.faxNumber = L"+1-555-9" + std::to_wstring(i);
            source.Add(r);
        });
    }
    ::CoUninitialize();
    ::Sleep(3000);  // the stand-in ends with its last client
    DeleteStore();
    RunStandin(L"/UnregServer");
    return 0;
}
