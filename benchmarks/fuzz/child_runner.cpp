// Child processes for the hostile inputs, watched for crashes and hangs.
#include "fuzz/child_runner.h"

#include "com/unique_any.h"
#include "support/test_support.h"

#include <cstdlib>
#include <sstream>

namespace fuzz {

const char* VerdictName(Verdict verdict) {
    switch (verdict) {
        case Verdict::Ok:
            return "ok";
        case Verdict::Wrong:
            return "wrong";
        case Verdict::Crash:
            return "crash";
        case Verdict::Hang:
            return "hang";
    }
    return "?";
}

uint64_t SeedFromEnvironment(const wchar_t* variable, uint64_t fallback) {
    const wchar_t* text = _wgetenv(variable);
    return text && *text ? _wcstoui64(text, nullptr, 0) : fallback;
}

namespace {

struct Child {
    com::UniqueHandle process;
    com::UniqueHandle output;
};

bool Start(const std::wstring& commandLine, Child& child) {
    SECURITY_ATTRIBUTES inherit{sizeof(inherit), nullptr, TRUE};
    com::UniqueHandle writeEnd;
    if (!::CreatePipe(child.output.put(), writeEnd.put(), &inherit, 1 << 16)) return false;
    ::SetHandleInformation(child.output.get(), HANDLE_FLAG_INHERIT, 0);
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = ::GetStdHandle(STD_INPUT_HANDLE);
    startup.hStdOutput = writeEnd.get();
    startup.hStdError = writeEnd.get();
    PROCESS_INFORMATION info{};
    std::wstring line = commandLine;
    if (!::CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &info))
        return false;
    child.process.reset(info.hProcess);
    ::CloseHandle(info.hThread);
    return true;
}

// Reads what has arrived without waiting (a process the child starts in turn
// may hold the pipe open after the child ended).
void Drain(HANDLE pipe, std::string& into) {
    char buffer[4096];
    DWORD available = 0, read = 0;
    while (::PeekNamedPipe(pipe, nullptr, 0, nullptr, &available, nullptr) && available > 0 &&
           ::ReadFile(pipe, buffer, sizeof buffer, &read, nullptr) && read > 0)
        into.append(buffer, read);
}

}  // namespace

std::vector<Outcome> RunInChildren(const std::wstring& mode, const std::vector<uint64_t>& seeds, DWORD hangMs,
                                   size_t batch, const std::function<void(const Outcome&)>& onOutcome) {
    std::vector<Outcome> outcomes;
    const auto judge = [&](Outcome outcome) {
        if (onOutcome) onOutcome(outcome);
        outcomes.push_back(std::move(outcome));
    };
    size_t next = 0;
    while (next < seeds.size()) {
        const size_t end = std::min(seeds.size(), next + std::max<size_t>(batch, 1));
        std::wstring commandLine = L"\"" + testing_support::BinDir() + L"fuzz_child.exe\" " + mode;
        for (size_t i = next; i < end; ++i) commandLine += L" " + std::to_wstring(seeds[i]);
        Child child;
        if (!Start(commandLine, child)) {
            judge({seeds[next++], Verdict::Crash, 0, "fuzz_child.exe did not start"});
            continue;
        }
        std::string pending;
        bool begun = false;
        ULONGLONG lastSign = ::GetTickCount64();
        bool ended = false, hung = false;
        const auto parse = [&] {
            for (size_t newline; (newline = pending.find('\n')) != std::string::npos;) {
                std::string line = pending.substr(0, newline);
                pending.erase(0, newline + 1);
                if (!line.empty() && line.back() == '\r') line.pop_back();
                std::istringstream in(line);
                std::string word;
                uint64_t seed = 0;
                in >> word >> seed;
                if (word == "BEGIN") {
                    begun = true;
                    lastSign = ::GetTickCount64();
                } else if (word == "VERDICT" && next < seeds.size() && seed == seeds[next]) {
                    Outcome outcome;
                    outcome.seed = seed;
                    std::string said;
                    in >> outcome.ms >> said;
                    outcome.verdict = said == "ok" ? Verdict::Ok : Verdict::Wrong;
                    std::getline(in >> std::ws, outcome.detail);
                    judge(std::move(outcome));
                    ++next;
                    begun = false;
                    lastSign = ::GetTickCount64();
                }
            }
        };
        while (!ended && !hung) {
            Drain(child.output.get(), pending);
            parse();
            ended = ::WaitForSingleObject(child.process.get(), 20) == WAIT_OBJECT_0;
            if (!ended && ::GetTickCount64() - lastSign > hangMs) hung = true;
        }
        Drain(child.output.get(), pending);
        parse();
        if (hung) {
            ::TerminateProcess(child.process.get(), 1);
            ::WaitForSingleObject(child.process.get(), 5000);
            judge({seeds[next++], Verdict::Hang, double(hangMs),
                   begun ? "no verdict in time" : "stalled between inputs"});
        } else if (next < end) {
            DWORD code = 0;
            ::GetExitCodeProcess(child.process.get(), &code);
            char detail[64];
            std::snprintf(detail, sizeof detail, "child ended with 0x%08lX",
                          static_cast<unsigned long>(code));
            judge({seeds[next++], Verdict::Crash, 0, detail});
        }
    }
    return outcomes;
}

}  // namespace fuzz
