// The MRU store as other programs may leave it: the faults the randomised
// runs (benchmarks/fuzz_bench) found, pinned down one by one.
#include "support/control_host.h"
#include "support/mru_fixture.h"

#include "com/strings.h"

#include <algorithm>

using namespace testing_support;

namespace {

class HostileMRUStores : public MRUStoreTest {
protected:
    static void SetUpTestSuite() { ASSERT_EQ(0, RunRegsvr32(false)); }
};

// Texts that fill the 4096-byte read buffer, as other writers leave them: at
// most 2047 characters are read, and what was read is what the next save
// writes, so the store reads back the same. (A text of 2048 characters
// without its terminator used to be read whole, saved with a terminator in
// 4098 bytes, and then not read at all: the entry was lost.)
TEST_F(HostileMRUStores, TextsFillingTheReadBufferAreReadAsTheyAreSaved) {
    // The registry stores the bytes given; only a zero right after them would
    // make it add a terminator, so the texts run on past their size.
    const std::wstring f(2049, L'f'), fx = std::wstring(2047, L'f') + L"xx", f0 = std::wstring(2047, L'f') + L'\0';
    const std::pair<const std::wstring*, DWORD> cases[] = {{&f, 4096}, {&fx, 4095}, {&f0, 4096}};
    for (const auto& [text, bytes] : cases) {
        SCOPED_TRACE(bytes);
        DeleteUserKey(kMRUKeyPath);
        WriteMRUValue(L"00", L"ID", REG_SZ, L"id", 6);
        WriteMRUValue(L"00", L"Name", REG_SZ, text->data(), bytes);
        WriteMRUValue(L"00", L"Fax", REG_SZ, text->data(), bytes);
        MRUEntryList read, again;
        LoadMRUStore(read);
        ASSERT_EQ(1u, read.size());
        // Not compared by EXPECT_EQ, so that a failure does not print 2,000 characters.
        EXPECT_TRUE(read.front().name == std::wstring(2047, L'f') && read.front().faxNumber == read.front().name);
        SaveMRUStore(read);
        LoadMRUStore(again);
        ASSERT_EQ(1u, again.size()) << "the entry was lost by its own save";
        EXPECT_TRUE(again.front().name == read.front().name && again.front().faxNumber == read.front().faxNumber);
    }
}

// Two entries with one identifier, as another program may write them, then a
// store without them. The first control used to show both rows and keep both
// after they were gone, the second to show the later entry in both rows.
TEST_F(HostileMRUStores, EntriesSharingAnIdentifierAreListedOnceAndLeaveWithTheStore) {
    using Listing = std::vector<std::pair<std::wstring, std::wstring>>;
    const auto listing = [](IVelPhonebookControl3* control) {
        Listing rows;
        for (int row = 0, count = int(control->GetItemCount()); row < count; ++row) {
            com::UniqueBstr name, fax;
            control->GetItem(row, nullptr, name.put(), fax.put());
            rows.emplace_back(com::FromBstr(name.get()), com::FromBstr(fax.get()));
        }
        std::sort(rows.begin(), rows.end());
        return rows;
    };
    ComApartment apartment;
    for (const wchar_t* progId : {control_test::kProgId, L"Zantix.VelPhonebookControl2"}) {
        SCOPED_TRACE(Utf8(progId));
        DeleteUserKey(kMRUKeyPath);
        WriteRawMRUEntry(L"00", L"same", L"Ann", L"111");
        WriteRawMRUEntry(L"01", L"same", L"Bob", L"222");
        WriteRawMRUEntry(L"02", L"other", L"Cid", L"333");
        control_test::AtlHost host(360, 330, progId);
        const auto control = host.query<IVelPhonebookControl3>();
        ASSERT_TRUE(control);
        ASSERT_EQ(S_OK, control->SelectOutlookAddressBook(-1));
        const Listing first = {{L"Ann", L"111"}, {L"Cid", L"333"}}, second = {{L"Cid", L"333"}};
        control_test::PumpUntil([&] { return listing(control.get()) == first; }, 5000);
        EXPECT_EQ(first, listing(control.get()));
        DeleteUserKey(kMRUKeyPath);
        WriteRawMRUEntry(L"00", L"other", L"Cid", L"333");
        control_test::PumpUntil([&] { return listing(control.get()) == second; }, 5000);
        EXPECT_EQ(second, listing(control.get()));
    }
}

}  // namespace
