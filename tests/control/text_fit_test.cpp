// Every text of both phonebook controls shows whole, in every language the
// module ships and at 96 and 144 dots per inch. The module picks its language
// once per process, so each language and resolution is one run of
// control_text_fit_probe, which loads a copy of the module from a folder that
// also holds the language files and the stand-in language library, hosts
// both controls at the demo's size on a filled recently used book and prints
// every text with the width it needs and the width it has (the measuring
// rules are at the top of probe/text_fit_probe.cpp). The entry dialog and the
// message box are measured by dialog_fit_probe, run from the same folder under
// the module's name (probe/dialog_fit_probe.cpp).
#include "support/control_host.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <sstream>
#include <tuple>

namespace control_test {
namespace {

struct Language {
    const char* code;          // of the language file, "en" for the built-in texts
    const wchar_t* languages;  // what the language library answers
};

// Every shipped language file, and English (which has none: its texts are
// the module's own).
constexpr Language kLanguages[] = {
    {"en", L"0409"},    {"ar", L"0401"},    {"cs", L"0405"},    {"da", L"0406"},    {"de", L"0407"},
    {"el", L"0408"},    {"es", L"0C0A"},    {"fi", L"040B"},    {"fr", L"040C"},    {"he", L"040D"},
    {"hu", L"040E"},    {"it", L"0410"},    {"ko", L"0412"},    {"nb", L"0414"},    {"nl", L"0413"},
    {"pl", L"0415"},    {"pt-br", L"0416"}, {"pt-pt", L"0816"}, {"pt", L"0016"},    {"ru", L"0419"},
    {"sv", L"041D"},    {"tr", L"041F"},    {"uk", L"0422"},    {"zh-cn", L"0804"}, {"zh-tw", L"0404"},
};
const Language& English() { return kLanguages[0]; }

// Enough recipients for a vertical scroll bar at both resolutions (it takes
// its width from the second control's number column).
constexpr int kRows = 40;

// One line of the probe's output, split at its tabs.
using Fields = std::vector<std::string>;

struct ProbeRun {
    int exitCode = -1;
    std::string output;
    std::vector<Fields> lines;

    std::vector<Fields> Lines(const std::string& kind) const {
        std::vector<Fields> found;
        for (const Fields& line : lines)
            if (!line.empty() && line[0] == kind) found.push_back(line);
        return found;
    }
    int Dpi() const {
        const auto dpi = Lines("dpi");
        return dpi.empty() || dpi[0].size() < 2 ? 0 : std::atoi(dpi[0][1].c_str());
    }
    bool Finished() const { return exitCode == 0 && !Lines("verdict").empty(); }
    std::set<std::string> Texts() const {
        std::set<std::string> texts;
        for (const Fields& line : Lines("text"))
            if (line.size() > 3) texts.insert(line[3]);
        return texts;
    }
};

bool IsSortedState(const Fields& line) {
    const std::string suffix = "(sorted)";
    const std::string& where = line[2];
    return where.size() >= suffix.size() && where.compare(where.size() - suffix.size(), suffix.size(), suffix) == 0;
}

// "control2 window 203 "Neu": needs 70 px, has 69 px"
std::string Describe(const Fields& line) {
    std::string text = line[1] + ' ' + line[2] + " \"" + line[3] + '"';
    if (line[0] == "missing-glyphs") return text + ": " + line[4] + " character(s) drawn as the missing glyph";
    if (line[0] == "unmeasured") return text + ": shown, but of a kind the probe does not measure";
    return text + ": needs " + line[4] + " px, has " + line[5] + " px";
}

// The module, its language files and the stand-in language library, copied
// into a folder of their own for the life of the test program.
class ModuleCopy {
public:
    ModuleCopy() {
        wchar_t temp[MAX_PATH] = {};
        ::GetTempPathW(MAX_PATH, temp);
        m_folder = std::wstring(temp) + L"VelPhonebookTextFit" + std::to_wstring(::GetCurrentProcessId()) + L"\\";
        ::CreateDirectoryW(m_folder.c_str(), nullptr);
        const std::wstring bin = testing_support::BinDir();
        m_complete = Copy(bin + testing_support::kModuleFileName, testing_support::kModuleFileName) &&
                     Copy(bin + L"zantixui\\" + localization::kSiblingLibraryName, localization::kSiblingLibraryName) &&
                     Copy(bin + L"dialog_fit_probe.exe", kDialogProbe);
        for (const std::wstring& name : LanguageFiles()) m_complete = Copy(bin + name, name) && m_complete;
    }
    ~ModuleCopy() {
        for (const std::wstring& name : m_copied) ::DeleteFileW((m_folder + name).c_str());
        ::RemoveDirectoryW(m_folder.c_str());
    }
    // The dialog probe, named after the module so that it reads the module's texts.
    static constexpr wchar_t kDialogProbe[] = L"VelPhonebook.exe";
    std::wstring folder() const { return m_folder; }
    // (A backslash before a closing quote would escape it on a command line.)
    std::wstring folderWithoutSlash() const { return m_folder.substr(0, m_folder.size() - 1); }
    bool complete() const { return m_complete; }

    // The language files beside the test program (the build puts them there).
    static std::vector<std::wstring> LanguageFiles() {
        std::vector<std::wstring> names;
        WIN32_FIND_DATAW found{};
        const HANDLE search = ::FindFirstFileW((testing_support::BinDir() + L"Zantix.*.xml").c_str(), &found);
        if (search == INVALID_HANDLE_VALUE) return names;
        do names.push_back(found.cFileName);
        while (::FindNextFileW(search, &found));
        ::FindClose(search);
        std::sort(names.begin(), names.end());
        return names;
    }

private:
    bool Copy(const std::wstring& from, const std::wstring& name) {
        if (!::CopyFileW(from.c_str(), (m_folder + name).c_str(), FALSE)) return false;
        m_copied.push_back(name);
        return true;
    }
    std::wstring m_folder;
    std::vector<std::wstring> m_copied;
    bool m_complete = false;
};

const ModuleCopy& TheModuleCopy() {
    static const ModuleCopy copy;
    return copy;
}


void Parse(ProbeRun& run);

ProbeRun RunProbe(const Language& language, int dpi, bool squeeze) {
    ProbeRun run;
    const ModuleCopy& copy = TheModuleCopy();
    if (!copy.complete()) {
        run.output = "the module, its language files or the language library could not be copied";
        return run;
    }
    std::vector<std::pair<std::wstring, std::wstring>> people;
    for (int n = 1; n <= kRows; ++n)
        people.emplace_back(L"Recipient " + std::to_wstring(n), L"+49 30 1234 56" + std::to_wstring(10 + n));
    WriteBook(people);
    {
        const ScreenDpiSetting setting(static_cast<DWORD>(dpi));
        run.exitCode = testing_support::RunProcess(
            L"\"" + testing_support::BinDir() + L"control_text_fit_probe.exe\" \"" + copy.folderWithoutSlash() + L"\" " +
                language.languages + L" " + std::to_wstring(kRows) + (squeeze ? L" --squeeze" : L""),
            &run.output);
    }
    testing_support::DeleteUserKey(kMRUKeyPath);
    Parse(run);
    return run;
}

void Parse(ProbeRun& run) {
    std::istringstream stream(run.output);
    for (std::string line; std::getline(stream, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        Fields fields;
        std::istringstream parts(line);
        for (std::string field; std::getline(parts, field, '\t');) fields.push_back(field);
        // Every kind but "dpi" and "verdict" names the control and the place.
        if (fields.size() >= 4 || (!fields.empty() && (fields[0] == "dpi" || fields[0] == "verdict")))
            run.lines.push_back(fields);
    }
}

ProbeRun RunDialogProbe(const Language& language, int dpi) {
    ProbeRun run;
    const ModuleCopy& copy = TheModuleCopy();
    if (!copy.complete()) {
        run.output = "the module, its language files or the language library could not be copied";
        return run;
    }
    {
        const ScreenDpiSetting setting(static_cast<DWORD>(dpi));
        run.exitCode = testing_support::RunProcess(
            L"\"" + copy.folder() + ModuleCopy::kDialogProbe + L"\" " + language.languages, &run.output);
    }
    Parse(run);
    return run;
}

// One probe run per language and resolution, shared by the tests below.
const ProbeRun& Probe(const Language& language, int dpi) {
    static std::map<std::pair<std::string, int>, ProbeRun> runs;
    const auto key = std::make_pair(std::string(language.code), dpi);
    auto found = runs.find(key);
    if (found == runs.end()) found = runs.emplace(key, RunProbe(language, dpi, false)).first;
    return found->second;
}

const ProbeRun& DialogProbe(const Language& language, int dpi) {
    static std::map<std::pair<std::string, int>, ProbeRun> runs;
    const auto key = std::make_pair(std::string(language.code), dpi);
    auto found = runs.find(key);
    if (found == runs.end()) found = runs.emplace(key, RunDialogProbe(language, dpi)).first;
    return found->second;
}

class TextFitTest : public ::testing::TestWithParam<std::tuple<Language, int>> {
protected:
    static void SetUpTestSuite() { testing_support::DeleteUserKey(kMRUKeyPath); }

    const Language& language() const { return std::get<0>(GetParam()); }
    int dpi() const { return std::get<1>(GetParam()); }
    std::string Name() const { return std::string(language().code) + " at " + std::to_string(dpi()) + " dpi: "; }

    // The probe ran to its end at the wanted resolution, reached every
    // control, and drew what it measured with real glyphs.
    void ExpectSoundRun(const ProbeRun& run) const {
        ASSERT_TRUE(run.Finished()) << Name() << "the probe failed (exit " << run.exitCode << "):\n" << run.output;
        EXPECT_EQ(run.Dpi(), dpi()) << Name() << "the screen resolution was not applied";
        for (const char* control : {"control1", "control1-checkboxes", "control2"}) {
            const auto lines = run.Lines("text");
            EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [&](const Fields& line) { return line[1] == control; }))
                << Name() << "nothing measured in " << control;
        }
        for (const char* kind : {"missing-glyphs", "unmeasured"})
            for (const Fields& line : run.Lines(kind)) ADD_FAILURE() << Name() << Describe(line);
    }
};

// What a user sees first: the buttons, and the header as the control shows
// it (the first control without and with check boxes).
TEST_P(TextFitTest, ButtonAndHeaderTextsShowWhole) {
    const ProbeRun& run = Probe(language(), dpi());
    ExpectSoundRun(run);
    if (HasFatalFailure()) return;
    if (std::string(language().code) != English().code) {
        // Otherwise the language library or the language file was not used
        // and the run proves nothing.
        const std::set<std::string> english = Probe(English(), dpi()).Texts();
        const std::set<std::string> texts = run.Texts();
        EXPECT_FALSE(std::includes(english.begin(), english.end(), texts.begin(), texts.end()))
            << Name() << "every text is an English one";
    }
    std::string clipped;
    for (const Fields& line : run.Lines("clipped"))
        if (!IsSortedState(line)) clipped += "\n  " + Describe(line);
    EXPECT_TRUE(clipped.empty()) << Name() << "clipped texts:" << clipped;
}

// A column sorted by a click on its header shows the sort image beside its
// text: the text still shows whole.
TEST_P(TextFitTest, HeaderTextsShowWholeWhenSortedByTheirColumn) {
    const ProbeRun& run = Probe(language(), dpi());
    ASSERT_TRUE(run.Finished()) << Name() << "the probe failed (exit " << run.exitCode << "):\n" << run.output;
    std::string clipped;
    for (const Fields& line : run.Lines("clipped"))
        if (IsSortedState(line)) clipped += "\n  " + Describe(line);
    EXPECT_TRUE(clipped.empty()) << Name() << "clipped texts:" << clipped;
}

// The entry dialog in each of its modes and the question before a removal:
// the texts they paint themselves and their buttons.
TEST_P(TextFitTest, DialogTextsShowWhole) {
    const ProbeRun& run = DialogProbe(language(), dpi());
    ASSERT_TRUE(run.Finished()) << Name() << "the probe failed (exit " << run.exitCode << "):\n" << run.output;
    EXPECT_EQ(run.Dpi(), dpi()) << Name() << "the screen resolution was not applied";
    for (const char* dialog : {"entry-new", "entry-view", "entry-edit", "message"}) {
        const auto lines = run.Lines("text");
        EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [&](const Fields& line) { return line[1] == dialog; }))
            << Name() << "nothing measured in " << dialog;
    }
    if (std::string(language().code) != English().code) {
        const std::set<std::string> english = DialogProbe(English(), dpi()).Texts();
        const std::set<std::string> texts = run.Texts();
        EXPECT_FALSE(std::includes(english.begin(), english.end(), texts.begin(), texts.end()))
            << Name() << "every text is an English one";
    }
    std::string faults;
    for (const char* kind : {"clipped", "missing-glyphs"})
        for (const Fields& line : run.Lines(kind)) faults += "\n  " + Describe(line);
    EXPECT_TRUE(faults.empty()) << Name() << "texts not shown whole:" << faults;
}

// Arabic and Hebrew read from the right: both controls with their lists, the
// entry dialog and the message box are mirrored, the fax number's box is not
// (a number reads from left to right in every language); no other language
// mirrors anything.
TEST_P(TextFitTest, WindowsAreMirroredForRightToLeftLanguagesOnly) {
    const std::string code = language().code;
    const bool rightToLeft = code == "ar" || code == "he";
    std::vector<Fields> layouts = Probe(language(), dpi()).Lines("layout");
    const std::vector<Fields> dialogs = DialogProbe(language(), dpi()).Lines("layout");
    layouts.insert(layouts.end(), dialogs.begin(), dialogs.end());
    EXPECT_EQ(layouts.size(), 4u + 3 * 3 + 1) << Name() << "the probes did not report every window";
    for (const Fields& line : layouts) {
        const bool expected = rightToLeft && line[2] != "fax edit";
        EXPECT_EQ(line[3], expected ? "mirrored" : "plain") << Name() << line[1] << ' ' << line[2];
    }
}

std::string RunName(const ::testing::TestParamInfo<std::tuple<Language, int>>& info) {
    std::string name = std::get<0>(info.param).code;
    std::replace(name.begin(), name.end(), '-', '_');
    return name + "_" + std::to_string(std::get<1>(info.param));
}

INSTANTIATE_TEST_SUITE_P(TextFit, TextFitTest,
                         ::testing::Combine(::testing::ValuesIn(kLanguages), ::testing::Values(96, 144)), RunName);

TEST(TextFitProbe, CoversEveryShippedLanguage) {
    std::set<std::string> tested;
    for (const Language& language : kLanguages) tested.insert(language.code);
    const std::vector<std::wstring> files = ModuleCopy::LanguageFiles();
    EXPECT_EQ(files.size(), std::size(kLanguages) - 1) << "one row per language file, and English";
    for (const std::wstring& file : files) {
        // Zantix.<code>.xml
        const std::string name = testing_support::Utf8(file);
        const std::string code = name.substr(7, name.size() - 7 - 4);
        EXPECT_TRUE(tested.count(code)) << name << " is not measured";
    }
}

// A text made too narrow for itself is reported: the probe is not blind.
TEST(TextFitProbe, ReportsTextsMadeTooNarrow) {
    testing_support::DeleteUserKey(kMRUKeyPath);
    const ProbeRun run = RunProbe(English(), 96, true);
    ASSERT_TRUE(run.Finished()) << run.output;
    std::set<std::string> clipped;
    for (const Fields& line : run.Lines("clipped")) clipped.insert(line[1] + " " + line[2]);
    EXPECT_TRUE(clipped.count("control1 window 203")) << run.output;       // "Add"
    EXPECT_TRUE(clipped.count("control1 header column 1")) << run.output;  // "Name"
}

}  // namespace
}  // namespace control_test
