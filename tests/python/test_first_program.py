"""The short first program: sprite records defined from Python (sprite_database.add) and
the frame loop libgraphics.run."""
import io
import math
import time

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


def test_run_keeps_a_steady_pace(scene, window):
    times = []

    def update(dt):
        times.append((time.monotonic(), dt))
        return len(times) < 13

    libgraphics.run(window, update, fps=30)
    starts = [t for t, _ in times]
    gaps = [b - a for a, b in zip(starts, starts[1:])]
    assert sum(gaps) / len(gaps) == pytest.approx(1 / 30, rel=0.25)
    assert [dt for _, dt in times[1:]] == pytest.approx(gaps, abs=0.01)


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
                                        bottom_right=(1, 1), layer="world")
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
