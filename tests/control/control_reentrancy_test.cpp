// The first control when the host's code runs inside one of its handlers:
// an event sink that switches books or lets the control go from inside
// OnItemSelected while Remove walks the rows, and a host that closes the
// control while Remove's question is open.
#include "support/control_host.h"

#include "com/unique_any.h"

using namespace control_test;

namespace {

const std::vector<std::pair<std::wstring, std::wstring>> kThree = {
    {L"Ann", L"111-222"}, {L"Ben", L"333-444"}, {L"Carla", L"555-666"}};

class RemoveReentrancyTest : public HostedControlTest {
public:
    // What a host does when it closes: the window goes, the reference too.
    void Release() {
        if (m_cookie) UnadviseSink(m_host->control(), m_cookie);
        m_cookie = 0;
        m_control.reset();
        m_host.reset();
    }

protected:
    void SelectAll() {
        for (int row = 0; row < ItemCount(); ++row) SetRowState(row, LVIS_SELECTED, LVIS_SELECTED);
        ASSERT_EQ(m_control->GetSelItemCount(), ItemCount());
    }
    // Presses "Remove" and answers its question with Yes.
    bool PressRemove() {
        const HWND control = m_host->controlWindow();
        const HWND button = m_host->item(202);
        MessageBoxAnswer yes(IDYES);
        ::SendMessageW(control, WM_COMMAND, MAKEWPARAM(202, BN_CLICKED), reinterpret_cast<LPARAM>(button));
        return yes.answered();
    }
    void TearDown() override {
        if (m_host && m_cookie) UnadviseSink(m_host->control(), m_cookie);
        HostedControlTest::TearDown();
    }

    com::ComPtr<EventSink> m_sink = com::Make<EventSink>();
    DWORD m_cookie = 0;
};

}  // namespace

TEST_F(RemoveReentrancyTest, ASinkSwitchingBooksInsideTheEventStopsTheRemoval) {
    ASSERT_NO_FATAL_FAILURE(HostWithBook(kThree));
    ASSERT_NO_FATAL_FAILURE(SelectAll());
    m_cookie = AdviseSink(m_host->control(), m_sink.get());
    ASSERT_NE(m_cookie, 0u);
    m_sink->onEvent = [this] {
        if (m_sink->events.size() == 1) m_control->SelectOutlookAddressBook(0);
    };
    ASSERT_TRUE(PressRemove());
    ASSERT_EQ(m_sink->events.size(), 1u) << "no more rows of the book left behind";
    EXPECT_EQ(m_sink->events[0].values, (std::vector<LONG>{2, 0, 2}));
    EXPECT_EQ(BookNames().size(), 2u) << "one recipient removed before the switch, none after";
    LONG selected = -1;
    m_control->IsOutlookAddressBookSelected(&selected);
    EXPECT_EQ(selected, 0);
    Pump(700);
    EXPECT_EQ(BookNames().size(), 2u);
}

TEST_F(RemoveReentrancyTest, ASinkReleasingTheControlInsideTheEventEndsTheRemoval) {
    ASSERT_NO_FATAL_FAILURE(HostWithBook(kThree));
    ASSERT_NO_FATAL_FAILURE(SelectAll());
    m_cookie = AdviseSink(m_host->control(), m_sink.get());
    m_sink->onEvent = [this] {
        if (m_sink->events.size() == 1) Release();
    };
    const HWND control = m_host->controlWindow();
    {
        MessageBoxAnswer yes(IDYES);
        ::SendMessageW(control, WM_COMMAND, MAKEWPARAM(202, BN_CLICKED),
                       reinterpret_cast<LPARAM>(m_host->item(202)));
        EXPECT_TRUE(yes.answered());
    }
    EXPECT_FALSE(::IsWindow(control));
    EXPECT_EQ(m_sink->events.size(), 1u);
    EXPECT_EQ(BookNames().size(), 2u) << "a control that is gone removes nothing more";
    Pump(100);
}

TEST_F(RemoveReentrancyTest, AHostClosingTheControlWhileTheQuestionIsOpen) {
    ASSERT_NO_FATAL_FAILURE(HostWithBook(kThree));
    ASSERT_NO_FATAL_FAILURE(SelectAll());
    const HWND control = m_host->controlWindow();
    // The host's own timer closes its window while the box waits for the user.
    static RemoveReentrancyTest* self = nullptr;
    self = this;
    const UINT_PTR timer = ::SetTimer(nullptr, 0, 300, [](HWND, UINT, UINT_PTR id, DWORD) WINAPI {
        ::KillTimer(nullptr, id);
        self->Release();
    });
    ::SendMessageW(control, WM_COMMAND, MAKEWPARAM(202, BN_CLICKED),
                   reinterpret_cast<LPARAM>(m_host->item(202)));
    ::KillTimer(nullptr, timer);
    EXPECT_FALSE(m_host);
    EXPECT_FALSE(::IsWindow(control));
    Pump(100);
    EXPECT_EQ(BookNames().size(), 3u) << "nothing removed without a Yes";
    using CanUnload = HRESULT(STDAPICALLTYPE*)();
    const auto canUnload = reinterpret_cast<CanUnload>(
        ::GetProcAddress(::GetModuleHandleW(testing_support::kModuleFileName), "DllCanUnloadNow"));
    ASSERT_TRUE(canUnload);
    EXPECT_EQ(canUnload(), S_OK) << "the control is gone";
}
