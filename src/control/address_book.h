// AddressBook: the window-less automation object with which a host adds
// name and number pairs that it already knows (those of a fax just sent) to
// the Windows address book or to Outlook.
#pragma once

#include "com/dispatch.h"
#include "com/implements.h"
#include "module/VelPhonebook_h.h"

class CAddressBook : public com::Implements<CAddressBook, com::Dispatch<IAddressBook>> {
public:
    STDMETHODIMP SelectAddressBook(long lSelected) noexcept override;
    STDMETHODIMP AddNewContacts(SAFEARRAY* psaNames, SAFEARRAY* psaPhones) noexcept override;

private:
    // Non-zero: Outlook; zero: the Windows address book.
    long m_book = 0;
};
