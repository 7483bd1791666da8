// Two log writers at once, and the count of what survived.
#include "fuzz/log_race.h"

#include "com/unique_any.h"
#include "log/logger.h"
#include "support/test_support.h"

#include <shlobj.h>

#include <algorithm>
#include <cstdlib>
#include <cwchar>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace fuzz {

namespace {

// Where the log and its backups lie, from the shell folder (not from the logger).
std::wstring LogPath(int backup = 0) {
    wchar_t appData[MAX_PATH] = L"";
    ::SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, appData);
    return std::wstring(appData) + L"\\Quorvel\\Orvanta\\\\FaxData" +
           (backup ? L"(" + std::to_wstring(backup) + L")" : L"") + L".log";
}

void SetDword(const wchar_t* name, DWORD value) {
    ::RegSetKeyValueW(HKEY_CURRENT_USER, kLoggerKeyPath, name, REG_DWORD, &value, sizeof value);
}

void ResetLogState() {
    testing_support::DeleteUserKey(kLoggerKeyPath);
    for (int n = 0; n <= 30; ++n) ::DeleteFileW(LogPath(n).c_str());
}

// The lines of a log file (UTF-16, after its mark), without their "\n".
std::vector<std::wstring> ReadLogLines(const std::wstring& path) {
    com::UniqueFile file(::CreateFileW(path.c_str(), GENERIC_READ,
                                       FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                       OPEN_EXISTING, 0, nullptr));
    std::wstring text;
    wchar_t buffer[32768];
    DWORD read = 0;
    while (file && ::ReadFile(file.get(), buffer, sizeof buffer, &read, nullptr) && read > 0)
        text.append(buffer, read / sizeof(wchar_t));
    if (!text.empty() && text[0] == 0xFEFF) text.erase(0, 1);
    std::vector<std::wstring> lines;
    for (size_t start = 0, end; start < text.size(); start = end + 1) {
        end = std::min(text.find(L'\n', start), text.size());
        lines.push_back(text.substr(start, end - start));
    }
    return lines;
}

// "[KTX <tag>][<date>][<time>][<source>][<message>]": source and message.
bool ParseLine(const std::wstring& line, std::wstring& source, std::wstring& message) {
    size_t at = 0;
    for (int field = 0; field < 3; ++field)
        if ((at = line.find(L"][", at)) == std::wstring::npos) return false; else at += 2;
    const size_t end = line.find(L"][", at);
    if (line.rfind(L"[KTX ", 0) != 0 || end == std::wstring::npos || line.back() != L']') return false;
    source = line.substr(at, end - at);
    message = line.substr(end + 2, line.size() - end - 3);
    return true;
}

}  // namespace

LogRace RunLogWriters(int writers, int linesEach) {
    ResetLogState();
    SetDword(L"Type", kLogTypeFile);
    SetDword(L"MaxSize", 1);
    SetDword(L"MaxCount", 10);
    LogRace race;
    race.linesEach = linesEach;
    race.exits.assign(size_t(writers), -1);
    {
        const std::wstring child = L"\"" + testing_support::BinDir() + L"fuzz_child.exe\" logwriter ";
        const DWORD timeoutMs = 60000 + DWORD(linesEach) * 20 * DWORD(writers);
        std::vector<std::thread> threads;
        for (int w = 0; w < writers; ++w)
            threads.emplace_back([&, w] {
                race.exits[size_t(w)] = testing_support::RunProcess(
                    child + wchar_t(L'A' + w) + L" " + std::to_wstring(linesEach), nullptr, timeoutMs);
            });
        for (std::thread& thread : threads) thread.join();
    }

    std::map<wchar_t, std::set<int>> found;
    for (int w = 0; w < writers; ++w) found[wchar_t(L'A' + w)];
    std::vector<std::wstring> files;
    for (int n = 1; n <= 10; ++n) files.push_back(LogPath(n));
    files.push_back(LogPath());
    for (const std::wstring& path : files) {
        // Backups cycle, so the order of the files is unknown: a writer's
        // order is only checked within one file.
        std::map<wchar_t, int> previous;
        for (const std::wstring& line : ReadLogLines(path)) {
            std::wstring source, message;
            wchar_t writer = 0;
            int number = -1;
            const auto damaged = [&] {
                if (++race.damaged <= 3) race.damagedSamples.push_back(line.substr(0, 120));
            };
            if (!ParseLine(line, source, message)) {
                damaged();
            } else if (source == L"Logger") {
                ++race.notices;
            } else if (swscanf(message.c_str(), L"W%lc N%d", &writer, &number) != 2 ||
                       !found.count(writer)) {
                damaged();
            } else {
                if (!found[writer].insert(number).second) ++race.duplicates;
                if (previous.count(writer) && number <= previous[writer]) ++race.outOfOrder;
                previous[writer] = number;
            }
        }
    }
    for (const auto& [writer, numbers] : found) race.lost.push_back(linesEach - int(numbers.size()));
    DWORD rotations = 0, size = sizeof rotations;
    ::RegGetValueW(HKEY_CURRENT_USER, kLoggerKeyPath, L"CurrentCount", RRF_RT_REG_DWORD, nullptr, &rotations, &size);
    race.rotations = rotations;
    if (!_wgetenv(L"VELPHONEBOOK_FUZZ_KEEP_LOG")) ResetLogState();
    return race;
}

}  // namespace fuzz
