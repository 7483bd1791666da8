// Screen resolution and the module's activation context.
#include "win/display.h"

#include "com/module.h"

#include <mutex>

namespace win {
namespace {

int ScreenDeviceCaps(int index) noexcept {
    const HDC screen = ::GetDC(nullptr);
    const int value = screen ? ::GetDeviceCaps(screen, index) : 0;
    if (screen) ::ReleaseDC(nullptr, screen);
    return value > 0 ? value : kLayoutDpi;
}

std::mutex g_contextLock;
HANDLE g_context = INVALID_HANDLE_VALUE;
bool g_contextTried = false;

HANDLE ModuleContext() noexcept {
    std::lock_guard<std::mutex> lock(g_contextLock);
    if (g_contextTried) return g_context;
    g_contextTried = true;
    const HMODULE image = com::Module::Instance();
    if (!::FindResourceW(image, MAKEINTRESOURCEW(kManifestResourceId), MAKEINTRESOURCEW(24))) return g_context;
    ACTCTXW context{};
    context.cbSize = sizeof(context);
    context.dwFlags = ACTCTX_FLAG_HMODULE_VALID | ACTCTX_FLAG_RESOURCE_NAME_VALID;
    context.hModule = image;
    context.lpResourceName = MAKEINTRESOURCEW(kManifestResourceId);
    g_context = ::CreateActCtxW(&context);
    return g_context;
}

}  // namespace

int ScreenDpiX() noexcept { return ScreenDeviceCaps(LOGPIXELSX); }
int ScreenDpiY() noexcept { return ScreenDeviceCaps(LOGPIXELSY); }

ActivationScope::ActivationScope() noexcept {
    const HANDLE context = ModuleContext();
    if (context != INVALID_HANDLE_VALUE) m_active = ::ActivateActCtx(context, &m_cookie) != FALSE;
}

ActivationScope::~ActivationScope() {
    if (m_active) ::DeactivateActCtx(0, m_cookie);
}

void ReleaseActivationContext() noexcept {
    std::lock_guard<std::mutex> lock(g_contextLock);
    if (g_context != INVALID_HANDLE_VALUE) ::ReleaseActCtx(g_context);
    g_context = INVALID_HANDLE_VALUE;
    g_contextTried = false;
}

}  // namespace win
