// The MRU recipients store in the current user's registry: one numbered
// subkey per recipient under kMRUKeyPath, read and rewritten as a whole. Shared
// by the MRU address-book source and the MRU list automation object.
#pragma once

#include <windows.h>

#include <list>
#include <string>

inline constexpr wchar_t kMRUKeyPath[] = L"SOFTWARE\\Quorvel\\Orvanta\\Recipients\\MRU";
inline constexpr wchar_t kMRUMutexName[] = L"Orvanta-MRU-Mutex";
inline constexpr wchar_t kMRUEventName[] = L"Orvanta-MRU-Event";

struct MRUEntry {
    std::wstring identifier;  // "ID"
    std::wstring name;        // "Name"
    std::wstring faxNumber;   // "Fax"
    bool favorite = false;    // "Favorite"
    SYSTEMTIME date{};        // "Date", 16 bytes
};

using MRUEntryList = std::list<MRUEntry>;

// The subkey name of the entry at a position: "00", "01", ... "99", "100".
std::wstring MRUSubkeyName(unsigned position);

// Replaces the list with the store's entries. Positions are read from "00"
// on and the first missing one ends the list; an entry without a "Fax" value
// is skipped. A missing store reads as an empty list.
void LoadMRUStore(MRUEntryList& entries);

// Deletes the store and writes the list again from "00". Failures are silent:
// if the old store cannot be deleted nothing is written.
void SaveMRUStore(const MRUEntryList& entries);
