"""The graphics module's entry: registered classes, set_window / get_window,
set_ortho and the window listener that follows the context."""
import ctypes

import numpy as np
import pytest
from OpenGL import GL

import libcore
import libgraphics
import libwindow

from waiting import wait_until

SDL = ctypes.CDLL("libSDL2-2.0.so.0")
SDL.SDL_GL_GetCurrentWindow.restype = ctypes.c_void_p
SDL.SDL_GetWindowID.argtypes = [ctypes.c_void_p]
SDL.SDL_GetWindowID.restype = ctypes.c_uint32

SDL.SDL_SetWindowSize.argtypes = [ctypes.c_void_p, ctypes.c_int, ctypes.c_int]


def resize_by_the_window_system(window, width, height):
    """Resizes the window behind the engine's back, as a user dragging its border
    would, and lets the window deliver the resulting events."""
    SDL.SDL_SetWindowSize(SDL.SDL_GL_GetCurrentWindow(), width, height)

    def resized():
        window.process_events()
        res = window.video_mode.resolution
        return (res.x, res.y) == (width, height)

    wait_until(resized, timeout=5.0, what=f"the window system to resize the window to {width}x{height}")


def viewport():
    return tuple(GL.glGetIntegerv(GL.GL_VIEWPORT))


@pytest.fixture
def attached(window):
    libgraphics.set_window(window)
    yield window
    libgraphics.set_window(window)


def test_classes_are_registered_with_the_factory():
    for name in ["Transform", "SceneObject", "Scene", "SceneLayer", "SceneLayerProxy", "SceneListener",
                 "Framebuffer", "FramebufferDisplay"]:
        assert libcore.Factory.get_class(name) is getattr(libgraphics, name)


# Every class and function group the module registers, in its registration order.
REGISTERED = ["Transform", "SkeletonJointProxy", "Skeleton", "SceneObject", "ActorMesh", "ActorMeshProxy", "Actor",
              "actor_database", "particle_database", "ParticleEmitter", "ParticleEmitterProxy", "ParticleSystem",
              "SpriteProxy", "Sprite", "sprite_database", "SceneObjectAnimator", "SceneObjectAnimatorAlphaPulse",
              "SceneObjectAnimatorMove", "SceneObjectAnimatorMoveFixed", "SceneObjectAnimatorMoveNewtonian",
              "SceneObjectAnimatorMoveSmooth", "SceneObjectAnimatorMoveSpline", "SceneObjectAnimatorPulse",
              "SceneObjectAnimatorRotate", "SceneObjectAnimatorScale", "SceneObjectAnimatorSlide",
              "SceneObjectAnimatorSpriteFade", "SceneObjectAnimatorSpriteWipe", "Scene", "SceneLayer",
              "SceneLayerProxy", "SceneListener", "Texture", "TextureDatabase", "texture_loader", "ActorController",
              "ActorControllerDynamics", "ActorRigIKPositionHandleProxy", "ActorRigIKRotationHandleProxy",
              "ActorControllerIK", "ActorControllerSharedSkeleton", "IKConstraintPosition",
              "IKConstraintPositionFixed", "IKConstraintRotation", "IKConstraintRotationFixed"]


def test_every_class_of_the_module_is_importable():
    missing = [name for name in REGISTERED if not hasattr(libgraphics, name)]
    assert missing == []
    assert issubclass(libgraphics.ActorControllerDynamics, libgraphics.ActorController)
    assert libcore.Factory.get_class("ActorControllerDynamics") is libgraphics.ActorControllerDynamics


def test_scene_singleton_comes_from_the_factory():
    assert isinstance(libgraphics.scene, libgraphics.Scene)


def test_get_window_returns_the_same_script_object(attached):
    assert libgraphics.get_window() is attached
    libgraphics.set_window(None)
    assert libgraphics.get_window() is None


def test_set_window_rejects_other_objects():
    with pytest.raises(TypeError):
        libgraphics.set_window(42)
    with pytest.raises(TypeError):
        libgraphics.set_window("window")


def test_set_ortho_without_window_leaves_gl_state_untouched(window):
    libgraphics.set_window(None)
    GL.glDisable(GL.GL_BLEND)
    GL.glMatrixMode(GL.GL_PROJECTION)
    GL.glLoadIdentity()
    GL.glScalef(3, 4, 1)
    GL.glMatrixMode(GL.GL_MODELVIEW)
    GL.glLoadIdentity()
    GL.glTranslatef(5, 6, 0)
    libgraphics.set_ortho()
    projection = GL.glGetFloatv(GL.GL_PROJECTION_MATRIX)
    modelview = GL.glGetFloatv(GL.GL_MODELVIEW_MATRIX)
    assert projection[0][0] == 3 and projection[1][1] == 4
    assert modelview[3][0] == 5 and modelview[3][1] == 6
    assert not GL.glIsEnabled(GL.GL_BLEND)
    assert GL.glGetIntegerv(GL.GL_MATRIX_MODE) == GL.GL_MODELVIEW
    libgraphics.set_window(window)


def test_set_ortho_gives_pixels_with_origin_top_left(attached):
    libgraphics.set_ortho()
    p = GL.glGetFloatv(GL.GL_PROJECTION_MATRIX)
    w, h = 640, 480
    assert p[0][0] == np.float32(2.0 / w)
    assert p[1][1] == np.float32(-2.0 / h)
    assert (p[3][0], p[3][1]) == (-1.0, 1.0)
    assert GL.glIsEnabled(GL.GL_BLEND)
    assert GL.glGetIntegerv(GL.GL_BLEND_SRC) == GL.GL_SRC_ALPHA
    assert GL.glGetIntegerv(GL.GL_BLEND_DST) == GL.GL_ONE_MINUS_SRC_ALPHA
    assert GL.glGetIntegerv(GL.GL_MATRIX_MODE) == GL.GL_MODELVIEW
    assert np.array_equal(GL.glGetFloatv(GL.GL_MODELVIEW_MATRIX), np.identity(4, dtype=np.float32))


def test_late_set_window_sets_up_the_open_context(window):
    libgraphics.set_window(None)
    GL.glClearColor(0.5, 0.5, 0.5, 0.5)
    GL.glDisableClientState(GL.GL_VERTEX_ARRAY)
    GL.glDisableClientState(GL.GL_TEXTURE_COORD_ARRAY)
    libgraphics.set_window(window)  # the window exists: the listener hears on_create at once
    assert tuple(GL.glGetFloatv(GL.GL_COLOR_CLEAR_VALUE)) == (0, 0, 0, 1)
    assert GL.glIsEnabled(GL.GL_VERTEX_ARRAY)
    assert GL.glIsEnabled(GL.GL_TEXTURE_COORD_ARRAY)
    assert GL.glGetIntegerv(GL.GL_CULL_FACE_MODE) == GL.GL_BACK
    assert not GL.glIsEnabled(GL.GL_CULL_FACE)


def test_resize_sets_the_viewport_while_attached(attached, restore_size):
    GL.glViewport(0, 0, 10, 10)
    resize_by_the_window_system(attached, 600, 400)
    assert viewport() == (0, 0, 600, 400)


def test_detached_listener_does_not_see_resizes(window, restore_size):
    libgraphics.set_window(window)
    libgraphics.set_window(None)
    GL.glViewport(0, 0, 10, 10)
    resize_by_the_window_system(window, 600, 400)
    assert viewport() == (0, 0, 10, 10)
    libgraphics.set_window(window)


def test_resize_does_not_touch_the_projection(attached, restore_size):
    libgraphics.set_ortho()
    before = GL.glGetFloatv(GL.GL_PROJECTION_MATRIX).copy()
    resize_by_the_window_system(attached, 600, 400)
    assert np.array_equal(GL.glGetFloatv(GL.GL_PROJECTION_MATRIX), before)


def test_video_mode_change_recreates_context_and_follows_size(attached, restore_size):
    attached.set_video_mode(320, 200)
    assert viewport() == (0, 0, 320, 200)
    assert GL.glIsEnabled(GL.GL_VERTEX_ARRAY)
    libgraphics.set_ortho()
    assert GL.glGetFloatv(GL.GL_PROJECTION_MATRIX)[0][0] == np.float32(2.0 / 320)
    res = attached.video_mode.resolution
    assert (res.x, res.y) == (320, 200)


def test_a_new_context_keeps_the_projection_set_ortho_made(attached, restore_size):
    libgraphics.set_ortho()
    projection = GL.glGetFloatv(GL.GL_PROJECTION_MATRIX).copy()
    attached.set_video_mode(320, 200)
    # As after a resize: the picture set_ortho() framed now fills the new size.
    assert np.array_equal(GL.glGetFloatv(GL.GL_PROJECTION_MATRIX), projection)
    assert np.array_equal(GL.glGetFloatv(GL.GL_MODELVIEW_MATRIX), np.identity(4, dtype=np.float32))
    assert GL.glGetIntegerv(GL.GL_MATRIX_MODE) == GL.GL_MODELVIEW
    assert GL.glIsEnabled(GL.GL_BLEND)
    assert GL.glGetIntegerv(GL.GL_BLEND_SRC) == GL.GL_SRC_ALPHA
    assert viewport() == (0, 0, 320, 200)


def test_a_new_context_without_set_ortho_keeps_the_identity_projection(window, restore_size):
    libgraphics.set_window(window)  # set_ortho() not called since
    window.set_video_mode(320, 200)
    assert np.array_equal(GL.glGetFloatv(GL.GL_PROJECTION_MATRIX), np.identity(4, dtype=np.float32))


def red_rectangle(width, height):
    """A red rectangle from the origin, in the projection's units."""
    GL.glDisable(GL.GL_TEXTURE_2D)
    GL.glColor4f(1, 0, 0, 1)
    GL.glRectf(0, 0, width, height)
    GL.glColor4f(1, 1, 1, 1)


def red_at(window, points):
    width, height, data = window.read_pixels()
    return [tuple(data[(y * width + x) * 4:(y * width + x) * 4 + 4]) == (255, 0, 0, 255) for x, y in points]


@pytest.mark.skipif(__import__("os").environ.get("ENGINE_HEADLESS") != "1",
                    reason="would change the mode of a real display")
@pytest.mark.parametrize("ortho_again", [False, True], ids=["projection kept", "set_ortho again"])
def test_a_fullscreen_mode_shows_the_picture_over_the_whole_screen(attached, restore_size, ortho_again):
    libgraphics.set_ortho()
    attached.set_video_mode(640, 480, True)
    res = attached.video_mode.resolution
    screen = (res.x, res.y)
    assert screen != (640, 480)  # Xvfb's screen, the one mode it has
    assert viewport() == (0, 0, *screen)
    GL.glClearColor(0, 0, 0, 1)
    GL.glClear(GL.GL_COLOR_BUFFER_BIT)
    corners = [(0, 0), (screen[0] - 1, 0), (0, screen[1] - 1), (screen[0] - 1, screen[1] - 1)]
    if ortho_again:
        libgraphics.set_ortho()  # pixels of the screen
        red_rectangle(640, 480)
        assert red_at(attached, [(0, 0), (639, 479), (640, 0), (0, 480)]) == [True, True, False, False]
        red_rectangle(*screen)
    else:
        red_rectangle(640, 480)  # the 640x480 picture, stretched over the screen
    assert red_at(attached, corners + [(screen[0] // 2, screen[1] // 2)]) == [True] * 5


def test_script_subclass_registered_as_scene_is_made_by_name():
    class GameScene(libgraphics.Scene):
        pass

    native_class = libcore.Factory.get_class("Scene")
    try:
        libcore.Factory.register_class("Scene", GameScene)
        assert type(libcore.Factory.new_object("Scene")) is GameScene
    finally:
        libcore.Factory.register_class("Scene", native_class)
