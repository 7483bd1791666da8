// The integration guide (docs/integration.md) against the module. Every
// example the guide shows is built (tests/guide/extra.cmake) and run as its
// reader would run it, the C++ ones as programs of their own and the scripts
// under cscript, and must print exactly what the guide says it prints; the
// guide's tables must name every class, interface and member of the type
// library with the type library's identifiers and DISPIDs.
#include "com/com_ptr.h"
#include "localization/language.h"
#include "sources/mru_store.h"
#include "support/wab_fixture.h"
#include "support/test_support.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cwctype>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

using namespace testing_support;

namespace {

std::wstring GuideDir() {
    return BinDir() + L"guide\\";
}

// The lines of a text, without line ends and without the empty lines at its end.
std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        lines.push_back(line);
    }
    while (!lines.empty() && lines.back().empty()) lines.pop_back();
    return lines;
}

std::string Joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) text += "  " + line + "\n";
    return text;
}

bool EndsWith(const std::wstring& text, const std::wstring& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// The examples whose output the guide shows, by their file names.
std::vector<std::wstring> ExamplesWithOutput() {
    std::vector<std::wstring> names;
    for (const std::wstring& file : FilesIn(GuideDir(), L"*.expected"))
        names.push_back(file.substr(0, file.size() - std::wstring(L".expected").size()));
    return names;
}

// Runs an example as the guide says to: a C++ example is its program, a
// script runs under cscript. What it printed.
std::string RunExample(const std::wstring& name, const std::wstring& folder) {
    std::wstring command;
    if (EndsWith(name, L".cpp"))
        command = L"\"" + folder + name.substr(0, name.size() - 4) + L".exe\"";
    else
        command = L"cscript.exe //nologo \"" + folder + name + L"\"";
    std::string output;
    const int exitCode = RunProcess(command, &output, 30000);
    if (exitCode != 0) output += "(exit code " + std::to_string(exitCode) + ")\n";
    return output;
}

// The module registered for the machine, the Windows address book's stand-in
// (which Wine lacks) registered, and the user's recently used list and
// Contacts folder empty: the guide shows each output for such a user.
class GuideTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        ASSERT_EQ(0, RunRegsvr32(false));
        ASSERT_EQ(0, RegisterStandIn());
    }
    void SetUp() override {
        DeleteUserKey(kMRUKeyPath);
        ClearContactsFolder();
    }
    void TearDown() override { SetUp(); }
};

class GuideExample : public GuideTest, public ::testing::WithParamInterface<std::wstring> {};

TEST_P(GuideExample, PrintsWhatTheGuideShows) {
    const std::wstring name = GetParam();
    const std::vector<std::string> expected = Lines(ReadFileBytes(GuideDir() + name + L".expected"));
    ASSERT_FALSE(expected.empty());
    const std::vector<std::string> printed = Lines(RunExample(name, GuideDir()));
    EXPECT_EQ(expected, printed) << Utf8(name) << " printed:\n"
                                 << Joined(printed) << "the guide shows:\n"
                                 << Joined(expected);
}

std::string TestName(const ::testing::TestParamInfo<std::wstring>& info) {
    std::string name;
    for (wchar_t c : info.param) name += std::iswalnum(c) ? char(c) : '_';
    return name;
}

INSTANTIATE_TEST_SUITE_P(Guide, GuideExample, ::testing::ValuesIn(ExamplesWithOutput()), TestName);

// The registration-free section: the early-binding example built with the
// guide's application manifest, beside the module and its assembly manifest,
// prints the same with nothing of the module registered.
TEST_F(GuideTest, EarlyBindingRunsRegistrationFreeWithTheGuidesManifest) {
    ASSERT_EQ(0, RunRegsvr32(true));
    RunProcess(L"regsvr32.exe /s /u /n /i:user \"" + BinDir() + localization::kModuleFileName + L"\"");
    CLSID clsid{};
    const bool unregistered = FAILED(::CLSIDFromProgID(L"Zantix.MRUList", &clsid));
    const std::vector<std::string> printed =
        Lines(RunExample(L"early_binding.cpp", GuideDir() + L"regfree\\"));
    ASSERT_EQ(0, RunRegsvr32(false));
    ASSERT_TRUE(unregistered) << "the module is still registered";
    const std::vector<std::string> expected =
        Lines(ReadFileBytes(GuideDir() + L"early_binding.cpp.expected"));
    EXPECT_EQ(expected, printed) << "printed:\n" << Joined(printed);
}

// --- The tables --------------------------------------------------------------

// Interfaces of the platform that widl copies into the library because a
// coclass names IPropertyBag: not the module's to document.
bool IsPlatformType(const GUID& guid) {
    return guid == IID_IPropertyBag || guid == IID_IErrorLog;
}

struct TypeLibrary {
    com::ComPtr<ITypeLib> library;
    TypeLibrary() {
        ::LoadTypeLibEx((BinDir() + localization::kModuleFileName).c_str(), REGKIND_NONE, library.put());
    }

    std::wstring Name(ITypeInfo* info) const {
        BSTR name = nullptr;
        info->GetDocumentation(MEMBERID_NIL, &name, nullptr, nullptr, nullptr);
        std::wstring text = name ? name : L"";
        ::SysFreeString(name);
        return text;
    }
    // Every entry of the library by name, with its identifier.
    std::map<std::wstring, GUID> Entries() const {
        std::map<std::wstring, GUID> entries;
        TLIBATTR* libraryAttributes = nullptr;
        library->GetLibAttr(&libraryAttributes);
        BSTR libraryName = nullptr;
        library->GetDocumentation(-1, &libraryName, nullptr, nullptr, nullptr);
        entries[libraryName] = libraryAttributes->guid;
        ::SysFreeString(libraryName);
        library->ReleaseTLibAttr(libraryAttributes);
        for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
            com::ComPtr<ITypeInfo> info;
            library->GetTypeInfo(i, info.put());
            TYPEATTR* attributes = nullptr;
            info->GetTypeAttr(&attributes);
            if (!IsPlatformType(attributes->guid)) entries[Name(info.get())] = attributes->guid;
            info->ReleaseTypeAttr(attributes);
        }
        return entries;
    }
};

std::wstring GuidText(const GUID& guid) {
    wchar_t text[64];
    ::StringFromGUID2(guid, text, 64);
    return text;
}

// The identifiers tables: one row a line, "name {GUID} ProgID...".
TEST_F(GuideTest, TablesGiveEveryIdentifierAndProgIdOfTheTypeLibrary) {
    const TypeLibrary types;
    ASSERT_TRUE(types.library);
    std::map<std::wstring, GUID> entries = types.Entries();
    std::istringstream rows(ReadFileBytes(GuideDir() + L"identifiers.txt"));
    std::set<std::wstring> documented;
    for (std::string row; std::getline(rows, row);) {
        std::istringstream words(row);
        std::string name, guid;
        words >> name >> guid;
        const std::wstring entry = FromUtf8(name);
        documented.insert(entry);
        ASSERT_TRUE(entries.count(entry)) << name << " is not in the type library";
        EXPECT_EQ(FromUtf8(guid), GuidText(entries[entry])) << name;
        for (std::string progId; words >> progId;) {
            CLSID clsid{};
            EXPECT_EQ(S_OK, ::CLSIDFromProgID(FromUtf8(progId).c_str(), &clsid)) << progId;
            EXPECT_EQ(FromUtf8(guid), GuidText(clsid)) << progId;
        }
    }
    for (const auto& [name, guid] : entries)
        EXPECT_TRUE(documented.count(name)) << Utf8(name) << " is not in the guide";
}

// A member's row in the guide: "| `Name` | DISPID | ...", the DISPID in
// decimal or as 0x and eight hexadecimal digits (other tables that start with
// a name do not have one in their second column).
bool LooksLikeDispid(const std::string& text) {
    if (text.empty()) return false;
    const bool hex = text.rfind("0x", 0) == 0;
    const std::string digits = hex ? text.substr(2) : text;
    return !digits.empty() &&
           digits.find_first_not_of(hex ? "0123456789ABCDEF" : "0123456789") == std::string::npos;
}

std::map<std::string, std::string> DocumentedDispids(const std::string& guide) {
    std::map<std::string, std::string> rows;
    for (const std::string& line : Lines(guide)) {
        if (line.rfind("| `", 0) != 0) continue;
        const size_t nameEnd = line.find('`', 3);
        const size_t cell = line.find('|', nameEnd);
        const size_t cellEnd = line.find('|', cell + 1);
        if (nameEnd == std::string::npos || cellEnd == std::string::npos) continue;
        std::string dispid = line.substr(cell + 1, cellEnd - cell - 1);
        dispid.erase(0, dispid.find_first_not_of(' '));
        dispid.erase(dispid.find_last_not_of(' ') + 1);
        if (LooksLikeDispid(dispid)) rows.emplace(line.substr(3, nameEnd - 3), dispid);
    }
    return rows;
}

TEST_F(GuideTest, TablesGiveEveryMethodAndEventWithItsDispid) {
    const TypeLibrary types;
    ASSERT_TRUE(types.library);
    const std::map<std::string, std::string> documented =
        DocumentedDispids(ReadFileBytes(GuideDir() + L"integration.md"));
    int members = 0;
    for (UINT i = 0; i < types.library->GetTypeInfoCount(); ++i) {
        com::ComPtr<ITypeInfo> info;
        types.library->GetTypeInfo(i, info.put());
        TYPEATTR* attributes = nullptr;
        info->GetTypeAttr(&attributes);
        const TYPEKIND kind = attributes->typekind;
        const bool dual = (attributes->wTypeFlags & TYPEFLAG_FDUAL) != 0;
        const bool platform = IsPlatformType(attributes->guid);
        info->ReleaseTypeAttr(attributes);
        if ((kind != TKIND_DISPATCH && kind != TKIND_INTERFACE) || platform) continue;
        // A dual interface's own methods are in its vtable half.
        if (kind == TKIND_DISPATCH && dual) {
            HREFTYPE vtable = 0;
            com::ComPtr<ITypeInfo> own;
            ASSERT_EQ(S_OK, info->GetRefTypeOfImplType(-1, &vtable));
            ASSERT_EQ(S_OK, info->GetRefTypeInfo(vtable, own.put()));
            info = own;
        }
        info->GetTypeAttr(&attributes);
        const WORD count = attributes->cFuncs;
        info->ReleaseTypeAttr(attributes);
        for (WORD f = 0; f < count; ++f) {
            FUNCDESC* function = nullptr;
            info->GetFuncDesc(f, &function);
            const MEMBERID id = function->memid;
            const bool restricted = (function->wFuncFlags & FUNCFLAG_FRESTRICTED) != 0;
            info->ReleaseFuncDesc(function);
            if (restricted) continue;  // IUnknown and IDispatch
            BSTR name = nullptr;
            UINT names = 0;
            info->GetNames(id, &name, 1, &names);
            const std::string member = Utf8(name ? name : L"");
            ::SysFreeString(name);
            char dispid[16];
            if (ULONG(id) < 0x1000)
                std::snprintf(dispid, sizeof dispid, "%ld", long(id));
            else
                std::snprintf(dispid, sizeof dispid, "0x%08lX", static_cast<unsigned long>(id));
            ++members;
            const auto row = documented.find(member);
            if (row == documented.end()) {
                ADD_FAILURE() << Utf8(types.Name(info.get())) << "::" << member << " has no row in the guide";
                continue;
            }
            EXPECT_EQ(dispid, row->second) << member;
        }
    }
    EXPECT_GT(members, 0) << "no member found in the type library";
}

}  // namespace
