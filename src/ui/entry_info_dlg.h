// CEntryInfoDlg: the modal dialog in which the user views, edits or creates
// one recipient. It checks the input, refuses a name and number the address
// book already holds, and writes through the current source itself.
#pragma once

#include "com/com_ptr.h"
#include "com/unique_any.h"
#include "core/phonebook_manager.h"
#include "core/recipient.h"
#include "localization/language.h"
#include "localization/localizer.h"
#include "ui/moonlight_shadow.h"
#include "ui/ui_ids.h"
#include "win/window_impl.h"

#include <oaidl.h>

#include <string>
#include <vector>

namespace ui {

inline constexpr int kEntryWidthUnits = 430;
inline constexpr int kEntryHeightUnits = 263;
inline constexpr int kEntryNameLimit = 130;
inline constexpr int kEntryFaxLimit = 45;
inline constexpr int kEntryMinFaxLength = 3;
inline constexpr int kEntryMaxFaxLength = 45;
// Edit texts are read up to this length for the checks, and the fax filter
// reads up to its own.
inline constexpr int kEntryReadLength = 512;
inline constexpr int kEntryFilterReadLength = 260;

class CEntryInfoDlg : public win::DialogImpl<CEntryInfoDlg>,
                      public CEDCShadowedDlg<CEntryInfoDlg>,
                      public CLocalizerHelperT<CEntryInfoDlg> {
public:
    enum { IDD = IDD_ENTRY_INFO };
    enum Mode : DWORD { ModeView = 0, ModeEdit = 1, ModeNew = 2 };

    // Copies the record. Without an owner the duplicate check opens the
    // address book chosen in the settings for itself, and an edit changes
    // only the dialog's copy.
    CEntryInfoDlg(DWORD mode, const CRecipient& record, CPhonebookManager* owner);

    void SetReadOnly(bool readOnly) noexcept { m_readOnly = readOnly ? 1 : 0; }
    void SetSkinService(IDispatch* skin) noexcept { m_skin = com::ComPtr<IDispatch>(skin); }
    // Mirrored for a language read from right to left.
    bool RightToLeftLayout() const { return localization::IsUIRightToLeft(); }

    // Runs modally over the parent: 1 when a new recipient was stored (new
    // mode), 2 otherwise. The owner's change notifications are suspended for
    // this parent window around a modify, so a control passes the window it
    // registered with its source.
    INT_PTR DoModal(HWND parent = ::GetActiveWindow(), HINSTANCE resources = nullptr);

    DWORD Mode() const noexcept { return m_mode; }
    // The texts the dialog paints itself (prompt, warning, the two labels),
    // each with the rectangle it is drawn into in the font TextFont(); the
    // warning is painted only after a refused pair.
    struct PaintedText {
        std::wstring text;
        RECT rect;
    };
    std::vector<PaintedText> PaintedTexts() const {
        return {{m_prompt, m_promptRect}, {m_warning, m_warningRect}, {m_nameLabel, m_nameRect}, {m_faxLabel, m_faxRect}};
    }
    HFONT TextFont() const noexcept { return static_cast<HFONT>(m_font.get()); }
    const CRecipient& Record() const noexcept { return m_record; }
    bool IsDuplicate() const noexcept { return m_duplicate; }

    BEGIN_MSG_MAP(CEntryInfoDlg)
    MESSAGE_HANDLER(WM_INITDIALOG, OnInitDialog)
    MESSAGE_HANDLER(WM_CLOSE, OnClose)
    MESSAGE_HANDLER(WM_DESTROY, OnDestroy)
    MESSAGE_HANDLER(WM_SIZE, OnSize)
    MESSAGE_HANDLER(WM_PAINT, OnPaint)
    COMMAND_HANDLER(IDC_ENTRY_FIRST, BN_CLICKED, OnFirstButton)
    COMMAND_HANDLER(IDC_ENTRY_SECOND, BN_CLICKED, OnSecondButton)
    COMMAND_HANDLER(IDC_ENTRY_NAME, EN_CHANGE, OnNameChanged)
    COMMAND_HANDLER(IDC_ENTRY_FAX, EN_UPDATE, OnFaxUpdated)
    COMMAND_ID_HANDLER(IDCANCEL, OnCancelCommand)
    CHAIN_MSG_MAP(CEDCShadowedDlg<CEntryInfoDlg>)
    END_MSG_MAP()

private:
    LRESULT OnInitDialog(UINT, WPARAM, LPARAM, BOOL&);
    LRESULT OnClose(UINT, WPARAM, LPARAM, BOOL&);
    LRESULT OnDestroy(UINT, WPARAM, LPARAM, BOOL& handled);
    LRESULT OnSize(UINT, WPARAM, LPARAM, BOOL&);
    LRESULT OnPaint(UINT, WPARAM, LPARAM, BOOL&);
    LRESULT OnFirstButton(WORD, WORD, HWND, BOOL&);
    LRESULT OnSecondButton(WORD, WORD, HWND, BOOL&);
    LRESULT OnNameChanged(WORD, WORD, HWND, BOOL&);
    LRESULT OnFaxUpdated(WORD, WORD, HWND, BOOL&);
    LRESULT OnCancelCommand(WORD, WORD, HWND, BOOL&);

    void Layout();
    int WidthUnitsForTexts() const;
    void SetCaptions();
    void EvaluateButtons();
    void FilterFaxNumber();
    // Looks the record up in the owner's (or a standalone) address book;
    // in new mode adds it when absent. True when the pair is already there.
    bool CheckAndAdd(HRESULT* stored);
    // A new recipient the book refused: the skinned box says so over the dialog.
    void ReportNotStored(HRESULT hr);
    void WriteEdit();
    void LoadWarningImage();
    void DrawWarningImage(HDC dc) const;

    DWORD m_mode;
    DWORD m_readOnly = 0;
    CPhonebookManager* m_owner;
    CRecipient m_record;
    bool m_duplicate = false;
    std::wstring m_prompt, m_warning, m_nameLabel, m_faxLabel;
    com::ComPtr<IStream> m_warningImage;
    HWND m_nameEdit = nullptr, m_faxEdit = nullptr, m_firstButton = nullptr, m_secondButton = nullptr;
    RECT m_promptRect{}, m_warningRect{}, m_nameRect{}, m_faxRect{}, m_imageRect{};
    com::ComPtr<IDispatch> m_skin;
    com::UniqueGdiObject m_font;
    HWND m_parent = nullptr;
    bool m_filtering = false;
};

// The texts as the checks see them: white space trimmed at both ends, and
// for the number every space removed as well.
std::wstring TrimmedName(const std::wstring& text);
std::wstring CompactedNumber(const std::wstring& text);

}  // namespace ui
