// The MRU store as other programs may leave it: a seeded sample of hostile
// stores, each judged in a child process (GetMRU, the control's listing,
// UpdateMRU, the store as saved and read back), and the faults the full runs
// found, pinned down one by one.
#include "support/control_host.h"
#include "fuzz/inputs/hostile_inputs.h"
#include "fuzz_support.h"
#include "support/mru_fixture.h"

#include "com/strings.h"

#include <algorithm>

using namespace testing_support;

namespace {

const char* StoreKindOfSeed(uint64_t seed) {
    return fuzz::KindName(fuzz::StoreKindOf(seed));
}

class HostileMRUStores : public MRUStoreTest {
protected:
    static void SetUpTestSuite() { ASSERT_EQ(0, RunRegsvr32(false)); }
};

// Each seed is one store of the kind the seed stands for (seed mod 8); the
// sample covers every kind twice (each store takes a second or more: the
// control reloads on its timer, twice). A hang verdict only catches a child
// that has stopped: the time-out is far beyond any store's work.
TEST_F(HostileMRUStores, NeitherCrashNorHangAndWhatIsReadableIsListedAndSavedWhole) {
    const std::vector<uint64_t> seeds =
        fuzz_test::SampleSeeds("MRU stores", L"VELPHONEBOOK_FUZZ_MRU_SEED", 1000, 16);
    const auto outcomes = fuzz::RunInChildren(L"mru", seeds, 60000, 10);
    ASSERT_EQ(seeds.size(), outcomes.size());
    EXPECT_EQ("", fuzz_test::Failures(outcomes, &StoreKindOfSeed));
}

std::vector<BYTE> Bytes(const std::wstring& text) {
    return {reinterpret_cast<const BYTE*>(text.data()),
            reinterpret_cast<const BYTE*>(text.data() + text.size())};
}

// Texts that fill the component's 4096-byte read buffer, as other writers
// leave them: at most 2047 characters are read, and what was read is what
// the next save writes, so the store reads back the same. (A text of 2048
// characters without its terminator used to be read whole, saved with a
// terminator in 4098 bytes, and then not read at all: the entry was lost.)
TEST_F(HostileMRUStores, TextsFillingTheReadBufferAreReadAsTheyAreSaved) {
    const std::wstring longest(2047, L'f');
    const struct {
        const char* what;
        std::vector<BYTE> bytes;
    } cases[] = {
        {"2048 characters without terminator", Bytes(longest + L'f')},
        {"2047 characters and an odd byte",
         [&] {
             std::vector<BYTE> bytes = Bytes(longest);
             bytes.push_back('x');
             return bytes;
         }()},
        {"2047 characters with terminator", Bytes(longest + L'\0')},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        DeleteUserKey(kMRUKeyPath);
        WriteMRUValue(L"00", L"ID", REG_SZ, L"id", 6);
        com::UniqueHKey key;
        ASSERT_EQ(ERROR_SUCCESS,
                  ::RegOpenKeyExW(HKEY_CURRENT_USER, (std::wstring(kMRUKeyPath) + L"\\00").c_str(), 0,
                                  KEY_SET_VALUE, key.put()));
        ASSERT_TRUE(fuzz::SetRawValue(key.get(), L"Name", REG_SZ, c.bytes));
        ASSERT_TRUE(fuzz::SetRawValue(key.get(), L"Fax", REG_SZ, c.bytes));
        MRUEntryList read;
        LoadMRUStore(read);
        ASSERT_EQ(1u, read.size());
        // Compared by length and content apart, so that a failure does not print 2,000 characters.
        EXPECT_EQ(longest.size(), read.front().name.size());
        EXPECT_TRUE(read.front().name.compare(0, longest.size(), longest) == 0);
        EXPECT_EQ(longest.size(), read.front().faxNumber.size());
        SaveMRUStore(read);
        MRUEntryList again;
        LoadMRUStore(again);
        ASSERT_EQ(1u, again.size()) << "the entry was lost by its own save";
        EXPECT_TRUE(read.front().name == again.front().name &&
                    read.front().faxNumber == again.front().faxNumber);
    }
}

// Two entries with one identifier, as another program may write them, then
// a store without them. Their records share a key; the first control used
// to show both rows and keep both after they were gone, the second to show
// the later entry's name and number in both rows.
TEST_F(HostileMRUStores, EntriesSharingAnIdentifierAreListedOnceAndLeaveWithTheStore) {
    using Listing = std::vector<std::pair<std::wstring, std::wstring>>;
    const auto listing = [](IVelPhonebookControl3* control) {
        Listing rows;
        for (int row = 0, count = int(control->GetItemCount()); row < count; ++row) {
            ULONG id = 0;
            com::UniqueBstr name, fax;
            control->GetItem(row, &id, name.put(), fax.put());
            rows.emplace_back(com::FromBstr(name.get()), com::FromBstr(fax.get()));
        }
        std::sort(rows.begin(), rows.end());
        return rows;
    };
    ComApartment apartment;
    for (const wchar_t* progId : {control_test::kProgId, L"Zantix.VelPhonebookControl2"}) {
        SCOPED_TRACE(::testing::PrintToString(std::wstring(progId)));
        DeleteUserKey(kMRUKeyPath);
        WriteRawMRUEntry(L"00", L"same", L"Ann", L"111");
        WriteRawMRUEntry(L"01", L"same", L"Bob", L"222");
        WriteRawMRUEntry(L"02", L"other", L"Cid", L"333");
        control_test::AtlHost host(360, 330, progId);
        const auto control = host.query<IVelPhonebookControl3>();
        ASSERT_TRUE(control);
        ASSERT_EQ(S_OK, control->SelectOutlookAddressBook(-1));
        const Listing first = {{L"Ann", L"111"}, {L"Cid", L"333"}};
        control_test::PumpUntil([&] { return listing(control.get()) == first; }, 5000);
        EXPECT_EQ(first, listing(control.get()));

        MRUEntryList rest(1);
        rest.front().identifier = L"other";
        rest.front().name = L"Cid";
        rest.front().faxNumber = L"333";
        SaveMRUStore(rest);
        const Listing second = {{L"Cid", L"333"}};
        control_test::PumpUntil([&] { return listing(control.get()) == second; }, 5000);
        EXPECT_EQ(second, listing(control.get()));
    }
}

}  // namespace
