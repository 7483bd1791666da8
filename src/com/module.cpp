// Module state: handle, object count and the cached type information.
#include "com/module.h"

#include "com/com_ptr.h"
#include "com/hresult.h"

#include <atomic>
#include <map>
#include <mutex>

namespace com {
namespace {

HINSTANCE g_instance = nullptr;
HINSTANCE g_resourceInstance = nullptr;
std::atomic<long> g_locks{0};
std::atomic<long> g_serverLocks{0};

struct GuidLess {
    bool operator()(const GUID& a, const GUID& b) const noexcept {
        return memcmp(&a, &b, sizeof(GUID)) < 0;
    }
};

// Objects are apartment threaded, but several apartments may use the module
// at once, so the cache has its own lock.
std::mutex g_typeInfoLock;
ComPtr<ITypeLib> g_typeLib;
std::map<GUID, ComPtr<ITypeInfo>, GuidLess> g_typeInfos;

}  // namespace

void Module::SetInstance(HINSTANCE instance) noexcept { g_instance = instance; }

HINSTANCE Module::Instance() noexcept {
    return g_instance ? g_instance : ::GetModuleHandleW(nullptr);
}

void Module::SetResourceInstance(HINSTANCE instance) noexcept { g_resourceInstance = instance; }

HINSTANCE Module::ResourceInstance() noexcept { return g_resourceInstance ? g_resourceInstance : Instance(); }

std::wstring Module::Path() {
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = ::GetModuleFileNameW(Instance(), path.data(), DWORD(path.size()));
        if (length == 0) return {};
        if (length < path.size()) {
            path.resize(length);
            return path;
        }
        path.resize(path.size() * 2);
    }
}

void Module::Lock() noexcept { ++g_locks; }
void Module::Unlock() noexcept { --g_locks; }
void Module::LockServer(bool lock) noexcept {
    if (lock) {
        ++g_serverLocks;
        return;
    }
    long locks = g_serverLocks.load();
    while (locks > 0 && !g_serverLocks.compare_exchange_weak(locks, locks - 1)) {
    }
}
long Module::LockCount() noexcept {
    return g_locks.load() + g_serverLocks.load();
}
bool Module::CanUnload() noexcept {
    return g_locks.load() == 0 && g_serverLocks.load() == 0;
}

HRESULT Module::GetTypeInfo(REFIID iid, ITypeInfo** typeInfo) noexcept {
    return Boundary([&]() -> HRESULT {
        RETURN_HR_IF_NULL(E_POINTER, typeInfo);
        *typeInfo = nullptr;
        std::lock_guard<std::mutex> lock(g_typeInfoLock);
        if (const auto found = g_typeInfos.find(iid); found != g_typeInfos.end())
            return found->second.CopyTo(typeInfo);
        if (!g_typeLib) RETURN_IF_FAILED(::LoadTypeLibEx(Path().c_str(), REGKIND_NONE, g_typeLib.put()));
        ComPtr<ITypeInfo> info;
        RETURN_IF_FAILED(g_typeLib->GetTypeInfoOfGuid(iid, info.put()));
        g_typeInfos[iid] = info;
        return info.CopyTo(typeInfo);
    });
}

void Module::ReleaseTypeInfos() noexcept {
    std::lock_guard<std::mutex> lock(g_typeInfoLock);
    g_typeInfos.clear();
    g_typeLib.reset();
}

}  // namespace com
