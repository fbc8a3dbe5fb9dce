#include "engine/graphics/ActorRigIK.h"

#include "engine/core/Maths.h"
#include "engine/graphics/Actor.h"
#include "engine/graphics/ActorControllerIK.h"
#include "engine/graphics/ActorControllerSharedSkeleton.h"
#include "engine/graphics/ActorDatabase.h"
#include "engine/graphics/ActorIKChain.h"
#include "engine/graphics/IKConstraintPositionFixed.h"
#include "engine/graphics/IKConstraintRotationFixed.h"
#include "engine/graphics/Skeleton.h"
#include "engine/graphics/Transform.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>

using engine::core::normalise_angle;
using engine::core::Vector;
using namespace engine::graphics;

namespace {

constexpr float kTolerance = 1e-3f;

float distance(const Vector<float>& a, const Vector<float>& b) { return (a - b).length(); }

// shoulder (at `origin`) -> elbow (l1 along the shoulder's (0, -1)) -> hand (l2 further):
// a straight arm pointing up, the rest direction of every bone.
struct Arm {
    Skeleton skeleton;
    Transform* shoulder;
    Transform* elbow;
    Transform* hand;
    IKHandlePosition* handle;
    ActorRigIK rig;

    explicit Arm(float l1 = 30.0f, float l2 = 20.0f, const char* type = "chain", Vector<float> origin = {0, 0}) {
        shoulder = skeleton.add_joint("shoulder");
        elbow = skeleton.add_joint("elbow");
        hand = skeleton.add_joint("hand");
        shoulder->attach(elbow);
        elbow->attach(hand);
        shoulder->set_position(origin);
        elbow->set_position({0, -l1});
        hand->set_position({0, -l2});
        skeleton.generate_bind_transforms();
        handle = rig.add_position_handle("hand", type);
    }
    bool solve(Vector<float> target, bool reversed = false, bool has_rotation = false, bool ignore = false) {
        return handle->solve_constraint(skeleton, target, reversed, has_rotation, ignore);
    }
};

// The elbow's world position mirrored across the line from the shoulder to `target`.
Vector<float> mirror(const Vector<float>& p, const Vector<float>& origin, const Vector<float>& target) {
    const Vector<float> axis = (target - origin) / (target - origin).length();
    const Vector<float> v = p - origin;
    const float along = v.x * axis.x + v.y * axis.y;
    return origin + axis * (2.0f * along) - v;
}

}  // namespace

TEST(IKSolver, ChainReachesAReachableTargetAndKeepsBoneLengths) {
    for (const Vector<float> target : {Vector<float>{10, 25}, Vector<float>{-30, -20}, Vector<float>{40, 5}}) {
        Arm arm;
        EXPECT_TRUE(arm.solve(target));
        EXPECT_NEAR(arm.hand->get_world_position().x, target.x, kTolerance);
        EXPECT_NEAR(arm.hand->get_world_position().y, target.y, kTolerance);
        EXPECT_NEAR(distance(arm.elbow->get_world_position(), arm.shoulder->get_world_position()), 30.0f, kTolerance);
        EXPECT_NEAR(distance(arm.hand->get_world_position(), arm.elbow->get_world_position()), 20.0f, kTolerance);
    }
}

TEST(IKSolver, ChainReachesFromAnOffsetRootUnderATurnedParent) {
    Skeleton skeleton;
    Transform* body = skeleton.add_joint("body");
    Arm arm(24.0f, 20.0f);
    body->attach(arm.shoulder);
    body->set_position({100, 50});
    body->set_rotation(0.7f);
    const Vector<float> target = arm.shoulder->get_world_position() + Vector<float>{15, 20};
    EXPECT_TRUE(arm.solve(target));
    EXPECT_NEAR(arm.hand->get_world_position().x, target.x, kTolerance);
    EXPECT_NEAR(arm.hand->get_world_position().y, target.y, kTolerance);
    body->detach(arm.shoulder);
}

TEST(IKSolver, ChainBeyondReachStraightensTo99Percent) {
    Arm arm;
    const Vector<float> target{120, -160};  // 200 away, the reach is 50
    EXPECT_TRUE(arm.solve(target));
    const Vector<float> expected = target / target.length() * (0.99f * 50.0f);
    EXPECT_NEAR(arm.hand->get_world_position().x, expected.x, kTolerance);
    EXPECT_NEAR(arm.hand->get_world_position().y, expected.y, kTolerance);
    // Nearly straight, but still bent to its side.
    EXPECT_NE(arm.elbow->get_local_rotation(), 0.0f);
    EXPECT_NEAR(arm.elbow->get_local_rotation(), 0.0f, 0.4f);
}

TEST(IKSolver, DirectionAndReversedMirrorTheBendAndCancelTogether) {
    const Vector<float> target{10, 25};
    Arm plain, flipped, reversed, both;
    flipped.handle->set_direction(-1);
    both.handle->set_direction(-1);
    plain.solve(target);
    flipped.solve(target);
    reversed.solve(target, true);
    both.solve(target, true);
    const Vector<float> mirrored = mirror(plain.elbow->get_world_position(), {0, 0}, target);
    for (Arm* arm : {&flipped, &reversed}) {
        EXPECT_NEAR(arm->elbow->get_world_position().x, mirrored.x, kTolerance);
        EXPECT_NEAR(arm->elbow->get_world_position().y, mirrored.y, kTolerance);
        EXPECT_NEAR(arm->hand->get_world_position().x, target.x, kTolerance);
        EXPECT_NEAR(arm->hand->get_world_position().y, target.y, kTolerance);
    }
    EXPECT_EQ(both.elbow->get_local_rotation(), plain.elbow->get_local_rotation());
    EXPECT_EQ(both.shoulder->get_local_rotation(), plain.shoulder->get_local_rotation());
    EXPECT_FLOAT_EQ(flipped.elbow->get_local_rotation(), -plain.elbow->get_local_rotation());
}

TEST(IKSolver, DirectionIsOneOrMinusOne) {
    Arm arm;
    for (int refused : {0, 2, 3, -2, INT_MIN, INT_MAX}) EXPECT_FALSE(arm.handle->set_direction(refused)) << refused;
    EXPECT_EQ(arm.handle->get_direction(), 1);
    EXPECT_TRUE(arm.handle->set_direction(-1));
    EXPECT_EQ(arm.handle->get_direction(), -1);
    EXPECT_FALSE(arm.handle->set_direction(INT_MIN));
    EXPECT_EQ(arm.handle->get_direction(), -1);
    const Vector<float> target{10, 25};
    arm.solve(target, true);  // reversed and -1: no overflow, the plain bend
    EXPECT_NEAR(arm.hand->get_world_position().x, target.x, kTolerance);
    EXPECT_NEAR(arm.hand->get_world_position().y, target.y, kTolerance);
}

TEST(IKSolver, TargetExactlyOnTheEffectorChangesNothing) {
    Arm arm;
    arm.shoulder->set_rotation(0.3f);
    const Vector<float> at = arm.hand->get_world_position();
    EXPECT_FALSE(arm.solve(at));
    EXPECT_EQ(arm.shoulder->get_local_rotation(), 0.3f);
    EXPECT_EQ(arm.elbow->get_local_rotation(), 0.0f);
    // Exact float comparison: the next float over is a target like any other.
    EXPECT_TRUE(arm.solve({std::nextafter(at.x, 1e9f), at.y}));
}

TEST(IKSolver, TargetInsideTheInnerRadiusFoldsBothJointsByMinusDirTimesHalfTurn) {
    Arm arm(30.0f, 10.0f);  // |l2 - l1| = 20
    const Vector<float> target{3, 4};  // 5 from the shoulder
    EXPECT_TRUE(arm.solve(target));
    const float base = std::atan2(3.0f, 4.0f);
    EXPECT_EQ(arm.elbow->get_local_rotation(), -3.14159f);  // the default limit, unclamped
    EXPECT_FLOAT_EQ(arm.shoulder->get_local_rotation(), normalise_angle(-3.14159f + base + 3.14159f));
}

TEST(IKSolver, ChainMissingJointsReportFalse) {
    Skeleton skeleton;
    skeleton.add_joint("hand");
    ActorRigIK rig;
    IKHandlePosition* chain = rig.add_position_handle("hand", "chain");
    IKHandlePosition* aim = rig.add_position_handle("foot", "aim");
    EXPECT_FALSE(chain->solve_constraint(skeleton, {5, 5}, false, false, false));
    EXPECT_FALSE(aim->solve_constraint(skeleton, {5, 5}, false, false, false));
}

TEST(IKSolver, PointSetsTheLocalPositionToTheSkeletonSpaceTargetUnchanged) {
    Arm arm(30.0f, 20.0f, "point", {40, 40});
    EXPECT_TRUE(arm.solve({7, 9}));
    EXPECT_EQ(arm.hand->get_local_position(), (Vector<float>{7, 9}));  // not made local to the elbow
}

TEST(IKSolver, AimTurnsTheParentSoTheEffectorPointsAtTheTarget) {
    Arm arm(30.0f, 20.0f, "aim");
    const Vector<float> target{50, 30};
    EXPECT_TRUE(arm.solve(target));
    const Vector<float> bone = arm.hand->get_world_position() - arm.elbow->get_world_position();
    const Vector<float> wanted = target - arm.elbow->get_world_position();
    EXPECT_NEAR(bone.x * wanted.y - bone.y * wanted.x, 0.0f, 1e-2f);
    EXPECT_GT(bone.x * wanted.x + bone.y * wanted.y, 0.0f);
}

TEST(IKSolver, ChainOffsetWithARotationMovesTheTargetAlongTheEffectorsYAxis) {
    Arm with_offset, moved;
    with_offset.handle->set_chain_offset(10.0f);
    with_offset.shoulder->set_rotation(0.4f);
    moved.shoulder->set_rotation(0.4f);
    const Vector<float> shifted = Vector<float>{0, 0} + moved.hand->get_world_transform().rotate_vector({0, 10});
    with_offset.solve({0, 0}, false, true);
    moved.solve(shifted, false, true);
    EXPECT_EQ(with_offset.hand->get_world_position(), moved.hand->get_world_position());
}

TEST(IKSolver, ChainOffsetWithoutARotationLengthensTheSecondBone) {
    Arm arm;
    arm.handle->set_chain_offset(10.0f);
    arm.solve({0, 500});
    // The reach is 60 now; the hand itself stays 50 along its 99% triangle.
    const float reach = 0.99f * 60.0f;
    const float l1 = 30.0f, l2 = 30.0f;
    const float root = std::acos((reach * reach + l1 * l1 - l2 * l2) / (2.0f * l1 * reach));
    EXPECT_NEAR(std::fabs(normalise_angle(arm.shoulder->get_local_rotation() - normalise_angle(3.14159f))), root,
                1e-3f);
    Arm ignoring;
    ignoring.handle->set_chain_offset(10.0f);
    ignoring.solve({0, 500}, false, false, true);
    EXPECT_NEAR(ignoring.hand->get_world_position().y, 49.5f, kTolerance);
}

TEST(IKSolver, ClampedMiddleJointReAimsTheRootAtTheTarget) {
    Arm arm;
    arm.elbow->set_rotation_constraint(-0.5f, 0.5f);
    const Vector<float> target{5, 15};  // needs a deep bend
    EXPECT_TRUE(arm.solve(target));
    EXPECT_EQ(std::fabs(arm.elbow->get_local_rotation()), 0.5f);
    const Vector<float> e = arm.hand->get_world_position() - arm.shoulder->get_world_position();
    EXPECT_NEAR(normalise_angle(std::atan2(e.x, e.y) - std::atan2(target.x, target.y)), 0.0f, 1e-3f);
}

TEST(IKSolver, SpineMeasuresItsOffsetAndAnglesOnTheFirstSolveOnly) {
    Skeleton skeleton;
    Transform* pelvis = skeleton.add_joint("pelvis");
    Transform* lumbar = skeleton.add_joint("lumbar");
    Transform* chest = skeleton.add_joint("chest");
    Transform* neck = skeleton.add_joint("neck");
    pelvis->attach(lumbar);
    lumbar->attach(chest);
    chest->attach(neck);
    lumbar->set_position({2, -20});
    chest->set_position({-3, -20});
    neck->set_position({0, -15});
    ActorRigIK rig;
    IKHandlePosition* spine = rig.add_position_handle("neck", "spine");
    spine->set_spine_offset(99.0f);  // ignored: always measured
    EXPECT_EQ(spine->get_spine_offset(), -1.0f);
    lumbar->set_rotation(0.3f);
    EXPECT_TRUE(spine->solve_constraint(skeleton, {10, -40}, false, false, false));
    EXPECT_EQ(lumbar->get_local_rotation(), 0.0f);  // the joint between is straightened; the pelvis turns
    const float offset = spine->get_spine_offset();
    EXPECT_NEAR(offset, Vector<float>(-1, -40).length(), kTolerance);
    const float root_angle = spine->get_spine_root_angle(), middle_angle = spine->get_spine_middle_angle();
    EXPECT_NE(root_angle, 0.0f);
    EXPECT_TRUE(spine->solve_constraint(skeleton, {-10, -30}, false, false, false));
    EXPECT_EQ(spine->get_spine_offset(), offset);
    EXPECT_EQ(spine->get_spine_root_angle(), root_angle);
    EXPECT_EQ(spine->get_spine_middle_angle(), middle_angle);
}

TEST(IKSolver, ASpineMeasuredOnAPoseThatIsNotFiniteKeepsNothingForLaterSolves) {
    Skeleton skeleton;
    Transform* base = skeleton.add_joint("base");
    Transform* pelvis = skeleton.add_joint("pelvis");
    Transform* lumbar = skeleton.add_joint("lumbar");
    Transform* chest = skeleton.add_joint("chest");
    Transform* neck = skeleton.add_joint("neck");
    base->attach(pelvis);
    pelvis->attach(lumbar);
    lumbar->attach(chest);
    chest->attach(neck);
    lumbar->set_position({2, -20});
    chest->set_position({-3, -20});
    neck->set_position({0, -15});
    ActorRigIK rig;
    IKHandlePosition* spine = rig.add_position_handle("neck", "spine");
    base->set_rotation(std::nanf(""));  // one bad frame of a rotation target
    EXPECT_FALSE(spine->solve_constraint(skeleton, {10, -40}, false, false, false));
    EXPECT_EQ(spine->get_spine_offset(), -1.0f);
    EXPECT_EQ(spine->get_spine_root_angle(), 0.0f);
    EXPECT_EQ(spine->get_spine_middle_angle(), 0.0f);
    base->set_rotation(0.0f);
    EXPECT_TRUE(spine->solve_constraint(skeleton, {10, -40}, false, false, false));
    EXPECT_NEAR(spine->get_spine_offset(), Vector<float>(-1, -40).length(), kTolerance);
    EXPECT_TRUE(std::isfinite(spine->get_spine_root_angle()));
    EXPECT_TRUE(std::isfinite(spine->get_spine_middle_angle()));
    for (Transform* joint : {pelvis, lumbar, chest, neck}) {
        EXPECT_TRUE(std::isfinite(joint->get_world_position().x));
        EXPECT_TRUE(std::isfinite(joint->get_world_position().y));
    }
}

TEST(IKSolver, AChainWithATargetThatIsNotFiniteIsLeftAsItWas) {
    Arm arm;
    ASSERT_TRUE(arm.solve({10, 25}));
    const float shoulder = arm.shoulder->get_local_rotation(), elbow = arm.elbow->get_local_rotation();
    EXPECT_FALSE(arm.solve({std::nanf(""), 25}));
    EXPECT_EQ(arm.shoulder->get_local_rotation(), shoulder);
    EXPECT_EQ(arm.elbow->get_local_rotation(), elbow);
}

TEST(IKSolver, RotationHandleComparesExactlyAndMakesWorldTargetsLocal) {
    Skeleton skeleton;
    Transform* body = skeleton.add_joint("body");
    Transform* head = skeleton.add_joint("head");
    body->attach(head);
    body->set_rotation(0.5f);
    head->set_rotation(0.25f);
    ActorRigIK rig;
    IKHandleRotation* handle = rig.add_rotation_handle("head");
    EXPECT_FALSE(handle->solve_constraint(skeleton, 0.25f, false));             // already its local rotation
    EXPECT_FALSE(handle->solve_constraint(skeleton, head->get_world_rotation(), true));  // already its world rotation
    EXPECT_TRUE(handle->solve_constraint(skeleton, 1.0f, true));
    EXPECT_FLOAT_EQ(head->get_local_rotation(), 0.5f);
    EXPECT_TRUE(handle->solve_constraint(skeleton, -0.1f, false));
    EXPECT_EQ(head->get_local_rotation(), -0.1f);
    EXPECT_FALSE(rig.add_rotation_handle("nobody")->solve_constraint(skeleton, 1.0f, false));
}

TEST(IKSolver, IterativeSolverBringsTheEffectorWithinThreeUnits) {
    Skeleton skeleton;
    Transform* base = skeleton.add_joint("base");
    Arm arm;
    base->attach(arm.shoulder);
    const Vector<float> target{25, 20};
    EXPECT_TRUE(arm.handle->solve_iterative(arm.skeleton, target));
    EXPECT_LT(distance(arm.hand->get_world_position(), target), 3.0f);
    EXPECT_NEAR(distance(arm.hand->get_world_position(), arm.elbow->get_world_position()), 20.0f, kTolerance);
    base->detach(arm.shoulder);
    Arm short_arm;
    EXPECT_FALSE(short_arm.handle->solve_iterative(short_arm.skeleton, target));  // the shoulder has no parent
}

// Bones along +x, as animation tools draw them (a handle with a bone length).
namespace {

// thigh -> calf (50 along the thigh's x), the calf 40 long; a goal joint apart.
struct Leg {
    Skeleton skeleton;
    Transform* thigh = skeleton.add_joint("thigh");
    Transform* calf = skeleton.add_joint("calf");
    ActorRigIK rig;
    IKHandlePosition* handle;

    explicit Leg(const char* type = "chain") {
        thigh->attach(calf);
        calf->set_position({50, 0});
        handle = rig.add_position_handle(type == std::string("aim") ? "thigh" : "calf", type);
        handle->set_bone_length(40.0f);
    }
    Vector<float> tip() const { return Vector<float>(40, 0) * calf->get_world_transform(); }
    float bend() const {
        const auto& t = thigh->get_world_transform();
        const auto& c = calf->get_world_transform();
        return std::remainder(std::atan2(c[1], c[0]) - std::atan2(t[1], t[0]), float(2 * M_PI));
    }
};

}  // namespace

TEST(IKSolverBone, ChainTipReachesTheTargetBendingAsDirectionAndReversedSay) {
    for (int direction : {1, -1})
        for (bool reversed : {false, true}) {
            Leg leg;
            leg.handle->set_direction(direction);
            ASSERT_TRUE(leg.handle->solve_constraint(leg.skeleton, {60, 30}, reversed, false, false));
            EXPECT_NEAR(leg.tip().x, 60, 1e-3f);
            EXPECT_NEAR(leg.tip().y, 30, 1e-3f);
            // A positive bend turns the calf +x towards +y (clockwise on screen) from the thigh.
            EXPECT_EQ(leg.bend() > 0, (direction > 0) != reversed);
        }
}

TEST(IKSolverBone, ChainBeyondReachStraightensFullyWithNo99PercentLimit) {
    Leg leg;
    ASSERT_TRUE(leg.handle->solve_constraint(leg.skeleton, {0, 200}, false, false, false));
    EXPECT_NEAR(leg.tip().x, 0, 1e-3f);
    EXPECT_NEAR(leg.tip().y, 90, 1e-3f);  // 50 + 40, straight along the way to the target
}

TEST(IKSolverBone, AimTurnsTheBoneItselfAndItsOwnOriginIsNoTarget) {
    Leg leg("aim");
    ASSERT_TRUE(leg.handle->solve_constraint(leg.skeleton, {0, 10}, false, false, false));
    const auto& m = leg.thigh->get_world_transform();
    EXPECT_NEAR(std::atan2(m[1], m[0]), float(M_PI / 2), 1e-5f);
    EXPECT_FALSE(leg.handle->solve_constraint(leg.skeleton, {0, 0}, false, false, false));
}

TEST(IKSolverBone, WeightMixesTheTurnAndZeroLeavesThePose) {
    Leg leg("aim");
    EXPECT_FALSE(leg.handle->solve_constraint(leg.skeleton, {0, 10}, false, false, false, 0.0f));
    EXPECT_EQ(leg.thigh->get_local_rotation(), 0.0f);
    ASSERT_TRUE(leg.handle->solve_constraint(leg.skeleton, {0, 10}, false, false, false, 0.5f));
    const auto& m = leg.thigh->get_world_transform();
    EXPECT_NEAR(std::atan2(m[1], m[0]), float(M_PI / 4), 1e-5f);
}

TEST(IKSolverBone, ADriverJointAwayFromRestOverridesWeightAndBend) {
    Leg leg;
    Transform* driver = leg.skeleton.add_joint("~ik 0");
    leg.handle->set_driver_id("~ik 0");
    driver->set_rotation(ActorIKChain::drive(1.0f, false));
    ASSERT_TRUE(leg.handle->solve_constraint(leg.skeleton, {60, 30}, false, false, false));
    EXPECT_LT(leg.bend(), 0.0f);  // the driver's bend, not the handle's direction 1
    Leg rest;
    rest.skeleton.add_joint("~ik 0");
    rest.handle->set_driver_id("~ik 0");
    driver = rest.skeleton.get_joint("~ik 0");
    driver->set_rotation(ActorIKChain::drive(0.0f, true));  // weight 0: the pose stays
    EXPECT_FALSE(rest.handle->solve_constraint(rest.skeleton, {60, 30}, false, false, false));
}

TEST(IKSolverBone, BoneLengthAndWeightRefuseBadValues) {
    Leg leg;
    EXPECT_FALSE(leg.handle->set_bone_length(-2.0f));
    EXPECT_FALSE(leg.handle->set_bone_length(NAN));
    EXPECT_FLOAT_EQ(leg.handle->get_bone_length(), 40.0f);
    EXPECT_TRUE(leg.handle->set_bone_length(-1.0f));
    EXPECT_FALSE(leg.handle->has_bone());
    EXPECT_FALSE(leg.handle->set_weight(1.5f));
    EXPECT_FALSE(leg.handle->set_weight(NAN));
    IKConstraintPositionFixed target({0, 0});
    EXPECT_FALSE(target.set_weight(-0.1f));
    EXPECT_FLOAT_EQ(target.get_weight(), 1.0f);
}

TEST(IKSolver, AClassicChainAtWeightHalfTurnsHalfWayFromThePose) {
    Arm full, half;
    ASSERT_TRUE(full.solve({30, -20}));
    ASSERT_TRUE(half.handle->solve_constraint(half.skeleton, {30, -20}, false, false, false, 0.5f));
    EXPECT_NEAR(half.shoulder->get_local_rotation(), 0.5f * normalise_angle(full.shoulder->get_local_rotation()), 1e-5f);
    EXPECT_NEAR(half.elbow->get_local_rotation(), 0.5f * normalise_angle(full.elbow->get_local_rotation()), 1e-5f);
}

// The controller and the rig together, from an actor file.
namespace {

const char* const kArmDocument = R"(<Actors>
  <ActorData id="arm">
    <Joint id="body"/>
    <Joint id="shoulder" parent="body"/>
    <Joint id="elbow" parent="shoulder" position="0, -30"/>
    <Joint id="hand" parent="elbow" position="0, -20"/>
    <Joint id="head" parent="body" position="0, -10"/>
  </ActorData>
  <ActorRigIK id="arm">
    <IKHandleRotation joint_id="head" bind_rotation="0.5"/>
    <IKHandlePosition effector_id="hand" type="chain" bind_position="20, 20"/>
  </ActorRigIK>
  <ActorRigIK id="broken">
    <IKHandleRotation joint_id="nothing"/>
    <IKHandlePosition effector_id="hand" type="chain"/>
  </ActorRigIK>
  <ActorData id="broken">
    <Joint id="shoulder"/>
    <Joint id="elbow" parent="shoulder" position="0, -30"/>
    <Joint id="hand" parent="elbow" position="0, -20"/>
  </ActorData>
</Actors>)";

struct ArmActor : ::testing::Test {
    void SetUp() override { ASSERT_TRUE(ActorDatabase::load_text(kArmDocument)); }
    void TearDown() override { ActorDatabase::unload(); }
};

}  // namespace

TEST_F(ArmActor, BindPoseSolvesRotationHandlesThenPositionHandles) {
    Actor actor("arm");
    ActorControllerIK ik;
    actor.set_controller(&ik);
    ASSERT_NE(ik.get_rig(), nullptr);
    ik.set_bind_pose();
    EXPECT_TRUE(ik.update(0.016f));
    const Skeleton& s = *actor.get_skeleton();
    EXPECT_EQ(s.get_joint("head")->get_local_rotation(), 0.5f);
    EXPECT_NEAR(s.get_joint("hand")->get_world_position().x, 20.0f, kTolerance);
    EXPECT_NEAR(s.get_joint("hand")->get_world_position().y, 20.0f, kTolerance);
    actor.set_controller(nullptr);
}

TEST_F(ArmActor, MissingRotationJointAbortsTheWholeSolve) {
    Actor actor("broken");
    ActorControllerIK ik;
    actor.set_controller(&ik);
    IKConstraintRotationFixed turn(1.0f);
    IKConstraintPositionFixed reach({10, 10});
    ik.set_rotation_constraint("nothing", &turn);
    ik.set_position_constraint("hand", &reach);
    EXPECT_FALSE(ik.update(0.016f));
    EXPECT_EQ(actor.get_skeleton()->get_joint("shoulder")->get_local_rotation(), 0.0f);
    ik.remove_rotation_constraint("nothing");
    EXPECT_TRUE(ik.update(0.016f));
    actor.set_controller(nullptr);
}

TEST_F(ArmActor, DisabledConstraintIsNotSolved) {
    Actor actor("arm");
    ActorControllerIK ik;
    actor.set_controller(&ik);
    IKConstraintPositionFixed reach({10, 10});
    reach.set_enabled(false);
    ik.set_position_constraint("hand", &reach);
    EXPECT_FALSE(ik.update(0.016f));
    actor.set_controller(nullptr);
}

TEST_F(ArmActor, ControllerOutlivingUnloadKeepsItsRig) {
    // Records are held by their users: the controller goes on solving with its rig.
    Actor actor("arm");
    ActorControllerIK ik;
    actor.set_controller(&ik);
    ik.set_bind_pose();
    const ActorRigIK* rig = ik.get_rig();
    ASSERT_NE(rig, nullptr);
    ActorDatabase::unload();
    EXPECT_EQ(ActorDatabase::find_ik_rig("arm"), nullptr);
    EXPECT_EQ(ik.get_rig(), rig);
    ik.update(0.016f);
    actor.set_controller(nullptr);
}

TEST_F(ArmActor, ControllerOutlivingItsActorForgetsIt) {
    ActorControllerIK ik;
    {
        Actor actor("arm");
        actor.set_controller(&ik);
        EXPECT_EQ(ik.get_actor(), &actor);
        actor.set_controller(nullptr);  // natively the creator owns the controller
        actor.set_controller(&ik);
    }
    EXPECT_EQ(ik.get_actor(), nullptr);
    EXPECT_FALSE(ik.update(0.016f));
}

TEST_F(ArmActor, NoControllerNeverSkinsAndSharedSkeletonFollowsItsSource) {
    Actor source("arm"), copy("arm"), idle("arm");
    ActorControllerIK ik;
    source.set_controller(&ik);
    ActorControllerSharedSkeleton shared(&source);
    copy.set_skeleton(source.get_skeleton());
    copy.set_controller(&shared);
    idle.update(0.016f);
    EXPECT_FALSE(idle.vertices_transformed());
    EXPECT_FALSE(idle.transformed_vertices_this_frame());
    source.update(0.016f);
    EXPECT_TRUE(source.transformed_vertices_this_frame());  // the first update always skins
    copy.update(0.016f);
    EXPECT_TRUE(copy.transformed_vertices_this_frame());  // its own first update
    source.update(0.016f);
    copy.update(0.016f);
    EXPECT_FALSE(source.transformed_vertices_this_frame());  // no target: no change
    EXPECT_FALSE(copy.transformed_vertices_this_frame());
    IKConstraintPositionFixed reach({10, 10});
    ik.set_position_constraint("hand", &reach);
    source.update(0.016f);
    copy.update(0.016f);
    EXPECT_TRUE(copy.transformed_vertices_this_frame());
    source.set_controller(nullptr);
    copy.set_controller(nullptr);
}
