// The closed-form IK rules of the rig's handles, and the rig's solve over a controller's
// constraints. Angles are measured from the +y axis (atan2(dx, dy)); a bone whose rest
// direction is (0, -1) points along d at atan2(dx, dy) + 3.14159.
#include "engine/graphics/ActorRigIK.h"

#include "engine/core/Maths.h"
#include "engine/core/Matrix.h"
#include "engine/core/Ref.h"
#include "engine/graphics/ActorDatabase.h"
#include "engine/graphics/Actor.h"
#include "engine/graphics/ActorControllerIK.h"
#include "engine/graphics/ActorIKChain.h"
#include "engine/graphics/IKConstraintPosition.h"
#include "engine/graphics/IKConstraintRotation.h"
#include "engine/graphics/Skeleton.h"
#include "engine/graphics/Transform.h"

#include <algorithm>
#include <cmath>

namespace engine::graphics {

namespace {

// The half turn of the rules: the float 3.14159, not full-precision pi.
constexpr float kHalfTurn = 3.14159f;

float angle_of(const core::Vector<float>& v) { return std::atan2(v.x, v.y); }

}  // namespace

bool IKHandleRotation::solve_constraint(Skeleton& skeleton, float target, bool in_world_space) const {
    Transform* joint = skeleton.get_joint(joint_id_);
    if (!joint) return false;
    // Exact comparisons: a target already met moves nothing and reports no change.
    if (in_world_space && target == joint->get_world_rotation()) return false;
    if (target == joint->get_local_rotation()) return false;
    if (in_world_space && joint->get_parent()) target -= joint->get_parent()->get_world_rotation();
    joint->set_rotation(target);
    return true;
}

bool IKHandlePosition::solve_constraint(Skeleton& skeleton, core::Vector<float> target, bool reversed,
                                        bool has_rotation, bool ignore_chain_offsets, float weight) {
    if (has_bone() && (type_ == Aim || type_ == Chain)) return solve_bone(skeleton, target, reversed, weight);
    if (!(weight > 0.0f)) return false;
    if (weight >= 1.0f) return solve_rule(skeleton, target, reversed, has_rotation, ignore_chain_offsets);
    // Part of the way: the rule's pose mixed into the one it started from, each joint
    // turning the short way.
    unsigned posed[4];
    const unsigned count = get_posed_joints(skeleton, posed);
    float rotations[4];
    core::Vector<float> positions[4];
    for (unsigned i = 0; i < count; ++i) {
        const Transform* joint = skeleton.get_joint(posed[i]);
        rotations[i] = joint->get_local_rotation();
        positions[i] = joint->get_local_position();
    }
    if (!solve_rule(skeleton, target, reversed, has_rotation, ignore_chain_offsets)) return false;
    for (unsigned i = 0; i < count; ++i) {
        Transform* joint = skeleton.get_joint(posed[i]);
        const float turn = core::normalise_angle(joint->get_local_rotation() - rotations[i]);
        if (turn != 0.0f) joint->set_rotation(rotations[i] + turn * weight);
        const core::Vector<float> move = joint->get_local_position() - positions[i];
        if (move.x != 0.0f || move.y != 0.0f) joint->set_position(positions[i] + move * weight);
    }
    return true;
}

bool IKHandlePosition::solve_rule(Skeleton& skeleton, core::Vector<float> target, bool reversed, bool has_rotation,
                                  bool ignore_chain_offsets) {
    Transform* effector = skeleton.get_joint(effector_id_);
    if (!effector) return false;
    const core::Vector<float>& at = effector->get_world_position();
    if (target.x == at.x && target.y == at.y) return false;
    switch (type_) {
        case Point:
            // The target is used as the local position unchanged, without going into
            // the parent's space: a point effector is meant to hang from the root.
            effector->set_position(target);
            return true;
        case Aim: {
            Transform* parent = effector->get_parent();
            if (!parent) return false;
            float angle = angle_of(target - parent->get_world_position()) + kHalfTurn;
            if (Transform* grandparent = parent->get_parent()) angle -= grandparent->get_world_rotation();
            parent->set_rotation(angle);
            return true;
        }
        case Chain:
            return solve_chain(skeleton, target, reversed, has_rotation, ignore_chain_offsets, false);
        case Spine:
            return solve_chain(skeleton, target, reversed, has_rotation, ignore_chain_offsets, true);
    }
    return false;
}

unsigned IKHandlePosition::get_posed_joints(const Skeleton& skeleton, unsigned (&joints)[4]) const {
    const Transform* joint = skeleton.get_joint(effector_id_);
    // A bone turns itself (aim) or itself and its parent (chain); the classic rules
    // reach up to three joints above the effector (a spine), and a point moves it.
    const unsigned most = has_bone() && (type_ == Aim || type_ == Chain) ? (type_ == Aim ? 1u : 2u) : 4u;
    unsigned count = 0;
    for (; joint && count < most; joint = joint->get_parent()) {
        unsigned index = 0;
        while (index < skeleton.get_num_joints() && skeleton.get_joint(index) != joint) ++index;
        if (index == skeleton.get_num_joints()) break;  // above the skeleton (a joint's outside parent)
        joints[count++] = index;
    }
    return count;
}

bool IKHandlePosition::set_bone_length(float length) {
    if (!std::isfinite(length) || (length < 0.0f && length != -1.0f)) return false;
    bone_length_ = length;
    return true;
}

bool IKHandlePosition::set_weight(float weight) {
    if (!(weight >= 0.0f && weight <= 1.0f)) return false;
    weight_ = weight;
    return true;
}

// Bones along +x --------------------------------------------------------------------
// Angles here turn +x towards +y, as the world matrices do; a joint's own rotation
// turns the other way, so a change of d here is -d there. Worked in double: an
// imported character's pose is compared with its tool's within 1e-3.

namespace {

constexpr double kPi = 3.14159265358979323846;

double normalise(double a) {
    a = std::remainder(a, 2.0 * kPi);
    return a <= -kPi ? a + 2.0 * kPi : a;
}

double angle_of(const core::Matrix& m) { return std::atan2(double(m[1]), double(m[0])); }

void turn(Transform& joint, double by) { joint.set_rotation(float(double(joint.get_local_rotation()) - by)); }

// Where a two-bone limb's parent must point (world angle) so that the end bone, `reach`
// long from the parent's tip at c, can touch the target: the two circles' crossing on
// the `minus` side, or straight at the target when out of reach (away from it when
// the end is the longer bone and the target lies within).
double parent_aim(const core::Matrix& p, const core::Matrix& c, double reach, const core::Vector<float>& target,
                  bool minus) {
    const double px = p[4], py = p[5];
    const double upper = std::hypot(double(c[4]) - px, double(c[5]) - py);
    const double dx = double(target.x) - px, dy = double(target.y) - py;
    const double span = std::hypot(dx, dy);
    if (reach + upper <= span || span + reach <= upper || span + upper <= reach) {
        const double straight = std::atan2(dy, dx);
        return !(reach + upper <= span) && upper < reach ? straight + kPi : straight;
    }
    const double h = (upper * upper - reach * reach + span * span) / (2.0 * span * span);
    const double r = std::sqrt(std::max(0.0, upper * upper - h * h * span * span)) / span;
    const double hx = px + dx * h, hy = py + dy * h;
    const double rx = -dy * r, ry = dx * r;
    return std::atan2((minus ? hy - ry : hy + ry) - py, (minus ? hx - rx : hx + rx) - px);
}

}  // namespace

bool IKHandlePosition::solve_bone(Skeleton& skeleton, const core::Vector<float>& target, bool reversed,
                                  float weight) const {
    Transform* bone = skeleton.get_joint(effector_id_);
    Transform* parent = bone && type_ == Chain ? bone->get_parent() : nullptr;
    if (!bone || (type_ == Chain && !parent)) return false;
    bool bend_positive = (direction_ > 0) != reversed;
    if (!driver_id_.empty())
        if (const Transform* driver = skeleton.get_joint(driver_id_))
            ActorIKChain::driven(driver->get_local_rotation(), weight, bend_positive);
    const double w = weight;
    if (!std::isfinite(target.x) || !std::isfinite(target.y) || !std::isfinite(w) || !(w > 0.0)) return false;
    if (!parent) {
        const core::Matrix& b = bone->get_world_transform();
        if (double(target.x) == b[4] && double(target.y) == b[5]) return false;  // no way to aim at its own origin
        const double aim = std::atan2(double(target.y) - b[5], double(target.x) - b[4]);
        turn(*bone, normalise(aim - angle_of(b)) * w);
        return true;
    }
    const core::Matrix p = parent->get_world_transform();
    const core::Matrix c = bone->get_world_transform();
    const double reach = double(bone_length_) * std::hypot(double(c[0]), double(c[1]));  // in world units
    bool mirrored = false;
    if (const Transform* grand = parent->get_parent()) {
        const core::Matrix& g = grand->get_world_transform();
        mirrored = double(g[0]) * g[3] - double(g[1]) * g[2] < 0.0;
    }
    const double a = parent_aim(p, c, reach, target, mirrored != bend_positive);
    const double raw_a = std::atan2(double(c[5]) - p[5], double(c[4]) - p[4]);
    const double raw_c = angle_of(c);
    if (!std::isfinite(a)) return false;
    const double turned = normalise(a - raw_a);
    turn(*parent, turned * w);
    // The end joint moved with its parent; it now aims from where it is.
    const core::Matrix moved = bone->get_world_transform();
    const double aim = std::atan2(double(target.y) - moved[5], double(target.x) - moved[4]);
    turn(*bone, normalise(aim - turned - raw_c) * w);
    return true;
}

bool IKHandlePosition::set_direction(int direction) {
    if (direction != 1 && direction != -1) return false;
    direction_ = direction;
    return true;
}

bool IKHandlePosition::solve_chain(Skeleton& skeleton, core::Vector<float> target, bool reversed, bool has_rotation,
                                   bool ignore_chain_offsets, bool spine) {
    Transform* effector = skeleton.get_joint(effector_id_);
    Transform* middle_joint = effector->get_parent();
    Transform* root_joint = middle_joint ? middle_joint->get_parent() : nullptr;
    if (!middle_joint || !root_joint) return false;

    const float dir = (direction_ < 0) != reversed ? -1.0f : 1.0f;
    float l1 = middle_joint->get_local_position().length();
    float l2 = effector->get_local_position().length();
    if (!ignore_chain_offsets && chain_offset_ != 0.0f) {
        if (has_rotation)
            target += effector->get_world_transform().rotate_vector({0.0f, chain_offset_});
        else
            l2 += chain_offset_;
    }
    float reach = l1 + l2;

    if (spine) {
        root_joint->set_rotation(0.0f);
        root_joint = root_joint->get_parent();
        if (!root_joint) return false;
        // Measured once, on the first solve, and kept for every actor of the rig; a pose
        // that is not finite (one bad frame) is measured again on the next solve, so
        // its NaN never outlives the frame.
        float offset = spine_offset_;
        if (offset == -1.0f) {
            offset = (middle_joint->get_world_position() - root_joint->get_world_position()).length();
            if (std::isfinite(offset)) spine_offset_ = offset;
        }
        l1 = offset;
        reach = l1 + l2;
    }

    const core::Vector<float> d = target - root_joint->get_world_position();
    // Never quite straight: at most 99% of the reach, so the bend keeps its side.
    const float dist = std::min(d.length(), 0.99f * reach);

    float root = 0.0f, middle = 0.0f;
    if (dist < reach) {
        if (std::fabs(l2 - l1) <= dist) {
            root = dir * std::acos((dist * dist + l1 * l1 - l2 * l2) / std::fabs(2.0f * l1 * dist));
            middle = dir * (std::acos((l1 * l1 + l2 * l2 - dist * dist) / std::fabs(2.0f * l1 * l2)) - kHalfTurn);
        } else {
            root = middle = -dir * kHalfTurn;  // inside the inner radius: fold back
        }
        // A target on the root joint itself, or a bone of length 0, has no triangle:
        // fold as inside the inner radius instead of posing with NaN.
        if (!std::isfinite(root) || !std::isfinite(middle)) root = middle = -dir * kHalfTurn;
    }
    const float base = angle_of(d);
    root += base + kHalfTurn;
    if (Transform* parent = root_joint->get_parent()) root -= parent->get_world_rotation();

    if (spine) {
        float root_angle = spine_root_angle_, middle_angle = spine_middle_angle_;
        if (root_angle == 0.0f) {
            const core::Vector<float>& r = root_joint->get_world_position();
            const core::Vector<float>& m = middle_joint->get_world_position();
            const core::Vector<float>& mp = middle_joint->get_parent()->get_world_position();
            const float s = angle_of(m - r);
            middle_angle = -core::normalise_angle(s - angle_of(mp - r));
            root_angle = -core::normalise_angle(s - angle_of(m - mp));
            if (std::isfinite(root_angle) && std::isfinite(middle_angle)) {
                spine_root_angle_ = root_angle;
                spine_middle_angle_ = middle_angle;
            }
        }
        root += root_angle;
        middle += middle_angle;
    }

    // A target or a pose that is not finite (one bad frame) has no solution: left as
    // it is, the limb solves again from finite rotations on the next frame.
    if (!std::isfinite(root) || !std::isfinite(middle)) return false;
    root_joint->set_rotation(root);
    middle_joint->set_rotation(middle);
    // A rotation limit clamped the middle joint: re-aim the root so the effector still
    // points at the target.
    if (middle_joint->get_local_rotation() != middle) {
        const core::Vector<float> e = effector->get_world_position() - root_joint->get_world_position();
        root_joint->set_rotation(core::normalise_angle(base) - core::normalise_angle(angle_of(e)) + root);
    }
    return true;
}

bool IKHandlePosition::solve_iterative(Skeleton& skeleton, const core::Vector<float>& target) const {
    Transform* effector = skeleton.get_joint(effector_id_);
    Transform* joints[3] = {effector ? effector->get_parent() : nullptr, nullptr, nullptr};
    joints[1] = joints[0] ? joints[0]->get_parent() : nullptr;
    joints[2] = joints[1] ? joints[1]->get_parent() : nullptr;
    if (!joints[2]) return false;
    joints[1]->set_rotation(0.0f);
    joints[2]->set_rotation(0.0f);
    constexpr float kMaxStep = 0.5235984f;  // pi/6
    for (int step = 0; step < 200; ++step) {
        const core::Vector<float> miss = target - effector->get_world_position();
        if (miss.x * miss.x + miss.y * miss.y < 9.0f) break;
        Transform* joint = joints[step % 3];
        const core::Vector<float>& pivot = joint->get_world_position();
        core::Vector<float> to_effector = effector->get_world_position() - pivot;
        core::Vector<float> to_target = target - pivot;
        const float le = to_effector.length(), lt = to_target.length();
        if (le == 0.0f || lt == 0.0f) continue;
        to_effector = to_effector / le;
        to_target = to_target / lt;
        const float dot = to_effector.x * to_target.x + to_effector.y * to_target.y;
        if (dot >= 0.99999f) continue;
        float angle = std::min(std::acos(std::max(dot, -1.0f)), kMaxStep);
        if (to_effector.x * to_target.y - to_effector.y * to_target.x > 0.0f) angle = -angle;
        joint->set_rotation(joint->get_local_rotation() + angle);
    }
    return true;
}

bool ActorRigIK::solve_constraints(ActorControllerIK* controller) {
    Actor* actor = controller ? controller->get_actor() : nullptr;
    // A target's get_rotation/get_position is script code: it may unload the database
    // (this rig with it) or give the actor another skeleton. The skeleton is held, and
    // after each target is asked, the solve goes on only if neither happened.
    const core::Ref<Skeleton> skeleton(actor ? actor->get_skeleton() : nullptr);
    if (!skeleton) return false;
    const unsigned long generation = ActorDatabase::generation();
    const auto still_valid = [&] {
        return ActorDatabase::generation() == generation && controller->get_actor() == actor &&
               actor->get_skeleton() == skeleton.get();
    };
    bool changed = false;
    const auto& rotations = controller->get_rotation_constraints();
    for (std::size_t i = 0; i < rotation_handles_.size(); ++i) {
        IKHandleRotation* handle = rotation_handles_[i].get();
        auto it = rotations.find(handle->get_joint_id());
        if (it == rotations.end() || !it->second) continue;
        Transform* joint = skeleton->get_joint(handle->get_joint_id());
        // A rotation handle naming a joint the skeleton lacks ends the whole solve.
        if (!joint) return false;
        IKConstraintRotation* constraint = it->second;
        const float target = constraint->get_rotation(joint->get_world_position());
        if (!still_valid()) return changed;
        changed |= handle->solve_constraint(*skeleton, target, constraint->is_in_world_space());
    }
    const auto& positions = controller->get_position_constraints();
    for (std::size_t i = 0; i < position_handles_.size(); ++i) {
        IKHandlePosition* handle = position_handles_[i].get();
        auto it = positions.find(handle->get_effector_id());
        if (it == positions.end() || !it->second || !it->second->is_enabled()) continue;
        IKConstraintPosition* constraint = it->second;
        const core::Vector<float> target = constraint->get_position();
        if (!still_valid()) return changed;
        const bool has_rotation = !rotations.empty() && rotations.count(handle->get_effector_id()) != 0;
        changed |= handle->solve_constraint(*skeleton, target, constraint->is_reversed(), has_rotation,
                                            controller->is_ignoring_chain_offsets(), constraint->get_weight());
    }
    return changed;
}

}  // namespace engine::graphics
