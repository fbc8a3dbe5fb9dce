"""Off-screen render targets: creation, binding, the push/pop stack and context loss."""
import gc
import logging
import weakref

import pytest
from OpenGL import GL

import libcore
import libgraphics
from libgraphics import Framebuffer, FramebufferDisplay

RED = (255, 0, 0, 255)
BLACK = (0, 0, 0, 255)


def window_size(window):
    res = window.video_mode.resolution
    return res.x, res.y


def viewport():
    return tuple(int(v) for v in GL.glGetIntegerv(GL.GL_VIEWPORT))


def bound_framebuffer():
    return int(GL.glGetIntegerv(GL.GL_FRAMEBUFFER_BINDING))


def drawing_target():
    """Where drawing goes: (the current framebuffer, the bound GL framebuffer, the viewport)."""
    return Framebuffer.current(), bound_framebuffer(), viewport()


def target_of(framebuffer):
    """The drawing target of a bound framebuffer; None stands for the session window."""
    if framebuffer is None:
        return None, 0, (0, 0, 640, 480)
    width, height = framebuffer.dimensions
    return framebuffer, framebuffer.framebuffer_name, (0, 0, width, height)


def pixel(window, x, y):
    w, h, data = window.read_pixels()
    i = (y * w + x) * 4
    return tuple(data[i:i + 4])


def fill(framebuffer, colour):
    """Clears the framebuffer to `colour`, then draws into the window again."""
    framebuffer.bind_as_framebuffer()
    GL.glClearColor(*colour)
    GL.glClear(GL.GL_COLOR_BUFFER_BIT)
    GL.glClearColor(0, 0, 0, 1)
    Framebuffer.unbind()


def test_is_supported_under_the_test_display(gl):
    assert Framebuffer.is_supported()


def test_new_framebuffer_has_no_gl_objects():
    f = Framebuffer()
    assert tuple(f.dimensions) == (-1, -1)
    assert f.framebuffer_name == 0
    assert f.texture_name == 0


def test_create_takes_the_window_size(gl):
    f = Framebuffer()
    assert f.create()
    assert tuple(f.dimensions) == window_size(gl) == (640, 480)
    assert f.framebuffer_name != 0
    assert f.texture_name != 0
    assert Framebuffer.current() is None
    assert bound_framebuffer() == 0


def test_create_with_dimensions_uses_them(gl):
    f = Framebuffer()
    assert f.create((256, 128))
    assert f.dimensions == libcore.IntVector(256, 128)
    GL.glBindTexture(GL.GL_TEXTURE_2D, f.texture_name)
    width = GL.glGetTexLevelParameteriv(GL.GL_TEXTURE_2D, 0, GL.GL_TEXTURE_WIDTH)
    height = GL.glGetTexLevelParameteriv(GL.GL_TEXTURE_2D, 0, GL.GL_TEXTURE_HEIGHT)
    GL.glBindTexture(GL.GL_TEXTURE_2D, 0)
    assert (int(width), int(height)) == (256, 128)


def test_create_twice_replaces_the_gl_objects(gl):
    f = Framebuffer()
    assert f.create((64, 64))
    assert f.create((32, 16))
    assert tuple(f.dimensions) == (32, 16)
    assert f.framebuffer_name != 0 and f.texture_name != 0


def test_release_deletes_the_gl_objects_and_keeps_the_size(gl):
    f = Framebuffer()
    assert f.create((64, 32))
    texture = f.texture_name
    f.release()
    assert (f.framebuffer_name, f.texture_name) == (0, 0)
    assert tuple(f.dimensions) == (64, 32)
    assert not GL.glIsTexture(texture)
    assert f.create()
    assert tuple(f.dimensions) == (64, 32)


def test_bind_as_framebuffer_sets_its_viewport_and_unbind_the_windows(gl):
    f = Framebuffer()
    assert f.create((256, 128))
    f.bind_as_framebuffer()
    assert drawing_target() == target_of(f)
    assert viewport() == (0, 0, 256, 128)
    Framebuffer.unbind()
    assert drawing_target() == target_of(None)


def test_push_bind_pop_restores_the_window(gl):
    f = Framebuffer()
    assert f.create((256, 128))
    Framebuffer.push()
    f.bind_as_framebuffer()
    assert viewport() == (0, 0, 256, 128)
    Framebuffer.pop()
    assert drawing_target() == target_of(None)


def test_push_pop_nests(gl):
    outer, inner = Framebuffer(), Framebuffer()
    assert outer.create((100, 50)) and inner.create((30, 20))
    outer.bind_as_framebuffer()
    Framebuffer.push()
    inner.bind_as_framebuffer()
    Framebuffer.push()
    Framebuffer.unbind()
    Framebuffer.pop()
    assert drawing_target() == target_of(inner)
    assert viewport() == (0, 0, 30, 20)
    Framebuffer.pop()
    assert drawing_target() == target_of(outer)
    assert viewport() == (0, 0, 100, 50)
    Framebuffer.unbind()


def test_pop_with_nothing_pushed_does_not_crash(gl, caplog):
    f = Framebuffer()
    assert f.create((64, 64))
    f.bind_as_framebuffer()
    with caplog.at_level(logging.WARNING, logger="engine.graphics"):
        Framebuffer.pop()
    assert Framebuffer.current() is f  # nothing to restore: nothing changes
    Framebuffer.unbind()


def test_bind_as_texture_on_unit_zero_leaves_the_active_unit(gl):
    f = Framebuffer()
    assert f.create((16, 16))
    GL.glActiveTexture(GL.GL_TEXTURE2)
    f.bind_as_texture(0)
    assert int(GL.glGetIntegerv(GL.GL_ACTIVE_TEXTURE)) == GL.GL_TEXTURE2
    assert int(GL.glGetIntegerv(GL.GL_TEXTURE_BINDING_2D)) == f.texture_name
    assert GL.glIsEnabled(GL.GL_TEXTURE_2D)
    GL.glDisable(GL.GL_TEXTURE_2D)
    GL.glBindTexture(GL.GL_TEXTURE_2D, 0)
    GL.glActiveTexture(GL.GL_TEXTURE0)


def test_bind_as_texture_on_another_unit_leaves_unit_zero_active(gl):
    f = Framebuffer()
    assert f.create((16, 16))
    GL.glBindTexture(GL.GL_TEXTURE_2D, 0)
    f.bind_as_texture(3)
    assert int(GL.glGetIntegerv(GL.GL_ACTIVE_TEXTURE)) == GL.GL_TEXTURE0
    assert int(GL.glGetIntegerv(GL.GL_TEXTURE_BINDING_2D)) == 0
    GL.glActiveTexture(GL.GL_TEXTURE3)
    try:
        assert int(GL.glGetIntegerv(GL.GL_TEXTURE_BINDING_2D)) == f.texture_name
        assert GL.glIsEnabled(GL.GL_TEXTURE_2D)
        GL.glDisable(GL.GL_TEXTURE_2D)
        GL.glBindTexture(GL.GL_TEXTURE_2D, 0)
    finally:
        GL.glActiveTexture(GL.GL_TEXTURE0)


@pytest.mark.parametrize("blend_before", [False, True])
def test_render_ends_with_blending_enabled(gl, blend_before):
    f = Framebuffer()
    assert f.create((16, 16))
    if blend_before:
        GL.glEnable(GL.GL_BLEND)
    else:
        GL.glDisable(GL.GL_BLEND)
    f.render()
    assert GL.glIsEnabled(GL.GL_BLEND)


def test_render_draws_the_picture_over_the_whole_viewport(gl):
    f = Framebuffer()
    assert f.create((32, 32))
    fill(f, (1, 0, 0, 1))
    depth = int(GL.glGetIntegerv(GL.GL_MODELVIEW_STACK_DEPTH))
    f.render()
    assert int(GL.glGetIntegerv(GL.GL_MODELVIEW_STACK_DEPTH)) == depth
    assert int(GL.glGetIntegerv(GL.GL_MATRIX_MODE)) == GL.GL_MODELVIEW
    for x, y in [(1, 1), (320, 240), (638, 478)]:
        assert pixel(gl, x, y) == RED


def test_render_keeps_the_picture_upright(gl):
    f = Framebuffer()
    assert f.create()
    f.bind_as_framebuffer()
    GL.glClear(GL.GL_COLOR_BUFFER_BIT)
    GL.glDisable(GL.GL_TEXTURE_2D)
    GL.glColor4f(1, 0, 0, 1)
    GL.glRectf(0, 0, 40, 20)  # the top-left corner under the y-down projection
    Framebuffer.unbind()
    GL.glClear(GL.GL_COLOR_BUFFER_BIT)
    f.render()
    assert pixel(gl, 5, 5) == RED
    assert pixel(gl, 5, 470) == BLACK
    assert pixel(gl, 60, 5) == BLACK


def test_drawing_into_a_framebuffer_does_not_reach_the_window(gl):
    f = Framebuffer()
    assert f.create()
    fill(f, (1, 0, 0, 1))
    assert pixel(gl, 320, 240) == BLACK


def test_framebuffers_survive_a_change_of_video_mode(restore_size, gl):
    window = restore_size
    sized, window_sized, empty = Framebuffer(), Framebuffer(), Framebuffer()
    assert sized.create((64, 32))
    assert window_sized.create()
    window.set_video_mode(320, 240, False)
    assert window_size(window) == (320, 240)
    assert sized.texture_name != 0 and sized.framebuffer_name != 0
    assert window_sized.texture_name != 0 and window_sized.framebuffer_name != 0
    assert tuple(sized.dimensions) == (64, 32)
    assert tuple(window_sized.dimensions) == (640, 480)  # the size it took is kept
    assert tuple(empty.dimensions) == (320, 240)  # created with the new context
    assert empty.texture_name != 0

    # Drawing into the re-created target still works.
    libgraphics.set_ortho()
    fill(sized, (1, 0, 0, 1))
    assert viewport() == (0, 0, 320, 240)
    GL.glClear(GL.GL_COLOR_BUFFER_BIT)
    sized.render()
    assert pixel(window, 160, 120) == RED
    assert pixel(window, 2, 2) == RED


def test_display_of_a_framebuffer_survives_a_change_of_video_mode(restore_size, gl):
    window = restore_size
    scene = libgraphics.Scene()
    f = Framebuffer()
    assert f.create((64, 64))
    layer = libgraphics.SceneLayer("main", 0, 0, True)
    scene.add_layer(layer)
    display = FramebufferDisplay(f)
    display.position = (10, 10)
    display.layer = "main"
    window.set_video_mode(320, 240, False)
    libgraphics.set_ortho()
    fill(f, (0, 1, 0, 1))
    GL.glClearColor(0, 0, 0, 1)
    GL.glClear(GL.GL_COLOR_BUFFER_BIT)
    scene.begin_frame()
    scene.render()
    scene.end_frame()
    assert pixel(window, 40, 40) == (0, 255, 0, 255)
    assert pixel(window, 80, 40) == BLACK


def test_dropping_a_framebuffer_deletes_its_gl_objects(gl):
    f = Framebuffer()
    assert f.create((16, 16))
    texture = f.texture_name
    ref = weakref.ref(f)
    del f
    gc.collect()
    assert ref() is None
    assert not GL.glIsTexture(texture)


def test_dropping_the_bound_framebuffer_leaves_no_current_one(gl):
    f = Framebuffer()
    assert f.create((16, 16))
    f.bind_as_framebuffer()
    del f
    gc.collect()
    assert Framebuffer.current() is None
    Framebuffer.unbind()


def test_display_keeps_its_framebuffer_alive(gl):
    f = Framebuffer()
    display = FramebufferDisplay(f)
    ref = weakref.ref(f)
    del f
    gc.collect()
    assert display.framebuffer is ref()
    assert ref() is not None
    del display
    gc.collect()
    assert ref() is None


@pytest.mark.parametrize("call", [
    lambda f: f.create(3),
    lambda f: f.create("ab"),
    lambda f: f.create((1, 2, 3)),
    lambda f: f.bind_as_texture(None),
    lambda f: f.bind_as_texture("0"),
    lambda f: Framebuffer(3),
    lambda f: FramebufferDisplay(3),
    lambda f: FramebufferDisplay("framebuffer"),
])
def test_wrong_argument_types_raise_type_error(gl, call):
    f = Framebuffer()
    with pytest.raises(TypeError):
        call(f)


def test_dimensions_are_read_only():
    with pytest.raises(AttributeError):
        Framebuffer().dimensions = (1, 1)
