#!/usr/bin/env python3
"""Draws the module's PNG images (resources 112 to 118) with the standard
library only and writes them beside this script.

Every image is drawn at three times its size in 96-dpi layout units, so that
the two common screens get an integer reduction: an 18-unit image is 54
pixels, shown as 18 pixels at 96 dpi (1/3) and 27 pixels at 144 dpi (1/2).
Shapes are rasterised with 8x8 samples per pixel, so edges are smooth at the
source size and stay crisp when reduced.

    python3 make_images.py [output folder]
"""
import math
import os
import struct
import sys
import zlib

SAMPLES = 8


def write_png(path, width, height, rgba):
    def chunk(kind, data):
        body = kind + data
        return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body) & 0xFFFFFFFF)

    rows = bytearray()
    for y in range(height):
        rows.append(0)
        rows.extend(rgba[y * width * 4:(y + 1) * width * 4])
    data = b"\x89PNG\r\n\x1a\n"
    data += chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 6, 0, 0, 0))
    data += chunk(b"IDAT", zlib.compress(bytes(rows), 9))
    data += chunk(b"IEND", b"")
    with open(path, "wb") as f:
        f.write(data)


# Shapes: functions of a point (in pixels of the source image) telling
# whether it is inside.
def polygon(points):
    def inside(x, y):
        result = False
        j = len(points) - 1
        for i in range(len(points)):
            xi, yi = points[i]
            xj, yj = points[j]
            if (yi > y) != (yj > y) and x < (xj - xi) * (y - yi) / (yj - yi) + xi:
                result = not result
            j = i
        return result
    return inside


def circle(cx, cy, r):
    return lambda x, y: (x - cx) ** 2 + (y - cy) ** 2 <= r * r


def segment(x0, y0, x1, y1, half_width):
    def inside(x, y):
        dx, dy = x1 - x0, y1 - y0
        t = max(0.0, min(1.0, ((x - x0) * dx + (y - y0) * dy) / (dx * dx + dy * dy)))
        px, py = x0 + t * dx, y0 + t * dy
        return (x - px) ** 2 + (y - py) ** 2 <= half_width * half_width
    return inside


def rect(x0, y0, x1, y1):
    return lambda x, y: x0 <= x <= x1 and y0 <= y <= y1


def outline(points, half_width):
    parts = [segment(*points[i], *points[(i + 1) % len(points)], half_width) for i in range(len(points))]
    return lambda x, y: any(p(x, y) for p in parts)


def render(size, layers):
    """layers: (shape, (r, g, b, a)) painted in order, source-over."""
    pixels = bytearray(size * size * 4)
    step = 1.0 / SAMPLES
    for py in range(size):
        for px in range(size):
            acc = [0.0, 0.0, 0.0, 0.0]  # premultiplied
            for sy in range(SAMPLES):
                for sx in range(SAMPLES):
                    x, y = px + (sx + 0.5) * step, py + (sy + 0.5) * step
                    r = g = b = a = 0.0
                    for shape, colour in layers:
                        if shape(x, y):
                            ca = colour[3] / 255.0
                            r = colour[0] / 255.0 * ca + r * (1 - ca)
                            g = colour[1] / 255.0 * ca + g * (1 - ca)
                            b = colour[2] / 255.0 * ca + b * (1 - ca)
                            a = ca + a * (1 - ca)
                    acc[0] += r
                    acc[1] += g
                    acc[2] += b
                    acc[3] += a
            n = SAMPLES * SAMPLES
            a = acc[3] / n
            o = (py * size + px) * 4
            if a > 0:
                pixels[o:o + 4] = bytes(round(min(1.0, c / n / a) * 255) for c in acc[:3]) + bytes([round(a * 255)])
    return pixels


def star_points(cx, cy, outer, inner):
    points = []
    for i in range(10):
        angle = -math.pi / 2 + i * math.pi / 5
        radius = outer if i % 2 == 0 else inner
        points.append((cx + radius * math.cos(angle), cy + radius * math.sin(angle)))
    return points


GOLD = (245, 180, 0, 255)
GOLD_EDGE = (196, 134, 0, 255)
PALE_GOLD = (252, 227, 160, 255)
GREY = (160, 160, 160, 255)
WHITE = (255, 255, 255, 255)
GREEN = (46, 140, 60, 255)
RED = (220, 40, 40, 255)
ORANGE = (230, 140, 30, 255)
DARK = (70, 70, 70, 255)


def star(fill, edge):
    s = 48
    pts = star_points(s / 2, s / 2 + 2, 22, 9)
    layers = []
    if fill:
        layers.append((polygon(pts), fill))
    layers.append((outline(pts, 1.8), edge))
    return s, layers


def add_glyph():
    s = 48
    return s, [(circle(24, 24, 21), GREEN), (rect(12, 21, 36, 27), WHITE), (rect(21, 12, 27, 36), WHITE)]


def edit_glyph():
    s = 48
    return s, [
        (segment(12, 36, 34, 14, 6.5), ORANGE),        # the pencil's body
        (segment(31, 17, 37, 11, 6.5), DARK),          # its eraser end
        (polygon([(7, 41), (9, 31), (17, 39)]), DARK),  # its point
        (rect(6, 43, 42, 45), DARK),                    # the line it writes
    ]


def remove_glyph():
    s = 48
    return s, [(circle(24, 24, 21), RED), (rect(12, 21, 36, 27), WHITE)]


def warning_sign():
    s = 54
    corners = [(27, 4), (51, 48), (3, 48)]
    return s, [
        (polygon(corners), RED),
        (outline(corners, 2.5), RED),        # rounds the corners a little
        (polygon([(24, 17), (30, 17), (29, 35), (25, 35)]), WHITE),
        (circle(27, 41.5, 3.2), WHITE),
    ]


# Resource identifier, file name, drawing. 112-114 are the favourite star in
# three states (marked, not marked, under the mouse); 115-117 the add, edit
# and remove glyphs; 118 the entry dialog's warning sign.
IMAGES = [
    (112, "star_on.png", lambda: star(GOLD, GOLD_EDGE)),
    (113, "star_off.png", lambda: star(None, GREY)),
    (114, "star_hot.png", lambda: star(PALE_GOLD, GOLD)),
    (115, "add.png", add_glyph),
    (116, "edit.png", edit_glyph),
    (117, "remove.png", remove_glyph),
    (118, "warning.png", warning_sign),
]


def main():
    folder = sys.argv[1] if len(sys.argv) > 1 else os.path.dirname(os.path.abspath(__file__))
    for _, name, draw in IMAGES:
        size, layers = draw()
        write_png(os.path.join(folder, name), size, size, render(size, layers))


if __name__ == "__main__":
    main()
