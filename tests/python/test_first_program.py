"""The short first program: sprite records defined from Python (sprite_database.add) and
the frame loop libgraphics.run."""
import io
import math

import pytest

import libcore
import libgraphics
from libcore import Colour, Vector
from libgraphics import SceneLayer, SceneObject, Sprite, sprite_database
from libgraphics import SceneObjectAnimatorRotate as Rotate

from pictures import settle
from test_window import run_child


@pytest.fixture
def scene(gl):
    s = libgraphics.Scene()
    s.add_layer(SceneLayer("main", 0, 0, True))
    sprite_database.unload()
    yield s
    sprite_database.unload()


# sprite_database.add ------------------------------------------------------------------

def test_add_defines_a_record_from_keywords(scene, pictures):
    path = pictures.solid("red.png", colour=(255, 0, 0, 255))
    assert sprite_database.add("ship", texture=path, dimensions=(50, 60), origin=(5, 6), bottom_right=(1, 1),
                               colour=(1, 0.5, 0.25, 0.75), scale_flags=3, layer="main") is True
    sprite = Sprite("ship")
    assert sprite.data_id == "ship"
    assert sprite.origin == Vector(5, 6)
    assert sprite.dimensions == Vector(50, 60)
    assert sprite.colour == Colour(1, 0.5, 0.25, 0.75)
    assert sprite.scale_flags == 3
    assert sprite.layer == "main"


def test_add_has_the_defaults_of_the_xml_record(scene):
    sprite_database.load(io.StringIO('<Sprites><Sprite id="xml"/></Sprites>'))
    assert sprite_database.add("code")
    a, b = Sprite("xml"), Sprite("code")
    for name in ("origin", "dimensions", "colour", "scale_flags", "layer"):
        assert getattr(a, name) == getattr(b, name), name


def test_the_first_definition_of_an_id_stands(scene):
    sprite_database.load(io.StringIO('<Sprites><Sprite id="a" dimensions="1 1"/></Sprites>'))
    assert sprite_database.add("a", dimensions=(9, 9)) is False
    assert sprite_database.add("b", dimensions=(2, 2)) is True
    assert sprite_database.add("b", dimensions=(3, 3)) is False
    sprite_database.load(io.StringIO('<Sprites><Sprite id="b" dimensions="4 4"/></Sprites>'))
    assert Sprite("a").dimensions == Vector(1, 1)
    assert Sprite("b").dimensions == Vector(2, 2)


def test_added_record_draws_its_picture(scene, pictures, window):
    from OpenGL import GL
    path = pictures.solid("green.png", colour=(0, 255, 0, 255))
    sprite_database.add("g", texture=path, dimensions=(20, 20), bottom_right=(1, 1), layer="main")
    sprite = Sprite("g")
    sprite.position = (100, 100)
    settle()
    GL.glClear(GL.GL_COLOR_BUFFER_BIT)
    scene.render()
    w, h, data = window.read_pixels()
    i = (110 * w + 110) * 4
    assert tuple(data[i:i + 3]) == (0, 255, 0)


QUADRANTS = [(255, 0, 0), (0, 255, 0), (0, 0, 255), (255, 255, 0)]  # top left, top right, bottom left, right


def quadrants(pictures, name, size=64):
    """A size x size picture of four single-coloured quadrants."""
    half = size // 2
    rows = [[c for x in range(size) for c in QUADRANTS[(y >= half) * 2 + (x >= half)] + (255,)] for y in range(size)]
    return pictures.write(name, size, size, rows)


def quadrant_colours(window, left, top, size=64):
    """The colours at the middle of each quadrant of a size x size square on screen."""
    w, h, data = window.read_pixels()
    quarter = size // 4
    points = [(left + quarter, top + quarter), (left + 3 * quarter, top + quarter),
              (left + quarter, top + 3 * quarter), (left + 3 * quarter, top + 3 * quarter)]
    return [tuple(data[(y * w + x) * 4:(y * w + x) * 4 + 3]) for x, y in points]


@pytest.mark.parametrize("full_resolution", [True, False], ids=["full resolution", "halved"])
def test_a_record_added_without_a_texture_rectangle_shows_the_whole_picture(scene, pictures, window,
                                                                           full_resolution):
    from libgraphics import texture_database
    path = quadrants(pictures, f"quadrants-{full_resolution}.png")
    texture_database.full_resolution = full_resolution
    try:
        # Texture coordinates run 0..1 across the picture whatever its size, so the
        # rectangle is known before the picture has loaded (or been halved).
        sprite_database.add("whole", texture=path, dimensions=(64, 64), layer="main",
                            force_full_resolution=False)
        sprite = Sprite("whole")
        sprite.position = (100, 50)
        settle()
        from OpenGL import GL
        GL.glClear(GL.GL_COLOR_BUFFER_BIT)
        scene.render()
        assert quadrant_colours(window, 100, 50) == QUADRANTS
    finally:
        texture_database.full_resolution = True


def test_an_xml_record_without_a_texture_rectangle_shows_one_texel(scene, pictures, window):
    """The XML attributes keep their defaults: top_left and bottom_right both (0, 0)."""
    path = quadrants(pictures, "quadrants-xml.png")
    sprite_database.load(io.StringIO(f'<Sprites><Sprite id="xml" texture="{path}" dimensions="64 64" '
                                     'layer="main"/></Sprites>'))
    sprite = Sprite("xml")
    sprite.position = (100, 50)
    settle()
    from OpenGL import GL
    GL.glClear(GL.GL_COLOR_BUFFER_BIT)
    scene.render()
    assert len(set(quadrant_colours(window, 100, 50))) == 1


def test_add_says_the_whole_picture_is_its_default_rectangle():
    doc = sprite_database.add.__doc__
    assert "top_left: VectorLike = (0, 0), bottom_right: VectorLike = (1, 1)" in doc
    assert "whole picture" in doc


def test_an_empty_id_is_an_id_like_any_other_as_in_xml(scene):
    assert sprite_database.add("", dimensions=(3, 3)) is True
    assert sprite_database.add("", dimensions=(4, 4)) is False
    assert Sprite("").dimensions == Vector(3, 3)


# run ----------------------------------------------------------------------------------

def test_run_steps_the_scene_until_update_returns_false(scene, window):
    obj = SceneObject()
    scene.add_object(obj, "main")
    obj.add_animator("spin", Rotate(1.0, 0.0, 0.0))
    dts = []

    def update(dt):
        dts.append(dt)
        if len(dts) == 5:
            return False

    frames = libgraphics.run(window, update, fps=0)
    assert frames == 4, "the frame whose update returned False is not drawn"
    assert len(dts) == 5
    assert dts[0] == pytest.approx(1 / 60)
    assert all(0 <= dt <= 0.25 for dt in dts)
    assert obj.rotation > 0, "the scene's animators ran"


def test_update_returning_none_keeps_going(scene, window):
    count = []

    def update(dt):
        count.append(dt)
        return None if len(count) < 3 else False

    assert libgraphics.run(window, update, 0) == 2


class FakeClock:
    """The time run sees, in nanoseconds: it moves when a frame's work moves it, and when
    run sleeps. Keeps how long each sleep lasted."""

    def __init__(self):
        self.time = 10 ** 15  # far from zero: nothing may assume a start at 0
        self.sleeps = []
        self.reads = 0

    def now(self):
        self.reads += 1
        return self.time

    def sleep_until(self, deadline):
        self.sleeps.append(deadline - self.time)
        self.time = max(self.time, deadline)


@pytest.fixture
def clock():
    fake = FakeClock()
    libgraphics._set_run_clock(fake)
    yield fake
    libgraphics._set_run_clock(None)


PERIOD_30 = 33_333_333  # 1/30 s in whole nanoseconds


def working(clock, work_ns):
    """An update that spends work_ns[i] nanoseconds of the clock in frame i, records
    the dt it was handed, and stops the loop when the list runs out."""
    dts = []

    def update(dt):
        dts.append(dt)
        if len(dts) > len(work_ns):
            return False
        clock.time += work_ns[len(dts) - 1]

    return update, dts


def test_run_starts_frames_one_period_apart_and_hands_update_the_time_between_them(scene, window, clock):
    work = [5_000_000, 30_000_000, 0, 12_000_000]
    update, dts = working(clock, work)
    assert libgraphics.run(window, update, fps=30) == len(work)
    assert clock.sleeps == [PERIOD_30 - w for w in work]
    assert dts == [1 / 30] + [PERIOD_30 / 1e9] * len(work)


def test_run_lets_a_frame_late_by_more_than_a_period_move_the_schedule(scene, window, clock):
    update, dts = working(clock, [100_000_000, 5_000_000, 5_000_000])
    libgraphics.run(window, update, fps=30)
    assert clock.sleeps == [PERIOD_30 - 5_000_000] * 2, "no sleep after the late frame, then a period apart"
    assert dts == [1 / 30, 0.1, PERIOD_30 / 1e9, PERIOD_30 / 1e9]


def test_run_keeps_the_schedule_after_a_frame_late_by_less_than_a_period(scene, window, clock):
    update, dts = working(clock, [40_000_000, 5_000_000])
    libgraphics.run(window, update, fps=30)
    assert clock.sleeps == [2 * PERIOD_30 - 45_000_000]
    assert dts == [1 / 30, 0.04, (2 * PERIOD_30 - 40_000_000) / 1e9]


def test_run_hands_on_a_stall_as_a_quarter_of_a_second(scene, window, clock):
    update, dts = working(clock, [3_000_000_000])
    libgraphics.run(window, update, fps=60)
    assert dts == [1 / 60, 0.25]


def test_run_without_pacing_never_sleeps_and_measures_each_frame(scene, window, clock):
    work = [7_000_000, 1, 0, 123_456_789]
    update, dts = working(clock, work)
    libgraphics.run(window, update, fps=0)
    assert clock.sleeps == []
    assert dts == [1 / 60] + [w / 1e9 for w in work]


def test_run_hands_the_scene_the_same_dt_as_update(scene, window, clock):
    obj = SceneObject()
    scene.add_object(obj, "main")
    obj.add_animator("spin", Rotate(1.0, 0.0, 0.0))  # one radian a second
    update, dts = working(clock, [20_000_000] * 3)
    libgraphics.run(window, update, fps=0)
    assert obj.rotation == pytest.approx(sum(dts[:-1]), rel=1e-6), "the last frame's update stopped the loop"


def test_run_clock_must_have_now_and_sleep_until():
    class NoSleep:
        def now(self):
            return 0

    with pytest.raises(TypeError, match=r"the clock has no method sleep_until\(\)"):
        libgraphics._set_run_clock(NoSleep())


def test_run_refuses_a_clock_that_is_not_in_nanoseconds(scene, window, clock):
    clock.now = lambda: 1.5
    with pytest.raises(TypeError, match=r"now\(\) must return int nanoseconds, not float"):
        libgraphics.run(window, None, fps=30)


def test_run_is_back_on_the_steady_clock_after_none(scene, window, clock):
    libgraphics._set_run_clock(None)
    dts = []

    def update(dt):
        dts.append(dt)
        return len(dts) < 3

    assert libgraphics.run(window, update, fps=1000) == 2
    assert clock.reads == 0 and clock.sleeps == [], "run used the clock it was told to drop"
    assert dts[0] == 1 / 1000 and all(0 <= dt <= 0.25 for dt in dts)


def test_an_exception_in_update_comes_out_of_run(scene, window):
    def update(dt):
        raise KeyError("boom")

    with pytest.raises(KeyError, match="boom"):
        libgraphics.run(window, update, 0)


@pytest.mark.parametrize("args, error, words", [
    ((None,), TypeError, "window must be a libwindow.Window, not NoneType"),
    (("window",), TypeError, "window must be a libwindow.Window, not str"),
])
def test_run_refuses_what_is_not_a_window(args, error, words):
    with pytest.raises(error, match=words):
        libgraphics.run(*args)


def test_run_refuses_wrong_update_and_fps(window):
    with pytest.raises(TypeError, match="update must be callable"):
        libgraphics.run(window, 3)
    with pytest.raises(ValueError, match="fps must be from 1/86400"):
        libgraphics.run(window, None, -1)
    with pytest.raises(ValueError, match="fps must be from 1/86400"):
        libgraphics.run(window, None, math.nan)


class Box(SceneObject):
    """A red 40 x 40 square at its position."""

    def OnRender(self):
        from OpenGL import GL
        GL.glPushMatrix()
        self.load_into_opengl()
        GL.glDisable(GL.GL_TEXTURE_2D)
        GL.glColor4f(1, 0, 0, 1)
        GL.glRectf(0, 0, 40, 40)
        GL.glColor4f(1, 1, 1, 1)
        GL.glPopMatrix()


def run_moving_box(scene, window, **clear):
    """Two frames of run() with a box stepping 50 pixels right, after a green window;
    returns pixel(frame, x, y) of what each frame drew (read before its swap)."""
    window.clear((0, 1, 0))
    box = Box()
    scene.add_object(box, "main")
    frames = []

    class Capture:
        def OnPostRender(self):
            frames.append(window.read_pixels())

    capture = Capture()
    scene.add_listener(capture)

    def update(dt):
        box.position = (100 + 50 * len(frames), 100)
        return len(frames) < 2

    try:
        assert libgraphics.run(window, update, 0, **clear) == 2
    finally:
        scene.remove_listener(capture)
        scene.remove_object(box)

    def pixel(frame, x, y):
        w, h, data = frames[frame]
        return tuple(data[(y * w + x) * 4:(y * w + x) * 4 + 4])
    return pixel


RED, BLACK, GREEN, BLUE = (255, 0, 0, 255), (0, 0, 0, 255), (0, 255, 0, 255), (0, 0, 255, 255)


def test_run_clears_the_window_to_black_each_frame_by_default(scene, window):
    pixel = run_moving_box(scene, window)
    assert pixel(0, 5, 5) == BLACK and pixel(0, 120, 120) == RED
    # The second frame: the box moved on and left no copy behind.
    assert pixel(1, 120, 120) == BLACK and pixel(1, 170, 120) == RED


def test_run_clears_to_the_colour_given(scene, window):
    pixel = run_moving_box(scene, window, clear_colour=(0, 0, 1))
    assert pixel(0, 5, 5) == BLUE
    assert pixel(1, 120, 120) == BLUE and pixel(1, 170, 120) == RED


def test_run_without_a_clear_colour_leaves_what_was_there(scene, window):
    pixel = run_moving_box(scene, window, clear_colour=None)
    assert pixel(0, 5, 5) == GREEN  # drawn before run, kept
    assert pixel(0, 120, 120) == RED


def test_run_refuses_a_clear_colour_that_is_not_one(window):
    with pytest.raises(TypeError, match="clear_colour must be a Colour"):
        libgraphics.run(window, None, 0, clear_colour=3)
    with pytest.raises(ValueError):
        libgraphics.run(window, None, 0, clear_colour="not a colour")
@pytest.mark.parametrize("fps", [1e-12, 5e-324, 1 / 86401, 1.000001e9, 1e300, math.inf])
def test_run_refuses_an_fps_whose_frame_period_is_beyond_a_day_or_a_nanosecond(window, fps):
    frames = []
    with pytest.raises(ValueError, match=r"fps must be from 1/86400 \(a frame a day\) to 1e9, or 0 for no pacing"):
        libgraphics.run(window, frames.append, fps)
    assert frames == []


def test_run_returns_when_the_window_is_asked_to_close():
    out = run_child("""
        import libwindow, libgraphics
        window = libwindow.Window(64, 64, "run")
        frames = []
        def update(dt):
            frames.append(dt)
            if len(frames) == 3:
                window.post_event("close")
        print(libgraphics.run(window, update, 0), libgraphics.get_window() is window)
    """)
    assert out.split() == ["3", "True"]


def test_the_short_first_program_draws_a_sprite(tmp_path):
    """The README's first scene, with a picture of its own and a frame limit."""
    out = run_child(f"""
        import sys
        sys.path.insert(0, {str(__import__('os').path.dirname(__file__))!r})
        from pictures import Pictures
        import libcore, libwindow, libgraphics
        from libgraphics import SceneLayer, Sprite, SceneObjectAnimatorRotate
        ship_png = Pictures(__import__("pathlib").Path({str(tmp_path)!r})).solid("ship.png", 8, 8, (255, 0, 0, 255))
        libcore.PathDatabase.add_root({str(tmp_path)!r})

        window = libwindow.Window(800, 600, "scene")
        libgraphics.scene.add_layer(SceneLayer("world", 0))
        libgraphics.sprite_database.add("ship", texture=ship_png, dimensions=(64, 64), origin=(32, 32),
                                        layer="world")
        ship = Sprite("ship")
        ship.position = (400, 300)
        ship.add_animator("spin", SceneObjectAnimatorRotate(2.0, 0.0, 0.0))
        frames = []
        def update(dt):
            frames.append(dt)
            return len(frames) < 30
        libgraphics.run(window, update)
        scene = libgraphics.scene
        scene.begin_frame(); scene.render(); scene.end_frame()
        w, h, data = window.read_pixels()
        i = (300 * w + 400) * 4
        print(tuple(data[i:i + 3]), ship.rotation != 0)
    """)
    assert out.split("\n")[0] == "(255, 0, 0) True"
