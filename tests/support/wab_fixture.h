// Scratch handling for the Windows address-book tests: the stand-in address-book
// library registered for the test program, an empty Contacts folder before
// and after every test, and contact files written the way another program
// (Windows Contacts itself) writes them.
#pragma once

#include "core/iab.h"
#include "support/test_support.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

namespace testing_support {

std::wstring ContactsFolder();  // without a trailing backslash
// The names of the files in a folder that match the pattern, sorted.
std::vector<std::wstring> FilesIn(const std::wstring& folder, const wchar_t* pattern = L"*");
inline std::vector<std::wstring> ContactFiles() { return FilesIn(ContactsFolder(), L"*.contact"); }
void ClearContactsFolder();
// Another process (cmd.exe) appends a line to the file, creating it if need be.
int WriteFromAnotherProcess(const std::wstring& path);

struct PhoneElement {
    std::vector<std::wstring> labels;
    std::wstring number;  // no <Number> element when empty
};

struct ContactXml {
    std::wstring id;  // no identifier element when empty
    std::wstring name;
    std::vector<PhoneElement> phones;
};

// The document of the Windows Contacts XML format (UTF-8).
std::string ContactDocument(const ContactXml& contact);
// Writes a file of the Contacts folder; its path.
std::wstring WriteContactsFile(const std::wstring& fileName, const std::string& bytes);
std::wstring WriteContact(const std::wstring& fileName, const ContactXml& contact);
std::string ReadFileBytes(const std::wstring& path);
// The document's text from the first occurrence of `from` to the next `to`.
std::string Between(const std::string& text, const std::string& from, const std::string& to);

// Registers the stand-in library as the system's address book (regsvr32,
// as a person installing it would); /u takes it away again.
int RegisterStandIn(bool unregister = false);

// The stand-in stays registered after the suite, as the system's library is
// on Windows: under Wine every failed all-contexts activation of a missing
// class leaks two handles, which later programs' leak checks would blame on
// the module.
class WABTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { ASSERT_EQ(0, RegisterStandIn()); }
    void SetUp() override { ClearContactsFolder(); }
    void TearDown() override { ClearContactsFolder(); }

    ComApartment m_apartment;
};

}  // namespace testing_support
