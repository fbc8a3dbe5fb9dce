#pragma once

#include "engine/core/Vector.h"
#include "engine/graphics/ActorController.h"

#include <box2d/b2_joint.h>

#include <map>
#include <memory>
#include <string>

class b2Body;
class b2World;

namespace engine::graphics {

class ActorRigDynamics;
class Transform;
struct DynamicsRigidBody;

/// Poses an actor from a rigid-body simulation: it finds the dynamics rig registered
/// under the actor's data id, builds a Box2D world from it (in the actor's space, y
/// down, gravity (0, 98)), steps that world at a fixed 60 Hz whatever the frame rate,
/// and lets the rig's constraints write bodies into joint rotations and joints into
/// bodies. A second actor may lend its spine as a static collision body. Owns its
/// world; the rig stays with the actor database. Script thread only.
///
///     ActorControllerDynamics ragdoll;
///     actor.set_controller(&ragdoll);       // the world is built here
///     ragdoll.set_collision_actor(&floor);  // rebuilt on the next update
class ActorControllerDynamics : public ActorController {
public:
    /// One simulation step, in seconds (the float nearest 1/60).
    static constexpr float kTimeStep = 1.0f / 60.0f;
    /// Steps one update runs at most: a longer frame (a pause, a breakpoint) drops the
    /// rest of its time rather than stalling the game while it catches up.
    static constexpr int kMaxStepsPerUpdate = 600;
    /// Seconds of the clock one update spends catching up at most, unless set otherwise:
    /// a big rig whose steps are slow drops time rather than freezing the game.
    static constexpr float kDefaultTimeBudget = 0.1f;
    /// A monotonic clock in seconds, read around the steps of an update.
    using Clock = double (*)();
    /// A body whose origin leaves this box (either axis, actor space) is frozen.
    static constexpr float kWorldExtent = 100.0f;
    /// Radius of a rig body's circle.
    static constexpr float kBodyRadius = 3.0f;
    /// Width of the collision body along the collision actor's spine, in its space.
    static constexpr float kSpineWidth = 24.0f;
    /// Largest coordinate given to the world (bodies, pinned joints, the collision
    /// spine): its broad phase needs finite boxes. Bodies freeze long before.
    static constexpr float kMaxCoordinate = 1e5f;
    /// Largest mass of a rig body; a heavier one is made this heavy, with a warning.
    static constexpr float kMaxMass = 1e6f;

    /// Where the collision body is placed in this actor's space.
    enum class CollisionSpace {
        /// The collision actor's joint positions in its skeleton, taken as they stand:
        /// the spine lies as if both actors stood at one place. Its width follows the
        /// collision actor's scale. The default.
        Skeleton,
        /// Through the collision actor's world transform and this actor's inverse one:
        /// the two actors may stand anywhere in one layer. Its width follows the
        /// collision actor's scale over this actor's.
        World,
    };

    /// Where the rig's bodies start when the world is built.
    enum class StartPose {
        /// Where the actor's pose puts them: each body moves with the joint nearest to it
        /// in the setup pose and turns as the bone from its hinge partner turned, so a
        /// ragdoll takes over from the pose a clip (or anything else) left. Hinge limits
        /// stay the rig's. The default; the same as Rig for an actor in its setup pose.
        Actor,
        /// At the rig's places, angle 0: the actor stands up as the rig was authored.
        Rig,
    };

    /// Whether `p` may be given to the world: finite and within kMaxCoordinate.
    static bool is_valid_point(const core::Vector<float>& p);

    ActorControllerDynamics();
    /// Destroys the world with every body; the rig stays with the database.
    ~ActorControllerDynamics() override;

    /// Rebuilds the collision body when flagged, adds `dt` to the time not yet simulated
    /// and steps the world once for every whole 1/60 s in it (strictly more than 1/60
    /// is needed for a step), then steps the rig's constraints. True when a joint
    /// turned; false without a world. The first step always runs; further ones stop
    /// at kMaxStepsPerUpdate or once the update's steps have used the time budget, and
    /// the time left is dropped, with one warning for each run of updates that drop
    /// time. A dt that is not a finite number of 0 or more is ignored with a warning.
    bool update(float dt) override;
    /// Debug drawing in the actor's space (under its world transform): a green line
    /// through the bodies in name order and, with a collision actor, the collision
    /// body's polygons in red.
    void render() override;

    /// The world, or null (no actor, or no rig under its data id).
    b2World* get_system() const { return world_.get(); }
    /// The rig the world was built from, or null. Owned by the database.
    const ActorRigDynamics* get_rig() const { return rig_; }
    /// The body made for the rig body `name`, or null.
    b2Body* get_body(const std::string& name) const;
    /// The first joint of the world of `type` whose first or second body is the rig
    /// body `name`, or null.
    b2Joint* get_joint(b2JointType type, const std::string& name) const;
    /// Records `body` under the rig name it was made with (see `create_body`).
    void add_body(b2Body* body);
    /// Rig bodies by name, in name order.
    const std::map<std::string, b2Body*>& get_bodies() const { return bodies_; }
    /// A dynamic body in the world for `rigid_body`, named after it; `add_body` records
    /// it. Null without a world.
    b2Body* create_body(const DynamicsRigidBody& rigid_body);
    /// The rig name a body of this controller was made with, or null for other bodies.
    static const std::string* get_body_name(const b2Body* body);
    /// Whether the rig body `name` is the first or second body of `joint`.
    static bool joins(b2Joint* joint, const std::string& name);

    /// Not owned. Flags the collision body for rebuilding on the next update (also when
    /// `actor` is the one already set, so setting it again picks up its new pose).
    void set_collision_actor(Actor* actor);
    Actor* get_collision_actor() const { return collision_actor_.get(); }
    /// Flags the collision body for rebuilding on the next update, placed in `space`.
    void set_collision_space(CollisionSpace space);
    CollisionSpace get_collision_space() const { return collision_space_; }
    /// The static body shaped after the collision actor's spine, or null before the
    /// first rebuild.
    b2Body* get_collision_body() const { return collision_body_; }

    /// Read when the world is built (the controller given an actor), not after.
    void set_start_pose(StartPose pose) { start_pose_ = pose; }
    StartPose get_start_pose() const { return start_pose_; }

    /// Seconds of the clock one update may spend stepping: 0 or more, infinity for no
    /// bound but kMaxStepsPerUpdate. Anything else is refused (false, budget kept).
    bool set_time_budget(float seconds);
    float get_time_budget() const { return time_budget_; }
    /// The clock the budget is measured with (null: std::chrono::steady_clock), so that
    /// tests can make steps look slow.
    void set_clock(Clock clock);

    /// Simulated time owed to the world, in seconds (under one step after an update).
    float get_accumulator() const { return accumulator_; }
    /// World steps taken since the world was built.
    unsigned long get_step_count() const { return step_count_; }

    /// Skeleton joint `name` of the controlled actor, or null.
    Transform* find_joint(const std::string& name) const;
    /// Logs that a constraint of the rig names something the rig or skeleton lacks.
    void warn_missing(const char* constraint, const char* what, const std::string& name) const;
    /// Logs what is wrong with a constraint of the rig (`problem` says what it does then).
    void warn_problem(const char* constraint, const std::string& problem) const;

protected:
    void on_actor(Actor* actor) override;

private:
    void destroy_system();
    void start_from_pose();
    void catch_up(float dt);
    void step_world();
    void rebuild_collision_body();
    core::Vector<float> spine_point(const Transform& joint) const;
    float spine_width() const;

    core::Ref<const ActorRigDynamics> rig_;   // the actor's record; kept across unloads
    std::unique_ptr<b2World> world_;          // owned; null without a rig
    std::map<std::string, b2Body*> bodies_;   // rig name -> body of world_; keys name the bodies
    float accumulator_ = 0.0f;                // seconds not yet simulated
    unsigned long step_count_ = 0;            // steps since the world was built
    core::WeakRef<Actor> collision_actor_;    // null once that actor died
    b2Body* collision_body_ = nullptr;        // static, in world_
    bool collision_dirty_ = false;            // rebuild the collision body on the next update
    CollisionSpace collision_space_ = CollisionSpace::Skeleton;  // how the spine is placed
    StartPose start_pose_ = StartPose::Actor;                    // where bodies start in a new world
    float time_budget_ = kDefaultTimeBudget;  // seconds of clock_ per update
    Clock clock_ = nullptr;                   // null: the steady clock
    bool dropping_ = false;                   // the last update dropped time (warned once)
};

}  // namespace engine::graphics
