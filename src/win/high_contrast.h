// High contrast: whether the user chose a high-contrast scheme, in which the
// module's windows draw with the system's colours only (no blends, no own
// colours, no translucency and no shadow), as the platform's own windows do.
#pragma once

#include <windows.h>

namespace win {

bool IsHighContrast() noexcept;

// The colour to draw with: `own` normally, the system colour `system` in
// high contrast.
inline COLORREF LookColour(COLORREF own, int system) noexcept {
    return IsHighContrast() ? ::GetSysColor(system) : own;
}

}  // namespace win
