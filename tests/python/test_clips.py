"""Animation clips as scripts see them: clips from actor files and from
actor_database.add_clip, ActorControllerAnimation playing, queueing, layering and
telling events and finishes during scene.update, bad input, unload while playing,
lifetimes in any order, a script subclass, and what one clip pose draws."""
import gc
import io
import logging
import math
import os
import weakref

import pytest

import libcore
from libcore import Colour
from libgraphics import Actor, ActorControllerAnimation, actor_database

from pictures import rendered

PUPPET = os.path.join(os.path.dirname(__file__), "..", "..", "data", "puppet.xml")
DT = 1 / 60

CLIPS = """<Actors>
  <ActorClip actor="puppet" id="raise" duration="1" loops="1">
    <ClipTrack joint="upper_arm" channel="rotation">
      <ClipKey time="0" value="0" easing="bezier" curve="0.25,0.1,0.25,1"/>
      <ClipKey time="1" value="3.14159"/>
    </ClipTrack>
    <ClipEvent time="0.5" name="half"/>
  </ActorClip>
</Actors>"""


@pytest.fixture(autouse=True)
def puppet():
    actor_database.unload()
    actor_database.load(PUPPET)
    actor_database.load(io.StringIO(CLIPS))
    actor_database.add_clip("puppet", "nod", 0.5, loops=0,
                            tracks={"head": {"rotation": [(0.0, 0.0, "step"), (0.25, 0.3), (0.5, 0.0)]},
                                    "neck": {"position": [(0.0, (0, 0)), (0.5, (2, -4))]}},
                            events=[(0.0, "down"), (0.25, "up")])
    yield
    gc.collect()
    actor_database.unload()


def warnings(caplog):
    libcore.Log.flush()
    return [r.getMessage() for r in caplog.records if r.name == "engine.graphics" and r.levelno == logging.WARNING]


def playing(scene, actor="puppet"):
    """An actor (a puppet by default) with an animation controller, in the scene's layer "main"."""
    a, c = Actor(actor), ActorControllerAnimation()
    a.controller = c
    scene.add_object(a, "main")
    return a, c


def test_clips_from_files_and_from_scripts_are_listed(scene):
    assert actor_database.clip_ids("puppet") == ["idle", "nod", "raise", "walk", "wave"]
    assert actor_database.clip_ids("nobody") == []


def test_play_poses_the_setup_pose_plus_the_clip(scene):
    a, c = playing(scene)
    c.play("nod")
    scene.update(0.125)
    neck = a.skeleton.joints["neck"]
    assert c.clip() == "nod" and c.time() == pytest.approx(0.125)
    assert (neck.position.x, neck.position.y) == pytest.approx((0.5, -30 - 1.0))
    assert a.skeleton.joints["head"].rotation == 0.0  # a step key holds until the next
    scene.update(0.125)
    assert a.skeleton.joints["head"].rotation == pytest.approx(0.3)
    scene.remove_object(a)


def test_sample_reads_a_clip_without_playing_it(scene):
    a, c = playing(scene)
    values = c.sample("nod", 0.25)
    assert values["head"]["rotation"] == pytest.approx(0.3)
    assert values["neck"]["position"] == pytest.approx((1.0, -2.0))
    assert c.clip() is None
    scene.remove_object(a)


def test_events_and_finish_are_told_once_per_crossing_during_update(scene):
    a, c = playing(scene)
    seen = []
    c.on_event(lambda event, clip, layer: seen.append((event, clip, layer)))
    c.on_finished(lambda clip, layer: seen.append(("finished", clip, layer)))
    c.play("nod", loops=3)
    scene.update(0.1)
    assert seen == [("down", "nod", 0)]
    seen.clear()
    scene.update(5.0)  # jumps past every remaining key and the end in one frame
    assert seen == [("up", "nod", 0), ("down", "nod", 0), ("up", "nod", 0), ("down", "nod", 0), ("up", "nod", 0),
                    ("finished", "nod", 0)]
    seen.clear()
    scene.update(1.0)
    assert seen == []
    scene.remove_object(a)


def test_queue_crossfade_layers_and_controls(scene):
    a, c = playing(scene)
    c.play("raise")
    c.queue("nod", fade=0.2)
    scene.update(1.05)
    assert c.clip() == "nod" and c.fade_weight() == pytest.approx(0.25)
    c.set_mask(1, ["head"])
    c.play("nod", layer=1, weight=0.5, speed=2.0)
    assert c.weight(1) == 0.5 and c.speed(1) == 2.0
    c.set_additive(1, True)
    assert c.additive(1)
    c.set_weight(1, 0.25)
    c.stop(1, fade=0.1)
    assert c.clip(1) is None
    c.stop()
    scene.update(DT)
    assert a.skeleton.joints["upper_arm"].rotation == pytest.approx(3.14159)  # back to the setup pose
    scene.remove_object(a)


def test_bad_input_raises_clear_errors(scene):
    a, c = playing(scene)
    with pytest.raises(KeyError, match="no clip 'jump'"):
        c.play("jump")
    with pytest.raises(ValueError, match="weight"):
        c.play("nod", weight=2.0)
    with pytest.raises(ValueError, match="layer"):
        c.play("nod", layer=99)
    with pytest.raises(ValueError, match="loops"):
        c.play("nod", loops=-2)
    with pytest.raises(KeyError, match="tail"):
        c.set_mask(0, ["tail"])
    with pytest.raises(ValueError, match="layer"):
        c.stop(16)
    with pytest.raises(ValueError, match="fade"):
        c.stop(0, fade=-1.0)
    with pytest.raises(ValueError, match="speed"):
        c.set_speed(0, math.nan)
    with pytest.raises(TypeError, match="callable"):
        c.on_event(3)
    with pytest.raises(RuntimeError, match="no actor"):
        ActorControllerAnimation().play("nod")
    add = actor_database.add_clip
    with pytest.raises(ValueError, match="no actor 'ghost'"):
        add("ghost", "x", 1.0)
    with pytest.raises(ValueError, match="no joint 'tail'"):
        add("puppet", "x", 1.0, tracks={"tail": {"rotation": [(0, 1)]}})
    with pytest.raises(ValueError, match="out of order"):
        add("puppet", "x", 1.0, tracks={"head": {"rotation": [(0.5, 1), (0.25, 0)]}})
    with pytest.raises(ValueError, match="not a positive number"):
        add("puppet", "x", 0.0)
    with pytest.raises(ValueError, match="not a positive number"):
        add("puppet", "x", -1.0)
    with pytest.raises(ValueError, match="not a number"):
        add("puppet", "x", 1.0, tracks={"head": {"rotation": [(0, math.nan)]}})
    with pytest.raises(ValueError, match="already"):
        add("puppet", "nod", 1.0)
    assert actor_database.clip_ids("puppet") == ["idle", "nod", "raise", "walk", "wave"]  # nothing half-added
    scene.remove_object(a)


def test_bad_clip_elements_are_skipped_with_one_warning(caplog):
    actor_database.load(io.StringIO("""<Actors>
      <ActorClip actor="puppet" id="odd" duration="1">
        <ClipTrack joint="tail" channel="rotation"><ClipKey time="0" value="1"/></ClipTrack>
        <ClipTrack joint="head" channel="rotation"><ClipKey time="0" value="nan"/></ClipTrack>
      </ActorClip>
      <ActorClip actor="ghost" id="lost" duration="1"/>
      <ActorClip actor="puppet" id="never" duration="0"/>
    </Actors>"""))
    found = warnings(caplog)
    assert len(found) == 1 and "no joint \"tail\"" in found[0]
    assert "odd" in actor_database.clip_ids("puppet")


def test_unload_while_playing_stops_and_keeps_the_pose(scene):
    a, c = playing(scene)
    c.play("raise")
    scene.update(0.5)
    posed = a.skeleton.joints["upper_arm"].rotation
    actor_database.unload()
    scene.update(DT)
    assert c.clip() is None
    assert a.skeleton.joints["upper_arm"].rotation == posed
    with pytest.raises(KeyError):
        c.play("raise")
    scene.remove_object(a)


@pytest.mark.parametrize("drop_actor_first", [True, False])
def test_actors_and_animation_controllers_dropped_in_any_order(scene, drop_actor_first):
    a, c = playing(scene)
    c.play("nod", loops=0)
    c.on_event(lambda *args: None)
    scene.update(DT)
    scene.remove_object(a)
    actor_ref, controller_ref = weakref.ref(a), weakref.ref(c)
    if drop_actor_first:
        del a
        gc.collect()
        assert actor_ref() is None
        assert c.actor is None and c.update(DT) is False
        del c
    else:
        del c
        gc.collect()
        assert controller_ref() is not None  # the actor holds it
        a.controller = None
        del a
    gc.collect()
    assert actor_ref() is None and controller_ref() is None


def test_a_script_subclass_can_add_to_the_update(scene):
    class Counting(ActorControllerAnimation):
        def __init__(self):
            super().__init__()
            self.updates = 0

        def update(self, dt):
            self.updates += 1
            return super().update(dt)

    a = Actor("puppet")
    c = Counting()
    a.controller = c
    scene.add_object(a, "main")
    c.play("nod")
    scene.update(0.1)
    assert c.updates == 1 and c.time() == pytest.approx(0.1)
    scene.remove_object(a)


def test_a_clip_pose_draws_the_raised_arm(window, scene):
    a, c = Actor("puppet"), ActorControllerAnimation()
    a.position = (320, 300)
    a.scale = (2, 2)
    a.set_colour(Colour(1, 1, 1))
    scene.add_object(a, "main")
    a.controller = c
    scene.update(DT)
    hanging = (320 + 33, 300 - 22)  # the hand beside the hip
    raised = (320 + 28, 300 - 176)  # the forearm, above the head
    pixel = rendered(window, scene)
    assert pixel(*hanging)[:3] == (255, 255, 255)
    assert pixel(*raised)[:3] != (255, 255, 255)
    c.play("raise")
    scene.update(1.0)
    pixel = rendered(window, scene)
    assert pixel(*raised)[:3] == (255, 255, 255)
    assert pixel(*hanging)[:3] != (255, 255, 255)
    scene.remove_object(a)


def test_the_puppet_has_idle_walk_and_wave_clips(scene):
    a, c = playing(scene)
    thigh = a.skeleton.joints["thigh"]
    c.play("walk", loops=0)
    scene.update(0.1)
    forward = thigh.rotation
    scene.update(0.4)
    assert forward != pytest.approx(thigh.rotation)  # the legs swing
    c.play("wave", layer=1)
    scene.update(0.6)
    assert c.clip(1) == "wave" and c.clip(0) == "walk"
    scene.remove_object(a)


def test_in_a_stack_ik_adjusts_the_pose_the_clip_made(scene):
    from libcore import Vector
    from libgraphics import ActorControllerIK, ActorControllerStack, IKConstraintPositionFixed
    a = Actor("puppet")
    anim, ik, stack = ActorControllerAnimation(), ActorControllerIK(), ActorControllerStack()
    stack.add(anim)
    stack.add(ik)
    assert stack.controllers == [anim, ik]
    a.controller = stack
    assert anim.actor is a and ik.actor is a
    scene.add_object(a, "main")
    anim.play("walk", loops=0)
    ik.set_position_constraint("hand", IKConstraintPositionFixed((30, -40)))
    thigh = a.skeleton.joints["thigh"]
    for _ in range(3):
        before = thigh.rotation
        scene.update(0.1)
        assert thigh.rotation != before  # the clip walks the legs...
        hand = a.skeleton.joints["hand"].world_position
        assert (hand.x, hand.y) == pytest.approx((30, -40), abs=1e-3)  # ...and IK holds the hand
        assert a.transformed_vertices_this_frame()
    with pytest.raises(ValueError):
        stack.add(ik)
    stack.remove(ik)
    assert ik.actor is None and stack.controllers == [anim]
    scene.remove_object(a)


def test_the_actor_gets_up_from_a_ragdoll_pose_into_a_clip(scene):
    from libgraphics import ActorControllerDynamics
    a = Actor("puppet")
    scene.add_object(a, "main")
    ragdoll = ActorControllerDynamics()
    a.controller = ragdoll
    scene.update(DT)
    ragdoll.get_body("head").apply_impulse((30, 0))
    ragdoll.get_body("wrist").apply_impulse((0, -30))
    for _ in range(40):
        scene.update(0.02)
    joints = a.skeleton.joints
    fallen = {name: joints[name].rotation for name in ("spine", "thigh", "upper_arm")}
    setup = {"spine": 0.0, "thigh": 3.14159, "upper_arm": 3.14159}
    assert any(abs(fallen[name] - setup[name]) > 0.05 for name in setup)  # the ragdoll moved the puppet
    anim = ActorControllerAnimation()
    a.controller = anim
    anim.play("idle", fade=0.5, loops=0)
    scene.update(0.0)  # the fade's first frame: still the ragdoll's pose
    assert {name: joints[name].rotation for name in fallen} == pytest.approx(fallen, abs=1e-5)
    scene.update(0.6)  # the fade is over: the idle clip alone
    assert joints["thigh"].rotation == pytest.approx(3.14159, abs=1e-5)
    scene.remove_object(a)


SETUP_ROTATIONS = {"spine": 0.0, "thigh": 3.14159, "shin": 0.0, "upper_arm": 3.14159, "forearm": 0.0}


def world_pose(actor):
    """Every joint's world position and rotation, by name."""
    joints = actor.skeleton.joints
    return {name: (joints[name].world_position.x, joints[name].world_position.y, joints[name].world_rotation)
            for name in actor.skeleton.joint_names}


def test_a_ragdoll_starts_from_the_pose_a_clip_left(scene):
    from libgraphics import ActorControllerDynamics
    a, anim = playing(scene)
    anim.play("walk", loops=0)
    for _ in range(20):
        scene.update(DT)
    walking = world_pose(a)
    joints = a.skeleton.joints
    assert abs(joints["shin"].rotation - SETUP_ROTATIONS["shin"]) > 0.1  # a pose away from the setup one
    ragdoll = ActorControllerDynamics()
    a.controller = ragdoll
    scene.update(DT)  # the ragdoll's first frame
    for name, (x, y, rotation) in world_pose(a).items():
        assert (x, y) == pytest.approx(walking[name][:2], abs=1e-3), name
        assert rotation == pytest.approx(walking[name][2], abs=1e-3), name
    # The hinges keep the rig's limits: each stands bent as its joint is from the setup
    # pose (Box2D measures angles the other way round).
    for body, joint in (("knee", "thigh"), ("ankle", "shin"), ("elbow", "upper_arm"), ("wrist", "forearm")):
        bend = joints[joint].rotation - SETUP_ROTATIONS[joint]
        assert ragdoll.hinge_angle(body) == pytest.approx(-math.remainder(bend, math.tau), abs=1e-3), body
    scene.remove_object(a)


def test_a_ragdoll_asked_to_start_from_its_rig_stands_up_as_authored(scene):
    from libgraphics import ActorControllerDynamics
    a, anim = playing(scene)
    anim.play("walk", loops=0)
    for _ in range(20):
        scene.update(DT)
    ragdoll = ActorControllerDynamics()
    assert ragdoll.start_pose == "actor"
    with pytest.raises(ValueError, match="'actor' or 'rig'"):
        ragdoll.start_pose = "standing"
    ragdoll.start_pose = "rig"
    a.controller = ragdoll
    scene.update(DT)
    joints = a.skeleton.joints
    for name, setup in SETUP_ROTATIONS.items():
        assert math.remainder(joints[name].rotation - setup, math.tau) == pytest.approx(0, abs=1e-3), name
    scene.remove_object(a)


def test_a_ragdoll_from_a_pose_that_is_not_a_number_leaves_those_bodies_at_the_rig(scene):
    from libgraphics import ActorControllerDynamics
    a = Actor("puppet")
    scene.add_object(a, "main")
    a.skeleton.joints["spine"].position = (float("nan"), 0)  # the spine and all above it
    ragdoll = ActorControllerDynamics()
    a.controller = ragdoll
    for name in ragdoll.body_names:
        p = ragdoll.get_body(name).position
        assert math.isfinite(p.x) and math.isfinite(p.y), name
    assert ragdoll.get_body("head").position == pytest.approx((0, -76))  # where the rig has it
    scene.update(0.02)
    scene.remove_object(a)


def test_blending_back_from_a_ragdoll_weighs_the_clip_by_the_fade_time(scene):
    from libgraphics import ActorControllerDynamics
    a = Actor("puppet")
    scene.add_object(a, "main")
    ragdoll = ActorControllerDynamics()
    a.controller = ragdoll
    scene.update(DT)
    ragdoll.get_body("head").apply_impulse((30, 0))
    for _ in range(30):
        scene.update(0.02)
    joints = a.skeleton.joints
    fallen = {name: math.remainder(joints[name].rotation - setup, math.tau) for name, setup in SETUP_ROTATIONS.items()}
    anim = ActorControllerAnimation()
    a.controller = anim
    anim.play("idle", fade=0.5, loops=0)
    for elapsed in (0.1, 0.25, 0.4):
        scene.update(elapsed - anim.time())
        weight = elapsed / 0.5
        assert anim.fade_weight() == pytest.approx(weight, abs=1e-5)
        idle = anim.sample("idle", elapsed)
        for name, setup in SETUP_ROTATIONS.items():
            clip = idle.get(name, {}).get("rotation", 0.0)
            expected = setup + (1 - weight) * fallen[name] + weight * clip
            assert math.remainder(joints[name].rotation - expected, math.tau) == pytest.approx(0, abs=1e-4), name
    scene.update(0.2)
    assert anim.fade_weight() == 1.0
    scene.remove_object(a)


def test_part_tracks_hide_and_colour_a_mesh(scene):
    actor_database.add_clip("puppet", "fade_out", 1.0, parts={
        "body": {"visible": [(0.0, 1), (0.75, 0)], "colour": [(0.0, (1, 1, 1, 1)), (1.0, (1, 0, 0, 0.5))]}})
    a, c = playing(scene)
    assert c.sample("fade_out", 0.5)["body"] == {"visible": True, "colour": pytest.approx((1, 0.5, 0.5, 0.75))}
    c.play("fade_out")
    scene.update(0.5)
    assert a.meshes["body"].visible
    scene.update(0.3)
    assert not a.meshes["body"].visible
    with pytest.raises(ValueError, match="no mesh 'cape'"):
        actor_database.add_clip("puppet", "x", 1.0, parts={"cape": {"visible": [(0, 1)]}})
    with pytest.raises(ValueError, match="r, g, b, a"):
        actor_database.add_clip("puppet", "x", 1.0, parts={"body": {"colour": [(0, (1, 1))]}})
    scene.remove_object(a)


CARDS = """<Actors>
  <ActorData id="cards">
    <Joint id="root" position="0, 0"/>
    <ActorMeshData id="red">%s</ActorMeshData>
    <ActorMeshData id="blue">%s</ActorMeshData>
    <ActorClip id="flip" duration="1" loops="1">
      <PartTrack part="red" channel="order"><ClipKey time="0" value="0"/><ClipKey time="0.5" value="2"/></PartTrack>
    </ActorClip>
  </ActorData>
</Actors>"""


def square(left, top, size):
    corners = [(left, top), (left + size, top), (left + size, top + size), (left, top + size)]
    vertices = "".join(f'<Vertex position="{x}, {y}" joint_indices="0" joint_weights="1"/>' for x, y in corners)
    return vertices + '<Face vertex_indices="0,1,2"/><Face vertex_indices="0,2,3"/>'


def test_part_order_tracks_change_which_mesh_draws_on_top(window, scene):
    actor_database.load(io.StringIO(CARDS % (square(0, 0, 40), square(20, 20, 40))))
    actor_database.add_clip("cards", "back", 1.0, parts={"red": {"order": [(0.0, 2), (0.5, -1)]}})
    a, c = playing(scene, "cards")
    a.position = (100, 100)
    a.meshes["red"].set_colour(Colour(1, 0, 0))
    a.meshes["blue"].set_colour(Colour(0, 0, 1))
    assert a.draw_order == ["red", "blue"]
    assert c.sample("flip", 0.75)["red"] == {"order": 2.0}
    overlap = (130, 130)
    scene.update(DT)
    assert rendered(window, scene)(*overlap)[:3] == (0, 0, 255)  # blue drawn last, on top
    c.play("flip")
    scene.update(0.25)
    assert a.draw_order == ["red", "blue"]  # held at the first key until the next
    scene.update(0.5)
    assert a.draw_order == ["blue", "red"]
    assert rendered(window, scene)(*overlap)[:3] == (255, 0, 0)
    c.play("back")
    scene.update(0.6)
    assert a.draw_order == ["red", "blue"]
    with pytest.raises(ValueError, match="'visible', 'colour', 'order' or 'offset'"):
        actor_database.add_clip("cards", "x", 1.0, parts={"red": {"depth": [(0, 1)]}})
    scene.remove_object(a)
