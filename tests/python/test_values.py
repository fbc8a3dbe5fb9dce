"""Values in their natural forms: sequences and Vectors wherever a vector is taken,
colour text wherever a colour is, a number for a scale, keywords with script names,
and returned values that refuse a component write instead of ignoring it."""
import io

import pytest

import libgraphics
from libcore import Colour, IntVector, Matrix, Vector
from libgraphics import SceneLayer, Sprite, Texture, Transform, sprite_database
from libwindow import VideoMode


@pytest.fixture
def scene(gl):
    s = libgraphics.Scene()
    s.add_layer(SceneLayer("main", 0, 0, True))
    sprite_database.unload()
    sprite_database.load(io.StringIO('<Sprites><Sprite id="dot" dimensions="4 4" layer="main"/></Sprites>'))
    yield s
    sprite_database.unload()


# --- vectors ----------------------------------------------------------------------

@pytest.mark.parametrize("value", [(3, 4), [3, 4], (3.0, 4.0), Vector(3, 4)])
def test_a_vector_is_taken_as_a_tuple_a_list_or_a_vector(value):
    t = Transform()
    t.position = value
    assert t.position == Vector(3, 4)
    assert Matrix(value, 0).translation == Vector(3, 4)


@pytest.mark.parametrize("value", [(640, 480), [640, 480], IntVector(640, 480)])
def test_an_int_vector_is_taken_as_a_tuple_a_list_or_an_int_vector(value):
    assert VideoMode(value).resolution == IntVector(640, 480)


# --- colours ----------------------------------------------------------------------

@pytest.mark.parametrize("text, expected", [
    ("#ff0000", (1, 0, 0, 1)),
    ("#FF000080", (1, 0, 0, 128 / 255)),
    ("1, 0.5, 0", (1, 0.5, 0, 1)),
    ("1 0.5 0 0.25", (1, 0.5, 0, 0.25)),
    ("  #00ff00  ", (0, 1, 0, 1)),
])
def test_colour_text_as_data_files_write_it(text, expected):
    assert tuple(Colour(text)) == pytest.approx(expected)
    assert tuple(Colour(text=text)) == pytest.approx(expected)


@pytest.mark.parametrize("value", ["#00ff00", "0 1 0", (0, 1, 0), [0, 1, 0], (0, 1, 0, 1), Colour(0, 1, 0)])
def test_a_colour_is_taken_in_every_form(scene, value):
    sprite = Sprite("dot")
    sprite.colour = value
    assert sprite.colour == Colour(0, 1, 0, 1)


@pytest.mark.parametrize("text", ["red", "#ff00", "#gg0000", "1, 2", "1 2 3 4 5", ""])
def test_text_that_is_no_colour_is_a_value_error(scene, text):
    with pytest.raises(ValueError, match="is not a colour"):
        Colour(text)
    with pytest.raises(ValueError, match="is not a colour"):
        Sprite("dot").colour = text


def test_colour_numbers_still_construct():
    assert tuple(Colour()) == (1, 1, 1, 1)
    assert tuple(Colour(0.5, 0.25, 0)) == (0.5, 0.25, 0, 1)
    assert tuple(Colour(r=0, g=0, b=0, a=0.5)) == (0, 0, 0, 0.5)


# --- a number for a scale ---------------------------------------------------------

def test_a_number_scales_both_axes(scene):
    t = Transform()
    t.scale = 2.0
    assert t.scale == Vector(2, 2)
    t.scale = 3
    assert t.scale == Vector(3, 3)
    t.scale = (1, 0.5)
    assert t.scale == Vector(1, 0.5)
    sprite = Sprite("dot")
    sprite.scale = 0.5
    assert sprite.scale == Vector(0.5, 0.5)
    scene.scale = 2
    assert scene.scale == Vector(2, 2)


def test_a_scale_of_the_wrong_kind_names_both_forms():
    with pytest.raises(TypeError, match=r"^Transform.scale: expected a number, a pair of numbers or a Vector, got str$"):
        Transform().scale = "big"


# --- keywords ---------------------------------------------------------------------

def test_fade_takes_script_names_and_no_transition(scene):
    sprite = Sprite("dot")
    done = []
    sprite.on_fades_finished = lambda: done.append(sprite.colour.a)
    sprite.fade(start=1, end=0.5, delay=0, duration=1)           # uniform: no transition
    sprite.fade(0.5, 0.25, 0, 1, transition=None)
    sprite.fade(0.25, 0, 0, 1, Texture(bytes(4), (1, 1), 4))     # a dissolve
    for _ in range(3):
        scene.update(1.0)
    assert done == [0.0]
    with pytest.raises(TypeError, match="from"):
        sprite.fade(**{"from": 1, "to": 0, "delay": 0, "duration": 1})


def test_texture_keywords_with_defaults(pictures):
    path = pictures.solid("values.png", 2, 2)
    assert Texture(path, asynchronous=False).dimensions == IntVector(2, 2)
    assert Texture(path, force_full_resolution=True).dimensions == IntVector(2, 2)
    assert Texture(path=path, asynchronous=False, force_full_resolution=True).gl_name != 0


def test_every_constructor_and_method_of_several_parameters_takes_keywords(scene):
    t = Transform()
    t.set_rotation_constraint(min=-1, max=1)
    assert (t.min_rotation, t.max_rotation) == (-1, 1)
    layer = SceneLayer(id="keywords", z=1, scale_flags=0, common=True)
    assert scene.add_layer(layer=layer)
    sprite = Sprite(data_id="dot")
    assert scene.add_object(object=sprite, layer_id="main")
    sprite.set_alpha_stop(position=0.5, alpha=0.25)
    assert VideoMode(resolution=(8, 8), fullscreen=False).resolution == IntVector(8, 8)
    assert Matrix(translation=(1, 2), rotation=0).translation == Vector(1, 2)


# --- returned values are copies that say so ---------------------------------------

def test_a_component_write_to_a_returned_vector_raises(scene):
    sprite = Sprite("dot")
    with pytest.raises(AttributeError, match=r"^Sprite.position returns a copy: assign the whole value, "
                                             r"e.g. sprite.position = \(x, y\)$"):
        sprite.position.x = 99
    assert sprite.position == Vector(0, 0)
    with pytest.raises(AttributeError, match=r"^Transform.scale returns a copy"):
        Transform().scale.y = 2
    with pytest.raises(AttributeError, match=r"^Sprite.colour returns a copy: .* = \(r, g, b, a\)$"):
        sprite.colour.r = 0
    with pytest.raises(AttributeError, match=r"^Matrix.translation returns a copy"):
        Matrix().translation.x = 1


def test_a_script_subclass_names_its_engine_class(scene):
    class Ship(Sprite):
        pass
    with pytest.raises(AttributeError, match=r"^Sprite.position returns a copy"):
        Ship("dot").position.x = 1


def test_returned_copies_still_behave_as_values(scene):
    sprite = Sprite("dot")
    sprite.position = (3, 4)
    p = sprite.position
    assert isinstance(p, Vector) and type(p).__name__ == "Vector"
    assert p == Vector(3, 4) and repr(p) == "Vector(3, 4)"
    assert p + Vector(1, 1) == Vector(4, 5)
    moved = p + (0, 0) if False else Vector(p.x + 1, p.y)
    sprite.position = moved
    assert sprite.position == Vector(4, 4)
    # Values made by scripts stay writable.
    v = Vector(1, 2)
    v.x = 5
    assert v == Vector(5, 2)
    c = Colour()
    c.r = 0
    assert c.r == 0


def test_items_of_an_index_proxy_are_copies_that_say_so(scene):
    sprite = Sprite("dot")
    sprite.colours[1] = "#ff0000"
    assert sprite.colours[1] == Colour(1, 0, 0)
    with pytest.raises(AttributeError, match=r"^SpriteProxy items are copies: assign the whole value"):
        sprite.colours[1].g = 1
    assert sprite.colours[1] == Colour(1, 0, 0)
