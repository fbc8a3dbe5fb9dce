"""The puppet of data/puppet.xml walking in place, posed by inverse kinematics: shared
by the actors example, the showcase and the actors benchmark."""
import math
import os

from libcore import Vector
from libgraphics import (Actor, ActorControllerIK, IKConstraintPosition, IKConstraintRotation, SceneObject,
                         actor_database)

PUPPET = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "data", "puppet.xml")


def load():
    if "puppet" not in actor_database.actor_ids():
        actor_database.load(PUPPET)


def floor_height(x):
    """An uneven floor, in the puppet's space: bumps under its feet."""
    return 64 + 6 * math.sin(x * 0.15)


class Foot(IKConstraintPosition):
    """A foot stepping in place: it swings forward in the air, then stays on the floor."""

    def __init__(self, x, phase, speed=3.0):
        super().__init__()
        self.x, self.phase, self.speed, self.t = x, phase, speed, 0.0

    def update(self, dt):
        self.t += dt

    def get_position(self):
        s = math.sin(self.t * self.speed + self.phase)
        x = self.x + 12 * s
        lift = 10 * max(0.0, math.cos(self.t * self.speed + self.phase))
        return Vector(x, floor_height(x) - lift)


class Sway(IKConstraintPosition):
    """The neck's target, swaying: the spine leans after it, which swells the belly's
    blend shape and sets its jiggle going."""

    def __init__(self):
        super().__init__()
        self.t = 0.0

    def update(self, dt):
        self.t += dt

    def get_position(self):
        return Vector(14 * math.sin(self.t * 1.7), -60)


class Path(SceneObject):
    """A point moving along a Catmull-Rom spline through `points`, looping."""

    def __init__(self, points, period=4.0):
        super().__init__()
        self.points, self.period, self.t = points, period, 0.0

    def point(self):
        n = len(self.points)
        u = (self.t / self.period % 1.0) * n
        i = int(u)
        f = u - i
        p0, p1, p2, p3 = (self.points[(i + k) % n] for k in (-1, 0, 1, 2))
        f2, f3 = f * f, f * f * f
        return tuple(0.5 * (2 * b + (-a + c) * f + (2 * a - 5 * b + 4 * c - d) * f2 + (-a + 3 * b - 3 * c + d) * f3)
                     for a, b, c, d in zip(p0, p1, p2, p3))

    def OnUpdate(self, dt):
        self.t += dt
        self.position = self.point()


class Reach(IKConstraintPosition):
    """The hand's target: wherever `path` is, brought into the actor's space."""

    def __init__(self, actor, path):
        super().__init__()
        self.actor, self.path = actor, path

    def get_position(self):
        p = Vector(*self.path.position) - self.actor.position
        return Vector(p.x / self.actor.scale.x, p.y / self.actor.scale.y)


class LookAt(IKConstraintRotation):
    """Turns the head toward `path` (world-space rotation)."""

    def __init__(self, actor, path):
        super().__init__(True)
        self.actor, self.path = actor, path

    def get_rotation(self, joint_position):
        d = Vector(*self.path.position) - self.actor.position - joint_position * self.actor.scale.x
        # The head points up, (0, -1), at rotation 0: aim it, but only so far.
        a = math.atan2(d.x, d.y) + 3.14159
        a = (a + math.pi) % (2 * math.pi) - math.pi
        return max(-0.6, min(0.6, a))


def walking_puppet(position, layer, path=None, scale=2.0):
    """An actor whose feet step on the uneven floor and whose hand (and head) follow
    `path` when given. Returns (actor, controller)."""
    load()
    actor = Actor("puppet")
    actor.layer = layer
    actor.position = position
    actor.scale = (scale, scale)
    ik = ActorControllerIK()
    actor.controller = ik
    ik.set_position_constraint("foot", Foot(7, 0.0))
    ik.set_position_constraint("foot_back", Foot(-7, math.pi))
    ik.set_position_constraint("neck", Sway())
    if path is not None:
        ik.set_position_constraint("hand", Reach(actor, path))
        ik.set_rotation_constraint("head", LookAt(actor, path))
    return actor, ik
