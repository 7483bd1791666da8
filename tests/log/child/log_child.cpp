// A program that uses the log the way the module does, so that a test can
// run it under a debugger and see the debugger output. Each argument is one
// step: "load", "reload", "save" or "log|LEVEL|TYPE|WRITEMODE|SOURCE|MESSAGE".
#include "log/logger.h"

#include <cstdlib>
#include <string>
#include <vector>

namespace {

std::vector<std::wstring> Split(const std::wstring& text, wchar_t separator) {
    std::vector<std::wstring> parts;
    size_t start = 0;
    for (size_t end; (end = text.find(separator, start)) != std::wstring::npos; start = end + 1)
        parts.push_back(text.substr(start, end - start));
    parts.push_back(text.substr(start));
    return parts;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    constexpr size_t kLogParts = 6;
    for (int i = 1; i < argc; ++i) {
        const std::wstring step = argv[i];
        if (step == L"load") {
            CLogger::Instance().LoadConfiguration(false);
        } else if (step == L"reload") {
            CLogger::Instance().LoadConfiguration(true);
        } else if (step == L"save") {
            CLogger::Instance().SaveConfiguration();
        } else {
            const std::vector<std::wstring> parts = Split(step, L'|');
            if (parts.size() != kLogParts || parts[0] != L"log") return 2;
            Log(parts[4].c_str(), parts[5].c_str(), DWORD(_wtoi(parts[2].c_str())),
                DWORD(_wtoi(parts[3].c_str())), LogLevel(_wtoi(parts[1].c_str())));
        }
    }
    return 0;
}
