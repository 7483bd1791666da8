// What the log sends to the debugger output, seen by running a program that
// logs as the debuggee of a real debug loop: the lines by "Type" and its
// overrides, the loading notice, and a log in trouble reported.
#include "log_test_support.h"

#include "com/unique_any.h"
#include "support/test_support.h"

#include <algorithm>

using namespace logtest;

namespace {

using Outputs = std::vector<std::wstring>;  // one per output-debug-string event

int CountStartingWith(const Outputs& outputs, const std::wstring& text) {
    return int(std::count_if(outputs.begin(), outputs.end(), [&](const std::wstring& o) { return o.rfind(text, 0) == 0; }));
}

// The messages of the log lines among the outputs.
Messages LoggedMessages(const Outputs& outputs) {
    Messages messages;
    ParsedLine parsed;
    for (const std::wstring& output : outputs)
        if (!output.empty() && ParseLine(output.substr(0, output.size() - 1), parsed)) messages.push_back(parsed.message);
    return messages;
}

// Runs log_child.exe with the steps ("load", "reload", "log|LEVEL|TYPE|WRITEMODE|SOURCE|MESSAGE")
// as the debuggee of this thread, until it exits or a minute has passed.
Outputs RunChild(const std::wstring& steps) {
    Outputs outputs;
    std::wstring commandLine = L"\"" + testing_support::BinDir() + L"log_child.exe\" " + steps;
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION info{};
    if (!::CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, DEBUG_ONLY_THIS_PROCESS, nullptr,
                          nullptr, &startup, &info)) {
        ADD_FAILURE() << "log_child.exe did not start";
        return outputs;
    }
    com::UniqueHandle process(info.hProcess), thread(info.hThread);
    DEBUG_EVENT event{};
    for (bool ended = false; !ended;) {
        if (!::WaitForDebugEvent(&event, 60000)) {
            ADD_FAILURE() << "log_child.exe did not end";
            ::TerminateProcess(process.get(), 1);
            ::DebugActiveProcessStop(info.dwProcessId);
            break;
        }
        DWORD status = DBG_CONTINUE;
        if (event.dwDebugEventCode == CREATE_PROCESS_DEBUG_EVENT) ::CloseHandle(event.u.CreateProcessInfo.hFile);
        if (event.dwDebugEventCode == LOAD_DLL_DEBUG_EVENT) ::CloseHandle(event.u.LoadDll.hFile);
        if (event.dwDebugEventCode == OUTPUT_DEBUG_STRING_EVENT) {
            // The text comes in the ANSI code page, even OutputDebugStringW's.
            const OUTPUT_DEBUG_STRING_INFO& string = event.u.DebugString;
            std::string bytes(size_t(string.nDebugStringLength) + 1, '\0');
            ::ReadProcessMemory(process.get(), string.lpDebugStringData, bytes.data(), string.nDebugStringLength, nullptr);
            std::wstring text(bytes.size(), L'\0');
            ::MultiByteToWideChar(CP_ACP, 0, bytes.c_str(), -1, text.data(), int(text.size()));
            outputs.push_back(text.c_str());
        }
        // The loader's breakpoint is ours to pass; any other exception is the program's.
        if (event.dwDebugEventCode == EXCEPTION_DEBUG_EVENT &&
            event.u.Exception.ExceptionRecord.ExceptionCode != EXCEPTION_BREAKPOINT)
            status = DBG_EXCEPTION_NOT_HANDLED;
        if (event.dwDebugEventCode == EXIT_PROCESS_DEBUG_EVENT) {
            EXPECT_EQ(0u, event.u.ExitProcess.dwExitCode) << "log_child.exe failed";
            ended = true;
        }
        ::ContinueDebugEvent(event.dwProcessId, event.dwThreadId, status);
    }
    return outputs;
}

// Defaults send all but verbose lines to both; an override of the type holds
// for later calls until the settings are read again (once per process unless
// forced), and one on a line that is filtered out changes nothing.
TEST_F(LoggerTest, TypeAndItsOverridesDecideWhereLinesGo) {
    const Outputs run = RunChild(
        L"load log|1|3|2|P|error log|4|1|2|P|verbose log|2|3|2|P|warning log|3|3|2|P|information "
        L"log|1|2|2|P|debugger log|1|3|2|P|still-debugger log|1|1|2|P|file log|1|3|2|P|still-file "
        L"load reload log|1|3|2|P|both");
    const wchar_t kLoading[] = L"[KTX Logger][Loading configuration]\n";
    EXPECT_EQ(kLoading, run.at(0));
    EXPECT_EQ(2, CountStartingWith(run, kLoading));
    EXPECT_EQ((Messages{L"error", L"warning", L"information", L"debugger", L"still-debugger", L"both"}), LoggedMessages(run));
    EXPECT_EQ((Messages{L"error", L"warning", L"information", L"file", L"still-file", L"both"}), FileMessages(DefaultLogPath()));
    EXPECT_EQ(1, CountStartingWith(run, ReadLogLines(DefaultLogPath()).at(1) + L"\n")) << "the very line the file gets";
}

// A backup that cannot be replaced (a viewer holds it) is reported and costs
// no line: the full log is kept and the line appended to it.
TEST_F(LoggerTest, FailedBackupIsReported) {
    SetDword(L"MaxSize", 1);
    WriteFilledLog(DefaultLogPath(), 1 << 20, L"fill");
    WriteFilledLog(BackupPath(1), 16, L"old");
    com::UniqueFile holder(::CreateFileW(BackupPath(1).c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(holder);
    const Outputs run = RunChild(L"log|1|1|2|P|kept");
    holder.reset();
    EXPECT_EQ(1, CountStartingWith(run, L"Log to file failed. Exception occured. File path: " + DefaultLogPath()));
    const Messages messages = FileMessages(DefaultLogPath());
    EXPECT_GT(messages.size(), 1u);
    EXPECT_EQ(L"kept", messages.back());
    EXPECT_EQ(0u, GetDword(L"CurrentCount", 0xFFFFFFFF));
}

}  // namespace
