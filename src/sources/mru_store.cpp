// Reading and writing the MRU recipients store.
#include "sources/mru_store.h"

#include "com/unique_any.h"

#include <shlwapi.h>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

// Each text is read into a zeroed 4096-byte buffer, so at most 2047
// characters and the terminating zero come back.
constexpr DWORD kTextBufferBytes = 4096;
constexpr size_t kMaxTextLength = kTextBufferBytes / sizeof(wchar_t) - 1;

// True when the query itself succeeded, whatever the value's type; the text
// is only taken from a REG_SZ value. Another program may have written a
// string without its terminator that fills the whole buffer: it is cut to
// 2047 characters like any other, because 2048 would be saved with a
// terminator in 4098 bytes, which no later read could take (the entry would
// be lost with its number).
bool ReadText(HKEY key, const wchar_t* name, std::wstring& out) {
    std::vector<wchar_t> buffer(kTextBufferBytes / sizeof(wchar_t), L'\0');
    DWORD type = 0;
    DWORD size = kTextBufferBytes;
    const LSTATUS status =
        ::RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(buffer.data()), &size);
    buffer[kMaxTextLength] = L'\0';
    if (status == ERROR_SUCCESS && type == REG_SZ) out = buffer.data();
    return status == ERROR_SUCCESS;
}

// A text is stored only as far as ReadText takes it back: a longer one would
// read as an empty name, or drop its entry for an unreadable number, the next
// time any process loads the store. The cut never splits a surrogate pair.
void WriteText(HKEY key, const wchar_t* name, const std::wstring& text) {
    size_t length = std::min(text.size(), kMaxTextLength);
    if (length < text.size() && IS_HIGH_SURROGATE(text[length - 1])) --length;
    const std::wstring stored = text.substr(0, length);
    ::RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(stored.c_str()),
                     DWORD((stored.size() + 1) * sizeof(wchar_t)));
}

}  // namespace

std::wstring MRUSubkeyName(unsigned position) {
    wchar_t name[16];
    swprintf(name, 16, L"%02.2i", int(position));
    return name;
}

void LoadMRUStore(MRUEntryList& entries) {
    entries.clear();
    com::UniqueHKey root;
    if (::RegOpenKeyExW(HKEY_CURRENT_USER, kMRUKeyPath, 0, KEY_ALL_ACCESS, root.put()) != ERROR_SUCCESS)
        return;
    for (unsigned n = 0;; ++n) {
        com::UniqueHKey sub;
        if (::RegOpenKeyExW(root.get(), MRUSubkeyName(n).c_str(), 0, KEY_READ, sub.put()) != ERROR_SUCCESS)
            break;
        MRUEntry entry;
        ReadText(sub.get(), L"ID", entry.identifier);
        ReadText(sub.get(), L"Name", entry.name);
        const bool hasFax = ReadText(sub.get(), L"Fax", entry.faxNumber);
        DWORD size = sizeof(entry.date);
        ::RegQueryValueExW(sub.get(), L"Date", nullptr, nullptr, reinterpret_cast<BYTE*>(&entry.date), &size);
        DWORD favorite = 0;
        size = sizeof(favorite);
        if (::RegQueryValueExW(sub.get(), L"Favorite", nullptr, nullptr, reinterpret_cast<BYTE*>(&favorite),
                               &size) == ERROR_SUCCESS)
            entry.favorite = favorite != 0;
        if (hasFax) entries.push_back(std::move(entry));
    }
}

void SaveMRUStore(const MRUEntryList& entries) {
    const LSTATUS deleted = ::SHDeleteKeyW(HKEY_CURRENT_USER, kMRUKeyPath);
    if (deleted != ERROR_SUCCESS && deleted != ERROR_FILE_NOT_FOUND) return;
    com::UniqueHKey root;
    if (::RegCreateKeyExW(HKEY_CURRENT_USER, kMRUKeyPath, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, root.put(),
                          nullptr) != ERROR_SUCCESS)
        return;
    unsigned counter = 0;
    for (const MRUEntry& entry : entries) {
        com::UniqueHKey sub;
        // A subkey that cannot be created is skipped without using up its
        // number, so the positions stay contiguous.
        if (::RegCreateKeyExW(root.get(), MRUSubkeyName(counter).c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                              nullptr, sub.put(), nullptr) != ERROR_SUCCESS)
            continue;
        WriteText(sub.get(), L"ID", entry.identifier);
        WriteText(sub.get(), L"Name", entry.name);
        WriteText(sub.get(), L"Fax", entry.faxNumber);
        ::RegSetValueExW(sub.get(), L"Date", 0, REG_BINARY, reinterpret_cast<const BYTE*>(&entry.date),
                         sizeof(entry.date));
        const DWORD favorite = entry.favorite ? 1 : 0;
        ::RegSetValueExW(sub.get(), L"Favorite", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&favorite),
                         sizeof(favorite));
        ++counter;
    }
}
