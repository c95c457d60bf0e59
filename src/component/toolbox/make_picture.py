#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Writes picture.bmp, the controls' toolbox picture: a small window with a blue title bar and a grid
of fields, and a pencil across it. 16 x 15 pixels, 16 colours, 4 bits per pixel, uncompressed.
Run it again after changing the drawing; the output is checked in."""
import struct
import sys

# The standard 16-colour palette as (r, g, b).
PALETTE = [(0, 0, 0), (128, 0, 0), (0, 128, 0), (128, 128, 0), (0, 0, 128), (128, 0, 128),
           (0, 128, 128), (192, 192, 192), (128, 128, 128), (255, 0, 0), (0, 255, 0),
           (255, 255, 0), (0, 0, 255), (255, 0, 255), (0, 255, 255), (255, 255, 255)]
INK = {'.': 7, 'k': 0, 'B': 12, 'w': 15, 'g': 8, 'r': 9, 'y': 11, 'o': 3}

WINDOW = [
    "kkkkkkkkkkkk....",
    "kBBBBBBBBBBk....",
    "kBwwwBBBBBBk....",
    "kkkkkkkkkkkk....",
    "kwwwgwwwwwwk....",
    "kggggggggggk....",
    "kwwwgwwwwwwk....",
    "kggggggggggk....",
    "kwwwgwwwwwwk....",
    "kggggggggggk....",
    "kwwwgwwwwwwk....",
    "kggggggggggk....",
    "kwwwgwwwwwwk....",
    "kkkkkkkkkkkk....",
    "................",
]


def draw():
    rows = [list(r) for r in WINDOW]
    # The pencil lies along the anti-diagonal row + column = 18, from its eraser at the top right
    # to its point at the bottom left.
    for r in range(15):
        for c in range(16):
            s, d = r + c, r - c
            if not 17 <= s <= 19 or not -12 <= d <= 6:
                continue
            if d <= -11:
                ink = 'r'
            elif d <= -10:
                ink = 'g'
            elif d <= 3:
                ink = 'o' if s == 19 else 'y'
            elif d <= 5:
                ink = 'w' if s == 18 or d == 4 else None
            else:
                ink = 'k' if s == 18 else None
            if ink:
                rows[r][c] = ink
    return rows


def bmp(rows):
    width, height = 16, 15
    stride = (width * 4 + 31) // 32 * 4
    pixels = b''
    for row in reversed(rows):  # bottom-up
        line = bytes((INK[row[i]] << 4) | INK[row[i + 1]] for i in range(0, width, 2))
        pixels += line + b'\0' * (stride - len(line))
    palette = b''.join(struct.pack('<BBBB', b, g, r, 0) for r, g, b in PALETTE)
    offset = 14 + 40 + len(palette)
    info = struct.pack('<IiiHHIIiiII', 40, width, height, 1, 4, 0, len(pixels), 2835, 2835, 16, 0)
    header = struct.pack('<2sIHHI', b'BM', offset + len(pixels), 0, 0, offset)
    return header + info + palette + pixels


if __name__ == '__main__':
    out = sys.argv[1] if len(sys.argv) > 1 else 'picture.bmp'
    with open(out, 'wb') as f:
        f.write(bmp(draw()))
