// The Windows Contacts source through IAB over the stand-in library: what it
// reads from .contact files other programs wrote, what it writes back, the
// file names it makes, and the bad input it must survive.
#include "sources/wab5.h"
#include "sources/wab6.h"
#include "sources/wab_fixture.h"

#include <algorithm>
#include <map>

using namespace testing_support;

namespace {

const std::vector<std::wstring> kFax = {L"Fax"};
const std::vector<std::wstring> kFaxBusiness = {L"Fax", L"Business"};

class WAB6Test : public WABTest {
protected:
    void SetUp() override {
        WABTest::SetUp();
        ASSERT_EQ(S_OK, m_source.Connect());
    }

    std::map<std::wstring, CRecipient> LoadByName() {
        RecipientList all;
        EXPECT_EQ(S_OK, m_source.LoadAll(all));
        std::map<std::wstring, CRecipient> byName;
        for (const CRecipient& r : all) byName[r.name] = r;
        return byName;
    }

    CRecipient Added(const std::wstring& name, const std::wstring& fax = L"555") {
        CRecipient r;
        r.name = name;
        r.faxNumber = fax;
        EXPECT_EQ(S_OK, m_source.Add(r)) << "adding " << Utf8(name);
        return r;
    }

    // The length a name is cut to before the file name is formed.
    static size_t NameRoom() { return 234 - (ContactsFolder().size() + 1); }

    CWAB6 m_source;
};

TEST_F(WAB6Test, ReadsWhatAnotherProgramWrote) {
    WriteContact(L"Anna.contact", {L"id-anna", L"Anna", {{kFaxBusiness, L"+1 555 0100"}}});
    WriteContact(L"Two faxes.contact",
                 {L"id-two", L"Two faxes", {{kFax, L"111"}, {{L"Voice"}, L"222"}, {kFaxBusiness, L"333"}}});
    WriteContact(L"Voice only.contact", {L"id-voice", L"Voice only", {{{L"Business"}, L"444"}}});
    WriteContact(L"No id.contact", {L"", L"No id", {{kFax, L"555"}}});

    const auto byName = LoadByName();
    ASSERT_EQ(3u, byName.size()) << "a contact without identifier is not listed";
    EXPECT_EQ(L"+1 555 0100", byName.at(L"Anna").faxNumber);
    EXPECT_EQ(L"id-anna", byName.at(L"Anna").identifier);
    EXPECT_EQ(L"333", byName.at(L"Two faxes").faxNumber) << "the later Fax element wins";
    EXPECT_EQ(L"", byName.at(L"Voice only").faxNumber) << "only numbers labelled Fax count";
    for (const auto& [name, r] : byName) {
        EXPECT_FALSE(r.favorite) << "no favourite mark reads as not favourite";
        EXPECT_TRUE(std::all_of(r.spare.begin(), r.spare.end(), [](const auto& s) { return s.empty(); }));
    }

    RecipientList fax;
    EXPECT_EQ(S_OK, m_source.LoadFaxRecipients(fax));
    EXPECT_EQ(2u, fax.size());
}

TEST_F(WAB6Test, KeysStartAtOneAndStayAcrossLoads) {
    WriteContact(L"A.contact", {L"id-a", L"A", {{kFax, L"1"}}});
    WriteContact(L"B.contact", {L"id-b", L"B", {{kFax, L"2"}}});
    auto first = LoadByName();
    EXPECT_TRUE((first[L"A"].key == 1 && first[L"B"].key == 2) || (first[L"A"].key == 2 && first[L"B"].key == 1));

    WriteContact(L"C.contact", {L"id-c", L"C", {{kFax, L"3"}}});
    ::DeleteFileW((ContactsFolder() + L"\\A.contact").c_str());
    auto second = LoadByName();
    EXPECT_EQ(first[L"B"].key, second[L"B"].key);
    EXPECT_EQ(3u, second[L"C"].key);

    CRecipient got;
    EXPECT_EQ(S_OK, m_source.Get(ULONG(second[L"C"].key), got));
    EXPECT_EQ(L"C", got.name);
    EXPECT_EQ(E_FAIL, m_source.Get(ULONG(first[L"A"].key), got)) << "a contact that is gone";
    EXPECT_EQ(E_INVALIDARG, m_source.Get(99, got)) << "a key the table never handed out";
}

TEST_F(WAB6Test, ModifyWritesIntoTheLastFaxElementOnly) {
    const std::wstring path =
        WriteContact(L"Two.contact", {L"id-two", L"Two", {{kFax, L"111"}, {kFaxBusiness, L"222"}}});
    CRecipient r = LoadByName().at(L"Two");
    r.faxNumber = L"999";
    ASSERT_EQ(S_OK, m_source.Modify(ULONG(r.key), r));

    const std::string xml = ReadFileBytes(path);
    EXPECT_NE(std::string::npos, xml.find("111")) << "the earlier Fax element is untouched";
    EXPECT_EQ(std::string::npos, xml.find("222"));
    EXPECT_NE(std::string::npos, xml.find("999"));
    EXPECT_EQ(L"999", LoadByName().at(L"Two").faxNumber);
}

// Without a "Fax" element no number is written; the favourite mark is
// written as "T" and "F" all the same.
TEST_F(WAB6Test, ModifyOfAContactWithoutFaxLeavesItsNumbersAlone) {
    const std::wstring path = WriteContact(L"Voice.contact", {L"id-v", L"Voice", {{{L"Voice"}, L"12345"}}});
    CRecipient r = LoadByName().at(L"Voice");
    r.faxNumber = L"777";
    for (bool favorite : {true, false}) {
        r.favorite = favorite;
        ASSERT_EQ(S_OK, m_source.Modify(ULONG(r.key), r));
        const std::string xml = ReadFileBytes(path);
        const std::string phones = Between(xml, "<c:PhoneNumberCollection", "</c:PhoneNumberCollection>");
        EXPECT_NE(std::string::npos, phones.find(">12345<")) << phones;
        EXPECT_EQ(std::string::npos, phones.find("777"));
        EXPECT_NE(std::string::npos, xml.find(favorite ? ">T<" : ">F<")) << xml;
        const CRecipient read = LoadByName().at(L"Voice");
        EXPECT_EQ(L"", read.faxNumber);
        EXPECT_EQ(favorite, read.favorite);
    }
}

TEST_F(WAB6Test, AddCreatesAContactFileThatReadsBack) {
    CRecipient r = Added(L"Berta Bauer", L"+49 30 1234");
    EXPECT_NE(0u, r.key);
    EXPECT_FALSE(r.identifier.empty());
    EXPECT_EQ(std::vector<std::wstring>{L"Berta Bauer.contact"}, ContactFiles());

    const std::string xml = ReadFileBytes(ContactsFolder() + L"\\Berta Bauer.contact");
    const std::string phone = Between(xml, "<c:PhoneNumber ", "</c:PhoneNumber>");
    EXPECT_NE(std::string::npos, phone.find("Fax"));
    EXPECT_NE(std::string::npos, phone.find("Business"));
    EXPECT_NE(std::string::npos, phone.find("+49 30 1234"));

    CRecipient got;
    ASSERT_EQ(S_OK, m_source.Get(ULONG(r.key), got));
    EXPECT_EQ(L"Berta Bauer", got.name);
    EXPECT_EQ(L"+49 30 1234", got.faxNumber);
    EXPECT_EQ(r.identifier, got.identifier);
}

TEST_F(WAB6Test, AddWithNothingToWriteCreatesNothing) {
    CRecipient empty;
    EXPECT_EQ(E_FAIL, m_source.Add(empty));
    EXPECT_TRUE(AllFilesInContacts().empty());
}

TEST_F(WAB6Test, FileNamesReplaceTheNineCharactersAndCountUp) {
    WriteContactsFile(L"Sales_East_Main.contact", "");
    WriteContactsFile(L"Sales_East_Main (1).contact", "");
    Added(L"Sales/East:Main");
    Added(L"<>:*?/|\\\"");
    Added(L"a<b>c*d?e|f\\g\"h");
    EXPECT_EQ((std::vector<std::wstring>{L"Sales_East_Main (1).contact", L"Sales_East_Main (2).contact",
                                         L"Sales_East_Main.contact", L"_________.contact",
                                         L"a_b_c_d_e_f_g_h.contact"}),
              ContactFiles());
}

TEST_F(WAB6Test, LongNamesAreCutBeforeTheFileNameIsFormed) {
    const std::wstring longName(300, L'x');
    const CRecipient r = Added(longName);
    ASSERT_EQ(1u, ContactFiles().size());
    EXPECT_EQ(std::wstring(NameRoom(), L'x') + L".contact", ContactFiles()[0]);
    // The name itself is kept whole.
    EXPECT_EQ(longName, LoadByName().begin()->second.name);

    Added(longName);
    EXPECT_EQ(std::wstring(NameRoom(), L'x') + L" (1).contact", ContactFiles()[0]);

    // A cut may not split a character made of two UTF-16 units.
    const std::wstring emoji = std::wstring(NameRoom() - 1, L'y') + L"\U0001F600" + L"tail";
    Added(emoji);
    const auto files = ContactFiles();
    EXPECT_EQ(1, std::count(files.begin(), files.end(), std::wstring(NameRoom() - 1, L'y') + L".contact"));
}

// Names that cannot be a file of their own are saved under the contact's
// identifier; nothing lands outside the Contacts folder.
TEST_F(WAB6Test, NamesThatCannotBeFilesFallBackToTheIdentifier) {
    const wchar_t* const names[] = {L"CON", L"nul", L"Com1", L"LPT1.txt", L"aux .x", L"conout$",
                                    L"..",  L" . ", L"",     L"..\\..\\evil"};
    for (const wchar_t* name : names) {
        const CRecipient r = Added(name, L"1");
        ASSERT_NE(0u, r.key) << Utf8(name);
        const std::wstring expected = std::wstring(name) == L"..\\..\\evil" ? L".._.._evil.contact"
                                                                              : r.identifier + L".contact";
        const auto files = ContactFiles();
        EXPECT_EQ(1, std::count(files.begin(), files.end(), expected)) << Utf8(name);
        CRecipient got;
        EXPECT_EQ(S_OK, m_source.Get(ULONG(r.key), got));
        EXPECT_EQ(name, got.name);
    }
    EXPECT_EQ(std::size(names), ContactFiles().size());
    EXPECT_EQ(ContactFiles(), AllFilesInContacts());
}

TEST_F(WAB6Test, ANewNameRenamesTheFileUnlessThatNameIsTaken) {
    CRecipient r = Added(L"Old Name");
    r.name = L"New Name";
    ASSERT_EQ(S_OK, m_source.Modify(ULONG(r.key), r));
    EXPECT_EQ(std::vector<std::wstring>{L"New Name.contact"}, ContactFiles());

    WriteContactsFile(L"Taken.contact", "");
    r.name = L"Taken";
    ASSERT_EQ(S_OK, m_source.Modify(ULONG(r.key), r)) << "a rename that cannot happen is not an error";
    EXPECT_EQ((std::vector<std::wstring>{L"New Name.contact", L"Taken.contact"}), ContactFiles());
    EXPECT_EQ("", ReadFileBytes(ContactsFolder() + L"\\Taken.contact")) << "the other file is untouched";
    CRecipient got;
    ASSERT_EQ(S_OK, m_source.Get(ULONG(r.key), got));
    EXPECT_EQ(L"Taken", got.name);

    // Same name, other number: no rename.
    r.faxNumber = L"42";
    ASSERT_EQ(S_OK, m_source.Modify(ULONG(r.key), r));
    EXPECT_EQ((std::vector<std::wstring>{L"New Name.contact", L"Taken.contact"}), ContactFiles());
}

TEST_F(WAB6Test, DeleteRemovesTheFile) {
    const CRecipient keep = Added(L"Keep");
    const CRecipient gone = Added(L"Gone");
    EXPECT_EQ(S_OK, m_source.Delete(ULONG(gone.key)));
    EXPECT_EQ(std::vector<std::wstring>{L"Keep.contact"}, ContactFiles());
    EXPECT_EQ(E_FAIL, m_source.Delete(ULONG(gone.key)));
    EXPECT_EQ(E_FAIL, m_source.Delete(0));
    CRecipient r;
    EXPECT_EQ(E_FAIL, m_source.Modify(ULONG(gone.key), r));
    EXPECT_EQ(S_OK, m_source.Get(ULONG(keep.key), r));
}

TEST_F(WAB6Test, MalformedFilesBesideGoodOnesAreSkipped) {
    WriteContact(L"Good.contact", {L"id-good", L"Good", {{kFax, L"1"}}});
    const std::string whole = ContactDocument({L"id-cut", L"Cut", {{kFax, L"2"}}});
    WriteContactsFile(L"Truncated.contact", whole.substr(0, whole.size() / 2));
    WriteContactsFile(L"Garbage.contact", "\xff\xfe not xml at all <<<");
    WriteContactsFile(L"Empty.contact", "");
    WriteContactsFile(L"Other root.contact", "<?xml version=\"1.0\"?><person><name>x</name></person>");
    WriteContact(L"Good 2.contact", {L"id-good2", L"Good 2", {{kFax, L"3"}}});

    const auto byName = LoadByName();
    EXPECT_EQ(2u, byName.size());
    EXPECT_EQ(1u, byName.count(L"Good"));
    EXPECT_EQ(1u, byName.count(L"Good 2"));
    EXPECT_EQ(6u, AllFilesInContacts().size()) << "nothing was removed";
}

// A file where the Contacts folder should be: the folder cannot be made, no
// source can write a contact, and nothing is written anywhere else.
class NoContactsFolderTest : public WABTest {
protected:
    void SetUp() override {
        WABTest::SetUp();
        m_folder = ContactsFolder();
        m_parent = m_folder.substr(0, m_folder.find_last_of(L'\\'));
        ASSERT_TRUE(::RemoveDirectoryW(m_folder.c_str()));
        com::UniqueFile blocker(::CreateFileW(m_folder.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                              FILE_ATTRIBUTE_NORMAL, nullptr));
        ASSERT_TRUE(blocker);
        m_before = Listing(m_parent);
    }
    void TearDown() override {
        ::DeleteFileW(m_folder.c_str());
        ::CreateDirectoryW(m_folder.c_str(), nullptr);
        WABTest::TearDown();
    }
    static std::vector<std::wstring> Listing(const std::wstring& folder) {
        std::vector<std::wstring> names;
        WIN32_FIND_DATAW found;
        const HANDLE search = ::FindFirstFileW((folder + L"\\*").c_str(), &found);
        if (search == INVALID_HANDLE_VALUE) return names;
        do names.push_back(found.cFileName);
        while (::FindNextFileW(search, &found));
        ::FindClose(search);
        std::sort(names.begin(), names.end());
        return names;
    }
    std::wstring m_folder, m_parent;
    std::vector<std::wstring> m_before;
};

TEST_F(NoContactsFolderTest, AddsFailAndNothingIsWritten) {
    {
        CWAB6 contacts;
        contacts.Connect();
        CRecipient r;
        r.name = L"Nowhere";
        r.faxNumber = L"1";
        EXPECT_TRUE(FAILED(contacts.Add(r)));
        EXPECT_EQ(0u, r.key);
        RecipientList all;
        contacts.LoadAll(all);
        EXPECT_TRUE(all.empty());

        CWAB5 book;
        EXPECT_TRUE(FAILED(book.Add(r)));
        EXPECT_EQ(S_OK, book.LoadAll(all));
        EXPECT_TRUE(all.empty());
    }
    EXPECT_EQ(m_before, Listing(m_parent));
    EXPECT_EQ(0u, ::GetFileSize(com::UniqueFile(::CreateFileW(m_folder.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                                              OPEN_EXISTING, 0, nullptr)).get(), nullptr))
        << "the file in the folder's place is untouched";
}

TEST(WAB6Closed, EveryOperationNeedsAConnection) {
    ComApartment apartment;
    CWAB6 source;
    RecipientList list{CRecipient()};
    CRecipient r;
    r.name = L"x";
    EXPECT_EQ(E_FAIL, source.LoadAll(list));
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(E_FAIL, source.LoadFaxRecipients(list));
    EXPECT_EQ(E_FAIL, source.Add(r));
    EXPECT_EQ(E_FAIL, source.Get(1, r));
    EXPECT_EQ(E_FAIL, source.Modify(1, r));
    EXPECT_EQ(E_FAIL, source.Delete(1));
    source.Disconnect();
    source.Disconnect();
}

}  // namespace
