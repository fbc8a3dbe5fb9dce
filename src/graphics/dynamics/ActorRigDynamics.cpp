#include "engine/graphics/ActorRigDynamics.h"

#include "engine/graphics/ActorControllerDynamics.h"

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

bool ActorRigDynamics::create_system(ActorControllerDynamics& controller) const {
    for (const auto& [name, rigid_body] : bodies_) {
        b2Body* body = controller.create_body(rigid_body);
        controller.add_body(body);
        for (const auto& constraint : constraints_) constraint->on_body_created(controller, body);
    }
    for (const auto& constraint : constraints_) constraint->create(controller);
    return true;
}

bool ActorRigDynamics::on_step(ActorControllerDynamics& controller) const {
    bool changed = false;
    for (const auto& constraint : constraints_) changed = constraint->step(controller) || changed;
    return changed;
}

}  // namespace engine::graphics
