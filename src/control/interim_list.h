// The list behaviour the control needs from its list view (marking, check
// boxes, sort modes, renumbering, the edit request), on the thin list-view
// wrapper. It stands where the layered list mix-ins (CLVCheckable over
// CLVSortable over CLVEditable) go once they are in the module: the control
// calls only the members below, which those mix-ins offer under the same
// names, so the swap touches the control's base list and nothing else.
// Until then in-place editing is not available: StartEdit records the
// request and does nothing more.
#pragma once

#include "win/controls.h"

#include <string>

class CInterimListView : public win::ListViewCtrl {
public:
    static constexpr int kColumnNumber = 0;
    static constexpr int kColumnName = 1;
    static constexpr int kColumnFax = 2;

    void Attach(HWND list) noexcept { m_hWnd = list; }

    // Marked items: checked ones with check boxes on, else selected ones.
    bool IsMarked(int item) const noexcept;
    int GetMarkedCount() const noexcept;
    bool CheckBoxMode() const noexcept { return m_checkBoxes; }
    void SetCheckBoxMode(bool enable, const std::wstring& headerText);
    // The header's check box (item 0), in check-box mode.
    void SetHeaderCheck(bool checked) const noexcept;

    // Selects one item exclusively (-1 clears the selection).
    void SelectOnly(int item) const noexcept;

    // 0 unsorted, 1..6 column and direction, 7 re-sort; above 7 ignored.
    void SetSortMode(int mode);
    int SortMode() const noexcept { return m_sortMode; }
    // The "#" column: row numbers (or nothing with check boxes on).
    void Renumber() const;
    std::wstring RowNumberText(int number) const;

    // The edit request (item, start code 1 after Add, 2 after Edit).
    void SetEditRequest(int item, int startCode) noexcept {
        m_editItem = item;
        m_editStart = startCode;
    }
    void StartEdit() noexcept {}
    void EndEdit() noexcept {}
    bool IsEditing() const noexcept { return false; }
    void SetRestartSuppressed(bool suppressed) noexcept { m_restartSuppressed = suppressed; }
    bool TakeRestartSuppressed() noexcept {
        const bool suppressed = m_restartSuppressed;
        m_restartSuppressed = false;
        return suppressed;
    }

private:
    void ShowSortImage() const noexcept;

    bool m_checkBoxes = false;
    int m_sortMode = 0;
    int m_editItem = -1;
    int m_editStart = 0;
    bool m_restartSuppressed = false;
};
