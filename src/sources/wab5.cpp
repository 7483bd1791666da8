// The Windows Address Book source over WABOpen and the MAPI property interfaces.
#include "sources/wab5.h"

#include "com/com_ptr.h"
#include "com/hresult.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <set>

namespace {

// The string properties in the order Add writes them.
constexpr ULONG kStringTags[] = {kTagDisplayName,   kTagCompanyName,      kTagEmailAddress,     kTagNickname,
                                 kTagHomeFaxNumber, kTagPrimaryFaxNumber, kTagBusinessFaxNumber};

const std::wstring* FieldOf(const CRecipient& recipient, ULONG tag) {
    switch (tag) {
    case kTagDisplayName: return &recipient.name;
    case kTagCompanyName: return &recipient.spare[CRecipient::Company];
    case kTagEmailAddress: return &recipient.spare[CRecipient::Email];
    case kTagNickname: return &recipient.spare[CRecipient::Nickname];
    case kTagHomeFaxNumber: return &recipient.spare[CRecipient::HomeFax];
    case kTagPrimaryFaxNumber: return &recipient.spare[CRecipient::PrimaryFax];
    case kTagBusinessFaxNumber: return &recipient.faxNumber;
    default: return nullptr;
    }
}

std::wstring* FieldOf(CRecipient& recipient, ULONG tag) {
    return const_cast<std::wstring*>(FieldOf(std::as_const(recipient), tag));
}

// Text that cannot be converted becomes the empty text.
std::wstring FromCodePage(const char* text) {
    if (!text || !*text) return {};
    const int length = ::MultiByteToWideChar(kWABCodePage, 0, text, -1, nullptr, 0);
    if (length <= 1) return {};
    std::wstring wide(size_t(length), L'\0');
    if (::MultiByteToWideChar(kWABCodePage, 0, text, -1, wide.data(), length) != length) return {};
    wide.resize(size_t(length - 1));
    return wide;
}

std::string ToCodePage(const std::wstring& text) {
    if (text.empty()) return {};
    const int length = ::WideCharToMultiByte(kWABCodePage, 0, text.c_str(), -1, nullptr, 0, nullptr, nullptr);
    if (length <= 1) return {};
    std::string narrow(size_t(length), '\0');
    if (::WideCharToMultiByte(kWABCodePage, 0, text.c_str(), -1, narrow.data(), length, nullptr, nullptr) != length)
        return {};
    narrow.resize(size_t(length - 1));
    return narrow;
}

std::optional<std::wstring> ReadRegistryText(HKEY root, const std::wstring& path, const wchar_t* valueName) {
    com::UniqueHKey key;
    if (::RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, key.put()) != ERROR_SUCCESS) return std::nullopt;
    DWORD type = 0, size = 0;
    if (::RegQueryValueExW(key.get(), valueName, nullptr, &type, nullptr, &size) != ERROR_SUCCESS ||
        (type != REG_SZ && type != REG_EXPAND_SZ))
        return std::nullopt;
    std::wstring text(size / sizeof(wchar_t) + 1, L'\0');
    if (::RegQueryValueExW(key.get(), valueName, nullptr, &type, reinterpret_cast<BYTE*>(text.data()), &size) !=
        ERROR_SUCCESS)
        return std::nullopt;
    text.resize(wcsnlen(text.c_str(), size / sizeof(wchar_t)));
    return text;
}

std::wstring HexText(const BYTE* bytes, size_t count) {
    static const wchar_t kDigits[] = L"0123456789ABCDEF";
    std::wstring text;
    text.reserve(count * 2);
    for (size_t i = 0; i < count; ++i) {
        text += kDigits[bytes[i] >> 4];
        text += kDigits[bytes[i] & 0xF];
    }
    return text;
}

const SPropValue* FindColumn(const SRow& row, ULONG tag) {
    for (ULONG i = 0; i < row.cValues; ++i)
        if (row.lpProps[i].ulPropTag == tag) return &row.lpProps[i];
    return nullptr;
}

// A buffer that the WAB object handed out and takes back.
template <class T>
class WabBuffer {
public:
    explicit WabBuffer(IWABObject* owner) : m_owner(owner) {}
    WabBuffer(const WabBuffer&) = delete;
    WabBuffer& operator=(const WabBuffer&) = delete;
    ~WabBuffer() {
        if (m_p && m_owner) m_owner->FreeBuffer(m_p);
    }
    T** put() { return &m_p; }
    T* get() const { return m_p; }
    T* operator->() const { return m_p; }

private:
    IWABObject* m_owner;
    T* m_p = nullptr;
};

// The Contacts folder from the shell's parse name, as Vista's address book
// keeps its people there.
std::wstring VistaWatchPath() {
    com::UniqueHKey description;
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, kContactsFolderDescriptionKey, 0, KEY_READ, description.put()) !=
        ERROR_SUCCESS)
        return {};
    std::wstring parseName = kContactsParseName;
    if (auto named = ReadRegistryText(HKEY_LOCAL_MACHINE, kContactsFolderDescriptionKey, kParsingNameValue);
        named && !named->empty() && named->size() < MAX_PATH)
        parseName = *named;

    std::wstring folder;
    com::ComPtr<IShellFolder> desktop;
    com::UniqueCoTaskMem<ITEMIDLIST> item;
    if (SUCCEEDED(::SHGetDesktopFolder(desktop.put())) &&
        SUCCEEDED(desktop->ParseDisplayName(nullptr, nullptr, parseName.data(), nullptr, item.put(), nullptr))) {
        wchar_t path[MAX_PATH] = L"";
        if (::SHGetPathFromIDListW(item.get(), path)) folder = path;
    }
    if (folder.empty()) {
        // Not every shell parses the users-files name (Wine's answers access
        // denied); the known-folder lookup names the same folder.
        com::UniqueModule shell(::LoadLibraryW(kKnownFolderLibrary));
        if (shell)
            folder = KnownContactsFolder(reinterpret_cast<GetKnownFolderPathFn>(
                reinterpret_cast<void*>(::GetProcAddress(shell.get(), kKnownFolderFunction))));
    }
    if (folder.empty()) return {};
    if (folder.back() != L'\\') folder += L'\\';
    return folder;
}

std::wstring WatchPath(bool vistaOrLater) {
    if (vistaOrLater) return VistaWatchPath();
    // The address-book file itself; the watcher watches its folder.
    auto file = ReadRegistryText(HKEY_CURRENT_USER, kWABFileNameKey, nullptr);
    return file && file->size() < MAX_PATH ? *file : std::wstring();
}

}  // namespace

std::wstring CWAB5::LocateLibrary(bool vistaOrLater) {
    std::optional<std::wstring> path;
    if (vistaOrLater) {
        const auto className = ReadRegistryText(HKEY_CLASSES_ROOT, kContactProgIdKey, nullptr);
        const auto classId = className ? ReadRegistryText(HKEY_CLASSES_ROOT, *className + L"\\CLSID", nullptr)
                                       : std::nullopt;
        if (classId) path = ReadRegistryText(HKEY_CLASSES_ROOT, L"CLSID\\" + *classId + L"\\InprocServer32", nullptr);
    } else {
        path = ReadRegistryText(HKEY_LOCAL_MACHINE, kWABDllPathKey, nullptr);
    }
    if (!path || path->empty()) return {};
    if (path->find(L'%') == std::wstring::npos) return *path;
    wchar_t expanded[MAX_PATH];
    const DWORD length = ::ExpandEnvironmentStringsW(path->c_str(), expanded, MAX_PATH);
    return length != 0 && length <= MAX_PATH ? std::wstring(expanded) : std::wstring();
}

CWAB5::CWAB5() {
    const std::wstring library = LocateLibrary(IsVistaOrLater());
    if (!library.empty()) m_library.reset(::LoadLibraryW(library.c_str()));
    const auto open = m_library ? reinterpret_cast<LPWABOPEN>(
                                      reinterpret_cast<void*>(::GetProcAddress(m_library.get(), kWABOpenName)))
                                : nullptr;
    if (open) {
        WAB_PARAM param{};
        param.cbSize = kWABParamSize;
        param.hwnd = nullptr;
        param.szFileName = nullptr;  // the user's default address book
        param.ulFlags = kWABOpenFlags;
        if (FAILED(open(m_addrBook.put(), m_wabObject.put(), &param, 0))) {
            m_addrBook.reset();
            m_wabObject.reset();
        }
    }
    const std::wstring path = WatchPath(IsVistaOrLater());
    if (!path.empty()) StartWatcher(path);
}

CWAB5::~CWAB5() {
    m_addrBook.reset();
    m_wabObject.reset();
    m_library.reset();
    m_entries.clear();
}

// The WAB is opened at construction.
HRESULT CWAB5::Connect() { return S_OK; }

void CWAB5::Disconnect() {}

ULONG_PTR CWAB5::Register(const EntryId& entry) {
    const ULONG_PTR key = KeyFromIdentifier(HexText(entry.data(), entry.size()));
    m_entries.try_emplace(key, entry);
    m_highestKey = std::max(m_highestKey, key);
    return key;
}

const CWAB5::EntryId* CWAB5::EntryOfKey(ULONG_PTR key) const {
    const auto found = m_entries.find(key);
    return found == m_entries.end() ? nullptr : &found->second;
}

bool CWAB5::SameEntry(const EntryId& a, const EntryId& b) const {
    if (a.empty() || b.empty()) return false;
    // Windows Contacts hands out entry identifiers whose tail may change
    // from one listing to the next; its first 100 bytes name the contact.
    constexpr size_t prefixBytes = (std::size(kContactEntryIdPrefix) - 1) * sizeof(wchar_t);
    const auto isContactId = [](const EntryId& id) {
        return id.size() > kContactEntryIdCompareBytes && std::memcmp(id.data(), kContactEntryIdPrefix, prefixBytes) == 0;
    };
    if (IsVistaOrLater() && isContactId(a) && isContactId(b))
        return std::memcmp(a.data(), b.data(), kContactEntryIdCompareBytes) == 0;
    if (!m_addrBook) return false;
    if (a == b) return true;
    ULONG same = FALSE;
    const HRESULT hr = m_addrBook->CompareEntryIDs(ULONG(a.size()), reinterpret_cast<LPENTRYID>(const_cast<BYTE*>(a.data())),
                                                   ULONG(b.size()), reinterpret_cast<LPENTRYID>(const_cast<BYTE*>(b.data())),
                                                   kNoFlags, &same);
    return SUCCEEDED(hr) && same;
}

bool CWAB5::SameEntry(ULONG_PTR a, ULONG_PTR b) const {
    const EntryId* first = EntryOfKey(a);
    const EntryId* second = EntryOfKey(b);
    return first && second && SameEntry(*first, *second);
}

HRESULT CWAB5::OpenContainer(ULONG access, com::ComPtr<IABContainer>& container) const {
    if (!IsOpen()) return E_FAIL;
    ULONG size = 0;
    WabBuffer<ENTRYID> pab(m_wabObject.get());
    RETURN_IF_FAILED(m_addrBook->GetPAB(&size, pab.put()));
    ULONG type = 0;
    com::ComPtr<IUnknown> object;
    RETURN_IF_FAILED(m_addrBook->OpenEntry(size, pab.get(), nullptr, access, &type, object.put()));
    // MAPI hands out the object's own interface, named by its type.
    if (type != MAPI_ABCONT || !object) return E_FAIL;
    container = com::ComPtr<IABContainer>::attach(static_cast<IABContainer*>(object.detach()));
    return S_OK;
}

void CWAB5::FreeRows(SRowSet* rows) const {
    if (!rows) return;
    for (ULONG i = 0; i < rows->cRows; ++i) m_wabObject->FreeBuffer(rows->aRow[i].lpProps);
    m_wabObject->FreeBuffer(rows);
}

HRESULT CWAB5::VisitRows(ULONG access, const RowVisitor& visit) const {
    com::ComPtr<IABContainer> container;
    RETURN_IF_FAILED(OpenContainer(access, container));
    com::ComPtr<IMAPITable> table;
    RETURN_IF_FAILED(container->GetContentsTable(kContentsTableFlags, table.put()));
    ULONG count = 0;
    RETURN_IF_FAILED(table->GetRowCount(kNoFlags, &count));
    if (count == 0) return S_OK;
    SRowSet* rows = nullptr;
    RETURN_IF_FAILED(table->QueryRows(LONG(count), kNoFlags, &rows));
    const std::unique_ptr<SRowSet, std::function<void(SRowSet*)>> owner(rows, [this](SRowSet* r) { FreeRows(r); });
    for (ULONG i = 0; rows && i < rows->cRows; ++i)
        if (!visit(rows->aRow[i])) break;
    return S_OK;
}

HRESULT CWAB5::OpenEntry(const EntryId& id, ULONG access, com::ComPtr<IMailUser>& entry) const {
    ULONG type = 0;
    com::ComPtr<IUnknown> object;
    RETURN_IF_FAILED(m_addrBook->OpenEntry(ULONG(id.size()), reinterpret_cast<LPENTRYID>(const_cast<BYTE*>(id.data())),
                                           nullptr, access, &type, object.put()));
    if (!object) return E_FAIL;
    // Mail users and distribution lists both carry their properties
    // through IMAPIProp, which is all that is used of either.
    entry = com::ComPtr<IMailUser>::attach(static_cast<IMailUser*>(object.detach()));
    return S_OK;
}

HRESULT CWAB5::OpenEntryOfKey(ULONG_PTR key, ULONG access, com::ComPtr<IMailUser>& entry) const {
    const EntryId* wanted = EntryOfKey(key);
    if (!IsOpen() || !wanted) return E_FAIL;
    std::optional<EntryId> found;
    RETURN_IF_FAILED(VisitRows(MAPI_BEST_ACCESS, [&](const SRow& row) {
        const SPropValue* column = FindColumn(row, kTagEntryId);
        if (!column) return true;
        EntryId id(column->Value.bin.lpb, column->Value.bin.lpb + column->Value.bin.cb);
        if (!SameEntry(id, *wanted)) return true;
        found = std::move(id);
        return false;
    }));
    if (!found) return E_FAIL;
    return OpenEntry(*found, access, entry);
}

// The tag is formed only from a lookup that did not answer S_OK: a real WAB
// answers S_OK for a name it knows, so for such an entry the tag stays 0,
// matches no property, reads as not favourite and is written with tag 0.
// The callers rely on exactly this.
ULONG CWAB5::FavoriteTag(IMailUser* entry) const {
    MAPINAMEID name{};
    name.lpguid = const_cast<GUID*>(&kFavoritePropertySet);
    name.ulKind = MNID_STRING;
    name.Kind.lpwstrName = const_cast<LPWSTR>(kFavoritePropertyName);
    LPMAPINAMEID names[] = {&name};
    WabBuffer<SPropTagArray> tags(m_wabObject.get());
    const HRESULT hr = entry->GetIDsFromNames(1, names, kNoFlags, tags.put());
    if (hr == S_OK || !tags.get() || tags->cValues == 0) return 0;
    return (tags->aulPropTag[0] << 16) | PT_BOOLEAN;
}

HRESULT CWAB5::ReadEntry(IMailUser* entry, CRecipient& recipient, bool withNames) const {
    const ULONG favoriteTag = FavoriteTag(entry);
    ULONG count = 0;
    WabBuffer<SPropValue> props(m_wabObject.get());
    RETURN_IF_FAILED(entry->GetProps(nullptr, kNoFlags, &count, props.put()));
    for (ULONG i = 0; props.get() && i < count; ++i) {
        const SPropValue& prop = props.get()[i];
        if (favoriteTag != 0 && prop.ulPropTag == favoriteTag) {
            recipient.favorite = prop.Value.b != 0;
            continue;
        }
        if (!withNames && (prop.ulPropTag == kTagDisplayName || prop.ulPropTag == kTagEmailAddress)) continue;
        if (std::wstring* field = FieldOf(recipient, prop.ulPropTag)) *field = FromCodePage(prop.Value.lpszA);
    }
    return S_OK;
}

void CWAB5::ReadRow(const SRow& row, CRecipient& recipient) {
    for (ULONG i = 0; i < row.cValues; ++i) {
        const SPropValue& column = row.lpProps[i];
        switch (column.ulPropTag) {
        case kTagDisplayName: recipient.name = FromCodePage(column.Value.lpszA); break;
        case kTagEmailAddress: recipient.spare[CRecipient::Email] = FromCodePage(column.Value.lpszA); break;
        case kTagEntryId: {
            const EntryId id(column.Value.bin.lpb, column.Value.bin.lpb + column.Value.bin.cb);
            if (id.empty()) break;
            recipient.key = Register(id);
            recipient.identifier = IdentifierFromKey(recipient.key);
            com::ComPtr<IMailUser> entry;
            if (SUCCEEDED(OpenEntry(id, kNoFlags, entry))) ReadEntry(entry.get(), recipient, false);
            break;
        }
        default: break;
        }
    }
}

HRESULT CWAB5::LoadAll(RecipientList& out) {
    out.clear();
    if (!IsOpen()) return S_OK;
    // What could be read is kept; a failing call only ends the listing.
    VisitRows(MAPI_BEST_ACCESS, [&](const SRow& row) {
        CRecipient recipient;
        ReadRow(row, recipient);
        out.push_back(std::move(recipient));
        return true;
    });
    return S_OK;
}

RecipientList::iterator CWAB5::FindByKey(RecipientList& list, ULONG_PTR key) {
    return std::find_if(list.begin(), list.end(), [&](const CRecipient& r) { return SameEntry(r.key, key); });
}

bool CWAB5::Compare(const RecipientList& current, KeyList& known, KeyList& removed, RecipientList& kept,
                    RecipientList& added) {
    // Equal keys are the same entry. Keys on one side only may still be the
    // same entry as a key on the other (an identifier that changed its
    // tail): those are matched pairwise, so only what changed costs calls.
    std::set<ULONG_PTR> currentKeys, knownKeys(known.begin(), known.end());
    for (const CRecipient& r : current) currentKeys.insert(r.key);
    std::vector<ULONG_PTR> onlyKnown;
    std::set_difference(knownKeys.begin(), knownKeys.end(), currentKeys.begin(), currentKeys.end(),
                        std::back_inserter(onlyKnown));
    std::unordered_map<ULONG_PTR, ULONG_PTR> sameAs;
    for (ULONG_PTR key : currentKeys) {
        if (knownKeys.count(key)) continue;
        for (auto other = onlyKnown.begin(); other != onlyKnown.end(); ++other) {
            if (!SameEntry(key, *other)) continue;
            sameAs.emplace(key, *other);
            onlyKnown.erase(other);
            break;
        }
    }
    return CompareMatching(current, known, removed, kept, added, [&](ULONG_PTR key) {
        const auto found = sameAs.find(key);
        return found == sameAs.end() ? key : found->second;
    });
}

HRESULT CWAB5::Get(ULONG key, CRecipient& recipient) {
    const EntryId* wanted = EntryOfKey(key);
    if (!IsOpen() || !wanted) return E_FAIL;
    bool found = false;
    const HRESULT hr = VisitRows(MAPI_BEST_ACCESS, [&](const SRow& row) {
        const SPropValue* column = FindColumn(row, kTagEntryId);
        if (!column || !SameEntry(EntryId(column->Value.bin.lpb, column->Value.bin.lpb + column->Value.bin.cb),
                                  *wanted))
            return true;
        CRecipient read;
        ReadRow(row, read);
        read.key = key;
        read.identifier = IdentifierFromKey(key);
        recipient = std::move(read);
        found = true;
        return false;
    });
    return SUCCEEDED(hr) && found ? S_OK : E_FAIL;
}

HRESULT CWAB5::Add(CRecipient& recipient) {
    if (!IsOpen()) return E_FAIL;
    std::deque<std::string> texts;  // stable addresses for the property values
    for (ULONG tag : kStringTags)
        if (const std::wstring& field = *FieldOf(recipient, tag); !field.empty()) texts.push_back(ToCodePage(field));
    if (texts.empty()) return E_FAIL;

    // Every entry there is now gets its key first: the new entry is then the
    // one the listing after the save finds without a key.
    if (FAILED(VisitRows(MAPI_BEST_ACCESS, [&](const SRow& row) {
            if (const SPropValue* column = FindColumn(row, kTagEntryId); column && column->Value.bin.cb != 0)
                Register(EntryId(column->Value.bin.lpb, column->Value.bin.lpb + column->Value.bin.cb));
            return true;
        })))
        return E_FAIL;
    const ULONG_PTR highestBefore = m_highestKey;

    com::ComPtr<IABContainer> container;
    if (FAILED(OpenContainer(MAPI_BEST_ACCESS, container))) return E_FAIL;
    ULONG count = 0;
    WabBuffer<SPropValue> containerProps(m_wabObject.get());
    if (FAILED(container->GetProps(nullptr, kNoFlags, &count, containerProps.put())) || !containerProps.get())
        return E_FAIL;
    const SPropValue* templateId = nullptr;
    for (ULONG i = 0; i < count; ++i)
        if (containerProps.get()[i].ulPropTag == kTagDefCreateMailUser) templateId = &containerProps.get()[i];
    if (!templateId) return E_FAIL;
    com::ComPtr<IMAPIProp> entry;
    if (FAILED(container->CreateEntry(templateId->Value.bin.cb, reinterpret_cast<LPENTRYID>(templateId->Value.bin.lpb),
                                      CREATE_REPLACE, entry.put())) ||
        !entry)
        return E_FAIL;

    WabBuffer<SPropValue> values(m_wabObject.get());
    if (FAILED(m_wabObject->AllocateBuffer(ULONG(texts.size() * sizeof(SPropValue)),
                                           reinterpret_cast<void**>(values.put()))) ||
        !values.get())
        return E_FAIL;
    ULONG filled = 0;
    for (ULONG tag : kStringTags) {
        if (FieldOf(recipient, tag)->empty()) continue;
        values.get()[filled].ulPropTag = tag;
        values.get()[filled].dwAlignPad = 0;
        values.get()[filled].Value.lpszA = texts[filled].data();
        ++filled;
    }
    if (FAILED(entry->SetProps(filled, values.get(), nullptr)) || FAILED(entry->SaveChanges(kNoFlags))) return E_FAIL;
    entry.reset();

    bool found = false;
    VisitRows(MAPI_BEST_ACCESS, [&](const SRow& row) {
        const SPropValue* column = FindColumn(row, kTagEntryId);
        if (!column || column->Value.bin.cb == 0) return true;
        const ULONG_PTR key = Register(EntryId(column->Value.bin.lpb, column->Value.bin.lpb + column->Value.bin.cb));
        if (key <= highestBefore) return true;
        recipient.key = key;
        recipient.identifier = IdentifierFromKey(key);
        found = true;
        return false;
    });
    return found ? S_OK : E_FAIL;
}

HRESULT CWAB5::Modify(ULONG key, const CRecipient& recipient) {
    if (!IsOpen()) return E_FAIL;
    com::ComPtr<IMailUser> entry;
    if (FAILED(OpenEntryOfKey(key, MAPI_MODIFY, entry))) return E_FAIL;
    const ULONG favoriteTag = FavoriteTag(entry.get());
    ULONG count = 0;
    WabBuffer<SPropValue> props(m_wabObject.get());
    if (FAILED(entry->GetProps(nullptr, kNoFlags, &count, props.put()))) return E_FAIL;

    std::deque<std::string> texts;
    std::vector<SPropValue> marked;
    std::set<ULONG> present;
    for (ULONG i = 0; props.get() && i < count; ++i) {
        SPropValue prop = props.get()[i];
        if (const std::wstring* field = FieldOf(recipient, prop.ulPropTag)) {
            texts.push_back(ToCodePage(*field));
            prop.Value.lpszA = texts.back().data();
        } else if (favoriteTag != 0 && prop.ulPropTag == favoriteTag) {
            prop.Value.b = recipient.favorite;
        } else {
            continue;
        }
        present.insert(prop.ulPropTag);
        marked.push_back(prop);
    }

    bool anyWritten = false;
    const auto write = [&](SPropValue value) {
        if (SUCCEEDED(entry->SetProps(1, &value, nullptr))) anyWritten = true;
    };
    // What the entry lacks is added; a favourite tag of 0 is always lacking
    // and is added as it is.
    for (ULONG tag : kStringTags) {
        if (present.count(tag)) continue;
        SPropValue value{};
        value.ulPropTag = tag;
        texts.push_back(ToCodePage(*FieldOf(recipient, tag)));
        value.Value.lpszA = texts.back().data();
        write(value);
    }
    if (!(favoriteTag != 0 && present.count(favoriteTag))) {
        SPropValue value{};
        value.ulPropTag = favoriteTag;
        value.Value.b = recipient.favorite;
        write(value);
    }
    for (const SPropValue& value : marked) write(value);

    if (marked.empty()) return S_OK;
    if (!anyWritten) return E_FAIL;
    return entry->SaveChanges(kNoFlags) == S_OK ? S_OK : E_FAIL;
}

HRESULT CWAB5::Delete(ULONG key) {
    const EntryId* wanted = EntryOfKey(key);
    if (!IsOpen() || !wanted) return E_FAIL;
    com::ComPtr<IABContainer> container;
    if (FAILED(OpenContainer(MAPI_MODIFY, container))) return E_FAIL;
    com::ComPtr<IMAPITable> table;
    ULONG count = 0;
    SRowSet* rows = nullptr;
    if (FAILED(container->GetContentsTable(kContentsTableFlags, table.put())) ||
        FAILED(table->GetRowCount(kNoFlags, &count)) || count == 0 ||
        FAILED(table->QueryRows(LONG(count), kNoFlags, &rows)))
        return E_FAIL;
    const std::unique_ptr<SRowSet, std::function<void(SRowSet*)>> owner(rows, [this](SRowSet* r) { FreeRows(r); });
    for (ULONG r = rows ? rows->cRows : 0; r-- > 0;) {
        const SRow& row = rows->aRow[r];
        for (ULONG c = row.cValues; c-- > 0;) {
            SPropValue& column = row.lpProps[c];
            if (column.ulPropTag != kTagEntryId ||
                !SameEntry(EntryId(column.Value.bin.lpb, column.Value.bin.lpb + column.Value.bin.cb), *wanted))
                continue;
            ENTRYLIST list{1, &column.Value.bin};
            if (FAILED(container->DeleteEntries(&list, kNoFlags))) return E_FAIL;
            m_entries.erase(key);
            return S_OK;
        }
    }
    return E_FAIL;
}
