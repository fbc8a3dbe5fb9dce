"""Finishing callbacks: add_animator(..., on_finished=...) and Sprite.on_fades_finished,
called on the script thread during scene.update, with a hook's exception behaviour."""
import gc
import io
import sys
import threading
import weakref

import pytest

import libcore
import libgraphics
from libgraphics import SceneLayer, SceneObject, Sprite, Texture, sprite_database
from libgraphics import SceneObjectAnimatorRotate as Rotate
from libgraphics import SceneObjectAnimatorSlide as Slide


def blank():
    """A transition picture of one black pixel."""
    return Texture(bytes(4), (1, 1), 4)


@pytest.fixture
def scene(gl):
    s = libgraphics.Scene()
    s.add_layer(SceneLayer("main", 0, 0, True))
    sprite_database.unload()
    sprite_database.load(io.StringIO('<Sprites><Sprite id="dot" dimensions="4 4" layer="main"/></Sprites>'))
    yield s
    sprite_database.unload()


def test_on_finished_is_called_once_when_the_animator_finishes(scene):
    obj = SceneObject()
    scene.add_object(obj, "main")
    calls = []
    obj.add_animator("in", Slide((100, 0), 1.0, False), on_finished=lambda: calls.append(
        (threading.current_thread() is threading.main_thread(), obj.get_animator("in"))))
    scene.update(0.5)
    assert calls == []
    scene.update(0.6)
    assert calls == [(True, None)], "called on the script thread, after the animator left"
    scene.update(1.0)
    assert len(calls) == 1


def test_on_finished_may_chain_another_animator_under_the_same_name(scene):
    obj = SceneObject()
    scene.add_object(obj, "main")
    steps = []

    def back():
        steps.append("back")
        obj.add_animator("move", Slide((0, 0), 1.0, False), on_finished=lambda: steps.append("home"))

    obj.add_animator("move", Slide((100, 0), 1.0, False), on_finished=back)
    scene.update(1.0)
    assert steps == ["back"]
    assert obj.get_animator("move") is not None
    scene.update(1.0)
    assert steps == ["back", "home"]
    assert tuple(obj.position) == pytest.approx((0, 0))


def test_removed_or_replaced_animators_do_not_call_back(scene):
    obj = SceneObject()
    scene.add_object(obj, "main")
    calls = []
    obj.add_animator("a", Slide((10, 0), 1.0, False), on_finished=lambda: calls.append("a"))
    obj.remove_animator("a")
    obj.add_animator("b", Slide((10, 0), 1.0, False), on_finished=lambda: calls.append("b"))
    obj.add_animator("b", Slide((10, 0), 1.0, False))
    scene.update(2.0)
    assert calls == []


def test_a_dropped_callback_is_released(scene):
    obj = SceneObject()
    scene.add_object(obj, "main")

    class Callback:
        def __call__(self):
            pass

    callback = Callback()
    ref = weakref.ref(callback)
    obj.add_animator("a", Slide((10, 0), 1.0, False), on_finished=callback)
    del callback
    gc.collect()
    assert ref() is not None, "kept while the animator may still finish"
    scene.update(2.0)
    gc.collect()
    assert ref() is None, "released once called"


def test_on_finished_must_be_callable(scene):
    obj = SceneObject()
    with pytest.raises(TypeError, match=r"on_finished must be callable or None, not int"):
        obj.add_animator("a", Slide((10, 0), 1.0, False), on_finished=3)


def test_an_exception_in_on_finished_is_reported_and_the_frame_goes_on(scene, monkeypatch):
    reported = []
    monkeypatch.setattr(sys, "unraisablehook", lambda u: reported.append(u.exc_type))
    obj = SceneObject()
    scene.add_object(obj, "main")
    obj.add_animator("a", Slide((10, 0), 1.0, False), on_finished=lambda: 1 / 0)
    obj.add_animator("b", Rotate(1.0, 0.0, 0.0))
    scene.update(1.0)
    assert reported == [ZeroDivisionError]
    assert tuple(obj.position) == pytest.approx((10, 0))
    assert obj.rotation == pytest.approx(1.0), "the animators after it still stepped"


def test_in_raise_mode_an_exception_in_on_finished_leaves_scene_update(scene):
    obj = SceneObject()
    scene.add_object(obj, "main")
    obj.add_animator("a", Slide((10, 0), 1.0, False), on_finished=lambda: 1 / 0)
    libcore.set_script_errors("raise")
    try:
        with pytest.raises(ZeroDivisionError):
            scene.update(1.0)
    finally:
        libcore.set_script_errors("report")


def test_on_fades_finished_is_called_when_the_queue_empties(scene):
    sprite = Sprite("dot")
    calls = []
    assert sprite.on_fades_finished is None
    sprite.on_fades_finished = lambda: calls.append(sprite.colour.a)
    assert sprite.on_fades_finished is not None
    sprite.fade(1, 0.5, 0, 1, blank())
    sprite.fade(0.5, 0.25, 0, 1, blank())
    scene.update(1.0)
    assert calls == [], "one fade is still queued"
    scene.update(1.0)
    assert calls == [0.25]
    sprite.fade(0.25, 1, 0, 0.5, blank())
    scene.update(1.0)
    assert calls == [0.25, 1.0], "it stays set for later fades"
    sprite.on_fades_finished = None
    sprite.fade(1, 0, 0, 0.5, blank())
    scene.update(1.0)
    assert len(calls) == 2


def test_on_fades_finished_may_queue_another_fade(scene):
    sprite = Sprite("dot")
    count = []

    def again():
        count.append(1)
        if len(count) < 3:
            sprite.fade(1, 0, 0, 0.5, blank())

    sprite.on_fades_finished = again
    sprite.fade(1, 0, 0, 0.5, blank())
    for _ in range(10):
        scene.update(0.5)
    assert len(count) == 3


def test_on_fades_finished_must_be_callable(scene):
    sprite = Sprite("dot")
    with pytest.raises(TypeError, match=r"Sprite.on_fades_finished must be callable or None, not str"):
        sprite.on_fades_finished = "later"
