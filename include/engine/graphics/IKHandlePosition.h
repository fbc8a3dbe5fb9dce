#pragma once

#include "engine/core/Vector.h"

#include <string>

namespace engine::graphics {

class Skeleton;

/// A position handle of an IK rig ("IKHandlePosition"): pulls its effector joint toward
/// the target of the position constraint stored under the effector's name. This record
/// holds what the rig file says; the solver works on it. Owned by its ActorRigIK;
/// script thread only.
class IKHandlePosition {
public:
    /// How the handle moves the skeleton, by the file's "type" text.
    enum Type { Point = 0, Aim = 1, Chain = 2, Spine = 3 };

    IKHandlePosition(std::string effector_id, Type type) : effector_id_(std::move(effector_id)), type_(type) {}

    /// "point", "aim", "chain" or "spine" to a type; false for any other text.
    static bool parse_type(const std::string& text, Type& type);

    const std::string& get_effector_id() const { return effector_id_; }
    Type get_type() const { return type_; }

    /// 1 bends a chain one way, -1 the other. Any other value is refused (false) and
    /// the direction kept: a chain's angles are multiplied by it.
    int get_direction() const { return direction_; }
    bool set_direction(int direction);
    const core::Vector<float>& get_bind_position() const { return bind_position_; }
    void set_bind_position(const core::Vector<float>& position) { bind_position_ = position; }
    float get_chain_offset() const { return chain_offset_; }
    void set_chain_offset(float offset) { chain_offset_ = offset; }
    /// The value is ignored: the spine offset is always measured on the first spine
    /// solve, so a file's "spine_offset" changes nothing (ActorDatabaseTest.SpineOffsetFromFileIsIgnored).
    void set_spine_offset(float) {}
    /// The length of the effector as a bone along its own +x axis, as animation tools
    /// draw bones; -1 (the default) for the classic rules, where the effector is a joint
    /// at the tip of its parent's bone. With a length, "aim" turns the effector itself
    /// so its x axis points at the target, and "chain" turns the effector's parent and
    /// the effector so that the effector's tip (`length` along x) reaches the target,
    /// bending as `direction` says (1: turning +x towards +y), straight at full reach
    /// with no 99% limit. "point" and "spine" keep their rules. Refused (false, kept)
    /// when negative (other than -1) or not finite.
    float get_bone_length() const { return bone_length_; }
    bool set_bone_length(float length);
    bool has_bone() const { return bone_length_ >= 0.0f; }
    /// The joint the effector reaches for in the bind pose: `set_bind_pose` makes the
    /// handle's constraint follow it ("IKConstraintPositionHold") instead of a fixed
    /// point at `bind_position`. Empty (the default): none.
    const std::string& get_target_id() const { return target_id_; }
    void set_target_id(const std::string& joint) { target_id_ = joint; }
    /// The weight `set_bind_pose` gives the handle's constraint, 0..1 (1 by default).
    /// Refused (false, kept) outside 0..1 or NaN.
    float get_weight() const { return weight_; }
    bool set_weight(float weight);
    /// A joint whose local rotation, away from rest, overrides the constraint's weight
    /// and bend: 1 + weight, negative for the other bend (see `ActorIKChain::drive`).
    /// This is how clips key an imported character's IK weight and bend. Empty: none.
    const std::string& get_driver_id() const { return driver_id_; }
    void set_driver_id(const std::string& joint) { driver_id_ = joint; }

    /// Up to four joints the handle may turn or move, effector first; the count.
    unsigned get_posed_joints(const Skeleton& skeleton, unsigned (&joints)[4]) const;

    /// The spine figures, measured on the first spine solve whose pose is finite and
    /// then kept for every actor of the rig (-1 and 0 until then).
    float get_spine_offset() const { return spine_offset_; }
    float get_spine_root_angle() const { return spine_root_angle_; }
    float get_spine_middle_angle() const { return spine_middle_angle_; }

    /// Moves the effector's joints toward `target` (skeleton space) by the handle's
    /// rule; false when nothing was solved: a joint is missing, or the effector is
    /// exactly on the target already (an exact float comparison, so a target a hair
    /// away is still solved). A chain target beyond reach straightens the limb to 99%
    /// of its length toward the target (IKSolver.ChainBeyondReachStraightensTo99Percent).
    /// A chain or spine whose target or pose is not finite is left as it was (false).
    /// `weight` mixes the solution into the pose (0..1; 0 solves nothing).
    bool solve_constraint(Skeleton& skeleton, core::Vector<float> target, bool reversed, bool has_rotation,
                          bool ignore_chain_offsets, float weight = 1.0f);
    /// The iterative alternative: cyclic coordinate descent over the effector's parent,
    /// grandparent and great-grandparent, at most pi/6 a step, until the effector is
    /// within 3 units or 200 steps have run. No handle type selects it. False when a
    /// joint is missing.
    bool solve_iterative(Skeleton& skeleton, const core::Vector<float>& target) const;

private:
    bool solve_rule(Skeleton& skeleton, core::Vector<float> target, bool reversed, bool has_rotation,
                    bool ignore_chain_offsets);
    bool solve_bone(Skeleton& skeleton, const core::Vector<float>& target, bool reversed, float weight) const;
    bool solve_chain(Skeleton& skeleton, core::Vector<float> target, bool reversed, bool has_rotation,
                     bool ignore_chain_offsets, bool spine);

    std::string effector_id_;            // effector joint; also the constraint's key
    Type type_;                          // solving rule
    int direction_ = 1;                  // bend direction of a chain: 1 or -1
    core::Vector<float> bind_position_;  // effector target in the bind pose
    float chain_offset_ = 0.0f;          // added to the second bone, or along the effector
    float spine_offset_ = -1.0f;         // -1: not measured yet; never NaN
    float spine_root_angle_ = 0.0f;      // 0: not measured yet; never NaN
    float spine_middle_angle_ = 0.0f;    // 0: not measured yet; never NaN
    float bone_length_ = -1.0f;          // -1: classic rules; else the effector's bone length
    std::string target_id_;              // joint the bind pose follows; empty: none
    float weight_ = 1.0f;                // the bind pose constraint's weight
    std::string driver_id_;              // joint keying weight and bend; empty: none
};

}  // namespace engine::graphics
