#pragma once

#include "engine/graphics/DynamicsConstraint.h"

#include <string>

namespace engine::graphics {

/// A skeleton joint turned by a rig body ("ConstraintParent"): the joint follows the
/// body. Owned by its ActorRigDynamics; script thread only.
class DynamicsConstraintParent : public DynamicsConstraint {
public:
    DynamicsConstraintParent(std::string body, std::string joint)
        : DynamicsConstraint(Parent), body_(std::move(body)), joint_(std::move(joint)) {}

    const std::string& get_body() const { return body_; }
    const std::string& get_joint() const { return joint_; }

    /// Turns the joint to point from the body towards the first body hinged to it as the
    /// hinge's first body, measured from +y and relative to the joint's parent. True
    /// when the joint's rotation changed.
    bool step(ActorControllerDynamics& controller) override;

private:
    std::string body_;   // rig body it follows
    std::string joint_;  // skeleton joint that turns
};

}  // namespace engine::graphics
