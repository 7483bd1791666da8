// The phonebook control on the Outlook book, hosted in Wine's ATL host: the
// list shows the stand-in's contacts that have a business fax, follows
// changes that another process makes through Outlook's object model (the
// control's event sink turns Outlook's item events into its reload), and
// leaves Outlook behind when the user switches to another book. Both control
// classes listen, and both keep Outlook's reminder dialog away meanwhile.
#include "support/control_host.h"
#include "support/outlook_fixture.h"

#include "com/unique_any.h"

#include <algorithm>

using namespace control_test;

namespace {

constexpr wchar_t kFirstId[] = L"000000000A00000000000000000000000000000000000001";

class HostedOutlookTest : public outlooktest::OutlookTest,
                          public testing::WithParamInterface<const wchar_t*> {
protected:
    static void SetUpTestSuite() {
        OutlookTest::SetUpTestSuite();
        ASSERT_EQ(testing_support::RunRegsvr32(false), 0);
    }
    void SetUp() override {
        OutlookTest::SetUp();
        testing_support::DeleteUserKey(kMRUKeyPath);
        outlooktest::WriteStore({
            outlooktest::ContactLine(kFirstId, L"Class=40\tFullName=Carla Brandt\tBusinessFaxNumber=+49 30 1234"),
            outlooktest::ContactLine(L"000000000B00000000000000000000000000000000000002",
                                     L"Class=40\tFullName=Anton Weiss\tBusinessFaxNumber=555-0101"),
            // No business fax: not a fax recipient.
            outlooktest::ContactLine(L"000000000C00000000000000000000000000000000000003",
                                     L"Class=40\tFullName=Hanna Home\tHomeFaxNumber=777"),
        });
        m_host = std::make_unique<AtlHost>(360, 330, GetParam());
        m_control = m_host->query<IVelPhonebookControl3>();
        ASSERT_TRUE(m_control);
    }
    void TearDown() override {
        m_control.reset();
        m_host.reset();
        Pump(50);
        testing_support::DeleteUserKey(kMRUKeyPath);
        OutlookTest::TearDown();
    }

    std::vector<std::wstring> Names() const {
        std::vector<std::wstring> names;
        for (int i = 0, count = int(m_control->GetItemCount()); i < count; ++i) {
            com::UniqueBstr name;
            if (m_control->GetItem(i, nullptr, name.put(), nullptr) == HRESULT(i)) names.emplace_back(name.get());
        }
        std::sort(names.begin(), names.end());
        return names;
    }
    bool WaitForNames(const std::vector<std::wstring>& wanted, DWORD timeoutMs) {
        return PumpUntil([&] { return Names() == wanted; }, timeoutMs);
    }

    std::unique_ptr<AtlHost> m_host;
    com::ComPtr<IVelPhonebookControl3> m_control;
};

TEST_P(HostedOutlookTest, ListsTheFaxContactsAndFollowsChangesByAnotherProcess) {
    ASSERT_EQ(m_control->SelectOutlookAddressBook(1), S_OK);
    LONG selected = 0;
    ASSERT_EQ(m_control->IsOutlookAddressBookSelected(&selected), S_OK);
    EXPECT_EQ(selected, 1);
    ASSERT_TRUE(WaitForNames({L"Anton Weiss", L"Carla Brandt"}, 5000)) << "the first fill";
    // The numbers come along with the names.
    for (int i = 0; i < 2; ++i) {
        com::UniqueBstr name, fax;
        ASSERT_EQ(m_control->GetItem(i, nullptr, name.put(), fax.put()), HRESULT(i));
        EXPECT_EQ(std::wstring(fax.get()), std::wstring(name.get()) == L"Anton Weiss" ? L"555-0101" : L"+49 30 1234");
    }

    // A contact renamed in another process: only Outlook's item event tells.
    std::string output;
    ASSERT_EQ(outlooktest::RunChangeScript(L"change " + std::wstring(kFirstId) + L" \"Carla Brandt-Roth\"", &output), 0);
    ASSERT_NE(output.find("done change"), std::string::npos) << output;
    ULONGLONG start = ::GetTickCount64();
    ASSERT_TRUE(WaitForNames({L"Anton Weiss", L"Carla Brandt-Roth"}, 5000));
    EXPECT_LE(::GetTickCount64() - start, 2000u) << "the change reaches the list within a second or two";

    // A contact added by another process.
    output.clear();
    ASSERT_EQ(outlooktest::RunChangeScript(L"add \"Dora Lind\" \"030 99 88\"", &output), 0);
    ASSERT_NE(output.find("done add"), std::string::npos) << output;
    start = ::GetTickCount64();
    ASSERT_TRUE(WaitForNames({L"Anton Weiss", L"Carla Brandt-Roth", L"Dora Lind"}, 5000));
    EXPECT_LE(::GetTickCount64() - start, 2000u);
}

TEST_P(HostedOutlookTest, SwitchingAwayDisconnectsAndLeavesNoOutlookRunning) {
    ASSERT_EQ(m_control->SelectOutlookAddressBook(1), S_OK);
    ASSERT_TRUE(WaitForNames({L"Anton Weiss", L"Carla Brandt"}, 5000));
    EXPECT_FALSE(outlooktest::StandinProcesses().empty()) << "the book runs Outlook";

    ASSERT_EQ(m_control->SelectOutlookAddressBook(-1), S_OK);
    EXPECT_TRUE(WaitForNames({}, 2000));
    EXPECT_TRUE(outlooktest::WaitForNoStandin(10000)) << "nothing holds Outlook once the control left it";

    // Back to Outlook and the control goes with it open: the sink goes too.
    ASSERT_EQ(m_control->SelectOutlookAddressBook(1), S_OK);
    ASSERT_TRUE(WaitForNames({L"Anton Weiss", L"Carla Brandt"}, 5000));
    m_control.reset();
    m_host.reset();
    Pump(50);
    EXPECT_TRUE(outlooktest::WaitForNoStandin(10000));
}

TEST_P(HostedOutlookTest, CancelsRemindersOnlyWhileOnOutlook) {
    ASSERT_EQ(m_control->SelectOutlookAddressBook(1), S_OK);
    ASSERT_TRUE(WaitForNames({L"Anton Weiss", L"Carla Brandt"}, 5000));
    {
        outlooktest::OutlookClient outlook;
        EXPECT_EQ(VARIANT_BOOL(1), outlook.FireBeforeReminderShow());
    }
    ASSERT_EQ(m_control->SelectOutlookAddressBook(-1), S_OK);
    EXPECT_TRUE(WaitForNames({}, 2000));
    {
        outlooktest::OutlookClient outlook;
        EXPECT_EQ(VARIANT_FALSE, outlook.FireBeforeReminderShow()) << "nobody listens any more";
    }
}

INSTANTIATE_TEST_SUITE_P(BothControls, HostedOutlookTest,
                         testing::Values(L"Zantix.VelPhonebookControl", L"Zantix.VelPhonebookControl2"),
                         [](const testing::TestParamInfo<const wchar_t*>& info) {
                             return std::string(info.index == 0 ? "Control" : "Control2");
                         });

}  // namespace
