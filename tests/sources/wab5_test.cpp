// The Windows Address Book source through IAB over the stand-in's WABOpen (the
// address book as Vista serves it from the Contacts folder): listing, writing,
// the entry-identifier rule, the favourite's named property, and a library
// that is missing or is no address book.
#include "sources/wab5.h"
#include "sources/wab6.h"
#include "support/wab_fixture.h"

#include <memory>

using namespace testing_support;

namespace {

const std::vector<std::wstring> kFaxBusiness = {L"Fax", L"Business"};

// Where the address book keeps the names of named properties (a per-user key).
constexpr wchar_t kNamedPropertiesKey[] = L"Software\\Microsoft\\WAB\\WAB4\\Named Properties";

class WAB5Test : public WABTest {
protected:
    void SetUp() override {
        WABTest::SetUp();
        DeleteUserKey(kNamedPropertiesKey);
        m_source = std::make_unique<CWAB5>();
        ASSERT_EQ(S_OK, m_source->Connect());
    }
    void TearDown() override {
        m_source.reset();
        DeleteUserKey(kNamedPropertiesKey);
        WABTest::TearDown();
    }
    static CRecipient Full(const std::wstring& name) {
        CRecipient r;
        r.name = name;
        r.spare = {L"Quorvel AG", name + L"@example.com", L"nick", L"+41 1 111", L"+41 2 222"};
        r.faxNumber = L"+41 3 333";
        return r;
    }
    CRecipient Get(ULONG_PTR key, HRESULT expected = S_OK) {
        CRecipient got;
        EXPECT_EQ(expected, m_source->Get(ULONG(key), got));
        return got;
    }

    std::unique_ptr<CWAB5> m_source;
};

TEST_F(WAB5Test, ListsEveryEntryAndOffersOnlyBusinessFaxes) {
    WriteContact(L"Business.contact", {L"id-b", L"Business", {{kFaxBusiness, L"100"}}});
    WriteContact(L"Home.contact", {L"id-h", L"Home", {{{L"Fax", L"Personal"}, L"200"}}});
    WriteContact(L"Primary.contact", {L"id-p", L"Primary", {{{L"Fax"}, L"300"}}});
    WriteContact(L"Nothing.contact", {L"id-n", L"Nothing", {}});

    const auto byName = LoadByName(*m_source);
    ASSERT_EQ(4u, byName.size());
    EXPECT_EQ(L"100", byName.at(L"Business").faxNumber);
    EXPECT_EQ(L"200", byName.at(L"Home").spare[CRecipient::HomeFax]);
    EXPECT_EQ(L"", byName.at(L"Home").faxNumber);
    EXPECT_EQ(L"300", byName.at(L"Primary").spare[CRecipient::PrimaryFax]);
    EXPECT_EQ(L"", byName.at(L"Nothing").faxNumber);
    for (const auto& [name, r] : byName) EXPECT_NE(0u, r.key) << Utf8(name);

    RecipientList fax;
    EXPECT_EQ(S_OK, m_source->LoadFaxRecipients(fax));
    ASSERT_EQ(1u, fax.size());
    EXPECT_EQ(L"Business", fax.front().name);
}

TEST_F(WAB5Test, AddGetModifyAndDeleteEveryField) {
    CRecipient empty;
    empty.favorite = true;
    EXPECT_EQ(E_FAIL, m_source->Add(empty)) << "every field empty";
    EXPECT_EQ(0u, empty.key);
    EXPECT_TRUE(ContactFiles().empty());

    CRecipient carla = Full(L"Carla"), dora = Full(L"Dora");
    ASSERT_EQ(S_OK, m_source->Add(carla));
    ASSERT_NE(0u, carla.key);
    EXPECT_EQ(1u, ContactFiles().size()) << "the entry is a contact file that every program sees";
    CRecipient got = Get(carla.key);
    EXPECT_EQ(L"Carla", got.name);
    EXPECT_EQ(Full(L"Carla").spare, got.spare);
    EXPECT_EQ(L"+41 3 333", got.faxNumber);
    EXPECT_EQ(carla.key, got.key);

    ASSERT_EQ(S_OK, m_source->Add(dora));
    EXPECT_NE(carla.key, dora.key);
    for (int load = 0; load < 2; ++load) {
        const auto byName = LoadByName(*m_source);
        EXPECT_EQ(carla.key, byName.at(L"Carla").key);
        EXPECT_EQ(dora.key, byName.at(L"Dora").key);
    }
    // A fresh source of the other kind in the same process sees the new entries too.
    CWAB6 contacts;
    ASSERT_EQ(S_OK, contacts.Connect());
    RecipientList viaContacts;
    contacts.LoadFaxRecipients(viaContacts);
    EXPECT_EQ(2u, viaContacts.size());

    carla.name = L"Carla Ernst";
    carla.faxNumber = L"+41 9 999";
    carla.spare[CRecipient::Email].clear();
    ASSERT_EQ(S_OK, m_source->Modify(ULONG(carla.key), carla));
    got = Get(carla.key);
    EXPECT_EQ(L"Carla Ernst", got.name);
    EXPECT_EQ(L"+41 9 999", got.faxNumber);
    EXPECT_EQ(L"", got.spare[CRecipient::Email]);
    EXPECT_EQ(L"Quorvel AG", got.spare[CRecipient::Company]);

    EXPECT_EQ(S_OK, m_source->Delete(ULONG(carla.key)));
    EXPECT_EQ(1u, ContactFiles().size());
    EXPECT_EQ(E_FAIL, m_source->Delete(ULONG(carla.key)));
    Get(carla.key, E_FAIL);
    EXPECT_EQ(E_FAIL, m_source->Modify(ULONG(carla.key), carla));
    Get(12345, E_FAIL);
}

// Until the address book knows the favourite's name, its lookup answers with
// error tags and the tag formed from them carries the flag. Once another
// program has created the name, the lookup answers S_OK, the tag is 0: the
// flag reads false and a Modify writes a property with tag 0.
TEST_F(WAB5Test, FavouriteRoundTripsOnlyWhileTheNameIsUnknown) {
    CRecipient r = Full(L"Fanny");
    ASSERT_EQ(S_OK, m_source->Add(r));
    for (bool favorite : {true, false, true}) {
        r.favorite = favorite;
        ASSERT_EQ(S_OK, m_source->Modify(ULONG(r.key), r));
        EXPECT_EQ(favorite, Get(r.key).favorite);
        EXPECT_EQ(favorite, LoadByName(*m_source).at(L"Fanny").favorite);
    }
    {
        // Another program of the user creates the named property.
        using Open = decltype(&WABOpen);
        com::UniqueModule library(::LoadLibraryW(CWAB5::LocateLibrary(true).c_str()));
        ASSERT_TRUE(library);
        const auto open = reinterpret_cast<Open>(reinterpret_cast<void*>(::GetProcAddress(library.get(), "WABOpen")));
        ASSERT_NE(nullptr, open);
        com::ComPtr<IAddrBook> book;
        com::ComPtr<IWABObject> wab;
        WAB_PARAM param{sizeof(WAB_PARAM)};
        ASSERT_EQ(S_OK, open(book.put(), wab.put(), &param, 0));
        ULONG size = 0, type = 0;
        ENTRYID* pab = nullptr;
        ASSERT_EQ(S_OK, book->GetPAB(&size, &pab));
        com::ComPtr<IUnknown> object;
        ASSERT_EQ(S_OK, book->OpenEntry(size, pab, nullptr, 0, &type, object.put()));
        wab->FreeBuffer(pab);
        com::ComPtr<IMAPITable> table;
        ASSERT_EQ(S_OK, static_cast<IABContainer*>(object.get())->GetContentsTable(0, table.put()));
        SRowSet* rows = nullptr;
        ASSERT_EQ(S_OK, table->QueryRows(1, 0, &rows));
        ASSERT_EQ(1u, rows->cRows);
        com::ComPtr<IUnknown> entry;
        for (ULONG i = 0; i < rows->aRow[0].cValues; ++i)
            if (const SPropValue& column = rows->aRow[0].lpProps[i]; column.ulPropTag == kTagEntryId)
                book->OpenEntry(column.Value.bin.cb, reinterpret_cast<LPENTRYID>(column.Value.bin.lpb), nullptr, 0,
                                &type, entry.put());
        wab->FreeBuffer(rows->aRow[0].lpProps);
        wab->FreeBuffer(rows);
        ASSERT_TRUE(entry);
        MAPINAMEID name{const_cast<GUID*>(&kFavoritePropertySet), MNID_STRING, {}};
        name.Kind.lpwstrName = const_cast<LPWSTR>(kFavoritePropertyName);
        LPMAPINAMEID names[] = {&name};
        SPropTagArray* tags = nullptr;
        ASSERT_EQ(S_OK, static_cast<IMailUser*>(entry.get())->GetIDsFromNames(1, names, MAPI_CREATE, &tags));
        wab->FreeBuffer(tags);
    }
    EXPECT_FALSE(LoadByName(*m_source).at(L"Fanny").favorite);
    EXPECT_EQ(S_OK, m_source->Modify(ULONG(r.key), r));
    EXPECT_FALSE(Get(r.key).favorite);
    EXPECT_EQ(L"+41 3 333", Get(r.key).faxNumber) << "the other properties are still written";
}

// The identifier of a Windows Contacts entry carries the file's path after
// its first 100 bytes: a contact whose file was renamed is the same entry.
TEST_F(WAB5Test, IdentifiersAgreeingInTheirFirst100BytesAreOneEntry) {
    // Identifiers as Windows Contacts makes them: a GUID.
    const std::wstring path = WriteContact(
        L"Hanna.contact", {L"8f3c2a10-5b7d-4e91-a6c4-1d2e3f4a5b6c", L"Hanna", {{kFaxBusiness, L"1"}}});
    RecipientList before;
    ASSERT_EQ(S_OK, m_source->LoadFaxRecipients(before));
    ASSERT_EQ(1u, before.size());
    const ULONG_PTR oldKey = before.front().key;

    ASSERT_TRUE(::MoveFileW(path.c_str(), (ContactsFolder() + L"\\Hanna renamed elsewhere.contact").c_str()));
    RecipientList after;
    ASSERT_EQ(S_OK, m_source->LoadFaxRecipients(after));
    ASSERT_EQ(1u, after.size());
    ASSERT_NE(oldKey, after.front().key) << "the identifier changed after its first 100 bytes";
    EXPECT_EQ(after.begin(), m_source->FindByKey(after, oldKey));
    EXPECT_EQ(L"Hanna", Get(oldKey).name);

    // Another contact is another entry.
    WriteContact(L"Ida.contact", {L"8f3c2a10-5b7d-4e91-a6c4-1d2e3f4a5b6d", L"Ida", {{kFaxBusiness, L"2"}}});
    RecipientList both;
    ASSERT_EQ(S_OK, m_source->LoadFaxRecipients(both));
    KeyList known{oldKey}, removed;
    RecipientList kept, added;
    EXPECT_TRUE(m_source->Compare(both, known, removed, kept, added));
    EXPECT_TRUE(removed.empty());
    ASSERT_EQ(1u, kept.size());
    EXPECT_EQ(L"Hanna", kept.front().name);
    ASSERT_EQ(1u, added.size());
    EXPECT_EQ(L"Ida", added.front().name);
}

// Without the stand-in, or with the Windows Contacts class pointing at a
// library that is no address book.
class WAB5LibraryTest : public WABTest {
protected:
    static constexpr wchar_t kProgId[] = L"VelPhonebookTest.NoAddressBook";
    static constexpr wchar_t kClassId[] = L"{0B9E7C55-6A33-4E0F-9D51-3C7A2B6E8F10}";

    void SetUp() override {
        WABTest::SetUp();
        ASSERT_EQ(0, RegisterStandIn(true));
    }
    void TearDown() override {
        RemoveClassKeys();
        EXPECT_EQ(0, RegisterStandIn());
        WABTest::TearDown();
    }
    static void PointContactClassAt(const std::wstring& library) {
        SetDefault(L"Windows.Contact\\CurVer", kProgId);
        SetDefault(std::wstring(kProgId) + L"\\CLSID", kClassId);
        SetDefault(std::wstring(L"CLSID\\") + kClassId + L"\\InprocServer32", library);
    }
    static void SetDefault(const std::wstring& path, const std::wstring& value) {
        ASSERT_EQ(ERROR_SUCCESS, ::RegSetKeyValueW(HKEY_CLASSES_ROOT, path.c_str(), nullptr, REG_SZ, value.c_str(),
                                                   DWORD((value.size() + 1) * sizeof(wchar_t))));
    }
    static void RemoveClassKeys() {
        for (const std::wstring& key : {std::wstring(L"Windows.Contact"), std::wstring(kProgId),
                                        std::wstring(L"CLSID\\") + kClassId})
            ::RegDeleteTreeW(HKEY_CLASSES_ROOT, key.c_str()), ::RegDeleteKeyW(HKEY_CLASSES_ROOT, key.c_str());
    }
};

TEST_F(WAB5LibraryTest, WithoutAnAddressBookTheSourceListsNothingAndRefusesChanges) {
    WriteContact(L"Someone.contact", {L"id-s", L"Someone", {{kFaxBusiness, L"1"}}});
    for (const wchar_t* library :
         {static_cast<const wchar_t*>(nullptr), L"C:\\nowhere\\missing_wab32.dll", L"%SystemRoot%\\system32\\shlwapi.dll"}) {
        if (library) PointContactClassAt(library);
        SCOPED_TRACE(library ? Utf8(library) : "no Windows Contacts class");
        CWAB5 source;
        RecipientList all{CRecipient()};
        EXPECT_EQ(S_OK, source.LoadAll(all));
        EXPECT_TRUE(all.empty());
        CRecipient r;
        r.name = L"New";
        EXPECT_EQ(E_FAIL, source.Add(r));
        EXPECT_EQ(E_FAIL, source.Get(1, r));
        EXPECT_EQ(E_FAIL, source.Modify(1, r));
        EXPECT_EQ(E_FAIL, source.Delete(1));
        EXPECT_NE(0u, source.WatcherThreadId()) << "the folder is still watched";
    }
    EXPECT_EQ(std::vector<std::wstring>{L"Someone.contact"}, ContactFiles()) << "nothing lost, nothing added";
}

TEST_F(WAB5LibraryTest, FindsTheLibraryThroughTheContactClassAndExpandsItsPath) {
    EXPECT_EQ(L"", CWAB5::LocateLibrary(true));
    EXPECT_EQ(L"", CWAB5::LocateLibrary(false));
    PointContactClassAt(L"%SystemRoot%\\system32\\shlwapi.dll");
    wchar_t expected[MAX_PATH];
    ::ExpandEnvironmentStringsW(L"%SystemRoot%\\system32\\shlwapi.dll", expected, MAX_PATH);
    EXPECT_EQ(expected, CWAB5::LocateLibrary(true));
    RemoveClassKeys();
    ASSERT_EQ(0, RegisterStandIn());
    EXPECT_NE(std::wstring::npos, CWAB5::LocateLibrary(true).find(L"standin_wab32.dll"));
    EXPECT_NE(std::wstring::npos, CWAB5::LocateLibrary(false).find(L"standin_wab32.dll"));
}

}  // namespace
