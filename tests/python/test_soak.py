"""A long run of a scene like the showcase's: sprites with animators, a picture
redirected through a framebuffer display, dissolves through a transition texture,
textures loading in the background and changes of video mode all through it. It looks
for what only shows after many frames: memory that keeps growing, and drawing that
stops working. Nothing in it is timed."""
import gc
import io
import logging
import math

import pytest
from OpenGL import GL

import libcore
import libgraphics
from libgraphics import (Framebuffer, FramebufferDisplay, SceneLayer, SceneObject, Sprite, Texture,
                         sprite_database, texture_database)

from memory import ALLOCATOR, engine_counts, heap_bytes
from pictures import images, settle

pytestmark = pytest.mark.soak

FRAMES = 10_000
# The script's work repeats every CYCLE frames (its periods, 25, 50, 60, 100, 200, 240,
# 400 and 480 frames, divide it): what the process holds is measured at the same point
# of four cycles, the first once allocator pools and caches are warm.
CYCLE = 2_400
MEASURED = (2_000, 2_000 + CYCLE, 2_000 + 2 * CYCLE, 2_000 + 3 * CYCLE)
# A leak of 64 bytes a frame between the first and the last would be 450 KiB; the
# bytes in use move by a few KiB between cycles.
HEAP_GROWTH = 256 * 1024
MODE_CHANGES = 100
SIZES = [(160, 120), (192, 144)]  # alternated; the run starts and ends at the first
DT = 1.0 / 60.0
TILES = 8

RED, GREEN, BLUE = (255, 0, 0, 255), (0, 255, 0, 255), (0, 0, 255, 255)
DISPLAY_TINT = (0.5, 1.0, 1.0, 1.0)  # halves red: what the display shows is told apart

# Where the checks look: the probe and the spinner are drawn into the framebuffer and
# reach the window only through the display; the marker and the tile are drawn over it.
PROBE = (100, 10)  # top-left of a 20 x 20 red square
SPINNER = (40, 20)  # centre of a 16 x 16 blue square turning about it
MARKER = (4, 100)  # top-left of a 12 x 12 green square
TILE = (140, 100)  # top-left of a 12 x 12 square of the last tile loaded


def tile_colour(i):
    return (30 * i, 200, 100, 255)


def held():
    """What the engine holds and the bytes malloc has handed out. Every queued texture
    load is handed over first, and what only the texture table holds is let go: the
    script's own purges come before or after a load arrives as the loader thread goes,
    so the table alone is not the same from one measure to the next."""
    settle()
    texture_database.purge()
    return engine_counts(), heap_bytes()


def write_assets(pictures):
    """The pictures and the sprite records; returns the tiles' paths and the transition
    texture's path. Solid pictures are one pixel: every change of video mode uploads
    each texture again, and a picture with no smaller levels is the cheapest upload."""
    paths = {
        "probe": pictures.solid("probe.png", 1, 1, RED),
        "spinner": pictures.solid("spinner.png", 1, 1, BLUE),
        "marker": pictures.solid("marker.png", 1, 1, GREEN),
        "day": pictures.solid("day.png", 1, 1, (250, 200, 60, 255)),
    }
    # A sheet of 4 x 2 cells of one pixel each, one colour a cell.
    cells = [(255, 128, 0), (0, 255, 255), (255, 0, 255), (255, 255, 0),
             (128, 255, 128), (128, 128, 255), (255, 255, 255), (200, 100, 50)]
    rows = [[v for cell in cells[4 * y:4 * y + 4] for v in cell] for y in range(2)]
    paths["sheet"] = pictures.write("sheet.png", 4, 2, rows, images.RGB)
    tiles = [pictures.solid(f"tile{i}.png", 1, 1, tile_colour(i)) for i in range(TILES)]
    # A left-to-right ramp: the dissolve reaches the left side first.
    transition = pictures.write("transition.png", 16, 1, [[v for x in range(16) for v in (16 * x,) * 3]], images.RGB)

    records = [
        f'<Sprite id="soak-probe" texture="{paths["probe"]}" dimensions="20 20" layer="world"/>',
        f'<Sprite id="soak-spinner" texture="{paths["spinner"]}" dimensions="16 16" origin="8 8" layer="world"/>',
        f'<Sprite id="soak-day" texture="{paths["day"]}" dimensions="80 40" layer="world"/>',
        f'<Sprite id="soak-marker" texture="{paths["marker"]}" dimensions="12 12" layer="hud"/>',
    ]
    for i in range(8):
        records.append(f'<Sprite id="soak-shape{i}" texture="{paths["sheet"]}" dimensions="12 12" origin="6 6" '
                       f'top_left="{(i % 4) / 4} {(i // 4) / 2}" bottom_right="{(i % 4 + 1) / 4} {(i // 4 + 1) / 2}" '
                       f'layer="world"/>')
    for i, path in enumerate(tiles):
        records.append(f'<Sprite id="soak-tile{i}" texture="{path}" dimensions="12 12" layer="hud"/>')
    assert sprite_database.load(io.StringIO("<Sprites>" + "".join(records) + "</Sprites>"), "")
    return tiles, transition


class Circler(SceneObject):
    """Moves its sprites around a centre each frame from the script, as the showcase's
    orbit does."""

    def __init__(self, sprites, centre, radius):
        super().__init__()
        self.sprites = sprites
        self.centre = centre
        self.radius = radius
        self.time = 0.0

    def OnUpdate(self, dt):
        self.time += dt
        for i, sprite in enumerate(self.sprites):
            angle = self.time * 0.8 + i * 2 * math.pi / len(self.sprites)
            sprite.position = (self.centre[0] + self.radius * math.cos(angle),
                               self.centre[1] + self.radius * math.sin(angle))


class Show:
    """The scene and everything the script keeps of it."""

    def __init__(self, pictures):
        self.tiles, transition_path = write_assets(pictures)
        self.scene = libgraphics.Scene()
        self.scene.add_layer(SceneLayer("world", 0, 0, True))
        self.scene.add_layer(SceneLayer("overlay", 1, 0, True))
        self.scene.add_layer(SceneLayer("hud", 2, 0, True))

        self.probe = Sprite("soak-probe")
        self.probe.position = PROBE
        self.spinner = Sprite("soak-spinner")
        self.spinner.position = SPINNER
        self.spinner.add_animator("spin", libgraphics.SceneObjectAnimatorRotate(3.0, 2.0, 0.0))
        self.day = Sprite("soak-day")
        self.day.position = (0, 70)
        self.day.z = -1
        self.transition = Texture(transition_path)
        self.marker = Sprite("soak-marker")
        self.marker.position = MARKER

        self.shapes = [Sprite(f"soak-shape{i}") for i in range(8)]
        self.thrown, self.pathed, self.circled = self.shapes[0], self.shapes[1], self.shapes[4:]
        for i, shape in enumerate(self.shapes[2:4]):
            shape.position = (70 + 20 * i, 60)
        self.shapes[2].add_animator("glow", libgraphics.SceneObjectAnimatorAlphaPulse(0.3, 1.0, 1.5))
        self.shapes[3].add_animator("spin", libgraphics.SceneObjectAnimatorRotate(-2.0, 0.0, 0.0))
        self.circler = Circler(self.circled, (120, 75), 14)
        self.circler.layer = "world"

        # Everything in "world" goes into the framebuffer; the display shows it, tinted.
        self.framebuffer = Framebuffer()
        assert self.framebuffer.create((160, 120))
        self.display = FramebufferDisplay(self.framebuffer)
        self.display.dimensions = (160, 120)
        self.display.colour = DISPLAY_TINT
        self.display.layer = "overlay"
        self.scene.register_framebuffer(self.display, self.framebuffer)

        # Textures that come and go through the loader, and the tile sprite showing one.
        self.loading = [None] * 4
        self.tile = None
        self.tile_index = 0

    def step(self, frame):
        """The script's part of a frame: animators started again as they end, fades
        queued, textures dropped and acquired again."""
        if self.thrown.get_animator("throw") is None:
            self.thrown.position = (20, 60)
            throw = libgraphics.SceneObjectAnimatorMoveNewtonian((30, -60))
            throw.bounce_target = 100.0
            throw.num_bounces = 2
            throw.bounce_damping = 0.5
            self.thrown.add_animator("throw", throw)
        if self.pathed.get_animator("path") is None:
            path = libgraphics.SceneObjectAnimatorMoveSpline(2.0)
            for point in ((10, 55), (60, 100), (90, 50), (20, 95)):
                path.add_control_point(point)
            self.pathed.add_animator("path", path)
        if frame % 60 == 0:
            self.shapes[frame // 60 % 8].add_animator("pop", libgraphics.SceneObjectAnimatorPulse(1.0, 1.4, 0.4))
        if frame % 240 == 0:
            self.day.fade(1, 0, 0, 1.0, self.transition)
            self.day.fade(0, 1, 0.5, 1.0, self.transition)
        if frame % 25 == 0:
            slot = frame // 25 % len(self.loading)
            self.loading[slot] = Texture(self.tiles[frame // 25 % TILES])
        if frame % 50 == 0:
            if self.tile is not None:
                self.scene.remove_object(self.tile)
            self.tile_index = frame // 50 % TILES
            self.tile = Sprite(f"soak-tile{self.tile_index}")
            self.tile.position = TILE
        if frame % 100 == 0:
            texture_database.purge()  # what only the table holds goes, and loads again

    def close(self):
        """Lets go of everything the scene and the script hold."""
        for o in [self.probe, self.spinner, self.day, self.marker, self.tile, self.circler, self.display]:
            if o is not None:
                self.scene.remove_object(o)
        for shape in self.shapes:
            self.scene.remove_object(shape)
        self.__dict__.clear()


def pixel(window, x, y):
    width, height, data = window.read_pixels()
    i = (y * width + x) * 4
    return tuple(data[i:i + 4])


def close_to(actual, expected, tolerance=3):
    return all(abs(a - e) <= tolerance for a, e in zip(actual, expected))


def draw_frame(window, scene):
    window.process_events()
    scene.update(DT)
    scene.begin_frame()
    scene.render()
    scene.end_frame()


def test_a_long_run_keeps_drawing_and_does_not_grow(restore_size, gl, pictures, caplog):
    caplog.set_level(logging.WARNING, logger="engine")
    window = restore_size
    window.set_video_mode(*SIZES[0], False)
    libgraphics.set_ortho()
    show = Show(pictures)
    changes = 0
    measured = []
    try:
        for frame in range(FRAMES):
            if frame % (FRAMES // MODE_CHANGES) == FRAMES // MODE_CHANGES // 2:
                changes += 1
                window.set_video_mode(*SIZES[changes % 2], False)
                libgraphics.set_ortho()
            show.step(frame)
            if frame in MEASURED:
                measured.append(held())  # after the script's part: its animators are all in place
            draw_frame(window, show.scene)
            window.swap_buffers()
        assert changes == MODE_CHANGES
        res = window.video_mode.resolution
        assert (res.x, res.y) == SIZES[0]

        # One more frame, with every load arrived, to read back.
        settle()
        draw_frame(window, show.scene)
        assert GL.glGetError() == GL.GL_NO_ERROR
        assert Framebuffer.current() is None
        # Drawn straight into the window, over the display.
        assert pixel(window, MARKER[0] + 6, MARKER[1] + 6) == GREEN
        assert pixel(window, TILE[0] + 6, TILE[1] + 6) == tile_colour(show.tile_index)
        # Drawn into the framebuffer and shown by the display, tinted.
        probe = pixel(window, PROBE[0] + 10, PROBE[1] + 10)
        assert close_to(probe, (128, 0, 0, 255)), probe
        assert pixel(window, *SPINNER) == BLUE
        libcore.Log.flush()  # what the loader thread said
        assert [r.getMessage() for r in caplog.records if r.name.startswith("engine")] == []
    finally:
        show.close()
        del show
        gc.collect()
        sprite_database.unload()

    counts = [c for c, _ in measured]
    assert counts == [counts[0]] * len(MEASURED), f"what the engine held at frames {MEASURED}: {counts}"
    (_, settled_bytes), *_, (_, final_bytes) = measured
    growth = final_bytes - settled_bytes
    assert growth < HEAP_GROWTH, (
        f"{ALLOCATOR}'s bytes in use went from {settled_bytes} at frame {MEASURED[0]} to {final_bytes} at "
        f"frame {MEASURED[-1]} ({growth:+d})")
