"""Pictures for texture and sprite tests: PNG files written into a path-database root
by the project's own writer, and a wait for the texture loader."""
import os
import sys

from libgraphics import texture_loader

from waiting import wait_until

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "..", "data"))
import images  # noqa: E402  (the project's own PNG writer)


def settle(timeout=20.0):
    """Polls "loading" until every queued load has been handed to OpenGL."""
    wait_until(lambda: not texture_loader.loading, timeout, "the texture loader to finish its queued loads")


class Pictures:
    """Writes PNG files into a directory that is a path-database root. Names carry the
    test's own prefix: the texture table is process-wide and keyed by path."""

    def __init__(self, directory):
        self.directory = directory
        self.prefix = directory.name

    def path(self, name):
        return f"{self.prefix}-{name}"

    def full_path(self, name):
        return str(self.directory / self.path(name))

    def write(self, name, width, height, rows, colour_type=images.RGBA, bit_depth=8, palette=None):
        images.write_png(self.full_path(name), width, height, rows, colour_type, bit_depth, palette)
        return self.path(name)

    def write_bytes(self, name, data):
        with open(self.full_path(name), "wb") as f:
            f.write(data)
        return self.path(name)

    def solid(self, name, width=4, height=4, colour=(255, 255, 255, 255)):
        colour_type = images.RGBA if len(colour) == 4 else images.RGB
        return self.write(name, width, height, images.solid(width, height, colour), colour_type)

    def palette(self, name):
        return self.write(name, 2, 2, [[0, 1], [1, 0]], images.PALETTE, palette=[(255, 0, 0), (0, 0, 255)])

    def grey(self, name):
        return self.write(name, 2, 2, [[0, 255], [255, 0]], images.GREY)

    def grey_alpha(self, name):
        return self.write(name, 2, 2, [[0, 255, 255, 255], [255, 255, 0, 255]], images.GREY_ALPHA)

    def deep(self, name):
        """2 x 1 RGB at 16 bits: samples 0x1234, 0xFF01, 0x0080 | 0x8000, 0x7FFF, 0x0001."""
        return self.write(name, 2, 1, [[0x1234, 0xFF01, 0x0080, 0x8000, 0x7FFF, 0x0001]], images.RGB, 16)

    def corrupt(self, name):
        return self.write_bytes(name, images.corrupt_png_bytes())

    def missing(self, name):
        return self.path(name)


def rendered(window, scene):
    """Renders the scene over opaque black and returns pixel(x, y) -> (r, g, b, a) of
    the window (x, y in read_pixels order: rows from the top)."""
    from OpenGL import GL

    GL.glClearColor(0, 0, 0, 1)
    GL.glClear(GL.GL_COLOR_BUFFER_BIT)
    scene.render()
    width, height, data = window.read_pixels()
    return lambda x, y: tuple(data[(y * width + x) * 4:(y * width + x) * 4 + 4])


def decode_png(data):
    """(width, height, pixel(x, y) -> tuple) of an 8-bit RGB or RGBA, non-interlaced PNG
    file's bytes: what the engine's screenshots are. The tests' own reader, so that no
    other library's decoder runs under the sanitizers."""
    import struct
    import zlib

    assert data[:8] == b"\x89PNG\r\n\x1a\n", "not a PNG file"
    chunks, at = {}, 8
    while at < len(data):
        length, kind = struct.unpack(">I4s", data[at:at + 8])
        chunks.setdefault(kind, []).append(data[at + 8:at + 8 + length])
        at += 12 + length
    width, height, depth, colour_type, _, _, interlace = struct.unpack(">IIBBBBB", chunks[b"IHDR"][0])
    assert depth == 8 and colour_type in (2, 6) and interlace == 0, "an unsupported kind of PNG"
    channels = 4 if colour_type == 6 else 3
    raw = zlib.decompress(b"".join(chunks[b"IDAT"]))
    stride = width * channels
    rows, previous = [], bytearray(stride)
    for y in range(height):
        kind, line = raw[y * (stride + 1)], bytearray(raw[y * (stride + 1) + 1:(y + 1) * (stride + 1)])
        for i in range(stride):
            left = line[i - channels] if i >= channels else 0
            up, corner = previous[i], previous[i - channels] if i >= channels else 0
            if kind == 1:
                line[i] = (line[i] + left) & 255
            elif kind == 2:
                line[i] = (line[i] + up) & 255
            elif kind == 3:
                line[i] = (line[i] + (left + up) // 2) & 255
            elif kind == 4:
                p = left + up - corner
                pa, pb, pc = abs(p - left), abs(p - up), abs(p - corner)
                line[i] = (line[i] + (left if pa <= pb and pa <= pc else up if pb <= pc else corner)) & 255
        rows.append(bytes(line))
        previous = line
    return width, height, lambda x, y: tuple(rows[y][x * channels:(x + 1) * channels])
