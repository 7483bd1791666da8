// Long recipient texts given to MRUList through COM on a thread with a
// 256 KB stack (smaller than any host's): a piece or a text of any length
// must neither overflow the caller's stack nor lose a recipient. An overflow
// ends the thread (the results stay unset) or the whole program (the run
// then has no summary): either way the run fails.
#include "com/com_ptr.h"
#include "com/strings.h"
#include "module/VelPhonebook_h.h"
#include "mru/child/long_texts.h"
#include "support/mru_fixture.h"

using namespace testing_support;

namespace {

class LongTextOnSmallStack : public MRUStoreTest {
protected:
    static void SetUpTestSuite() { ASSERT_EQ(0, RunRegsvr32(false)); }
};

TEST_F(LongTextOnSmallStack, GivesAndStoresTheRecipientsWithoutOverflowing) {
    const std::pair<const wchar_t*, size_t> inputs[] = {
        {L"piece", 10'000}, {L"piece", 1'000'000}, {L"text", 1'000'000}};
    for (const auto& [shape, length] : inputs) {
        SCOPED_TRACE(::testing::PrintToString(std::wstring(shape)) + " of " + std::to_string(length));
        DeleteUserKey(kMRUKeyPath);
        const long_texts::Case sent = long_texts::Make(shape, length);
        HRESULT split = E_PENDING, updated = E_PENDING;
        std::vector<std::wstring> names, numbers;
        ASSERT_TRUE(RunOnThread(256 * 1024, [&] {
            ComApartment apartment;
            CLSID clsid{};
            com::ComPtr<IMRUList> mru;
            if (FAILED(::CLSIDFromProgID(L"Zantix.MRUList", &clsid)) ||
                FAILED(::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IMRUList),
                                          mru.put_void())))
                return;
            com::UniqueBstr text(com::AllocBstr(sent.text));
            com::UniqueSafeArray nameArray, numberArray;
            split = mru->StringToLists(nameArray.put(), numberArray.put(), text.get());
            com::ReadStringArray(nameArray.get(), names);
            com::ReadStringArray(numberArray.get(), numbers);
            updated = mru->UpdateMRU(text.get());
        }));
        EXPECT_EQ(S_OK, split);
        EXPECT_TRUE(sent.names == names && sent.numbers == numbers) << names.size() << " recipients";
        ASSERT_EQ(S_OK, updated);

        // The store holds the last recipients first, each written whole.
        const size_t stored = std::min<size_t>(30, sent.names.size());
        ASSERT_EQ(stored, MRUSubkeys().size());
        for (size_t position : {size_t(0), stored - 1}) {
            const size_t index = sent.names.size() - 1 - position;
            const std::wstring subkey = MRUSubkeyName(unsigned(position));
            EXPECT_EQ(sent.names[index], ReadMRUValue(subkey, L"Name")->text()) << position;
            EXPECT_EQ(sent.numbers[index], ReadMRUValue(subkey, L"Fax")->text()) << position;
            EXPECT_EQ(sent.numbers[index] + L' ' + sent.names[index], ReadMRUValue(subkey, L"ID")->text())
                << position;
        }
    }
}

}  // namespace
