// Identifiers of the built-in string table (strings.rc). Plain macros, because
// the resource compiler reads this header too.
#pragma once

#define IDS_REMOVE 101
#define IDS_NEW_RECIPIENT 103
#define IDS_NEW_NUMBER 104
#define IDS_COLUMN_NUMBER 105
#define IDS_COLUMN_NAME 106
#define IDS_COLUMN_FAX 107
#define IDS_COLUMN_DATE 108
#define IDS_ADDRESS_EXISTS 109
#define IDS_CANNOT_MODIFY_SYSTEM_AB 110
#define IDS_ADDRESS_INCORRECT 111
#define IDS_BUTTON_EDIT 112
#define IDS_BUTTON_SAVE 113
#define IDS_BUTTON_CLOSE 114
#define IDS_ENTRY_PROMPT 115
#define IDS_ENTRY_EXISTS 116
#define IDS_LABEL_NAME 117
#define IDS_LABEL_FAX 118
#define IDS_BUTTON_OK 119
#define IDS_BUTTON_CANCEL 120
#define IDS_CONFIRM_REMOVE 206
#define IDS_CANNOT_MODIFY_OUTLOOK 207
#define IDS_TIP_ADD 231
#define IDS_TIP_EDIT 232
#define IDS_TIP_REMOVE 233
// The search box's cue text, also its name for screen readers.
#define IDS_SEARCH_CUE 241
// Why a list is empty, and a store that failed.
#define IDS_BOOK_EMPTY 250
#define IDS_BOOK_UNAVAILABLE 251
#define IDS_OUTLOOK_UNAVAILABLE 252
#define IDS_NOT_STORED 253
