// Tools of the module tests: what the registration must write, written out
// from the registration rules, and the client programs run as processes.
#pragma once

#include "module/VelPhonebook_h.h"
#include "support/test_support.h"

#include <gtest/gtest.h>
#include <olectl.h>

#include <algorithm>
#include <cwctype>
#include <string>
#include <vector>

namespace module_test {

using testing_support::BinDir;
using testing_support::kModuleFileName;

inline std::wstring GuidText(REFGUID guid) {
    wchar_t text[64];
    ::StringFromGUID2(guid, text, 64);
    return text;
}

struct ModuleClass {
    const wchar_t* name;
    const CLSID* clsid;
    bool control;
};
inline const ModuleClass kClasses[] = {{L"VelPhonebookControl", &CLSID_VelPhonebookControl, true},
                                       {L"VelPhonebookControl2", &CLSID_VelPhonebookControl2, true},
                                       {L"MRUList", &CLSID_MRUList, false},
                                       {L"AddressBook", &CLSID_AddressBook, false}};

// The controls' status bits for the content aspect.
inline constexpr DWORD kControlMiscStatus = OLEMISC_RECOMPOSEONRESIZE | OLEMISC_CANTLINKINSIDE | OLEMISC_INSIDEOUT |
                                            OLEMISC_ACTIVATEWHENVISIBLE | OLEMISC_SETCLIENTSITEFIRST;

// A key (below the classes root), a value of it ("" the default) and its data
// (no name and no data: the key alone); `present` false: the key must not exist.
struct Entry {
    std::wstring key, name, data;
    bool present = true;
};

// What registering the module at `path` writes, class by class, and the type library.
inline std::vector<Entry> RegisteredEntries(const std::wstring& path) {
    const std::wstring libid = GuidText(LIBID_VELPHONEBOOKLib);
    std::vector<Entry> entries;
    for (const ModuleClass& c : kClasses) {
        const std::wstring progId = std::wstring(L"Zantix.") + c.name, versioned = progId + L".1";
        const std::wstring clsid = GuidText(*c.clsid), key = L"CLSID\\" + clsid;
        const std::wstring description = std::wstring(L"Orvanta ") + c.name + L" Class";
        entries.insert(entries.end(), {{versioned, L"", description},
                                       {versioned + L"\\CLSID", L"", clsid},
                                       {progId, L"", description},
                                       {progId + L"\\CLSID", L"", clsid},
                                       {progId + L"\\CurVer", L"", versioned},
                                       {key, L"", description},
                                       {key + L"\\ProgID", L"", versioned},
                                       {key + L"\\VersionIndependentProgID", L"", progId},
                                       {key + L"\\Programmable", L"", L""},
                                       {key + L"\\InprocServer32", L"", path},
                                       {key + L"\\InprocServer32", L"ThreadingModel", L"Apartment"},
                                       {key + L"\\TypeLib", L"", libid},
                                       {key + L"\\Version", L"", L"1.1"},
                                       {key + L"\\Control", L"", L"", c.control},
                                       {key + L"\\Insertable", L"", L"", c.control},
                                       {key + L"\\ToolboxBitmap32", L"", path + L", 101", c.control},
                                       {key + L"\\MiscStatus", L"", L"0", c.control},
                                       {key + L"\\MiscStatus\\1", L"", std::to_wstring(kControlMiscStatus), c.control}});
    }
#ifdef _WIN64
    entries.push_back({L"TypeLib\\" + libid + L"\\1.1\\409\\win64", L"", path});
#else
    entries.push_back({L"TypeLib\\" + libid + L"\\1.1\\409\\win32", L"", path});
#endif
    return entries;
}

// The keys that name the module's classes and its type library.
inline std::vector<std::wstring> ModuleKeys() {
    std::vector<std::wstring> keys{L"TypeLib\\" + GuidText(LIBID_VELPHONEBOOKLib) + L"\\1.1"};
    for (const ModuleClass& c : kClasses)
        keys.insert(keys.end(), {std::wstring(L"Zantix.") + c.name, std::wstring(L"Zantix.") + c.name + L".1",
                                 L"CLSID\\" + GuidText(*c.clsid)});
    return keys;
}

// Checks the entries below `prefix` of `root` ("" below HKEY_CLASSES_ROOT);
// data compared ignoring case (paths come back as the system spells them).
inline void ExpectEntries(HKEY root, const std::wstring& prefix, const std::vector<Entry>& entries) {
    for (const Entry& e : entries) {
        const std::wstring key = prefix + e.key;
        if (!e.present || (e.name.empty() && e.data.empty())) {
            EXPECT_EQ(e.present, testing_support::RegistryKeyExists(root, key)) << testing_support::Utf8(key);
            continue;
        }
        const auto data = testing_support::RegistryText(root, key, e.name.empty() ? nullptr : e.name.c_str());
        EXPECT_TRUE(data && _wcsicmp(data->c_str(), e.data.c_str()) == 0)
            << testing_support::Utf8(key + L" [" + e.name + L"] = " + data.value_or(L"(none)") + L", not " + e.data);
    }
}

inline void ExpectNoModuleKeys(HKEY root, const std::wstring& prefix) {
    for (const std::wstring& key : ModuleKeys())
        EXPECT_FALSE(testing_support::RegistryKeyExists(root, prefix + key)) << testing_support::Utf8(prefix + key);
}

inline const std::wstring kUserClasses = L"Software\\Classes\\";

// regsvr32 /s [/u] /n /i:user on the module beside the test program.
inline int RunUserRegsvr32(bool unregister) {
    return testing_support::RunProcess(std::wstring(L"regsvr32.exe /s ") + (unregister ? L"/u " : L"") +
                                       L"/n /i:user \"" + BinDir() + kModuleFileName + L"\"");
}

// Runs a client program (path relative to the test program's folder); what it
// printed, and whether its last line is its verdict "PASS" (under Wine a
// crashed process may still end with 0).
inline std::string RunClient(const std::wstring& program, const std::wstring& mode, bool* passed) {
    std::string output;
    testing_support::RunProcess(L"\"" + BinDir() + program + L"\" " + mode, &output);
    std::string text = "\n" + output;
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    *passed = text.size() >= 6 && text.compare(text.size() - 6, 6, "\nPASS\n") == 0;
    return output;
}

// Whether the output has this line (ignoring case: paths come back as the system spells them).
inline bool HasLine(const std::string& output, const std::wstring& line) {
    std::wstring text = L"\n" + testing_support::FromUtf8(output) + L"\n", wanted = L"\n" + line + L"\n";
    text.erase(std::remove(text.begin(), text.end(), L'\r'), text.end());
    for (std::wstring* s : {&text, &wanted}) std::transform(s->begin(), s->end(), s->begin(), ::towupper);
    return text.find(wanted) != std::wstring::npos;
}

}  // namespace module_test
