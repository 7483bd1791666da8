// The store behind both faces of the stand-in: one .contact file per person
// in the user's Contacts known folder, and the address-book file whose
// time stamp marks every change made through the WAB face.
#pragma once

#include "contact_data.h"

#include <memory>
#include <string>
#include <vector>

namespace wabfake {

// The Contacts folder with a trailing backslash (created when missing);
// empty when the system cannot give it.
std::wstring ContactsFolder();

// The .contact files of the folder, full paths, in name order.
std::vector<std::wstring> ListContactFiles(const std::wstring& folder);

// A contact read from its file; null when the file is not a well-formed
// contact with an identifier.
std::unique_ptr<ContactDocument> ReadContactFile(const std::wstring& path);
// The same, but also a contact that was saved without an identifier; null
// when the file is not a well-formed Windows Contacts document.
std::unique_ptr<ContactDocument> ReadContactDocument(const std::wstring& path);
// The same with the reason when the file cannot be read (see LoadXmlFile).
HRESULT LoadContactDocument(const std::wstring& path, std::unique_ptr<ContactDocument>& document);

// The address-book file named under "Wab File Name", and the change marker
// touched after every write through the WAB face.
std::wstring AddressBookFile();
void TouchAddressBookFile();

// A free file name for a new contact: "<name>.contact", then "<name> (n).contact";
// characters that cannot be in a file name become "_"; the identifier stands in
// for a name that is empty or cannot be used.
std::wstring NewContactFilePath(const std::wstring& folder, const std::wstring& name, const std::wstring& id);

}  // namespace wabfake
