"""A puppet collapsing as a ragdoll onto another one lying on the floor, again and
again, and a puppet walking in place with a swinging ponytail. Both are posed by
ActorControllerDynamics from the dynamics rigs of their actor data; the debug view
shows the bodies (green) and the collision body (red)."""
import libgraphics
from libgraphics import SceneLayer

from _common import frames, open_window, run
from ragdolls import ponytail_walker, ragdoll


def main():
    window = open_window("dynamics")
    scene = libgraphics.scene
    scene.add_layer(SceneLayer("world", 0))
    falling, sleeper, _ = ragdoll((220, 180), "world", (190, 300))
    falling.debug = True
    walker, _ = ponytail_walker((470, 300), "world")
    run(window, scene, frames())


if __name__ == "__main__":
    main()
