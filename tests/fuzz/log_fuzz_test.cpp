// The log under nonsense settings (numbers of every size and type, paths that
// are folders, devices or far too long, a log file that is a folder), judged
// in child processes; and two processes logging and rotating one log at once,
// where what is lost is counted and printed.
#include "fuzz/inputs/log_race.h"
#include "fuzz_support.h"
#include "log/log_test_support.h"

using namespace logtest;

namespace {

class HostileLogSettings : public LoggerTest {};

TEST_F(HostileLogSettings, NeitherCrashNorHangAndTheCallerIsNeverDisturbed) {
    const std::vector<uint64_t> seeds =
        fuzz_test::SampleSeeds("Logger settings", L"VELPHONEBOOK_FUZZ_LOG_SEED", 2000, 80);
    const auto outcomes = fuzz::RunInChildren(L"log", seeds, 30000, 20);
    ASSERT_EQ(seeds.size(), outcomes.size());
    EXPECT_EQ("", fuzz_test::Failures(outcomes));
}

// Rotation is serialised within a process only. Two writers at a 1 MB limit
// write about 2.4 MB each (several rotations between them, fewer than the
// ten backups kept), then every file is read. Lines are lost and damaged
// while the two rotate at once (one truncates or deletes the file the other
// is appending to); that is measured and printed, not failed (the fuzz
// benchmark gives the figures over several runs). A writer that does not end
// normally fails.
TEST(TwoProcessLog, BothWritersEndAndWhatIsLostIsCounted) {
    const fuzz::LogRace race = fuzz::RunTwoLogWriters(8000);
    std::printf(
        "  two processes, %d lines each: lost A %d, B %d (%.2f%%); duplicates %d, damaged %d, "
        "out of order %d; %d rotation notices, last backup number %u\n",
        race.linesEach, race.lostA, race.lostB, 100.0 * (race.lostA + race.lostB) / (2 * race.linesEach),
        race.duplicates, race.damaged, race.outOfOrder, race.notices, race.rotations);
    for (const std::wstring& line : race.damagedSamples) std::printf("    damaged: %ls\n", line.c_str());
    EXPECT_EQ(0, race.exitA);
    EXPECT_EQ(0, race.exitB);
}

}  // namespace
