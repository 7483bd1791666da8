// Calls MRUList through COM, created by its ProgID, on a thread with a 256 KB
// stack (smaller than any host's), and prints one verdict line. A stack
// overflow ends the process on Windows; under Wine it may end only the thread
// (the verdict then says the call did not end) or the process with exit code
// 0, so the tests look for an OK verdict, not at the exit code.
//   mru_stack_child StringToLists|UpdateMRU piece|text LENGTH
#include "com/com_ptr.h"
#include "com/strings.h"
#include "module/VelPhonebook_h.h"
#include "mru/child/long_texts.h"
#include "support/test_support.h"

#include <cstdio>
#include <string>

namespace {

constexpr SIZE_T kStackBytes = 256 * 1024;

struct Job {
    std::wstring method;
    long_texts::Case input;
    std::string verdict = "FAIL the call did not end";
};

std::string Hex(HRESULT hr) {
    char text[16];
    std::snprintf(text, sizeof text, "%08lX", static_cast<unsigned long>(hr));
    return text;
}

std::string Call(Job& job) {
    CLSID clsid{};
    if (FAILED(::CLSIDFromProgID(L"Zantix.MRUList", &clsid))) return "FAIL no ProgID";
    com::ComPtr<IMRUList> mru;
    HRESULT hr = ::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IMRUList), mru.put_void());
    if (FAILED(hr)) return "FAIL CoCreateInstance " + Hex(hr);
    com::UniqueBstr text(com::AllocBstr(job.input.text));
    if (!text) return "FAIL no memory";
    if (job.method == L"UpdateMRU") {
        // The tests read the store to see what it holds.
        hr = mru->UpdateMRU(text.get());
        return hr == S_OK ? "OK" : "FAIL UpdateMRU " + Hex(hr);
    }
    com::UniqueSafeArray names, numbers;
    hr = mru->StringToLists(names.put(), numbers.put(), text.get());
    if (hr != S_OK) return "FAIL StringToLists " + Hex(hr);
    std::vector<std::wstring> gotNames, gotNumbers;
    if (FAILED(com::ReadStringArray(names.get(), gotNames)) ||
        FAILED(com::ReadStringArray(numbers.get(), gotNumbers)))
        return "FAIL unreadable arrays";
    if (gotNames != job.input.names) return "FAIL wrong names (" + std::to_string(gotNames.size()) + ")";
    if (gotNumbers != job.input.numbers)
        return "FAIL wrong numbers (" + std::to_string(gotNumbers.size()) + ")";
    return "OK " + std::to_string(gotNames.size()) + " recipients";
}

void Run(Job& job) {
    if (FAILED(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) {
        job.verdict = "FAIL CoInitializeEx";
        return;
    }
    job.verdict = Call(job);
    ::CoUninitialize();
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc != 4) return 2;
    Job job{argv[1], long_texts::Make(argv[2], std::wcstoul(argv[3], nullptr, 10))};
    if (!testing_support::RunOnThread(kStackBytes, [&] { Run(job); })) return 3;
    std::printf("VERDICT %s\n", job.verdict.c_str());
    std::fflush(stdout);
    return job.verdict.rfind("OK", 0) == 0 ? 0 : 1;
}
