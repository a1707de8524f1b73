#!/usr/bin/env python3
"""Draws the application icon (resources/res/Zorvan.ico), the "Save As" icon
(resources/res/save.png) and the application icon as PNGs in the desktop's usual
sizes (packaging/icons/hicolor/SIZExSIZE/apps/APP_ID.png). Standard library only; run
it again after changing a shape. The output is the same bytes on every run.

    draw-icons.py [RES_DIR] [--hicolor DIR]

Shapes are signed distance functions in unit coordinates (0..1, y down), painted in
order; the distance to the edge, in pixels, gives each pixel its coverage.
"""

import argparse
import math
import os
import struct
import zlib


def hex_colour(text, alpha=1.0):
    text = text.lstrip("#")
    return (int(text[0:2], 16) / 255, int(text[2:4], 16) / 255, int(text[4:6], 16) / 255, alpha)


def rounded_rect(x0, y0, x1, y1, radius):
    cx, cy = (x0 + x1) / 2, (y0 + y1) / 2
    hx, hy = (x1 - x0) / 2 - radius, (y1 - y0) / 2 - radius

    def sdf(x, y):
        qx, qy = abs(x - cx) - hx, abs(y - cy) - hy
        outside = math.hypot(max(qx, 0.0), max(qy, 0.0))
        return outside + min(max(qx, qy), 0.0) - radius

    return sdf


def circle(cx, cy, radius):
    return lambda x, y: math.hypot(x - cx, y - cy) - radius


def ring(cx, cy, radius, width):
    return lambda x, y: abs(math.hypot(x - cx, y - cy) - radius) - width / 2


def vertical_gradient(top, bottom, y0, y1):
    def paint(x, y):
        t = min(max((y - y0) / (y1 - y0), 0.0), 1.0)
        return tuple(a + (b - a) * t for a, b in zip(top, bottom))

    return paint


def solid(colour):
    return lambda x, y: colour


def render(size, layers):
    """layers: (sdf, paint) pairs; returns rows of RGBA bytes."""
    rows = []
    for py in range(size):
        row = bytearray()
        for px in range(size):
            x, y = (px + 0.5) / size, (py + 0.5) / size
            r = g = b = a = 0.0  # premultiplied
            for sdf, paint in layers:
                coverage = min(max(0.5 - sdf(x, y) * size, 0.0), 1.0)
                if coverage <= 0.0:
                    continue
                cr, cg, cb, ca = paint(x, y)
                ca *= coverage
                r = cr * ca + r * (1 - ca)
                g = cg * ca + g * (1 - ca)
                b = cb * ca + b * (1 - ca)
                a = ca + a * (1 - ca)
            if a > 0:
                row += bytes((round(r / a * 255), round(g / a * 255), round(b / a * 255), round(a * 255)))
            else:
                row += bytes(4)
        rows.append(bytes(row))
    return rows


def png(size, rows):
    def chunk(kind, data):
        body = kind + data
        return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body) & 0xFFFFFFFF)

    raw = b"".join(b"\x00" + row for row in rows)
    header = struct.pack(">IIBBBBB", size, size, 8, 6, 0, 0, 0)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(raw, 9))
            + chunk(b"IEND", b""))


def ico(images):
    """images: (size, png bytes) pairs; PNG-compressed entries, as Vista-era icons have."""
    out = struct.pack("<HHH", 0, 1, len(images))
    offset = 6 + 16 * len(images)
    entries, data = b"", b""
    for size, image in images:
        side = 0 if size >= 256 else size
        entries += struct.pack("<BBBBHHII", side, side, 0, 0, 1, 32, len(image), offset + len(data))
        data += image
    return out + entries + data


def app_icon_layers():
    navy = hex_colour("#14304f")
    amber = hex_colour("#f2a33a")
    body = hex_colour("#eef3f8")
    return [
        (rounded_rect(0.03, 0.03, 0.97, 0.97, 0.2),
         vertical_gradient(hex_colour("#2f78c4"), hex_colour("#17406b"), 0.03, 0.97)),
        # camera body with its viewfinder hump
        (rounded_rect(0.29, 0.22, 0.52, 0.36, 0.04), solid(body)),
        (rounded_rect(0.14, 0.31, 0.86, 0.79, 0.09), solid(body)),
        # lens
        (circle(0.5, 0.56, 0.19), solid(navy)),
        (ring(0.5, 0.56, 0.13, 0.05), solid(amber)),
        (circle(0.5, 0.56, 0.085), solid(hex_colour("#0b1d33"))),
        (circle(0.465, 0.52, 0.03), solid(hex_colour("#ffffff", 0.85))),
        # status light
        (circle(0.75, 0.41, 0.035), solid(amber)),
    ]


def save_icon_layers():
    return [
        # floppy disk body
        (rounded_rect(0.06, 0.06, 0.94, 0.94, 0.1), solid(hex_colour("#2b5b93"))),
        # metal shutter with its window
        (rounded_rect(0.26, 0.06, 0.74, 0.38, 0.03), solid(hex_colour("#c9d3de"))),
        (rounded_rect(0.55, 0.11, 0.66, 0.33, 0.02), solid(hex_colour("#2b5b93"))),
        # label
        (rounded_rect(0.18, 0.5, 0.82, 0.94, 0.04), solid(hex_colour("#f7f9fb"))),
        (rounded_rect(0.26, 0.62, 0.74, 0.66, 0.02), solid(hex_colour("#9aa9b9"))),
        (rounded_rect(0.26, 0.75, 0.74, 0.79, 0.02), solid(hex_colour("#9aa9b9"))),
    ]


# The name the desktop entry, the AppStream metainfo and the icon theme share.
APP_ID = "com.zorvan_technologies.PellixFileAccess"
HICOLOR_SIZES = (16, 32, 48, 64, 128, 256)


def main():
    root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    parser = argparse.ArgumentParser(description="Draws the program's icons.")
    parser.add_argument("res_dir", nargs="?", default=os.path.join(root, "resources", "res"),
                        help="where Zorvan.ico and save.png go (default: resources/res)")
    parser.add_argument("--hicolor", default=os.path.join(root, "packaging", "icons", "hicolor"),
                        help="icon theme folder for the PNGs (default: packaging/icons/hicolor)")
    args = parser.parse_args()

    os.makedirs(args.res_dir, exist_ok=True)
    app_icons = {size: png(size, render(size, app_icon_layers())) for size in HICOLOR_SIZES}
    with open(os.path.join(args.res_dir, "Zorvan.ico"), "wb") as f:
        f.write(ico([(size, app_icons[size]) for size in (16, 32, 48, 256)]))
    with open(os.path.join(args.res_dir, "save.png"), "wb") as f:
        f.write(png(32, render(32, save_icon_layers())))

    for size, image in app_icons.items():
        folder = os.path.join(args.hicolor, f"{size}x{size}", "apps")
        os.makedirs(folder, exist_ok=True)
        with open(os.path.join(folder, APP_ID + ".png"), "wb") as f:
            f.write(image)


if __name__ == "__main__":
    main()
