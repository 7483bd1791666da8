// The Windows Address Book interfaces from the platform headers. mingw-w64's
// wab.h cannot be used as it stands (it pulls in the MAPI definitions twice),
// so the pieces are included here in the order that works.
#pragma once

#include <windows.h>

#include <wabdefs.h>
#include <wabcode.h>
#include <wabtags.h>
#include <wabiab.h>
#include <wabapi.h>

// WABOpen reads its parameter block with the platform's own packing.
#ifdef _WIN64
static_assert(sizeof(WAB_PARAM) == 48, "WABOpen expects the 48-byte parameter block of 64-bit Windows");
#else
static_assert(sizeof(WAB_PARAM) == 32, "WABOpen expects the 32-byte parameter block of 32-bit Windows");
#endif
