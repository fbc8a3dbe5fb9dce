#include "engine/graphics/ActorControllerDynamics.h"
#include "engine/graphics/DynamicsConstraintHinge.h"
#include "engine/graphics/DynamicsConstraintJoint.h"
#include "engine/graphics/DynamicsConstraintParent.h"
#include "engine/graphics/Transform.h"

#include <box2d/box2d.h>

#include <algorithm>
#include <cmath>

namespace engine::graphics {

void DynamicsConstraint::on_body_created(ActorControllerDynamics&, b2Body*) {}
void DynamicsConstraint::create(ActorControllerDynamics&) {}
bool DynamicsConstraint::step(ActorControllerDynamics&) { return false; }

void DynamicsConstraintHinge::create(ActorControllerDynamics& controller) {
    b2Body* first = controller.get_body(body_0_);
    b2Body* second = controller.get_body(body_1_);
    if (!first) controller.warn_missing("hinge", "body", body_0_);
    if (!second) controller.warn_missing("hinge", "body", body_1_);
    if (!first || !second) return;
    if (first == second) return controller.warn_problem("hinge", "joins body '" + body_0_ + "' to itself; no joint made");
    b2RevoluteJointDef def;
    def.Initialize(first, second, first->GetWorldCenter());
    if (limits_enabled_) {
        if (!std::isfinite(lower_) || !std::isfinite(upper_)) {
            controller.warn_problem("hinge", "between '" + body_0_ + "' and '" + body_1_ +
                                                 "' has limits that are not numbers; it turns freely");
        } else {
            if (lower_ > upper_)
                controller.warn_problem("hinge", "between '" + body_0_ + "' and '" + body_1_ +
                                                     "' has its limits the wrong way round; they are swapped");
            def.enableLimit = true;
            def.lowerAngle = std::min(lower_, upper_);
            def.upperAngle = std::max(lower_, upper_);
        }
    }
    controller.get_system()->CreateJoint(&def);
}

void DynamicsConstraintJoint::create(ActorControllerDynamics& controller) {
    b2Body* body = controller.get_body(body_);
    if (!body) return controller.warn_missing("joint constraint", "body", body_);
    if (!controller.find_joint(joint_)) controller.warn_missing("joint constraint", "joint", joint_);
    // Moved by its joint alone: gravity and the hinges no longer move it.
    body->SetType(b2_kinematicBody);
}

bool DynamicsConstraintJoint::step(ActorControllerDynamics& controller) {
    b2Body* body = controller.get_body(body_);
    const Transform* joint = controller.find_joint(joint_);
    if (!body || !joint) return false;
    const core::Vector<float>& p = joint->get_world_position();
    if (!ActorControllerDynamics::is_valid_point(p)) return false;  // the body stays where it was
    body->SetTransform(b2Vec2(p.x, p.y), body->GetAngle());
    return false;
}

namespace {

// The body at the other end of the first hinge that has `body` as its second body.
const b2Body* hinge_partner(b2Body* body) {
    for (const b2JointEdge* edge = body->GetJointList(); edge; edge = edge->next) {
        b2Joint* joint = edge->joint;
        if (joint->GetType() == e_revoluteJoint && joint->GetBodyA() != body) return joint->GetBodyA();
    }
    return nullptr;
}

}  // namespace

bool DynamicsConstraintParent::step(ActorControllerDynamics& controller) {
    b2Body* body = controller.get_body(body_);
    Transform* joint = controller.find_joint(joint_);
    if (!body || !joint) return false;
    const b2Body* other = hinge_partner(body);
    if (!other) return false;
    const float parent_rotation = joint->get_parent() ? joint->get_parent()->get_world_rotation() : 0.0f;
    // Angles are measured from +y, as everywhere in the actor code: atan2(x, y).
    const b2Vec2 d = other->GetPosition() - body->GetPosition();
    const float rotation = std::atan2(d.x, d.y) - parent_rotation;
    if (rotation == joint->get_local_rotation()) return false;
    joint->set_rotation(rotation);
    return true;
}

}  // namespace engine::graphics
