// Seeded hostile inputs for the robustness runs: MRU stores as other programs
// might leave them, nonsense Logger settings, damaged language files. The same
// seed always gives the same input, so a failure found by a long run replays.
// Also the model of what the component can read from a store.
#pragma once

#include "sources/mru_store.h"

#include <windows.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace fuzz {

// Only mt19937_64 itself: its sequence is fixed by the language standard,
// unlike the distributions, so inputs replay with any library.
class Rng {
public:
    explicit Rng(uint64_t seed) : m_engine(seed) {}
    uint64_t Next() { return m_engine(); }
    size_t Below(size_t n) { return n ? size_t(m_engine() % n) : 0; }
    size_t Between(size_t low, size_t high) { return low + Below(high - low + 1); }
    bool Chance(unsigned percent) { return Below(100) < percent; }
    template <class T, size_t N>
    const T& Pick(const T (&items)[N]) {
        return items[Below(N)];
    }

private:
    std::mt19937_64 m_engine;
};

// --- MRU stores --------------------------------------------------------------

struct RegValue {
    std::wstring name;
    DWORD type = REG_SZ;
    std::vector<BYTE> bytes;
};

struct RegKey {
    std::wstring name;             // may hold a backslash: a nested path
    std::vector<RegValue> values;  // written in this order (a later one of the same name wins)
};

// A store as it is written: the MRU key's own values, then its subkeys in
// creation order (not the order of their numbers).
struct HostileStore {
    std::vector<RegValue> rootValues;
    std::vector<RegKey> subkeys;
};

enum class StoreKind {
    ValueTypes,  // every value of any type
    Texts,       // strings without terminator, odd lengths, embedded zeros, odd characters
    HugeValues,  // 100 KB names, texts around the 4096-byte read buffer
    Missing,     // values left out, names in other letter cases
    Dates,       // dates and favourite marks of every size and type
    Numbering,   // out of order, gaps, non-numeric and look-alike names, nested keys
    Many,        // up to 5,000 subkeys
    Mixed,       // all of the above at once
    Count
};
const char* KindName(StoreKind kind);
// The kind of input a seed stands for, so that the seed alone replays it.
inline StoreKind StoreKindOf(uint64_t seed) {
    return StoreKind(seed % uint64_t(StoreKind::Count));
}

HostileStore MakeStore(uint64_t seed);
// Sets a value byte for byte. RegSetValueExW would append a terminator to
// a string that lacks one; another program's writer need not.
bool SetRawValue(HKEY key, const std::wstring& name, DWORD type, const std::vector<BYTE>& bytes);
// Deletes the MRU key and writes the store; false when the registry refused a part.
bool WriteStore(const HostileStore& store);

// What the component should read from the store: positions from "00" on
// until the first missing one, texts only from REG_SZ values that fit the
// 4096-byte buffer (at most 2047 characters, up to the first zero), the date
// from at most 16 bytes, the mark from at most 4, and no entry without a
// readable "Fax" value. Worked out from the store description, not from the
// registry or the component.
MRUEntryList ReadableEntries(const HostileStore& store);

// The store exactly as it lies in the registry, for the check after a save:
// empty text when it is well formed and holds `expected`, else what is wrong.
// Dates of entries marked in `fresh` (by position) are only checked to lie
// between `from` and `to`.
std::string CheckSavedStore(const MRUEntryList& expected, const std::vector<bool>& fresh,
                            const SYSTEMTIME& from, const SYSTEMTIME& to);

std::string Describe(const std::wstring& text, size_t limit = 40);

// --- Logger settings ---------------------------------------------------------

// Writes nonsense into the Logger key (and a source's subkey), and maybe puts
// obstacles where the log's folder and files go. Returns a line describing it.
std::string WriteHostileLogSettings(uint64_t seed, const std::wstring& scratchFolder);
// Removes the obstacles WriteHostileLogSettings may have made.
void RemoveLogObstacles();

// --- Language files ----------------------------------------------------------

// A damaged copy of one of the shipped language files (bytes as they go on
// disk) and a line saying what was done.
std::string MakeLanguageFile(uint64_t seed, const std::vector<std::string>& shippedFiles, std::string& how);

}  // namespace fuzz
