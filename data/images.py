"""Writes the PNG files that the examples and tests use, with nothing but the standard
library, so that the project makes every picture it needs itself.

    python3 data/images.py OUT_DIR     # the demo's pictures and sprite sheet
"""
import math
import os
import struct
import sys
import zlib

RGB, RGBA, GREY, GREY_ALPHA, PALETTE = 2, 6, 0, 4, 3
CHANNELS = {RGB: 3, RGBA: 4, GREY: 1, GREY_ALPHA: 2, PALETTE: 1}


def _chunk(kind, data):
    body = kind + data
    return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body) & 0xFFFFFFFF)


def png_bytes(width, height, rows, colour_type=RGBA, bit_depth=8, palette=None):
    """A PNG file's bytes. `rows` is a list of `height` rows, each a list of samples
    (width * channels values in 0..2**bit_depth-1, or palette indices)."""
    raw = bytearray()
    for row in rows:
        raw.append(0)  # filter: none
        if bit_depth == 16:
            for v in row:
                raw += struct.pack(">H", v)
        elif bit_depth == 8:
            raw += bytes(row)
        else:  # packed samples, most significant bits first
            per_byte = 8 // bit_depth
            for i in range(0, len(row), per_byte):
                byte = 0
                for j, v in enumerate(row[i:i + per_byte]):
                    byte |= v << (8 - bit_depth * (j + 1))
                raw.append(byte)
    out = b"\x89PNG\r\n\x1a\n"
    out += _chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, bit_depth, colour_type, 0, 0, 0))
    if palette is not None:
        out += _chunk(b"PLTE", bytes(c for rgb in palette for c in rgb))
    out += _chunk(b"IDAT", zlib.compress(bytes(raw)))
    out += _chunk(b"IEND", b"")
    return out


def write_png(path, width, height, rows, colour_type=RGBA, bit_depth=8, palette=None):
    with open(path, "wb") as f:
        f.write(png_bytes(width, height, rows, colour_type, bit_depth, palette))


def solid(width, height, colour):
    """Rows of one colour (3 or 4 channels)."""
    return [list(colour) * width for _ in range(height)]


def corrupt_png_bytes(width=8, height=8):
    """A PNG whose header is sound and whose image data is garbage."""
    good = png_bytes(width, height, solid(width, height, (255, 0, 0, 255)))
    start = good.index(b"IDAT") + 4
    return good[:start] + bytes(b ^ 0x5A for b in good[start:start + 20]) + good[start + 20:]


# The demo's pictures ---------------------------------------------------------------

def _landscape(width, height, hue):
    rows = []
    for y in range(height):
        row = []
        for x in range(width):
            sky = y / height
            hill = height * (0.6 + 0.1 * math.sin(x / width * 6.28 * 2 + hue))
            if y > hill:
                r, g, b = 40 + 60 * hue, (120 + 50 * (y / height)) * (1 - 0.5 * hue), 60 + 40 * hue
            else:
                # hue 0: a blue day sky; hue 1: an orange and violet dusk.
                day = (80, 120 + 80 * sky, 230)
                dusk = (250, 120 + 60 * sky, 120 + 80 * (1 - sky))
                r, g, b = (d * (1 - hue) + k * hue for d, k in zip(day, dusk))
            row += [int(min(255, r)), int(min(255, g)), int(min(255, b))]
        rows.append(row)
    return rows


def _sheet(cell=64, columns=4, rows_=2):
    """A sprite sheet of simple shapes, one per cell, on a transparent background."""
    width, height = cell * columns, cell * rows_
    rows = [[0, 0, 0, 0] * width for _ in range(height)]
    colours = [(255, 90, 90), (90, 200, 255), (255, 210, 80), (120, 230, 120),
               (230, 120, 255), (255, 150, 60), (200, 200, 200), (80, 255, 200)]
    for index in range(columns * rows_):
        cx, cy = (index % columns) * cell + cell // 2, (index // columns) * cell + cell // 2
        r, g, b = colours[index]
        sides = 3 + index
        for y in range(cy - cell // 2, cy + cell // 2):
            for x in range(cx - cell // 2, cx + cell // 2):
                dx, dy = x - cx + 0.5, y - cy + 0.5
                angle = math.atan2(dy, dx)
                # A regular polygon's radius at this angle, softened at its edge.
                sector = math.pi / sides
                radius = (cell * 0.42) * math.cos(sector) / math.cos((angle % (2 * sector)) - sector)
                d = math.hypot(dx, dy)
                alpha = max(0.0, min(1.0, radius - d))
                if alpha > 0:
                    shade = 0.7 + 0.3 * (1 - d / (cell * 0.5))
                    rows[y][4 * x:4 * x + 4] = [int(r * shade), int(g * shade), int(b * shade), int(255 * alpha)]
    return width, height, rows


def _dissolve(width, height):
    """A transition picture: red rises from the centre outwards in rings of noise."""
    rows = []
    for y in range(height):
        row = []
        for x in range(width):
            d = math.hypot(x - width / 2, y - height / 2) / math.hypot(width / 2, height / 2)
            noise = (math.sin(x * 0.37) * math.cos(y * 0.29) + 1) * 0.1
            v = int(255 * max(0.0, min(1.0, 1 - d + noise - 0.1)))
            row += [v, v, v]
        rows.append(row)
    return rows


# A 5 x 7 pixel font, enough for the showcase's title.
_GLYPHS = {
    "A": ["01110", "10001", "10001", "11111", "10001", "10001", "10001"],
    "C": ["01111", "10000", "10000", "10000", "10000", "10000", "01111"],
    "E": ["11111", "10000", "10000", "11110", "10000", "10000", "11111"],
    "G": ["01111", "10000", "10000", "10011", "10001", "10001", "01111"],
    "H": ["10001", "10001", "10001", "11111", "10001", "10001", "10001"],
    "I": ["11111", "00100", "00100", "00100", "00100", "00100", "11111"],
    "N": ["10001", "11001", "10101", "10011", "10001", "10001", "10001"],
    "O": ["01110", "10001", "10001", "10001", "10001", "10001", "01110"],
    "S": ["01111", "10000", "10000", "01110", "00001", "00001", "11110"],
    "W": ["10001", "10001", "10001", "10101", "10101", "10101", "01010"],
    " ": ["00000"] * 7,
}


def _text(text, scale=4, colour=(255, 255, 255)):
    """White-on-transparent text in the 5 x 7 font, each font pixel `scale` wide."""
    width = (len(text) * 6 - 1) * scale + 2 * scale
    height = 9 * scale
    rows = [[0, 0, 0, 0] * width for _ in range(height)]
    for i, ch in enumerate(text):
        for gy, line in enumerate(_GLYPHS[ch]):
            for gx, bit in enumerate(line):
                if bit == "1":
                    for y in range((gy + 1) * scale, (gy + 2) * scale):
                        for x in range((i * 6 + gx + 1) * scale, (i * 6 + gx + 2) * scale):
                            rows[y][4 * x:4 * x + 4] = [*colour, 255]
    return width, height, rows


def _soft_disc(size, colour=(255, 255, 255), hardness=2.0):
    """A white (or `colour`) disc whose alpha falls off towards its edge: a particle."""
    rows = []
    c = (size - 1) / 2.0
    for y in range(size):
        row = []
        for x in range(size):
            d = min(1.0, math.hypot(x - c, y - c) / (size / 2.0))
            row += [*colour, int(255 * max(0.0, 1.0 - d) ** hardness)]
        rows.append(row)
    return rows


def puppet_skin(size=64):
    """The puppet's skin: warm stripes across its limbs with a darker seam down the
    middle, so that skinning and texture coordinates show in a picture."""
    rows = []
    for y in range(size):
        row = []
        for x in range(size):
            stripe = (y // (size // 8)) % 2
            seam = abs(x - size // 2) < size // 16
            r, g, b = (200, 150, 110) if stripe else (230, 180, 140)
            if seam:
                r, g, b = r // 2, g // 2, b // 2
            row += [r, g, b, 255]
        rows.append(row)
    return rows


def make_particle_assets(out):
    """Pictures of the particle examples: a soft dot for sparks and flames, a wide puff for smoke."""
    os.makedirs(out, exist_ok=True)
    write_png(os.path.join(out, "dot.png"), 16, 16, _soft_disc(16, hardness=1.5), RGBA)
    write_png(os.path.join(out, "puff.png"), 32, 32, _soft_disc(32, hardness=2.5), RGBA)


def make_demo_assets(out):
    os.makedirs(out, exist_ok=True)
    write_png(os.path.join(out, "day.png"), 256, 192, _landscape(256, 192, 0.0), RGB)
    write_png(os.path.join(out, "dusk.png"), 256, 192, _landscape(256, 192, 1.0), RGB)
    width, height, rows = _sheet()
    write_png(os.path.join(out, "sheet.png"), width, height, rows, RGBA)
    write_png(os.path.join(out, "dissolve.png"), 128, 128, _dissolve(128, 128), RGB)
    write_png(os.path.join(out, "white.png"), 4, 4, solid(4, 4, (255, 255, 255, 255)), RGBA)
    write_png(os.path.join(out, "puppet.png"), 64, 64, puppet_skin(64), RGBA)
    width, height, rows = _text("ENGINE SHOWCASE")
    write_png(os.path.join(out, "title.png"), width, height, rows, RGBA)
    make_particle_assets(out)
    for i in range(12):  # many pictures for the loading indicator to wait for
        hue = i / 12
        write_png(os.path.join(out, f"tile{i}.png"), 128, 128, _landscape(128, 128, hue), RGB)


if __name__ == "__main__":
    make_demo_assets(sys.argv[1] if len(sys.argv) > 1 else "out/assets")
