// The recipient entry dialog.
#include "ui/entry_info_dlg.h"

#include "localization/string_ids.h"
#include "ui/dialog_layout.h"
#include "ui/gdiplus_include.h"
#include "ui/message_box_dlg.h"
#include "ui/skin_service.h"
#include "win/display.h"
#include "win/monitor.h"
#include "win/system_message.h"

#include <shlwapi.h>

#include <algorithm>
#include <cwchar>
#include <cwctype>
#include <memory>

namespace ui {
namespace {

// Layout in 96-dpi units.
constexpr RECT kPromptUnits{30, 30, 30 + 370, 30 + 18};
constexpr RECT kImageUnits{30, 53, 30 + 18, 53 + 18};
constexpr RECT kWarningUnits{58, 53, 58 + 342, 53 + 18};
constexpr RECT kNameLabelUnits{30, 86, 30 + 125, 86 + 36};
constexpr int kFaxLabelOffsetUnits = 51;
constexpr int kEditGapUnits = 6;
constexpr int kEditRightMarginUnits = 30;

RECT Scaled(const RECT& units) {
    return RECT{win::ScaleX(units.left), win::ScaleY(units.top), win::ScaleX(units.right),
                win::ScaleY(units.bottom)};
}

std::wstring ReadText(HWND edit, int maxChars) {
    std::wstring text(size_t(maxChars) + 1, L'\0');
    text.resize(size_t(::GetWindowTextW(edit, text.data(), maxChars + 1)));
    return text;
}

std::wstring Trimmed(const std::wstring& text) {
    size_t first = 0, last = text.size();
    while (first < last && std::iswspace(text[first])) ++first;
    while (last > first && std::iswspace(text[last - 1])) --last;
    return text.substr(first, last - first);
}

std::wstring WithoutSpaces(std::wstring text) {
    text.erase(std::remove(text.begin(), text.end(), L' '), text.end());
    return text;
}

struct ButtonCaptions {
    UINT first, second;
};
ButtonCaptions CaptionsFor(DWORD mode) {
    switch (mode) {
        case CEntryInfoDlg::ModeView:
            return {IDS_BUTTON_EDIT, IDS_BUTTON_CLOSE};
        case CEntryInfoDlg::ModeEdit:
            return {IDS_BUTTON_SAVE, IDS_BUTTON_CANCEL};
        default:
            return {IDS_BUTTON_OK, IDS_BUTTON_CANCEL};
    }
}

constexpr int kResultStored = 1;
constexpr int kResultNotStored = 2;

}  // namespace

std::wstring TrimmedName(const std::wstring& text) {
    return Trimmed(text);
}
std::wstring CompactedNumber(const std::wstring& text) {
    return WithoutSpaces(Trimmed(text));
}

CEntryInfoDlg::CEntryInfoDlg(DWORD mode, const CRecipient& record, CPhonebookManager* owner)
    : m_mode(mode), m_owner(owner), m_record(record) {}

INT_PTR CEntryInfoDlg::DoModal(HWND parent, HINSTANCE resources) {
    m_parent = parent;
    return DialogImpl::DoModal(parent, resources ? resources : ResourcesWith(RT_DIALOG, IDD));
}

LRESULT CEntryInfoDlg::OnInitDialog(UINT, WPARAM, LPARAM, BOOL&) {
    m_prompt = LoadText(IDS_ENTRY_PROMPT);
    m_warning = LoadText(IDS_ENTRY_EXISTS);
    m_nameLabel = LoadText(IDS_LABEL_NAME);
    m_faxLabel = LoadText(IDS_LABEL_FAX);
    LoadWarningImage();

    SkinDialog(m_skin.get(), m_hWnd, false, GetDlgItem(IDC_ENTRY_FIRST), GetDlgItem(IDC_ENTRY_SECOND));

    m_nameEdit = GetDlgItem(IDC_ENTRY_NAME);
    m_faxEdit = GetDlgItem(IDC_ENTRY_FAX);
    win::Window(m_faxEdit).KeepLeftToRight();
    m_firstButton = GetDlgItem(IDC_ENTRY_FIRST);
    m_secondButton = GetDlgItem(IDC_ENTRY_SECOND);
    LocalizeDialog();
    m_font = CreateDialogTextFont(m_hWnd);
    for (HWND child : {m_nameEdit, m_faxEdit, m_firstButton, m_secondButton})
        ::SendMessageW(child, WM_SETFONT, reinterpret_cast<WPARAM>(m_font.get()), FALSE);

    SizeClientAndCentre(m_hWnd, m_parent ? m_parent : GetParent(), WidthUnitsForTexts(), kEntryHeightUnits);

    Layout();
    SetCaptions();
    ::SetWindowTextW(m_nameEdit, m_record.name.c_str());
    ::SendMessageW(m_nameEdit, EM_SETLIMITTEXT, kEntryNameLimit, 0);
    ::SetWindowTextW(m_faxEdit, m_record.faxNumber.c_str());
    ::SendMessageW(m_faxEdit, EM_SETLIMITTEXT, kEntryFaxLimit, 0);
    EvaluateButtons();
    PlaceShadow();
    return TRUE;
}

void CEntryInfoDlg::LoadWarningImage() {
    const HINSTANCE resources = ResourcesWith(L"PNG", IDR_PNG_WARNING);
    const HRSRC found = ::FindResourceW(resources, MAKEINTRESOURCEW(IDR_PNG_WARNING), L"PNG");
    if (!found) return;
    const HGLOBAL loaded = ::LoadResource(resources, found);
    const void* bytes = loaded ? ::LockResource(loaded) : nullptr;
    if (!bytes) return;
    // The stream holds its own copy of the bytes.
    m_warningImage = com::ComPtr<IStream>::attach(
        ::SHCreateMemStream(static_cast<const BYTE*>(bytes), ::SizeofResource(resources, found)));
}

LRESULT CEntryInfoDlg::OnClose(UINT, WPARAM, LPARAM, BOOL&) {
    EndDialog(kResultNotStored);
    return 0;
}

LRESULT CEntryInfoDlg::OnCancelCommand(WORD, WORD, HWND, BOOL&) {
    // Escape: the same as closing the window.
    EndDialog(kResultNotStored);
    return 0;
}

LRESULT CEntryInfoDlg::OnDestroy(UINT, WPARAM, LPARAM, BOOL& handled) {
    handled = FALSE;
    for (HWND child : {m_nameEdit, m_faxEdit, m_firstButton, m_secondButton})
        if (child) ::SendMessageW(child, WM_SETFONT, 0, FALSE);
    m_font.reset();
    m_warningImage.reset();
    return 0;
}

LRESULT CEntryInfoDlg::OnSize(UINT, WPARAM, LPARAM, BOOL&) {
    Layout();
    return 0;
}

int CEntryInfoDlg::WidthUnitsForTexts() const {
    // The stock width holds the English texts; a language whose prompt or
    // warning runs longer gets a wider dialog instead of a cut line.
    const HDC dc = ::GetDC(m_hWnd);
    if (!dc) return kEntryWidthUnits;
    const HGDIOBJ previous = ::SelectObject(dc, m_font ? m_font.get() : ::GetStockObject(DEFAULT_GUI_FONT));
    const auto units = [dc](const std::wstring& text) {
        SIZE size{};
        ::GetTextExtentPoint32W(dc, text.c_str(), int(text.size()), &size);
        return ::MulDiv(size.cx, win::kLayoutDpi, win::ScreenDpiX()) + 1;
    };
    int width = kEntryWidthUnits;
    width = std::max<int>(width, kPromptUnits.left + units(m_prompt) + kEditRightMarginUnits);
    width = std::max<int>(width, kWarningUnits.left + units(m_warning) + kEditRightMarginUnits);
    ::SelectObject(dc, previous);
    ::ReleaseDC(m_hWnd, dc);
    // Never wider than the screen's work area.
    const RECT area = win::WorkAreaOf(m_parent);
    const int most = ::MulDiv(area.right - area.left, win::kLayoutDpi, win::ScreenDpiX()) - 40;
    return std::max(kEntryWidthUnits, std::min(width, most));
}

void CEntryInfoDlg::Layout() {
    if (!m_firstButton) return;
    RedrawSuspension suspension(m_hWnd);
    const RECT client = ClientRect();
    const ButtonPlaces buttons = PlaceButtons(client);
    win::Window(m_firstButton).Move(buttons.first, false);
    win::Window(m_secondButton).Move(buttons.second, false);

    m_promptRect = Scaled(kPromptUnits);
    m_imageRect = Scaled(kImageUnits);
    m_warningRect = Scaled(kWarningUnits);
    // The texts reach to the right margin of a dialog grown for them.
    const LONG textRight = client.right - win::ScaleX(kEditRightMarginUnits);
    m_promptRect.right = std::max(m_promptRect.right, textRight);
    m_warningRect.right = std::max(m_warningRect.right, textRight);
    m_nameRect = Scaled(kNameLabelUnits);
    m_faxRect = Scaled(RECT{kNameLabelUnits.left, kNameLabelUnits.top + kFaxLabelOffsetUnits,
                            kNameLabelUnits.right, kNameLabelUnits.bottom + kFaxLabelOffsetUnits});
    const int editLeft = m_nameRect.right + win::ScaleX(kEditGapUnits);
    const int editRight = client.right - win::ScaleX(kEditRightMarginUnits);
    win::Window(m_nameEdit).Move(RECT{editLeft, m_nameRect.top, editRight, m_nameRect.bottom}, false);
    win::Window(m_faxEdit).Move(RECT{editLeft, m_faxRect.top, editRight, m_faxRect.bottom}, false);
}

LRESULT CEntryInfoDlg::OnPaint(UINT, WPARAM, LPARAM, BOOL&) {
    PAINTSTRUCT paint;
    const HDC dc = ::BeginPaint(m_hWnd, &paint);
    const HGDIOBJ previous = ::SelectObject(dc, m_font ? m_font.get() : ::GetStockObject(DEFAULT_GUI_FONT));
    ::SetBkMode(dc, TRANSPARENT);
    if (m_duplicate) {
        DrawLabel(dc, m_warning, m_warningRect, WarningTextColour());
        DrawWarningImage(dc);
    }
    DrawLabel(dc, m_prompt, m_promptRect, DialogTextColour());
    DrawLabel(dc, m_nameLabel, m_nameRect, DialogTextColour());
    DrawLabel(dc, m_faxLabel, m_faxRect, DialogTextColour());
    ::SelectObject(dc, previous);
    ::EndPaint(m_hWnd, &paint);
    return 0;
}

void CEntryInfoDlg::DrawWarningImage(HDC dc) const {
    if (!m_warningImage) return;
    // Decoded for each paint from the start of the stream.
    const LARGE_INTEGER start{};
    if (FAILED(m_warningImage->Seek(start, STREAM_SEEK_SET, nullptr))) return;
    Gdiplus::Image image(m_warningImage.get());
    if (image.GetLastStatus() != Gdiplus::Ok) return;
    Gdiplus::Graphics graphics(dc);
    graphics.SetInterpolationMode(Gdiplus::InterpolationModeHighQualityBicubic);
    graphics.SetPixelOffsetMode(Gdiplus::PixelOffsetModeHalf);
    // GDI+ draws in the device's own coordinates: in a mirrored window the
    // image goes where the mirrored layout has it, beside the warning text.
    RECT place = m_imageRect;
    if (::GetLayout(dc) & LAYOUT_RTL) {
        const LONG width = ClientRect().right;
        place = RECT{width - m_imageRect.right, m_imageRect.top, width - m_imageRect.left, m_imageRect.bottom};
    }
    graphics.DrawImage(&image, Gdiplus::Rect(place.left, place.top, place.right - place.left, place.bottom - place.top));
}

void CEntryInfoDlg::SetCaptions() {
    const ButtonCaptions captions = CaptionsFor(m_mode);
    ::SetWindowTextW(m_firstButton, LoadText(captions.first).c_str());
    ::SetWindowTextW(m_secondButton, LoadText(captions.second).c_str());
}

void CEntryInfoDlg::EvaluateButtons() {
    const bool editing = m_mode == ModeEdit || m_mode == ModeNew;
    ::EnableWindow(m_nameEdit, editing);
    ::EnableWindow(m_faxEdit, editing);
    bool enable = false;
    if (m_readOnly)
        enable = false;
    else if (m_mode == ModeView)
        enable = true;
    else {
        const std::wstring name = TrimmedName(ReadText(m_nameEdit, kEntryReadLength));
        const std::wstring number = CompactedNumber(ReadText(m_faxEdit, kEntryReadLength));
        enable = !name.empty() && number.size() >= size_t(kEntryMinFaxLength) &&
                 number.size() <= size_t(kEntryMaxFaxLength);
    }
    ::EnableWindow(m_firstButton, enable);
}

LRESULT CEntryInfoDlg::OnNameChanged(WORD, WORD, HWND, BOOL&) {
    EvaluateButtons();
    return 0;
}

LRESULT CEntryInfoDlg::OnFaxUpdated(WORD, WORD, HWND, BOOL&) {
    FilterFaxNumber();
    EvaluateButtons();
    return 0;
}

void CEntryInfoDlg::FilterFaxNumber() {
    // Removing a character updates the edit again; the outer loop finishes
    // the job, so the nested notifications only re-evaluate the buttons.
    if (m_filtering) return;
    m_filtering = true;
    std::wstring previous;
    for (bool first = true;; first = false) {
        const std::wstring text = ReadText(m_faxEdit, kEntryFilterReadLength);
        const size_t bad = text.find_first_not_of(kEntryDialogFaxChars);
        if (bad == std::wstring::npos) break;
        if (!first && text == previous) {
            // The removal did not happen (a host's skin subclassing the edit
            // may swallow EM_REPLACESEL): the filtered text is set once as a
            // whole, and the loop ends whatever that does.
            std::wstring filtered;
            for (wchar_t c : text)
                if (std::wcschr(kEntryDialogFaxChars, c) && c != L'\0') filtered.push_back(c);
            ::SetWindowTextW(m_faxEdit, filtered.c_str());
            break;
        }
        previous = text;
        ::SendMessageW(m_faxEdit, EM_SETSEL, WPARAM(bad), LPARAM(bad + 1));
        ::SendMessageW(m_faxEdit, EM_REPLACESEL, FALSE, reinterpret_cast<LPARAM>(L""));
    }
    m_filtering = false;
}

LRESULT CEntryInfoDlg::OnFirstButton(WORD, WORD, HWND, BOOL&) {
    // A command sent to the disabled button (a read-only recipient, an
    // incomplete entry) is not a press.
    if (!::IsWindowEnabled(m_firstButton)) return 0;
    if (m_mode == ModeView) {
        m_mode = ModeEdit;
        SetCaptions();
        EvaluateButtons();
        ::SetFocus(m_faxEdit);
        return 0;
    }
    m_record.name = Trimmed(ReadText(m_nameEdit, kEntryReadLength));
    m_record.faxNumber = Trimmed(ReadText(m_faxEdit, kEntryReadLength));
    if (m_record.name.empty() || m_record.faxNumber.empty()) {
        ::SetFocus(m_faxEdit);
        return 0;
    }
    m_record.faxNumber = WithoutSpaces(m_record.faxNumber);

    // The stored list still holds the recipient being edited, so saving it
    // unchanged finds itself and is refused like any other duplicate.
    HRESULT stored = S_OK;
    const bool duplicate = CheckAndAdd(&stored);
    if (m_mode == ModeNew) {
        if (duplicate) {
            m_duplicate = true;
            Invalidate();
            return 0;
        }
        if (FAILED(stored)) {
            // Nothing was stored: the user is told, and what was typed stays
            // in the dialog to try again or to cancel.
            ReportNotStored(stored);
            return 0;
        }
        EndDialog(kResultStored);
        return 0;
    }
    if (duplicate) {
        m_duplicate = true;
        Invalidate();
        return 0;
    }
    m_duplicate = false;
    Invalidate();
    m_mode = ModeView;
    SetCaptions();
    EvaluateButtons();
    WriteEdit();
    return 0;
}

bool CEntryInfoDlg::CheckAndAdd(HRESULT* stored) {
    std::unique_ptr<CPhonebookManagerStandalone> standalone;
    CPhonebookManager* manager = m_owner;
    HRESULT opened = S_OK;
    if (!manager) {
        standalone = std::make_unique<CPhonebookManagerStandalone>();
        standalone->SetKind(CPhonebookManagerStandalone::ReadPreferredKind());
        opened = standalone->OpenSource();
        manager = standalone.get();
    }
    *stored = manager->Source() ? S_OK : FAILED(opened) ? opened : E_FAIL;
    bool match = false;
    if (IAB* source = manager->Source()) {
        RecipientList recipients;
        if (SUCCEEDED(source->LoadAll(recipients))) {
            for (const CRecipient& recipient : recipients) {
                if (recipient.name == m_record.name && recipient.faxNumber == m_record.faxNumber) {
                    match = true;
                    break;
                }
            }
        }
        if (!match && m_mode == ModeNew) *stored = source->Add(m_record);
    }
    if (standalone) standalone->CloseSource();
    return match;
}

void CEntryInfoDlg::ReportNotStored(HRESULT hr) {
    std::wstring text = LoadText(IDS_NOT_STORED);
    const std::wstring platform = win::SystemMessage(hr);
    if (!platform.empty()) text += L"\n\n" + platform;
    const std::wstring caption = GetText();
    ShowMessageBox(m_skin.get(), m_hWnd, text.c_str(), caption.c_str(), MB_OK);
    if (::IsWindow(m_nameEdit)) ::SetFocus(m_nameEdit);
}

void CEntryInfoDlg::WriteEdit() {
    // Without an owner only the dialog's copy changes, on purpose.
    if (!m_owner || !m_owner->Source()) return;
    IAB* source = m_owner->Source();
    m_owner->SetNotifyWindow(m_parent, false);
    CRecipient stored;
    const HRESULT hr = source->Get(ULONG(m_record.key), stored);
    if (SUCCEEDED(hr)) {
        stored.name = m_record.name;
        stored.faxNumber = m_record.faxNumber;
        source->Modify(ULONG(m_record.key), stored);
    }
    m_owner->SetNotifyWindow(m_parent, true);
    if (SUCCEEDED(hr)) m_record.key = stored.key;
}

LRESULT CEntryInfoDlg::OnSecondButton(WORD, WORD, HWND, BOOL&) {
    if (m_mode == ModeEdit) {
        // The typed text and the warning stay as they are.
        m_mode = ModeView;
        SetCaptions();
        EvaluateButtons();
        return 0;
    }
    EndDialog(kResultNotStored);
    return 0;
}

}  // namespace ui
