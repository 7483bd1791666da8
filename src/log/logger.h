// The process-wide diagnostic log: settings from the user's Logger key, level
// filtering, one formatted line per call to the debugger output and/or the log
// file "FaxData.log", and size-limited rotation into numbered backups.
#pragma once

#include "com/unique_any.h"

#include <windows.h>

#include <string>

inline constexpr wchar_t kLoggerKeyPath[] = L"SOFTWARE\\Quorvel\\Orvanta\\Logger";

enum class LogLevel : DWORD {
    Error = 1,
    Warning = 2,
    Information = 3,
    Verbose = 4,
    // Formatted as an error but never filtered by "Verbose".
    Always = 5,
};

// "Enable" values.
inline constexpr DWORD kLogEnableNone = 0;
inline constexpr DWORD kLogEnablePerSource = 1;
inline constexpr DWORD kLogEnableAll = 2;

// "Type" values, also the type override. kLogTypeFromSettings as an override
// keeps the setting; any other override replaces it for good.
inline constexpr DWORD kLogTypeFile = 1;
inline constexpr DWORD kLogTypeDebugger = 2;
inline constexpr DWORD kLogTypeBoth = kLogTypeFile | kLogTypeDebugger;
inline constexpr DWORD kLogTypeFromSettings = 3;

// "WriteMode" values, also the write-mode override (same rule as the type).
// Any mode but kLogWriteModeRotate lets the file grow without limit.
inline constexpr DWORD kLogWriteModeRotate = 2;
inline constexpr DWORD kLogWriteModeFromSettings = kLogWriteModeRotate;

// The eight values of the Logger key, with their defaults.
struct LogSettings {
    DWORD enable = kLogEnableAll;                  // "Enable"
    DWORD type = kLogTypeBoth;                     // "Type"
    DWORD verbose = DWORD(LogLevel::Information);  // "Verbose"
    DWORD writeMode = kLogWriteModeRotate;         // "WriteMode"
    DWORD maxSizeMB = 5;                           // "MaxSize"
    DWORD maxCount = 10;                           // "MaxCount"
    DWORD currentCount = 0;                        // "CurrentCount"
    std::wstring filePath;                         // "FilePath"
};

class CLogger {
public:
    static CLogger& Instance();

    // Filters, formats and writes one line. The thread's last error is
    // reported in error and warning lines and is the same after the call.
    // Never fails towards the caller; trouble goes to the debugger output.
    void Log(const wchar_t* source, const wchar_t* message, DWORD typeOverride, DWORD writeModeOverride,
             LogLevel level) noexcept;

    // Reads the settings and settles the log file path. Without force it
    // does its work once per process; force re-reads (and so drops the
    // overrides given to Log), which is how a changed Logger key is picked up.
    void LoadConfiguration(bool force) noexcept;

    // Writes all eight values back to the Logger key.
    void SaveConfiguration() noexcept;

    // A copy of the settings in force (after overrides), loading them first.
    LogSettings Settings() noexcept;

    CLogger(const CLogger&) = delete;
    CLogger& operator=(const CLogger&) = delete;

private:
    CLogger();

    void LoadLocked(bool force);
    void SaveLocked();
    bool SourceEnabled(const wchar_t* source) const;
    void WriteToFile(const std::wstring& line, DWORD writeMode);
    bool RotateFile(com::UniqueFile& file, DWORD writeMode);

    CRITICAL_SECTION m_lock;  // file writes, rotation and the settings
    LogSettings m_settings;
    bool m_loaded = false;
};

// The call every part of the module makes.
inline void Log(const wchar_t* source, const wchar_t* message, DWORD typeOverride = kLogTypeFromSettings,
                DWORD writeModeOverride = kLogWriteModeFromSettings,
                LogLevel level = LogLevel::Error) noexcept {
    CLogger::Instance().Log(source, message, typeOverride, writeModeOverride, level);
}
