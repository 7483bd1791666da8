// Seeded hostile inputs and the model of what a store reads as.
#include "fuzz/hostile_inputs.h"

#include "com/unique_any.h"

#include <shlobj.h>
#include <shlwapi.h>
#include <winternl.h>

#include <algorithm>
#include <cstring>
#include <cwctype>
#include <map>

namespace fuzz {

namespace {

// The component reads each text into a buffer of this many bytes.
constexpr size_t kTextBufferBytes = 4096;
constexpr size_t kMaxReadableCharacters = kTextBufferBytes / sizeof(wchar_t) - 1;

const wchar_t* const kValueNames[] = {L"ID", L"Name", L"Fax", L"Date", L"Favorite"};

// Characters other programs and people put into names: separators of the
// list text, controls, other scripts, pairs and lone halves of surrogates,
// marks that change direction, non-characters and the zero.
wchar_t OddCharacter(Rng& rng) {
    static const wchar_t kOdd[] = {L';',   L',',   L'+',   L'#',   L'*',   L'-',   L'(',   L' ',
                                   L'\t',  L'\n',  L'\r',  0x01,   0x7F,   0xA0,   0xE9,   0x416,
                                   0x627,  0x5D0,  0x4E2D, 0xAC00, 0x200F, 0x202E, 0xFEFF, 0xFFFE,
                                   0xFFFF, 0xD800, 0xDC00, 0x0301, L'\\',  L'%',   L'"',   0};
    return rng.Pick(kOdd);
}

std::wstring PlainText(Rng& rng, size_t length) {
    static const wchar_t kPlain[] = L"abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789 ";
    std::wstring text;
    text.reserve(length);
    for (size_t i = 0; i < length; ++i) text += kPlain[rng.Below(std::size(kPlain) - 1)];
    return text;
}

std::wstring OddText(Rng& rng, size_t length) {
    std::wstring text;
    for (size_t i = 0; i < length; ++i) {
        if (rng.Chance(70)) {
            text += PlainText(rng, 1);
        } else if (rng.Chance(15)) {
            text += wchar_t(0xD83D);  // a whole pair
            text += wchar_t(0xDE00);
        } else {
            text += OddCharacter(rng);
        }
    }
    return text;
}

std::wstring FaxText(Rng& rng) {
    std::wstring fax = rng.Chance(50) ? L"+" : L"";
    const size_t digits = rng.Between(1, 14);
    for (size_t i = 0; i < digits; ++i) fax += wchar_t(L'0' + rng.Below(10));
    return fax;
}

std::vector<BYTE> Bytes(const std::wstring& text, bool terminator) {
    std::vector<BYTE> bytes(reinterpret_cast<const BYTE*>(text.data()),
                            reinterpret_cast<const BYTE*>(text.data() + text.size()));
    if (terminator) bytes.insert(bytes.end(), sizeof(wchar_t), 0);
    return bytes;
}

std::vector<BYTE> RandomBytes(Rng& rng, size_t length) {
    std::vector<BYTE> bytes(length);
    for (BYTE& b : bytes) b = BYTE(rng.Next());
    return bytes;
}

RegValue Text(const wchar_t* name, const std::wstring& text) {
    return {name, REG_SZ, Bytes(text, true)};
}

SYSTEMTIME SomeDate(Rng& rng) {
    SYSTEMTIME date{};
    date.wYear = WORD(rng.Between(1990, 2040));
    date.wMonth = WORD(rng.Between(1, 12));
    date.wDayOfWeek = WORD(rng.Below(7));
    date.wDay = WORD(rng.Between(1, 28));
    date.wHour = WORD(rng.Below(24));
    date.wMinute = WORD(rng.Below(60));
    date.wSecond = WORD(rng.Below(60));
    date.wMilliseconds = WORD(rng.Below(1000));
    return date;
}

RegKey WellFormed(Rng& rng, const std::wstring& subkey, size_t textLength) {
    RegKey key{subkey, {}};
    const std::wstring name = rng.Chance(50) ? PlainText(rng, rng.Between(1, textLength))
                                             : OddText(rng, rng.Between(1, textLength));
    const std::wstring fax = FaxText(rng);
    key.values.push_back(Text(L"ID", fax + L' ' + name));
    key.values.push_back(Text(L"Name", name));
    key.values.push_back(Text(L"Fax", fax));
    const SYSTEMTIME date = SomeDate(rng);
    key.values.push_back(
        {L"Date", REG_BINARY,
         std::vector<BYTE>(reinterpret_cast<const BYTE*>(&date), reinterpret_cast<const BYTE*>(&date + 1))});
    const DWORD favorite = rng.Chance(20) ? 1 : 0;
    key.values.push_back({L"Favorite", REG_DWORD,
                          std::vector<BYTE>(reinterpret_cast<const BYTE*>(&favorite),
                                            reinterpret_cast<const BYTE*>(&favorite + 1))});
    // Another program's writer may use the same identifier twice.
    if (rng.Chance(3)) key.values[0] = Text(L"ID", L"same");
    return key;
}

RegValue* FindValue(RegKey& key, const wchar_t* name) {
    for (RegValue& value : key.values)
        if (_wcsicmp(value.name.c_str(), name) == 0) return &value;
    return nullptr;
}

void MutateType(Rng& rng, RegValue& value) {
    static const DWORD kTypes[] = {
        REG_SZ,   REG_EXPAND_SZ, REG_MULTI_SZ,         REG_BINARY,        REG_DWORD, REG_QWORD,
        REG_NONE, REG_LINK,      REG_DWORD_BIG_ENDIAN, REG_RESOURCE_LIST, 0x4711};
    value.type = rng.Pick(kTypes);
    if (rng.Chance(40)) {
        switch (value.type) {
            case REG_DWORD:
            case REG_DWORD_BIG_ENDIAN:
                value.bytes = RandomBytes(rng, 4);
                break;
            case REG_QWORD:
                value.bytes = RandomBytes(rng, 8);
                break;
            case REG_MULTI_SZ: {
                std::wstring text = PlainText(rng, rng.Between(0, 8));
                text += L'\0';
                text += PlainText(rng, rng.Between(0, 8));
                value.bytes = Bytes(text + L'\0', true);
                break;
            }
            default:
                value.bytes = RandomBytes(rng, rng.Below(41));
        }
    }
}

// Strings as writers other than the component leave them.
void MutateText(Rng& rng, RegValue& value) {
    std::wstring text = OddText(rng, rng.Between(0, 40));
    if (rng.Chance(20) && !text.empty()) text[rng.Below(text.size())] = L'\0';
    value.type = REG_SZ;
    value.bytes = Bytes(text, rng.Chance(50));
    if (rng.Chance(30)) {
        if (!value.bytes.empty() && rng.Chance(50))
            value.bytes.pop_back();
        else
            value.bytes.push_back(BYTE(rng.Next()));
    }
}

// Around the read buffer's size, and far beyond it.
void MutateHuge(Rng& rng, RegValue& value) {
    size_t bytes = 0;
    switch (rng.Below(4)) {
        case 0:
            bytes = 100 * 1024;
            break;
        case 1:
            bytes = rng.Between(10 * 1024, 300 * 1024);
            break;
        default:
            bytes = kTextBufferBytes - 6 + rng.Below(11);  // 4090 ... 4100
    }
    std::wstring text = PlainText(rng, bytes / sizeof(wchar_t));
    if (rng.Chance(10)) text[rng.Below(text.size())] = L'\0';
    value.type = REG_SZ;
    value.bytes = Bytes(text, false);
    if (bytes % 2) value.bytes.push_back('x');
    // With a terminator in the last two bytes, when it falls so.
    if (rng.Chance(50) && value.bytes.size() >= 2)
        value.bytes[value.bytes.size() - 1] = value.bytes[value.bytes.size() - 2] = 0;
}

void MutateMissing(Rng& rng, RegKey& key) {
    std::vector<RegValue> kept;
    for (RegValue& value : key.values) {
        if (rng.Chance(25)) continue;
        // Value names are not case-sensitive; another writer may spell them so.
        if (rng.Chance(15))
            for (wchar_t& c : value.name)
                c = rng.Chance(50) ? wchar_t(std::towupper(c)) : wchar_t(std::towlower(c));
        kept.push_back(std::move(value));
    }
    if (rng.Chance(20)) kept.push_back(Text(L"", L"default value"));
    if (rng.Chance(20)) kept.push_back(Text(L"Fax ", L"not the fax"));
    if (rng.Chance(20)) kept.push_back(Text(L"Extra", OddText(rng, 10)));
    key.values = std::move(kept);
}

void MutateDate(Rng& rng, RegKey& key) {
    if (RegValue* date = FindValue(key, L"Date")) {
        date->bytes = RandomBytes(rng, rng.Below(41));
        if (rng.Chance(30)) MutateType(rng, *date);
    }
    if (RegValue* favorite = FindValue(key, L"Favorite")) {
        favorite->bytes = RandomBytes(rng, rng.Below(9));
        if (rng.Chance(30)) MutateType(rng, *favorite);
    }
}

std::wstring Numbered(size_t n) {
    wchar_t name[16];
    swprintf(name, 16, L"%02u", unsigned(n));
    return name;
}

void MutateNumbering(Rng& rng, HostileStore& store) {
    // A gap (everything after it is unreachable), numbers far beyond the
    // end, and names that only look like numbers.
    if (!store.subkeys.empty() && rng.Chance(50))
        store.subkeys.erase(store.subkeys.begin() + rng.Below(store.subkeys.size()));
    static const wchar_t* const kDecoys[] = {
        L"0",  L"1",   L"000", L"001",          L"01 ",          L" 01", L"1.0",  L"x",
        L"-1", L"1e2", L"0x1", L"\x0661\x0662", L"\xFF10\xFF11", L"MRU", L"9999", L"100000"};
    const size_t decoys = rng.Below(6);
    for (size_t i = 0; i < decoys; ++i) {
        RegKey key = WellFormed(rng, rng.Pick(kDecoys), 20);
        store.subkeys.push_back(std::move(key));
    }
    if (rng.Chance(30))
        store.subkeys.push_back(WellFormed(rng, Numbered(store.subkeys.size() + rng.Between(1, 200)), 20));
    // A nested key below a position makes that position exist, empty.
    if (rng.Chance(30))
        store.subkeys.push_back(
            WellFormed(rng, Numbered(rng.Below(store.subkeys.size() + 2)) + L"\\nested", 10));
    // The creation order says nothing about the positions.
    for (size_t i = store.subkeys.size(); i > 1; --i)
        std::swap(store.subkeys[i - 1], store.subkeys[rng.Below(i)]);
    if (rng.Chance(50)) store.rootValues.push_back(Text(L"Name", L"a value of the MRU key itself"));
    if (rng.Chance(30)) store.rootValues.push_back(Text(L"", L"default"));
}

void MutateKey(Rng& rng, StoreKind kind, RegKey& key) {
    switch (kind) {
        case StoreKind::ValueTypes:
            for (RegValue& value : key.values)
                if (rng.Chance(50)) MutateType(rng, value);
            break;
        case StoreKind::Texts:
            for (RegValue& value : key.values)
                if (value.name != L"Date" && value.name != L"Favorite" && rng.Chance(60))
                    MutateText(rng, value);
            break;
        case StoreKind::HugeValues:
            if (rng.Chance(60)) MutateHuge(rng, key.values[rng.Below(3)]);
            break;
        case StoreKind::Missing:
            MutateMissing(rng, key);
            break;
        case StoreKind::Dates:
            MutateDate(rng, key);
            break;
        default:
            break;
    }
}

std::wstring Lower(std::wstring text) {
    for (wchar_t& c : text) c = wchar_t(std::towlower(c));
    return text;
}

// A value of the merged key, by name without regard to case; the last one
// written of that name.
const RegValue* Lookup(const std::vector<RegValue>& values, const wchar_t* name) {
    const RegValue* found = nullptr;
    for (const RegValue& value : values)
        if (_wcsicmp(value.name.c_str(), name) == 0) found = &value;
    return found;
}

// The text the component's read gives, and whether the query itself succeeded.
std::wstring ModelText(const RegValue* value, bool& queried) {
    queried = value && value->bytes.size() <= kTextBufferBytes;
    if (!queried || value->type != REG_SZ) return {};
    std::vector<BYTE> buffer(value->bytes);
    buffer.resize(kTextBufferBytes + sizeof(wchar_t), 0);
    std::wstring text;
    for (size_t i = 0; i < kMaxReadableCharacters; ++i) {
        wchar_t c;
        std::memcpy(&c, buffer.data() + i * sizeof(wchar_t), sizeof c);
        if (!c) break;
        text += c;
    }
    return text;
}

template <class T>
void ModelBinary(const RegValue* value, T& out) {
    out = T{};
    if (value && value->bytes.size() <= sizeof(T))
        std::memcpy(&out, value->bytes.data(), value->bytes.size());
}

ULONGLONG Ticks(const SYSTEMTIME& time) {
    FILETIME file{};
    if (!::SystemTimeToFileTime(&time, &file)) return 0;
    return (ULONGLONG(file.dwHighDateTime) << 32) | file.dwLowDateTime;
}

bool ReadRaw(HKEY key, const std::wstring& name, DWORD& type, std::vector<BYTE>& bytes) {
    DWORD size = 0;
    if (::RegQueryValueExW(key, name.c_str(), nullptr, &type, nullptr, &size) != ERROR_SUCCESS) return false;
    bytes.assign(size, 0);
    return ::RegQueryValueExW(key, name.c_str(), nullptr, &type, bytes.data(), &size) == ERROR_SUCCESS &&
           size == bytes.size();
}

std::string Utf8(const std::wstring& text) {
    if (text.empty()) return {};
    const int size =
        ::WideCharToMultiByte(CP_UTF8, 0, text.data(), int(text.size()), nullptr, 0, nullptr, nullptr);
    std::string out(size_t(size), '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, text.data(), int(text.size()), out.data(), size, nullptr, nullptr);
    return out;
}

}  // namespace

const char* KindName(StoreKind kind) {
    static const char* const kNames[] = {"value types", "texts",     "huge values",  "missing values",
                                         "dates",       "numbering", "many subkeys", "mixed"};
    return size_t(kind) < std::size(kNames) ? kNames[size_t(kind)] : "?";
}

std::string Describe(const std::wstring& text, size_t limit) {
    std::string out = "\"";
    for (size_t i = 0; i < text.size() && i < limit; ++i) {
        const wchar_t c = text[i];
        if (c >= 0x20 && c < 0x7F && c != L'"' && c != L'\\') {
            out += char(c);
        } else {
            char escape[12];
            std::snprintf(escape, sizeof escape, "\\u%04x", unsigned(c));
            out += escape;
        }
    }
    out += text.size() > limit ? "...\" (" + std::to_string(text.size()) + " chars)" : "\"";
    return out;
}

HostileStore MakeStore(uint64_t seed) {
    Rng rng(seed);
    const StoreKind kind = StoreKindOf(seed);
    HostileStore store;
    size_t count = rng.Between(0, 45);
    if (kind == StoreKind::HugeValues) count = rng.Between(1, 8);
    if (kind == StoreKind::Many) count = rng.Chance(25) ? 5000 : rng.Between(300, 5000);
    const size_t textLength = kind == StoreKind::Many ? 12 : 40;
    for (size_t n = 0; n < count; ++n) store.subkeys.push_back(WellFormed(rng, Numbered(n), textLength));

    if (kind == StoreKind::Mixed) {
        for (RegKey& key : store.subkeys) {
            const StoreKind mutation = StoreKind(rng.Below(size_t(StoreKind::Numbering)));
            if (mutation == StoreKind::HugeValues && !rng.Chance(10)) continue;
            MutateKey(rng, mutation, key);
        }
        MutateNumbering(rng, store);
    } else if (kind == StoreKind::Numbering) {
        MutateNumbering(rng, store);
    } else if (kind == StoreKind::Many) {
        // A few damaged entries among thousands.
        for (RegKey& key : store.subkeys)
            if (rng.Chance(2)) MutateKey(rng, StoreKind(rng.Below(size_t(StoreKind::HugeValues))), key);
        if (rng.Chance(30)) MutateNumbering(rng, store);
    } else {
        for (RegKey& key : store.subkeys) MutateKey(rng, kind, key);
    }
    return store;
}

bool SetRawValue(HKEY key, const std::wstring& name, DWORD type, const std::vector<BYTE>& bytes) {
    using SetValueKey = LONG(NTAPI*)(HANDLE, UNICODE_STRING*, ULONG, ULONG, const void*, ULONG);
    static const auto setValueKey = reinterpret_cast<SetValueKey>(
        reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "NtSetValueKey")));
    if (!setValueKey) return false;
    UNICODE_STRING valueName{USHORT(name.size() * sizeof(wchar_t)), USHORT(name.size() * sizeof(wchar_t)),
                             const_cast<wchar_t*>(name.c_str())};
    return setValueKey(key, &valueName, 0, type, bytes.data(), ULONG(bytes.size())) >= 0;
}

bool WriteStore(const HostileStore& store) {
    const LSTATUS deleted = ::SHDeleteKeyW(HKEY_CURRENT_USER, kMRUKeyPath);
    if (deleted != ERROR_SUCCESS && deleted != ERROR_FILE_NOT_FOUND) return false;
    com::UniqueHKey root;
    if (::RegCreateKeyExW(HKEY_CURRENT_USER, kMRUKeyPath, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, root.put(),
                          nullptr) != ERROR_SUCCESS)
        return false;
    bool ok = true;
    const auto write = [&ok](HKEY key, const RegValue& value) {
        ok &= SetRawValue(key, value.name, value.type, value.bytes);
    };
    for (const RegValue& value : store.rootValues) write(root.get(), value);
    for (const RegKey& subkey : store.subkeys) {
        com::UniqueHKey key;
        if (::RegCreateKeyExW(root.get(), subkey.name.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                              key.put(), nullptr) != ERROR_SUCCESS) {
            ok = false;
            continue;
        }
        for (const RegValue& value : subkey.values) write(key.get(), value);
    }
    return ok;
}

MRUEntryList ReadableEntries(const HostileStore& store) {
    // Keys by name without regard to case, values merged in writing order.
    std::map<std::wstring, std::vector<RegValue>> keys;
    for (const RegKey& subkey : store.subkeys) {
        const size_t slash = subkey.name.find(L'\\');
        std::vector<RegValue>& values = keys[Lower(subkey.name.substr(0, slash))];
        if (slash == std::wstring::npos)
            values.insert(values.end(), subkey.values.begin(), subkey.values.end());
    }
    MRUEntryList entries;
    for (size_t n = 0;; ++n) {
        const auto found = keys.find(Numbered(n));
        if (found == keys.end()) break;
        const std::vector<RegValue>& values = found->second;
        MRUEntry entry;
        bool queried = false, hasFax = false;
        entry.identifier = ModelText(Lookup(values, L"ID"), queried);
        entry.name = ModelText(Lookup(values, L"Name"), queried);
        entry.faxNumber = ModelText(Lookup(values, L"Fax"), hasFax);
        ModelBinary(Lookup(values, L"Date"), entry.date);
        DWORD favorite = 0;
        ModelBinary(Lookup(values, L"Favorite"), favorite);
        entry.favorite = favorite != 0;
        if (hasFax) entries.push_back(std::move(entry));
    }
    return entries;
}

std::string CheckSavedStore(const MRUEntryList& expected, const std::vector<bool>& fresh,
                            const SYSTEMTIME& from, const SYSTEMTIME& to) {
    com::UniqueHKey root;
    if (::RegOpenKeyExW(HKEY_CURRENT_USER, kMRUKeyPath, 0, KEY_READ, root.put()) != ERROR_SUCCESS)
        return "no MRU key after the save";
    DWORD subkeys = 0, values = 0;
    ::RegQueryInfoKeyW(root.get(), nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr, &values, nullptr,
                       nullptr, nullptr, nullptr);
    if (values != 0) return "the MRU key keeps " + std::to_string(values) + " values of its own";
    if (subkeys != expected.size())
        return std::to_string(subkeys) + " subkeys, expected " + std::to_string(expected.size());
    size_t position = 0;
    for (const MRUEntry& entry : expected) {
        const std::string where = "subkey " + std::to_string(position) + ": ";
        com::UniqueHKey key;
        if (::RegOpenKeyExW(root.get(), Numbered(position).c_str(), 0, KEY_READ, key.put()) != ERROR_SUCCESS)
            return where + "missing";
        DWORD nested = 0, count = 0;
        ::RegQueryInfoKeyW(key.get(), nullptr, nullptr, nullptr, &nested, nullptr, nullptr, &count, nullptr,
                           nullptr, nullptr, nullptr);
        if (nested || count != std::size(kValueNames))
            return where + std::to_string(nested) + " nested keys, " + std::to_string(count) + " values";
        const std::pair<const wchar_t*, const std::wstring*> texts[] = {
            {L"ID", &entry.identifier}, {L"Name", &entry.name}, {L"Fax", &entry.faxNumber}};
        DWORD type = 0;
        std::vector<BYTE> bytes;
        for (const auto& [name, text] : texts) {
            if (!ReadRaw(key.get(), name, type, bytes) || type != REG_SZ || bytes != Bytes(*text, true))
                return where + Utf8(name) + " is not " + Describe(*text);
        }
        if (!ReadRaw(key.get(), L"Date", type, bytes) || type != REG_BINARY ||
            bytes.size() != sizeof(SYSTEMTIME))
            return where + "Date is not 16 binary bytes";
        SYSTEMTIME date;
        std::memcpy(&date, bytes.data(), sizeof date);
        if (fresh[position] ? !(Ticks(from) <= Ticks(date) && Ticks(date) <= Ticks(to))
                            : std::memcmp(&date, &entry.date, sizeof date) != 0)
            return where + "Date changed";
        if (!ReadRaw(key.get(), L"Favorite", type, bytes) || type != REG_DWORD ||
            bytes.size() != sizeof(DWORD))
            return where + "Favorite is not a double word";
        DWORD favorite = 0;
        std::memcpy(&favorite, bytes.data(), sizeof favorite);
        if (favorite != (entry.favorite ? 1u : 0u)) return where + "Favorite is " + std::to_string(favorite);
        ++position;
    }
    return {};
}

// --- Logger settings ---------------------------------------------------------

namespace {

constexpr wchar_t kLoggerKey[] = L"SOFTWARE\\Quorvel\\Orvanta\\Logger";

std::wstring LogFolder() {
    wchar_t appData[MAX_PATH] = L"";
    ::SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, appData);
    return std::wstring(appData) + L"\\Quorvel\\Orvanta";
}

void SetValue(const wchar_t* subkey, const wchar_t* name, DWORD type, const void* data, size_t size) {
    std::wstring path = kLoggerKey;
    if (subkey) path += std::wstring(L"\\") + subkey;
    ::RegSetKeyValueW(HKEY_CURRENT_USER, path.c_str(), name, type, data, DWORD(size));
}

void HostileNumber(Rng& rng, const wchar_t* name, const wchar_t* subkey = nullptr) {
    static const DWORD kNumbers[] = {
        0,  1,  2,   3,    4,          5,          6,          7,          8,          9,
        10, 11, 100, 4096, 0x7FFFFFFF, 0x80000000, 0xFFFFFFF7, 0xFFFFFFF8, 0xFFFFFFFE, 0xFFFFFFFF};
    switch (rng.Below(6)) {
        case 0:
            return;  // missing
        case 1: {
            const std::wstring text = rng.Chance(50) ? L"2" : L"-1";
            SetValue(subkey, name, REG_SZ, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
            return;
        }
        case 2: {
            const std::vector<BYTE> bytes = RandomBytes(rng, rng.Below(9));
            SetValue(subkey, name, rng.Chance(50) ? REG_BINARY : REG_QWORD, bytes.data(), bytes.size());
            return;
        }
        default: {
            const DWORD value = rng.Chance(80) ? rng.Pick(kNumbers) : DWORD(rng.Next());
            SetValue(subkey, name, REG_DWORD, &value, sizeof value);
        }
    }
}

bool MakeDirectory(const std::wstring& path) {
    return ::CreateDirectoryW(path.c_str(), nullptr) != FALSE;
}

bool MakeFile(const std::wstring& path) {
    com::UniqueFile file(::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    return bool(file);
}

}  // namespace

std::string WriteHostileLogSettings(uint64_t seed, const std::wstring& scratch) {
    Rng rng(seed);
    std::string how;
    for (const wchar_t* name :
         {L"Enable", L"Type", L"Verbose", L"WriteMode", L"MaxSize", L"MaxCount", L"CurrentCount"})
        HostileNumber(rng, name);
    HostileNumber(rng, L"Enable", L"Phonebook");

    // Where the log goes: nothing, nonsense, a folder, a file standing for a
    // folder, far too long, devices, a usable file in the scratch folder.
    const std::wstring longName(rng.Chance(50) ? 300 : 40000, L'x');
    const std::wstring paths[] = {L"",
                                  L"C:\\x",
                                  scratch,
                                  scratch + L"file-as-folder\\FaxData.log",
                                  scratch + longName + L"\\FaxData.log",
                                  L"\\\\?\\" + scratch + longName,
                                  L"NUL",
                                  L"\\\\.\\NUL\\FaxData.log",
                                  L"C:\\bad<|>name\\FaxData.log",
                                  L"Q:\\unmapped\\FaxData.log",
                                  scratch + L"custom.log",
                                  scratch + L"custom.log\\",
                                  scratch + L"*.log"};
    const size_t pathChoice = rng.Below(std::size(paths) + 3);
    MakeFile(scratch + L"file-as-folder");
    if (pathChoice < std::size(paths)) {
        const std::wstring& path = paths[pathChoice];
        SetValue(nullptr, L"FilePath", REG_SZ, path.c_str(), (path.size() + 1) * sizeof(wchar_t));
        how += "path " + std::to_string(pathChoice);
    } else if (pathChoice == std::size(paths)) {
        const DWORD number = 7;
        SetValue(nullptr, L"FilePath", REG_DWORD, &number, sizeof number);
        how += "path of a number";
    } else if (pathChoice == std::size(paths) + 1) {
        // Unterminated, odd length.
        const std::wstring path = scratch + L"odd.log";
        SetValue(nullptr, L"FilePath", REG_SZ, path.c_str(), path.size() * sizeof(wchar_t) - 1);
        how += "unterminated path";
    } else {
        how += "no path";
    }

    // Obstacles where the default log, its folder and its backups go.
    const std::wstring folder = LogFolder();
    switch (rng.Below(6)) {
        case 0:
            MakeDirectory(folder + L"\\FaxData.log");
            how += ", log file is a folder";
            break;
        case 1:
            for (int n = 1; n <= 10; ++n)
                MakeDirectory(folder + L"\\FaxData(" + std::to_wstring(n) + L").log");
            how += ", backups are folders";
            break;
        case 2:
            if (MakeFile(folder + L"\\FaxData.log"))
                ::SetFileAttributesW((folder + L"\\FaxData.log").c_str(), FILE_ATTRIBUTE_READONLY);
            how += ", log file read-only";
            break;
        default:
            break;
    }
    return how;
}

void RemoveLogObstacles() {
    const std::wstring folder = LogFolder();
    ::SetFileAttributesW((folder + L"\\FaxData.log").c_str(), FILE_ATTRIBUTE_NORMAL);
    ::RemoveDirectoryW((folder + L"\\FaxData.log").c_str());
    for (int n = 0; n <= 30; ++n)
        ::RemoveDirectoryW((folder + L"\\FaxData(" + std::to_wstring(n) + L").log").c_str());
}

// --- Language files ----------------------------------------------------------

namespace {

std::string Utf16(const std::string& utf8, bool bigEndian, bool mark) {
    const int length = ::MultiByteToWideChar(CP_UTF8, 0, utf8.data(), int(utf8.size()), nullptr, 0);
    std::wstring wide(size_t(std::max(length, 0)), L'\0');
    ::MultiByteToWideChar(CP_UTF8, 0, utf8.data(), int(utf8.size()), wide.data(), length);
    if (mark) wide.insert(wide.begin(), wchar_t(0xFEFF));
    std::string bytes;
    for (wchar_t c : wide) {
        const char low = char(c & 0xFF), high = char(c >> 8);
        bytes += bigEndian ? high : low;
        bytes += bigEndian ? low : high;
    }
    return bytes;
}

}  // namespace

std::string MakeLanguageFile(uint64_t seed, const std::vector<std::string>& shipped, std::string& how) {
    Rng rng(seed);
    if (shipped.empty()) return {};
    const size_t file = rng.Below(shipped.size());
    std::string xml = shipped[file];
    how = "file " + std::to_string(file) + ":";
    const size_t steps = rng.Between(1, 3);
    static const char* const kPieces[] = {"<",
                                          ">",
                                          "&",
                                          "]]>",
                                          "&amp",
                                          "&#0;",
                                          "&#xD800;",
                                          "<!DOCTYPE Zantix>",
                                          "<!ENTITY x \"y\">",
                                          "<?xml version=\"1.0\"?>",
                                          "</string>",
                                          "<string id=\"101\">",
                                          "\xC0\x80",
                                          "\xFF\xFE",
                                          "\xED\xA0\x80",
                                          "\"",
                                          "'",
                                          "<!--",
                                          "-->"};
    for (size_t step = 0; step < steps && !xml.empty(); ++step) {
        const size_t at = rng.Below(xml.size());
        switch (rng.Below(10)) {
            case 0:
                xml.resize(at);
                how += " cut at " + std::to_string(at);
                break;
            case 1: {
                const size_t flips = rng.Between(1, 20);
                for (size_t i = 0; i < flips; ++i) xml[rng.Below(xml.size())] = char(rng.Next());
                how += " " + std::to_string(flips) + " bytes changed";
                break;
            }
            case 2: {
                const char* piece = rng.Pick(kPieces);
                xml.insert(at, piece);
                how += std::string(" inserted ") + piece;
                break;
            }
            case 3:
                xml.erase(at, rng.Between(1, 200));
                how += " range removed";
                break;
            case 4:
                xml.insert(at, xml.substr(at, rng.Between(1, 400)));
                how += " range doubled";
                break;
            case 5: {
                static const char* const kEncodings[] = {"utf-16", "iso-8859-1", "bogus", "UTF-32", "ascii"};
                const size_t declared = xml.find("utf-8");
                const char* encoding = rng.Pick(kEncodings);
                if (declared != std::string::npos) xml.replace(declared, 5, encoding);
                how += std::string(" declared ") + encoding;
                break;
            }
            case 6: {
                const bool big = rng.Chance(30), mark = rng.Chance(50);
                xml = Utf16(xml, big, mark);
                how +=
                    std::string(" as UTF-16") + (big ? "BE" : "LE") + (mark ? " with mark" : " without mark");
                break;
            }
            case 7:
                xml.insert(0, rng.Chance(50) ? "\xEF\xBB\xBF" : "\xEF\xBB\xBF\xEF\xBB\xBF");
                how += " UTF-8 mark";
                break;
            case 8: {
                const size_t depth = rng.Chance(50) ? rng.Between(200, 300) : rng.Between(1000, 10000);
                const size_t inside = xml.find("<string id=\"101\">");
                std::string nest;
                for (size_t i = 0; i < depth; ++i) nest += "<x>";
                for (size_t i = 0; i < depth; ++i) nest += "</x>";
                xml.insert(inside == std::string::npos ? at : inside, nest);
                how += " nested " + std::to_string(depth) + " deep";
                break;
            }
            default: {
                const size_t id = xml.find("id=\"", at);
                static const char* const kIds[] = {"", "-1", "1e9", "101 ", "0x65", "99999999999999999999"};
                const char* value = rng.Pick(kIds);
                if (id != std::string::npos) xml.replace(id + 4, xml.find('"', id + 4) - (id + 4), value);
                how += std::string(" id \"") + value + "\"";
            }
        }
    }
    return xml;
}

}  // namespace fuzz
