"""Frame animation from sprite sheets: a sprite's texture rectangle and flips change at
run time, sheets (Aseprite and TexturePacker JSON, plain grids) load into the sprite
database as records and frame sequences, and SceneObjectAnimatorFrames plays them.
Pictures are read back from the window; bad sheets give one warning each."""
import io
import json
import logging
import math

import pytest

import libcore
import libgraphics
from libcore import Vector
from libgraphics import SceneLayer, SceneObjectAnimatorFrames, Sprite, sprite_database

from pictures import images, rendered, settle

RED, GREEN, BLUE, YELLOW = (255, 0, 0), (0, 255, 0), (0, 0, 255), (255, 255, 0)
CYAN, MAGENTA, WHITE = (0, 255, 255), (255, 0, 255), (255, 255, 255)
STRIP = [RED, GREEN, BLUE, YELLOW]   # the four 8 x 8 frames of the strip sheet
SCALE = 4                             # sprites are drawn four times their size


@pytest.fixture
def scene(gl, pictures):
    s = libgraphics.Scene()
    s.add_layer(SceneLayer("main", 0, 0, True))
    sprite_database.unload()
    yield s
    for layer in range(s.get_num_layers()):
        for o in list(s.get_layer(layer).objects):
            s.remove_object(o)
    sprite_database.unload()


def messages(caplog):
    libcore.Log.flush()
    return [r.getMessage() for r in caplog.records if r.name == "engine.graphics" and r.levelno >= logging.WARNING]


def close(pixel, colour, tolerance=8):
    return all(abs(p - q) <= tolerance for p, q in zip(pixel[:3], colour))


def picture(pictures, name, width, height, colour_at):
    """Writes a width x height RGBA PNG whose pixel (x, y), top row first, is colour_at(x, y)."""
    rows = [[c for x in range(width) for c in (*colour_at(x, y), 255)] for y in range(height)]
    return pictures.write(name, width, height, rows, images.RGBA)


def strip(pictures, name="strip.png"):
    return picture(pictures, name, 32, 8, lambda x, y: STRIP[x // 8])


def quadrants(x, y, w, h):
    """An upright w x h frame: red top left, green top right, blue bottom left, yellow bottom right."""
    return [[RED, GREEN], [BLUE, YELLOW]][2 * y // h][2 * x // w]


def place(sprite, x=100, y=100):
    sprite.position = (x, y)
    sprite.scale = (SCALE, SCALE)


def colour_at_centre(pixel, sprite, fx, fy):
    """The drawn pixel at fraction (fx, fy) of the sprite's rectangle (0, 0: its first corner)."""
    ox, oy = sprite.origin.x, sprite.origin.y
    x = sprite.position.x + (fx * sprite.dimensions.x - ox) * SCALE
    y = sprite.position.y + (fy * sprite.dimensions.y - oy) * SCALE
    return pixel(int(x), int(y))


def aseprite(image, layout="hash", durations=(125, 250, 375, 500), tags=()):
    frames = [{"filename": f"strip {i}.aseprite", "frame": {"x": 8 * i, "y": 0, "w": 8, "h": 8},
               "rotated": False, "trimmed": False, "spriteSourceSize": {"x": 0, "y": 0, "w": 8, "h": 8},
               "sourceSize": {"w": 8, "h": 8}, "duration": d} for i, d in enumerate(durations)]
    if layout == "hash":
        frames = {f.pop("filename"): f for f in frames}
    return json.dumps({"frames": frames, "meta": {"app": "http://www.aseprite.org/", "image": image,
                                                   "size": {"w": 32, "h": 8}, "frameTags": list(tags)}})


def steps(animator, scene, dt, count):
    """The frame index shown after each of `count` updates of dt."""
    shown = []
    for _ in range(count):
        scene.update(dt)
        shown.append(animator.frame)
    return shown


# The texture rectangle and flips ----------------------------------------------------------

@pytest.mark.parametrize("batching", [True, False])
def test_texture_rectangle_changes_at_run_time(window, scene, pictures, batching):
    scene.batching = batching
    sprite_database.add("cell", texture=strip(pictures), dimensions=(8, 8), bottom_right=(0.25, 1), layer="main")
    sprite = Sprite("cell")
    place(sprite)
    settle()
    assert close(colour_at_centre(rendered(window, scene), sprite, 0.5, 0.5), RED)
    sprite.top_left, sprite.bottom_right = (0.5, 0), (0.75, 1)
    assert sprite.top_left == Vector(0.5, 0) and sprite.bottom_right == Vector(0.75, 1)
    assert close(colour_at_centre(rendered(window, scene), sprite, 0.5, 0.5), BLUE)


@pytest.mark.parametrize("batching", [True, False])
def test_flips_mirror_the_picture_about_the_origin(window, scene, pictures, batching):
    scene.batching = batching
    image = picture(pictures, "quad.png", 8, 8, lambda x, y: quadrants(x, y, 8, 8))
    sprite_database.add("quad", texture=image, dimensions=(8, 8), origin=(2, 2), layer="main")
    sprite = Sprite("quad")
    place(sprite)
    settle()
    # Unflipped, the red quarter lies left of and above the origin's mirror image.
    at = lambda pixel, dx, dy: pixel(100 + dx * SCALE, 100 + dy * SCALE)  # noqa: E731
    pixel = rendered(window, scene)
    assert close(at(pixel, -1, -1), RED) and close(at(pixel, 3, -1), GREEN) and close(at(pixel, 3, 3), YELLOW)
    sprite.flip_x = True
    pixel = rendered(window, scene)
    assert close(at(pixel, 1, -1), RED) and close(at(pixel, -3, -1), GREEN) and close(at(pixel, -3, 3), YELLOW)
    assert at(pixel, 5, 0)[:3] == (0, 0, 0), "a flip mirrors about the origin: nothing stays right of it"
    sprite.flip_y = True
    pixel = rendered(window, scene)
    assert close(at(pixel, 1, 1), RED) and close(at(pixel, -3, -3), YELLOW)
    sprite.flip_x = False
    pixel = rendered(window, scene)
    assert close(at(pixel, -1, 1), RED) and close(at(pixel, 3, -3), YELLOW)
    assert sprite.flip_y and not sprite.flip_x


# Loading sheets -------------------------------------------------------------------------

@pytest.mark.parametrize("layout", ["hash", "array"])
def test_aseprite_sheet_gives_records_durations_and_tags(scene, pictures, layout, tmp_path):
    image = strip(pictures)
    path = tmp_path / f"{pictures.prefix}-crab.json"
    path.write_text(aseprite(image, layout, tags=[{"name": "walk", "from": 1, "to": 3, "direction": "forward"},
                                                  {"name": "back", "from": 0, "to": 2, "direction": "reverse"},
                                                  {"name": "bob", "from": 0, "to": 2, "direction": "pingpong"}]))
    assert sprite_database.load_sheet(str(path), id="crab", image=image, layer="main") == 4
    crab = Sprite("crab")
    assert sorted(crab.animations) == ["", "back", "bob", "walk"]
    assert crab.dimensions == Vector(8, 8)
    assert crab.top_left == Vector(0, 0) and crab.bottom_right == Vector(0.25, 1)
    for i in range(4):
        frame = Sprite(f"crab/{i}")
        assert frame.top_left == Vector(i / 4, 0) and frame.bottom_right == Vector((i + 1) / 4, 1)
        assert Sprite(f"crab/strip {i}.aseprite").top_left == frame.top_left
    # Durations in milliseconds: 1/8, 2/8, 3/8 and 4/8 s, stepped by 1/16 s.
    animator = SceneObjectAnimatorFrames()
    crab.add_animator("play", animator)
    assert steps(animator, scene, 0.0625, 20) == [0, 1, 1, 1, 1, 2, 2, 2, 2, 2, 2, 3, 3, 3, 3, 3, 3, 3, 3, 0]


def test_a_sheet_named_by_its_path_finds_its_picture_beside_it(window, scene, pictures):
    image = strip(pictures)
    (pictures.directory / pictures.path("walker.json")).write_text(aseprite(image))
    # Found through the path database; the picture's name is relative to the sheet.
    assert sprite_database.load_sheet(pictures.path("walker.json"), layer="main") == 4
    sprite = Sprite(pictures.path("walker"))
    sprite.show_frame(2)
    place(sprite)
    settle()
    assert close(colour_at_centre(rendered(window, scene), sprite, 0.5, 0.5), BLUE)


def test_a_sheet_from_a_file_like_object_needs_an_id(scene, pictures):
    image = strip(pictures)
    with pytest.raises(ValueError, match="needs an id"):
        sprite_database.load_sheet(io.StringIO(aseprite(image)))
    assert sprite_database.load_sheet(io.BytesIO(aseprite(image).encode()), id="bytes", image=image) == 4
    with pytest.raises(TypeError):
        sprite_database.load_sheet(42)


@pytest.mark.parametrize("direction, expected", [
    ("forward", [1, 2, 0, 1, 2, 0, 1]),
    ("reverse", [1, 0, 2, 1, 0, 2, 1]),
    ("pingpong", [1, 2, 1, 0, 1, 2, 1]),
    ("pingpong_reverse", [1, 0, 1, 2, 1, 0, 1]),
])
def test_tag_directions_order_the_frames(scene, pictures, direction, expected):
    image = strip(pictures)
    sheet = aseprite(image, durations=(100,) * 4, tags=[{"name": "t", "from": 0, "to": 2, "direction": direction}])
    sprite_database.load_sheet(io.StringIO(sheet), id="s", image=image, layer="main")
    animator = SceneObjectAnimatorFrames("t")
    Sprite("s").add_animator("play", animator)
    assert steps(animator, scene, 0.1, 7) == expected


def test_direction_argument_overrides_the_tag(scene, pictures):
    image = strip(pictures)
    sheet = aseprite(image, durations=(100,) * 4, tags=[{"name": "t", "from": 0, "to": 3, "direction": "forward"}])
    sprite_database.load_sheet(io.StringIO(sheet), id="s", image=image, layer="main")
    animator = SceneObjectAnimatorFrames("t", direction="reverse")
    Sprite("s").add_animator("play", animator)
    assert steps(animator, scene, 0.1, 5) == [2, 1, 0, 3, 2]


def test_frames_show_in_pixels_as_the_animation_goes(window, scene, pictures):
    image = strip(pictures)
    sprite_database.load_sheet(io.StringIO(aseprite(image, durations=(100,) * 4)), id="s", image=image,
                               layer="main", pivot=(0.5, 0.5))
    sprite = Sprite("s")
    place(sprite)
    sprite.add_animator("play", SceneObjectAnimatorFrames())
    settle()
    seen = []
    for _ in range(5):
        scene.update(0.1)
        pixel = rendered(window, scene)
        seen.append(min(STRIP + [WHITE], key=lambda c: sum((a - b) ** 2 for a, b in zip(pixel(100, 100), c))))
    assert seen == [GREEN, BLUE, YELLOW, RED, GREEN]


def test_fps_replaces_the_frame_durations(scene, pictures):
    image = strip(pictures)
    sprite_database.load_sheet(io.StringIO(aseprite(image, durations=(1000,) * 4)), id="s", image=image,
                               layer="main")
    animator = SceneObjectAnimatorFrames(fps=20)
    Sprite("s").add_animator("play", animator)
    assert animator.fps == 20
    assert steps(animator, scene, 0.05, 5) == [1, 2, 3, 0, 1]


def test_finite_loops_finish_on_the_last_frame_and_call_on_finished(scene, pictures):
    image = strip(pictures)
    sprite_database.load_sheet(io.StringIO(aseprite(image, durations=(100,) * 4)), id="s", image=image,
                               layer="main")
    sprite = Sprite("s")
    animator = SceneObjectAnimatorFrames(loops=2)
    finished = []
    sprite.add_animator("play", animator, on_finished=lambda: finished.append(animator.frame))
    shown = steps(animator, scene, 0.1, 7)
    assert shown == [1, 2, 3, 0, 1, 2, 3] and finished == [] and sprite.get_animator("play") is animator
    scene.update(0.1)   # the last frame has shown its 0.1 s
    assert finished == [3] and sprite.get_animator("play") is None
    assert sprite.top_left == Vector(0.75, 0), "the last frame stays"
    assert animator.loops_done == 2


def test_a_ping_pong_loop_ends_where_it_began(scene, pictures):
    image = strip(pictures)
    sheet = aseprite(image, durations=(100,) * 4, tags=[{"name": "t", "from": 0, "to": 2, "direction": "pingpong"}])
    sprite_database.load_sheet(io.StringIO(sheet), id="s", image=image, layer="main")
    sprite = Sprite("s")
    animator = SceneObjectAnimatorFrames("t", loops=1)
    finished = []
    sprite.add_animator("play", animator, on_finished=lambda: finished.append(True))
    assert steps(animator, scene, 0.1, 4) == [1, 2, 1, 0] and not finished
    scene.update(0.1)
    assert finished == [True] and animator.frame == 0


def test_a_long_step_passes_whole_loops_at_once(scene, pictures):
    image = strip(pictures)
    sprite_database.load_sheet(io.StringIO(aseprite(image, durations=(100,) * 4)), id="s", image=image,
                               layer="main")
    animator = SceneObjectAnimatorFrames()
    Sprite("s").add_animator("play", animator)
    scene.update(1e30)   # must not walk 10^31 frames
    assert 0 <= animator.frame < 4
    scene.update(float("nan"))
    assert 0 <= animator.frame < 4


def test_show_frame_picks_a_frame_of_a_sequence(scene, pictures):
    image = strip(pictures)
    sprite_database.load_sheet(io.StringIO(aseprite(image)), id="s", image=image)
    sprite = Sprite("s")
    sprite.show_frame(2)
    assert sprite.top_left == Vector(0.5, 0)
    sprite.show_frame(-1)
    assert sprite.top_left == Vector(0.75, 0)
    with pytest.raises(IndexError):
        sprite.show_frame(4)
    with pytest.raises(KeyError):
        sprite.show_frame(0, "nope")


@pytest.mark.parametrize("layout", ["hash", "array"])
def test_texturepacker_trimmed_and_rotated_frames_are_placed_upright(window, scene, pictures, layout):
    # Frame "a": 8 x 4 quadrants trimmed out of a 16 x 16 frame at (4, 6), stored upright at (0, 0).
    # Frame "b": the same picture stored turned clockwise, 4 wide and 8 tall, at (8, 0).
    def sheet_pixel(x, y):
        if x < 8 and y < 4:
            return quadrants(x, y, 8, 4)
        if 8 <= x < 12:
            sx, sy = x - 8, y   # stored (sx, sy) holds upright (sy, 3 - sx)
            return quadrants(sy, 3 - sx, 8, 4)
        return WHITE
    image = picture(pictures, "packed.png", 16, 8, sheet_pixel)
    trimmed = {"trimmed": True, "spriteSourceSize": {"x": 4, "y": 6, "w": 8, "h": 4}, "sourceSize": {"w": 16, "h": 16}}
    frames = [dict(filename="a.png", frame={"x": 0, "y": 0, "w": 8, "h": 4}, rotated=False, **trimmed),
              dict(filename="b.png", frame={"x": 8, "y": 0, "w": 8, "h": 4}, rotated=True, **trimmed)]
    if layout == "hash":
        frames = {f.pop("filename"): f for f in frames}
    sheet = {"frames": frames, "animations": {"both": ["b.png", "a.png"]},
             "meta": {"app": "https://www.codeandweb.com/texturepacker", "image": image, "size": {"w": 16, "h": 8}}}
    assert sprite_database.load_sheet(io.StringIO(json.dumps(sheet)), id="tp", image=image, layer="main",
                                      pivot=(0.5, 0.5)) == 2
    for name, x in (("tp/a.png", 100), ("tp/b.png", 300)):
        sprite = Sprite(name)
        assert sprite.dimensions == Vector(8, 4)
        assert sprite.origin == Vector(4, 2), "the pivot stays at the untrimmed frame's centre"
        place(sprite, x, 200)
    assert Sprite("tp/b.png").rotated and not Sprite("tp/a.png").rotated
    settle()
    pixel = rendered(window, scene)
    for x in (100, 300):
        # Trimmed content spans (-4..4, -2..2) around the pivot, in frame pixels.
        at = lambda dx, dy: pixel(x + int(dx * SCALE), 200 + int(dy * SCALE))  # noqa: E731
        assert close(at(-2, -1), RED), f"sprite at {x}"
        assert close(at(2, -1), GREEN), f"sprite at {x}"
        assert close(at(-2, 1), BLUE), f"sprite at {x}"
        assert close(at(2, 1), YELLOW), f"sprite at {x}"
        assert at(0, 3)[:3] == (0, 0, 0) and at(5, 0)[:3] == (0, 0, 0)
    both = Sprite("tp")
    both.show_frame(0, "both")
    assert both.rotated


def test_grid_with_margin_and_spacing(window, scene, pictures):
    # 2 x 2 cells of 6 pixels, a margin of 2 and spacing of 1: 2 + 6 + 1 + 6 + 2 = 17 pixels.
    colours = [[RED, GREEN], [BLUE, YELLOW]]

    def pixel_of(x, y):
        cx, cy = (x - 2) // 7, (y - 2) // 7
        inside = 0 <= cx < 2 and 0 <= cy < 2 and (x - 2) % 7 < 6 and (y - 2) % 7 < 6
        return colours[cy][cx] if inside else WHITE
    image = picture(pictures, "grid.png", 17, 17, pixel_of)
    assert sprite_database.load_grid("g", image, 2, 2, margin=2, spacing=1, layer="main",
                                     animations={"diagonal": [0, 3]}) == 4
    for i in range(4):
        assert Sprite(f"g/{i}").dimensions == Vector(6, 6)
    assert Sprite("g/3").top_left == Vector(9 / 17, 9 / 17)
    sprites = []
    for i in range(4):
        s = Sprite(f"g/{i}")
        place(s, 60 + 60 * i, 100)
        sprites.append(s)
    settle()
    pixel = rendered(window, scene)
    for i, s in enumerate(sprites):
        assert close(colour_at_centre(pixel, s, 0.5, 0.5), colours[i // 2][i % 2])
        for fx, fy in ((0.2, 0.2), (0.8, 0.8)):   # near the cell's own edges, not the white between
            assert close(colour_at_centre(pixel, s, fx, fy), colours[i // 2][i % 2], tolerance=40)
    g = Sprite("g")
    assert "diagonal" in g.animations
    g.show_frame(1, "diagonal")
    assert g.top_left == Vector(9 / 17, 9 / 17)


def test_grid_cell_size_given(scene, pictures):
    image = strip(pictures)
    assert sprite_database.load_grid("g", image, 2, 1, cell=(8, 8)) == 2
    assert Sprite("g/1").bottom_right == Vector(0.5, 1)


# Bad input ------------------------------------------------------------------------------

def test_frames_outside_the_image_are_skipped_with_one_warning(scene, pictures, graphics_log):
    image = strip(pictures)
    frames = {"in": {"frame": {"x": 0, "y": 0, "w": 8, "h": 8}},
              "out": {"frame": {"x": 30, "y": 0, "w": 8, "h": 8}},
              "below": {"frame": {"x": 0, "y": 4, "w": 8, "h": 8}},
              "turned": {"frame": {"x": 24, "y": 0, "w": 4, "h": 16}, "rotated": True}}
    path = pictures.directory / pictures.path("outside.json")
    path.write_text(json.dumps({"frames": frames, "meta": {"image": image}}))
    assert sprite_database.load_sheet(pictures.path("outside.json"), id="o", base_path="") == 1
    warnings = messages(graphics_log)
    assert len(warnings) == 1
    assert "outside.json" in warnings[0] and "'out'" in warnings[0] and "'below'" in warnings[0]
    assert "'turned'" in warnings[0] and "outside the 32x8 image" in warnings[0]
    assert "'in'" not in warnings[0]
    assert Sprite("o/in").dimensions == Vector(8, 8)


@pytest.mark.parametrize("document", ["{", "[1, 2]", "", "{\"frames\": 3}", "null", "{\"frames\": {}} trailing",
                                      "{\"frames\": {\"a\": {\"frame\": {\"x\": 1e400}}}}", "{\"frames\": NaN}"])
def test_malformed_json_loads_nothing_with_one_warning(scene, pictures, graphics_log, document):
    image = strip(pictures)
    assert sprite_database.load_sheet(io.StringIO(document), id="bad", image=image) == 0
    warnings = messages(graphics_log)
    assert len(warnings) == 1 and "Sprite sheet '<stream>'" in warnings[0]
    assert sprite_database.add("bad", dimensions=(1, 1)), "no record was made"


def test_missing_fields_wrong_types_and_nan_skip_what_they_spoil(scene, pictures, graphics_log):
    image = strip(pictures)
    frames = [{"filename": "good", "frame": {"x": 0, "y": 0, "w": 8, "h": 8}},
              {"filename": "no-frame"},
              {"filename": "text", "frame": {"x": "0", "y": 0, "w": 8, "h": 8}},
              {"filename": "rotated", "frame": {"x": 8, "y": 0, "w": 8, "h": 8}, "rotated": "yes"},
              {"filename": "neg", "frame": {"x": 8, "y": 0, "w": -8, "h": 8}},
              {"filename": "slow", "frame": {"x": 8, "y": 0, "w": 8, "h": 8}, "duration": -5},
              {"filename": "trim", "frame": {"x": 8, "y": 0, "w": 8, "h": 8}, "spriteSourceSize": [1, 2]},
              "not an object"]
    tags = [{"name": "ok", "from": 0, "to": 0}, {"name": "far", "from": 0, "to": 99},
            {"name": "odd", "from": 0, "to": 0, "direction": "sideways"}, {"from": 0, "to": 0}]
    document = json.dumps({"frames": frames, "meta": {"size": {"w": 32, "h": 8}, "frameTags": tags}})
    assert sprite_database.load_sheet(io.StringIO(document), id="m", image=image) == 1
    warnings = messages(graphics_log)
    assert len(warnings) == 1
    for what in ("'no-frame'", "'text'", "'rotated'", "'neg'", "'slow'", "'trim'", "frame 7",
                 "'far'", "'odd'", "frame tag ''"):
        assert what in warnings[0], what
    assert sorted(Sprite("m").animations) == ["", "ok"]


@pytest.mark.parametrize("keywords", [{"pivot": (math.nan, 0)}, {"frame_duration": math.nan},
                                      {"frame_duration": 0}, {"pivot": (math.inf, 0)}, {"pivot": (0, 1e30)}])
def test_nan_and_nonsense_options_load_nothing_with_a_warning(scene, pictures, graphics_log, keywords):
    image = strip(pictures)
    assert sprite_database.load_sheet(io.StringIO(aseprite(image)), id="n", image=image, **keywords) == 0
    assert sprite_database.load_grid("g", image, 4, 1, **keywords) == 0
    warnings = messages(graphics_log)
    assert len(warnings) == 2 and all("nothing loaded" in w for w in warnings)


def test_a_sheet_without_picture_or_size_loads_nothing(scene, pictures, graphics_log):
    document = json.dumps({"frames": {"a": {"frame": {"x": 0, "y": 0, "w": 1, "h": 1}}}})
    assert sprite_database.load_sheet(io.StringIO(document), id="x", image=pictures.missing("none.png")) == 0
    assert sprite_database.load_sheet(pictures.missing("none.json")) == 0
    warnings = messages(graphics_log)
    assert len(warnings) == 2 and "no readable PNG" in warnings[0] and "cannot be read" in warnings[1]


def test_grid_bad_input(scene, pictures, graphics_log):
    image = strip(pictures)
    assert sprite_database.load_grid("g", image, 0, 1) == 0
    assert sprite_database.load_grid("g", image, 1, 1, margin=-1) == 0
    assert sprite_database.load_grid("g", pictures.missing("none.png"), 1, 1) == 0
    assert sprite_database.load_grid("g", image, 2, 1, cell=(20, 8)) == 0
    assert sprite_database.load_grid("g", image, 33, 1) == 0
    assert sprite_database.load_grid("g", image, 4, 1, animations={"a": [0, 3], "b": [0, 7], "c": [-1]}) == 4
    warnings = messages(graphics_log)
    assert len(warnings) == 6
    assert "a grid of 2 x 1 cells does not fit the 32x8 image" in warnings[3]
    assert "a grid of 33 x 1 cells does not fit" in warnings[4]
    assert "animation 'b'" in warnings[5] and "animation 'c'" in warnings[5] and "'a'" not in warnings[5]
    assert sorted(Sprite("g").animations) == ["", "a"]
    with pytest.raises(TypeError):
        sprite_database.load_grid("h", image, 4, 1, animations={"a": 3})


def test_records_already_defined_stay(scene, pictures, graphics_log):
    image = strip(pictures)
    sprite_database.add("s/1", dimensions=(3, 3))
    assert sprite_database.load_sheet(io.StringIO(aseprite(image)), id="s", image=image) == 4
    assert Sprite("s/1").dimensions == Vector(3, 3)
    warnings = messages(graphics_log)
    assert len(warnings) == 1 and "record 's/1' (already defined)" in warnings[0]


def test_animator_arguments_are_checked(scene):
    for kwargs in ({"fps": -1}, {"fps": math.inf}, {"fps": math.nan}, {"loops": -1}, {"direction": "sideways"}):
        with pytest.raises(ValueError):
            SceneObjectAnimatorFrames(**kwargs)
    a = SceneObjectAnimatorFrames("walk", 12, 3, "pingpong")
    assert (a.animation, a.fps, a.loops, a.frame, a.loops_done) == ("walk", 12, 3, -1, 0)


def test_an_unknown_sequence_warns_and_finishes(scene, pictures, graphics_log):
    image = strip(pictures)
    sprite_database.load_sheet(io.StringIO(aseprite(image)), id="s", image=image, layer="main")
    sprite = Sprite("s")
    finished = []
    sprite.add_animator("play", SceneObjectAnimatorFrames("nope"), on_finished=lambda: finished.append(1))
    other = libgraphics.SceneObject()
    scene.add_object(other, "main")
    other.add_animator("play", SceneObjectAnimatorFrames())
    scene.update(0.1)
    assert finished == [1] and sprite.get_animator("play") is None and other.get_animator("play") is None
    warnings = messages(graphics_log)
    assert len(warnings) == 2 and "no frame sequence 'nope'" in warnings[0] and "not a Sprite" in warnings[1]
