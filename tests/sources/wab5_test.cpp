// The Windows Address Book source through WABOpen over the stand-in (the
// address book as Vista serves it from the Contacts folder): listing and
// writing every field, the favourite's named property, the entry-identifier
// rule, and a library that is missing or no address book. On both
// architectures: the parameter block and the registry views differ.
#include "sources/wab5.h"
#include "support/wab_fixture.h"

#include <map>

using namespace testing_support;

namespace {

const std::vector<std::wstring> kFaxBusiness = {L"Fax", L"Business"};

class WAB5Test : public WABTest {
protected:
    CRecipient Get(ULONG_PTR key, HRESULT expected = S_OK) {
        CRecipient got;
        EXPECT_EQ(expected, m_source.Get(ULONG(key), got));
        return got;
    }
    CWAB5 m_source;
};

// Every entry is listed and every field written; only the business fax is
// the recipient's number, the home and primary ones travel in the spare
// texts; the favourite round-trips (the address book does not know its
// name yet, so the tag is formed from the lookup's error answer).
TEST_F(WAB5Test, EveryFieldIsListedAndWritten) {
    WriteContact(L"Home.contact", {L"id-h", L"Home", {{{L"Fax", L"Personal"}, L"200"}, {{L"Fax"}, L"300"}}});
    CRecipient empty, carla;
    empty.favorite = true;
    EXPECT_EQ(E_FAIL, m_source.Add(empty)) << "every field empty";
    carla.name = L"Carla";
    carla.spare = {L"Quorvel AG", L"c@example.com", L"nick", L"+41 1 111", L"+41 2 222"};
    carla.faxNumber = L"+41 3 333";
    ASSERT_EQ(S_OK, m_source.Add(carla));
    EXPECT_EQ(2u, ContactFiles().size()) << "entries are contact files every program sees";
    RecipientList all;
    EXPECT_EQ(S_OK, m_source.LoadAll(all));
    std::map<std::wstring, CRecipient> byName;
    for (const CRecipient& r : all) byName[r.name] = r;
    ASSERT_EQ(2u, byName.size());
    const CRecipient& home = byName.at(L"Home");
    EXPECT_EQ(std::tuple(L"", L"200", L"300", carla.key),
              std::tie(home.faxNumber, home.spare[CRecipient::HomeFax], home.spare[CRecipient::PrimaryFax], byName.at(L"Carla").key));
    RecipientList fax;
    EXPECT_EQ(S_OK, m_source.LoadFaxRecipients(fax));
    EXPECT_TRUE(fax.size() == 1 && fax.front().spare == carla.spare);

    carla.name = L"Carla Ernst";
    carla.faxNumber = L"+41 9 999";
    carla.spare[CRecipient::Email].clear();
    for (bool favorite : {true, false, true}) {
        carla.favorite = favorite;
        ASSERT_EQ(S_OK, m_source.Modify(ULONG(carla.key), carla));
        const CRecipient got = Get(carla.key);
        EXPECT_EQ(std::tie(carla.name, carla.faxNumber, carla.spare, carla.favorite),
                  std::tie(got.name, got.faxNumber, got.spare, got.favorite));
    }
    EXPECT_EQ(S_OK, m_source.Delete(ULONG(carla.key)));
    EXPECT_EQ(1u, ContactFiles().size());
    CRecipient got;
    EXPECT_EQ(std::tuple(E_FAIL, E_FAIL, E_FAIL), std::tuple(m_source.Delete(ULONG(carla.key)),
                                                             m_source.Modify(ULONG(carla.key), carla), m_source.Get(ULONG(carla.key), got)));
}

// A contact's identifier carries the file's path after its first 100 bytes:
// a contact whose file was renamed is the same entry, found and compared so.
TEST_F(WAB5Test, IdentifiersAgreeingInTheirFirst100BytesAreOneEntry) {
    const std::wstring path =
        WriteContact(L"Hanna.contact", {L"8f3c2a10-5b7d-4e91-a6c4-1d2e3f4a5b6c", L"Hanna", {{kFaxBusiness, L"1"}}});
    RecipientList before, after, kept, added;
    ASSERT_EQ(S_OK, m_source.LoadFaxRecipients(before));
    ASSERT_EQ(1u, before.size());
    ASSERT_TRUE(::MoveFileW(path.c_str(), (ContactsFolder() + L"\\Hanna renamed elsewhere.contact").c_str()));
    WriteContact(L"Ida.contact", {L"8f3c2a10-5b7d-4e91-a6c4-1d2e3f4a5b6d", L"Ida", {{kFaxBusiness, L"2"}}});
    ASSERT_EQ(S_OK, m_source.LoadFaxRecipients(after));
    ASSERT_EQ(2u, after.size());
    const ULONG_PTR oldKey = before.front().key;
    const auto found = m_source.FindByKey(after, oldKey);
    EXPECT_TRUE(found != after.end() && found->name == L"Hanna");
    EXPECT_EQ(L"Hanna", Get(oldKey).name);
    KeyList known{oldKey}, removed;
    EXPECT_TRUE(m_source.Compare(after, known, removed, kept, added));
    ASSERT_TRUE(removed.empty() && kept.size() == 1 && added.size() == 1);
    EXPECT_EQ(std::pair(std::wstring(L"Hanna"), std::wstring(L"Ida")), std::pair(kept.front().name, added.front().name));
}

// The library is found through the Windows Contacts class, its path
// expanded; without it, or with one that is no address book, the source
// lists nothing, refuses every change and still watches the folder.
TEST_F(WABTest, WAB5WithoutAnAddressBookListsNothingAndRefusesChanges) {
    const std::wstring progId = L"VelPhonebookTest.NoAddressBook", classKey = L"CLSID\\{0B9E7C55-6A33-4E0F-9D51-3C7A2B6E8F10}";
    EXPECT_NE(std::wstring::npos, CWAB5::LocateLibrary(true).find(L"standin_wab32.dll"));
    EXPECT_NE(std::wstring::npos, CWAB5::LocateLibrary(false).find(L"standin_wab32.dll"));
    WriteContact(L"Someone.contact", {L"id-s", L"Someone", {{kFaxBusiness, L"1"}}});
    ASSERT_EQ(0, RegisterStandIn(true));
    for (const std::wstring library : {L"", L"C:\\nowhere\\missing_wab32.dll", L"%SystemRoot%\\system32\\shlwapi.dll"}) {
        for (const auto& [key, value] : {std::pair{std::wstring(L"Windows.Contact\\CurVer"), progId},
                                         {progId + L"\\CLSID", classKey.substr(6)}, {classKey + L"\\InprocServer32", library}})
            if (!library.empty())
                ::RegSetKeyValueW(HKEY_CLASSES_ROOT, key.c_str(), nullptr, REG_SZ, value.c_str(), DWORD(value.size() * 2 + 2));
        wchar_t expanded[MAX_PATH];
        ::ExpandEnvironmentStringsW(library.c_str(), expanded, MAX_PATH);
        EXPECT_EQ(expanded, CWAB5::LocateLibrary(true));
        CWAB5 source;
        RecipientList all{CRecipient()};
        CRecipient r;
        r.name = L"New";
        EXPECT_EQ(std::tuple(S_OK, E_FAIL, E_FAIL, E_FAIL, E_FAIL),
                  std::tuple(source.LoadAll(all), source.Add(r), source.Get(1, r), source.Modify(1, r), source.Delete(1)))
            << Utf8(library);
        EXPECT_TRUE(all.empty());
        EXPECT_NE(0u, source.WatcherThreadId()) << "the folder is still watched";
    }
    for (const std::wstring& key : {std::wstring(L"Windows.Contact"), progId, classKey}) ::RegDeleteTreeW(HKEY_CLASSES_ROOT, key.c_str());
    EXPECT_EQ(0, RegisterStandIn());
    EXPECT_EQ(std::vector<std::wstring>{L"Someone.contact"}, ContactFiles()) << "nothing lost, nothing added";
}

}  // namespace
