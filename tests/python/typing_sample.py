"""A small game script written against the modules' stubs: the type checker accepts it
as it is (test_docstrings runs mypy --strict on it; it is never executed)."""
import libcore
import libgraphics
import libwindow
from libcore import Colour, Vector


class Mover(libgraphics.SceneObject):
    def OnUpdate(self, dt: float) -> None:
        self.position = self.position + Vector(dt * 10, 0)


class Keys(libwindow.WindowListener):
    def on_key(self, window: libwindow.Window, key: libwindow.key, pressed: bool, repeat: bool) -> None:
        if pressed and key == libwindow.key.ESCAPE:
            window.close()


def main() -> int:
    window = libwindow.Window(320, 240, "typed", vsync=True)
    libwindow.Window.add_listener(Keys())
    scene = libgraphics.scene
    scene.add_layer(libgraphics.SceneLayer("main", z=1.0))
    hero = libgraphics.Sprite("hero")
    hero.layer = "main"
    hero.colour = Colour(1, 0.5, 0)
    hero.position = (100, 80)       # a value property takes what its converter takes
    hero.position = hero.position + (1, 1)      # so does vector arithmetic
    hero.scale = 2.0
    hero.colours[2] = "#ff0000"
    hero.fade(0.0, 1.0, 0.0, 2.0, transition=None)
    hero.add_animator("spin", libgraphics.SceneObjectAnimatorRotate(1.0, 2.0, 3.0), on_finished=lambda: None)
    label = libgraphics.Text("score", size=24)
    label.colour = "#ffcc00"
    layer = scene.get_layer("main")
    if layer is not None:
        print(layer.id, len(layer.objects))
    first: libgraphics.SceneObject | None = scene.get_object("hero")
    arm = libgraphics.Actor("puppet").skeleton
    joint = arm.joints["hand"] if arm is not None else None     # None where the factory failed
    if joint is not None:
        joint.rotation = 0.5
    emitter = libgraphics.ParticleSystem("fire").emitters[0]
    if emitter is not None:
        emitter.emission_rate = 50.0
    distance: float = (hero.position - label.position).length() + libcore.normalise_angle(7.0)
    print(first, distance, hero.colours[0].r, libgraphics.texture_database.full_resolution)

    def update(dt: float) -> bool:
        return window.is_key_down(libwindow.key.SPACE) or dt > 1.0

    return libgraphics.run(window, update, fps=30.0)
