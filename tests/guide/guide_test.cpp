// The integration guide (docs/integration.md) against the module: every
// example it shows is built (tests/guide/extra.cmake) and run as its reader
// would run it and must print what the guide says it prints; its tables give
// every member of the type library with its DISPID. (Its registration-free
// manifest is what the module tests' registration-free host is built with.)
#include "com/com_ptr.h"
#include "localization/language.h"
#include "sources/mru_store.h"
#include "support/test_support.h"
#include "support/wab_fixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cwctype>
#include <map>
#include <sstream>

using namespace testing_support;

namespace {

std::wstring GuideDir() { return BinDir() + L"guide\\"; }

// The lines of a text without line ends and without the empty lines at its end.
std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line.substr(0, line.find_last_not_of('\r') + 1));
    while (!lines.empty() && lines.back().empty()) lines.pop_back();
    return lines;
}

// A C++ example runs as its program, a script under cscript.
std::vector<std::string> RunExample(const std::wstring& name) {
    const bool program = name.size() > 4 && name.compare(name.size() - 4, 4, L".cpp") == 0;
    std::string output;
    const int exitCode = RunProcess(program ? L"\"" + GuideDir() + name.substr(0, name.size() - 4) + L".exe\""
                                            : L"cscript.exe //nologo \"" + GuideDir() + name + L"\"",
                                    &output, 30000);
    if (exitCode != 0) output += "(exit code " + std::to_string(exitCode) + ")\n";
    return Lines(output);
}

// The outputs the guide shows are for a user with the module registered, the
// Windows address book's stand-in registered, and nothing recently used or in Contacts.
class Guide : public ::testing::TestWithParam<std::wstring> {
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

TEST_P(Guide, ExamplePrintsWhatTheGuideShows) {
    const std::vector<std::string> expected = Lines(ReadFileBytes(GuideDir() + GetParam() + L".expected"));
    ASSERT_FALSE(expected.empty());
    EXPECT_EQ(expected, RunExample(GetParam()));
}

std::vector<std::wstring> ExamplesWithOutput() {
    std::vector<std::wstring> names;
    for (const std::wstring& file : FilesIn(GuideDir(), L"*.expected")) names.push_back(file.substr(0, file.size() - 9));
    return names;
}

INSTANTIATE_TEST_SUITE_P(Examples, Guide, ::testing::ValuesIn(ExamplesWithOutput()),
                         [](const ::testing::TestParamInfo<std::wstring>& info) {
                             std::string name;
                             for (wchar_t c : info.param) name += std::iswalnum(c) ? char(c) : '_';
                             return name;
                         });

TYPEATTR Attributes(ITypeInfo* info) {
    TYPEATTR* attributes = nullptr;
    info->GetTypeAttr(&attributes);
    const TYPEATTR copy = *attributes;
    info->ReleaseTypeAttr(attributes);
    return copy;
}

// Every member of the module's interfaces (the vtable half of a dual one; not
// IUnknown's and IDispatch's, which are restricted) has a row in the guide's
// tables with its DISPID: "| `Name` | DISPID |", decimal below 0x1000, else
// 0x and 8 digits.
TEST(GuideTables, GiveEveryMemberWithItsDispid) {
    std::multimap<std::string, std::string> rows;
    for (const std::string& line : Lines(ReadFileBytes(GuideDir() + L"integration.md")))
        if (const size_t end = line.find('`', 3); line.rfind("| `", 0) == 0 && end != std::string::npos)
            rows.emplace(line.substr(3, end - 3), line.substr(end + 1));
    com::ComPtr<ITypeLib> library;
    ASSERT_EQ(S_OK, ::LoadTypeLibEx((BinDir() + localization::kModuleFileName).c_str(), REGKIND_NONE, library.put()));
    int members = 0;
    for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
        com::ComPtr<ITypeInfo> info;
        HREFTYPE vtable = 0;
        library->GetTypeInfo(i, info.put());
        const TYPEATTR a = Attributes(info.get());
        if (a.guid == IID_IPropertyBag || a.guid == IID_IErrorLog || a.typekind == TKIND_COCLASS) continue;
        if (a.typekind == TKIND_DISPATCH && (a.wTypeFlags & TYPEFLAG_FDUAL) && SUCCEEDED(info->GetRefTypeOfImplType(-1, &vtable))) {
            com::ComPtr<ITypeInfo> own;
            ASSERT_EQ(S_OK, info->GetRefTypeInfo(vtable, own.put()));
            info = own;
        }
        for (WORD f = 0, count = Attributes(info.get()).cFuncs; f < count; ++f) {
            FUNCDESC* function = nullptr;
            info->GetFuncDesc(f, &function);
            const MEMBERID id = function->memid;
            const bool restricted = function->wFuncFlags & FUNCFLAG_FRESTRICTED;
            info->ReleaseFuncDesc(function);
            com::UniqueBstr name;
            info->GetDocumentation(id, name.put(), nullptr, nullptr, nullptr);
            char dispid[16];
            std::snprintf(dispid, sizeof dispid, ULONG(id) < 0x1000 ? "| %ld |" : "| 0x%08lX |", long(id));
            const auto [first, last] = rows.equal_range(Utf8(name.get()));
            members += !restricted;
            EXPECT_TRUE(restricted || std::any_of(first, last, [&](const auto& row) { return row.second.find(dispid) != std::string::npos; }))
                << Utf8(name.get()) << " " << dispid;
        }
    }
    EXPECT_GT(members, 0);
}

}  // namespace
