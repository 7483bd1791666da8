// AddressBook: the window-less automation object with which a host adds
// name and number pairs that it already knows (those of a fax just sent) to
// the Windows address book or to Outlook.
#pragma once

#include "com/dispatch.h"
#include "com/implements.h"
#include "module/VelPhonebook_h.h"

#include <vector>

namespace com {
struct StringList;
template <>
struct InterfaceBases<IAddressBook2> {
    using type = std::tuple<IAddressBook>;
};
}  // namespace com

// IDispatch serves IAddressBook2, which holds every member of IAddressBook.
class CAddressBook : public com::Implements<CAddressBook, com::Dispatch<IAddressBook2>> {
public:
    STDMETHODIMP SelectAddressBook(long lSelected) noexcept override;
    STDMETHODIMP AddNewContacts(SAFEARRAY* psaNames, SAFEARRAY* psaPhones) noexcept override;
    // IAddressBook2
    STDMETHODIMP AddContacts(VARIANT vNames, VARIANT vPhones, VARIANT* pvResults) noexcept override;

private:
    // Adds the pairs at the numbers' indexes (names must hold them all) to the
    // chosen book, in order, until the first failure; `results` receives the
    // result of each pair handled. Returns the failure of opening or reading
    // the book, or the result of the last pair handled.
    HRESULT AddPairs(const com::StringList& names, const com::StringList& numbers,
                     std::vector<HRESULT>& results);

    // Non-zero: Outlook; zero: the Windows address book.
    long m_book = 0;
};
