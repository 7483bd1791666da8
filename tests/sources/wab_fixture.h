// Scratch handling for the Windows address-book tests: the stand-in address-book
// library registered for the test program, an empty Contacts folder before
// and after every test, and contact files written the way another program
// (Windows Contacts itself) writes them.
#pragma once

#include "support/test_support.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace testing_support {

// The user's Contacts folder, without a trailing backslash.
std::wstring ContactsFolder();
// The names of the .contact files in it, sorted.
std::vector<std::wstring> ContactFiles();
// Every file name in it, sorted (to see that nothing else appeared).
std::vector<std::wstring> AllFilesInContacts();
void ClearContactsFolder();

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
// Writes bytes to a file of the Contacts folder; returns its path.
std::wstring WriteContactsFile(const std::wstring& fileName, const std::string& bytes);
std::wstring WriteContact(const std::wstring& fileName, const ContactXml& contact);
std::string ReadFileBytes(const std::wstring& path);
// The document's text from the first occurrence of `from` to the next `to`.
std::string Between(const std::string& text, const std::string& from, const std::string& to);
std::string Utf8(const std::wstring& text);

// Registers the stand-in library as the system's address book (regsvr32,
// as a person installing it would); /u takes it away again.
int RegisterStandIn(bool unregister = false);

class WABTest : public ::testing::Test {
protected:
    static void SetUpTestSuite();
    static void TearDownTestSuite();
    void SetUp() override { ClearContactsFolder(); }
    void TearDown() override { ClearContactsFolder(); }

    ComApartment m_apartment;
};

}  // namespace testing_support
