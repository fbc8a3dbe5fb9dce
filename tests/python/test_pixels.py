"""Textures made from pixels in memory: Texture.from_pixels from any buffer, names in
the texture database that sprite records find, update_pixels, the survival of the
pixels across a change of video mode, and the errors bad input gets."""
import gc
import io

import numpy
import pytest
from OpenGL import GL
from PIL import Image

import libgraphics
from libgraphics import SceneLayer, Sprite, Texture, sprite_database, texture_database

from pictures import rendered

RED, GREEN, BLUE, WHITE = (255, 0, 0, 255), (0, 255, 0, 255), (0, 0, 255, 255), (255, 255, 255, 255)


def quadrants(size=8, colours=(RED, GREEN, BLUE, WHITE)):
    """RGBA bytes of a size x size picture: top left, top right, bottom left, bottom
    right quarters in the four colours, rows top first."""
    half = size // 2
    rows = []
    for y in range(size):
        for x in range(size):
            rows.append(colours[(y >= half) * 2 + (x >= half)])
    return bytes(channel for pixel in rows for channel in pixel)


def texels(texture, fmt=GL.GL_RGBA):
    """The texture's level-0 picture as bytes, first row first."""
    GL.glBindTexture(GL.GL_TEXTURE_2D, texture.gl_name)
    GL.glPixelStorei(GL.GL_PACK_ALIGNMENT, 1)
    data = bytes(GL.glGetTexImage(GL.GL_TEXTURE_2D, 0, fmt, GL.GL_UNSIGNED_BYTE))
    GL.glBindTexture(GL.GL_TEXTURE_2D, 0)
    return data


@pytest.fixture
def named():
    """Names the test gives textures; forgotten afterwards, whatever the test did."""
    names = []
    yield names
    for name in names:
        texture_database.forget(name)
    gc.collect()


@pytest.fixture
def sprites(gl):
    """A scene with layer "main"; the sprite records the test adds are dropped afterwards."""
    scene = libgraphics.Scene()
    scene.add_layer(SceneLayer("main", 0, 0, True))
    yield scene
    sprite_database.unload()


def draw_record(window, scene, record):
    """Draws a 40 x 40 sprite of `record` at the window's top left; pixel(x, y) of the
    result (rows from the top)."""
    sprite = Sprite(record)
    pixel = rendered(window, scene)
    del sprite
    return pixel


def assert_quadrants(pixel, colours=(RED, GREEN, BLUE, WHITE)):
    # Pixel 10 of 40 samples the texels 1 and 2 of an 8-texel side: both in one quarter.
    assert [pixel(10, 10), pixel(30, 10), pixel(10, 30), pixel(30, 30)] == list(colours)


# Making textures from pixels -------------------------------------------------------------

def test_rgba_bytes_draw_with_their_first_row_at_the_top(sprites, named):
    named.append("quadrants")
    Texture.from_pixels(8, 8, quadrants(), name="quadrants")
    sprite_database.add("q", texture="quadrants", dimensions=(40, 40), layer="main")
    assert_quadrants(draw_record(libgraphics.get_window(), sprites, "q"))


def test_rgb_bytes_upload_as_opaque_rgb(gl):
    rgb = bytes(c for i in range(0, len(quadrants()), 4) for c in quadrants()[i:i + 3])
    texture = Texture.from_pixels(8, 8, rgb, "RGB")
    assert tuple(texture.dimensions) == (8, 8)
    assert texels(texture) == quadrants()


@pytest.mark.parametrize("kind", ["bytes", "bytearray", "memoryview", "numpy", "numpy_flat", "pil"])
def test_any_buffer_gives_the_same_texels(gl, kind):
    data = quadrants()
    source = {
        "bytes": lambda: data,
        "bytearray": lambda: bytearray(data),
        "memoryview": lambda: memoryview(data),
        "numpy": lambda: numpy.frombuffer(data, numpy.uint8).reshape(8, 8, 4),
        "numpy_flat": lambda: numpy.frombuffer(data, numpy.uint8).copy(),
        "pil": lambda: Image.frombytes("RGBA", (8, 8), data).tobytes(),
    }[kind]()
    assert texels(Texture.from_pixels(8, 8, source)) == data


def test_a_pil_picture_loads_in_three_lines(gl):
    picture = Image.new("P", (8, 8))  # a palette picture, as GIFs are
    picture.putpalette([255, 0, 0, 0, 255, 0])
    picture.paste(1, (4, 0, 8, 8))
    image = picture.convert("RGBA")
    texture = Texture.from_pixels(*image.size, image.tobytes())
    assert texels(texture)[:4] == bytes(RED) and texels(texture)[16:20] == bytes(GREEN)


def test_the_caller_may_change_its_buffer_afterwards(gl):
    data = bytearray(quadrants())
    texture = Texture.from_pixels(8, 8, data)
    data[:] = bytes(len(data))
    assert texels(texture) == quadrants()


def test_textures_from_pixels_are_not_in_the_table_without_a_name(gl):
    size = len(texture_database)
    texture = Texture.from_pixels(2, 2, bytes(16))
    assert len(texture_database) == size
    assert texture.path == ""
    assert texture.gl_name != 0


# Names -----------------------------------------------------------------------------------

def test_a_name_enters_the_texture_in_the_database(gl, named):
    named.append("alien")
    texture = Texture.from_pixels(8, 8, quadrants(), name="alien")
    assert "alien" in texture_database
    assert texture.path == "alien"
    # Texture(name) shares the picture instead of looking for a file.
    assert Texture("alien").gl_name == texture.gl_name


def test_a_sprite_record_read_from_xml_names_the_texture(sprites, named):
    named.append("from_xml")
    Texture.from_pixels(8, 8, quadrants(), name="from_xml")
    sprite_database.load(io.StringIO('<Sprite id="x" texture="from_xml" dimensions="40 40" top_left="0 0" '
                                     'bottom_right="1 1" layer="main"/>'))
    assert_quadrants(draw_record(libgraphics.get_window(), sprites, "x"))


def test_a_named_texture_outlives_its_script_handles_and_a_purge(sprites, named):
    named.append("kept")
    Texture.from_pixels(8, 8, quadrants(), name="kept")
    gc.collect()
    texture_database.purge()
    assert "kept" in texture_database
    sprite_database.add("k", texture="kept", dimensions=(40, 40), layer="main")
    assert_quadrants(draw_record(libgraphics.get_window(), sprites, "k"))


def test_forget_frees_the_name_and_sprites_keep_the_picture(sprites, named):
    named.append("gone")
    texture = Texture.from_pixels(8, 8, quadrants(), name="gone")
    assert texture_database.forget("gone") is True
    assert "gone" not in texture_database
    assert texture_database.forget("gone") is False
    assert texels(texture) == quadrants()  # the handle keeps its picture
    Texture.from_pixels(2, 2, bytes(16), name="gone")  # the name is free again
    assert "gone" in texture_database


def test_a_taken_name_raises(pictures, named):
    named.append("taken")
    Texture.from_pixels(2, 2, bytes(16), name="taken")
    with pytest.raises(ValueError, match="already holds 'taken'.*forget"):
        Texture.from_pixels(2, 2, bytes(16), name="taken")
    path = pictures.solid("file.png", 2, 2, (1, 2, 3, 255))
    Texture(path, asynchronous=False)
    with pytest.raises(ValueError, match="already holds"):
        Texture.from_pixels(2, 2, bytes(16), name=path)


def test_bad_names_raise(gl):
    with pytest.raises(ValueError, match="must not be empty"):
        Texture.from_pixels(2, 2, bytes(16), name="")
    with pytest.raises(TypeError, match="name must be a str or None, got int"):
        Texture.from_pixels(2, 2, bytes(16), name=5)


# Updating pixels -------------------------------------------------------------------------

def test_update_pixels_replaces_the_whole_picture(gl):
    texture = Texture.from_pixels(8, 8, quadrants())
    name = texture.gl_name
    swapped = quadrants(colours=(WHITE, BLUE, GREEN, RED))
    texture.update_pixels(swapped)
    assert texture.gl_name == name  # in place: the same GL texture
    assert texels(texture) == swapped


def test_update_pixels_of_a_region_counts_rows_from_the_top(gl):
    texture = Texture.from_pixels(4, 4, bytes(64))
    texture.update_pixels(bytes(RED) * 2, region=(1, 2, 2, 1))
    data = texels(texture)
    changed = [(i // 4 % 4, i // 16) for i in range(0, 64, 4) if data[i:i + 4] != bytes(4)]
    assert changed == [(1, 2), (2, 2)]
    assert data[(2 * 4 + 1) * 4:(2 * 4 + 2) * 4] == bytes(RED)


def test_rgb_updates_of_an_rgba_texture_are_opaque(gl):
    texture = Texture.from_pixels(2, 1, bytes(8))
    texture.update_pixels(bytes([1, 2, 3, 4, 5, 6]), format="RGB")
    assert texels(texture) == bytes([1, 2, 3, 255, 4, 5, 6, 255])


def test_rgba_updates_of_an_rgb_texture_drop_alpha(gl, restore_size):
    texture = Texture.from_pixels(1, 1, bytes(3), "RGB")
    texture.update_pixels(bytes([9, 8, 7, 0]))
    assert texels(texture, GL.GL_RGB) == bytes([9, 8, 7])
    restore_size.set_video_mode(320, 240, False)  # the kept copy was converted too
    libgraphics.set_ortho()
    assert texels(texture, GL.GL_RGB) == bytes([9, 8, 7])


def test_sprites_show_updates_at_once(sprites, named):
    named.append("live")
    texture = Texture.from_pixels(8, 8, quadrants(), name="live")
    sprite_database.add("l", texture="live", dimensions=(40, 40), layer="main")
    sprite = Sprite("l")
    window = libgraphics.get_window()
    assert_quadrants(rendered(window, sprites))
    texture.update_pixels(quadrants(colours=(BLUE, BLUE, RED, RED)))
    assert_quadrants(rendered(window, sprites), (BLUE, BLUE, RED, RED))
    del sprite


def test_bad_updates_raise_and_change_nothing(pictures):
    texture = Texture.from_pixels(4, 4, bytes(64))
    with pytest.raises(ValueError, match=r"region \(3, 0, 2, 1\) must lie inside the picture of 4 x 4"):
        texture.update_pixels(bytes(8), region=(3, 0, 2, 1))
    with pytest.raises(ValueError, match="must lie inside"):
        texture.update_pixels(bytes(0), region=(0, 0, 0, 1))
    with pytest.raises(ValueError, match="must lie inside"):
        texture.update_pixels(bytes(4), region=(-1, 0, 1, 1))
    with pytest.raises(ValueError, match="2 x 1 RGBA pixels take 8 bytes, data has 7"):
        texture.update_pixels(bytes(7), region=(0, 0, 2, 1))
    with pytest.raises(TypeError, match=r"region must be None or \(x, y, width, height\)"):
        texture.update_pixels(bytes(64), region=(0, 0, 4))
    with pytest.raises(TypeError, match="region must be"):
        texture.update_pixels(bytes(64), region=(0, 0, 4.0, 4))
    assert texels(texture) == bytes(64)
    path = pictures.solid("file.png", 2, 2, (1, 2, 3, 255))
    with pytest.raises(ValueError, match="comes from a file; only textures made from pixels"):
        Texture(path, asynchronous=False).update_pixels(bytes(16))


# Context loss ----------------------------------------------------------------------------

def test_pixels_and_their_updates_survive_a_change_of_video_mode(sprites, named, restore_size):
    window = restore_size
    named.append("survivor")
    texture = Texture.from_pixels(8, 8, quadrants(), name="survivor")
    texture.update_pixels(bytes(GREEN) * 4, region=(0, 0, 4, 1))
    expected = texels(texture)
    window.set_video_mode(320, 240, False)
    libgraphics.set_ortho()
    assert texture.gl_name != 0 and GL.glIsTexture(texture.gl_name)
    assert tuple(texture.dimensions) == (8, 8)
    assert texels(texture) == expected
    sprite_database.add("s", texture="survivor", dimensions=(40, 40), layer="main")
    assert_quadrants(draw_record(window, sprites, "s"))


def test_reload_keeps_pictures_made_from_pixels(gl, named):
    named.append("reloaded")
    texture = Texture.from_pixels(8, 8, quadrants(), name="reloaded")
    unnamed = Texture.from_pixels(2, 1, bytes(range(8)))
    texture_database.reload()
    assert texels(texture) == quadrants()
    assert texels(unnamed) == bytes(range(8))


# Bad input -------------------------------------------------------------------------------

@pytest.mark.parametrize("width, height", [(0, 4), (4, 0), (-1, 4), (1, 10**6)])
def test_empty_negative_or_huge_dimensions_raise(gl, width, height):
    with pytest.raises(ValueError, match=f"width and height must be 1 to [0-9]+, got {width} x {height}"):
        Texture.from_pixels(width, height, bytes(16))


def test_a_buffer_of_the_wrong_size_raises(gl):
    with pytest.raises(ValueError, match="2 x 2 RGBA pixels take 16 bytes, data has 15"):
        Texture.from_pixels(2, 2, bytes(15))
    with pytest.raises(ValueError, match="2 x 2 RGB pixels take 12 bytes, data has 16"):
        Texture.from_pixels(2, 2, bytes(16), "RGB")


@pytest.mark.parametrize("fmt", ["BGR", "rgba", "L", "P", ""])
def test_an_unsupported_format_raises_value_error(gl, fmt):
    with pytest.raises(ValueError, match="format must be 'RGBA' or 'RGB'.*convert"):
        Texture.from_pixels(2, 2, bytes(16), fmt)


def test_wrong_types_raise_type_error(gl):
    with pytest.raises(TypeError, match="format must be a str"):
        Texture.from_pixels(2, 2, bytes(16), 4)
    with pytest.raises(TypeError, match="data must be bytes, bytearray, memoryview or another buffer.*got str"):
        Texture.from_pixels(2, 2, "not pixels")
    with pytest.raises(TypeError, match="data must be bytes"):
        Texture.from_pixels(2, 2, [0] * 16)
    with pytest.raises(TypeError):
        Texture.from_pixels("2", 2, bytes(16))


def test_numpy_arrays_must_be_contiguous_bytes(gl):
    array = numpy.zeros((4, 4, 4), numpy.uint8)
    with pytest.raises(TypeError, match="one contiguous block.*ascontiguousarray"):
        Texture.from_pixels(2, 4, array[:, ::2])
    assert texels(Texture.from_pixels(2, 4, numpy.ascontiguousarray(array[:, ::2]))) == bytes(32)
    with pytest.raises(TypeError, match="one byte a channel.*items are 4 bytes \\('f'\\)"):
        Texture.from_pixels(2, 2, numpy.zeros(16, numpy.float32))
