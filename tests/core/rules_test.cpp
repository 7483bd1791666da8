// The rules every source shares, by example: the identifier table, the fax
// filter, find by key, the comparison a reload works with, the names of
// recipients without one, and the names of the MRU store's subkeys.
#include "core/iab.h"
#include "core/unique_name.h"
#include "sources/mru_store.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

// A source whose store is a list held by the test.
class ListSource : public IAB {
public:
    HRESULT Connect() override { return S_OK; }
    void Disconnect() override {}
    HRESULT LoadAll(RecipientList& out) override {
        out = store;
        return loadResult;
    }
    HRESULT Add(CRecipient&) override { return E_NOTIMPL; }
    HRESULT Delete(ULONG) override { return E_NOTIMPL; }
    HRESULT Get(ULONG, CRecipient&) override { return E_NOTIMPL; }
    HRESULT Modify(ULONG, const CRecipient&) override { return E_NOTIMPL; }
    bool SetNotifyWindow(HWND, bool) override { return false; }
    RecipientList store;
    HRESULT loadResult = S_OK;
};

CRecipient Record(ULONG_PTR key, const std::wstring& name, const wchar_t* fax = L"") {
    CRecipient r;
    std::tie(r.key, r.name, r.faxNumber) = std::tuple(key, name, fax);
    return r;
}

std::vector<std::wstring> Names(const RecipientList& list) {
    std::vector<std::wstring> names;
    for (const CRecipient& r : list) names.push_back(r.name);
    return names;
}

TEST(IdentifierTable, HandsOutKeysFromOneComparingExactly) {
    ListSource source;
    const std::pair<const wchar_t*, ULONG_PTR> steps[] = {
        {L"first", 1}, {L"second", 2}, {L"first", 1}, {L"FIRST", 3}, {L"first ", 4}, {L"second", 2}, {L"", 0}};
    for (const auto& [identifier, key] : steps) EXPECT_EQ(key, source.KeyFromIdentifier(identifier));
    EXPECT_EQ(5u, source.IdentifierCount());
    EXPECT_EQ((std::vector<std::wstring>{L"FIRST", L"", L"", L""}),
              (std::vector<std::wstring>{source.IdentifierFromKey(3), source.IdentifierFromKey(0),
                                         source.IdentifierFromKey(5), source.IdentifierFromKey(ULONG_PTR(-1))}));
}

TEST(IdentifierTable, FaxFilterAndFindByKey) {
    ListSource source;
    source.store = {Record(2, L"no number"), Record(1, L"complete", L"1"), Record(0, L"no key", L"3")};
    RecipientList out = {Record(9, L"stale", L"9")};
    EXPECT_EQ(S_OK, source.LoadFaxRecipients(out));
    EXPECT_EQ(std::vector<std::wstring>{L"complete"}, Names(out));
    source.loadResult = E_ACCESSDENIED;
    EXPECT_EQ(E_ACCESSDENIED, source.LoadFaxRecipients(out));
    EXPECT_TRUE(out.empty());

    RecipientList list = {Record(4, L"a"), Record(7, L"first 7"), Record(7, L"second 7")};
    const auto seven = source.FindByKey(list, 7);
    EXPECT_TRUE(seven != list.end() && seven->name == L"first 7");
    EXPECT_EQ(list.end(), source.FindByKey(list, 5));
}

// Records are named "k<key>.<position in current>"; removed is emptied
// first, kept and added are appended to, the caller's keys come back sorted.
TEST(CompareLists, SplitsKeysIntoRemovedKeptAndAdded) {
    const struct {
        const char* what;
        std::vector<ULONG_PTR> current, known;
        bool result;
        std::vector<ULONG_PTR> removed;
        std::vector<std::wstring> kept, added;
    } cases[] = {
        {"everything removed", {}, {5, 2}, true, {2, 5}, {}, {}},
        {"both empty", {}, {}, false, {}, {}, {}},
        {"mixed", {7, 3, 9}, {9, 4, 3}, true, {4}, {L"k3.1", L"k9.2"}, {L"k7.0"}},
        {"nothing changed is still true", {2, 1}, {1, 2}, true, {}, {L"k2.0", L"k1.1"}, {}},
        {"all new", {3, 1}, {}, true, {}, {}, {L"k3.0", L"k1.1"}},
        // A key shown once but held twice: the first record takes the new occurrence.
        {"duplicate in current", {5, 5, 3}, {5}, true, {}, {L"k5.1"}, {L"k5.0", L"k3.2"}},
        {"duplicate in known", {5}, {5, 5}, true, {5}, {L"k5.0"}, {}},
        {"duplicates on both sides", {6, 6, 6}, {6, 6, 8}, true, {8}, {L"k6.1", L"k6.2"}, {L"k6.0"}},
        {"large keys compare unsigned", {ULONG_PTR(-1), 1}, {ULONG_PTR(-2), 1, 2}, true, {2, ULONG_PTR(-2)}, {L"k1.1"},
         {L"k" + std::to_wstring(ULONG_PTR(-1)) + L".0"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        ListSource source;
        RecipientList current, kept = {Record(0, L"before")}, added = {Record(0, L"earlier")};
        for (ULONG_PTR key : c.current)
            current.push_back(Record(key, L"k" + std::to_wstring(key) + L"." + std::to_wstring(current.size())));
        KeyList known(c.known.begin(), c.known.end()), removed = {99};
        const bool result = source.Compare(current, known, removed, kept, added);
        kept.pop_front();
        added.pop_front();
        std::vector<ULONG_PTR> sorted(c.known);
        std::sort(sorted.begin(), sorted.end());
        EXPECT_EQ(std::tie(c.result, c.removed, c.kept, c.added, sorted),
                  std::tuple(result, std::vector<ULONG_PTR>(removed.begin(), removed.end()), Names(kept), Names(added),
                             std::vector<ULONG_PTR>(known.begin(), known.end())));
    }
}

// The first of base, base1, base2, ... that no record carries, compared exactly.
TEST(UniqueName, TakesTheFirstCandidateNoRecordHas) {
    const std::wstring n = L"New Recipient";
    const std::pair<std::vector<std::wstring>, std::wstring> cases[] = {
        {{}, n},
        {{L"Ann", n + L"1"}, n},
        {{n, n + L"1"}, n + L"2"},
        {{n, n + L"2"}, n + L"1"},
        {{n, L"new recipient1", n + L" 1", n + L"01"}, n + L"1"},
        {{n, n + L"1", n + L"1"}, n + L"2"},
        {{n, n + L"1", n + L"2", n + L"3", n + L"4", n + L"5", n + L"6", n + L"7", n + L"8", n + L"9", n + L"10"}, n + L"11"},
    };
    for (const auto& [names, expected] : cases) {
        RecipientList records;
        for (const std::wstring& name : names) records.push_back(Record(0, name));
        EXPECT_EQ(expected, UniqueRecipientName(n, records)) << testing::PrintToString(names);
    }
}

// Positions with at least two digits: "00" ... "99", "100".
TEST(MRUStore, SubkeysAreNamedByPosition) {
    for (const auto& [position, name] : {std::pair{0u, L"00"}, {7u, L"07"}, {10u, L"10"}, {99u, L"99"}, {100u, L"100"},
                                         {1234u, L"1234"}})
        EXPECT_EQ(name, MRUSubkeyName(position)) << position;
}

}  // namespace
