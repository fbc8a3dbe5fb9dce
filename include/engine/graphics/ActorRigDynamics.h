#pragma once

#include "engine/core/SharedObject.h"
#include "engine/graphics/DynamicsConstraint.h"
#include "engine/graphics/DynamicsConstraintHinge.h"
#include "engine/graphics/DynamicsConstraintJoint.h"
#include "engine/graphics/DynamicsConstraintParent.h"
#include "engine/graphics/DynamicsRigidBody.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace engine::graphics {

class ActorControllerDynamics;

/// The rigid bodies and constraints of one actor type ("ActorRigDynamics"), found by
/// the actor's data id. Owned by the actor database's dynamics rig registry until
/// "unload"; script thread only.
class ActorRigDynamics : public core::SharedObject {
public:
    /// A new body, or null when the rig already has one of that name. Owned by the rig.
    DynamicsRigidBody* add_rigid_body(const std::string& name);
    /// Owned by the rig; the body names are checked only when the simulation is built.
    DynamicsConstraintHinge* add_hinge_constraint(const std::string& body_0, const std::string& body_1);
    /// Joint first, body second (the file's "ConstraintJoint" order).
    DynamicsConstraintJoint* add_joint_constraint(const std::string& joint, const std::string& body);
    /// Body first, joint second (the file's "ConstraintParent" order).
    DynamicsConstraintParent* add_parent_constraint(const std::string& body, const std::string& joint);

    /// Builds the simulation in the controller's world: a body per rigid body in name
    /// order (each announced to every constraint as it is made), then every
    /// constraint's `create` in document order. Always true.
    bool create_system(ActorControllerDynamics& controller) const;
    /// Steps every constraint in document order (all of them, whatever they return);
    /// true when any turned a joint.
    bool on_step(ActorControllerDynamics& controller) const;

    /// Bodies by name, iterated in name order.
    const std::map<std::string, DynamicsRigidBody>& get_bodies() const { return bodies_; }
    const DynamicsRigidBody* get_body(const std::string& name) const;
    /// Constraints in document order.
    const std::vector<std::unique_ptr<DynamicsConstraint>>& get_constraints() const { return constraints_; }

private:
    std::map<std::string, DynamicsRigidBody> bodies_;               // name order
    std::vector<std::unique_ptr<DynamicsConstraint>> constraints_;  // document order
};

}  // namespace engine::graphics
