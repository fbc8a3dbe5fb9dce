"""What no script, file or exit may do to the engine: crash it, hang it, or lose its
state. Each test is a fault once found with a small script; the ones that concern the
process as a whole (exit, a hang holding the interpreter lock) run a child interpreter
with a deadline."""
import gc
import io
import logging
import os
import subprocess
import sys
import textwrap
import weakref

import pytest

import libcore
import libgraphics
import libwindow
from libcore import IntVector
from libgraphics import Framebuffer, SceneLayer, SceneObject, Texture, Transform

from pictures import images, settle

INT_MIN, INT_MAX = -2**31, 2**31 - 1


def run_script(source, timeout=60, args=()):
    """Runs `source` in a child interpreter that imports the engine as the tests do;
    returns (exit status, output). A hang fails the test at the deadline."""
    result = subprocess.run([sys.executable, "-c", textwrap.dedent(source), *args], capture_output=True,
                            text=True, timeout=timeout, env=os.environ.copy())
    return result.returncode, result.stdout + result.stderr


LAYER = "robust"


@pytest.fixture
def scene(gl):
    """A fresh scene, current for the test, with one layer."""
    fresh = libgraphics.Scene()
    fresh.add_layer(SceneLayer(LAYER, 0))
    return fresh


# Re-entry from log handlers -----------------------------------------------------------

class Purging(logging.Handler):
    """A game's handler that reacts to engine lines by purging the texture table."""

    def __init__(self):
        super().__init__(logging.INFO)
        self.calls = 0

    def emit(self, record):
        self.calls += 1
        libgraphics.texture_database.purge()


@pytest.fixture
def purging_handler():
    handler = Purging()
    logger = logging.getLogger("engine")
    previous = logger.level
    logger.addHandler(handler)
    logger.setLevel(logging.INFO)
    yield handler
    logger.removeHandler(handler)
    logger.setLevel(previous)


def test_a_log_handler_may_purge_while_a_purge_releases_textures(pictures, purging_handler):
    names = [pictures.solid(f"purge{i}.png", 8, 8) for i in range(20)]
    textures = [Texture(name, False, True) for name in names]
    del textures
    gc.collect()
    libgraphics.texture_database.purge()  # logs "Releasing texture ..." for each
    libcore.Log.flush()
    assert purging_handler.calls >= 20
    assert not any(libcore.PathDatabase.exists(n) is False for n in names)


def test_a_log_handler_may_purge_while_the_context_is_recreated(pictures, purging_handler, restore_size):
    names = [pictures.solid(f"reload{i}.png", 8, 8, (0, 255, 0, 255)) for i in range(10)]
    textures = [Texture(name, False, True) for name in names]
    restore_size.set_video_mode(200, 150, False)  # every texture reloads and logs
    libcore.Log.flush()
    assert purging_handler.calls >= 10
    assert all(t.gl_name != 0 for t in textures)  # held textures survive the purges


def test_log_lines_reach_handlers_after_the_engine_call_returns(pictures, caplog):
    caplog.set_level(logging.INFO, "engine")
    seen = []

    class During(logging.Handler):
        def emit(self, record):
            seen.append(record.getMessage())

    handler = During()
    logging.getLogger("engine").addHandler(handler)
    try:
        Texture(pictures.solid("after.png"), False, True)
        assert any("after.png" in m for m in seen)  # delivered by the time the call returned
    finally:
        logging.getLogger("engine").removeHandler(handler)


# Files that once hung or crashed ------------------------------------------------------

def lower_case_iend(pictures, name):
    good = pictures.full_path("template.png")
    images.write_png(good, 8, 8, [bytes(32)] * 8)
    data = open(good, "rb").read()
    end = data.rindex(b"IEND")
    return pictures.write_bytes(name, data[:end] + b"iEND" + data[end + 4:])


def test_a_png_ending_in_an_unknown_chunk_is_refused_synchronously(pictures, caplog):
    name = lower_case_iend(pictures, "iend_sync.png")
    with caplog.at_level(logging.WARNING, "engine.graphics"):
        texture = Texture(name, False, True)
    assert texture.gl_name == 0
    assert any("Cannot decode texture" in r.getMessage() and name in r.getMessage() for r in caplog.records)


def test_a_png_ending_in_an_unknown_chunk_does_not_stop_the_loader(pictures):
    bad = Texture(lower_case_iend(pictures, "iend_async.png"))
    good = Texture(pictures.solid("after_iend.png", 8, 8))
    settle(timeout=20)
    assert bad.gl_name == 0
    assert tuple(good.dimensions) == (8, 8) and good.gl_name != 0


def test_exit_with_a_stuck_looking_file_and_queued_loads_ends_cleanly(tmp_path):
    status, output = run_script(f"""
        import logging, os, sys
        sys.path.insert(0, {os.path.join(os.path.dirname(__file__))!r})
        import libcore, libgraphics, libwindow
        from libgraphics import *
        from pictures import images

        class Collect(logging.Handler):
            def emit(self, record):
                pass

        logging.getLogger("engine").addHandler(Collect())
        window = libwindow.Window(64, 64, "exit")
        libgraphics.set_window(window)
        libcore.PathDatabase.add_root({str(tmp_path)!r})
        for i in range(30):
            images.write_png(os.path.join({str(tmp_path)!r}, f"q{{i}}.png"), 256, 256, [bytes(1024)] * 256)
        textures = [libgraphics.Texture(f"q{{i}}.png") for i in range(30)]
        print("exiting", flush=True)
    """, timeout=60)
    assert status == 0, output
    assert "exiting" in output


# Scene walks ---------------------------------------------------------------------------

def test_an_object_replacing_itself_at_the_front_waits_for_the_next_update(scene):
    visits = []

    class Respawning(SceneObject):
        def OnUpdate(self, dt):
            visits.append(self)
            assert len(visits) < 1000, "the update pass did not end"
            self.layer = ""
            scene.remove_object(self)
            replacement = Respawning()
            replacement.z = -1.0
            replacement.layer = LAYER

    first = Respawning()
    first.layer = LAYER
    scene.update(0.1)
    assert len(visits) == 1
    scene.update(0.1)
    assert len(visits) == 2


def test_objects_joining_after_the_current_one_wait_for_the_next_pass(scene):
    count = []

    class Breeding(SceneObject):
        def OnUpdate(self, dt):
            count.append(1)
            child = Breeding()
            child.z = self.z + 1.0  # behind this one, in the part of the pass still to come
            child.layer = LAYER

    Breeding().layer = LAYER
    scene.update(0.1)
    assert len(count) == 1
    scene.update(0.1)
    assert len(count) == 3


# Sizes handed to OpenGL ----------------------------------------------------------------

@pytest.mark.parametrize("size", [(2**31 - 1, 1), (2**30, 16), (1, 10**8), (100000, 100000)])
def test_framebuffer_sizes_beyond_the_context_are_refused_with_a_warning(gl, caplog, size):
    fb = Framebuffer()
    with caplog.at_level(logging.WARNING, "engine.graphics"):
        assert fb.create(size) is False
    assert any("Cannot create a framebuffer" in r.getMessage() for r in caplog.records)


@pytest.mark.parametrize("size", [(-5, -5), (0, 0), (100000, 100000)])
def test_a_refused_framebuffer_size_is_not_kept(gl, size):
    fb = Framebuffer()
    assert fb.create(size) is False
    assert tuple(fb.dimensions) != tuple(size)
    assert fb.create() is True  # the window's size, not the refused one
    assert tuple(fb.dimensions) == tuple(gl.video_mode.resolution)
    fb.release()


def test_a_texture_from_bytes_beyond_the_context_is_a_value_error(gl):
    width = 100_000_000
    with pytest.raises(ValueError, match="exceed the context's limit"):
        Texture(bytes(4 * width), (width, 1), 4)


# Integer vectors -----------------------------------------------------------------------

@pytest.mark.parametrize("operation", [
    lambda: IntVector(INT_MIN, 0) / -1,
    lambda: -IntVector(INT_MIN, 0),
    lambda: IntVector(INT_MAX, 0) + IntVector(1, 0),
    lambda: IntVector(0, INT_MIN) - IntVector(0, 1),
    lambda: IntVector(INT_MAX, 1) * 2,
    lambda: 2 * IntVector(1, INT_MAX),
])
def test_int_vector_arithmetic_out_of_range_raises_overflow_error(operation):
    with pytest.raises(OverflowError, match="IntVector"):
        operation()


def test_int_vector_arithmetic_in_range_is_exact():
    assert IntVector(INT_MIN + 1, 6) / -1 == IntVector(INT_MAX, -6)
    assert IntVector(INT_MAX - 1, 0) + IntVector(1, 0) == IntVector(INT_MAX, 0)
    assert -IntVector(INT_MAX, 0) == IntVector(-INT_MAX, 0)
    assert IntVector(7, -7) / 2 == IntVector(3, -3)


# Script classes --------------------------------------------------------------------------

def test_script_classes_made_at_run_time_are_not_kept_alive(gl):
    refs = []
    for i in range(50):
        cls = type(f"Enemy{i}", (SceneObject,), {"OnUpdate": lambda self, dt: None})
        cls()
        refs.append(weakref.ref(cls))
        del cls
    gc.collect()
    assert sum(r() is not None for r in refs) == 0


def test_a_class_made_at_the_address_of_a_dead_one_gets_its_own_hooks(scene):
    seen = []
    for i in range(20):
        hooks = {"OnUpdate": lambda self, dt: seen.append("update")} if i % 2 else {}
        cls = type("Reused", (SceneObject,), hooks)
        obj = cls()
        obj.layer = LAYER
        scene.update(0.1)
        scene.remove_object(obj)
        del obj, cls
        gc.collect()
    assert seen == ["update"] * 10


# Singletons ------------------------------------------------------------------------------

@pytest.mark.parametrize("name", ["texture_loader", "texture_database"])
def test_a_second_module_singleton_cannot_be_made(name):
    singleton = getattr(libgraphics, name)
    with pytest.raises(TypeError, match=f"libgraphics.{name} is the module's only instance"):
        type(singleton)()


def test_dropping_a_temporary_scene_warns_that_none_is_current(gl, caplog):
    status, output = run_script("""
        import logging
        import libgraphics, libwindow
        logging.basicConfig(level=logging.WARNING)
        window = libwindow.Window(64, 64, "scene")
        libgraphics.set_window(window)
        temporary = libgraphics.Scene()
        temporary = None
        obj = libgraphics.SceneObject()
        obj.layer = "a"
        print("layer:", repr(obj.layer))
    """)
    assert status == 0, output
    assert "A scene was destroyed while other scenes exist: no scene is current now" in output
    assert "No scene is current" in output


# Deep hierarchies --------------------------------------------------------------------------

def test_a_very_deep_transform_chain_builds_and_resolves():
    depth = 200_000
    chain = [Transform() for _ in range(depth)]
    for parent, child in zip(chain, chain[1:]):
        parent.attach(child)
    chain[0].position = (1.0, 2.0)
    assert tuple(chain[-1].world_position) == (1.0, 2.0)
    chain[depth // 2].position = (3.0, 0.0)
    assert tuple(chain[-1].world_position) == (4.0, 2.0)
    # Built from the leaf up as well: each attach takes a whole subtree.
    bottom_up = [Transform() for _ in range(depth)]
    for parent, child in zip(reversed(bottom_up[:-1]), reversed(bottom_up[1:])):
        parent.attach(child)
    bottom_up[0].position = (5.0, 0.0)
    assert tuple(bottom_up[-1].world_position) == (5.0, 0.0)


# Smaller faults --------------------------------------------------------------------------

def test_an_index_beyond_the_native_int_range_is_named_in_the_index_error(scene):
    libgraphics.sprite_database.load(io.StringIO(
        '<Sprites><Sprite id="robust_plain" dimensions="4 4"/></Sprites>'), "")
    sprite = libgraphics.Sprite("robust_plain")
    with pytest.raises(IndexError, match=str(2**40)):
        sprite.colours[2**40]


# Exceptions that must come out -----------------------------------------------------------

@pytest.mark.parametrize("exception", [SystemExit, KeyboardInterrupt])
def test_stop_requests_from_on_update_come_out_of_scene_update(scene, exception):
    later = []

    class Quitting(SceneObject):
        def OnUpdate(self, dt):
            raise exception(3)

    class Later(SceneObject):
        def OnUpdate(self, dt):
            later.append(1)

    quitting, after = Quitting(), Later()
    quitting.layer = LAYER
    after.z = 1.0
    after.layer = LAYER
    with pytest.raises(exception):
        scene.update(0.1)
    assert later == []  # the pass stopped at the request
    scene.remove_object(quitting)
    scene.update(0.1)
    assert later == [1]  # and the next call works as ever


def test_a_stop_request_from_an_xml_callback_ends_the_parse():
    elements = []

    class Interrupt(libcore.XMLParser):
        def on_element_start(self, name, attributes):
            elements.append(name)
            raise KeyboardInterrupt

    with pytest.raises(KeyboardInterrupt):
        Interrupt().parse(io.StringIO("<a><b/><c/></a>"))
    assert elements == ["a"]


def test_system_exit_from_a_window_listener_comes_out_of_process_events(gl):
    class Quit(libwindow.WindowListener):
        def on_key(self, window, key, pressed, repeat):
            raise SystemExit(0)

    status, output = run_script("""
        import libwindow
        class Quit(libwindow.WindowListener):
            def on_resize(self, window, size):
                raise SystemExit(7)
        window = libwindow.Window(64, 64, "quit")
        quit = Quit()
        libwindow.Window.add_listener(quit)
        window.set_video_mode(80, 60)
        print("still running")
    """)
    assert status == 7, output
    assert "still running" not in output


def test_ordinary_exceptions_are_reported_and_the_update_goes_on(scene):
    calls = []

    class Failing(SceneObject):
        def OnUpdate(self, dt):
            calls.append(1)
            raise ValueError("bad")

    objs = [Failing() for _ in range(3)]
    for o in objs:
        o.layer = LAYER
    reported = []
    previous = sys.unraisablehook
    sys.unraisablehook = lambda u: reported.append(u.exc_type)
    try:
        scene.update(0.1)
    finally:
        sys.unraisablehook = previous
    assert calls == [1, 1, 1] and reported == [ValueError] * 3


def test_script_errors_raise_mode_raises_at_the_engine_call(scene):
    class Failing(SceneObject):
        def OnUpdate(self, dt):
            raise ValueError("bad update")

    Failing().layer = LAYER
    assert libcore.get_script_errors() == "report"
    libcore.set_script_errors("raise")
    try:
        with pytest.raises(ValueError, match="bad update"):
            scene.update(0.1)
    finally:
        libcore.set_script_errors("report")


def test_script_errors_takes_only_its_two_modes():
    with pytest.raises(ValueError, match='"report" or "raise"'):
        libcore.set_script_errors("ignore")
    assert libcore.get_script_errors() == "report"


# Failures that say why ---------------------------------------------------------------------

def warnings_of(caplog):
    libcore.Log.flush()
    return [r.getMessage() for r in caplog.records if r.levelno == logging.WARNING]


def test_an_unknown_layer_says_so(scene, caplog):
    obj = SceneObject()
    with caplog.at_level(logging.WARNING, "engine.graphics"):
        obj.layer = "no such layer"
    assert obj.layer == ""
    assert warnings_of(caplog) == ["Unknown layer 'no such layer': the object was not added to it."]


def test_a_taken_layer_id_says_so(scene, caplog):
    with caplog.at_level(logging.WARNING, "engine.graphics"):
        assert scene.add_layer(SceneLayer(LAYER, 5)) is False
    assert warnings_of(caplog) == [f"Layer id '{LAYER}' is taken: the new layer was not added."]


def test_a_gl_error_in_a_hook_is_named_by_the_layer_it_was_drawn_in(scene, caplog):
    import ctypes

    libgl = ctypes.CDLL("libGL.so.1")

    class Careless(SceneObject):
        def OnRender(self):
            libgl.glEnable(0x1234)  # not a capability: GL_INVALID_ENUM, unseen by PyOpenGL

    Careless().layer = LAYER
    with caplog.at_level(logging.WARNING, "engine.graphics"):
        scene.render()
    reported = warnings_of(caplog)
    if reported:  # builds made with GL checks (every test build) name the step
        assert reported == [f"OpenGL error 0x0500 (invalid enum) after drawing layer '{LAYER}'."]
    for handler in logging.getLogger("engine.graphics").handlers:
        if type(handler).__name__ == "GLErrors":
            handler.messages.clear()
    from OpenGL import GL
    GL.glGetError()


def test_a_picture_too_large_for_its_file_is_refused_before_allocation(pictures, caplog):
    import struct
    import zlib

    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    # 30000 x 30000 RGBA (3.6 GB of pixels) within the side limit, in a file of 80 bytes.
    header = struct.pack(">IIBBBBB", 30000, 30000, 8, 6, 0, 0, 0)
    data = (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(b"\0" * 64))
            + chunk(b"IEND", b""))
    name = pictures.write_bytes("too_large.png", data)
    with caplog.at_level(logging.WARNING, "engine.graphics"):
        texture = Texture(name, False, True)
    assert texture.gl_name == 0
    assert any("picture larger than its file can hold" in m and name in m for m in warnings_of(caplog))
