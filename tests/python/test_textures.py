"""Textures as scripts use them: sharing by path through the texture database, the
background loader, purging and reloading, unreadable files, raw pixels and the
survival of textures across a change of video mode."""
import gc
import io
import logging
import os
import random

import pytest
from OpenGL import GL

import libcore
import libgraphics
from libgraphics import SceneLayer, Sprite, Texture, sprite_database, texture_database, texture_loader

from pictures import images, settle
from waiting import wait_until

GL_CLAMP_TO_EDGE = 0x812F
GL_RGBA8 = 0x8058


# Fixtures and helpers ----------------------------------------------------------------

def messages(caplog, level=None):
    libcore.Log.flush()  # messages of the loader thread
    return [r.getMessage() for r in caplog.records
            if r.name == "engine.graphics" and (level is None or r.levelno == level)]


def loads_of(caplog, path):
    return [m for m in messages(caplog) if m.startswith(f"Loading texture from '{path}'")]


def dimensions(texture):
    return tuple(texture.dimensions)


def gl_window_pixels():
    return libgraphics.get_window().read_pixels()


def texels(texture, fmt=GL.GL_RGBA):
    """The texture's level-0 picture as bytes, rows as uploaded (first row first)."""
    GL.glBindTexture(GL.GL_TEXTURE_2D, texture.gl_name)
    GL.glPixelStorei(GL.GL_PACK_ALIGNMENT, 1)
    data = bytes(GL.glGetTexImage(GL.GL_TEXTURE_2D, 0, fmt, GL.GL_UNSIGNED_BYTE))
    GL.glBindTexture(GL.GL_TEXTURE_2D, 0)
    return data


def internal_format(texture):
    GL.glBindTexture(GL.GL_TEXTURE_2D, texture.gl_name)
    value = int(GL.glGetTexLevelParameteriv(GL.GL_TEXTURE_2D, 0, GL.GL_TEXTURE_INTERNAL_FORMAT))
    GL.glBindTexture(GL.GL_TEXTURE_2D, 0)
    return value


# Sharing and the loader ------------------------------------------------------------

def test_handles_of_one_path_share_one_load(pictures, graphics_log):
    path = pictures.solid("shared.png", 8, 4)
    before = len(texture_database)
    a = Texture(path)
    b = Texture(path)
    assert len(texture_database) == before + 1
    settle()
    assert a.gl_name != 0
    assert a.gl_name == b.gl_name
    assert dimensions(a) == dimensions(b) == (8, 4)
    assert loads_of(graphics_log, path) == [f"Loading texture from '{path}' asynchronously."]


def test_paths_are_matched_exactly(pictures):
    path = pictures.solid("exact.png", 4, 4)
    a = Texture(path)
    b = Texture("./" + path)
    settle()
    assert a.gl_name != 0 and b.gl_name != 0
    assert a.gl_name != b.gl_name  # two entries, though the file is the same


def test_asynchronous_load_waits_for_a_script_poll(pictures, graphics_log):
    texture = Texture(pictures.solid("polled.png", 4, 2))
    # The loader decodes in queue order on one thread: once it has warned about a
    # corrupt file queued after this one, this one's pixels are decoded too.
    marker = pictures.corrupt("after_polled.png")
    later = Texture(marker)
    wait_until(lambda: any(marker in m for m in messages(graphics_log, logging.WARNING)),
               what="the loader to decode both files")
    assert texture.gl_name == 0  # decoded, but only handed to OpenGL by the script thread
    assert dimensions(texture) == (0, 0)
    settle()  # the marker's warning comes just before its own result is handed back
    assert texture.gl_name != 0
    assert dimensions(texture) == (4, 2)
    assert later.gl_name == 0


def test_synchronous_load_is_ready_at_once(pictures, graphics_log):
    path = pictures.solid("now.png", 6, 2)
    texture = Texture(path, False, False)
    assert texture.gl_name != 0
    assert dimensions(texture) == (6, 2)
    assert loads_of(graphics_log, path) == [f"Loading texture from '{path}' synchronously."]


def test_keyword_arguments(pictures):
    texture = Texture(path=pictures.solid("keywords.png", 2, 2), asynchronous=False, force_full_resolution=False)
    assert dimensions(texture) == (2, 2)


def test_loading_is_false_when_nothing_was_queued(gl):
    settle()
    assert texture_loader.loading is False
    assert texture_loader.loading is False


def test_loading_is_true_while_a_load_is_pending(pictures):
    # A large picture first: the loader decodes in queue order, so every load waits
    # behind a decode of a million pixels while the script asks.
    large = pictures.write_bytes("pending_large.png", images.png_bytes(1024, 1024, [bytes(3072)] * 1024, images.RGB))
    paths = [large] + [pictures.solid(f"pending{i}.png", 64, 64) for i in range(8)]
    textures = [Texture(p) for p in paths]
    assert texture_loader.loading is True
    settle()
    assert texture_loader.loading is False
    assert all(t.gl_name != 0 for t in textures)


def test_loader_singleton_is_registered_in_lower_case():
    assert type(texture_loader).__name__ == "texture_loader"
    assert libcore.Factory.get_class("TextureLoader") is type(texture_loader)
    assert isinstance(texture_database, libgraphics.TextureDatabase)
    assert libcore.Factory.get_class("TextureDatabase") is libgraphics.TextureDatabase
    assert libcore.Factory.get_class("Texture") is Texture


def test_drawing_a_pending_texture_waits_for_it(pictures, graphics_log):
    """A bind of a texture still being decoded waits for it (and says so)."""
    path = pictures.solid("waited.png", 4, 4, (0, 255, 0, 255))
    sprite_database.load(io.StringIO(f'<Sprite id="{path}" texture="{path}" dimensions="20 20" layer="main"/>'))
    scene = libgraphics.Scene()
    scene.add_layer(SceneLayer("main", 0, 0, True))
    try:
        sprite = Sprite(path)  # queues the texture; nothing polls "loading"
        GL.glClear(GL.GL_COLOR_BUFFER_BIT)
        scene.render()
        width, height, data = gl_window_pixels()
        assert tuple(data[(10 * width + 10) * 4:(10 * width + 10) * 4 + 4]) == (0, 255, 0, 255)
        assert f"Waiting on texture '{path}'." in messages(graphics_log)
        del sprite
    finally:
        sprite_database.unload()


# Resolution --------------------------------------------------------------------------

def test_full_resolution_is_on_by_default_and_writable(gl):
    assert texture_database.full_resolution is True
    texture_database.full_resolution = False
    try:
        assert texture_database.full_resolution is False
    finally:
        texture_database.full_resolution = True
    assert texture_database.full_resolution is True


def test_half_resolution_takes_truncated_means(pictures):
    # 3 x 5 RGBA; the kept 2 x 2 blocks hold 1, 2, 2, 2 (mean 1.75) and 10, 20, 30, 41
    # (mean 25.25); the last row and column are dropped.
    values = [[1, 2, 255], [2, 2, 255], [10, 20, 255], [30, 41, 255], [255, 255, 255]]
    rows = [[v for v in row for _ in range(4)] for row in values]
    path = pictures.write("three_by_five.png", 3, 5, rows)
    texture_database.full_resolution = False
    texture = Texture(path, False, False)
    assert dimensions(texture) == (1, 2)
    assert texels(texture) == bytes([1, 1, 1, 1, 25, 25, 25, 25])


def test_forced_full_resolution_ignores_the_switch(pictures):
    texture_database.full_resolution = False
    texture = Texture(pictures.solid("forced.png", 8, 8), True, True)
    settle()
    assert dimensions(texture) == (8, 8)


def test_second_acquire_with_force_does_not_reload(pictures, graphics_log):
    path = pictures.solid("halved.png", 8, 8)
    texture_database.full_resolution = False
    half = Texture(path)
    settle()
    assert dimensions(half) == (4, 4)
    name = half.gl_name
    forced = Texture(path, True, True)
    forced_now = Texture(path, False, True)
    settle()
    assert dimensions(forced) == dimensions(forced_now) == (4, 4)
    assert forced.gl_name == forced_now.gl_name == name
    assert len(loads_of(graphics_log, path)) == 1


def test_full_resolution_switch_affects_only_later_loads(pictures):
    early_path = pictures.solid("early.png", 8, 8)
    late_path = pictures.solid("late.png", 8, 8)
    early = Texture(early_path)
    settle()
    assert dimensions(early) == (8, 8)
    texture_database.full_resolution = False
    assert dimensions(early) == (8, 8)
    late = Texture(late_path)
    settle()
    assert dimensions(late) == (4, 4)
    # Reloads keep each texture's own choice, whatever the switch says now.
    texture_database.full_resolution = True
    texture_database.reload()
    assert dimensions(early) == (8, 8)
    assert dimensions(late) == (4, 4)
    texture_database.full_resolution = False
    texture_database.reload()
    assert dimensions(early) == (8, 8)
    assert dimensions(late) == (4, 4)


# Purge and reload ------------------------------------------------------------------------

def test_purge_while_loads_are_pending_frees_nothing(pictures):
    unused = Texture(pictures.solid("unused.png", 4, 4))
    settle()
    del unused  # now held by the table only
    size = len(texture_database)
    data = images.png_bytes(256, 256, images.solid(256, 256, (10, 20, 30)), images.RGB)
    paths = [pictures.write_bytes(f"slow{i}.png", data) for i in range(20)]
    pending = [Texture(p) for p in paths]
    assert len(texture_database) == size + 20
    texture_database.purge()
    assert len(texture_database) == size + 20
    settle()
    assert all(dimensions(t) == (256, 256) for t in pending)


def test_purge_after_loading_frees_what_only_the_table_holds(pictures, graphics_log):
    dropped_path = pictures.solid("dropped.png", 4, 4)
    kept_path = pictures.solid("kept.png", 4, 4)
    dropped = Texture(dropped_path)
    kept = Texture(kept_path)
    settle()
    dropped_name, kept_name = dropped.gl_name, kept.gl_name
    del dropped
    size = len(texture_database)
    texture_database.purge()
    assert len(texture_database) <= size - 1
    assert f"Releasing texture '{dropped_path}'." in messages(graphics_log)
    assert f"Releasing texture '{kept_path}'." not in messages(graphics_log)
    assert not GL.glIsTexture(dropped_name)
    assert kept.gl_name == kept_name and GL.glIsTexture(kept_name)
    # Asked for again, the dropped one is loaded anew.
    again = Texture(dropped_path)
    assert len(loads_of(graphics_log, dropped_path)) == 2
    settle()
    assert dimensions(again) == (4, 4)


def test_purge_frees_everything_unused_at_once(pictures):
    textures = [Texture(pictures.solid(f"many{i}.png", 2, 2)) for i in range(10)]
    settle()
    size = len(texture_database)
    del textures
    texture_database.purge()
    assert len(texture_database) <= size - 10


def test_failed_path_stays_shared_until_purged(pictures, graphics_log):
    path = pictures.missing("later.png")
    first = Texture(path)
    settle()
    assert first.gl_name == 0
    pictures.solid("later.png", 2, 2)  # the file appears
    second = Texture(path)
    settle()
    assert second.gl_name == 0  # the same failed data
    assert len(loads_of(graphics_log, path)) == 1
    del first, second
    texture_database.purge()
    third = Texture(path)
    settle()
    assert dimensions(third) == (2, 2)


def test_reload_reads_the_files_again(pictures, graphics_log):
    path = pictures.solid("changing.png", 8, 8)
    texture = Texture(path)
    settle()
    assert dimensions(texture) == (8, 8)
    pictures.solid("changing.png", 16, 4, (1, 2, 3, 4))
    texture_database.reload()
    assert dimensions(texture) == (16, 4)
    assert texture.gl_name != 0
    assert texels(texture)[:4] == bytes([1, 2, 3, 4])
    assert loads_of(graphics_log, path)[-1] == f"Loading texture from '{path}' synchronously."


def test_reload_of_a_file_gone_leaves_an_empty_texture(pictures):
    path = pictures.solid("vanishing.png", 4, 4)
    texture = Texture(path)
    settle()
    os.remove(pictures.full_path("vanishing.png"))
    texture_database.reload()
    assert texture.gl_name == 0
    assert dimensions(texture) == (0, 0)


def test_raw_textures_are_not_in_the_table(gl):
    size = len(texture_database)
    texture = Texture(bytes(16), (2, 2), 4)
    assert len(texture_database) == size
    texture_database.purge()
    texture_database.reload()  # unnamed data are skipped
    assert texture.gl_name != 0
    assert GL.glIsTexture(texture.gl_name)


# Unreadable files --------------------------------------------------------------------------

UNREADABLE = ["palette", "grey", "grey_alpha", "corrupt", "missing"]


@pytest.mark.parametrize("kind", UNREADABLE)
@pytest.mark.parametrize("asynchronous", [True, False])
def test_unreadable_files_give_valid_empty_textures(pictures, kind, asynchronous):
    path = getattr(pictures, kind)(f"{kind}.png")
    texture = Texture(path, asynchronous, False)
    settle()
    assert texture.gl_name == 0
    assert dimensions(texture) == (0, 0)


def test_file_that_is_no_png_gives_an_empty_texture(pictures):
    texture = Texture(pictures.write_bytes("text.png", b"hello, not a picture"), False, False)
    assert texture.gl_name == 0
    empty = Texture(pictures.write_bytes("empty.png", b""), False, False)
    assert empty.gl_name == 0


def test_corrupt_file_logs_a_warning_when_loaded_now(pictures, graphics_log):
    path = pictures.corrupt("corrupt_now.png")
    Texture(path, False, False)
    warnings = messages(graphics_log, logging.WARNING)
    assert len(warnings) == 1
    assert path in warnings[0]


def test_corrupt_file_logs_a_warning_when_loaded_in_the_background(pictures, graphics_log):
    path = pictures.corrupt("corrupt_later.png")
    texture = Texture(path)
    settle()
    assert texture.gl_name == 0
    warnings = messages(graphics_log, logging.WARNING)
    assert len(warnings) == 1
    assert path in warnings[0]


@pytest.mark.parametrize("kind, why", [("palette", "colour type palette (bit depth"),
                                       ("grey", "colour type grey (bit depth"),
                                       ("missing", "not found (searched ")])
def test_refused_files_say_why_once(pictures, graphics_log, kind, why):
    path = getattr(pictures, kind)(f"quiet_{kind}.png")
    Texture(path, False, False)
    assert messages(graphics_log, logging.INFO) == [f"Loading texture from '{path}' synchronously."]
    warnings = messages(graphics_log, logging.WARNING)
    assert len(warnings) == 1 and path in warnings[0] and why in warnings[0]


def test_sixteen_bit_rgb_loads_as_eight_bit(pictures):
    texture = Texture(pictures.deep("deep.png"))
    settle()
    assert texture.gl_name != 0
    assert dimensions(texture) == (2, 1)
    assert internal_format(texture) in (3, GL.GL_RGB)
    assert texels(texture, GL.GL_RGB) == bytes([0x12, 0xFF, 0x00, 0x80, 0x7F, 0x00])


def test_loaded_pixels_are_as_in_the_file(pictures):
    rows = [[10, 20, 30, 40, 50, 60, 70, 80], [90, 100, 110, 120, 130, 140, 150, 160]]
    texture = Texture(pictures.write("exact_pixels.png", 2, 2, rows), False, False)
    assert internal_format(texture) in (4, GL.GL_RGBA)
    assert texels(texture) == bytes(rows[0] + rows[1])
    rgb = Texture(pictures.write("exact_rgb.png", 1, 2, [[1, 2, 3], [4, 5, 6]], images.RGB), False, False)
    assert internal_format(rgb) in (3, GL.GL_RGB)
    assert texels(rgb, GL.GL_RGB) == bytes([1, 2, 3, 4, 5, 6])


# Raw pixels ------------------------------------------------------------------------------

def test_raw_rgb_bytes_upload_as_rgb(gl):
    pixels = bytes(range(1, 3 * 3 * 2 + 1))  # 3 x 2, rows of 9 bytes
    texture = Texture(pixels, (3, 2), 3)
    assert texture.gl_name != 0
    assert dimensions(texture) == (3, 2)
    assert internal_format(texture) in (3, GL.GL_RGB)
    assert texels(texture, GL.GL_RGB) == pixels  # first row first, no padding


@pytest.mark.parametrize("fmt", [4, GL_RGBA8])
def test_raw_bytes_of_any_other_format_upload_as_rgba_with_that_internal_format(gl, fmt):
    pixels = bytes(range(100, 116))
    texture = Texture(pixels, (2, 2), fmt)
    assert texture.gl_name != 0
    assert internal_format(texture) == fmt
    assert texels(texture) == pixels


def test_raw_bytes_from_any_buffer(gl):
    pixels = bytearray(range(16))
    a = Texture(pixels, (2, 2), 4)
    b = Texture(memoryview(bytes(pixels)), (2, 2), 4)
    pixels[:] = bytes(16)  # only read during the call
    assert texels(a) == texels(b) == bytes(range(16))
    assert a.gl_name != b.gl_name


def test_raw_bytes_of_nothing_upload_nothing(gl):
    assert Texture(b"", (0, 0), 4).gl_name == 0
    assert Texture(bytes(16), (2, 2), 0).gl_name == 0
    empty = Texture(b"", (0, 4), 3)
    assert empty.gl_name == 0
    assert dimensions(empty) == (0, 0)


def test_raw_bytes_too_few_for_the_dimensions_raise(gl):
    with pytest.raises(ValueError):
        Texture(bytes(11), (2, 2), 3)
    with pytest.raises(ValueError):
        Texture(bytes(15), (2, 2), 4)
    with pytest.raises(ValueError):
        Texture(bytes(16), (-1, 2), 4)
    with pytest.raises(TypeError):
        Texture("not bytes but a path", (2, 2), 4)


def test_wrong_argument_types_raise_type_error():
    with pytest.raises(TypeError):
        Texture(5)
    with pytest.raises(TypeError):
        Texture(None)
    with pytest.raises(TypeError):
        Texture("a.png", "yes")
    with pytest.raises(TypeError):
        Texture(bytes(16), (2, 2))


def test_dimensions_are_read_only_and_wrap_mode_defaults_to_clamp(gl):
    texture = Texture(bytes(16), (2, 2), 4)
    with pytest.raises(AttributeError):
        texture.dimensions = (1, 1)
    assert texture.wrap_mode == GL_CLAMP_TO_EDGE
    texture.wrap_mode = GL.GL_REPEAT
    assert texture.wrap_mode == GL.GL_REPEAT


# Binding through drawing --------------------------------------------------------------------

def draw_textured_sprite(pictures, name, colour=(0, 0, 255, 255)):
    """Draws a 20 x 20 sprite of a solid picture at the window's top left; returns the
    top-left pixel."""
    path = pictures.solid(name, 4, 4, colour)
    sprite_database.load(io.StringIO(f'<Sprite id="{path}" texture="{path}" dimensions="20 20" layer="main"/>'))
    scene = libgraphics.Scene()
    scene.add_layer(SceneLayer("main", 0, 0, True))
    sprite = Sprite(path)
    settle()
    GL.glClear(GL.GL_COLOR_BUFFER_BIT)
    scene.render()
    width, height, data = gl_window_pixels()
    del sprite
    sprite_database.unload()
    return tuple(data[(5 * width + 5) * 4:(5 * width + 5) * 4 + 4])


def test_drawing_with_unit_zero_keeps_the_active_unit(pictures):
    # A script that leaves another unit active breaks the baseline; with the check off
    # nothing puts it back, and binding for unit 0 still does not switch units.
    libgraphics.GLState.set_checking(False)
    GL.glActiveTexture(GL.GL_TEXTURE1)
    try:
        draw_textured_sprite(pictures, "unit.png")
        assert int(GL.glGetIntegerv(GL.GL_ACTIVE_TEXTURE)) == GL.GL_TEXTURE1
    finally:
        GL.glActiveTexture(GL.GL_TEXTURE0)
        libgraphics.GLState.apply()


def test_drawing_leaves_unit_zero_active(pictures):
    assert draw_textured_sprite(pictures, "unit0.png") == (0, 0, 255, 255)
    assert int(GL.glGetIntegerv(GL.GL_ACTIVE_TEXTURE)) == GL.GL_TEXTURE0


def test_textures_survive_a_change_of_video_mode(pictures, restore_size):
    window = restore_size
    path = pictures.solid("survivor.png", 4, 4, (255, 128, 0, 255))
    texture = Texture(path)
    settle()
    assert draw_textured_sprite(pictures, "survivor_sprite.png", (255, 128, 0, 255)) == (255, 128, 0, 255)
    window.set_video_mode(320, 240, False)
    libgraphics.set_ortho()
    assert texture.gl_name != 0
    assert GL.glIsTexture(texture.gl_name)
    assert dimensions(texture) == (4, 4)
    assert texels(texture)[:4] == bytes([255, 128, 0, 255])
    # A sprite whose texture was loaded before the change still draws it.
    sprite_database.load(io.StringIO(f'<Sprite id="s" texture="{path}" dimensions="20 20" layer="main"/>'))
    scene = libgraphics.Scene()
    scene.add_layer(SceneLayer("main", 0, 0, True))
    try:
        sprite = Sprite("s")
        GL.glClearColor(0, 0, 0, 1)
        GL.glClear(GL.GL_COLOR_BUFFER_BIT)
        scene.render()
        width, height, data = window.read_pixels()
        assert (width, height) == (320, 240)
        assert tuple(data[(5 * width + 5) * 4:(5 * width + 5) * 4 + 4]) == (255, 128, 0, 255)
        assert tuple(data[(25 * width + 25) * 4:(25 * width + 25) * 4 + 4]) == (0, 0, 0, 255)
        del sprite
    finally:
        sprite_database.unload()
    window.set_video_mode(640, 480, False)
    libgraphics.set_ortho()
    assert texels(texture)[:4] == bytes([255, 128, 0, 255])


def test_textures_pending_during_a_change_of_video_mode_still_arrive(pictures, restore_size):
    window = restore_size
    textures = [Texture(pictures.solid(f"in_flight{i}.png", 8, 8, (i, 0, 0, 255))) for i in range(10)]
    window.set_video_mode(400, 300, False)
    settle()
    for i, texture in enumerate(textures):
        assert texture.gl_name != 0
        assert texels(texture)[:4] == bytes([i, 0, 0, 255])


# The loader under stress -----------------------------------------------------------------

def test_loader_under_stress(pictures, graphics_log):
    rng = random.Random(7)
    good = {}
    for i in range(30):
        w, h = 2 + i % 7, 2 + i % 5
        good[pictures.solid(f"stress{i}.png", w, h, (i, 2 * i, 3 * i, 255))] = (w, h)
    good[pictures.deep("stress_deep.png")] = (2, 1)
    bad = [pictures.palette("stress_palette.png"), pictures.corrupt("stress_corrupt.png"),
           pictures.grey("stress_grey.png"), pictures.missing("stress_missing.png")]
    paths = list(good) + bad
    handles = []
    for i in range(600):
        path = rng.choice(paths)
        if i % 11 == 0:
            handles.append((path, Texture(path, False, rng.random() < 0.5)))
        else:
            handles.append((path, Texture(path)))
        if i % 3 == 0 and handles:
            handles.pop(rng.randrange(len(handles)))  # some go while still pending
        if i % 17 == 0:
            texture_database.purge()
        if i % 5 == 0:
            texture_loader.loading
        if i % 97 == 0:
            texture_database.full_resolution = not texture_database.full_resolution
    texture_database.full_resolution = True
    settle()
    assert texture_loader.loading is False
    for path, texture in handles:
        if path in good:
            # Some were loaded at half resolution while the switch was off (the 2 x 1
            # picture then has no rows left and is not uploaded).
            w, h = good[path]
            if dimensions(texture) == (0, 0):
                assert (w // 2) * (h // 2) == 0, path
                assert texture.gl_name == 0, path
            else:
                assert dimensions(texture) in ((w, h), (w // 2, h // 2)), path
                assert texture.gl_name != 0, path
        else:
            assert texture.gl_name == 0, path
            assert dimensions(texture) == (0, 0), path
    del handles, texture
    gc.collect()
    texture_database.purge()
    # Every entry of this test was freed: a new acquire of each path loads it again.
    graphics_log.clear()
    again = [Texture(p) for p in paths]
    assert all(len(loads_of(graphics_log, p)) == 1 for p in paths)
    settle()
    assert all(t.gl_name != 0 for p, t in zip(paths, again) if p in good)
    assert all(t.gl_name == 0 for p, t in zip(paths, again) if p not in good)


def test_many_distinct_files_at_once(pictures):
    data = images.png_bytes(32, 32, images.solid(32, 32, (9, 8, 7, 255)))
    paths = [pictures.write_bytes(f"bulk{i}.png", data) for i in range(300)]
    textures = [Texture(p) for p in paths]
    polls = 0

    def loaded():
        nonlocal polls
        polls += 1
        if polls % 50 == 0:
            texture_database.purge()  # purges between polls must not lose a pending load
        return not texture_loader.loading

    wait_until(loaded, timeout=30.0, what="300 textures to load")
    assert all(dimensions(t) == (32, 32) for t in textures)
    assert len({t.gl_name for t in textures}) == 300
