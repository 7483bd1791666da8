// Messages and notification codes private to the phonebook list, its in-place
// edit box and the control that hosts the list.
#pragma once

#include <windows.h>
#include <commctrl.h>

namespace listview {

// Codes of the in-place edit box. The box reports 2541/2542 to the list as
// WM_NOTIFY (an NMLVDISPINFOW carrying row, column, the text and the buffer
// size); 2545/2546 reach the list afterwards as a posted WM_COMMAND.
// 2541 is also a message the list accepts: it ends an open edit, keeping the text.
inline constexpr UINT kEditCommit = 2541;
inline constexpr UINT kEditCancel = 2542;
// Reserved for further edit-box codes; the list routes and ignores them.
inline constexpr UINT kEditReserved1 = 2543;
inline constexpr UINT kEditReserved2 = 2544;
inline constexpr UINT kEditNextColumn = 2545;
inline constexpr UINT kEditPreviousColumn = 2546;
// End-of-edit notification from the list to its parent (WM_NOTIFY with an
// NMLVDISPINFOW: item.iItem, item.iSubItem, item.pszText). The parent answers
// 1 to reject the text; the list then reopens the edit on the same cell.
inline constexpr UINT kEndEditNotify = 2549;

// The edit buffer: at most 511 characters and the terminator.
inline constexpr int kEditBufferSize = 512;

// Start codes of an edit position.
inline constexpr int kStartAfterInsert = 0;
inline constexpr int kStartAfterAdd = 1;
inline constexpr int kStartAfterEdit = 2;

// The list's columns in the first control class.
inline constexpr int kNumberColumn = 0;
inline constexpr int kNameColumn = 1;
inline constexpr int kFaxColumn = 2;

// Header images: 1 shows ascending, 0 descending.
inline constexpr int kImageAscending = 1;
inline constexpr int kImageDescending = 0;
inline constexpr int kHeaderImageWidth = 9;
inline constexpr COLORREF kHeaderImageMask = RGB(0, 128, 128);

// Check-box state images within the state bits.
inline constexpr UINT kCheckedImage = 0x2000;
inline constexpr UINT kStateImageMask = 0xF000;

// The name of the registered message that makes the list re-apply its header
// decorations (sort image, check box, header text) for its current state.
inline constexpr wchar_t kAdjustHeaderMessageName[] = L"WMU_ADJUST_HEADER";

}  // namespace listview
