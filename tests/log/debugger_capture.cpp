// The debug loop behind RunUnderDebugger.
#include "debugger_capture.h"

#include "com/unique_any.h"

namespace logtest {

namespace {

// The debug events hand over file handles that the debugger must close.
void CloseEventFile(HANDLE file) {
    if (file && file != INVALID_HANDLE_VALUE) com::UniqueHandle owner(file);
}

std::wstring ReadDebugString(HANDLE process, const OUTPUT_DEBUG_STRING_INFO& info) {
    const size_t units = info.nDebugStringLength;
    if (units == 0) return L"";
    if (info.fUnicode) {
        std::wstring text(units, L'\0');
        SIZE_T read = 0;
        if (!::ReadProcessMemory(process, info.lpDebugStringData, text.data(), units * sizeof(wchar_t),
                                 &read))
            return L"";
        text.resize(read / sizeof(wchar_t));
        return text.substr(0, text.find(L'\0'));
    }
    std::string narrow(units, '\0');
    SIZE_T read = 0;
    if (!::ReadProcessMemory(process, info.lpDebugStringData, narrow.data(), units, &read)) return L"";
    narrow.resize(read);
    narrow = narrow.substr(0, narrow.find('\0'));
    std::wstring text(narrow.size(), L'\0');
    const int length =
        ::MultiByteToWideChar(CP_ACP, 0, narrow.data(), int(narrow.size()), text.data(), int(text.size()));
    text.resize(size_t(length > 0 ? length : 0));
    return text;
}

}  // namespace

int DebuggedRun::CountStartingWith(const std::wstring& text) const {
    int count = 0;
    for (const std::wstring& output : outputs)
        if (output.compare(0, text.size(), text) == 0) ++count;
    return count;
}

std::vector<std::wstring> DebuggedRun::Containing(const std::wstring& text) const {
    std::vector<std::wstring> found;
    for (const std::wstring& output : outputs)
        if (output.find(text) != std::wstring::npos) found.push_back(output);
    return found;
}

DebuggedRun RunUnderDebugger(const std::wstring& commandLine, DWORD timeoutMs) {
    DebuggedRun run;
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION info{};
    std::wstring mutableLine = commandLine;
    if (!::CreateProcessW(nullptr, mutableLine.data(), nullptr, nullptr, FALSE, DEBUG_ONLY_THIS_PROCESS,
                          nullptr, nullptr, &startup, &info))
        return run;
    com::UniqueHandle process(info.hProcess), thread(info.hThread);

    const ULONGLONG deadline = ::GetTickCount64() + timeoutMs;
    while (!run.ended) {
        const ULONGLONG now = ::GetTickCount64();
        DEBUG_EVENT event{};
        if (now >= deadline || !::WaitForDebugEvent(&event, DWORD(deadline - now))) {
            ::TerminateProcess(process.get(), 1);
            ::DebugActiveProcessStop(info.dwProcessId);
            break;
        }
        DWORD status = DBG_CONTINUE;
        switch (event.dwDebugEventCode) {
            case CREATE_PROCESS_DEBUG_EVENT:
                CloseEventFile(event.u.CreateProcessInfo.hFile);
                break;
            case LOAD_DLL_DEBUG_EVENT:
                CloseEventFile(event.u.LoadDll.hFile);
                break;
            case OUTPUT_DEBUG_STRING_EVENT:
                run.outputs.push_back(ReadDebugString(process.get(), event.u.DebugString));
                break;
            case EXCEPTION_DEBUG_EVENT:
                // The loader's breakpoint is ours to pass; anything else is the program's.
                if (event.u.Exception.ExceptionRecord.ExceptionCode != EXCEPTION_BREAKPOINT)
                    status = DBG_EXCEPTION_NOT_HANDLED;
                break;
            case EXIT_PROCESS_DEBUG_EVENT:
                run.exitCode = event.u.ExitProcess.dwExitCode;
                run.ended = true;
                break;
            default:
                break;
        }
        ::ContinueDebugEvent(event.dwProcessId, event.dwThreadId, status);
    }
    return run;
}

}  // namespace logtest
