// The Windows Contacts source: one .contact file per person in the user's
// Contacts folder, read and written through IContactManager.
#pragma once

#include "com/com_ptr.h"
#include "com/unique_any.h"
#include "sources/contacts_api.h"
#include "sources/wab.h"

#include <string>

inline constexpr wchar_t kContactsAppName[] = L"Piopraflin";
inline constexpr wchar_t kContactsAppVersion[] = L"1.0";

inline constexpr wchar_t kContactIdProperty[] = L"ContactIDCollection/ContactID[1]/Value";
inline constexpr wchar_t kFormattedNameProperty[] = L"NameCollection/Name[1]/FormattedName";
inline constexpr wchar_t kContactFavoriteProperty[] = L"[Zentel]Favorite";
inline constexpr wchar_t kFavoriteYes[] = L"T";
inline constexpr wchar_t kFavoriteNo[] = L"F";
inline constexpr wchar_t kNameCollection[] = L"NameCollection";
inline constexpr wchar_t kPhoneNumberCollection[] = L"PhoneNumberCollection";
inline constexpr wchar_t kNumberSuffix[] = L"/Number";
inline constexpr wchar_t kFaxLabel[] = L"Fax";
inline constexpr wchar_t kBusinessLabel[] = L"Business";

// Buffer sizes the properties are first read with (characters).
inline constexpr DWORD kContactTextChars = 260;
inline constexpr DWORD kContactIdChars = 40;
inline constexpr DWORD kContactPathChars = 260;
inline constexpr DWORD kDeletePathChars = 4096;

// File names of new contacts: folder (with backslash) and name, numbered
// when taken. The overhead of a name is the numbered form, the folder and
// 8 characters for the counter; a folder that leaves no room fails.
inline constexpr wchar_t kContactFileFormat[] = L"%s%s.contact";
inline constexpr wchar_t kNumberedContactFileFormat[] = L"%s%s (%i).contact";
inline constexpr size_t kContactFileCounterChars = 8;
inline constexpr size_t kMaxContactFileOverhead = 257;
inline constexpr size_t kContactFileNameLimit = 259;
// Characters that cannot be part of a file name; each becomes kReplacement.
inline constexpr wchar_t kFileNameReplaced[] = L"<>:*?/|\\\"";
inline constexpr wchar_t kFileNameReplacement = L'_';

inline constexpr wchar_t kStreamLibrary[] = L"Shlwapi.dll";
inline constexpr char kStreamFunction[] = "SHCreateStreamOnFileEx";

// A file name for a contact in the folder: the wanted name cut to fit, the
// nine characters replaced, numbered " (1)", " (2)" ... when taken (only when
// `numbered`), and proven by creating the file exclusively. With `claim`
// the empty file is left for the caller to write (so that two processes
// adding the same name at once get two files); otherwise it is deleted
// again. Names that cannot be files (empty, only dots and spaces, reserved
// device names) fail with E_FAIL, as does a folder that does not exist or
// leaves no room.
HRESULT MakeContactFileName(const std::wstring& folder, const std::wstring& wanted, bool numbered,
                            std::wstring& path, bool claim = false);

class CWAB6 : public CWAB {
public:
    // Finds the Contacts folder (creating it when missing) and watches it.
    CWAB6();
    ~CWAB6() override;

    HRESULT Connect() override;
    void Disconnect() override;
    HRESULT LoadAll(RecipientList& out) override;
    HRESULT Add(CRecipient& recipient) override;
    HRESULT Delete(ULONG key) override;
    HRESULT Get(ULONG key, CRecipient& recipient) override;
    HRESULT Modify(ULONG key, const CRecipient& recipient) override;

    // The Contacts folder without a trailing backslash; empty when unknown.
    const std::wstring& ContactsFolder() const noexcept { return m_folder; }

private:
    HRESULT ReadContact(IUnknown* contact, CRecipient& recipient);
    HRESULT WriteContact(IContactProperties* properties, const CRecipient& recipient);
    HRESULT FindContact(ULONG key, com::ComPtr<IContact>& contact);

    com::UniqueModule m_shell;
    GetKnownFolderPathFn m_getKnownFolderPath = nullptr;
    std::wstring m_folder;
    com::ComPtr<IContactManager> m_manager;
};
