// Every text of both controls, of the entry dialog and of the message box
// shows whole, with real glyphs, in every language the module ships and at
// 96 and 144 dots per inch; Arabic and Hebrew mirror the windows. The module
// picks its language once per process: each language and resolution is one
// run of the probe (probe/text_fit_probe.cpp) from a folder holding it, a
// copy of the module, its language files and the stand-in language library.
#include "support/control_host.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <set>
#include <sstream>
#include <thread>
#include <tuple>

namespace {

using namespace control_test;
using testing_support::BinDir;

// Every language file, and English (the module's own texts), with what the
// language library answers for it.
constexpr std::pair<const char*, const wchar_t*> kLanguages[] = {
    {"en", L"0409"}, {"ar", L"0401"}, {"cs", L"0405"}, {"da", L"0406"}, {"de", L"0407"}, {"el", L"0408"},
    {"es", L"0C0A"}, {"fi", L"040B"}, {"fr", L"040C"}, {"he", L"040D"}, {"hu", L"040E"}, {"it", L"0410"},
    {"ko", L"0412"}, {"nb", L"0414"}, {"nl", L"0413"}, {"pl", L"0415"}, {"pt-br", L"0416"}, {"pt-pt", L"0816"},
    {"pt", L"0016"}, {"ru", L"0419"}, {"sv", L"041D"}, {"tr", L"041F"}, {"uk", L"0422"}, {"zh-cn", L"0804"},
    {"zh-tw", L"0404"},
};
using Language = std::pair<const char*, const wchar_t*>;
using Fields = std::vector<std::string>;
constexpr wchar_t kProbe[] = L"VelPhonebook.exe";  // named after the module: it reads the module's texts

// The copies, in a folder of their own for the life of the program; empty
// when one could not be made.
struct Copies {
    std::wstring folder;
    std::vector<std::wstring> names;
    bool complete = false;
    Copies() {
        wchar_t temp[MAX_PATH] = {};
        ::GetTempPathW(MAX_PATH, temp);
        folder = std::wstring(temp) + L"VelPhonebookTextFit" + std::to_wstring(::GetCurrentProcessId());
        ::CreateDirectoryW(folder.c_str(), nullptr);
        std::vector<std::pair<std::wstring, std::wstring>> copies = {
            {testing_support::kModuleFileName, testing_support::kModuleFileName},
            {std::wstring(L"zantixui\\") + localization::kSiblingLibraryName, localization::kSiblingLibraryName},
            {L"text_fit_probe.exe", kProbe}};
        WIN32_FIND_DATAW found{};  // and every language file
        const HANDLE search = ::FindFirstFileW((BinDir() + L"Zantix.*.xml").c_str(), &found);
        for (bool more = search != INVALID_HANDLE_VALUE; more; more = ::FindNextFileW(search, &found))
            copies.emplace_back(found.cFileName, found.cFileName);
        if (search != INVALID_HANDLE_VALUE) ::FindClose(search);
        for (const auto& [from, name] : copies)
            if (::CopyFileW((BinDir() + from).c_str(), (folder + L"\\" + name).c_str(), FALSE)) names.push_back(name);
        complete = names.size() == copies.size();
    }
    ~Copies() {
        for (const std::wstring& name : names) ::DeleteFileW((folder + L"\\" + name).c_str());
        ::RemoveDirectoryW(folder.c_str());
    }
};

const std::wstring& Folder() {
    static const Copies copies;
    static const std::wstring none;
    return copies.complete ? copies.folder : none;
}

struct ProbeRun {
    int exitCode = -1;
    std::string output;
    std::vector<Fields> Lines(const std::string& kind, const std::string& place = "") const {
        std::vector<Fields> found;
        std::istringstream stream(output);
        for (std::string line; std::getline(stream, line);) {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            Fields fields;
            std::istringstream parts(line);
            for (std::string field; std::getline(parts, field, '\t');) fields.push_back(field);
            if (!fields.empty() && fields[0] == kind && (place.empty() || (fields.size() > 1 && fields[1] == place)))
                found.push_back(fields);
        }
        return found;
    }
    std::set<std::string> Texts() const {
        std::set<std::string> texts;
        for (const Fields& line : Lines("text")) texts.insert(line.at(3));
        return texts;
    }
};

// One run per language and resolution. The runs of a resolution start
// together, a few at a time (they only read the book and the settings).
const ProbeRun& Probe(const Language& language, int dpi) {
    static std::map<std::pair<std::string, int>, ProbeRun> runs;
    const auto key = std::make_pair(std::string(language.first), dpi);
    if (const auto found = runs.find(key); found != runs.end()) return found->second;
    People people;  // enough rows for a vertical scroll bar at both resolutions
    for (int n = 1; n <= 40; ++n) people.emplace_back(L"Recipient " + std::to_wstring(n), L"+49 30 1234 56" + std::to_wstring(10 + n));
    WriteBook(people);
    {
        // Wine's screen resolution for the probes started meanwhile (this
        // prefix is the tests' own; the default comes back after).
        const DWORD value = DWORD(dpi);
        ::RegSetKeyValueW(HKEY_CURRENT_USER, L"Control Panel\\Desktop", L"LogPixels", REG_DWORD, &value, sizeof(value));
        std::atomic<size_t> next{0};
        std::vector<ProbeRun> results(std::size(kLanguages));
        std::vector<std::thread> workers;
        for (int worker = 0; worker < 5; ++worker)
            workers.emplace_back([&] {
                for (size_t i; (i = next++) < std::size(kLanguages);)
                    results[i].exitCode = testing_support::RunProcess(
                        L"\"" + Folder() + L"\\" + kProbe + L"\" " + kLanguages[i].second + L" 40", &results[i].output);
            });
        for (std::thread& worker : workers) worker.join();
        for (size_t i = 0; i < std::size(kLanguages); ++i) runs[{kLanguages[i].first, dpi}] = results[i];
        ::RegDeleteKeyValueW(HKEY_CURRENT_USER, L"Control Panel\\Desktop", L"LogPixels");
    }
    testing_support::DeleteUserKey(kMRUKeyPath);
    return runs.at(key);
}

class TextFit : public ::testing::TestWithParam<std::tuple<Language, int>> {};

TEST_P(TextFit, EveryTextShowsWholeWithRealGlyphsAndRightToLeftMirrors) {
    const auto& [language, dpi] = GetParam();
    ASSERT_FALSE(Folder().empty()) << "the module, its language files or the language library could not be copied";
    const ProbeRun& run = Probe(language, dpi);
    ASSERT_EQ(run.exitCode, 0) << run.output;
    ASSERT_FALSE(run.Lines("verdict").empty()) << run.output;
    EXPECT_EQ(run.Lines("dpi").at(0).at(1), std::to_string(dpi)) << "the resolution was not applied";
    for (const char* kind : {"clipped", "missing-glyphs", "unmeasured"})
        for (const Fields& line : run.Lines(kind))
            ADD_FAILURE() << kind << ": " << line[1] << ' ' << line[2] << " \"" << line[3] << '"'
                          << (line.size() > 5 ? " needs " + line[4] + " px, has " + line[5] : "");
    for (const char* place : {"control1", "control1-checkboxes", "control2", "entry-new", "entry-view", "entry-edit", "message"})
        EXPECT_FALSE(run.Lines("text", place).empty()) << "nothing measured in " << place;
    // The search box's cue text and the check-box column's header were among them.
    for (const char* place : {"control1", "control2"}) {
        const std::vector<Fields> texts = run.Lines("text", place);
        EXPECT_TRUE(std::any_of(texts.begin(), texts.end(), [](const Fields& f) { return f.at(2) == "window 241 cue"; }))
            << "no search box in " << place;
    }
    const std::vector<Fields> checkBoxes = run.Lines("text", "control1-checkboxes");
    EXPECT_TRUE(std::any_of(checkBoxes.begin(), checkBoxes.end(), [](const Fields& f) { return f.at(3) == "Send"; }));
    const std::string code = language.first;
    if (code != "en") {
        // Else the language was not used and the run proves nothing.
        const std::set<std::string> english = Probe(kLanguages[0], dpi).Texts(), texts = run.Texts();
        EXPECT_FALSE(std::includes(english.begin(), english.end(), texts.begin(), texts.end())) << "all English";
    }
    // Both controls and their lists, the entry dialog and its boxes, the
    // message box: mirrored for right-to-left languages, except the fax
    // number's box (a number reads from left to right everywhere).
    const std::vector<Fields> layouts = run.Lines("layout");
    EXPECT_EQ(layouts.size(), 4u + 3 * 3 + 1);
    const bool rightToLeft = code == "ar" || code == "he";
    for (const Fields& line : layouts)
        EXPECT_EQ(line.at(3), rightToLeft && line[2] != "fax edit" ? "mirrored" : "plain") << line[1] << ' ' << line[2];
}

INSTANTIATE_TEST_SUITE_P(Languages, TextFit, ::testing::Combine(::testing::ValuesIn(kLanguages), ::testing::Values(96, 144)),
                         [](const auto& info) {
                             std::string name = std::get<0>(info.param).first;
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name + "_" + std::to_string(std::get<1>(info.param));
                         });

}  // namespace
