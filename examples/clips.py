"""Clips on the puppet: the left one goes idle, walk, walk with a wave on its arm
layer, then idle again, crossfading each time; the middle one walks by its clip while
inverse kinematics puts its hand on a point circling in front of it (a controller
stack: clips first, IK on top of their pose); the right one walks until Space is
pressed (or every few seconds without a key), falls as a ragdoll onto a sleeper from
the pose the walk left it in, gets up by fading from the ragdoll's pose into its idle
clip, and walks on."""
import math

import libgraphics
import libwindow
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


class Tumble(libwindow.WindowListener):
    """Walks `actor` by its clips; on Space (or after `walk` seconds without a key) the
    ragdoll takes over from the walking pose, `fall` seconds later the actor fades from
    the fallen pose into its idle clip, then into the walk again."""

    def __init__(self, actor, walk=3.0, fall=2.5, stand=1.5):
        super().__init__()
        self.actor, self.walk, self.fall, self.stand = actor, walk, fall, stand
        self.ragdoll, self.anim = actor.controller, ActorControllerAnimation()
        self.ragdoll.start_pose = "actor"  # each fall starts from the pose the clips left
        self.actor.controller = self.anim
        self.anim.play("walk", loops=0)
        self.state, self.t, self.pushed = "walking", 0.0, False
        libwindow.Window.add_listener(self)

    def on_key(self, window, key, pressed, repeat):
        if key == libwindow.key.SPACE and pressed and not repeat:
            self.pushed = True

    def update(self, dt):
        self.t += dt
        if self.state == "walking" and (self.pushed or self.t >= self.walk):
            self.actor.controller = self.ragdoll  # a new world, built from the walking pose
            self.anim.stop()  # an idle layer 0: the next fade starts from the skeleton as it lies
            self.state, self.t = "fallen", 0.0
        elif self.state == "fallen" and self.t >= self.fall:
            self.actor.controller = self.anim
            self.anim.play("idle", fade=1.2, loops=0)  # from the fallen pose into the clip
            self.state, self.t = "standing", 0.0
        elif self.state == "standing" and self.t >= self.stand:
            self.anim.play("walk", fade=0.4, loops=0)
            self.state, self.t = "walking", 0.0
        self.pushed = False

    def close(self):
        libwindow.Window.remove_listener(self)


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
    tumble = Tumble(falling)
    director = Director(Routine(anim), tumble)
    director.layer = "world"
    run(window, scene, frames())
    tumble.close()


if __name__ == "__main__":
    main()
