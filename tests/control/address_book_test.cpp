// AddressBook through COM, as a fax program uses it: created by ProgID,
// pairs handed over in string arrays, the result checked in the address
// book's own store afterwards.
#include "com/com_ptr.h"
#include "com/invoke.h"
#include "com/strings.h"
#include "module/VelPhonebook_h.h"
#include "support/outlook_fixture.h"
#include "support/wab_fixture.h"
#include "support/test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

using namespace testing_support;

namespace {

// A file of the Contacts folder, as text.
std::string FileText(const std::wstring& file) { return ReadFileBytes(ContactsFolder() + L"\\" + file); }

com::UniqueSafeArray Strings(std::vector<std::wstring> texts, LONG lower = 0) {
    SAFEARRAY* array = nullptr;
    EXPECT_EQ(S_OK, com::MakeStringArray(texts, &array));
    if (array && lower != 0) {
        SAFEARRAYBOUND bound{ULONG(texts.size()), lower};
        ::SafeArrayRedim(array, &bound);
    }
    return com::UniqueSafeArray(array);
}

class AddressBookTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        ASSERT_EQ(0, RunRegsvr32(false));
        ASSERT_EQ(0, RunProcess(L"regsvr32.exe /s \"" + BinDir() + L"standin_wab32.dll\""));
    }
    void SetUp() override {
        ClearContactsFolder();
        ASSERT_EQ(S_OK, CreateBook(m_book));
    }
    void TearDown() override {
        m_book.reset();
        ::CoFreeUnusedLibrariesEx(0, 0);
        ClearContactsFolder();
    }
    static HRESULT CreateBook(com::ComPtr<IAddressBook>& book) {
        CLSID clsid{};
        const HRESULT hr = ::CLSIDFromProgID(L"Zantix.AddressBook", &clsid);
        if (FAILED(hr)) return hr;
        return ::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IAddressBook), book.put_void());
    }
    HRESULT Add(std::vector<std::wstring> names, std::vector<std::wstring> numbers) {
        const com::UniqueSafeArray n = Strings(std::move(names)), p = Strings(std::move(numbers));
        return m_book->AddNewContacts(n.get(), p.get());
    }

    ComApartment m_apartment;
    com::ComPtr<IAddressBook> m_book;
};

TEST_F(AddressBookTest, BadArraysAreRefusedBeforeAnythingIsAdded) {
    const com::UniqueSafeArray two = Strings({L"Ann", L"Bob"});
    const com::UniqueSafeArray one = Strings({L"Ann"});
    const com::UniqueSafeArray none = Strings({});
    const com::UniqueSafeArray shifted = Strings({L"Ann", L"Bob"}, 1);
    com::UniqueSafeArray numbers(::SafeArrayCreateVector(VT_I4, 0, 2));
    SAFEARRAYBOUND bounds[2] = {{2, 0}, {2, 0}};
    com::UniqueSafeArray square(::SafeArrayCreate(VT_BSTR, 2, bounds));

    EXPECT_EQ(E_INVALIDARG, m_book->AddNewContacts(nullptr, two.get()));
    EXPECT_EQ(E_INVALIDARG, m_book->AddNewContacts(two.get(), nullptr));
    EXPECT_EQ(E_INVALIDARG, m_book->AddNewContacts(two.get(), none.get())) << "no number to add";
    EXPECT_EQ(E_INVALIDARG, m_book->AddNewContacts(one.get(), two.get())) << "names shorter than numbers";
    EXPECT_EQ(E_INVALIDARG, m_book->AddNewContacts(shifted.get(), two.get())) << "names miss index 0";
    EXPECT_EQ(E_INVALIDARG, m_book->AddNewContacts(two.get(), numbers.get())) << "numbers that are not texts";
    EXPECT_EQ(E_INVALIDARG, m_book->AddNewContacts(square.get(), two.get())) << "two dimensions";
    EXPECT_TRUE(ContactFiles().empty());
}

TEST_F(AddressBookTest, NamelessPairsGetTheFirstFreeNewRecipientNames) {
    EXPECT_EQ(S_OK, Add({L"", L"", L""}, {L"100", L"200", L"300"}));
    EXPECT_EQ((std::vector<std::wstring>{L"New Recipient.contact", L"New Recipient1.contact",
                                         L"New Recipient2.contact"}),
              ContactFiles());
    EXPECT_NE(FileText(L"New Recipient2.contact").find(">300<"), std::string::npos);

    // A later call sees them in the book and continues the series.
    EXPECT_EQ(S_OK, Add({L""}, {L"400"}));
    const auto files = ContactFiles();
    EXPECT_EQ(1, std::count(files.begin(), files.end(), L"New Recipient3.contact"));
}

TEST_F(AddressBookTest, ANameAlreadyInTheBookIsSkippedWhateverItsNumber) {
    EXPECT_EQ(S_FALSE, Add({L"Ann", L"Ann"}, {L"100", L"200"})) << "the second Ann is skipped and comes last";
    EXPECT_EQ(std::vector<std::wstring>{L"Ann.contact"}, ContactFiles());
    EXPECT_NE(FileText(L"Ann.contact").find(">100<"), std::string::npos);

    EXPECT_EQ(S_OK, Add({L"Ann", L"ann", L"Bob"}, {L"300", L"400", L"500"})) << "names compare case-sensitively";
    EXPECT_EQ((std::vector<std::wstring>{L"Ann.contact", L"Bob.contact", L"ann (1).contact"}), ContactFiles());
}

TEST_F(AddressBookTest, ExtraNamesAreIgnoredAndNonZeroBoundsAreHonoured) {
    const com::UniqueSafeArray names = Strings({L"Zed", L"Ann", L"Bob"}, 4);
    const com::UniqueSafeArray numbers = Strings({L"100", L"200"}, 5);
    EXPECT_EQ(S_OK, m_book->AddNewContacts(names.get(), numbers.get()));
    EXPECT_EQ((std::vector<std::wstring>{L"Ann.contact", L"Bob.contact"}), ContactFiles());
}

TEST_F(AddressBookTest, TheModuleCanUnloadOnceTheObjectIsGone) {
    using CanUnload = HRESULT(WINAPI*)();
    const HMODULE module = ::GetModuleHandleW(testing_support::kModuleFileName);
    ASSERT_TRUE(module);
    const auto canUnload =
        reinterpret_cast<CanUnload>(reinterpret_cast<void*>(::GetProcAddress(module, "DllCanUnloadNow")));
    ASSERT_EQ(S_OK, Add({L"Ann"}, {L"100"}));
    EXPECT_EQ(S_FALSE, canUnload());
    m_book.reset();
    EXPECT_EQ(S_OK, canUnload());
}

// AddressBook on Outlook: the pairs become contact items of the Outlook
// stand-in, checked afterwards through its object model by name.
class AddressBookOutlookTest : public outlooktest::OutlookTest {
protected:
    static void SetUpTestSuite() {
        OutlookTest::SetUpTestSuite();
        ASSERT_EQ(0, RunRegsvr32(false));
    }
    void SetUp() override {
        OutlookTest::SetUp();
        CLSID clsid{};
        ASSERT_EQ(S_OK, ::CLSIDFromProgID(L"Zantix.AddressBook", &clsid));
        ASSERT_EQ(S_OK, ::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IAddressBook),
                                           m_book.put_void()));
        ASSERT_EQ(S_OK, m_book->SelectAddressBook(1));
    }
    void TearDown() override {
        m_book.reset();
        ::CoFreeUnusedLibrariesEx(0, 0);
        OutlookTest::TearDown();
    }
    HRESULT Add(std::vector<std::wstring> names, std::vector<std::wstring> numbers) {
        const com::UniqueSafeArray n = Strings(std::move(names)), p = Strings(std::move(numbers));
        return m_book->AddNewContacts(n.get(), p.get());
    }
    // "FullName=BusinessFaxNumber" of every item of the contacts folder, in
    // the folder's order; a client of its own, gone before the test ends.
    static std::vector<std::wstring> OutlookContacts() {
        // The stand-in leaves with its last client, unlike Outlook: let the
        // instance the object used finish leaving, or this client may reach
        // a server on its way out.
        outlooktest::WaitForNoStandin(10000);
        outlooktest::OutlookClient outlook;
        std::vector<std::wstring> contacts;
        auto folder = outlooktest::ObjectByName(outlook.nameSpace.get(), L"GetDefaultFolder", {com::LongArg(10)});
        auto items = outlooktest::ObjectByName(folder.get(), L"Items");
        com::UniqueVariant count;
        if (FAILED(outlooktest::CallByName(items.get(), L"Count", DISPATCH_PROPERTYGET, {}, count.put())))
            return {L"<no items>"};
        for (long i = 1; i <= V_I4(&count); ++i) {
            auto item = outlooktest::ObjectByName(items.get(), L"Item", {com::LongArg(i)});
            contacts.push_back(outlooktest::TextByName(item.get(), L"FullName") + L"=" +
                               outlooktest::TextByName(item.get(), L"BusinessFaxNumber"));
        }
        return contacts;
    }

    com::ComPtr<IAddressBook> m_book;
};

TEST_F(AddressBookOutlookTest, AnyNonZeroChoiceAddsTheFirstOfEachNameAsOutlookContacts) {
    for (const long choice : {1L, 5L, -1L}) {
        SCOPED_TRACE(choice);
        outlooktest::DeleteStore();
        ASSERT_EQ(S_OK, m_book->SelectAddressBook(choice));
        EXPECT_EQ(S_FALSE, Add({L"Ann", L"Bob", L"Ann"}, {L"100", L"200", L"300"}))
            << "the second Ann is skipped and comes last";
        EXPECT_EQ((std::vector<std::wstring>{L"Ann=100", L"Bob=200"}), OutlookContacts());
        ASSERT_TRUE(outlooktest::WaitForNoStandin(10000)) << "the object let Outlook go after the call";
    }
}

TEST_F(AddressBookOutlookTest, NamelessPairsContinueAfterTheNamesOutlookHolds) {
    EXPECT_EQ(S_OK, Add({L"", L"", L""}, {L"100", L"200", L"300"}));
    EXPECT_EQ((std::vector<std::wstring>{L"New Recipient=100", L"New Recipient1=200", L"New Recipient2=300"}),
              OutlookContacts());

    // Only the contacts that the Outlook source lists (those with a business
    // fax) hold names: a contact without one, or a distribution list, does
    // not keep a pair of its name out.
    outlooktest::WriteStore({
        outlooktest::ContactLine(L"000000000A00000000000000000000000000000000000001",
                                 L"Class=40\tFullName=New Recipient\tBusinessFaxNumber=1"),
        outlooktest::ContactLine(L"000000000B00000000000000000000000000000000000002",
                                 L"Class=40\tFullName=Ann\tHomeFaxNumber=2"),
        outlooktest::ContactLine(L"000000000C00000000000000000000000000000000000003",
                                 L"Class=69\tDLName=Bob\tBusinessFaxNumber=9"),
    });
    EXPECT_EQ(S_OK, Add({L"", L"Ann", L"Bob"}, {L"400", L"500", L"600"}));
    const auto contacts = OutlookContacts();
    for (const wchar_t* added : {L"New Recipient1=400", L"Ann=500", L"Bob=600"})
        EXPECT_EQ(1, std::count(contacts.begin(), contacts.end(), added)) << added;
    EXPECT_EQ(1, std::count(contacts.begin(), contacts.end(), L"Ann=")) << "the other Ann stays";
}

TEST_F(AddressBookOutlookTest, OutlookMissingFailsWithThePlatformsCode) {
    ASSERT_EQ(0, outlooktest::RunStandin(L"/UnregServer"));
    CLSID clsid{};
    const HRESULT platform = ::CLSIDFromProgID(L"Outlook.Application", &clsid);
    ASSERT_TRUE(FAILED(platform));
    EXPECT_EQ(platform, Add({L"Ann", L"Bob"}, {L"100", L"200"}));
    EXPECT_EQ(platform, Add({L""}, {L"100"})) << "the object stays usable";
    ASSERT_EQ(0, outlooktest::RunStandin(L"/RegServer"));
    EXPECT_EQ(S_OK, Add({L"Ann"}, {L"100"}));
    EXPECT_EQ(std::vector<std::wstring>{L"Ann=100"}, OutlookContacts());
}

TEST_F(AddressBookOutlookTest, BadArraysNeverStartOutlook) {
    const com::UniqueSafeArray one = Strings({L"Ann"}), two = Strings({L"Ann", L"Bob"});
    EXPECT_EQ(E_INVALIDARG, m_book->AddNewContacts(one.get(), two.get()));
    EXPECT_TRUE(outlooktest::StandinProcesses().empty());
    EXPECT_EQ(std::vector<std::wstring>{}, outlooktest::ReadStore());
}

}  // namespace
