// The diagnostic log: settings, filtering, line formats, the log file with its
// rotation into numbered backups, and the messages sent to the debugger output
// when the log itself is in trouble.
#include "log/logger.h"

#include <sddl.h>
#include <shlobj.h>
#include <shlwapi.h>

#include <algorithm>
#include <cwchar>
#include <iterator>
#include <stdexcept>
#include <vector>

namespace {

// The texts of the log file and of the debugger output are fixed: support
// tools and people search for them as they stand.
constexpr wchar_t kErrorFormat[] =
    L"[KTX Err][%0.2d:%0.2d:%0.2d][%0.2d:%0.2d:%0.2d:%0.3d][%s][%s][Last error = %lu]\n";
constexpr wchar_t kWarningFormat[] =
    L"[KTX Warn][%0.2d:%0.2d:%0.2d][%0.2d:%0.2d:%0.2d:%0.3d][%s][%s][Last error = %lu]\n";
constexpr wchar_t kInformationFormat[] = L"[KTX Info][%0.2d:%0.2d:%0.2d][%0.2d:%0.2d:%0.2d:%0.3d][%s][%s]\n";
constexpr wchar_t kVerboseFormat[] = L"[KTX Verb][%0.2d:%0.2d:%0.2d][%0.2d:%0.2d:%0.2d:%0.3d][%s][%s]\n";

constexpr wchar_t kLoadingText[] = L"[KTX Logger][Loading configuration]\n";
constexpr wchar_t kProblemFormat[] = L"%s%s%s%d%s";
constexpr wchar_t kLastErrorIs[] = L".Get last error is = ";
constexpr wchar_t kCreateDirectoryFailed[] = L"Error - Unable to create CreateDirectory: ";
constexpr wchar_t kCreateFileFailed[] = L"Error - Unable to create file at file path: ";
constexpr wchar_t kLoadFailed[] = L"Error - Log file access failed. Exception occured. File path: ";
constexpr wchar_t kOpenFailed[] = L"Unable to create/open KTX log file at path : ";
constexpr wchar_t kWriteFailed[] = L"Log to file failed. Exception occured. File path: ";
constexpr wchar_t kBackupNotice[] =
    L"KTX log file is being backed-up, as its size reached to maximum limit allowed. File backed-up as : ";
// The logger's own name in the backup notice it writes into the file.
constexpr wchar_t kLoggerSource[] = L"Logger";

constexpr wchar_t kAppFolder[] = L"Quorvel\\Orvanta";
// Appended to a folder text that already ends in a backslash, so the default
// path has a doubled one; paths of earlier versions were stored that way in
// "FilePath", so the text is kept as it is rather than tidied.
constexpr wchar_t kLogFileName[] = L"\\FaxData.log";
constexpr wchar_t kBackupPathFormat[] = L"%s%s";
constexpr wchar_t kBackupNameFormat[] = L"\\FaxData(%d).log";

constexpr wchar_t kEnableValue[] = L"Enable";
constexpr wchar_t kTypeValue[] = L"Type";
constexpr wchar_t kVerboseValue[] = L"Verbose";
constexpr wchar_t kWriteModeValue[] = L"WriteMode";
constexpr wchar_t kMaxSizeValue[] = L"MaxSize";
constexpr wchar_t kMaxCountValue[] = L"MaxCount";
constexpr wchar_t kCurrentCountValue[] = L"CurrentCount";
constexpr wchar_t kFilePathValue[] = L"FilePath";

// "MaxSize" is in megabytes.
constexpr int kMaxSizeShift = 20;
// The backup count is capped by the write mode plus this, whatever "MaxCount"
// says, which with the rotating mode 2 means at most ten backups.
constexpr DWORD kBackupCapOverWriteMode = 8;
// Short spinning before sleeping: writers hold the lock for one file append.
constexpr DWORD kLockSpinCount = 4000;
// How long a line waits for the other processes of the user. A writer holds
// the lock for one append, or for one rotation (a rename, or a copy of a few
// megabytes when a reader keeps the file from being renamed); past this wait
// the line is appended without the lock rather than hold up the caller.
constexpr DWORD kFileLockWaitMs = 2000;
constexpr wchar_t kFileLockPrefix[] = L"VelPhonebook.FaxData.log.";

// The file is UTF-16LE with a byte-order mark. Lines are formed in UTF-16,
// so the bytes on disk are the line itself: no conversion per line, no loss
// for names in any script, and every Notepad since the first NT opens it
// correctly (UTF-8 without a mark is shown as ANSI by older ones). The mark
// goes in with the first line of an empty file.
constexpr wchar_t kByteOrderMark = 0xFEFF;

class CriticalSectionLock {
public:
    explicit CriticalSectionLock(CRITICAL_SECTION& section) : m_section(section) {
        ::EnterCriticalSection(&m_section);
    }
    ~CriticalSectionLock() { ::LeaveCriticalSection(&m_section); }
    CriticalSectionLock(const CriticalSectionLock&) = delete;
    CriticalSectionLock& operator=(const CriticalSectionLock&) = delete;

private:
    CRITICAL_SECTION& m_section;
};

// The lock every process of the user takes around the log file: the size
// check, the rotation with its backup number, and the append. The file, the
// backups and "CurrentCount" are per user, and so is the lock: its name
// carries the user's SID, in the global namespace so that the user's
// processes in other sessions share it. Without a lock (no SID, no mutex)
// the file is written as before, unserialised.
HANDLE FileLockMutex() {
    static const HANDLE mutex = [] {
        HANDLE token = nullptr;
        if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &token)) return HANDLE(nullptr);
        const com::UniqueHandle tokenHandle(token);
        BYTE buffer[SECURITY_MAX_SID_SIZE + sizeof(TOKEN_USER)];
        DWORD size = 0;
        wchar_t* sid = nullptr;
        if (!::GetTokenInformation(token, TokenUser, buffer, sizeof buffer, &size) ||
            !::ConvertSidToStringSidW(reinterpret_cast<TOKEN_USER*>(buffer)->User.Sid, &sid))
            return HANDLE(nullptr);
        const std::wstring name = std::wstring(kFileLockPrefix) + sid;
        ::LocalFree(sid);
        // Global first; a session that may not create global objects keeps
        // the lock within the session. Kept for the life of the process, like
        // the logger itself.
        HANDLE created = ::CreateMutexW(nullptr, FALSE, (L"Global\\" + name).c_str());
        if (!created) created = ::CreateMutexW(nullptr, FALSE, (L"Local\\" + name).c_str());
        return created;
    }();
    return mutex;
}

class FileLock {
public:
    FileLock() : m_mutex(FileLockMutex()) {
        if (!m_mutex) return;
        // A writer that died holding the lock left the file as it was after
        // one whole append or rotation step: abandoned counts as acquired.
        const DWORD wait = ::WaitForSingleObject(m_mutex, kFileLockWaitMs);
        m_held = wait == WAIT_OBJECT_0 || wait == WAIT_ABANDONED;
    }
    ~FileLock() {
        if (m_held) ::ReleaseMutex(m_mutex);
    }
    bool Held() const noexcept { return m_held; }
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

private:
    HANDLE m_mutex;
    bool m_held = false;
};

// printf into a string of any length. The msvcrt functions are used on
// purpose: with them "%s" in a wide format takes a wide string, as the fixed
// formats above expect (the C99 versions would take a narrow one).
template <class... Args>
std::wstring Format(const wchar_t* format, Args... args) {
    const int length = ::_scwprintf(format, args...);
    if (length <= 0) return std::wstring();
    std::vector<wchar_t> buffer(size_t(length) + 1, L'\0');
    ::_snwprintf(buffer.data(), buffer.size(), format, args...);
    return std::wstring(buffer.data(), size_t(length));
}

void DebugOut(const std::wstring& text) {
    ::OutputDebugStringW(text.c_str());
}

void DebugProblem(const wchar_t* what, const std::wstring& path, DWORD error) {
    DebugOut(Format(kProblemFormat, what, path.c_str(), kLastErrorIs, int(error), L"\n"));
}

// A value of another type than REG_DWORD counts as missing.
DWORD ReadDword(HKEY key, const wchar_t* name, DWORD fallback) {
    DWORD type = 0;
    DWORD value = 0;
    DWORD size = sizeof(value);
    if (!key ||
        ::RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(&value), &size) !=
            ERROR_SUCCESS ||
        type != REG_DWORD || size != sizeof(value))
        return fallback;
    return value;
}

// Only a REG_SZ value counts; the text need not carry its terminating zero.
std::wstring ReadText(HKEY key, const wchar_t* name) {
    DWORD type = 0;
    DWORD size = 0;
    if (!key || ::RegQueryValueExW(key, name, nullptr, &type, nullptr, &size) != ERROR_SUCCESS ||
        type != REG_SZ)
        return std::wstring();
    std::vector<wchar_t> buffer(size / sizeof(wchar_t) + 1, L'\0');
    if (::RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(buffer.data()), &size) !=
            ERROR_SUCCESS ||
        type != REG_SZ)
        return std::wstring();
    return std::wstring(buffer.data());
}

void WriteDword(HKEY key, const wchar_t* name, DWORD value) {
    ::RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof(value));
}

com::UniqueHKey OpenLoggerKey(const wchar_t* subkey = nullptr) {
    std::wstring path = kLoggerKeyPath;
    if (subkey) path += L"\\" + std::wstring(subkey);
    com::UniqueHKey key;
    if (::RegOpenKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, KEY_READ, key.put()) != ERROR_SUCCESS)
        key.reset();
    return key;
}

com::UniqueHKey CreateLoggerKey() {
    com::UniqueHKey key;
    if (::RegCreateKeyExW(HKEY_CURRENT_USER, kLoggerKeyPath, 0, nullptr, 0, KEY_SET_VALUE, nullptr, key.put(),
                          nullptr) != ERROR_SUCCESS)
        key.reset();
    return key;
}

// Every process writing the log opens the file per line with all sharing
// allowed, so several processes (and support staff reading or deleting the
// file) can use it at once, and FILE_APPEND_DATA makes every write land at
// the end even when another process appended in between.
com::UniqueFile OpenLogFile(const std::wstring& path, DWORD disposition) {
    return com::UniqueFile(::CreateFileW(path.c_str(), FILE_APPEND_DATA | FILE_READ_ATTRIBUTES,
                                         FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                         disposition, FILE_ATTRIBUTE_NORMAL, nullptr));
}

// The user's application-data folder, "\", "Quorvel\Orvanta", "\"; empty
// when the shell cannot tell.
std::wstring DefaultFolder() {
    wchar_t appData[MAX_PATH] = L"";
    if (FAILED(::SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, appData))) return {};
    return std::wstring(appData) + L"\\" + kAppFolder + L"\\";
}

// Creates each missing directory of the folder from the root down.
bool CreateFolderTree(const std::wstring& folder) {
    const wchar_t* afterRoot = ::PathSkipRootW(folder.c_str());
    size_t position = afterRoot ? size_t(afterRoot - folder.c_str()) : 0;
    while (position < folder.size()) {
        size_t end = folder.find(L'\\', position);
        if (end == std::wstring::npos) end = folder.size();
        if (end > position) {
            const std::wstring directory = folder.substr(0, end);
            if (::GetFileAttributesW(directory.c_str()) == INVALID_FILE_ATTRIBUTES &&
                !::CreateDirectoryW(directory.c_str(), nullptr) && ::GetLastError() != ERROR_ALREADY_EXISTS) {
                DebugProblem(kCreateDirectoryFailed, directory, ::GetLastError());
                return false;
            }
        }
        position = end + 1;
    }
    return true;
}

bool Passes(LogLevel level, DWORD verbose) {
    switch (level) {
        case LogLevel::Error:
            return verbose != 5;
        case LogLevel::Warning:
            return verbose != 1 && verbose != 5;
        case LogLevel::Information:
            return verbose != 1 && verbose != 2 && verbose != 5;
        case LogLevel::Verbose:
            return verbose != 1 && verbose != 2 && verbose != 3 && verbose != 5;
        case LogLevel::Always:
            return true;
    }
    return false;
}

std::wstring FormatLine(LogLevel level, const wchar_t* source, const wchar_t* message, DWORD lastError) {
    SYSTEMTIME now{};
    ::GetLocalTime(&now);
    const wchar_t* format = nullptr;
    switch (level) {
        case LogLevel::Error:
        case LogLevel::Always:
            format = kErrorFormat;
            break;
        case LogLevel::Warning:
            format = kWarningFormat;
            break;
        case LogLevel::Information:
            format = kInformationFormat;
            break;
        case LogLevel::Verbose:
            format = kVerboseFormat;
            break;
    }
    if (!format) return std::wstring();
    // The formats without a last error simply ignore the extra argument.
    return Format(format, int(now.wDay), int(now.wMonth), int(now.wYear), int(now.wHour), int(now.wMinute),
                  int(now.wSecond), int(now.wMilliseconds), source ? source : L"", message ? message : L"",
                  static_cast<unsigned long>(lastError));
}

// One WriteFile per line, so lines from other processes never cut into it.
bool AppendLine(HANDLE file, const std::wstring& line, bool fileIsEmpty) {
    std::wstring text;
    text.reserve(line.size() + 1);
    if (fileIsEmpty) text += kByteOrderMark;
    text += line;
    const DWORD bytes = DWORD(text.size() * sizeof(wchar_t));
    DWORD written = 0;
    return ::WriteFile(file, text.data(), bytes, &written, nullptr) && written == bytes;
}

}  // namespace

CLogger& CLogger::Instance() {
    // Never destroyed: other objects may still log from their destructors
    // while the process or the module goes down.
    static CLogger* const instance = new CLogger;
    return *instance;
}

CLogger::CLogger() {
    ::InitializeCriticalSectionAndSpinCount(&m_lock, kLockSpinCount);
}

void CLogger::Log(const wchar_t* source, const wchar_t* message, DWORD typeOverride, DWORD writeModeOverride,
                  LogLevel level) noexcept {
    const DWORD lastError = ::GetLastError();
    try {
        CriticalSectionLock lock(m_lock);
        LoadLocked(false);
        const bool enabled = m_settings.enable == kLogEnableAll ||
                             (m_settings.enable == kLogEnablePerSource && SourceEnabled(source));
        // A call that is filtered out leaves the overrides it carries unused.
        if (enabled && Passes(level, m_settings.verbose)) {
            if (typeOverride != kLogTypeFromSettings) m_settings.type = typeOverride;
            if (writeModeOverride != kLogWriteModeFromSettings) m_settings.writeMode = writeModeOverride;
            const std::wstring line = FormatLine(level, source, message, lastError);
            const DWORD type = m_settings.type;
            if (type == kLogTypeFile || type == kLogTypeBoth) WriteToFile(line, m_settings.writeMode);
            if (type == kLogTypeDebugger || type == kLogTypeBoth) DebugOut(line);
        }
    } catch (...) {
        // Logging must never disturb the caller, not even when memory runs out.
    }
    ::SetLastError(lastError);
}

void CLogger::LoadConfiguration(bool force) noexcept {
    try {
        CriticalSectionLock lock(m_lock);
        LoadLocked(force);
    } catch (...) {
    }
}

void CLogger::SaveConfiguration() noexcept {
    try {
        CriticalSectionLock lock(m_lock);
        SaveLocked();
    } catch (...) {
    }
}

LogSettings CLogger::Settings() noexcept {
    try {
        CriticalSectionLock lock(m_lock);
        LoadLocked(false);
        return m_settings;
    } catch (...) {
        return LogSettings();
    }
}

void CLogger::LoadLocked(bool force) {
    if (m_loaded && !force) return;
    DebugOut(kLoadingText);

    const com::UniqueHKey key = OpenLoggerKey();
    const LogSettings defaults;
    LogSettings settings;
    settings.enable = ReadDword(key.get(), kEnableValue, defaults.enable);
    settings.type = ReadDword(key.get(), kTypeValue, defaults.type);
    settings.verbose = ReadDword(key.get(), kVerboseValue, defaults.verbose);
    settings.writeMode = ReadDword(key.get(), kWriteModeValue, defaults.writeMode);
    settings.maxSizeMB = ReadDword(key.get(), kMaxSizeValue, defaults.maxSizeMB);
    settings.maxCount = ReadDword(key.get(), kMaxCountValue, defaults.maxCount);
    settings.currentCount = ReadDword(key.get(), kCurrentCountValue, defaults.currentCount);
    settings.filePath = ReadText(key.get(), kFilePathValue);
    m_settings = std::move(settings);
    m_loaded = true;

    // A configured path shorter than the bare file name cannot be a full path.
    if (m_settings.filePath.size() >= std::size(kLogFileName) - 1 &&
        OpenLogFile(m_settings.filePath, OPEN_ALWAYS))
        return;

    std::wstring path;
    try {
        const std::wstring folder = DefaultFolder();
        if (folder.empty()) throw std::runtime_error("no application-data folder");
        path = folder + kLogFileName;
        if (::GetFileAttributesW(folder.c_str()) == INVALID_FILE_ATTRIBUTES) CreateFolderTree(folder);
        if (!OpenLogFile(path, OPEN_ALWAYS)) {
            DebugProblem(kCreateFileFailed, path, ::GetLastError());
            return;
        }
        m_settings.filePath = path;
        SaveLocked();
    } catch (...) {
        DebugOut(kLoadFailed + path + L"\n");
    }
}

void CLogger::SaveLocked() {
    const com::UniqueHKey key = CreateLoggerKey();
    if (!key) return;
    WriteDword(key.get(), kEnableValue, m_settings.enable);
    WriteDword(key.get(), kTypeValue, m_settings.type);
    WriteDword(key.get(), kVerboseValue, m_settings.verbose);
    WriteDword(key.get(), kWriteModeValue, m_settings.writeMode);
    WriteDword(key.get(), kMaxSizeValue, m_settings.maxSizeMB);
    WriteDword(key.get(), kMaxCountValue, m_settings.maxCount);
    WriteDword(key.get(), kCurrentCountValue, m_settings.currentCount);
    ::RegSetValueExW(key.get(), kFilePathValue, 0, REG_SZ,
                     reinterpret_cast<const BYTE*>(m_settings.filePath.c_str()),
                     DWORD((m_settings.filePath.size() + 1) * sizeof(wchar_t)));
}

bool CLogger::SourceEnabled(const wchar_t* source) const {
    // A nameless source has no subkey; "Logger\" would open the Logger key
    // itself, whose "Enable" is the mode, not a switch for this source.
    if (!source || !*source) return false;
    const com::UniqueHKey key = OpenLoggerKey(source);
    return ReadDword(key.get(), kEnableValue, 0) != 0;
}

void CLogger::WriteToFile(const std::wstring& line, DWORD writeMode) {
    const std::wstring& path = m_settings.filePath;
    try {
        // Taken before the file is opened, so that the size read below is the
        // size the append lands on: no other writer of the user appends or
        // rotates in between.
        const FileLock lock;
        com::UniqueFile file = OpenLogFile(path, OPEN_ALWAYS);
        if (!file) {
            DebugProblem(kOpenFailed, path, ::GetLastError());
            return;
        }
        LARGE_INTEGER size{};
        if (!::GetFileSizeEx(file.get(), &size)) throw std::runtime_error("no file size");
        const ULONGLONG limit = ULONGLONG(m_settings.maxSizeMB) << kMaxSizeShift;
        // Only the holder of the lock rotates: two writers rotating at once
        // would take one backup number and cut each other's lines.
        if (lock.Held() && writeMode == kLogWriteModeRotate && ULONGLONG(size.QuadPart) >= limit &&
            RotateFile(file, writeMode))
            size.QuadPart = 0;
        if (!AppendLine(file.get(), line, size.QuadPart == 0)) throw std::runtime_error("write failed");
    } catch (...) {
        DebugOut(kWriteFailed + path + L"\n");
    }
}

// Backs the full log file up and leaves `file` open on a new, empty one.
// Returns false, with the old file still open, when no backup could be made:
// the line then goes to the old file and nothing is lost.
bool CLogger::RotateFile(com::UniqueFile& file, DWORD writeMode) {
    const std::wstring& path = m_settings.filePath;
    // Read afresh: other processes of the user rotate the same file and count
    // in the same value.
    const DWORD cap = writeMode + kBackupCapOverWriteMode;
    DWORD maxCount = cap;
    DWORD currentCount = 0;
    {
        const com::UniqueHKey key = OpenLoggerKey();
        maxCount = ReadDword(key.get(), kMaxCountValue, cap);
        currentCount = ReadDword(key.get(), kCurrentCountValue, 0);
    }
    const DWORD number = currentCount < std::min(maxCount, cap) ? currentCount + 1 : 1;

    // Backups always live in the default folder, also for a configured path.
    const std::wstring folder = DefaultFolder();
    if (folder.empty()) return false;
    CreateFolderTree(folder);
    const std::wstring backup =
        Format(kBackupPathFormat, folder.c_str(), Format(kBackupNameFormat, int(number)).c_str());
    ::DeleteFileW(backup.c_str());

    const std::wstring notice =
        FormatLine(LogLevel::Information, kLoggerSource, (kBackupNotice + backup).c_str(), 0);
    AppendLine(file.get(), notice, false);
    file.reset();
    // The full log becomes the backup by a rename: one step, nothing copied,
    // nothing for another writer to see half done. A reader that holds the
    // file without delete sharing (an editor, a viewer) prevents the rename;
    // the file is then copied and emptied in place.
    const bool renamed =
        ::MoveFileExW(path.c_str(), backup.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_COPY_ALLOWED);
    if (!renamed && !::CopyFileW(path.c_str(), backup.c_str(), FALSE)) {
        DebugOut(kWriteFailed + path + L"\n");
        file = OpenLogFile(path, OPEN_ALWAYS);
        if (!file) throw std::runtime_error("log file lost");
        return false;
    }

    m_settings.currentCount = number;
    if (const com::UniqueHKey key = CreateLoggerKey()) WriteDword(key.get(), kCurrentCountValue, number);

    file = OpenLogFile(path, renamed ? OPEN_ALWAYS : CREATE_ALWAYS);
    if (!file) throw std::runtime_error("log file not restarted");
    return true;
}
