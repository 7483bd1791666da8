// The Windows Address Book source on the older path, in a probe program that
// Wine runs as Windows XP: the library from the WAB's DLLPath key, and the
// address-book file (through its folder) as what is watched.
#include "sources/wab5.h"
#include "support/wab_fixture.h"

using namespace testing_support;

namespace {

class WABXPTest : public WABTest {
protected:
    static constexpr wchar_t kAppDefaults[] = L"Software\\Wine\\AppDefaults\\wab_probe.exe";
    void SetUp() override {
        WABTest::SetUp();
        ASSERT_EQ(ERROR_SUCCESS, ::RegSetKeyValueW(HKEY_CURRENT_USER, kAppDefaults, L"Version", REG_SZ, L"winxp64",
                                                   sizeof(L"winxp64")));
    }
    void TearDown() override {
        DeleteUserKey(kAppDefaults);
        WABTest::TearDown();
    }
    static std::wstring Probe() { return L"\"" + BinDir() + L"wab_probe.exe\" "; }
};

TEST_F(WABXPTest, ListsAddsAndGetsThroughTheLibraryOfTheWABKey) {
    WriteContact(L"Xaver.contact", {L"id-x", L"Xaver", {{{L"Fax", L"Business"}, L"+43 1 555"}}});
    std::string output;
    ASSERT_EQ(0, RunProcess(Probe() + L"list5", &output));
    for (const char* line : {"major=5", "load=00000000", "entry=Xaver|+43 1 555|1", "add=00000000",
                             "get=00000000|Added on this system", "watcher=1"})
        EXPECT_NE(std::string::npos, output.find(line)) << line << " in " << output;
    EXPECT_EQ(2u, ContactFiles().size());
}

TEST_F(WABXPTest, AChangeToTheAddressBookFileReachesTheWindow) {
    wchar_t file[MAX_PATH] = L"";
    DWORD size = sizeof(file);
    ASSERT_EQ(ERROR_SUCCESS, ::RegGetValueW(HKEY_CURRENT_USER, L"Software\\Microsoft\\WAB\\WAB4\\Wab File Name",
                                            nullptr, RRF_RT_REG_SZ, nullptr, file, &size));
    WriteContactsFile(std::wstring(file).substr(ContactsFolder().size() + 1), "WAB");
    constexpr wchar_t kReady[] = L"VelPhonebookTest-WabProbeReady";
    com::UniqueHandle ready(::CreateEventW(nullptr, TRUE, FALSE, kReady));
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION info{};
    std::wstring command = Probe() + L"watch5 " + kReady + L" 5000";
    ASSERT_TRUE(::CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &info));
    com::UniqueHandle process(info.hProcess), thread(info.hThread);
    ASSERT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(ready.get(), 20000)) << "the probe did not get ready";
    ASSERT_EQ(0, WriteFromAnotherProcess(file));
    ASSERT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(process.get(), 20000));
    DWORD messages = 0;
    ::GetExitCodeProcess(process.get(), &messages);
    EXPECT_TRUE(messages >= 1 && messages < 100) << "exit code " << messages << " (100 and more: no window)";
}

}  // namespace
