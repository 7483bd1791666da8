// CMessageBoxDlg: the skinned message box: a caption, one block of
// word-wrapped grey text and one or two push buttons, no icon and no sound.
#pragma once

#include "com/com_ptr.h"
#include "com/unique_any.h"
#include "localization/language.h"
#include "localization/localizer.h"
#include "ui/moonlight_shadow.h"
#include "ui/ui_ids.h"
#include "win/window_impl.h"

#include <oaidl.h>

#include <string>

namespace ui {

inline constexpr int kMessageBoxWidthUnits = 470;
inline constexpr int kMessageBoxHeightUnits = 162;
inline constexpr int kMessageTextMarginUnits = 20;

class CMessageBoxDlg : public win::DialogImpl<CMessageBoxDlg>,
                       public CEDCShadowedDlg<CMessageBoxDlg>,
                       public CLocalizerHelperT<CMessageBoxDlg> {
public:
    enum { IDD = IDD_MESSAGE_BOX };

    // Only the button type (the low four bits of the style) is kept: 0 one
    // OK button, 4 yes/no, anything else OK/cancel. Icon, default-button and
    // all other bits are dropped on purpose.
    CMessageBoxDlg(const wchar_t* text, const wchar_t* caption, UINT style);

    void SetSkinService(IDispatch* skin) noexcept { m_skin = com::ComPtr<IDispatch>(skin); }
    // Mirrored for a language read from right to left.
    bool RightToLeftLayout() const { return localization::IsUIRightToLeft(); }
    INT_PTR DoModal(HWND parent = ::GetActiveWindow(), HINSTANCE resources = nullptr);
    UINT ButtonType() const noexcept { return m_buttonType; }
    // The message, drawn word-wrapped into TextRect() in TextFont().
    RECT TextRect() const noexcept { return m_textRect; }
    const std::wstring& Text() const noexcept { return m_text; }
    HFONT TextFont() const noexcept { return static_cast<HFONT>(m_font.get()); }

    // Results of the first button, the second button and the window's
    // close command for a button type.
    static INT_PTR FirstButtonResult(UINT buttonType) noexcept;
    static INT_PTR SecondButtonResult(UINT buttonType) noexcept;
    static INT_PTR CloseResult(UINT buttonType) noexcept;

    BEGIN_MSG_MAP(CMessageBoxDlg)
    MESSAGE_HANDLER(WM_INITDIALOG, OnInitDialog)
    MESSAGE_HANDLER(WM_SIZE, OnSize)
    MESSAGE_HANDLER(WM_PAINT, OnPaint)
    MESSAGE_HANDLER(WM_CLOSE, OnClose)
    MESSAGE_HANDLER(WM_DESTROY, OnDestroy)
    COMMAND_ID_HANDLER(IDOK, OnFirstButton)
    COMMAND_ID_HANDLER(IDCANCEL, OnSecondButton)
    CHAIN_MSG_MAP(CEDCShadowedDlg<CMessageBoxDlg>)
    END_MSG_MAP()

private:
    LRESULT OnInitDialog(UINT, WPARAM, LPARAM, BOOL&);
    LRESULT OnSize(UINT, WPARAM, LPARAM, BOOL&);
    LRESULT OnPaint(UINT, WPARAM, LPARAM, BOOL&);
    LRESULT OnClose(UINT, WPARAM, LPARAM, BOOL&);
    LRESULT OnDestroy(UINT, WPARAM, LPARAM, BOOL& handled);
    LRESULT OnFirstButton(WORD, WORD, HWND, BOOL&);
    LRESULT OnSecondButton(WORD, WORD, HWND, BOOL&);
    void Layout();

    HWND m_buttons[2]{};
    std::wstring m_text;
    std::wstring m_caption;
    UINT m_buttonType;
    RECT m_textRect{};
    com::ComPtr<IDispatch> m_skin;
    HWND m_centreOn = nullptr;  // the window the caller passed
    com::UniqueGdiObject m_font;
};

// Shows the message box over the parent (the desktop when none) with the
// parent's top-level window shaded for the duration; returns the result
// (1 OK, 2 cancel, 6 yes, 7 no).
INT_PTR ShowMessageBox(IDispatch* skin, HWND parent, const wchar_t* text, const wchar_t* caption, UINT style);

}  // namespace ui
