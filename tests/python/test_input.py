"""Input state and posted events: window.is_key_down, mouse_position, mouse_buttons, and
window.post_event feeding the path of the system's events (listeners hear posted events,
the state follows real ones too)."""

import pytest

import libwindow
from libwindow import key

from conftest import HEIGHT, WIDTH
from test_window import SDLK_a, Recorder, key_event, push, sdl  # noqa: F401  (sdl is a fixture)


@pytest.fixture
def input_window(window):
    """The session window with an empty event queue, and no key or button left held."""
    window.process_events()
    yield window
    window.post_event("activate", active=False)  # forgets whatever the test held
    window.post_event("activate", active=True)
    window.process_events()


@pytest.fixture
def recorder(input_window):
    rec = Recorder(focus=True)
    libwindow.Window.add_listener(rec)
    rec.calls.clear()
    yield rec
    libwindow.Window.remove_listener(rec)


def test_posted_key_is_held_until_released(input_window):
    w = input_window
    assert not w.is_key_down(key.SPACE)
    w.post_event("key", key=key.SPACE)
    assert not w.is_key_down(key.SPACE), "posted events wait for process_events"
    assert w.process_events()
    assert w.is_key_down(key.SPACE)
    assert not w.is_key_down(key.A)
    w.post_event("key", key=key.SPACE, pressed=False)
    w.process_events()
    assert not w.is_key_down(key.SPACE)


def test_posted_events_reach_listeners_in_order(input_window, recorder):
    w = input_window
    w.post_event("key", key=key.A, pressed=True, repeat=False)
    w.post_event("key", key=key.A, pressed=True, repeat=True)
    w.post_event("text", text="hé")
    w.post_event("mouse_move", position=(10, 20))
    w.post_event("mouse_button", button=3, pressed=True)
    w.post_event("mouse_wheel", delta=-2)
    w.post_event("key", key=key.A, pressed=False)
    w.process_events()
    assert recorder.calls == [
        ("key", key.A, True, False), ("key", key.A, True, True), ("text", "h"), ("text", "é"),
        ("move", 10, 20), ("button", 3, True), ("wheel", -2), ("key", key.A, False, False)]
    assert all(x is w for x in recorder.windows)


def test_mouse_state_follows_moves_and_buttons(input_window):
    w = input_window
    w.post_event("mouse_move", position=(100, 50))
    w.process_events()
    assert tuple(w.mouse_position) == (100, 50)
    assert w.mouse_buttons == frozenset()
    w.post_event("mouse_button", button=1, pressed=True, position=(30, 40))
    w.post_event("mouse_button", button=3, pressed=True)
    w.process_events()
    assert tuple(w.mouse_position) == (30, 40), "a click says where it happened"
    assert w.mouse_buttons == {1, 3}
    assert 1 in w.mouse_buttons
    w.post_event("mouse_button", button=1, pressed=False)
    w.process_events()
    assert w.mouse_buttons == {3}


def test_losing_the_focus_forgets_held_keys_and_buttons(input_window, recorder):
    w = input_window
    w.post_event("key", key=key.LEFT)
    w.post_event("mouse_button", button=2)
    w.process_events()
    assert w.is_key_down(key.LEFT) and w.mouse_buttons == {2}
    w.post_event("activate", active=False)
    w.process_events()
    assert not w.is_key_down(key.LEFT)
    assert w.mouse_buttons == frozenset()
    assert ("activate", False) in recorder.calls


def test_real_events_update_the_state_too(input_window, sdl):  # noqa: F811
    w = input_window
    push(sdl, key_event(True, SDLK_a))
    w.process_events()
    assert w.is_key_down(key.A)
    push(sdl, key_event(False, SDLK_a))
    w.process_events()
    assert not w.is_key_down(key.A)


def test_posted_resize_resizes_the_window(input_window, recorder, restore_size):
    w = input_window
    w.post_event("resize", size=(320, 200))
    w.process_events()
    assert tuple(w.video_mode.resolution) == (320, 200)
    assert ("resize", 320, 200) in recorder.calls
    w.post_event("resize", size=(WIDTH, HEIGHT))
    w.process_events()
    assert tuple(w.video_mode.resolution) == (WIDTH, HEIGHT)


def test_events_posted_by_a_listener_wait_for_the_next_call(input_window):
    w = input_window

    class Echo(libwindow.WindowListener):
        def __init__(self):
            super().__init__()
            self.keys = []

        def on_key(self, window, k, pressed, repeat):
            self.keys.append(k)
            if k == key.A:
                window.post_event("key", key=key.B)

    echo = Echo()
    libwindow.Window.add_listener(echo)
    try:
        w.post_event("key", key=key.A)
        w.process_events()
        assert echo.keys == [key.A]
        w.process_events()
        assert echo.keys == [key.A, key.B]
    finally:
        libwindow.Window.remove_listener(echo)


@pytest.mark.parametrize("call, error, words", [
    (lambda w: w.post_event("jump"), ValueError, "unknown kind 'jump'"),
    (lambda w: w.post_event(3), TypeError, "kind must be a str"),
    (lambda w: w.post_event("key"), TypeError, "needs key="),
    (lambda w: w.post_event("key", key=5), TypeError, "key must be a libwindow.key, not int"),
    (lambda w: w.post_event("key", key=key.A, pressed=1), TypeError, "pressed must be a bool"),
    (lambda w: w.post_event("key", key=key.A, down=True), TypeError, "unexpected keyword 'down'"),
    (lambda w: w.post_event("mouse_move", position="here"), TypeError, "position must be a pair of ints"),
    (lambda w: w.post_event("text", text=b"x"), TypeError, "text must be a str"),
    (lambda w: w.post_event("resize", size=(0, 10)), ValueError, "at least 1x1"),
    (lambda w: w.post_event("resize", size=(65536, 100)), ValueError, "at most 16384x16384"),
    (lambda w: w.post_event("mouse_button", button=0), ValueError, "button must be 1 to 32"),
])
def test_wrong_events_say_what_is_expected(input_window, call, error, words):
    with pytest.raises(error, match=words):
        call(input_window)


def test_post_event_has_a_docstring_with_one_typed_signature_per_kind():
    doc = libwindow.Window.post_event.__doc__.strip()
    signatures = doc.split("\n\n")[0].splitlines()
    assert signatures[0] == ("post_event(kind: Literal['key'], /, *, key: key, pressed: bool = True, "
                             "repeat: bool = False) -> None")
    kinds = ["'key'", "'text'", "'mouse_button'", "'mouse_move'", "'mouse_wheel'", "'resize'", "'close'", "'activate'"]
    assert [line.split("Literal[")[1].split("]")[0] for line in signatures] == kinds
    for kind in kinds:
        assert f"post_event({kind}" in doc  # and an example of each


def test_posted_close_ends_the_loop():
    from test_window import run_child
    out = run_child("""
        import libwindow
        w = libwindow.Window(64, 64, "close")
        closes = []
        class L(libwindow.WindowListener):
            def on_close(self, window):
                closes.append(window)
        l = L()
        libwindow.Window.add_listener(l)
        assert w.process_events()
        w.post_event("close")
        w.post_event("close")
        print(w.process_events(), len(closes), w.is_open)
    """)
    assert out.split() == ["False", "1", "True"]
