// Tools of the log tests: registry values, log files read back and parsed.
#include "log_test_support.h"

#include "com/unique_any.h"
#include "support/test_support.h"

#include <shlobj.h>

#include <regex>

namespace logtest {

namespace {

constexpr wchar_t kByteOrderMark = 0xFEFF;
constexpr int kHighestBackupLooked = 30;

std::wstring KeyPath(const wchar_t* subkey) {
    std::wstring path = kLoggerKeyPath;
    if (subkey) path += std::wstring(L"\\") + subkey;
    return path;
}

void DeleteLogFiles() {
    ::DeleteFileW(DefaultLogPath().c_str());
    for (int n = 0; n <= kHighestBackupLooked; ++n) ::DeleteFileW(BackupPath(n).c_str());
}

}  // namespace

std::wstring LogFolder() {
    wchar_t appData[MAX_PATH] = L"";
    ::SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, appData);
    return std::wstring(appData) + L"\\Quorvel\\Orvanta\\";
}

std::wstring DefaultLogPath() {
    return LogFolder() + L"\\FaxData.log";
}

std::wstring BackupPath(int number) {
    return LogFolder() + L"\\FaxData(" + std::to_wstring(number) + L").log";
}

bool FileExists(const std::wstring& path) {
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY);
}

ULONGLONG FileSize(const std::wstring& path) {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (!::GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data)) return 0;
    return (ULONGLONG(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
}

std::vector<int> ExistingBackups() {
    std::vector<int> numbers;
    for (int n = 0; n <= kHighestBackupLooked; ++n)
        if (FileExists(BackupPath(n))) numbers.push_back(n);
    return numbers;
}

void SetRaw(const wchar_t* name, DWORD type, const void* data, DWORD size, const wchar_t* subkey) {
    com::UniqueHKey key;
    ASSERT_EQ(ERROR_SUCCESS, ::RegCreateKeyExW(HKEY_CURRENT_USER, KeyPath(subkey).c_str(), 0, nullptr, 0,
                                               KEY_ALL_ACCESS, nullptr, key.put(), nullptr));
    ASSERT_EQ(ERROR_SUCCESS,
              ::RegSetValueExW(key.get(), name, 0, type, static_cast<const BYTE*>(data), size));
}

void SetDword(const wchar_t* name, DWORD value, const wchar_t* subkey) {
    SetRaw(name, REG_DWORD, &value, sizeof(value), subkey);
}

void SetText(const wchar_t* name, const std::wstring& text, const wchar_t* subkey) {
    SetRaw(name, REG_SZ, text.c_str(), DWORD((text.size() + 1) * sizeof(wchar_t)), subkey);
}

bool GetValue(const wchar_t* name, DWORD& type, std::vector<BYTE>& data) {
    com::UniqueHKey key;
    if (::RegOpenKeyExW(HKEY_CURRENT_USER, kLoggerKeyPath, 0, KEY_READ, key.put()) != ERROR_SUCCESS)
        return false;
    DWORD size = 0;
    if (::RegQueryValueExW(key.get(), name, nullptr, &type, nullptr, &size) != ERROR_SUCCESS) return false;
    data.assign(size, 0);
    return ::RegQueryValueExW(key.get(), name, nullptr, &type, data.data(), &size) == ERROR_SUCCESS;
}

DWORD GetDword(const wchar_t* name, DWORD missing) {
    DWORD type = 0;
    std::vector<BYTE> data;
    if (!GetValue(name, type, data) || type != REG_DWORD || data.size() != sizeof(DWORD)) return missing;
    return *reinterpret_cast<const DWORD*>(data.data());
}

std::wstring GetText(const wchar_t* name) {
    DWORD type = 0;
    std::vector<BYTE> data;
    if (!GetValue(name, type, data) || type != REG_SZ) return L"";
    data.resize(data.size() + sizeof(wchar_t), 0);
    return reinterpret_cast<const wchar_t*>(data.data());
}

std::wstring ReadLog(const std::wstring& path, bool* hasMark) {
    if (hasMark) *hasMark = false;
    com::UniqueFile file(::CreateFileW(path.c_str(), GENERIC_READ,
                                       FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                       OPEN_EXISTING, 0, nullptr));
    if (!file) return L"";
    std::string bytes;
    char buffer[65536];
    DWORD read = 0;
    while (::ReadFile(file.get(), buffer, sizeof buffer, &read, nullptr) && read > 0)
        bytes.append(buffer, read);
    std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
    memcpy(text.data(), bytes.data(), text.size() * sizeof(wchar_t));
    if (!text.empty() && text[0] == kByteOrderMark) {
        if (hasMark) *hasMark = true;
        text.erase(0, 1);
    }
    return text;
}

std::vector<std::wstring> ReadLogLines(const std::wstring& path) {
    const std::wstring text = ReadLog(path);
    std::vector<std::wstring> lines;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find(L'\n', start);
        if (end == std::wstring::npos) end = text.size();
        lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return lines;
}

bool HasMessage(const std::wstring& path, const std::wstring& message) {
    for (const std::wstring& line : ReadLogLines(path)) {
        ParsedLine parsed;
        if (ParseLine(line, parsed) && parsed.message == message) return true;
    }
    return false;
}

void WriteFilledLog(const std::wstring& path, ULONGLONG bytes, const std::wstring& marker) {
    std::wstring text(1, kByteOrderMark);
    const std::wstring line = L"[KTX Info][01:02:2003][04:05:06:007][Filler][" + marker + L"]\n";
    while (text.size() * sizeof(wchar_t) < bytes) text += line;
    text.resize(size_t((bytes + 1) / sizeof(wchar_t)));
    // A cut filler line still ends the line, so what follows parses.
    text.back() = L'\n';
    com::UniqueFile file(::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    ASSERT_TRUE(file);
    DWORD written = 0;
    ASSERT_TRUE(
        ::WriteFile(file.get(), text.data(), DWORD(text.size() * sizeof(wchar_t)), &written, nullptr));
}

bool ParseLine(const std::wstring& line, ParsedLine& out) {
    // The fixed-width head by a pattern: two digits at least for day, month
    // and the time, three for the milliseconds, the year as it is. Source and
    // message are taken apart by hand, since a pattern over a long message
    // runs the regular-expression engine out of stack.
    static const std::wregex head(
        L"\\[KTX (Err|Warn|Info|Verb)\\]\\[(\\d{2}):(\\d{2}):(\\d{2,})\\]"
        L"\\[(\\d{2}):(\\d{2}):(\\d{2}):(\\d{3})\\]\\[");
    constexpr size_t kLongestHead = 64;
    const std::wstring start = line.substr(0, kLongestHead);
    std::wsmatch match;
    if (!std::regex_search(start, match, head, std::regex_constants::match_continuous)) return false;
    out.tag = match[1];
    out.time.wDay = WORD(std::stoi(match[2]));
    out.time.wMonth = WORD(std::stoi(match[3]));
    out.time.wYear = WORD(std::stoi(match[4]));
    out.time.wHour = WORD(std::stoi(match[5]));
    out.time.wMinute = WORD(std::stoi(match[6]));
    out.time.wSecond = WORD(std::stoi(match[7]));
    out.time.wMilliseconds = WORD(std::stoi(match[8]));

    const std::wstring rest = line.substr(size_t(match.length(0)));
    const size_t sourceEnd = rest.find(L"][");
    if (sourceEnd == std::wstring::npos || rest.empty() || rest.back() != L']') return false;
    out.source = rest.substr(0, sourceEnd);
    std::wstring tail = rest.substr(sourceEnd + 2, rest.size() - sourceEnd - 3);

    static const std::wstring kLastError = L"][Last error = ";
    const size_t errorStart = tail.rfind(kLastError);
    const std::wstring digits =
        errorStart == std::wstring::npos ? L"" : tail.substr(errorStart + kLastError.size());
    out.hasLastError = !digits.empty() && digits.find_first_not_of(L"0123456789") == std::wstring::npos;
    out.lastError = out.hasLastError ? DWORD(std::stoul(digits)) : 0;
    out.message = out.hasLastError ? tail.substr(0, errorStart) : tail;
    // Errors and warnings carry the last error, the others never do.
    const bool wantsLastError = out.tag == L"Err" || out.tag == L"Warn";
    return out.hasLastError == wantsLastError;
}

void ResetLogState() {
    testing_support::DeleteUserKey(kLoggerKeyPath);
    DeleteLogFiles();
}

void LoggerTest::Configure(std::initializer_list<std::pair<const wchar_t*, DWORD>> values) {
    for (const auto& [name, value] : values) SetDword(name, value);
    Reload();
}

}  // namespace logtest
