"""Shared fixtures: the one window (and GL context) that every GL test draws into."""
import os

import pytest

import libcore
import libwindow

WIDTH, HEIGHT = 640, 480


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
def data_dir():
    return os.path.join(os.path.dirname(__file__), "..", "data")
