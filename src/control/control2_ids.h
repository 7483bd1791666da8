// Resource and control identifiers of the second phonebook control. Plain
// macros: the resource compiler reads this header too. The list (204) and
// the "New" (203) and "Delete" (202) buttons share their identifiers with
// the first control's list, "Add" and "Remove".
#pragma once
#define IDR_VELPHONEBOOKCONTROL2 121
#define IDD_VELPHONEBOOKCONTROL2 122
#define IDC_NEW 203
#define IDC_DELETE 202
#define IDC_ADD_TO_BOOK 212
