#pragma once

#include <string>

namespace engine::graphics {

class Skeleton;

/// A rotation handle of an IK rig ("IKHandleRotation"): sets its joint's rotation from
/// the rotation constraint stored under the joint's name. Owned by its ActorRigIK;
/// script thread only.
class IKHandleRotation {
public:
    explicit IKHandleRotation(std::string joint_id) : joint_id_(std::move(joint_id)) {}

    const std::string& get_joint_id() const { return joint_id_; }
    float get_bind_rotation() const { return bind_rotation_; }
    void set_bind_rotation(float rotation) { bind_rotation_ = rotation; }

    /// Sets the joint's rotation to `target` (made local to the parent when
    /// `in_world_space`); false when the joint is missing or already there (exact
    /// float comparisons, world rotation first when `in_world_space`).
    bool solve_constraint(Skeleton& skeleton, float target, bool in_world_space) const;

private:
    std::string joint_id_;        // the joint it turns
    float bind_rotation_ = 0.0f;  // radians, the rotation of the bind pose
};

}  // namespace engine::graphics
