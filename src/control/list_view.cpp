// The parts of the phonebook list's mix-ins that are not templates: system
// facts, registered messages, header images and the row comparison.
#include "control/list_view.h"

#include "com/unique_any.h"
#include "localization/language.h"

namespace listview {

bool IsWindows6OrLater() noexcept {
    static const bool vista = localization::CurrentWindowsVersion().major >= 6;
    return vista;
}

UINT AdjustHeaderMessage() noexcept {
    static const UINT message = ::RegisterWindowMessageW(kAdjustHeaderMessageName);
    return message;
}

UINT ReopenEditMessage() noexcept {
    static const UINT message = ::RegisterWindowMessageW(L"VelPhonebook.ListView.ReopenEdit");
    return message;
}

UINT BeginEditMessage() noexcept {
    static const UINT message = ::RegisterWindowMessageW(L"VelPhonebook.ListView.BeginEdit");
    return message;
}

HIMAGELIST CreateSortArrowImages() noexcept {
    constexpr int kSize = kHeaderImageWidth;
    const HIMAGELIST images = ::ImageList_Create(kSize, kSize, ILC_COLOR24 | ILC_MASK, 2, 0);
    if (!images) return nullptr;
    const HDC screen = ::GetDC(nullptr);
    const HDC dc = ::CreateCompatibleDC(screen);
    com::UniqueGdiObject bitmap(::CreateCompatibleBitmap(screen, 2 * kSize, kSize));
    ::ReleaseDC(nullptr, screen);
    const HGDIOBJ oldBitmap = ::SelectObject(dc, bitmap.get());
    com::UniqueGdiObject mask(::CreateSolidBrush(kHeaderImageMask));
    const RECT all{0, 0, 2 * kSize, kSize};
    ::FillRect(dc, &all, static_cast<HBRUSH>(mask.get()));
    com::UniqueGdiObject arrow(::CreateSolidBrush(RGB(96, 96, 96)));
    com::UniqueGdiObject pen(::CreatePen(PS_SOLID, 1, RGB(96, 96, 96)));
    const HGDIOBJ oldBrush = ::SelectObject(dc, arrow.get());
    const HGDIOBJ oldPen = ::SelectObject(dc, pen.get());
    const POINT down[] = {{1, 3}, {7, 3}, {4, 6}};
    const POINT up[] = {{kSize + 1, 6}, {kSize + 7, 6}, {kSize + 4, 3}};
    ::Polygon(dc, down, 3);
    ::Polygon(dc, up, 3);
    ::SelectObject(dc, oldPen);
    ::SelectObject(dc, oldBrush);
    ::SelectObject(dc, oldBitmap);
    ::DeleteDC(dc);
    ::ImageList_AddMasked(images, static_cast<HBITMAP>(bitmap.get()), kHeaderImageMask);
    return images;
}

HIMAGELIST LoadHeaderImages(HINSTANCE module, int resourceId) noexcept {
    return ::ImageList_LoadImageW(module, MAKEINTRESOURCEW(resourceId), kHeaderImageWidth, 0, kHeaderImageMask,
                                  IMAGE_BITMAP, LR_CREATEDIBSECTION);
}

int DefaultColumn0Compare(LPARAM first, LPARAM second, int direction, LPARAM) {
    const auto* a = reinterpret_cast<const wchar_t*>(first);
    const auto* b = reinterpret_cast<const wchar_t*>(second);
    if (!a || !b) return 0;
    const auto leadingNumber = [](const wchar_t* text) {
        unsigned long long value = 0;
        for (; *text >= L'0' && *text <= L'9'; ++text) value = value * 10 + unsigned(*text - L'0');
        return value;
    };
    const unsigned long long x = leadingNumber(a);
    const unsigned long long y = leadingNumber(b);
    return x > y ? direction : x < y ? -direction : 0;
}

int CompareRows(const SortRow& first, const SortRow& second, int column, int direction, int kind,
                Column0Compare callback, LPARAM context) {
    // Rows with a negative key come first in ascending order and last in
    // descending order. Two of them compare equal (keeping their order):
    // otherwise the comparison would not be an ordering at all.
    const bool firstNegative = int(first.key) < 0;
    const bool secondNegative = int(second.key) < 0;
    if (firstNegative && secondNegative) return 0;
    if (firstNegative) return -direction;
    if (secondNegative) return direction;
    const auto texts = [&] {
        const int order = first.text->compare(*second.text);
        return (order > 0 ? 1 : order < 0 ? -1 : 0) * direction;
    };
    switch (kind) {
    case 0:
        if (column == 0) {
            return callback ? callback(reinterpret_cast<LPARAM>(first.text->c_str()),
                                       reinterpret_cast<LPARAM>(second.text->c_str()), direction, context)
                            : 0;
        }
        return texts();
    case 1:
        if (column == 1) {
            // The default callback reads texts: given keys it has none to read.
            return callback && callback != &DefaultColumn0Compare ? callback(first.key, second.key, direction, context)
                                                                  : 0;
        }
        return texts();
    default:
        return 0;
    }
}

void CPhonebookListView::SetUpColumns(const wchar_t* number, const wchar_t* name, const wchar_t* fax,
                                      HIMAGELIST headerImages) {
    const win::ListViewCtrl list = List();
    list.SetExtendedStyle(LVS_EX_FULLROWSELECT, LVS_EX_FULLROWSELECT);
    SetHeaderImages(headerImages);
    list.InsertColumn(kNumberColumn, number, win::ScaleX(30));
    list.InsertColumn(kNameColumn, name, win::ScaleX(94));
    list.InsertColumn(kFaxColumn, fax, win::ScaleX(84));
    SetCheckBoxMode(false, nullptr);
}

}  // namespace listview
