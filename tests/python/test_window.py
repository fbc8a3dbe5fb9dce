"""The window module from scripts: listeners, events, video modes, pixels, OpenGL helpers.

Events are pushed into SDL's queue through ctypes, into the SDL library the module has
already loaded, so they travel the same path as the system's events. Tests that must
ask the window to close, or that need a window of their own, run in a child
interpreter: the session window has to stay usable for the tests that follow.
"""
import ctypes
import gc
import logging
import os
import struct
import subprocess
import sys
import textwrap
import weakref
import zlib

import pytest
from OpenGL import GL

import libcore
import libwindow
from conftest import HEIGHT, WIDTH
from pictures import decode_png

GL = pytest.importorskip("OpenGL.GL")

# --- SDL events through ctypes ---------------------------------------------------------

SDL_QUIT = 0x100
SDL_WINDOWEVENT = 0x200
SDL_KEYDOWN = 0x300
SDL_KEYUP = 0x301
SDL_TEXTINPUT = 0x303
SDL_MOUSEMOTION = 0x400
SDL_MOUSEBUTTONDOWN = 0x401
SDL_MOUSEBUTTONUP = 0x402
SDL_MOUSEWHEEL = 0x403

SDL_WINDOWEVENT_FOCUS_GAINED = 12
SDL_WINDOWEVENT_FOCUS_LOST = 13

SDLK_a = ord("a")
SDLK_ESCAPE = 27
SDLK_F1 = 0x4000003A
SDLK_KP_ENTER = 0x40000058

u8, u16, u32, s32 = ctypes.c_uint8, ctypes.c_uint16, ctypes.c_uint32, ctypes.c_int32


class Keysym(ctypes.Structure):
    _fields_ = [("scancode", s32), ("sym", s32), ("mod", u16), ("unused", u32)]


class KeyboardEvent(ctypes.Structure):
    _fields_ = [("type", u32), ("timestamp", u32), ("windowID", u32), ("state", u8), ("repeat", u8),
                ("padding2", u8), ("padding3", u8), ("keysym", Keysym)]


class MouseMotionEvent(ctypes.Structure):
    _fields_ = [("type", u32), ("timestamp", u32), ("windowID", u32), ("which", u32), ("state", u32),
                ("x", s32), ("y", s32), ("xrel", s32), ("yrel", s32)]


class MouseButtonEvent(ctypes.Structure):
    _fields_ = [("type", u32), ("timestamp", u32), ("windowID", u32), ("which", u32), ("button", u8),
                ("state", u8), ("clicks", u8), ("padding1", u8), ("x", s32), ("y", s32)]


class MouseWheelEvent(ctypes.Structure):
    _fields_ = [("type", u32), ("timestamp", u32), ("windowID", u32), ("which", u32), ("x", s32), ("y", s32),
                ("direction", u32), ("preciseX", ctypes.c_float), ("preciseY", ctypes.c_float),
                ("mouseX", s32), ("mouseY", s32)]


class TextInputEvent(ctypes.Structure):
    _fields_ = [("type", u32), ("timestamp", u32), ("windowID", u32), ("text", ctypes.c_char * 32)]


class WindowEvent(ctypes.Structure):
    _fields_ = [("type", u32), ("timestamp", u32), ("windowID", u32), ("event", u8), ("padding1", u8),
                ("padding2", u8), ("padding3", u8), ("data1", s32), ("data2", s32)]


class SDLEvent(ctypes.Union):
    _fields_ = [("type", u32), ("key", KeyboardEvent), ("motion", MouseMotionEvent),
                ("button", MouseButtonEvent), ("wheel", MouseWheelEvent), ("text", TextInputEvent),
                ("window", WindowEvent), ("padding", u8 * 56)]


assert ctypes.sizeof(SDLEvent) == 56


@pytest.fixture(scope="module")
def sdl(window):
    """The SDL library that libwindow has loaded (the same one: dlopen shares it)."""
    lib = ctypes.CDLL("libSDL2-2.0.so.0")
    lib.SDL_PushEvent.argtypes = [ctypes.POINTER(SDLEvent)]
    lib.SDL_GL_GetCurrentWindow.restype = ctypes.c_void_p
    lib.SDL_SetWindowSize.argtypes = [ctypes.c_void_p, ctypes.c_int, ctypes.c_int]
    lib.SDL_GetWindowID.argtypes = [ctypes.c_void_p]
    lib.SDL_GetWindowID.restype = u32
    return lib


def push(sdl, event):
    event_union = SDLEvent()
    setattr(event_union, {KeyboardEvent: "key", MouseMotionEvent: "motion", MouseButtonEvent: "button",
                          MouseWheelEvent: "wheel", TextInputEvent: "text", WindowEvent: "window"}[type(event)],
            event)
    assert sdl.SDL_PushEvent(ctypes.byref(event_union)) == 1


def key_event(down, sym, repeat=0):
    return KeyboardEvent(type=SDL_KEYDOWN if down else SDL_KEYUP, state=1 if down else 0, repeat=repeat,
                         keysym=Keysym(sym=sym))


# --- listeners -------------------------------------------------------------------------

class Recorder(libwindow.WindowListener):
    """Writes down every call as a tuple; focus changes only when asked to, since the
    display sends them whenever it likes."""

    def __init__(self, focus=False):
        super().__init__()
        self.calls = []
        self.windows = []
        self.focus = focus

    def _add(self, window, *call):
        self.windows.append(window)
        self.calls.append(call)

    def on_create(self, window):
        self._add(window, "create")

    def on_destroy(self, window):
        self._add(window, "destroy")

    def on_activate(self, window, active):
        if self.focus:
            self._add(window, "activate", active)

    def on_close(self, window):
        self._add(window, "close")

    def on_resize(self, window, size):
        self._add(window, "resize", size.x, size.y)

    def on_key(self, window, key, pressed, repeat):
        self._add(window, "key", key, pressed, repeat)

    def on_mouse_button(self, window, button, pressed):
        self._add(window, "button", button, pressed)

    def on_mouse_move(self, window, position):
        self._add(window, "move", position.x, position.y)

    def on_mouse_wheel(self, window, delta):
        self._add(window, "wheel", delta)

    def on_text(self, window, character):
        self._add(window, "text", character)


@pytest.fixture
def listen(window):
    """Registers listeners for one test and always unregisters them afterwards."""
    added = []

    def add(listener):
        window.process_events()  # start from an empty queue
        assert libwindow.Window.add_listener(listener)
        added.append(listener)
        return listener

    yield add
    for listener in added:
        libwindow.Window.remove_listener(listener)


def run_child(code):
    """Runs `code` in a fresh interpreter with the same modules and display; returns
    its standard output."""
    result = subprocess.run([sys.executable, "-c", textwrap.dedent(code)], capture_output=True, text=True,
                            timeout=60, env=dict(os.environ, PYTHONPATH=os.pathsep.join(sys.path)))
    assert result.returncode == 0, result.stderr
    return result.stdout


# --- the listener protocol -------------------------------------------------------------

def test_listener_added_while_a_context_exists_is_told_on_create(window, listen):
    recorder = listen(Recorder())
    assert recorder.calls == [("create",)]
    assert recorder.windows[0] is window


def test_adding_twice_is_refused_and_removing_twice_too(window, listen):
    recorder = listen(Recorder())
    assert libwindow.Window.add_listener(recorder) is False
    assert recorder.calls == [("create",)]
    assert libwindow.Window.remove_listener(recorder) is True
    assert libwindow.Window.remove_listener(recorder) is False
    assert libwindow.Window.add_listener(recorder) is True  # the fixture removes it again


def test_set_video_mode_tells_destroy_create_resize_in_order(window, listen, restore_size):
    recorder = listen(Recorder())
    recorder.calls.clear()
    window.set_video_mode(320, 240)
    assert recorder.calls == [("destroy",), ("create",), ("resize", 320, 240)]
    assert all(w is window for w in recorder.windows)
    mode = window.video_mode
    assert (mode.resolution.x, mode.resolution.y) == (320, 240)
    assert mode.fullscreen is False
    # SDL's own report of that resize is not passed on a second time.
    recorder.calls.clear()
    assert window.process_events() is True
    assert recorder.calls == []


def test_set_video_mode_keeps_script_objects_and_draws_at_the_new_size(window, restore_size):
    window.marker = "kept"
    window.set_video_mode(200, 100)
    assert window.marker == "kept"
    GL.glClearColor(0.0, 0.0, 1.0, 1.0)
    GL.glClear(GL.GL_COLOR_BUFFER_BIT)
    width, height, data = window.read_pixels()
    assert (width, height, len(data)) == (200, 100, 200 * 100 * 4)
    assert tuple(data[-4:]) == (0, 0, 255, 255)
    del window.marker


def test_restore_size_puts_the_session_size_back(window):
    res = window.video_mode.resolution
    assert (res.x, res.y) == (WIDTH, HEIGHT)


@pytest.mark.skipif(os.environ.get("ENGINE_HEADLESS") != "1", reason="would change the mode of a real display")
def test_fullscreen_video_mode_is_reported(window, restore_size):
    window.set_video_mode(WIDTH, HEIGHT, fullscreen=True)
    assert window.video_mode.fullscreen is True
    window.set_video_mode(WIDTH, HEIGHT)
    assert window.video_mode.fullscreen is False


def test_listener_may_remove_itself_inside_a_callback(window, listen, restore_size):
    class Leaving(Recorder):
        def on_resize(self, window, size):
            super().on_resize(window, size)
            assert libwindow.Window.remove_listener(self)

    staying = listen(Recorder())
    leaving = Leaving()
    leaving_ref = weakref.ref(leaving)
    assert libwindow.Window.add_listener(leaving)  # not through `listen`, which keeps it
    staying.calls.clear()
    leaving.calls.clear()
    window.set_video_mode(300, 200)
    assert leaving.calls == [("destroy",), ("create",), ("resize", 300, 200)]
    assert staying.calls == leaving.calls
    window.set_video_mode(WIDTH, HEIGHT)
    assert len(leaving.calls) == 3
    assert len(staying.calls) == 6
    assert libwindow.Window.remove_listener(leaving) is False
    del leaving
    gc.collect()
    assert leaving_ref() is None  # the list let go of it


def test_listener_removed_by_another_during_dispatch_is_not_called(window, sdl, listen):
    second = Recorder()

    class Remover(libwindow.WindowListener):
        def on_mouse_wheel(self, window, delta):
            libwindow.Window.remove_listener(second)

    listen(Remover())
    listen(second)
    second.calls.clear()
    push(sdl, MouseWheelEvent(type=SDL_MOUSEWHEEL, y=1))
    window.process_events()
    assert second.calls == []


def test_listeners_are_called_in_order_of_addition(window, sdl, listen):
    order = []

    class Numbered(libwindow.WindowListener):
        def __init__(self, n):
            super().__init__()
            self.n = n

        def on_mouse_wheel(self, window, delta):
            order.append(self.n)

    for n in (3, 1, 2):
        listen(Numbered(n))
    push(sdl, MouseWheelEvent(type=SDL_MOUSEWHEEL, y=1))
    window.process_events()
    assert order == [3, 1, 2]


def test_registered_listener_is_kept_alive_and_released_on_removal(window, listen):
    recorder = Recorder()
    ref = weakref.ref(recorder)
    before = sys.getrefcount(recorder)
    assert libwindow.Window.add_listener(recorder)
    assert sys.getrefcount(recorder) == before + 1
    del recorder
    gc.collect()
    assert ref() is not None  # only the listener list holds it now
    assert libwindow.Window.remove_listener(ref())
    gc.collect()
    assert ref() is None


def test_dispatch_does_not_leak_references_to_the_window(window, sdl, listen):
    class Moving(libwindow.WindowListener):
        def on_mouse_move(self, window, position):
            self.count = getattr(self, "count", 0) + 1

    moving = listen(Moving())
    window.process_events()
    before = sys.getrefcount(window)
    for _ in range(20):
        push(sdl, MouseMotionEvent(type=SDL_MOUSEMOTION, x=1, y=2))
    window.process_events()
    assert moving.count == 20
    assert sys.getrefcount(window) == before


def test_methods_a_script_does_not_define_fall_back_to_the_native_ones(window, sdl, listen):
    class OnlyKeys(libwindow.WindowListener):
        def __init__(self):
            super().__init__()
            self.keys = []

        def on_key(self, window, key, pressed, repeat):
            self.keys.append(key)
            super().on_key(window, key, pressed, repeat)  # the native one does nothing

    only_keys = listen(OnlyKeys())
    push(sdl, MouseButtonEvent(type=SDL_MOUSEBUTTONDOWN, button=1, state=1))
    push(sdl, key_event(True, SDLK_a))
    window.process_events()
    assert only_keys.keys == [libwindow.key.A]


def test_a_raising_listener_does_not_stop_the_others(window, sdl, listen, monkeypatch):
    reported = []
    monkeypatch.setattr(sys, "unraisablehook", lambda info: reported.append(info.exc_type))

    class Raising(libwindow.WindowListener):
        def on_mouse_wheel(self, window, delta):
            raise ValueError("from a listener")

    listen(Raising())
    recorder = listen(Recorder())
    push(sdl, MouseWheelEvent(type=SDL_MOUSEWHEEL, y=1))
    assert window.process_events() is True
    assert reported == [ValueError]
    assert recorder.calls[-1] == ("wheel", 1)


# --- events ----------------------------------------------------------------------------

def test_input_events_reach_script_listeners(window, sdl, listen):
    recorder = listen(Recorder())
    recorder.calls.clear()
    push(sdl, key_event(True, SDLK_a))
    push(sdl, key_event(True, SDLK_a, repeat=1))
    push(sdl, key_event(False, SDLK_ESCAPE))
    push(sdl, key_event(True, SDLK_F1))
    push(sdl, key_event(True, SDLK_KP_ENTER))
    push(sdl, key_event(True, 0x40000065))  # the application key: no engine name
    push(sdl, MouseButtonEvent(type=SDL_MOUSEBUTTONDOWN, button=3, state=1, x=5, y=6))
    push(sdl, MouseButtonEvent(type=SDL_MOUSEBUTTONUP, button=1, state=0))
    push(sdl, MouseMotionEvent(type=SDL_MOUSEMOTION, x=120, y=45))
    push(sdl, MouseWheelEvent(type=SDL_MOUSEWHEEL, y=-2))
    push(sdl, MouseWheelEvent(type=SDL_MOUSEWHEEL, y=1, direction=1))  # flipped by the system
    push(sdl, TextInputEvent(type=SDL_TEXTINPUT, text="aé€".encode()))
    assert window.process_events() is True
    key = libwindow.key
    assert recorder.calls == [
        ("key", key.A, True, False),
        ("key", key.A, True, True),
        ("key", key.ESCAPE, False, False),
        ("key", key.F1, True, False),
        ("key", key.KP_ENTER, True, False),
        ("key", key.UNKNOWN, True, False),
        ("button", 3, True),
        ("button", 1, False),
        ("move", 120, 45),
        ("wheel", -2),
        ("wheel", -1),
        ("text", "a"),
        ("text", "é"),
        ("text", "€"),
    ]
    assert all(w is window for w in recorder.windows)
    assert isinstance(recorder.calls[0][1], libwindow.key)
    assert all(type(c[2]) is bool for c in recorder.calls if c[0] in ("key", "button"))


def test_focus_changes_are_told_on_activate(window, sdl, listen):
    recorder = listen(Recorder(focus=True))
    recorder.calls.clear()
    push(sdl, WindowEvent(type=SDL_WINDOWEVENT, event=SDL_WINDOWEVENT_FOCUS_LOST))
    push(sdl, WindowEvent(type=SDL_WINDOWEVENT, event=SDL_WINDOWEVENT_FOCUS_GAINED))
    window.process_events()
    assert recorder.calls[-2:] == [("activate", False), ("activate", True)]


def test_a_resize_from_outside_updates_the_video_mode(window, sdl, listen, restore_size):
    recorder = listen(Recorder())
    recorder.calls.clear()
    sdl.SDL_SetWindowSize(sdl.SDL_GL_GetCurrentWindow(), 500, 400)
    window.process_events()
    assert recorder.calls == [("resize", 500, 400)]
    res = window.video_mode.resolution
    assert (res.x, res.y) == (500, 400)


def test_key_enumeration_has_the_engine_names():
    key = libwindow.key
    assert int(key.A) == ord("a") and int(key.Z) == ord("z")
    assert int(key.NUM_0) == ord("0")
    assert int(key.ESCAPE) == 27 and int(key.SPACE) == 32
    for name in ("UP", "DOWN", "LEFT", "RIGHT", "F12", "LEFT_SHIFT", "KP_ENTER", "PRINT_SCREEN", "UNKNOWN"):
        assert isinstance(getattr(key, name), key)
    assert key.names["RETURN"] == key.RETURN


def test_quit_tells_on_close_and_process_events_returns_false_from_then_on():
    output = run_child("""
        import ctypes, struct
        import libcore, libwindow

        closes = []
        class Closing(libwindow.WindowListener):
            def on_close(self, window):
                closes.append(window)

        w = libwindow.Window(160, 120, "quit test")
        listener = Closing()
        libwindow.Window.add_listener(listener)
        assert w.process_events() is True
        quit_event = (ctypes.c_uint8 * 56)()
        struct.pack_into("I", quit_event, 0, 0x100)  # SDL_QUIT
        assert ctypes.CDLL("libSDL2-2.0.so.0").SDL_PushEvent(quit_event) == 1
        assert w.process_events() is False
        assert w.process_events() is False
        assert len(closes) == 1 and closes[0] is w
        assert w.is_open  # asked to close, not closed
        w.close()
        libwindow.Window.remove_listener(listener)
        print("ok")
    """)
    assert output.strip() == "ok"


def test_constructor_defaults_and_identity_from_the_first_on_create():
    output = run_child("""
        import libcore, libwindow

        seen = []
        class Recorder(libwindow.WindowListener):
            def on_create(self, window):
                seen.append(("create", window))
            def on_destroy(self, window):
                seen.append(("destroy", window))

        recorder = Recorder()
        libwindow.Window.add_listener(recorder)
        w = libwindow.Window()
        assert seen == [("create", w)] and seen[0][1] is w
        assert (w.video_mode.resolution.x, w.video_mode.resolution.y) == (800, 600)
        assert w.video_mode.fullscreen is False and w.is_open
        w.close()
        assert seen[-1] == ("destroy", w) and seen[-1][1] is w
        seen.clear()

        # A window dropped without close(): listeners are told, with None for the
        # script object that is going away.
        class Dropped(libwindow.WindowListener):
            def on_destroy(self, window):
                seen.append(("destroy", window))

        libwindow.Window.remove_listener(recorder)
        recorder = Dropped()
        libwindow.Window.add_listener(recorder)
        w = libwindow.Window(100, 100, title="dropped", vsync=True)
        del w
        assert seen == [("destroy", None)]
        libwindow.Window.remove_listener(recorder)
        print("ok")
    """)
    assert output.strip() == "ok"


def test_closed_window_fails_gently():
    output = run_child("""
        import libcore, libwindow

        w = libwindow.Window(100, 80)
        w.close()
        w.close()
        assert w.is_open is False
        assert w.process_events() is False
        w.swap_buffers()
        for call in (w.read_pixels, lambda: w.set_video_mode(10, 10), w.clear):
            try:
                call()
            except RuntimeError:
                pass
            else:
                raise AssertionError("no RuntimeError")
        assert w.save_screenshot("/tmp/never-written.png") is False
        assert libwindow.is_opengl_extension_supported("GL_ARB_vertex_buffer_object") is False
        print("ok")
    """)
    assert output.strip() == "ok"


# --- pixels ----------------------------------------------------------------------------

def draw_marked_frame():
    """Red everywhere, green in the top-left quarter (GL's y runs upwards)."""
    GL.glClearColor(1.0, 0.0, 0.0, 1.0)
    GL.glClear(GL.GL_COLOR_BUFFER_BIT)
    GL.glEnable(GL.GL_SCISSOR_TEST)
    GL.glScissor(0, HEIGHT // 2, WIDTH // 2, HEIGHT // 2)
    GL.glClearColor(0.0, 1.0, 0.0, 1.0)
    GL.glClear(GL.GL_COLOR_BUFFER_BIT)
    GL.glDisable(GL.GL_SCISSOR_TEST)


def test_read_pixels_returns_the_clear_colour(window):
    GL.glClearColor(0.25, 0.5, 0.75, 1.0)
    GL.glClear(GL.GL_COLOR_BUFFER_BIT)
    width, height, data = window.read_pixels()
    assert (width, height) == (WIDTH, HEIGHT)
    assert isinstance(data, bytes) and len(data) == WIDTH * HEIGHT * 4
    r, g, b, a = data[:4]
    assert abs(r - 64) <= 1 and abs(g - 128) <= 1 and abs(b - 191) <= 1 and a == 255
    assert data[-4:] == data[:4]


def test_read_pixels_gives_rows_top_first(window):
    draw_marked_frame()
    _, _, data = window.read_pixels()
    top_left = data[:4]
    bottom_right = data[-4:]
    assert tuple(top_left) == (0, 255, 0, 255)
    assert tuple(bottom_right) == (255, 0, 0, 255)


def png_chunks(content):
    assert content[:8] == b"\x89PNG\r\n\x1a\n"
    pos = 8
    while pos < len(content):
        length, kind = struct.unpack(">I4s", content[pos:pos + 8])
        body = content[pos + 8:pos + 8 + length]
        (crc,) = struct.unpack(">I", content[pos + 8 + length:pos + 12 + length])
        assert zlib.crc32(kind + body) == crc
        yield kind, body
        pos += 12 + length


def test_save_screenshot_writes_a_png_of_the_frame(window, tmp_path):
    draw_marked_frame()
    path = tmp_path / "shot.png"
    assert window.save_screenshot(str(path)) is True
    assert window.save_screenshot(path) is True  # any path-like object
    chunks = list(png_chunks(path.read_bytes()))
    assert chunks[0][0] == b"IHDR" and chunks[-1][0] == b"IEND"
    width, height, depth, colour_type = struct.unpack(">IIBB", chunks[0][1][:10])
    assert (width, height, depth, colour_type) == (WIDTH, HEIGHT, 8, 6)
    raw = zlib.decompress(b"".join(body for kind, body in chunks if kind == b"IDAT"))
    assert len(raw) == HEIGHT * (1 + WIDTH * 4)

    width, height, pixel = decode_png(path.read_bytes())
    assert (width, height) == (WIDTH, HEIGHT)
    assert pixel(0, 0) == (0, 255, 0, 255)
    assert pixel(WIDTH - 1, HEIGHT - 1) == (255, 0, 0, 255)


def test_a_saved_screenshot_is_opaque_where_read_pixels_has_the_drawn_alpha(window, tmp_path):
    # Drawing may leave any alpha in the window; the screen shows it opaque, and so
    # does the file. read_pixels keeps what was drawn (tests compare it).
    GL.glClearColor(0.0, 0.0, 1.0, 0.0)
    GL.glClear(GL.GL_COLOR_BUFFER_BIT)
    GL.glEnable(GL.GL_SCISSOR_TEST)
    GL.glScissor(0, 0, WIDTH // 2, HEIGHT)  # the left half, half transparent
    GL.glClearColor(1.0, 1.0, 0.0, 0.5)
    GL.glClear(GL.GL_COLOR_BUFFER_BIT)
    GL.glDisable(GL.GL_SCISSOR_TEST)
    _, _, data = window.read_pixels()
    assert {data[i] for i in range(3, len(data), 4)} == {0, 127}
    path = tmp_path / "shot.png"
    assert window.save_screenshot(path) is True

    width, height, pixel = decode_png(path.read_bytes())
    assert pixel(0, 0) == (255, 255, 0, 255)
    assert pixel(WIDTH - 1, HEIGHT - 1) == (0, 0, 255, 255)
    assert {pixel(x, y)[3] for y in range(0, height, 7) for x in range(0, width, 5)} == {255}


def test_save_screenshot_to_an_unwritable_path_warns_and_returns_false(window, tmp_path, caplog):
    path = str(tmp_path / "missing-directory" / "shot.png")
    with caplog.at_level(logging.WARNING, logger="engine.window"):
        assert window.save_screenshot(path) is False
    warnings = [r for r in caplog.records if r.name == "engine.window" and r.levelno == logging.WARNING]
    assert len(warnings) == 1 and path in warnings[0].getMessage()


# --- clearing --------------------------------------------------------------------------

def pixel(data, x, y, width=WIDTH):
    i = (y * width + x) * 4
    return tuple(data[i:i + 4])


@pytest.mark.parametrize("args, expected", [
    ((), (0, 0, 0, 255)),
    (((1, 0, 0),), (255, 0, 0, 255)),
    (("#00ff00",), (0, 255, 0, 255)),
    ((libcore.Colour(0, 0, 1, 0.6),), (0, 0, 255, 153)),
], ids=["black by default", "tuple", "colour text", "Colour with alpha"])
def test_clear_fills_the_window_with_the_colour(window, args, expected):
    GL.glClearColor(0.2, 0.4, 0.6, 0.8)
    GL.glClear(GL.GL_COLOR_BUFFER_BIT)
    window.clear(*args)
    _, _, data = window.read_pixels()
    assert {pixel(data, x, y) for x in (0, WIDTH // 2, WIDTH - 1) for y in (0, HEIGHT // 2, HEIGHT - 1)} == {expected}
    # The clear colour is the caller's again.
    assert GL.glGetFloatv(GL.GL_COLOR_CLEAR_VALUE) == pytest.approx([0.2, 0.4, 0.6, 0.8])


def test_clear_fills_the_window_while_a_framebuffer_is_bound_and_leaves_that_alone(window):
    import libgraphics
    libgraphics.set_window(window)
    fb = libgraphics.Framebuffer()
    assert fb.create((32, 32))
    GL.glClearColor(1, 0, 0, 1)
    GL.glClear(GL.GL_COLOR_BUFFER_BIT)
    fb.bind_as_framebuffer()
    try:
        GL.glClearColor(0, 1, 0, 1)
        GL.glClear(GL.GL_COLOR_BUFFER_BIT)
        bound = GL.glGetIntegerv(GL.GL_FRAMEBUFFER_BINDING)
        window.clear(colour=(0, 0, 1))
        assert GL.glGetIntegerv(GL.GL_FRAMEBUFFER_BINDING) == bound
        _, _, data = window.read_pixels()  # the framebuffer's picture
        assert pixel(data, 5, HEIGHT - 6) == (0, 255, 0, 255)  # GL rows run upwards
    finally:
        libgraphics.Framebuffer.unbind()
    _, _, data = window.read_pixels()
    assert pixel(data, 5, 5) == pixel(data, WIDTH - 1, HEIGHT - 1) == (0, 0, 255, 255)
    fb.release()


@pytest.mark.parametrize("colour", [5, None, "not a colour", (1, 2)])
def test_clear_refuses_what_is_not_a_colour(window, colour):
    with pytest.raises((TypeError, ValueError)):
        window.clear(colour)


# --- fullscreen ------------------------------------------------------------------------

class DisplayMode(ctypes.Structure):
    _fields_ = [("format", u32), ("w", ctypes.c_int), ("h", ctypes.c_int), ("refresh_rate", ctypes.c_int),
                ("driverdata", ctypes.c_void_p)]


def screen_size(sdl):
    mode = DisplayMode()
    assert sdl.SDL_GetDesktopDisplayMode(0, ctypes.byref(mode)) == 0
    return mode.w, mode.h


def assert_filled(window, size, colour=(255, 0, 0, 255)):
    """The window's picture is `size` and the colour reaches every corner: a GL drawable
    smaller than the window would read back nothing beyond its own size."""
    width, height, data = window.read_pixels()
    assert (width, height) == size
    corners = [(0, 0), (width - 1, 0), (0, height - 1), (width - 1, height - 1), (width // 2, height // 2)]
    assert [pixel(data, x, y, width) for x, y in corners] == [colour] * 5


@pytest.mark.skipif(os.environ.get("ENGINE_HEADLESS") != "1", reason="would change the mode of a real display")
@pytest.mark.parametrize("how", ["set_video_mode", "constructor"])
def test_a_fullscreen_mode_fills_the_screen(window, sdl, restore_size, how):
    screen = screen_size(sdl)
    assert screen != (WIDTH, HEIGHT)  # Xvfb's one mode is larger than the windowed size
    if how == "constructor":
        output = run_child(f"""
            import libwindow
            from OpenGL import GL
            w = libwindow.Window({WIDTH}, {HEIGHT}, "fullscreen", fullscreen=True)
            res = w.video_mode.resolution
            w.clear((1, 0, 0))
            width, height, data = w.read_pixels()
            print(res.x, res.y, w.video_mode.fullscreen, width, height, *GL.glGetIntegerv(GL.GL_VIEWPORT),
                  data[-4:] == data[:4] == bytes((255, 0, 0, 255)), data[(width - 1) * 4:width * 4] == data[:4])
        """)
        assert output.split() == [str(n) for n in screen] + ["True"] + [str(n) for n in screen] + \
            ["0", "0"] + [str(n) for n in screen] + ["True", "True"]
        return
    window.set_video_mode(WIDTH, HEIGHT, fullscreen=True)
    mode = window.video_mode
    assert (mode.resolution.x, mode.resolution.y, mode.fullscreen) == (*screen, True)
    assert tuple(GL.glGetIntegerv(GL.GL_VIEWPORT)) == (0, 0, *screen)
    window.clear((1, 0, 0))
    assert_filled(window, screen)
    # Events the switch left behind change nothing.
    for _ in range(3):
        window.process_events()
    assert (window.video_mode.resolution.x, window.video_mode.resolution.y) == screen
    # Back in a window, the window has its own size again.
    window.set_video_mode(WIDTH, HEIGHT)
    assert (window.video_mode.resolution.x, window.video_mode.resolution.y) == (WIDTH, HEIGHT)
    window.clear((1, 0, 0))
    assert_filled(window, (WIDTH, HEIGHT))


# --- OpenGL helpers --------------------------------------------------------------------

def test_load_into_opengl_multiplies_the_modelview_matrix(window):
    matrix = libcore.Matrix((3.0, -1.0), 0.5)
    a, b, c, d, tx, ty = tuple(matrix)
    GL.glMatrixMode(GL.GL_MODELVIEW)
    GL.glPushMatrix()
    try:
        GL.glLoadIdentity()
        GL.glScalef(2.0, 2.0, 2.0)
        libwindow.load_into_opengl(matrix)
        m = [float(x) for x in GL.glGetFloatv(GL.GL_MODELVIEW_MATRIX).flatten()]
    finally:
        GL.glPopMatrix()
    expected = [2 * a, 2 * b, 0, 0, 2 * c, 2 * d, 0, 0, 0, 0, 2, 0, 2 * tx, 2 * ty, 0, 1]
    assert m == pytest.approx(expected, abs=1e-6)


def test_opengl_extensions_are_matched_by_whole_name(window):
    assert libwindow.is_opengl_extension_supported("GL_ARB_vertex_buffer_object") is True
    assert libwindow.is_opengl_extension_supported("GL_ARB_vertex_buffer") is False
    assert libwindow.is_opengl_extension_supported("GL_ENGINE_made_up_extension") is False


def test_video_mode_is_a_value(window):
    mode = window.video_mode
    assert mode == libwindow.VideoMode((WIDTH, HEIGHT), False)
    assert mode != libwindow.VideoMode((WIDTH, HEIGHT), True)
    assert mode != "640x480"
    assert repr(mode) == "VideoMode(640x480, windowed)"


# --- wrong arguments -------------------------------------------------------------------

@pytest.mark.parametrize("call", [
    lambda w: libwindow.Window("wide"),
    lambda w: libwindow.Window(640, 480, 12),
    lambda w: libwindow.Window.add_listener(None),
    lambda w: libwindow.Window.add_listener(42),
    lambda w: libwindow.Window.add_listener(object()),
    lambda w: libwindow.Window.remove_listener(None),
    lambda w: w.set_video_mode("wide", 480),
    lambda w: w.set_video_mode(640),
    lambda w: w.save_screenshot(42),
    lambda w: w.save_screenshot(None),
    lambda w: libwindow.load_into_opengl((1, 2)),
    lambda w: libwindow.load_into_opengl(None),
    lambda w: libwindow.is_opengl_extension_supported(3),
    lambda w: libwindow.WindowListener().on_resize(w, "big"),
    lambda w: libwindow.WindowListener().on_create(42),
])
def test_wrong_argument_types_raise_type_error(window, call):
    with pytest.raises(TypeError):
        call(window)
    res = window.video_mode.resolution
    assert (res.x, res.y) == (WIDTH, HEIGHT)


def test_listener_subclass_that_skips_init_is_refused(window):
    class Uninitialised(libwindow.WindowListener):
        def __init__(self):
            pass

    with pytest.raises(TypeError):
        libwindow.Window.add_listener(Uninitialised())


def test_non_positive_sizes_raise_value_error(window):
    with pytest.raises(ValueError):
        window.set_video_mode(0, 480)
    with pytest.raises(ValueError):
        libwindow.Window(-1, 10)
    assert window.is_open
    res = window.video_mode.resolution
    assert (res.x, res.y) == (WIDTH, HEIGHT)


@pytest.mark.parametrize("width, height", [(65536, 100), (100, 65536), (100000, 100), (16385, 16385),
                                           (2**31 - 1, 2**31 - 1)])
def test_sizes_beyond_the_longest_side_raise_value_error_and_change_nothing(window, listen, width, height):
    recorder = listen(Recorder())
    recorder.calls.clear()
    with pytest.raises(ValueError, match="at most 16384 pixels"):
        window.set_video_mode(width, height, False)
    with pytest.raises(ValueError, match="at most 16384 pixels"):
        libwindow.Window(width, height)
    with pytest.raises(ValueError, match="at most 16384x16384"):
        window.post_event("resize", size=(width, height))
    window.process_events()
    assert window.is_open and recorder.calls == []
    res = window.video_mode.resolution
    assert (res.x, res.y) == (WIDTH, HEIGHT)


def test_the_longest_side_is_16384_or_the_contexts_viewport(window):
    viewport = GL.glGetIntegerv(GL.GL_MAX_VIEWPORT_DIMS)
    assert window.max_size == min(16384, int(viewport[0]), int(viewport[1]))
