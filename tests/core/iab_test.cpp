// The shared part of every address-book source: the identifier table, the fax
// filter, find by key and the multiset comparison of keys.
#include "core/iab.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <utility>
#include <vector>

namespace {

// A source whose store is a list held by the test.
class ListSource : public IAB {
public:
    HRESULT Connect() override { return S_OK; }
    void Disconnect() override {}
    HRESULT LoadAll(RecipientList& out) override {
        out = m_store;
        return m_loadResult;
    }
    HRESULT Add(CRecipient&) override { return E_NOTIMPL; }
    HRESULT Delete(ULONG) override { return E_NOTIMPL; }
    HRESULT Get(ULONG, CRecipient&) override { return E_NOTIMPL; }
    HRESULT Modify(ULONG, const CRecipient&) override { return E_NOTIMPL; }
    bool SetNotifyWindow(HWND, bool) override { return false; }

    RecipientList m_store;
    HRESULT m_loadResult = S_OK;

    using IAB::CompareMatching;
};

CRecipient WithKey(ULONG_PTR key, const wchar_t* name = L"") {
    CRecipient r;
    r.key = key;
    r.name = name;
    return r;
}

std::vector<std::wstring> Names(const RecipientList& list) {
    std::vector<std::wstring> names;
    for (const CRecipient& r : list) names.push_back(r.name);
    return names;
}

TEST(IdentifierTable, HandsOutKeysFromOneAndKeepsThem) {
    ListSource source;
    EXPECT_EQ(1u, source.KeyFromIdentifier(L"first"));
    EXPECT_EQ(2u, source.KeyFromIdentifier(L"second"));
    EXPECT_EQ(1u, source.KeyFromIdentifier(L"first"));
    EXPECT_EQ(3u, source.KeyFromIdentifier(L"FIRST")) << "identifiers compare case-sensitively";
    EXPECT_EQ(L"second", source.IdentifierFromKey(2));
    EXPECT_EQ(0u, source.KeyFromIdentifier(L"")) << "the empty identifier sits at position 0";
    for (ULONG_PTR outside : {ULONG_PTR(0), ULONG_PTR(4), ULONG_PTR(-1)})
        EXPECT_EQ(L"", source.IdentifierFromKey(outside)) << "key " << outside << " is outside the table";
}

// The table keeps an index beside it; keys must still be exactly what a scan
// of the table from position 0 would give (first match, else append).
TEST(IdentifierTable, KeysAreThoseOfAScanOverManyRepeatedIdentifiers) {
    ListSource source;
    std::vector<std::wstring> scanned(1);
    unsigned state = 12345;
    for (int i = 0; i < 2000; ++i) {
        state = state * 1103515245u + 12345u;
        const std::wstring id = L"id" + std::to_wstring((state >> 8) % 300) + (i % 7 == 0 ? L"" : L"x");
        const auto found = std::find(scanned.begin(), scanned.end(), id);
        const ULONG_PTR expected = found != scanned.end() ? ULONG_PTR(found - scanned.begin()) : scanned.size();
        if (found == scanned.end()) scanned.push_back(id);
        ASSERT_EQ(expected, source.KeyFromIdentifier(id)) << "identifier " << i;
    }
    for (ULONG_PTR key = 1; key < scanned.size(); ++key) EXPECT_EQ(scanned[key], source.IdentifierFromKey(key));
    EXPECT_EQ(scanned.size(), source.IdentifierCount());
}

// Only records with a key and a number are offered; a failure to load is
// passed on with an empty list.
TEST(LoadFaxRecipients, KeepsOnlyRecordsWithKeyAndNumber) {
    ListSource source;
    CRecipient complete = WithKey(1, L"complete"), noNumber = WithKey(2, L"no number"),
               noKey = WithKey(0, L"no key");
    complete.faxNumber = L"1";
    noKey.faxNumber = L"3";
    source.m_store = {noNumber, complete, noKey};
    RecipientList out = {WithKey(9, L"stale")};
    EXPECT_EQ(S_OK, source.LoadFaxRecipients(out));
    EXPECT_EQ(std::vector<std::wstring>{L"complete"}, Names(out));

    source.m_loadResult = E_ACCESSDENIED;
    EXPECT_EQ(E_ACCESSDENIED, source.LoadFaxRecipients(out));
    EXPECT_TRUE(out.empty());
}

TEST(FindByKey, ReturnsTheFirstMatchOrTheEnd) {
    ListSource source;
    RecipientList list = {WithKey(4, L"a"), WithKey(7, L"first 7"), WithKey(7, L"second 7")};
    EXPECT_EQ(L"first 7", source.FindByKey(list, 7)->name);
    EXPECT_EQ(list.end(), source.FindByKey(list, 5));
    RecipientList empty;
    EXPECT_EQ(empty.end(), source.FindByKey(empty, 0));
}

// The rules by example. Records are named "k<key>.<position in current>";
// removed is emptied first, the caller's keys come back sorted.
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
        {"nothing changed is still true", {1, 2}, {2, 1}, true, {}, {L"k1.0", L"k2.1"}, {}},
        {"all new", {3, 1}, {}, true, {}, {}, {L"k3.0", L"k1.1"}},
        // A key shown once but present twice: one occurrence is new. The
        // first record of current takes the new occurrence.
        {"duplicate in current", {5, 5, 3}, {5}, true, {}, {L"k5.1"}, {L"k5.0", L"k3.2"}},
        {"duplicate in known", {5}, {5, 5}, true, {5}, {L"k5.0"}, {}},
        {"large keys compare unsigned", {ULONG_PTR(-1), 1}, {1}, true, {}, {L"k1.1"},
         {L"k" + std::to_wstring(ULONG_PTR(-1)) + L".0"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        ListSource source;
        RecipientList current;
        for (ULONG_PTR key : c.current) {
            const std::wstring name = L"k" + std::to_wstring(key) + L"." + std::to_wstring(current.size());
            current.push_back(WithKey(key, name.c_str()));
        }
        KeyList known(c.known.begin(), c.known.end()), removed = {99};
        RecipientList kept, added;
        EXPECT_EQ(c.result, source.Compare(current, known, removed, kept, added));
        EXPECT_EQ(c.removed, std::vector<ULONG_PTR>(removed.begin(), removed.end()));
        EXPECT_EQ(c.kept, Names(kept));
        EXPECT_EQ(c.added, Names(added));
        EXPECT_TRUE(std::is_sorted(known.begin(), known.end()));
    }
}

// The comparison as the straightforward merge over sorted lists, taking each
// record's key out of the fresh and then the common keys by a linear search.
// The source's own must give exactly its results.
bool ReferenceCompare(const RecipientList& current, KeyList& known, KeyList& removed, RecipientList& kept,
                      RecipientList& added, const std::function<ULONG_PTR(ULONG_PTR)>& match) {
    KeyList currentKeys;
    for (const CRecipient& r : current) currentKeys.push_back(match(r.key));
    currentKeys.sort();
    known.sort();
    std::list<std::pair<ULONG_PTR, ULONG_PTR>> knownKeys;
    for (ULONG_PTR key : known) knownKeys.emplace_back(match(key), key);
    knownKeys.sort([](const auto& a, const auto& b) { return a.first < b.first; });
    removed.clear();
    KeyList both, fresh;
    auto c = currentKeys.begin();
    auto k = knownKeys.begin();
    while (c != currentKeys.end() || k != knownKeys.end()) {
        if (k == knownKeys.end() || (c != currentKeys.end() && *c < k->first)) fresh.push_back(*c++);
        else if (c == currentKeys.end() || k->first < *c) removed.push_back((k++)->second);
        else {
            both.push_back(*c++);
            ++k;
        }
    }
    removed.sort();
    const bool result = !both.empty() || !fresh.empty() || !removed.empty();
    const auto takeOne = [](KeyList& keys, ULONG_PTR key) {
        const auto found = std::find(keys.begin(), keys.end(), key);
        if (found == keys.end()) return false;
        keys.erase(found);
        return true;
    };
    for (const CRecipient& r : current) {
        if (takeOne(fresh, match(r.key))) added.push_back(r);
        else if (takeOne(both, match(r.key))) kept.push_back(r);
    }
    return result;
}

std::vector<std::pair<ULONG_PTR, std::wstring>> Entries(const RecipientList& list) {
    std::vector<std::pair<ULONG_PTR, std::wstring>> entries;
    for (const CRecipient& r : list) entries.emplace_back(r.key, r.name);
    return entries;
}

// Random multisets of few distinct keys (so that duplicates and overlaps are
// common), records told apart by their names, with and without a match that
// counts several keys as one (as the Windows Address Book's does).
TEST(CompareLists, GivesTheStraightforwardMergesResultsOnRandomMultisets) {
    std::mt19937 random(20261122);
    const std::function<ULONG_PTR(ULONG_PTR)> identity = [](ULONG_PTR key) { return key; };
    const std::function<ULONG_PTR(ULONG_PTR)> folding = [](ULONG_PTR key) { return key % 5; };
    for (int round = 0; round < 3000; ++round) {
        const bool fold = round % 3 == 2;
        const ULONG_PTR range = 1 + random() % (round % 4 == 0 ? 3 : 40);
        RecipientList current;
        for (size_t i = 0, n = random() % 30; i < n; ++i)
            current.push_back(WithKey(random() % range, (L"r" + std::to_wstring(i)).c_str()));
        KeyList known;
        for (size_t i = 0, n = random() % 30; i < n; ++i) known.push_back(random() % range);
        if (round % 50 == 0) known.push_back(ULONG_PTR(-1) - random() % 2);

        // Kept and added are appended to; removed is emptied first.
        KeyList expectedKnown = known, expectedRemoved = {7};
        RecipientList expectedKept = {WithKey(1, L"before")}, expectedAdded = {WithKey(2, L"earlier")};
        const bool expected = ReferenceCompare(current, expectedKnown, expectedRemoved, expectedKept, expectedAdded,
                                               fold ? folding : identity);
        ListSource source;
        KeyList removed = {7};
        RecipientList kept = {WithKey(1, L"before")}, added = {WithKey(2, L"earlier")};
        const bool result = fold ? source.CompareMatching(current, known, removed, kept, added, folding)
                                 : source.Compare(current, known, removed, kept, added);
        ASSERT_EQ(expected, result) << "round " << round;
        ASSERT_EQ(expectedKnown, known) << "round " << round;
        ASSERT_EQ(expectedRemoved, removed) << "round " << round;
        ASSERT_EQ(Entries(expectedKept), Entries(kept)) << "round " << round;
        ASSERT_EQ(Entries(expectedAdded), Entries(added)) << "round " << round;
    }
}

}  // namespace
