// Shared tools of the tests.
#include "support/test_support.h"

#include <tlhelp32.h>

#include <algorithm>

#include <vector>

namespace testing_support {

namespace {

void DispatchWaitingMessages() {
    MSG msg;
    while (::PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
        ::TranslateMessage(&msg);
        ::DispatchMessageW(&msg);
    }
}

}  // namespace

std::wstring BinDir() {
    wchar_t path[MAX_PATH];
    const DWORD length = ::GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring dir(path, length);
    return dir.substr(0, dir.find_last_of(L"\\/") + 1);
}

int RunProcess(const std::wstring& commandLine, std::string* output, DWORD timeoutMs, bool pumpMessages) {
    SECURITY_ATTRIBUTES inherit{sizeof(inherit), nullptr, TRUE};
    com::UniqueHandle readEnd, writeEnd;
    if (!::CreatePipe(readEnd.put(), writeEnd.put(), &inherit, 0)) return -1;
    ::SetHandleInformation(readEnd.get(), HANDLE_FLAG_INHERIT, 0);

    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = ::GetStdHandle(STD_INPUT_HANDLE);
    startup.hStdOutput = writeEnd.get();
    startup.hStdError = writeEnd.get();
    PROCESS_INFORMATION info{};
    std::wstring mutableLine = commandLine;
    if (!::CreateProcessW(nullptr, mutableLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                          &info))
        return -1;
    com::UniqueHandle process(info.hProcess), thread(info.hThread);
    writeEnd.reset();

    // Read only while the child runs: a process that it starts in turn (under
    // Wine the first program that needs the desktop starts explorer.exe) may
    // inherit the pipe and keep it open for good, so waiting for the pipe to
    // close could wait forever.
    std::string collected;
    const auto drain = [&] {
        char buffer[4096];
        DWORD available = 0, read = 0;
        while (::PeekNamedPipe(readEnd.get(), nullptr, 0, nullptr, &available, nullptr) && available > 0 &&
               ::ReadFile(readEnd.get(), buffer, sizeof buffer, &read, nullptr) && read > 0)
            collected.append(buffer, read);
    };
    const ULONGLONG deadline = ::GetTickCount64() + timeoutMs;
    bool ended = false;
    while (!ended) {
        drain();
        HANDLE handle = process.get();
        ended = (pumpMessages ? ::MsgWaitForMultipleObjects(1, &handle, FALSE, 20, QS_ALLINPUT)
                              : ::WaitForSingleObject(handle, 20)) == WAIT_OBJECT_0;
        if (pumpMessages) DispatchWaitingMessages();
        if (!ended && ::GetTickCount64() >= deadline) {
            ::TerminateProcess(process.get(), 1);
            if (output) *output = collected;
            return -1;
        }
    }
    drain();
    if (output) *output = collected;

    DWORD code = 0;
    ::GetExitCodeProcess(process.get(), &code);
    return int(code);
}

bool RunOnThread(SIZE_T stackBytes, const std::function<void()>& body) {
    auto run = [](void* context) WINAPI -> DWORD {
        (*static_cast<const std::function<void()>*>(context))();
        return 0;
    };
    com::UniqueHandle thread(::CreateThread(nullptr, stackBytes, run,
                                            const_cast<std::function<void()>*>(&body),
                                            STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr));
    if (!thread) return false;
    ::WaitForSingleObject(thread.get(), INFINITE);
    return true;
}

int RunRegsvr32(bool unregister) {
    return RunProcess(std::wstring(L"regsvr32.exe ") + (unregister ? L"/u " : L"") + L"/s \"" + BinDir() +
                      kModuleFileName + std::wstring(L"\""));
}

MessageCounter::MessageCounter(UINT message) : m_message(message) {
    static const wchar_t kClass[] = L"VelPhonebookTestCounter";
    WNDCLASSW wc{};
    wc.lpfnWndProc = &MessageCounter::WindowProc;
    wc.hInstance = ::GetModuleHandleW(nullptr);
    wc.lpszClassName = kClass;
    ::RegisterClassW(&wc);  // fails harmlessly when already registered
    m_window.reset(::CreateWindowExW(0, kClass, L"", WS_POPUP, 0, 0, 1, 1, nullptr, nullptr,
                                     ::GetModuleHandleW(nullptr), this));
}

MessageCounter::~MessageCounter() = default;

LRESULT CALLBACK MessageCounter::WindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_NCCREATE) {
        auto* create = reinterpret_cast<CREATESTRUCTW*>(lParam);
        ::SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(create->lpCreateParams));
    }
    auto* self = reinterpret_cast<MessageCounter*>(::GetWindowLongPtrW(window, GWLP_USERDATA));
    if (self && message == self->m_message) {
        ++self->m_count;
        self->m_lastWParam = wParam;
        self->m_lastLParam = lParam;
        return 0;
    }
    return ::DefWindowProcW(window, message, wParam, lParam);
}

int MessageCounter::WaitFor(int count, DWORD timeoutMs) {
    const ULONGLONG deadline = ::GetTickCount64() + timeoutMs;
    while (m_count < count) {
        const ULONGLONG now = ::GetTickCount64();
        if (now >= deadline) break;
        ::MsgWaitForMultipleObjects(0, nullptr, FALSE, DWORD(deadline - now), QS_ALLINPUT);
        DispatchWaitingMessages();
    }
    return m_count;
}

int MessageCounter::WaitAfter(const std::function<void()>& action, int count, DWORD timeoutMs,
                              DWORD settleMs) {
    PumpFor(settleMs);
    Reset();
    action();
    return WaitFor(count, timeoutMs);
}

namespace {

std::vector<DWORD> ThreadsOfProcess() {
    std::vector<DWORD> threads;
    com::UniqueFile snapshot(
        ::CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
    if (!snapshot) return threads;
    THREADENTRY32 entry{};
    entry.dwSize = sizeof(entry);
    for (BOOL more = ::Thread32First(snapshot.get(), &entry); more; more = ::Thread32Next(snapshot.get(), &entry))
        if (entry.th32OwnerProcessID == ::GetCurrentProcessId()) threads.push_back(entry.th32ThreadID);
    return threads;
}

}  // namespace

bool ThreadAlive(DWORD threadId) {
    for (DWORD id : ThreadsOfProcess())
        if (id == threadId) return true;
    return false;
}

int ThreadCount() { return int(ThreadsOfProcess().size()); }

int HandleCount() {
    // SystemHandleInformation: a count followed by one entry per handle.
    struct Entry {
        ULONG process;
        BYTE type, flags;
        USHORT handle;
        void* object;
        ACCESS_MASK access;
    };
    using Query = LONG(WINAPI*)(ULONG, void*, ULONG, ULONG*);
    const auto query = reinterpret_cast<Query>(
        reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
    constexpr ULONG kSystemHandleInformation = 16;
    constexpr LONG kInfoLengthMismatch = LONG(0xC0000004);
    std::vector<BYTE> buffer(1 << 20);
    LONG status;
    ULONG length = 0;
    while ((status = query(kSystemHandleInformation, buffer.data(), ULONG(buffer.size()), &length)) ==
           kInfoLengthMismatch)
        buffer.resize(buffer.size() * 2);
    if (status != 0) return -1;
    const ULONG count = *reinterpret_cast<const ULONG*>(buffer.data());
    const auto* entries = reinterpret_cast<const Entry*>(buffer.data() + sizeof(void*));
    int mine = 0;
    for (ULONG i = 0; i < count; ++i)
        if (entries[i].process == ::GetCurrentProcessId()) ++mine;
    return mine;
}

std::string Utf8(const std::wstring& text) {
    const int size =
        ::WideCharToMultiByte(CP_UTF8, 0, text.data(), int(text.size()), nullptr, 0, nullptr, nullptr);
    std::string out(size_t(size), '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, text.data(), int(text.size()), out.data(), size, nullptr, nullptr);
    return out;
}

std::wstring FromUtf8(const std::string& text) {
    const int size = ::MultiByteToWideChar(CP_UTF8, 0, text.data(), int(text.size()), nullptr, 0);
    std::wstring out(size_t(size), L'\0');
    ::MultiByteToWideChar(CP_UTF8, 0, text.data(), int(text.size()), out.data(), size);
    return out;
}

void DeleteUserKey(const wchar_t* path) { ::RegDeleteTreeW(HKEY_CURRENT_USER, path), ::RegDeleteKeyW(HKEY_CURRENT_USER, path); }

bool RegistryKeyExists(HKEY root, const std::wstring& path) {
    com::UniqueHKey key;
    return ::RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, key.put()) == ERROR_SUCCESS;
}

std::optional<std::wstring> RegistryText(HKEY root, const std::wstring& path, const wchar_t* name) {
    wchar_t buffer[1024];
    DWORD size = sizeof buffer;
    if (::RegGetValueW(root, path.c_str(), name, RRF_RT_REG_SZ, nullptr, buffer, &size) != ERROR_SUCCESS)
        return std::nullopt;
    return std::wstring(buffer);
}

int ComponentThreadCount(HMODULE image) {
    const HMODULE module = image ? image : ::GetModuleHandleW(kModuleFileName);
    if (!module) return 0;
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(module);
    const auto* nt = reinterpret_cast<const IMAGE_NT_HEADERS*>(reinterpret_cast<const BYTE*>(module) + dos->e_lfanew);
    const auto begin = reinterpret_cast<ULONG_PTR>(module), end = begin + nt->OptionalHeader.SizeOfImage;
    using Query = LONG(WINAPI*)(HANDLE, ULONG, void*, ULONG, ULONG*);
    const auto query = reinterpret_cast<Query>(
        reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "NtQueryInformationThread")));
    constexpr ULONG kThreadQuerySetWin32StartAddress = 9;
    int mine = 0;
    for (DWORD id : ThreadsOfProcess()) {
        com::UniqueHandle thread(::OpenThread(THREAD_QUERY_INFORMATION, FALSE, id));
        ULONG_PTR start = 0;
        if (thread && query(thread.get(), kThreadQuerySetWin32StartAddress, &start, sizeof start, nullptr) == 0 &&
            start >= begin && start < end)
            ++mine;
    }
    return mine;
}

MemoryKB ProcessMemory() {
    MemoryKB memory;
    MEMORY_BASIC_INFORMATION region{};
    for (const BYTE* at = nullptr; ::VirtualQuery(at, &region, sizeof region) == sizeof region;
         at = static_cast<const BYTE*>(region.BaseAddress) + region.RegionSize)
        if (region.State == MEM_COMMIT && region.Type == MEM_PRIVATE) memory.committed += region.RegionSize / 1024.0;
    HANDLE heaps[64];
    const DWORD count = std::min<DWORD>(::GetProcessHeaps(64, heaps), 64);
    for (DWORD h = 0; h < count; ++h) {
        if (!::HeapLock(heaps[h])) continue;
        PROCESS_HEAP_ENTRY entry{};
        while (::HeapWalk(heaps[h], &entry))
            if (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) memory.live += entry.cbData / 1024.0;
        ::HeapUnlock(heaps[h]);
    }
    return memory;
}

}  // namespace testing_support
