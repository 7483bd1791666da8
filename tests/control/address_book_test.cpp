// AddressBook through COM, as a fax program uses it: created by ProgID,
// pairs handed over in string arrays, the result checked in the address
// book's own store afterwards.
#include "com/com_ptr.h"
#include "com/strings.h"
#include "module/VelPhonebook_h.h"
#include "support/test_support.h"

#include <gtest/gtest.h>

#include <shlobj.h>

#include <algorithm>
#include <set>
#include <vector>

using namespace testing_support;

namespace {

std::wstring ContactsFolder() {
    wchar_t* path = nullptr;
    if (FAILED(::SHGetKnownFolderPath(FOLDERID_Contacts, KF_FLAG_CREATE, nullptr, &path))) return {};
    std::wstring folder = path;
    ::CoTaskMemFree(path);
    return folder + L"\\";
}

std::set<std::wstring> ContactFiles() {
    std::set<std::wstring> names;
    WIN32_FIND_DATAW data;
    const HANDLE find = ::FindFirstFileW((ContactsFolder() + L"*.contact").c_str(), &data);
    if (find == INVALID_HANDLE_VALUE) return names;
    do names.insert(data.cFileName);
    while (::FindNextFileW(find, &data));
    ::FindClose(find);
    return names;
}

void ClearContacts() {
    for (const std::wstring& file : ContactFiles()) ::DeleteFileW((ContactsFolder() + file).c_str());
}

std::string FileText(const std::wstring& file) {
    com::UniqueFile handle(::CreateFileW((ContactsFolder() + file).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                         OPEN_EXISTING, 0, nullptr));
    std::string text(65536, '\0');
    DWORD read = 0;
    if (!handle || !::ReadFile(handle.get(), text.data(), DWORD(text.size()), &read, nullptr)) return {};
    text.resize(read);
    return text;
}

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
        ClearContacts();
        ASSERT_EQ(S_OK, CreateBook(m_book));
    }
    void TearDown() override {
        m_book.reset();
        ::CoFreeUnusedLibrariesEx(0, 0);
        ClearContacts();
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
    EXPECT_EQ((std::set<std::wstring>{L"New Recipient.contact", L"New Recipient1.contact",
                                      L"New Recipient2.contact"}),
              ContactFiles());
    EXPECT_NE(FileText(L"New Recipient2.contact").find(">300<"), std::string::npos);

    // A later call sees them in the book and continues the series.
    EXPECT_EQ(S_OK, Add({L""}, {L"400"}));
    EXPECT_EQ(1u, ContactFiles().count(L"New Recipient3.contact"));
}

TEST_F(AddressBookTest, ANameAlreadyInTheBookIsSkippedWhateverItsNumber) {
    EXPECT_EQ(S_FALSE, Add({L"Ann", L"Ann"}, {L"100", L"200"})) << "the second Ann is skipped and comes last";
    EXPECT_EQ(std::set<std::wstring>{L"Ann.contact"}, ContactFiles());
    EXPECT_NE(FileText(L"Ann.contact").find(">100<"), std::string::npos);

    EXPECT_EQ(S_OK, Add({L"Ann", L"ann", L"Bob"}, {L"300", L"400", L"500"})) << "names compare case-sensitively";
    EXPECT_EQ((std::set<std::wstring>{L"Ann.contact", L"ann (1).contact", L"Bob.contact"}), ContactFiles());
}

TEST_F(AddressBookTest, ExtraNamesAreIgnoredAndNonZeroBoundsAreHonoured) {
    const com::UniqueSafeArray names = Strings({L"Zed", L"Ann", L"Bob"}, 4);
    const com::UniqueSafeArray numbers = Strings({L"100", L"200"}, 5);
    EXPECT_EQ(S_OK, m_book->AddNewContacts(names.get(), numbers.get()));
    EXPECT_EQ((std::set<std::wstring>{L"Ann.contact", L"Bob.contact"}), ContactFiles());
}

TEST_F(AddressBookTest, TheModuleCanUnloadOnceTheObjectIsGone) {
    using CanUnload = HRESULT(WINAPI*)();
    const HMODULE module = ::GetModuleHandleW(L"VelPhonebook64.dll");
    ASSERT_TRUE(module);
    const auto canUnload =
        reinterpret_cast<CanUnload>(reinterpret_cast<void*>(::GetProcAddress(module, "DllCanUnloadNow")));
    ASSERT_EQ(S_OK, Add({L"Ann"}, {L"100"}));
    EXPECT_EQ(S_FALSE, canUnload());
    m_book.reset();
    EXPECT_EQ(S_OK, canUnload());
}

}  // namespace
