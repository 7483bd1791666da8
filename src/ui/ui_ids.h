// Identifiers of the dialogs' templates, controls and images. Plain macros,
// because the resource compiler reads this header too.
#pragma once

#define IDD_ENTRY_INFO 120
#define IDD_MESSAGE_BOX 159

#define IDC_ENTRY_NAME 213
#define IDC_ENTRY_FAX 214
#define IDC_ENTRY_FIRST 215
#define IDC_ENTRY_SECOND 216

// PNG images ("PNG" resources): the favourite star marked, not marked and
// under the mouse; the add, edit and remove glyphs; the warning sign.
#define IDR_PNG_STAR_ON 112
#define IDR_PNG_STAR_OFF 113
#define IDR_PNG_STAR_HOT 114
#define IDR_PNG_ADD 115
#define IDR_PNG_EDIT 116
#define IDR_PNG_REMOVE 117
#define IDR_PNG_WARNING 118
