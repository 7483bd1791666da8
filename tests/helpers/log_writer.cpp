// Another process writing the log: `log_writer TAG COUNT LENGTH` logs COUNT
// information lines "TAG N<n> " padded with dots to LENGTH characters, file
// only, the way the fax program and its driver's interface log side by side.
#include "log/logger.h"

#include <cstdlib>
#include <string>

int wmain(int argc, wchar_t** argv) {
    if (argc != 4) return 2;
    const std::wstring tag = argv[1];
    const int count = _wtoi(argv[2]);
    const size_t length = size_t(_wtoi(argv[3]));
    for (int n = 0; n < count; ++n) {
        std::wstring message = tag + L" N" + std::to_wstring(n) + L" ";
        if (message.size() < length) message.append(length - message.size(), L'.');
        Log(L"Writer", message.c_str(), kLogTypeFile, kLogWriteModeFromSettings, LogLevel::Information);
    }
    return 0;
}
