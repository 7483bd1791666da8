#include "control/image_buttons.h"

#include "com/module.h"
#include "win/display.h"

#include <commctrl.h>
#include <uxtheme.h>
#include <vssym32.h>

namespace {

// The icon size for the screen: 16 at 96 dpi, 24 at 144, 32 at 192.
int IconSizeForScreen() {
    const int wanted = win::ScaleX(16);
    return wanted >= 32 ? 32 : wanted >= 24 ? 24 : 16;
}

HICON LoadIconOfSize(int id, int size) {
    return static_cast<HICON>(::LoadImageW(com::Module::Instance(), MAKEINTRESOURCEW(id), IMAGE_ICON, size, size,
                                           LR_DEFAULTCOLOR));
}

}  // namespace

void CImageButtons::Add(HWND dialog, int id, int enabledIcon, int disabledIcon, const std::wstring& tip) {
    const HWND button = ::GetDlgItem(dialog, id);
    if (!button) return;
    m_iconSize = IconSizeForScreen();
    m_buttons.push_back({id, com::UniqueIcon(LoadIconOfSize(enabledIcon, m_iconSize)),
                         com::UniqueIcon(LoadIconOfSize(disabledIcon, m_iconSize))});
    // The text is never drawn; it names the button for screen readers.
    ::SetWindowTextW(button, tip.c_str());
    if (!m_tooltip) {
        m_tooltip.reset(::CreateWindowExW(WS_EX_TOPMOST, TOOLTIPS_CLASSW, nullptr, WS_POPUP | TTS_ALWAYSTIP | TTS_NOPREFIX,
                                          CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT, dialog, nullptr,
                                          com::Module::Instance(), nullptr));
    }
    if (!m_tooltip) return;
    TOOLINFOW info{};
    info.cbSize = sizeof(info);
    info.uFlags = TTF_IDISHWND | TTF_SUBCLASS;
    info.hwnd = dialog;
    info.uId = reinterpret_cast<UINT_PTR>(button);
    info.lpszText = const_cast<wchar_t*>(tip.c_str());
    ::SendMessageW(m_tooltip.get(), TTM_ADDTOOLW, 0, reinterpret_cast<LPARAM>(&info));
}

bool CImageButtons::Draw(const DRAWITEMSTRUCT& item) const {
    if (item.CtlType != ODT_BUTTON) return false;
    const Button* button = nullptr;
    for (const Button& candidate : m_buttons)
        if (int(item.CtlID) == candidate.id) button = &candidate;
    if (!button) return false;

    const bool disabled = (item.itemState & ODS_DISABLED) != 0;
    const bool pressed = (item.itemState & ODS_SELECTED) != 0;
    RECT rect = item.rcItem;
    RECT content = rect;
    // The frame the text buttons have: the theme's push button when themes
    // are on, the classic raised button otherwise.
    if (const HTHEME theme = ::OpenThemeData(item.hwndItem, L"BUTTON")) {
        const int state = disabled ? PBS_DISABLED : pressed ? PBS_PRESSED : PBS_NORMAL;
        ::DrawThemeParentBackground(item.hwndItem, item.hDC, &rect);
        ::DrawThemeBackground(theme, item.hDC, BP_PUSHBUTTON, state, &rect, nullptr);
        ::GetThemeBackgroundContentRect(theme, item.hDC, BP_PUSHBUTTON, state, &rect, &content);
        ::CloseThemeData(theme);
    } else {
        ::DrawFrameControl(item.hDC, &rect, DFC_BUTTON, DFCS_BUTTONPUSH | (pressed ? DFCS_PUSHED : 0));
        ::InflateRect(&content, -2, -2);
    }
    const HICON icon = disabled ? button->disabled.get() : button->enabled.get();
    const int offset = pressed ? 1 : 0;
    const int x = (rect.left + rect.right - m_iconSize) / 2 + offset;
    const int y = (rect.top + rect.bottom - m_iconSize) / 2 + offset;
    if (icon) ::DrawIconEx(item.hDC, x, y, icon, m_iconSize, m_iconSize, 0, nullptr, DI_NORMAL);
    if ((item.itemState & ODS_FOCUS) && !(item.itemState & ODS_NOFOCUSRECT)) {
        ::InflateRect(&content, -1, -1);
        ::DrawFocusRect(item.hDC, &content);
    }
    return true;
}

void CImageButtons::Clear() noexcept {
    // The tooltip is owned by the dialog and may have gone with it already.
    if (!::IsWindow(m_tooltip.get())) m_tooltip.release();
    m_tooltip.reset();
    m_buttons.clear();
}
