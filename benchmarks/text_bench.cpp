// Measures the recipient list text split: time per character of a 1 MB text
// and of one long piece, the hand-written split against the std::wregex one
// it replaced, and the longest piece each survives on a thread with a 1 MB
// stack (a host's usual size). Prints, asserts nothing.
//   text_bench                          all measurements
//   text_bench --probe old|new LENGTH   split one piece on a 1 MB stack
#include "com/strings.h"
#include "text/long_texts.h"
#include "mru/mru_list.h"
#include "text/regex_text.h"
#include "support/test_support.h"

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <string>

using testing_support::RunOnThread;

namespace {

using Clock = std::chrono::steady_clock;
constexpr SIZE_T kHostStack = 1 << 20;
// The regular-expression split needs a few hundred bytes of stack per
// character of a piece; this lets it finish its measurements.
constexpr SIZE_T kBigStack = SIZE_T(1) << 30;

// Median time per character over the rounds, in nanoseconds.
double NsPerCharacter(const std::wstring& text, int rounds, const std::function<void()>& body) {
    std::vector<double> ns;
    for (int i = 0; i < rounds; ++i) {
        const auto start = Clock::now();
        body();
        ns.push_back(std::chrono::duration<double, std::nano>(Clock::now() - start).count() / text.size());
    }
    std::sort(ns.begin(), ns.end());
    return ns[ns.size() / 2];
}

void Compare(const char* what, const std::wstring& text, int rounds) {
    double oldNs = 0, newNs = 0, comNs = 0;
    size_t oldCount = 0, newCount = 0;
    RunOnThread(kBigStack, [&] {
        oldNs =
            NsPerCharacter(text, rounds, [&] { oldCount = regex_text::TextToLists(text).numbers.size(); });
    });
    newNs = NsPerCharacter(text, rounds, [&] { newCount = TextToLists(text).numbers.size(); });
    auto mru = com::Make<CMRUList>();
    com::UniqueBstr list(com::AllocBstr(text));
    comNs = NsPerCharacter(text, rounds, [&] {
        com::UniqueSafeArray names, numbers;
        mru->StringToLists(names.put(), numbers.put(), list.get());
    });
    std::printf(
        "%-34s %8zu chars  regex %8.1f ns/char  hand-written %6.1f ns/char  StringToLists %6.1f ns/char"
        "  (%zu/%zu recipients)\n",
        what, text.size(), oldNs, newNs, comNs, oldCount, newCount);
}

// Whether a child splitting a piece of this length on a 1 MB stack lives.
bool Survives(const wchar_t* way, size_t length) {
    wchar_t self[MAX_PATH];
    ::GetModuleFileNameW(nullptr, self, MAX_PATH);
    std::wstring command = L"\"" + std::wstring(self) + L"\" --probe " + way + L" " + std::to_wstring(length);
    com::UniqueHandle readEnd, writeEnd;
    SECURITY_ATTRIBUTES inherit{sizeof(inherit), nullptr, TRUE};
    if (!::CreatePipe(readEnd.put(), writeEnd.put(), &inherit, 0)) return false;
    ::SetHandleInformation(readEnd.get(), HANDLE_FLAG_INHERIT, 0);
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = writeEnd.get();
    startup.hStdError = writeEnd.get();
    PROCESS_INFORMATION info{};
    if (!::CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                          &info))
        return false;
    com::UniqueHandle process(info.hProcess), thread(info.hThread);
    writeEnd.reset();
    std::string output;
    char buffer[256];
    DWORD read = 0;
    while (::ReadFile(readEnd.get(), buffer, sizeof buffer, &read, nullptr) && read > 0)
        output.append(buffer, read);
    ::WaitForSingleObject(process.get(), INFINITE);
    return output.find("SURVIVED") != std::string::npos;
}

// The longest piece length (searched up to the limit) that still survives.
size_t LongestSurviving(const wchar_t* way, size_t limit) {
    if (Survives(way, limit)) return limit;
    size_t good = 16, bad = limit;
    while (bad - good > std::max<size_t>(good / 100, 1)) {
        const size_t middle = good + (bad - good) / 2;
        (Survives(way, middle) ? good : bad) = middle;
    }
    return good;
}

int Probe(const std::wstring& way, size_t length) {
    const std::wstring piece = long_texts::OnePiece(length).text;
    bool right = false;
    RunOnThread(kHostStack, [&] {
        std::wstring name, number;
        (way == L"old" ? regex_text::SplitRecipient : SplitRecipient)(piece, name, number);
        right = number == long_texts::kNumber;
    });
    std::printf(right ? "SURVIVED\n" : "WRONG\n");
    return 0;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc == 4 && std::wstring(argv[1]) == L"--probe")
        return Probe(argv[2], std::wcstoul(argv[3], nullptr, 10));

    Compare("1 MB text of short pieces", long_texts::ManyPieces(1'000'000).text, 5);
    Compare("one piece of 100,000 characters", long_texts::OnePiece(100'000).text, 5);
    Compare("one piece of 1,000,000 characters", long_texts::OnePiece(1'000'000).text, 3);

    constexpr size_t kLimit = 16'000'000;
    std::printf("longest piece surviving on a 1 MB stack: regex %zu characters, hand-written %zu%s\n",
                LongestSurviving(L"old", kLimit), LongestSurviving(L"new", kLimit),
                " (the search stops at 16,000,000)");
    return 0;
}
