// Outlook's events reach the control's sink across processes: contacts
// changed, added and deleted by another program become the reload message,
// the reminder dialog is cancelled, and nothing arrives after Disconnect.
#include "control/phonebook_event_handler.h"
#include "sources/oab.h"
#include "support/outlook_fixture.h"

#include "core/iab.h"

#include <memory>

using namespace testing_support;
using namespace outlooktest;

namespace {

constexpr DWORD kDeliveryMs = 1000;  // how long an event may take to arrive
constexpr wchar_t kAnn[] = L"000000000A00000000000000000000000000000000000001";
constexpr wchar_t kBob[] = L"000000000B00000000000000000000000000000000000002";

// A control's share of the work: a connected source, its sink and window.
struct Listener {
    Listener() {
        EXPECT_EQ(S_OK, source.Connect());
        EXPECT_EQ(S_OK, handler.Connect(source, window.hwnd()));
    }
    COAB source;
    MessageCounter window{kReloadMessage};
    CPhonebookEventHandler handler;
};

class OutlookEventsTest : public OutlookTest {
protected:
    void SetUp() override {
        OutlookTest::SetUp();
        WriteStore({ContactLine(kAnn, L"Class=40\tFullName=Ann\tBusinessFaxNumber=111"),
                    ContactLine(kBob, L"Class=40\tFullName=Bob\tBusinessFaxNumber=222")});
    }
    void TearDown() override {
        m_listeners.clear();
        OutlookTest::TearDown();
    }
    Listener& AddListener() { return *m_listeners.emplace_back(std::make_unique<Listener>()); }

    // Runs the change script; pumps meanwhile, so events may already be in.
    static void Change(const std::wstring& arguments) {
        std::string output;
        EXPECT_EQ(0, RunChangeScript(arguments, &output));
        EXPECT_NE(std::string::npos, output.find("done ")) << "script output: " << output;
    }

    std::vector<std::unique_ptr<Listener>> m_listeners;
};

// Every kind of change reaches every listener; after Disconnect none reaches
// the listener that left, and connecting again picks them up again.
TEST_F(OutlookEventsTest, ChangesByAnotherProcessReachEveryConnectedListener) {
    Listener& stays = AddListener();
    Listener& leaves = AddListener();
    const std::wstring rounds[2][3] = {
        {std::wstring(L"change ") + kAnn + L" \"Ann Jones\"", L"add Cid 333",
         std::wstring(L"delete ") + kBob},
        {std::wstring(L"change ") + kAnn + L" Ann", L"add Dan 444", std::wstring(L"delete ") + kAnn}};
    for (int round = 0; round < 2; ++round) {
        if (round == 1) leaves.handler.Disconnect();
        for (const std::wstring& step : rounds[round]) {
            const std::string what(step.begin(), step.begin() + step.find(L' '));
            stays.window.Reset();
            leaves.window.Reset();
            Change(step);
            EXPECT_GE(stays.window.WaitFor(1, kDeliveryMs), 1) << what << " did not reach the first window";
            EXPECT_EQ(0, stays.window.lastWParam());
            EXPECT_EQ(0, stays.window.lastLParam());
            if (round == 0)
                EXPECT_GE(leaves.window.WaitFor(1, kDeliveryMs), 1)
                    << what << " did not reach the second window";
            else
                EXPECT_EQ(0, leaves.window.PumpFor(200)) << what << " arrived after Disconnect";
            // What the control does next: read again.
            RecipientList listed;
            EXPECT_EQ(S_OK, stays.source.LoadFaxRecipients(listed));
        }
        if (round == 0) {
            RecipientList listed;
            ASSERT_EQ(S_OK, stays.source.LoadFaxRecipients(listed));
            ASSERT_EQ(2u, listed.size());
            EXPECT_EQ(L"Ann Jones", listed.front().name);
            EXPECT_EQ(L"Cid", listed.back().name);
        }
    }
    EXPECT_FALSE(leaves.handler.IsConnected());
    ASSERT_EQ(S_OK, leaves.handler.Connect(leaves.source, leaves.window.hwnd()));
    Change(L"add Eve 555");
    EXPECT_GE(leaves.window.WaitFor(1, kDeliveryMs), 1);
}

TEST_F(OutlookEventsTest, ReminderDialogIsCancelledWhileConnected) {
    Listener& listener = AddListener();
    ASSERT_NE(nullptr, listener.source.Reminders());
    OutlookClient outlook;
    // Cancelled with 1 (not VARIANT_TRUE's -1), as the sink has always done.
    EXPECT_EQ(VARIANT_BOOL(1), outlook.FireBeforeReminderShow());
    EXPECT_EQ(0, listener.window.PumpFor(200)) << "a reminder is no reason to reload";

    listener.handler.Disconnect();
    EXPECT_EQ(VARIANT_FALSE, outlook.FireBeforeReminderShow());
}

TEST_F(OutlookEventsTest, Outlook9HasNoRemindersToListenTo) {
    ASSERT_EQ(0, RunStandin(L"/Version 9.0.0.2711"));
    Listener& listener = AddListener();
    EXPECT_EQ(nullptr, listener.source.Reminders());
    EXPECT_TRUE(listener.handler.IsConnected());
    OutlookClient outlook;
    EXPECT_EQ(VARIANT_FALSE, outlook.FireBeforeReminderShow());
    Change(std::wstring(L"change ") + kAnn + L" Ann");
    EXPECT_GE(listener.window.WaitFor(1, kDeliveryMs), 1) << "item events still arrive";
}

TEST_F(OutlookEventsTest, ConnectNeedsAConnectedSourceAndAWindow) {
    COAB source;
    MessageCounter window(kReloadMessage);
    CPhonebookEventHandler handler;
    EXPECT_EQ(E_FAIL, handler.Connect(source, window.hwnd()));
    ASSERT_EQ(S_OK, source.Connect());
    EXPECT_EQ(E_INVALIDARG, handler.Connect(source, nullptr));
    EXPECT_FALSE(handler.IsConnected());
    ASSERT_EQ(S_OK, handler.Connect(source, window.hwnd()));
    // The handler lets go of its connections when it goes, before the source.
}

// The dispatch handler alone, with the arguments as a source passes them.
TEST(PhonebookEventHandlerTest, RoutesEachEvent) {
    ComApartment apartment;
    MessageCounter window(kReloadMessage);
    CPhonebookEventHandler handler;
    EXPECT_EQ(S_OK, handler.OnEvent(0xF002, nullptr)) << "not connected: nothing to post to";
    EXPECT_EQ(0, window.PumpFor(50));

    VARIANT_BOOL cancel = VARIANT_FALSE;
    VARIANT argument;
    V_VT(&argument) = VT_BOOL | VT_BYREF;
    V_BOOLREF(&argument) = &cancel;
    DISPPARAMS params{&argument, nullptr, 1, 0};
    EXPECT_EQ(S_OK, handler.OnEvent(0xFA93, &params));
    EXPECT_EQ(VARIANT_BOOL(1), cancel) << "1, not VARIANT_TRUE";

    V_VT(&argument) = VT_I4;
    EXPECT_EQ(DISP_E_TYPEMISMATCH, handler.OnEvent(0xFA93, &params));
    DISPPARAMS none{nullptr, nullptr, 0, 0};
    EXPECT_EQ(DISP_E_BADPARAMCOUNT, handler.OnEvent(0xFA93, &none));
    EXPECT_EQ(S_OK, handler.OnEvent(0xFA94, &none)) << "other events are ignored";
    EXPECT_EQ(S_OK, handler.OnEvent(0x1234, nullptr));
}

}  // namespace
