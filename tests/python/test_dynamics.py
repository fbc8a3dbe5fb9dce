"""Actors posed by rigid bodies as scripts see them: dynamics rigs read from the actor
database, the controller's fixed 60 Hz stepping, hinge, joint and parent constraints
(a two-body pendulum), bad rig data, bodies kept past their world, the collision body
made from another actor's spine, a ragdoll landing on it, determinism, many worlds
built and dropped, script subclasses, and the debug drawing."""
import gc
import io
import logging
import math
import os
import sys

import numpy as np
import pytest

import libcore
import libgraphics
from libcore import Factory, Vector
from libgraphics import Actor, ActorController, ActorControllerDynamics, actor_database

from memory import engine_counts, heap_bytes
from pictures import rendered

DATA = os.path.join(os.path.dirname(__file__), "..", "..", "data")
EXAMPLES = os.path.join(os.path.dirname(__file__), "..", "..", "examples")
PUPPET = os.path.join(DATA, "puppet.xml")
DYNAMICS = os.path.join(DATA, "dynamics.xml")
F32 = np.float32
STEP = F32(1 / 60)


@pytest.fixture(autouse=True)
def empty_database():
    actor_database.unload()
    yield
    gc.collect()
    actor_database.unload()


def load(xml):
    return actor_database.load(io.StringIO(xml))


def warnings(caplog):
    """The controller's warnings so far (other graphics warnings left out)."""
    libcore.Log.flush()
    return [r.getMessage() for r in caplog.records
            if r.name == "engine.graphics" and r.levelno == logging.WARNING
            and r.getMessage().startswith("ActorControllerDynamics")]


def xy(v):
    return (v.x, v.y)


def close(a, b, tolerance=1e-3):
    return abs(a[0] - b[0]) <= tolerance and abs(a[1] - b[1]) <= tolerance


def pendulum(limits=None, damping="0", extra="", rig_id="pendulum"):
    """Body "a" pinned to joint "root"; body "b" at (20, 0) hinged to it; "b" turns the
    joint "arm" (a child of root at the origin), whose child "tip" is 20 along -y.
    Returns (actor, controller)."""
    limit = f' rotation_constraint="{limits}"' if limits is not None else ""
    load(f'<r><ActorData id="{rig_id}"><Joint id="root" position="0, 0"/>'
         '<Joint id="arm" parent="root" position="0, 0"/><Joint id="tip" parent="arm" position="0, -20"/></ActorData>'
         f'<ActorRigDynamics id="{rig_id}">'
         f'<RigidBody id="a" position="0, 0" mass="1" damping="{damping}"/>'
         f'<RigidBody id="b" position="20, 0" mass="1" damping="{damping}"/>'
         f'<ConstraintHinge body_0_id="a" body_1_id="b"{limit}/>'
         '<ConstraintJoint body_id="a" joint_id="root"/>'
         '<ConstraintParent body_id="b" joint_id="arm"/>'
         f'{extra}</ActorRigDynamics></r>')
    actor, controller = Actor(rig_id), ActorControllerDynamics()
    actor.controller = controller
    return actor, controller


def puppet():
    if "puppet" not in actor_database.actor_ids():
        actor_database.load(PUPPET)
    actor, controller = Actor("puppet"), ActorControllerDynamics()
    actor.controller = controller
    return actor, controller


def sleeper():
    if "sleeper" not in actor_database.actor_ids():
        actor_database.load(DYNAMICS)
    return Actor("sleeper")


def formula(a, b, parent_rotation=0.0):
    """The parent constraint's rotation of "arm": from body "b" towards body "a", less
    the world rotation of arm's parent joint."""
    return math.atan2(a.x - b.x, a.y - b.y) - parent_rotation


# Registration and rigs ------------------------------------------------------------------

def test_the_controller_class_is_registered_with_the_factory_like_the_other_controllers():
    for name in ["ActorControllerIK", "ActorControllerSharedSkeleton", "ActorControllerDynamics"]:
        assert Factory.get_class(name) is getattr(libgraphics, name)
    assert issubclass(ActorControllerDynamics, ActorController)


def test_a_new_controller_has_no_world_and_reports_no_change():
    c = ActorControllerDynamics()
    assert c.actor is None and c.has_system is False and c.collision_actor is None
    assert c.body_names == [] and c.hinges == [] and c.collision_polygons == []
    assert c.get_body("pelvis") is None
    assert c.update(1.0) is False
    assert c.steps == 0 and c.accumulator == 0.0


def test_an_actor_without_a_dynamics_rig_warns_and_keeps_its_pose(graphics_log):
    load('<ActorData id="loner"><Joint id="a"/><Joint id="b" parent="a" position="0, -10"/></ActorData>')
    a, c = Actor("loner"), ActorControllerDynamics()
    a.controller = c
    assert c.has_system is False and c.body_names == [] and c.hinges == []
    assert warnings(graphics_log) == [
        "ActorControllerDynamics: no dynamics rig 'loner' is loaded; the actor is not posed."]
    for _ in range(5):
        assert c.update(0.1) is False
    assert c.steps == 0
    assert xy(a.skeleton.joints["b"].world_position) == (0.0, -10.0)
    assert a.skeleton.joints["b"].rotation == 0.0


def test_the_puppet_rig_has_a_body_per_rigid_body_in_name_order_and_its_hinges_in_rig_order(graphics_log):
    a, c = puppet()
    assert c.has_system is True and c.actor is a
    assert c.body_names == ["ankle", "ankle_back", "belly", "chest", "elbow", "head", "hip", "hip_back",
                            "knee", "knee_back", "pelvis", "shoulder", "wrist"]
    assert c.hinges == [("pelvis", "belly"), ("belly", "chest"), ("chest", "head"), ("chest", "shoulder"),
                        ("shoulder", "elbow"), ("elbow", "wrist"), ("pelvis", "hip"), ("hip", "knee"),
                        ("knee", "ankle"), ("pelvis", "hip_back"), ("hip_back", "knee_back"),
                        ("knee_back", "ankle_back")]
    head = c.get_body("head")
    assert head.name == "head" and xy(head.position) == (0.0, -76.0)
    assert head.mass == pytest.approx(1.0, rel=1e-6)
    assert head.pinned is False and head.frozen is False
    assert c.get_body("nobody") is None
    assert c.steps == 0 and c.accumulator == 0.0
    assert warnings(graphics_log) == []


def test_a_rigid_body_after_the_rig_end_tag_still_joins_that_rig(graphics_log):
    load('<r><ActorData id="d"><Joint id="root"/></ActorData>'
         '<ActorRigDynamics id="d"><RigidBody id="a" position="0, 0" mass="1"/></ActorRigDynamics>'
         '<RigidBody id="late" position="5, 0" mass="2"/></r>')
    a, c = Actor("d"), ActorControllerDynamics()
    a.controller = c
    assert c.body_names == ["a", "late"]
    assert xy(c.get_body("late").position) == (5.0, 0.0)
    assert c.get_body("late").mass == pytest.approx(2.0, rel=1e-6)
    assert warnings(graphics_log) == []


def test_the_sleeper_has_no_rig_of_its_own_and_the_ponytail_has_its_own(graphics_log):
    s = sleeper()
    c = ActorControllerDynamics()
    s.controller = c
    assert c.has_system is False
    assert warnings(graphics_log) == [
        "ActorControllerDynamics: no dynamics rig 'sleeper' is loaded; the actor is not posed."]
    p, pc = Actor("ponytail"), ActorControllerDynamics()
    p.controller = pc
    assert pc.body_names == ["hair_1", "hair_2", "hair_end", "hair_root"]
    assert pc.hinges == [("hair_root", "hair_1"), ("hair_1", "hair_2"), ("hair_2", "hair_end")]
    assert pc.get_body("hair_root").pinned is True and pc.get_body("hair_1").pinned is False


# Stepping -------------------------------------------------------------------------------

def test_a_frame_of_two_hundredths_runs_one_step_and_keeps_the_rest():
    actor, c = puppet()
    c.update(0.02)
    assert c.steps == 1
    assert F32(c.accumulator) == F32(0.02) - STEP


def test_a_frame_of_exactly_one_step_runs_no_step():
    # A step needs strictly more than 1/60 s owed: the first such frame only banks it.
    actor, c = puppet()
    before = xy(c.get_body("pelvis").position)
    c.update(float(STEP))
    assert c.steps == 0 and F32(c.accumulator) == STEP
    assert xy(c.get_body("pelvis").position) == before
    c.update(float(STEP))
    assert c.steps == 1 and F32(c.accumulator) == STEP
    assert xy(c.get_body("pelvis").position) != before


def test_steps_add_up_over_many_small_frames():
    actor, c = puppet()
    for _ in range(10):
        c.update(0.005)
    # 0.05 s owed: two steps, with about 1/60 s left over.
    assert c.steps == 2
    assert 0 <= c.accumulator <= STEP


def test_a_huge_frame_runs_at_most_six_hundred_steps_and_drops_the_rest():
    actor, c = puppet()
    c.time_budget = float("inf")   # the step cap alone, however slow the build
    c.update(1e9)
    assert c.steps == 600
    assert 0.0 <= c.accumulator <= STEP
    c.update(0.02)
    assert c.steps == 601


@pytest.mark.parametrize("dt", [float("nan"), float("inf"), float("-inf"), -1e30, -60.0])
def test_a_frame_not_finite_or_negative_is_ignored_with_a_warning(graphics_log, dt):
    actor, c = puppet()
    c.update(0.02)
    accumulator, before = c.accumulator, xy(c.get_body("pelvis").position)
    c.update(dt)
    assert c.steps == 1 and c.accumulator == accumulator
    assert xy(c.get_body("pelvis").position) == before
    found = warnings(graphics_log)
    assert len(found) == 1 and found[0].startswith("ActorControllerDynamics: update(dt) needs a finite time")
    c.update(0.02)
    assert c.steps == 2


def test_the_world_steps_on_after_a_negative_frame():
    actor, c = puppet()
    c.update(-1e30)                  # a clock that went backwards
    for _ in range(10):
        c.update(1 / 30)
    assert c.steps == 20 and 0.0 <= c.accumulator <= STEP


def test_the_time_budget_is_a_tenth_of_a_second_unless_set():
    assert ActorControllerDynamics().time_budget == pytest.approx(0.1)


@pytest.mark.parametrize("seconds", [-1.0, float("nan"), float("-inf")])
def test_a_time_budget_below_zero_or_nan_is_a_value_error(seconds):
    c = ActorControllerDynamics()
    with pytest.raises(ValueError, match="time_budget"):
        c.time_budget = seconds
    assert c.time_budget == pytest.approx(0.1)


def test_a_spent_time_budget_drops_the_rest_of_the_frame_with_one_warning(graphics_log):
    actor, c = puppet()
    c.time_budget = 0.0              # spent by the first step, which always runs
    for _ in range(3):
        c.update(20.0)
    assert c.steps == 3 and c.accumulator == 0.0
    found = [w for w in warnings(graphics_log) if "dropped" in w]
    assert len(found) == 1 and "world runs slow" in found[0]
    c.update(0.02)                   # caught up: the next drop is reported again
    c.update(20.0)
    assert len([w for w in warnings(graphics_log) if "dropped" in w]) == 2


# The pendulum ---------------------------------------------------------------------------

def test_after_every_update_the_tip_joint_is_at_body_b_and_the_arm_follows_the_formula():
    actor, c = pendulum()
    joints = actor.skeleton.joints
    a, b = c.get_body("a"), c.get_body("b")
    assert a.pinned is True and a.mass == 0.0 and b.pinned is False
    for _ in range(120):
        assert c.update(0.02) is True
        assert close(xy(joints["tip"].world_position), xy(b.position))
        rotation = joints["arm"].rotation
        assert -math.pi - 1e-6 <= rotation <= math.pi + 1e-6
        assert math.remainder(rotation - formula(a.position, b.position), 2 * math.pi) == pytest.approx(0, abs=1e-5)
        assert xy(a.position) == (0.0, 0.0)
        assert (b.position - a.position).length() == pytest.approx(20, abs=1e-2)


def test_a_damped_pendulum_comes_to_hang_below_its_pivot():
    actor, c = pendulum(damping="3")
    for _ in range(600):
        c.update(0.02)
    assert c.steps >= 600
    b = c.get_body("b")
    assert b.position.y == pytest.approx(20, abs=0.05) and abs(b.position.x) < 0.05
    assert abs(actor.skeleton.joints["arm"].rotation) == pytest.approx(math.pi, abs=1e-2)
    assert close(xy(actor.skeleton.joints["tip"].world_position), xy(b.position))


def test_an_undamped_pendulum_swings_to_the_other_side():
    actor, c = pendulum()
    lowest, leftmost = 0.0, 20.0
    for _ in range(120):
        c.update(0.02)
        p = c.get_body("b").position
        lowest, leftmost = max(lowest, p.y), min(leftmost, p.x)
    assert lowest == pytest.approx(20, abs=0.1)
    assert leftmost < -19


def test_a_wound_up_arm_reads_the_formula_within_half_a_turn():
    # Joint rotations are kept within half a turn either way: an arm set to 10 radians
    # reads the formula's angle after an update, not that angle plus whole turns.
    actor, c = pendulum()
    arm, tip = actor.skeleton.joints["arm"], actor.skeleton.joints["tip"]
    for wound in (10.0, -9.0, 3 * math.pi):
        arm.rotation = wound
        assert c.update(0.02) is True
        a, b = c.get_body("a").position, c.get_body("b").position
        assert -math.pi - 1e-6 <= arm.rotation <= math.pi + 1e-6
        assert math.remainder(arm.rotation - formula(a, b), 2 * math.pi) == pytest.approx(0, abs=1e-5)
        assert close(xy(tip.world_position), xy(b))


def test_the_parent_constraint_takes_off_the_parent_joint_world_rotation():
    actor, c = pendulum()
    joints = actor.skeleton.joints
    joints["root"].rotation = 0.5
    c.update(0.02)
    a, b = c.get_body("a").position, c.get_body("b").position
    assert math.remainder(joints["arm"].rotation - formula(a, b, 0.5), 2 * math.pi) == pytest.approx(0, abs=1e-5)
    assert close(xy(joints["tip"].world_position), xy(b))


def test_update_reports_a_change_only_when_a_parent_constraint_turned_a_joint():
    load('<r><ActorData id="still"><Joint id="root"/></ActorData><ActorRigDynamics id="still">'
         '<RigidBody id="a" position="0, 0" mass="1"/><RigidBody id="b" position="10, 0" mass="1"/>'
         '<ConstraintHinge body_0_id="a" body_1_id="b"/><ConstraintJoint body_id="a" joint_id="root"/>'
         '</ActorRigDynamics></r>')
    a, c = Actor("still"), ActorControllerDynamics()
    a.controller = c
    assert [c.update(0.02) for _ in range(5)] == [False] * 5
    assert c.steps == 5
    _, pc = pendulum()
    assert pc.update(0.02) is True


def test_a_pinned_body_follows_its_joint_when_the_script_moves_it_and_keeps_its_angle():
    actor, c = pendulum()
    a = c.get_body("a")
    a.angle = 0.3
    for target in [(5, -3), (-12, 8), (0.5, 0.25)]:
        actor.skeleton.joints["root"].position = target
        c.update(0.02)
        assert close(xy(a.position), target, 1e-5)
        assert F32(a.angle) == F32(0.3)
    assert a.pinned is True


def test_a_pinned_body_of_the_ponytail_follows_the_head():
    actor_database.load(DYNAMICS)
    p, c = Actor("ponytail"), ActorControllerDynamics()
    p.controller = c
    joints = p.skeleton.joints
    for frame in range(30):
        joints["neck"].rotation = 0.3 * math.sin(frame * 0.2)
        joints["root"].position = (frame * 0.5, 0)
        c.update(0.02)
        assert close(xy(c.get_body("hair_root").position), xy(joints["hair_0"].world_position), 1e-4)


# Hinge limits ---------------------------------------------------------------------------

def swing_onto_limits(limits, damping, lower, upper, slack=0.05):
    """The pendulum let go from level, 600 frames: (highest angle, whether every angle
    stayed within `slack` of the limits, the last angle)."""
    actor, c = pendulum(limits, damping)
    highest, within = -math.inf, True
    for _ in range(600):
        c.update(0.02)
        angle = c.hinge_angle("b")
        within = within and lower - slack <= angle <= upper + slack
        highest = max(highest, angle)
    return highest, within, c.hinge_angle("b")


@pytest.mark.parametrize("limits, lower, upper", [
    ("-0.5, 0.5", -0.5, 0.5),
    ("-1, 1", -1.0, 1.0),
    ("1, -1", -1.0, 1.0),  # given the wrong way round
])
def test_a_damped_limb_swings_onto_its_hinge_limit_and_rests_there(limits, lower, upper):
    highest, within, last = swing_onto_limits(limits, "3", lower, upper)
    assert within
    # Gravity swings "b" down onto the upper limit.
    assert highest >= upper - 0.05
    assert last == pytest.approx(upper, abs=0.05)


@pytest.mark.parametrize("limits, lower, upper", [
    ("-0.5, 0.5", -0.5, 0.5),
    ("-0.3, 0.6", -0.3, 0.6),
    ("1, -1", -1.0, 1.0),  # given the wrong way round
])
def test_hinge_limits_hold_over_many_steps(limits, lower, upper):
    # An undamped limb falling from level strikes its limit and passes it by a few
    # degrees before the hinge pushes it back: limits are kept within 0.12 rad.
    highest, within, last = swing_onto_limits(limits, "0", lower, upper, slack=0.12)
    assert highest >= upper - 0.05 and last == pytest.approx(upper, abs=0.05)
    assert within


def test_hinge_limits_the_wrong_way_round_are_swapped_with_a_warning(graphics_log):
    actor, c = pendulum("1, -1")
    assert c.hinges == [("a", "b")]
    found = warnings(graphics_log)
    assert len(found) == 1 and "between 'a' and 'b'" in found[0] and "wrong way round" in found[0]


def test_hinge_limits_given_the_right_way_round_log_nothing(graphics_log):
    pendulum("-0.5, 0.5")
    assert warnings(graphics_log) == []


def test_hinge_limits_that_are_not_numbers_leave_it_free_with_a_warning(graphics_log):
    actor, c = pendulum("nan, 1")
    assert c.hinges == [("a", "b")]
    found = warnings(graphics_log)
    assert len(found) == 1 and "not numbers" in found[0] and "'a'" in found[0] and "'b'" in found[0]
    highest = -math.inf
    for _ in range(120):
        c.update(0.02)
        highest = max(highest, c.hinge_angle("b"))
    assert highest > 1.5


def test_hinge_angle_of_a_body_with_several_hinges_is_that_of_its_first_hinge_in_rig_order():
    actor, c = puppet()
    c.get_body("head").apply_impulse((30, 0))
    c.get_body("wrist").apply_impulse((0, -30))
    for _ in range(40):
        c.update(0.02)
    angle = {name: c.get_body(name).angle for name in c.body_names}
    for name in ("pelvis", "chest", "elbow", "shoulder", "belly"):
        first = next(h for h in c.hinges if name in h)
        # Both bodies start at angle 0: a hinge's angle is body_1's angle less body_0's.
        assert c.hinge_angle(name) == pytest.approx(angle[first[1]] - angle[first[0]], abs=1e-5), (name, first)


def test_hinge_angle_is_the_second_body_angle_less_the_first():
    actor, c = pendulum()
    for _ in range(30):
        c.update(0.02)
        a, b = c.get_body("a"), c.get_body("b")
        assert c.hinge_angle("b") == pytest.approx(b.angle - a.angle, abs=1e-5)
        assert c.hinge_angle("a") == c.hinge_angle("b")


def test_hinge_angle_without_a_hinge_is_a_key_error():
    actor, c = pendulum()
    with pytest.raises(KeyError, match="nobody"):
        c.hinge_angle("nobody")
    with pytest.raises(KeyError):
        ActorControllerDynamics().hinge_angle("a")


# Bad rig data ---------------------------------------------------------------------------

def test_a_hinge_naming_a_missing_body_is_left_out_and_the_other_constraints_still_work(graphics_log):
    actor, c = pendulum(extra='<ConstraintHinge body_0_id="a" body_1_id="ghost"/>'
                              '<ConstraintHinge body_0_id="phantom" body_1_id="b"/>')
    assert c.hinges == [("a", "b")]
    found = warnings(graphics_log)
    assert len(found) == 2
    assert "'ghost'" in found[0] and "'phantom'" in found[1]
    assert all("names body" in m for m in found)
    for _ in range(10):
        assert c.update(0.02) is True
        assert close(xy(actor.skeleton.joints["tip"].world_position), xy(c.get_body("b").position))


def test_a_hinge_joining_a_body_to_itself_is_left_out_with_a_warning(graphics_log):
    actor, c = pendulum(extra='<ConstraintHinge body_0_id="b" body_1_id="b"/>')
    assert c.hinges == [("a", "b")]
    found = warnings(graphics_log)
    assert len(found) == 1 and "joins body 'b' to itself" in found[0]
    for _ in range(10):
        c.update(0.02)
    assert close(xy(actor.skeleton.joints["tip"].world_position), xy(c.get_body("b").position))


@pytest.mark.parametrize("position", ["nan, 0", "0, inf"])
def test_a_rigid_body_at_a_position_that_is_not_a_number_is_left_out_with_a_warning(graphics_log, position):
    actor, c = pendulum(extra=f'<RigidBody id="bad" position="{position}" mass="1"/>'
                              '<ConstraintHinge body_0_id="a" body_1_id="bad"/>')
    assert c.body_names == ["a", "b"]
    assert c.get_body("bad") is None
    assert c.hinges == [("a", "b")]
    found = warnings(graphics_log)
    assert any("rigid body 'bad'" in m and "left out" in m for m in found)
    assert any("names body 'bad'" in m for m in found)
    for _ in range(10):
        c.update(0.02)
        assert all(math.isfinite(v) for n in c.body_names for v in xy(c.get_body(n).position))


def test_rig_bodies_beyond_reach_are_left_out_and_overweight_ones_are_capped(graphics_log):
    actor, c = pendulum(extra='<RigidBody id="far" position="1e6, 0" mass="1"/>'
                              '<RigidBody id="heavy" position="0, 50" mass="1e9"/>'
                              '<RigidBody id="weightless" position="0, 40" mass="-5" damping="-2"/>')
    assert c.body_names == ["a", "b", "heavy", "weightless"]
    assert c.get_body("heavy").mass == pytest.approx(1e6, rel=1e-6)
    found = warnings(graphics_log)
    assert any("rigid body 'far'" in m and "left out" in m for m in found)
    assert any("rigid body 'heavy'" in m and "weighs" in m for m in found)
    for _ in range(30):
        c.update(0.02)
    assert all(math.isfinite(v) for n in c.body_names for v in xy(c.get_body(n).position))


def test_constraints_naming_missing_joints_do_nothing(graphics_log):
    load('<r><ActorData id="j"><Joint id="root"/></ActorData><ActorRigDynamics id="j">'
         '<RigidBody id="a" position="0, 0" mass="1"/><RigidBody id="b" position="10, 0" mass="1"/>'
         '<ConstraintHinge body_0_id="a" body_1_id="b"/><ConstraintJoint body_id="a" joint_id="nowhere"/>'
         '<ConstraintParent body_id="b" joint_id="nothing"/></ActorRigDynamics></r>')
    actor, c = Actor("j"), ActorControllerDynamics()
    actor.controller = c
    assert any("'nowhere'" in m for m in warnings(graphics_log))
    for _ in range(10):
        assert c.update(0.02) is False
    assert xy(actor.skeleton.joints["root"].position) == (0.0, 0.0)


# Bodies ---------------------------------------------------------------------------------

def test_body_properties_read_and_write():
    actor, c = pendulum()
    b = c.get_body("b")
    b.position = (15, 5)
    b.angle = 0.25
    b.linear_velocity = Vector(3, -4)
    b.angular_velocity = 1.5
    assert xy(b.position) == (15.0, 5.0)
    assert F32(b.angle) == F32(0.25)
    assert xy(b.linear_velocity) == (3.0, -4.0)
    assert F32(b.angular_velocity) == F32(1.5)
    assert b.name == "b" and b.mass == pytest.approx(1.0, rel=1e-6)


def test_an_impulse_changes_the_velocity_by_impulse_over_mass():
    load('<r><ActorData id="free"><Joint id="root"/></ActorData><ActorRigDynamics id="free">'
         '<RigidBody id="ball" position="0, 0" mass="2" damping="0"/></ActorRigDynamics></r>')
    actor, c = Actor("free"), ActorControllerDynamics()
    actor.controller = c
    ball = c.get_body("ball")
    ball.apply_impulse((10, -4))
    assert close(xy(ball.linear_velocity), (5.0, -2.0), 1e-5)
    assert ball.angular_velocity == 0.0
    # Off the centre it also spins the body.
    ball.apply_impulse(Vector(0, -2), Vector(1, 0))
    assert close(xy(ball.linear_velocity), (5.0, -3.0), 1e-5)
    assert ball.angular_velocity != 0.0


def test_a_body_leaving_the_world_box_freezes_where_it_left():
    load('<r><ActorData id="drop"><Joint id="root"/></ActorData><ActorRigDynamics id="drop">'
         '<RigidBody id="falling" position="0, 90" mass="1" damping="0"/>'
         '<RigidBody id="thrown" position="90, 0" mass="1" damping="0"/></ActorRigDynamics></r>')
    actor, c = Actor("drop"), ActorControllerDynamics()
    actor.controller = c
    falling, thrown = c.get_body("falling"), c.get_body("thrown")
    thrown.linear_velocity = (600, -600)
    for _ in range(60):
        c.update(0.02)
    assert falling.frozen is True and thrown.frozen is True
    assert 100 < falling.position.y < 110 and thrown.position.x > 100
    where = xy(falling.position), xy(thrown.position)
    for _ in range(60):
        c.update(0.02)
    assert (xy(falling.position), xy(thrown.position)) == where
    assert falling.frozen is True and thrown.frozen is True


@pytest.mark.parametrize("write", [
    lambda b: setattr(b, "position", (math.nan, 0)),
    lambda b: setattr(b, "position", (1e6, 0)),
    lambda b: setattr(b, "angle", math.inf),
    lambda b: setattr(b, "linear_velocity", (0, math.nan)),
    lambda b: setattr(b, "angular_velocity", -math.inf),
    lambda b: b.apply_impulse((math.inf, 0)),
    lambda b: b.apply_impulse((1, 0), (math.nan, 0)),
], ids=["position-nan", "position-far", "angle-inf", "velocity-nan", "spin-inf", "impulse-inf", "point-nan"])
def test_body_writes_that_are_not_finite_or_beyond_reach_are_value_errors_and_change_nothing(write):
    actor, c = pendulum()
    b = c.get_body("b")
    c.update(0.02)
    before = (xy(b.position), b.angle, xy(b.linear_velocity), b.angular_velocity)
    with pytest.raises(ValueError, match="finite"):
        write(b)
    assert (xy(b.position), b.angle, xy(b.linear_velocity), b.angular_velocity) == before
    for _ in range(10):
        c.update(0.02)
    assert all(math.isfinite(v) for v in xy(b.position))


def test_body_writes_at_the_edge_of_reach_are_taken():
    actor, c = pendulum()
    b = c.get_body("b")
    b.position = (1e5, -1e5)
    assert xy(b.position) == (1e5, -1e5)
    c.update(0.02)
    assert b.frozen is True


def test_a_pinned_body_stays_put_while_its_joint_is_out_of_reach():
    actor, c = pendulum()
    root, a = actor.skeleton.joints["root"], c.get_body("a")
    root.position = (4, 2)
    c.update(0.02)
    for far in [(math.nan, 0), (1e7, 0), (0, -math.inf)]:
        root.position = far
        c.update(0.02)
        assert xy(a.position) == (4.0, 2.0)
    root.position = (1, 1)
    c.update(0.02)
    assert xy(a.position) == (1.0, 1.0)


def test_a_body_cannot_be_made_from_python():
    with pytest.raises(RuntimeError):
        libgraphics.DynamicsBody()


def test_wrong_types_are_type_errors():
    actor, c = pendulum()
    with pytest.raises(TypeError):
        c.collision_actor = 5
    with pytest.raises(TypeError):
        c.collision_actor = libgraphics.Transform()
    with pytest.raises(TypeError):
        c.get_body(3)
    with pytest.raises(TypeError):
        c.hinge_angle(None)
    b = c.get_body("b")
    with pytest.raises(TypeError):
        b.apply_impulse("x")
    with pytest.raises(TypeError):
        b.apply_impulse((1, 0), "x")
    with pytest.raises(TypeError):
        b.position = "here"
    with pytest.raises(TypeError):
        b.angle = "up"
    with pytest.raises(TypeError):
        c.update("soon")
    assert c.collision_actor is None and xy(b.position) == (20.0, 0.0)


# Worlds coming and going ----------------------------------------------------------------

def test_unload_leaves_a_live_controller_its_world_and_kept_bodies_read():
    # The controller holds its rig: an unload forgets the rig's name, not the rig in use.
    actor, c = pendulum()
    b = c.get_body("b")
    c.update(0.02)
    steps = c.steps
    actor_database.unload()
    assert c.has_system is True and c.body_names == ["a", "b"]
    c.update(0.02)
    assert c.steps > steps
    assert b.name == "b" and math.isfinite(b.position.y)
    c.set_actor(None)
    with pytest.raises(RuntimeError, match="'b'"):
        b.position


def test_a_kept_body_reads_the_new_world_after_the_actor_is_set_again():
    actor, c = pendulum()
    b = c.get_body("b")
    for _ in range(30):
        c.update(0.02)
    assert xy(b.position) != (20.0, 0.0)
    c.set_actor(actor)
    assert c.steps == 0 and xy(b.position) == (20.0, 0.0)
    c.set_actor(None)
    assert c.has_system is False and c.actor is None
    with pytest.raises(RuntimeError):
        b.position


def test_taking_the_controller_off_its_actor_keeps_its_world():
    # actor.controller = None lets go of the controller but does not tell it: the
    # controller keeps its actor and world until set_actor(None) or the actor goes.
    actor, c = pendulum()
    b = c.get_body("b")
    actor.controller = None
    assert actor.controller is None and c.actor is actor and c.has_system is True
    c.update(0.02)
    assert c.steps == 1 and b.position.y > 0
    c.set_actor(None)
    assert c.has_system is False
    with pytest.raises(RuntimeError):
        b.position


def test_a_controller_whose_actor_is_destroyed_drops_its_world():
    actor, c = pendulum()
    b = c.get_body("b")
    del actor
    gc.collect()
    assert c.actor is None
    assert c.update(0.02) is False
    assert c.has_system is False and c.steps == 0
    with pytest.raises(RuntimeError):
        b.position


def test_a_thousand_worlds_are_built_and_dropped_without_growth():
    actor, c = puppet()

    def churn(n):
        for i in range(n):
            if i % 2:
                actor.controller = ActorControllerDynamics()  # the old one is destroyed with its world
            else:
                actor.controller = c
                c.update(0.02)
                c.set_actor(None)

    churn(100)
    gc.collect()
    objects, counts, heap = len(gc.get_objects()), engine_counts(), heap_bytes()
    churn(1000)
    gc.collect()
    assert len(gc.get_objects()) - objects < 100
    assert engine_counts() == counts
    # 500 worlds built and destroyed: a kilobyte kept of each would show.
    assert heap_bytes() - heap < 512 * 1024
    actor.controller = c
    assert c.has_system and len(c.body_names) == 13
    c.update(0.02)
    assert c.steps == 1


# Collision body -------------------------------------------------------------------------

def quad(a, b, width):
    """The four corners of a bar of `width` from a to b."""
    d = (b[0] - a[0], b[1] - a[1])
    length = math.hypot(*d)
    n = (-d[1] / length * width / 2, d[0] / length * width / 2)
    return [(p[0] + s * n[0], p[1] + s * n[1]) for p in (a, b) for s in (1, -1)]


def same_quad(actual, expected, tolerance=1e-3):
    actual = [xy(v) for v in actual]
    return len(actual) == 4 and all(any(close(e, a, tolerance) for a in actual) for e in expected)


def extended(points):
    """The spine joints head, collar, thoracic, lumbar with the two ends extended by
    twice their neighbouring segment."""
    head, collar, thoracic, lumbar = points
    head = (head[0] + 2 * (head[0] - collar[0]), head[1] + 2 * (head[1] - collar[1]))
    lumbar = (lumbar[0] + 2 * (lumbar[0] - thoracic[0]), lumbar[1] + 2 * (lumbar[1] - thoracic[1]))
    return [head, collar, thoracic, lumbar]


SPINE = ("head", "collar", "thoracic", "lumbar")


def spine_as_it_stands(collision):
    """The collision actor's spine as its skeleton has it (the default collision space)."""
    return extended([xy(collision.skeleton.joints[name].world_position) for name in SPINE])


def spine_in(controlled, collision):
    """The collision actor's spine brought into the controlled actor's space through both
    world transforms (collision_space "world")."""
    to_own = controlled.world_transform.inverse()
    return extended([xy(collision.skeleton.joints[name].world_position * collision.world_transform * to_own)
                     for name in SPINE])


def placed_apart(actor):
    """A sleeper standing elsewhere, turned and scaled, with a bent spine, and the
    controlled actor moved, turned and scaled too."""
    actor.position = (300, 200)
    actor.rotation = 0.3
    actor.scale = (2, 2)
    s = sleeper()
    s.position = (350, 260)
    s.rotation = math.pi / 2
    s.scale = (1, 2)
    s.skeleton.joints["thoracic"].rotation = 0.2
    return s


def test_collision_polygons_are_three_bars_along_the_sleeper_spine(graphics_log):
    actor, c = puppet()
    s = sleeper()
    c.collision_actor = s
    assert c.collision_actor is s
    assert c.collision_polygons == []  # built on the next update
    c.update(0.001)
    polygons = c.collision_polygons
    assert len(polygons) == 3
    expected = [quad((0, -108), (0, -60), 24), quad((0, -60), (0, -30), 24), quad((0, -30), (0, 60), 24)]
    for actual, wanted in zip(polygons, expected):
        assert same_quad(actual, wanted), (actual, wanted)
    assert warnings(graphics_log) == []


def test_collision_polygons_take_the_spine_as_its_skeleton_has_it_by_default():
    actor, c = puppet()
    s = placed_apart(actor)
    assert c.collision_space == "skeleton"
    c.collision_actor = s
    c.update(0.001)
    spine = spine_as_it_stands(s)
    width = 24 * 1.5  # the collision actor's mean scale; the controlled actor's is left out
    polygons = c.collision_polygons
    assert len(polygons) == 3
    for i, actual in enumerate(polygons):
        assert same_quad(actual, quad(spine[i], spine[i + 1], width)), (i, actual)


def test_world_collision_space_brings_the_spine_through_both_world_transforms():
    actor, c = puppet()
    s = placed_apart(actor)
    c.collision_space = "world"
    assert c.collision_space == "world"
    c.collision_actor = s
    c.update(0.001)
    spine = spine_in(actor, s)
    width = 24 * 1.5 / 2
    polygons = c.collision_polygons
    assert len(polygons) == 3
    for i, actual in enumerate(polygons):
        assert same_quad(actual, quad(spine[i], spine[i + 1], width)), (i, actual)


def test_setting_the_collision_space_rebuilds_the_body_on_the_next_update():
    actor, c = puppet()
    s = sleeper()
    s.position = (40, 0)
    c.collision_actor = s
    c.update(0.001)
    as_it_stands = [[xy(v) for v in p] for p in c.collision_polygons]
    c.collision_space = "world"
    assert [[xy(v) for v in p] for p in c.collision_polygons] == as_it_stands  # not before the update
    c.update(0.001)
    moved = [[xy(v) for v in p] for p in c.collision_polygons]
    assert all(close(m, (f[0] + 40, f[1]), 1e-4) for mp, fp in zip(moved, as_it_stands) for m, f in zip(mp, fp))
    c.collision_space = "skeleton"
    c.update(0.001)
    assert [[xy(v) for v in p] for p in c.collision_polygons] == as_it_stands


@pytest.mark.parametrize("value, error", [("layer", ValueError), ("", ValueError), (1, TypeError),
                                          (None, TypeError)])
def test_collision_space_is_skeleton_or_world(value, error):
    c = ActorControllerDynamics()
    with pytest.raises(error, match="collision_space"):
        c.collision_space = value
    assert c.collision_space == "skeleton"


def test_collision_polygons_are_empty_without_a_collision_actor():
    actor, c = puppet()
    c.update(0.02)
    assert c.collision_polygons == []
    s = sleeper()
    c.collision_actor = s
    c.update(0.001)
    assert len(c.collision_polygons) == 3
    c.collision_actor = None
    c.update(0.001)
    assert c.collision_actor is None and c.collision_polygons == []


def test_setting_the_same_collision_actor_again_rebuilds_it_from_its_new_pose():
    actor, c = puppet()
    s = sleeper()
    c.collision_actor = s
    c.update(0.001)
    first = [[xy(v) for v in p] for p in c.collision_polygons]
    s.skeleton.joints["lumbar"].position = (0, 10)  # the whole spine 10 lower
    c.update(0.001)
    assert [[xy(v) for v in p] for p in c.collision_polygons] == first
    c.collision_actor = s
    c.update(0.001)
    moved = [[xy(v) for v in p] for p in c.collision_polygons]
    assert all(close(m, (f[0], f[1] + 10), 1e-4) for mp, fp in zip(moved, first) for m, f in zip(mp, fp))


def test_a_new_world_keeps_the_collision_actor():
    actor, c = puppet()
    s = sleeper()
    c.collision_actor = s
    c.update(0.001)
    c.set_actor(actor)
    assert c.collision_actor is s and c.collision_polygons == []
    c.update(0.001)
    assert len(c.collision_polygons) == 3


def test_a_collision_actor_without_a_spine_joint_warns_and_has_no_shape(graphics_log):
    actor, c = puppet()
    other = Actor("puppet")  # head, but no collar
    c.collision_actor = other
    c.update(0.02)
    assert c.collision_polygons == []
    found = warnings(graphics_log)
    assert found == ["ActorControllerDynamics: collision actor 'puppet' has no joint 'collar'; "
                     "its collision body has no shape."]
    for _ in range(30):
        c.update(0.02)
    assert c.get_body("pelvis").position.y > 1


@pytest.mark.parametrize("space, place", [
    ("skeleton", dict(lumbar=(1e7, 0))),
    ("skeleton", dict(scale=(math.nan, 1))),
    ("skeleton", dict(scale=(1e6, 1e6))),
    ("world", dict(position=(1e7, 0))),
    ("world", dict(scale=(math.nan, 1))),
    ("world", dict(scale=(1e6, 1e6))),
], ids=["far", "scale-nan", "scale-huge", "world-far", "world-scale-nan", "world-scale-huge"])
def test_a_collision_spine_out_of_reach_has_no_shape_with_a_warning(graphics_log, space, place):
    actor, c = puppet()
    s = sleeper()
    for name, value in place.items():
        if name == "lumbar":
            s.skeleton.joints[name].position = value
        else:
            setattr(s, name, value)
    c.collision_space = space
    c.collision_actor = s
    c.update(0.02)
    assert c.collision_polygons == []
    assert any("collision actor 'sleeper'" in m and "no shape" in m for m in warnings(graphics_log))
    for _ in range(10):
        c.update(0.02)
    assert all(math.isfinite(v) for n in c.body_names for v in xy(c.get_body(n).position))


def test_collision_actors_scaled_to_nothing_give_no_shape_with_a_warning(graphics_log):
    actor, c = puppet()
    s = sleeper()
    s.scale = (0, 0)
    c.collision_actor = s
    c.update(0.02)
    assert c.collision_polygons == []
    assert any("collision actor 'sleeper' is scaled to a spine 0 wide" in m for m in warnings(graphics_log))
    # The controlled actor's own scale is left out of the default placement...
    s.scale = (1, 1)
    actor.scale = (0, 0)
    c.collision_actor = s
    c.update(0.02)
    assert len(c.collision_polygons) == 3
    # ... but not out of the world placement, where nothing maps into a space of no size.
    c.collision_space = "world"
    c.update(0.02)
    assert c.collision_polygons == []
    for _ in range(10):
        c.update(0.02)


def test_a_destroyed_collision_actor_is_forgotten():
    actor, c = puppet()
    s = sleeper()
    c.collision_actor = s
    c.update(0.02)
    assert len(c.collision_polygons) == 3
    del s
    gc.collect()
    assert c.collision_actor is None
    c.update(0.02)
    assert c.collision_polygons == []
    steps = c.steps
    for _ in range(10):
        c.update(0.02)
    assert c.steps > steps


def lying_sleeper(lumbar, scale=1.0):
    """A sleeper whose skeleton lies on its back, head to the right, its lumbar joint at
    `lumbar` of its skeleton and scaled by `scale` (as is the actor, which widens the
    collision body): the spine along y = lumbar.y in any actor's space."""
    s = sleeper()
    joint = s.skeleton.joints["lumbar"]
    joint.position = lumbar
    joint.rotation = -math.pi / 2
    joint.scale = scale
    s.scale = scale
    return s


def lands_and_stays_above(c, top):
    """Runs ten seconds: no body goes below `top` (less its radius), and the pelvis and
    both ankles come to rest on it."""
    for _ in range(600):
        c.update(0.02)
        for name in c.body_names:
            assert c.get_body(name).position.y <= top - 3 + 0.1, name
    for name in ("pelvis", "ankle", "ankle_back"):
        assert c.get_body(name).position.y == pytest.approx(top - 3, abs=0.1), name
    assert abs(c.get_body("pelvis").linear_velocity.y) < 1


def test_the_ragdoll_lands_on_a_sleeper_lying_in_its_skeleton():
    actor, c = puppet()
    actor.position = (320, 60)   # where the actors stand does not matter
    actor.scale = (1.5, 1.5)
    # The skeleton of the world placement test below, seen from the ragdoll's space.
    s = lying_sleeper((-30, 86), scale=4 / 3)
    s.position = (100, 400)
    c.collision_actor = s
    c.update(0.001)
    polygons = c.collision_polygons
    assert len(polygons) == 3
    top = min(v.y for p in polygons for v in p)
    left, right = min(v.x for p in polygons for v in p), max(v.x for p in polygons for v in p)
    assert top == pytest.approx(70, abs=1e-3) and left < -100 and right > 100
    lands_and_stays_above(c, top)


def test_the_ragdoll_lands_on_a_sleeper_placed_in_the_world():
    actor, c = puppet()
    actor.position = (320, 60)
    actor.scale = (1.5, 1.5)
    s = sleeper()
    s.rotation = -math.pi / 2  # lying on its back, head to the right
    s.scale = (2, 2)
    s.position = (275, 189)
    c.collision_space = "world"
    c.collision_actor = s
    c.update(0.001)
    polygons = c.collision_polygons
    assert len(polygons) == 3
    top = min(v.y for p in polygons for v in p)
    left, right = min(v.x for p in polygons for v in p), max(v.x for p in polygons for v in p)
    assert top == pytest.approx(70, abs=1e-3) and left < -100 and right > 100
    lands_and_stays_above(c, top)


def test_the_ragdoll_example_places_its_sleeper_in_the_world():
    sys.path.insert(0, EXAMPLES)
    try:
        import ragdolls
    finally:
        sys.path.remove(EXAMPLES)
    actor, s, c = ragdolls.ragdoll((220, 180), "world", (190, 300))
    assert c.collision_space == "world"
    c.update(0.001)
    # The collision body lies where the sleeper is drawn, brought into the ragdoll's space.
    spine = spine_in(actor, s)
    polygons = c.collision_polygons
    assert len(polygons) == 3
    for i, actual in enumerate(polygons):
        assert same_quad(actual, quad(spine[i], spine[i + 1], 24)), (i, actual)


def test_the_ragdolls_example_stands_up_again_every_period():
    sys.path.insert(0, EXAMPLES)
    try:
        import ragdolls
    finally:
        sys.path.remove(EXAMPLES)
    actor, s, c = ragdolls.ragdoll((220, 180), "world", (190, 300), period=1.0)
    assert isinstance(c, ActorControllerDynamics) and c.collision_actor is s
    root = actor.skeleton.joints["root"]
    for _ in range(30):
        assert c.update(1 / 60 + 1e-4) is True
        assert close(xy(root.position), xy(c.get_body("pelvis").position), 1e-6)
    assert root.position.y > 1
    for _ in range(40):
        c.update(1 / 60 + 1e-4)
    # A new world after a second: the pelvis is back near the rig's place.
    assert c.steps < 15
    assert len(c.collision_polygons) == 3


# Determinism ----------------------------------------------------------------------------

def test_two_identical_actors_stepped_alike_are_bit_identical():
    runs = []
    s = lying_sleeper((-30, 86))
    for _ in range(2):
        actor, c = puppet()
        c.collision_actor = s
        c.update(0.001)
        c.get_body("head").apply_impulse((20, 0))
        runs.append((actor, c))
    dts = [0.016, 0.02, 0.033, 0.005, 0.1, 1 / 60]
    for frame in range(300):
        dt = dts[frame % len(dts)]
        answers = [c.update(dt) for _, c in runs]
        assert answers[0] == answers[1]
    (a0, c0), (a1, c1) = runs
    assert c0.steps == c1.steps and c0.accumulator == c1.accumulator
    for name in c0.body_names:
        b0, b1 = c0.get_body(name), c1.get_body(name)
        assert xy(b0.position) == xy(b1.position), name
        assert b0.angle == b1.angle and xy(b0.linear_velocity) == xy(b1.linear_velocity), name
    for j0, j1 in zip(a0.skeleton.joints, a1.skeleton.joints):
        assert j0.rotation == j1.rotation


# Script subclasses ----------------------------------------------------------------------

def test_a_script_subclass_overrides_update_and_calls_the_native_one(scene):
    class Counted(ActorControllerDynamics):
        def __init__(self):
            super().__init__()
            self.calls, self.answers = 0, []

        def update(self, dt):
            self.calls += 1
            changed = super().update(dt)
            self.answers.append(changed)
            return changed

    pendulum()  # loads the rig
    actor, c = Actor("pendulum"), Counted()
    actor.controller = c
    assert c.has_system
    scene.add_object(actor, "main")
    for _ in range(5):
        scene.update(0.02)
    scene.remove_object(actor)
    assert c.calls == 5 and c.steps == 5 and c.answers == [True] * 5
    assert close(xy(actor.skeleton.joints["tip"].world_position), xy(c.get_body("b").position))


def test_a_script_subclass_on_actor_decides_whether_the_world_is_built():
    pendulum()

    class Told(ActorControllerDynamics):
        def __init__(self, build):
            super().__init__()
            self.build, self.told = build, []

        def on_actor(self, actor):
            self.told.append(actor)
            if self.build:
                super().on_actor(actor)

    built, skipped = Told(True), Told(False)
    a, b = Actor("pendulum"), Actor("pendulum")
    a.controller, b.controller = built, skipped
    assert built.told == [a] and built.has_system and built.body_names == ["a", "b"]
    assert skipped.told == [b] and skipped.has_system is False and skipped.update(0.02) is False


def test_a_script_subclass_error_in_update_is_reported_and_the_frame_goes_on(monkeypatch, scene):
    seen = []

    class Broken(ActorControllerDynamics):
        def update(self, dt):
            super().update(dt)
            raise ValueError("no physics today")

    actor, _ = pendulum()
    c = Broken()
    actor.controller = c
    scene.add_object(actor, "main")
    monkeypatch.setattr(sys, "unraisablehook", lambda info: seen.append(info.exc_value))
    scene.update(0.02)
    scene.remove_object(actor)
    assert [type(e) for e in seen] == [ValueError]
    assert c.steps == 1


# Debug drawing --------------------------------------------------------------------------

def near(pixel, x, y, test, radius=2):
    return any(test(pixel(x + dx, y + dy)) for dx in range(-radius, radius + 1) for dy in range(-radius, radius + 1))


def green(p):
    return p[:3] == (0, 255, 0)


def red(p):
    return p[:3] == (255, 0, 0)


def test_the_debug_view_draws_bodies_in_green_and_collision_polygons_in_red(window, scene):
    actor, c = puppet()
    actor.position = (320, 240)
    actor.scale = (2, 2)
    actor.set_colour((0, 0, 0, 0))  # only the debug drawing shows
    s = sleeper()
    s.position = (100, 100)  # the spine as its skeleton has it, drawn under the actor's transform
    c.collision_actor = s
    c.update(0.001)  # the collision body, no step
    scene.add_object(actor, "main")

    def at(x, y):
        p = Vector(x, y) * actor.world_transform
        return round(p.x), round(p.y)

    ankles = at(0, 64)       # the line from "ankle" to "ankle_back"
    side = at(12, -45)       # the right side of the collar bar
    other_side = at(-12, 20)  # the left side of the lumbar bar
    pixel = rendered(window, scene)
    assert not near(pixel, *ankles, green) and not near(pixel, *side, red)
    actor.debug = True
    pixel = rendered(window, scene)
    assert near(pixel, *ankles, green)
    assert near(pixel, *side, red) and near(pixel, *other_side, red)
    assert not near(pixel, *at(60, 0), lambda p: green(p) or red(p))
    # Without a collision actor, only the green line.
    c.collision_actor = None
    c.update(0.001)
    pixel = rendered(window, scene)
    assert near(pixel, *ankles, green) and not near(pixel, *side, red)
    scene.remove_object(actor)


@pytest.mark.parametrize("calls_native, drawn", [(True, True), (False, False)])
def test_a_script_subclass_render_replaces_the_debug_drawing_unless_it_calls_the_native_one(
        window, scene, calls_native, drawn):
    class Drawing(ActorControllerDynamics):
        def __init__(self):
            super().__init__()
            self.renders = 0

        def render(self):
            self.renders += 1
            if calls_native:
                super().render()

    pendulum()  # loads the rig
    actor, c = Actor("pendulum"), Drawing()
    actor.controller = c
    actor.position = (320, 240)
    actor.scale = (4, 4)
    actor.debug = True
    scene.add_object(actor, "main")
    pixel = rendered(window, scene)
    scene.remove_object(actor)
    assert c.renders >= 1
    # The green line from "a" at the origin to "b" at (20, 0).
    assert near(pixel, 320 + 40, 240, green) is drawn
