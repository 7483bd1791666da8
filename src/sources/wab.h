// The common base of the Windows address-book sources: a folder watcher thread
// that tells the registered windows when the address book's storage changes on
// disk, and the process-wide stop event that ends the watchers.
#pragma once

#include "com/unique_any.h"
#include "core/iab.h"

#include <shlobj.h>

#include <string>

// Thread messages of the folder watcher.
inline constexpr UINT kWatchStartMessage = WM_USER + 340;   // 1364: begin watching
inline constexpr UINT kWatchWindowMessage = WM_USER + 341;  // 1365: wParam window, lParam below
inline constexpr LPARAM kRegisterWindow = 1;
inline constexpr LPARAM kUnregisterWindow = 4;
// The second parameter of the reload message sent after a change on disk.
inline constexpr LPARAM kWABChangeParam = 2;

inline constexpr BOOL kWatchSubtree = TRUE;
inline constexpr DWORD kWatchFilter = FILE_NOTIFY_CHANGE_LAST_WRITE;
inline constexpr DWORD kWatchWaitMs = 10;
inline constexpr DWORD kWatchStartRetryMs = 10;
inline constexpr DWORD kWatchFailed = DWORD(-1);
// Windows XP needs the watcher's queue to settle around a registration.
inline constexpr DWORD kXPRegistrationPauseMs = 50;

// The system's known-folder lookup, resolved at run time: systems before
// Vista do not have it, and the module must still load there.
inline constexpr wchar_t kKnownFolderLibrary[] = L"shell32.dll";
inline constexpr char kKnownFolderFunction[] = "SHGetKnownFolderPath";
using GetKnownFolderPathFn = HRESULT(WINAPI*)(REFKNOWNFOLDERID, DWORD, HANDLE, PWSTR*);

// The user's Contacts folder (created when missing) through the entry point,
// without a trailing backslash; empty when there is none or when its path
// does not fit MAX_PATH (a cut path would name another folder).
std::wstring KnownContactsFolder(GetKnownFolderPathFn getKnownFolderPath);

class CWAB : public IAB {
public:
    CWAB();
    // Ends this source's watcher; the last source of the process also sets
    // the stop event for every watcher. Both wait a bounded time.
    ~CWAB() override;

    // Registers (enable) or unregisters a window with the watcher; returns
    // whether the last registration message was posted.
    bool SetNotifyWindow(HWND window, bool enable) override;

    // Thread identifier of this source's watcher, 0 when none was started.
    DWORD WatcherThreadId() const noexcept { return m_threadId; }

    // The folder that a path to watch stands for: the path itself when it
    // names a folder, else the folder that holds the file it names.
    static std::wstring WatchFolder(const std::wstring& path);

protected:
    // Starts the watcher thread on a path (a folder, or a file whose folder
    // is watched); a source starts at most one.
    void StartWatcher(const std::wstring& path);

    bool IsWindowsXP() const noexcept { return m_isWindowsXP; }
    bool IsVistaOrLater() const noexcept { return m_isVistaOrLater; }

private:
    com::UniqueHandle m_thread;
    com::UniqueHandle m_gone;  // set when this source goes: its watcher ends
    DWORD m_threadId = 0;
    bool m_registered = false;
    const bool m_isWindowsXP;
    const bool m_isVistaOrLater;
};
