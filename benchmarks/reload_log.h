// What the benchmarks that host the phonebook control share: pumping the
// thread's messages, and the control's own account of each reload, which it
// writes to the debugger output and the benchmark catches in its own process
// (the debugger output is an exception that a vectored handler sees before
// the system's default handling).
#pragma once

#include <windows.h>

#include <cstdio>
#include <string>

namespace bench {

inline void Pump() {
    MSG message;
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        ::TranslateMessage(&message);
        ::DispatchMessageW(&message);
    }
}

// The control's own account of each reload, from its debugger output line:
// the book read (LoadAll) and the list update after it, apart.
struct Reload {
    double read = 0, update = 0;
    unsigned long shown = 0, added = 0, removed = 0;
};

// Catches this process's debugger output for the life of the object and
// takes the reload lines out of it.
class DebugOutput {
public:
    DebugOutput() { m_handler = ::AddVectoredExceptionHandler(1, &Catch); }
    ~DebugOutput() {
        if (m_handler) ::RemoveVectoredExceptionHandler(m_handler);
    }

    // Waits, handling messages, for the next reload line; false after the timeout.
    bool NextReload(Reload& reload, DWORD timeoutMs) {
        const ULONGLONG deadline = ::GetTickCount64() + timeoutMs;
        for (;;) {
            if (TakeLine(reload)) return true;
            if (::GetTickCount64() > deadline) return false;
            ::MsgWaitForMultipleObjects(0, nullptr, FALSE, 20, QS_ALLINPUT);
            Pump();
        }
    }

private:
    static constexpr DWORD kPrintA = 0x40010006;  // DBG_PRINTEXCEPTION_C
    static constexpr DWORD kPrintW = 0x4001000A;  // DBG_PRINTEXCEPTION_WIDE_C
    static std::wstring& Pending() {
        static std::wstring text;
        return text;
    }
    // Only the benchmark's UI thread writes reload lines; other threads'
    // output is taken too, the parsing skips it.
    static LONG CALLBACK Catch(EXCEPTION_POINTERS* info) {
        const EXCEPTION_RECORD* record = info->ExceptionRecord;
        if (record->NumberParameters < 2) return EXCEPTION_CONTINUE_SEARCH;
        if (record->ExceptionCode == kPrintW) {
            Pending().append(reinterpret_cast<const wchar_t*>(record->ExceptionInformation[1]));
        } else if (record->ExceptionCode == kPrintA) {
            const char* text = reinterpret_cast<const char*>(record->ExceptionInformation[1]);
            while (*text) Pending().push_back(wchar_t(static_cast<unsigned char>(*text++)));
        }
        return EXCEPTION_CONTINUE_SEARCH;
    }

    bool TakeLine(Reload& reload) {
        std::wstring& pending = Pending();
        for (size_t end; (end = pending.find(L'\n')) != std::wstring::npos;) {
            const std::wstring line = pending.substr(0, end);
            pending.erase(0, end + 1);
            const size_t at = line.find(L"Reload of book");
            const size_t count = at == std::wstring::npos ? at : line.find(L':', at);
            if (count != std::wstring::npos &&
                swscanf(line.c_str() + count + 1,
                        L" %lu recipients, %lu added, %lu removed; read in %lf ms, list updated in %lf ms",
                        &reload.shown, &reload.added, &reload.removed, &reload.read, &reload.update) == 5)
                return true;
        }
        return false;
    }

    void* m_handler = nullptr;
};

}  // namespace bench
