#!/usr/bin/env python3
"""Writes the PNG seeds of the png_decode fuzz target into corpus/png_decode/.

Small pictures in every layout the texture decoder meets: RGB and RGBA at 8 and 16
bits, interlaced, odd sizes, extra chunks, and the grey and palette kinds it refuses.
Made here from the PNG format itself, so the seeds are reproducible: run it again after
changing it and commit what it writes.
"""
import os
import struct
import zlib

ADAM7 = [(0, 0, 8, 8), (4, 0, 8, 8), (0, 4, 4, 8), (2, 0, 4, 4), (0, 2, 2, 4), (1, 0, 2, 2), (0, 1, 1, 2)]


def chunk(kind, data):
    body = kind + data
    return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body) & 0xFFFFFFFF)


def sample_bytes(value, depth):
    return bytes([value & 0xFF]) if depth == 8 else struct.pack(">H", value * 257 & 0xFFFF)


def rows_of(pixels, width, height, depth, filter_type):
    """Raw scanlines: a filter byte, then the samples (filter 1 'Sub' on request)."""
    out = bytearray()
    for y in range(height):
        line = b"".join(sample_bytes(v, depth) for x in range(width) for v in pixels[y][x])
        if filter_type == 1:
            step = len(pixels[y][0]) * (depth // 8)
            line = bytes((line[i] - (line[i - step] if i >= step else 0)) & 0xFF for i in range(len(line)))
        out += bytes([filter_type]) + line
    return bytes(out)


def png(width, height, colour_type, channels, depth=8, interlace=0, filter_type=0, extra=(), palette=None):
    pixels = [[tuple((x * 40 + y * 7 + c * 90) % 256 for c in range(channels)) for x in range(width)]
              for y in range(height)]
    if interlace:
        raw = b""
        for x0, y0, dx, dy in ADAM7:
            sub = [[pixels[y][x] for x in range(x0, width, dx)] for y in range(y0, height, dy)]
            if sub and sub[0]:
                raw += rows_of(sub, len(sub[0]), len(sub), depth, filter_type)
    else:
        raw = rows_of(pixels, width, height, depth, filter_type)
    data = b"\x89PNG\r\n\x1a\n"
    data += chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, depth, colour_type, 0, 0, interlace))
    if palette:
        data += chunk(b"PLTE", palette)
    for kind, body in extra:
        data += chunk(kind, body)
    data += chunk(b"IDAT", zlib.compress(raw, 9))
    return data + chunk(b"IEND", b"")


SEEDS = {
    "rgb-3x5.png": png(3, 5, 2, 3),
    "rgba-4x4.png": png(4, 4, 6, 4),
    "rgba-1x1.png": png(1, 1, 6, 4),
    "rgb16-2x3.png": png(2, 3, 2, 3, depth=16),
    "rgba16-3x2.png": png(3, 2, 6, 4, depth=16),
    "rgba-interlaced-9x7.png": png(9, 7, 6, 4, interlace=1),
    "rgb-sub-filter-5x3.png": png(5, 3, 2, 3, filter_type=1),
    "rgb-trns-text-4x2.png": png(4, 2, 2, 3, extra=[(b"tRNS", b"\x00\x01\x00\x02\x00\x03"),
                                                  (b"tEXt", b"Comment\x00seed"), (b"gAMA", struct.pack(">I", 45455))]),
    "grey-refused-2x2.png": png(2, 2, 0, 1),
    "grey-alpha-refused-2x2.png": png(2, 2, 4, 2),
    "palette-refused-2x2.png": png(2, 2, 3, 1, palette=bytes(range(12))),
}

if __name__ == "__main__":
    folder = os.path.join(os.path.dirname(os.path.abspath(__file__)), "corpus", "png_decode")
    os.makedirs(folder, exist_ok=True)
    for name, data in SEEDS.items():
        with open(os.path.join(folder, name), "wb") as f:
            f.write(data)
    print(f"{len(SEEDS)} seeds in {folder}")
