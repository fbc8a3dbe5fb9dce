"""One ownership rule, as a script sees it: the engine's holders keep script objects
(and their attributes) alive, the last holder lets go, and links that must not own
read None once their target is gone."""

import gc
import weakref

import pytest

import libgraphics
from libgraphics import (Actor, ActorController, ActorControllerDynamics, ActorControllerStack, SceneObject,
                         SceneObjectAnimatorRotate, actor_database)

from test_actors import PUPPET


class Tagged(SceneObject):
    def __init__(self, tag):
        super().__init__()
        self.tag = tag


def tick(scene, actor):
    """One frame of the actor in the scene's "main" layer."""
    scene.add_object(actor, "main")
    scene.update(0.1)
    scene.remove_object(actor)


def collect():
    for _ in range(3):
        gc.collect()


def test_an_object_only_a_layer_holds_keeps_its_script_attributes(scene):
    obj = Tagged("coin")
    obj.layer = "main"
    probe = weakref.ref(obj)
    del obj
    collect()
    held = scene.layers["main"].objects[0]
    assert held is probe() and held.tag == "coin"


def test_the_last_holder_lets_go_of_the_script_object_too(scene):
    obj = Tagged("coin")
    obj.layer = "main"
    probe = weakref.ref(obj)
    del obj
    collect()
    assert probe() is not None
    scene.remove_object(probe())
    collect()
    assert probe() is None


def test_an_animator_only_its_object_holds_lives_as_long_as_the_object(scene):
    obj = Tagged("spinner")
    animator = SceneObjectAnimatorRotate(1.0, 0.0, 0.0)
    obj.add_animator("spin", animator)
    probe = weakref.ref(animator)
    del animator
    collect()
    assert probe() is not None and obj.get_animator("spin") is probe()
    del obj
    collect()
    assert probe() is None


def test_a_controller_only_its_actor_holds_keeps_its_attributes(scene):
    actor_database.load(PUPPET)
    try:
        actor = Actor("puppet")

        class Waving(ActorController):
            def update(self, dt):
                self.frames = getattr(self, "frames", 0) + 1
                return False

        actor.controller = Waving()
        probe = weakref.ref(actor.controller)
        collect()
        tick(scene, actor)
        assert actor.controller is probe() and probe().frames == 1
        del actor
        collect()
        assert probe() is None
    finally:
        actor_database.unload()


def test_a_controller_outliving_its_actor_reads_none_for_it(gl):
    actor_database.load(PUPPET)
    try:
        actor, controller = Actor("puppet"), ActorControllerDynamics()
        actor.controller = controller
        controller.collision_actor = actor
        actor.controller = None
        del actor
        collect()
        assert controller.actor is None and controller.collision_actor is None
        assert controller.update(0.1) is False
    finally:
        actor_database.unload()


def test_a_stack_holds_its_controllers(gl):
    stack = ActorControllerStack()
    inner = ActorController()
    stack.add(inner)
    probe = weakref.ref(inner)
    del inner
    collect()
    assert probe() is not None
    del stack
    collect()
    assert probe() is None


def test_meshes_keep_their_records_after_an_unload(scene):
    actor_database.load(PUPPET)
    actor = Actor("puppet")
    positions = len(actor.meshes[0].rest_positions)
    actor_database.unload()
    assert "puppet" not in actor_database.actor_ids()
    tick(scene, actor)
    assert len(actor.meshes[0].rest_positions) == positions and actor.meshes[0].id != ""
