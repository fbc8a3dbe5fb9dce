"""Particle systems as scripts use them: the particle database format (good and bad
input), the script surface (ParticleSystem, ParticleEmitter, the emitters proxy, the
factory), emission counts, and what systems draw into a layer, across a change of
video mode and without leaks."""
import gc
import io
import logging
import math
import struct
import sys
import weakref

import numpy as np
import pytest
from OpenGL import GL

import libcore
import libgraphics
import libwindow
from libcore import Factory, Vector
from libgraphics import ParticleEmitter, ParticleSystem, SceneLayer, particle_database

from pictures import settle

WIDTH, HEIGHT = 640, 480


def f32(x):
    """x rounded to single precision, as the engine stores it."""
    return struct.unpack("f", struct.pack("f", x))[0]


# Fixtures and helpers ----------------------------------------------------------------

@pytest.fixture
def scene(gl):
    """A fresh scene (the current one from now on) with one common layer "main"; the
    particle database is empty before and after, and random numbers repeat. An earlier
    test's scene still waiting for the collector must not go while this one is current."""
    gc.collect()
    s = libgraphics.Scene()
    s.add_layer(SceneLayer("main", 0, 0, True))
    particle_database.unload()
    libcore.seed_random(7)
    yield s
    particle_database.unload()
    del s
    gc.collect()


def messages(caplog, logger="engine.graphics", level=logging.WARNING):
    libcore.Log.flush()
    return [r.getMessage() for r in caplog.records if r.name == logger and r.levelno == level]


def load(xml, base_path=""):
    return particle_database.load(io.StringIO(xml), base_path)


def define(system_id="s", emitter="", particle='life="10 10" size="3 3"', system='layer="main" gravity="0 0"',
           curves=""):
    """One system of one emitter of one particle kind; attribute texts as given."""
    assert load(f'<Particles><ParticleSystemData id="{system_id}" {system}>'
                f'<ParticleEmitterData {emitter}><ParticleData {particle}>{curves}</ParticleData>'
                f'</ParticleEmitterData></ParticleSystemData></Particles>') is True


class Frame:
    """The window's pixels after one drawing of the scene over black."""

    def __init__(self, window, scene):
        GL.glClearColor(0, 0, 0, 1)
        GL.glClear(GL.GL_COLOR_BUFFER_BIT)
        scene.render()
        width, height, data = window.read_pixels()
        self.pixels = np.frombuffer(data, dtype=np.uint8).reshape(height, width, 4)

    def __getitem__(self, xy):
        x, y = xy
        return tuple(int(c) for c in self.pixels[y, x])

    def lit(self):
        """(x, y) arrays of the pixels that are not black."""
        ys, xs = np.nonzero(self.pixels[:, :, :3].max(axis=2) > 8)
        return xs, ys


# The module's surface ------------------------------------------------------------------

def test_particle_classes_are_registered_with_the_factory():
    assert Factory.get_class("ParticleSystem") is ParticleSystem
    assert Factory.get_class("ParticleEmitter") is ParticleEmitter
    assert Factory.get_class("ParticleEmitterProxy") is libgraphics.ParticleEmitterProxy
    assert issubclass(ParticleSystem, libgraphics.SceneObject)
    assert issubclass(ParticleEmitter, libgraphics.Transform)


def test_load_returns_true_and_a_system_joins_its_layer(scene):
    define()
    system = ParticleSystem("s")
    assert system.layer == "main"
    assert system.data_id == "s"
    assert scene.get_layer("main").objects == [system]


def test_unknown_id_gives_a_system_without_emitters(scene, graphics_log):
    system = ParticleSystem("nothing")
    assert len(system.emitters) == 0
    assert system.gravity == Vector(0, f32(9.8))
    scene.update(1.0)
    assert system.particle_count == 0
    assert messages(graphics_log) == ["Unknown particle system id 'nothing': the system has no emitters."]


def test_wrong_argument_types_raise_type_errors(scene):
    define()
    with pytest.raises(TypeError):
        ParticleSystem(3)
    system = ParticleSystem("s")
    with pytest.raises(TypeError):
        system.emitters[0].emission_rate = "fast"
    with pytest.raises(TypeError):
        system.gravity = "down"
    with pytest.raises(TypeError):
        particle_database.load(42)


def test_gravity_and_emitter_numbers_read_and_write_in_single_precision(scene):
    define(emitter='emission_rate="12.5" emission_limit="7" spread="0.1" speed="3.3 4.4"', system='gravity="0.1 2"')
    system = ParticleSystem("s")
    assert system.gravity == Vector(f32(0.1), 2.0)
    system.gravity = (1.1, -9.8)
    assert (system.gravity.x, system.gravity.y) == (f32(1.1), f32(-9.8))
    emitter = system.emitters[0]
    assert (emitter.emission_rate, emitter.emission_limit, emitter.spread, emitter.min_speed, emitter.max_speed) == (
        12.5, 7.0, f32(0.1), f32(3.3), f32(4.4))
    emitter.spread = 0.7
    emitter.min_speed, emitter.max_speed = 1.5, 2.5
    assert (emitter.spread, emitter.min_speed, emitter.max_speed) == (f32(0.7), 1.5, 2.5)


def test_changing_one_emitter_leaves_other_systems_of_the_definition_alone(scene):
    define(emitter='emission_rate="10"')
    a, b = ParticleSystem("s"), ParticleSystem("s")
    a.emitters[0].emission_rate = 99
    assert b.emitters[0].emission_rate == 10


# The emitters proxy --------------------------------------------------------------------

@pytest.fixture
def two_emitters(scene):
    assert load('<P><ParticleSystemData id="two" layer="main"><ParticleEmitterData emission_rate="1"/>'
                '<ParticleEmitterData emission_rate="2"/></ParticleSystemData></P>')
    return ParticleSystem("two")


def test_emitters_are_children_in_definition_order_and_the_same_objects_each_time(two_emitters):
    system = two_emitters
    assert len(system.emitters) == 2
    assert [e.emission_rate for e in (system.emitters[0], system.emitters[1])] == [1, 2]
    assert system.emitters[0] is system.emitters[0]
    assert system.emitters[-1] is system.emitters[1]
    assert system.emitters[0].parent is system


def test_emitters_proxy_index_errors(two_emitters):
    emitters = two_emitters.emitters
    with pytest.raises(IndexError, match=r"^-1$"):
        emitters[-3]
    with pytest.raises(IndexError, match=r"^2$"):
        emitters[2]
    with pytest.raises(IndexError, match=r"^fire$"):
        emitters["fire"]
    with pytest.raises(IndexError, match=r"^Unsupported key\.$"):
        emitters[1.0]
    with pytest.raises(IndexError, match=r"^-1$"):
        ParticleSystem("none").emitters[-1]


def test_emitters_proxy_contains(two_emitters, scene):
    system = two_emitters
    other = ParticleSystem("two")
    assert 0 in system.emitters and 1 in system.emitters and -2 in system.emitters
    assert 2 not in system.emitters and -3 not in system.emitters
    assert system.emitters[1] in system.emitters
    assert other.emitters[0] not in system.emitters
    assert ParticleEmitter() not in system.emitters
    assert None not in system.emitters and "0" not in system.emitters and 0.0 not in system.emitters


def test_emitters_proxy_keeps_its_system_alive(two_emitters, scene):
    emitters = two_emitters.emitters
    ref = weakref.ref(two_emitters)
    scene.remove_object(two_emitters)
    del two_emitters
    gc.collect()
    assert ref() is not None and len(emitters) == 2


def test_script_class_registered_as_particle_emitter_is_used(scene):
    class Nozzle(ParticleEmitter):
        pass

    define()
    Factory.register_class("ParticleEmitter", Nozzle)
    try:
        system = ParticleSystem("s")
    finally:
        Factory.register_class("ParticleEmitter", ParticleEmitter)
    assert type(system.emitters[0]) is Nozzle
    scene.update(0.1)


def test_emitter_the_factory_cannot_make_is_none(scene, capsys):
    class Broken(ParticleEmitter):
        def __init__(self):
            raise RuntimeError("no emitter today")

    define()
    Factory.register_class("ParticleEmitter", Broken)
    try:
        system = ParticleSystem("s")
    finally:
        Factory.register_class("ParticleEmitter", ParticleEmitter)
    assert len(system.emitters) == 1 and system.emitters[0] is None
    assert "no emitter today" in capsys.readouterr().err
    scene.update(0.1)
    assert system.particle_count == 0
    # The printed error stays in sys.last_*, and its frames would keep this test's scene.
    sys.last_type = sys.last_value = sys.last_traceback = None


# Emission ------------------------------------------------------------------------------

def test_emission_limit_of_5_at_rate_10_emits_5_however_long_it_runs(scene):
    define(emitter='emission_rate="10" emission_limit="5"')
    system = ParticleSystem("s")
    for _ in range(600):
        scene.update(0.1)
    assert system.particle_count == 5
    assert system.emitters[0].emitted == 5


def test_emission_counts_follow_the_single_precision_accumulator_over_many_frames(scene):
    define(emitter='emission_rate="23"')
    system = ParticleSystem("s")
    accumulator = np.float32(0)
    dt = np.float32(1 / 60)
    for frame in range(1200):
        scene.update(float(dt))
        accumulator = np.float32(accumulator + np.float32(23) * dt)
        assert system.particle_count == int(accumulator), frame
    assert abs(system.particle_count - 460) <= 1


@pytest.mark.parametrize("rate, dt, made", [("inf", 1 / 60, 16384), ("1e12", 1 / 60, 16384), ("200", 1e30, 400)])
def test_one_update_makes_a_bounded_number_of_particles_with_one_warning(scene, graphics_log, rate, dt, made):
    define(emitter=f'emission_rate="{rate}"', particle='life="1 2" size="4 4"')
    system = ParticleSystem("s")
    scene.update(dt)
    assert system.particle_count == made
    found = [m for m in messages(graphics_log) if m.startswith("ParticleEmitter:")]
    assert len(found) == 1 and "dropped the rest" in found[0]


def test_an_emitter_given_an_infinite_rate_by_a_script_makes_the_cap_each_frame(scene, graphics_log):
    define(emitter='emission_rate="10"')
    system = ParticleSystem("s")
    system.emitters[0].emission_rate = float("inf")
    for _ in range(3):
        scene.update(1 / 60)
    assert system.particle_count == 3 * 16384
    assert len([m for m in messages(graphics_log) if "dropped the rest" in m]) == 1   # once per emitter


@pytest.mark.parametrize("dt", [float("nan"), float("inf"), float("-inf"), -1e9])
def test_a_bad_dt_is_ignored_with_one_warning_and_emission_goes_on(scene, graphics_log, dt):
    define(emitter='emission_rate="100"')
    system = ParticleSystem("s")
    for _ in range(30):
        scene.update(1 / 60)
    before = system.emitters[0].emitted
    scene.update(dt)
    assert system.emitters[0].emitted == before
    found = [m for m in messages(graphics_log) if "update(dt)" in m]
    assert found == [f"ParticleSystem 's': update(dt) needs a finite time of 0 or more, got {dt:g} (the frame is "
                     "ignored)."]
    for _ in range(60):
        scene.update(1 / 60)
    assert system.emitters[0].emitted - before in (99, 100)


def test_a_negative_rate_for_a_moment_banks_no_debt(scene):
    define(emitter='emission_rate="100"')
    system = ParticleSystem("s")
    system.emitters[0].emission_rate = -1e9
    scene.update(1.0)
    system.emitters[0].emission_rate = 100
    scene.update(0.1)
    assert system.particle_count == 10


def test_dead_particles_stay_counted_and_are_never_recycled(scene):
    define(emitter='emission_rate="20"', particle='life="0.1 0.1" size="2 2"')
    system = ParticleSystem("s")
    for _ in range(100):
        scene.update(0.05)
    assert system.particle_count == 100
    assert system.pool_count == 1


# Drawing -------------------------------------------------------------------------------

@pytest.fixture
def white(pictures):
    return pictures.solid("particle.png", 4, 4, (255, 255, 255, 255))


def test_particles_are_drawn_where_they_are_and_nowhere_else(scene, window, white):
    define(emitter='emission_rate="1000" emission_limit="1" speed="0 0"',
           particle=f'life="10 10" size="5 5" texture="{white}"')
    system = ParticleSystem("s")
    system.position = (100, 120)
    scene.update(0.01)
    settle()
    frame = Frame(window, scene)
    xs, ys = frame.lit()
    assert (xs.min(), xs.max(), ys.min(), ys.max()) == (95, 104, 115, 124)
    assert frame[100, 120] == (255, 255, 255, 255)
    assert frame[200, 120] == (0, 0, 0, 255)


def test_spread_zero_emits_straight_up_the_screen_at_rotation_0(scene, window, white):
    define(emitter='emission_rate="2000" emission_limit="100" speed="100 200"',
           particle=f'life="10 10" size="1 1" texture="{white}"')
    system = ParticleSystem("s")
    system.position = (320, 400)
    scene.update(0.05)
    scene.update(0.5)
    xs, ys = Frame(window, scene).lit()
    assert len(xs) > 0
    assert xs.min() >= 319 and xs.max() <= 320      # one column
    assert ys.max() <= 400 and ys.min() < 350       # above the emitter


@pytest.mark.parametrize("seed", [1, 2, 3, 4, 5])
def test_directions_and_speeds_stay_in_their_ranges_for_any_seed(scene, window, white, seed):
    libcore.seed_random(seed)
    define(emitter='emission_rate="4000" emission_limit="200" spread="0.5" speed="100 150"',
           particle=f'life="10 10" size="0.5 0.5" texture="{white}"')
    system = ParticleSystem("s")
    system.position = (320, 300)
    system.rotation = -0.6
    scene.update(0.05)   # emitted within this frame
    scene.update(0.5)
    xs, ys = Frame(window, scene).lit()
    assert len(xs) > 20
    dx, dy = xs + 0.5 - 320, ys + 0.5 - 300
    distance = np.hypot(dx, dy)
    # Between 0.5 s and 0.55 s of flight at 100 to 150 pixels a second.
    assert distance.min() >= 100 * 0.5 - 2 and distance.max() <= 150 * 0.55 + 2
    # The heading -0.6 turns (0, -1) clockwise on screen; every particle within 0.5 of it.
    angle = np.arctan2(-dx, -dy)
    assert np.all(np.abs(angle - (-0.6)) <= 0.5 + 2 / distance)


def test_spread_of_a_half_turn_emits_in_every_direction(scene, window, white):
    define(emitter='emission_rate="4000" emission_limit="400" spread="3.14159" speed="100 100"',
           particle=f'life="10 10" size="1 1" texture="{white}"')
    system = ParticleSystem("s")
    system.position = (320, 240)
    scene.update(0.1)
    scene.update(0.5)
    xs, ys = Frame(window, scene).lit()
    quadrants = {(x > 320, y > 240) for x, y in zip(xs, ys)}
    assert quadrants == {(False, False), (False, True), (True, False), (True, True)}


def test_a_dead_particle_is_drawn_transparent(scene, window, white):
    define(emitter='emission_rate="1000" emission_limit="1" speed="0 0"',
           particle=f'life="0.5 0.5" size="5 5" texture="{white}"')
    system = ParticleSystem("s")
    system.position = (50, 50)
    scene.update(0.01)
    settle()
    assert Frame(window, scene)[50, 50] == (255, 255, 255, 255)
    scene.update(1.0)
    assert Frame(window, scene).lit()[0].size == 0
    assert system.particle_count == 1


def test_colour_curve_before_between_and_after_its_keys(scene, window, white):
    define(emitter='emission_rate="1000000" emission_limit="1" speed="0 0"',
           particle=f'life="1 1" size="4 4" texture="{white}"',
           curves='<ColourCurve><Keyframe key="0.25" value="1 0 0 1"/><Keyframe key="0.75" value="0 0 1 1"/>'
                  '</ColourCurve>')
    system = ParticleSystem("s")
    system.position = (60, 60)
    scene.update(0.000001)   # born now
    settle()
    seen = []
    for step in (0.1, 0.4, 0.4):   # t = 0.1, 0.5, 0.9
        scene.update(step)
        seen.append(Frame(window, scene)[60, 60][:3])
    assert seen[0] == (255, 0, 0)                     # before the first key: the first colour
    assert abs(seen[1][0] - 128) <= 2 and seen[1][1] == 0 and abs(seen[1][2] - 128) <= 2   # halfway
    assert seen[2] == (0, 0, 255)                     # after the last key: the last colour


def test_size_curve_grows_the_quad(scene, window, white):
    define(emitter='emission_rate="1000000" emission_limit="1" speed="0 0"',
           particle=f'life="1 1" size="1 1" texture="{white}"',
           curves='<SizeCurve><Keyframe key="0" value="2"/><Keyframe key="1" value="10"/></SizeCurve>')
    system = ParticleSystem("s")
    system.position = (100, 100)
    scene.update(0.000001)
    settle()
    scene.update(0.5)  # size 6: a 12-pixel square
    xs, ys = Frame(window, scene).lit()
    assert (xs.max() - xs.min() + 1, ys.max() - ys.min() + 1) == (12, 12)


def test_moving_emitter_leaves_a_trail_along_its_path(scene, window, white):
    define(emitter='emission_rate="2000" speed="0 0"', particle=f'life="10 10" size="1 1" texture="{white}"')
    carrier = libgraphics.Transform()
    system = ParticleSystem("s")
    carrier.attach(system)
    carrier.position = (100, 200)
    scene.update(0.001)
    carrier.position = (300, 200)
    scene.update(0.1)
    xs, ys = Frame(window, scene).lit()
    assert ys.min() >= 199 and ys.max() <= 200
    assert xs.min() < 120 and xs.max() > 280
    # No gap wider than a few pixels: 200 particles over 200 pixels.
    gaps = np.diff(np.unique(xs))
    assert gaps.max() <= 8


def test_particles_keep_drawing_after_a_change_of_video_mode(scene, white, restore_size):
    window = restore_size
    define(emitter='emission_rate="1000" emission_limit="1" speed="0 0"',
           particle=f'life="100 100" size="5 5" texture="{white}"')
    systems = [ParticleSystem("s") for _ in range(3)]
    for i, system in enumerate(systems):
        system.position = (100 + 100 * i, 100)
    scene.update(0.01)
    settle()
    resources = libwindow.gpu_resource_count()
    assert Frame(window, scene)[200, 100] == (255, 255, 255, 255)
    window.set_video_mode(WIDTH, HEIGHT + 2, False)
    libgraphics.set_ortho()
    assert libwindow.gpu_resource_count() == resources
    frame = Frame(window, scene)   # drawn from the buffers as they were uploaded before
    assert [frame[100 + 100 * i, 100] for i in range(3)] == [(255, 255, 255, 255)] * 3
    scene.update(0.01)
    settle()
    frame = Frame(window, scene)
    assert [frame[100 + 100 * i, 100] for i in range(3)] == [(255, 255, 255, 255)] * 3


def test_later_texture_pools_start_at_the_running_vertex_total(scene, window, pictures):
    # Drawing starts each pool at the number of vertices drawn before it: after the red
    # pool's one quad, the blue pool is drawn from its second quad on, so the first blue
    # particle is not drawn and the second is.
    red = pictures.solid("red.png", 4, 4, (255, 0, 0, 255))
    blue = pictures.solid("blue.png", 4, 4, (0, 0, 255, 255))
    emitter = '<ParticleEmitterData emission_rate="1000" emission_limit="1"><ParticleData life="9 9" size="4 4" ' \
              'texture="{}"/></ParticleEmitterData>'
    assert load(f'<P><ParticleSystemData id="two" layer="main" gravity="0 0">'
                f'{emitter.format(red)}{emitter.format(blue)}{emitter.format(blue)}</ParticleSystemData></P>')
    system = ParticleSystem("two")
    for i, emitter in enumerate(system.emitters):
        emitter.position = (50 + 100 * i, 50)
    scene.update(0.01)
    settle()
    frame = Frame(window, scene)
    assert system.pool_count == 2 and system.particle_count == 3
    assert frame[50, 50] == (255, 0, 0, 255)
    assert frame[150, 50] == (0, 0, 0, 255)
    assert frame[250, 50] == (0, 0, 255, 255)


# The XML format: what bad input gives ----------------------------------------------------

def test_a_system_without_an_id_is_skipped_with_one_warning(scene, graphics_log):
    load('<P><ParticleSystemData layer="main"><ParticleEmitterData/></ParticleSystemData>'
         '<ParticleSystemData id="good" layer="main"/></P>')
    assert ParticleSystem("good").layer == "main"
    assert messages(graphics_log) == [
        "Particle database: a 'ParticleSystemData' element has no id; it is skipped."]


def test_out_of_place_elements_are_skipped_with_a_warning_each(scene, graphics_log):
    load('<P><ParticleData/><ParticleSystemData id="s" layer="main"><Keyframe key="0" value="1"/>'
         '<ParticleEmitterData emission_rate="5"/></ParticleSystemData></P>')
    assert len(ParticleSystem("s").emitters) == 1
    assert messages(graphics_log) == [
        "Particle database: a 'ParticleData' element outside an emitter is skipped.",
        "Particle database: a 'Keyframe' element outside a curve is skipped."]


def test_malformed_xml_keeps_what_was_read_with_one_warning(scene, caplog):
    caplog.set_level(logging.WARNING)
    assert load('<P><ParticleSystemData id="kept" layer="main"><ParticleEmitterData emission_rate="3"/>'
                '</ParticleSystemData><ParticleSystemData id="broken" </P>') is True
    system = ParticleSystem("kept")
    assert len(system.emitters) == 1
    warnings = messages(caplog, "engine.core") + messages(caplog, "engine.graphics")
    assert len(warnings) == 1 and "line" in warnings[0]


def test_an_earlier_definition_stands(scene, graphics_log):
    define("s", emitter='emission_rate="1"')
    define("s", emitter='emission_rate="2"')
    assert ParticleSystem("s").emitters[0].emission_rate == 1
    assert messages(graphics_log) == ["Particle database: system 's' is defined already; the earlier definition stands."]


def test_systems_keep_their_definition_after_unload(scene):
    define(emitter='emission_rate="10"')
    system = ParticleSystem("s")
    particle_database.unload()
    scene.update(1.0)
    assert system.particle_count == 10
    assert ParticleSystem("s").data_id == ""


def test_texture_paths_are_joined_to_the_base_path(scene, window, pictures):
    name = pictures.solid("joined.png", 4, 4, (0, 255, 0, 255))
    directory = str(pictures.directory)
    assert particle_database.load(io.StringIO(
        f'<P><ParticleSystemData id="g" layer="main" gravity="0 0"><ParticleEmitterData emission_rate="1000" '
        f'emission_limit="1"><ParticleData life="9 9" size="3 3" texture="{name}"/></ParticleEmitterData>'
        f'</ParticleSystemData></P>'), directory) is True
    system = ParticleSystem("g")
    system.position = (30, 30)
    scene.update(0.01)
    settle()
    assert Frame(window, scene)[30, 30] == (0, 255, 0, 255)


# Lifetime --------------------------------------------------------------------------------

def test_no_leak_after_a_thousand_systems_are_made_and_dropped(scene, window, white):
    define(emitter='emission_rate="100" speed="10 20" spread="1"', particle=f'life="1 2" size="2 2" texture="{white}"')
    first = ParticleSystem("s")   # the texture's own resources exist from here on
    scene.update(0.05)
    settle()
    scene.remove_object(first)
    del first
    gc.collect()
    resources = libwindow.gpu_resource_count()
    systems = [ParticleSystem("s") for _ in range(1000)]
    for i, system in enumerate(systems):
        system.position = (i % 640, i % 480)
    scene.update(0.05)
    Frame(window, scene)
    assert libwindow.gpu_resource_count() == resources + 1000   # one vertex buffer each
    refs = [weakref.ref(s) for s in systems] + [weakref.ref(s.emitters[0]) for s in systems]
    for system in systems:   # the layer holds each until it is removed
        scene.remove_object(system)
    del systems, system
    gc.collect()
    assert [r for r in refs if r() is not None] == []
    assert libwindow.gpu_resource_count() == resources
