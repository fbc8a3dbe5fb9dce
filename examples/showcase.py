"""The engine's showcase: one window, one scene per feature, growing with the engine.

With a display it runs until the window is closed (Escape also quits). Without one
(ENGINE_HEADLESS=1, as `make demo` sets under Xvfb) it runs a fixed number of frames
and writes screenshots to out/demo/.
"""
import argparse
import math
import os
import sys

from OpenGL import GL

import libcore
import libgraphics
import libwindow
from libgraphics import Framebuffer, FramebufferDisplay, Scene, SceneLayer, SceneObject, Transform

WIDTH, HEIGHT = 800, 600


class ArticulatedArm(SceneObject):
    """A chain of transforms posed by the script. The arm is a scene object: the scene
    loads its layer matrix, then each segment is drawn in its own local space after
    its world matrix is loaded into OpenGL."""

    SEGMENTS = 6
    LENGTH = 50.0

    def __init__(self, base, phase):
        super().__init__()
        self.position = base
        self.joints = []
        parent = self
        for i in range(self.SEGMENTS):
            joint = Transform()
            joint.position = (0, 0) if i == 0 else (0, -self.LENGTH)
            joint.set_rotation_constraint(-1.2, 1.2)
            parent.attach(joint)
            self.joints.append(joint)
            parent = joint
        self.hand = Transform()
        self.hand.position = (0, -self.LENGTH)
        parent.attach(self.hand)
        self.time = phase
        self.trail = []

    def OnUpdate(self, dt):
        self.time += dt
        for i, joint in enumerate(self.joints):
            # Each joint sways with its own phase; the limits clamp the larger swings.
            joint.rotation = 0.9 * math.sin(self.time * 1.3 + i * 0.6) * (1.0 + 0.15 * i)
        self.rotation = 0.3 * math.sin(self.time * 0.5)
        hand = self.hand.world_position
        self.trail.append((hand.x, hand.y))
        del self.trail[:-90]

    def OnRender(self):
        GL.glLineWidth(2.0)
        GL.glBegin(GL.GL_LINE_STRIP)
        for i, (x, y) in enumerate(self.trail):
            GL.glColor4f(1.0, 0.4, 0.4, i / max(1, len(self.trail)))
            GL.glVertex2f(x, y)
        GL.glEnd()
        GL.glLineWidth(6.0)
        for i, joint in enumerate(self.joints):
            GL.glPushMatrix()
            joint.load_into_opengl()
            shade = 0.4 + 0.6 * i / self.SEGMENTS
            GL.glColor4f(0.2, shade, 1.0 - 0.5 * shade, 1.0)
            GL.glBegin(GL.GL_LINES)
            GL.glVertex2f(0, 0)
            GL.glVertex2f(0, -self.LENGTH)
            GL.glEnd()
            GL.glColor4f(1.0, 0.9, 0.3, 1.0)
            draw_square(5)
            GL.glPopMatrix()
        GL.glPushMatrix()
        self.hand.load_into_opengl()
        GL.glColor4f(1.0, 0.3, 0.3, 1.0)
        draw_square(8)
        GL.glPopMatrix()


class Marker(SceneObject):
    """A square drawn in its own space: shows how its layer's flags move and size it."""

    def __init__(self, position, colour, size=14):
        super().__init__()
        self.position, self.colour, self.size = position, colour, size

    def OnRender(self):
        GL.glPushMatrix()
        self.load_into_opengl()
        GL.glColor4f(*self.colour)
        draw_square(self.size)
        GL.glPopMatrix()


class Backdrop(SceneObject):
    """A grid over the whole window, in a layer with no scale flags: it never moves."""

    def OnRender(self):
        GL.glLineWidth(1.0)
        GL.glColor4f(0.25, 0.28, 0.35, 1.0)
        GL.glBegin(GL.GL_LINES)
        for x in range(0, WIDTH + 1, 40):
            GL.glVertex2f(x, 0)
            GL.glVertex2f(x, HEIGHT)
        for y in range(0, HEIGHT + 1, 40):
            GL.glVertex2f(0, y)
            GL.glVertex2f(WIDTH, y)
        GL.glEnd()


class Frame(SceneObject):
    """An outline around the picture-in-picture."""

    def __init__(self, position, size):
        super().__init__()
        self.position, self.size = position, size

    def OnRender(self):
        GL.glPushMatrix()
        self.load_into_opengl()
        GL.glLineWidth(3.0)
        GL.glColor4f(1, 1, 1, 1)
        w, h = self.size
        GL.glBegin(GL.GL_LINE_LOOP)
        for x, y in ((0, 0), (w, 0), (w, h), (0, h)):
            GL.glVertex2f(x, y)
        GL.glEnd()
        GL.glPopMatrix()


def draw_square(half):
    GL.glBegin(GL.GL_QUADS)
    GL.glVertex2f(-half, -half)
    GL.glVertex2f(half, -half)
    GL.glVertex2f(half, half)
    GL.glVertex2f(-half, half)
    GL.glEnd()


class Quit(libwindow.WindowListener):
    def __init__(self):
        super().__init__()
        self.requested = False

    def on_key(self, window, key, pressed, repeat):
        if key == libwindow.key.ESCAPE and pressed:
            self.requested = True


def build_scene(scene):
    """Layers with different scale flags, and a picture-in-picture made with a
    framebuffer redirection. Returns the objects so that the script keeps them."""
    F = Scene.ScaleFlag
    scene.add_layer(SceneLayer("backdrop", 0, 0, True))
    scene.add_layer(SceneLayer("world", 1, F.SCALE_MIN | F.TRANSLATE, True))
    scene.add_layer(SceneLayer("markers", 2, F.SCALE_MAX | F.TRANSLATE_UNIFORM, True))
    scene.add_layer(SceneLayer("overlay", 3, 0, True))

    objects = [Backdrop()]
    objects[0].layer = "backdrop"
    for base, phase in (((WIDTH * 0.3, HEIGHT * 0.8), 0.0), ((WIDTH * 0.62, HEIGHT * 0.8), 2.0)):
        arm = ArticulatedArm(base, phase)
        arm.layer = "world"
        objects.append(arm)
    for i in range(5):
        marker = Marker((60 + 70 * i, 60), (0.3 + 0.15 * i, 0.8, 0.4, 1.0))
        marker.layer = "markers"
        objects.append(marker)

    # Everything drawn before `full` is captured into the framebuffer; `full` shows it
    # at window size and `mini` shows it again, small, in the corner.
    framebuffer = Framebuffer()
    framebuffer.create()
    full = FramebufferDisplay(framebuffer)
    full.layer = "overlay"
    scene.register_framebuffer(full, framebuffer)
    mini = FramebufferDisplay(framebuffer)
    mini.dimensions = (WIDTH / 4, HEIGHT / 4)
    mini.position = (WIDTH - WIDTH / 4 - 20, 20)
    mini.colour = (0.8, 0.9, 1.0, 0.9)
    mini.z = 1
    mini.layer = "overlay"
    frame = Frame(mini.position, mini.dimensions)
    frame.z = 2
    frame.layer = "overlay"
    return objects + [framebuffer, full, mini, frame]


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    headless = os.environ.get("ENGINE_HEADLESS") == "1"
    parser.add_argument("--frames", type=int, default=240 if headless else 0,
                        help="stop after this many frames (0: run until closed)")
    parser.add_argument("--out", default="out/demo", help="where screenshots go")
    args = parser.parse_args()

    window = libwindow.Window(WIDTH, HEIGHT, "Engine showcase")
    libgraphics.set_window(window)
    libgraphics.set_ortho()
    quit_listener = Quit()
    libwindow.Window.add_listener(quit_listener)

    scene = libgraphics.scene
    objects = build_scene(scene)
    screenshots = {60: "scene-1.png", 150: "scene-2.png", 239: "scene-3.png"} if args.frames else {}
    os.makedirs(args.out, exist_ok=True)

    dt = 1.0 / 60.0
    frame, time = 0, 0.0
    while window.process_events() and not quit_listener.requested:
        time += dt
        # A non-uniform scene scale: each layer's flags decide what it does to objects.
        scene.scale = (1.0 + 0.2 * math.sin(time * 0.7), 1.0 - 0.15 * math.sin(time * 0.7))
        scene.update(dt)
        scene.begin_frame()
        scene.render()
        scene.end_frame()
        if frame in screenshots:
            path = os.path.join(args.out, screenshots[frame])
            window.save_screenshot(path)
            print("wrote", path)
        window.swap_buffers()
        frame += 1
        if args.frames and frame >= args.frames:
            break

    libwindow.Window.remove_listener(quit_listener)
    libgraphics.set_window(None)
    window.close()
    return 0


if __name__ == "__main__":
    sys.exit(main())
