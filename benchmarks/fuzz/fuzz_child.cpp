// Takes hostile inputs one seed after another and judges what the component
// made of each, in a process of its own so that a crash or a hang is seen by
// the parent (fuzz/child_runner.h has the verdict lines).
//   fuzz_child mru SEED...        MRU stores: GetMRU, a hosted control, UpdateMRU, the store saved
//   fuzz_child log SEED...        nonsense Logger settings, then lines logged
//   fuzz_child lang SEED...       damaged language files through the localizer
//   fuzz_child logwriter TAG N    N numbered lines into the log (two of these run at once)
//   fuzz_child store SEED         only writes the store of the seed and leaves it, to look at
//   fuzz_child compare SEED       the store of the seed as the model and as the component read it
#include "support/control_host.h"
#include "fuzz/automation_fuzz.h"
#include "fuzz/hostile_inputs.h"

#include "com/strings.h"
#include "localization/localizer.h"
#include "log/logger.h"
#include "mru/mru_text.h"

#include <shlobj.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <map>
#include <set>

namespace {

using Clock = std::chrono::steady_clock;
using Listing = std::vector<std::pair<std::wstring, std::wstring>>;

constexpr wchar_t kControl2ProgId[] = L"Zantix.VelPhonebookControl2";
constexpr size_t kMaxMRUEntries = 30;

// --- MRU stores ----------------------------------------------------------------

// What the control shows of the entries: the ones with an identifier and a
// number, the first of each identifier, as (name, number), in any order.
Listing ExpectedListing(const MRUEntryList& entries) {
    Listing listing;
    std::set<std::wstring> identifiers;
    for (const MRUEntry& entry : entries)
        if (!entry.identifier.empty() && !entry.faxNumber.empty() &&
            identifiers.insert(entry.identifier).second)
            listing.emplace_back(entry.name, entry.faxNumber);
    std::sort(listing.begin(), listing.end());
    return listing;
}

Listing ShownListing(IVelPhonebookControl3* control) {
    Listing listing;
    const int count = int(control->GetItemCount());
    for (int row = 0; row < count; ++row) {
        ULONG id = 0;
        com::UniqueBstr name, fax;
        if (control->GetItem(row, &id, name.put(), fax.put()) != HRESULT(row)) continue;
        listing.emplace_back(com::FromBstr(name.get()), com::FromBstr(fax.get()));
    }
    std::sort(listing.begin(), listing.end());
    return listing;
}

std::string ListingDifference(const Listing& shown, const Listing& expected) {
    std::string text = std::to_string(shown.size()) + " rows, expected " + std::to_string(expected.size());
    for (size_t i = 0; i < std::max(shown.size(), expected.size()); ++i) {
        if (i < shown.size() && i < expected.size() && shown[i] == expected[i]) continue;
        text += "; first difference at " + std::to_string(i) + ": shown " +
                (i < shown.size() ? fuzz::Describe(shown[i].first) + " " + fuzz::Describe(shown[i].second)
                                  : "-") +
                ", expected " +
                (i < expected.size()
                     ? fuzz::Describe(expected[i].first) + " " + fuzz::Describe(expected[i].second)
                     : "-");
        break;
    }
    return text;
}

// Waits until the control shows the listing (it reloads on its own timer).
std::string AwaitListing(IVelPhonebookControl3* control, const Listing& expected, DWORD timeoutMs) {
    // The rows are only read when their number is right: reading thousands
    // of rows at every turn would slow the control's own work down.
    control_test::PumpUntil(
        [&] {
            return size_t(control->GetItemCount()) == expected.size() && ShownListing(control) == expected;
        },
        timeoutMs);
    const Listing shown = ShownListing(control);
    return shown == expected ? std::string() : ListingDifference(shown, expected);
}

std::string EntriesDifference(const MRUEntryList& read, const MRUEntryList& expected,
                              const std::vector<bool>& fresh) {
    if (read.size() != expected.size())
        return std::to_string(read.size()) + " entries, expected " + std::to_string(expected.size());
    size_t position = 0;
    for (auto a = read.begin(), b = expected.begin(); a != read.end(); ++a, ++b, ++position) {
        const bool same = a->identifier == b->identifier && a->name == b->name &&
                          a->faxNumber == b->faxNumber && a->favorite == b->favorite &&
                          (fresh[position] || std::memcmp(&a->date, &b->date, sizeof a->date) == 0);
        if (!same)
            return "entry " + std::to_string(position) + " reads " + fuzz::Describe(a->name) + " " +
                   fuzz::Describe(a->faxNumber) + ", expected " + fuzz::Describe(b->name) + " " +
                   fuzz::Describe(b->faxNumber);
    }
    return {};
}

// A recipient already in the store when its text comes back as itself, and
// one or two new ones.
RecipientLists RecipientsToSend(uint64_t seed, const MRUEntryList& readable) {
    fuzz::Rng rng(seed ^ 0x5E17D);
    std::vector<std::wstring> names, numbers;
    std::vector<const MRUEntry*> candidates;
    for (const MRUEntry& entry : readable) {
        if (entry.faxNumber.empty()) continue;
        const RecipientLists back = TextToLists(ListsToText({entry.name}, {entry.faxNumber}));
        if (back.names.size() == 1 && back.names[0] == entry.name && back.numbers[0] == entry.faxNumber)
            candidates.push_back(&entry);
    }
    if (!candidates.empty() && rng.Chance(70)) {
        const MRUEntry& again = *candidates[rng.Below(candidates.size())];
        names.push_back(again.name);
        numbers.push_back(again.faxNumber);
    }
    for (size_t i = 0, n = rng.Between(candidates.empty() ? 1 : 0, 2); i < n; ++i) {
        names.push_back(L"Sent " + std::to_wstring(seed) + L" " + std::to_wstring(i));
        numbers.push_back(L"+49" + std::to_wstring(rng.Below(1000000)));
    }
    return TextToLists(ListsToText(names, numbers));
}

// The store after UpdateMRU, as the MRU list object's rules make it: each
// recipient moved to the front (the first entry of its name and number) or
// added there, then cut to 30.
MRUEntryList AfterUpdate(const MRUEntryList& readable, const RecipientLists& sent, std::vector<bool>& fresh) {
    std::list<std::pair<MRUEntry, bool>> entries;
    for (const MRUEntry& entry : readable) entries.emplace_back(entry, false);
    for (size_t i = 0; i < sent.numbers.size(); ++i) {
        const auto found = std::find_if(entries.begin(), entries.end(), [&](const auto& entry) {
            return entry.first.name == sent.names[i] && entry.first.faxNumber == sent.numbers[i];
        });
        if (found != entries.end()) {
            entries.splice(entries.begin(), entries, found);
        } else {
            MRUEntry entry;
            entry.identifier = sent.numbers[i] + L' ' + sent.names[i];
            entry.name = sent.names[i];
            entry.faxNumber = sent.numbers[i];
            entries.emplace_front(entry, false);
        }
        entries.front().second = true;
    }
    while (entries.size() > kMaxMRUEntries) entries.pop_back();
    MRUEntryList result;
    fresh.clear();
    for (const auto& [entry, isFresh] : entries) {
        result.push_back(entry);
        fresh.push_back(isFresh);
    }
    return result;
}

std::string JudgeStore(uint64_t seed, IMRUList* mru) {
    const fuzz::HostileStore store = fuzz::MakeStore(seed);
    if (!fuzz::WriteStore(store)) return "the registry refused the store";
    const MRUEntryList readable = fuzz::ReadableEntries(store);
    // Generous, only so that a slow machine is not taken for a wrong listing.
    const DWORD listingMs = 15000 + DWORD(readable.size()) * 4;

    // GetMRU: the first 30 readable recipients, as one text.
    std::vector<std::wstring> names, numbers;
    for (const MRUEntry& entry : readable) {
        if (names.size() == kMaxMRUEntries) break;
        names.push_back(entry.name);
        numbers.push_back(entry.faxNumber);
    }
    com::UniqueBstr text;
    if (mru->GetMRU(text.put()) != S_OK) return "GetMRU failed";
    if (com::FromBstr(text.get()) != ListsToText(names, numbers))
        return "GetMRU gave " + fuzz::Describe(com::FromBstr(text.get()), 80) + ", expected " +
               fuzz::Describe(ListsToText(names, numbers), 80);

    // The control on the recently used book lists what is readable.
    control_test::AtlHost host(360, 330, seed & 1 ? kControl2ProgId : control_test::kProgId);
    const auto control = host.query<IVelPhonebookControl3>();
    if (!control) return "the control was not created";
    if (control->SelectOutlookAddressBook(-1) != S_OK) return "the recently used book did not open";
    std::string problem = AwaitListing(control.get(), ExpectedListing(readable), listingMs);
    if (!problem.empty()) return "first listing: " + problem;

    // UpdateMRU, then the store must be well formed, hold what the rules
    // say, and read back exactly with the component's own reader.
    const RecipientLists sent = RecipientsToSend(seed, readable);
    const std::wstring sentText = ListsToText(sent.names, sent.numbers);
    com::UniqueBstr sentBstr(com::AllocBstr(sentText));
    SYSTEMTIME before{}, after{};
    ::GetSystemTime(&before);
    if (mru->UpdateMRU(sentBstr.get()) != S_OK) return "UpdateMRU failed";
    ::GetSystemTime(&after);
    std::vector<bool> fresh;
    const MRUEntryList expected = AfterUpdate(readable, sent, fresh);
    problem = fuzz::CheckSavedStore(expected, fresh, before, after);
    if (!problem.empty()) return "saved store: " + problem;
    MRUEntryList reread;
    LoadMRUStore(reread);
    problem = EntriesDifference(reread, expected, fresh);
    if (!problem.empty()) return "store read back: " + problem;

    // The control follows the change.
    problem = AwaitListing(control.get(), ExpectedListing(expected), listingMs);
    if (!problem.empty()) return "listing after UpdateMRU: " + problem;
    return {};
}

// For looking into a wrong verdict: the store of the seed as the model reads
// it beside the component's reading, entry by entry, differences marked.
int CompareReadings(uint64_t seed) {
    const fuzz::HostileStore store = fuzz::MakeStore(seed);
    if (!fuzz::WriteStore(store)) return 1;
    const MRUEntryList model = fuzz::ReadableEntries(store);
    MRUEntryList read;
    LoadMRUStore(read);
    std::printf("%s store: the model reads %zu entries, the component %zu\n",
                fuzz::KindName(fuzz::StoreKindOf(seed)), model.size(), read.size());
    auto m = model.begin();
    for (auto r = read.begin(); m != model.end() && r != read.end(); ++m, ++r) {
        const bool same = m->identifier == r->identifier && m->name == r->name &&
                          m->faxNumber == r->faxNumber && m->favorite == r->favorite &&
                          std::memcmp(&m->date, &r->date, sizeof m->date) == 0;
        std::printf("%s %s %s / %s %s\n", same ? "  " : "**", fuzz::Describe(m->name).c_str(),
                    fuzz::Describe(m->faxNumber).c_str(), fuzz::Describe(r->name).c_str(),
                    fuzz::Describe(r->faxNumber).c_str());
    }
    return 0;
}

int RunStores(const std::vector<uint64_t>& seeds) {
    testing_support::ComApartment apartment;
    CLSID clsid{};
    com::ComPtr<IMRUList> mru;
    if (FAILED(::CLSIDFromProgID(L"Zantix.MRUList", &clsid)) ||
        FAILED(
            ::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IMRUList), mru.put_void()))) {
        std::printf("no MRUList: is the module registered?\n");
        return 2;
    }
    for (uint64_t seed : seeds) {
        std::printf("BEGIN %llu\n", static_cast<unsigned long long>(seed));
        std::fflush(stdout);
        const auto start = Clock::now();
        const std::string problem = JudgeStore(seed, mru.get());
        const double ms = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
        std::printf("VERDICT %llu %.1f %s %s\n", static_cast<unsigned long long>(seed), ms,
                    problem.empty() ? "ok" : "wrong", problem.c_str());
        std::fflush(stdout);
    }
    testing_support::DeleteUserKey(kMRUKeyPath);
    return 0;
}

// --- Logger settings -----------------------------------------------------------

std::wstring AppDataFolder() {
    wchar_t appData[MAX_PATH] = L"";
    ::SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, appData);
    return appData;
}

std::wstring LogFolder() {
    return AppDataFolder() + L"\\Quorvel\\Orvanta\\";
}

void ResetLog() {
    testing_support::DeleteUserKey(kLoggerKeyPath);
    fuzz::RemoveLogObstacles();
    ::DeleteFileW((LogFolder() + L"\\FaxData.log").c_str());
    for (int n = 0; n <= 30; ++n)
        ::DeleteFileW((LogFolder() + L"\\FaxData(" + std::to_wstring(n) + L").log").c_str());
}

std::wstring ScratchFolder() {
    wchar_t temp[MAX_PATH];
    ::GetTempPathW(MAX_PATH, temp);
    return std::wstring(temp) + L"velphonebook-fuzz-" + std::to_wstring(::GetCurrentProcessId()) + L"\\";
}

void RemoveScratch(const std::wstring& folder) {
    for (const wchar_t* name : {L"file-as-folder", L"custom.log", L"odd.lo", L"odd.log", L"Zantix.de.xml"})
        ::DeleteFileW((folder + name).c_str());
    ::RemoveDirectoryW(folder.c_str());
}

std::string JudgeLogSettings(uint64_t seed, const std::wstring& scratch) {
    ResetLog();
    ::CreateDirectoryW(scratch.c_str(), nullptr);
    fuzz::WriteHostileLogSettings(seed, scratch);
    fuzz::Rng rng(seed ^ 0x106);
    if (rng.Chance(30)) {
        // A log at the size limit, so that the first line rotates it.
        std::wstring text(1, wchar_t(0xFEFF));
        while (text.size() < (1 << 19)) text += L"[KTX Info][01:02:2003][04:05:06:007][Filler][fill]\n";
        SHCreateDirectoryExW(nullptr, LogFolder().c_str(), nullptr);
        com::UniqueFile file(::CreateFileW((LogFolder() + L"\\FaxData.log").c_str(), GENERIC_WRITE, 0,
                                           nullptr, CREATE_ALWAYS, 0, nullptr));
        DWORD written = 0;
        if (file)
            ::WriteFile(file.get(), text.data(), DWORD(text.size() * sizeof(wchar_t)), &written, nullptr);
    }
    CLogger::Instance().LoadConfiguration(true);

    const std::wstring longText(rng.Chance(50) ? 5000 : 100000, L'y');
    const wchar_t* const sources[] = {L"Phonebook",     L"",    nullptr, L"..\\..\\Other", L"a\\b",
                                      longText.c_str(), L"%s%n"};
    const wchar_t* const messages[] = {L"message",    L"",           nullptr,
                                       L"%s%s%s%n%d", L"two\nlines", longText.c_str()};
    static const DWORD kOverrides[] = {0, 1, 2, 3, 4, 0xFFFFFFFF};
    for (DWORD i = 0; i < 40; ++i) {
        const DWORD lastError = 0xE0000000 + i;
        ::SetLastError(lastError);
        Log(rng.Pick(sources), rng.Pick(messages), rng.Pick(kOverrides), rng.Pick(kOverrides),
            LogLevel(rng.Below(8)));
        if (::GetLastError() != lastError) return "a log call changed the thread's last error";
        if (rng.Chance(5)) CLogger::Instance().LoadConfiguration(true);
    }
    CLogger::Instance().Settings();
    ResetLog();
    RemoveScratch(scratch);
    return {};
}

int RunLogSettings(const std::vector<uint64_t>& seeds) {
    const std::wstring scratch = ScratchFolder();
    for (uint64_t seed : seeds) {
        std::printf("BEGIN %llu\n", static_cast<unsigned long long>(seed));
        std::fflush(stdout);
        const auto start = Clock::now();
        const std::string problem = JudgeLogSettings(seed, scratch);
        const double ms = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
        std::printf("VERDICT %llu %.1f %s %s\n", static_cast<unsigned long long>(seed), ms,
                    problem.empty() ? "ok" : "wrong", problem.c_str());
        std::fflush(stdout);
    }
    return 0;
}

// Lines "W<tag> N<n>" and filler, file only, as one of two writers at once.
int RunLogWriter(const std::wstring& tag, int count) {
    const std::wstring filler(60, L'.');
    for (int n = 0; n < count; ++n)
        Log(L"Writer", (L"W" + tag + L" N" + std::to_wstring(n) + L" " + filler).c_str());
    std::printf("DONE\n");
    return 0;
}

// Texts of random code points set into a plain edit control of the system's
// (no component loaded), with the dialog font: whether the platform's own
// text shaping survives what the search box is given.
int RunPlainEdit(int texts, uint64_t seed) {
    fuzz::Rng rng(seed);
    const HWND edit = ::CreateWindowExW(0, L"EDIT", L"", WS_OVERLAPPEDWINDOW | WS_VISIBLE | ES_AUTOHSCROLL, 0, 0,
                                        300, 40, nullptr, nullptr, nullptr, nullptr);
    ::SendMessageW(edit, WM_SETFONT, WPARAM(::GetStockObject(DEFAULT_GUI_FONT)), TRUE);
    for (int i = 0; i < texts; ++i) {
        std::wstring text(rng.Between(1, 60), L'x');
        for (wchar_t& c : text) c = wchar_t(rng.Below(0x10000));
        ::SetWindowTextW(edit, text.c_str());
    }
    std::printf("DONE %d texts\n", texts);
    return 0;
}

// --- Language files ------------------------------------------------------------

std::vector<std::string> ShippedLanguageFiles() {
    std::vector<std::string> files;
    const std::wstring folder = testing_support::BinDir();
    WIN32_FIND_DATAW found{};
    const HANDLE search = ::FindFirstFileW((folder + L"Zantix.*.xml").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return files;
    do {
        com::UniqueFile file(::CreateFileW((folder + found.cFileName).c_str(), GENERIC_READ, FILE_SHARE_READ,
                                           nullptr, OPEN_EXISTING, 0, nullptr));
        std::string bytes(found.nFileSizeLow, '\0');
        DWORD read = 0;
        if (file && ::ReadFile(file.get(), bytes.data(), DWORD(bytes.size()), &read, nullptr)) {
            bytes.resize(read);
            files.push_back(std::move(bytes));
        }
    } while (::FindNextFileW(search, &found));
    ::FindClose(search);
    return files;
}

using Localizer = CLocalizerHelperT<void>;
constexpr LANGID kGerman = 0x0407;
constexpr LANGID kEnglish = 0x0409;
constexpr wchar_t kModuleElement[] = L"VelPhonebook";

std::string JudgeLanguageFile(uint64_t seed, const std::vector<std::string>& shipped,
                              const std::wstring& folder, const std::map<UINT, std::wstring>& builtIn,
                              std::string& said) {
    std::string how;
    const std::string bytes = fuzz::MakeLanguageFile(seed, shipped, how);
    {
        com::UniqueFile file(::CreateFileW((folder + L"Zantix.de.xml").c_str(), GENERIC_WRITE, 0, nullptr,
                                           CREATE_ALWAYS, 0, nullptr));
        DWORD written = 0;
        if (!file || !::WriteFile(file.get(), bytes.data(), DWORD(bytes.size()), &written, nullptr))
            return "the file was not written";
    }
    const Localizer localizer({folder, kModuleElement, {kGerman, kEnglish}});
    said = (localizer.IsLoaded() ? "loaded (" : "refused (") + how + ")";
    for (const auto& [id, english] : builtIn) {
        std::wstring text;
        if (!localizer.LoadText(UINT(id), text)) return "string " + std::to_string(id) + " not found";
        if (!localizer.IsLoaded() && text != english)
            return "refused file, yet string " + std::to_string(id) + " is " + fuzz::Describe(text);
    }
    return {};
}

int RunLanguageFiles(const std::vector<uint64_t>& seeds) {
    testing_support::ComApartment apartment;
    const std::vector<std::string> shipped = ShippedLanguageFiles();
    if (shipped.empty()) {
        std::printf("no language files beside the program\n");
        return 2;
    }
    std::map<UINT, std::wstring> builtIn;
    for (UINT id = 1; id < 1000; ++id) {
        std::wstring text;
        if (localization::LoadBuiltInString(id, text)) builtIn[id] = text;
    }
    const std::wstring folder = ScratchFolder();
    ::CreateDirectoryW(folder.c_str(), nullptr);
    for (uint64_t seed : seeds) {
        std::printf("BEGIN %llu\n", static_cast<unsigned long long>(seed));
        std::fflush(stdout);
        const auto start = Clock::now();
        std::string said;
        const std::string problem = JudgeLanguageFile(seed, shipped, folder, builtIn, said);
        const double ms = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
        std::printf("VERDICT %llu %.1f %s %s\n", static_cast<unsigned long long>(seed), ms,
                    problem.empty() ? "ok" : "wrong",
                    (problem.empty() ? said : problem + " " + said).c_str());
        std::fflush(stdout);
    }
    RemoveScratch(folder);
    return 0;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    // A crash ends the process quietly, so that the parent sees it at once.
    ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    if (argc < 2) return 2;
    const std::wstring mode = argv[1];
    if (mode == L"logwriter") return argc == 4 ? RunLogWriter(argv[2], _wtoi(argv[3])) : 2;
    if (mode == L"plainedit") return argc == 4 ? RunPlainEdit(_wtoi(argv[2]), _wcstoui64(argv[3], nullptr, 10)) : 2;
    if (mode == L"autoleak") return argc == 4 ? fuzz::RunAutomationLeaks(_wtoi(argv[2]), _wcstoui64(argv[3], nullptr, 10)) : 2;
    std::vector<uint64_t> seeds;
    for (int i = 2; i < argc; ++i) seeds.push_back(_wcstoui64(argv[i], nullptr, 10));
    if (mode == L"mru") return RunStores(seeds);
    if (mode == L"compare") return seeds.size() == 1 ? CompareReadings(seeds[0]) : 2;
    if (mode == L"store") return seeds.size() == 1 && fuzz::WriteStore(fuzz::MakeStore(seeds[0])) ? 0 : 1;
    if (mode == L"log") return RunLogSettings(seeds);
    if (mode == L"lang") return RunLanguageFiles(seeds);
    if (mode == L"auto") return fuzz::RunAutomationCalls(seeds);
    return 2;
}
