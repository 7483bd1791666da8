// Scratch handling of the MRU store for tests: a clean store before and after
// each test, and raw access to the registry layout.
#pragma once

#include "sources/mru_store.h"
#include "support/test_support.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace testing_support {

class MRUStoreTest : public ::testing::Test {
protected:
    void SetUp() override { DeleteUserKey(kMRUKeyPath); }
    void TearDown() override { DeleteUserKey(kMRUKeyPath); }
};

// One value as it lies in the registry.
struct RawValue {
    DWORD type = REG_NONE;
    std::vector<BYTE> bytes;
    std::wstring text() const;  // REG_SZ content without the terminating zero
};

// Reads a value of a subkey of the MRU key; nothing when absent.
std::optional<RawValue> ReadMRUValue(const std::wstring& subkey, const wchar_t* name);
// The names of the MRU key's subkeys, sorted.
std::vector<std::wstring> MRUSubkeys();
// Writes an entry directly; a null text leaves that value out.
void WriteRawMRUEntry(const std::wstring& subkey, const wchar_t* id, const wchar_t* name, const wchar_t* fax,
                      DWORD favorite = 0);
void WriteMRUValue(const std::wstring& subkey, const wchar_t* name, DWORD type, const void* data, DWORD size);

}  // namespace testing_support
