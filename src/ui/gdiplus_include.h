// GDI+'s headers as the module includes them: they expect min and max and
// the COM basics in scope, which the module does not otherwise put there.
#pragma once

#include <objidl.h>
#include <windows.h>

#include <algorithm>

namespace Gdiplus {
using std::max;
using std::min;
}  // namespace Gdiplus

#include <gdiplus.h>
