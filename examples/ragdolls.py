"""Actors driven by rigid bodies (data/puppet.xml's dynamics rig and data/dynamics.xml):
a puppet that collapses as a ragdoll onto another actor lying on the floor, and a
puppet walking in place whose ponytail swings. Shared by the dynamics example, the
showcase and the dynamics benchmark."""
import math
import os

from libgraphics import Actor, ActorControllerDynamics, actor_database

DATA = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "data")


def load():
    for name, actor_id in (("puppet.xml", "puppet"), ("dynamics.xml", "ponytail")):
        if actor_id not in actor_database.actor_ids():
            actor_database.load(os.path.join(DATA, name))


class Ragdoll(ActorControllerDynamics):
    """Lets its actor fall. The rig's constraints turn the joints; the script moves the
    root joint to the "pelvis" body, so the whole figure falls with it. Every `period`
    seconds the world is built again and the puppet stands up to fall once more."""

    def __init__(self, period=4.0):
        super().__init__()
        self.period, self.t = period, 0.0
        self.start_pose = "rig"  # each new world stands the puppet up, whatever pose it fell into

    def update(self, dt):
        super().update(dt)
        joints = self.actor.skeleton.joints
        pelvis = self.get_body("pelvis")
        if pelvis is not None:
            joints["root"].position = pelvis.position
        self.t += dt
        if self.t >= self.period:
            self.t = 0.0
            self.set_actor(self.actor)  # a new world: the bodies back at the rig's places
        return True


class PonytailWalk(ActorControllerDynamics):
    """Walks in place by turning the legs, the arm and the spine with sines and bobbing
    the root; the rig's pinned hair root follows the head and the hair swings after it."""

    def __init__(self, speed=4.0):
        super().__init__()
        self.speed, self.t = speed, 0.0

    def update(self, dt):
        self.t += dt
        s = math.sin(self.t * self.speed)
        joints = self.actor.skeleton.joints
        joints["root"].position = (10 * math.sin(self.t * self.speed * 0.25), -abs(4 * s))
        joints["spine"].rotation = 0.12 * math.sin(self.t * self.speed * 0.5)
        joints["neck"].rotation = 0.25 * math.sin(self.t * self.speed * 0.5 + 1.0)
        joints["thigh"].rotation = math.pi + 0.5 * s
        joints["thigh_back"].rotation = math.pi - 0.5 * s
        joints["shin"].rotation = -0.4 * max(0.0, s)
        joints["shin_back"].rotation = -0.4 * max(0.0, -s)
        joints["upper_arm"].rotation = math.pi - 0.6 * s
        super().update(dt)
        return True


def ragdoll(position, layer, floor_position, scale=1.5, period=4.0):
    """A falling puppet and the "sleeper" lying under it at `floor_position`, whose spine
    is the ragdoll's collision body. Returns (ragdoll actor, sleeper actor, controller)."""
    load()
    sleeper = Actor("sleeper")
    sleeper.layer = layer
    sleeper.position = floor_position
    sleeper.rotation = math.pi / 2  # lying on its back, head to the right
    sleeper.scale = (scale, scale)
    sleeper.set_colour((0.7, 0.7, 0.8, 1.0))
    actor = Actor("puppet")
    actor.layer = layer
    actor.position = position
    actor.scale = (scale, scale)
    actor.z = 1
    controller = Ragdoll(period)
    actor.controller = controller
    # The sleeper lies where it stands in the layer, not at the ragdoll's place: its
    # spine is brought over through both actors' world transforms.
    controller.collision_space = "world"
    controller.collision_actor = sleeper
    return actor, sleeper, controller


def ponytail_walker(position, layer, scale=1.5):
    """A puppet with a ponytail, walking in place. Returns (actor, controller)."""
    load()
    actor = Actor("ponytail")
    actor.layer = layer
    actor.position = position
    actor.scale = (scale, scale)
    controller = PonytailWalk()
    actor.controller = controller
    return actor, controller
