// The Outlook contacts source. Every call into Outlook is late bound with
// Outlook's published DISPIDs (see outlook_model.h); the Table family of
// Outlook 2007 and later is reached by name.
#include "sources/oab.h"

#include "com/hresult.h"
#include "com/invoke.h"
#include "com/strings.h"
#include "log/logger.h"
#include "sources/outlook_model.h"

#include <algorithm>
#include <cwchar>
#include <string>
#include <vector>

using com::ComPtr;

namespace {

constexpr wchar_t kFaxFilter[] = L"[BusinessFaxNumber] <> ''";
constexpr wchar_t kFavoriteProperty[] = L"ZentelFavorite";
constexpr wchar_t kNamespaceType[] = L"MAPI";
constexpr int kFirstVersionWithReminders = 10;
constexpr int kFirstVersionWithTables = 12;
// Rows asked of the Table per call: a few calls for a large book, and a
// marshalled array of about a megabyte at most.
constexpr long kTableBatchRows = 2000;
// A user property created with UserProperties.Add, as a Table column.
constexpr wchar_t kFavoriteColumn[] =
    L"http://schemas.microsoft.com/mapi/string/{00020329-0000-0000-C000-000000000046}/ZentelFavorite";
// The Table's columns, in the order LoadAllFromTable reads them.
constexpr const wchar_t* kTableColumns[] = {L"EntryID", L"MessageClass", L"FullName", L"BusinessFaxNumber",
                                            kFavoriteColumn};
enum TableColumn { kColumnEntryId, kColumnMessageClass, kColumnFullName, kColumnFax, kColumnFavorite };

HRESULT GetObject(IDispatch* object, DISPID member, WORD flags, std::initializer_list<VARIANT> args,
                  ComPtr<IDispatch>& out) {
    out.reset();
    com::UniqueVariant result;
    RETURN_IF_FAILED(com::Invoke(object, member, flags, args, result.put()));
    if (V_VT(&result) == VT_DISPATCH) {
        out = ComPtr<IDispatch>(V_DISPATCH(&result));
    } else if (V_VT(&result) == VT_UNKNOWN && V_UNKNOWN(&result)) {
        RETURN_IF_FAILED(V_UNKNOWN(&result)->QueryInterface(IID_IDispatch, out.put_void()));
    } else if (V_VT(&result) != VT_EMPTY && V_VT(&result) != VT_NULL) {
        return DISP_E_TYPEMISMATCH;
    }
    return S_OK;
}

HRESULT GetProperty(IDispatch* object, DISPID member, ComPtr<IDispatch>& out) {
    return GetObject(object, member, DISPATCH_PROPERTYGET, {}, out);
}

HRESULT GetText(IDispatch* object, DISPID member, std::wstring& out) {
    out.clear();
    com::UniqueVariant result;
    RETURN_IF_FAILED(com::Invoke(object, member, DISPATCH_PROPERTYGET, {}, result.put()));
    if (V_VT(&result) == VT_EMPTY || V_VT(&result) == VT_NULL) return S_OK;
    RETURN_IF_FAILED(::VariantChangeType(&result, &result, 0, VT_BSTR));
    out = com::FromBstr(V_BSTR(&result));
    return S_OK;
}

HRESULT GetLong(IDispatch* object, DISPID member, long& out) {
    out = 0;
    com::UniqueVariant result;
    RETURN_IF_FAILED(com::Invoke(object, member, DISPATCH_PROPERTYGET, {}, result.put()));
    RETURN_IF_FAILED(::VariantChangeType(&result, &result, 0, VT_I4));
    out = V_I4(&result);
    return S_OK;
}

HRESULT PutText(IDispatch* object, DISPID member, const std::wstring& text) {
    com::UniqueBstr value(com::AllocBstr(text));
    RETURN_HR_IF_NULL(E_OUTOFMEMORY, value.get());
    return com::Invoke(object, member, DISPATCH_PROPERTYPUT, {com::TextArg(value.get())});
}

// The member's number, asked of the object itself once and then kept.
HRESULT MemberId(IDispatch* object, const wchar_t* name, DISPID& id) {
    if (id != DISPID_UNKNOWN) return S_OK;
    LPOLESTR names[] = {const_cast<LPOLESTR>(name)};
    DISPID found = DISPID_UNKNOWN;
    RETURN_IF_FAILED(object->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &found));
    RETURN_HR_IF(DISP_E_UNKNOWNNAME, found == DISPID_UNKNOWN);
    id = found;
    return S_OK;
}

// A text cell of a Table row, read as the item's property would be read:
// Empty is an empty text. An entry identifier that comes as bytes is turned
// into the hexadecimal text that EntryID answers.
HRESULT CellText(VARIANT& cell, std::wstring& out) {
    out.clear();
    if (V_VT(&cell) == VT_EMPTY || V_VT(&cell) == VT_NULL) return S_OK;
    if (V_VT(&cell) == (VT_ARRAY | VT_UI1)) {
        SAFEARRAY* bytes = V_ARRAY(&cell);
        RETURN_HR_IF(DISP_E_TYPEMISMATCH, !bytes || ::SafeArrayGetDim(bytes) != 1);
        const ULONG size = bytes->rgsabound[0].cElements;
        const BYTE* data = nullptr;
        RETURN_IF_FAILED(::SafeArrayAccessData(bytes, (void**)&data));
        static const wchar_t digits[] = L"0123456789ABCDEF";
        for (ULONG i = 0; i < size; ++i) {
            out += digits[data[i] >> 4];
            out += digits[data[i] & 15];
        }
        ::SafeArrayUnaccessData(bytes);
        return S_OK;
    }
    RETURN_IF_FAILED(::VariantChangeType(&cell, &cell, 0, VT_BSTR));
    out = com::FromBstr(V_BSTR(&cell));
    return S_OK;
}

// What Outlook's Class 40 (a contact) is as a message class: "IPM.Contact"
// and the classes of custom contact forms derived from it.
bool IsContactClass(const std::wstring& messageClass) {
    constexpr wchar_t kContact[] = L"IPM.Contact";
    constexpr size_t length = std::size(kContact) - 1;
    if (messageClass.size() < length || _wcsnicmp(messageClass.c_str(), kContact, length) != 0) return false;
    return messageClass.size() == length || messageClass[length] == L'.';
}

// The number at the start of Outlook's version text ("16.0.0.4266" is 16).
// The text goes through the 8-bit code page and back first, and is scanned
// with "%i", so a leading "0x" or "0" reads as hexadecimal or octal.
int ParseMajorVersion(const std::wstring& version) {
    if (version.empty()) return 0;
    const int bytes = ::WideCharToMultiByte(CP_ACP, 0, version.c_str(), -1, nullptr, 0, nullptr, nullptr);
    if (bytes <= 0) return 0;
    std::string narrow(size_t(bytes), '\0');
    ::WideCharToMultiByte(CP_ACP, 0, version.c_str(), -1, narrow.data(), bytes, nullptr, nullptr);
    const int chars = ::MultiByteToWideChar(CP_ACP, 0, narrow.c_str(), -1, nullptr, 0);
    if (chars <= 0) return 0;
    std::wstring wide(size_t(chars), L'\0');
    ::MultiByteToWideChar(CP_ACP, 0, narrow.c_str(), -1, wide.data(), chars);
    int major = 0;
    if (std::swscanf(wide.c_str(), L"%i", &major) != 1) return 0;
    return major;
}

}  // namespace

COAB::COAB() = default;

COAB::~COAB() {
    Disconnect();
}

HRESULT COAB::Connect() {
    Disconnect();
    const HRESULT hr = com::Boundary([&] { return ConnectSteps(); });
    if (FAILED(hr)) {
        Disconnect();
        wchar_t message[64];
        std::swprintf(message, std::size(message), L"COAB::Connect() failed. hr=0x%08.8Xh\n", unsigned(hr));
        Log(L"Phonebook", message);
    }
    return hr;
}

HRESULT COAB::ConnectSteps() {
    CLSID clsid{};
    RETURN_IF_FAILED(::CLSIDFromProgID(outlook::kProgId, &clsid));
    RETURN_IF_FAILED(::CoCreateInstance(clsid, nullptr,
                                        CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER | CLSCTX_REMOTE_SERVER,
                                        outlook::IID_Application, m_application.put_void()));
    RETURN_HR_IF_NULL(E_NOINTERFACE, m_application.get());

    m_majorVersion = 0;
    std::wstring version;
    RETURN_IF_FAILED(GetText(m_application.get(), outlook::kDispVersion, version));
    m_majorVersion = ParseMajorVersion(version);

    com::UniqueBstr mapi(com::AllocBstr(kNamespaceType));
    RETURN_HR_IF_NULL(E_OUTOFMEMORY, mapi.get());
    RETURN_IF_FAILED(GetObject(m_application.get(), outlook::kDispGetNamespace, DISPATCH_METHOD,
                               {com::TextArg(mapi.get())}, m_namespace));
    RETURN_HR_IF_NULL(E_FAIL, m_namespace.get());

    RETURN_IF_FAILED(GetObject(m_namespace.get(), outlook::kDispGetDefaultFolder, DISPATCH_METHOD,
                               {com::LongArg(outlook::olFolderContacts)}, m_contactsFolder));
    if (m_contactsFolder) {
        RETURN_IF_FAILED(GetProperty(m_contactsFolder.get(), outlook::kDispItems, m_contactItems));
        RETURN_IF_FAILED(GetProperty(m_namespace.get(), outlook::kDispFolders, m_folders));
    }

    // Outlook 2000 and earlier have no reminders collection; a failure to
    // get one later on only costs the reminder events.
    if (m_majorVersion >= kFirstVersionWithReminders)
        GetProperty(m_application.get(), outlook::kDispReminders, m_reminders);
    return S_OK;
}

void COAB::Disconnect() {
    m_tableMembers = TableMembers{};
    m_folders.reset();
    m_reminders.reset();
    m_contactItems.reset();
    m_contactsFolder.reset();
    m_namespace.reset();
    m_application.reset();
}

HRESULT COAB::ReadContact(IDispatch* contact, CRecipient& recipient) {
    long objectClass = 0;
    HRESULT hr = GetLong(contact, outlook::kDispClass, objectClass);
    if (FAILED(hr) || objectClass != outlook::olContact) return hr;

    RETURN_IF_FAILED(GetText(contact, outlook::kDispFullName, recipient.name));
    RETURN_IF_FAILED(GetText(contact, outlook::kDispBusinessFaxNumber, recipient.faxNumber));

    std::wstring entryId;
    hr = GetText(contact, outlook::kDispEntryID, entryId);
    if (FAILED(hr)) return hr;
    recipient.identifier = entryId;
    if (!entryId.empty()) recipient.key = KeyFromIdentifier(entryId);

    // Only contacts that are listed (they have a fax number) carry the mark.
    if (recipient.faxNumber.empty()) return hr;
    ComPtr<IDispatch> properties;
    if (FAILED(GetProperty(contact, outlook::kDispUserProperties, properties)) || !properties) return hr;
    com::UniqueBstr name(com::AllocBstr(kFavoriteProperty));
    RETURN_HR_IF_NULL(E_OUTOFMEMORY, name.get());
    ComPtr<IDispatch> favorite;
    if (FAILED(GetObject(properties.get(), outlook::kDispUserPropertiesFind, DISPATCH_METHOD,
                         {com::TextArg(name.get()), com::BoolArg(true)}, favorite)) ||
        !favorite)
        return hr;
    com::UniqueVariant value;
    if (SUCCEEDED(com::Invoke(favorite.get(), outlook::kDispValue, DISPATCH_PROPERTYGET, {}, value.put())))
        recipient.favorite = V_VT(&value) == VT_BOOL && V_BOOL(&value) == VARIANT_TRUE;
    return hr;
}

HRESULT COAB::WriteContact(IDispatch* contact, const CRecipient& recipient) {
    long objectClass = 0;
    RETURN_IF_FAILED(GetLong(contact, outlook::kDispClass, objectClass));
    RETURN_HR_IF(E_FAIL, objectClass != outlook::olContact);

    RETURN_IF_FAILED(PutText(contact, outlook::kDispFullName, recipient.name));
    RETURN_IF_FAILED(PutText(contact, outlook::kDispBusinessFaxNumber, recipient.faxNumber));

    ComPtr<IDispatch> properties;
    RETURN_IF_FAILED(GetProperty(contact, outlook::kDispUserProperties, properties));
    RETURN_HR_IF_NULL(E_FAIL, properties.get());
    com::UniqueBstr name(com::AllocBstr(kFavoriteProperty));
    RETURN_HR_IF_NULL(E_OUTOFMEMORY, name.get());
    ComPtr<IDispatch> favorite;
    if (FAILED(GetObject(properties.get(), outlook::kDispUserPropertiesFind, DISPATCH_METHOD,
                         {com::TextArg(name.get()), com::BoolArg(true)}, favorite)) ||
        !favorite) {
        RETURN_IF_FAILED(GetObject(
            properties.get(), outlook::kDispUserPropertiesAdd, DISPATCH_METHOD,
            {com::TextArg(name.get()), com::LongArg(outlook::olYesNo), com::BoolArg(false), com::LongArg(0)},
            favorite));
        RETURN_HR_IF_NULL(E_FAIL, favorite.get());
    }
    return com::Invoke(favorite.get(), outlook::kDispValue, DISPATCH_PROPERTYPUT,
                       {com::BoolArg(recipient.favorite)});
}

HRESULT COAB::LoadAll(RecipientList& out) {
    return com::Boundary([&]() -> HRESULT {
        out.clear();
        RETURN_HR_IF_NULL(E_FAIL, m_contactsFolder.get());
        // The Table lists the whole book in a few calls where reading item by
        // item costs a dozen calls into Outlook per contact. Any failure on
        // that path leaves the item-by-item listing to answer, as it does for
        // Outlook before 2007.
        if (m_majorVersion >= kFirstVersionWithTables && SUCCEEDED(LoadAllFromTable(out))) return S_OK;
        out.clear();
        return LoadAllByItem(out);
    });
}

HRESULT COAB::LoadAllFromTable(RecipientList& out) {
    TableMembers& ids = m_tableMembers;
    RETURN_IF_FAILED(MemberId(m_contactsFolder.get(), L"GetTable", ids.getTable));
    com::UniqueBstr filter(com::AllocBstr(kFaxFilter));
    RETURN_HR_IF_NULL(E_OUTOFMEMORY, filter.get());
    ComPtr<IDispatch> table;
    RETURN_IF_FAILED(GetObject(m_contactsFolder.get(), ids.getTable, DISPATCH_METHOD,
                               {com::TextArg(filter.get()), com::LongArg(outlook::olUserItems)}, table));
    RETURN_HR_IF_NULL(E_FAIL, table.get());

    RETURN_IF_FAILED(MemberId(table.get(), L"Columns", ids.columns));
    ComPtr<IDispatch> columns;
    RETURN_IF_FAILED(GetProperty(table.get(), ids.columns, columns));
    RETURN_HR_IF_NULL(E_FAIL, columns.get());
    RETURN_IF_FAILED(MemberId(columns.get(), L"RemoveAll", ids.removeAll));
    RETURN_IF_FAILED(MemberId(columns.get(), L"Add", ids.add));
    RETURN_IF_FAILED(com::Invoke(columns.get(), ids.removeAll, DISPATCH_METHOD, {}));
    for (const wchar_t* name : kTableColumns) {
        com::UniqueBstr text(com::AllocBstr(name));
        RETURN_HR_IF_NULL(E_OUTOFMEMORY, text.get());
        // The new Column comes back and is let go at once; taking no result
        // would leave the caller's marshaller holding it, and Outlook running.
        com::UniqueVariant column;
        RETURN_IF_FAILED(
            com::Invoke(columns.get(), ids.add, DISPATCH_METHOD, {com::TextArg(text.get())}, column.put()));
    }
    columns.reset();

    RETURN_IF_FAILED(MemberId(table.get(), L"GetRowCount", ids.getRowCount));
    RETURN_IF_FAILED(MemberId(table.get(), L"GetArray", ids.getArray));
    com::UniqueVariant rowCount;
    RETURN_IF_FAILED(com::Invoke(table.get(), ids.getRowCount, DISPATCH_METHOD, {}, rowCount.put()));
    RETURN_IF_FAILED(::VariantChangeType(&rowCount, &rowCount, 0, VT_I4));
    const long total = V_I4(&rowCount);

    // Identifiers get their keys only once the whole table was read, so a
    // failure half-way leaves the identifier table as the item-by-item
    // listing would find it.
    struct Row {
        std::wstring entryId, name, fax;
        bool favorite = false;
    };
    std::vector<Row> rows;
    rows.reserve(size_t(total > 0 ? total : 0));
    constexpr long kColumns = long(std::size(kTableColumns));
    for (long fetched = 0; fetched < total;) {
        // Outlook 2007 refuses to be asked for more rows than the table has.
        const long asked = std::min(kTableBatchRows, total - fetched);
        com::UniqueVariant batch;
        RETURN_IF_FAILED(
            com::Invoke(table.get(), ids.getArray, DISPATCH_METHOD, {com::LongArg(asked)}, batch.put()));
        RETURN_HR_IF(DISP_E_TYPEMISMATCH, V_VT(&batch) != (VT_ARRAY | VT_VARIANT));
        SAFEARRAY* cells = V_ARRAY(&batch);
        RETURN_HR_IF(DISP_E_TYPEMISMATCH, !cells || ::SafeArrayGetDim(cells) != 2);
        // Rows by columns: the first index is the row.
        LONG firstRow = 0, lastRow = -1, firstColumn = 0, lastColumn = -1;
        RETURN_IF_FAILED(::SafeArrayGetLBound(cells, 1, &firstRow));
        RETURN_IF_FAILED(::SafeArrayGetUBound(cells, 1, &lastRow));
        RETURN_IF_FAILED(::SafeArrayGetLBound(cells, 2, &firstColumn));
        RETURN_IF_FAILED(::SafeArrayGetUBound(cells, 2, &lastColumn));
        RETURN_HR_IF(DISP_E_BADINDEX, lastColumn - firstColumn + 1 != kColumns);
        const long count = lastRow - firstRow + 1;
        if (count <= 0) break;
        for (LONG row = firstRow; row <= lastRow; ++row) {
            com::UniqueVariant cell[kColumns];
            for (LONG column = 0; column < kColumns; ++column) {
                LONG at[2] = {row, firstColumn + column};
                RETURN_IF_FAILED(::SafeArrayGetElement(cells, at, &cell[column]));
            }
            std::wstring messageClass;
            RETURN_IF_FAILED(CellText(cell[kColumnMessageClass], messageClass));
            // Anything but a contact (a distribution list) is skipped quietly.
            if (!IsContactClass(messageClass)) continue;
            Row read;
            RETURN_IF_FAILED(CellText(cell[kColumnEntryId], read.entryId));
            RETURN_IF_FAILED(CellText(cell[kColumnFullName], read.name));
            RETURN_IF_FAILED(CellText(cell[kColumnFax], read.fax));
            const VARIANT& favorite = cell[kColumnFavorite];
            read.favorite =
                !read.fax.empty() && V_VT(&favorite) == VT_BOOL && V_BOOL(&favorite) == VARIANT_TRUE;
            rows.push_back(std::move(read));
        }
        fetched += count;
        if (count < asked) break;
    }

    for (Row& row : rows) {
        if (row.entryId.empty()) continue;  // no key to give it
        CRecipient recipient;
        recipient.key = KeyFromIdentifier(row.entryId);
        recipient.identifier = std::move(row.entryId);
        recipient.name = std::move(row.name);
        recipient.faxNumber = std::move(row.fax);
        recipient.favorite = row.favorite;
        out.push_back(std::move(recipient));
    }
    return S_OK;
}

HRESULT COAB::LoadAllByItem(RecipientList& out) {
    ComPtr<IDispatch> items;
    RETURN_IF_FAILED(GetProperty(m_contactsFolder.get(), outlook::kDispItems, items));
    RETURN_HR_IF_NULL(E_FAIL, items.get());
    com::UniqueBstr filter(com::AllocBstr(kFaxFilter));
    RETURN_HR_IF_NULL(E_OUTOFMEMORY, filter.get());
    ComPtr<IDispatch> restricted;
    RETURN_IF_FAILED(GetObject(items.get(), outlook::kDispRestrict, DISPATCH_METHOD,
                               {com::TextArg(filter.get())}, restricted));
    RETURN_HR_IF_NULL(E_FAIL, restricted.get());
    long count = 0;
    HRESULT hr = GetLong(restricted.get(), outlook::kDispCount, count);
    RETURN_IF_FAILED(hr);
    for (long position = 1; position <= count; ++position) {
        // A call Outlook fails ends the listing with its code: the list would
        // otherwise come back short with success, and the control would take
        // the missing contacts off. Outlook busy, or gone, also fails every
        // further call, each a round trip.
        ComPtr<IDispatch> item;
        RETURN_IF_FAILED(hr = GetObject(restricted.get(), outlook::kDispItem,
                                        DISPATCH_METHOD | DISPATCH_PROPERTYGET, {com::LongArg(position)}, item));
        if (!item) continue;
        // Anything but a contact (a distribution list) is skipped quietly.
        ComPtr<IDispatch> contact;
        if (FAILED(item->QueryInterface(outlook::IID_ContactItem, contact.put_void())) || !contact) continue;
        CRecipient recipient;
        RETURN_IF_FAILED(hr = ReadContact(contact.get(), recipient));
        if (recipient.key != 0) out.push_back(std::move(recipient));
    }
    return hr;
}

HRESULT COAB::FindContact(ULONG key, ComPtr<IDispatch>& contact) {
    contact.reset();
    const std::wstring identifier = IdentifierFromKey(key);
    if (identifier.empty()) return key == 0 ? E_FAIL : E_INVALIDARG;
    RETURN_HR_IF_NULL(E_FAIL, m_namespace.get());

    com::UniqueBstr entryId(com::AllocBstr(identifier));
    RETURN_HR_IF_NULL(E_OUTOFMEMORY, entryId.get());
    ComPtr<IDispatch> item;
    // A contact deleted in Outlook meanwhile is simply not found.
    if (FAILED(GetObject(m_namespace.get(), outlook::kDispGetItemFromID, DISPATCH_METHOD,
                         {com::TextArg(entryId.get())}, item)) ||
        !item)
        return E_FAIL;
    ComPtr<IDispatch> candidate;
    if (FAILED(item->QueryInterface(outlook::IID_ContactItem, candidate.put_void())) || !candidate)
        return E_FAIL;
    long objectClass = 0;
    if (FAILED(GetLong(candidate.get(), outlook::kDispClass, objectClass)) ||
        objectClass != outlook::olContact)
        return E_FAIL;
    std::wstring found;
    if (FAILED(GetText(candidate.get(), outlook::kDispEntryID, found)) || found != identifier) return E_FAIL;
    contact = std::move(candidate);
    return S_OK;
}

HRESULT COAB::Add(CRecipient& recipient) {
    return com::Boundary([&]() -> HRESULT {
        RETURN_HR_IF_NULL(E_FAIL, m_application.get());
        ComPtr<IDispatch> item;
        RETURN_IF_FAILED(GetObject(m_application.get(), outlook::kDispCreateItem, DISPATCH_METHOD,
                                   {com::LongArg(outlook::olContactItem)}, item));
        RETURN_HR_IF_NULL(E_FAIL, item.get());
        ComPtr<IDispatch> contact;
        RETURN_IF_FAILED(item->QueryInterface(outlook::IID_ContactItem, contact.put_void()));
        RETURN_IF_FAILED(WriteContact(contact.get(), recipient));
        RETURN_IF_FAILED(com::Invoke(contact.get(), outlook::kDispSave, DISPATCH_METHOD, {}));
        CRecipient saved;
        const HRESULT hr = ReadContact(contact.get(), saved);
        recipient.key = saved.key;
        recipient.identifier = saved.identifier;
        return hr;
    });
}

HRESULT COAB::Delete(ULONG key) {
    return com::Boundary([&]() -> HRESULT {
        ComPtr<IDispatch> contact;
        RETURN_IF_FAILED(FindContact(key, contact));
        return com::Invoke(contact.get(), outlook::kDispDelete, DISPATCH_METHOD, {});
    });
}

HRESULT COAB::Get(ULONG key, CRecipient& recipient) {
    return com::Boundary([&]() -> HRESULT {
        ComPtr<IDispatch> contact;
        RETURN_IF_FAILED(FindContact(key, contact));
        recipient.Clear();
        return ReadContact(contact.get(), recipient);
    });
}

HRESULT COAB::Modify(ULONG key, const CRecipient& recipient) {
    return com::Boundary([&]() -> HRESULT {
        ComPtr<IDispatch> contact;
        RETURN_IF_FAILED(FindContact(key, contact));
        RETURN_IF_FAILED(WriteContact(contact.get(), recipient));
        return com::Invoke(contact.get(), outlook::kDispSave, DISPATCH_METHOD, {});
    });
}

bool COAB::SetNotifyWindow(HWND, bool) {
    return true;
}
