// The Windows Address Book face of the stand-in, as the system library serves
// it from Vista on: WABOpen gives an address book and a WAB object whose
// personal address book is the Contacts folder. Entry identifiers are the
// UTF-16 text "CID_V1:" followed by the contact identifier of IContact
// (/GUID:"<id>" PATH:"<file>") and a terminator.
#pragma once

#include "contact_data.h"

#include "com/implements.h"

// <wab.h> itself cannot be used with mingw-w64: its wabutil.h pulls in
// mapidefs.h, which clashes with wabdefs.h. These are the parts it needs.
#include <wabdefs.h>
#include <wabcode.h>
#include <wabtags.h>
#include <wabiab.h>
#include <wabapi.h>

#include <memory>
#include <string>
#include <vector>

__CRT_UUID_DECL(IMAPIProp, 0x00020303, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46)
__CRT_UUID_DECL(IAddrBook, 0x00020309, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46)
__CRT_UUID_DECL(IMailUser, 0x0002030A, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46)
__CRT_UUID_DECL(IMAPIContainer, 0x0002030B, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46)
__CRT_UUID_DECL(IABContainer, 0x0002030D, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46)
__CRT_UUID_DECL(IMAPITable, 0x00020301, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46)
// The WAB object has no documented interface identifier; this one is the stand-in's own.
__CRT_UUID_DECL(IWABObject, 0x7c1b5c1e, 0x4a3d, 0x4f0e, 0x9b, 0x61, 0x2e, 0x57, 0x0d, 0x8a, 0x44, 0x19)

namespace com {
template <>
struct InterfaceBases<IAddrBook> {
    using type = std::tuple<IMAPIProp>;
};
template <>
struct InterfaceBases<IMailUser> {
    using type = std::tuple<IMAPIProp>;
};
template <>
struct InterfaceBases<IABContainer> {
    using type = std::tuple<IMAPIContainer, IMAPIProp>;
};
}  // namespace com

namespace wabfake {

// One property as the WAB face holds it between the file and a caller's
// SPropValue: strings as UTF-16, numbers and flags as text, binaries as bytes.
struct StoredProp {
    ULONG tag = 0;
    std::wstring text;
    std::vector<BYTE> bytes;
};

// The IWABObject memory functions; buffers from AllocateMore go with their parent.
SCODE WabAllocateBuffer(ULONG size, void** buffer) noexcept;
SCODE WabAllocateMore(ULONG size, void* parent, void** buffer) noexcept;
ULONG WabFreeBuffer(void* buffer) noexcept;

// Entry identifier of a contact file.
std::vector<BYTE> MakeEntryId(const std::wstring& contactId, const std::wstring& path);

// The properties of a contact as the WAB reads them.
std::vector<StoredProp> ContactProps(const ContactDocument& document, const std::wstring& path);

}  // namespace wabfake
