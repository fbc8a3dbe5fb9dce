#include "engine/graphics/ActorControllerDynamics.h"

#include "engine/core/Log.h"
#include "engine/core/Maths.h"
#include "engine/graphics/Actor.h"
#include "engine/graphics/ActorData.h"
#include "engine/graphics/ActorDatabase.h"
#include "engine/graphics/ActorRigDynamics.h"
#include "engine/graphics/Skeleton.h"
#include "engine/graphics/Transform.h"

#include "engine/window/OpenGL.h"

#include <GL/gl.h>
#include <box2d/box2d.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <vector>

namespace engine::graphics {

using core::Vector;

namespace {

// Rig bodies never collide with each other (hinged bodies overlap at their joints);
// they do collide with the collision body, which is in no group.
constexpr int16 kRigGroup = -1;

// The spine joints of a collision actor, head to pelvis.
constexpr const char* kSpineJoints[] = {"head", "collar", "thoracic", "lumbar"};

bool outside_world(const b2Vec2& p) {
    const float e = ActorControllerDynamics::kWorldExtent;
    return p.x < -e || p.x > e || p.y < -e || p.y > e;
}

double steady_seconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

float mean_scale(const Vector<float>& scale) { return 0.5f * (std::fabs(scale.x) + std::fabs(scale.y)); }

}  // namespace

ActorControllerDynamics::ActorControllerDynamics() = default;

ActorControllerDynamics::~ActorControllerDynamics() { destroy_system(); }

void ActorControllerDynamics::destroy_system() {
    bodies_.clear();
    collision_body_ = nullptr;
    world_.reset();
    rig_ = nullptr;
    accumulator_ = 0.0f;
    step_count_ = 0;
}

void ActorControllerDynamics::on_actor(Actor* actor) {
    destroy_system();
    if (!actor) return;
    rig_ = ActorDatabase::find_dynamics_rig(actor->get_data_id());
    const core::Ref<const ActorRigDynamics> rig = rig_;  // held: the system's making may run script code
    // The actor keeps its pose without a rig; say why once, here.
    if (!rig_) {
        core::Log::warning("graphics", "ActorControllerDynamics: no dynamics rig '%s' is loaded; the actor is not posed.",
                           actor->get_data_id().c_str());
        return;
    }
    world_ = std::make_unique<b2World>(b2Vec2(0.0f, 98.0f));
    world_->SetAllowSleeping(false);
    rig->create_system(*this);
    if (start_pose_ == StartPose::Actor) start_from_pose();
    // The old collision body went with the old world.
    if (collision_actor_) collision_dirty_ = true;
}

namespace {

// A body of the world as the rig made it, and where the actor's pose puts it.
struct PosedBody {
    b2Body* body;
    b2Vec2 rest;   // where the rig made it (angle 0)
    b2Vec2 posed;  // moved with its nearest joint
    float turn;    // how far that joint's frame turned
};

b2Vec2 to_b2(const Vector<float>& v) { return b2Vec2(v.x, v.y); }

// The angle taking direction `from` to `to`, as Box2D measures body angles.
float turn_between(const b2Vec2& from, const b2Vec2& to) { return std::atan2(b2Cross(from, to), b2Dot(from, to)); }

}  // namespace

void ActorControllerDynamics::start_from_pose() {
    // The rig's bodies lie around the actor's setup pose. An actor in another pose (a
    // clip's, a script's, a ragdoll's before) is met where it stands: each body moves
    // rigidly with the joint nearest to it in the setup pose, and turns as the bone
    // from its hinge partner turned. The hinges were made at rest, so their limits stay
    // the rig's, and the first frame shows the pose the actor had.
    const Actor* actor = get_actor();
    const Skeleton* skeleton = actor->get_skeleton();
    const ActorData* data = ActorDatabase::find_actor_data(actor->get_data_id());
    const Skeleton* setup = data ? data->get_skeleton() : nullptr;
    const unsigned count = skeleton ? skeleton->get_num_joints() : 0;
    if (!setup || count == 0 || setup->get_num_joints() != count) return;
    std::vector<PosedBody> posed;
    posed.reserve(bodies_.size());
    bool moved = false;
    for (const auto& [name, body] : bodies_) {
        const b2Vec2 rest = body->GetPosition();
        const Transform* nearest = nullptr;
        const Transform* now = nullptr;
        float best = INFINITY;
        for (unsigned j = 0; j < count; ++j) {
            const Transform* joint = setup->get_joint(j);
            if (!joint || !skeleton->get_joint(j)) continue;
            const Vector<float> d = joint->get_world_position() - Vector<float>(rest.x, rest.y);
            const float distance = d.x * d.x + d.y * d.y;
            if (distance < best) {
                best = distance;
                nearest = joint;
                now = skeleton->get_joint(j);
            }
        }
        PosedBody entry{body, rest, rest, 0.0f};
        if (nearest && now->get_world_transform() != nearest->get_world_transform()) {
            const core::Matrix frame = now->get_world_transform() * nearest->get_world_transform().inverse();
            entry.posed = to_b2(Vector<float>(rest.x, rest.y) * frame);
            entry.turn = std::atan2(frame[1], frame[0]);  // where the body's x axis went
            moved = true;
        }
        posed.push_back(entry);
    }
    if (!moved) return;
    for (PosedBody& entry : posed) {
        // A body hanging from a hinge turns as the bone from its partner turned.
        for (const b2JointEdge* edge = entry.body->GetJointList(); edge; edge = edge->next) {
            b2Joint* joint = edge->joint;
            if (joint->GetType() != e_revoluteJoint || joint->GetBodyB() != entry.body) continue;
            const auto partner = std::find_if(posed.begin(), posed.end(),
                                              [&](const PosedBody& p) { return p.body == joint->GetBodyA(); });
            if (partner == posed.end()) break;
            entry.turn = turn_between(entry.rest - partner->rest, entry.posed - partner->posed);
            break;
        }
    }
    for (const PosedBody& entry : posed) {
        // A pose beyond the world's reach leaves that body where the rig put it.
        if (!is_valid_point({entry.posed.x, entry.posed.y}) || !std::isfinite(entry.turn)) continue;
        entry.body->SetTransform(entry.posed, entry.turn);
    }
}

b2Body* ActorControllerDynamics::create_body(const DynamicsRigidBody& rigid_body) {
    if (!world_) return nullptr;
    const Actor* actor = get_actor();
    const char* rig_id = actor ? actor->get_data_id().c_str() : "";
    // One body that is not a number would spoil every body it touches.
    if (!is_valid_point(rigid_body.position) || !std::isfinite(rigid_body.mass) || !std::isfinite(rigid_body.damping)) {
        core::Log::warning("graphics",
                           "ActorControllerDynamics: rigid body '%s' of dynamics rig '%s' has a position, mass or "
                           "damping that is not a finite number (or a position beyond %g); it is left out.",
                           rigid_body.name.c_str(), rig_id, double(kMaxCoordinate));
        return nullptr;
    }
    float mass = rigid_body.mass;
    if (mass > kMaxMass) {
        core::Log::warning("graphics", "ActorControllerDynamics: rigid body '%s' of dynamics rig '%s' weighs %g; it is "
                           "made %g.", rigid_body.name.c_str(), rig_id, double(mass), double(kMaxMass));
        mass = kMaxMass;
    }
    b2BodyDef def;
    def.type = b2_dynamicBody;
    def.position.Set(rigid_body.position.x, rigid_body.position.y);
    def.linearDamping = std::max(rigid_body.damping, 0.0f);
    def.angularDamping = std::max(rigid_body.damping, 0.0f);
    def.allowSleep = false;
    // Named by the rig's string until add_body records it under its own copy.
    def.userData.pointer = reinterpret_cast<uintptr_t>(&rigid_body.name);
    b2Body* body = world_->CreateBody(&def);

    b2CircleShape circle;
    circle.m_radius = kBodyRadius;
    b2FixtureDef fixture;
    fixture.shape = &circle;
    // The circle's area spreads the rig's mass; without a mass Box2D gives the body 1.
    fixture.density = mass > 0.0f ? mass / (b2_pi * kBodyRadius * kBodyRadius) : 0.0f;
    fixture.friction = 0.5f;
    fixture.filter.groupIndex = kRigGroup;
    body->CreateFixture(&fixture);
    return body;
}

void ActorControllerDynamics::add_body(b2Body* body) {
    const std::string* name = get_body_name(body);
    if (!name) return;
    auto [it, added] = bodies_.insert_or_assign(*name, body);
    body->GetUserData().pointer = reinterpret_cast<uintptr_t>(&it->first);
}

bool ActorControllerDynamics::is_valid_point(const Vector<float>& p) {
    return std::fabs(p.x) <= kMaxCoordinate && std::fabs(p.y) <= kMaxCoordinate;  // false for NaN too
}

const std::string* ActorControllerDynamics::get_body_name(const b2Body* body) {
    // Box2D 2.4 reads user data through a non-const body only.
    return body ? reinterpret_cast<const std::string*>(const_cast<b2Body*>(body)->GetUserData().pointer) : nullptr;
}

b2Body* ActorControllerDynamics::get_body(const std::string& name) const {
    auto it = bodies_.find(name);
    return it == bodies_.end() ? nullptr : it->second;
}

b2Joint* ActorControllerDynamics::get_joint(b2JointType type, const std::string& name) const {
    if (!world_) return nullptr;
    for (b2Joint* joint = world_->GetJointList(); joint; joint = joint->GetNext())
        if (joint->GetType() == type && joins(joint, name)) return joint;
    return nullptr;
}

bool ActorControllerDynamics::joins(b2Joint* joint, const std::string& name) {
    const std::string* a = get_body_name(joint->GetBodyA());
    const std::string* b = get_body_name(joint->GetBodyB());
    return (a && *a == name) || (b && *b == name);
}

Transform* ActorControllerDynamics::find_joint(const std::string& name) const {
    const Actor* actor = get_actor();
    const Skeleton* skeleton = actor ? actor->get_skeleton() : nullptr;
    return skeleton ? skeleton->get_joint(name) : nullptr;
}

void ActorControllerDynamics::warn_missing(const char* constraint, const char* what, const std::string& name) const {
    const Actor* actor = get_actor();
    core::Log::warning("graphics", "ActorControllerDynamics: a %s of dynamics rig '%s' names %s '%s', which %s lacks.",
                       constraint, actor ? actor->get_data_id().c_str() : "", what, name.c_str(),
                       std::string(what) == "body" ? "the rig" : "the actor's skeleton");
}

void ActorControllerDynamics::warn_problem(const char* constraint, const std::string& problem) const {
    const Actor* actor = get_actor();
    core::Log::warning("graphics", "ActorControllerDynamics: a %s of dynamics rig '%s' %s.", constraint,
                       actor ? actor->get_data_id().c_str() : "", problem.c_str());
}

void ActorControllerDynamics::set_collision_actor(Actor* actor) {
    collision_actor_ = actor;
    collision_dirty_ = true;
}

void ActorControllerDynamics::set_collision_space(CollisionSpace space) {
    collision_space_ = space;
    collision_dirty_ = true;
}

bool ActorControllerDynamics::set_time_budget(float seconds) {
    if (!(seconds >= 0.0f)) return false;
    time_budget_ = seconds;
    return true;
}

void ActorControllerDynamics::set_clock(Clock clock) { clock_ = clock; }

bool ActorControllerDynamics::update(float dt) {
    if (!world_) return false;
    // The world belongs to the actor it poses: once that actor is gone, so is the world.
    if (!get_actor()) {
        destroy_system();
        return false;
    }
    // A collision actor that died leaves its shape behind until rebuilt without it.
    if (collision_dirty_ || (!collision_actor_ && collision_body_ && collision_body_->GetFixtureList()))
        rebuild_collision_body();
    if (core::is_time_step(dt)) {
        catch_up(dt);
    } else {
        // Banking it would freeze the world (a negative debt) or poison it (NaN).
        core::Log::warning("graphics",
                           "ActorControllerDynamics: update(dt) needs a finite time of 0 or more, got %g (ignored).",
                           double(dt));
    }
    return rig_ && rig_->on_step(*this);
}

void ActorControllerDynamics::catch_up(float dt) {
    accumulator_ += dt;
    const Clock clock = clock_ ? clock_ : &steady_seconds;
    const double start = clock();
    int steps = 0;
    double spent = 0.0;
    while (accumulator_ > kTimeStep) {
        if (steps == kMaxStepsPerUpdate || (steps > 0 && spent >= double(time_budget_))) {
            if (!dropping_)
                core::Log::warning("graphics",
                                   "ActorControllerDynamics: catching up took %d steps in %.3g s (at most %d steps "
                                   "and %g s an update); %g s of simulated time are dropped and the world runs slow. "
                                   "Said once until an update catches up again.",
                                   steps, spent, kMaxStepsPerUpdate, double(time_budget_), double(accumulator_));
            dropping_ = true;
            accumulator_ = 0.0f;
            return;
        }
        accumulator_ -= kTimeStep;
        step_world();
        ++steps;
        spent = clock() - start;
    }
    dropping_ = false;
}

void ActorControllerDynamics::step_world() {
    world_->Step(kTimeStep, 10, 10);
    ++step_count_;
    // Bodies that leave the world's box stay where they left it.
    for (const auto& [name, body] : bodies_)
        if (body->IsEnabled() && outside_world(body->GetPosition())) body->SetEnabled(false);
}

void ActorControllerDynamics::rebuild_collision_body() {
    collision_dirty_ = false;
    if (!collision_body_) {
        b2BodyDef def;
        def.type = b2_staticBody;
        collision_body_ = world_->CreateBody(&def);
    } else {
        while (b2Fixture* fixture = collision_body_->GetFixtureList()) collision_body_->DestroyFixture(fixture);
    }
    Actor* source = collision_actor_.get();
    const Skeleton* skeleton = source ? source->get_skeleton() : nullptr;
    if (!skeleton) return;

    Vector<float> spine[4];
    for (int i = 0; i < 4; ++i) {
        const Transform* joint = skeleton->get_joint(kSpineJoints[i]);
        if (!joint) {
            core::Log::warning("graphics",
                               "ActorControllerDynamics: collision actor '%s' has no joint '%s'; its collision "
                               "body has no shape.",
                               source->get_data_id().c_str(), kSpineJoints[i]);
            return;
        }
        spine[i] = spine_point(*joint);
    }
    for (const Vector<float>& p : spine) {
        if (!is_valid_point(p)) {
            core::Log::warning("graphics",
                               "ActorControllerDynamics: the spine of collision actor '%s' is not at a finite place "
                               "within %g of this actor; its collision body has no shape.",
                               source->get_data_id().c_str(), double(kMaxCoordinate));
            return;
        }
    }
    // The ends reach out past the head and the pelvis, twice their neighbouring bone.
    spine[0] = spine[0] + (spine[0] - spine[1]) * 2.0f;
    spine[3] = spine[3] + (spine[3] - spine[2]) * 2.0f;

    const float width = spine_width();
    if (!(width > b2_linearSlop && width <= kMaxCoordinate)) {
        core::Log::warning("graphics",
                           "ActorControllerDynamics: collision actor '%s' is scaled to a spine %g wide in this "
                           "actor's space (it must be above %g and at most %g); its collision body has no shape.",
                           source->get_data_id().c_str(), double(width), double(b2_linearSlop),
                           double(kMaxCoordinate));
        return;
    }
    for (int i = 0; i < 3; ++i) {
        const Vector<float> a = spine[i], b = spine[i + 1];
        const Vector<float> d = b - a;
        const float length = std::sqrt(d.x * d.x + d.y * d.y);
        if (!(length > b2_linearSlop)) continue;
        b2PolygonShape box;
        const Vector<float> centre = (a + b) * 0.5f;
        box.SetAsBox(0.5f * length, 0.5f * width, b2Vec2(centre.x, centre.y), std::atan2(d.y, d.x));
        b2FixtureDef fixture;
        fixture.shape = &box;
        fixture.friction = 0.8f;
        collision_body_->CreateFixture(&fixture);
    }
}

// A spine joint of the collision actor in this actor's space. Joint world positions
// are in the skeleton's own space (the actor's transform is not among their parents).
Vector<float> ActorControllerDynamics::spine_point(const Transform& joint) const {
    if (collision_space_ == CollisionSpace::Skeleton) return joint.get_world_position();
    return joint.get_world_position() * collision_actor_->get_world_transform() *
           get_actor()->get_world_transform().inverse();
}

float ActorControllerDynamics::spine_width() const {
    const float width = kSpineWidth * mean_scale(collision_actor_->get_local_scale());
    if (collision_space_ == CollisionSpace::Skeleton) return width;
    return width / std::max(mean_scale(get_actor()->get_local_scale()), 1e-6f);
}

void ActorControllerDynamics::render() {
    const Actor* actor = get_actor();
    if (!actor || !world_) return;
    const core::Matrix& world = actor->get_world_transform();
    glColor3f(0.0f, 1.0f, 0.0f);
    glBegin(GL_LINE_STRIP);
    for (const auto& [name, body] : bodies_) {
        const Vector<float> p = Vector<float>(body->GetPosition().x, body->GetPosition().y) * world;
        glVertex2f(p.x, p.y);
    }
    glEnd();
    if (!collision_actor_ || !collision_body_) return;
    glColor3f(1.0f, 0.0f, 0.0f);
    for (const b2Fixture* fixture = collision_body_->GetFixtureList(); fixture; fixture = fixture->GetNext()) {
        if (fixture->GetType() != b2Shape::e_polygon) continue;
        const auto* polygon = static_cast<const b2PolygonShape*>(fixture->GetShape());
        glBegin(GL_LINE_LOOP);
        for (int i = 0; i < polygon->m_count; ++i) {
            const b2Vec2 v = b2Mul(collision_body_->GetTransform(), polygon->m_vertices[i]);
            const Vector<float> p = Vector<float>(v.x, v.y) * world;
            glVertex2f(p.x, p.y);
        }
        glEnd();
    }
}

}  // namespace engine::graphics
