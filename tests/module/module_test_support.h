// Tools of the module tests: the registry as a set of entries to compare, the
// module's per-user registration through regsvr32, the client programs.
#pragma once

#include <windows.h>

#include <set>
#include <string>
#include <vector>

namespace module_test {

// Every key and every value below a key, one entry each, paths relative to it
// (a symbolic link is one entry, not followed).
// Key paths and value names are upper-cased (the registry ignores case, and the
// platform's type library functions spell some keys their own way); value
// data is kept as written. Missing key: no entries.
using RegistryTree = std::set<std::wstring>;
RegistryTree ReadTree(HKEY root, const std::wstring& path);
// The entries of `after` that `before` lacks.
RegistryTree Added(const RegistryTree& before, const RegistryTree& after);
// The entries only one of the two has (a few of each), for a failure message.
std::string Differences(const RegistryTree& expected, const RegistryTree& actual);

inline constexpr wchar_t kClassesKey[] = L"Software\\Classes";  // under HKLM and HKCU

// regsvr32 /s [/u] /n /i:user on the module beside the test program.
int RunUserRegsvr32(bool unregister);

std::wstring GuidText(REFGUID guid);

// Runs one of the client programs with its arguments (path relative to the
// test program's folder) and returns what it printed; `passed` tells whether
// its last line is its "PASS" verdict.
std::string RunClient(const std::wstring& program, const std::wstring& arguments, bool* passed);

// Whether a line of the output starts with `start` and ends with `end` (the
// two may overlap; ignoring case: paths come back as the system spells them).
bool HasLine(const std::string& output, const std::wstring& start, const std::wstring& end = L"");

// The module's ProgIDs, each version-independent one and its versioned one.
inline constexpr const wchar_t* kProgIds[] = {
    L"Zantix.VelPhonebookControl",  L"Zantix.VelPhonebookControl.1", L"Zantix.VelPhonebookControl2",
    L"Zantix.VelPhonebookControl2.1", L"Zantix.MRUList",             L"Zantix.MRUList.1",
    L"Zantix.AddressBook",          L"Zantix.AddressBook.1",
};

}  // namespace module_test
