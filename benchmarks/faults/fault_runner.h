// Runs hostile cases in a probe process of their own, so that a case that
// crashes the component or hangs it is seen as a verdict instead of taking
// the test program with it. The probe (faults_probe.exe) reads the cases,
// one a line, from a file and writes "start <i>" before and "case <i> ..."
// after each; a probe that dies or goes quiet is started again after the case
// it was in.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace faults {

enum class Verdict { Ok, Wrong, Crash, Hang };

struct CaseResult {
    std::string line;  // the case as written
    Verdict verdict = Verdict::Hang;
    double ms = 0;       // the case's own time, as the probe measured it
    std::string detail;  // what was wrong, the result codes seen
};

struct RunSummary {
    std::vector<CaseResult> cases;
    std::vector<std::string> notes;  // other lines of the probe ("resources ...")
};

// Runs every case; a case that shows no progress for `quietMs` is a hang.
RunSummary RunCases(const std::vector<std::string>& cases, DWORD quietMs);

const char* VerdictName(Verdict verdict);

// A small seeded generator (the same numbers on every machine).
class Random {
public:
    explicit Random(unsigned long long seed) : m_state(seed * 2862933555777941757ULL + 3037000493ULL) {}
    unsigned Next() {
        m_state = m_state * 6364136223846793005ULL + 1442695040888963407ULL;
        return unsigned(m_state >> 33);
    }
    unsigned Below(unsigned bound) { return bound ? Next() % bound : 0; }

private:
    unsigned long long m_state;
};

// The seed of a run: the environment's FAULTS_SEED when set, else the clock.
unsigned long long SeedFromEnvironment();

// Case lines (the probe's input).
// Outlook: "<client> <path> <fault>", client control|control2|addressbook,
// path table|items, fault "none" or the stand-in's Fault text.
std::vector<std::string> SampleOutlookCases(unsigned long long seed, int count);
// Every failure kind at every call position of one client's use of Outlook:
// positions 1..calls.
std::vector<std::string> ExhaustiveOutlookCases(const std::string& client, const std::string& path,
                                                int calls);
// Contacts: "contacts <seed>" per case, from one run seed.
std::vector<std::string> ContactsCases(unsigned long long seed, int count);

}  // namespace faults
