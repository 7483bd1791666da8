// Randomised runs of hostile inputs: MRU stores, Logger settings and language
// files, each judged in child processes (fuzz_child), then two processes
// logging at once. Prints per input kind the inputs tried, crashes, hangs,
// wrong results and the slowest case, and every failing seed with the way to
// replay it. Asserts nothing; the exit code is 0. (test_fuzz keeps what
// these runs found as literal cases.)
//   fuzz_bench [MRU_STORES [LOG_SETTINGS [LANGUAGE_FILES [BASE_SEED [RACE_ROUNDS]]]]]
// (defaults 1000 1000 1000, base seed from the clock, 3 rounds of the log
// race; VELPHONEBOOK_FUZZ_BASE also sets the seed). Seeds run from the base
// seed on, the same seeds for each kind. Registers the module beside the program.
#include "fuzz/child_runner.h"
#include "fuzz/hostile_inputs.h"
#include "fuzz/log_race.h"
#include "support/test_support.h"

#include <chrono>
#include <cstdio>
#include <cwchar>
#include <map>
#include <string>
#include <vector>

namespace {

struct Figures {
    size_t tried = 0, crashes = 0, hangs = 0, wrong = 0;
    double slowestMs = -1;
    uint64_t slowestSeed = 0;
    std::vector<fuzz::Outcome> failures;

    void Add(const fuzz::Outcome& outcome) {
        ++tried;
        switch (outcome.verdict) {
            case fuzz::Verdict::Ok:
                break;
            case fuzz::Verdict::Wrong:
                ++wrong;
                break;
            case fuzz::Verdict::Crash:
                ++crashes;
                break;
            case fuzz::Verdict::Hang:
                ++hangs;
                break;
        }
        if (outcome.verdict != fuzz::Verdict::Ok) failures.push_back(outcome);
        if (outcome.ms > slowestMs) {
            slowestMs = outcome.ms;
            slowestSeed = outcome.seed;
        }
    }
};

void PrintRow(const std::string& kind, const Figures& f) {
    std::printf("| %-26s | %8zu | %7zu | %5zu | %5zu | %10.0f ms (seed %llu) |\n", kind.c_str(), f.tried,
                f.crashes, f.hangs, f.wrong, f.slowestMs < 0 ? 0.0 : f.slowestMs,
                static_cast<unsigned long long>(f.slowestSeed));
}

std::vector<uint64_t> Seeds(uint64_t base, size_t count) {
    std::vector<uint64_t> seeds;
    for (size_t i = 0; i < count; ++i) seeds.push_back(base + i);
    return seeds;
}

// Progress on the error stream every `every` inputs, so a long run shows it lives.
std::function<void(const fuzz::Outcome&)> Progress(const char* what, size_t total, Figures* figures,
                                                   std::map<std::string, Figures>* byKind = nullptr) {
    return [=](const fuzz::Outcome& outcome) {
        if (figures) figures->Add(outcome);
        if (byKind) (*byKind)[fuzz::KindName(fuzz::StoreKindOf(outcome.seed))].Add(outcome);
        const size_t done = figures ? figures->tried : 0;
        if (done % 100 == 0 || done == total) std::fprintf(stderr, "%s: %zu of %zu\n", what, done, total);
        if (outcome.verdict != fuzz::Verdict::Ok)
            std::fprintf(stderr, "  seed %llu: %s: %s\n", static_cast<unsigned long long>(outcome.seed),
                         fuzz::VerdictName(outcome.verdict), outcome.detail.c_str());
    };
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    const size_t stores = argc > 1 ? _wtoi(argv[1]) : 1000;
    const size_t settings = argc > 2 ? _wtoi(argv[2]) : 1000;
    const size_t languageFiles = argc > 3 ? _wtoi(argv[3]) : 1000;
    const uint64_t clock = uint64_t(std::chrono::system_clock::now().time_since_epoch().count()) % 1000000000;
    const uint64_t base = argc > 4 ? _wcstoui64(argv[4], nullptr, 10)
                                   : fuzz::SeedFromEnvironment(L"VELPHONEBOOK_FUZZ_BASE", clock);
    const int raceRounds = argc > 5 ? _wtoi(argv[5]) : 3;
    std::printf("base seed %llu: MRU stores %zu, Logger settings %zu, language files %zu\n",
                static_cast<unsigned long long>(base), stores, settings, languageFiles);
    std::fflush(stdout);
    if (testing_support::RunRegsvr32(false) != 0) {
        std::printf("regsvr32 VelPhonebook64.dll failed\n");
        return 1;
    }
    const auto started = std::chrono::steady_clock::now();

    // Each kind of store is one residue of the seed, so the kinds share the run.
    std::map<std::string, Figures> storeKinds;
    Figures allStores, logFigures, languageFigures;
    fuzz::RunInChildren(L"mru", Seeds(base, stores), 120000, 100,
                        Progress("MRU stores", stores, &allStores, &storeKinds));
    fuzz::RunInChildren(L"log", Seeds(base, settings), 60000, 200,
                        Progress("Logger settings", settings, &logFigures));
    size_t refused = 0;
    const auto languageProgress = Progress("language files", languageFiles, &languageFigures);
    fuzz::RunInChildren(L"lang", Seeds(base, languageFiles), 60000, 200, [&](const fuzz::Outcome& outcome) {
        if (outcome.detail.rfind("refused", 0) == 0) ++refused;
        languageProgress(outcome);
    });

    std::printf("\n| input kind                 |    tried | crashes | hangs | wrong | slowest case |\n");
    std::printf("|---|---|---|---|---|---|\n");
    for (const auto& [kind, figures] : storeKinds) PrintRow("MRU store: " + kind, figures);
    PrintRow("MRU store: all", allStores);
    PrintRow("Logger settings", logFigures);
    PrintRow("language file", languageFigures);
    std::printf("(%zu of %zu language files refused, the built-in texts used)\n", refused,
                languageFigures.tried);

    // The race differs from run to run: a few rounds. At most about 9.6 MB
    // of lines in all, so that no backup is overwritten by its own cycle.
    for (const int writers : {2, 4}) {
        std::printf("\n%d processes logging at once, 10,000 lines each, 1 MB limit, 10 backups:\n", writers);
        for (int round = 1; round <= raceRounds; ++round) {
            const fuzz::LogRace race = fuzz::RunLogWriters(writers, 10000);
            int lost = 0, failedExits = 0;
            for (const int n : race.lost) lost += n;
            for (const int code : race.exits) failedExits += code != 0;
            std::printf(
                "  round %d: %d writers failed; lost %d of %d (%.2f%%), duplicated %d, damaged %d, "
                "out of order %d; %d rotation notices, last backup %u\n",
                round, failedExits, lost, writers * race.linesEach, 100.0 * lost / (writers * race.linesEach),
                race.duplicates, race.damaged, race.outOfOrder, race.notices, race.rotations);
            for (const std::wstring& sample : race.damagedSamples)
                std::printf("    damaged: %ls\n", sample.c_str());
        }
    }

    const auto failed = [](const char* kind, const char* counts, const Figures& figures) {
        for (const fuzz::Outcome& outcome : figures.failures)
            std::printf("  %s seed %llu: %s: %s  (alone: fuzz_bench %s %llu 0)\n", kind,
                        static_cast<unsigned long long>(outcome.seed), fuzz::VerdictName(outcome.verdict),
                        outcome.detail.c_str(), counts, static_cast<unsigned long long>(outcome.seed));
    };
    if (!allStores.failures.empty() || !logFigures.failures.empty() || !languageFigures.failures.empty()) {
        std::printf("\nfailures:\n");
        failed("MRU store", "1 0 0", allStores);
        failed("Logger settings", "0 1 0", logFigures);
        failed("language file", "0 0 1", languageFigures);
    }
    std::printf("\n%.0f s in all\n",
                std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count());
    return 0;
}
