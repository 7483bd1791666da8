// Logger settings and language files as nobody meant them: cases of the
// randomised runs (benchmarks/fuzz_bench), written out.
#include "support/test_support.h"

#include "localization/localizer.h"
#include "log/logger.h"

#include <gtest/gtest.h>
#include <shlobj.h>

#include <fstream>

using namespace testing_support;

namespace {

std::wstring Scratch() {
    wchar_t temp[MAX_PATH];
    ::GetTempPathW(MAX_PATH, temp);
    return std::wstring(temp) + L"velphonebook-hostile\\";
}

// Numbers at every limit, log paths that are folders, devices, far too long
// or unterminated, a log file or a backup that is a folder: every load and
// every line logged returns and leaves the caller's last error alone.
TEST(HostileLogSettings, LoggingReturnsAndLeavesTheLastErrorAlone) {
    wchar_t appData[MAX_PATH] = L"";
    ::SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, appData);
    const std::wstring folder = std::wstring(appData) + L"\\Quorvel\\Orvanta\\";
    const std::wstring tooLong = Scratch() + std::wstring(40000, L'x') + L"\\FaxData.log";
    const wchar_t* const names[] = {L"MaxSize", L"MaxCount", L"CurrentCount", L"Enable", L"Type", L"Verbose"};
    const struct {
        DWORD numbers[6];  // as named above
        std::wstring path;
        DWORD bytesLeftOut;  // of the path's value: its terminator and half a character
        const wchar_t* folderInTheWay;
    } cases[] = {
        {{0xFFFFFFFF, 0x80000000, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0x80000000}, L"", 0, nullptr},
        {{0, 0, 0x7FFFFFFF, 2, 1, 4}, Scratch(), 0, nullptr},  // every line rotates
        {{1, 0xFFFFFFFE, 9, 2, 1, 4}, tooLong, 0, L"FaxData.log"},
        {{1, 11, 10, 2, 3, 4}, L"\\\\?\\" + tooLong, 0, nullptr},
        {{0, 10, 3, 2, 1, 4}, L"NUL", 0, L"FaxData(4).log"},
        {{1, 2, 1, 2, 1, 4}, Scratch() + L"odd.log", 3, nullptr},
    };
    ::CreateDirectoryW(Scratch().c_str(), nullptr);
    for (const auto& c : cases) {
        SCOPED_TRACE(Utf8(c.path.substr(0, 60)));
        for (int i = 0; i < 6; ++i)
            ::RegSetKeyValueW(HKEY_CURRENT_USER, kLoggerKeyPath, names[i], REG_DWORD, &c.numbers[i], sizeof(DWORD));
        ::RegSetKeyValueW(HKEY_CURRENT_USER, kLoggerKeyPath, L"FilePath", REG_SZ, c.path.c_str(),
                          DWORD((c.path.size() + 1) * sizeof(wchar_t) - c.bytesLeftOut));
        ::SHCreateDirectoryExW(nullptr, folder.c_str(), nullptr);
        if (c.folderInTheWay) ::CreateDirectoryW((folder + c.folderInTheWay).c_str(), nullptr);
        CLogger::Instance().LoadConfiguration(true);
        for (DWORD i = 0; i < 16; ++i) {
            ::SetLastError(0xE0000000 + i);
            Log(i % 2 ? L"Phonebook" : L"..\\..\\Other", std::wstring(i * 10000, L'y').c_str(),
                kLogTypeFromSettings, kLogWriteModeFromSettings, LogLevel(i % 6));
            EXPECT_EQ(0xE0000000 + i, ::GetLastError());
        }
        if (c.folderInTheWay) ::RemoveDirectoryW((folder + c.folderInTheWay).c_str());
    }
    EXPECT_NE(INVALID_FILE_ATTRIBUTES, ::GetFileAttributesW((folder + L"FaxData(1).log").c_str()));
    DeleteUserKey(kLoggerKeyPath);
    CLogger::Instance().LoadConfiguration(true);
    for (int n = 0; n <= 30; ++n) ::DeleteFileW((folder + L"FaxData(" + std::to_wstring(n) + L").log").c_str());
    for (const std::wstring& file : {folder + L"FaxData.log", Scratch() + L"odd.log"}) ::DeleteFileW(file.c_str());
}

// Damaged language files: a refused one leaves the built-in text; a string is
// found by its identifier written exactly ("101"), by no other spelling of it.
TEST(HostileLanguageFiles, ARefusedFileOrAnotherSpellingOfTheIdLeavesTheBuiltInText) {
    const auto file = [](const std::string& id, const char* encoding = "utf-8") {
        return std::string("<?xml version=\"1.0\" encoding=\"") + encoding +
               "\"?><Zantix><VelPhonebook><resources><strings><string id=\"" + id +
               "\">Entfernen</string></strings></resources></VelPhonebook></Zantix>";
    };
    const std::pair<std::string, bool> cases[] = {  // the file, and whether its text may answer
        {file("0x65"), false}, {file("0101"), false}, {file("101 "), false},
        {file("99999999999999999999"), false}, {file("101", "bogus"), true},
        {"\xEF\xBB\xBF\xEF\xBB\xBF" + file("101"), true}};
    ComApartment apartment;
    ::CreateDirectoryW(Scratch().c_str(), nullptr);
    for (const auto& [bytes, mayAnswer] : cases) {
        SCOPED_TRACE(bytes.substr(38, 90));
        std::ofstream((Scratch() + L"Zantix.de.xml").c_str(), std::ios::binary) << bytes;
        const CLocalizerHelperT<void> localizer({Scratch(), L"VelPhonebook", {0x0407, 0x0409}});
        std::wstring text;
        EXPECT_TRUE(localizer.LoadText(101, text));
        if (!mayAnswer || !localizer.IsLoaded()) { EXPECT_EQ(L"Remove", text); }
    }
    ::DeleteFileW((Scratch() + L"Zantix.de.xml").c_str());
    ::RemoveDirectoryW(Scratch().c_str());
}

}  // namespace
