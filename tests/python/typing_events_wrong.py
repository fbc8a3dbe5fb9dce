"""Three wrong calls the stubs catch (test_install expects exactly these; never executed)."""
import libgraphics
import libwindow

window = libwindow.Window(64, 64, "typed")
window.post_event("mouse_move", position="here")
window.post_event("key", pressed=True)
libgraphics.Texture.from_pixels(2, 2, bytes(16), name=3)
