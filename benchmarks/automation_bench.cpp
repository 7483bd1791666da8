// Hostile calls on the whole automation surface of the four classes, judged
// in child processes (fuzz_child auto): crashes, hangs and wrong results per
// class, then handles and private memory around many calls on each class
// (fuzz_child autoleak). Prints; asserts nothing.
//   automation_bench [SEEDS] [BASE] [LEAK_CALLS]   (defaults 1000 seeds of 100 calls, a clock seed, 10000)
// A failing seed replays alone: fuzz_child auto SEED.
#include "fuzz/automation_fuzz.h"
#include "fuzz/child_runner.h"
#include "sources/mru_store.h"
#include "support/test_support.h"
#include "support/wab_fixture.h"

#include <chrono>
#include <cstdio>
#include <sstream>
#include <string>

int wmain(int argc, wchar_t** argv) {
    const size_t count = argc > 1 ? size_t(_wtoi(argv[1])) : 1000;
    const uint64_t clock = uint64_t(std::chrono::system_clock::now().time_since_epoch().count()) % 1000000000;
    const uint64_t base = argc > 2 ? _wcstoui64(argv[2], nullptr, 10)
                                   : fuzz::SeedFromEnvironment(L"VELPHONEBOOK_FUZZ_BASE", clock);
    const int leakCalls = argc > 3 ? _wtoi(argv[3]) : 10000;
    std::printf("base seed %llu: %zu seeds of %d calls\n", static_cast<unsigned long long>(base), count,
                fuzz::kCallsPerSeed);
    std::fflush(stdout);
    if (testing_support::RunRegsvr32(false) != 0) {
        std::printf("regsvr32 failed\n");
        return 1;
    }
    // AddressBook's calls may add what they are given to the Windows book.
    testing_support::ClearContactsFolder();
    const auto started = std::chrono::steady_clock::now();
    struct Figures {
        size_t seeds = 0, crashes = 0, hangs = 0, wrong = 0;
        double slowest = 0;
    } figures[fuzz::kClasses];
    std::vector<uint64_t> seeds;
    for (size_t i = 0; i < count; ++i) seeds.push_back(base + i);
    std::vector<std::string> failures;
    fuzz::RunInChildren(L"auto", seeds, 60000, 50, [&](const fuzz::Outcome& outcome) {
        Figures& f = figures[outcome.seed % fuzz::kClasses];
        ++f.seeds;
        f.slowest = std::max(f.slowest, outcome.ms);
        switch (outcome.verdict) {
            case fuzz::Verdict::Ok: break;
            case fuzz::Verdict::Crash: ++f.crashes; break;
            case fuzz::Verdict::Hang: ++f.hangs; break;
            case fuzz::Verdict::Wrong: ++f.wrong; break;
        }
        if (outcome.verdict != fuzz::Verdict::Ok)
            failures.push_back("seed " + std::to_string(outcome.seed) + ": " + fuzz::VerdictName(outcome.verdict) +
                               " " + outcome.detail);
        if ((figures[0].seeds + figures[1].seeds + figures[2].seeds + figures[3].seeds) % 100 == 0)
            std::fprintf(stderr, "%zu seeds done\n", figures[0].seeds + figures[1].seeds + figures[2].seeds + figures[3].seeds);
    });
    std::printf("\n| class | calls | crashes | hangs | wrong | slowest batch of %d (ms) |\n|---|---|---|---|---|---|\n",
                fuzz::kCallsPerSeed);
    for (int c = 0; c < fuzz::kClasses; ++c)
        std::printf("| %s | %zu | %zu | %zu | %zu | %.0f |\n", fuzz::kClassNames[c],
                    figures[c].seeds * fuzz::kCallsPerSeed, figures[c].crashes, figures[c].hangs, figures[c].wrong,
                    figures[c].slowest);
    for (const std::string& failure : failures) std::printf("  %s\n", failure.c_str());

    std::string output;
    testing_support::RunProcess(L"\"" + testing_support::BinDir() + L"fuzz_child.exe\" autoleak " +
                                    std::to_wstring(leakCalls) + L" " + std::to_wstring(base),
                                &output, 1800000);
    std::printf("\n| class | calls | handles | committed private KB | live heap KB |\n|---|---|---|---|---|\n");
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        char name[64];
        int calls = 0, h0 = 0, h1 = 0;
        double m0 = 0, m1 = 0, l0 = 0, l1 = 0;
        if (std::sscanf(line.c_str(), "LEAK %63s %d %d %d %lf %lf %lf %lf", name, &calls, &h0, &h1, &m0, &m1, &l0, &l1) == 8)
            std::printf("| %s | %d | %d -> %d | %.0f -> %.0f | %.0f -> %.0f |\n", name, calls, h0, h1, m0, m1, l0, l1);
    }
    std::printf("\n%.0f s in all\n",
                std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count());
    ::RegDeleteTreeW(HKEY_CURRENT_USER, kMRUKeyPath);
    testing_support::ClearContactsFolder();
    return 0;
}
