"""Sprites as scripts use them: the sprite database, the script surface, and what
sprites draw (position, corner colours, atlas cells, alpha stops, fades and the
dissolve through a transition texture)."""
import gc
import io
import logging
import weakref

import pytest
from OpenGL import GL

import libcore
import libgraphics
from libcore import Colour, Vector
from libgraphics import SceneLayer, Sprite, Texture, sprite_database, texture_database

from pictures import images, settle

WIDTH, HEIGHT = 640, 480
BLACK = (0, 0, 0, 255)
WHITE = (255, 255, 255, 255)


# Fixtures and helpers ----------------------------------------------------------------

@pytest.fixture
def scene(gl):
    """A fresh scene (the current one from now on) with one common layer "main"."""
    s = libgraphics.Scene()
    s.add_layer(SceneLayer("main", 0, 0, True))
    sprite_database.unload()
    yield s
    sprite_database.unload()


def messages(caplog, logger="engine.graphics", level=None):
    libcore.Log.flush()
    return [r.getMessage() for r in caplog.records
            if r.name == logger and (level is None or r.levelno == level)]


def load(xml, base_path=""):
    return sprite_database.load(io.StringIO(xml), base_path)


def define(sprite_id, **attributes):
    """Adds one record; attribute values are written as given."""
    text = " ".join(f'{k}="{v}"' for k, v in attributes.items())
    assert load(f'<Sprites><Sprite id="{sprite_id}" {text}/></Sprites>') is True


class Frame:
    """The window's pixels after one drawing of the scene over black."""

    def __init__(self, window, scene):
        GL.glClearColor(0, 0, 0, 1)
        GL.glClear(GL.GL_COLOR_BUFFER_BIT)
        scene.render()
        self.width, self.height, self.data = window.read_pixels()

    def __getitem__(self, xy):
        x, y = xy
        i = (y * self.width + x) * 4
        return tuple(self.data[i:i + 4])

    def covered(self):
        """The bounding box (x0, y0, x1, y1) of the pixels that are not black, or None."""
        xs, ys = [], []
        for y in range(self.height):
            row = self.data[y * self.width * 4:(y + 1) * self.width * 4]
            if row.count(0) == len(row) - self.width:  # all black (alpha 255 only)
                continue
            for x in range(self.width):
                if row[4 * x:4 * x + 3] != b"\0\0\0":
                    xs.append(x)
                    ys.append(y)
        return (min(xs), min(ys), max(xs) + 1, max(ys) + 1) if xs else None


def close(a, b, tolerance=3):
    """Whether the first len(b) channels of `a` are within `tolerance` of `b` (blending
    changes the framebuffer's alpha too, so blended pixels are compared by colour)."""
    return all(abs(p - q) <= tolerance for p, q in zip(a[:len(b)], b))


def nearest(colour, candidates):
    return min(candidates, key=lambda c: sum((p - q) ** 2 for p, q in zip(colour, c)))


def white_sprite(pictures, sprite_id="white", **attributes):
    """A record with a white picture, in layer "main", and a sprite of it."""
    texture = pictures.solid(f"{sprite_id}.png")
    attributes.setdefault("bottom_right", "1 1")
    define(sprite_id, texture=texture, layer="main", **attributes)
    sprite = Sprite(sprite_id)
    settle()
    return sprite


def transition_texture(pictures, name, left, right):
    """A picture whose left half is `left` and right half `right` (RGB)."""
    rows = [list(left) * 32 + list(right) * 32 for _ in range(64)]
    return Texture(pictures.write(name, 64, 64, rows, images.RGB))


# The database ------------------------------------------------------------------------

def test_record_values_reach_the_sprite(scene):
    define("ship", origin="5, 6", dimensions="50 60", colour="1, 0.5, 0.25, 0.75", scale_flags="3", layer="main")
    sprite = Sprite("ship")
    assert sprite.data_id == "ship"
    assert sprite.origin == Vector(5, 6)
    assert sprite.dimensions == Vector(50, 60)
    assert sprite.colour == Colour(1, 0.5, 0.25, 0.75)
    assert all(sprite.colours[i] == Colour(1, 0.5, 0.25, 0.75) for i in range(4))
    assert sprite.scale_flags == 3
    assert sprite.layer == "main"
    assert list(scene.get_layer("main").objects) == [sprite]


def test_record_defaults(scene):
    define("plain")
    sprite = Sprite("plain")
    assert sprite.origin == Vector(0, 0)
    assert sprite.dimensions == Vector(0, 0)
    assert sprite.colour == Colour(1, 1, 1, 1)
    assert sprite.scale_flags == -1
    assert sprite.layer == ""


def test_record_layer_missing_from_the_scene_leaves_the_sprite_in_none(scene):
    define("lost", layer="nowhere")
    assert Sprite("lost").layer == ""


def test_unknown_id_gives_an_empty_white_sprite(scene):
    sprite = Sprite("no such sprite")
    assert sprite.data_id == ""
    assert sprite.origin == Vector(0, 0)
    assert sprite.dimensions == Vector(0, 0)
    assert [sprite.colours[i] for i in range(4)] == [Colour(1, 1, 1, 1)] * 4
    assert sprite.alpha_stops == []


def test_load_takes_a_path_or_a_file_like_object(scene, tmp_path):
    path = tmp_path / "sprites.xml"
    path.write_text('<Sprites><Sprite id="from_file" dimensions="1 2"/></Sprites>')
    assert sprite_database.load(str(path), "") is True
    assert Sprite("from_file").dimensions == Vector(1, 2)
    assert sprite_database.load(io.StringIO('<Sprite id="from_text" dimensions="3 4"/>'), "") is True
    assert Sprite("from_text").dimensions == Vector(3, 4)
    assert sprite_database.load(io.BytesIO(b'<Sprite id="from_bytes" dimensions="5 6"/>')) is True
    assert Sprite("from_bytes").dimensions == Vector(5, 6)


def test_load_finds_relative_paths_through_the_path_database(scene, tmp_path):
    (tmp_path / "relative_sprites.xml").write_text('<Sprite id="relative" origin="7 8"/>')
    libcore.PathDatabase.add_root(str(tmp_path))
    try:
        assert sprite_database.load("relative_sprites.xml", "") is True
    finally:
        libcore.PathDatabase.remove_root(str(tmp_path))
    assert Sprite("relative").origin == Vector(7, 8)


def test_load_of_a_missing_file_returns_true_and_defines_nothing(scene, tmp_path):
    assert sprite_database.load(str(tmp_path / "absent.xml"), "") is True
    assert Sprite("anything").data_id == ""


def test_load_of_an_unsupported_source_raises_type_error(scene):
    with pytest.raises(TypeError):
        sprite_database.load(5, "")
    with pytest.raises(TypeError):
        sprite_database.load(io.StringIO("<Sprite id='x'/>"), 5)


def test_unload_forgets_records_and_sprites_keep_theirs(scene):
    define("kept", dimensions="9 9")
    before = Sprite("kept")
    sprite_database.unload()
    assert before.data_id == "kept"
    assert before.dimensions == Vector(9, 9)
    after = Sprite("kept")
    assert after.data_id == ""
    define("kept", dimensions="1 1")  # the id can be defined anew
    assert Sprite("kept").dimensions == Vector(1, 1)


def test_first_definition_wins(scene):
    load('<Sprites><Sprite id="twice" origin="1 2" colour="1 0 0"/>'
         '<Sprite id="twice" origin="3 4" colour="0 1 0" dimensions="5 5"/></Sprites>')
    load('<Sprite id="twice" origin="5 6"/>')
    sprite = Sprite("twice")
    assert sprite.origin == Vector(1, 2)
    assert sprite.colour == Colour(1, 0, 0, 1)
    assert sprite.dimensions == Vector(0, 0)


def test_element_without_id_and_other_elements_are_skipped(scene):
    load('<Sprites><Sprite origin="1 1"/><Other id="other"/><sprite id="lower"/>'
         '<Group><Sprite id="nested" origin="2 2"/></Group></Sprites>')
    assert Sprite("other").data_id == ""
    assert Sprite("lower").data_id == ""
    assert Sprite("nested").origin == Vector(2, 2)


def test_malformed_xml_keeps_what_came_before_and_warns(scene, caplog):
    caplog.set_level(logging.WARNING)
    assert load('<Sprites><Sprite id="before"/><Sprite id="broken" origin="1 1"></Sprites>'
                '<Sprite id="after"/>') is True
    assert Sprite("before").data_id == "before"
    assert Sprite("broken").data_id == "broken"
    assert Sprite("after").data_id == ""
    libcore.Log.flush()
    assert any(r.levelno == logging.WARNING and r.name.startswith("engine.") for r in caplog.records)


def test_unparsable_values_give_defaults(scene):
    define("odd", origin="left", dimensions="wide", colour="sky blue", scale_flags="many")
    sprite = Sprite("odd")
    assert sprite.origin == Vector(0, 0)
    assert sprite.dimensions == Vector(0, 0)
    assert sprite.colour == Colour(1, 1, 1, 1)
    assert sprite.scale_flags == 0  # by atoi


def test_colour_in_hexadecimal_form(scene):
    define("hex", colour="#ff8000")
    c = Sprite("hex").colour
    assert (c.r, c.b, c.a) == (1, 0, 1)
    assert c.g == pytest.approx(128 / 255)


def test_texture_path_is_joined_to_the_base_path(scene, graphics_log):
    load('<Sprites><Sprite id="a" texture="a.png"/><Sprite id="b" texture="/abs/b.png"/></Sprites>', "base")
    load('<Sprite id="c" texture="c.png"/>', "base/")
    load('<Sprite id="d" texture="d.png"/>', "")
    load('<Sprite id="e" texture="sub/e.png"/>', "/root")
    sprites = [Sprite(i) for i in "abcde"]
    loads = messages(graphics_log)
    for path in ["base/a.png", "/abs/b.png", "base/c.png", "d.png", "/root/sub/e.png"]:
        assert f"Loading texture from '{path}' asynchronously." in loads
    del sprites
    settle()


def test_texture_is_loaded_on_first_use_and_released_after_the_last(pictures, scene, graphics_log):
    path = pictures.solid("used.png")
    define("used", texture=path)
    assert not any(path in m for m in messages(graphics_log))
    a = Sprite("used")
    b = Sprite("used")
    assert messages(graphics_log).count(f"Loading texture from '{path}' asynchronously.") == 1
    settle()
    del a
    gc.collect()
    texture_database.purge()
    assert f"Releasing texture '{path}'." not in messages(graphics_log)
    del b
    gc.collect()
    texture_database.purge()
    assert f"Releasing texture '{path}'." in messages(graphics_log)


def test_auto_load_loads_at_once_and_keeps_the_texture(pictures, scene, graphics_log):
    path = pictures.solid("pinned.png")
    define("pinned", texture=path, auto_load="true")
    assert f"Loading texture from '{path}' asynchronously." in messages(graphics_log)
    sprite = Sprite("pinned")
    del sprite
    settle()
    gc.collect()
    texture_database.purge()
    assert f"Releasing texture '{path}'." not in messages(graphics_log)
    sprite_database.unload()  # the record, and with it the pin, goes
    texture_database.purge()
    assert f"Releasing texture '{path}'." in messages(graphics_log)


def test_auto_load_other_than_true_does_not_pin(pictures, scene, graphics_log):
    path = pictures.solid("not_pinned.png")
    define("loose", texture=path, auto_load="True")
    assert not any(path in m for m in messages(graphics_log))


def test_force_full_resolution_false_or_zero_follow_the_switch(pictures, scene):
    def size(name):
        return tuple(Texture(pictures.path(f"{name}.png")).dimensions)

    # With the switch on, every record's texture is loaded at full size.
    define("on", texture=pictures.solid("on.png", 8, 8), force_full_resolution="false", auto_load="true")
    settle()
    assert size("on") == (8, 8)
    texture_database.full_resolution = False
    try:
        for name, force in [("forced", "true"), ("default", None), ("false", "false"), ("zero", "0"),
                            ("no", "no")]:
            attributes = {"auto_load": "true"} if force is None else {"auto_load": "true",
                                                                        "force_full_resolution": force}
            define(name, texture=pictures.solid(f"{name}.png", 8, 8), **attributes)
        settle()
    finally:
        texture_database.full_resolution = True
    assert {name: size(name) for name in ["forced", "default", "false", "zero", "no"]} == {
        "forced": (8, 8), "default": (8, 8), "false": (4, 4), "zero": (4, 4), "no": (8, 8)}


def test_wrong_argument_types_raise_type_error(scene):
    with pytest.raises(TypeError):
        Sprite(5)
    with pytest.raises(TypeError):
        Sprite()
    sprite = Sprite("none")
    with pytest.raises(TypeError):
        sprite.fade(1, 0, 0, 1, "not a texture")
    with pytest.raises(TypeError):
        sprite.fade(1, 0, 0)
    with pytest.raises(TypeError):
        sprite.origin = "here"
    with pytest.raises(TypeError):
        sprite.set_alpha_stop("left", 1)


def test_data_id_is_read_only(scene):
    with pytest.raises(AttributeError):
        Sprite("x").data_id = "y"


# The script surface ----------------------------------------------------------------------

def test_properties_take_tuples(scene):
    sprite = Sprite("none")
    sprite.origin = (1, 2)
    sprite.dimensions = Vector(3, 4)
    sprite.colour = (0.5, 0.25, 0)
    assert sprite.origin == Vector(1, 2)
    assert sprite.dimensions == Vector(3, 4)
    assert sprite.colour == Colour(0.5, 0.25, 0, 1)


def test_colour_reads_corner_zero_and_writes_all_corners(scene):
    sprite = Sprite("none")
    sprite.colours[0] = (1, 0, 0, 1)
    sprite.colours[2] = (0, 1, 0, 1)
    assert sprite.colour == Colour(1, 0, 0, 1)
    sprite.colour = Colour(0, 0, 1, 0.5)
    assert [sprite.colours[i] for i in range(4)] == [Colour(0, 0, 1, 0.5)] * 4


def test_colours_proxy_indexing(scene):
    sprite = Sprite("none")
    corners = [Colour(1, 0, 0, 1), Colour(0, 1, 0, 1), Colour(0, 0, 1, 1), Colour(1, 1, 0, 1)]
    for i, c in enumerate(corners):
        sprite.colours[i] = c
    colours = sprite.colours
    assert len(colours) == 4
    assert [colours[i] for i in range(4)] == corners
    assert colours[-1] == corners[3]
    assert colours[-4] == corners[0]
    assert colours[True] == corners[1]  # a bool is an int


def test_colours_proxy_setitem_writes_one_corner(scene):
    sprite = Sprite("none")
    sprite.colours[-1] = (0, 0, 0, 0)
    assert sprite.colours[3] == Colour(0, 0, 0, 0)
    assert [sprite.colours[i] for i in range(3)] == [Colour(1, 1, 1, 1)] * 3


@pytest.mark.parametrize("key, message", [(4, "4"), (-5, "-1"), (100, "100"), ("x", "x"),
                                          (1.5, "Unsupported key."), (None, "Unsupported key."),
                                          ((0,), "Unsupported key.")])
def test_colours_proxy_bad_keys_raise_index_error(scene, key, message):
    sprite = Sprite("none")
    with pytest.raises(IndexError) as error:
        sprite.colours[key]
    assert str(error.value) == message
    with pytest.raises(IndexError) as error:
        sprite.colours[key] = (0, 0, 0, 0)
    assert str(error.value) == message
    assert [sprite.colours[i] for i in range(4)] == [Colour(1, 1, 1, 1)] * 4


def test_colours_proxy_setitem_with_a_wrong_value_raises_type_error(scene):
    sprite = Sprite("none")
    with pytest.raises(TypeError):
        sprite.colours[0] = 5
    with pytest.raises(ValueError, match="is not a colour"):
        sprite.colours[0] = "red"


def test_colours_proxy_keeps_its_sprite_alive(scene):
    sprite = Sprite("none")
    alive = weakref.ref(sprite)
    colours = sprite.colours
    colours[1] = (0.5, 0.5, 0.5, 1)
    del sprite
    gc.collect()
    assert alive() is not None
    assert colours[1] == Colour(0.5, 0.5, 0.5, 1)
    del colours
    gc.collect()
    assert alive() is None


def test_alpha_stops_are_sorted_and_replace_equal_positions(scene):
    sprite = Sprite("none")
    sprite.set_alpha_stop(1, 1)
    sprite.set_alpha_stop(0, 0)
    sprite.set_alpha_stop(0.5, 0.25)
    sprite.set_alpha_stop(position=0.5, alpha=0.75)
    assert sprite.alpha_stops == [(0.0, 0.0), (0.5, 0.75), (1.0, 1.0)]
    sprite.clear_alpha_stops()
    assert sprite.alpha_stops == []


def test_sprites_are_freed_when_dropped(scene):
    define("freed", layer="main")
    sprite = Sprite("freed")
    gone = weakref.ref(sprite)
    scene.remove_object(sprite)
    del sprite
    gc.collect()
    assert gone() is None


def test_fade_end_keeps_the_target_alpha(pictures, scene):
    sprite = white_sprite(pictures)
    sprite.colours[1] = (1, 0, 0, 1)
    sprite.fade(1, 0.25, 0, 1, transition_texture(pictures, "plain.png", (0, 0, 0), (0, 0, 0)))
    scene.update(0.5)
    assert sprite.colours[0].a == 1
    scene.update(0.5)
    scene.update(0.1)
    assert [sprite.colours[i].a for i in range(4)] == [0.25] * 4
    assert sprite.colours[1] == Colour(1, 0, 0, 0.25)


# Drawing -------------------------------------------------------------------------------------

def test_sprite_covers_exactly_its_rectangle(pictures, scene, window):
    sprite = white_sprite(pictures, dimensions="40 20")
    sprite.position = (100, 50)
    frame = Frame(window, scene)
    assert frame.covered() == (100, 50, 140, 70)
    assert frame[100, 50] == WHITE
    assert frame[139, 69] == WHITE
    for outside in [(99, 50), (140, 50), (100, 49), (100, 70)]:
        assert frame[outside] == BLACK


def test_origin_shifts_the_rectangle(pictures, scene, window):
    sprite = white_sprite(pictures, dimensions="40 20", origin="20 10")
    sprite.position = (100, 50)
    assert Frame(window, scene).covered() == (80, 40, 120, 60)


def test_world_transform_applies(pictures, scene, window):
    sprite = white_sprite(pictures, dimensions="40 20")
    sprite.position = (100, 50)
    sprite.scale = (2, 3)
    assert Frame(window, scene).covered() == (100, 50, 180, 110)


def test_untextured_record_draws_its_colour(scene, window):
    define("flat", dimensions="30 30", colour="0 1 0", layer="main")
    sprite = Sprite("flat")
    sprite.position = (10, 10)
    frame = Frame(window, scene)
    assert frame[20, 20] == (0, 255, 0, 255)
    assert frame.covered() == (10, 10, 40, 40)


def test_untextured_sprite_drawn_after_a_textured_one_draws_its_colour(pictures, scene, window):
    define("textured", texture=pictures.solid("green.png", colour=(0, 255, 0, 255)), dimensions="30 30",
           bottom_right="1 1", layer="main")
    define("flat", dimensions="30 30", colour="1 0 0", layer="main")
    first = Sprite("textured")
    second = Sprite("flat")  # drawn after the first: same z, added later
    second.position = (50, 0)
    settle()
    frame = Frame(window, scene)
    assert frame[15, 15] == (0, 255, 0, 255)
    assert frame[65, 15] == (255, 0, 0, 255)
    del first, second


def test_record_whose_texture_cannot_be_read_draws_untextured(pictures, scene, window):
    define("broken", texture=pictures.path("missing.png"), dimensions="30 30", colour="1 0 0", layer="main")
    sprite = Sprite("broken")
    settle()
    frame = Frame(window, scene)
    assert frame[15, 15] == (255, 0, 0, 255)
    del sprite


def test_unknown_or_invisible_sprites_draw_nothing(pictures, scene, window):
    unknown = Sprite("unknown")
    scene.add_object(unknown, "main")
    unknown.dimensions = (100, 100)
    hidden = white_sprite(pictures, dimensions="50 50")
    hidden.visible = False
    assert Frame(window, scene).covered() is None


def test_texture_colour_is_multiplied_by_the_corner_colours(pictures, scene, window):
    define("tinted", texture=pictures.solid("grey.png", colour=(128, 255, 255, 255)), dimensions="20 20",
           bottom_right="1 1", colour="1 0.5 1 1", layer="main")
    Sprite("tinted")
    settle()
    assert close(Frame(window, scene)[10, 10], (128, 128, 255, 255))


def test_corner_colours_interpolate_between_the_corners(pictures, scene, window):
    sprite = white_sprite(pictures, dimensions="200 100")
    sprite.position = (100, 100)
    sprite.colours[0] = (1, 0, 0, 1)  # at -origin: the top left on screen
    sprite.colours[1] = (0, 1, 0, 1)  # right of it
    sprite.colours[2] = (0, 0, 1, 1)  # opposite
    sprite.colours[3] = (1, 1, 1, 1)  # below corner 0
    frame = Frame(window, scene)
    assert close(frame[100, 100], (255, 0, 0, 255), 8)
    assert close(frame[299, 100], (0, 255, 0, 255), 8)
    assert close(frame[299, 199], (0, 0, 255, 255), 8)
    assert close(frame[100, 199], (255, 255, 255, 255), 8)
    # Between corners 0 and 1 along the top edge: half of each.
    assert close(frame[200, 100], (128, 128, 0, 255), 8)


def test_corner_alpha_blends_with_the_background(pictures, scene, window):
    sprite = white_sprite(pictures, dimensions="20 20")
    sprite.colour = (1, 1, 1, 0.5)
    assert close(Frame(window, scene)[10, 10], (128, 128, 128), 2)


@pytest.mark.parametrize("top_left, bottom_right, colour", [
    ("0 0", "0.5 0.5", (255, 0, 0)),
    ("0.5 0", "1 0.5", (0, 255, 0)),
    ("0 0.5", "0.5 1", (0, 0, 255)),
    ("0.5 0.5", "1 1", (255, 255, 0)),
])
def test_texture_coordinates_select_one_cell_of_a_sheet(pictures, scene, window, top_left, bottom_right, colour):
    # A 64 x 64 sheet of four 32 x 32 cells: red, green on the first rows, blue, yellow below.
    cells = [(255, 0, 0), (0, 255, 0), (0, 0, 255), (255, 255, 0)]
    rows = []
    for y in range(64):
        row = []
        for x in range(64):
            row += cells[(y // 32) * 2 + x // 32]
        rows.append(row)
    sheet = pictures.write("sheet.png", 64, 64, rows, images.RGB)
    define("cell", texture=sheet, dimensions="64 64", top_left=top_left, bottom_right=bottom_right, layer="main")
    sprite = Sprite("cell")
    sprite.position = (200, 200)
    settle()
    frame = Frame(window, scene)
    expected = colour + (255,)
    # The cell is magnified twice: away from its border it shows its colour exactly.
    for y in range(203, 261):
        for x in range(203, 261):
            assert frame[x, y] == expected, (x, y)
    # At the border, linear filtering mixes in some of the next cells, but less than
    # half: the nearest of the sheet's colours is still the cell's own.
    for x, y in [(200, 200), (263, 200), (263, 263), (200, 263), (231, 200), (200, 231), (263, 231)]:
        assert nearest(frame[x, y][:3], cells) == colour, (x, y)
    assert frame.covered() == (200, 200, 264, 264)


def row_brightness(frame, y, xs):
    return [frame[x, y][0] for x in xs]


def test_alpha_stops_from_transparent_to_opaque_brighten_left_to_right(pictures, scene, window):
    sprite = white_sprite(pictures, dimensions="200 20")
    sprite.position = (100, 100)
    sprite.set_alpha_stop(0, 0)
    sprite.set_alpha_stop(1, 1)
    frame = Frame(window, scene)
    values = row_brightness(frame, 110, range(100, 300, 10))
    assert values == sorted(values)
    assert values[0] <= 8
    assert values[-1] >= 240
    assert close((frame[200, 110][0],), (128,), 4)
    # Alpha changes across the width only, not down it.
    assert close(frame[150, 101], frame[150, 118], 3)


def test_three_alpha_stops_make_a_valley(pictures, scene, window):
    sprite = white_sprite(pictures, dimensions="200 20")
    sprite.position = (100, 100)
    for position, alpha in [(0, 1), (0.5, 0), (1, 1)]:
        sprite.set_alpha_stop(position, alpha)
    frame = Frame(window, scene)
    assert frame[101, 110][0] >= 245
    assert frame[200, 110][0] <= 5
    assert frame[298, 110][0] >= 245
    assert close((frame[150, 110][0],), (128,), 4)


def test_alpha_stops_beyond_the_edges_still_make_a_strip(pictures, scene, window):
    sprite = white_sprite(pictures, dimensions="200 20")
    sprite.position = (100, 100)
    sprite.set_alpha_stop(-1, 0)
    sprite.set_alpha_stop(2, 1)
    frame = Frame(window, scene)
    # The strip runs past the rectangle, from x = -100 to x = 500, with alpha 0 to 1.
    assert frame.covered() == (0, 100, 500, 120)
    assert close((frame[50, 110][0],), (64,), 4)
    assert close((frame[200, 110][0],), (128,), 4)


def test_alpha_stop_strip_blends_the_corner_colours(pictures, scene, window):
    sprite = white_sprite(pictures, dimensions="200 20")
    sprite.position = (100, 100)
    sprite.colours[0] = sprite.colours[3] = (1, 0, 0, 1)
    sprite.colours[1] = sprite.colours[2] = (0, 0, 1, 1)
    sprite.set_alpha_stop(0, 1)
    sprite.set_alpha_stop(1, 1)
    frame = Frame(window, scene)
    assert close(frame[100, 110], (255, 0, 0, 255), 4)
    assert close(frame[299, 110], (0, 0, 255, 255), 4)
    assert close(frame[200, 110], (128, 0, 128, 255), 4)


@pytest.mark.parametrize("stops", [[(0, 0)], [(0.5, 0)], [(0.2, 0), (1, 1)], [(0, 0), (0.8, 1)], [(0.1, 0), (0.9, 1)]])
def test_alpha_stops_not_covering_the_width_draw_the_plain_quad(pictures, scene, window, stops):
    sprite = white_sprite(pictures, dimensions="200 20")
    sprite.position = (100, 100)
    for position, alpha in stops:
        sprite.set_alpha_stop(position, alpha)
    frame = Frame(window, scene)
    assert frame[100, 110] == WHITE
    assert frame[200, 110] == WHITE
    assert frame[299, 110] == WHITE
    assert frame.covered() == (100, 100, 300, 120)


def test_cleared_alpha_stops_draw_the_plain_quad(pictures, scene, window):
    sprite = white_sprite(pictures, dimensions="200 20")
    sprite.set_alpha_stop(0, 0)
    sprite.set_alpha_stop(1, 0)
    assert Frame(window, scene).covered() is None
    sprite.clear_alpha_stops()
    assert Frame(window, scene)[100, 10] == WHITE


# Fades ---------------------------------------------------------------------------------------

def full_window_white_sprite(pictures):
    return white_sprite(pictures, "cover", dimensions=f"{WIDTH} {HEIGHT}")


LEFT, RIGHT, MIDDLE_Y = 100, 540, 240
_shader_fades = None  # whether fades dissolve through shader programs (found once)


def shader_fades(pictures, scene, window):
    """Whether this build dissolves (Cg programs) or scales alpha (no Cg): a sprite is
    faded through a half red, half black transition and its halves compared."""
    global _shader_fades
    if _shader_fades is None:
        probe = white_sprite(pictures, "probe", dimensions=f"{WIDTH} {HEIGHT}")
        probe.fade(1, 0, 0, 1, transition_texture(pictures, "probe_transition.png", (255, 0, 0), (0, 0, 0)))
        scene.update(0.4)
        frame = Frame(window, scene)
        _shader_fades = frame[LEFT, MIDDLE_Y] != frame[RIGHT, MIDDLE_Y]
        scene.remove_object(probe)
    return _shader_fades


@pytest.fixture
def dissolving(pictures, scene, window):
    if not shader_fades(pictures, scene, window):
        pytest.skip("no shader programs in this build: fades scale alpha")


@pytest.fixture
def scaling_alpha(pictures, scene, window):
    if shader_fades(pictures, scene, window):
        pytest.skip("the shader programs are in use: fades dissolve")


def test_dissolve_changes_the_red_half_first(pictures, scene, window, dissolving):
    sprite = full_window_white_sprite(pictures)
    sprite.fade(1, 0, 0, 1, transition_texture(pictures, "halves.png", (255, 0, 0), (0, 0, 0)))
    seen = []
    for dt in [0.0, 0.25, 0.15, 0.35]:  # progress 0, 0.25, 0.4, 0.75
        scene.update(dt)
        frame = Frame(window, scene)
        seen.append((frame[LEFT, MIDDLE_Y][0], frame[RIGHT, MIDDLE_Y][0]))
        assert frame[LEFT, 20] == frame[LEFT, MIDDLE_Y]  # screen-fixed: the same down each half
        assert frame[RIGHT, 460] == frame[RIGHT, MIDDLE_Y]
        window.swap_buffers()
    assert seen[0] == (255, 255)  # nothing has changed yet
    assert close(seen[1], (128, 255), 3)  # the red half is half way
    assert seen[2] == (0, 255)  # the red half is gone, the black half untouched
    assert close(seen[3], (0, 128), 3)  # now the black half goes
    scene.update(0.25)
    scene.update(0.1)
    assert sprite.colours[0].a == 0
    assert [sprite.colours[i].a for i in range(4)] == [0, 0, 0, 0]
    assert Frame(window, scene).covered() is None


@pytest.mark.parametrize("progress, alpha", [
    (0.0, 1.0), (0.5, 1.0), (0.7, 1.0), (0.72, 0.8), (0.75, 0.5), (0.78, 0.2), (0.8, 0.0), (0.95, 0.0)])
def test_dissolve_through_black_follows_the_transition_curve(pictures, scene, window, dissolving, progress, alpha):
    # With red 0 everywhere: s = clamp(2p - 1), then clamp(5s - 2); alpha = lerp(from, to, s).
    sprite = full_window_white_sprite(pictures)
    sprite.fade(1, 0, 0, 1, transition_texture(pictures, "black.png", (0, 0, 0), (0, 0, 0)))
    scene.update(progress)
    frame = Frame(window, scene)
    assert close((frame[320, 240][0],), (round(255 * alpha),), 3)
    assert frame[LEFT, MIDDLE_Y] == frame[RIGHT, MIDDLE_Y]


def test_dissolve_starts_at_from_and_ends_at_to(pictures, scene, window):
    sprite = full_window_white_sprite(pictures)
    sprite.fade(0.8, 0.2, 0, 1, transition_texture(pictures, "grey.png", (128, 128, 128), (128, 128, 128)))
    frame = Frame(window, scene)  # not yet updated: progress 0
    assert close(frame[320, 240], (204, 204, 204), 3)
    scene.update(0.999)
    assert close(Frame(window, scene)[320, 240], (51, 51, 51), 3)
    scene.update(0.01)
    assert [sprite.colours[i].a for i in range(4)] == pytest.approx([0.2] * 4)
    assert close(Frame(window, scene)[320, 240], (51, 51, 51), 3)


def test_fade_applies_during_its_delay(pictures, scene, window):
    sprite = full_window_white_sprite(pictures)
    sprite.fade(0.5, 1, 2, 1, transition_texture(pictures, "delayed.png", (0, 0, 0), (0, 0, 0)))
    scene.update(1)
    assert close(Frame(window, scene)[320, 240], (128, 128, 128), 3)


def test_fades_run_one_after_another(pictures, scene, window):
    sprite = full_window_white_sprite(pictures)
    black = transition_texture(pictures, "queue.png", (0, 0, 0), (0, 0, 0))
    sprite.fade(1, 0, 0, 1, black)
    sprite.fade(0, 1, 0, 1, black)
    scene.update(1.5)  # ends the first; the second has not begun
    assert Frame(window, scene).covered() is None
    scene.update(1.0)  # the second runs to its end
    scene.update(0.1)
    assert [sprite.colours[i].a for i in range(4)] == [1, 1, 1, 1]
    assert Frame(window, scene)[320, 240] == WHITE


def test_dissolve_uses_the_sprites_texture_and_colours(pictures, scene, window):
    define("tinted", texture=pictures.solid("tinted.png", colour=(255, 128, 255, 255)),
           dimensions=f"{WIDTH} {HEIGHT}", bottom_right="1 1", colour="1 1 0 1", layer="main")
    sprite = Sprite("tinted")
    settle()
    sprite.fade(1, 0, 0, 1, transition_texture(pictures, "tint_transition.png", (0, 0, 0), (0, 0, 0)))
    assert close(Frame(window, scene)[320, 240], (255, 128, 0, 255), 3)


def test_dissolve_leaves_texture_unit_zero_active(pictures, scene, window):
    sprite = full_window_white_sprite(pictures)
    sprite.fade(1, 0, 0, 1, transition_texture(pictures, "units.png", (255, 0, 0), (0, 0, 0)))
    scene.update(0.25)
    Frame(window, scene)
    assert int(GL.glGetIntegerv(GL.GL_ACTIVE_TEXTURE)) == GL.GL_TEXTURE0
    # And what is drawn next draws normally.
    sprite.fade(1, 1, 0, 0, transition_texture(pictures, "units2.png", (0, 0, 0), (0, 0, 0)))
    scene.update(1)
    scene.update(1)
    assert Frame(window, scene)[LEFT, MIDDLE_Y] == WHITE


def test_sprite_after_a_dissolving_one_draws_normally(pictures, scene, window, dissolving):
    fading = white_sprite(pictures, "fading", dimensions="100 100")
    fading.fade(1, 0, 0, 1, transition_texture(pictures, "after.png", (0, 0, 0), (0, 0, 0)))
    scene.update(0.75)
    define("next", texture=pictures.solid("next.png", colour=(0, 255, 0, 255)), dimensions="100 100",
           bottom_right="1 1", layer="main")
    following = Sprite("next")
    following.position = (200, 0)
    settle()
    frame = Frame(window, scene)
    assert close(frame[50, 50], (128, 128, 128), 3)
    assert frame[250, 50] == (0, 255, 0, 255)


def test_dissolve_works_again_after_a_change_of_video_mode(pictures, scene, dissolving, restore_size):
    window = restore_size
    sprite = full_window_white_sprite(pictures)
    sprite.fade(1, 0, 0, 1, transition_texture(pictures, "mode.png", (255, 0, 0), (0, 0, 0)))
    scene.update(0.4)
    before = Frame(window, scene)
    assert (before[LEFT, MIDDLE_Y][0], before[RIGHT, MIDDLE_Y][0]) == (0, 255)
    window.set_video_mode(WIDTH, HEIGHT + 2, False)
    libgraphics.set_ortho()
    after = Frame(window, scene)
    assert (after[LEFT, MIDDLE_Y][0], after[RIGHT, MIDDLE_Y][0]) == (0, 255)


# Without shader programs (a build without Cg) fades scale alpha uniformly instead.

def test_without_shader_programs_a_fade_scales_alpha_uniformly(pictures, scene, window, scaling_alpha):
    sprite = full_window_white_sprite(pictures)
    sprite.fade(1, 0, 0, 1, transition_texture(pictures, "fallback.png", (255, 0, 0), (0, 0, 0)))
    scene.update(0.4)
    frame = Frame(window, scene)
    # F = (1 - 0.4) * 1 + 0.4 * 0, the same all over.
    assert close(frame[LEFT, MIDDLE_Y], (153, 153, 153), 3)
    assert close(frame[RIGHT, 20], (153, 153, 153), 3)
    scene.update(0.7)
    assert [sprite.colours[i].a for i in range(4)] == [0, 0, 0, 0]


def test_without_shader_programs_the_strips_lower_row_ignores_the_fade(pictures, scene, window, scaling_alpha):
    sprite = full_window_white_sprite(pictures)
    sprite.fade(1, 0, 0, 1, transition_texture(pictures, "strip_fallback.png", (255, 0, 0), (0, 0, 0)))
    scene.update(0.5)
    sprite.set_alpha_stop(0, 1)
    sprite.set_alpha_stop(1, 1)
    frame = Frame(window, scene)
    # Local "bottom" (y = 0) is the window's top: full alpha there, F = 0.5 at the other edge.
    assert close(frame[320, 0], (255, 255, 255), 3)
    assert close(frame[320, HEIGHT - 1], (128, 128, 128), 3)
    assert close(frame[320, HEIGHT // 2], (191, 191, 191), 4)
