"""Actors, their controllers and inverse kinematics as scripts see them: actors from the
actor database, the meshes proxy, controllers written in Python, actors sharing a
skeleton, IK targets (fixed, following an object, script subclasses moving every
frame), the rig's handles, lifetimes in any order, and what an IK-posed actor draws."""
import gc
import io
import logging
import math
import os
import sys
import weakref

import pytest

import libcore
import libgraphics
from libcore import Colour, Factory, Vector
from libgraphics import (Actor, ActorController, ActorControllerIK, ActorControllerSharedSkeleton,
                         IKConstraintPosition, IKConstraintPositionFixed, IKConstraintPositionHold,
                         IKConstraintRotation, IKConstraintRotationFixed, SceneLayer, SceneObject, Transform,
                         actor_database)

from pictures import rendered

PUPPET = os.path.join(os.path.dirname(__file__), "..", "..", "data", "puppet.xml")
DT = 1 / 60


@pytest.fixture(autouse=True)
def puppet():
    actor_database.unload()
    actor_database.load(PUPPET)
    yield
    gc.collect()
    actor_database.unload()
    Factory.register_class("IKConstraintPositionFixed", IKConstraintPositionFixed)
    Factory.register_class("IKConstraintRotationFixed", IKConstraintRotationFixed)


def hook_errors(monkeypatch):
    """Exceptions that script hooks raise from now on, as reported through
    sys.unraisablehook (set in the test's body: pytest sets its own for the call)."""
    seen = []
    monkeypatch.setattr(sys, "unraisablehook", lambda info: seen.append(info.exc_value))
    return seen


def warnings(caplog):
    libcore.Log.flush()
    return [r.getMessage() for r in caplog.records if r.name == "engine.graphics" and r.levelno == logging.WARNING]


def tick(actor):
    """One frame of the actor alone: scene.update on a layer of its own."""
    scene = libgraphics.scene
    scene.add_layer(SceneLayer("ik-tests", 0))
    scene.add_object(actor, "ik-tests")
    scene.update(DT)
    scene.remove_object(actor)


def close(a, b, tolerance=1e-3):
    return abs(a.x - b.x) <= tolerance and abs(a.y - b.y) <= tolerance


class Counting(ActorController):
    """Changes nothing; counts its updates and remembers what it was told."""

    def __init__(self, answer=False):
        super().__init__()
        self.answer, self.updates, self.told = answer, 0, []

    def update(self, dt):
        self.updates += 1
        return self.answer

    def on_actor(self, actor):
        self.told.append((actor, actor.controller is self))


# Actor ----------------------------------------------------------------------------------

def test_actor_with_an_unknown_id_has_no_skeleton_no_meshes_and_no_error(graphics_log):
    a = Actor("nobody")
    assert a.skeleton is None and len(a.meshes) == 0 and a.controller is None
    a.controller = Counting(True)
    tick(a)
    assert a.transformed_vertices_this_frame() is True  # nothing to skin, but it ran
    assert a.data_id == "nobody"
    assert warnings(graphics_log) == []


def test_actor_owns_a_private_clone_of_the_skeleton():
    a, b = Actor("puppet"), Actor("puppet")
    template = actor_database.get_skeleton("puppet")
    assert a.skeleton is not template and a.skeleton is not b.skeleton
    assert len(a.skeleton.joints) == len(template.joints) == 13
    a.skeleton.joints["forearm"].rotation = 1.0
    assert b.skeleton.joints["forearm"].rotation == 0.0
    assert a.data_id == "puppet" and a.z == 0.0


def test_meshes_proxy_negative_index_and_key_error_unlike_the_joints_proxy():
    a = Actor("puppet")
    assert a.meshes[-1] is a.meshes[0] is a.meshes["body"]
    assert "body" in a.meshes and 0 in a.meshes and -1 in a.meshes
    assert 1 not in a.meshes and "arm" not in a.meshes and 0.5 not in a.meshes
    # An unknown mesh name is a KeyError, while an unknown joint name is an IndexError.
    with pytest.raises(KeyError, match="arm"):
        a.meshes["arm"]
    with pytest.raises(IndexError, match="^arm$"):
        a.skeleton.joints["arm"]
    with pytest.raises(IndexError, match="^-1$"):  # the adjusted index
        a.meshes[-2]
    with pytest.raises(IndexError, match="^Unsupported key.$"):
        a.meshes[0.5]


def test_no_controller_means_never_skinned_and_never_jiggled():
    a = Actor("puppet")
    for _ in range(3):
        tick(a)
        assert a.transformed_vertices_this_frame() is False
    assert a.meshes[0].positions == []  # the bind positions are drawn


def test_controller_answering_false_skins_once_then_jiggles_every_frame():
    a = Actor("puppet")
    c = Counting(False)
    a.controller = c
    flags = []
    for _ in range(3):
        tick(a)
        flags.append(a.transformed_vertices_this_frame())
    assert flags == [True, False, False] and c.updates == 3
    assert len(a.meshes[0].positions) == 28
    # The skeleton moves without a reported change: not re-skinned, but the springs run.
    a.skeleton.joints["root"].position = (30, 0)
    before = a.meshes[0].rest_positions
    tick(a)
    assert a.meshes[0].rest_positions == before


def test_set_controller_tells_on_actor_before_the_actor_takes_its_reference():
    a, c = Actor("puppet"), Counting()
    before = sys.getrefcount(c)
    a.controller = c
    (told, stored), = c.told
    assert told is a and stored is True
    assert sys.getrefcount(c) == before + 1  # the actor's reference
    assert c.actor is a


def test_script_controller_poses_the_skeleton_every_frame():
    class Wave(ActorController):
        def update(self, dt):
            self.actor.skeleton.joints["upper_arm"].rotation += 0.1
            return True

    a = Actor("puppet")
    a.controller = Wave()
    first = None
    for _ in range(3):
        tick(a)
        assert a.transformed_vertices_this_frame()
        first = first or a.meshes[0].rest_positions
    assert a.meshes[0].rest_positions != first


def test_controller_errors_are_reported_and_the_frame_goes_on(monkeypatch):
    reported = hook_errors(monkeypatch)

    class Broken(ActorController):
        def update(self, dt):
            raise ValueError("no pose")

    a = Actor("puppet")
    a.controller = Broken()
    tick(a)
    assert [type(e) for e in reported] == [ValueError]
    assert a.transformed_vertices_this_frame()  # the first skinning still happens


@pytest.mark.parametrize("drop_actor_first", [True, False])
def test_actors_and_controllers_dropped_in_any_order(drop_actor_first):
    a, c = Actor("puppet"), ActorControllerIK()
    a.controller = c
    c.set_bind_pose()
    tick(a)
    actor_ref, controller_ref = weakref.ref(a), weakref.ref(c)
    if drop_actor_first:
        del a
        gc.collect()
        assert actor_ref() is None
        assert c.actor is None  # the controller outlives its actor and forgets it
        assert c.update(DT) is False
        del c
    else:
        del c
        gc.collect()
        assert controller_ref() is not None  # the actor holds it
        a.controller = None
        gc.collect()
        assert controller_ref() is None
        del a
    gc.collect()
    assert actor_ref() is None and controller_ref() is None


def test_shared_skeleton_reskins_in_the_frames_its_source_did():
    source, copy = Actor("puppet"), Actor("puppet")
    ik = ActorControllerIK()
    source.controller = ik
    copy.skeleton = source.skeleton
    copy.controller = ActorControllerSharedSkeleton(source)
    assert copy.controller.source is source
    target = IKConstraintPositionFixed((20, -40))
    frames = []
    for frame in range(4):
        if frame == 2:
            ik.set_position_constraint("hand", target)
        tick(source)
        tick(copy)
        frames.append((source.transformed_vertices_this_frame(), copy.transformed_vertices_this_frame()))
    # The copy re-skins exactly when the source does: first frame, then once a target is set.
    assert frames[:3] == [(True, True), (False, False), (True, True)]
    assert all(source_flag == copy_flag for source_flag, copy_flag in frames)
    assert copy.meshes[0].rest_positions == source.meshes[0].rest_positions
    # The source goes first: the sharing controller forgets it and reports no change.
    source_ref = weakref.ref(source)
    del source, ik
    gc.collect()
    assert source_ref() is None and copy.controller.source is None
    tick(copy)
    assert copy.transformed_vertices_this_frame() is False


def test_skeleton_and_controller_properties_refuse_other_types():
    a = Actor("puppet")
    with pytest.raises(TypeError, match="Skeleton or None"):
        a.skeleton = Transform()
    with pytest.raises(TypeError, match="ActorController or None"):
        a.controller = 5
    a.skeleton = None
    tick(a)


def test_jiggle_scales_fan_out_to_actors_attached_to_meshes():
    rider, horse = Actor("puppet"), Actor("puppet")
    horse.meshes[0].add_scene_object("rider", rider)
    horse.set_jiggle_scale("belly", 0.25)
    assert rider.meshes[0].jiggle_scales == {"belly": 0.25}
    horse.reset_jiggle_scales()
    assert rider.meshes[0].jiggle_scales == {"belly": 1.0}


def test_an_actor_on_its_own_mesh_is_a_value_error():
    hero = Actor("puppet")
    with pytest.raises(ValueError, match="cycle"):
        hero.meshes[0].add_scene_object("self", hero)
    assert hero.meshes[0].scene_objects == []
    hero.set_jiggle_scale("belly", 0.5)
    tick(hero)


def test_two_actors_on_each_others_meshes_are_a_value_error():
    hero, sidekick = Actor("puppet"), Actor("puppet")
    hero.meshes[0].add_scene_object("rider", sidekick)
    with pytest.raises(ValueError, match="cycle"):
        sidekick.meshes[0].add_scene_object("rider", hero)
    assert sidekick.meshes[0].scene_objects == []
    tick(hero)


# IK controller --------------------------------------------------------------------------

def test_a_missing_rig_id_warns_once_and_reports_no_change(graphics_log):
    load_text = '<ActorData id="loner"><Joint id="a"/><Joint id="b" parent="a"/></ActorData>'
    actor_database.load(io.StringIO(load_text))
    a, ik = Actor("loner"), ActorControllerIK()
    a.controller = ik
    assert ik.rig is None
    assert ik.update(DT) is False
    ik.set_bind_pose()  # nothing without a rig
    assert ik.position_constraints == {}
    assert [m for m in warnings(graphics_log) if "loner" in m] == [
        "ActorControllerIK: no IK rig 'loner' is loaded; the actor is not posed."]


def test_rig_handles_through_the_proxies():
    a, ik = Actor("puppet"), ActorControllerIK()
    a.controller = ik
    handles = ik.rig.position_handles
    assert len(handles) == 4 and len(ik.rig.rotation_handles) == 1
    assert handles["hand"].type == "chain" and handles[-1].effector_id == "neck"
    assert handles["foot"].direction == -1 and handles["hand"].bind_position == Vector(14, -11)
    assert ik.rig.rotation_handles["head"].joint_id == "head"
    with pytest.raises(IndexError, match="^elbow$"):
        handles["elbow"]
    handles["hand"].spine_offset = 5.0  # measured, never set
    assert handles["hand"].spine_offset == -1.0
    # The controller holds its rig: an unload forgets the name, not the rig in use.
    actor_database.unload()
    assert handles["hand"].type == "chain"
    assert ik.rig is not None and len(ik.rig.position_handles) == 4


@pytest.mark.parametrize("direction", [0, 2, 3, -2, -2**31, 2**31 - 1])
def test_a_handle_direction_other_than_one_or_minus_one_is_a_value_error(direction):
    a, ik = Actor("puppet"), ActorControllerIK()
    a.controller = ik
    handle = ik.rig.position_handles["foot"]
    with pytest.raises(ValueError, match="1 or -1"):
        handle.direction = direction
    assert handle.direction == -1
    handle.direction = 1
    assert handle.direction == 1


ARM = """<Actors><ActorData id="arm" layer="world">
    <Joint id="shoulder"/><Joint id="upper" parent="shoulder"/>
    <Joint id="elbow" parent="upper" position="0, -40"/><Joint id="hand" parent="elbow" position="0, -30"/>
  </ActorData>
  <ActorRigIK id="arm"><IKHandlePosition effector_id="hand" type="chain" direction="{}"/></ActorRigIK></Actors>"""


@pytest.mark.parametrize("direction, reversed", [("3", False), ("-2147483648", True), ("0", False)])
def test_a_file_direction_other_than_one_or_minus_one_is_kept_at_one_and_the_hand_reaches(graphics_log, direction,
                                                                                           reversed):
    actor_database.load(io.StringIO(ARM.format(direction)))
    assert [m for m in warnings(graphics_log) if "direction" in m] == [
        'Actor database <stream>: 1 element(s) or value(s) skipped or read in part; the first at line 5: '
        f'"IKHandlePosition" "hand" direction="{direction}" is not 1 or -1 (kept at 1).']
    arm, ik = Actor("arm"), ActorControllerIK()
    arm.controller = ik
    assert ik.rig.position_handles["hand"].direction == 1
    target = IKConstraintPositionFixed((30, -20))      # well within the arm's reach of 70
    target.reversed = reversed
    ik.set_position_constraint("hand", target)
    tick(arm)
    assert close(arm.skeleton.joints["hand"].world_position, Vector(30, -20))


SPINE = """<Actors><ActorData id="s" layer="world">
  <Joint id="base"/><Joint id="pelvis" parent="base"/><Joint id="spine" parent="pelvis" position="0, -20"/>
  <Joint id="chest" parent="spine" position="0, -20"/><Joint id="head" parent="chest" position="0, -15"/>
</ActorData>
<ActorRigIK id="s">
  <IKHandleRotation joint_id="pelvis"/>
  <IKHandlePosition effector_id="head" type="spine" bind_position="10, -50"/>
</ActorRigIK></Actors>"""


def test_one_frame_not_finite_leaves_the_rigs_spine_figures_unmeasured_for_later_actors():
    actor_database.load(io.StringIO(SPINE))
    first, ik = Actor("s"), ActorControllerIK()
    first.controller = ik
    ik.set_bind_pose()
    ik.set_rotation_constraint("pelvis", IKConstraintRotationFixed(float("nan")))   # one bad frame
    tick(first)
    handle = ik.rig.position_handles["head"]
    assert (handle.spine_offset, handle.spine_root_angle, handle.spine_middle_angle) == (-1.0, 0.0, 0.0)
    ik.set_rotation_constraint("pelvis", IKConstraintRotationFixed(0.0))
    tick(first)
    fresh, ik2 = Actor("s"), ActorControllerIK()
    fresh.controller = ik2
    ik2.set_bind_pose()
    for _ in range(3):
        tick(fresh)
    assert handle.spine_offset == pytest.approx(40.0)
    for actor in (first, fresh):
        joints = actor.skeleton.joints
        assert all(math.isfinite(c) for i in range(len(joints)) for c in joints[i].world_position)
    assert close(fresh.skeleton.joints["head"].world_position, Vector(10, -50))


def test_the_arm_reaches_a_fixed_target():
    a, ik = Actor("puppet"), ActorControllerIK()
    a.controller = ik
    target = Vector(30, -50)
    ik.set_position_constraint("hand", IKConstraintPositionFixed(target))
    tick(a)
    hand, shoulder = a.skeleton.joints["hand"], a.skeleton.joints["upper_arm"]
    assert close(hand.world_position, target)
    assert abs((a.skeleton.joints["forearm"].world_position - shoulder.world_position).length() - 24) < 1e-3


def test_set_position_constraint_initialises_with_the_joint_position_and_none_removes():
    seen = []

    class Recording(IKConstraintPosition):
        def initialise(self, position):
            seen.append(position)

    a, ik = Actor("puppet"), ActorControllerIK()
    a.controller = ik
    r = Recording()
    ik.set_position_constraint("hand", r)
    ik.set_position_constraint("elbow", Recording())  # no such joint: the origin
    assert seen == [a.skeleton.joints["hand"].world_position, Vector(0, 0)]
    assert ik.get_position_constraint("hand") is r
    ik.set_position_constraint("hand", None)
    assert ik.get_position_constraint("hand") is None
    ik.remove_position_constraint("nothing")
    with pytest.raises(TypeError):
        ik.set_position_constraint("hand", IKConstraintRotationFixed(1.0))


def test_a_script_target_is_asked_every_frame():
    class Circle(IKConstraintPosition):
        def __init__(self):
            super().__init__()
            self.t, self.asked = 0.0, 0

        def update(self, dt):
            self.t += dt

        def get_position(self):
            self.asked += 1
            return Vector(25 * math.cos(self.t * 5), -40 + 25 * math.sin(self.t * 5))

    a, ik = Actor("puppet"), ActorControllerIK()
    a.controller = ik
    circle = Circle()
    ik.set_position_constraint("hand", circle)
    for frame in range(1, 11):
        tick(a)
        assert circle.asked == frame
        assert a.transformed_vertices_this_frame()
        assert close(a.skeleton.joints["hand"].world_position, circle.get_position(), 1e-2)
        circle.asked -= 1


def test_a_script_rotation_target_gets_the_joint_position_and_aims_the_head():
    class LookAt(IKConstraintRotation):
        def __init__(self, point):
            super().__init__(True)
            self.point, self.asked_with = point, []

        def get_rotation(self, joint_position):
            self.asked_with.append(joint_position)
            d = self.point - joint_position
            return math.atan2(d.x, d.y) + 3.14159

    a, ik = Actor("puppet"), ActorControllerIK()
    a.controller = ik
    look = LookAt(Vector(100, -76))
    ik.set_rotation_constraint("head", look)
    tick(a)
    head = a.skeleton.joints["head"]
    assert look.asked_with == [head.world_position]
    assert head.world_rotation == pytest.approx(math.atan2(100, 0) + 3.14159 - 2 * math.pi, abs=1e-4) or \
        head.world_rotation == pytest.approx(math.atan2(100, 0) + 3.14159, abs=1e-4)


def test_wrong_answers_and_errors_from_script_targets_are_reported(monkeypatch):
    reported = hook_errors(monkeypatch)

    class Wrong(IKConstraintPosition):
        def get_position(self):
            return "left"

    class Failing(IKConstraintRotation):
        def get_rotation(self, p):
            raise ArithmeticError("lost")

    a, ik = Actor("puppet"), ActorControllerIK()
    a.controller = ik
    ik.set_position_constraint("hand", Wrong())
    ik.set_rotation_constraint("head", Failing())
    tick(a)
    assert sorted(type(e).__name__ for e in reported) == ["ArithmeticError", "TypeError"]
    assert any("must return a Vector, not str" in str(e) for e in reported)


def test_a_target_may_remove_itself_from_its_own_update():
    class Once(IKConstraintPosition):
        def __init__(self, ik):
            super().__init__()
            self.ik = ik

        def update(self, dt):
            self.ik.remove_position_constraint("hand")
            self.ik.set_position_constraint("foot", IKConstraintPositionFixed((20, 60)))
            self.ik = None

        def get_position(self):
            return Vector(0, 0)

    a, ik = Actor("puppet"), ActorControllerIK()
    a.controller = ik
    once = Once(ik)
    ref = weakref.ref(once)
    ik.set_position_constraint("hand", once)
    del once
    tick(a)
    gc.collect()
    assert ref() is None
    assert list(ik.position_constraints) == ["foot"]
    tick(a)


def test_hold_follows_another_object_and_keeps_it_alive():
    a, ik = Actor("puppet"), ActorControllerIK()
    a.controller = ik
    ball = Transform()
    ball.position = (10, -30)
    ball_ref = weakref.ref(ball)
    ik.set_position_constraint("hand", IKConstraintPositionHold(ball, (5, 0), (0, -10)))
    del ball
    gc.collect()
    assert ball_ref() is not None
    assert ik.get_position_constraint("hand").position == Vector(15, -40)
    ball_ref().position = (20, -30)
    tick(a)
    assert close(a.skeleton.joints["hand"].world_position, Vector(25, -40))


def test_bind_pose_is_made_through_the_factory():
    made = []

    class Marked(IKConstraintPositionFixed):
        def __init__(self, position):
            super().__init__(position)
            made.append(position)

    Factory.register_class("IKConstraintPositionFixed", Marked)
    a, ik = Actor("puppet"), ActorControllerIK()
    a.controller = ik
    ik.set_bind_pose()
    assert sorted(ik.position_constraints) == ["foot", "foot_back", "hand", "neck"]
    assert all(isinstance(c, Marked) for c in ik.position_constraints.values())
    assert Vector(14, -11) in made
    assert type(ik.get_rotation_constraint("head")) is IKConstraintRotationFixed
    assert ik.get_rotation_constraint("head").in_world_space is False


def test_ignore_chain_offsets_and_reversed_are_script_properties():
    ik = ActorControllerIK()
    assert ik.ignore_chain_offsets is False
    ik.ignore_chain_offsets = True
    assert ik.ignore_chain_offsets is True
    c = IKConstraintPositionFixed((1, 2))
    assert c.reversed is False and c.enabled is True and c.position == Vector(1, 2)
    c.reversed = True
    r = IKConstraintRotationFixed(0.5, True)
    assert r.rotation == 0.5 and r.in_world_space is True


# Pixels ---------------------------------------------------------------------------------

def near(pixel, x, y, test, radius=3):
    """Whether any pixel within `radius` of (x, y) passes `test`."""
    return any(test(pixel(x + dx, y + dy)) for dx in range(-radius, radius + 1) for dy in range(-radius, radius + 1))


def white(p):
    return p[:3] == (255, 255, 255)


def test_an_actor_posed_by_ik_draws_its_arm_at_the_target(window, scene):
    a, ik = Actor("puppet"), ActorControllerIK()
    a.position = (320, 300)
    a.scale = (3, 3)
    a.set_colour(Colour(1, 1, 1))
    scene.add_object(a, "main")
    a.controller = ik
    tick_in(scene)
    hanging = (320 + int(16.5 * 3), 300 - 11 * 3)  # the hand, beside the hip
    raised = (320 + 47 * 3, 300 - 50 * 3)          # just short of the target, along the forearm
    pixel = rendered(window, scene)
    assert white(pixel(*hanging))
    assert not near(pixel, *raised, white)
    ik.set_position_constraint("hand", IKConstraintPositionFixed((50, -50)))
    tick_in(scene)
    assert close(a.skeleton.joints["hand"].world_position, Vector(50, -50))
    pixel = rendered(window, scene)
    assert near(pixel, *raised, white)
    assert not white(pixel(*hanging))
    scene.remove_object(a)


def test_debug_view_draws_bones_and_targets(window, scene):
    a, ik = Actor("puppet"), ActorControllerIK()
    a.position = (200, 300)
    a.set_colour(Colour(0, 0, 0, 0))  # only the debug drawing shows
    scene.add_object(a, "main")
    a.controller = ik
    ik.set_position_constraint("hand", IKConstraintPositionFixed((60, 60)))
    tick_in(scene)
    assert not near(rendered(window, scene), 200, 285, lambda p: p[2] > 0)
    a.debug = True
    pixel = rendered(window, scene)
    assert near(pixel, 200, 285, lambda p: p[2] > 0 and p[0] == 0)  # the spine bone, blue
    assert near(pixel, 260, 360, lambda p: p[0] > 0 and p[2] == 0)  # the unreachable target, red
    scene.remove_object(a)


def tick_in(scene):
    scene.update(DT)
