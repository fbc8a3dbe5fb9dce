"""Layers and scale flags: the scene scale swings between wide and tall; the world
layer keeps its objects' sizes uniform while their positions follow the scale, and
the HUD layer ignores the scale altogether."""
import math

from OpenGL import GL

import libgraphics
from libgraphics import Scene, SceneLayer, SceneObject

from _common import frames, open_window, run


class Box(SceneObject):
    def __init__(self, position, colour, size=20):
        super().__init__()
        self.position, self.colour, self.size = position, colour, size

    def OnRender(self):
        GL.glDisable(GL.GL_TEXTURE_2D)
        GL.glPushMatrix()
        self.load_into_opengl()
        GL.glColor4f(*self.colour)
        GL.glRectf(-self.size, -self.size, self.size, self.size)
        GL.glColor4f(1, 1, 1, 1)  # the current colour every draw path expects
        GL.glPopMatrix()


class Swing(SceneObject):
    """Changes the scene scale every frame."""

    def __init__(self, scene):
        super().__init__()
        self.scene, self.time = scene, 0.0

    def OnUpdate(self, dt):
        self.time += dt
        self.scene.scale = (1.0 + 0.4 * math.sin(self.time), 1.0 - 0.3 * math.sin(self.time))


def main():
    window = open_window("layers and scale flags")
    scene = libgraphics.scene
    F = Scene.ScaleFlag
    scene.add_layer(SceneLayer("world", 0, F.SCALE_MIN | F.TRANSLATE))
    scene.add_layer(SceneLayer("hud", 1, 0))
    boxes = [Box((80 + 120 * i, 240), (0.3, 0.6 + 0.1 * i, 1.0, 1.0)) for i in range(5)]
    for box in boxes:
        box.layer = "world"
    hud = Box((40, 40), (1.0, 0.8, 0.2, 1.0), 10)
    hud.layer = "hud"
    swing = Swing(scene)
    swing.layer = "hud"
    run(window, scene, frames())


if __name__ == "__main__":
    main()
