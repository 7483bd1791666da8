// Hostile calls on every member of the four classes' interfaces, through
// Invoke and through the vtable (fuzz_child auto SEED..., and fuzz_child
// autoleak CALLS SEED for the counts around many calls on each class).
#pragma once

#include <cstdint>
#include <vector>

namespace fuzz {

inline constexpr int kCallsPerSeed = 100;
// MRUList, AddressBook, VelPhonebookControl, VelPhonebookControl2: seed % kClasses.
inline constexpr int kClasses = 4;
inline constexpr const char* kClassNames[kClasses] = {"MRUList", "AddressBook", "VelPhonebookControl",
                                                      "VelPhonebookControl2"};

// fuzz_child's protocol: BEGIN and VERDICT per seed; a seed is kCallsPerSeed calls.
int RunAutomationCalls(const std::vector<uint64_t>& seeds);

// Prints "LEAK <class> <calls> <handles before> <after> <private KB before> <after> <live heap KB before> <after>".
int RunAutomationLeaks(int calls, uint64_t seed);

struct LeakCounts {
    int handles = 0;
    double privateKB = 0;  // committed private memory
    double liveKB = 0;     // live heap blocks
};
LeakCounts TakeLeakCounts();

}  // namespace fuzz
