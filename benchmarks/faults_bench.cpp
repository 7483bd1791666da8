// Full runs of failing books (test_faults keeps what they found as literal
// cases): every failure the Outlook stand-in can play (an error, death, busy
// refusing, busy asking to retry later) at every call position of each
// client's use of Outlook, and many seeded hostile Contacts folders. Each case
// runs in the fault probe, so a crash or a hang is a verdict. Prints per input
// kind: inputs tried, crashes, hangs, wrong results and the slowest case, the probe's threads
// and handles before and after (its own threads apart, and the module each
// thread started in); then every case that was not ok. Asserts nothing.
//   faults_bench [outlook [CLIENT PATH]] [sample N] [contacts N] [seed S]
// (no argument: both, 2000 Contacts folders; outlook alone runs the controls
// and AddressBook on the Table path and the first control item by item, about
// an hour; CLIENT control|control2|addressbook and PATH table|items run one
// of them; sample N runs N seeded Outlook cases of any client, path, failure
// and position. The seed is printed, and "seed S" replays a run.) Registers
// the module and both stand-ins.
#include "faults/fault_runner.h"
#include "support/outlook_fixture.h"
#include "support/wab_fixture.h"
#include "support/test_support.h"

#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>

using namespace testing_support;

namespace {

constexpr DWORD kQuietMs = 60000;

struct Row {
    int tried = 0, crashes = 0, hangs = 0, wrong = 0;
    double slowest = 0;
    std::string slowestCase;
};

std::map<std::string, Row> g_rows;
std::vector<faults::CaseResult> g_bad;

void Tally(const std::string& kind, const faults::RunSummary& summary) {
    Row& row = g_rows[kind];
    for (const auto& c : summary.cases) {
        ++row.tried;
        row.crashes += c.verdict == faults::Verdict::Crash;
        row.hangs += c.verdict == faults::Verdict::Hang;
        row.wrong += c.verdict == faults::Verdict::Wrong;
        if (c.verdict != faults::Verdict::Ok) g_bad.push_back(c);
        if (c.ms > row.slowest) {
            row.slowest = c.ms;
            row.slowestCase = c.line;
        }
    }
    for (const std::string& note : summary.notes) std::printf("  %s: %s\n", kind.c_str(), note.c_str());
}

// The calls one clean use makes, as the stand-in counted them.
int CallsOf(const std::string& client, const std::string& path) {
    const auto summary = faults::RunCases({client + " " + path + " count"}, kQuietMs);
    for (const auto& c : summary.cases) {
        const size_t at = c.detail.find("calls ");
        if (at != std::string::npos) return std::atoi(c.detail.c_str() + at + 6);
    }
    return 0;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    bool outlook = false, contacts = false;
    int folders = 2000, sampled = 0;
    std::string onlyClient, onlyPath;
    unsigned long long seed = faults::SeedFromEnvironment();
    for (int i = 1; i < argc; ++i) {
        const std::wstring arg = argv[i];
        if (arg == L"outlook") {
            outlook = true;
            const std::wstring next = i + 2 < argc ? argv[i + 1] : L"";
            if (next == L"control" || next == L"control2" || next == L"addressbook") {
                onlyClient = Utf8(argv[++i]);
                onlyPath = Utf8(argv[++i]);
            }
        }
        if (arg == L"contacts") {
            contacts = true;
            if (i + 1 < argc) folders = std::max(1, _wtoi(argv[++i]));
        }
        if (arg == L"sample" && i + 1 < argc) sampled = std::max(1, _wtoi(argv[++i]));
        if (arg == L"seed" && i + 1 < argc) seed = std::wcstoull(argv[++i], nullptr, 0);
    }
    if (!outlook && !contacts && !sampled) outlook = contacts = true;
    std::printf("seed %llu\n", seed);

    ComApartment apartment;
    if (RunRegsvr32(false) != 0 || RegisterStandIn() != 0 || !outlooktest::WaitForNoStandin(10000) ||
        outlooktest::RunStandin(L"/RegServer") != 0) {
        std::printf("registration failed\n");
        return 1;
    }
    if (outlook) {
        const std::pair<const char*, const char*> uses[] = {
            {"control", "table"}, {"control2", "table"}, {"addressbook", "table"}, {"control", "items"}};
        for (const auto& [client, path] : uses) {
            if (!onlyClient.empty() && (onlyClient != client || onlyPath != path)) continue;
            const int calls = CallsOf(client, path);
            std::printf("Outlook %s %s: %d calls in a clean use\n", client, path, calls);
            std::fflush(stdout);
            // One position past the end: the fault never comes.
            Tally(std::string("Outlook ") + client + " " + path,
                  faults::RunCases(faults::ExhaustiveOutlookCases(client, path, calls + 1), kQuietMs));
        }
    }
    if (outlook) {
        // What Wine's COM keeps of an Outlook that died, with no component in
        // the client: the handles the component's cases cannot give back.
        const auto bare = faults::RunCases({"bare table none", "bare table exit Count 1",
                                            "bare table exit Count 1", "bare table exit Count 1"},
                                           kQuietMs);
        for (const std::string& note : bare.notes)
            std::printf("  a bare client, Outlook dying three times: %s\n", note.c_str());
    }
    if (sampled) Tally("Outlook sampled", faults::RunCases(faults::SampleOutlookCases(seed, sampled), kQuietMs));
    if (contacts) Tally("Contacts folders", faults::RunCases(faults::ContactsCases(seed, folders), kQuietMs));

    std::printf(
        "\n| input kind | tried | crashes | hangs | wrong | slowest case |\n|---|---|---|---|---|---|\n");
    for (const auto& [kind, row] : g_rows)
        std::printf("| %s | %d | %d | %d | %d | %.0f ms (%s) |\n", kind.c_str(), row.tried, row.crashes,
                    row.hangs, row.wrong, row.slowest, row.slowestCase.c_str());
    for (const auto& c : g_bad)
        std::printf("%s: %s -> %s\n", faults::VerdictName(c.verdict), c.line.c_str(), c.detail.c_str());
    outlooktest::RunStandin(L"/UnregServer");
    outlooktest::DeleteStore();
    ClearContactsFolder();
    return 0;
}
