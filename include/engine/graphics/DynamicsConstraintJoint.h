#pragma once

#include "engine/graphics/DynamicsConstraint.h"

#include <string>

namespace engine::graphics {

/// A rig body pinned to a skeleton joint ("ConstraintJoint"): the body follows the joint.
/// Owned by its ActorRigDynamics; script thread only.
class DynamicsConstraintJoint : public DynamicsConstraint {
public:
    DynamicsConstraintJoint(std::string joint, std::string body)
        : DynamicsConstraint(Joint), joint_(std::move(joint)), body_(std::move(body)) {}

    const std::string& get_joint() const { return joint_; }
    const std::string& get_body() const { return body_; }

    /// Makes the body immovable by the simulation (kinematic): only this moves it.
    void create(ActorControllerDynamics& controller) override;
    /// Moves the body to the joint's position, keeping its angle. Always false.
    bool step(ActorControllerDynamics& controller) override;

private:
    std::string joint_;  // skeleton joint it follows
    std::string body_;   // rig body that follows
};

}  // namespace engine::graphics
