#include "log_test_support.h"

#include "com/unique_any.h"
#include "support/test_support.h"

#include <shlobj.h>

#include <algorithm>
#include <cwchar>

namespace logtest {

constexpr wchar_t kByteOrderMark = 0xFEFF;

std::wstring LogFolder() {
    wchar_t appData[MAX_PATH] = L"";
    ::SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, appData);
    return std::wstring(appData) + L"\\Quorvel\\Orvanta\\";
}
std::wstring DefaultLogPath() { return LogFolder() + L"\\FaxData.log"; }
std::wstring BackupPath(int n) { return LogFolder() + L"\\FaxData(" + std::to_wstring(n) + L").log"; }

std::vector<int> ExistingBackups() {
    std::vector<int> numbers;
    for (int n = 0; n <= 30; ++n)
        if (::GetFileAttributesW(BackupPath(n).c_str()) != INVALID_FILE_ATTRIBUTES) numbers.push_back(n);
    return numbers;
}

void SetRaw(const wchar_t* name, DWORD type, const void* data, DWORD size, const wchar_t* subkey) {
    const std::wstring path = subkey ? std::wstring(kLoggerKeyPath) + L"\\" + subkey : kLoggerKeyPath;
    ASSERT_EQ(ERROR_SUCCESS, ::RegSetKeyValueW(HKEY_CURRENT_USER, path.c_str(), name, type, data, size));
}
void SetDword(const wchar_t* name, DWORD value, const wchar_t* subkey) { SetRaw(name, REG_DWORD, &value, sizeof(value), subkey); }
void SetText(const wchar_t* name, const std::wstring& text, const wchar_t* subkey) {
    SetRaw(name, REG_SZ, text.c_str(), DWORD((text.size() + 1) * sizeof(wchar_t)), subkey);
}

DWORD GetDword(const wchar_t* name, DWORD missing) {
    DWORD value = 0, size = sizeof(value);
    return ::RegGetValueW(HKEY_CURRENT_USER, kLoggerKeyPath, name, RRF_RT_REG_DWORD, nullptr, &value, &size) == ERROR_SUCCESS
               ? value : missing;
}

std::wstring ReadLog(const std::wstring& path, bool* hasMark) {
    com::UniqueFile file(::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                       nullptr, OPEN_EXISTING, 0, nullptr));
    std::wstring text;
    wchar_t buffer[32768];
    DWORD read = 0;
    while (file && ::ReadFile(file.get(), buffer, sizeof buffer, &read, nullptr) && read > 0)
        text.append(buffer, read / sizeof(wchar_t));
    const bool marked = !text.empty() && text[0] == kByteOrderMark;
    if (hasMark) *hasMark = marked;
    return marked ? text.substr(1) : text;
}

std::vector<std::wstring> ReadLogLines(const std::wstring& path) {
    const std::wstring text = ReadLog(path);
    std::vector<std::wstring> lines;
    for (size_t start = 0, end; start < text.size(); start = end + 1) {
        end = std::min(text.find(L'\n', start), text.size());
        lines.push_back(text.substr(start, end - start));
    }
    return lines;
}

// "[KTX <tag>][dd:mm:yyyy][hh:mm:ss:mmm][<source>][<message>]", errors and
// warnings with "[Last error = <n>]" after the message, the others never.
bool ParseLine(const std::wstring& line, ParsedLine& out) {
    wchar_t tag[5] = L"";
    SYSTEMTIME& t = out.time;
    int head = 0;
    swscanf(line.c_str(), L"[KTX %4l[A-Za-z]][%2hu:%2hu:%4hu][%2hu:%2hu:%2hu:%3hu][%n", tag, &t.wDay, &t.wMonth,
            &t.wYear, &t.wHour, &t.wMinute, &t.wSecond, &t.wMilliseconds, &head);
    out.tag = tag;
    // Every field has all its digits (and nothing else) only when the head is this long.
    if (head != int(out.tag.size()) + 33 || line.find_first_not_of(L"0123456789:[]", out.tag.size() + 6) < size_t(head))
        return false;
    const std::wstring rest = line.substr(size_t(head));
    const size_t sourceEnd = rest.find(L"][");
    if (sourceEnd == std::wstring::npos || rest.back() != L']') return false;
    out.source = rest.substr(0, sourceEnd);
    out.message = rest.substr(sourceEnd + 2, rest.size() - sourceEnd - 3);
    static const std::wstring kLastError = L"][Last error = ";
    const size_t at = out.message.rfind(kLastError);
    const std::wstring digits = at == std::wstring::npos ? L"" : out.message.substr(at + kLastError.size());
    const bool hasLastError = !digits.empty() && digits.find_first_not_of(L"0123456789") == std::wstring::npos;
    out.lastError = hasLastError ? DWORD(std::stoul(digits)) : 0;
    if (hasLastError) out.message.erase(at);
    return hasLastError == (out.tag == L"Err" || out.tag == L"Warn");
}

Messages FileMessages(const std::wstring& path) {
    Messages messages;
    ParsedLine parsed;
    for (const std::wstring& line : ReadLogLines(path)) messages.push_back(ParseLine(line, parsed) ? parsed.message : L"<bad line>");
    return messages;
}

void WriteFilledLog(const std::wstring& path, ULONGLONG bytes, const std::wstring& marker) {
    std::wstring text(1, kByteOrderMark);
    const std::wstring line = L"[KTX Info][01:02:2003][04:05:06:007][Filler][" + marker + L"]\n";
    while (text.size() * sizeof(wchar_t) < bytes) text += line;
    text.resize(size_t(bytes / sizeof(wchar_t)));
    text.back() = L'\n';  // a cut filler line still ends, so what follows parses
    com::UniqueFile file(::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    DWORD written = 0;
    ASSERT_TRUE(file && ::WriteFile(file.get(), text.data(), DWORD(bytes), &written, nullptr));
}

void ResetLogState() {
    testing_support::DeleteUserKey(kLoggerKeyPath);
    ::DeleteFileW(DefaultLogPath().c_str());
    for (int n = 0; n <= 30; ++n) ::DeleteFileW(BackupPath(n).c_str());
}

}  // namespace logtest
