// Raw access to the MRU store's registry layout for tests.
#include "support/mru_fixture.h"

#include <algorithm>

namespace testing_support {

std::wstring RawValue::text() const {
    std::wstring result(reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / sizeof(wchar_t));
    if (!result.empty() && result.back() == L'\0') result.pop_back();
    return result;
}

std::optional<RawValue> ReadMRUValue(const std::wstring& subkey, const wchar_t* name) {
    const std::wstring path = std::wstring(kMRUKeyPath) + L"\\" + subkey;
    RawValue value;
    DWORD size = 0;
    if (::RegGetValueW(HKEY_CURRENT_USER, path.c_str(), name, RRF_RT_ANY | RRF_NOEXPAND, &value.type, nullptr,
                       &size) != ERROR_SUCCESS)
        return std::nullopt;
    value.bytes.resize(size);
    if (::RegGetValueW(HKEY_CURRENT_USER, path.c_str(), name, RRF_RT_ANY | RRF_NOEXPAND, &value.type,
                       value.bytes.data(), &size) != ERROR_SUCCESS)
        return std::nullopt;
    value.bytes.resize(size);
    return value;
}

std::vector<std::wstring> MRUSubkeys() {
    std::vector<std::wstring> names;
    com::UniqueHKey key;
    if (::RegOpenKeyExW(HKEY_CURRENT_USER, kMRUKeyPath, 0, KEY_READ, key.put()) != ERROR_SUCCESS) return names;
    wchar_t name[256];
    for (DWORD i = 0;; ++i) {
        DWORD length = 256;
        if (::RegEnumKeyExW(key.get(), i, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
            break;
        names.emplace_back(name, length);
    }
    std::sort(names.begin(), names.end());
    return names;
}

void WriteMRUValue(const std::wstring& subkey, const wchar_t* name, DWORD type, const void* data, DWORD size) {
    const std::wstring path = std::wstring(kMRUKeyPath) + L"\\" + subkey;
    com::UniqueHKey key;
    ASSERT_EQ(ERROR_SUCCESS, ::RegCreateKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                                               nullptr, key.put(), nullptr));
    ASSERT_EQ(ERROR_SUCCESS, ::RegSetValueExW(key.get(), name, 0, type, static_cast<const BYTE*>(data), size));
}

void WriteRawMRUEntry(const std::wstring& subkey, const wchar_t* id, const wchar_t* name, const wchar_t* fax,
                      DWORD favorite) {
    auto text = [&](const wchar_t* valueName, const wchar_t* value) {
        if (value) WriteMRUValue(subkey, valueName, REG_SZ, value, DWORD((wcslen(value) + 1) * sizeof(wchar_t)));
    };
    text(L"ID", id);
    text(L"Name", name);
    text(L"Fax", fax);
    WriteMRUValue(subkey, L"Favorite", REG_DWORD, &favorite, sizeof(favorite));
}

}  // namespace testing_support
