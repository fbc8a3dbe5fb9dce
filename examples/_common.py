"""What every example shares: a window the graphics module follows, the pixel
projection, and a frame loop that stops after a few frames when asked to
(`--frames N`, as the smoke test does) or when the window is closed."""
import argparse
import os
import sys

import libgraphics
import libwindow

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "data"))
import images  # noqa: E402,F401  (the project's own picture generator)


def open_window(title, width=640, height=480):
    window = libwindow.Window(width, height, title)
    libgraphics.set_window(window)
    libgraphics.set_ortho()
    return window


def frames():
    """How many frames to run: --frames N, or until the window is closed (0)."""
    parser = argparse.ArgumentParser()
    parser.add_argument("--frames", type=int, default=0)
    return parser.parse_args().frames


def run(window, scene, frame_count, dt=1.0 / 60.0):
    scene.clear_colour = (0, 0, 0)  # each frame starts from black: moving things leave no copies
    frame = 0
    while window.process_events():
        scene.update(dt)
        scene.begin_frame()
        scene.render()
        scene.end_frame()
        window.swap_buffers()
        frame += 1
        if frame_count and frame >= frame_count:
            break
    libgraphics.set_window(None)
    window.close()
