// Tools of the log tests: the Logger key and the log files in the Wine prefix,
// log files read back and their lines taken apart, and the fixture that starts
// and ends every test with no key and no log file.
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

// From the shell folder, not from the logger: "<AppData>\Quorvel\Orvanta\",
// the log "<folder>\FaxData.log" (so with a doubled backslash), the backups
// "<folder>\FaxData(n).log", and which backups 0 to 30 exist.
std::wstring LogFolder();
std::wstring DefaultLogPath();
std::wstring BackupPath(int number);
std::vector<int> ExistingBackups();

// Values of the Logger key (or of a subkey); GetDword gives `missing` when
// the value is absent or of another type, GetText "".
void SetRaw(const wchar_t* name, DWORD type, const void* data, DWORD size, const wchar_t* subkey = nullptr);
void SetDword(const wchar_t* name, DWORD value, const wchar_t* subkey = nullptr);
void SetText(const wchar_t* name, const std::wstring& text, const wchar_t* subkey = nullptr);
DWORD GetDword(const wchar_t* name, DWORD missing);
std::wstring GetText(const wchar_t* name);

// A log file's text after its byte-order mark, if any; its lines without "\n".
std::wstring ReadLog(const std::wstring& path, bool* hasMark = nullptr);
std::vector<std::wstring> ReadLogLines(const std::wstring& path);

struct ParsedLine {
    std::wstring tag;  // "Err", "Warn", "Info", "Verb"
    SYSTEMTIME time{};
    std::wstring source, message;
    DWORD lastError = 0;  // 0 in lines without it
};
// Takes one line (without "\n") apart; false when it matches no format.
bool ParseLine(const std::wstring& line, ParsedLine& out);
// The message of each line of a log file, "<bad line>" for one that does not parse.
Messages FileMessages(const std::wstring& path);

// Writes a log file of exactly `bytes` bytes (mark and filler lines carrying
// `marker`) as the logger would have left it.
void WriteFilledLog(const std::wstring& path, ULONGLONG bytes, const std::wstring& marker);

// Deletes the Logger key, the log file and its backups.
void ResetLogState();

class LoggerTest : public testing::Test {
protected:
    void SetUp() override { ResetLogState(); }
    // Leaves the logger with the defaults, and no key or file behind.
    void TearDown() override {
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
