// Shared tools of the tests: COM apartment, child processes, the module's
// registration, windows that count messages, threads of this process.
#pragma once

#include "com/unique_any.h"
#include "localization/language.h"

#include <windows.h>

#include <functional>
#include <optional>
#include <string>

namespace testing_support {

// The folder of the running test program (build/bin), with a trailing backslash.
std::wstring BinDir();

// The module of the test program's architecture.
using localization::kModuleFileName;

// Starts a program (command line as given), waits up to the timeout and
// returns its exit code (or -1 when it could not run or did not end). Its
// standard output and error are collected into output when given. With
// pumpMessages this thread's messages are dispatched meanwhile (so that COM
// calls into its apartment are served while the program runs).
int RunProcess(const std::wstring& commandLine, std::string* output = nullptr, DWORD timeoutMs = 60000,
               bool pumpMessages = false);

// regsvr32 [/u] /s on the module beside the test program; returns its exit code.
int RunRegsvr32(bool unregister);

// An apartment for the current thread for the life of the object.
class ComApartment {
public:
    ComApartment() { ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }
    ~ComApartment() { ::CoUninitialize(); }
};

// A hidden top-level window that counts the messages of one kind it receives.
class MessageCounter {
public:
    explicit MessageCounter(UINT message);
    ~MessageCounter();
    HWND hwnd() const { return m_window.get(); }
    // Pumps this thread's messages until the count reaches `count` or the
    // time runs out; returns the count.
    int WaitFor(int count, DWORD timeoutMs);
    // Pumps for the given time and returns the count.
    int PumpFor(DWORD ms) { return WaitFor(INT_MAX, ms); }
    // Pumps for settleMs (what earlier steps caused arrives and is not
    // counted), runs the action, then waits as WaitFor does.
    int WaitAfter(const std::function<void()>& action, int count, DWORD timeoutMs, DWORD settleMs = 300);
    int count() const { return m_count; }
    LPARAM lastLParam() const { return m_lastLParam; }
    WPARAM lastWParam() const { return m_lastWParam; }
    void Reset() { m_count = 0; }

private:
    static LRESULT CALLBACK WindowProc(HWND, UINT, WPARAM, LPARAM);
    UINT m_message;
    int m_count = 0;
    WPARAM m_lastWParam = 0;
    LPARAM m_lastLParam = 0;
    com::UniqueWindow m_window;
};

// Runs the body on a new thread whose stack reserves `stackBytes` (hosts may
// give their threads small stacks) and waits for it to end; false when no
// thread could be started.
bool RunOnThread(SIZE_T stackBytes, const std::function<void()>& body);

// Whether a thread with this identifier is alive in this process.
bool ThreadAlive(DWORD threadId);
// Number of threads of this process.
int ThreadCount();
// Number of handles this process holds (GetProcessHandleCount answers 0
// under Wine, the system's handle table does not).
int HandleCount();

// UTF-8 from UTF-16 and back, for files other programs read and write.
std::string Utf8(const std::wstring& text);
std::wstring FromUtf8(const std::string& text);

// Deletes a registry tree under HKEY_CURRENT_USER (missing is fine).
void DeleteUserKey(const wchar_t* path);
// Whether a registry key exists; a value as text (REG_SZ), nothing when absent.
bool RegistryKeyExists(HKEY root, const std::wstring& path);
std::optional<std::wstring> RegistryText(HKEY root, const std::wstring& path, const wchar_t* name = nullptr);

// Threads of this process that started in the module's image (0 when it is
// not loaded), or in `image` (the test program's own, for the product's code
// linked into it): unlike ThreadCount, blind to the worker threads that the
// platform's COM, RPC and thread pool start and end on their own schedule.
int ComponentThreadCount(HMODULE image = nullptr);

// This process's memory in kilobytes: committed private pages (what the
// system counts; a heap keeps pages after a free), and the live blocks of
// every heap (what was allocated and not freed).
struct MemoryKB {
    double committed = 0;
    double live = 0;
};
MemoryKB ProcessMemory();

}  // namespace testing_support
