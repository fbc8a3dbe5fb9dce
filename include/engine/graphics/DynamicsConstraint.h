#pragma once

class b2Body;

namespace engine::graphics {

class ActorControllerDynamics;

/// A constraint of a dynamics rig: ties bodies together, a body to a skeleton joint, or
/// a joint to a body. The kinds are DynamicsConstraintHinge, DynamicsConstraintJoint and
/// DynamicsConstraintParent. The rig calls the three slots while a controller builds and
/// steps its simulation; each does nothing here. Owned by its ActorRigDynamics; script
/// thread only.
class DynamicsConstraint {
public:
    enum Kind { Hinge, Joint, Parent };

    explicit DynamicsConstraint(Kind kind) : kind_(kind) {}
    DynamicsConstraint(const DynamicsConstraint&) = delete;
    DynamicsConstraint& operator=(const DynamicsConstraint&) = delete;
    virtual ~DynamicsConstraint() = default;

    /// `body` was just made in the controller's world (before any constraint's `create`).
    virtual void on_body_created(ActorControllerDynamics& controller, b2Body* body);
    /// Every body of the rig exists: make what ties them (joints, pins).
    virtual void create(ActorControllerDynamics& controller);
    /// After the world stepped; true when it turned a skeleton joint.
    virtual bool step(ActorControllerDynamics& controller);

    Kind get_kind() const { return kind_; }

private:
    Kind kind_;  // which record this is
};

}  // namespace engine::graphics
