// Drawing and placing the drop shadow.
//
// Blend orientation: position 0 of the blend (the dark end) always lies on
// the dialog's edge and position 1 on the shadow's outer edge. The side
// brushes run from the dialog's edge outwards. A path gradient counts its
// positions from the boundary (0) to the centre (1), and the corner
// ellipses are centred on the dialog's corners, so the corners use the
// blend mirrored: the same colours at the same distances from the dialog.
//
// Presentation: GDI+ draws premultiplied ARGB into a buffer, which goes to
// the layered window through a DIB section and UpdateLayeredWindow; it is
// drawn again only when the dialog's size changes. Every placement then
// moves the window and inserts it directly after the dialog in the z-order
// (SetWindowPos with the dialog as the window to follow), without
// activating it.
#include "ui/moonlight_shadow.h"

#include "win/high_contrast.h"

#include "com/unique_any.h"
#include "win/display.h"

#include "ui/gdiplus_include.h"

namespace ui {
namespace {

Gdiplus::Color StopColour(const ShadowStop& stop) {
    return Gdiplus::Color(stop.alpha, stop.red, stop.green, stop.blue);
}

// The blend from the dialog's edge (0) outwards (1).
void OutwardBlend(Gdiplus::Color (&colours)[kShadowBlend.size()],
                  Gdiplus::REAL (&positions)[kShadowBlend.size()]) {
    for (size_t i = 0; i < kShadowBlend.size(); ++i) {
        colours[i] = StopColour(kShadowBlend[i]);
        positions[i] = kShadowBlend[i].position;
    }
}

// The same blend seen from a path's boundary (0) towards its centre (1).
void InwardBlend(Gdiplus::Color (&colours)[kShadowBlend.size()],
                 Gdiplus::REAL (&positions)[kShadowBlend.size()]) {
    const size_t last = kShadowBlend.size() - 1;
    for (size_t i = 0; i <= last; ++i) {
        colours[i] = StopColour(kShadowBlend[last - i]);
        positions[i] = 1.0f - kShadowBlend[last - i].position;
    }
}

// Pixel cells [x, x + width) by [y, y + height). Drawing uses GDI+'s
// default pixel offset, in which pixel x is centred on the coordinate x.
Gdiplus::RectF Cells(int x, int y, int width, int height) {
    return Gdiplus::RectF(Gdiplus::REAL(x) - 0.5f, Gdiplus::REAL(y) - 0.5f, Gdiplus::REAL(width),
                          Gdiplus::REAL(height));
}

// A side: the gradient runs from `from` (on the dialog's edge) to `to` (the
// shadow's outer edge) and fills the cells.
void FillSide(Gdiplus::Graphics& graphics, Gdiplus::PointF from, Gdiplus::PointF to,
              const Gdiplus::RectF& cells) {
    if (cells.Width <= 0 || cells.Height <= 0) return;
    Gdiplus::Color colours[kShadowBlend.size()];
    Gdiplus::REAL positions[kShadowBlend.size()];
    OutwardBlend(colours, positions);
    Gdiplus::LinearGradientBrush brush(from, to, colours[0], colours[kShadowBlend.size() - 1]);
    brush.SetInterpolationColors(colours, positions, INT(kShadowBlend.size()));
    // Pixels on the very edges must not wrap around to the other end.
    brush.SetWrapMode(Gdiplus::WrapModeTileFlipXY);
    graphics.FillRectangle(&brush, cells);
}

// A corner: the part of an ellipse centred on the dialog's corner that lies
// in the corner's cells.
void FillCorner(Gdiplus::Graphics& graphics, Gdiplus::PointF centre, Gdiplus::REAL radiusX,
                Gdiplus::REAL radiusY, const Gdiplus::RectF& cells) {
    if (cells.Width <= 0 || cells.Height <= 0) return;
    Gdiplus::GraphicsPath path;
    path.AddEllipse(centre.X - radiusX, centre.Y - radiusY, 2 * radiusX, 2 * radiusY);
    Gdiplus::PathGradientBrush brush(&path);
    brush.SetCenterPoint(centre);
    // The blend's two ends as the brush's own centre and boundary colours
    // too: the preset colours replace them, but a renderer that ignored the
    // preset would otherwise fall back to white at the boundary.
    Gdiplus::Color centreColour = StopColour(kShadowBlend.front());
    Gdiplus::Color boundaryColour = StopColour(kShadowBlend.back());
    INT count = 1;
    brush.SetCenterColor(centreColour);
    brush.SetSurroundColors(&boundaryColour, &count);
    Gdiplus::Color colours[kShadowBlend.size()];
    Gdiplus::REAL positions[kShadowBlend.size()];
    InwardBlend(colours, positions);
    brush.SetInterpolationColors(colours, positions, INT(kShadowBlend.size()));
    graphics.SetClip(cells);
    graphics.FillPath(&brush, &path);
    graphics.ResetClip();
}

}  // namespace

MoonlightShadow::MoonlightShadow() {
    Gdiplus::GdiplusStartupInput input;
    if (Gdiplus::GdiplusStartup(&m_gdiplusToken, &input, nullptr) != Gdiplus::Ok) m_gdiplusToken = 0;
}

MoonlightShadow::~MoonlightShadow() {
    Destroy();
    if (m_gdiplusToken) Gdiplus::GdiplusShutdown(m_gdiplusToken);
}

void MoonlightShadow::Destroy() noexcept {
    if (m_hWnd) ::DestroyWindow(m_hWnd);
    m_drawnSize = SIZE{};
}

void MoonlightShadow::Hide() noexcept {
    if (m_hWnd) ::ShowWindow(m_hWnd, SW_HIDE);
}

void MoonlightShadow::Place(HWND dialog) {
    if (!dialog || !::IsWindow(dialog)) return;
    // High contrast has no shadows (the platform's windows drop theirs too).
    if (win::IsHighContrast()) {
        Hide();
        return;
    }
    RECT dialogRect{};
    ::GetWindowRect(dialog, &dialogRect);
    const int left = win::ScaleX(m_widths.left), top = win::ScaleY(m_widths.top);
    const int right = win::ScaleX(m_widths.right), bottom = win::ScaleY(m_widths.bottom);
    const RECT rect{dialogRect.left - left, dialogRect.top - top, dialogRect.right + right,
                    dialogRect.bottom + bottom};
    if (!m_hWnd) {
        HWND owner = ::GetWindow(dialog, GW_OWNER);
        if (!owner) owner = ::GetParent(dialog);
        if (!Create(owner, rect, L"", WS_POPUP,
                    WS_EX_LAYERED | WS_EX_TRANSPARENT | WS_EX_TOOLWINDOW | WS_EX_NOACTIVATE))
            return;
    }
    const SIZE size{rect.right - rect.left, rect.bottom - rect.top};
    if (size.cx != m_drawnSize.cx || size.cy != m_drawnSize.cy) {
        if (Render(dialogRect)) m_drawnSize = size;
    }
    UINT flags = SWP_NOACTIVATE | SWP_NOOWNERZORDER;
    flags |= ::IsWindowVisible(dialog) ? SWP_SHOWWINDOW : SWP_HIDEWINDOW;
    ::SetWindowPos(m_hWnd, dialog, rect.left, rect.top, size.cx, size.cy, flags);
}

bool MoonlightShadow::Draw(SIZE dialogSize, std::vector<DWORD>& bits, SIZE& size) const {
    if (!m_gdiplusToken) return false;
    const int left = win::ScaleX(m_widths.left), top = win::ScaleY(m_widths.top);
    const int right = win::ScaleX(m_widths.right), bottom = win::ScaleY(m_widths.bottom);
    const int width = dialogSize.cx + left + right;
    const int height = dialogSize.cy + top + bottom;
    if (dialogSize.cx <= 0 || dialogSize.cy <= 0) return false;
    size = SIZE{width, height};
    bits.assign(size_t(width) * size_t(height), 0);
    // GDI+ writes premultiplied pixels straight into the buffer, which is
    // what UpdateLayeredWindow expects.
    Gdiplus::Bitmap bitmap(width, height, width * 4, PixelFormat32bppPARGB,
                           reinterpret_cast<BYTE*>(bits.data()));
    Gdiplus::Graphics graphics(&bitmap);
    // Axis-aligned cells need no smoothing; the gradients are smooth anyway.
    graphics.SetSmoothingMode(Gdiplus::SmoothingModeNone);
    graphics.SetCompositingMode(Gdiplus::CompositingModeSourceCopy);
    using Gdiplus::PointF;
    using Gdiplus::REAL;
    // The dialog's edges lie between pixels: the left one between columns
    // left - 1 and left, that is at left - 0.5. Each gradient starts there
    // and spans the width, so pixel i away from the dialog sits at blend
    // position (i + 0.5) / width on every side.
    const int r = width - right, b = height - bottom;
    const REAL edgeL = REAL(left) - 0.5f, edgeT = REAL(top) - 0.5f, edgeR = REAL(r) - 0.5f,
               edgeB = REAL(b) - 0.5f;
    FillSide(graphics, PointF(edgeL, 0), PointF(edgeL - REAL(left), 0), Cells(0, top, left, b - top));
    FillSide(graphics, PointF(0, edgeT), PointF(0, edgeT - REAL(top)), Cells(left, 0, r - left, top));
    FillSide(graphics, PointF(edgeR, 0), PointF(edgeR + REAL(right), 0), Cells(r, top, right, b - top));
    FillSide(graphics, PointF(0, edgeB), PointF(0, edgeB + REAL(bottom)), Cells(left, b, r - left, bottom));
    FillCorner(graphics, PointF(edgeL, edgeT), REAL(left), REAL(top), Cells(0, 0, left, top));
    FillCorner(graphics, PointF(edgeR, edgeT), REAL(right), REAL(top), Cells(r, 0, right, top));
    FillCorner(graphics, PointF(edgeR, edgeB), REAL(right), REAL(bottom), Cells(r, b, right, bottom));
    FillCorner(graphics, PointF(edgeL, edgeB), REAL(left), REAL(bottom), Cells(0, b, left, bottom));
    graphics.Flush(Gdiplus::FlushIntentionSync);
    return true;
}

bool MoonlightShadow::Render(const RECT& dialogRect) {
    std::vector<DWORD> pixels;
    SIZE size{};
    if (!Draw(SIZE{dialogRect.right - dialogRect.left, dialogRect.bottom - dialogRect.top}, pixels, size))
        return false;
    BITMAPINFO info{};
    info.bmiHeader.biSize = sizeof(info.bmiHeader);
    info.bmiHeader.biWidth = size.cx;
    info.bmiHeader.biHeight = -size.cy;  // top-down, like GDI+'s rows
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    info.bmiHeader.biCompression = BI_RGB;
    void* bits = nullptr;
    com::UniqueGdiObject dib(::CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &bits, nullptr, 0));
    if (!dib || !bits) return false;
    memcpy(bits, pixels.data(), pixels.size() * sizeof(DWORD));
    const int left = win::ScaleX(m_widths.left), top = win::ScaleY(m_widths.top);

    com::UniqueScreenDc screen(::GetDC(nullptr));
    com::UniqueDc memory(::CreateCompatibleDC(screen.get()));
    if (!memory) return false;
    const HGDIOBJ previous = ::SelectObject(memory.get(), dib.get());
    POINT destination{dialogRect.left - left, dialogRect.top - top};
    POINT source{0, 0};
    BLENDFUNCTION blend{AC_SRC_OVER, 0, 255, AC_SRC_ALPHA};
    const bool updated = ::UpdateLayeredWindow(m_hWnd, screen.get(), &destination, &size, memory.get(),
                                               &source, 0, &blend, ULW_ALPHA) != FALSE;
    ::SelectObject(memory.get(), previous);
    return updated;
}

}  // namespace ui
