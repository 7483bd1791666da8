// Runs hostile inputs in child processes (fuzz_child.exe), so that an input
// that crashes or hangs is seen as such and the rest of the run goes on.
// The child says "BEGIN <seed>" before an input and "VERDICT <seed> <ms> ok|wrong
// <detail>" after it; an input begun and never judged crashed the child (it
// ended) or hung it (it said nothing more within the time-out).
#pragma once

#include <windows.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace fuzz {

enum class Verdict { Ok, Wrong, Crash, Hang };
const char* VerdictName(Verdict verdict);

struct Outcome {
    uint64_t seed = 0;
    Verdict verdict = Verdict::Crash;
    double ms = 0;       // as the child measured it (the wait for a crash or hang)
    std::string detail;  // what was wrong, or what the child said beside "ok"
};

// `fuzz_child.exe <mode> <seed>...`, `batch` seeds per child; a child that
// ends or stalls is replaced and the rest of its seeds go to a new one.
std::vector<Outcome> RunInChildren(const std::wstring& mode, const std::vector<uint64_t>& seeds, DWORD hangMs,
                                   size_t batch, const std::function<void(const Outcome&)>& onOutcome = {});

// A seed from the environment variable, or the fallback; how to replay one
// input is printed by the callers.
uint64_t SeedFromEnvironment(const wchar_t* variable, uint64_t fallback);

}  // namespace fuzz
