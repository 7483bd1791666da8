// Tools of the log tests: the Logger key and the log files in the Wine
// prefix, reading a log file back and taking its lines apart, and the fixture
// that starts and ends every test with no key and no log file.
#pragma once

#include "log/logger.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace logtest {

// Where the log lives by default, worked out here from the shell folder, not
// taken from the logger: "<AppData>\Quorvel\Orvanta\" (with the slash).
std::wstring LogFolder();
// The default log file, with its doubled backslash.
std::wstring DefaultLogPath();
// "<folder>\FaxData(n).log".
std::wstring BackupPath(int number);
bool FileExists(const std::wstring& path);
ULONGLONG FileSize(const std::wstring& path);
// Backup numbers 1 to 30 that exist.
std::vector<int> ExistingBackups();

// Registry values of the Logger key (or of one of its subkeys).
void SetDword(const wchar_t* name, DWORD value, const wchar_t* subkey = nullptr);
void SetText(const wchar_t* name, const std::wstring& text, const wchar_t* subkey = nullptr);
void SetRaw(const wchar_t* name, DWORD type, const void* data, DWORD size, const wchar_t* subkey = nullptr);
// The value's type and bytes, false when it is missing.
bool GetValue(const wchar_t* name, DWORD& type, std::vector<BYTE>& data);
DWORD GetDword(const wchar_t* name, DWORD missing);
std::wstring GetText(const wchar_t* name);

// The whole text of a log file after its byte-order mark (empty when the
// file is missing or empty); `hasMark` tells whether the mark was there.
std::wstring ReadLog(const std::wstring& path, bool* hasMark = nullptr);
// The lines of a log file without their "\n"; a last line without "\n"
// comes back as it is.
std::vector<std::wstring> ReadLogLines(const std::wstring& path);
// Whether a line of the file has this message field.
bool HasMessage(const std::wstring& path, const std::wstring& message);

// Writes a log file of at least `bytes` bytes (mark and lines of filler that
// carry `marker`) the way the logger would have left it.
void WriteFilledLog(const std::wstring& path, ULONGLONG bytes, const std::wstring& marker);

struct ParsedLine {
    std::wstring tag;  // "Err", "Warn", "Info", "Verb"
    SYSTEMTIME time{};
    std::wstring source;
    std::wstring message;
    bool hasLastError = false;
    DWORD lastError = 0;
};
// Takes one line (without its "\n") apart by the line formats; false when it
// does not match any of them.
bool ParseLine(const std::wstring& line, ParsedLine& out);

// Deletes the Logger key, the log file and its backups.
void ResetLogState();

// Every log test starts and ends with no Logger key and no log files, and
// re-reads the settings through the product's forced load.
class LoggerTest : public testing::Test {
protected:
    void SetUp() override { ResetLogState(); }
    void TearDown() override {
        ResetLogState();
        CLogger::Instance().LoadConfiguration(true);
        ResetLogState();
    }
    // Writes the DWORD values, then makes the logger read the key again.
    static void Configure(std::initializer_list<std::pair<const wchar_t*, DWORD>> values);
    static void Reload() { CLogger::Instance().LoadConfiguration(true); }
};

}  // namespace logtest
