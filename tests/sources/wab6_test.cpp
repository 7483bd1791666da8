// The Windows Contacts source through IAB over the stand-in library: what it
// reads from .contact files other programs wrote, what it writes back, the
// file names it makes, and the bad input it must survive.
#include "sources/wab5.h"
#include "sources/wab6.h"
#include "support/wab_fixture.h"

#include <algorithm>
#include <atomic>
#include <thread>

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
    CRecipient Added(const std::wstring& name, const std::wstring& fax = L"555") {
        CRecipient r;
        r.name = name;
        r.faxNumber = fax;
        EXPECT_EQ(S_OK, m_source.Add(r)) << "adding " << Utf8(name);
        return r;
    }
    CRecipient Get(ULONG_PTR key, HRESULT expected = S_OK) {
        CRecipient got;
        EXPECT_EQ(expected, m_source.Get(ULONG(key), got));
        return got;
    }
    CWAB6 m_source;
};

TEST_F(WAB6Test, ReadsWhatAnotherProgramWrote) {
    WriteContact(L"Anna.contact", {L"id-anna", L"Anna", {{kFaxBusiness, L"+1 555 0100"}}});
    WriteContact(L"Two faxes.contact",
                 {L"id-two", L"Two faxes", {{kFax, L"111"}, {{L"Voice"}, L"222"}, {kFaxBusiness, L"333"}}});
    WriteContact(L"Voice only.contact", {L"id-voice", L"Voice only", {{{L"Business"}, L"444"}}});
    WriteContact(L"No id.contact", {L"", L"No id", {{kFax, L"555"}}});

    const auto byName = LoadByName(m_source);
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
    auto first = LoadByName(m_source);
    EXPECT_TRUE((first[L"A"].key == 1 && first[L"B"].key == 2) || (first[L"A"].key == 2 && first[L"B"].key == 1));

    WriteContact(L"C.contact", {L"id-c", L"C", {{kFax, L"3"}}});
    ::DeleteFileW((ContactsFolder() + L"\\A.contact").c_str());
    auto second = LoadByName(m_source);
    EXPECT_EQ(first[L"B"].key, second[L"B"].key);
    EXPECT_EQ(3u, second[L"C"].key);
    EXPECT_EQ(L"C", Get(second[L"C"].key).name);
    Get(first[L"A"].key, E_FAIL);  // a contact that is gone
    Get(99, E_INVALIDARG);         // a key the table never handed out
}

// The number goes into the last "Fax" element only; without one no number
// is written. The favourite mark is written as "T" and "F" all the same.
TEST_F(WAB6Test, ModifyWritesIntoTheLastFaxElementOnly) {
    const std::wstring two =
        WriteContact(L"Two.contact", {L"id-two", L"Two", {{kFax, L"111"}, {kFaxBusiness, L"222"}}});
    const std::wstring voice = WriteContact(L"Voice.contact", {L"id-v", L"Voice", {{{L"Voice"}, L"12345"}}});
    for (bool favorite : {true, false}) {
        for (const wchar_t* name : {L"Two", L"Voice"}) {
            CRecipient r = LoadByName(m_source).at(name);
            r.faxNumber = L"999";
            r.favorite = favorite;
            ASSERT_EQ(S_OK, m_source.Modify(ULONG(r.key), r));
            const CRecipient read = LoadByName(m_source).at(name);
            EXPECT_EQ(name == std::wstring(L"Two") ? L"999" : L"", read.faxNumber) << Utf8(name);
            EXPECT_EQ(favorite, read.favorite) << Utf8(name);
        }
        const std::string twoXml = ReadFileBytes(two), voiceXml = ReadFileBytes(voice);
        EXPECT_NE(std::string::npos, twoXml.find(">111<")) << "the earlier Fax element is untouched";
        EXPECT_EQ(std::string::npos, twoXml.find("222"));
        const std::string phones = Between(voiceXml, "<c:PhoneNumberCollection", "</c:PhoneNumberCollection>");
        EXPECT_NE(std::string::npos, phones.find(">12345<")) << phones;
        EXPECT_EQ(std::string::npos, phones.find("999"));
        EXPECT_NE(std::string::npos, voiceXml.find(favorite ? ">T<" : ">F<")) << voiceXml;
    }
}

TEST_F(WAB6Test, AddCreatesAContactFileThatReadsBackAndDeleteRemovesIt) {
    CRecipient empty;
    EXPECT_EQ(E_FAIL, m_source.Add(empty));
    EXPECT_TRUE(AllFilesInContacts().empty()) << "nothing to write, nothing created";

    const CRecipient keep = Added(L"Keep");
    const CRecipient r = Added(L"Berta Bauer", L"+49 30 1234");
    EXPECT_NE(0u, r.key);
    EXPECT_FALSE(r.identifier.empty());
    EXPECT_EQ((std::vector<std::wstring>{L"Berta Bauer.contact", L"Keep.contact"}), ContactFiles());
    const std::string xml = ReadFileBytes(ContactsFolder() + L"\\Berta Bauer.contact");
    const std::string phone = Between(xml, "<c:PhoneNumber ", "</c:PhoneNumber>");
    for (const char* part : {"Fax", "Business", "+49 30 1234"}) EXPECT_NE(std::string::npos, phone.find(part)) << part;
    const CRecipient got = Get(r.key);
    EXPECT_EQ(L"Berta Bauer", got.name);
    EXPECT_EQ(L"+49 30 1234", got.faxNumber);
    EXPECT_EQ(r.identifier, got.identifier);

    EXPECT_EQ(S_OK, m_source.Delete(ULONG(r.key)));
    EXPECT_EQ(std::vector<std::wstring>{L"Keep.contact"}, ContactFiles());
    EXPECT_EQ(E_FAIL, m_source.Delete(ULONG(r.key)));
    EXPECT_EQ(E_FAIL, m_source.Delete(0));
    CRecipient any;
    EXPECT_EQ(E_FAIL, m_source.Modify(ULONG(r.key), any));
    EXPECT_EQ(L"Keep", Get(keep.key).name);
}

// The nine characters no file name may hold become "_" and taken names count
// up; long names are cut (never inside a character of two UTF-16 units)
// before the file name is formed, but kept whole in the contact. Names that
// cannot be a file of their own are saved under the contact's identifier;
// nothing lands outside the Contacts folder.
TEST_F(WAB6Test, FileNamesComeFromTheName) {
    WriteContactsFile(L"Sales_East_Main.contact", "");
    WriteContactsFile(L"Sales_East_Main (1).contact", "");
    // The length a name is cut to.
    const size_t room = 234 - (ContactsFolder().size() + 1);
    const std::wstring cut(room, L'x'), shorter(room - 1, L'y');
    const std::pair<std::wstring, std::wstring> cases[] = {
        {L"Sales/East:Main", L"Sales_East_Main (2)"},
        {L"<>:*?/|\\\"", L"_________"},
        {L"a<b>c*d?e|f\\g\"h", L"a_b_c_d_e_f_g_h"},
        {std::wstring(300, L'x'), cut},
        {std::wstring(300, L'x'), cut + L" (1)"},
        {shorter + L"\U0001F600" + L"tail", shorter},
        {L"..\\..\\evil", L".._.._evil"},
        // Device names, dots and blanks only, nothing: the identifier.
        {L"CON", L""}, {L"nul", L""}, {L"Com1", L""}, {L"LPT1.txt", L""}, {L"aux .x", L""}, {L"conout$", L""},
        {L"..", L""}, {L" . ", L""}, {L"", L""},
    };
    for (const auto& [name, file] : cases) {
        const CRecipient r = Added(name, L"1");
        ASSERT_NE(0u, r.key) << Utf8(name);
        const std::wstring expected = (file.empty() ? r.identifier : file) + L".contact";
        const auto files = ContactFiles();
        EXPECT_EQ(1, std::count(files.begin(), files.end(), expected)) << Utf8(name);
        EXPECT_EQ(name, Get(r.key).name);
    }
    EXPECT_EQ(std::size(cases) + 2, ContactFiles().size());
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
    const std::vector<std::wstring> both = {L"New Name.contact", L"Taken.contact"};
    EXPECT_EQ(both, ContactFiles());
    EXPECT_EQ("", ReadFileBytes(ContactsFolder() + L"\\Taken.contact")) << "the other file is untouched";
    EXPECT_EQ(L"Taken", Get(r.key).name);

    // Same name, other number: no rename.
    r.faxNumber = L"42";
    ASSERT_EQ(S_OK, m_source.Modify(ULONG(r.key), r));
    EXPECT_EQ(both, ContactFiles());
}

TEST_F(WAB6Test, MalformedFilesBesideGoodOnesAreSkipped) {
    WriteContact(L"Good.contact", {L"id-good", L"Good", {{kFax, L"1"}}});
    const std::string whole = ContactDocument({L"id-cut", L"Cut", {{kFax, L"2"}}});
    WriteContactsFile(L"Truncated.contact", whole.substr(0, whole.size() / 2));
    WriteContactsFile(L"Garbage.contact", "\xff\xfe not xml at all <<<");
    WriteContactsFile(L"Empty.contact", "");
    WriteContactsFile(L"Other root.contact", "<?xml version=\"1.0\"?><person><name>x</name></person>");
    WriteContact(L"Good 2.contact", {L"id-good2", L"Good 2", {{kFax, L"3"}}});

    const auto byName = LoadByName(m_source);
    EXPECT_EQ(2u, byName.size());
    EXPECT_EQ(1u, byName.count(L"Good"));
    EXPECT_EQ(1u, byName.count(L"Good 2"));
    EXPECT_EQ(6u, AllFilesInContacts().size()) << "nothing was removed";
}

// A file where the Contacts folder should be: the folder cannot be made, no
// source can write a contact, and nothing is written anywhere else.
TEST_F(WABTest, WithAFileInPlaceOfTheContactsFolderAddsFailAndNothingIsWritten) {
    const std::wstring folder = ContactsFolder(), parent = folder.substr(0, folder.find_last_of(L'\\'));
    ASSERT_TRUE(::RemoveDirectoryW(folder.c_str()));
    ASSERT_TRUE(com::UniqueFile(::CreateFileW(folder.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                              FILE_ATTRIBUTE_NORMAL, nullptr)));
    const auto before = FilesIn(parent);
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
    EXPECT_EQ(before, FilesIn(parent));
    WIN32_FILE_ATTRIBUTE_DATA blocker{};
    EXPECT_TRUE(::GetFileAttributesExW(folder.c_str(), GetFileExInfoStandard, &blocker));
    EXPECT_EQ(0u, blocker.nFileSizeLow) << "the file in the folder's place is untouched";
    ::DeleteFileW(folder.c_str());
    ::CreateDirectoryW(folder.c_str(), nullptr);
}

}  // namespace

namespace {

// Two writers add recipients of the same name at the same time (two fax
// programs, or a program and the AddressBook object): each contact gets a
// file of its own, none is written over.
TEST_F(WAB6Test, WritersAddingTheSameNameAtOnceGetAFileEach) {
    constexpr int kEach = 15;
    std::atomic<int> failures{0};
    const auto writer = [&](const wchar_t* number) {
        ComApartment apartment;
        CWAB6 source;
        if (FAILED(source.Connect())) {
            failures += kEach;
            return;
        }
        for (int i = 0; i < kEach; ++i) {
            CRecipient r;
            r.name = L"Race";
            r.faxNumber = number;
            if (FAILED(source.Add(r))) ++failures;
        }
    };
    std::thread first(writer, L"111"), second(writer, L"222");
    first.join();
    second.join();
    EXPECT_EQ(0, failures.load());
    EXPECT_EQ(size_t(2 * kEach), ContactFiles().size());
    RecipientList all;
    ASSERT_EQ(S_OK, m_source.LoadAll(all));
    EXPECT_EQ(size_t(2 * kEach), size_t(std::count_if(all.begin(), all.end(),
                                                      [](const CRecipient& r) { return r.name == L"Race"; })))
        << "every contact readable, none written over";
    EXPECT_EQ(kEach, int(std::count_if(all.begin(), all.end(),
                                       [](const CRecipient& r) { return r.faxNumber == L"111"; })));
}

}  // namespace

namespace {

// Contacts other programs saved incompletely, and what the list owes the user
// for each of them.

// The document without the part from `from` to the next `to` (both included).
std::string Without(std::string document, const std::string& from, const std::string& to) {
    const std::string part = Between(document, from, to);
    if (!part.empty()) document.erase(document.find(part), part.size());
    return document;
}

std::string Replaced(std::string document, const std::string& what, const std::string& with) {
    const size_t at = document.find(what);
    if (at != std::string::npos) document.replace(at, what.size(), with);
    return document;
}

std::string Nameless(const ContactXml& contact) {
    return Without(ContactDocument(contact), "\t<c:NameCollection", "</c:NameCollection>\r\n");
}

// Another program opens the contact's file through Windows Contacts, deletes
// the value of one property and saves: the element stays, without a value.
void DeleteThroughContacts(const std::wstring& path, const wchar_t* property) {
    com::ComPtr<IContactManager> manager;
    ASSERT_EQ(S_OK, ::CoCreateInstance(CLSID_ContactManager, nullptr, CLSCTX_INPROC_SERVER, IID_IContactManager,
                                       manager.put_void()));
    ASSERT_EQ(S_OK, manager->Initialize(L"Another program", L"1.0"));
    com::ComPtr<IContact> contact;
    ASSERT_EQ(S_OK, manager->Load(path.c_str(), contact.put()));
    com::ComPtr<IContactProperties> properties;
    ASSERT_EQ(S_OK, contact->QueryInterface(IID_IContactProperties, properties.put_void()));
    ASSERT_EQ(S_OK, properties->DeleteProperty(property, CGD_DEFAULT));
    ASSERT_EQ(S_OK, contact->CommitChanges(CGD_DEFAULT));
}

// How many contacts the platform's collection hands out: the product's
// filter, not the platform, must be what leaves a contact out.
size_t ContactsInCollection() {
    com::ComPtr<IContactManager> manager;
    if (FAILED(::CoCreateInstance(CLSID_ContactManager, nullptr, CLSCTX_INPROC_SERVER, IID_IContactManager,
                                  manager.put_void())) ||
        FAILED(manager->Initialize(L"Another program", L"1.0")))
        return 0;
    com::ComPtr<IContactCollection> contacts;
    if (FAILED(manager->GetContactCollection(contacts.put())) || !contacts) return 0;
    size_t count = 0;
    contacts->Reset();
    while (contacts->Next() == S_OK) {
        com::ComPtr<IContact> contact;
        if (SUCCEEDED(contacts->GetCurrent(contact.put())) && contact) ++count;
    }
    return count;
}

std::map<std::wstring, CRecipient> ById(const RecipientList& all) {
    std::map<std::wstring, CRecipient> byId;
    for (const CRecipient& r : all) byId[r.identifier] = r;
    return byId;
}

// Every way a contact can come without an identifier: it is read (the
// platform hands it out) but not listed, since nothing could find it again.
TEST_F(WAB6Test, ContactsWithoutAnIdentifierAreNotListed) {
    WriteContact(L"Anna.contact", {L"id-anna", L"Anna", {{kFax, L"1"}}});
    WriteContact(L"No collection.contact", {L"", L"No collection", {{kFax, L"2"}}});
    WriteContactsFile(L"Empty id.contact",
                      Replaced(ContactDocument({L"id-empty", L"Empty id", {{kFax, L"3"}}}), ">id-empty<", "><"));
    const std::string bare = ContactDocument({L"id-bare", L"Empty collection", {{kFax, L"4"}}});
    WriteContactsFile(L"Empty collection.contact",
                      Replaced(bare, Between(bare, "<c:ContactIDCollection>", "</c:ContactIDCollection>"),
                               "<c:ContactIDCollection/>"));
    const std::wstring removed = WriteContact(L"Removed id.contact", {L"id-removed", L"Removed id", {{kFax, L"5"}}});
    ASSERT_NO_FATAL_FAILURE(DeleteThroughContacts(removed, kContactIdProperty));
    WriteContact(L"Zeno.contact", {L"id-zeno", L"Zeno", {{kFax, L"6"}}});
    ASSERT_EQ(6u, ContactsInCollection());

    std::vector<std::wstring> listed;
    for (const auto& [name, r] : LoadByName(m_source)) {
        listed.push_back(name);
        EXPECT_NE(0u, r.key) << Utf8(name);
    }
    EXPECT_EQ((std::vector<std::wstring>{L"Anna", L"Zeno"}), listed);
    RecipientList fax;
    EXPECT_EQ(S_OK, m_source.LoadFaxRecipients(fax));
    EXPECT_EQ(2u, fax.size());
}

// A contact without a name is listed with its number; a "Fax" element
// without a number (none written, its value deleted, or left empty) takes
// nothing from the Fax element before it.
TEST_F(WAB6Test, IncompleteContactsAreListedWithWhatTheyHold) {
    const wchar_t* const kSecondNumber = L"PhoneNumberCollection/PhoneNumber[2]/Number";
    struct Case {
        const wchar_t* id;
        std::string document;
        const wchar_t* deleted;  // a property another program deletes afterwards
        const wchar_t* name;
        const wchar_t* fax;
    };
    const Case cases[] = {
        {L"nameless", Nameless({L"nameless", L"", {{kFaxBusiness, L"777-1"}}}), nullptr, L"", L"777-1"},
        {L"missing", ContactDocument({L"missing", L"Missing", {{kFax, L"111"}, {kFaxBusiness, L""}}}), nullptr,
         L"Missing", L"111"},
        {L"deleted", ContactDocument({L"deleted", L"Deleted", {{kFax, L"222"}, {kFax, L"999"}}}), kSecondNumber,
         L"Deleted", L"222"},
        {L"empty",
         Replaced(ContactDocument({L"empty", L"Empty", {{kFax, L"333"}, {kFax, L"EMPTY"}}}), ">EMPTY<", "><"),
         nullptr, L"Empty", L"333"},
        {L"later", ContactDocument({L"later", L"Later", {{kFax, L""}, {kFax, L"444"}}}), nullptr, L"Later", L"444"},
        {L"between",
         ContactDocument({L"between", L"Between", {{kFax, L"555"}, {kFax, L""}, {{L"Voice"}, L"0"}, {kFax, L"556"}}}),
         nullptr, L"Between", L"556"},
        {L"none", ContactDocument({L"none", L"None", {{kFax, L""}}}), nullptr, L"None", L""},
        {L"nameless-none", Nameless({L"nameless-none", L"", {{kFax, L""}}}), nullptr, L"", L""},
    };
    for (const Case& c : cases) {
        const std::wstring path = WriteContactsFile(std::wstring(c.id) + L".contact", c.document);
        if (c.deleted) {
            ASSERT_NO_FATAL_FAILURE(DeleteThroughContacts(path, c.deleted));
        }
    }

    RecipientList all;
    ASSERT_EQ(S_OK, m_source.LoadAll(all));
    const auto byId = ById(all);
    EXPECT_EQ(std::size(cases), byId.size());
    for (const Case& c : cases) {
        SCOPED_TRACE(Utf8(c.id));
        ASSERT_EQ(1u, byId.count(c.id));
        const CRecipient& r = byId.at(c.id);
        EXPECT_EQ(c.name, r.name);
        EXPECT_EQ(c.fax, r.faxNumber);
        EXPECT_EQ(c.name, Get(r.key).name);
        EXPECT_EQ(c.fax, Get(r.key).faxNumber);
    }
    RecipientList fax;
    ASSERT_EQ(S_OK, m_source.LoadFaxRecipients(fax));
    EXPECT_EQ(6u, fax.size()) << "all but the two without any number";
    EXPECT_EQ(1u, ById(fax).count(L"nameless"));
}

// A contact whose read fails (here: its identifier cannot be read, the way a
// file saved without one reads) is left out, and the contacts read before it
// stay listed even when it is the last one the walk meets.
TEST_F(WAB6Test, AFailingReadOfTheLastContactLeavesTheOthersListed) {
    const ContactXml withoutIdentifier = {L"", L"Zz", {{kFax, L"9"}}};
    const std::string noIdentifier = ContactDocument(withoutIdentifier);
    const std::pair<const char*, std::string> lastOnes[] = {
        {"no identifier collection", noIdentifier},
        {"an empty identifier collection",
         Replaced(noIdentifier, "\t<c:NameCollection", "\t<c:ContactIDCollection/>\r\n\t<c:NameCollection")},
        {"no identifier and no name", Nameless(withoutIdentifier)},
    };
    for (const auto& [what, document] : lastOnes) {
        SCOPED_TRACE(what);
        ClearContactsFolder();
        WriteContact(L"Anna.contact", {L"id-anna", L"Anna", {{kFax, L"1"}}});
        WriteContact(L"Bert.contact", {L"id-bert", L"Bert", {{kFax, L"2"}}});
        WriteContactsFile(L"Zz.contact", document);
        ASSERT_EQ(3u, ContactsInCollection()) << "the platform hands the last contact out";

        RecipientList all;
        EXPECT_EQ(S_OK, m_source.LoadAll(all));
        const auto byId = ById(all);
        ASSERT_EQ(2u, byId.size());
        EXPECT_EQ(L"1", byId.at(L"id-anna").faxNumber);
        EXPECT_EQ(L"2", byId.at(L"id-bert").faxNumber);
        RecipientList fax;
        EXPECT_EQ(S_OK, m_source.LoadFaxRecipients(fax));
        EXPECT_EQ(2u, fax.size());

        // The failing contact alone: an empty book, not a failed one.
        ::DeleteFileW((ContactsFolder() + L"\\Anna.contact").c_str());
        ::DeleteFileW((ContactsFolder() + L"\\Bert.contact").c_str());
        EXPECT_EQ(S_OK, m_source.LoadAll(all));
        EXPECT_TRUE(all.empty());
    }
}

// Values longer than the first buffer are read again at their size: the
// contact keeps its name, identifier and number whole, and is found again.
TEST_F(WAB6Test, OverlongValuesAreReadWhole) {
    struct Case {
        std::wstring id, name, fax;
    };
    const Case cases[] = {
        {L"id-long-name", std::wstring(300, L'n'), L"1"},
        {L"id-" + std::wstring(38, L'i'), L"Id of 41", L"2"},
        {std::wstring(100, L'j'), std::wstring(261, L'm'), std::wstring(300, L'7')},
    };
    int file = 0;
    for (const Case& c : cases)
        WriteContact(L"Long " + std::to_wstring(++file) + L".contact", {c.id, c.name, {{kFax, c.fax}}});

    RecipientList all;
    ASSERT_EQ(S_OK, m_source.LoadAll(all));
    const auto byId = ById(all);
    EXPECT_EQ(std::size(cases), byId.size());
    for (const Case& c : cases) {
        SCOPED_TRACE(Utf8(c.id));
        ASSERT_EQ(1u, byId.count(c.id));
        const CRecipient& r = byId.at(c.id);
        EXPECT_EQ(c.name, r.name);
        EXPECT_EQ(c.fax, r.faxNumber);
        const CRecipient got = Get(r.key);
        EXPECT_EQ(c.id, got.identifier);
        EXPECT_EQ(c.name, got.name);
    }
}

}  // namespace
