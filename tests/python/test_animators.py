"""Animators as scripts use them: attached to scene objects by name and stepped by the
scene's update. Expected values are computed in float32, as the engine computes them;
where the arithmetic is fixed they are compared exactly."""
import ctypes
import ctypes.util
import gc
import io
import math
import weakref

import numpy as np
import pytest

import libcore
import libgraphics
from libcore import Colour, Factory, Vector
from libgraphics import (
    Scene,
    SceneLayer,
    SceneObject,
    SceneObjectAnimator,
    SceneObjectAnimatorAlphaPulse as AlphaPulse,
    SceneObjectAnimatorMove as Move,
    SceneObjectAnimatorMoveFixed as MoveFixed,
    SceneObjectAnimatorMoveNewtonian as MoveNewtonian,
    SceneObjectAnimatorMoveSmooth as MoveSmooth,
    SceneObjectAnimatorMoveSpline as MoveSpline,
    SceneObjectAnimatorPulse as Pulse,
    SceneObjectAnimatorRotate as Rotate,
    SceneObjectAnimatorScale as Scale,
    SceneObjectAnimatorSlide as Slide,
    SceneObjectAnimatorSpriteFade as SpriteFade,
    SceneObjectAnimatorSpriteWipe as SpriteWipe,
)

F = np.float32
PI = F(3.14159)  # the animators' half turn, 3.14159 rather than pi: expected values match exactly

# The C library's single-precision cosine, the one the engine calls.
_libm = ctypes.CDLL(ctypes.util.find_library("m"))
_libm.cosf.restype = ctypes.c_float
_libm.cosf.argtypes = [ctypes.c_float]


def cosf(x):
    return F(_libm.cosf(float(F(x))))


def xy(vector):
    return tuple(vector)


def fxy(x, y):
    """A point as the engine stores it."""
    return (float(F(x)), float(F(y)))


needs_sprite = pytest.mark.skipif(not hasattr(libgraphics, "Sprite"), reason="Sprite is not bound")

SPRITE_XML = """<Sprites>
  <Sprite id="test_animators.tinted" dimensions="64, 32" colour="0.2, 0.4, 0.6, 0.8"/>
</Sprites>"""


# Fixtures and helpers ----------------------------------------------------------------

class World:
    """A current scene with one layer "l"; objects put into it are stepped by update."""

    def __init__(self):
        self.scene = Scene()
        self.layer = SceneLayer("l")
        self.scene.add_layer(self.layer)

    def object(self, position=(0, 0), cls=SceneObject):
        o = cls()
        o.position = position
        o.layer = "l"
        return o

    def sprite(self, data_id="test_animators.none"):
        s = libgraphics.Sprite(data_id)
        s.layer = "l"
        return s

    def step(self, dt, count=1):
        for _ in range(count):
            self.scene.update(float(F(dt)))


@pytest.fixture
def world():
    return World()


@pytest.fixture
def tinted(world):
    """A sprite made from a database record with a colour."""
    libgraphics.sprite_database.load(io.StringIO(SPRITE_XML), "")
    return world.sprite("test_animators.tinted")


def animator_names(o):
    return sorted(o.animators)


# Registration ------------------------------------------------------------------------

ALL = {
    "SceneObjectAnimatorAlphaPulse": (AlphaPulse, (0.0, 1.0, 2.0)),
    "SceneObjectAnimatorMove": (Move, ((1, 2), 3.0, 4.0)),
    "SceneObjectAnimatorMoveFixed": (MoveFixed, ((1, 2),)),
    "SceneObjectAnimatorMoveNewtonian": (MoveNewtonian, ((1, 2),)),
    "SceneObjectAnimatorMoveSmooth": (MoveSmooth, ((1, 2), 1.0, False)),
    "SceneObjectAnimatorMoveSpline": (MoveSpline, (1.0,)),
    "SceneObjectAnimatorPulse": (Pulse, (1.0, 2.0, 1.0)),
    "SceneObjectAnimatorRotate": (Rotate, (1.0, 0.0, 0.0)),
    "SceneObjectAnimatorScale": (Scale, (2.0, 1.0)),
    "SceneObjectAnimatorSlide": (Slide, ((1, 2), 1.0, True)),
    "SceneObjectAnimatorSpriteFade": (SpriteFade, (0.0, 1.0)),
    "SceneObjectAnimatorSpriteWipe": (SpriteWipe, (True, 1.0)),
}


@pytest.mark.parametrize("name", sorted(ALL))
def test_registered_under_its_name_as_an_animator(name):
    cls, args = ALL[name]
    assert cls.__name__ == name
    assert getattr(libgraphics, name) is cls
    assert issubclass(cls, SceneObjectAnimator)
    a = cls(*args)
    assert a.delay == 0.0
    assert a.object is None


@pytest.mark.parametrize("name", sorted(ALL))
def test_constructor_takes_exactly_its_arguments(name):
    cls, args = ALL[name]
    with pytest.raises(TypeError):
        cls(*args[:-1])
    with pytest.raises(TypeError):
        cls(*args, 1.0)
    with pytest.raises(TypeError):
        cls()
    for i in range(len(args)):
        wrong = list(args)
        wrong[i] = object()
        with pytest.raises(TypeError):
            cls(*wrong)


def test_base_class_cannot_be_created():
    with pytest.raises(Exception):
        SceneObjectAnimator()


def test_vector_arguments_take_vectors_and_tuples(world):
    o = world.object()
    o.add_animator("a", MoveFixed(Vector(2, 4)))
    o.add_animator("b", MoveFixed([1, 1]))
    world.step(0.5)
    assert xy(o.position) == (1.5, 2.5)


@pytest.mark.parametrize("name", sorted(ALL))
def test_only_sprite_fade_and_wipe_are_made_by_name(name):
    cls, args = ALL[name]
    if name in ("SceneObjectAnimatorSpriteFade", "SceneObjectAnimatorSpriteWipe"):
        assert Factory.get_class(name) is cls
        made = Factory.new_object(name, *args)
        assert type(made) is cls
    else:
        assert Factory.get_class(name) is None


def test_extra_members():
    assert callable(Rotate(1.0, 1.0, 0.0).set_velocity)
    assert callable(MoveSpline(1.0).add_control_point)
    n = MoveNewtonian((0, 0))
    assert (n.num_bounces, n.bounce_target, n.bounce_damping, n.gravity) == (0, 0.0, 0.0, 686.0)
    n.num_bounces, n.bounce_target, n.bounce_damping, n.gravity = 3, 120.5, 0.25, -10.0
    assert (n.num_bounces, n.bounce_target, n.bounce_damping, n.gravity) == (3, 120.5, 0.25, -10.0)
    assert not hasattr(Move((0, 0), 1, 1), "set_velocity")
    assert not hasattr(libgraphics, "Spring")  # native only


def test_script_object_and_native_object_are_one(world):
    o = world.object()
    a = Rotate(1.0, 0.0, 0.0)
    a.tag = "mine"
    o.add_animator("spin", a)
    assert o.get_animator("spin") is a
    assert o.get_animator("spin").tag == "mine"
    assert o.animators["spin"] is a
    assert a.object is o


def test_script_subclass_keeps_native_stepping(world):
    class Drift(MoveFixed):
        def __init__(self):
            super().__init__((4, 0))
            self.note = "drift"

    o = world.object()
    d = Drift()
    o.add_animator("d", d)
    world.step(0.25)
    assert xy(o.position) == (1.0, 0.0)
    assert o.get_animator("d") is d


# Delay --------------------------------------------------------------------------------

def test_delay_ending_mid_step_steps_with_the_rest(world):
    o = world.object()
    a = MoveFixed((1, 0))
    a.delay = 0.5
    o.add_animator("m", a)
    world.step(0.375)
    assert xy(o.position) == (0.0, 0.0)
    assert a.delay == 0.125
    world.step(0.375)
    assert xy(o.position) == (0.25, 0.0)
    assert a.delay == 0.0
    world.step(0.375)
    assert xy(o.position) == (0.625, 0.0)


def test_delay_ending_exactly_steps_by_zero(world):
    # The zero step is seen: Scale captures its start scale at it.
    o = world.object()
    a = Scale(2.0, 1.0)
    a.delay = 0.5
    o.add_animator("s", a)
    world.step(0.25, 2)
    assert a.delay == 0.0
    assert xy(o.scale) == (1.0, 1.0)
    o.scale = (3, 3)  # too late: the start is 1
    world.step(0.25)
    assert xy(o.scale) == (1.25, 1.25)


def test_negative_delay_behaves_as_none(world):
    o = world.object()
    a = MoveFixed((1, 0))
    a.delay = -1.0
    o.add_animator("m", a)
    world.step(0.25)
    assert xy(o.position) == (0.25, 0.0)


def test_nan_delay_behaves_as_none(world):
    o = world.object()
    a = MoveFixed((1, 0))
    a.delay = float("nan")
    o.add_animator("m", a)
    world.step(0.25)
    assert xy(o.position) == (0.25, 0.0)


def test_start_values_are_captured_after_the_delay(world):
    o = world.object((0, 0))
    a = Move((10, 0), 1000.0, 4.0)
    a.delay = 1.0
    o.add_animator("m", a)
    world.step(0.5)
    o.position = (10, 30)  # moved before the animator starts
    world.step(0.75)  # 0.25 past the delay: speed 4, one step
    # It heads from (10, 30), not from (0, 0).
    assert xy(o.position) == (10.0, 26.0)


# AlphaPulse ----------------------------------------------------------------------------

def alpha_pulse(start, peak, time, period):
    phase = F(F(F(time) / F(period)) * F(2)) * PI
    k = F(F(cosf(phase) * F(-1.0)) * F(0.5)) + F(0.5)
    return F(F(F(peak) - F(start)) * k) + F(start)


@needs_sprite
def test_alpha_pulse_on_a_sprite(world, tinted):
    a = AlphaPulse(0.0, 1.0, 2.0)
    tinted.add_animator("glow", a)
    world.step(0.0)
    assert tinted.colour == Colour(1, 1, 1, 0)
    world.step(1.0)
    alpha = alpha_pulse(0.0, 1.0, 1.0, 2.0)
    assert alpha == pytest.approx(1.0, abs=1e-6)
    for i in range(4):
        assert tinted.colours[i] == Colour(1, 1, 1, float(alpha))  # forced to white
    world.step(1.0)
    assert tinted.colour == Colour(1, 1, 1, 0)
    assert tinted.get_animator("glow") is a  # never finishes


@needs_sprite
def test_alpha_pulse_follows_the_curve(world):
    s = world.sprite()
    s.add_animator("glow", AlphaPulse(0.25, 0.75, 1.5))
    time = F(0)
    for _ in range(40):
        world.step(0.1)
        time = np.fmod(F(time + F(0.1)), F(1.5))
        assert s.colour.a == float(alpha_pulse(0.25, 0.75, time, 1.5))
        assert (s.colour.r, s.colour.g, s.colour.b) == (1, 1, 1)


@needs_sprite
def test_alpha_pulse_on_another_object_keeps_its_clock(world):
    o = world.object((3, 4))
    a = AlphaPulse(0.0, 1.0, 2.0)
    o.add_animator("glow", a)
    world.step(0.5)
    assert xy(o.position) == (3.0, 4.0)
    assert xy(o.scale) == (1.0, 1.0)
    assert o.visible
    # Moved to a sprite, it carries on from 0.5 s.
    s = world.sprite()
    s.add_animator("glow", a)
    o.remove_animator("glow")
    world.step(0.5)
    assert s.colour.a == float(alpha_pulse(0.0, 1.0, 1.0, 2.0))


@needs_sprite
def test_alpha_pulse_with_zero_period_gives_nan(world):
    s = world.sprite()
    s.add_animator("glow", AlphaPulse(0.0, 1.0, 0.0))
    world.step(0.1)
    assert math.isnan(s.colour.a)
    assert s.colour.r == 1.0


# Pulse ----------------------------------------------------------------------------------

def test_pulse_once_then_gone(world):
    o = world.object()
    a = Pulse(1.0, 2.0, 1.0)
    o.add_animator("p", a)
    for expected in (1.5, 2.0, 1.5):
        world.step(0.25)
        assert xy(o.scale) == (expected, expected)
        assert o.get_animator("p") is a
    world.step(0.25)
    assert xy(o.scale) == (1.0, 1.0)
    assert o.get_animator("p") is None


# Rotate ---------------------------------------------------------------------------------

def stored_rotation(angle):
    a = F(libcore.normalise_angle(float(F(angle))))
    return min(max(a, -PI), PI)


def test_rotate_without_acceleration_turns_at_full_speed_for_ever(world):
    o = world.object()
    a = Rotate(90.0, 0.0, 0.0)
    o.add_animator("r", a)
    dt = F(0.01)
    expected = F(0)
    for _ in range(300):
        world.step(dt)
        expected = stored_rotation(F(expected + F(F(90) * dt)))
        assert o.rotation == float(expected)
    assert o.get_animator("r") is a


def simulate_rotate(o_rotation, velocity, target, acceleration, dt):
    if velocity != target:
        if velocity < target:
            velocity = min(F(velocity + F(dt * acceleration)), target)
        else:
            velocity = max(F(velocity - F(acceleration * dt)), target)
    return stored_rotation(F(o_rotation + F(velocity * dt))), velocity


def test_rotate_accelerates_to_its_target_and_set_velocity_reverses(world):
    o = world.object()
    a = Rotate(90.0, 45.0, 0.0)
    o.add_animator("r", a)
    dt, acc = F(0.01), F(45)
    rotation, velocity, target = F(0), F(0), F(90)
    for i in range(250):
        world.step(dt)
        rotation, velocity = simulate_rotate(rotation, velocity, target, acc, dt)
        assert o.rotation == float(rotation)
        assert velocity <= 90
    assert velocity == 90  # reached after about 2 s and held
    # The last steps turned by exactly 90 * dt.
    before = F(o.rotation)
    world.step(dt)
    assert o.rotation == float(stored_rotation(F(before + F(F(90) * dt))))
    rotation = F(o.rotation)

    a.set_velocity(-90.0)
    target = F(-90)
    seen_zero_crossing = False
    for i in range(450):
        world.step(dt)
        rotation, velocity = simulate_rotate(rotation, velocity, target, acc, dt)
        assert o.rotation == float(rotation)
        seen_zero_crossing |= velocity < 0
    assert seen_zero_crossing
    assert velocity == -90


def test_rotate_with_duration_stops_without_turning_the_last_step(world):
    o = world.object()
    o.add_animator("r", Rotate(1.0, 0.0, 1.0))
    world.step(0.5)
    assert o.rotation == 0.5
    assert "r" in o.animators
    world.step(0.5)
    assert o.rotation == 0.5
    assert not o.animators


# Scale ----------------------------------------------------------------------------------

def test_scale_starts_from_x_and_ends_on_target(world):
    o = world.object()
    o.scale = (3, 5)
    o.add_animator("s", Scale(2.0, 1.0))
    for expected in (2.75, 2.5, 2.25):
        world.step(0.25)
        assert xy(o.scale) == (expected, expected)
    world.step(0.25)
    assert xy(o.scale) == (2.0, 2.0)
    assert not o.animators


# SpriteFade -----------------------------------------------------------------------------

@needs_sprite
def test_sprite_fade_from_each_corners_own_alpha(world, tinted):
    starts = [Colour(1, 0, 0, 1), Colour(0, 1, 0, 0.8), Colour(0, 0, 1, 0.6), Colour(0.5, 0.5, 0.5, 0.4)]
    for i, c in enumerate(starts):
        tinted.colours[i] = c
    tinted.visible = False
    a = SpriteFade(0.0, 0.5)
    tinted.add_animator("f", a)
    for n in (1, 2, 3):
        world.step(0.125)
        p = F(0.25 * n)
        assert tinted.visible
        for i, c in enumerate(starts):
            got = tinted.colours[i]
            assert (got.r, got.g, got.b) == (c.r, c.g, c.b)
            assert got.a == float(F(F(F(1) - p) * F(c.a)) + F(F(0) * p))
        assert tinted.get_animator("f") is a
    world.step(0.125)
    assert [tinted.colours[i].a for i in range(4)] == [0.0] * 4
    assert tinted.visible  # stays visible when faded out
    assert not tinted.animators


@needs_sprite
def test_sprite_fade_record_colour_is_the_start(world, tinted):
    assert tinted.colour == Colour(0.2, 0.4, 0.6, 0.8)
    tinted.add_animator("f", SpriteFade(0.0, 1.0))
    world.step(0.5)
    assert tinted.colour.a == float(F(F(F(1) - F(0.5)) * F(0.8)))
    assert (tinted.colour.r, tinted.colour.g) == (float(F(0.2)), float(F(0.4)))


@needs_sprite
def test_sprite_fade_with_zero_duration(world):
    s = world.sprite()
    s.add_animator("f", SpriteFade(0.25, 0.0))
    world.step(0.01)
    assert s.colour.a == 0.25
    assert not s.animators
    # With a zero step first, infinity times 0 gives NaN: nothing ends.
    s2 = world.sprite()
    s2.add_animator("f", SpriteFade(0.25, 0.0))
    world.step(0.0)
    assert math.isnan(s2.colour.a)
    assert "f" in s2.animators


def test_sprite_fade_on_another_object_ends_on_time(world):
    o = world.object()
    o.visible = False
    o.add_animator("f", SpriteFade(0.0, 0.5))
    world.step(0.125, 3)
    assert "f" in o.animators
    world.step(0.125)
    assert not o.animators
    assert not o.visible  # left alone


# SpriteWipe -----------------------------------------------------------------------------

def stops(sprite):
    return [(p, a) for p, a in sprite.alpha_stops]


@needs_sprite
def test_sprite_wipe_reveal_first_step(world):
    s = world.sprite()
    s.visible = False
    a = SpriteWipe(True, 1.0)
    s.add_animator("w", a)
    world.step(0.1)
    assert stops(s) == [(0.0, 0.5), (float(F(0.1)), 0.0), (1.0, 0.0)]
    assert s.visible


@needs_sprite
def test_sprite_wipe_reveal_takes_one_point_two_durations(world):
    s = world.sprite()
    a = SpriteWipe(True, 1.0)
    s.add_animator("w", a)
    edge, elapsed, dt = F(-0.2), 0.0, F(0.05)
    while "w" in s.animators:
        world.step(dt)
        elapsed += float(dt)
        edge = F(F(F(1) * dt) + edge)
        if edge >= 1:
            break
        far = min(F(edge + F(0.2)), F(1))
        if edge >= 0:
            expected = [(0.0, 1.0), (float(edge), 1.0), (float(far), 0.0), (1.0, 0.0)]
            expected = sorted(dict(expected).items())
        else:
            expected = [(0.0, float(F(F(1) + F(edge / F(0.2))))), (float(far), 0.0), (1.0, 0.0)]
        assert stops(s) == expected
    assert edge >= 1
    assert not s.animators
    assert elapsed == pytest.approx(1.2, abs=0.051)
    assert stops(s) == []  # fully opaque
    assert s.visible


@needs_sprite
def test_sprite_wipe_out_hides_at_the_end(world):
    s = world.sprite()
    s.add_animator("w", SpriteWipe(False, 1.0))
    world.step(0.1)
    assert stops(s) == [(0.0, 0.5), (float(F(0.1)), 1.0), (1.0, 1.0)]
    world.step(0.5)
    edge = F(F(0.5) + F(-0.1))
    assert stops(s) == [(0.0, 0.0), (float(edge), 0.0), (float(F(edge + F(0.2))), 1.0), (1.0, 1.0)]
    world.step(0.7)
    assert not s.visible
    assert stops(s) == []
    assert not s.animators


@needs_sprite
def test_sprite_wipe_with_zero_duration(world):
    s = world.sprite()
    s.add_animator("w", SpriteWipe(False, 0.0))
    world.step(0.01)
    assert not s.visible
    assert not s.animators


def test_sprite_wipe_on_another_object_ends_on_time(world):
    o = world.object()
    o.add_animator("w", SpriteWipe(False, 1.0))
    world.step(0.5, 2)
    assert "w" in o.animators
    world.step(0.5)
    assert not o.animators
    assert o.visible  # left alone


# Move -----------------------------------------------------------------------------------

def test_move_without_acceleration_never_moves(world):
    o = world.object()
    a = Move((100, 0), 0.0, 10.0)
    o.add_animator("m", a)
    world.step(0.1, 50)
    assert xy(o.position) == (0.0, 0.0)
    assert o.get_animator("m") is a


@pytest.mark.parametrize("dt", [0.01, 0.02, 0.5, 3.0])
def test_move_advances_its_speed_per_step(world, dt):
    o = world.object()
    o.add_animator("m", Move((100, 0), 1000.0, 10.0))
    for i in range(1, 10):
        world.step(dt)
        assert xy(o.position) == (10.0 * i, 0.0)
        assert "m" in o.animators
    world.step(dt)
    assert xy(o.position) == (100.0, 0.0)
    assert not o.animators


def test_move_to_its_own_start_ends_at_once(world):
    o = world.object((5, 5))
    o.add_animator("m", Move((5, 5), 1.0, 1.0))
    world.step(0.1)
    assert xy(o.position) == (5.0, 5.0)
    assert not o.animators


def test_move_along_a_diagonal(world):
    o = world.object((10, 20))
    o.add_animator("m", Move((13, 24), 2.0, 100.0))
    world.step(0.5, 2)  # speeds 1 then 2: 3 travelled
    d = (F(3) / F(5), F(4) / F(5))
    assert xy(o.position) == (float(F(10) + F(d[0] * F(3))), float(F(20) + F(d[1] * F(3))))
    world.step(0.5)
    assert xy(o.position) == (13.0, 24.0)
    assert not o.animators


# MoveFixed ------------------------------------------------------------------------------

def test_move_fixed(world):
    o = world.object()
    a = MoveFixed((10, -5))
    o.add_animator("m", a)
    for i in range(1, 5):
        world.step(0.5)
        assert xy(o.position) == (5.0 * i, -2.5 * i)
    assert o.get_animator("m") is a


# MoveNewtonian --------------------------------------------------------------------------

def test_move_newtonian_falls_onto_the_line_and_ends(world):
    o = world.object((7, 0))
    a = MoveNewtonian((0, 0))
    a.bounce_target = 100.0
    o.add_animator("m", a)
    dt, vy, y = F(0.1), F(0), F(0)
    while True:
        vy = F(vy + F(F(686) * dt))
        y = F(y + F(vy * dt))
        world.step(dt)
        if y >= 100:
            break
        assert xy(o.position) == (7.0, float(y))
        assert "m" in o.animators
    assert xy(o.position) == (7.0, 100.0)
    assert not o.animators


def test_move_newtonian_bounces_twice_then_ends(world):
    o = world.object()
    a = MoveNewtonian((3, 0))
    a.bounce_target, a.num_bounces, a.bounce_damping = 100.0, 2, 0.5
    o.add_animator("m", a)
    dt = F(0.05)
    vx, vy, x, y = F(3), F(0), F(0), F(0)
    hits = 0
    for _ in range(2000):
        vy = F(vy + F(F(686) * dt))
        x, y = F(x + F(vx * dt)), F(y + F(vy * dt))
        world.step(dt)
        if y >= 100:
            hits += 1
            if hits == 3:
                assert xy(o.position) == (float(x), 100.0)
                break
            vy = F(F(-0.5) * vy)  # reversed and halved
            y = F(F(100) - F(y - F(100)))  # mirrored about the line
            assert a.num_bounces == 2 - hits
        assert xy(o.position) == (float(x), float(y))
    assert hits == 3
    assert not o.animators


def test_move_newtonian_without_a_line_flies_on(world):
    o = world.object()
    a = MoveNewtonian((10, -100))
    o.add_animator("m", a)
    world.step(0.1, 100)
    assert o.get_animator("m") is a
    assert o.position.y > 1000


def test_move_newtonian_upwards_gravity_hits_from_below(world):
    o = world.object((0, 60))
    a = MoveNewtonian((0, 0))
    a.gravity = -100.0
    a.bounce_target = 50.0
    o.add_animator("m", a)
    world.step(0.5)
    assert xy(o.position) == (0.0, 50.0)
    assert not o.animators


# MoveSmooth -----------------------------------------------------------------------------

def smooth_k(t, ease_in):
    t = F(t)
    if ease_in:
        return F(F(cosf(F(PI * F(F(1) - t))) * t) * t)
    return F(1) - F(F(cosf(F(PI * t)) * F(F(1) - t)) * F(F(1) - t))


def test_move_smooth_ease_out(world):
    o = world.object()
    o.add_animator("m", MoveSmooth((100, 40), 1.0, False))
    world.step(0.25)
    k = smooth_k(0.25, False)
    assert xy(o.position) == (float(F(100) * k), float(F(40) * k))
    world.step(0.25)
    assert math.dist(xy(o.position), (100, 40)) <= 1e-6 * math.hypot(100, 40)
    world.step(0.25)
    assert o.position.x > 100 and o.position.y > 40
    assert o.position.x == float(F(100) * smooth_k(0.75, False))
    world.step(0.25)
    assert xy(o.position) == (100.0, 40.0)
    assert not o.animators


def test_move_smooth_ease_in_dips_first(world):
    o = world.object((10, 20))
    o.add_animator("m", MoveSmooth((110, 20), 1.0, True))
    world.step(0.25)
    k = smooth_k(0.25, True)
    assert k < 0
    assert xy(o.position) == (float(F(10) + F(F(100) * k)), 20.0)
    world.step(1.0)
    assert xy(o.position) == (110.0, 20.0)
    assert not o.animators


# MoveSpline -----------------------------------------------------------------------------

def test_move_spline_through_three_points(world):
    o = world.object()
    a = MoveSpline(1.0)
    for p in [(0, 0), (100, 0), (100, 100)]:
        a.add_control_point(p)
    o.add_animator("m", a)
    world.step(0.5)
    assert xy(o.position) == (75.0, 25.0)
    world.step(0.75)
    assert xy(o.position) == (100.0, 100.0)
    world.step(1.0)
    assert o.get_animator("m") is a  # stays until removed


def test_move_spline_single_point_jumps_there(world):
    o = world.object((1, 1))
    a = MoveSpline(1.0)
    a.add_control_point(Vector(-7, 3))
    o.add_animator("m", a)
    world.step(0.1)
    assert xy(o.position) == (-7.0, 3.0)


def test_move_spline_without_points_is_inert(world):
    o = world.object((1, 1))
    a = MoveSpline(1.0)
    o.add_animator("m", a)
    world.step(0.5)
    assert xy(o.position) == (1.0, 1.0)
    # No time passed while there were no points.
    a.add_control_point((0, 0))
    a.add_control_point((100, 0))
    world.step(0.25)
    assert xy(o.position) == (25.0, 0.0)


def test_move_spline_with_zero_duration_gives_nan(world):
    o = world.object()
    a = MoveSpline(0.0)
    a.add_control_point((0, 0))
    a.add_control_point((1, 1))
    o.add_animator("m", a)
    world.step(0.1)
    assert all(math.isnan(c) for c in xy(o.position))
    assert "m" in o.animators


# Slide ----------------------------------------------------------------------------------

def test_slide_ease_out_quarter_steps(world):
    o = world.object((20, 10))
    o.add_animator("s", Slide((100, 50), 1.0, False))
    for u, b in ((1.25, 0.75), (1.5, 0.5), (1.75, 0.25)):
        world.step(0.25)
        u, b = F(u), F(b)
        k = F(1) - F(F(F(cosf(F(F(u * u) - F(1))) * b) * b) * b)
        assert xy(o.position) == (float(F(20) + F(F(80) * k)), float(F(10) + F(F(40) * k)))
        assert "s" in o.animators
    world.step(0.25)
    assert xy(o.position) == (100.0, 50.0)
    assert not o.animators


def test_slide_ease_in_dips_then_arrives(world):
    o = world.object()
    o.add_animator("s", Slide((100, 0), 1.0, True))
    world.step(0.25)
    k = F(F(F(cosf(F(F(F(1.75) * F(1.75)) - F(1))) * F(0.25)) * F(0.25)) * F(0.25))
    assert k < 0
    assert xy(o.position) == (float(F(100) * k), 0.0)
    world.step(0.25, 2)
    assert "s" in o.animators
    world.step(0.25)
    assert xy(o.position) == (100.0, 0.0)
    assert not o.animators


# Lifecycle ------------------------------------------------------------------------------

@pytest.mark.parametrize("make, step, attribute, expected", [
    pytest.param(lambda: Pulse(0.5, 2.0, 0.0), 0.0, "scale", (0.5, 0.5), id="pulse"),
    pytest.param(lambda: Scale(4.0, 0.0), 0.0, "scale", (4.0, 4.0), id="scale"),
    pytest.param(lambda: MoveSmooth((3, 4), 0.0, False), 0.0, "position", (3.0, 4.0), id="move_smooth"),
    pytest.param(lambda: Slide((5, 6), 0.0, False), 0.1, "position", (5.0, 6.0), id="slide"),
])
def test_animator_with_zero_duration_reaches_its_end_at_once(world, make, step, attribute, expected):
    o = world.object()
    o.add_animator("a", make())
    world.step(step)
    assert xy(getattr(o, attribute)) == expected
    assert not o.animators


def test_several_finish_in_the_same_frame(world):
    o = world.object()
    refs = []
    for name, a in (("a", Pulse(1.0, 2.0, 0.5)), ("b", Move((1, 0), 100.0, 10.0)), ("c", Scale(3.0, 0.25))):
        o.add_animator(name, a)
        refs.append(weakref.ref(a))
    keep = Rotate(1.0, 0.0, 0.0)
    o.add_animator("d", keep)
    del a
    world.step(0.5)
    assert animator_names(o) == ["d"]
    gc.collect()
    assert [r() for r in refs] == [None, None, None]
    # Pulse ("a") set the scale first, Scale ("c") last.
    assert xy(o.scale) == (3.0, 3.0)
    assert xy(o.position) == (1.0, 0.0)
    assert o.rotation == 0.5


def test_an_earlier_object_removes_a_later_objects_animators(world):
    class Remover(SceneObject):
        def __init__(self, victim):
            super().__init__()
            self.victim = victim

        def OnUpdate(self, dt):
            self.victim.remove_animator("m")

    victim = world.object()
    victim.z = 1.0
    remover = world.object(cls=lambda: Remover(victim))
    moving = MoveFixed((1, 0))
    gone = weakref.ref(moving)
    victim.add_animator("m", moving)
    victim.add_animator("n", MoveFixed((0, 1)))
    del moving
    world.step(1.0)
    assert gone() is None
    assert xy(victim.position) == (0.0, 1.0)  # "m" never stepped
    assert animator_names(victim) == ["n"]
    assert remover.victim is victim


def test_removing_by_name_and_by_animator_releases(world):
    o = world.object()
    a, b = Rotate(1.0, 0.0, 0.0), Rotate(1.0, 0.0, 0.0)
    ra, rb = weakref.ref(a), weakref.ref(b)
    o.add_animator("a", a)
    o.add_animator("b", b)
    del a
    o.remove_animator("a")
    o.remove_animator(b)
    del b
    gc.collect()
    assert ra() is None and rb() is None
    assert not o.animators


def test_replacing_under_the_same_name_releases_the_old_one(world):
    o = world.object()
    old = MoveFixed((1, 0))
    gone = weakref.ref(old)
    o.add_animator("m", old)
    del old
    gc.collect()
    assert gone() is not None  # the object holds it
    new = MoveFixed((0, 1))
    o.add_animator("m", new)
    gc.collect()
    assert gone() is None
    world.step(1.0)
    assert xy(o.position) == (0.0, 1.0)


def test_animator_held_only_by_its_object_dies_with_it():
    o = SceneObject()
    a = Rotate(1.0, 0.0, 0.0)
    gone = weakref.ref(a)
    o.add_animator("r", a)
    del a
    gc.collect()
    assert gone() is not None
    del o
    gc.collect()
    assert gone() is None


def test_object_death_clears_the_animators_object(world):
    o = SceneObject()
    a = Scale(2.0, 1.0)
    o.add_animator("s", a)
    assert a.object is o
    del o
    gc.collect()
    assert a.object is None
    # Attached again, it starts afresh from its new object.
    o2 = world.object()
    o2.scale = (4, 4)
    o2.add_animator("s", a)
    world.step(0.5)
    assert xy(o2.scale) == (3.0, 3.0)


def test_animator_whose_object_died_is_stepped_without_crashing(world):
    # Shared by two objects, the animator's object is the last one it was added to;
    # when that one dies, the other keeps stepping an animator without an object.
    stays = world.object((1, 2))
    dies = SceneObject()
    kinds = [AlphaPulse(0, 1, 1), Pulse(1, 2, 1), Rotate(1, 0, 1), Scale(2, 1), SpriteFade(0, 1),
             SpriteWipe(True, 1), Move((9, 9), 10, 1), MoveFixed((1, 1)), MoveNewtonian((1, 1)),
             MoveSmooth((9, 9), 1, False), MoveSpline(1), Slide((9, 9), 1, True)]
    kinds[10].add_control_point((5, 5))
    for i, a in enumerate(kinds):
        stays.add_animator(str(i), a)
        dies.add_animator(str(i), a)
        assert a.object is dies
    del dies
    gc.collect()
    assert all(a.object is None for a in kinds)
    world.step(0.5, 4)
    assert xy(stays.position) == (1.0, 2.0)
    assert xy(stays.scale) == (1.0, 1.0)
    assert stays.rotation == 0.0
    assert len(stays.animators) == len(kinds)  # none can finish without an object


def test_live_animators_do_not_leak(world):
    refs = []
    for i in range(50):
        o = world.object()
        for a in (Pulse(1, 2, 0.1), Move((1, 1), 100, 5), Rotate(1, 0, 0.1), MoveFixed((1, 0))):
            o.add_animator(type(a).__name__, a)
            refs.append(weakref.ref(a))
        del a
    world.step(0.2, 2)
    world.layer = None
    world.scene = None
    del o
    gc.collect()
    assert sum(r() is not None for r in refs) == 0


def test_removed_animator_shared_with_a_dead_object_steps_safely():
    scene = libgraphics.Scene()
    scene.add_layer(libgraphics.SceneLayer("l"))
    keep, other = libgraphics.SceneObject(), libgraphics.SceneObject()
    keep.layer = "l"
    mover = libgraphics.SceneObjectAnimatorMoveFixed((1, 0))
    keep.add_animator("m", mover)
    other.add_animator("m", mover)      # the animator now names `other`
    other.remove_animator("m")          # removal leaves that as it is
    assert mover.object is other
    del other
    gc.collect()
    assert mover.object is None         # the dead object was forgotten
    scene.update(0.1)                   # stepping it through `keep` touches nothing
    assert keep.position == libcore.Vector(0, 0)
