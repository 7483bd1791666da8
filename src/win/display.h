// Screen resolution and the module's own common-controls activation context.
// Layout numbers are given in units of a 96-dots-per-inch screen and scaled
// before use; the module's windows are created inside its own activation
// context so that they get common controls 6 whatever the host's manifest.
#pragma once

#include <windows.h>

namespace win {

inline constexpr int kLayoutDpi = 96;

// Dots per inch of the screen (horizontal and vertical).
int ScreenDpiX() noexcept;
int ScreenDpiY() noexcept;

// A layout value in 96-dpi units, scaled to the screen.
inline int ScaleX(int units) noexcept { return ::MulDiv(units, ScreenDpiX(), kLayoutDpi); }
inline int ScaleY(int units) noexcept { return ::MulDiv(units, ScreenDpiY(), kLayoutDpi); }

// The resource id and type of the module's side-by-side manifest.
inline constexpr WORD kManifestResourceId = 2;

// Activates the module's manifest for the life of the object (does nothing
// when the image has no manifest resource). The context itself is created
// once per process, from the image that holds the module's resources.
class ActivationScope {
public:
    ActivationScope() noexcept;
    ~ActivationScope();
    ActivationScope(const ActivationScope&) = delete;
    ActivationScope& operator=(const ActivationScope&) = delete;

private:
    ULONG_PTR m_cookie = 0;
    bool m_active = false;
};

// Releases the activation context; called when the module can unload.
void ReleaseActivationContext() noexcept;

}  // namespace win
