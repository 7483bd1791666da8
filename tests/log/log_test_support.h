// Tools of the log tests: the Logger key and the log files in the Wine prefix
// (paths from the shell folder, not from the logger), files read back and
// their lines taken apart, and a fixture that starts and ends every test with
// no key and no log file.
#pragma once

#include "log/logger.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace logtest {

using Messages = std::vector<std::wstring>;

std::wstring LogFolder();         // "<AppData>\Quorvel\Orvanta\"
std::wstring DefaultLogPath();    // "<folder>\FaxData.log" (so with a doubled backslash)
std::wstring BackupPath(int n);   // "<folder>\FaxData(n).log"
std::vector<int> ExistingBackups();  // of 0 to 30

// Values of the Logger key (or a subkey); GetDword gives `missing` for an
// absent value or one of another type.
void SetRaw(const wchar_t* name, DWORD type, const void* data, DWORD size, const wchar_t* subkey = nullptr);
void SetDword(const wchar_t* name, DWORD value, const wchar_t* subkey = nullptr);
void SetText(const wchar_t* name, const std::wstring& text, const wchar_t* subkey = nullptr);
DWORD GetDword(const wchar_t* name, DWORD missing);

// A log file's text after its byte-order mark, if any; its lines without "\n".
std::wstring ReadLog(const std::wstring& path, bool* hasMark = nullptr);
std::vector<std::wstring> ReadLogLines(const std::wstring& path);

struct ParsedLine {
    std::wstring tag;  // "Err", "Warn", "Info", "Verb"
    SYSTEMTIME time{};
    std::wstring source, message;
    DWORD lastError = 0;  // 0 in lines without it
};
// Takes one line apart; false when it matches no format.
bool ParseLine(const std::wstring& line, ParsedLine& out);
// The message of each line of a file, "<bad line>" for one that does not parse.
Messages FileMessages(const std::wstring& path);

// A log file of exactly `bytes` bytes (mark and lines carrying `marker`), as the logger leaves one.
void WriteFilledLog(const std::wstring& path, ULONGLONG bytes, const std::wstring& marker);

// Deletes the Logger key, the log file and its backups.
void ResetLogState();

class LoggerTest : public testing::Test {
protected:
    void SetUp() override { ResetLogState(); }
    void TearDown() override {  // the logger back on the defaults, nothing left
        ResetLogState();
        Reload();
        ResetLogState();
    }
    // Writes the DWORD values, then makes the logger read the key again.
    static void Configure(std::initializer_list<std::pair<const wchar_t*, DWORD>> values) {
        for (const auto& [name, value] : values) SetDword(name, value);
        Reload();
    }
    static void Reload() { CLogger::Instance().LoadConfiguration(true); }
};

}  // namespace logtest
