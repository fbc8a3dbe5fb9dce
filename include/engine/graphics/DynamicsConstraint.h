#pragma once

namespace engine::graphics {

/// A constraint of a dynamics rig: ties bodies together, a body to a skeleton joint, or
/// a joint to a body. The kinds are DynamicsConstraintHinge, DynamicsConstraintJoint and
/// DynamicsConstraintParent; the dynamics controller gives them their behaviour. Owned
/// by its ActorRigDynamics; script thread only.
class DynamicsConstraint {
public:
    enum Kind { Hinge, Joint, Parent };

    explicit DynamicsConstraint(Kind kind) : kind_(kind) {}
    DynamicsConstraint(const DynamicsConstraint&) = delete;
    DynamicsConstraint& operator=(const DynamicsConstraint&) = delete;
    virtual ~DynamicsConstraint() = default;

    Kind get_kind() const { return kind_; }

private:
    Kind kind_;  // which record this is
};

}  // namespace engine::graphics
