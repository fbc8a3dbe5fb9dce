"""Animators: a box slides in, another bounces, a third follows a curve, a fourth
pulses. The script only starts them; they step in C++ and remove themselves."""
import libgraphics
from libgraphics import (SceneLayer, SceneObjectAnimatorMoveNewtonian, SceneObjectAnimatorMoveSpline,
                         SceneObjectAnimatorPulse, SceneObjectAnimatorSlide)

from _common import frames, open_window, run
from layers import Box


def main():
    window = open_window("animators")
    scene = libgraphics.scene
    scene.add_layer(SceneLayer("main", 0))
    slider, ball, bird, heart = (Box((x, 80), c) for x, c in (
        (-40, (0.9, 0.9, 0.3, 1)), (320, (0.3, 0.9, 0.5, 1)), (40, (0.5, 0.6, 1, 1)), (560, (1, 0.3, 0.4, 1))))
    for box in (slider, ball, bird, heart):
        box.layer = "main"
    slider.add_animator("in", SceneObjectAnimatorSlide((120, 80), 1.0, False))
    throw = SceneObjectAnimatorMoveNewtonian((40, -300))
    throw.bounce_target = 440
    throw.num_bounces = 4
    throw.bounce_damping = 0.6
    ball.add_animator("throw", throw)
    path = SceneObjectAnimatorMoveSpline(3.0)
    for point in ((40, 400), (200, 100), (440, 460), (600, 200)):
        path.add_control_point(point)
    bird.add_animator("path", path)
    heart.add_animator("beat", SceneObjectAnimatorPulse(1.0, 1.6, 0.8))
    run(window, scene, frames())


if __name__ == "__main__":
    main()
