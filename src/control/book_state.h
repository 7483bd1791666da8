// What a control knows about its book beyond the rows: whether the Windows
// Address Book can be opened at all.
#pragma once

#include <windows.h>

class IAB;

namespace control {

// Whether the source is the Windows Address Book's (the library's WABOpen).
bool IsAddressBookLibrarySource(const IAB* source) noexcept;

// The Windows Address Book source reports success for a book it could not
// open (it opens at construction and lists nothing then). This opens the
// book the same way, once, to learn the truth: S_OK when the library is
// found and WABOpen gives an address book, else the failure (a class not
// registered, the library's load error, a missing export, WABOpen's result).
HRESULT ProbeWindowsAddressBook(bool vistaOrLater);

}  // namespace control
