// The Windows Contacts source over the stand-in: what it reads from .contact
// files other programs wrote, what it writes back, the file names it makes,
// and the folder watch it shares with the Windows Address Book source.
#include "sources/wab5.h"
#include "sources/wab6.h"
#include "support/wab_fixture.h"

#include <algorithm>
#include <map>
#include <memory>

using namespace testing_support;

namespace {

const std::vector<std::wstring> kFax = {L"Fax"}, kFaxBusiness = {L"Fax", L"Business"};

std::string Replaced(std::string document, const std::string& what, const std::string& with) {
    return document.replace(document.find(what), what.size(), with);
}

class ContactsTest : public WABTest {
protected:
    void SetUp() override {
        WABTest::SetUp();
        ASSERT_EQ(S_OK, m_source.Connect());
    }
    CRecipient Get(ULONG_PTR key, HRESULT expected = S_OK) {
        CRecipient got;
        EXPECT_EQ(expected, m_source.Get(ULONG(key), got));
        return got;
    }
    CWAB6 m_source;
};

// The later Fax element wins and one without a number takes nothing from the
// one before; numbers without the Fax label do not count; contacts without
// an identifier and files that are no contact are left out (also when read
// last, without failing the listing; files cut short are the fault tests'
// concern); long values are read whole.
TEST_F(ContactsTest, ReadsWhatAnotherProgramWrote) {
    const std::wstring longName(300, L'n'), longFax(300, L'7'), longId = L"id-" + std::wstring(38, L'i');
    WriteContact(L"Anna.contact", {L"id-anna", L"Anna", {{kFaxBusiness, L"+1 555 0100"}}});
    WriteContact(L"Two.contact", {L"id-two", L"Two", {{kFax, L"1"}, {{L"Voice"}, L"2"}, {kFaxBusiness, L"3"}}});
    WriteContact(L"Voice.contact", {L"id-voice", L"Voice", {{{L"Business"}, L"4"}}});
    WriteContact(L"Missing.contact", {L"id-missing", L"Missing", {{kFax, L"5"}, {kFaxBusiness, L""}}});
    WriteContactsFile(L"Empty.contact", Replaced(ContactDocument({L"id-empty", L"Empty", {{kFax, L"6"}, {kFax, L"X"}}}),
                                                 ">X<", "><"));
    WriteContact(L"Long.contact", {longId, longName, {{kFax, longFax}}});
    const std::string nameless = ContactDocument({L"id-nameless", L"", {{kFax, L"8"}}});
    WriteContactsFile(L"Nameless.contact",
                      Replaced(nameless, Between(nameless, "\t<c:NameCollection", "</c:NameCollection>\r\n"), ""));
    WriteContactsFile(L"Empty id.contact", Replaced(ContactDocument({L"id-x", L"Empty id", {{kFax, L"9"}}}), ">id-x<", "><"));
    WriteContactsFile(L"Garbage.contact", "\xff\xfe not xml at all <<<");
    WriteContact(L"Zz.contact", {L"", L"No id, read last", {{kFax, L"10"}}});

    RecipientList all;
    EXPECT_EQ(S_OK, m_source.LoadAll(all));
    std::map<std::wstring, CRecipient> byId;
    for (const CRecipient& r : all) byId[r.identifier] = r;
    const std::tuple<std::wstring, std::wstring, std::wstring> expected[] = {
        {L"id-anna", L"Anna", L"+1 555 0100"}, {L"id-two", L"Two", L"3"}, {L"id-voice", L"Voice", L""},
        {L"id-missing", L"Missing", L"5"},     {L"id-empty", L"Empty", L"6"}, {longId, longName, longFax},
        {L"id-nameless", L"", L"8"}};
    ASSERT_EQ(std::size(expected), byId.size());
    for (const auto& [id, name, fax] : expected) {
        const CRecipient r = byId[id], got = Get(r.key);
        EXPECT_EQ(std::tie(name, fax, id, name, fax), std::tie(r.name, r.faxNumber, got.identifier, got.name, got.faxNumber));
    }
    RecipientList fax;
    EXPECT_EQ(S_OK, m_source.LoadFaxRecipients(fax));
    EXPECT_EQ(std::pair(6u, 10u), std::pair(unsigned(fax.size()), unsigned(FilesIn(ContactsFolder()).size())));
    ::DeleteFileW((ContactsFolder() + L"\\Anna.contact").c_str());
    Get(byId[L"id-anna"].key, E_FAIL);
    Get(99, E_INVALIDARG);
}

// The number goes into the last Fax element only, and without one nowhere;
// the favourite is written as "T" or "F".
TEST_F(ContactsTest, ModifyWritesIntoTheLastFaxElementOnly) {
    const std::wstring two = WriteContact(L"Two.contact", {L"id-two", L"Two", {{kFax, L"111"}, {kFaxBusiness, L"222"}}});
    const std::wstring voice = WriteContact(L"Voice.contact", {L"id-v", L"Voice", {{{L"Voice"}, L"12345"}}});
    for (const bool favorite : {true, false}) {
        RecipientList all;
        ASSERT_EQ(S_OK, m_source.LoadAll(all));
        for (CRecipient& r : all) {
            r.faxNumber = L"999";
            r.favorite = favorite;
            ASSERT_EQ(S_OK, m_source.Modify(ULONG(r.key), r));
            EXPECT_EQ(r.identifier == L"id-two" ? L"999" : L"", Get(r.key).faxNumber);
            EXPECT_EQ(favorite, Get(r.key).favorite);
        }
        const std::string twoXml = ReadFileBytes(two), voiceXml = ReadFileBytes(voice);
        constexpr size_t npos = std::string::npos;
        // The earlier Fax element is untouched, the number went nowhere else.
        EXPECT_EQ((std::vector<bool>{true, false, true, false, true}),
                  (std::vector<bool>{twoXml.find(">111<") != npos, twoXml.find("222") != npos,
                                     voiceXml.find(">12345<") != npos, voiceXml.find("999") != npos,
                                     voiceXml.find(favorite ? ">T<" : ">F<") != npos}));
    }
}

// The nine characters no file name may hold become "_", taken names count
// up, long names are cut so that the path before ".contact" is 234
// characters (not inside a surrogate pair), names that cannot be a file are
// saved under the identifier. A new name renames the file unless taken.
TEST_F(ContactsTest, TheFileIsNamedAfterTheRecipient) {
    CRecipient r;
    EXPECT_EQ(E_FAIL, m_source.Add(r)) << "nothing to write";
    for (const wchar_t* taken : {L"Sales_East_Main.contact", L"Sales_East_Main (1).contact"}) WriteContactsFile(taken, "");
    const auto fileOf = [&](const std::wstring& name) {
        const auto before = ContactFiles();
        r.name = name;
        r.faxNumber = L"+49 30 1234";
        EXPECT_EQ(S_OK, m_source.Add(r)) << Utf8(name);
        EXPECT_EQ(name, Get(r.key).name);
        std::vector<std::wstring> made;
        for (const std::wstring& file : ContactFiles())
            if (!std::count(before.begin(), before.end(), file))
                made.push_back(file == r.identifier + L".contact" ? L"<id>" : file);
        return made.size() == 1 ? made.front() : L"<" + std::to_wstring(made.size()) + L" files>";
    };
    const std::pair<std::wstring, std::wstring> cases[] = {
        {L"Berta", L"Berta.contact"}, {L"Sales/East:Main", L"Sales_East_Main (2).contact"},
        {L"a<b>c*d?e|f\\g\"h", L"a_b_c_d_e_f_g_h.contact"}, {L"..\\..\\evil", L".._.._evil.contact"},
        {L"CON", L"<id>"}, {L"Com1", L"<id>"}, {L"LPT1.txt", L"<id>"}, {L" . ", L"<id>"}, {L"", L"<id>"}};
    for (const auto& [name, file] : cases) EXPECT_EQ(file, fileOf(name)) << Utf8(name);

    const std::wstring cut = fileOf(std::wstring(300, L'x')), stem = cut.substr(0, cut.size() - 8);
    EXPECT_EQ(242u, ContactsFolder().size() + 1 + cut.size()) << Utf8(cut);
    EXPECT_EQ(std::wstring(stem.size(), L'x') + L".contact", cut);
    EXPECT_EQ(stem + L" (1).contact", fileOf(std::wstring(300, L'x')));
    const std::wstring shorter(stem.size() - 1, L'y');
    EXPECT_EQ(shorter + L".contact", fileOf(shorter + L"\U0001F600tail"));

    fileOf(L"Old Name");
    r.name = L"Berta";
    ASSERT_EQ(S_OK, m_source.Modify(ULONG(r.key), r)) << "a rename that cannot happen is no error";
    r.name = L"New Name";
    ASSERT_EQ(S_OK, m_source.Modify(ULONG(r.key), r));
    const auto files = ContactFiles();
    for (auto [file, count] : {std::pair{L"New Name.contact", 1}, {L"Old Name.contact", 0}, {L"Berta.contact", 1}})
        EXPECT_EQ(count, std::count(files.begin(), files.end(), file)) << Utf8(file);
    EXPECT_EQ(std::size(cases) + 6, files.size());
    EXPECT_EQ(S_OK, m_source.Delete(ULONG(r.key)));
    EXPECT_EQ(std::size(cases) + 5, ContactFiles().size());
    EXPECT_EQ(std::pair(E_FAIL, E_FAIL), std::pair(m_source.Delete(ULONG(r.key)), m_source.Modify(ULONG(r.key), r)));
}

// Each change of another process reaches each registered live window once,
// however often it registered, until it unregisters; each watcher thread
// ends with its own source, whatever other sources live.
TEST_F(WABTest, ChangesOfAnotherProcessReachEveryRegisteredWindowOnce) {
    RecipientList all;
    CWAB6().LoadAll(all);  // the first sources load what lives as long as the process
    CWAB5().LoadAll(all);
    const int threads = ThreadCount(), handles = HandleCount();
    auto first = std::make_unique<CWAB5>();
    auto source = std::make_unique<CWAB6>();
    const DWORD firstWatcher = first->WatcherThreadId(), watcher = source->WatcherThreadId();
    first.reset();
    EXPECT_EQ(std::pair(false, threads + 1), std::pair(ThreadAlive(firstWatcher), ThreadCount()));
    {
        auto destroyed = std::make_unique<MessageCounter>(kReloadMessage);
        MessageCounter twice(kReloadMessage), once(kReloadMessage), unregistered(kReloadMessage);
        for (HWND window : {destroyed->hwnd(), twice.hwnd(), twice.hwnd(), once.hwnd(), unregistered.hwnd()})
            ASSERT_TRUE(source->SetNotifyWindow(window, true));
        EXPECT_FALSE(source->SetNotifyWindow(unregistered.hwnd(), false));
        EXPECT_FALSE(source->SetNotifyWindow(nullptr, true)) << "no window, no registration";
        destroyed.reset();
        for (int change = 1; change <= 2; ++change) {
            const auto write = [change] {
                ASSERT_EQ(0, WriteFromAnotherProcess(ContactsFolder() + L"\\" + std::to_wstring(change) + L".txt"));
            };
            twice.Reset();
            EXPECT_GE(once.WaitAfter(write, 1, 2000), 1) << "change " << change;
            twice.PumpFor(200);
            EXPECT_EQ(std::tuple(once.count(), kWABChangeParam, 0),
                      std::tuple(twice.count(), once.lastLParam(), unregistered.count())) << "change " << change;
        }
    }
    source.reset();
    EXPECT_EQ(std::pair(false, threads), std::pair(ThreadAlive(watcher), ThreadCount()));
#ifdef _WIN64
    EXPECT_EQ(handles, HandleCount());
#endif
}

}  // namespace
