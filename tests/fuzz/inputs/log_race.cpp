// Two log writers at once, and the count of what survived.
#include "fuzz/inputs/log_race.h"

#include "log/log_test_support.h"
#include "support/test_support.h"

#include <cstdlib>
#include <cwchar>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace fuzz {

LogRace RunTwoLogWriters(int linesEach) {
    using namespace logtest;
    ResetLogState();
    SetDword(L"Type", kLogTypeFile);
    SetDword(L"MaxSize", 1);
    SetDword(L"MaxCount", 10);
    LogRace race;
    race.linesEach = linesEach;
    {
        const std::wstring child = L"\"" + testing_support::BinDir() + L"fuzz_child.exe\" logwriter ";
        const DWORD timeoutMs = 60000 + DWORD(linesEach) * 20;
        std::thread a([&] {
            race.exitA =
                testing_support::RunProcess(child + L"A " + std::to_wstring(linesEach), nullptr, timeoutMs);
        });
        std::thread b([&] {
            race.exitB =
                testing_support::RunProcess(child + L"B " + std::to_wstring(linesEach), nullptr, timeoutMs);
        });
        a.join();
        b.join();
    }

    std::map<wchar_t, std::set<int>> found{{L'A', {}}, {L'B', {}}};
    std::vector<std::wstring> files;
    for (int n = 1; n <= 10; ++n) files.push_back(BackupPath(n));
    files.push_back(DefaultLogPath());
    for (const std::wstring& path : files) {
        // Backups cycle, so the order of the files is unknown: a writer's
        // order is only checked within one file.
        std::map<wchar_t, int> previous{{L'A', -1}, {L'B', -1}};
        for (const std::wstring& line : ReadLogLines(path)) {
            ParsedLine parsed;
            wchar_t writer = 0;
            int number = -1;
            const auto damaged = [&] {
                if (++race.damaged <= 3) race.damagedSamples.push_back(line.substr(0, 120));
            };
            if (!ParseLine(line, parsed)) {
                damaged();
            } else if (parsed.source == L"Logger") {
                ++race.notices;
            } else if (swscanf(parsed.message.c_str(), L"W%lc N%d", &writer, &number) != 2 ||
                       !found.count(writer)) {
                damaged();
            } else {
                if (!found[writer].insert(number).second) ++race.duplicates;
                if (number <= previous[writer]) ++race.outOfOrder;
                previous[writer] = number;
            }
        }
    }
    race.lostA = linesEach - int(found[L'A'].size());
    race.lostB = linesEach - int(found[L'B'].size());
    race.rotations = GetDword(L"CurrentCount", 0);
    if (!_wgetenv(L"VELPHONEBOOK_FUZZ_KEEP_LOG")) ResetLogState();
    return race;
}

}  // namespace fuzz
