#include "engine/graphics/ActorRigDynamics.h"

namespace engine::graphics {

DynamicsRigidBody* ActorRigDynamics::add_rigid_body(const std::string& name) {
    auto [it, added] = bodies_.try_emplace(name, name);
    return added ? &it->second : nullptr;
}

DynamicsConstraintHinge* ActorRigDynamics::add_hinge_constraint(const std::string& body_0, const std::string& body_1) {
    auto* hinge = new DynamicsConstraintHinge(body_0, body_1);
    constraints_.emplace_back(hinge);
    return hinge;
}

DynamicsConstraintJoint* ActorRigDynamics::add_joint_constraint(const std::string& joint, const std::string& body) {
    auto* constraint = new DynamicsConstraintJoint(joint, body);
    constraints_.emplace_back(constraint);
    return constraint;
}

DynamicsConstraintParent* ActorRigDynamics::add_parent_constraint(const std::string& body, const std::string& joint) {
    auto* constraint = new DynamicsConstraintParent(body, joint);
    constraints_.emplace_back(constraint);
    return constraint;
}

const DynamicsRigidBody* ActorRigDynamics::get_body(const std::string& name) const {
    auto it = bodies_.find(name);
    return it == bodies_.end() ? nullptr : &it->second;
}

}  // namespace engine::graphics
