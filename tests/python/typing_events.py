"""What the stubs accept because the modules do: a plain object as a scene listener,
posted events with typed fields, pictures from any buffer (test_install type-checks it,
with the stubs of the build and with those of an installed copy; never executed)."""
import libcore
import libgraphics
import libwindow


class Stats:
    """A scene listener by its methods alone."""

    def OnPostRender(self) -> None:
        print("frame drawn")


def main() -> None:
    window = libwindow.Window(64, 64, "typed")
    scene = libgraphics.Scene()
    stats = Stats()
    scene.add_listener(stats)
    scene.remove_listener(stats)
    scene.add_listener(libgraphics.SceneListener())
    window.post_event("key", key=libwindow.key.SPACE, pressed=True)
    window.post_event("text", text="hello")
    window.post_event("mouse_button", button=1, position=(3, 4))
    window.post_event("mouse_move", position=libcore.IntVector(3, 4))
    window.post_event("mouse_wheel", delta=-1)
    window.post_event("resize", size=(320, 240))
    window.post_event("activate", active=False)
    window.post_event("close")
    alien = libgraphics.Texture.from_pixels(2, 2, bytes(16), name="alien")
    alien.update_pixels(bytearray(12), format="RGB", region=(0, 0, 2, 2))
    rgb = libgraphics.Texture.from_pixels(1, 1, memoryview(bytes(3)), "RGB")
    print(alien.path, rgb.dimensions, "alien" in libgraphics.texture_database,
          libgraphics.texture_database.forget("alien"))
