// Stand-in for the optional language library ZantixUI64.dll: each list
// function answers with an environment variable of the test process (entries
// separated by colons) and fails when it is unset. Built with both functions,
// and with the plain one only (ZANTIXUI_PLAIN_ONLY).
#include <windows.h>

namespace {

BOOL ListFromEnvironment(const wchar_t* variable, ULONG* count, wchar_t* buffer, ULONG* bufferChars) {
    if (!bufferChars || !buffer || *bufferChars == 0) return FALSE;
    const DWORD length = ::GetEnvironmentVariableW(variable, buffer, *bufferChars);
    if (length == 0 || length >= *bufferChars) return FALSE;
    if (count) {
        *count = 1;
        for (const wchar_t* c = buffer; *c; ++c) *count += *c == L':';
    }
    *bufferChars = length + 1;
    return TRUE;
}

}  // namespace

extern "C" {

#ifndef ZANTIXUI_PLAIN_ONLY
__declspec(dllexport) BOOL WINAPI
    GetOriginalPreferredUILanguagesListW(DWORD flags, ULONG* count, wchar_t* buffer, ULONG* bufferChars) {
    return ListFromEnvironment(L"ZANTIXUI_ORIGINAL_LIST", count, buffer, bufferChars);
}
#endif

__declspec(dllexport) BOOL WINAPI
    GetPreferredUILanguagesListW(DWORD flags, ULONG* count, wchar_t* buffer, ULONG* bufferChars) {
    return ListFromEnvironment(L"ZANTIXUI_PREFERRED_LIST", count, buffer, bufferChars);
}

}  // extern "C"
