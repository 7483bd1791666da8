// Throughput of the diagnostic log: lines per second to the file without
// rotation, with rotation at a 1 MB limit, from one and from four threads,
// and with the debugger output on. Each case runs several times and the
// median and best are printed (a shared machine is noisy); nothing is checked.
// Changes the current user's Logger key and log files: run it in a scratch
// Wine prefix. `log_bench [LINES] [REPEATS]`
// Under Wine each line costs wineserver round trips (the file is opened and
// closed per line), so the numbers depend on whether the program and the
// wineserver share a core: compare runs under `taskset -c 0` and without.
#include "log/logger.h"

#include <shlobj.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int kDefaultLines = 20000;
constexpr int kDefaultRepeats = 5;
constexpr int kMaxBackup = 10;

void SetDword(HKEY key, const wchar_t* name, DWORD value) {
    ::RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof(value));
}

std::wstring LogFolder() {
    wchar_t appData[MAX_PATH] = L"";
    ::SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, appData);
    return std::wstring(appData) + L"\\Quorvel\\Orvanta\\";
}

void RemoveLogFiles() {
    ::DeleteFileW((LogFolder() + L"\\FaxData.log").c_str());
    for (int n = 1; n <= kMaxBackup; ++n)
        ::DeleteFileW((LogFolder() + L"\\FaxData(" + std::to_wstring(n) + L").log").c_str());
}

// A fresh Logger key with these values, read by the logger.
void Configure(DWORD type, DWORD writeMode, DWORD maxSizeMB) {
    ::RegDeleteKeyW(HKEY_CURRENT_USER, kLoggerKeyPath);
    RemoveLogFiles();
    com::UniqueHKey key;
    ::RegCreateKeyExW(HKEY_CURRENT_USER, kLoggerKeyPath, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, key.put(),
                      nullptr);
    SetDword(key.get(), L"Type", type);
    SetDword(key.get(), L"WriteMode", writeMode);
    SetDword(key.get(), L"MaxSize", maxSizeMB);
    CLogger::Instance().LoadConfiguration(true);
}

// Lines per second for `lines` lines spread over `threads` threads.
double Measure(int lines, int threads) {
    // About the length of a real line: ~100 characters.
    const std::wstring message = L"Connect to the address book failed, falling back to the recipients list";
    LARGE_INTEGER frequency{}, start{}, end{};
    ::QueryPerformanceFrequency(&frequency);
    ::QueryPerformanceCounter(&start);
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t)
        workers.emplace_back([&] {
            for (int n = 0; n < lines / threads; ++n) Log(L"Bench", message.c_str());
        });
    for (std::thread& worker : workers) worker.join();
    ::QueryPerformanceCounter(&end);
    const double seconds = double(end.QuadPart - start.QuadPart) / double(frequency.QuadPart);
    return double(lines) / seconds;
}

DWORD Rotations() {
    return CLogger::Instance().Settings().currentCount;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    const int lines = argc > 1 ? _wtoi(argv[1]) : kDefaultLines;
    const int repeats = std::max(1, argc > 2 ? _wtoi(argv[2]) : kDefaultRepeats);
    struct Run {
        const char* name;
        DWORD type, writeMode, maxSizeMB;
        int threads;
    };
    const Run runs[] = {
        {"file, no rotation, 1 thread", kLogTypeFile, 1, 1, 1},
        {"file, no rotation, 4 threads", kLogTypeFile, 1, 1, 4},
        {"file, rotation at 1 MB, 1 thread", kLogTypeFile, kLogWriteModeRotate, 1, 1},
        {"file, rotation at 1 MB, 4 threads", kLogTypeFile, kLogWriteModeRotate, 1, 4},
        {"file + debugger output (none attached), no rotation, 1 thread", kLogTypeBoth, 1, 1, 1},
    };
    std::printf("%d lines per run, %d runs per case: median and best lines/s\n", lines, repeats);
    for (const Run& run : runs) {
        std::vector<double> rates;
        DWORD lastBackup = 0;
        for (int r = 0; r < repeats; ++r) {
            Configure(run.type, run.writeMode, run.maxSizeMB);
            rates.push_back(Measure(lines, run.threads));
            lastBackup = Rotations();
        }
        std::sort(rates.begin(), rates.end());
        std::printf("%-64s %9.0f %9.0f  (last backup %lu)\n", run.name, rates[rates.size() / 2], rates.back(),
                    lastBackup);
    }
    ::RegDeleteKeyW(HKEY_CURRENT_USER, kLoggerKeyPath);
    RemoveLogFiles();
    return 0;
}
