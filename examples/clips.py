"""Clips on the puppet: the left one goes idle, walk, walk with a wave on its arm
layer, then idle again, crossfading each time; the right one walks by its clip while
inverse kinematics puts its hand on a point circling in front of it (a controller
stack: clips first, IK on top of their pose)."""
import math

import libgraphics
from libcore import Vector
from libgraphics import (Actor, ActorControllerAnimation, ActorControllerIK, ActorControllerStack,
                         IKConstraintPosition, SceneLayer)

from _common import frames, open_window, run
from puppets import load

# What the left puppet does next when a clip finishes or time passes: (clip, fade, layer).
ROUTINE = [("idle", 0.3, 0, 2.0), ("walk", 0.4, 0, 2.0), ("wave", 0.2, 1, 2.4), ("idle", 0.5, 0, 2.0)]


class Routine:
    """Plays ROUTINE in a loop on `anim`; the wave plays on layer 1, masked to the arm."""

    def __init__(self, anim):
        self.anim, self.step, self.left = anim, -1, 0.0
        anim.set_mask(1, ["upper_arm", "forearm", "hand", "head"])
        anim.on_event(lambda event, clip, layer: None)  # events arrive here: "step", "wave"

    def update(self, dt):
        self.left -= dt
        if self.left <= 0:
            self.step = (self.step + 1) % len(ROUTINE)
            clip, fade, layer, seconds = ROUTINE[self.step]
            loops = None if layer else 0
            self.anim.play(clip, fade=fade, loops=loops, layer=layer)
            self.left = seconds


class Circle(IKConstraintPosition):
    """A target going round in front of the puppet's chest, in its space."""

    def __init__(self):
        super().__init__()
        self.t = 0.0

    def update(self, dt):
        self.t += dt

    def get_position(self):
        return Vector(28 + 12 * math.cos(self.t * 2.0), -50 + 12 * math.sin(self.t * 2.0))


class Director(libgraphics.SceneObject):
    """Drives the routine from the scene's update."""

    def __init__(self, routine):
        super().__init__()
        self.routine = routine

    def OnUpdate(self, dt):
        self.routine.update(dt)


def puppet(position):
    actor = Actor("puppet")
    actor.layer = "world"
    actor.position = position
    actor.scale = (2, 2)
    return actor


def main():
    window = open_window("clips")
    scene = libgraphics.scene
    scene.add_layer(SceneLayer("world", 0))
    load()
    left = puppet((200, 300))
    anim = ActorControllerAnimation()
    left.controller = anim
    director = Director(Routine(anim))
    director.layer = "world"

    right = puppet((440, 300))
    walk, ik = ActorControllerAnimation(), ActorControllerIK()
    stack = ActorControllerStack()
    stack.add(walk)
    stack.add(ik)
    right.controller = stack
    walk.play("walk", loops=0)
    ik.set_position_constraint("hand", Circle())
    run(window, scene, frames())


if __name__ == "__main__":
    main()
