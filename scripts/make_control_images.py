#!/usr/bin/env python3
"""Draws the phonebook control's images into src/control/res/ (the files are
kept in the repository; run again after changing a drawing):
  add.ico, edit.ico, remove.ico           the image buttons, enabled look
  add_off.ico, edit_off.ico, remove_off.ico  the same, disabled look
  sort.bmp     the header's sort indicators (9 x 9 each, mask colour 0,128,128)
  toolbox.bmp  the control's toolbox picture (16 x 15)
Shapes are drawn with 4 x 4 supersampling so that edges are smooth."""
import math
import os
import struct

OUT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "src", "control", "res")


def coverage(size, inside):
    """Fraction of each pixel inside the shape, from 4 x 4 samples."""
    grid = []
    for y in range(size):
        row = []
        for x in range(size):
            hits = 0
            for sy in range(4):
                for sx in range(4):
                    u = (x + (sx + 0.5) / 4) / size
                    v = (y + (sy + 0.5) / 4) / size
                    hits += inside(u, v)
            row.append(hits / 16)
        grid.append(row)
    return grid


def segment_distance(u, v, a, b):
    ax, ay = a
    bx, by = b
    dx, dy = bx - ax, by - ay
    t = max(0.0, min(1.0, ((u - ax) * dx + (v - ay) * dy) / (dx * dx + dy * dy)))
    return math.hypot(u - ax - t * dx, v - ay - t * dy)


def plus(u, v):
    w = 0.11
    return (abs(u - 0.5) < w and 0.14 < v < 0.86) or (abs(v - 0.5) < w and 0.14 < u < 0.86)


def cross(u, v):
    return (segment_distance(u, v, (0.2, 0.2), (0.8, 0.8)) < 0.1
            or segment_distance(u, v, (0.8, 0.2), (0.2, 0.8)) < 0.1)


def pencil_body(u, v):
    return segment_distance(u, v, (0.78, 0.22), (0.32, 0.68)) < 0.11


def pencil_tip(u, v):
    return segment_distance(u, v, (0.3, 0.7), (0.16, 0.84)) < 0.06 + 0.05 * (
        1 - min(1, math.hypot(u - 0.16, v - 0.84) / 0.2))


def layers_for(kind):
    """(shape, colour, outline colour) layers, back to front."""
    if kind == "add":
        return [(plus, (46, 160, 67), (24, 100, 40))]
    if kind == "remove":
        return [(cross, (215, 58, 73), (140, 30, 40))]
    return [(pencil_body, (232, 160, 40), (150, 95, 20)), (pencil_tip, (90, 90, 90), (60, 60, 60))]


def render(kind, size, disabled):
    pixels = [[(0, 0, 0, 0.0)] * size for _ in range(size)]
    for shape, colour, outline in layers_for(kind):
        grown = coverage(size, lambda u, v: any(
            shape(u + du, v + dv) for du in (-0.045, 0, 0.045) for dv in (-0.045, 0, 0.045)))
        core = coverage(size, shape)
        for y in range(size):
            for x in range(size):
                for amount, rgb in ((grown[y][x], outline), (core[y][x], colour)):
                    if amount <= 0:
                        continue
                    if disabled:
                        grey = int(0.3 * rgb[0] + 0.59 * rgb[1] + 0.11 * rgb[2])
                        grey = 150 + (grey - 150) // 3
                        rgb = (grey, grey, grey)
                        amount *= 0.75
                    r, g, b, a = pixels[y][x]
                    na = amount + a * (1 - amount)
                    mix = lambda c0, c1: int(round((c1 * amount + c0 * a * (1 - amount)) / na)) if na else 0
                    pixels[y][x] = (mix(r, rgb[0]), mix(g, rgb[1]), mix(b, rgb[2]), na)
    return pixels


def icon_image(pixels):
    """One icon directory entry's data: BITMAPINFOHEADER, BGRA rows bottom-up, AND mask."""
    size = len(pixels)
    header = struct.pack("<IiiHHIIiiII", 40, size, size * 2, 1, 32, 0, 0, 0, 0, 0, 0)
    rows = b""
    for y in reversed(range(size)):
        for r, g, b, a in pixels[y]:
            rows += struct.pack("BBBB", b, g, r, int(round(a * 255)))
    stride = ((size + 31) // 32) * 4
    mask = b""
    for y in reversed(range(size)):
        bits = 0
        row = bytearray(stride)
        for x in range(size):
            if pixels[y][x][3] < 0.5:
                row[x // 8] |= 0x80 >> (x % 8)
        mask += bytes(row)
    return header + rows + mask


def write_icon(path, images):
    directory = struct.pack("<HHH", 0, 1, len(images))
    offset = 6 + 16 * len(images)
    entries = b""
    data = b""
    for pixels in images:
        blob = icon_image(pixels)
        size = len(pixels)
        entries += struct.pack("<BBBBHHII", size % 256, size % 256, 0, 0, 1, 32, len(blob), offset + len(data))
        data += blob
    with open(path, "wb") as f:
        f.write(directory + entries + data)


def write_bmp(path, width, height, pixel):
    stride = (width * 3 + 3) & ~3
    rows = b""
    for y in reversed(range(height)):
        row = b"".join(struct.pack("BBB", *reversed(pixel(x, y))) for x in range(width))
        rows += row + b"\0" * (stride - len(row))
    info = struct.pack("<IiiHHIIiiII", 40, width, height, 1, 24, 0, len(rows), 2835, 2835, 0, 0)
    header = struct.pack("<2sIHHI", b"BM", 14 + len(info) + len(rows), 0, 0, 14 + len(info))
    with open(path, "wb") as f:
        f.write(header + info + rows)


def sort_pixel(x, y):
    """Image 0 points down (descending), image 1 up (ascending)."""
    mask = (0, 128, 128)
    image, x = divmod(x, 9)
    row = y - 2 if image == 1 else 6 - y  # 0 at the narrow end
    if 0 <= row <= 4 and abs(x - 4) <= row:
        return (109, 109, 109)
    return mask


def toolbox_pixel(x, y):
    """A small list with a header row and three name lines."""
    if x == 0 or y == 0 or x == 15 or y == 14:
        return (96, 96, 96)
    if y <= 3:
        return (200, 200, 200) if x not in (5,) else (96, 96, 96)
    if y in (6, 9, 12) and 2 <= x <= 13:
        return (0, 90, 170) if x <= 3 else (40, 40, 40)
    return (255, 255, 255)


def main():
    os.makedirs(OUT, exist_ok=True)
    for kind in ("add", "edit", "remove"):
        for disabled, suffix in ((False, ""), (True, "_off")):
            write_icon(os.path.join(OUT, kind + suffix + ".ico"),
                       [render(kind, size, disabled) for size in (16, 24, 32)])
    write_bmp(os.path.join(OUT, "sort.bmp"), 18, 9, sort_pixel)
    write_bmp(os.path.join(OUT, "toolbox.bmp"), 16, 15, toolbox_pixel)


if __name__ == "__main__":
    main()
