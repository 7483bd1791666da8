// The platform's own text for a result code, for messages that tell the
// user why something failed.
#pragma once

#include <windows.h>

#include <string>

namespace win {

// The system's message for the code, without the line break at its end;
// empty when the system has none.
std::wstring SystemMessage(HRESULT hr);

}  // namespace win
