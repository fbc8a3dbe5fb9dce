"""Scenes that mix every kind of object the engine draws, checked in pixels.

For every ordered pair of kinds (A, B), drawn in one layer (A first), in two layers
(A's under B's) and with B in a layer drawn apart after the others (a HUD drawn by
render_layer), three frames in a row with a scene update before each: A stands in
the left half of the window and B in the right half, so every frame must equal, half
by half, the same frame of A alone and of B alone. State one object leaves behind
(a buffer still bound, a client array, a colour, a texture unit, a program) shows as
pixels the next object draws wrong, in the same frame or the next one; the GL state
check (on for every test, see conftest.py) names the object that left it.

Every kind is built afresh for each run from fixed data (no random ranges, fixed
steps), so a run of A alone and a run of A next to B go through the same states.
"""
import gc
import io
import os

import numpy as np
import pytest
from OpenGL import GL

import libcore
import libgraphics
from libgraphics import (Actor, ActorController, ActorControllerDynamics, ActorControllerIK, Framebuffer,
                         FramebufferDisplay, IKConstraintPositionFixed, ParticleSystem, Scene, SceneLayer,
                         SceneObject, Sprite, Text, Texture, actor_database, particle_database, sprite_database,
                         texture_database)

from conftest import HEIGHT, WIDTH
from pictures import Pictures, images, settle

DATA = os.path.join(os.path.dirname(__file__), "..", "..", "data")
DT = 1 / 60
FRAMES = 3
HALF = WIDTH // 2
# Where a kind stands: the middle of the window's left or right half, and a place in
# the left half where an opaque kind covers part of what is already there.
PLACES = {"left": (160, 240), "right": (480, 240), "covering": (172, 254)}
LAYERS = [("under", 0, True), ("main", 1, True), ("over", 2, True), ("hud", 3, False), ("world", 4, False)]


# The module's scene and pictures ------------------------------------------------------

class Stage:
    """One scene for the whole module, with the layers every test uses: "under" (z 0),
    "main" (1) and "over" (2), all drawn by render(); "hud", drawn after them by
    render_layer; and "world" (never drawn), where actors made from the puppet's record
    arrive before they are placed. Holds the pictures' paths and the frames of each
    kind drawn alone, which every pair reuses."""

    def __init__(self, window, pictures):
        self.window = window
        self.pictures = pictures
        self.scene = Scene()
        for layer_id, z, common in LAYERS:
            self.scene.add_layer(SceneLayer(layer_id, z, 0, common))
        self.references = {}
        self._dissolves = None
        self._define(pictures)

    def _define(self, pictures):
        # Bright pictures without a black texel: anything a kind covers differs from the background.
        plain = [[v for x in range(8) for v in (70 + 22 * x, 90 + 20 * y, 230 - 18 * x, 255)] for y in range(8)]
        sheet = [[v for x in range(8) for v in ((250, 200, 40, 255) if (x // 2 + y // 2) % 2 else (40, 200, 250, 255))]
                 for y in range(8)]
        content = [[v for x in range(8) for v in ((230, 60 + 25 * y, 90) if (x + y) % 2 else (60, 230, 60 + 25 * x))]
                   for y in range(8)]
        # Red ramps repeating across the window (fixed to the screen): in each half the
        # dissolve sweeps over the sprite in bands, from one frame to the next.
        transition = [[v for x in range(64) for v in (17 * (x % 16), 0, 0)] for y in range(64)]
        self.paths = {
            "plain": pictures.write("plain.png", 8, 8, plain),
            "pale": pictures.solid("pale.png", 4, 4, (255, 235, 200, 255)),
            "sheet": pictures.write("sheet.png", 8, 8, sheet),
            "content": pictures.write("content.png", 8, 8, content, images.RGB),
            "dot": pictures.solid("dot.png", 4, 4, (255, 255, 255, 255)),
            "skin": pictures.write("skin.png", 64, 64, images.puppet_skin(64)),
            "transition": pictures.write("transition.png", 64, 64, transition, images.RGB),
        }
        records = [("mixed-plain", "plain", (120, 90)), ("mixed-pale", "pale", (200, 60)),
                   ("mixed-dissolving", "plain", (160, 120)), ("mixed-tile", "sheet", (40, 40))]
        for record_id, picture, (w, h) in records:
            assert sprite_database.add(record_id, texture=self.paths[picture], dimensions=(w, h),
                                       origin=(w / 2, h / 2), bottom_right=(1, 1), auto_load=True)
        assert sprite_database.add("mixed-content", texture=self.paths["content"], dimensions=(WIDTH, HEIGHT),
                                   bottom_right=(1, 1), auto_load=True)
        emitters = "".join(
            '<ParticleEmitterData emission_rate="120" emission_limit="20">'
            f'<ParticleData life="9 9" size="{size} {size}" texture="{self.paths["dot"]}">'
            f'<ColourCurve><Keyframe key="0" value="{colour}"/></ColourCurve></ParticleData></ParticleEmitterData>'
            for size, colour in ((6, "1 0.6 0.2 0.3"), (10, "0.3 1 0.5 0.25"), (5, "1 1 1 0.5"), (8, "0.4 0.5 1 0.35"),
                                 (7, "1 0.3 0.8 0.3")))
        assert particle_database.load(io.StringIO(
            f'<Particles><ParticleSystemData id="mixed-sparks" gravity="0 0">{emitters}</ParticleSystemData>'
            '</Particles>'))
        assert actor_database.load(os.path.join(DATA, "puppet.xml"))
        assert actor_database.load(os.path.join(DATA, "dynamics.xml"))
        self.transition = Texture(self.paths["transition"])
        self.sheet = Texture(self.paths["sheet"], asynchronous=False)

    def dissolves(self):
        """Whether fades through a transition picture dissolve (shader programs in this
        build): a sprite faded through a half red, half black picture is drawn once and
        its halves compared."""
        if self._dissolves is None:
            sprite_database.add("mixed-probe", texture=self.paths["dot"], dimensions=(WIDTH, HEIGHT),
                                bottom_right=(1, 1))
            rows = [[v for x in range(4) for v in ((255, 0, 0) if x < 2 else (0, 0, 0))] for _ in range(4)]
            halves = Texture(self.pictures.write("probe-halves.png", 4, 4, rows, images.RGB))
            probe = Sprite("mixed-probe")
            probe.fade(1, 0, 0, 1, halves)
            probe.layer = "main"
            settle()
            self.scene.update(0.4)
            frame = draw(self)
            self.scene.remove_object(probe)
            self._dissolves = bool(frame[HEIGHT // 2, 100] != frame[HEIGHT // 2, WIDTH - 100])
        return self._dissolves

    def clear(self):
        """Takes every object out of every layer."""
        for layer_id, _, _ in LAYERS:
            objects = self.scene.get_layer(layer_id).objects
            for obj in [objects[i] for i in range(len(objects))]:
                self.scene.remove_object(obj)


@pytest.fixture(scope="module")
def stage(window, tmp_path_factory):
    libgraphics.set_window(window)
    libgraphics.set_ortho()
    directory = tmp_path_factory.mktemp("mixed")
    libcore.PathDatabase.add_root(str(directory))
    sprite_database.unload()
    particle_database.unload()
    actor_database.unload()
    s = Stage(window, Pictures(directory))
    settle()
    yield s
    # The module's scene goes now, not when a later test's collection finds it (that
    # would leave the later test's scene no longer current).
    s.clear()
    del s
    gc.collect()
    sprite_database.unload()
    particle_database.unload()
    actor_database.unload()
    settle()
    texture_database.purge()
    libcore.PathDatabase.remove_root(str(directory))


@pytest.fixture
def mixed(stage, gl):
    """The stage, with its scene current and empty before and after the test."""
    stage.clear()
    yield stage
    stage.clear()


def draw(stage):
    """One whole frame over opaque black; the window's pixels, rows from the top, one
    RGBA pixel per 32-bit number (red in the low byte)."""
    GL.glClearColor(0, 0, 0, 1)
    GL.glClear(GL.GL_COLOR_BUFFER_BIT)
    stage.scene.begin_frame()
    stage.scene.render()
    stage.scene.render_layer("hud")
    stage.scene.end_frame()
    return pixels(stage.window)


def pixels(window):
    """What the window's drawing target holds (the window, or the bound framebuffer)."""
    width, height, data = window.read_pixels()
    return np.frombuffer(data, np.uint32).reshape(height, width)


# The kinds ---------------------------------------------------------------------------
#
# Each factory builds one instance standing at (x, y) and returns a Built: the scene
# objects it places, in drawing order, and whatever else must stay alive. Nothing is
# placed in a drawn layer until every kind of the run is built.

class Built:
    def __init__(self, objects, keep=(), tick=None):
        self.objects = list(objects)
        self.keep = list(keep)
        self.tick = tick  # called with the frame's number after each update

    def place(self, scene, layer, z):
        for i, obj in enumerate(self.objects):
            if obj.layer:
                scene.remove_object(obj)
            obj.z = z + i
            obj.layer = layer


def sprite(stage, x, y):
    s = Sprite("mixed-plain")
    s.position = (x, y)
    s.rotation = 0.15
    return Built([s])


def alpha_stops(stage, x, y):
    s = Sprite("mixed-pale")
    s.position = (x, y)
    s.colour = (0.4, 1.0, 0.6, 1.0)
    for position, alpha in ((0, 0.1), (0.5, 1.0), (1, 0.35)):
        s.set_alpha_stop(position, alpha)
    return Built([s])


def dissolve(stage, x, y):
    # A short fade: the dissolve moves across the sprite from one frame to the next.
    s = Sprite("mixed-dissolving")
    s.position = (x, y)
    s.fade(1, 0.15, 0, 0.1, stage.transition)
    return Built([s])


def batch(stage, x, y):
    # Six sprites of one picture at neighbouring depths: one batch while batching is on.
    tiles = []
    for i in range(6):
        t = Sprite("mixed-tile")
        t.position = (x - 110 + 44 * i, y + (i % 2) * 30)
        tiles.append(t)

    def tick(frame):
        tiles[2].rotation = 0.3 * (frame + 1)  # one of them changes: its corners are computed again

    return Built(tiles, tick=tick)


def text(stage, x, y):
    t = Text("Mixed 0\nscene", size=28)
    t.position = (x - 70, y - 30)
    t.colour = (1.0, 0.85, 0.3)

    def tick(frame):
        t.text = f"Mixed {frame + 1}\nscene"

    return Built([t], tick=tick)


def particles(stage, x, y):
    # Every particle of a frame starts at a random moment within it: with no speed, no
    # gravity and one colour for the whole of its life, that moment changes nothing
    # drawn, so two systems drawing random numbers in turn draw what each does alone.
    # Half-transparent particles pile up at each emitter, brighter every frame.
    system = ParticleSystem("mixed-sparks")
    system.position = (x, y)
    for i, emitter in enumerate(system.emitters):
        emitter.position = (-100 + 50 * i, 40 * (i % 2))
    return Built([system])


class Wave(ActorController):
    """Turns the forearm a little every update: the actor is skinned every frame."""

    def update(self, dt):
        self.actor.skeleton.joints["forearm"].rotation += 6 * dt
        return True


def puppet(stage, x, y):
    a = Actor("puppet")
    a.position = (x, y)
    a.scale = (1.3, 1.3)
    return a


def actor_mesh(stage, x, y):
    a = puppet(stage, x, y)
    a.set_texture("skin", stage.paths["skin"])
    a.controller = Wave()
    return Built([a])


def skeleton(stage, x, y):
    # An untextured mesh with the bones, joints and IK target drawn over it.
    a = puppet(stage, x, y)
    a.set_colour((0.25, 0.3, 0.7, 1.0))
    ik = ActorControllerIK()
    a.controller = ik
    ik.set_position_constraint("hand", IKConstraintPositionFixed((45, -55)))
    a.debug = True
    return Built([a])


def dynamics(stage, x, y):
    # The mesh is invisible: what shows is the debug drawing of the bodies, the
    # collision boxes and the skeleton. Box2D steps at a fixed 60 Hz: the same updates
    # give the same pose.
    a = puppet(stage, x, y)
    a.set_colour((0, 0, 0, 0))
    floor = Actor("sleeper")
    stage.scene.remove_object(floor)  # it lends its spine; it is not drawn
    floor.position, floor.scale = (x, y), (1.3, 1.3)
    controller = ActorControllerDynamics()
    a.controller = controller
    controller.collision_actor = floor
    controller.get_body("head").apply_impulse((150, 0))
    a.debug = True
    return Built([a], keep=[floor])


def framebuffer(stage, x, y):
    # A display of a picture captured through the scene's redirection. The capture is
    # made once, when the kind is built: a redirection that stayed registered would
    # capture everything drawn before the display in every frame, the other kind of the
    # pair included, which is what redirection means, not a mix of two pictures.
    target = Framebuffer()
    assert target.create()
    content = Sprite("mixed-content")
    display = FramebufferDisplay(target)
    display.dimensions, display.origin, display.position = (200, 150), (100, 75), (x, y)
    content.layer = display.layer = "main"
    display.z = 1
    stage.scene.register_framebuffer(display, target)
    settle()
    draw(stage)
    stage.scene.remove_object(content)
    stage.scene.remove_object(display)  # and with it the redirection
    return Built([display], keep=[target, content])


class RawGL(SceneObject):
    """A script object drawing with raw GL in OnRender, as a script may: it finds the
    engine's baseline and puts back what it changed (texturing on unit 0 is set by each
    path for itself; the blend function, current colour, line width and client arrays
    go back to the baseline)."""

    VERTICES = np.array([-60, -40, 60, -40, 0, 50], np.float32)
    COLOURS = np.array([1, 0.3, 0.3, 0.9, 0.3, 1, 0.3, 0.6, 0.3, 0.3, 1, 0.9], np.float32)

    def __init__(self, texture):
        super().__init__()
        self.texture = texture

    def OnUpdate(self, dt):
        self.rotation += 12 * dt

    def OnRender(self):
        GL.glPushMatrix()
        self.load_into_opengl()
        # A textured quad, added onto what is below it.
        GL.glEnable(GL.GL_TEXTURE_2D)
        GL.glBindTexture(GL.GL_TEXTURE_2D, self.texture.gl_name)
        GL.glBlendFunc(GL.GL_SRC_ALPHA, GL.GL_ONE)
        GL.glColor4f(1, 1, 1, 0.8)
        GL.glBegin(GL.GL_QUADS)
        for (vx, vy), (u, v) in zip(((-40, 55), (40, 55), (40, 85), (-40, 85)), ((0, 0), (1, 0), (1, 1), (0, 1))):
            GL.glTexCoord2f(u, v)
            GL.glVertex2f(vx, vy)
        GL.glEnd()
        GL.glBlendFunc(GL.GL_SRC_ALPHA, GL.GL_ONE_MINUS_SRC_ALPHA)
        GL.glDisable(GL.GL_TEXTURE_2D)
        GL.glColor4f(0.9, 0.8, 0.2, 0.7)
        GL.glBegin(GL.GL_QUADS)
        for vx, vy in ((-80, -70), (80, -70), (80, -50), (-80, -50)):
            GL.glVertex2f(vx, vy)
        GL.glEnd()
        # Client arrays: the baseline has texture coordinates enabled, which this draw
        # does not give, so they are switched off for it and back on afterwards.
        GL.glDisableClientState(GL.GL_TEXTURE_COORD_ARRAY)
        GL.glEnableClientState(GL.GL_COLOR_ARRAY)
        GL.glVertexPointer(2, GL.GL_FLOAT, 0, self.VERTICES)
        GL.glColorPointer(4, GL.GL_FLOAT, 0, self.COLOURS)
        GL.glDrawArrays(GL.GL_TRIANGLES, 0, 3)
        GL.glDisableClientState(GL.GL_COLOR_ARRAY)
        GL.glEnableClientState(GL.GL_TEXTURE_COORD_ARRAY)
        GL.glLineWidth(3)
        GL.glColor4f(1, 1, 1, 1)
        GL.glBegin(GL.GL_LINE_LOOP)
        for vx, vy in ((-90, -90), (90, -90), (90, 90), (-90, 90)):
            GL.glVertex2f(vx, vy)
        GL.glEnd()
        GL.glLineWidth(1)
        GL.glColor4f(1, 1, 1, 1)
        GL.glPopMatrix()


def script(stage, x, y):
    o = RawGL(stage.sheet)
    o.position = (x, y)
    return Built([o])


KINDS = {
    "sprite": sprite,
    "alpha-stops": alpha_stops,
    "dissolve": dissolve,
    "batch": batch,
    "text": text,
    "particles": particles,
    "actor-mesh": actor_mesh,
    "skeleton": skeleton,
    "dynamics": dynamics,
    "framebuffer": framebuffer,
    "script": script,
}
# Kinds that cover what they draw over with opaque pixels of their own, none of them black.
OPAQUE = ["sprite", "batch", "actor-mesh", "framebuffer"]


# Running and comparing ---------------------------------------------------------------

def needs(stage, *kinds):
    if "dissolve" in kinds and not stage.dissolves():
        pytest.skip("no shader programs in this build: a fade through a picture scales alpha instead of dissolving")


def play(stage, entries):
    """Builds each (kind, place, layer, z), places them, then draws FRAMES frames, each
    after scene.update(DT). Returns the frames; the objects leave the scene afterwards."""
    built = [(KINDS[kind](stage, *PLACES[place]), layer, z) for kind, place, layer, z in entries]
    settle()
    try:
        for b, layer, z in built:
            b.place(stage.scene, layer, z)
        frames = []
        for frame in range(FRAMES):
            stage.scene.update(DT)
            for b, _, _ in built:
                if b.tick:
                    b.tick(frame)
            frames.append(draw(stage))
        return frames
    finally:
        stage.clear()


def alone(stage, kind, place, layer):
    """The frames of one kind drawn alone (made once per kind, place and layer)."""
    key = (kind, place, layer)
    if key not in stage.references:
        frames = play(stage, [(kind, place, layer, 0)])
        for i, frame in enumerate(frames):
            count = int(lit(frame).sum())
            assert count > 100, f"{kind} alone drew {count} pixels in frame {i + 1}: almost nothing"
        stage.references[key] = frames
    return stage.references[key]


def lit(frame):
    """Which pixels are not the black background."""
    return (frame & 0xFFFFFF) != 0


def colour(pixel):
    return tuple(int(pixel) >> shift & 0xFF for shift in (0, 8, 16, 24))


def differences(frame, expected, columns=slice(0, WIDTH), tolerance=0):
    """A description of the pixels that differ within the columns (by more than
    `tolerance` in a channel), or ''."""
    got, want = frame[:, columns], expected[:, columns]
    if np.array_equal(got, want):
        return ""
    if tolerance:
        channels = np.abs(got.view(np.uint8).astype(np.int16) - want.view(np.uint8).astype(np.int16))
        bad = channels.reshape(*got.shape, 4).max(axis=2) > tolerance
        if not bad.any():
            return ""
    else:
        bad = got != want
    ys, xs = np.nonzero(bad)
    y, x = ys[0], xs[0] + (columns.start or 0)
    return (f"{int(bad.sum())} pixels differ, the first at ({x}, {y}): "
            f"{colour(frame[y, x])} instead of {colour(expected[y, x])}")


def check_frames(frames, expected_left, expected_right, what):
    left, right = slice(0, HALF), slice(HALF, WIDTH)
    for i, frame in enumerate(frames):
        for columns, expected, half in ((left, expected_left, "left"), (right, expected_right, "right")):
            found = differences(frame, expected[i], columns)
            assert not found, f"{what}, frame {i + 1}, {half} half: {found}"


PAIRS = [(a, b) for a in KINDS for b in KINDS]
LAYERINGS = {"one-layer": ("main", "main"), "two-layers": ("under", "over"), "hud-layer": ("main", "hud")}


@pytest.mark.parametrize("layering", LAYERINGS, ids=list(LAYERINGS))
@pytest.mark.parametrize("first, second", PAIRS, ids=[f"{a}-then-{b}" for a, b in PAIRS])
def test_a_pair_draws_as_each_alone(mixed, first, second, layering):
    needs(mixed, first, second)
    layer_a, layer_b = LAYERINGS[layering]
    a = alone(mixed, first, "left", layer_a)
    b = alone(mixed, second, "right", layer_b)
    # Each alone keeps to its own half: the other half is the background there.
    assert not any(lit(f)[:, HALF:].any() for f in a), f"{first} alone drew in the right half"
    assert not any(lit(f)[:, :HALF].any() for f in b), f"{second} alone drew in the left half"
    both = play(mixed, [(first, "left", layer_a, 0), (second, "right", layer_b, 100)])
    check_frames(both, a, b, f"{first} then {second} ({layering})")


@pytest.mark.parametrize("layering", LAYERINGS, ids=list(LAYERINGS))
@pytest.mark.parametrize("under, over", [(a, b) for b in OPAQUE for a in KINDS],
                         ids=[f"{b}-over-{a}" for b in OPAQUE for a in KINDS])
def test_an_opaque_kind_drawn_over_another_wins_where_they_overlap(mixed, under, over, layering):
    needs(mixed, under, over)
    layer_a, layer_b = LAYERINGS[layering]
    below = alone(mixed, under, "left", layer_a)
    cover = alone(mixed, over, "covering", layer_b)
    both = play(mixed, [(under, "left", layer_a, 0), (over, "covering", layer_b, 100)])
    for i, frame in enumerate(both):
        covered = lit(cover[i])
        overlap = int((covered & lit(below[i])).sum())
        assert overlap > 50, f"the two kinds hardly overlap ({overlap} pixels)"
        found = differences(frame, np.where(covered, cover[i], below[i]))
        assert not found, f"{over} over {under} ({layering}), frame {i + 1}: {found}"


@pytest.mark.parametrize("kind", KINDS)
def test_a_kind_redirected_into_a_framebuffer_draws_there_what_it_draws_in_the_window(mixed, kind):
    # Everything drawn before a registered display goes into its framebuffer, which
    # begin_frame clears with the window's clear colour: the framebuffer then holds the
    # picture the kind alone draws in the window. Colours are compared, within one step:
    # the rasteriser (Mesa's llvmpipe here) rounds a few interpolated pixels differently
    # in a framebuffer object than in the window, whoever draws into it. The window
    # shows the display alone, in its right half.
    needs(mixed, kind)
    direct = alone(mixed, kind, "left", "main")
    target = Framebuffer()
    assert target.create()
    display = FramebufferDisplay(target)
    display.dimensions, display.position = (160, 120), (HALF, 0)
    built = KINDS[kind](mixed, *PLACES["left"])
    settle()
    try:
        built.place(mixed.scene, "main", 0)
        display.layer = "over"
        mixed.scene.register_framebuffer(display, target)
        for i in range(FRAMES):
            mixed.scene.update(DT)
            if built.tick:
                built.tick(i)
            window = draw(mixed)
            assert not lit(window)[:, :HALF].any(), f"{kind} redirected, frame {i + 1}, was drawn in the window too"
            target.bind_as_framebuffer()
            captured = pixels(mixed.window)
            Framebuffer.unbind()
            found = differences(captured & 0xFFFFFF, direct[i] & 0xFFFFFF, tolerance=1)
            assert not found, f"{kind} redirected, frame {i + 1}: {found}"
    finally:
        mixed.clear()

