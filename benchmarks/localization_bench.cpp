// Measures loading a language file with every string of the module and
// looking all of them up, as one localizer does when a dialog is created.
// Prints the times; it checks nothing.
#include "localization/language_files.h"
#include "localization/localizer.h"
#include "localization/string_ids.h"

#include <algorithm>
#include <cstdio>

namespace {

constexpr int kRounds = 200;
constexpr UINT kStringIds[] = {IDS_REMOVE,
                               IDS_NEW_RECIPIENT,
                               IDS_NEW_NUMBER,
                               IDS_COLUMN_NUMBER,
                               IDS_COLUMN_NAME,
                               IDS_COLUMN_FAX,
                               IDS_COLUMN_DATE,
                               IDS_ADDRESS_EXISTS,
                               IDS_CANNOT_MODIFY_SYSTEM_AB,
                               IDS_ADDRESS_INCORRECT,
                               IDS_BUTTON_EDIT,
                               IDS_BUTTON_SAVE,
                               IDS_BUTTON_CLOSE,
                               IDS_ENTRY_PROMPT,
                               IDS_ENTRY_EXISTS,
                               IDS_LABEL_NAME,
                               IDS_LABEL_FAX,
                               IDS_BUTTON_OK,
                               IDS_BUTTON_CANCEL,
                               IDS_CONFIRM_REMOVE,
                               IDS_CANNOT_MODIFY_OUTLOOK,
                               IDS_TIP_ADD,
                               IDS_TIP_EDIT,
                               IDS_TIP_REMOVE};

double Milliseconds(LARGE_INTEGER from, LARGE_INTEGER to) {
    static LARGE_INTEGER frequency = [] {
        LARGE_INTEGER f;
        ::QueryPerformanceFrequency(&f);
        return f;
    }();
    return double(to.QuadPart - from.QuadPart) * 1000.0 / double(frequency.QuadPart);
}

struct Sample {
    double load;
    double lookUp;
};

void Report(const char* what, std::vector<Sample> samples) {
    auto summary = [&](double Sample::*field, const char* name) {
        std::vector<double> values;
        for (const Sample& s : samples) values.push_back(s.*field);
        std::sort(values.begin(), values.end());
        double sum = 0;
        for (double v : values) sum += v;
        std::printf("  %-28s min %7.3f ms  median %7.3f ms  mean %7.3f ms  max %7.3f ms\n", name,
                    values.front(), values[values.size() / 2], sum / double(values.size()), values.back());
    };
    if (samples.empty()) return;
    std::printf("%s (%zu rounds)\n", what, samples.size());
    std::printf("  first load in this process     %7.3f ms\n", samples.front().load);
    summary(&Sample::load, "load (construct localizer)");
    summary(&Sample::lookUp, "look up every string");
}

std::vector<Sample> Measure(const localization::LanguageFileSource& source) {
    std::vector<Sample> samples;
    for (int round = 0; round < kRounds; ++round) {
        LARGE_INTEGER start, loaded, done;
        ::QueryPerformanceCounter(&start);
        CLocalizerHelperT<void> localizer(source);
        ::QueryPerformanceCounter(&loaded);
        std::wstring text;
        for (const UINT id : kStringIds) localizer.LoadText(id, text);
        ::QueryPerformanceCounter(&done);
        if (!localizer.IsLoaded()) {
            std::printf("the language file did not load\n");
            return {};
        }
        samples.push_back({Milliseconds(start, loaded), Milliseconds(loaded, done)});
    }
    return samples;
}

}  // namespace

int main() {
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    {
        loc_test::ScratchFolder folder(L"velphonebook-loc-bench");
        std::vector<std::pair<int, std::string>> strings;
        for (const UINT id : kStringIds)
            strings.emplace_back(int(id), "Übersetzter Text " + std::to_string(id));
        const std::vector<loc_test::DialogTexts> dialogs = {
            {103, "", {{203, "Hinzufügen"}, {202, "Entfernen"}, {208, "Bearbeiten"}}},
            {122, "", {{203, "Neu"}, {202, "Löschen"}, {212, "Zum Adressbuch hinzufügen"}}},
            {120, "Adressbuch", {{215, "Bearbeiten"}, {216, "Schließen"}}},
            {159, "", {{1, "OK"}, {2, "Abbrechen"}}}};
        folder.Write(L"Zantix.de.xml", loc_test::LanguageXml("VelPhonebook", strings, dialogs));

        // A file shared by many modules of the product, this one last.
        std::string shared = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<Zantix>\n";
        for (int module = 0; module < 40; ++module) {
            std::string part = loc_test::LanguageXml("Module" + std::to_string(module), [] {
                std::vector<std::pair<int, std::string>> many;
                for (int id = 100; id < 300; ++id) many.emplace_back(id, "Text " + std::to_string(id));
                return many;
            }());
            const size_t open = part.find("<Zantix>\n") + 9;
            shared += part.substr(open, part.rfind("</Zantix>") - open);
        }
        const std::string own = loc_test::LanguageXml("VelPhonebook", strings, dialogs);
        const size_t open = own.find("<Zantix>\n") + 9;
        shared += own.substr(open, own.rfind("</Zantix>") - open) + "</Zantix>\n";
        folder.Write(L"Zantix.fr.xml", shared);

        const LANGID german = MAKELANGID(LANG_GERMAN, SUBLANG_GERMAN);
        const LANGID french = MAKELANGID(LANG_FRENCH, SUBLANG_FRENCH);
        Report("Module's own strings and dialogs (Zantix.de.xml)",
               Measure({folder.path(), L"VelPhonebook", {german, localization::kEnglishUnitedStates}}));
        std::printf("  file size %zu bytes\n",
                    loc_test::LanguageXml("VelPhonebook", strings, dialogs).size());
        Report("Shared file, 40 other modules of 200 strings before this one (Zantix.fr.xml)",
               Measure({folder.path(), L"VelPhonebook", {french, localization::kEnglishUnitedStates}}));
        std::printf("  file size %zu bytes\n", shared.size());
    }
    ::CoUninitialize();
    return 0;
}
