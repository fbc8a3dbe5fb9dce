"""Scenes, layers, scene objects and listeners as scripts use them."""
import gc
import logging
import weakref

import numpy as np
import pytest
from OpenGL import GL

import libcore
import libgraphics
from libgraphics import Framebuffer, FramebufferDisplay, Scene, SceneLayer, SceneListener, SceneObject

F = np.float32
ScaleFlag = Scene.ScaleFlag
TRANSLATE = int(ScaleFlag.TRANSLATE)
TRANSLATE_UNIFORM = int(ScaleFlag.TRANSLATE_UNIFORM)
SCALE_MIN = int(ScaleFlag.SCALE_MIN)
SCALE_MAX = int(ScaleFlag.SCALE_MAX)

RED = (255, 0, 0, 255)
BLACK = (0, 0, 0, 255)


# Fixtures and helpers ----------------------------------------------------------------

@pytest.fixture
def scene(gl):
    """A fresh scene, which is the current one: the "layer" property uses it."""
    return Scene()


class Quad(SceneObject):
    """Draws a filled square of `size` at its own world transform."""

    def __init__(self, size=20, colour=(1.0, 0.0, 0.0, 1.0)):
        super().__init__()
        self.size = size
        self.colour = colour

    def OnRender(self):
        GL.glPushMatrix()
        self.load_into_opengl()
        GL.glDisable(GL.GL_TEXTURE_2D)
        GL.glColor4f(*self.colour)
        s = self.size
        GL.glBegin(GL.GL_QUADS)
        GL.glVertex2f(0, 0)
        GL.glVertex2f(s, 0)
        GL.glVertex2f(s, s)
        GL.glVertex2f(0, s)
        GL.glEnd()
        GL.glColor4f(1, 1, 1, 1)  # the current colour every draw path expects
        GL.glPopMatrix()


class Recorder(SceneObject):
    """Logs its hooks into a shared list as (name, hook, argument) tuples."""

    def __init__(self, name, log):
        super().__init__()
        self.name = name
        self.log = log

    def OnAdd(self, layer_id):
        self.log.append((self.name, "add", layer_id))

    def OnRemove(self, layer_id):
        self.log.append((self.name, "remove", layer_id))

    def OnUpdate(self, dt):
        self.log.append((self.name, "update", dt))

    def OnRender(self):
        self.log.append((self.name, "render", None))


class MatrixProbe(SceneObject):
    """Keeps the model-view matrix and stack depth seen when its OnRender starts."""

    def __init__(self):
        super().__init__()
        self.matrices = []
        self.depths = []

    def OnRender(self):
        self.matrices.append(np.array(GL.glGetFloatv(GL.GL_MODELVIEW_MATRIX), dtype=F).reshape(4, 4))
        self.depths.append(int(GL.glGetIntegerv(GL.GL_MODELVIEW_STACK_DEPTH)))


class ListenerLog(SceneListener):
    """A SceneListener subclass that logs every hook as (name, hook, argument)."""

    def __init__(self, name, log):
        super().__init__()
        self.name = name
        self.log = log

    def OnPreUpdate(self, dt):
        self.log.append((self.name, "pre_update", dt))

    def OnPostUpdate(self, dt):
        self.log.append((self.name, "post_update", dt))

    def OnPreRender(self):
        self.log.append((self.name, "pre_render", None))

    def OnPostRender(self):
        self.log.append((self.name, "post_render", None))

    def OnPreLayerRender(self, layer_id):
        self.log.append((self.name, "pre_layer", layer_id))

    def OnPostLayerRender(self, layer_id):
        self.log.append((self.name, "post_layer", layer_id))


def pixel(window, x, y):
    w, h, data = window.read_pixels()
    i = (y * w + x) * 4
    return tuple(data[i:i + 4])


def add_layer(scene, layer_id, z=0.0, flags=0, common=True):
    layer = SceneLayer(layer_id, z, flags, common)
    assert scene.add_layer(layer)
    return layer


def draw_frame(scene):
    scene.begin_frame()
    scene.render()
    scene.end_frame()


# Script surface ----------------------------------------------------------------------

def test_scale_flag_values():
    assert ScaleFlag.TRANSLATE == 1
    assert ScaleFlag.TRANSLATE_UNIFORM == 2
    assert ScaleFlag.SCALE_MIN == 4
    assert ScaleFlag.SCALE_MAX == 8
    assert ScaleFlag.SCALE_MIN | ScaleFlag.TRANSLATE == 5


def test_module_scene_is_a_scene():
    assert isinstance(libgraphics.scene, Scene)


def test_new_scene_becomes_current_for_the_layer_property(gl):
    first = Scene()
    add_layer(first, "a")
    second = Scene()
    add_layer(second, "a")
    o = SceneObject()
    o.layer = "a"
    assert o.layer == "a"
    assert second.get_layer("a").objects == [o]
    assert first.get_layer("a").objects == []


def test_scene_defaults(scene):
    assert scene.scale == libcore.Vector(1, 1)
    assert scene.get_num_layers() == 0
    assert len(scene.layers) == 0


def test_scale_accepts_tuples(scene):
    scene.scale = (2, 0.5)
    assert scene.scale == libcore.Vector(2, 0.5)


def test_layer_constructor_and_properties():
    layer = SceneLayer("hud", 3.5, SCALE_MIN | TRANSLATE, False)
    assert (layer.id, layer.z, layer.scale_flags, layer.common) == ("hud", 3.5, 5, False)
    layer.id = "other"
    layer.z = -1
    layer.scale_flags = SCALE_MAX
    layer.common = True
    assert (layer.id, layer.z, layer.scale_flags, layer.common) == ("other", -1.0, 8, True)


def test_scene_object_defaults_and_properties():
    o = SceneObject()
    assert (o.id, o.layer, o.visible, o.z, o.scale_flags) == ("", "", True, 0.0, -1)
    o.visible = False
    o.z = 2.5
    o.scale_flags = SCALE_MAX | TRANSLATE
    assert (o.visible, o.z, o.scale_flags) == (False, 2.5, 9)


# Layers and the layers proxy ---------------------------------------------------------

def test_layers_are_ordered_by_z_and_equal_z_later_first(scene):
    a = add_layer(scene, "a", 1)
    low = add_layer(scene, "low", 0)
    b = add_layer(scene, "b", 1)
    high = add_layer(scene, "high", 2)
    assert [scene.layers[i].id for i in range(len(scene.layers))] == ["low", "b", "a", "high"]
    assert scene.layers[1] is b
    assert scene.get_layer(2) is a
    assert scene.get_layer(0) is low
    assert scene.get_layer(3) is high


def test_layers_proxy_length_and_index(scene):
    a = add_layer(scene, "a", 0)
    b = add_layer(scene, "b", 1)
    layers = scene.layers
    assert len(layers) == 2
    assert layers[0] is a
    assert layers[1] is b
    assert layers[-1] is b
    assert layers[-2] is a
    assert layers["a"] is a
    assert layers["b"] is b


def test_layers_proxy_bool_key_counts_as_int(scene):
    a = add_layer(scene, "a", 0)
    b = add_layer(scene, "b", 1)
    assert scene.layers[False] is a
    assert scene.layers[True] is b


def test_layers_proxy_negative_out_of_range_names_the_adjusted_index(scene):
    with pytest.raises(IndexError) as e:
        scene.layers[-1]
    assert str(e.value) == "-1"
    add_layer(scene, "a")
    add_layer(scene, "b")
    with pytest.raises(IndexError) as e:
        scene.layers[-3]
    assert str(e.value) == "-1"
    with pytest.raises(IndexError) as e:
        scene.layers[-7]
    assert str(e.value) == "-5"


def test_layers_proxy_positive_out_of_range_names_the_index(scene):
    with pytest.raises(IndexError) as e:
        scene.layers[0]
    assert str(e.value) == "0"
    add_layer(scene, "a")
    with pytest.raises(IndexError) as e:
        scene.layers[1]
    assert str(e.value) == "1"
    with pytest.raises(IndexError) as e:
        scene.layers[42]
    assert str(e.value) == "42"


def test_layers_proxy_unknown_id_raises_index_error_with_the_id(scene):
    add_layer(scene, "a")
    with pytest.raises(IndexError) as e:
        scene.layers["missing"]
    assert str(e.value) == "missing"
    assert not isinstance(e.value, KeyError)


@pytest.mark.parametrize("key", [0.0, 1.5, None, (0,), [0], b"a"])
def test_layers_proxy_unsupported_keys(scene, key):
    add_layer(scene, "a")
    with pytest.raises(IndexError) as e:
        scene.layers[key]
    assert str(e.value) == "Unsupported key."


def test_layers_proxy_append_adds_and_refuses_a_taken_id(scene):
    first = SceneLayer("a", 0, 0, True)
    assert scene.layers.append(first) is True
    assert scene.layers.append(SceneLayer("a", -1, 0, True)) is False
    assert scene.add_layer(SceneLayer("a", 5, 0, True)) is False
    assert len(scene.layers) == 1
    assert scene.layers[0] is first


def test_layers_proxy_keeps_its_scene_alive(gl):
    s = Scene()
    add_layer(s, "a")
    ref = weakref.ref(s)
    layers = s.layers
    del s
    gc.collect()
    assert ref() is not None
    assert layers["a"].id == "a"
    del layers
    gc.collect()
    assert ref() is None


def test_get_layer_by_index_and_id_is_none_when_missing(scene):
    a = add_layer(scene, "a")
    assert scene.get_layer(0) is a
    assert scene.get_layer("a") is a
    assert scene.get_layer(1) is None
    assert scene.get_layer("b") is None


def test_layer_objects_in_drawing_order(scene):
    layer = add_layer(scene, "a")
    first, second, back = SceneObject(), SceneObject(), SceneObject()
    back.z = -1
    first.layer = "a"
    second.layer = "a"
    back.layer = "a"
    assert layer.objects == [back, first, second]


# Scene objects -----------------------------------------------------------------------

def test_ids_last_object_wins_and_renaming_the_first_keeps_it(scene):
    first, second = SceneObject(), SceneObject()
    first.id = "pytest-shared"
    second.id = "pytest-shared"
    assert scene.get_object("pytest-shared") is second
    first.id = "pytest-other"
    assert scene.get_object("pytest-shared") is second
    assert scene.get_object("pytest-other") is first
    second.id = ""
    assert scene.get_object("pytest-shared") is None


def test_dropped_object_leaves_the_registry(scene):
    o = SceneObject()
    o.id = "pytest-dropped"
    del o
    gc.collect()
    assert scene.get_object("pytest-dropped") is None


def test_set_layer_to_a_missing_layer_keeps_the_old_one(scene):
    layer = add_layer(scene, "a")
    o = SceneObject()
    o.layer = "a"
    o.layer = "missing"
    assert o.layer == "a"
    assert layer.objects == [o]


def test_hooks_of_a_script_subclass(scene):
    add_layer(scene, "a", 0)
    add_layer(scene, "b", 1)
    log = []
    o = Recorder("o", log)
    o.layer = "a"
    o.layer = "b"
    scene.update(0.25)
    scene.render()
    scene.remove_object(o)
    assert log == [("o", "add", "a"), ("o", "remove", "a"), ("o", "add", "b"), ("o", "update", 0.25),
                   ("o", "render", None), ("o", "remove", "b")]
    assert o.layer == ""


def test_add_object_and_remove_object(scene):
    add_layer(scene, "a")
    log = []
    o = Recorder("o", log)
    assert scene.add_object(o, "a") is True
    assert scene.add_object(o, "missing") is False
    assert o.layer == "a"
    assert scene.remove_object(o) is True
    assert scene.remove_object(o) is False
    assert log == [("o", "add", "a"), ("o", "remove", "a")]


def test_subclass_without_hooks_keeps_native_behaviour(scene):
    class Plain(SceneObject):
        pass

    add_layer(scene, "a")
    o = Plain()
    o.layer = "a"
    scene.update(0.1)
    draw_frame(scene)
    assert o.layer == "a"


def test_objects_update_and_render_in_layer_then_z_order(scene):
    add_layer(scene, "front", 1)
    add_layer(scene, "back", 0)
    log = []
    f = Recorder("f", log)
    b2 = Recorder("b2", log)
    b1 = Recorder("b1", log)
    b2.z = 1
    f.layer = "front"
    b2.layer = "back"
    b1.layer = "back"
    del log[:]
    scene.update(0.5)
    scene.render()
    assert [(n, h) for n, h, _ in log] == [("b1", "update"), ("b2", "update"), ("f", "update"),
                                          ("b1", "render"), ("b2", "render"), ("f", "render")]


def test_changing_z_re_sorts_the_layer(scene):
    layer = add_layer(scene, "a")
    x, y = SceneObject(), SceneObject()
    x.layer = "a"
    y.layer = "a"
    x.z = 3
    assert layer.objects == [y, x]


def test_invisible_object_is_not_rendered(scene):
    add_layer(scene, "a")
    log = []
    o = Recorder("o", log)
    o.layer = "a"
    o.visible = False
    scene.render()
    assert ("o", "render", None) not in log


def test_invisible_object_pushes_nothing_on_the_matrix_stack(scene):
    add_layer(scene, "a")
    hidden = MatrixProbe()
    hidden.visible = False
    hidden.layer = "a"
    # With the model-view stack full, a push would overflow and the pop that follows
    # would take one of ours off: a clean error state and an unchanged depth show that
    # nothing was pushed.
    GL.glMatrixMode(GL.GL_MODELVIEW)
    limit = int(GL.glGetIntegerv(GL.GL_MAX_MODELVIEW_STACK_DEPTH))
    start = int(GL.glGetIntegerv(GL.GL_MODELVIEW_STACK_DEPTH))
    for _ in range(limit - start):
        GL.glPushMatrix()
    try:
        assert GL.glGetError() == GL.GL_NO_ERROR
        scene.render()
        assert GL.glGetError() == GL.GL_NO_ERROR
        assert int(GL.glGetIntegerv(GL.GL_MODELVIEW_STACK_DEPTH)) == limit
        assert hidden.matrices == []
    finally:
        while int(GL.glGetIntegerv(GL.GL_MODELVIEW_STACK_DEPTH)) > start:
            GL.glPopMatrix()
        GL.glGetError()


def test_visible_object_renders_one_level_deeper(scene):
    add_layer(scene, "a")
    probe = MatrixProbe()
    probe.layer = "a"
    start = int(GL.glGetIntegerv(GL.GL_MODELVIEW_STACK_DEPTH))
    scene.render()
    assert probe.depths == [start + 1]
    assert int(GL.glGetIntegerv(GL.GL_MODELVIEW_STACK_DEPTH)) == start


# The layer matrix, as OnRender sees it -----------------------------------------------

def layer_matrix_seen(scene, scene_scale, flags, position=(100, 50), object_flags=-1):
    add_layer(scene, "layer", 0, flags)
    scene.scale = scene_scale
    probe = MatrixProbe()
    probe.position = position
    probe.scale_flags = object_flags
    probe.layer = "layer"
    GL.glMatrixMode(GL.GL_MODELVIEW)
    GL.glLoadIdentity()
    scene.render()
    assert len(probe.matrices) == 1
    m = probe.matrices[0]  # column-major: m[3] holds the translation
    return (m[0][0], m[1][1]), (m[3][0], m[3][1]), (m[0][1], m[1][0])


@pytest.mark.parametrize("scene_scale, flags, scale, translation", [
    ((2, 1), SCALE_MIN | TRANSLATE, 1, (100, 0)),
    ((2, 1), SCALE_MAX | TRANSLATE, 2, (0, -50)),
    ((1, 2), SCALE_MAX | TRANSLATE, 2, (0, 0)),
    ((1, 2), SCALE_MIN | TRANSLATE, 1, (0, 50)),
    ((2, 2), 0, 1, (0, 0)),
    ((2, 2), SCALE_MIN, 2, (-100, -50)),
    ((2, 2), SCALE_MIN | TRANSLATE_UNIFORM, 2, (0, 0)),
    ((3, 1), SCALE_MAX | TRANSLATE_UNIFORM, 3, (0, 0)),
])
def test_layer_matrix_loaded_for_the_object(scene, scene_scale, flags, scale, translation):
    diagonal, seen_translation, off_diagonal = layer_matrix_seen(scene, scene_scale, flags)
    assert diagonal == (F(scale), F(scale))
    assert seen_translation == (F(translation[0]), F(translation[1]))
    assert off_diagonal == (0, 0)


def test_layer_matrix_follows_the_world_position(scene):
    parent = libgraphics.Transform()
    parent.position = (60, 20)
    add_layer(scene, "layer", 0, SCALE_MIN)
    scene.scale = (2, 2)
    probe = MatrixProbe()
    probe.position = (40, 30)
    parent.attach(probe)
    probe.layer = "layer"
    GL.glLoadIdentity()
    scene.render()
    m = probe.matrices[0]
    assert (m[3][0], m[3][1]) == (F(-100), F(-50))


def test_object_scale_flags_replace_the_layers(scene):
    diagonal, translation, _ = layer_matrix_seen(scene, (2, 1), SCALE_MIN | TRANSLATE,
                                                 object_flags=SCALE_MAX | TRANSLATE)
    assert diagonal == (F(2), F(2))
    assert translation == (F(0), F(-50))


def test_get_layer_transform_from_scripts(scene):
    add_layer(scene, "wide", 0, SCALE_MAX | TRANSLATE)
    scene.scale = (2, 1)
    assert tuple(scene.get_layer_transform("wide", (100, 50))) == (2, 0, 0, 2, 0, -50)
    assert tuple(scene.get_layer_transform(SCALE_MIN | TRANSLATE, (100, 50))) == (1, 0, 0, 1, 100, 0)
    assert scene.get_layer_transform("missing", (100, 50)).is_identity()


# Pixels ------------------------------------------------------------------------------

@pytest.mark.parametrize("scene_scale, flags, corner, size", [
    ((2, 1), SCALE_MIN | TRANSLATE, (200, 50), 20),
    ((2, 1), SCALE_MAX | TRANSLATE, (200, 50), 40),
    ((1, 2), SCALE_MAX | TRANSLATE, (200, 100), 40),
    ((2, 2), 0, (100, 50), 20),
    ((2, 2), SCALE_MIN, (100, 50), 40),
])
def test_object_is_drawn_where_the_layer_matrix_puts_it(scene, window, scene_scale, flags, corner, size):
    add_layer(scene, "layer", 0, flags)
    scene.scale = scene_scale
    quad = Quad(20)
    quad.position = (100, 50)
    quad.layer = "layer"
    draw_frame(scene)
    x, y = corner
    assert pixel(window, x + 2, y + 2) == RED
    assert pixel(window, x + size - 3, y + size - 3) == RED
    assert pixel(window, x + size + 2, y + size // 2) == BLACK
    assert pixel(window, x + size // 2, y + size + 2) == BLACK
    assert pixel(window, x - 3, y + 2) == BLACK
    assert pixel(window, x + 2, y - 3) == BLACK


def test_layers_draw_over_each_other_in_order(scene, window):
    add_layer(scene, "top", 1)
    add_layer(scene, "bottom", 0)
    green = Quad(20, (0.0, 1.0, 0.0, 1.0))
    red = Quad(20)
    green.position = (300, 200)
    red.position = (300, 200)
    green.layer = "top"
    red.layer = "bottom"
    draw_frame(scene)
    assert pixel(window, 310, 210) == (0, 255, 0, 255)


def test_layer_that_is_not_common_is_drawn_only_by_render_layer(scene, window):
    add_layer(scene, "hud", 0, 0, False)
    quad = Quad(20)
    quad.position = (10, 10)
    quad.layer = "hud"
    draw_frame(scene)
    assert pixel(window, 20, 20) == BLACK
    scene.render_layer("hud")
    assert pixel(window, 20, 20) == RED
    scene.render_layer("missing")


# Listeners ---------------------------------------------------------------------------

@pytest.fixture
def listened(scene):
    """Layers "back" (z 0) and "front" (z 2), common, and "hud" (z 1), not common,
    with one Recorder object each; returns (scene, log)."""
    log = []
    add_layer(scene, "front", 2)
    add_layer(scene, "hud", 1, 0, False)
    add_layer(scene, "back", 0)
    for layer_id in ("back", "hud", "front"):
        Recorder(layer_id + "-object", log).layer = layer_id  # the layer keeps it
    del log[:]
    return scene, log


def test_scene_listener_subclass_sees_phases_and_common_layers_in_order(listened):
    scene, log = listened
    listener = ListenerLog("L", log)
    scene.add_listener(listener)
    scene.update(0.5)
    scene.begin_frame()
    scene.render()
    scene.render_layer("hud")
    scene.end_frame()
    assert log == [
        ("L", "pre_update", 0.5),
        ("back-object", "update", 0.5),
        ("hud-object", "update", 0.5),
        ("front-object", "update", 0.5),
        ("L", "post_update", 0.5),
        ("L", "pre_render", None),
        ("L", "pre_layer", "back"),
        ("back-object", "render", None),
        ("L", "post_layer", "back"),
        ("L", "pre_layer", "front"),
        ("front-object", "render", None),
        ("L", "post_layer", "front"),
        ("L", "post_render", None),
        ("L", "pre_layer", "hud"),
        ("hud-object", "render", None),
        ("L", "post_layer", "hud"),
    ]


def test_all_listeners_hear_a_phase_before_the_next_begins(listened):
    scene, log = listened
    a, b = ListenerLog("a", log), ListenerLog("b", log)
    scene.add_listener(a)
    scene.add_listener(b)
    scene.render()
    phases = [(hook, arg) for name, hook, arg in log if name in ("a", "b")]
    assert phases == [("pre_render", None)] * 2 + [("pre_layer", "back")] * 2 + [("post_layer", "back")] * 2 + \
        [("pre_layer", "front")] * 2 + [("post_layer", "front")] * 2 + [("post_render", None)] * 2
    assert {name for name, hook, _ in log if hook == "pre_render"} == {"a", "b"}


def test_plain_object_with_only_on_post_render(listened):
    scene, log = listened

    class PostRenderOnly:
        def OnPostRender(self):
            log.append(("plain", "post_render", None))

    scene.add_listener(PostRenderOnly())  # kept alive by the scene
    for _ in range(2):
        scene.update(0.1)
        draw_frame(scene)
    scene.render_layer("hud")
    calls = [entry for entry in log if entry[0] == "plain"]
    assert len(calls) == 2
    assert log[:8] == [
        ("back-object", "update", pytest.approx(0.1)),
        ("hud-object", "update", pytest.approx(0.1)),
        ("front-object", "update", pytest.approx(0.1)),
        ("back-object", "render", None),
        ("front-object", "render", None),
        ("plain", "post_render", None),
        ("back-object", "update", pytest.approx(0.1)),
        ("hud-object", "update", pytest.approx(0.1)),
    ]
    assert log[-1] == ("hud-object", "render", None)


def test_plain_object_listener_gets_its_arguments(listened):
    scene, log = listened

    class Everything:
        def OnPreUpdate(self, dt):
            log.append(("plain", "pre_update", dt))

        def OnPostUpdate(self, dt):
            log.append(("plain", "post_update", dt))

        def OnPreRender(self):
            log.append(("plain", "pre_render", None))

        def OnPostRender(self):
            log.append(("plain", "post_render", None))

        def OnPreLayerRender(self, layer_id):
            log.append(("plain", "pre_layer", layer_id))

        def OnPostLayerRender(self, layer_id):
            log.append(("plain", "post_layer", layer_id))

    listener = Everything()
    scene.add_listener(listener)
    scene.update(0.5)
    scene.render()
    assert [entry for entry in log if entry[0] == "plain"] == [
        ("plain", "pre_update", 0.5), ("plain", "post_update", 0.5), ("plain", "pre_render", None),
        ("plain", "pre_layer", "back"), ("plain", "post_layer", "back"), ("plain", "pre_layer", "front"),
        ("plain", "post_layer", "front"), ("plain", "post_render", None)]
    scene.remove_listener(listener)
    del log[:]
    scene.update(0.5)
    scene.render()
    assert [entry for entry in log if entry[0] == "plain"] == []


def test_methods_added_after_add_listener_are_never_called(listened):
    scene, log = listened

    class Late:
        def OnPostRender(self):
            log.append(("late", "post_render", None))

    listener = Late()
    scene.add_listener(listener)
    listener.OnPreRender = lambda: log.append(("late", "pre_render", None))
    Late.OnPreUpdate = lambda self, dt: log.append(("late", "pre_update", dt))
    scene.update(0.1)
    scene.render()
    assert [entry for entry in log if entry[0] == "late"] == [("late", "post_render", None)]


def test_listener_subclass_removing_itself_during_its_call(listened):
    scene, log = listened

    class Once(ListenerLog):
        def OnPreRender(self):
            super().OnPreRender()
            scene.remove_listener(self)

    once = Once("once", log)
    other = ListenerLog("other", log)
    scene.add_listener(once)
    scene.add_listener(other)
    ref = weakref.ref(once)
    del once
    scene.render()
    scene.render()
    assert [entry for entry in log if entry[0] == "once"] == [("once", "pre_render", None)]
    assert len([entry for entry in log if entry[0] == "other" and entry[1] == "post_render"]) == 2
    gc.collect()
    assert ref() is None  # the scene let it go


def test_plain_listener_removing_itself_during_its_call(listened):
    scene, log = listened

    class Once:
        def OnPostLayerRender(self, layer_id):
            log.append(("once", "post_layer", layer_id))
            scene.remove_listener(self)

    once = Once()
    ref = weakref.ref(once)
    scene.add_listener(once)
    del once
    gc.collect()
    assert ref() is not None  # the scene keeps it
    scene.render()
    scene.render()
    assert [entry for entry in log if entry[0] == "once"] == [("once", "post_layer", "back")]
    gc.collect()
    assert ref() is None


def test_removing_an_unknown_listener_does_nothing(listened):
    scene, log = listened
    kept = ListenerLog("kept", log)
    scene.add_listener(kept)
    stranger = ListenerLog("stranger", log)
    scene.remove_listener(stranger)
    scene.remove_listener(object())
    scene.update(0.5)
    scene.render()
    assert log == [
        ("kept", "pre_update", 0.5),
        ("back-object", "update", 0.5),
        ("hud-object", "update", 0.5),
        ("front-object", "update", 0.5),
        ("kept", "post_update", 0.5),
        ("kept", "pre_render", None),
        ("kept", "pre_layer", "back"),
        ("back-object", "render", None),
        ("kept", "post_layer", "back"),
        ("kept", "pre_layer", "front"),
        ("front-object", "render", None),
        ("kept", "post_layer", "front"),
        ("kept", "post_render", None),
    ]


# Reference counting ------------------------------------------------------------------

def test_scene_keeps_layers_and_objects_alive(scene):
    layer = SceneLayer("a", 0, 0, True)
    scene.add_layer(layer)
    o = Quad()
    o.layer = "a"
    layer_ref, object_ref = weakref.ref(layer), weakref.ref(o)
    del layer, o
    gc.collect()
    assert layer_ref() is not None
    assert object_ref() is not None
    assert scene.get_layer("a") is layer_ref()
    assert scene.get_layer("a").objects == [object_ref()]
    assert object_ref().size == 20  # the same script object, attributes and all

    scene.remove_object(object_ref())
    gc.collect()
    assert object_ref() is None
    assert layer_ref() is not None


def test_moving_an_object_between_layers_keeps_it_alive(scene):
    add_layer(scene, "a", 0)
    add_layer(scene, "b", 1)
    o = SceneObject()
    o.layer = "a"
    ref = weakref.ref(o)
    del o
    ref().layer = "b"
    gc.collect()
    assert ref() is not None
    assert scene.get_layer("b").objects == [ref()]


def test_no_script_object_leaks_from_a_scene_of_a_thousand_objects(gl):
    s = Scene()
    layers = [SceneLayer("layer%d" % i, i, 0, i != 2) for i in range(4)]
    for layer in layers:
        s.add_layer(layer)
    log = []
    objects = []
    for i in range(1000):
        o = Recorder("o%d" % i, log) if i % 10 == 0 else Quad(2)
        o.id = "pytest-leak-%d" % i
        o.z = i % 7
        o.position = (i % 640, i % 480)
        o.layer = "layer%d" % (i % 4)
        objects.append(o)
    listener = ListenerLog("l", log)
    s.add_listener(listener)
    s.update(0.016)
    draw_frame(s)
    refs = [weakref.ref(x) for x in [s, listener] + layers + objects]
    del s, layers, objects, listener, o, layer
    gc.collect()
    assert [r for r in refs if r() is not None] == []
    assert libgraphics.scene.get_object("pytest-leak-0") is None


# Clearing the window -----------------------------------------------------------------

def moving_quad_frames(scene, window, frames=3):
    """Draws `frames` frames of a quad stepping 50 pixels right each frame, from
    (100, 100); returns what the window holds after the last one."""
    add_layer(scene, "main", 0)
    quad = Quad(40)
    quad.layer = "main"
    for i in range(frames):
        quad.position = (100 + 50 * i, 100)
        scene.update(1 / 60)
        draw_frame(scene)
    return quad


def test_clear_colour_is_none_by_default_and_the_old_frame_stays(scene, window):
    assert scene.clear_colour is None
    moving_quad_frames(scene, window)
    # Every position the quad took is still there: nothing cleared the window.
    assert [pixel(window, x, 120) for x in (120, 170, 220)] == [RED, RED, RED]


def test_clear_colour_clears_the_window_in_begin_frame(scene, window):
    scene.clear_colour = (0, 0, 1)
    assert scene.clear_colour == libcore.Colour(0, 0, 1, 1)
    moving_quad_frames(scene, window)
    # Only the last frame's quad; the window is blue elsewhere, where the old ones were.
    assert [pixel(window, x, 120) for x in (120, 170, 220)] == [(0, 0, 255, 255), (0, 0, 255, 255), RED]
    scene.clear_colour = None
    assert scene.clear_colour is None


def test_clear_colour_takes_colour_text_and_refuses_what_is_not_a_colour(scene):
    scene.clear_colour = "#ff8000"
    assert scene.clear_colour == libcore.Colour("#ff8000")
    for wrong in (3, object(), (1, 2)):
        with pytest.raises((TypeError, ValueError), match="clear_colour"):
            scene.clear_colour = wrong
    assert scene.clear_colour == libcore.Colour("#ff8000")


def test_clear_colour_clears_the_window_and_the_redirection_is_cleared_too(redirected, window):
    scene, quad, display, framebuffer = redirected
    scene.clear_colour = (0, 1, 0)
    draw_frame(scene)
    assert pixel(window, 430, 317) == RED         # the quad, through the display
    assert pixel(window, 5, 5) == (0, 255, 0, 255)  # the window, cleared to green
    quad.position = (300, 50)
    draw_frame(scene)
    # The framebuffer was cleared for the new frame: the quad's old place is empty.
    assert pixel(window, 430, 317) != RED


# Redirection into framebuffers -------------------------------------------------------

@pytest.fixture
def redirected(scene, window):
    """A red quad at (100, 50), size 40, drawn before a display of a window-size
    framebuffer shown at (400, 300) at a quarter of its size; returns
    (scene, quad, display, framebuffer)."""
    framebuffer = Framebuffer()
    assert framebuffer.create()
    add_layer(scene, "main", 0)
    quad = Quad(40)
    quad.position = (100, 50)
    quad.layer = "main"
    display = FramebufferDisplay(framebuffer)
    display.dimensions = (160, 120)
    display.position = (400, 300)
    display.z = 1
    display.layer = "main"
    scene.register_framebuffer(display, framebuffer)
    return scene, quad, display, framebuffer


def test_redirected_content_appears_inside_the_display_only(redirected, window, caplog):
    scene, quad, display, framebuffer = redirected
    with caplog.at_level(logging.WARNING, logger="engine.graphics"):
        draw_frame(scene)
    assert Framebuffer.current() is None
    # The quad, at a quarter size, at (400 + 100/4, 300 + 50/4): (425, 312.5)-(435, 322.5).
    assert pixel(window, 430, 317) == RED
    assert pixel(window, 426, 314) == RED
    assert pixel(window, 434, 321) == RED
    assert pixel(window, 420, 317) == BLACK
    assert pixel(window, 440, 317) == BLACK
    assert pixel(window, 430, 308) == BLACK
    assert pixel(window, 430, 326) == BLACK
    # Not on screen where it was drawn.
    assert pixel(window, 120, 70) == BLACK
    assert [r for r in caplog.records if r.name == "engine.graphics"] == []


def test_display_origin_and_colour(redirected, window):
    scene, quad, display, framebuffer = redirected
    display.origin = (80, 60)
    display.colour = (0.5, 1.0, 1.0, 1.0)
    assert display.dimensions == libcore.Vector(160, 120)
    assert display.origin == libcore.Vector(80, 60)
    assert display.framebuffer is framebuffer
    draw_frame(scene)
    # The rectangle now starts at (320, 240): the quad is at (345, 252.5)-(355, 262.5),
    # its red halved by the tint.
    r, g, b, a = pixel(window, 350, 257)
    assert abs(r - 128) <= 2 and (g, b, a) == (0, 0, 255)
    assert pixel(window, 430, 317) == BLACK


def test_display_defaults_to_the_framebuffers_size(gl):
    framebuffer = Framebuffer()
    assert framebuffer.create((256, 128))
    display = FramebufferDisplay(framebuffer)
    assert display.dimensions == libcore.Vector(256, 128)
    assert display.origin == libcore.Vector(0, 0)
    assert display.colour == libcore.Colour()


def test_begin_frame_binds_and_clears_the_first_visible_redirection(redirected, window):
    scene, quad, display, framebuffer = redirected
    scene.begin_frame()
    assert Framebuffer.current() is framebuffer
    assert int(GL.glGetIntegerv(GL.GL_FRAMEBUFFER_BINDING)) == framebuffer.framebuffer_name
    scene.render()
    scene.end_frame()


def test_begin_frame_with_an_invisible_redirected_object_binds_nothing(redirected, window):
    scene, quad, display, framebuffer = redirected
    display.visible = False
    scene.begin_frame()
    assert Framebuffer.current() is None
    assert int(GL.glGetIntegerv(GL.GL_FRAMEBUFFER_BINDING)) == 0
    scene.render()
    scene.end_frame()
    assert pixel(window, 120, 70) == RED  # drawn straight to the window
    assert pixel(window, 430, 317) == BLACK


def test_object_in_no_common_layer_gets_no_redirection(scene):
    framebuffer = Framebuffer()
    assert framebuffer.create()
    add_layer(scene, "hud", 0, 0, False)
    display = FramebufferDisplay(framebuffer)
    display.layer = "hud"
    scene.register_framebuffer(display, framebuffer)
    scene.begin_frame()
    assert Framebuffer.current() is None
    scene.end_frame()


def test_end_frame_with_a_framebuffer_bound_warns_once_and_shows_the_picture(scene, window, caplog):
    framebuffer = Framebuffer()
    assert framebuffer.create()
    add_layer(scene, "main", 0)
    add_layer(scene, "hud", 1, 0, False)
    quad = Quad(40)
    quad.position = (100, 50)
    quad.layer = "hud"
    display = FramebufferDisplay(framebuffer)
    display.layer = "main"
    scene.register_framebuffer(display, framebuffer)
    with caplog.at_level(logging.WARNING, logger="engine.graphics"):
        scene.begin_frame()
        scene.render_layer("hud")  # the display, in "main", is never reached
        assert Framebuffer.current() is framebuffer
        scene.end_frame()
    warnings = [r for r in caplog.records if r.name == "engine.graphics"]
    assert [r.getMessage() for r in warnings] == ["Non-default framebuffer bound at Scene::end_frame()."]
    assert warnings[0].levelno == logging.WARNING
    assert Framebuffer.current() is None
    assert int(GL.glGetIntegerv(GL.GL_FRAMEBUFFER_BINDING)) == 0
    assert tuple(GL.glGetIntegerv(GL.GL_VIEWPORT)) == (0, 0, 640, 480)
    # The captured picture, drawn to the window at its natural place.
    assert pixel(window, 120, 70) == RED
    assert pixel(window, 160, 70) == BLACK
    assert bool(GL.glIsEnabled(GL.GL_BLEND))


def test_removing_a_redirected_object_drops_its_redirection(redirected, window):
    scene, quad, display, framebuffer = redirected
    scene.remove_object(display)
    scene.begin_frame()
    assert Framebuffer.current() is None
    scene.render()
    scene.end_frame()
    assert pixel(window, 120, 70) == RED


def test_redirection_removed_during_a_render_changes_targets_from_the_next_frame(scene, window, caplog):
    # The quad goes into `inner`, whose display (full size) goes into `outer`, whose
    # display shows a quarter of it. An object between the two displays removes the
    # inner one while the frame is drawn.
    inner, outer = Framebuffer(), Framebuffer()
    assert inner.create() and outer.create()
    add_layer(scene, "main")
    quad = Quad(40)
    quad.position = (100, 50)
    inner_display = FramebufferDisplay(inner)
    inner_display.z = 1

    class Remover(SceneObject):
        def OnRender(self):
            scene.remove_object(inner_display)

    remover = Remover()
    remover.z = 2
    outer_display = FramebufferDisplay(outer)
    outer_display.dimensions = (160, 120)
    outer_display.position = (400, 300)
    outer_display.z = 3
    for o in (quad, inner_display, remover, outer_display):
        o.layer = "main"
    scene.register_framebuffer(inner_display, inner)
    scene.register_framebuffer(outer_display, outer)

    # This frame keeps the targets it had: the outer display does not switch back to
    # the window, and end_frame shows what is still bound, with its warning.
    with caplog.at_level(logging.WARNING, logger="engine.graphics"):
        draw_frame(scene)
    assert [r.getMessage() for r in caplog.records if r.name == "engine.graphics"] == [
        "Non-default framebuffer bound at Scene::end_frame()."]
    assert pixel(window, 120, 70) == RED

    # From the next frame on, only the outer redirection is left.
    caplog.clear()
    GL.glClearColor(0, 0, 0, 1)
    GL.glClear(GL.GL_COLOR_BUFFER_BIT)
    with caplog.at_level(logging.WARNING, logger="engine.graphics"):
        draw_frame(scene)
    assert [r for r in caplog.records if r.name == "engine.graphics"] == []
    assert pixel(window, 430, 317) == RED
    assert pixel(window, 120, 70) == BLACK


def test_scene_keeps_a_redirected_framebuffer_alive(scene):
    add_layer(scene, "main")
    o = Quad()
    o.layer = "main"
    framebuffer = Framebuffer()
    scene.register_framebuffer(o, framebuffer)
    ref = weakref.ref(framebuffer)
    del framebuffer
    gc.collect()
    assert ref() is not None
    scene.remove_object(o)
    gc.collect()
    assert ref() is None


# Wrong arguments ---------------------------------------------------------------------

@pytest.mark.parametrize("call", [
    lambda s: s.add_layer(None),
    lambda s: s.add_layer(3),
    lambda s: s.layers.append(None),
    lambda s: s.layers.append("a"),
    lambda s: s.get_layer(None),
    lambda s: s.get_layer(1.5),
    lambda s: s.get_object(None),
    lambda s: s.add_object(None, "a"),
    lambda s: s.add_object(3, "a"),
    lambda s: s.remove_object(None),
    lambda s: s.add_listener(None),
    lambda s: s.register_framebuffer(None, Framebuffer()),
    lambda s: s.register_framebuffer(SceneObject(), None),
    lambda s: s.register_framebuffer(SceneObject(), 3),
    lambda s: s.register_framebuffer(3, Framebuffer()),
    lambda s: s.render_layer(None),
    lambda s: s.update(None),
    lambda s: s.update("x"),
    lambda s: setattr(s, "scale", None),
    lambda s: s.get_layer_transform(None, (0, 0)),
    lambda s: SceneLayer(None),
    lambda s: SceneLayer("a", "z"),
    lambda s: setattr(SceneObject(), "layer", None),
    lambda s: setattr(SceneObject(), "id", 3),
    lambda s: setattr(SceneObject(), "z", "deep"),
    lambda s: SceneObject().add_animator("a", None),
    lambda s: SceneObject().add_animator("a", 3),
    lambda s: SceneObject().remove_animator(None),
    lambda s: SceneObject().remove_animator(3),
    lambda s: FramebufferDisplay(3),
    lambda s: FramebufferDisplay(SceneObject()),
    lambda s: setattr(FramebufferDisplay(None), "dimensions", None),
    lambda s: setattr(FramebufferDisplay(None), "colour", 5),
])
def test_wrong_argument_types_raise_type_error(scene, call):
    with pytest.raises(TypeError):
        call(scene)


def test_display_without_a_framebuffer_draws_nothing(scene, window):
    add_layer(scene, "main")
    display = FramebufferDisplay(None)
    assert display.framebuffer is None
    display.layer = "main"
    draw_frame(scene)
    assert pixel(window, 10, 10) == BLACK


def test_objects_after_the_display_are_drawn_to_the_window(redirected, window):
    scene, quad, display, framebuffer = redirected
    after = Quad(30, (0.0, 1.0, 0.0, 1.0))
    after.position = (500, 100)
    after.z = 2
    after.layer = "main"
    draw_frame(scene)
    assert pixel(window, 515, 115) == (0, 255, 0, 255)
    assert pixel(window, 430, 317) == RED


def test_redirections_chain_in_drawing_order_whatever_the_order_of_registration(scene, window):
    inner, outer = Framebuffer(), Framebuffer()
    assert inner.create() and outer.create()
    add_layer(scene, "main")
    first = Quad(40)
    first.position = (100, 50)
    inner_display = FramebufferDisplay(inner)  # full size at (0, 0): into the outer target
    inner_display.z = 1
    second = Quad(40, (0.0, 1.0, 0.0, 1.0))
    second.position = (300, 200)
    second.z = 2
    outer_display = FramebufferDisplay(outer)  # a quarter of the size at (400, 300)
    outer_display.dimensions = (160, 120)
    outer_display.position = (400, 300)
    outer_display.z = 3
    for o in (first, inner_display, second, outer_display):
        o.layer = "main"
    scene.register_framebuffer(outer_display, outer)
    scene.register_framebuffer(inner_display, inner)
    draw_frame(scene)
    assert pixel(window, 430, 317) == RED                 # first, through both targets
    assert pixel(window, 480, 355) == (0, 255, 0, 255)    # second, through the outer one
    assert pixel(window, 120, 70) == BLACK
    assert pixel(window, 320, 220) == BLACK


def test_script_layer_subclass_is_returned_as_itself(scene):
    class TaggedLayer(SceneLayer):
        def __init__(self, layer_id):
            super().__init__(layer_id, 0, 0, True)
            self.tag = "mine"

    scene.layers.append(TaggedLayer("tagged"))
    gc.collect()
    layer = scene.get_layer("tagged")
    assert isinstance(layer, TaggedLayer)
    assert layer.tag == "mine"
    assert scene.layers[0] is layer


def test_layer_property_without_a_current_scene_does_nothing(gl):
    s = Scene()
    add_layer(s, "a")
    del s
    gc.collect()
    o = SceneObject()
    o.layer = "a"
    assert o.layer == ""


def test_a_raising_hook_does_not_stop_the_frame(listened, monkeypatch):
    scene, log = listened
    reported = []
    monkeypatch.setattr("sys.unraisablehook", lambda info: reported.append(info.exc_type))

    class Faulty(ListenerLog):
        def OnPreRender(self):
            raise RuntimeError("listener failed")

    class FaultyObject(SceneObject):
        def OnRender(self):
            raise ValueError("object failed")

    listener = Faulty("faulty", log)
    scene.add_listener(listener)
    FaultyObject().layer = "back"
    scene.render()
    assert reported == [RuntimeError, ValueError]
    assert ("front-object", "render", None) in log
    assert log[-1] == ("faulty", "post_render", None)
