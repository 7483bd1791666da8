// The search box above the phonebook list.
#include "control/search_box.h"

#include <commctrl.h>
#include <oleacc.h>

namespace search {
namespace {

// Dynamic annotation (oleacc): the accessible name of the box's client
// object. Declared here rather than linked from oleacc.lib, which only the
// annotation would need.
const CLSID kAccPropServices = {0xb5f8350b, 0x0548, 0x48b1, {0xa6, 0xee, 0x88, 0xbd, 0x00, 0xb4, 0xa5, 0xe7}};
const IID kIAccPropServices = {0x6e26e776, 0x04f0, 0x495d, {0x80, 0xe4, 0x33, 0x30, 0x35, 0x2e, 0x31, 0x69}};
const GUID kAccName = {0x608d3df8, 0x8128, 0x4aa7, {0xa4, 0x28, 0xf5, 0x5e, 0x49, 0x26, 0x72, 0x91}};

void Annotate(HWND box, const wchar_t* name) noexcept {
    IAccPropServices* services = nullptr;
    if (FAILED(::CoCreateInstance(kAccPropServices, nullptr, CLSCTX_INPROC_SERVER, kIAccPropServices,
                                  reinterpret_cast<void**>(&services))))
        return;
    // Where annotations are not supported, the label still names the box.
    if (name) {
        services->SetHwndPropStr(box, DWORD(OBJID_CLIENT), CHILDID_SELF, kAccName, name);
    } else {
        MSAAPROPID props[] = {kAccName};
        services->ClearHwndProps(box, DWORD(OBJID_CLIENT), CHILDID_SELF, props, 1);
    }
    services->Release();
}

// The box is 12 dialog units high, like the dialog's other edit boxes, with
// 2 units between it and the list.
constexpr int kBoxHeightDu = 12;
constexpr int kGapDu = 2;

}  // namespace

bool CSearchBox::Create(HWND parent, int id, HWND next, const std::wstring& cue, bool rightToLeft) {
    // Mirrored with its dialog (the layout is inherited), and read from the right.
    const DWORD readingOrder = rightToLeft ? WS_EX_RTLREADING : 0;
    // The label comes first in the z-order: screen readers name an edit box
    // after the static text before it. The cue text inside the box says the
    // same to the eye, so the label is not shown.
    m_label = ::CreateWindowExW(0, L"STATIC", cue.c_str(), WS_CHILD | SS_NOPREFIX, 0, 0, 0, 0, parent,
                                reinterpret_cast<HMENU>(INT_PTR(kLabelId)), nullptr, nullptr);
    const HWND box = ::CreateWindowExW(WS_EX_CLIENTEDGE | readingOrder, L"EDIT", L"",
                                       WS_CHILD | WS_VISIBLE | WS_TABSTOP | ES_AUTOHSCROLL, 0, 0, 0, 0,
                                       parent, reinterpret_cast<HMENU>(INT_PTR(id)), nullptr, nullptr);
    if (!box) return false;
    const auto font = WPARAM(::SendMessageW(parent, WM_GETFONT, 0, 0));
    ::SendMessageW(box, WM_SETFONT, font, FALSE);
    if (m_label) ::SendMessageW(m_label, WM_SETFONT, font, FALSE);
    // Shown while the box is empty, with the focus too.
    ::SendMessageW(box, EM_SETCUEBANNER, TRUE, reinterpret_cast<LPARAM>(cue.c_str()));
    // Before the list in the tab order: the label, then the box.
    const HWND after = next ? ::GetWindow(next, GW_HWNDPREV) : nullptr;
    const HWND insertAfter = after ? after : HWND_TOP;
    ::SetWindowPos(box, insertAfter, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
    if (m_label) ::SetWindowPos(m_label, insertAfter, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
    Annotate(box, cue.c_str());
    Subclass(box);
    return true;
}

void CSearchBox::Destroy() noexcept {
    const HWND box = m_hWnd;
    Unsubclass();
    if (box) {
        Annotate(box, nullptr);
        ::DestroyWindow(box);
    }
    if (m_label) ::DestroyWindow(m_label);
    m_label = nullptr;
    m_told.clear();
}

std::wstring CSearchBox::Text() const {
    if (!m_hWnd) return {};
    const int length = ::GetWindowTextLengthW(m_hWnd);
    std::wstring text(size_t(length) + 1, L'\0');
    text.resize(size_t(::GetWindowTextW(m_hWnd, text.data(), length + 1)));
    return text;
}

void CSearchBox::SetText(const std::wstring& text) {
    if (m_hWnd && Text() != text) ::SetWindowTextW(m_hWnd, text.c_str());
}

void CSearchBox::SelectAll() const noexcept {
    if (m_hWnd) ::SendMessageW(m_hWnd, EM_SETSEL, 0, -1);
}

void CSearchBox::Show(bool shown) {
    m_shown = shown;
    if (!m_hWnd) return;
    // The focus leaves a box that goes (to the list, its neighbour).
    if (!shown && ::GetFocus() == m_hWnd) ::SetFocus(::GetWindow(m_hWnd, GW_HWNDNEXT));
    ::ShowWindow(m_hWnd, shown ? SW_SHOWNA : SW_HIDE);
}

int CSearchBox::BandHeight() const {
    if (!m_hWnd || !m_shown) return 0;
    RECT rect{0, 0, 0, kBoxHeightDu + kGapDu};
    ::MapDialogRect(::GetParent(m_hWnd), &rect);
    return rect.bottom;
}

void CSearchBox::Place(int width) const {
    if (!m_hWnd) return;
    RECT rect{0, 0, 0, kBoxHeightDu};
    ::MapDialogRect(::GetParent(m_hWnd), &rect);
    ::MoveWindow(m_hWnd, 0, 0, width, rect.bottom, TRUE);
}

LRESULT CSearchBox::OnGetDlgCode(UINT message, WPARAM wParam, LPARAM lParam, BOOL&) {
    LRESULT code = DefWindowProc(message, wParam, lParam);
    // Enter and Escape belong to the box, not to the dialog's default buttons.
    const auto* msg = reinterpret_cast<const MSG*>(lParam);
    if (msg && msg->message == WM_KEYDOWN && (msg->wParam == VK_RETURN || msg->wParam == VK_ESCAPE))
        code |= DLGC_WANTALLKEYS;
    return code | DLGC_WANTARROWS;
}

bool CSearchBox::ChangesText(UINT message) noexcept {
    switch (message) {
    case WM_KEYDOWN:
    case WM_CHAR:
    case WM_IME_CHAR:
    case WM_IME_COMPOSITION:
    case WM_SETTEXT:
    case WM_PASTE:
    case WM_CUT:
    case WM_CLEAR:
    case WM_UNDO:
    case EM_UNDO:
    case EM_REPLACESEL:
        return true;
    default:
        return false;
    }
}

LRESULT CSearchBox::OnEditing(UINT message, WPARAM wParam, LPARAM lParam) {
    LRESULT result = 0;
    ++m_busy;
    if (message == WM_KEYDOWN && wParam == VK_ESCAPE) {
        ::SetWindowTextW(m_hWnd, L"");
    } else if (message == WM_KEYDOWN && wParam == VK_DOWN) {
        if (onDown) onDown();
    } else if (message == WM_KEYDOWN && wParam == VK_RETURN) {
        if (onEnter) onEnter();
        SelectAll();
    } else if (message == WM_CHAR && (wParam == L'\r' || wParam == 0x1B)) {
        // Enter and Escape would only beep in a one-line box.
    } else {
        result = DefWindowProc(message, wParam, lParam);
    }
    --m_busy;
    if (!m_busy && m_hWnd) {
        std::wstring text = Text();
        if (text != m_told) {
            m_told = std::move(text);
            if (onChange) onChange();
        }
    }
    return result;
}

}  // namespace search
