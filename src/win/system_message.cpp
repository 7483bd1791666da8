// FormatMessage for a result code.
#include "win/system_message.h"

namespace win {

std::wstring SystemMessage(HRESULT hr) {
    wchar_t* text = nullptr;
    const DWORD length = ::FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
        DWORD(hr), 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
    std::wstring message = length && text ? std::wstring(text, length) : std::wstring();
    if (text) ::LocalFree(text);
    while (!message.empty() && (message.back() == L'\n' || message.back() == L'\r' || message.back() == L' '))
        message.pop_back();
    return message;
}

}  // namespace win
