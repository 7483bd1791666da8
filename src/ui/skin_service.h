// Calls into the host's skin service: an automation object the host hands
// over, reached late-bound by name ("Enable", "Window", "Themes"). The
// module only calls; what the service draws is the host's business.
#pragma once

#include <oaidl.h>
#include <windows.h>

namespace ui {

// Theme kinds the module asks for.
inline constexpr ULONG kSkinKindWindow = 0;
inline constexpr ULONG kSkinKindAcceptButton = 2;
inline constexpr ULONG kSkinKindCancelButton = 3;

// Looks the name up (GetIDsOfNames) and invokes it as a method with the
// arguments in their natural order (first argument first). E_INVALIDARG
// without a service.
HRESULT InvokeSkinMethod(IDispatch* skin, const wchar_t* name, const VARIANT* arguments, UINT count) noexcept;

// "Enable" with an unsigned 4-byte integer (1 or 0).
HRESULT SkinEnable(IDispatch* skin, bool enable) noexcept;
// "Window" with the window handle as an unsigned 8-byte integer.
HRESULT SkinWindow(IDispatch* skin, HWND window) noexcept;
// "Themes" with two unsigned 4-byte integers: the window handle (window
// handles are 32-bit values even in a 64-bit process) and the kind.
HRESULT SkinThemes(IDispatch* skin, HWND window, ULONG kind) noexcept;

// What every skinned dialog does at initialisation: register the window,
// theme the window itself when asked, and theme its accepting and
// cancelling buttons; nothing when there is no service, and no theming when
// the registration failed.
void SkinDialog(IDispatch* skin, HWND dialog, bool themeWindow, HWND acceptButton,
                HWND cancelButton) noexcept;

}  // namespace ui
