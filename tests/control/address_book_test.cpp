// AddressBook through COM, as a fax program uses it: created by ProgID, pairs
// handed over in string arrays, the result read back from the book's own
// store (the Contacts folder, or Outlook's stand-in through its object model).
#include "com/com_ptr.h"
#include "com/invoke.h"
#include "com/strings.h"
#include "module/VelPhonebook_h.h"
#include "support/outlook_fixture.h"
#include "support/wab_fixture.h"

#include <algorithm>

using namespace testing_support;
using Texts = std::vector<std::wstring>;

namespace {

com::UniqueSafeArray Strings(Texts texts, LONG lower = 0) {
    SAFEARRAY* array = nullptr;
    EXPECT_EQ(S_OK, com::MakeStringArray(texts, &array));
    SAFEARRAYBOUND bound{ULONG(texts.size()), lower};
    if (array && lower != 0) ::SafeArrayRedim(array, &bound);
    return com::UniqueSafeArray(array);
}

// Windows Contacts (0) or Outlook (1), each with its stand-in registered.
class AddressBookTest : public outlooktest::OutlookTest, public testing::WithParamInterface<long> {
protected:
    static void SetUpTestSuite() {
        OutlookTest::SetUpTestSuite();
        ASSERT_EQ(0, RunRegsvr32(false));
        ASSERT_EQ(0, RegisterStandIn());
    }
    void SetUp() override {
        OutlookTest::SetUp();
        ClearContactsFolder();
        CLSID clsid{};
        ASSERT_EQ(S_OK, ::CLSIDFromProgID(L"Zantix.AddressBook", &clsid));
        ASSERT_EQ(S_OK, ::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IAddressBook), m_book.put_void()));
        if (GetParam()) ASSERT_EQ(S_OK, m_book->SelectAddressBook(GetParam()));
    }
    void TearDown() override {
        m_book.reset();
        ::CoFreeUnusedLibrariesEx(0, 0);
        ClearContactsFolder();
        OutlookTest::TearDown();  // and Outlook was let go after each call
    }
    HRESULT Add(Texts names, Texts numbers) {
        const com::UniqueSafeArray n = Strings(std::move(names)), p = Strings(std::move(numbers));
        const HRESULT result = m_book->AddNewContacts(n.get(), p.get());
        // Outlook let go after each call; and the stand-in (unlike Outlook)
        // leaves with its last client: the next call must not reach it on its way out.
        if (GetParam() != 0) EXPECT_TRUE(outlooktest::WaitForNoStandin(10000)) << "Outlook is held after the call";
        return result;
    }
    // "name=number" of each contact, sorted.
    static Texts Contacts() {
        Texts contacts;
        if (GetParam() == 0) {
            for (const std::wstring& file : ContactFiles()) {
                const std::string number =
                    Between(ReadFileBytes(ContactsFolder() + L"\\" + file), "<c:Number", "</c:Number>");
                const size_t start = number.find('>') + 1;
                contacts.push_back(file.substr(0, file.size() - 8) + L"=" +
                                   FromUtf8(number.substr(start, number.find('<', start) - start)));
            }
        } else {
            // The stand-in leaves with its last client: let the object's
            // instance finish leaving first.
            outlooktest::WaitForNoStandin(10000);
            outlooktest::OutlookClient outlook;
            auto folder = outlooktest::ObjectByName(outlook.nameSpace.get(), L"GetDefaultFolder", {com::LongArg(10)});
            auto items = outlooktest::ObjectByName(folder.get(), L"Items");
            com::UniqueVariant count;
            outlooktest::CallByName(items.get(), L"Count", DISPATCH_PROPERTYGET, {}, count.put());
            for (long i = 1; i <= V_I4(&count); ++i) {
                auto item = outlooktest::ObjectByName(items.get(), L"Item", {com::LongArg(i)});
                contacts.push_back(outlooktest::TextByName(item.get(), L"FullName") + L"=" +
                                   outlooktest::TextByName(item.get(), L"BusinessFaxNumber"));
            }
        }
        std::sort(contacts.begin(), contacts.end());
        return contacts;
    }

    com::ComPtr<IAddressBook> m_book;
};

TEST_P(AddressBookTest, BadArraysAreRefusedBeforeAnythingIsAdded) {
    const com::UniqueSafeArray two = Strings({L"Ann", L"Bob"}), one = Strings({L"Ann"}), none = Strings({});
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
    EXPECT_TRUE(outlooktest::StandinProcesses().empty()) << "Outlook was started for nothing";
    EXPECT_TRUE(outlooktest::ReadStore().empty());
}

TEST_P(AddressBookTest, NamesAlreadyInTheBookAreSkippedAndNamelessPairsGetTheFirstFreeNames) {
    EXPECT_EQ(S_FALSE, Add({L"Ann", L"Bob", L"Ann"}, {L"100", L"200", L"300"})) << "the second Ann is skipped";
    EXPECT_EQ(S_OK, Add({L"", L"", L"ann"}, {L"400", L"500", L"600"})) << "names compare case-sensitively";
    EXPECT_EQ(S_OK, Add({L""}, {L"700"})) << "a later call continues the series";
    const Texts expected = GetParam() == 0
        ? Texts{L"Ann=100", L"Bob=200", L"New Recipient1=500", L"New Recipient2=700", L"New Recipient=400",
                L"ann (1)=600"}  // the file of "ann" next to Ann's
        : Texts{L"Ann=100", L"Bob=200", L"New Recipient1=500", L"New Recipient2=700", L"New Recipient=400", L"ann=600"};
    EXPECT_EQ(Contacts(), expected);
}

TEST_P(AddressBookTest, ExtraNamesAreIgnoredAndNonZeroBoundsAreHonoured) {
    const com::UniqueSafeArray names = Strings({L"Zed", L"Ann", L"Bob"}, 4), numbers = Strings({L"100", L"200"}, 5);
    EXPECT_EQ(S_OK, m_book->AddNewContacts(names.get(), numbers.get()));
    // Far-apart lower bounds (these once crashed the host), and arrays at the
    // very ends of the index range; VB's "Dim a(1 To 2)".
    const com::UniqueSafeArray low = Strings({L"Cy", L"Di"}, INT_MIN), top = Strings({L"Cy", L"Di"}, INT_MAX - 1),
                               topNumbers = Strings({L"300", L"400"}, INT_MAX - 1), five = Strings({L"1", L"2"}, 5);
    EXPECT_EQ(E_INVALIDARG, m_book->AddNewContacts(low.get(), five.get()));
    EXPECT_EQ(E_INVALIDARG, m_book->AddNewContacts(five.get(), topNumbers.get()));
    EXPECT_EQ(E_INVALIDARG, m_book->AddNewContacts(low.get(), topNumbers.get()));
    EXPECT_EQ(S_OK, m_book->AddNewContacts(top.get(), topNumbers.get()));
    const com::UniqueSafeArray vbNames = Strings({L"Ed"}, 1), vbNumbers = Strings({L"500"}, 1);
    EXPECT_EQ(S_OK, m_book->AddNewContacts(vbNames.get(), vbNumbers.get()));
    EXPECT_EQ(Contacts(), (Texts{L"Ann=100", L"Bob=200", L"Cy=300", L"Di=400", L"Ed=500"}));
}

INSTANTIATE_TEST_SUITE_P(Books, AddressBookTest, testing::Values(0L, 1L),
                         [](const auto& info) { return std::string(info.param ? "Outlook" : "Contacts"); });

using AddressBookOnOutlook = AddressBookTest;

// Only contacts the Outlook book lists (those with a business fax) hold
// names; any choice but 0 is Outlook; Outlook missing fails with the
// platform's code and leaves the object usable.
TEST_P(AddressBookOnOutlook, NamesHeldAreThoseOutlookListsAndAMissingOutlookFailsWithThePlatformsCode) {
    outlooktest::WriteStore({
        outlooktest::ContactLine(L"000000000A00000000000000000000000000000000000001",
                                 L"Class=40\tFullName=New Recipient\tBusinessFaxNumber=1"),
        outlooktest::ContactLine(L"000000000B00000000000000000000000000000000000002", L"Class=40\tFullName=Ann\tHomeFaxNumber=2"),
        outlooktest::ContactLine(L"000000000C00000000000000000000000000000000000003",
                                 L"Class=69\tDLName=Bob\tBusinessFaxNumber=9"),
    });
    EXPECT_EQ(S_OK, Add({L"", L"Ann", L"Bob"}, {L"400", L"500", L"600"}));
    const Texts contacts = Contacts();
    for (const wchar_t* added : {L"New Recipient1=400", L"Ann=500", L"Bob=600", L"Ann="})
        EXPECT_EQ(1, std::count(contacts.begin(), contacts.end(), added)) << added;
    ASSERT_EQ(0, outlooktest::RunStandin(L"/UnregServer"));
    CLSID clsid{};
    const HRESULT platform = ::CLSIDFromProgID(L"Outlook.Application", &clsid);
    ASSERT_TRUE(FAILED(platform));
    EXPECT_EQ(platform, Add({L"Cid"}, {L"100"}));
    ASSERT_EQ(0, outlooktest::RunStandin(L"/RegServer"));
    EXPECT_EQ(S_OK, Add({L"Cid"}, {L"100"})) << "the object stays usable";
}

INSTANTIATE_TEST_SUITE_P(AnyChoiceButZero, AddressBookOnOutlook, testing::Values(-1L));

}  // namespace
