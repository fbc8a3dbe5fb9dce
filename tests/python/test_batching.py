"""Sprites drawn in batches give the picture that drawing each object on its own gives:
every scene here is rendered both ways and the window's pixels must match exactly."""
import gc
import io
import math
import random

import pytest
from OpenGL import GL

import libgraphics
from libcore import Colour, Vector
from libgraphics import Framebuffer, FramebufferDisplay, SceneLayer, SceneObject, Sprite, Texture, sprite_database

from pictures import images, settle


@pytest.fixture
def scene(gl, pictures):
    """A fresh scene (the current one from now on) with two common layers; its objects
    go before the test pictures do, so that their textures are purged with them."""
    s = libgraphics.Scene()
    s.add_layer(SceneLayer("back", 0, 0, True))
    s.add_layer(SceneLayer("front", 1, 0, True))
    sprite_database.unload()
    yield s
    # The test's objects leave now, so that their textures are free when the pictures
    # go (pytest keeps the scene itself until every fixture is done).
    for layer in range(s.get_num_layers()):
        objects = s.get_layer(layer).objects
        for obj in [objects[i] for i in range(len(objects))]:
            s.remove_object(obj)
    gc.collect()
    sprite_database.unload()


def frame(window, scene):
    """The window's pixels after one whole frame of the scene over black."""
    GL.glClearColor(0, 0, 0, 1)
    GL.glClear(GL.GL_COLOR_BUFFER_BIT)
    scene.begin_frame()
    scene.render()
    scene.end_frame()
    return window.read_pixels()[2]


def assert_same_both_ways(window, scene):
    """Renders batched, then object by object, then batched again, and compares."""
    scene.batching = True
    batched = frame(window, scene)
    scene.batching = False
    alone = frame(window, scene)
    scene.batching = True
    again = frame(window, scene)
    assert batched.count(0) < len(batched) * 3 // 4, "the scene drew nothing"
    assert batched == alone, f"{differing(batched, alone)} pixels differ"
    assert again == batched


def differing(a, b):
    return sum(1 for i in range(0, len(a), 4) if a[i:i + 4] != b[i:i + 4])


def gradient(pictures, name, tint):
    """A 16 x 16 picture whose colour changes across both axes, half transparent at one
    corner, so that texture coordinates and blending both show in the pixels."""
    rows = [[v for x in range(16) for v in (tint[0] * x // 15, tint[1] * y // 15, tint[2], 128 + 127 * x // 15)]
            for y in range(16)]
    return pictures.write(name, 16, 16, rows, images.RGBA)


def define(records):
    text = "".join(f'<Sprite id="{sprite_id}" {attributes}/>' for sprite_id, attributes in records)
    assert sprite_database.load(io.StringIO(f"<Sprites>{text}</Sprites>"))


@pytest.fixture
def textures(pictures):
    """Three gradient records of 40 x 30 in layer "back" (with origin at the centre),
    and one of "front"."""
    paths = [gradient(pictures, f"g{i}.png", tint) for i, tint in enumerate([(255, 0, 0), (0, 255, 0), (255, 255, 255)])]
    define([(f"g{i}", f'texture="{p}" dimensions="40 30" origin="20 15" bottom_right="1 1" layer="back"') for i, p in enumerate(paths)] +
           [("front", f'texture="{paths[2]}" dimensions="24 24" origin="12 12" bottom_right="1 1" layer="front"')])
    return paths


def scatter(count, ids, seed=7):
    """`count` sprites of the given records at random places, angles, sizes and depths."""
    rng = random.Random(seed)
    sprites = []
    for i in range(count):
        s = Sprite(ids[rng.randrange(len(ids))])
        s.position = Vector(rng.uniform(0, 640), rng.uniform(0, 480))
        s.rotation = rng.uniform(-math.pi, math.pi)
        s.scale = Vector(rng.uniform(0.5, 2.0), rng.uniform(0.5, 2.0))
        s.z = rng.randrange(4)
        sprites.append(s)
    settle()
    return sprites


def test_batching_is_on_by_default_and_can_be_switched(scene):
    assert scene.batching is True
    scene.batching = False
    assert scene.batching is False
    assert libgraphics.scene.batching is True


def test_overlapping_sprites_of_several_textures_and_depths(window, scene, textures):
    sprites = scatter(300, ["g0", "g1", "g2"])  # noqa: F841 (kept alive)
    assert_same_both_ways(window, scene)


def test_runs_of_one_texture_draw_the_same(window, scene, textures):
    sprites = scatter(200, ["g1"])  # noqa: F841
    assert_same_both_ways(window, scene)


def test_corner_colours(window, scene, textures):
    sprites = scatter(60, ["g0", "g2"])
    rng = random.Random(3)
    for s in sprites:
        for corner in range(4):
            s.colours[corner] = Colour(rng.random(), rng.random(), rng.random(), rng.random())
    assert_same_both_ways(window, scene)


def test_alpha_stops_among_plain_sprites(window, scene, textures):
    sprites = scatter(60, ["g0", "g1", "g2"])
    for i, s in enumerate(sprites[::3]):
        s.set_alpha_stop(0.0, 1.0)
        s.set_alpha_stop(0.3 + 0.01 * i, 0.2)
        s.set_alpha_stop(0.7, 0.9)
        s.set_alpha_stop(1.0, 0.0)
    assert_same_both_ways(window, scene)


def test_uniform_fades_part_way(window, scene, textures, pictures):
    # Without a transition picture a fade scales alpha, and such sprites stay batched.
    no_picture = Texture(pictures.missing("none.png"))
    sprites = scatter(40, ["g0", "g2"])
    for i, s in enumerate(sprites[::2]):
        s.fade(1.0, 0.1, 0, 1 + i % 3, no_picture)
    scene.update(0.4)
    assert_same_both_ways(window, scene)


def test_dissolves_mixed_in(window, scene, textures, pictures):
    transition = Texture(pictures.write("halves.png", 4, 4,
                                        [[v for x in range(4) for v in ((255, 0, 0) if x < 2 else (0, 0, 0))]
                                         for _ in range(4)], images.RGB))
    sprites = scatter(40, ["g0", "g1"])
    for s in sprites[::4]:
        s.fade(1.0, 0.0, 0, 1, transition)
    settle()
    scene.update(0.6)
    assert_same_both_ways(window, scene)


def test_sprites_without_a_texture_and_empty_sprites(window, scene, textures):
    define([("plain", 'dimensions="30 30" layer="back" colour="#ff8000"')])
    sprites = scatter(30, ["plain", "g0"])
    sprites.append(Sprite("no such record"))
    assert_same_both_ways(window, scene)


@pytest.mark.parametrize("flags", [0, 1, 2, 1 | 4, 1 | 8, 2 | 4, 4, 8])
def test_layer_scale_flags_under_a_non_uniform_scene_scale(window, scene, textures, flags):
    scene.scale = Vector(1.5, 0.75)
    scene.add_layer(SceneLayer("scaled", 2, flags, True))
    sprites = scatter(40, ["g0", "g1"])
    for s in sprites[::2]:
        s.layer = "scaled"
    sprites[5].scale_flags = 8  # one object with flags of its own
    assert_same_both_ways(window, scene)


def test_redirection_to_a_framebuffer_in_the_middle_of_a_layer(window, scene, textures):
    sprites = scatter(60, ["g0", "g1"])
    for i, s in enumerate(sprites):
        s.z = i
    target = Framebuffer()
    assert target.create((640, 480))
    display = FramebufferDisplay(target)
    display.layer = "back"
    display.z = 30
    display.position = Vector(100, 80)
    display.scale = Vector(0.5, 0.5)
    scene.register_framebuffer(display, target)
    assert_same_both_ways(window, scene)


class Marker(SceneObject):
    """Draws a small quad of its own in OnRender, between sprites."""

    def OnRender(self):
        GL.glDisable(GL.GL_TEXTURE_2D)
        GL.glColor4f(0.2, 0.4, 1.0, 0.7)
        GL.glBegin(GL.GL_QUADS)
        for x, y in ((-10, -10), (10, -10), (10, 10), (-10, 10)):
            GL.glVertex2f(self.world_position.x + x, self.world_position.y + y)
        GL.glEnd()
        GL.glColor4f(1, 1, 1, 1)


class HookedSprite(Sprite):
    """A sprite whose script draws a small marker instead of the picture."""

    def OnRender(self):
        Marker.OnRender(self)


def test_objects_with_script_render_hooks_between_sprites(window, scene, textures):
    sprites = scatter(60, ["g0", "g1"])
    markers = []
    for i in range(10):
        m = Marker()
        m.layer = "back"
        m.z = i % 4
        m.position = Vector(60 * i + 20, 240)
        markers.append(m)
    hooked = HookedSprite("g2")
    hooked.position = Vector(300, 200)
    hooked.z = 2
    assert_same_both_ways(window, scene)


def test_a_script_render_hook_replaces_the_sprite_picture_when_batching(window, scene, textures):
    hooked = HookedSprite("g2")
    hooked.position = Vector(300, 200)
    hooked.scale = Vector(4, 4)
    scene.batching = True
    pixels = frame(window, scene)
    x, y = 300 + 40, 200  # inside the picture, outside the marker
    assert pixels[(y * 640 + x) * 4:(y * 640 + x) * 4 + 3] == b"\0\0\0"


class Meddler(SceneObject):
    """During the render pass: hides, recolours, re-orders, moves and removes sprites
    that come later in the walk, and brings a new one into the layer."""

    def __init__(self, scene, victims, newcomer):
        super().__init__()
        self.scene = scene
        self.victims = victims
        self.newcomer = newcomer

    def OnRender(self):
        hide, recolour, reorder, move, remove = self.victims
        hide.visible = not hide.visible
        recolour.colour = Colour(1, 0, 0, 1)
        reorder.z = 0 if reorder.z == 3 else 3
        move.position = Vector(move.position.x + 5, move.position.y)
        self.scene.remove_object(remove)
        self.newcomer.layer = "back"


def frames_while_meddling(window, batching, count):
    """A fresh scene whose meddler changes it during each render; its frames."""
    scene = libgraphics.Scene()
    scene.add_layer(SceneLayer("back", 0, 0, True))
    scene.batching = batching
    sprites = scatter(40, ["g0", "g1"])
    for i, s in enumerate(sprites):
        s.z = i % 3
    newcomer = Sprite("loose")
    newcomer.position = Vector(320, 240)
    meddler = Meddler(scene, sprites[30:35], newcomer)
    meddler.layer = "back"
    meddler.z = 1
    frames = [frame(window, scene) for _ in range(count)]
    meddler.scene = meddler.victims = meddler.newcomer = None  # the scene holds the meddler
    return frames


def test_sprites_changed_during_a_frame(window, scene, textures):
    define([("loose", f'texture="{textures[2]}" dimensions="50 50" bottom_right="1 1"')])
    batched = frames_while_meddling(window, True, 3)
    alone = frames_while_meddling(window, False, 3)
    gc.collect()
    assert batched == alone


def test_a_sprite_changed_between_frames_is_drawn_anew(window, scene, textures):
    parent = Sprite("g0")
    parent.position = Vector(320, 240)
    child = Sprite("g1")
    parent.attach(child)
    child.position = Vector(30, 0)
    settle()
    changes = [
        lambda: setattr(parent, "position", Vector(200, 100)),
        lambda: setattr(parent, "rotation", 0.5),
        lambda: setattr(child, "origin", Vector(0, 0)),
        lambda: setattr(child, "dimensions", Vector(80, 10)),
        lambda: setattr(child, "colour", Colour(0.5, 1, 1, 0.5)),
        lambda: child.colours.__setitem__(2, Colour(1, 0, 0, 1)),
    ]
    for change in changes:
        scene.batching = True
        frame(window, scene)  # the corners as they are now are remembered
        change()
        assert_same_both_ways(window, scene)
    parent.detach(child)


def test_the_same_picture_after_a_change_of_video_mode(window, scene, textures, restore_size):
    sprites = scatter(80, ["g0", "g1", "g2"])  # noqa: F841
    scene.batching = True
    before = frame(window, scene)
    window.set_video_mode(640, 482, False)
    libgraphics.set_ortho()
    settle()
    window.set_video_mode(640, 480, False)
    libgraphics.set_ortho()
    settle()
    assert_same_both_ways(window, scene)
    scene.batching = True
    assert frame(window, scene) == before


class ModeChanger(SceneObject):
    """Changes the video mode from its render hook, once, between sprites."""

    def __init__(self, window):
        super().__init__()
        self.window = window
        self.changed = False

    def OnRender(self):
        if not self.changed:
            self.changed = True
            self.window.set_video_mode(640, 480, False)
            libgraphics.set_ortho()


def test_a_change_of_video_mode_from_a_render_hook_between_sprites(window, scene, textures, restore_size):
    sprites = scatter(60, ["g0", "g1"])
    for i, s in enumerate(sprites):
        s.z = i
    changer = ModeChanger(window)
    changer.layer = "back"
    changer.z = 30.5
    for batching in (True, False):
        changer.changed = False
        scene.batching = batching
        frame(window, scene)  # the change happens in the middle of this one
        assert changer.changed
        settle()
    changer.window = None
    assert_same_both_ways(window, scene)
