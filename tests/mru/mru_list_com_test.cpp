// MRUList as a host uses it: registered with regsvr32, created by ProgID,
// called through its interface, through IDispatch and from a script engine.
#include "com/com_ptr.h"
#include "com/strings.h"
#include "module/VelPhonebook_h.h"
#include "support/mru_fixture.h"

using namespace testing_support;
using com::ComPtr;
using com::UniqueBstr;
using com::UniqueSafeArray;

namespace {

class MRUListTest : public MRUStoreTest {
protected:
    static void SetUpTestSuite() { ASSERT_EQ(0, RunRegsvr32(false)); }

    void SetUp() override {
        MRUStoreTest::SetUp();
        CLSID clsid{};
        ASSERT_HRESULT_SUCCEEDED(::CLSIDFromProgID(L"Zantix.MRUList", &clsid));
        ASSERT_HRESULT_SUCCEEDED(::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IMRUList),
                                                    m_mru.put_void()));
    }

    HRESULT Update(const wchar_t* text) {
        UniqueBstr list(com::AllocBstr(text));
        return m_mru->UpdateMRU(list.get());
    }
    std::wstring GetMRU() {
        UniqueBstr list;
        EXPECT_EQ(S_OK, m_mru->GetMRU(list.put()));
        return com::FromBstr(list.get());
    }
    static SYSTEMTIME StoredDate(const std::wstring& subkey) {
        SYSTEMTIME date{};
        if (const auto value = ReadMRUValue(subkey, L"Date"); value && value->bytes.size() == sizeof date)
            memcpy(&date, value->bytes.data(), sizeof date);
        return date;
    }
    static UniqueSafeArray Strings(std::vector<std::wstring> texts) {
        UniqueSafeArray array;
        EXPECT_EQ(S_OK, com::MakeStringArray(texts, array.put()));
        return array;
    }
    static std::vector<std::wstring> Read(SAFEARRAY* array) {
        std::vector<std::wstring> texts;
        EXPECT_EQ(S_OK, com::ReadStringArray(array, texts));
        return texts;
    }

    ComApartment m_apartment;
    ComPtr<IMRUList> m_mru;
};

TEST_F(MRUListTest, InitializeAndTerminateKeepACount) {
    EXPECT_EQ(E_FAIL, m_mru->Terminate());
    EXPECT_EQ(S_OK, m_mru->Initialize());
    EXPECT_EQ(S_FALSE, m_mru->Initialize());
    EXPECT_EQ(S_FALSE, m_mru->Terminate());
    EXPECT_EQ(S_OK, m_mru->Terminate());
    EXPECT_EQ(E_FAIL, m_mru->Terminate());
    EXPECT_EQ(S_OK, Update(L"A 1")) << "the other methods work whatever the count";
}

TEST_F(MRUListTest, UpdatePutsTheLastRecipientFirst) {
    EXPECT_EQ(L"", GetMRU()) << "a missing store";
    ASSERT_EQ(S_OK, Update(L""));
    EXPECT_EQ(L"", GetMRU()) << "an empty store";
    ASSERT_EQ(S_OK, Update(L"A 1;B 2"));
    EXPECT_EQ((std::vector<std::wstring>{L"00", L"01"}), MRUSubkeys());
    EXPECT_EQ(L"B", ReadMRUValue(L"00", L"Name")->text());
    EXPECT_EQ(L"2", ReadMRUValue(L"00", L"Fax")->text());
    EXPECT_EQ(L"2 B", ReadMRUValue(L"00", L"ID")->text());
    EXPECT_EQ(L"1 A", ReadMRUValue(L"01", L"ID")->text());
    EXPECT_EQ(L"B 2;A 1", GetMRU());
    SYSTEMTIME now;
    ::GetSystemTime(&now);
    EXPECT_EQ(now.wYear, StoredDate(L"00").wYear) << "dated now, in UTC";
}

TEST_F(MRUListTest, ResendingMovesTheEntryKeepingIdentifierAndFavourite) {
    WriteRawMRUEntry(L"00", L"2 B", L"B", L"2");
    WriteRawMRUEntry(L"01", L"own id", L"A", L"1", /*favorite*/ 1);
    const SYSTEMTIME old{2001, 1, 1, 1, 0, 0, 0, 0};
    WriteMRUValue(L"01", L"Date", REG_BINARY, &old, sizeof old);

    ASSERT_EQ(S_OK, Update(L"A 1"));
    EXPECT_EQ(L"own id", ReadMRUValue(L"00", L"ID")->text());
    EXPECT_EQ(1u, *reinterpret_cast<const DWORD*>(ReadMRUValue(L"00", L"Favorite")->bytes.data()));
    EXPECT_NE(2001, StoredDate(L"00").wYear) << "a resent recipient gets a new date";
    EXPECT_EQ(L"B", ReadMRUValue(L"01", L"Name")->text());

    ASSERT_EQ(S_OK, Update(L"a 1"));
    EXPECT_EQ(3u, MRUSubkeys().size()) << "names compare case-sensitively";
}

TEST_F(MRUListTest, ARecipientNamedTwiceTakesTheFirstStoredEntryOnce) {
    WriteRawMRUEntry(L"00", L"first", L"A", L"1", /*favorite*/ 1);
    WriteRawMRUEntry(L"01", L"second", L"A", L"1");
    WriteRawMRUEntry(L"02", L"2 B", L"B", L"2");

    ASSERT_EQ(S_OK, Update(L"A 1;C 3;A 1;B 2"));
    const wchar_t* expected[][2] = {{L"2 B", L"B"}, {L"first", L"A"}, {L"3 C", L"C"}, {L"second", L"A"}};
    ASSERT_EQ(std::size(expected), MRUSubkeys().size());
    for (unsigned i = 0; i < std::size(expected); ++i) {
        EXPECT_EQ(expected[i][0], ReadMRUValue(MRUSubkeyName(i), L"ID")->text()) << i;
        EXPECT_EQ(expected[i][1], ReadMRUValue(MRUSubkeyName(i), L"Name")->text()) << i;
    }
    EXPECT_EQ(1u, *reinterpret_cast<const DWORD*>(ReadMRUValue(L"01", L"Favorite")->bytes.data()));
}

// Another program may leave any tree in the store's key, as deep as the
// registry allows (512 levels): saving deletes it without following it level
// by level on the caller's stack.
TEST_F(MRUListTest, ADeepForeignTreeIsDeletedOnASmallStack) {
    WriteRawMRUEntry(L"00", L"1 A", L"A", L"1");
    com::UniqueHKey key;
    ASSERT_EQ(ERROR_SUCCESS, ::RegOpenKeyExW(HKEY_CURRENT_USER, kMRUKeyPath, 0, KEY_ALL_ACCESS, key.put()));
    for (int level = 0; level < 500; ++level) {
        com::UniqueHKey deeper;
        ASSERT_EQ(ERROR_SUCCESS, ::RegCreateKeyExW(key.get(), L"deep", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                                                   deeper.put(), nullptr))
            << level;
        key = std::move(deeper);
    }
    key.reset();
    HRESULT updated = E_PENDING;
    ASSERT_TRUE(RunOnThread(256 * 1024, [&] {
        ComApartment apartment;
        ComPtr<IMRUList> mru;
        CLSID clsid{};
        if (SUCCEEDED(::CLSIDFromProgID(L"Zantix.MRUList", &clsid)) &&
            SUCCEEDED(::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IMRUList),
                                         mru.put_void()))) {
            UniqueBstr text(com::AllocBstr(L"B 2"));
            updated = mru->UpdateMRU(text.get());
        }
    }));
    EXPECT_EQ(S_OK, updated);
    EXPECT_EQ((std::vector<std::wstring>{L"00", L"01"}), MRUSubkeys()) << "the foreign tree is gone";
    EXPECT_EQ(L"B", ReadMRUValue(L"00", L"Name")->text());
}

// The store keeps thirty recipients: the former last one goes, and of a
// longer list in one fax the last thirty are kept.
TEST_F(MRUListTest, TheStoreKeepsThirtyRecipients) {
    for (int i = 0; i < 30; ++i) WriteRawMRUEntry(MRUSubkeyName(i), L"id", (L"N" + std::to_wstring(i)).c_str(), L"1");
    ASSERT_EQ(S_OK, Update(L"New 99"));
    ASSERT_EQ(30u, MRUSubkeys().size());
    EXPECT_EQ(L"New", ReadMRUValue(L"00", L"Name")->text());
    EXPECT_EQ(L"N28", ReadMRUValue(L"29", L"Name")->text());

    std::wstring text;
    for (int i = 0; i < 40; ++i) text += L"R" + std::to_wstring(i) + L" " + std::to_wstring(100 + i) + L";";
    ASSERT_EQ(S_OK, Update(text.c_str()));
    ASSERT_EQ(30u, MRUSubkeys().size());
    EXPECT_EQ(L"R39", ReadMRUValue(L"00", L"Name")->text());
    EXPECT_EQ(L"R10", ReadMRUValue(L"29", L"Name")->text());
}

TEST_F(MRUListTest, GetMRUReadsAtMostThirtyWithoutChangingTheStore) {
    for (int i = 0; i < 35; ++i) WriteRawMRUEntry(MRUSubkeyName(i), L"id", L"N", std::to_wstring(i).c_str());
    WriteRawMRUEntry(L"01", L"id", L"No number", L"");
    const std::wstring text = GetMRU();
    EXPECT_EQ(28, std::count(text.begin(), text.end(), L';')) << "29 pieces from the first 30: one has no number";
    EXPECT_EQ(0u, text.find(L"N 0;N 2;"));
    EXPECT_EQ(35u, MRUSubkeys().size());
}

// Null arguments and arrays that are not one-dimensional BSTR arrays.
TEST_F(MRUListTest, BadArgumentsAreRejected) {
    UniqueBstr text(com::AllocBstr(L"A 1"));
    UniqueSafeArray names = Strings({L"A"}), numbers = Strings({L"1"});
    BSTR out = nullptr;
    SAFEARRAY* outNames = nullptr;
    SAFEARRAY* outNumbers = nullptr;
    EXPECT_EQ(E_INVALIDARG, m_mru->UpdateMRU(nullptr));
    EXPECT_EQ(E_INVALIDARG, m_mru->GetMRU(nullptr));
    EXPECT_EQ(E_INVALIDARG, m_mru->ListsToString(nullptr, names.get(), numbers.get()));
    EXPECT_EQ(E_INVALIDARG, m_mru->StringToLists(nullptr, &outNumbers, text.get()));
    EXPECT_EQ(E_INVALIDARG, m_mru->StringToLists(&outNames, nullptr, text.get()));
    EXPECT_EQ(E_INVALIDARG, m_mru->StringToLists(&outNames, &outNumbers, nullptr));

    UniqueSafeArray integers(::SafeArrayCreateVector(VT_I4, 0, 1));
    UniqueSafeArray variants(::SafeArrayCreateVector(VT_VARIANT, 0, 1));
    SAFEARRAYBOUND bounds[2] = {{1, 0}, {1, 0}};
    UniqueSafeArray twoDimensions(::SafeArrayCreate(VT_BSTR, 2, bounds));
    const std::pair<const char*, SAFEARRAY*> wrongArrays[] = {
        {"null", nullptr}, {"VT_I4", integers.get()}, {"VT_VARIANT", variants.get()}, {"2 dimensions", twoDimensions.get()}};
    for (const auto& [what, wrong] : wrongArrays) {
        EXPECT_EQ(E_INVALIDARG, m_mru->ListsToString(&out, wrong, numbers.get())) << what;
        EXPECT_EQ(E_INVALIDARG, m_mru->ListsToString(&out, numbers.get(), wrong)) << what;
        EXPECT_EQ(nullptr, out) << what;
    }
    EXPECT_TRUE(MRUSubkeys().empty()) << "nothing was written";
}

TEST_F(MRUListTest, ListsToStringJoinsTheArrays) {
    UniqueSafeArray names = Strings({L"", L"Bob"}), numbers = Strings({L"123", L""});
    UniqueBstr out;
    ASSERT_EQ(S_OK, m_mru->ListsToString(out.put(), names.get(), numbers.get()));
    EXPECT_EQ(L"123", com::FromBstr(out.get()));

    // Bounds other than 0 and null elements are read as they are.
    SAFEARRAYBOUND bound{2, 5};
    UniqueSafeArray shifted(::SafeArrayCreate(VT_BSTR, 1, &bound));
    LONG index = 6;
    UniqueBstr zed(com::AllocBstr(L"Zed"));
    ASSERT_EQ(S_OK, ::SafeArrayPutElement(shifted.get(), &index, zed.get()));
    UniqueSafeArray twoNumbers = Strings({L"1", L"2"});
    ASSERT_EQ(S_OK, m_mru->ListsToString(out.put(), shifted.get(), twoNumbers.get()));
    EXPECT_EQ(L"1;Zed 2", com::FromBstr(out.get()));
}

TEST_F(MRUListTest, StringToListsMakesZeroBasedArrays) {
    UniqueBstr text(com::AllocBstr(L"Ann Smith +1-555;Ann; 42"));
    UniqueSafeArray names, numbers;
    ASSERT_EQ(S_OK, m_mru->StringToLists(names.put(), numbers.put(), text.get()));
    LONG lower = -1;
    ASSERT_EQ(S_OK, ::SafeArrayGetLBound(names.get(), 1, &lower));
    EXPECT_EQ(0, lower);
    EXPECT_EQ((std::vector<std::wstring>{L"Ann Smith", L""}), Read(names.get()));
    EXPECT_EQ((std::vector<std::wstring>{L"+1-555", L"42"}), Read(numbers.get()));

    UniqueBstr empty(com::AllocBstr(L""));
    ASSERT_EQ(S_OK, m_mru->StringToLists(names.put(), numbers.put(), empty.get()));
    ASSERT_NE(nullptr, names.get()) << "no recipients is an empty array, not a missing one";
    EXPECT_TRUE(Read(names.get()).empty());
    EXPECT_TRUE(Read(numbers.get()).empty());
}

// Early-bound clients call by these identifiers; the script test calls by name.
TEST_F(MRUListTest, IDispatchGivesThePublishedIdentifiers) {
    ComPtr<IDispatch> dispatch = m_mru.query<IDispatch>();
    ASSERT_TRUE(dispatch);
    const std::pair<const wchar_t*, DISPID> methods[] = {
        {L"Initialize", 1},          {L"Terminate", 2},          {L"UpdateMRU", 0x60020002},
        {L"GetMRU", 0x60020003},     {L"ListsToString", 0x60020004}, {L"StringToLists", 0x60020005}};
    for (auto [name, expected] : methods) {
        LPOLESTR names[] = {const_cast<LPOLESTR>(name)};
        DISPID id = 0;
        ASSERT_EQ(S_OK, dispatch->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id)) << name;
        EXPECT_EQ(expected, id) << name;
    }
}

TEST_F(MRUListTest, RepeatedCallsLeaveNoHandleBehind) {
    Update(L"Warm 1");
    GetMRU();
    const int handles = HandleCount();
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(S_OK, Update((L"R" + std::to_wstring(i) + L" " + std::to_wstring(i)).c_str()));
        GetMRU();
    }
    EXPECT_EQ(handles, HandleCount());
}

TEST_F(MRUListTest, AScriptClientRecordsASentFax) {
    std::string output;
    const int exitCode = RunProcess(L"cscript.exe //nologo \"" + BinDir() +
                                    L"mru_update.js\" \"Script Sender 555-0142;Other 77\"",
                                    &output);
    ASSERT_EQ(0, exitCode) << output;
    ASSERT_NE(std::string::npos, output.find("OK")) << output;
    EXPECT_EQ(L"Other", ReadMRUValue(L"00", L"Name")->text());
    EXPECT_EQ(L"555-0142 Script Sender", ReadMRUValue(L"01", L"ID")->text());
}

}  // namespace
