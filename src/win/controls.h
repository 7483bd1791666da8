// Thin wrappers over the common controls the module uses: one line per
// message, no ownership, no state of their own.
#pragma once

#include "win/window.h"

#include <commctrl.h>

#include <string>

namespace win {

class HeaderCtrl : public Window {
public:
    using Window::Window;

    int GetItemCount() const noexcept { return int(SendMessage(HDM_GETITEMCOUNT)); }
    bool GetItem(int index, HDITEMW& item) const noexcept {
        return SendMessage(HDM_GETITEMW, WPARAM(index), reinterpret_cast<LPARAM>(&item)) != 0;
    }
    bool SetItem(int index, const HDITEMW& item) const noexcept {
        return SendMessage(HDM_SETITEMW, WPARAM(index), reinterpret_cast<LPARAM>(&item)) != 0;
    }
    int GetFormat(int index) const noexcept {
        HDITEMW item{};
        item.mask = HDI_FORMAT;
        return GetItem(index, item) ? item.fmt : 0;
    }
    bool SetFormat(int index, int format) const noexcept {
        HDITEMW item{};
        item.mask = HDI_FORMAT;
        item.fmt = format;
        return SetItem(index, item);
    }
    HIMAGELIST SetImageList(HIMAGELIST images) const noexcept {
        return reinterpret_cast<HIMAGELIST>(SendMessage(HDM_SETIMAGELIST, 0, reinterpret_cast<LPARAM>(images)));
    }
};

class ListViewCtrl : public Window {
public:
    using Window::Window;

    HeaderCtrl GetHeader() const noexcept { return HeaderCtrl(reinterpret_cast<HWND>(SendMessage(LVM_GETHEADER))); }

    DWORD GetExtendedStyle() const noexcept { return DWORD(SendMessage(LVM_GETEXTENDEDLISTVIEWSTYLE)); }
    DWORD SetExtendedStyle(DWORD mask, DWORD style) const noexcept {
        return DWORD(SendMessage(LVM_SETEXTENDEDLISTVIEWSTYLE, mask, style));
    }

    int InsertColumn(int index, const wchar_t* text, int width, int format = LVCFMT_LEFT) const noexcept {
        LVCOLUMNW column{};
        column.mask = LVCF_FMT | LVCF_TEXT | LVCF_WIDTH;
        column.fmt = format;
        column.cx = width;
        column.pszText = const_cast<wchar_t*>(text);
        return int(SendMessage(LVM_INSERTCOLUMNW, WPARAM(index), reinterpret_cast<LPARAM>(&column)));
    }
    int GetColumnWidth(int index) const noexcept { return int(SendMessage(LVM_GETCOLUMNWIDTH, WPARAM(index))); }
    bool SetColumnWidth(int index, int width) const noexcept {
        return SendMessage(LVM_SETCOLUMNWIDTH, WPARAM(index), MAKELPARAM(width, 0)) != 0;
    }

    int GetItemCount() const noexcept { return int(SendMessage(LVM_GETITEMCOUNT)); }
    int GetSelectedCount() const noexcept { return int(SendMessage(LVM_GETSELECTEDCOUNT)); }
    int GetNextItem(int start, UINT flags) const noexcept {
        return int(SendMessage(LVM_GETNEXTITEM, WPARAM(start), MAKELPARAM(flags, 0)));
    }

    // Inserts an item with its column-0 text and item data; returns its index.
    int InsertItem(int index, const wchar_t* text, LPARAM data = 0) const noexcept {
        LVITEMW item{};
        item.mask = LVIF_TEXT | LVIF_PARAM;
        item.iItem = index;
        item.pszText = const_cast<wchar_t*>(text);
        item.lParam = data;
        return int(SendMessage(LVM_INSERTITEMW, 0, reinterpret_cast<LPARAM>(&item)));
    }
    bool DeleteItem(int index) const noexcept { return SendMessage(LVM_DELETEITEM, WPARAM(index)) != 0; }
    bool DeleteAllItems() const noexcept { return SendMessage(LVM_DELETEALLITEMS) != 0; }

    bool SetItemText(int index, int column, const wchar_t* text) const noexcept {
        LVITEMW item{};
        item.iSubItem = column;
        item.pszText = const_cast<wchar_t*>(text);
        return SendMessage(LVM_SETITEMTEXTW, WPARAM(index), reinterpret_cast<LPARAM>(&item)) != 0;
    }
    // The cell's text, at most maxChars characters.
    std::wstring GetItemText(int index, int column, int maxChars = 512) const;

    LPARAM GetItemData(int index) const noexcept {
        LVITEMW item{};
        item.mask = LVIF_PARAM;
        item.iItem = index;
        return SendMessage(LVM_GETITEMW, 0, reinterpret_cast<LPARAM>(&item)) ? item.lParam : 0;
    }
    bool SetItemData(int index, LPARAM data) const noexcept {
        LVITEMW item{};
        item.mask = LVIF_PARAM;
        item.iItem = index;
        item.lParam = data;
        return SendMessage(LVM_SETITEMW, 0, reinterpret_cast<LPARAM>(&item)) != 0;
    }
    // The first item whose data equals the value, or -1.
    int FindItemByData(LPARAM data, int start = -1) const noexcept {
        LVFINDINFOW find{};
        find.flags = LVFI_PARAM;
        find.lParam = data;
        return int(SendMessage(LVM_FINDITEMW, WPARAM(start), reinterpret_cast<LPARAM>(&find)));
    }

    UINT GetItemState(int index, UINT mask) const noexcept {
        return UINT(SendMessage(LVM_GETITEMSTATE, WPARAM(index), mask));
    }
    // index -1 changes every item.
    bool SetItemState(int index, UINT state, UINT mask) const noexcept {
        LVITEMW item{};
        item.stateMask = mask;
        item.state = state;
        return SendMessage(LVM_SETITEMSTATE, WPARAM(index), reinterpret_cast<LPARAM>(&item)) != 0;
    }
    bool GetCheckState(int index) const noexcept {
        return (GetItemState(index, LVIS_STATEIMAGEMASK) & LVIS_STATEIMAGEMASK) == INDEXTOSTATEIMAGEMASK(2);
    }
    bool SetCheckState(int index, bool checked) const noexcept {
        return SetItemState(index, INDEXTOSTATEIMAGEMASK(checked ? 2 : 1), LVIS_STATEIMAGEMASK);
    }

    bool EnsureVisible(int index, bool partialOk = false) const noexcept {
        return SendMessage(LVM_ENSUREVISIBLE, WPARAM(index), partialOk) != 0;
    }
    // Sorts with a callback that receives the two items' data.
    bool SortItems(PFNLVCOMPARE compare, LPARAM context) const noexcept {
        return SendMessage(LVM_SORTITEMS, WPARAM(context), reinterpret_cast<LPARAM>(compare)) != 0;
    }
    bool GetSubItemRect(int index, int column, int code, RECT& rect) const noexcept {
        rect.top = column;
        rect.left = code;
        return SendMessage(LVM_GETSUBITEMRECT, WPARAM(index), reinterpret_cast<LPARAM>(&rect)) != 0;
    }
    int SubItemHitTest(LVHITTESTINFO& info) const noexcept {
        return int(SendMessage(LVM_SUBITEMHITTEST, 0, reinterpret_cast<LPARAM>(&info)));
    }
    HIMAGELIST SetImageList(HIMAGELIST images, int kind) const noexcept {
        return reinterpret_cast<HIMAGELIST>(SendMessage(LVM_SETIMAGELIST, WPARAM(kind), reinterpret_cast<LPARAM>(images)));
    }
};

class ButtonCtrl : public Window {
public:
    using Window::Window;
    int GetCheck() const noexcept { return int(SendMessage(BM_GETCHECK)); }
    void SetCheck(int state) const noexcept { SendMessage(BM_SETCHECK, WPARAM(state)); }
    void Click() const noexcept { SendMessage(BM_CLICK); }
};

class EditCtrl : public Window {
public:
    using Window::Window;
    void SetLimitText(int chars) const noexcept { SendMessage(EM_SETLIMITTEXT, WPARAM(chars)); }
    void SetSel(int start, int end) const noexcept { SendMessage(EM_SETSEL, WPARAM(start), LPARAM(end)); }
    void ReplaceSel(const wchar_t* text, bool canUndo = false) const noexcept {
        SendMessage(EM_REPLACESEL, canUndo, reinterpret_cast<LPARAM>(text));
    }
};

}  // namespace win
