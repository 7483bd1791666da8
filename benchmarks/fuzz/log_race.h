// Several processes writing one log at a small size limit, so that both rotate
// it while the other writes; what each wrote is then looked for in the log
// and all its backups.
#pragma once

#include <string>
#include <vector>

namespace fuzz {

struct LogRace {
    int linesEach = 0;
    std::vector<int> exits;                    // the writers' exit codes (0: they ended normally)
    std::vector<int> lost;                     // per writer, lines written and found in no file
    int duplicates = 0;                        // lines found twice
    int damaged = 0;                           // lines that are not log lines of the writers
    int outOfOrder = 0;                        // a writer's line after a later one of it, within one file
    int notices = 0;                           // rotation notices found
    unsigned rotations = 0;                    // "CurrentCount" afterwards
    std::vector<std::wstring> damagedSamples;  // the first few damaged lines
};

// Sets the Logger key (file only, 1 MB, 10 backups), runs the writers
// (fuzz_child logwriter A, B, ...) at once and counts; leaves no key and no log behind
// (unless VELPHONEBOOK_FUZZ_KEEP_LOG is set, to look at the files).
LogRace RunLogWriters(int writers, int linesEach);

}  // namespace fuzz
