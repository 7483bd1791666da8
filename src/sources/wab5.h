// The Windows Address Book source: the personal address book reached through
// the WAB library's WABOpen, its entries matched by entry identifier.
#pragma once

#include "com/com_ptr.h"
#include "com/unique_any.h"
#include "sources/wab.h"
#include "sources/wab_api.h"

#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

// Where the WAB library is found: from Vista on through the Windows Contacts
// class, before through the WAB's own key.
inline constexpr wchar_t kContactProgIdKey[] = L"Windows.Contact\\CurVer";
inline constexpr wchar_t kWABDllPathKey[] = L"Software\\Microsoft\\WAB\\DLLPath";
inline constexpr wchar_t kWABFileNameKey[] = L"Software\\Microsoft\\WAB\\WAB4\\Wab File Name";
inline constexpr char kWABOpenName[] = "WABOpen";
inline constexpr ULONG kWABOpenFlags = WAB_ENABLE_PROFILES | WAB_USE_OE_SENDMAIL;  // 0x00400001
inline constexpr ULONG kWABParamSize = 48;

// The Contacts folder as the shell names it, and the key that may rename it.
inline constexpr wchar_t kContactsParseName[] =
    L"::{59031a47-3f72-44a7-89c5-5595fe6b30ee}\\{56784854-C6CB-462B-8169-88E350ACB882}";
inline constexpr wchar_t kContactsFolderDescriptionKey[] =
    L"Software\\Microsoft\\Windows\\CurrentVersion\\explorer\\FolderDescriptions\\"
    L"{56784854-C6CB-462B-8169-88E350ACB882}";
inline constexpr wchar_t kParsingNameValue[] = L"ParsingName";

// Property tags, read and written as 8-bit text in the thread's code page.
inline constexpr ULONG kTagEntryId = 0x0FFF0102;               // PR_ENTRYID
inline constexpr ULONG kTagDisplayName = 0x3001001E;           // PR_DISPLAY_NAME
inline constexpr ULONG kTagEmailAddress = 0x3003001E;          // PR_EMAIL_ADDRESS
inline constexpr ULONG kTagCompanyName = 0x3A16001E;           // PR_COMPANY_NAME
inline constexpr ULONG kTagNickname = 0x3A4F001E;              // PR_NICKNAME
inline constexpr ULONG kTagHomeFaxNumber = 0x3A25001E;         // PR_HOME_FAX_NUMBER
inline constexpr ULONG kTagPrimaryFaxNumber = 0x3A23001E;      // PR_PRIMARY_FAX_NUMBER
inline constexpr ULONG kTagBusinessFaxNumber = 0x3A24001E;     // PR_BUSINESS_FAX_NUMBER
inline constexpr ULONG kTagDefCreateMailUser = 0x36120102;     // PR_DEF_CREATE_MAILUSER
inline constexpr UINT kWABCodePage = CP_THREAD_ACP;            // 3

inline constexpr wchar_t kFavoritePropertyName[] = L"ZentelFavorite";
// {56FDF344-FD6D-11D0-958A-006097C9A090}
inline constexpr GUID kFavoritePropertySet = {
    0x56FDF344, 0xFD6D, 0x11D0, {0x95, 0x8A, 0x00, 0x60, 0x97, 0xC9, 0xA0, 0x90}};

inline constexpr ULONG kContentsTableFlags = 0x40;
inline constexpr ULONG kNoFlags = 0;

// Entry identifiers of Windows Contacts: compared by their first 100 bytes.
inline constexpr wchar_t kContactEntryIdPrefix[] = L"CID_V1:";
inline constexpr size_t kContactEntryIdCompareBytes = 100;

class CWAB5 : public CWAB {
public:
    // Locates and opens the WAB and starts watching its storage.
    CWAB5();
    ~CWAB5() override;

    HRESULT Connect() override;
    void Disconnect() override;
    // Every entry of the personal address book; S_OK even when it cannot be read.
    HRESULT LoadAll(RecipientList& out) override;
    // The first record whose entry is the key's entry.
    RecipientList::iterator FindByKey(RecipientList& list, ULONG_PTR key) override;
    HRESULT Add(CRecipient& recipient) override;
    HRESULT Delete(ULONG key) override;
    HRESULT Get(ULONG key, CRecipient& recipient) override;
    HRESULT Modify(ULONG key, const CRecipient& recipient) override;
    // Compare with keys matched by entry rather than by value.
    bool Compare(const RecipientList& current, KeyList& known, KeyList& removed, RecipientList& kept,
                 RecipientList& added) override;

    // The library to load: from the Windows Contacts class from Vista on,
    // from the WAB's key before; environment variables expanded. Empty when
    // a lookup fails.
    static std::wstring LocateLibrary(bool vistaOrLater);

private:
    using EntryId = std::vector<BYTE>;
    using RowVisitor = std::function<bool(const SRow& row)>;

    bool IsOpen() const noexcept { return m_library && m_addrBook && m_wabObject; }
    // Entry identifiers are the same entry (empty ones never are).
    bool SameEntry(const EntryId& a, const EntryId& b) const;
    bool SameEntry(ULONG_PTR a, ULONG_PTR b) const;
    const EntryId* EntryOfKey(ULONG_PTR key) const;
    // Gives an entry identifier its key and remembers it in the entry table.
    ULONG_PTR Register(const EntryId& entry);

    HRESULT OpenContainer(ULONG access, com::ComPtr<IABContainer>& container) const;
    // Calls the visitor for every row of the personal address book, in table
    // order, until it answers false.
    HRESULT VisitRows(ULONG access, const RowVisitor& visit) const;
    // Opens the entry that is the key's entry.
    HRESULT OpenEntryOfKey(ULONG_PTR key, ULONG access, com::ComPtr<IMailUser>& entry) const;
    HRESULT OpenEntry(const EntryId& id, ULONG access, com::ComPtr<IMailUser>& entry) const;
    ULONG FavoriteTag(IMailUser* entry) const;
    // The entry's own properties into the record (spare texts, fax number,
    // favourite; the name and e-mail address when withNames).
    HRESULT ReadEntry(IMailUser* entry, CRecipient& recipient, bool withNames) const;
    void ReadRow(const SRow& row, CRecipient& recipient);
    void FreeRows(SRowSet* rows) const;

    com::UniqueModule m_library;
    com::ComPtr<IAddrBook> m_addrBook;
    com::ComPtr<IWABObject> m_wabObject;
    // Key to entry identifier, for the entries handed out and not deleted.
    std::unordered_map<ULONG_PTR, EntryId> m_entries;
    ULONG_PTR m_highestKey = 0;
};
