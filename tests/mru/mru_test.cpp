// The recipient list text both ways, as literal tables; MRUList as a host
// uses it: registered with regsvr32, created by ProgID, called through its
// interface and from a script engine.
#include "com/com_ptr.h"
#include "com/invoke.h"
#include "com/strings.h"
#include "module/VelPhonebook_h.h"
#include "mru/mru_text.h"
#include "support/mru_fixture.h"

using namespace testing_support;
using com::ComPtr;
using com::UniqueBstr;
using com::UniqueSafeArray;
using Texts = std::vector<std::wstring>;

namespace {

// A piece and the name and number it splits into (no number: no recipient).
TEST(RecipientText, SplitsAPieceIntoNameAndTrailingNumber) {
    const wchar_t* const cases[][3] = {
        {L"Ann Smith +1-555-0100", L"Ann Smith", L"+1-555-0100"}, {L"555 0100", L"555", L"0100"}, {L"Ann", L"", L""},
        {L"123", L"", L"123"}, {L"   Ann 123", L"Ann", L"123"}, {L"", L"", L""}, {L"    ", L"", L""},
        // Trailing spaces stay, so no number reaches the end; only leading spaces leave the name.
        {L"Ann 123 ", L"", L""}, {L"Ann  123", L"Ann ", L"123"}, {L"  42", L"", L"42"},
        // Any run of number characters is a number; only a space separates; full-width digits are none.
        {L"*#+-0", L"", L"*#+-0"}, {L"Ann -", L"Ann", L"-"}, {L"Fax (555) 0100", L"Fax (555)", L"0100"},
        {L"A B  C 1 2 3", L"A B  C 1 2", L"3"}, {L"Ann 12a", L"", L""}, {L"Ann\t123", L"", L""},
        {L"Ann \uFF11\uFF12", L"", L""}, {L"Jos\u00e9 M\u00fcller 4711", L"Jos\u00e9 M\u00fcller", L"4711"},
        // The trimming pattern's "." stops at line terminators, and only at them.
        {L"Ann\n 123", L"", L""}, {L"Ann\r 123", L"", L""}, {L"Ann\u2028 123", L"", L""}, {L"\u2029Ann 123", L"", L""},
        {L"\u2027Ann 123", L"\u2027Ann", L"123"}, {L"Ann\v 123", L"Ann\v", L"123"},
        {L"\U0001F600 \U0001F600 12", L"\U0001F600 \U0001F600", L"12"},
    };
    for (const auto& [piece, name, number] : cases) {
        std::wstring gotName = L"stale", gotNumber = L"stale";
        SplitRecipient(piece, gotName, gotNumber);
        EXPECT_EQ(Texts({name, number}), Texts({gotName, gotNumber})) << testing::PrintToString(std::wstring(piece));
    }
}

// Texts and the lists they give (long ones: the small-stack test of MRUList),
// and lists and the text they give.
TEST(RecipientText, TextAndListsBothWays) {
    const struct {
        std::wstring text;
        Texts names, numbers;
    } toLists[] = {
        {L"", {}, {}}, {L";", {}, {}}, {L"A 1;A 1", {L"A", L"A"}, {L"1", L"1"}}, {L"A 1;", {L"A"}, {L"1"}},
        {L"  Ann Smith +1-555;;Nobody; 42;Bob *7#", {L"Ann Smith", L"", L"Bob"}, {L"+1-555", L"42", L"*7#"}},
        {std::wstring(L"A 1\0B 2", 7), {std::wstring(L"A 1\0B", 5)}, {L"2"}},  // a null is text like any other
    }, toText[] = {
        {L"123", {L"", L"Bob"}, {L"123", L""}}, {L"Ann 1;2;Cid 3", {L"Ann", L"", L"Cid"}, {L"1", L"2", L"3"}},
        // The longer list's extra elements are ignored; no trimming on the way out.
        {L"Ann 1", {L"Ann", L"Extra"}, {L"1"}}, {L"Ann 1", {L"Ann"}, {L"1", L"2"}}, {L"", {}, {L"1"}},
        {L"", {L"A"}, {L""}}, {L"Ann Smith  +1", {L"Ann Smith "}, {L"+1"}},
    };
    for (const auto& c : toLists) {
        const RecipientLists lists = TextToLists(c.text);
        EXPECT_TRUE(c.names == lists.names && c.numbers == lists.numbers) << testing::PrintToString(c.text);
    }
    for (const auto& c : toText) EXPECT_EQ(c.text, ListsToText(c.names, c.numbers));
}

ComPtr<IMRUList> CreateMRUList() {
    CLSID clsid{};
    ComPtr<IMRUList> mru;
    if (SUCCEEDED(::CLSIDFromProgID(L"Zantix.MRUList", &clsid)))
        ::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IMRUList), mru.put_void());
    return mru;
}

class MRUListTest : public MRUStoreTest {
protected:
    static void SetUpTestSuite() { ASSERT_EQ(0, RunRegsvr32(false)); }
    void SetUp() override {
        MRUStoreTest::SetUp();
        ASSERT_TRUE(m_mru = CreateMRUList());
    }
    HRESULT Update(const std::wstring& text) { return m_mru->UpdateMRU(UniqueBstr(com::AllocBstr(text)).get()); }
    std::wstring GetMRU() {
        UniqueBstr list;
        EXPECT_EQ(S_OK, m_mru->GetMRU(list.put()));
        return com::FromBstr(list.get());
    }
    // "ID/Name/Fax/Favorite" of each stored entry, in order.
    static Texts Stored() {
        Texts entries;
        for (const std::wstring& subkey : MRUSubkeys()) {
            const auto favorite = ReadMRUValue(subkey, L"Favorite");
            entries.push_back(ReadMRUValue(subkey, L"ID")->text() + L"/" + ReadMRUValue(subkey, L"Name")->text() + L"/" +
                              ReadMRUValue(subkey, L"Fax")->text() + L"/" +
                              (favorite && favorite->bytes.at(0) ? L"1" : L"0"));
        }
        return entries;
    }
    // The number of stored entries, the first and the last.
    static Texts Ends() {
        const Texts all = Stored();
        return all.empty() ? Texts{} : Texts{std::to_wstring(all.size()), all.front(), all.back()};
    }
    static WORD StoredYear(const std::wstring& subkey) {
        const auto value = ReadMRUValue(subkey, L"Date");
        return value && value->bytes.size() == sizeof(SYSTEMTIME) ? reinterpret_cast<const SYSTEMTIME*>(value->bytes.data())->wYear : 0;
    }
    static UniqueSafeArray Strings(const Texts& texts) {
        UniqueSafeArray array;
        com::MakeStringArray(texts, array.put());
        return array;
    }
    // The elements of both arrays, one after the other.
    static Texts Read(SAFEARRAY* names, SAFEARRAY* numbers) {
        Texts texts, more;
        EXPECT_EQ(S_OK, com::ReadStringArray(names, texts));
        EXPECT_EQ(S_OK, com::ReadStringArray(numbers, more));
        texts.insert(texts.end(), more.begin(), more.end());
        return texts;
    }

    ComApartment m_apartment;
    ComPtr<IMRUList> m_mru;
};

TEST_F(MRUListTest, InitializeAndTerminateKeepACount) {
    EXPECT_EQ((std::vector<HRESULT>{E_FAIL, S_OK, S_FALSE, S_FALSE, S_OK, E_FAIL}),
              (std::vector<HRESULT>{m_mru->Terminate(), m_mru->Initialize(), m_mru->Initialize(), m_mru->Terminate(),
                                    m_mru->Terminate(), m_mru->Terminate()}));
    EXPECT_EQ(S_OK, Update(L"A 1")) << "the other methods work whatever the count";
}

// The last recipient of a fax goes first; one sent to again moves there with
// its identifier and favourite mark and a new date (the first stored entry
// of its name and number, compared exactly).
TEST_F(MRUListTest, UpdatePutsTheSentRecipientsFirst) {
    EXPECT_EQ(L"", GetMRU()) << "a missing store";
    ASSERT_EQ(S_OK, Update(L"A 1;B 2"));
    EXPECT_EQ((Texts{L"2 B/B/2/0", L"1 A/A/1/0"}), Stored());
    EXPECT_EQ(L"B 2;A 1", GetMRU());
    SYSTEMTIME now;
    ::GetSystemTime(&now);
    EXPECT_EQ(now.wYear, StoredYear(L"00")) << "dated now, in UTC";

    DeleteUserKey(kMRUKeyPath);
    WriteRawMRUEntry(L"00", L"nine", L"A", L"9");
    WriteRawMRUEntry(L"01", L"first", L"A", L"1", /*favorite*/ 1);
    WriteRawMRUEntry(L"02", L"second", L"A", L"1");
    WriteRawMRUEntry(L"03", L"2 B", L"B", L"2");
    const SYSTEMTIME old{2001, 1, 1, 1, 0, 0, 0, 0};
    WriteMRUValue(L"01", L"Date", REG_BINARY, &old, sizeof old);
    ASSERT_EQ(S_OK, Update(L"A 1;C 3;A 1;B 2;a 1"));
    EXPECT_EQ((Texts{L"1 a/a/1/0", L"2 B/B/2/0", L"first/A/1/1", L"3 C/C/3/0", L"nine/A/9/0", L"second/A/1/0"}), Stored());
    EXPECT_EQ(now.wYear, StoredYear(L"02")) << "a resent recipient gets a new date";
}

// Thirty recipients are kept: the former last one goes, of a longer fax the
// last thirty are kept; GetMRU gives the first thirty and changes nothing.
TEST_F(MRUListTest, ThirtyRecipientsAreKept) {
    for (int i = 0; i < 30; ++i) WriteRawMRUEntry(MRUSubkeyName(i), L"id", (L"N" + std::to_wstring(i)).c_str(), L"1");
    ASSERT_EQ(S_OK, Update(L"New 99"));
    EXPECT_EQ((Texts{L"30", L"99 New/New/99/0", L"id/N28/1/0"}), Ends());

    std::wstring text;
    for (int i = 0; i < 40; ++i) text += L"R" + std::to_wstring(i) + L" " + std::to_wstring(100 + i) + L";";
    ASSERT_EQ(S_OK, Update(text));
    EXPECT_EQ((Texts{L"30", L"139 R39/R39/139/0", L"110 R10/R10/110/0"}), Ends());

    DeleteUserKey(kMRUKeyPath);
    for (int i = 0; i < 35; ++i) WriteRawMRUEntry(MRUSubkeyName(i), L"id", L"N", std::to_wstring(i).c_str());
    WriteRawMRUEntry(L"01", L"id", L"No number", L"");
    text = GetMRU();
    EXPECT_EQ(28, std::count(text.begin(), text.end(), L';')) << "29 pieces from the first 30: one has no number";
    EXPECT_EQ(0u, text.find(L"N 0;N 2;"));
    EXPECT_EQ(35u, MRUSubkeys().size());
}

TEST_F(MRUListTest, BadArgumentsAreRejected) {
    UniqueBstr text(com::AllocBstr(L"A 1"));
    // (Arrays of VARIANT are the twin's lists, not the published interface's.)
    UniqueSafeArray numbers = Strings({L"1"}), integers(::SafeArrayCreateVector(VT_I4, 0, 1)),
                    variants(::SafeArrayCreateVector(VT_VARIANT, 0, 1));
    SAFEARRAYBOUND bounds[2] = {{1, 0}, {1, 0}};
    UniqueSafeArray twoDimensions(::SafeArrayCreate(VT_BSTR, 2, bounds));
    BSTR out = nullptr;
    SAFEARRAY* array = nullptr;
    std::vector<HRESULT> results = {m_mru->UpdateMRU(nullptr), m_mru->GetMRU(nullptr),
                                    m_mru->ListsToString(nullptr, numbers.get(), numbers.get()),
                                    m_mru->StringToLists(nullptr, &array, text.get()),
                                    m_mru->StringToLists(&array, nullptr, text.get()),
                                    m_mru->StringToLists(&array, &array, nullptr)};
    for (SAFEARRAY* wrong :
         {static_cast<SAFEARRAY*>(nullptr), integers.get(), twoDimensions.get(), variants.get()})
        results.insert(results.end(), {m_mru->ListsToString(&out, wrong, numbers.get()),
                                       m_mru->ListsToString(&out, numbers.get(), wrong)});
    EXPECT_EQ(std::vector<HRESULT>(14, E_INVALIDARG), results);
    EXPECT_TRUE(MRUSubkeys().empty()) << "nothing was written";
}

// Arrays are read whatever their lower bound, a null element as empty; they
// are made zero-based, and empty (not missing) for no recipient.
TEST_F(MRUListTest, ArraysInAndOut) {
    SAFEARRAYBOUND bound{2, 5};
    UniqueSafeArray shifted(::SafeArrayCreate(VT_BSTR, 1, &bound));
    LONG index = 6;
    ASSERT_EQ(S_OK, ::SafeArrayPutElement(shifted.get(), &index, UniqueBstr(com::AllocBstr(L"Zed")).get()));
    UniqueBstr out;
    ASSERT_EQ(S_OK, m_mru->ListsToString(out.put(), shifted.get(), Strings({L"1", L"2"}).get()));
    EXPECT_EQ(L"1;Zed 2", com::FromBstr(out.get()));

    UniqueSafeArray names, numbers;
    ASSERT_EQ(S_OK, m_mru->StringToLists(names.put(), numbers.put(), UniqueBstr(com::AllocBstr(L"Ann 1; 42")).get()));
    LONG lower = -1;
    ::SafeArrayGetLBound(names.get(), 1, &lower);
    EXPECT_EQ(0, lower);
    EXPECT_EQ((Texts{L"Ann", L"", L"1", L"42"}), Read(names.get(), numbers.get()));
    ASSERT_EQ(S_OK, m_mru->StringToLists(names.put(), numbers.put(), UniqueBstr(com::AllocBstr(L"")).get()));
    ASSERT_TRUE(names.get() && numbers.get()) << "no recipients is an empty array, not a missing one";
    EXPECT_TRUE(Read(names.get(), numbers.get()).empty());
}

// A list as a script passes it: a VARIANT holding a one-dimensional array
// with the lower bound given, of VARIANT (each element a BSTR, or a number
// for "#n") or of BSTR elements.
struct ScriptList {
    VARTYPE element;
    LONG lower;
    Texts texts;
};
void MakeList(const ScriptList& list, VARIANT* out) {
    SAFEARRAYBOUND bound{ULONG(list.texts.size()), list.lower};
    SAFEARRAY* array = ::SafeArrayCreate(list.element, 1, &bound);
    ASSERT_TRUE(array);
    out->vt = VT_ARRAY | list.element;
    out->parray = array;
    // Through the data, not SafeArrayPutElement: its index check overflows
    // for an array that ends at the largest index.
    void* data = nullptr;
    ASSERT_EQ(S_OK, ::SafeArrayAccessData(array, &data));
    for (size_t i = 0; i < list.texts.size(); ++i) {
        const std::wstring& text = list.texts[i];
        if (list.element == VT_BSTR) {
            static_cast<BSTR*>(data)[i] = com::AllocBstr(text);
        } else if (list.element == VT_VARIANT && text.rfind(L"#", 0) == 0) {
            static_cast<VARIANT*>(data)[i].vt = VT_I4;
            static_cast<VARIANT*>(data)[i].lVal = std::stol(text.substr(1));
        } else if (list.element == VT_VARIANT && !text.empty()) {
            static_cast<VARIANT*>(data)[i].vt = VT_BSTR;
            static_cast<VARIANT*>(data)[i].bstrVal = com::AllocBstr(text);
        }
    }
    ::SafeArrayUnaccessData(array);
}

// The script-friendly twin through IDispatch by name, as a late-bound client
// (PowerShell, VBA, .NET dynamic) calls it: lists of either element type and
// of any bounds in, the text out; lists that do not cover the same indexes
// are refused, not paired.
TEST_F(MRUListTest, TheTwinTakesScriptListsOfAnyBounds) {
    const auto dispatch = m_mru.query<IDispatch>();
    LPOLESTR name = const_cast<LPOLESTR>(L"ListsToText");
    DISPID id = 0;
    ASSERT_EQ(S_OK, dispatch->GetIDsOfNames(IID_NULL, &name, 1, LOCALE_USER_DEFAULT, &id));
    struct Case {
        ScriptList names, numbers;
        HRESULT hr;
        std::wstring text;
    };
    constexpr LONG kMin = LONG(0x80000000), kMax = 0x7FFFFFFF;
    const Case cases[] = {
        {{VT_VARIANT, 0, {L"Ann", L"", L"Bob"}}, {VT_VARIANT, 0, {L"1", L"2", L"3"}}, S_OK, L"Ann 1;2;Bob 3"},
        // BSTR elements stay text.
        {{VT_VARIANT, 1, {L"Ann"}}, {VT_BSTR, 1, {L"#5550100"}}, S_OK, L"Ann #5550100"},
        {{VT_BSTR, 1, {L"Ann", L"Bob"}}, {VT_VARIANT, 1, {L"#5550100", L""}}, S_OK, L"Ann 5550100"},
        {{VT_VARIANT, kMin, {L"A", L"B"}}, {VT_VARIANT, kMin, {L"1", L"2"}}, S_OK, L"A 1;B 2"},
        {{VT_VARIANT, kMax - 1, {L"A", L"B"}}, {VT_VARIANT, kMax - 1, {L"1", L"2"}}, S_OK, L"A 1;B 2"},
        {{VT_VARIANT, 7, {}}, {VT_BSTR, 7, {}}, S_OK, L""},
        {{VT_VARIANT, 0, {L"A", L"B"}}, {VT_VARIANT, 1, {L"1", L"2"}}, E_INVALIDARG, L""},
        {{VT_VARIANT, kMin, {L"A"}}, {VT_VARIANT, kMax, {L"1"}}, E_INVALIDARG, L""},
        {{VT_VARIANT, 0, {L"A", L"B"}}, {VT_VARIANT, 0, {L"1"}}, E_INVALIDARG, L""},
        {{VT_I4, 0, {L"#1"}}, {VT_VARIANT, 0, {L"1"}}, E_INVALIDARG, L""},
    };
    for (const Case& c : cases) {
        com::UniqueVariant names, numbers, text;
        MakeList(c.names, &names);
        MakeList(c.numbers, &numbers);
        EXPECT_EQ(c.hr, com::Invoke(dispatch.get(), id, DISPATCH_METHOD, {names, numbers}, &text))
            << testing::PrintToString(c.names.texts) << " from " << c.names.lower;
        EXPECT_TRUE(c.hr != S_OK || (text.vt == VT_BSTR && com::FromBstr(text.bstrVal) == c.text));
    }
    com::UniqueVariant numbers, text;
    MakeList({VT_VARIANT, 0, {L"1"}}, &numbers);
    EXPECT_EQ(E_INVALIDARG, com::Invoke(dispatch.get(), id, DISPATCH_METHOD, {com::LongArg(1), numbers}, &text))
        << "no array at all";
}

// On a thread with a 256 KB stack (smaller than any host's): a long piece, a
// long text and a deep tree another program left in the store's key neither
// overflow the stack nor lose a recipient. An overflow ends the thread (the
// results stay unset) or the program (the run has no summary).
TEST_F(MRUListTest, LongInputOnASmallStack) {
    com::UniqueHKey key;
    ASSERT_EQ(ERROR_SUCCESS, ::RegCreateKeyExW(HKEY_CURRENT_USER, kMRUKeyPath, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                                               key.put(), nullptr));
    for (int level = 0; level < 500; ++level) {
        com::UniqueHKey deeper;
        ASSERT_EQ(ERROR_SUCCESS, ::RegCreateKeyExW(key.get(), L"deep", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                                                   deeper.put(), nullptr));
        key = std::move(deeper);
    }
    key.reset();
    const std::wstring longName(1'000'000, L'n');
    std::wstring manyPieces;
    for (int i = 0; i < 40'000; ++i) manyPieces += L"  R" + std::to_wstring(i) + L" +" + std::to_wstring(i) + L";x;";
    HRESULT results[4] = {E_PENDING, E_PENDING, E_PENDING, E_PENDING};
    Texts names[2], numbers[2];
    ASSERT_TRUE(RunOnThread(256 * 1024, [&] {
        ComApartment apartment;
        const ComPtr<IMRUList> mru = CreateMRUList();
        if (!mru) return;
        const std::wstring texts[2] = {manyPieces, longName + L" +49-30#1*2"};
        for (int i = 0; i < 2; ++i) {
            UniqueBstr text(com::AllocBstr(texts[i]));
            UniqueSafeArray nameArray, numberArray;
            results[2 * i] = mru->StringToLists(nameArray.put(), numberArray.put(), text.get());
            com::ReadStringArray(nameArray.get(), names[i]);
            com::ReadStringArray(numberArray.get(), numbers[i]);
            results[2 * i + 1] = mru->UpdateMRU(text.get());
        }
    }));
    for (HRESULT result : results) EXPECT_EQ(S_OK, result);
    ASSERT_EQ(40'000u, names[0].size());
    EXPECT_EQ((std::tuple{40'000u, L"R39999", L"+39999"}),
              (std::tuple{numbers[0].size(), names[0].back(), numbers[0].back()}));
    EXPECT_TRUE(names[1] == Texts{longName} && numbers[1] == Texts{L"+49-30#1*2"});
    const Texts stored = Stored();
    ASSERT_EQ(30u, stored.size()) << "the foreign tree is gone";
    // The store keeps what its reader takes back: 2047 characters of each text.
    EXPECT_TRUE(stored.front() == (L"+49-30#1*2 " + longName).substr(0, 2047) + L"/" + longName.substr(0, 2047) +
                                      L"/+49-30#1*2/0")
        << "cut at what a read takes";
    EXPECT_EQ((Texts{L"+39999 R39999/R39999/+39999/0", L"+39971 R39971/R39971/+39971/0"}), (Texts{stored[1], stored.back()}));
}

// A caller nobody here wrote: JScript through IDispatch, by name.
TEST_F(MRUListTest, AScriptClientRecordsASentFax) {
    std::string output;
    ASSERT_EQ(0, RunProcess(L"cscript.exe //nologo \"" + BinDir() + L"mru_update.js\" \"Script Sender 555-0142;Other 77\"",
                            &output));
    ASSERT_NE(std::string::npos, output.find("OK")) << output;
    EXPECT_EQ((Texts{L"77 Other/Other/77/0", L"555-0142 Script Sender/Script Sender/555-0142/0"}), Stored());
}

}  // namespace
