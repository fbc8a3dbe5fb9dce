"""Text in pixels: where ink appears for a string, what alignment and colour do, lines
going down, glyphs rasterised once, and the atlas surviving a change of video mode."""
import logging

import pytest
from OpenGL import GL

import libcore
import libgraphics
from libcore import Colour
from libgraphics import SceneLayer, Text

from conftest import HEIGHT, WIDTH


@pytest.fixture
def scene(gl):
    s = libgraphics.Scene()
    s.add_layer(SceneLayer("hud", 0, 0, True))
    yield s


def draw(window, scene):
    GL.glClearColor(0, 0, 0, 1)
    GL.glClear(GL.GL_COLOR_BUFFER_BIT)
    scene.render()
    return window.read_pixels()


def ink(pixels, threshold=64):
    """The bounding box (x0, y0, x1, y1) of the pixels brighter than `threshold`, or None,
    and the brightest colour seen."""
    w, h, data = pixels
    xs, ys, brightest = [], [], (0, 0, 0)
    for y in range(h):
        row = data[y * w * 4:(y + 1) * w * 4]
        if max(row[i] for i in range(len(row)) if i % 4 != 3) < threshold:
            continue
        for x in range(w):
            rgb = tuple(row[4 * x:4 * x + 3])
            if max(rgb) >= threshold:
                xs.append(x)
                ys.append(y)
                if sum(rgb) > sum(brightest):
                    brightest = rgb
    return ((min(xs), min(ys), max(xs) + 1, max(ys) + 1) if xs else None), brightest


def text(scene, string, **properties):
    t = Text(string, size=properties.pop("size", 32))
    for name, value in properties.items():
        setattr(t, name, value)
    scene.add_object(t, "hud")
    return t


def test_ink_appears_right_and_below_the_position(scene, window):
    t = text(scene, "Hello", position=(100, 200))
    box, colour = ink(draw(window, scene))
    assert box is not None
    x0, y0, x1, y1 = box
    assert 100 <= x0 < 110 and 200 <= y0 < 215, box
    assert 150 < x1 < 200, "five glyphs of 32 pixels are about 80 wide"
    assert y1 < 240
    assert colour == (255, 255, 255)
    assert t.dimensions.x == pytest.approx(x1 - 100, abs=6)


def test_alignment_moves_the_ink(scene, window):
    t = text(scene, "Centre", position=(320, 100))
    (left_x0, _, left_x1, _), _ = ink(draw(window, scene))
    width = left_x1 - left_x0
    t.align = "centre"
    (x0, _, x1, _), _ = ink(draw(window, scene))
    assert abs((x0 + x1) / 2 - 320) <= 3
    t.align = "right"
    (x0, _, x1, _), _ = ink(draw(window, scene))
    assert abs(x1 - 320) <= 3 and x1 - x0 == width
    assert t.align == "right"


def test_colour_applies(scene, window):
    text(scene, "Red", position=(10, 10), colour=Colour(1, 0, 0))
    box, brightest = ink(draw(window, scene))
    assert box is not None
    assert brightest[0] >= 250 and brightest[1] == 0 and brightest[2] == 0


def test_lines_go_down(scene, window):
    one = text(scene, "Line", position=(50, 50))
    (_, y0, _, y1_one), _ = ink(draw(window, scene))
    one.text = "Line\nLine\nLine"
    (_, y0_three, _, y1_three), _ = ink(draw(window, scene))
    assert y0_three == y0
    step = (y1_three - y1_one) / 2
    assert step == pytest.approx(one.dimensions.y / 3, abs=3)
    assert 32 <= step <= 45, "a line height of a 32-pixel face"
    one.line_spacing = 2.0
    (_, _, _, y1_double), _ = ink(draw(window, scene))
    assert y1_double - y1_one == pytest.approx(4 * step, abs=3)


def test_changing_the_string_does_not_rasterise_known_glyphs(scene, window):
    t = text(scene, "0123456789", position=(10, 10), size=27)
    draw(window, scene)
    count = t.glyph_count
    for n in range(200):
        t.text = str(n * 7919 % 10000)
        draw(window, scene)
    assert t.glyph_count == count
    t.text = "x"
    draw(window, scene)
    assert t.glyph_count == count + 1


def test_text_survives_a_change_of_video_mode(scene, window, restore_size):
    text(scene, "Again", position=(40, 40))
    before, _ = ink(draw(window, scene))
    gpu = libwindow_count()
    window.set_video_mode(WIDTH, HEIGHT)
    libgraphics.set_ortho()
    after, _ = ink(draw(window, scene))
    assert after == before
    assert libwindow_count() == gpu


def libwindow_count():
    import libwindow
    return libwindow.gpu_resource_count()


def test_a_dropped_text_gives_its_atlas_back(scene, window):
    import gc
    import libwindow
    before = libwindow.gpu_resource_count()
    t = Text("gone", size=41)
    assert libwindow.gpu_resource_count() == before + 1
    del t
    gc.collect()
    assert libwindow.gpu_resource_count() == before


def test_a_missing_font_warns_once_and_draws_nothing(scene, window, caplog):
    caplog.set_level(logging.WARNING, logger="engine.graphics")
    t = text(scene, "nothing", position=(10, 10))
    t.font = "no/such/font.ttf"
    libcore.Log.flush()
    box, _ = ink(draw(window, scene))
    assert box is None
    messages = [r.getMessage() for r in caplog.records if r.name == "engine.graphics"]
    assert messages == ["Cannot read the font 'no/such/font.ttf': no such file."]


def test_wrong_values_say_what_is_expected(scene):
    t = Text("x")
    with pytest.raises(ValueError, match="Text.align: expected 'left', 'centre' or 'right', got 'middle'"):
        t.align = "middle"
    with pytest.raises(ValueError, match="Text.size: expected a size of at least 1 pixel"):
        t.size = 0
    t.align = "center"
    assert t.align == "centre"
