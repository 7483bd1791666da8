#include "com/deferred_release.h"

#include <windows.h>

#include <vector>

namespace com {
namespace {

// Per thread: the objects waiting and the thread timer that releases them.
struct Pending {
    std::vector<IUnknown*> objects;
    UINT_PTR timer = 0;
};
thread_local Pending t_pending;

void CALLBACK ReleasePending(HWND, UINT, UINT_PTR timer, DWORD) {
    ::KillTimer(nullptr, timer);
    std::vector<IUnknown*> objects;
    objects.swap(t_pending.objects);
    t_pending.timer = 0;
    for (IUnknown* object : objects) object->Release();
}

}  // namespace

void ReleaseWhenUnwound(IUnknown* object) noexcept {
    if (!object) return;
    // The count as it stands (AddRef answers it plus one).
    const ULONG refs = object->AddRef() - 1;
    object->Release();
    if (refs > 1) {
        object->Release();
        return;
    }
    try {
        t_pending.objects.push_back(object);
    } catch (...) {
        object->Release();  // no room to wait: better now than never
        return;
    }
    if (!t_pending.timer) t_pending.timer = ::SetTimer(nullptr, 0, 0, &ReleasePending);
    if (!t_pending.timer) ReleasePending(nullptr, 0, 0, 0);
}

}  // namespace com
