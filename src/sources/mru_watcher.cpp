// Registry watcher thread of the MRU book.
#include "sources/mru_watcher.h"

#include "core/iab.h"
#include "sources/mru_store.h"

#include <algorithm>

namespace {

constexpr DWORD kWaitMs = 100;
constexpr DWORD kStopPollMs = 10;
// While the watched key is gone and cannot be made again, it is tried
// again after 100 ms, then after twice as long each time, up to 5 s.
constexpr DWORD kLostRetryMaxMs = 5000;
constexpr LPARAM kMRUChangeParam = 2;
const wchar_t kEmptyText[] = L"";

}  // namespace

CMRUWatcher::CMRUWatcher(com::UniqueHKey key, com::UniqueHandle event)
    : m_key(std::move(key)), m_event(std::move(event)) {
    Arm();
}

CMRUWatcher::~CMRUWatcher() {
    m_stop = true;
    if (m_thread) {
        while (::WaitForSingleObject(m_thread.get(), kStopPollMs) == WAIT_TIMEOUT) {
        }
    }
}

bool CMRUWatcher::Start() {
    if (m_thread && ::WaitForSingleObject(m_thread.get(), 0) == WAIT_TIMEOUT) return true;
    if (!m_event) return false;
    m_stop = false;
    m_thread.reset(::CreateThread(nullptr, 0, &CMRUWatcher::ThreadProc, this, CREATE_SUSPENDED, &m_threadId));
    if (!m_thread) {
        m_threadId = 0;
        return false;
    }
    ::ResumeThread(m_thread.get());
    return true;
}

// Only subkeys created or deleted are watched: every save deletes and
// rewrites the numbered subkeys, so every save is seen. False when the key
// is deleted and could not be made again.
bool CMRUWatcher::Arm() {
    if (!m_key || !m_event) return true;
    const LSTATUS status =
        ::RegNotifyChangeKeyValue(m_key.get(), FALSE, REG_NOTIFY_CHANGE_NAME, m_event.get(), TRUE);
    if (status != ERROR_KEY_DELETED) return true;
    // A save deletes the MRU key itself, and a notification cannot be armed
    // on a deleted key: watch the key that the save created in its place
    // (or create it, when the save has not got that far yet).
    com::UniqueHKey fresh;
    if (::RegCreateKeyExW(HKEY_CURRENT_USER, kMRUKeyPath, 0, nullptr, 0, kMRUWatchAccess, nullptr, fresh.put(),
                          nullptr) != ERROR_SUCCESS)
        return false;
    m_key = std::move(fresh);
    ::RegNotifyChangeKeyValue(m_key.get(), FALSE, REG_NOTIFY_CHANGE_NAME, m_event.get(), TRUE);
    return true;
}

DWORD WINAPI CMRUWatcher::ThreadProc(void* self) noexcept {
    try {
        return static_cast<CMRUWatcher*>(self)->Run();
    } catch (...) {
        return DWORD(E_UNEXPECTED);
    }
}

// A save deletes the watched key and writes a new one. The old handle is
// not signalled for what happens in the new key, and when the store was
// empty not even for the deletion, so the handle is also checked on every
// turn of the loop.
bool CMRUWatcher::KeyDeleted() const {
    return m_key && ::RegQueryInfoKeyW(m_key.get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                       nullptr, nullptr, nullptr, nullptr) == ERROR_KEY_DELETED;
}

// The watch re-arms itself after every signal and also notices a deleted
// key on its own, so every save reaches every open MRU book, not only the
// one watcher that the user-wide event happens to wake: a save deletes the
// watched key, and a watcher that only waited for the event would stop
// hearing after the first save of another book.
DWORD CMRUWatcher::Run() {
    // The key gone and not to be made again (a parent key made volatile,
    // rights taken away): the change is told once, and then the key is
    // tried again less and less often instead of telling the window every
    // turn (each telling would restart the window's reload timer, so the
    // list would never reload). When the key can be made again, the window
    // is told once more and the watch goes on.
    bool lost = false;
    DWORD retryMs = kWaitMs;
    ULONGLONG nextTry = 0;
    while (!m_stop) {
        const DWORD wait = ::WaitForSingleObject(m_event.get(), kWaitMs);
        if (lost) {
            if (::GetTickCount64() < nextTry) continue;
            if (!Arm()) {
                retryMs = std::min(retryMs * 2, kLostRetryMaxMs);
                nextTry = ::GetTickCount64() + retryMs;
                continue;
            }
            lost = false;
            retryMs = kWaitMs;
            Tell();
            continue;
        }
        if (wait != WAIT_OBJECT_0 && !KeyDeleted()) continue;
        // Armed again before the window hears of it: a change made once the
        // window has reloaded (another program adding to the key a save
        // just made) must find the watch in place, not between two arms.
        const bool armed = Arm();
        Tell();
        if (!armed) {
            lost = true;
            nextTry = ::GetTickCount64() + retryMs;
        }
    }
    return 0;
}

// The event is shared by every MRU book of the user and resets itself: one
// signal wakes one watcher. Without a window there is nobody to tell.
void CMRUWatcher::Tell() {
    if (const HWND window = m_window.load())
        ::PostMessageW(window, kReloadMessage, reinterpret_cast<WPARAM>(kEmptyText), kMRUChangeParam);
}
