// The Windows Contacts programming interface (icontact.h of the platform SDK),
// which mingw-w64 does not ship: the five interfaces in their documented vtable
// order, the two classes, and the flags, labels and property names in use here.
#pragma once

#include <objidl.h>
#include <unknwn.h>
#include <windows.h>

struct IContact;
struct IContactCollection;
struct IContactProperties;
struct IContactPropertyCollection;

// Flags of IContactProperties and IContact::CommitChanges: the only documented value.
#define CGD_DEFAULT 0x00000000

// Property types answered by IContactPropertyCollection::GetPropertyType.
#define CGD_UNKNOWN_PROPERTY 0x00000000
#define CGD_STRING_PROPERTY 0x00000001
#define CGD_DATE_PROPERTY 0x00000002
#define CGD_BINARY_PROPERTY 0x00000004
#define CGD_ARRAY_NODE 0x00000008

struct IContactManager : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Initialize(LPCWSTR pszAppName, LPCWSTR pszAppVersion) = 0;
    virtual HRESULT STDMETHODCALLTYPE Load(LPCWSTR pszContactID, IContact** ppContact) = 0;
    virtual HRESULT STDMETHODCALLTYPE MergeContactIDs(LPCWSTR pszNewContactID, LPCWSTR pszOldContactID) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMeContact(IContact** ppMeContact) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetMeContact(IContact* pMeContact) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetContactCollection(IContactCollection** ppContactCollection) = 0;
};

// Next answers S_FALSE after the last contact.
struct IContactCollection : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
    virtual HRESULT STDMETHODCALLTYPE Next() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCurrent(IContact** ppContact) = 0;
};

// Property names are paths such as "NameCollection/Name[1]/FormattedName"
// (indices from 1) or extended properties "[Namespace]Name".
struct IContactProperties : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetString(LPCWSTR pszPropertyName, DWORD dwFlags, LPWSTR pszValue,
                                                DWORD cchValue, DWORD* pdwcchPropertyValueRequired) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDate(LPCWSTR pszPropertyName, DWORD dwFlags, FILETIME* pftDateTime) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetBinary(LPCWSTR pszPropertyName, DWORD dwFlags, LPWSTR pszContentType,
                                                DWORD cchContentType, DWORD* pdwcchContentTypeRequired,
                                                IStream** ppStream) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetLabels(LPCWSTR pszArrayElementName, DWORD dwFlags, LPWSTR pszLabels,
                                                DWORD cchLabels, DWORD* pdwcchLabelsRequired) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetString(LPCWSTR pszPropertyName, DWORD dwFlags, LPCWSTR pszValue) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetDate(LPCWSTR pszPropertyName, DWORD dwFlags, FILETIME ftDateTime) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetBinary(LPCWSTR pszPropertyName, DWORD dwFlags, LPCWSTR pszContentType,
                                                IStream* pStream) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetLabels(LPCWSTR pszArrayElementName, DWORD dwFlags, DWORD dwLabelCount,
                                                LPCWSTR ppszLabels[]) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateArrayNode(LPCWSTR pszArrayName, DWORD dwFlags, BOOL fAppend,
                                                      LPWSTR pszNewArrayElementName, DWORD cchNewArrayElementName,
                                                      DWORD* pdwcchNewArrayElementNameRequired) = 0;
    virtual HRESULT STDMETHODCALLTYPE DeleteProperty(LPCWSTR pszPropertyName, DWORD dwFlags) = 0;
    virtual HRESULT STDMETHODCALLTYPE DeleteArrayNode(LPCWSTR pszArrayElementName, DWORD dwFlags) = 0;
    virtual HRESULT STDMETHODCALLTYPE DeleteLabels(LPCWSTR pszArrayElementName, DWORD dwFlags) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetPropertyCollection(IContactPropertyCollection** ppPropertyCollection,
                                                            DWORD dwFlags, LPCWSTR pszMultiValueName,
                                                            DWORD dwLabelCount, LPCWSTR ppszLabels[],
                                                            BOOL fAnyLabelMatches) = 0;
};

struct IContact : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetContactID(LPWSTR pszContactID, DWORD cchContactID,
                                                   DWORD* pdwcchContactIDRequired) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetPath(LPWSTR pszPath, DWORD cchPath, DWORD* pdwcchPathRequired) = 0;
    virtual HRESULT STDMETHODCALLTYPE CommitChanges(DWORD dwCommitFlags) = 0;
};

// Next answers S_FALSE after the last property.
struct IContactPropertyCollection : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
    virtual HRESULT STDMETHODCALLTYPE Next() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetPropertyName(LPWSTR pszPropertyName, DWORD cchPropertyName,
                                                      DWORD* pdwcchPropertyNameRequired) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetPropertyType(DWORD* pdwType) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetPropertyVersion(DWORD* pdwVersion) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetPropertyModificationDate(FILETIME* pftModificationDate) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetPropertyArrayElementID(LPWSTR pszArrayElementID, DWORD cchArrayElementID,
                                                                DWORD* pdwcchArrayElementIDRequired) = 0;
};

__CRT_UUID_DECL(IContactManager, 0xad553d98, 0xdeb1, 0x474a, 0x8e, 0x17, 0xfc, 0x0c, 0x20, 0x75, 0xb7, 0x38)
__CRT_UUID_DECL(IContactCollection, 0xb6afa338, 0xd779, 0x11d9, 0x8b, 0xde, 0xf6, 0x6b, 0xad, 0x1e, 0x3f, 0x3a)
__CRT_UUID_DECL(IContactProperties, 0x70dd27dd, 0x5cbd, 0x46e8, 0xbe, 0xf0, 0x23, 0xb6, 0xb3, 0x46, 0x28, 0x8f)
__CRT_UUID_DECL(IContact, 0xf941b671, 0xbda7, 0x4f77, 0x88, 0x4a, 0xf4, 0x64, 0x62, 0xf2, 0x26, 0xa7)
__CRT_UUID_DECL(IContactPropertyCollection, 0xffd3adf8, 0xfa64, 0x4328, 0xb1, 0xb6, 0x2e, 0x0d, 0xb5, 0x09, 0xcb,
                0x3c)

inline constexpr IID IID_IContactManager = {0xad553d98, 0xdeb1, 0x474a, {0x8e, 0x17, 0xfc, 0x0c, 0x20, 0x75, 0xb7, 0x38}};
inline constexpr IID IID_IContactCollection = {
    0xb6afa338, 0xd779, 0x11d9, {0x8b, 0xde, 0xf6, 0x6b, 0xad, 0x1e, 0x3f, 0x3a}};
inline constexpr IID IID_IContactProperties = {
    0x70dd27dd, 0x5cbd, 0x46e8, {0xbe, 0xf0, 0x23, 0xb6, 0xb3, 0x46, 0x28, 0x8f}};
inline constexpr IID IID_IContact = {0xf941b671, 0xbda7, 0x4f77, {0x88, 0x4a, 0xf4, 0x64, 0x62, 0xf2, 0x26, 0xa7}};
inline constexpr IID IID_IContactPropertyCollection = {
    0xffd3adf8, 0xfa64, 0x4328, {0xb1, 0xb6, 0x2e, 0x0d, 0xb5, 0x09, 0xcb, 0x3c}};

inline constexpr CLSID CLSID_Contact = {0x61b68808, 0x8eee, 0x4fd1, {0xac, 0xb8, 0x3d, 0x80, 0x4c, 0x8d, 0xb0, 0x56}};
inline constexpr CLSID CLSID_ContactManager = {
    0x7165c8ab, 0xaf88, 0x42bd, {0x86, 0xfd, 0x53, 0x10, 0xb4, 0x28, 0x5a, 0x02}};

// Results documented for IContactProperties: a property that is not there, a
// buffer too small (the required size, terminator included, goes to the
// caller's counter) and a property of another type than asked for.
inline constexpr HRESULT kContactPathNotFound = static_cast<HRESULT>(0x80070003);      // ERROR_PATH_NOT_FOUND
inline constexpr HRESULT kContactBufferTooSmall = static_cast<HRESULT>(0x8007007A);    // ERROR_INSUFFICIENT_BUFFER
inline constexpr HRESULT kContactInvalidDatatype = static_cast<HRESULT>(0x8007070C);   // ERROR_INVALID_DATATYPE

// Labels (icontactproperties.h).
#define CONTACTLABEL_PUB_PREFERRED L"Preferred"
#define CONTACTLABEL_PUB_PERSONAL L"Personal"
#define CONTACTLABEL_PUB_BUSINESS L"Business"
#define CONTACTLABEL_PUB_OTHER L"Other"
#define CONTACTLABEL_PUB_VOICE L"Voice"
#define CONTACTLABEL_PUB_MOBILE L"Mobile"
#define CONTACTLABEL_PUB_CELLULAR L"Cellular"
#define CONTACTLABEL_PUB_PAGER L"Pager"
#define CONTACTLABEL_PUB_FAX L"Fax"

// Property names (icontactproperties.h): level-1 collections, level-2
// elements and level-3 values, joined as "NameCollection/Name[1]/FormattedName".
#define CONTACTPROP_PUB_L1_CONTACTIDCOLLECTION L"ContactIDCollection"
#define CONTACTPROP_PUB_L2_CONTACTID L"/ContactID"
#define CONTACTPROP_PUB_L3_VALUE L"/Value"
#define CONTACTPROP_PUB_L1_NAMECOLLECTION L"NameCollection"
#define CONTACTPROP_PUB_L2_NAME L"/Name"
#define CONTACTPROP_PUB_L3_FORMATTEDNAME L"/FormattedName"
#define CONTACTPROP_PUB_L3_NICKNAME L"/NickName"
#define CONTACTPROP_PUB_L1_PHONENUMBERCOLLECTION L"PhoneNumberCollection"
#define CONTACTPROP_PUB_L2_PHONENUMBER L"/PhoneNumber"
#define CONTACTPROP_PUB_L3_NUMBER L"/Number"
#define CONTACTPROP_PUB_L1_EMAILADDRESSCOLLECTION L"EmailAddressCollection"
#define CONTACTPROP_PUB_L2_EMAILADDRESS L"/EmailAddress"
#define CONTACTPROP_PUB_L3_ADDRESS L"/Address"
#define CONTACTPROP_PUB_L1_POSITIONCOLLECTION L"PositionCollection"
#define CONTACTPROP_PUB_L2_POSITION L"/Position"
#define CONTACTPROP_PUB_L3_COMPANY L"/Company"
