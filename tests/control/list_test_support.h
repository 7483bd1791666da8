// A top-level window holding a phonebook list the way the control's dialog
// holds it, recording the list's end-of-edit notifications; and key input
// sent to real windows.
#pragma once

#include "control/list_view.h"
#include "control/list_view_base.h"
#include "win/display.h"
#include "win/window_impl.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace listtest {

// The sort arrow a header shows: the given one (+1 up, -1 down) where common
// controls draw sort indicators, none where they are too old to (Wine's
// 32-bit copy answers a version before 5.82).
inline int Shown(int arrow) { return listview::HeaderHasSortIndicators() ? arrow : 0; }

struct Commit {
    int item;
    int column;
    std::wstring text;
};

class ListHost : public win::WindowImpl<ListHost> {
public:
    std::vector<Commit> commits;
    int rejections = 0;  // how many of the next commits to reject
    std::vector<UINT> columnClicks;

    BEGIN_MSG_MAP(ListHost)
        NOTIFY_CODE_HANDLER(listview::kEndEditNotify, OnEndEdit)
        NOTIFY_CODE_HANDLER(LVN_COLUMNCLICK, OnColumnClick)
    END_MSG_MAP()

    LRESULT OnEndEdit(int, NMHDR* header, BOOL&) {
        const auto* info = reinterpret_cast<const NMLVDISPINFOW*>(header);
        commits.push_back({info->item.iItem, info->item.iSubItem, info->item.pszText ? info->item.pszText : L""});
        if (rejections > 0) {
            --rejections;
            return 1;
        }
        return 0;
    }
    LRESULT OnColumnClick(int, NMHDR* header, BOOL&) {
        columnClicks.push_back(UINT(reinterpret_cast<NMLISTVIEW*>(header)->iSubItem));
        return 0;
    }
};

// Pumps this thread's messages for the given time.
void Pump(DWORD ms = 30);
// Sends a key press (WM_KEYDOWN) to a window with Shift held or not.
void PressKey(HWND window, UINT key, bool shift = false);
// Sends characters one by one (WM_CHAR).
void Type(HWND window, const std::wstring& text);
// A real mouse click (SendInput) at a point of a window's client area; two
// make a double click.
void Click(HWND window, POINT client, int times = 1);
// Saves what the screen shows over the window as a PNG in artifacts/ beside the tests.
bool SaveScreenshot(HWND window, const std::wstring& name);

// The list of the first control class in a host window, filled from a table.
class ListFixture : public testing::Test {
protected:
    struct Row {
        LPARAM key;
        const wchar_t* name;
        const wchar_t* fax;
    };

    void SetUp() override;
    void TearDown() override;
    void Fill(const std::vector<Row>& rows);
    std::vector<std::wstring> Column(int column) const;
    std::vector<LPARAM> KeysInOrder() const;
    HWND Box() { return list.EditBox().hwnd(); }

    win::ActivationScope scope;
    ListHost host;
    listview::CPhonebookListView list;
    win::ListViewCtrl view;
};

}  // namespace listtest
