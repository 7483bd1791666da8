// The skinned message box.
#include "ui/message_box_dlg.h"

#include "ui/dialog_layout.h"
#include "ui/edc_blend.h"
#include "ui/skin_service.h"
#include "win/display.h"

namespace ui {
namespace {

constexpr UINT kButtonTypeMask = 0x0F;
constexpr UINT kTypeOk = MB_OK;        // 0
constexpr UINT kTypeYesNo = MB_YESNO;  // 4

}  // namespace

CMessageBoxDlg::CMessageBoxDlg(const wchar_t* text, const wchar_t* caption, UINT style)
    : m_text(text ? text : L""), m_caption(caption ? caption : L""), m_buttonType(style & kButtonTypeMask) {}

INT_PTR CMessageBoxDlg::DoModal(HWND parent, HINSTANCE resources) {
    // The box is owned by the parent's top-level window (a window can only
    // be owned by one), but centred on the parent itself: a host that shows
    // the control on a page inside its dialog gets the box over that page.
    m_centreOn = parent;
    return DialogImpl::DoModal(parent, resources ? resources : ResourcesWith(RT_DIALOG, IDD));
}

INT_PTR CMessageBoxDlg::FirstButtonResult(UINT buttonType) noexcept {
    return buttonType == kTypeYesNo ? IDYES : IDOK;
}

INT_PTR CMessageBoxDlg::SecondButtonResult(UINT buttonType) noexcept {
    // A lone OK button: the second button is hidden, and Escape (which the
    // dialog manager sends as the second button's command) means OK.
    if (buttonType == kTypeOk) return IDOK;
    return buttonType == kTypeYesNo ? IDNO : IDCANCEL;
}

INT_PTR CMessageBoxDlg::CloseResult(UINT buttonType) noexcept {
    return SecondButtonResult(buttonType);
}

LRESULT CMessageBoxDlg::OnInitDialog(UINT, WPARAM, LPARAM, BOOL&) {
    Show(SW_HIDE);
    SkinDialog(m_skin.get(), m_hWnd, true, GetDlgItem(IDOK), GetDlgItem(IDCANCEL));

    m_buttons[0] = GetDlgItem(IDOK);
    m_buttons[1] = GetDlgItem(IDCANCEL);
    LocalizeDialog();
    m_font = CreateDialogTextFont(m_hWnd);
    for (HWND button : m_buttons)
        ::SendMessageW(button, WM_SETFONT, reinterpret_cast<WPARAM>(m_font.get()), FALSE);
    SetText(m_caption);

    SizeClientAndCentre(m_hWnd, m_centreOn && ::IsWindow(m_centreOn) ? m_centreOn : GetParent(),
                        kMessageBoxWidthUnits, kMessageBoxHeightUnits);
    Layout();
    if (m_buttonType == kTypeOk) ::ShowWindow(m_buttons[1], SW_HIDE);
    PlaceShadow();
    Show(SW_SHOW);
    return TRUE;
}

void CMessageBoxDlg::Layout() {
    if (!m_buttons[0]) return;
    RedrawSuspension suspension(m_hWnd);
    const RECT client = ClientRect();
    const ButtonPlaces places = PlaceButtons(client);
    win::Window(m_buttons[0]).Move(places.first, false);
    win::Window(m_buttons[1]).Move(places.second, false);
    const int margin = win::ScaleX(kMessageTextMarginUnits);
    const int marginY = win::ScaleY(kMessageTextMarginUnits);
    m_textRect = RECT{client.left + margin, client.top + marginY, client.right - margin,
                      client.bottom - win::ScaleY(kButtonBandUnits) - marginY};
}

LRESULT CMessageBoxDlg::OnSize(UINT, WPARAM, LPARAM, BOOL&) {
    Layout();
    return 0;
}

LRESULT CMessageBoxDlg::OnPaint(UINT, WPARAM, LPARAM, BOOL&) {
    PAINTSTRUCT paint;
    const HDC dc = ::BeginPaint(m_hWnd, &paint);
    const HGDIOBJ previous = ::SelectObject(dc, m_font ? m_font.get() : ::GetStockObject(DEFAULT_GUI_FONT));
    ::SetBkMode(dc, TRANSPARENT);
    ::SetTextColor(dc, DialogTextColour());
    RECT box = m_textRect;
    // DrawText clips to the rectangle, so text beyond it never reaches the
    // button band.
    ::DrawTextW(dc, m_text.c_str(), int(m_text.size()), &box, DT_WORDBREAK | DT_TOP | DT_LEFT | DT_NOPREFIX);
    ::SelectObject(dc, previous);
    ::EndPaint(m_hWnd, &paint);
    return 0;
}

LRESULT CMessageBoxDlg::OnClose(UINT, WPARAM, LPARAM, BOOL&) {
    EndDialog(CloseResult(m_buttonType));
    return 0;
}

LRESULT CMessageBoxDlg::OnDestroy(UINT, WPARAM, LPARAM, BOOL& handled) {
    // The shadow's layer goes on seeing the message.
    handled = FALSE;
    for (HWND button : m_buttons)
        if (button) ::SendMessageW(button, WM_SETFONT, 0, FALSE);
    m_font.reset();
    return 0;
}

LRESULT CMessageBoxDlg::OnFirstButton(WORD, WORD, HWND, BOOL&) {
    EndDialog(FirstButtonResult(m_buttonType));
    return 0;
}

LRESULT CMessageBoxDlg::OnSecondButton(WORD, WORD, HWND, BOOL&) {
    EndDialog(SecondButtonResult(m_buttonType));
    return 0;
}

INT_PTR ShowMessageBox(IDispatch* skin, HWND parent, const wchar_t* text, const wchar_t* caption,
                       UINT style) {
    CMessageBoxDlg dialog(text, caption, style);
    dialog.SetSkinService(skin);
    return DoModalShaded(dialog, parent);
}

}  // namespace ui
