// Registration-free use: a program whose application manifest depends on the
// module's assembly (bin/regfree/regfree_host.exe, beside a copy of the module
// and of its assembly manifest: a private assembly) creates every
// class with nothing in the registry, each class as its registration
// describes it.
#include "module_test_support.h"

#include <fstream>
#include <sstream>

using namespace module_test;
using testing_support::RunRegsvr32;
using testing_support::Utf8;

namespace {

TEST(RegistrationFree, HostCreatesEveryClassWithNothingRegistered) {
    ASSERT_EQ(0, RunRegsvr32(true));
    ASSERT_EQ(0, RunUserRegsvr32(true));
    bool passed = false;
    std::string output = RunClient(L"activation_client.exe", L"absent", &passed);
    EXPECT_TRUE(passed) << "a program without the manifest finds nothing:\n" << output;

    const std::wstring copy = BinDir() + L"regfree\\" + kModuleFileName;
    const std::wstring misc = std::to_wstring(kControlMiscStatus);
    output = RunClient(L"regfree\\regfree_host.exe", L"create", &passed);
    EXPECT_TRUE(passed) << output;
    ASSERT_EQ(0, RunRegsvr32(false));
    for (const ModuleClass& c : kClasses) {
        const std::wstring progId = std::wstring(L"Zantix.") + c.name;
        for (const std::wstring& name : {progId, progId + L".1"}) {
            // Through the activation context a ProgID may resolve to an alias of the class identifier.
            EXPECT_TRUE(HasLine(output, L"created " + name + L" from " + copy) ||
                        HasLine(output, L"created " + name + L" (by an alias) from " + copy))
                << Utf8(name) << " from the copy beside the host\n" << output;
            if (!c.control) continue;
            EXPECT_TRUE(HasLine(output, L"misc status " + name + L" " + misc)) << Utf8(name) << "\n" << output;
        }
    }
    EXPECT_TRUE(HasLine(output, L"MRUList: Initialize, GetMRU, Terminate through IMRUList")) << output;
    EXPECT_TRUE(HasLine(output, L"type library found")) << output;
    // Apartment-threaded, as registered (a client's apartment would not show it).
    std::ifstream file(Utf8(BinDir() + L"Zantix.VelPhonebook.manifest"));
    std::stringstream manifest;
    manifest << file.rdbuf();
    const std::string text = manifest.str();
    size_t apartment = 0;
    for (size_t at = 0; (at = text.find("threadingModel=\"Apartment\"", at)) != std::string::npos; ++at) ++apartment;
    EXPECT_EQ(4u, apartment) << text;
}

}  // namespace
