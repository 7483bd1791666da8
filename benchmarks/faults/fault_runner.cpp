// Running hostile cases in probe processes (see fault_runner.h).
#include "faults/fault_runner.h"

#include "com/unique_any.h"
#include "support/test_support.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace faults {
namespace {

constexpr DWORD kProbeExitHang = 0xFA17;

struct ProbeRun {
    std::vector<std::string> lines;
    bool ended = false;  // by itself (not killed for being quiet)
    DWORD exitCode = 0;
};

// Starts the probe on the case file from `first`; collects its lines until it
// ends or stays quiet for quietMs.
ProbeRun RunProbe(const std::wstring& caseFile, size_t first, DWORD quietMs) {
    ProbeRun run;
    SECURITY_ATTRIBUTES inherit{sizeof(inherit), nullptr, TRUE};
    com::UniqueHandle readEnd, writeEnd;
    if (!::CreatePipe(readEnd.put(), writeEnd.put(), &inherit, 0)) return run;
    ::SetHandleInformation(readEnd.get(), HANDLE_FLAG_INHERIT, 0);
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = ::GetStdHandle(STD_INPUT_HANDLE);
    startup.hStdOutput = writeEnd.get();
    startup.hStdError = writeEnd.get();
    PROCESS_INFORMATION info{};
    std::wstring line = L"\"" + testing_support::BinDir() + L"faults_probe.exe\" \"" + caseFile + L"\" " +
                        std::to_wstring(first);
    if (!::CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &info))
        return run;
    com::UniqueHandle process(info.hProcess), thread(info.hThread);
    writeEnd.reset();

    std::string pending;
    ULONGLONG lastProgress = ::GetTickCount64();
    const auto drain = [&] {
        char buffer[4096];
        DWORD available = 0, read = 0;
        while (::PeekNamedPipe(readEnd.get(), nullptr, 0, nullptr, &available, nullptr) && available > 0 &&
               ::ReadFile(readEnd.get(), buffer, sizeof buffer, &read, nullptr) && read > 0) {
            pending.append(buffer, read);
            lastProgress = ::GetTickCount64();
        }
        for (size_t end; (end = pending.find('\n')) != std::string::npos;) {
            std::string text = pending.substr(0, end);
            if (!text.empty() && text.back() == '\r') text.pop_back();
            run.lines.push_back(text);
            pending.erase(0, end + 1);
        }
    };
    for (;;) {
        drain();
        if (::WaitForSingleObject(process.get(), 20) == WAIT_OBJECT_0) {
            drain();
            run.ended = true;
            ::GetExitCodeProcess(process.get(), &run.exitCode);
            break;
        }
        if (::GetTickCount64() - lastProgress > quietMs) {
            ::TerminateProcess(process.get(), kProbeExitHang);
            ::WaitForSingleObject(process.get(), 5000);
            break;
        }
    }
    if (!pending.empty()) run.lines.push_back(pending);
    return run;
}

}  // namespace

const char* VerdictName(Verdict verdict) {
    switch (verdict) {
        case Verdict::Ok:
            return "ok";
        case Verdict::Wrong:
            return "wrong";
        case Verdict::Crash:
            return "crash";
        default:
            return "hang";
    }
}

RunSummary RunCases(const std::vector<std::string>& cases, DWORD quietMs) {
    RunSummary summary;
    wchar_t folder[MAX_PATH] = {}, file[MAX_PATH] = {};
    ::GetTempPathW(MAX_PATH, folder);
    ::GetTempFileNameW(folder, L"flt", 0, file);
    {
        std::ofstream out(file, std::ios::binary | std::ios::trunc);
        for (const std::string& c : cases) out << c << "\n";
    }
    size_t next = 0;
    while (next < cases.size()) {
        const ProbeRun run = RunProbe(file, next, quietMs);
        long started = -1;
        bool progressed = false;
        for (const std::string& text : run.lines) {
            std::istringstream in(text);
            std::string word;
            in >> word;
            if (word == "start") {
                in >> started;
            } else if (word == "case") {
                long index = -1;
                std::string verdict;
                CaseResult result;
                in >> index >> verdict >> result.ms;
                std::getline(in, result.detail);
                if (!result.detail.empty() && result.detail[0] == ' ') result.detail.erase(0, 1);
                if (index < 0 || size_t(index) >= cases.size()) continue;
                result.line = cases[size_t(index)];
                result.verdict = verdict == "ok" ? Verdict::Ok : Verdict::Wrong;
                summary.cases.push_back(result);
                next = size_t(index) + 1;
                started = -1;
                progressed = true;
            } else if (!text.empty()) {
                summary.notes.push_back(text);
            }
        }
        if (next >= cases.size()) break;
        // The probe ended or was stopped inside a case (or before its first).
        const size_t failed = started >= 0 ? size_t(started) : next;
        if (!progressed && started < 0 && run.ended && run.exitCode == 0) {
            summary.notes.push_back("the probe ended without running a case");
            break;
        }
        CaseResult result;
        result.line = cases[failed];
        result.verdict = run.ended ? Verdict::Crash : Verdict::Hang;
        char code[64];
        std::snprintf(code, sizeof code, "probe %s, exit code 0x%08lX", run.ended ? "died" : "stopped",
                      static_cast<unsigned long>(run.exitCode));
        result.detail = code;
        summary.cases.push_back(result);
        next = failed + 1;
    }
    ::DeleteFileW(file);
    return summary;
}

unsigned long long SeedFromEnvironment() {
    char text[64] = {};
    if (::GetEnvironmentVariableA("FAULTS_SEED", text, sizeof text) > 0)
        return std::strtoull(text, nullptr, 0);
    return static_cast<unsigned long long>(std::chrono::steady_clock::now().time_since_epoch().count() %
                                           1000000007ULL);
}

namespace {

const char* const kClients[] = {"control", "control2", "addressbook"};
// Calls the phonebook makes, by name, on the way to a listing or an addition.
const char* const kMembers[] = {"*",
                                "Version",
                                "GetNamespace",
                                "GetDefaultFolder",
                                "Items",
                                "Folders",
                                "Reminders",
                                "GetTable",
                                "Columns",
                                "GetArray",
                                "GetRowCount",
                                "Restrict",
                                "Count",
                                "Item",
                                "FullName",
                                "EntryID",
                                "CreateItem",
                                "Save",
                                "Advise",
                                "FindConnectionPoint",
                                "GetIDsOfNames",
                                "UserProperties",
                                "Find",
                                "BusinessFaxNumber"};

}  // namespace

std::vector<std::string> SampleOutlookCases(unsigned long long seed, int count) {
    Random random(seed);
    std::vector<std::string> cases;
    for (int i = 0; i < count; ++i) {
        const std::string client = kClients[random.Below(3)];
        const std::string path = random.Below(3) == 0 ? "items" : "table";
        const std::string member = kMembers[random.Below(sizeof kMembers / sizeof kMembers[0])];
        const int position = 1 + int(random.Below(member == "*" ? 30 : 3));
        std::string fault;
        switch (random.Below(4)) {
            case 0:
                fault = "fail " + member + " " + std::to_string(position) +
                        (random.Below(2) ? " 0x80004005" : " 0x8004010F");
                break;
            case 1:
                fault = "exit " + member + " " + std::to_string(position);
                break;
            case 2:
                fault = "reject " + member + " " + std::to_string(position) + " 1500";
                break;
            default:
                fault = "retrylater " + member + " " + std::to_string(position) + " 1500";
                break;
        }
        cases.push_back(client + " " + path + " " + fault);
    }
    return cases;
}

std::vector<std::string> ExhaustiveOutlookCases(const std::string& client, const std::string& path,
                                                int calls) {
    std::vector<std::string> cases;
    for (int position = 1; position <= calls; ++position) {
        const std::string at = " * " + std::to_string(position);
        cases.push_back(client + " " + path + " fail" + at + " 0x80004005");
        cases.push_back(client + " " + path + " exit" + at);
        cases.push_back(client + " " + path + " reject" + at + " 1500");
        cases.push_back(client + " " + path + " retrylater" + at + " 1500");
    }
    return cases;
}

std::vector<std::string> ContactsCases(unsigned long long seed, int count) {
    Random random(seed);
    std::vector<std::string> cases;
    for (int i = 0; i < count; ++i) cases.push_back("contacts " + std::to_string(random.Next()));
    return cases;
}

}  // namespace faults
