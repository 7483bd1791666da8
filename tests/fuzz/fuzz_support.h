// Shared by the seeded samples: which seeds a sample takes (or the one seed
// to replay), and the failures of a run as readable text.
#pragma once

#include "fuzz/inputs/child_runner.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

namespace fuzz_test {

// `count` seeds from `base`, or only the seed in `replayVariable` when it is
// set. Prints both, so that a failing input can be run again alone.
inline std::vector<uint64_t> SampleSeeds(const char* what, const wchar_t* replayVariable, uint64_t base,
                                         size_t count) {
    const uint64_t replay = fuzz::SeedFromEnvironment(replayVariable, 0);
    if (replay) {
        std::printf("  %s: replaying seed %llu\n", what, static_cast<unsigned long long>(replay));
        return {replay};
    }
    base = fuzz::SeedFromEnvironment(L"VELPHONEBOOK_FUZZ_BASE", base);
    std::printf("  %s: seeds %llu to %llu (one alone: %ls=<seed>; another sample: VELPHONEBOOK_FUZZ_BASE)\n",
                what, static_cast<unsigned long long>(base),
                static_cast<unsigned long long>(base + count - 1), replayVariable);
    std::vector<uint64_t> seeds;
    for (size_t i = 0; i < count; ++i) seeds.push_back(base + i);
    return seeds;
}

inline std::string Failures(const std::vector<fuzz::Outcome>& outcomes,
                            const char* (*kind)(uint64_t) = nullptr) {
    std::string text;
    for (const fuzz::Outcome& outcome : outcomes) {
        if (outcome.verdict == fuzz::Verdict::Ok) continue;
        text += "\n  seed " + std::to_string(outcome.seed) +
                (kind ? std::string(" (") + kind(outcome.seed) + ")" : "") + ": " +
                fuzz::VerdictName(outcome.verdict) + ": " + outcome.detail;
    }
    return text;
}

}  // namespace fuzz_test
