// The folder watcher shared by the Windows address-book sources.
#include "sources/wab.h"

#include "localization/language.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <vector>

namespace {

constexpr DWORD kWindowsXPMajor = 5;
constexpr DWORD kWindowsVistaMajor = 6;

// What all sources of the process share: how many live, the manual-reset
// event that stops every watcher when the last one goes, and the threads of
// destroyed sources that had not ended within the wait (a folder on an
// offline share can hold a watcher in the system for a while).
struct SharedWatchState {
    std::mutex lock;
    long count = 0;
    com::UniqueHandle stopEvent;
    std::vector<com::UniqueHandle> orphanThreads;
};

// How long a destroyed source waits for its watcher, and the last source
// for all of them, on the host's thread. A watcher looks at its events
// every kWatchWaitMs, so one that can end does so well within this.
constexpr DWORD kWatcherEndWaitMs = 1000;

// Drops the handles of orphaned watchers that have ended meanwhile.
void PruneEnded(std::vector<com::UniqueHandle>& threads) {
    threads.erase(std::remove_if(threads.begin(), threads.end(),
                                 [](const com::UniqueHandle& thread) {
                                     return ::WaitForSingleObject(thread.get(), 0) != WAIT_TIMEOUT;
                                 }),
                  threads.end());
}

SharedWatchState& Shared() {
    static SharedWatchState state;
    return state;
}

// What the thread owns: its own copy of the path, its own handle of the
// stop event (closing the shared one at the end cannot pull it away), and
// its own handle of its source's "gone" event.
struct WatchArgs {
    std::wstring folder;
    com::UniqueHandle stop;
    com::UniqueHandle gone;
};

// Whether the watcher is to end: the process-wide stop (the last source
// went) or its own source went. Waits up to `wait` for either.
bool ToldToEnd(const WatchArgs& args, DWORD wait) {
    const HANDLE events[] = {args.stop.get(), args.gone.get()};
    const DWORD woken = ::WaitForMultipleObjects(2, events, FALSE, wait);
    return woken != WAIT_TIMEOUT;
}

void HandleMessages(std::vector<HWND>& windows) {
    MSG msg;
    while (::PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
        if (msg.message != kWatchWindowMessage) {
            ::TranslateMessage(&msg);
            ::DispatchMessageW(&msg);
            continue;
        }
        const HWND window = reinterpret_cast<HWND>(msg.wParam);
        if (!::IsWindow(window)) continue;
        const auto found = std::find(windows.rbegin(), windows.rend(), window);
        if (msg.lParam == kRegisterWindow && found == windows.rend()) windows.push_back(window);
        else if (msg.lParam == kUnregisterWindow && found != windows.rend()) windows.erase(std::next(found).base());
    }
}

// From the last registered window to the first; windows that are gone are
// dropped from the list.
void NotifyWindows(std::vector<HWND>& windows) {
    for (size_t i = windows.size(); i-- > 0;) {
        if (::IsWindow(windows[i])) ::PostMessageW(windows[i], kReloadMessage, 0, kWABChangeParam);
        else windows.erase(windows.begin() + ptrdiff_t(i));
    }
}

DWORD Watch(const WatchArgs& args) {
    MSG msg;
    for (;;) {
        const BOOL got = ::GetMessageW(&msg, nullptr, 0, 0);
        if (got == 0 || got == -1) return kWatchFailed;
        if (msg.message == kWatchStartMessage) break;
    }
    com::UniqueFindChange change(::FindFirstChangeNotificationW(args.folder.c_str(), kWatchSubtree, kWatchFilter));
    if (!change) return kWatchFailed;

    std::vector<HWND> windows;
    const DWORD wait = kWatchWaitMs;
    if (ToldToEnd(args, wait)) return 0;
    do {
        const HANDLE handle = change.get();
        const DWORD woken = ::MsgWaitForMultipleObjects(1, &handle, FALSE, wait, QS_ALLINPUT);
        if (woken == WAIT_OBJECT_0) {
            // The pause lets a burst of writes (one file saved in pieces)
            // end before the handle is armed again.
            ::Sleep(wait);
            if (!::FindNextChangeNotification(change.get())) return kWatchFailed;
            NotifyWindows(windows);
        } else {
            HandleMessages(windows);
        }
    } while (!ToldToEnd(args, wait));
    return 0;
}

DWORD WINAPI WatchThread(void* param) noexcept {
    // A watcher the last source stopped waiting for still runs this
    // module's code: it holds the module until it has returned.
    HMODULE module = nullptr;
    ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<LPCWSTR>(&WatchThread),
                         &module);
    DWORD code = kWatchFailed;
    {
        const std::unique_ptr<WatchArgs> args(static_cast<WatchArgs*>(param));
        try {
            code = Watch(*args);
        } catch (...) {
            code = kWatchFailed;
        }
    }
    if (module) ::FreeLibraryAndExitThread(module, code);
    return code;
}

}  // namespace

std::wstring KnownContactsFolder(GetKnownFolderPathFn getKnownFolderPath) {
    if (!getKnownFolderPath) return {};
    com::UniqueCoTaskMem<wchar_t> path;
    if (FAILED(getKnownFolderPath(FOLDERID_Contacts, KF_FLAG_CREATE, nullptr, path.put())) || !path) return {};
    const std::wstring folder(path.get());
    return folder.size() < MAX_PATH ? folder : std::wstring();
}

CWAB::CWAB()
    : m_isWindowsXP(localization::CurrentWindowsVersion().major == kWindowsXPMajor),
      m_isVistaOrLater(localization::CurrentWindowsVersion().major >= kWindowsVistaMajor) {
    SharedWatchState& shared = Shared();
    const std::lock_guard<std::mutex> guard(shared.lock);
    ++shared.count;
    if (!shared.stopEvent) shared.stopEvent.reset(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
}

CWAB::~CWAB() {
    // This source's watcher ends now, whatever other sources live (the stop
    // event alone would keep it running, with its change handle, until the
    // last source of the process goes).
    if (m_gone) ::SetEvent(m_gone.get());
    if (m_thread && ::WaitForSingleObject(m_thread.get(), kWatcherEndWaitMs) != WAIT_TIMEOUT)
        m_thread.reset();
    SharedWatchState& shared = Shared();
    com::UniqueHandle stopEvent;
    std::vector<com::UniqueHandle> threads;
    {
        const std::lock_guard<std::mutex> guard(shared.lock);
        PruneEnded(shared.orphanThreads);
        if (m_thread) shared.orphanThreads.push_back(std::move(m_thread));
        if (--shared.count > 0) return;
        stopEvent = std::move(shared.stopEvent);
        threads = std::move(shared.orphanThreads);
    }
    if (stopEvent) ::SetEvent(stopEvent.get());
    // Every watcher has been told. The wait is bounded: a watcher held up in
    // the system must not stall the host's window; it holds the module
    // itself until it ends.
    const ULONGLONG deadline = ::GetTickCount64() + kWatcherEndWaitMs;
    for (const com::UniqueHandle& thread : threads) {
        const ULONGLONG now = ::GetTickCount64();
        ::WaitForSingleObject(thread.get(), now < deadline ? DWORD(deadline - now) : 0);
    }
}

std::wstring CWAB::WatchFolder(const std::wstring& path) {
    if (path.empty() || path.back() == L'\\' || path.back() == L'/') return path;
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY)) return path;
    // A change notification can only watch a folder: given a file (the
    // address-book file of older systems), watching the file itself fails
    // and no change would ever be seen, so the folder that holds it is
    // watched instead.
    const size_t slash = path.find_last_of(L"\\/");
    return slash == std::wstring::npos ? std::wstring() : path.substr(0, slash + 1);
}

void CWAB::StartWatcher(const std::wstring& path) {
    if (m_thread) return;
    auto args = std::make_unique<WatchArgs>();
    args->folder = WatchFolder(path);
    if (!m_gone) m_gone.reset(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (!m_gone || !::DuplicateHandle(::GetCurrentProcess(), m_gone.get(), ::GetCurrentProcess(),
                                      args->gone.put(), SYNCHRONIZE, FALSE, 0))
        return;
    {
        SharedWatchState& shared = Shared();
        const std::lock_guard<std::mutex> guard(shared.lock);
        if (!shared.stopEvent ||
            !::DuplicateHandle(::GetCurrentProcess(), shared.stopEvent.get(), ::GetCurrentProcess(),
                               args->stop.put(), SYNCHRONIZE, FALSE, 0))
            return;
    }
    m_thread.reset(::CreateThread(nullptr, 0, &WatchThread, args.get(), 0, &m_threadId));
    if (!m_thread) {
        m_threadId = 0;
        return;
    }
    args.release();  // the thread owns them now
    // The thread has no message queue until it runs: try again until the
    // post is taken (or the thread has already ended).
    while (!::PostThreadMessageW(m_threadId, kWatchStartMessage, 0, 0)) {
        if (::WaitForSingleObject(m_thread.get(), kWatchStartRetryMs) != WAIT_TIMEOUT) break;
    }
}

bool CWAB::SetNotifyWindow(HWND window, bool enable) {
    if (m_thread && m_threadId != 0 && ::IsWindow(window) && enable) {
        if (m_isWindowsXP) ::Sleep(kXPRegistrationPauseMs);
        m_registered =
            ::PostThreadMessageW(m_threadId, kWatchWindowMessage, reinterpret_cast<WPARAM>(window), kRegisterWindow);
    } else {
        ::PostThreadMessageW(m_threadId, kWatchWindowMessage, reinterpret_cast<WPARAM>(window), kUnregisterWindow);
        if (m_isWindowsXP) ::Sleep(kXPRegistrationPauseMs);
        m_registered = false;
    }
    return m_registered;
}
