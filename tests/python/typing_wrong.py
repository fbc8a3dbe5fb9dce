"""Three mistakes the type checker finds through the modules' stubs (test_docstrings
expects exactly these three errors; the script is never executed)."""
import libcore
import libgraphics

sprite = libgraphics.Sprite("hero")
sprite.fade(0.0, 1.0, 0.0, duration="slow")
print(libcore.Vector(1, 2).z)
label = libgraphics.Text("score")
label.text = 3
