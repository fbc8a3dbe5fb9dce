#include "engine/graphics/ActorControllerDynamics.h"

#include "core/TestSupport.h"
#include "engine/graphics/Actor.h"
#include "engine/graphics/ActorDatabase.h"
#include "engine/graphics/Skeleton.h"
#include "engine/graphics/Transform.h"

#include <box2d/box2d.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <cmath>
#include <string>
#include <vector>

using engine::core::Vector;
using engine::core::test::LogCapture;
using namespace engine::graphics;

namespace {

constexpr float kTolerance = 1e-3f;

// A pendulum: "a" pinned to the root joint, "b" hinged to it 20 to the right; the arm
// joint turns towards "b" and carries the tip 20 along its bone.
const char* kDocument = R"(<Actors>
  <ActorData id="pendulum">
    <Joint id="root" position="0, 0"/>
    <Joint id="arm" parent="root" position="0, 0"/>
    <Joint id="tip" parent="arm" position="0, -20"/>
  </ActorData>
  <ActorRigDynamics id="pendulum">
    <RigidBody id="b" position="20, 0" mass="1" damping="3"/>
    <RigidBody id="a" position="0, 0" mass="1"/>
    <ConstraintHinge body_0_id="a" body_1_id="b"/>
    <ConstraintJoint body_id="a" joint_id="root"/>
    <ConstraintParent body_id="b" joint_id="arm"/>
  </ActorRigDynamics>
  <ActorData id="limited"><Joint id="root" position="0, 0"/></ActorData>
  <ActorRigDynamics id="limited">
    <RigidBody id="a" position="0, 0" mass="1"/>
    <RigidBody id="b" position="20, 0" mass="1"/>
    <ConstraintHinge body_0_id="a" body_1_id="b" rotation_constraint="-0.3, 0.5"/>
    <ConstraintJoint body_id="a" joint_id="root"/>
  </ActorRigDynamics>
  <ActorData id="broken"><Joint id="root" position="0, 0"/><Joint id="arm" parent="root" position="0, 0"/></ActorData>
  <ActorRigDynamics id="broken">
    <RigidBody id="a" position="0, 0" mass="1"/>
    <RigidBody id="b" position="0, 20" mass="1"/>
    <ConstraintHinge body_0_id="a" body_1_id="missing"/>
    <ConstraintHinge body_0_id="a" body_1_id="b"/>
    <ConstraintJoint body_id="a" joint_id="root"/>
  </ActorRigDynamics>
  <ActorData id="plain"><Joint id="root" position="0, 0"/></ActorData>
  <ActorData id="loose"><Joint id="root" position="0, 0"/></ActorData>
  <ActorRigDynamics id="loose"><RigidBody id="stone" position="90, 0" mass="2"/></ActorRigDynamics>
  <ActorData id="spine">
    <Joint id="lumbar" position="0, 0"/>
    <Joint id="thoracic" parent="lumbar" position="0, -30"/>
    <Joint id="collar" parent="thoracic" position="0, -30"/>
    <Joint id="head" parent="collar" position="0, -16"/>
  </ActorData>
</Actors>)";

struct Dynamics : ::testing::Test {
    void SetUp() override { ASSERT_TRUE(ActorDatabase::load_text(kDocument)); }
    void TearDown() override { ActorDatabase::unload(); }

    static void run(ActorControllerDynamics& c, int frames, float dt = 0.02f) {
        for (int i = 0; i < frames; ++i) c.update(dt);
    }
    static Vector<float> position(const b2Body* body) { return {body->GetPosition().x, body->GetPosition().y}; }

    // The corners of every polygon of the collision body, in the controlled actor's space.
    static std::vector<Vector<float>> collision_corners(const ActorControllerDynamics& c) {
        std::vector<Vector<float>> corners;
        for (const b2Fixture* f = c.get_collision_body()->GetFixtureList(); f; f = f->GetNext()) {
            const auto* shape = static_cast<const b2PolygonShape*>(f->GetShape());
            for (int i = 0; i < shape->m_count; ++i) corners.push_back({shape->m_vertices[i].x, shape->m_vertices[i].y});
        }
        return corners;
    }
    // Whether `p` is within kTolerance of the segment from `a` to `b`, `half` to its side.
    static bool beside(const Vector<float>& p, const Vector<float>& a, const Vector<float>& b, float half) {
        const Vector<float> d = b - a;
        const float length = std::sqrt(d.x * d.x + d.y * d.y);
        const float along = ((p.x - a.x) * d.x + (p.y - a.y) * d.y) / length;
        const float across = std::fabs((p.x - a.x) * d.y - (p.y - a.y) * d.x) / length;
        return along > -kTolerance && along < length + kTolerance && std::fabs(across - half) < kTolerance;
    }
};

}  // namespace

TEST_F(Dynamics, ActorWithoutRigGetsNoWorldAndKeepsItsPose) {
    LogCapture log;
    Actor actor("plain");
    ActorControllerDynamics c;
    actor.set_controller(&c);
    EXPECT_EQ(c.get_system(), nullptr);
    EXPECT_FALSE(c.update(0.1f));
    EXPECT_EQ(actor.get_skeleton()->get_joint("root")->get_local_rotation(), 0.0f);
    ASSERT_FALSE(log.entries().empty());
    EXPECT_NE(log.entries().back().message.find("no dynamics rig 'plain'"), std::string::npos);
    actor.set_controller(nullptr);
}

TEST_F(Dynamics, WorldIsBuiltInBodyNameOrderWithGravityDownAndNoSleeping) {
    Actor actor("pendulum");
    ActorControllerDynamics c;
    actor.set_controller(&c);
    ASSERT_NE(c.get_system(), nullptr);
    EXPECT_EQ(c.get_system()->GetGravity().y, 98.0f);
    EXPECT_FALSE(c.get_system()->GetAllowSleeping());
    std::vector<std::string> names;
    for (const auto& [name, body] : c.get_bodies()) names.push_back(name);
    EXPECT_EQ(names, (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(*ActorControllerDynamics::get_body_name(c.get_body("b")), "b");
    EXPECT_EQ(c.get_body("b")->GetMass(), 1.0f);
    EXPECT_EQ(c.get_body("a")->GetType(), b2_kinematicBody);  // pinned to its joint
    actor.set_controller(nullptr);
}

TEST_F(Dynamics, AFrameOfTwentyMillisecondsRunsOneStepAndKeepsTheRest) {
    Actor actor("pendulum");
    ActorControllerDynamics c;
    actor.set_controller(&c);
    c.update(0.02f);
    EXPECT_EQ(c.get_step_count(), 1u);
    EXPECT_EQ(c.get_accumulator(), 0.02f - ActorControllerDynamics::kTimeStep);
    EXPECT_NEAR(c.get_accumulator(), 0.0033333f, 1e-6f);
    actor.set_controller(nullptr);
}

// A frame of exactly one step leaves it owed: the step waits for strictly more time.
TEST_F(Dynamics, AFrameOfExactlyOneStepRunsNoStep) {
    Actor actor("pendulum");
    ActorControllerDynamics c;
    actor.set_controller(&c);
    c.update(ActorControllerDynamics::kTimeStep);
    EXPECT_EQ(c.get_step_count(), 0u);
    c.update(ActorControllerDynamics::kTimeStep);
    EXPECT_EQ(c.get_step_count(), 1u);
    actor.set_controller(nullptr);
}

TEST_F(Dynamics, AHugeFrameIsCappedAndANonFiniteOneIgnored) {
    LogCapture log;
    Actor actor("pendulum");
    ActorControllerDynamics c;
    c.set_time_budget(INFINITY);  // the step cap alone, however slow the build
    actor.set_controller(&c);
    c.update(1e9f);
    EXPECT_EQ(c.get_step_count(), unsigned(ActorControllerDynamics::kMaxStepsPerUpdate));
    EXPECT_LE(c.get_accumulator(), ActorControllerDynamics::kTimeStep);
    c.update(std::nanf(""));
    EXPECT_EQ(c.get_step_count(), unsigned(ActorControllerDynamics::kMaxStepsPerUpdate));
    EXPECT_TRUE(std::isfinite(c.get_accumulator()));
    EXPECT_NE(log.entries().back().message.find("finite"), std::string::npos);
    actor.set_controller(nullptr);
}

namespace {

// A clock that moves on by kTick each time it is read: every step looks slow.
double fake_now = 0.0;
constexpr double kTick = 0.25;  // exact in binary, like every sum of them
double ticking_clock() { return fake_now += kTick; }

std::size_t warnings_containing(const LogCapture& log, const char* text) {
    std::size_t n = 0;
    for (const auto& entry : log.entries()) n += entry.message.find(text) != std::string::npos;
    return n;
}

}  // namespace

TEST_F(Dynamics, CatchingUpStopsAtTheTimeBudgetAndDropsTheRest) {
    LogCapture log;
    Actor actor("pendulum");
    ActorControllerDynamics c;
    c.set_clock(&ticking_clock);
    ASSERT_TRUE(c.set_time_budget(0.5f));
    actor.set_controller(&c);
    c.update(20.0f);  // 0.25 s after the first step, 0.5 after the second: the budget is used
    EXPECT_EQ(c.get_step_count(), 2u);
    EXPECT_EQ(c.get_accumulator(), 0.0f);
    EXPECT_EQ(warnings_containing(log, "dropped"), 1u);
    actor.set_controller(nullptr);
}

TEST_F(Dynamics, OneWarningForEachRunOfUpdatesThatDropTime) {
    LogCapture log;
    Actor actor("pendulum");
    ActorControllerDynamics c;
    c.set_clock(&ticking_clock);
    ASSERT_TRUE(c.set_time_budget(0.0f));
    actor.set_controller(&c);
    for (int i = 0; i < 5; ++i) c.update(1.0f);
    EXPECT_EQ(c.get_step_count(), 5u);  // the first step of each update always runs
    EXPECT_EQ(warnings_containing(log, "dropped"), 1u);
    c.update(0.02f);  // one step owed, one taken: caught up
    c.update(1.0f);
    EXPECT_EQ(warnings_containing(log, "dropped"), 2u);
    actor.set_controller(nullptr);
}

TEST_F(Dynamics, AnInfiniteBudgetLeavesOnlyTheStepCap) {
    LogCapture log;
    Actor actor("pendulum");
    ActorControllerDynamics c;
    c.set_clock(&ticking_clock);
    ASSERT_TRUE(c.set_time_budget(INFINITY));
    actor.set_controller(&c);
    c.update(1.0f);
    EXPECT_EQ(c.get_step_count(), 60u);
    EXPECT_EQ(warnings_containing(log, "dropped"), 0u);
    c.update(1e9f);
    EXPECT_EQ(c.get_step_count(), 60u + ActorControllerDynamics::kMaxStepsPerUpdate);
    EXPECT_EQ(warnings_containing(log, "dropped"), 1u);
    actor.set_controller(nullptr);
}

TEST_F(Dynamics, ATimeBudgetIsSecondsOfZeroOrMore) {
    ActorControllerDynamics c;
    EXPECT_EQ(c.get_time_budget(), ActorControllerDynamics::kDefaultTimeBudget);
    EXPECT_FALSE(c.set_time_budget(-1.0f));
    EXPECT_FALSE(c.set_time_budget(std::nanf("")));
    EXPECT_EQ(c.get_time_budget(), ActorControllerDynamics::kDefaultTimeBudget);
    EXPECT_TRUE(c.set_time_budget(0.0f));
    EXPECT_EQ(c.get_time_budget(), 0.0f);
}

TEST_F(Dynamics, ANegativeFrameIsIgnoredWithAWarningAndTheWorldStepsOn) {
    for (float dt : {-1e30f, -60.0f, -INFINITY}) {
        LogCapture log;
        Actor actor("pendulum");
        ActorControllerDynamics c;
        actor.set_controller(&c);
        c.update(0.02f);
        c.update(dt);
        EXPECT_EQ(c.get_step_count(), 1u) << dt;
        EXPECT_GE(c.get_accumulator(), 0.0f) << dt;
        EXPECT_EQ(warnings_containing(log, "finite time of 0 or more"), 1u) << dt;
        c.update(0.02f);
        EXPECT_EQ(c.get_step_count(), 2u) << dt;
        actor.set_controller(nullptr);
    }
}

TEST_F(Dynamics, PendulumJointFollowsItsBodyAndSettlesDownward) {
    Actor actor("pendulum");
    ActorControllerDynamics c;
    actor.set_controller(&c);
    const Skeleton& s = *actor.get_skeleton();
    for (int i = 0; i < 300; ++i) {
        c.update(0.02f);
        const Vector<float> b = position(c.get_body("b"));
        const Vector<float> a = position(c.get_body("a"));
        const float turn = s.get_joint("arm")->get_local_rotation() - std::atan2(a.x - b.x, a.y - b.y);
        EXPECT_NEAR(std::remainder(turn, 2.0f * b2_pi), 0.0f, 1e-5f) << "frame " << i;
        EXPECT_NEAR(s.get_joint("tip")->get_world_position().x, b.x, kTolerance);
        EXPECT_NEAR(s.get_joint("tip")->get_world_position().y, b.y, kTolerance);
    }
    const Vector<float> b = position(c.get_body("b"));
    EXPECT_NEAR(b.x, 0.0f, 0.5f);
    EXPECT_NEAR(b.y, 20.0f, 0.5f);
    EXPECT_NEAR(std::fabs(s.get_joint("arm")->get_local_rotation()), b2_pi, 0.05f);
    actor.set_controller(nullptr);
}

TEST_F(Dynamics, UpdateReportsWhetherAJointTurned) {
    Actor actor("pendulum");
    ActorControllerDynamics c;
    actor.set_controller(&c);
    EXPECT_TRUE(c.update(0.02f));
    actor.set_controller(nullptr);
    Actor still("limited");  // no parent constraint: nothing ever turns
    still.set_controller(&c);
    EXPECT_FALSE(c.update(0.02f));
    still.set_controller(nullptr);
}

TEST_F(Dynamics, HingeLimitsHoldOverManySteps) {
    Actor actor("limited");
    ActorControllerDynamics c;
    actor.set_controller(&c);
    auto* hinge = static_cast<b2RevoluteJoint*>(c.get_joint(e_revoluteJoint, "b"));
    ASSERT_NE(hinge, nullptr);
    EXPECT_TRUE(hinge->IsLimitEnabled());
    EXPECT_EQ(hinge->GetLowerLimit(), -0.3f);
    EXPECT_EQ(hinge->GetUpperLimit(), 0.5f);
    float lowest = 0.0f, highest = 0.0f;
    for (int i = 0; i < 600; ++i) {
        c.update(0.02f);
        lowest = std::min(lowest, hinge->GetJointAngle());
        highest = std::max(highest, hinge->GetJointAngle());
    }
    // Falling from level, it strikes the limit and rebounds off it within a few degrees.
    EXPECT_GE(lowest, -0.3f - 0.1f);
    EXPECT_LE(highest, 0.5f + 0.1f);
    EXPECT_NEAR(hinge->GetJointAngle(), 0.5f, 0.04f);  // resting on the upper limit
    actor.set_controller(nullptr);
}

TEST_F(Dynamics, HingeNamingAMissingBodyMakesNoJointAndTheRestStillWorks) {
    LogCapture log;
    Actor actor("broken");
    ActorControllerDynamics c;
    actor.set_controller(&c);
    int hinges = 0;
    for (b2Joint* j = c.get_system()->GetJointList(); j; j = j->GetNext()) ++hinges;
    EXPECT_EQ(hinges, 1);
    EXPECT_NE(c.get_joint(e_revoluteJoint, "b"), nullptr);
    EXPECT_EQ(c.get_joint(e_revoluteJoint, "missing"), nullptr);
    EXPECT_EQ(c.get_body("a")->GetType(), b2_kinematicBody);
    bool warned = false;
    for (const auto& e : log.entries()) warned |= e.message.find("'missing'") != std::string::npos;
    EXPECT_TRUE(warned);
    actor.set_controller(nullptr);
}

TEST_F(Dynamics, GetJointMatchesEitherBodyOfTheJoint) {
    Actor actor("pendulum");
    ActorControllerDynamics c;
    actor.set_controller(&c);
    EXPECT_EQ(c.get_joint(e_revoluteJoint, "a"), c.get_joint(e_revoluteJoint, "b"));
    EXPECT_EQ(c.get_joint(e_weldJoint, "a"), nullptr);
    actor.set_controller(nullptr);
}

TEST_F(Dynamics, PinnedBodyFollowsItsJoint) {
    Actor actor("pendulum");
    ActorControllerDynamics c;
    actor.set_controller(&c);
    Transform* root = actor.get_skeleton()->get_joint("root");
    root->set_position(Vector<float>(5.0f, -7.0f));
    c.update(0.02f);
    EXPECT_EQ(position(c.get_body("a")).x, 5.0f);
    EXPECT_EQ(position(c.get_body("a")).y, -7.0f);
    EXPECT_EQ(c.get_body("a")->GetAngle(), 0.0f);
    actor.set_controller(nullptr);
}

TEST_F(Dynamics, BodyLeavingTheWorldBoxFreezesWhereItLeft) {
    Actor actor("loose");
    ActorControllerDynamics c;
    actor.set_controller(&c);
    b2Body* b = c.get_body("stone");
    EXPECT_EQ(b->GetMass(), 2.0f);
    b->SetLinearVelocity(b2Vec2(100.0f, 0.0f));
    run(c, 10);
    EXPECT_FALSE(b->IsEnabled());
    const Vector<float> frozen = position(b);
    EXPECT_GT(frozen.x, 100.0f);
    run(c, 10);
    EXPECT_EQ(position(b).x, frozen.x);
    EXPECT_EQ(position(b).y, frozen.y);
    actor.set_controller(nullptr);
}

TEST_F(Dynamics, CollisionBodyLiesAlongTheExtendedSpine) {
    Actor actor("pendulum"), spine("spine");
    ActorControllerDynamics c;
    actor.set_controller(&c);
    c.set_collision_actor(&spine);
    EXPECT_EQ(c.get_collision_body(), nullptr);  // built on the next update
    c.update(0.0f);
    const b2Body* body = c.get_collision_body();
    ASSERT_NE(body, nullptr);
    EXPECT_EQ(body->GetType(), b2_staticBody);
    // head (0, -76) reaches to -76 - 2 * 16 = -108; lumbar (0, 0) to 0 + 2 * 30 = 60.
    float top = 0.0f, bottom = 0.0f, left = 0.0f, right = 0.0f;
    int polygons = 0;
    for (const b2Fixture* f = body->GetFixtureList(); f; f = f->GetNext()) {
        ASSERT_EQ(f->GetType(), b2Shape::e_polygon);
        const auto* shape = static_cast<const b2PolygonShape*>(f->GetShape());
        EXPECT_EQ(shape->m_count, 4);
        for (int i = 0; i < shape->m_count; ++i) {
            top = std::min(top, shape->m_vertices[i].y);
            bottom = std::max(bottom, shape->m_vertices[i].y);
            left = std::min(left, shape->m_vertices[i].x);
            right = std::max(right, shape->m_vertices[i].x);
        }
        ++polygons;
    }
    EXPECT_EQ(polygons, 3);
    EXPECT_NEAR(top, -108.0f, kTolerance);
    EXPECT_NEAR(bottom, 60.0f, kTolerance);
    EXPECT_NEAR(left, -12.0f, kTolerance);
    EXPECT_NEAR(right, 12.0f, kTolerance);
    actor.set_controller(nullptr);
}

TEST_F(Dynamics, CollisionBodyWidthFollowsTheCollisionActorsScale) {
    Actor actor("pendulum"), spine("spine");
    spine.set_scale(Vector<float>(2.0f, 2.0f));
    ActorControllerDynamics c;
    actor.set_controller(&c);
    c.set_collision_actor(&spine);
    c.update(0.0f);
    float right = 0.0f;
    for (const b2Fixture* f = c.get_collision_body()->GetFixtureList(); f; f = f->GetNext()) {
        const auto* shape = static_cast<const b2PolygonShape*>(f->GetShape());
        for (int i = 0; i < shape->m_count; ++i) right = std::max(right, shape->m_vertices[i].x);
    }
    EXPECT_NEAR(right, 24.0f, kTolerance);
    actor.set_controller(nullptr);
}

TEST_F(Dynamics, CollisionSpineIsTakenFromTheSkeletonAsItStandsByDefault) {
    Actor actor("pendulum"), spine("spine");
    // Where either actor stands, and the controlled actor's scale, change nothing.
    actor.set_position(Vector<float>(300.0f, 200.0f));
    actor.set_rotation(0.3f);
    actor.set_scale(Vector<float>(2.0f, 2.0f));
    spine.set_position(Vector<float>(-50.0f, 80.0f));
    spine.set_rotation(1.5f);
    spine.get_skeleton()->get_joint("lumbar")->set_position(Vector<float>(10.0f, 5.0f));
    ActorControllerDynamics c;
    EXPECT_EQ(c.get_collision_space(), ActorControllerDynamics::CollisionSpace::Skeleton);
    actor.set_controller(&c);
    c.set_collision_actor(&spine);
    c.update(0.0f);
    // The spine runs from head' (10, -103) to lumbar' (10, 65), 24 wide.
    const std::vector<Vector<float>> corners = collision_corners(c);
    ASSERT_EQ(corners.size(), 12u);
    for (const Vector<float>& p : corners)
        EXPECT_TRUE(beside(p, {10.0f, -103.0f}, {10.0f, 65.0f}, 12.0f)) << p.x << ", " << p.y;
    actor.set_controller(nullptr);
}

TEST_F(Dynamics, CollisionSpineInWorldSpaceGoesThroughBothWorldTransforms) {
    Actor actor("pendulum"), spine("spine");
    actor.set_position(Vector<float>(100.0f, 50.0f));
    actor.set_scale(Vector<float>(2.0f, 2.0f));
    spine.set_position(Vector<float>(140.0f, 50.0f));
    spine.set_rotation(float(M_PI / 2));  // lying down, its head at +x (angles turn y towards x)
    ActorControllerDynamics c;
    actor.set_controller(&c);
    c.set_collision_space(ActorControllerDynamics::CollisionSpace::World);
    c.set_collision_actor(&spine);
    c.update(0.0f);
    // In the world the joints lie along y = 50: lumbar at x = 140, thoracic 110, collar
    // 80, head 64; extended from head' (32, 50) to lumbar' (200, 50). In the controlled
    // actor's space (halved about (100, 50)) that is (-34, 0) to (50, 0), 24 / 2 wide.
    const std::vector<Vector<float>> corners = collision_corners(c);
    ASSERT_EQ(corners.size(), 12u);
    for (const Vector<float>& p : corners)
        EXPECT_TRUE(beside(p, {-34.0f, 0.0f}, {50.0f, 0.0f}, 6.0f)) << p.x << ", " << p.y;
    actor.set_controller(nullptr);
}

TEST_F(Dynamics, SettingTheCollisionSpaceRebuildsTheBody) {
    Actor actor("pendulum"), spine("spine");
    spine.set_position(Vector<float>(30.0f, 0.0f));
    ActorControllerDynamics c;
    actor.set_controller(&c);
    c.set_collision_actor(&spine);
    c.update(0.0f);
    float left = 1e9f;
    for (const Vector<float>& p : collision_corners(c)) left = std::min(left, p.x);
    EXPECT_NEAR(left, -12.0f, kTolerance);
    c.set_collision_space(ActorControllerDynamics::CollisionSpace::World);
    EXPECT_EQ(c.get_collision_space(), ActorControllerDynamics::CollisionSpace::World);
    c.update(0.0f);
    left = 1e9f;
    for (const Vector<float>& p : collision_corners(c)) left = std::min(left, p.x);
    EXPECT_NEAR(left, 18.0f, kTolerance);  // 30 to the right of this actor
    actor.set_controller(nullptr);
}

TEST_F(Dynamics, CollisionSpineScaledBeyondUseWarnsAndHasNoShape) {
    for (const float scale : {0.0f, NAN, 1e6f}) {
        LogCapture log;
        Actor actor("pendulum"), spine("spine");
        spine.set_scale(Vector<float>(scale, scale));
        ActorControllerDynamics c;
        actor.set_controller(&c);
        c.set_collision_actor(&spine);
        c.update(0.0f);
        EXPECT_EQ(c.get_collision_body()->GetFixtureList(), nullptr) << scale;
        ASSERT_EQ(log.entries().size(), 1u) << scale;
        EXPECT_NE(log.entries()[0].message.find("collision actor 'spine' is scaled to a spine"), std::string::npos);
        actor.set_controller(nullptr);
    }
}

TEST_F(Dynamics, CollisionActorThatDiesIsForgottenAndItsShapesGo) {
    Actor actor("pendulum");
    ActorControllerDynamics c;
    actor.set_controller(&c);
    {
        Actor spine("spine");
        c.set_collision_actor(&spine);
        c.update(0.0f);
        EXPECT_NE(c.get_collision_body()->GetFixtureList(), nullptr);
    }
    EXPECT_EQ(c.get_collision_actor(), nullptr);
    c.update(0.0f);
    EXPECT_EQ(c.get_collision_body()->GetFixtureList(), nullptr);
    actor.set_controller(nullptr);
}

TEST_F(Dynamics, SimulationIsDeterministic) {
    Actor first("pendulum"), second("pendulum");
    ActorControllerDynamics c1, c2;
    first.set_controller(&c1);
    second.set_controller(&c2);
    const float dts[] = {0.02f, 0.013f, 0.05f, 0.0166f, 0.031f};
    for (int i = 0; i < 200; ++i) {
        c1.update(dts[i % 5]);
        c2.update(dts[i % 5]);
    }
    EXPECT_EQ(position(c1.get_body("b")).x, position(c2.get_body("b")).x);
    EXPECT_EQ(position(c1.get_body("b")).y, position(c2.get_body("b")).y);
    EXPECT_EQ(first.get_skeleton()->get_joint("arm")->get_local_rotation(),
              second.get_skeleton()->get_joint("arm")->get_local_rotation());
    first.set_controller(nullptr);
    second.set_controller(nullptr);
}

TEST_F(Dynamics, NewActorDiscardsTheOldWorld) {
    Actor first("pendulum"), second("limited");
    ActorControllerDynamics c;
    first.set_controller(&c);
    run(c, 5);
    c.set_actor(&second);
    EXPECT_EQ(c.get_step_count(), 0u);
    EXPECT_EQ(c.get_accumulator(), 0.0f);
    EXPECT_EQ(position(c.get_body("b")).x, 20.0f);
    first.set_controller(nullptr);
}

TEST_F(Dynamics, UnloadLeavesALiveControllerItsRigAndWorld) {
    // Records are held by their users: the database forgets the rig's name, and the
    // controller goes on simulating with the rig it holds.
    Actor actor("pendulum");
    ActorControllerDynamics c;
    actor.set_controller(&c);
    ActorDatabase::unload();
    EXPECT_NE(c.get_system(), nullptr);
    EXPECT_NE(c.get_body("a"), nullptr);
    c.update(0.02f);
    EXPECT_GT(c.get_step_count(), 0u);
    actor.set_controller(nullptr);
}

TEST_F(Dynamics, WorldsMadeAndDroppedAThousandTimesLeaveNoMemoryBehind) {
    Actor actor("pendulum");
    ActorControllerDynamics c;
    const auto cycle = [&] {
        c.set_actor(&actor);
        c.update(0.02f);
        c.set_actor(nullptr);
    };
    for (int i = 0; i < 50; ++i) cycle();  // warmed up
    const std::size_t before = mallinfo2().uordblks;
    for (int i = 0; i < 1000; ++i) cycle();
    const std::size_t after = mallinfo2().uordblks;
    EXPECT_LT(after, before + 64 * 1024);
    EXPECT_EQ(c.get_system(), nullptr);
}

// Box2D checks its inputs with assertions that end the process: whatever a file says,
// the world only ever sees finite values within its reach.
TEST_F(Dynamics, AbsurdRigValuesAreLeftOutOrTamedWithWarnings) {
    LogCapture log;
    ASSERT_TRUE(ActorDatabase::load_text(R"(<r>
      <ActorData id="absurd"><Joint id="root" position="0, 0"/></ActorData>
      <ActorRigDynamics id="absurd">
        <RigidBody id="nan" position="nan, 0"/>
        <RigidBody id="far" position="1e30, 0"/>
        <RigidBody id="heavy" position="0, 0" mass="1e30" damping="-5"/>
        <RigidBody id="light" position="10, 0" mass="-3" damping="inf"/>
        <RigidBody id="ok" position="0, 10" mass="1"/>
        <ConstraintHinge body_0_id="heavy" body_1_id="heavy"/>
        <ConstraintHinge body_0_id="heavy" body_1_id="ok" rotation_constraint="nan, 1"/>
        <ConstraintHinge body_0_id="nan" body_1_id="ok" rotation_constraint="1, -1"/>
        <ConstraintJoint body_id="ok" joint_id="nowhere"/>
        <ConstraintParent body_id="ok" joint_id="nowhere"/>
      </ActorRigDynamics></r>)"));
    Actor actor("absurd"), spine("spine");
    spine.set_scale(Vector<float>(0.0f, 0.0f));  // a spine of no width
    actor.set_scale(Vector<float>(0.0f, 0.0f));
    ActorControllerDynamics c;
    actor.set_controller(&c);
    c.set_collision_actor(&spine);
    for (int i = 0; i < 120; ++i) c.update(0.02f);
    EXPECT_EQ(c.get_body("nan"), nullptr);
    EXPECT_EQ(c.get_body("far"), nullptr);
    EXPECT_EQ(c.get_body("light"), nullptr);
    EXPECT_EQ(c.get_body("heavy")->GetMass(), ActorControllerDynamics::kMaxMass);
    EXPECT_EQ(c.get_body("heavy")->GetLinearDamping(), 0.0f);
    EXPECT_EQ(c.get_collision_body()->GetFixtureList(), nullptr);
    int hinges = 0;
    for (b2Joint* j = c.get_system()->GetJointList(); j; j = j->GetNext()) ++hinges;
    EXPECT_EQ(hinges, 1);  // heavy-ok, without limits
    EXPECT_FALSE(static_cast<b2RevoluteJoint*>(c.get_joint(e_revoluteJoint, "ok"))->IsLimitEnabled());
    EXPECT_TRUE(std::isfinite(c.get_body("ok")->GetPosition().y));
    EXPECT_GE(log.entries().size(), 7u);
    actor.set_controller(nullptr);
}

TEST_F(Dynamics, PinnedJointMovedBeyondTheWorldLeavesItsBodyWhereItWas) {
    Actor actor("pendulum");
    ActorControllerDynamics c;
    actor.set_controller(&c);
    actor.get_skeleton()->get_joint("root")->set_position(Vector<float>(1e30f, 0.0f));
    c.update(0.02f);
    EXPECT_EQ(position(c.get_body("a")).x, 0.0f);
    actor.set_controller(nullptr);
}
