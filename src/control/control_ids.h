// Resource and control identifiers of the phonebook control. Plain macros:
// the resource compiler reads this header too.
#pragma once

#define IDB_TOOLBOX 101
#define IDR_VELPHONEBOOKCONTROL 102
#define IDD_VELPHONEBOOKCONTROL 103
#define IDB_SORT_IMAGES 201

#define IDI_ADD 105
#define IDI_EDIT 106
#define IDI_REMOVE 107
#define IDI_ADD_OFF 109
#define IDI_EDIT_OFF 110
#define IDI_REMOVE_OFF 111

#define IDC_REMOVE 202
#define IDC_ADD 203
#define IDC_LIST 204
#define IDC_EDIT 208
#define IDC_IMAGE_ADD 209
#define IDC_IMAGE_EDIT 210
#define IDC_IMAGE_REMOVE 211

// The list's name for screen readers (it has no label of its own).
#define IDS_LIST_NAME 240

// The search box above the list (created at run time, before the list in
// the tab order).
#define IDC_SEARCH 241
