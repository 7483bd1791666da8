// Damaged copies of the shipped language files (cut, bytes changed, pieces of
// markup inserted, other encodings and marks, deep nesting, odd identifiers),
// loaded by the localizer in child processes: none crashes or stalls the
// process, and a refused file leaves every text the built-in English one.
#include "fuzz_support.h"
#include "support/test_support.h"

namespace {

TEST(HostileLanguageFiles, NeitherCrashNorHangAndARefusedFileLeavesTheBuiltInTexts) {
    const std::vector<uint64_t> seeds =
        fuzz_test::SampleSeeds("language files", L"VELPHONEBOOK_FUZZ_LANG_SEED", 3000, 100);
    size_t refused = 0;
    const auto outcomes = fuzz::RunInChildren(L"lang", seeds, 30000, 30, [&](const fuzz::Outcome& outcome) {
        if (outcome.detail.rfind("refused", 0) == 0) ++refused;
    });
    ASSERT_EQ(seeds.size(), outcomes.size());
    std::printf("  %zu of %zu files refused\n", refused, outcomes.size());
    EXPECT_EQ("", fuzz_test::Failures(outcomes));
}

}  // namespace
