"""The shooter's pictures (examples/shooter.py), drawn pixel by pixel with the standard
library: a sprite sheet with the ship, two frames of the enemy and a shot, a starfield
tile that repeats seamlessly, and a soft spark for the explosions.

Each kind of thing has a colour of its own (a green ship, magenta enemies, cyan shots,
a dark blue sky, orange explosions, a white score), so that a picture of the game tells
them apart.

    python3 data/shooter_art.py OUT_DIR
"""
import math
import os
import sys

from images import RGBA, write_png

CELL = 32          # the sheet is one row of four 32 x 32 cells
SHEET = "shooter-sheet.png"
TILE = "shooter-tile.png"
SPARK = "shooter-spark.png"
CLEAR = (0, 0, 0, 0)


def paint(width, height, pixel):
    """Rows of RGBA samples, `pixel(x, y)` giving each one (measured from the pixel's centre)."""
    return [[c for x in range(width) for c in pixel(x + 0.5, y + 0.5)] for y in range(height)]


def ship(x, y):
    """An arrow-shaped fighter pointing up, with a cockpit and two wings."""
    dx = abs(x - 16)
    hull = 3 <= y <= 29 and dx <= (y - 3) * 0.32 + 2
    wings = 17 <= y <= 27 and dx <= 15 - (27 - y) * 0.9
    if math.hypot(dx, y - 12) < 3.5:
        return (90, 255, 170, 255)
    if hull or wings:
        shade = 1.0 - 0.25 * dx / 16
        return (int(50 * shade), int(225 * shade), int(80 * shade), 255)
    return CLEAR


def enemy(frame):
    """A magenta crab; its legs swing out in frame 0 and in in frame 1."""
    def pixel(x, y):
        dx = x - 16
        body = (dx / 13) ** 2 + ((y - 15) / 8) ** 2 < 1
        if body:
            if math.hypot(abs(dx) - 6, y - 13) < 2:
                return (255, 230, 90, 255) if frame == 0 else (60, 0, 40, 255)   # blinking eyes
            shade = 1.0 - 0.3 * (y - 7) / 16
            return (int(235 * shade), 50, int(205 * shade), 255)
        for side in (-1, 1):
            for leg in (5, 10):
                # A leg runs from under the body (y 21) down to y 29, slanting out or in.
                reach = side * (leg + (4 if frame == 0 else -2) * (y - 21) / 8)
                if 21 <= y <= 29 and abs(dx - reach) < 1.3:
                    return (200, 40, 170, 255)
        return CLEAR
    return pixel


def shot(x, y):
    """A cyan bolt with a white core, eight pixels wide in the middle of its cell."""
    dx = abs(x - 16)
    if dx < 4 and 4 <= y <= 28:
        return (220, 255, 255, 255) if dx < 1.5 else (70, 220, 255, 255)
    return CLEAR


def sheet(x, y):
    cell, local = int(x // CELL), x % CELL
    return (ship, enemy(0), enemy(1), shot)[cell](local, y)


# Stars of the tile: (x, y, brightness 0..1); all well inside, so none is cut at an edge.
STARS = [(7, 9, 1.0), (40, 22, 0.6), (25, 50, 0.8), (55, 57, 0.5), (50, 5, 0.7), (16, 33, 0.4)]


def tile(x, y):
    """Dark blue sky with faint waves whose period is the tile, so tiles join without seams."""
    wave = math.sin(2 * math.pi * x / 64) * math.sin(2 * math.pi * y / 64)
    r, g, b = 12, 16 + 4 * wave, 44 + 10 * wave
    for sx, sy, light in STARS:
        glow = max(0.0, 1.0 - math.hypot(x - sx - 0.5, y - sy - 0.5) / 2.0) * light
        r, g, b = r + 140 * glow, g + 145 * glow, b + 130 * glow
    return (int(r), int(g), int(b), 255)


def spark(x, y):
    """A white disc fading out towards its edge; the particles' colour curves tint it."""
    d = min(1.0, math.hypot(x - 8, y - 8) / 8)
    return (255, 255, 255, int(255 * (1 - d) ** 1.5))


def write_all(out):
    """Writes every picture of the shooter into `out` (created if needed)."""
    os.makedirs(out, exist_ok=True)
    write_png(os.path.join(out, SHEET), 4 * CELL, CELL, paint(4 * CELL, CELL, sheet), RGBA)
    write_png(os.path.join(out, TILE), 64, 64, paint(64, 64, tile), RGBA)
    write_png(os.path.join(out, SPARK), 16, 16, paint(16, 16, spark), RGBA)


if __name__ == "__main__":
    write_all(sys.argv[1] if len(sys.argv) > 1 else "out/assets")
