// What the text-fit probes share. A text is measured with DrawText in the
// font its window answers to WM_GETFONT, against its room:
// - push buttons: the client width less 3 px a side (at 96 dpi, scaled);
//   check boxes and radio buttons: less the box and a gap too; owner-drawn
//   buttons draw images and are skipped;
// - static texts: single-line ones by width, wrapping ones by the height of
//   their wrapped lines;
// - header items: the width less the divider (2 px), three edge widths of
//   padding a side, and what is drawn beside the text (the sort arrow, an
//   image or bitmap, a check box).
// Output lines, UTF-8, tab-separated: "dpi N"; "text|clipped CONTROL WHERE
// TEXT NEEDED AVAILABLE"; "missing-glyphs CONTROL WHERE TEXT COUNT" (drawn
// as the missing glyph); "unmeasured CONTROL WHERE TEXT"; "layout CONTROL
// WHERE mirrored|plain"; "verdict fits|clipped CLIPPED MEASURED".
#pragma once

#include <windows.h>

#include <cstdio>
#include <cwctype>
#include <string>
#include <vector>

namespace probe {

inline int g_dpi = 96;
inline int Scale(int pixels) { return ::MulDiv(pixels, g_dpi, 96); }

inline std::string Utf8(const std::wstring& text) {
    if (text.empty()) return {};
    const int size = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), int(text.size()), nullptr, 0, nullptr, nullptr);
    std::string result(size_t(size), '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, text.data(), int(text.size()), result.data(), size, nullptr, nullptr);
    // The output is tab-separated, one finding a line.
    for (char& c : result)
        if (c == '\t' || c == '\n' || c == '\r') c = ' ';
    return result;
}

inline void PrintLine(const std::vector<std::string>& fields) {
    std::string line;
    for (const std::string& field : fields) line += (line.empty() ? "" : "\t") + field;
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), stdout);
}

inline std::wstring WindowText(HWND window) {
    std::wstring text(size_t(::GetWindowTextLengthW(window)) + 1, L'\0');
    text.resize(size_t(::GetWindowTextW(window, text.data(), int(text.size()))));
    return text;
}

inline HFONT FontOf(HWND window) {
    const auto font = reinterpret_cast<HFONT>(::SendMessageW(window, WM_GETFONT, 0, 0));
    return font ? font : static_cast<HFONT>(::GetStockObject(SYSTEM_FONT));
}

// The size DrawText gives the text in the font.
inline SIZE TextSize(HFONT font, const std::wstring& text, UINT flags, int wrapWidth = 0) {
    const HDC dc = ::GetDC(nullptr);
    const HGDIOBJ old = ::SelectObject(dc, font);
    RECT rect{0, 0, wrapWidth, 0};
    ::DrawTextW(dc, text.c_str(), int(text.size()), &rect, flags | DT_CALCRECT);
    ::SelectObject(dc, old);
    ::ReleaseDC(nullptr, dc);
    return SIZE{rect.right - rect.left, rect.bottom - rect.top};
}

// Characters that come out as the font's missing glyph: each is drawn alone
// and compared with a code point no font has. (Glyphs taken from linked or
// fallback fonts count as present: the extent includes them.)
class GlyphCheck {
public:
    explicit GlyphCheck(HFONT font) {
        m_dc = ::CreateCompatibleDC(nullptr);
        m_oldFont = ::SelectObject(m_dc, font);
        TEXTMETRICW metrics{};
        ::GetTextMetricsW(m_dc, &metrics);
        m_width = 2 * metrics.tmMaxCharWidth + 8;
        m_height = metrics.tmHeight + 8;
        BITMAPINFO info{};
        info.bmiHeader.biSize = sizeof(info.bmiHeader);
        info.bmiHeader.biWidth = m_width;
        info.bmiHeader.biHeight = -m_height;
        info.bmiHeader.biPlanes = 1;
        info.bmiHeader.biBitCount = 32;
        void* bits = nullptr;
        m_bitmap = ::CreateDIBSection(m_dc, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
        m_bits = static_cast<const DWORD*>(bits);
        m_oldBitmap = ::SelectObject(m_dc, m_bitmap);
        m_missing = Draw(L'\x0378');  // unassigned in every version of Unicode
    }
    ~GlyphCheck() {
        ::SelectObject(m_dc, m_oldBitmap);
        ::SelectObject(m_dc, m_oldFont);
        ::DeleteObject(m_bitmap);
        ::DeleteDC(m_dc);
    }
    int MissingIn(const std::wstring& text) {
        int missing = 0;
        for (const wchar_t c : text) {
            if (c < 0x80 || std::iswspace(c) || c == 0x00A0 || (c >= 0x2000 && c <= 0x200F) || c == 0x202F ||
                (c >= 0xD800 && c <= 0xDFFF))
                continue;
            if (Draw(c) == m_missing) ++missing;
        }
        return missing;
    }

private:
    std::vector<DWORD> Draw(wchar_t c) {
        const RECT all{0, 0, m_width, m_height};
        ::FillRect(m_dc, &all, static_cast<HBRUSH>(::GetStockObject(WHITE_BRUSH)));
        ::SetTextColor(m_dc, RGB(0, 0, 0));
        ::SetBkMode(m_dc, TRANSPARENT);
        ::TextOutW(m_dc, 4, 4, &c, 1);
        ::GdiFlush();
        return std::vector<DWORD>(m_bits, m_bits + size_t(m_width) * size_t(m_height));
    }
    HDC m_dc = nullptr;
    HBITMAP m_bitmap = nullptr;
    HGDIOBJ m_oldFont = nullptr, m_oldBitmap = nullptr;
    const DWORD* m_bits = nullptr;
    int m_width = 0, m_height = 0;
    std::vector<DWORD> m_missing;
};

struct Tally {
    int measured = 0;
    int clipped = 0;
};
inline Tally g_tally;

inline void Report(const char* control, const std::string& where, HFONT font, const std::wstring& text, int needed,
            int available) {
    ++g_tally.measured;
    const std::string fields[] = {control, where, Utf8(text), std::to_string(needed), std::to_string(available)};
    PrintLine({"text", fields[0], fields[1], fields[2], fields[3], fields[4]});
    if (needed > available) {
        ++g_tally.clipped;
        PrintLine({"clipped", fields[0], fields[1], fields[2], fields[3], fields[4]});
    }
    GlyphCheck glyphs(font);
    if (const int missing = glyphs.MissingIn(text))
        PrintLine({"missing-glyphs", control, where, Utf8(text), std::to_string(missing)});
}

// --- Child windows -----------------------------------------------------------

inline void MeasureButton(const char* control, const std::string& where, HWND button, const std::wstring& text) {
    const LONG style = ::GetWindowLongW(button, GWL_STYLE);
    const LONG type = style & BS_TYPEMASK;
    if (type == BS_OWNERDRAW) return;  // an image button: its owner draws a picture
    RECT client{};
    ::GetClientRect(button, &client);
    const int margin = Scale(3);
    int available = client.right - 2 * margin;
    switch (type) {
    case BS_CHECKBOX:
    case BS_AUTOCHECKBOX:
    case BS_3STATE:
    case BS_AUTO3STATE:
    case BS_RADIOBUTTON:
    case BS_AUTORADIOBUTTON:
        available = client.right - Scale(13) - Scale(4) - margin;
        break;
    default:
        break;
    }
    if (style & BS_MULTILINE) {
        const SIZE wrapped = TextSize(FontOf(button), text, DT_WORDBREAK, available);
        const int height = client.bottom - 2 * margin;
        // Wider than the room (a word that does not break) or taller: clipped.
        Report(control, where, FontOf(button), text, wrapped.cx > available ? wrapped.cx : wrapped.cy,
               wrapped.cx > available ? available : height);
        return;
    }
    Report(control, where, FontOf(button), text, TextSize(FontOf(button), text, DT_SINGLELINE).cx, available);
}

inline void MeasureStatic(const char* control, const std::string& where, HWND label, const std::wstring& text) {
    const LONG style = ::GetWindowLongW(label, GWL_STYLE);
    const LONG type = style & SS_TYPEMASK;
    const UINT prefix = (style & SS_NOPREFIX) ? DT_NOPREFIX : 0;
    RECT client{};
    ::GetClientRect(label, &client);
    if (type == SS_SIMPLE || type == SS_LEFTNOWORDWRAP) {
        Report(control, where, FontOf(label), text, TextSize(FontOf(label), text, DT_SINGLELINE | prefix).cx, client.right);
    } else if (type == SS_LEFT || type == SS_CENTER || type == SS_RIGHT) {
        const SIZE wrapped = TextSize(FontOf(label), text, DT_WORDBREAK | prefix, client.right);
        Report(control, where, FontOf(label), text, wrapped.cx > client.right ? wrapped.cx : wrapped.cy,
               wrapped.cx > client.right ? client.right : client.bottom);
    }
    // Icons, bitmaps, frames: no text is drawn.
}

// Whether the window lays itself out from the right (mirrored).
inline void ReportLayout(const char* control, const std::string& where, HWND window) {
    const bool mirrored = (::GetWindowLongW(window, GWL_EXSTYLE) & WS_EX_LAYOUTRTL) != 0;
    PrintLine({"layout", control, where, mirrored ? "mirrored" : "plain"});
}

}  // namespace probe
