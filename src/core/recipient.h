// The recipient record that every address-book source, the control and the
// automation objects exchange, and the limits for names and fax numbers.
#pragma once

#include <windows.h>

#include <array>
#include <string>

// Characters that may be typed as a fax number; each editor has its own set.
inline constexpr wchar_t kEntryDialogFaxChars[] = L"0123456789+-*# ;";
inline constexpr wchar_t kListFaxChars[] = L"*#-+() 0123456789";
inline constexpr int kMaxListFaxLength = 45;
inline constexpr int kMaxListNameLength = 130;

struct CRecipient {
    // Spare texts, only filled by the Windows Address Book source.
    enum Spare { Company, Email, Nickname, HomeFax, PrimaryFax, SpareCount };

    ULONG_PTR key = 0;           // position of the identifier in the source's table; 0 = none
    std::wstring identifier;     // the source's own identifier of the entry
    std::wstring name;
    std::array<std::wstring, SpareCount> spare;
    std::wstring faxNumber;      // as typed, never normalised
    bool favorite = false;
    SYSTEMTIME date{};           // last use (MRU store); all zero elsewhere

    void Clear() { *this = CRecipient(); }
};
