// The registry watcher of an MRU book: a thread that waits for the user-wide
// change event and posts the reload message to the registered window.
#pragma once

#include "com/unique_any.h"

#include <atomic>

// Notification, plus the query right that tells a deleted key.
inline constexpr REGSAM kMRUWatchAccess = KEY_NOTIFY | KEY_QUERY_VALUE;

class CMRUWatcher {
public:
    // Takes ownership of the notify-only key handle (may be null) and of the
    // event handle, and arms the change notification.
    CMRUWatcher(com::UniqueHKey key, com::UniqueHandle event);
    // Sets the stop flag and waits, checking every 10 ms, until the thread
    // has ended.
    ~CMRUWatcher();
    CMRUWatcher(const CMRUWatcher&) = delete;
    CMRUWatcher& operator=(const CMRUWatcher&) = delete;

    // Starts the thread (created suspended, then resumed); a running thread
    // is kept.
    bool Start();
    void SetWindow(HWND window) noexcept { m_window = window; }
    DWORD ThreadId() const noexcept { return m_threadId; }

private:
    static DWORD WINAPI ThreadProc(void* self) noexcept;
    DWORD Run();
    bool Arm();
    void Tell();
    bool KeyDeleted() const;

    std::atomic<HWND> m_window{nullptr};
    com::UniqueHKey m_key;
    com::UniqueHandle m_event;
    std::atomic<bool> m_stop{false};
    com::UniqueHandle m_thread;
    DWORD m_threadId = 0;
};
