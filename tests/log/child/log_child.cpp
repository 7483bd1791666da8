// A program that uses the log the way the module does, so that a test can
// run it under a debugger and see the debugger output. Each argument is one
// step: "load", "reload" or "log|LEVEL|TYPE|WRITEMODE|SOURCE|MESSAGE".
#include "log/logger.h"

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

int wmain(int argc, wchar_t** argv) {
    for (int i = 1; i < argc; ++i) {
        const std::wstring step = argv[i];
        if (step == L"load" || step == L"reload") {
            CLogger::Instance().LoadConfiguration(step == L"reload");
            continue;
        }
        std::wistringstream in(step);
        std::vector<std::wstring> parts;
        for (std::wstring part; std::getline(in, part, L'|');) parts.push_back(part);
        if (parts.size() != 6 || parts[0] != L"log") return 2;
        Log(parts[4].c_str(), parts[5].c_str(), DWORD(_wtoi(parts[2].c_str())),
            DWORD(_wtoi(parts[3].c_str())), LogLevel(_wtoi(parts[1].c_str())));
    }
    return 0;
}
