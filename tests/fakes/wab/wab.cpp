// WABOpen and the address book, container, mail user, contents table and
// WAB object over the Contacts folder.
#include "wab.h"

#include "contact_manager.h"
#include "contact_store.h"

#include "com/unique_any.h"
#include "sources/contacts_api.h"

#include <algorithm>
#include <cwchar>
#include <new>

namespace wabfake {
namespace {

// ---------------------------------------------------------------- memory

constexpr ULONGLONG kRootMagic = 0x5241424653425546ull;
constexpr ULONGLONG kMoreMagic = 0x45524F4D53425546ull;

struct alignas(16) BufferHeader {
    BufferHeader* more;  // chain of AllocateMore blocks hanging off a root
    ULONGLONG magic;
};

BufferHeader* HeaderOf(void* buffer) { return static_cast<BufferHeader*>(buffer) - 1; }

BufferHeader* NewBlock(ULONG size, ULONGLONG magic) {
    void* raw = ::HeapAlloc(::GetProcessHeap(), HEAP_ZERO_MEMORY, sizeof(BufferHeader) + size_t(size));
    if (!raw) return nullptr;
    auto* header = static_cast<BufferHeader*>(raw);
    header->more = nullptr;
    header->magic = magic;
    return header;
}

// ---------------------------------------------------------------- identifiers

constexpr wchar_t kEntryIdPrefix[] = L"CID_V1:";
constexpr size_t kEntryIdPrefixLength = 7;

// The container and the mail-user template have short binary identifiers of
// their own: four flag bytes, the stand-in's provider GUID and the object type.
constexpr GUID kProviderGuid = {0x3e1a4f6c, 0x52d1, 0x4b8e, {0x9f, 0x07, 0x6a, 0x2c, 0x11, 0xd4, 0x85, 0x3b}};

std::vector<BYTE> ProviderEntryId(ULONG objectType) {
    std::vector<BYTE> id(4 + sizeof(GUID) + sizeof(ULONG), 0);
    memcpy(id.data() + 4, &kProviderGuid, sizeof(GUID));
    memcpy(id.data() + 4 + sizeof(GUID), &objectType, sizeof(ULONG));
    return id;
}

bool IsProviderEntryId(ULONG size, const ENTRYID* id, ULONG objectType) {
    const std::vector<BYTE> expected = ProviderEntryId(objectType);
    return id && size == expected.size() && memcmp(id, expected.data(), size) == 0;
}

// The contact identifier text (/GUID:"..." PATH:"...") inside a contact's entry identifier.
bool ContactIdOfEntry(ULONG size, const ENTRYID* id, std::wstring& contactId) {
    if (!id || size < (kEntryIdPrefixLength + 1) * sizeof(wchar_t) || size % sizeof(wchar_t)) return false;
    std::wstring text(size / sizeof(wchar_t), L'\0');
    memcpy(text.data(), id, size);
    while (!text.empty() && text.back() == L'\0') text.pop_back();
    if (text.compare(0, kEntryIdPrefixLength, kEntryIdPrefix) != 0) return false;
    contactId = text.substr(kEntryIdPrefixLength);
    std::wstring guid, path;
    return SplitContactId(contactId, guid, path);
}

// ---------------------------------------------------------------- text

std::wstring FromAnsi(const char* text) {
    if (!text) return {};
    const int size = ::MultiByteToWideChar(CP_ACP, 0, text, -1, nullptr, 0);
    if (size <= 0) return {};
    std::wstring wide(size_t(size), L'\0');
    ::MultiByteToWideChar(CP_ACP, 0, text, -1, wide.data(), size);
    wide.resize(size_t(size) - 1);
    return wide;
}

std::string ToAnsi(const std::wstring& text) {
    const int size = ::WideCharToMultiByte(CP_ACP, 0, text.c_str(), -1, nullptr, 0, nullptr, nullptr);
    if (size <= 0) return {};
    std::string narrow(size_t(size), '\0');
    ::WideCharToMultiByte(CP_ACP, 0, text.c_str(), -1, narrow.data(), size, nullptr, nullptr);
    narrow.resize(size_t(size) - 1);
    return narrow;
}

bool IsString(ULONG type) { return type == PT_STRING8 || type == PT_UNICODE; }

// ---------------------------------------------------------------- schema

// MAPI properties that have a place in the contact schema.
struct SchemaText {
    ULONG id;
    const wchar_t* collection;
    const wchar_t* value;
};
constexpr SchemaText kSchemaTexts[] = {
    {0x3001, L"NameCollection", L"FormattedName"},          // PR_DISPLAY_NAME
    {0x3A06, L"NameCollection", L"GivenName"},              // PR_GIVEN_NAME
    {0x3A11, L"NameCollection", L"FamilyName"},             // PR_SURNAME
    {0x3A4F, L"NameCollection", L"NickName"},               // PR_NICKNAME
    {0x3003, L"EmailAddressCollection", L"Address"},        // PR_EMAIL_ADDRESS
    {0x3A16, L"PositionCollection", L"Company"},            // PR_COMPANY_NAME
    {0x3A17, L"PositionCollection", L"JobTitle"},           // PR_TITLE
};

constexpr ULONG kBusinessFaxId = 0x3A24;

// Telephone properties: the phone number carrying all `labels` and none of `without`.
struct SchemaPhone {
    ULONG id;
    std::vector<std::wstring> labels;
    std::vector<std::wstring> without;
};
const SchemaPhone kSchemaPhones[] = {
    {0x3A24, {CONTACTLABEL_PUB_FAX, CONTACTLABEL_PUB_BUSINESS}, {}},  // PR_BUSINESS_FAX_NUMBER
    {0x3A25, {CONTACTLABEL_PUB_FAX, CONTACTLABEL_PUB_PERSONAL}, {}},  // PR_HOME_FAX_NUMBER
    {0x3A23, {CONTACTLABEL_PUB_FAX}, {CONTACTLABEL_PUB_BUSINESS, CONTACTLABEL_PUB_PERSONAL}},  // PR_PRIMARY_FAX_NUMBER
    {0x3A08, {CONTACTLABEL_PUB_VOICE, CONTACTLABEL_PUB_BUSINESS}, {}},  // PR_BUSINESS_TELEPHONE_NUMBER
    {0x3A09, {CONTACTLABEL_PUB_VOICE, CONTACTLABEL_PUB_PERSONAL}, {}},  // PR_HOME_TELEPHONE_NUMBER
    {0x3A1C, {CONTACTLABEL_PUB_CELLULAR}, {}},                          // PR_MOBILE_TELEPHONE_NUMBER
};

constexpr ULONG kComputedIds[] = {0x0FFF /* PR_ENTRYID */, 0x0FF9 /* PR_RECORD_KEY */, 0x0FF6 /* PR_INSTANCE_KEY */,
                                  0x0FFE /* PR_OBJECT_TYPE */, 0x3900 /* PR_DISPLAY_TYPE */, 0x3002 /* PR_ADDRTYPE */};

std::wstring FirstElement(const wchar_t* collection) {
    std::wstring name = collection;
    name.resize(name.size() - 10);  // "Collection"
    return std::wstring(collection) + L"/" + name + L"[1]";
}

std::wstring FindPhone(const ContactDocument& document, const SchemaPhone& phone) {
    std::wstring found;
    for (const PropertyEntry& entry : document.Collect(L"PhoneNumberCollection", phone.labels, false)) {
        std::vector<std::wstring> labels;
        document.GetLabels(entry.name, labels);
        const bool excluded = std::any_of(phone.without.begin(), phone.without.end(), [&](const std::wstring& label) {
            return std::find(labels.begin(), labels.end(), label) != labels.end();
        });
        if (!excluded) found = entry.name;  // the last one wins
    }
    return found;
}

std::wstring MapiPropertyName(ULONG tag) {
    wchar_t hex[16];
    swprintf(hex, 16, L"%08lX", static_cast<unsigned long>(tag));
    return std::wstring(L"[") + kWabMapiNamespace + L"]PropTag0x" + hex;
}

bool MapiTagOfName(const std::wstring& name, ULONG& tag) {
    const std::wstring prefix = std::wstring(L"[") + kWabMapiNamespace + L"]PropTag0x";
    if (name.size() != prefix.size() + 8 || name.compare(0, prefix.size(), prefix) != 0) return false;
    tag = ULONG(wcstoul(name.c_str() + prefix.size(), nullptr, 16));
    return true;
}

std::wstring HexOf(const BYTE* bytes, ULONG size) {
    std::wstring text;
    wchar_t pair[3];
    for (ULONG i = 0; i < size; ++i) {
        swprintf(pair, 3, L"%02X", bytes[i]);
        text += pair;
    }
    return text;
}

std::vector<BYTE> BytesOfHex(const std::wstring& text) {
    std::vector<BYTE> bytes;
    for (size_t i = 0; i + 1 < text.size(); i += 2) bytes.push_back(BYTE(wcstoul(text.substr(i, 2).c_str(), nullptr, 16)));
    return bytes;
}

StoredProp Binary(ULONG tag, std::vector<BYTE> bytes) {
    StoredProp prop;
    prop.tag = tag;
    prop.bytes = std::move(bytes);
    return prop;
}

StoredProp Text(ULONG tag, std::wstring text) {
    StoredProp prop;
    prop.tag = tag;
    prop.text = std::move(text);
    return prop;
}

// Writes one caller's property into the contact. The result goes into the
// problem array: S_OK, or why the property was not written.
SCODE ApplyProp(ContactDocument& document, const SPropValue& value) {
    const ULONG type = PROP_TYPE(value.ulPropTag);
    const ULONG id = PROP_ID(value.ulPropTag);
    if (std::find(std::begin(kComputedIds), std::end(kComputedIds), id) != std::end(kComputedIds))
        return MAPI_E_COMPUTED;
    std::wstring text;
    switch (type) {
    case PT_STRING8: text = FromAnsi(value.Value.lpszA); break;
    case PT_UNICODE: text = value.Value.lpszW ? value.Value.lpszW : L""; break;
    case PT_BOOLEAN: text = value.Value.b ? L"1" : L"0"; break;
    case PT_LONG: text = std::to_wstring(value.Value.l); break;
    case PT_I2: text = std::to_wstring(value.Value.i); break;
    case PT_SYSTIME: text = FormatTime(value.Value.ft); break;
    case PT_BINARY: text = HexOf(value.Value.bin.lpb, value.Value.bin.cb); break;
    default: return MAPI_E_INVALID_TYPE;
    }
    if (IsString(type)) {
        for (const SchemaText& schema : kSchemaTexts) {
            if (schema.id != id) continue;
            const std::wstring element = FirstElement(schema.collection);
            std::vector<std::wstring> labels;
            if (document.GetLabels(element, labels) == kContactPathNotFound) {
                // An empty value needs no element.
                if (text.empty()) return S_OK;
                std::wstring created;
                if (FAILED(document.CreateArrayNode(schema.collection, true, created))) return MAPI_E_CALL_FAILED;
            }
            return SUCCEEDED(document.SetString(element + L"/" + schema.value, text)) ? S_OK : MAPI_E_CALL_FAILED;
        }
        for (const SchemaPhone& phone : kSchemaPhones) {
            if (phone.id != id) continue;
            std::wstring element = FindPhone(document, phone);
            if (element.empty()) {
                if (text.empty()) return S_OK;
                // The business fax goes last and other numbers first, so that the
                // last "Fax" element, which Windows Contacts clients read as the
                // fax number, stays the business fax.
                const bool append = phone.id == kBusinessFaxId;
                if (FAILED(document.CreateArrayNode(L"PhoneNumberCollection", append, element)) ||
                    FAILED(document.SetLabels(element, phone.labels)))
                    return MAPI_E_CALL_FAILED;
            }
            return SUCCEEDED(document.SetString(element + L"/Number", text)) ? S_OK : MAPI_E_CALL_FAILED;
        }
        // Other strings are kept as 8-bit strings, as the WAB's own interfaces give them.
        return SUCCEEDED(document.SetString(MapiPropertyName(PROP_TAG(PT_STRING8, id)), text)) ? S_OK
                                                                                              : MAPI_E_CALL_FAILED;
    }
    if (id == 0) return MAPI_E_INVALID_PARAMETER;
    return SUCCEEDED(document.SetString(MapiPropertyName(value.ulPropTag), text)) ? S_OK : MAPI_E_CALL_FAILED;
}

// ---------------------------------------------------------------- SPropValue arrays

// Fills one value; strings and binaries go into memory hanging off `root`.
SCODE FillValue(const StoredProp& prop, ULONG type, void* root, SPropValue& out) {
    out.ulPropTag = PROP_TAG(type, PROP_ID(prop.tag));
    switch (type) {
    case PT_STRING8: {
        const std::string narrow = ToAnsi(prop.text);
        void* buffer = nullptr;
        if (WabAllocateMore(ULONG(narrow.size() + 1), root, &buffer) != S_OK) return MAPI_E_NOT_ENOUGH_MEMORY;
        memcpy(buffer, narrow.c_str(), narrow.size() + 1);
        out.Value.lpszA = static_cast<char*>(buffer);
        return S_OK;
    }
    case PT_UNICODE: {
        void* buffer = nullptr;
        const ULONG size = ULONG((prop.text.size() + 1) * sizeof(wchar_t));
        if (WabAllocateMore(size, root, &buffer) != S_OK) return MAPI_E_NOT_ENOUGH_MEMORY;
        memcpy(buffer, prop.text.c_str(), size);
        out.Value.lpszW = static_cast<wchar_t*>(buffer);
        return S_OK;
    }
    case PT_BINARY: {
        void* buffer = nullptr;
        if (WabAllocateMore(ULONG(std::max<size_t>(prop.bytes.size(), 1)), root, &buffer) != S_OK)
            return MAPI_E_NOT_ENOUGH_MEMORY;
        if (!prop.bytes.empty()) memcpy(buffer, prop.bytes.data(), prop.bytes.size());
        out.Value.bin.cb = ULONG(prop.bytes.size());
        out.Value.bin.lpb = static_cast<BYTE*>(buffer);
        return S_OK;
    }
    case PT_BOOLEAN: out.Value.b = USHORT(prop.text == L"1" ? 1 : 0); return S_OK;
    case PT_LONG: out.Value.l = LONG(wcstol(prop.text.c_str(), nullptr, 10)); return S_OK;
    case PT_I2: out.Value.i = short(wcstol(prop.text.c_str(), nullptr, 10)); return S_OK;
    case PT_SYSTIME: ParseTime(prop.text, out.Value.ft); return S_OK;
    default: out.ulPropTag = PROP_TAG(PT_ERROR, PROP_ID(prop.tag)); out.Value.err = MAPI_E_INVALID_TYPE; return S_OK;
    }
}

// GetProps over a property list: every property for a null tag array (strings
// 8-bit unless MAPI_UNICODE), else the asked ones in order with PT_ERROR
// entries and MAPI_W_ERRORS_RETURNED for those that are missing.
HRESULT BuildProps(const std::vector<StoredProp>& all, const SPropTagArray* tags, ULONG flags, ULONG* count,
                   SPropValue** values) {
    if (!count || !values) return MAPI_E_INVALID_PARAMETER;
    *count = 0;
    *values = nullptr;
    const ULONG stringType = (flags & MAPI_UNICODE) ? PT_UNICODE : PT_STRING8;
    const ULONG wanted = tags ? tags->cValues : ULONG(all.size());
    void* buffer = nullptr;
    if (WabAllocateBuffer(ULONG(std::max<ULONG>(wanted, 1) * sizeof(SPropValue)), &buffer) != S_OK)
        return MAPI_E_NOT_ENOUGH_MEMORY;
    auto* out = static_cast<SPropValue*>(buffer);
    HRESULT result = S_OK;
    for (ULONG i = 0; i < wanted; ++i) {
        SCODE filled = S_OK;
        if (!tags) {
            const ULONG type = IsString(PROP_TYPE(all[i].tag)) ? stringType : PROP_TYPE(all[i].tag);
            filled = FillValue(all[i], type, buffer, out[i]);
        } else {
            const ULONG tag = tags->aulPropTag[i];
            auto found = std::find_if(all.begin(), all.end(),
                                      [&](const StoredProp& prop) { return PROP_ID(prop.tag) == PROP_ID(tag); });
            ULONG type = PROP_TYPE(tag);
            const bool usable = found != all.end() &&
                                (type == PROP_TYPE(found->tag) || type == PT_UNSPECIFIED ||
                                 (IsString(type) && IsString(PROP_TYPE(found->tag))));
            if (usable) {
                if (type == PT_UNSPECIFIED) type = IsString(PROP_TYPE(found->tag)) ? stringType : PROP_TYPE(found->tag);
                filled = FillValue(*found, type, buffer, out[i]);
            } else {
                out[i].ulPropTag = PROP_TAG(PT_ERROR, PROP_ID(tag));
                out[i].Value.err = MAPI_E_NOT_FOUND;
                result = MAPI_W_ERRORS_RETURNED;
            }
        }
        if (filled != S_OK) {
            WabFreeBuffer(buffer);
            return filled;
        }
    }
    *count = wanted;
    *values = out;
    return result;
}

// ---------------------------------------------------------------- named properties

// The name-to-identifier table of the store, kept per user in the registry:
// value "{guid}:name" (or "{guid}#number") = the property identifier.
constexpr wchar_t kNamedPropertiesKey[] = L"Software\\Microsoft\\WAB\\WAB4\\Named Properties";
constexpr ULONG kFirstNamedId = 0x8000;

std::wstring NamedKey(const MAPINAMEID& name) {
    wchar_t guid[40] = {};
    if (name.lpguid) ::StringFromGUID2(*name.lpguid, guid, 40);
    if (name.ulKind == MNID_STRING) return std::wstring(guid) + L":" + (name.Kind.lpwstrName ? name.Kind.lpwstrName : L"");
    return std::wstring(guid) + L"#" + std::to_wstring(name.Kind.lID);
}

HRESULT LookUpNames(ULONG count, MAPINAMEID** names, ULONG flags, SPropTagArray** tags) {
    if (!tags) return MAPI_E_INVALID_PARAMETER;
    *tags = nullptr;
    if (!count || !names) return MAPI_E_INVALID_PARAMETER;
    com::UniqueHKey key;
    const REGSAM access = KEY_QUERY_VALUE | ((flags & MAPI_CREATE) ? KEY_SET_VALUE : 0);
    LSTATUS status = (flags & MAPI_CREATE)
                         ? ::RegCreateKeyExW(HKEY_CURRENT_USER, kNamedPropertiesKey, 0, nullptr, 0, access, nullptr,
                                             key.put(), nullptr)
                         : ::RegOpenKeyExW(HKEY_CURRENT_USER, kNamedPropertiesKey, 0, access, key.put());
    if (status != ERROR_SUCCESS && (flags & MAPI_CREATE)) return MAPI_E_CALL_FAILED;

    void* buffer = nullptr;
    if (WabAllocateBuffer(CbNewSPropTagArray(count), &buffer) != S_OK) return MAPI_E_NOT_ENOUGH_MEMORY;
    auto* result = static_cast<SPropTagArray*>(buffer);
    result->cValues = count;
    HRESULT hr = S_OK;
    for (ULONG i = 0; i < count; ++i) {
        DWORD id = 0;
        DWORD size = sizeof(id);
        const std::wstring name = names[i] ? NamedKey(*names[i]) : std::wstring();
        bool known = key && names[i] &&
                     ::RegQueryValueExW(key.get(), name.c_str(), nullptr, nullptr, reinterpret_cast<BYTE*>(&id),
                                        &size) == ERROR_SUCCESS;
        if (!known && names[i] && (flags & MAPI_CREATE)) {
            DWORD values = 0;
            ::RegQueryInfoKeyW(key.get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &values, nullptr,
                               nullptr, nullptr, nullptr);
            id = kFirstNamedId + values;
            known = ::RegSetValueExW(key.get(), name.c_str(), 0, REG_DWORD, reinterpret_cast<const BYTE*>(&id),
                                     sizeof(id)) == ERROR_SUCCESS;
        }
        if (known) {
            result->aulPropTag[i] = PROP_TAG(PT_UNSPECIFIED, id);
        } else {
            result->aulPropTag[i] = PROP_TAG(PT_ERROR, 0);
            hr = MAPI_W_ERRORS_RETURNED;
        }
    }
    *tags = result;
    return hr;
}

// ---------------------------------------------------------------- object helpers

// Hands out an object as interface I, or as the interface the caller names.
template <class I, class T>
HRESULT Hand(com::ComPtr<T> object, const IID* iid, void** out) {
    if (!iid) {
        *out = static_cast<I*>(object.detach());
        return S_OK;
    }
    return object->QueryInterface(*iid, out) == S_OK ? S_OK : MAPI_E_INTERFACE_NOT_SUPPORTED;
}

// IMAPIProp with no support for anything; the classes override what they offer.
template <class I>
class MapiProp : public I {
public:
    using Interface = I;
    STDMETHODIMP GetLastError(HRESULT, ULONG, LPMAPIERROR* error) noexcept override {
        if (error) *error = nullptr;
        return MAPI_E_NO_SUPPORT;
    }
    STDMETHODIMP SaveChanges(ULONG) noexcept override { return MAPI_E_NO_SUPPORT; }
    STDMETHODIMP GetProps(LPSPropTagArray, ULONG, ULONG*, LPSPropValue*) noexcept override { return MAPI_E_NO_SUPPORT; }
    STDMETHODIMP GetPropList(ULONG, LPSPropTagArray*) noexcept override { return MAPI_E_NO_SUPPORT; }
    STDMETHODIMP OpenProperty(ULONG, LPCIID, ULONG, ULONG, LPUNKNOWN*) noexcept override { return MAPI_E_NO_SUPPORT; }
    STDMETHODIMP SetProps(ULONG, LPSPropValue, LPSPropProblemArray*) noexcept override { return MAPI_E_NO_SUPPORT; }
    STDMETHODIMP DeleteProps(LPSPropTagArray, LPSPropProblemArray*) noexcept override { return MAPI_E_NO_SUPPORT; }
    STDMETHODIMP CopyTo(ULONG, LPCIID, LPSPropTagArray, ULONG, LPMAPIPROGRESS, LPCIID, LPVOID, ULONG,
                        LPSPropProblemArray*) noexcept override {
        return MAPI_E_NO_SUPPORT;
    }
    STDMETHODIMP CopyProps(LPSPropTagArray, ULONG, LPMAPIPROGRESS, LPCIID, LPVOID, ULONG,
                           LPSPropProblemArray*) noexcept override {
        return MAPI_E_NO_SUPPORT;
    }
    STDMETHODIMP GetNamesFromIDs(LPSPropTagArray*, LPGUID, ULONG, ULONG*, LPMAPINAMEID**) noexcept override {
        return MAPI_E_NO_SUPPORT;
    }
    STDMETHODIMP GetIDsFromNames(ULONG, LPMAPINAMEID*, ULONG, LPSPropTagArray*) noexcept override {
        return MAPI_E_NO_SUPPORT;
    }
};

HRESULT OpenEntryById(ULONG size, LPENTRYID id, LPCIID iid, ULONG* objectType, LPUNKNOWN* out);

// ---------------------------------------------------------------- contents table

class CContentsTable : public com::Implements<CContentsTable, IMAPITable> {
public:
    CContentsTable(std::vector<std::vector<StoredProp>> rows, bool unicode) : m_rows(std::move(rows)) {
        const ULONG stringType = unicode ? PT_UNICODE : PT_STRING8;
        m_columns = {PR_ENTRYID,
                     PROP_TAG(stringType, 0x3001),  // PR_DISPLAY_NAME
                     PROP_TAG(stringType, 0x3003),  // PR_EMAIL_ADDRESS
                     PROP_TAG(stringType, 0x3002),  // PR_ADDRTYPE
                     PR_OBJECT_TYPE,
                     PR_DISPLAY_TYPE,
                     PR_INSTANCE_KEY,
                     PR_RECORD_KEY};
    }

    STDMETHODIMP GetLastError(HRESULT, ULONG, LPMAPIERROR* error) noexcept override {
        if (error) *error = nullptr;
        return MAPI_E_NO_SUPPORT;
    }
    STDMETHODIMP Advise(ULONG, LPMAPIADVISESINK, ULONG*) noexcept override { return MAPI_E_NO_SUPPORT; }
    STDMETHODIMP Unadvise(ULONG) noexcept override { return MAPI_E_NO_SUPPORT; }
    STDMETHODIMP GetStatus(ULONG* status, ULONG* type) noexcept override {
        if (status) *status = TBLSTAT_COMPLETE;
        if (type) *type = TBLTYPE_SNAPSHOT;
        return S_OK;
    }
    STDMETHODIMP SetColumns(LPSPropTagArray tags, ULONG) noexcept override {
        if (!tags || !tags->cValues) return MAPI_E_INVALID_PARAMETER;
        return com::Boundary([&]() -> HRESULT {
            m_columns.assign(tags->aulPropTag, tags->aulPropTag + tags->cValues);
            return S_OK;
        });
    }
    STDMETHODIMP QueryColumns(ULONG, LPSPropTagArray* tags) noexcept override {
        if (!tags) return MAPI_E_INVALID_PARAMETER;
        void* buffer = nullptr;
        if (WabAllocateBuffer(CbNewSPropTagArray(m_columns.size()), &buffer) != S_OK) return MAPI_E_NOT_ENOUGH_MEMORY;
        auto* array = static_cast<SPropTagArray*>(buffer);
        array->cValues = ULONG(m_columns.size());
        std::copy(m_columns.begin(), m_columns.end(), array->aulPropTag);
        *tags = array;
        return S_OK;
    }
    STDMETHODIMP GetRowCount(ULONG, ULONG* count) noexcept override {
        if (!count) return MAPI_E_INVALID_PARAMETER;
        *count = ULONG(m_rows.size());
        return S_OK;
    }
    STDMETHODIMP SeekRow(BOOKMARK origin, LONG rows, LONG* sought) noexcept override {
        LONG start = 0;
        if (origin == BOOKMARK_CURRENT) start = LONG(m_position);
        else if (origin == BOOKMARK_END) start = LONG(m_rows.size());
        else if (origin != BOOKMARK_BEGINNING) return MAPI_E_INVALID_BOOKMARK;
        const LONG target = std::clamp<LONG>(start + rows, 0, LONG(m_rows.size()));
        m_position = size_t(target);
        if (sought) *sought = target - start;
        return S_OK;
    }
    STDMETHODIMP SeekRowApprox(ULONG numerator, ULONG denominator) noexcept override {
        if (!denominator) return MAPI_E_INVALID_PARAMETER;
        m_position = size_t(ULONGLONG(m_rows.size()) * numerator / denominator);
        m_position = std::min(m_position, m_rows.size());
        return S_OK;
    }
    STDMETHODIMP QueryPosition(ULONG* row, ULONG* numerator, ULONG* denominator) noexcept override {
        if (row) *row = ULONG(m_position);
        if (numerator) *numerator = ULONG(m_position);
        if (denominator) *denominator = ULONG(m_rows.size());
        return S_OK;
    }
    STDMETHODIMP FindRow(LPSRestriction, BOOKMARK, ULONG) noexcept override { return MAPI_E_NO_SUPPORT; }
    STDMETHODIMP Restrict(LPSRestriction, ULONG) noexcept override { return MAPI_E_NO_SUPPORT; }
    STDMETHODIMP CreateBookmark(BOOKMARK*) noexcept override { return MAPI_E_NO_SUPPORT; }
    STDMETHODIMP FreeBookmark(BOOKMARK) noexcept override { return MAPI_E_NO_SUPPORT; }
    STDMETHODIMP SortTable(LPSSortOrderSet, ULONG) noexcept override { return MAPI_E_NO_SUPPORT; }
    STDMETHODIMP QuerySortOrder(LPSSortOrderSet*) noexcept override { return MAPI_E_NO_SUPPORT; }
    STDMETHODIMP QueryRows(LONG count, ULONG, LPSRowSet* rows) noexcept override {
        if (!rows) return MAPI_E_INVALID_PARAMETER;
        *rows = nullptr;
        if (count < 0) return MAPI_E_NO_SUPPORT;
        const size_t take = std::min(size_t(count), m_rows.size() - m_position);
        void* buffer = nullptr;
        if (WabAllocateBuffer(CbNewSRowSet(std::max<size_t>(take, 1)), &buffer) != S_OK)
            return MAPI_E_NOT_ENOUGH_MEMORY;
        auto* set = static_cast<SRowSet*>(buffer);
        set->cRows = 0;
        std::vector<BYTE> tagBytes(CbNewSPropTagArray(m_columns.size()));
        auto* columns = reinterpret_cast<SPropTagArray*>(tagBytes.data());
        columns->cValues = ULONG(m_columns.size());
        std::copy(m_columns.begin(), m_columns.end(), columns->aulPropTag);
        for (size_t i = 0; i < take; ++i) {
            SRow& row = set->aRow[i];
            row.ulAdrEntryPad = 0;
            const HRESULT hr = BuildProps(m_rows[m_position], columns, 0, &row.cValues, &row.lpProps);
            if (FAILED(hr)) {
                for (ULONG j = 0; j < set->cRows; ++j) WabFreeBuffer(set->aRow[j].lpProps);
                WabFreeBuffer(buffer);
                return hr;
            }
            ++set->cRows;
            ++m_position;
        }
        *rows = set;
        return S_OK;
    }
    STDMETHODIMP Abort() noexcept override { return S_OK; }
    STDMETHODIMP ExpandRow(ULONG, LPBYTE, ULONG, ULONG, LPSRowSet*, ULONG*) noexcept override {
        return MAPI_E_NO_SUPPORT;
    }
    STDMETHODIMP CollapseRow(ULONG, LPBYTE, ULONG, ULONG*) noexcept override { return MAPI_E_NO_SUPPORT; }
    STDMETHODIMP WaitForCompletion(ULONG, ULONG, ULONG* status) noexcept override {
        if (status) *status = TBLSTAT_COMPLETE;
        return S_OK;
    }
    STDMETHODIMP GetCollapseState(ULONG, ULONG, LPBYTE, ULONG*, LPBYTE*) noexcept override { return MAPI_E_NO_SUPPORT; }
    STDMETHODIMP SetCollapseState(ULONG, ULONG, LPBYTE, BOOKMARK*) noexcept override { return MAPI_E_NO_SUPPORT; }

private:
    std::vector<std::vector<StoredProp>> m_rows;
    std::vector<ULONG> m_columns;
    size_t m_position = 0;
};

// ---------------------------------------------------------------- mail user

class CMailUser : public com::Implements<CMailUser, MapiProp<IMailUser>> {
public:
    CMailUser(std::unique_ptr<ContactDocument> document, std::wstring path)
        : m_document(std::move(document)), m_path(std::move(path)) {}

    STDMETHODIMP SaveChanges(ULONG) noexcept override {
        return com::Boundary([&]() -> HRESULT {
            if (m_path.empty()) {
                std::wstring name;
                m_document->GetString(kFormattedNameProperty, name);
                m_path = NewContactFilePath(ContactsFolder(), name, m_document->ContactId());
                if (m_path.empty()) return MAPI_E_CALL_FAILED;
            }
            const HRESULT hr = WriteXmlFile(m_document->Root(), m_path);
            if (FAILED(hr)) return MAPI_E_CALL_FAILED;
            TouchAddressBookFile();
            return S_OK;
        });
    }
    STDMETHODIMP GetProps(LPSPropTagArray tags, ULONG flags, ULONG* count, LPSPropValue* values) noexcept override {
        return com::Boundary(
            [&]() -> HRESULT { return BuildProps(ContactProps(*m_document, m_path), tags, flags, count, values); });
    }
    STDMETHODIMP GetPropList(ULONG flags, LPSPropTagArray* tags) noexcept override {
        return com::Boundary([&]() -> HRESULT {
            if (!tags) return MAPI_E_INVALID_PARAMETER;
            const std::vector<StoredProp> all = ContactProps(*m_document, m_path);
            void* buffer = nullptr;
            if (WabAllocateBuffer(CbNewSPropTagArray(all.size()), &buffer) != S_OK) return MAPI_E_NOT_ENOUGH_MEMORY;
            auto* array = static_cast<SPropTagArray*>(buffer);
            array->cValues = ULONG(all.size());
            for (size_t i = 0; i < all.size(); ++i) {
                const ULONG type = PROP_TYPE(all[i].tag);
                array->aulPropTag[i] =
                    IsString(type) ? PROP_TAG((flags & MAPI_UNICODE) ? PT_UNICODE : PT_STRING8, PROP_ID(all[i].tag))
                                   : all[i].tag;
            }
            *tags = array;
            return S_OK;
        });
    }
    STDMETHODIMP SetProps(ULONG count, LPSPropValue values, LPSPropProblemArray* problems) noexcept override {
        return com::Boundary([&]() -> HRESULT {
            if (problems) *problems = nullptr;
            if (!count || !values) return MAPI_E_INVALID_PARAMETER;
            std::vector<SPropProblem> found;
            for (ULONG i = 0; i < count; ++i) {
                const SCODE result = ApplyProp(*m_document, values[i]);
                if (result != S_OK) found.push_back({i, values[i].ulPropTag, result});
            }
            if (found.empty() || !problems) return S_OK;
            void* buffer = nullptr;
            if (WabAllocateBuffer(CbNewSPropProblemArray(found.size()), &buffer) != S_OK) return S_OK;
            auto* array = static_cast<SPropProblemArray*>(buffer);
            array->cProblem = ULONG(found.size());
            std::copy(found.begin(), found.end(), array->aProblem);
            *problems = array;
            return S_OK;
        });
    }
    STDMETHODIMP DeleteProps(LPSPropTagArray tags, LPSPropProblemArray* problems) noexcept override {
        return com::Boundary([&]() -> HRESULT {
            if (problems) *problems = nullptr;
            if (!tags) return MAPI_E_INVALID_PARAMETER;
            for (ULONG i = 0; i < tags->cValues; ++i) {
                const ULONG tag = tags->aulPropTag[i];
                m_document->DeleteProperty(MapiPropertyName(tag));
                m_document->DeleteProperty(MapiPropertyName(PROP_TAG(PT_STRING8, PROP_ID(tag))));
                for (const SchemaText& schema : kSchemaTexts)
                    if (schema.id == PROP_ID(tag))
                        m_document->DeleteProperty(FirstElement(schema.collection) + L"/" + schema.value);
                for (const SchemaPhone& phone : kSchemaPhones)
                    if (phone.id == PROP_ID(tag)) {
                        const std::wstring element = FindPhone(*m_document, phone);
                        if (!element.empty()) m_document->DeleteArrayNode(element);
                    }
            }
            return S_OK;
        });
    }
    STDMETHODIMP GetIDsFromNames(ULONG count, LPMAPINAMEID* names, ULONG flags,
                                 LPSPropTagArray* tags) noexcept override {
        return com::Boundary([&]() -> HRESULT { return LookUpNames(count, names, flags, tags); });
    }

private:
    std::unique_ptr<ContactDocument> m_document;
    std::wstring m_path;  // empty until a new entry is first saved
};

// ---------------------------------------------------------------- container

constexpr char kContainerName[] = "Contacts";

class CABContainer : public com::Implements<CABContainer, MapiProp<IABContainer>> {
public:
    STDMETHODIMP GetProps(LPSPropTagArray tags, ULONG flags, ULONG* count, LPSPropValue* values) noexcept override {
        return com::Boundary([&]() -> HRESULT {
            std::vector<StoredProp> all;
            all.push_back(Binary(PR_ENTRYID, ProviderEntryId(MAPI_ABCONT)));
            all.push_back(Text(PR_OBJECT_TYPE, std::to_wstring(MAPI_ABCONT)));
            all.push_back(Text(PROP_TAG(PT_STRING8, 0x3001), FromAnsi(kContainerName)));
            all.push_back(Text(PR_CONTAINER_FLAGS, std::to_wstring(AB_RECIPIENTS | AB_MODIFIABLE)));
            all.push_back(Text(PR_DISPLAY_TYPE, std::to_wstring(DT_NOT_SPECIFIC)));
            all.push_back(Binary(PR_DEF_CREATE_MAILUSER, ProviderEntryId(MAPI_MAILUSER)));
            return BuildProps(all, tags, flags, count, values);
        });
    }
    STDMETHODIMP GetContentsTable(ULONG flags, LPMAPITABLE* table) noexcept override {
        return com::Boundary([&]() -> HRESULT {
            if (!table) return MAPI_E_INVALID_PARAMETER;
            *table = nullptr;
            std::vector<std::vector<StoredProp>> rows;
            for (const std::wstring& file : ListContactFiles(ContactsFolder()))
                if (auto document = ReadContactFile(file)) rows.push_back(ContactProps(*document, file));
            // The WAB lists its entries by display name.
            auto nameOf = [](const std::vector<StoredProp>& row) {
                for (const StoredProp& prop : row)
                    if (PROP_ID(prop.tag) == 0x3001) return prop.text;
                return std::wstring();
            };
            std::stable_sort(rows.begin(), rows.end(), [&](const auto& left, const auto& right) {
                return _wcsicmp(nameOf(left).c_str(), nameOf(right).c_str()) < 0;
            });
            for (size_t i = 0; i < rows.size(); ++i) {
                const ULONG index = ULONG(i + 1);
                std::vector<BYTE> key(sizeof(index));
                memcpy(key.data(), &index, sizeof(index));
                rows[i].push_back(Binary(PR_INSTANCE_KEY, std::move(key)));
            }
            *table = com::Make<CContentsTable>(std::move(rows), (flags & MAPI_UNICODE) != 0).detach();
            return S_OK;
        });
    }
    STDMETHODIMP GetHierarchyTable(ULONG, LPMAPITABLE* table) noexcept override {
        if (table) *table = nullptr;
        return MAPI_E_NO_SUPPORT;
    }
    STDMETHODIMP OpenEntry(ULONG size, LPENTRYID id, LPCIID iid, ULONG, ULONG* objectType,
                           LPUNKNOWN* out) noexcept override {
        return com::Boundary([&]() -> HRESULT { return OpenEntryById(size, id, iid, objectType, out); });
    }
    STDMETHODIMP SetSearchCriteria(LPSRestriction, LPENTRYLIST, ULONG) noexcept override { return MAPI_E_NO_SUPPORT; }
    STDMETHODIMP GetSearchCriteria(ULONG, LPSRestriction*, LPENTRYLIST*, ULONG*) noexcept override {
        return MAPI_E_NO_SUPPORT;
    }
    STDMETHODIMP CreateEntry(ULONG size, LPENTRYID templateId, ULONG, LPMAPIPROP* entry) noexcept override {
        return com::Boundary([&]() -> HRESULT {
            if (!entry) return MAPI_E_INVALID_PARAMETER;
            *entry = nullptr;
            if (!IsProviderEntryId(size, templateId, MAPI_MAILUSER)) return MAPI_E_INVALID_ENTRYID;
            auto user = com::Make<CMailUser>(std::make_unique<ContactDocument>(), std::wstring());
            *entry = static_cast<IMailUser*>(user.detach());
            return S_OK;
        });
    }
    STDMETHODIMP CopyEntries(LPENTRYLIST, ULONG, LPMAPIPROGRESS, ULONG) noexcept override { return MAPI_E_NO_SUPPORT; }
    STDMETHODIMP DeleteEntries(LPENTRYLIST entries, ULONG) noexcept override {
        return com::Boundary([&]() -> HRESULT {
            if (!entries) return MAPI_E_INVALID_PARAMETER;
            HRESULT result = S_OK;
            bool deleted = false;
            for (ULONG i = 0; i < entries->cValues; ++i) {
                std::wstring contactId, path;
                std::unique_ptr<ContactDocument> document;
                const SBinary& id = entries->lpbin[i];
                if (ContactIdOfEntry(id.cb, reinterpret_cast<const ENTRYID*>(id.lpb), contactId) &&
                    LocateContact(contactId, document, path) && ::DeleteFileW(path.c_str())) {
                    deleted = true;
                } else {
                    result = MAPI_W_PARTIAL_COMPLETION;
                }
            }
            if (deleted) TouchAddressBookFile();
            return result;
        });
    }
    STDMETHODIMP ResolveNames(LPSPropTagArray, ULONG, LPADRLIST, LPFlagList) noexcept override {
        return MAPI_E_NO_SUPPORT;
    }
};

HRESULT OpenEntryById(ULONG size, LPENTRYID id, LPCIID iid, ULONG* objectType, LPUNKNOWN* out) {
    if (!out || !objectType) return MAPI_E_INVALID_PARAMETER;
    *out = nullptr;
    // No identifier, as in MAPI, opens the root: here the one container.
    if (!size || IsProviderEntryId(size, id, MAPI_ABCONT)) {
        *objectType = MAPI_ABCONT;
        return Hand<IABContainer>(com::Make<CABContainer>(), iid, reinterpret_cast<void**>(out));
    }
    std::wstring contactId, path;
    if (!ContactIdOfEntry(size, id, contactId)) return MAPI_E_INVALID_ENTRYID;
    std::unique_ptr<ContactDocument> document;
    if (!LocateContact(contactId, document, path)) return MAPI_E_NOT_FOUND;
    *objectType = MAPI_MAILUSER;
    return Hand<IMailUser>(com::Make<CMailUser>(std::move(document), path), iid, reinterpret_cast<void**>(out));
}

// ---------------------------------------------------------------- address book

class CAddrBook : public com::Implements<CAddrBook, MapiProp<IAddrBook>> {
public:
    STDMETHODIMP OpenEntry(ULONG size, LPENTRYID id, LPCIID iid, ULONG, ULONG* objectType,
                           LPUNKNOWN* out) noexcept override {
        return com::Boundary([&]() -> HRESULT { return OpenEntryById(size, id, iid, objectType, out); });
    }
    STDMETHODIMP CompareEntryIDs(ULONG size1, LPENTRYID id1, ULONG size2, LPENTRYID id2, ULONG,
                                 ULONG* result) noexcept override {
        return com::Boundary([&]() -> HRESULT {
            if (!result) return MAPI_E_INVALID_PARAMETER;
            *result = FALSE;
            if (IsProviderEntryId(size1, id1, MAPI_ABCONT) || IsProviderEntryId(size2, id2, MAPI_ABCONT)) {
                *result = size1 == size2 && memcmp(id1, id2, size1) == 0;
                return S_OK;
            }
            std::wstring text1, text2, guid1, guid2, path;
            if (!ContactIdOfEntry(size1, id1, text1) || !ContactIdOfEntry(size2, id2, text2))
                return MAPI_E_UNKNOWN_ENTRYID;
            SplitContactId(text1, guid1, path);
            SplitContactId(text2, guid2, path);
            *result = guid1 == guid2;
            return S_OK;
        });
    }
    STDMETHODIMP Advise(ULONG, LPENTRYID, ULONG, LPMAPIADVISESINK, ULONG*) noexcept override {
        return MAPI_E_NO_SUPPORT;
    }
    STDMETHODIMP Unadvise(ULONG) noexcept override { return MAPI_E_NO_SUPPORT; }
    STDMETHODIMP CreateOneOff(LPTSTR, LPTSTR, LPTSTR, ULONG, ULONG*, LPENTRYID*) noexcept override {
        return MAPI_E_NO_SUPPORT;
    }
    STDMETHODIMP NewEntry(ULONG, ULONG, ULONG, LPENTRYID, ULONG, LPENTRYID, ULONG*, LPENTRYID*) noexcept override {
        return MAPI_E_NO_SUPPORT;
    }
    STDMETHODIMP ResolveName(ULONG_PTR, ULONG, LPTSTR, LPADRLIST) noexcept override { return MAPI_E_NO_SUPPORT; }
    STDMETHODIMP Address(ULONG*, LPADRPARM, LPADRLIST*) noexcept override { return MAPI_E_NO_SUPPORT; }
    STDMETHODIMP Details(ULONG*, LPFNDISMISS, LPVOID, ULONG, LPENTRYID, LPFNBUTTON, LPVOID, LPTSTR,
                         ULONG) noexcept override {
        return MAPI_E_NO_SUPPORT;
    }
    STDMETHODIMP RecipOptions(ULONG, ULONG, LPADRENTRY) noexcept override { return MAPI_E_NO_SUPPORT; }
    STDMETHODIMP QueryDefaultRecipOpt(LPTSTR, ULONG, ULONG*, LPSPropValue*) noexcept override {
        return MAPI_E_NO_SUPPORT;
    }
    STDMETHODIMP GetPAB(ULONG* size, LPENTRYID* id) noexcept override {
        if (!size || !id) return MAPI_E_INVALID_PARAMETER;
        const std::vector<BYTE> pab = ProviderEntryId(MAPI_ABCONT);
        void* buffer = nullptr;
        if (WabAllocateBuffer(ULONG(pab.size()), &buffer) != S_OK) return MAPI_E_NOT_ENOUGH_MEMORY;
        memcpy(buffer, pab.data(), pab.size());
        *size = ULONG(pab.size());
        *id = static_cast<LPENTRYID>(buffer);
        return S_OK;
    }
    STDMETHODIMP SetPAB(ULONG, LPENTRYID) noexcept override { return MAPI_E_NO_SUPPORT; }
    STDMETHODIMP GetDefaultDir(ULONG* size, LPENTRYID* id) noexcept override { return GetPAB(size, id); }
    STDMETHODIMP SetDefaultDir(ULONG, LPENTRYID) noexcept override { return MAPI_E_NO_SUPPORT; }
    STDMETHODIMP GetSearchPath(ULONG, LPSRowSet*) noexcept override { return MAPI_E_NO_SUPPORT; }
    STDMETHODIMP SetSearchPath(ULONG, LPSRowSet) noexcept override { return MAPI_E_NO_SUPPORT; }
    STDMETHODIMP PrepareRecips(ULONG, LPSPropTagArray, LPADRLIST) noexcept override { return MAPI_E_NO_SUPPORT; }
};

// ---------------------------------------------------------------- WAB object

class CWABObject : public com::Implements<CWABObject, IWABObject> {
public:
    STDMETHODIMP GetLastError(HRESULT, ULONG, LPMAPIERROR* error) noexcept override {
        if (error) *error = nullptr;
        return MAPI_E_NO_SUPPORT;
    }
    STDMETHODIMP AllocateBuffer(ULONG size, LPVOID* buffer) noexcept override {
        return WabAllocateBuffer(size, buffer);
    }
    STDMETHODIMP AllocateMore(ULONG size, LPVOID parent, LPVOID* buffer) noexcept override {
        return WabAllocateMore(size, parent, buffer);
    }
    STDMETHODIMP FreeBuffer(LPVOID buffer) noexcept override {
        WabFreeBuffer(buffer);
        return S_OK;
    }
    STDMETHODIMP Backup(LPSTR) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP Import(LPSTR) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP Find(LPADRBOOK, HWND) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP VCardDisplay(LPADRBOOK, HWND, LPSTR) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP LDAPUrl(LPADRBOOK, HWND, ULONG, LPSTR, LPMAILUSER*) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP VCardCreate(LPADRBOOK, ULONG, LPSTR, LPMAILUSER) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP VCardRetrieve(LPADRBOOK, ULONG, LPSTR, LPMAILUSER*) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP GetMe(LPADRBOOK, ULONG, DWORD*, SBinary*, ULONG) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP SetMe(LPADRBOOK, ULONG, SBinary, ULONG) noexcept override { return E_NOTIMPL; }
};

}  // namespace

SCODE WabAllocateBuffer(ULONG size, void** buffer) noexcept {
    if (!buffer) return MAPI_E_INVALID_PARAMETER;
    BufferHeader* header = NewBlock(size, kRootMagic);
    *buffer = header ? header + 1 : nullptr;
    return header ? S_OK : MAPI_E_NOT_ENOUGH_MEMORY;
}

SCODE WabAllocateMore(ULONG size, void* parent, void** buffer) noexcept {
    if (!buffer || !parent) return MAPI_E_INVALID_PARAMETER;
    *buffer = nullptr;
    BufferHeader* root = HeaderOf(parent);
    if (root->magic != kRootMagic) return MAPI_E_INVALID_PARAMETER;
    BufferHeader* header = NewBlock(size, kMoreMagic);
    if (!header) return MAPI_E_NOT_ENOUGH_MEMORY;
    header->more = root->more;
    root->more = header;
    *buffer = header + 1;
    return S_OK;
}

ULONG WabFreeBuffer(void* buffer) noexcept {
    if (!buffer) return 0;
    BufferHeader* header = HeaderOf(buffer);
    // Blocks from AllocateMore go with their parent only.
    if (header->magic != kRootMagic) return 0;
    while (header) {
        BufferHeader* next = header->more;
        header->magic = 0;
        ::HeapFree(::GetProcessHeap(), 0, header);
        header = next;
    }
    return 0;
}

std::vector<BYTE> MakeEntryId(const std::wstring& contactId, const std::wstring& path) {
    const std::wstring text = kEntryIdPrefix + ContactIdText(contactId, path);
    std::vector<BYTE> bytes((text.size() + 1) * sizeof(wchar_t), 0);
    memcpy(bytes.data(), text.c_str(), text.size() * sizeof(wchar_t));
    return bytes;
}

std::vector<StoredProp> ContactProps(const ContactDocument& document, const std::wstring& path) {
    std::vector<StoredProp> props;
    if (!path.empty()) {
        std::vector<BYTE> id = MakeEntryId(document.ContactId(), path);
        props.push_back(Binary(PR_ENTRYID, id));
        props.push_back(Binary(PR_RECORD_KEY, std::move(id)));
    }
    props.push_back(Text(PR_OBJECT_TYPE, std::to_wstring(MAPI_MAILUSER)));
    props.push_back(Text(PR_DISPLAY_TYPE, std::to_wstring(DT_MAILUSER)));
    std::wstring value;
    for (const SchemaText& schema : kSchemaTexts)
        if (document.GetString(FirstElement(schema.collection) + L"/" + schema.value, value) == S_OK) {
            props.push_back(Text(PROP_TAG(PT_STRING8, schema.id), value));
            if (schema.id == 0x3003) props.push_back(Text(PROP_TAG(PT_STRING8, 0x3002), L"SMTP"));  // PR_ADDRTYPE
        }
    for (const SchemaPhone& phone : kSchemaPhones) {
        const std::wstring element = FindPhone(document, phone);
        if (!element.empty() && document.GetString(element + L"/Number", value) == S_OK)
            props.push_back(Text(PROP_TAG(PT_STRING8, phone.id), value));
    }
    for (const PropertyEntry& entry : document.Collect(nullptr, {}, false)) {
        ULONG tag = 0;
        if (!MapiTagOfName(entry.name, tag) || document.GetString(entry.name, value) != S_OK) continue;
        if (PROP_TYPE(tag) == PT_BINARY) props.push_back(Binary(tag, BytesOfHex(value)));
        else props.push_back(Text(tag, value));
    }
    return props;
}

}  // namespace wabfake

STDMETHODIMP WABOpen(LPADRBOOK* addressBook, LPWABOBJECT* wabObject, LPWAB_PARAM params, DWORD) {
    return com::Boundary([&]() -> HRESULT {
        if (!addressBook || !wabObject) return MAPI_E_INVALID_PARAMETER;
        *addressBook = nullptr;
        *wabObject = nullptr;
        if (params && params->cbSize < offsetof(WAB_PARAM, guidPSExt)) return MAPI_E_INVALID_PARAMETER;
        // From Vista on the address book is the Contacts folder, whatever file is named.
        if (wabfake::ContactsFolder().empty()) return MAPI_E_NOT_FOUND;
        *addressBook = com::Make<wabfake::CAddrBook>().detach();
        *wabObject = com::Make<wabfake::CWABObject>().detach();
        return S_OK;
    });
}
