#!/usr/bin/env python3
"""Draws the icon of the installer and the manual: make_icon.py OUTPUT.ico

A white N on a rounded blue square, in the sizes that Windows displays.
"""
import struct
import sys

SIZES = (16, 24, 32, 48, 64)
SAMPLES = 4  # per pixel in each direction, for smooth edges
BLUE = (0x1B, 0x4F, 0x8F)
WHITE = (0xFF, 0xFF, 0xFF)


def in_square(x, y, radius=0.18):
    """Whether a point of the unit square is inside the rounded square."""
    dx = max(radius - x, x - (1 - radius), 0)
    dy = max(radius - y, y - (1 - radius), 0)
    return dx * dx + dy * dy <= radius * radius


def in_letter(x, y):
    """Whether a point is on the N: two vertical strokes and a diagonal from top left to bottom right."""
    if not 0.22 <= y <= 0.78:
        return False
    slant = 0.25 + (y - 0.22) / 0.56 * 0.36
    return 0.25 <= x <= 0.38 or 0.62 <= x <= 0.75 or slant <= x <= slant + 0.14


def pixel(column, row, size):
    """Blue, green, red and opacity of a pixel, as the average of its samples."""
    step = 1 / (size * SAMPLES)
    points = [((column * SAMPLES + i + 0.5) * step, (row * SAMPLES + j + 0.5) * step)
              for i in range(SAMPLES) for j in range(SAMPLES)]
    colours = [WHITE if in_letter(*point) else BLUE for point in points if in_square(*point)]
    if not colours:
        return bytes(4)
    red, green, blue = (sum(colour[i] for colour in colours) // len(colours) for i in range(3))
    return bytes((blue, green, red, 255 * len(colours) // len(points)))


def image(size):
    """A 32-bit bitmap in icon format: rows from the bottom up, then an empty mask, since the pixels have an opacity."""
    header = struct.pack('<IiiHHIIiiII', 40, size, 2 * size, 1, 32, 0, 0, 0, 0, 0, 0)
    pixels = b''.join(pixel(column, row, size) for row in reversed(range(size)) for column in range(size))
    mask_row = (size + 31) // 32 * 4
    return header + pixels + bytes(mask_row * size)


def main():
    images = [image(size) for size in SIZES]
    offset = 6 + 16 * len(images)
    directory = struct.pack('<HHH', 0, 1, len(images))
    for size, data in zip(SIZES, images):
        directory += struct.pack('<BBBBHHII', size, size, 0, 0, 1, 32, len(data), offset)
        offset += len(data)
    with open(sys.argv[1], 'wb') as output:
        output.write(directory + b''.join(images))


main()
