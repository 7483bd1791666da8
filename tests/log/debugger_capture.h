// Runs a program as a debuggee of this thread and collects what it sends to
// the debugger output: the honest way to see OutputDebugString text, since
// nothing else (not even Wine's own channels, switched off here) shows it.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace logtest {

struct DebuggedRun {
    bool ended = false;  // false: it did not start or was stopped at the timeout
    DWORD exitCode = 0;
    std::vector<std::wstring> outputs;  // one entry per output-debug-string event

    // Number of outputs that start with the text.
    int CountStartingWith(const std::wstring& text) const;
    // The outputs that contain the text.
    std::vector<std::wstring> Containing(const std::wstring& text) const;
};

// Starts the command line with DEBUG_ONLY_THIS_PROCESS and runs the debug
// loop until the process exits or the timeout passes.
DebuggedRun RunUnderDebugger(const std::wstring& commandLine, DWORD timeoutMs = 60000);

}  // namespace logtest
