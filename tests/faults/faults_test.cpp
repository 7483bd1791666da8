// A seeded sample of hostile cases for the books that live outside the
// component: Outlook failing (busy, refusing a call, an error from any call,
// dying in the middle of a listing) under both controls and AddressBook, and
// Contacts folders with mutated, locked and vanishing files. Each case runs in
// the probe process (fault_runner.h), so a crash or a hang is a verdict.
// FAULTS_SEED replays a run; faults_bench runs the full sets.
#include "support/control_host.h"
#include "faults/fault_runner.h"
#include "support/outlook_fixture.h"
#include "support/wab_fixture.h"

#include "sources/wab.h"
#include "sources/wab6.h"

#include <cstdio>
#include <sstream>

using namespace testing_support;

namespace {

constexpr DWORD kQuietMs = 60000;  // only a real hang is this quiet

std::string Report(const faults::RunSummary& summary) {
    std::ostringstream out;
    for (const auto& c : summary.cases)
        if (c.verdict != faults::Verdict::Ok)
            out << faults::VerdictName(c.verdict) << ": " << c.line << " -> " << c.detail << "\n";
    return out.str();
}

void ExpectAllOk(const faults::RunSummary& summary, size_t cases) {
    EXPECT_EQ(summary.cases.size(), cases);
    size_t ok = 0;
    for (const auto& c : summary.cases) ok += c.verdict == faults::Verdict::Ok;
    EXPECT_EQ(ok, summary.cases.size()) << Report(summary);
}

// Threads and handles of the probe after its first case and after its last:
// what the cases between left behind.
void ExpectNothingLeft(const faults::RunSummary& summary, bool handlesToo) {
    for (const std::string& note : summary.notes) {
        std::istringstream in(note);
        std::string word, threads, handles;
        int t0 = 0, t1 = 0, h0 = 0, h1 = 0;
        if (!(in >> word) || word != "resources") continue;
        in >> threads >> t0 >> t1 >> handles >> h0 >> h1;
        EXPECT_LE(t1, t0) << note;
        if (handlesToo) EXPECT_LE(h1, h0) << note;
    }
}

class FaultsTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        ASSERT_EQ(RunRegsvr32(false), 0);
        ASSERT_EQ(0, RegisterStandIn());
        ASSERT_TRUE(outlooktest::WaitForNoStandin(10000));
        ASSERT_EQ(0, outlooktest::RunStandin(L"/RegServer"));
    }
    static void TearDownTestSuite() {
        outlooktest::RunStandin(L"/UnregServer");
        DeleteUserKey(L"Software\\StandinOutlook");
        outlooktest::DeleteStore();
        ClearContactsFolder();
    }
    void SetUp() override {
        m_seed = faults::SeedFromEnvironment();
        std::printf("seed %llu (FAULTS_SEED=%llu replays it)\n", m_seed, m_seed);
    }
    unsigned long long m_seed = 0;
    ComApartment m_apartment;
};

// Outlook busy, refusing one call or a run of them: every client ends with
// the whole book or an empty list and a clear code, chooses Outlook again
// successfully once it is back, and leaves no thread or handle behind.
TEST_F(FaultsTest, OutlookBusyOrRefusingLeavesEveryClientWholeOrEmptyAndRecovering) {
    std::vector<std::string> cases = {
        "control table reject * 1 1500",         // busy as the control connects
        "control items fail Item 3 0x80004005",  // one item of the listing refused
        "control2 table retrylater GetTable 1 1500",
        "addressbook table reject CreateItem 1 1500",
    };
    for (std::string c : faults::SampleOutlookCases(m_seed, 6))
        if (c.find(" exit ") == std::string::npos && cases.size() < 5) cases.push_back(c);
    const auto summary = faults::RunCases(cases, kQuietMs);
    ExpectAllOk(summary, cases.size());
    ExpectNothingLeft(summary, true);
}

// Outlook dying in the middle of a listing or an addition: the same, and the
// component keeps nothing of the dead Outlook (the module can unload). Wine's
// own COM keeps a few handles of every server that died (a client without the
// component as well), so only threads are counted here.
TEST_F(FaultsTest, OutlookDyingLeavesEveryClientWholeOrEmptyAndRecovering) {
    std::vector<std::string> cases = {
        "control2 table exit GetArray 1",  // dies in the middle of the listing
        "control items exit Item 4",
        "addressbook table exit Save 1",
    };
    const auto summary = faults::RunCases(cases, kQuietMs);
    ExpectAllOk(summary, cases.size());
    ExpectNothingLeft(summary, false);
}

TEST_F(FaultsTest, HostileContactsFoldersListEveryIntactContact) {
    const auto cases = faults::ContactsCases(m_seed, 100);
    const auto summary = faults::RunCases(cases, kQuietMs);
    ExpectAllOk(summary, cases.size());
    ExpectNothingLeft(summary, true);
}

// The Contacts folder taken away under a running watcher (a user deleting it,
// a profile tool moving it) and made again: nothing crashes or hangs, the
// book reads what is there, and once the folder is back its changes reach the
// window again; the watcher still ends with its source.
TEST_F(FaultsTest, ContactsFolderRemovedAndMadeAgainUnderARunningWatcher) {
    ClearContactsFolder();
    const std::wstring folder = ContactsFolder();
    const int threads = ThreadCount();
    {
        CWAB6 source;
        ASSERT_EQ(S_OK, source.Connect());
        MessageCounter changes(kReloadMessage);
        ASSERT_TRUE(source.SetNotifyWindow(changes.hwnd(), true));
        EXPECT_GE(changes.WaitAfter(
                      [] {
                          WriteContact(L"Before.contact", {L"id-before", L"Before", {}});
                      },
                      1, 5000),
                  1);

        ClearContactsFolder();
        ASSERT_TRUE(::RemoveDirectoryW(folder.c_str())) << ::GetLastError();
        changes.PumpFor(500);
        RecipientList listed;
        EXPECT_EQ(S_OK, source.LoadAll(listed)) << "an empty book, not a failure";
        EXPECT_TRUE(listed.empty());

        // Reading the book may have made it already (the known folder is
        // asked for with KF_FLAG_CREATE).
        ASSERT_TRUE(::CreateDirectoryW(folder.c_str(), nullptr) || ::GetLastError() == ERROR_ALREADY_EXISTS);
        changes.PumpFor(300);
        EXPECT_GE(changes.WaitAfter(
                      [] {
                          WriteContact(L"After.contact",
                                       {L"id-after", L"After", {PhoneElement{{L"Fax"}, L"555 0100"}}});
                      },
                      1, 5000),
                  1)
            << "changes in the folder made again reach the window";
        EXPECT_EQ(S_OK, source.LoadAll(listed));
        ASSERT_EQ(listed.size(), 1u);
        EXPECT_EQ(listed.front().name, L"After");
    }
    ClearContactsFolder();
    const ULONGLONG deadline = ::GetTickCount64() + 3000;
    while (ThreadCount() > threads && ::GetTickCount64() < deadline) ::Sleep(20);
    EXPECT_LE(ThreadCount(), threads) << "the watcher ends with its source";
}

}  // namespace
