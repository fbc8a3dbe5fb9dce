"""A puppet walking in place on an uneven floor, its feet held there by inverse
kinematics, reaching for a point that moves along a spline and looking at it; a second
puppet shares its skeleton; press nothing, watch the debug view on the second one."""
import libgraphics
from libgraphics import ActorControllerSharedSkeleton, SceneLayer

from _common import frames, open_window, run
from puppets import Path, walking_puppet


def main():
    window = open_window("actors")
    scene = libgraphics.scene
    scene.add_layer(SceneLayer("world", 0))
    path = Path([(300, 160), (420, 200), (380, 300), (260, 260)])
    path.layer = "world"
    walker, _ = walking_puppet((250, 250), "world", path)
    # The twin draws the walker's pose: same skeleton, re-skinned when the walker is.
    twin, _ = walking_puppet((480, 250), "world")
    twin.skeleton = walker.skeleton
    twin.controller = ActorControllerSharedSkeleton(walker)
    twin.z = 1  # updated after the walker
    twin.debug = True
    twin.set_colour((0.6, 0.8, 1.0, 1.0))
    run(window, scene, frames())


if __name__ == "__main__":
    main()
