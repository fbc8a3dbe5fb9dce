#include "python/ActorControllerWrapper.h"
#include "python/Bindings.h"

#include "engine/core/Maths.h"
#include "engine/graphics/ActorControllerDynamics.h"

#include <box2d/box2d.h>

#include <string>

namespace engine::graphics::python {

namespace {

using core::Vector;

Vector<float> to_vector(const b2Vec2& v) { return {v.x, v.y}; }

/// One rig body of a controller, found by name on each access: a view kept while the
/// controller rebuilds its world (a new actor, "unload") reads the new body or raises.
class BodyView : public Proxy<ActorControllerDynamics> {
public:
    BodyView(ActorControllerDynamics* controller, std::string name) : Proxy(controller), name_(std::move(name)) {}

    const std::string& name() const { return name_; }
    b2Body& body() const {
        if (b2Body* body = owner().get_body(name_)) return *body;
        raise(PyExc_RuntimeError, "DynamicsBody '" + name_ + "': the controller's world has no such body any more.");
    }

private:
    std::string name_;  // the rig body's name
};

// A value that is not a number, or one far beyond the world, would spoil the whole
// simulation: refused here, with the member's name.
void require_valid(const char* member, const Vector<float>& v) {
    if (!ActorControllerDynamics::is_valid_point(v))
        raise(PyExc_ValueError, std::string("DynamicsBody.") + member + ": expected finite numbers within 1e5, got (" +
                                    std::to_string(v.x) + ", " + std::to_string(v.y) + ")");
}
void require_valid(const char* member, float f) { require_valid(member, Vector<float>(f, 0.0f)); }

std::string body_name(const BodyView& v) { return v.name(); }
Vector<float> position(const BodyView& v) { return to_vector(v.body().GetPosition()); }
void set_position(const BodyView& v, const Vector<float>& p) {
    require_valid("position", p);
    b2Body& body = v.body();
    body.SetTransform(b2Vec2(p.x, p.y), body.GetAngle());
}
float angle(const BodyView& v) { return v.body().GetAngle(); }
void set_angle(const BodyView& v, float a) {
    require_valid("angle", a);
    b2Body& body = v.body();
    body.SetTransform(body.GetPosition(), a);
}
Vector<float> linear_velocity(const BodyView& v) { return to_vector(v.body().GetLinearVelocity()); }
void set_linear_velocity(const BodyView& v, const Vector<float>& velocity) {
    require_valid("linear_velocity", velocity);
    v.body().SetLinearVelocity(b2Vec2(velocity.x, velocity.y));
}
float angular_velocity(const BodyView& v) { return v.body().GetAngularVelocity(); }
void set_angular_velocity(const BodyView& v, float w) {
    require_valid("angular_velocity", w);
    v.body().SetAngularVelocity(w);
}
float mass(const BodyView& v) { return v.body().GetMass(); }
bool pinned(const BodyView& v) { return v.body().GetType() == b2_kinematicBody; }
bool frozen(const BodyView& v) { return !v.body().IsEnabled(); }
void apply_impulse(const BodyView& v, const Vector<float>& impulse, const bp::object& point) {
    require_valid("apply_impulse", impulse);
    b2Body& body = v.body();
    b2Vec2 at = body.GetWorldCenter();
    if (!point.is_none()) {
        bp::extract<Vector<float>> p(point);
        if (!p.check()) raise(PyExc_TypeError, "DynamicsBody.apply_impulse: point must be a Vector, a pair of numbers or None");
        require_valid("apply_impulse", p());
        at.Set(p().x, p().y);
    }
    body.ApplyLinearImpulse(b2Vec2(impulse.x, impulse.y), at, true);
}

bp::object collision_actor(const ActorControllerDynamics& c) { return to_python(c.get_collision_actor()); }

bp::object get_body(ActorControllerDynamics& c, const std::string& name) {
    return c.get_body(name) ? bp::object(BodyView(&c, name)) : bp::object();
}

bp::list body_names(const ActorControllerDynamics& c) {
    bp::list names;
    for (const auto& [name, body] : c.get_bodies()) names.append(name);
    return names;
}

// Box2D keeps the newest joint first; scripts see them in the order they were made.
bp::list hinges(const ActorControllerDynamics& c) {
    bp::list result;
    if (!c.get_system()) return result;
    for (b2Joint* joint = c.get_system()->GetJointList(); joint; joint = joint->GetNext()) {
        if (joint->GetType() != e_revoluteJoint) continue;
        const std::string* a = ActorControllerDynamics::get_body_name(joint->GetBodyA());
        const std::string* b = ActorControllerDynamics::get_body_name(joint->GetBodyB());
        result.insert(0, bp::make_tuple(a ? *a : std::string(), b ? *b : std::string()));
    }
    return result;
}

// The first hinge in the rig's order is the last in Box2D's list.
float hinge_angle(const ActorControllerDynamics& c, const std::string& name) {
    const b2RevoluteJoint* found = nullptr;
    if (c.get_system())
        for (b2Joint* joint = c.get_system()->GetJointList(); joint; joint = joint->GetNext())
            if (joint->GetType() == e_revoluteJoint && ActorControllerDynamics::joins(joint, name))
                found = static_cast<const b2RevoluteJoint*>(joint);
    if (!found) raise(PyExc_KeyError, "ActorControllerDynamics.hinge_angle: no hinge joins body '" + name + "'.");
    return found->GetJointAngle();
}

bp::list collision_polygons(const ActorControllerDynamics& c) {
    bp::list polygons;
    const b2Body* body = c.get_collision_body();
    if (!body) return polygons;
    for (const b2Fixture* fixture = body->GetFixtureList(); fixture; fixture = fixture->GetNext()) {
        if (fixture->GetType() != b2Shape::e_polygon) continue;
        const auto* polygon = static_cast<const b2PolygonShape*>(fixture->GetShape());
        bp::list points;
        for (int i = 0; i < polygon->m_count; ++i)
            points.append(to_vector(b2Mul(body->GetTransform(), polygon->m_vertices[i])));
        polygons.insert(0, points);
    }
    return polygons;
}

using CollisionSpace = ActorControllerDynamics::CollisionSpace;

std::string collision_space(const ActorControllerDynamics& c) {
    return c.get_collision_space() == CollisionSpace::World ? "world" : "skeleton";
}

void set_collision_space(ActorControllerDynamics& c, const std::string& space) {
    if (space == "skeleton")
        c.set_collision_space(CollisionSpace::Skeleton);
    else if (space == "world")
        c.set_collision_space(CollisionSpace::World);
    else
        raise(PyExc_ValueError,
              "ActorControllerDynamics.collision_space: expected 'skeleton' or 'world', got '" + space + "'.");
}

using StartPose = ActorControllerDynamics::StartPose;

std::string start_pose(const ActorControllerDynamics& c) {
    return c.get_start_pose() == StartPose::Rig ? "rig" : "actor";
}

void set_start_pose(ActorControllerDynamics& c, const std::string& pose) {
    if (pose == "actor")
        c.set_start_pose(StartPose::Actor);
    else if (pose == "rig")
        c.set_start_pose(StartPose::Rig);
    else
        raise(PyExc_ValueError, "ActorControllerDynamics.start_pose: expected 'actor' or 'rig', got '" + pose + "'.");
}

bool has_system(const ActorControllerDynamics& c) { return c.get_system() != nullptr; }
unsigned long steps(const ActorControllerDynamics& c) { return c.get_step_count(); }

void set_time_budget(ActorControllerDynamics& c, float seconds) {
    if (!c.set_time_budget(seconds))
        raise(PyExc_ValueError,
              "ActorControllerDynamics.time_budget: expected seconds of 0 or more (inf: no bound), got " +
                  core::format_float(seconds) + ".");
}

}  // namespace

void define_actor_controller_dynamics() {
    bp::class_<BodyView>("DynamicsBody",
                         "DynamicsBody\n\n"
                         "A rigid body of an ActorControllerDynamics, by its rig name (get_body(name)). Every\n"
                         "access finds the body anew in the controller's current world.",
                         bp::no_init)
        .add_property("name", &body_name,
                      "name: str\n\n"
                      "The rig body's name.")
        .add_property("position", &position, &set_position,
                      "position: Vector\n\n"
                      "Where the body's origin is, in the actor's space; setting it moves the body there.")
        .add_property("angle", &angle, &set_angle,
                      "angle: float\n\n"
                      "The body's angle in radians.")
        .add_property("linear_velocity", &linear_velocity, &set_linear_velocity,
                      "linear_velocity: Vector\n\n"
                      "Units per second.")
        .add_property("angular_velocity", &angular_velocity, &set_angular_velocity,
                      "angular_velocity: float\n\n"
                      "Radians per second.")
        .add_property("mass", &mass,
                      "mass: float\n\n"
                      "The simulated mass (0 for a body pinned to a joint).")
        .add_property("pinned", &pinned,
                      "pinned: bool\n\n"
                      "True when a joint constraint moves it: the simulation does not.")
        .add_property("frozen", &frozen,
                      "frozen: bool\n\n"
                      "True once its origin left the box (-100, -100)..(100, 100): it stays where it left.")
        .def("apply_impulse", &apply_impulse, (bp::arg("impulse"), bp::arg("point") = bp::object()),
             "apply_impulse(impulse: VectorLike, point: VectorLike | None = None) -> None\n\n"
             "A push (mass times velocity) at a point of the actor's space, the body's centre by default.");

    using Wrapper = ActorControllerWrapper<ActorControllerDynamics>;
    bp::class_<ActorControllerDynamics, Held<Wrapper>, bp::bases<ActorController>, boost::noncopyable> cls(
        "ActorControllerDynamics",
        "ActorControllerDynamics()\n\n"
        "Poses its actor from a rigid-body simulation built from the dynamics rig of the actor's data id,\n"
        "stepped at 60 Hz whatever the frame rate.",
        bp::init<>());
    define_controller_hooks<ActorControllerDynamics, Wrapper>(cls);
    cls.add_property("collision_actor", &collision_actor, &ActorControllerDynamics::set_collision_actor,
                     "collision_actor: Actor | None\n\n"
                     "Another actor whose spine (joints head, collar, thoracic, lumbar) is a static body the rig's\n"
                     "bodies land on, or None. Rebuilt on the next update each time it is set, placed\n"
                     "as collision_space says.")
        .add_property("collision_space", &collision_space, &set_collision_space,
                      "collision_space: str\n\n"
                      "How the collision actor's spine is placed in this actor's space. 'skeleton' (the\n"
                      "default): its joints' positions in its own skeleton, as they stand, as if both\n"
                      "actors stood at one place (its scale widens the body). 'world': through both\n"
                      "actors' world transforms, so they may stand anywhere in one layer. Setting it\n"
                      "rebuilds the body on the next update; another value is a ValueError.")
        .add_property("start_pose", &start_pose, &set_start_pose,
                      "start_pose: str\n\n"
                      "Where the bodies start when the world is built. 'actor' (the default): where the\n"
                      "actor's pose puts them, each moved with its nearest joint, so a ragdoll takes over\n"
                      "from a clip's pose. 'rig': at the rig's places, standing. Read when the world is\n"
                      "built (the controller given an actor); another value is a ValueError.")
        .add_property("has_system", &has_system,
                      "has_system: bool\n\n"
                      "True while the controller has a world (an actor with a rig).")
        .add_property("body_names", &body_names,
                      "body_names: list[str]\n\n"
                      "The rig bodies' names, in name order.")
        .def("get_body", &get_body, bp::arg("name"),
             "get_body(name: str) -> DynamicsBody | None\n\n"
             "The body made for that rig body, or None.")
        .add_property("hinges", &hinges,
                      "hinges: list[tuple[str, str]]\n\n"
                      "(body_0, body_1) of every hinge made, in the rig's order.")
        .def("hinge_angle", &hinge_angle, bp::arg("body"),
             "hinge_angle(body: str) -> float\n\n"
             "The angle of the first hinge (in the rig's order) joining that body; KeyError without one.")
        .add_property("collision_polygons", &collision_polygons,
                      "collision_polygons: list[list[Vector]]\n\n"
                      "The collision body's polygons in the actor's space, head first.")
        .add_property("accumulator", &ActorControllerDynamics::get_accumulator,
                      "accumulator: float\n\n"
                      "Seconds not yet simulated (under 1/60 after an update).")
        .add_property("time_budget", &ActorControllerDynamics::get_time_budget, &set_time_budget,
                      "time_budget: float\n\n"
                      "Seconds one update may spend catching up (default 0.1; inf: only the 600-step cap). The\n"
                      "first step always runs; the time left when the budget is used is dropped, with a warning.")
        .add_property("steps", &steps,
                      "steps: int\n\n"
                      "Steps of 1/60 s taken since the world was built.");
    register_with_factory(cls, "ActorControllerDynamics");
}

}  // namespace engine::graphics::python
