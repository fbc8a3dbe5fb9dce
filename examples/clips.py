"""Clips on the puppet: the left one goes idle, walk, walk with a wave on its arm
layer, then idle again, crossfading each time; the middle one walks by its clip while
inverse kinematics puts its hand on a point circling in front of it (a controller
stack: clips first, IK on top of their pose); the right one falls as a ragdoll onto a
sleeper, then gets up into its idle clip (a fade from the pose the ragdoll left), and
falls again."""
import math

import libgraphics
from libcore import Vector
from libgraphics import (Actor, ActorControllerAnimation, ActorControllerIK, ActorControllerStack,
                         IKConstraintPosition, SceneLayer)

from _common import frames, open_window, run
from puppets import load
from ragdolls import ragdoll

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


class GetUp:
    """Lets `actor` fall for `fall` seconds, then fades it into its idle clip for
    `stand` seconds, then lets it fall again (a new ragdoll world each time)."""

    def __init__(self, actor, fall=2.5, stand=3.0):
        self.actor, self.fall, self.stand = actor, fall, stand
        self.ragdoll, self.anim, self.t = actor.controller, ActorControllerAnimation(), 0.0

    def update(self, dt):
        self.t += dt
        if self.actor.controller is self.ragdoll and self.t >= self.fall:
            self.actor.controller = self.anim
            self.anim.play("idle", fade=1.2, loops=0)
        elif self.actor.controller is self.anim and self.t >= self.fall + self.stand:
            self.ragdoll.t = 0.0
            self.actor.controller = self.ragdoll  # its world is built anew, standing
            self.t = 0.0


class Director(libgraphics.SceneObject):
    """Drives the routines from the scene's update."""

    def __init__(self, *routines):
        super().__init__()
        self.routines = routines

    def OnUpdate(self, dt):
        for routine in self.routines:
            routine.update(dt)


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
    left = puppet((130, 300))
    anim = ActorControllerAnimation()
    left.controller = anim

    right = puppet((330, 300))
    walk, ik = ActorControllerAnimation(), ActorControllerIK()
    stack = ActorControllerStack()
    stack.add(walk)
    stack.add(ik)
    right.controller = stack
    walk.play("walk", loops=0)
    ik.set_position_constraint("hand", Circle())

    falling, sleeper, _ = ragdoll((530, 300), "world", (515, 380), scale=1.0, period=1e9)
    director = Director(Routine(anim), GetUp(falling))
    director.layer = "world"
    run(window, scene, frames())


if __name__ == "__main__":
    main()
