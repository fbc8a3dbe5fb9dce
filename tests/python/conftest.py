"""Shared fixtures: the one window (and GL context) that every GL test draws into, the
graphics module attached to it, a directory of test pictures, and the engine's
graphics log."""
import gc
import logging
import os

import pytest
from OpenGL import GL

import libcore
import libgraphics
import libwindow
from libgraphics import Framebuffer, texture_database

from pictures import Pictures, settle

WIDTH, HEIGHT = 640, 480


def pytest_configure(config):
    config.addinivalue_line(
        "markers", "soak: long runs of many frames that look for leaks and drift (deselect with -m 'not soak')")
    config.addinivalue_line(
        "markers", "slow: installs the modules into a temporary prefix or venv (deselect with -m 'not slow')")


@pytest.fixture(autouse=True)
def gl_state_kept():
    """Every test runs with the GL state check on: after each object's update and render
    and each listener hook the engine compares the GL state with the baseline every draw
    path expects. A test during which anything left it otherwise fails."""
    libgraphics.GLState.set_checking(True)
    before = libgraphics.GLState.violation_count()
    yield
    libcore.Log.flush()
    assert libgraphics.GLState.violation_count() == before, \
        "an object or hook left the GL state other than the baseline (see the logged error)"


@pytest.fixture(scope="session")
def window():
    """The session's window, 640x480, with its OpenGL context current."""
    w = libwindow.Window(WIDTH, HEIGHT, "engine tests")
    yield w
    w.close()


@pytest.fixture
def restore_size(window):
    """Puts the window back to its session size after a test that changes it."""
    yield window
    res = window.video_mode.resolution
    if (res.x, res.y) != (WIDTH, HEIGHT) or window.video_mode.fullscreen:
        window.set_video_mode(WIDTH, HEIGHT, False)


@pytest.fixture
def gl(window):
    """The session window as the graphics module's window, with the pixel projection,
    cleared to opaque black and drawing into the window. Afterwards the window is the
    render target again and texture unit 0 is active with no texture bound, whatever
    the test left."""
    libgraphics.set_window(window)
    libgraphics.set_ortho()
    libgraphics.GLState.apply()  # whatever an earlier test's raw GL left
    GL.glClearColor(0, 0, 0, 1)
    GL.glClear(GL.GL_COLOR_BUFFER_BIT)
    gl_errors = GLErrors()
    logging.getLogger("engine.graphics").addHandler(gl_errors)
    yield window
    if Framebuffer.current() is not None:
        Framebuffer.unbind()
    GL.glActiveTexture(GL.GL_TEXTURE0)
    GL.glBindTexture(GL.GL_TEXTURE_2D, 0)
    libcore.Log.flush()
    logging.getLogger("engine.graphics").removeHandler(gl_errors)
    # A test that leaves a GL error fails, whether the engine's checks saw it or not,
    # and so does one whose objects left the GL state other than the baseline.
    assert gl_errors.messages == [], "the test left OpenGL errors"
    assert gl_errors.state_reports == [], "objects left the GL state other than every draw path expects"
    assert GL.glGetError() == GL.GL_NO_ERROR, "the test left an OpenGL error"


class GLErrors(logging.Handler):
    """Collects the engine's reports of OpenGL errors and of GL state left behind."""

    def __init__(self):
        super().__init__(logging.WARNING)
        self.messages = []
        self.state_reports = []

    def emit(self, record):
        message = record.getMessage()
        if message.startswith("OpenGL error"):
            self.messages.append(message)
        elif message.startswith("GL state "):
            self.state_reports.append(message)


@pytest.fixture
def pictures(gl, tmp_path):
    """A directory of test pictures, a root of the path database for the test. Every
    load the test queued has arrived before it ends; the textures it no longer holds
    are then purged and the resolution switch is back on."""
    settle()
    libcore.PathDatabase.add_root(str(tmp_path))
    yield Pictures(tmp_path)
    settle()
    texture_database.full_resolution = True
    gc.collect()
    texture_database.purge()
    libcore.PathDatabase.remove_root(str(tmp_path))


@pytest.fixture
def scene(gl):
    """A fresh scene, the current one from now on, with one common layer "main". Test
    files that need other layers define their own."""
    s = libgraphics.Scene()
    s.add_layer(libgraphics.SceneLayer("main", 0, 0, True))
    yield s


@pytest.fixture
def graphics_log(caplog):
    """The engine's graphics messages, from INFO up."""
    caplog.set_level(logging.INFO, logger="engine.graphics")
    return caplog


@pytest.fixture
def data_dir():
    return os.path.join(os.path.dirname(__file__), "..", "data")
