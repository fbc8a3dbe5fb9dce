#pragma once

#include "engine/core/Vector.h"

#include <string>

namespace engine::graphics {

class Skeleton;

/// A limb that turns to reach a target joint (an imported character's IK constraint):
/// one joint aiming at the target, or a two-joint chain (root and end) bending at the
/// end joint's origin. It works on world poses after the animated pose is written, and
/// changes only local rotations, so the next pose written starts from the animation
/// again. Held by value in its ActorData; script thread only.
///
///     ActorIKChain leg{"leg", thigh, calf, foot_target, 80.0f};
///     leg.solve(skeleton);   // after each pose
struct ActorIKChain {
    std::string name;           // the constraint's name
    int root = -1;              // first joint of a two-joint chain; -1: the end joint aims alone
    unsigned end = 0;           // the joint that reaches (its origin bends, its x axis aims)
    unsigned target = 0;        // the joint whose world position is the goal
    float length = 0.0f;        // the end joint's length along its x axis, skeleton units
    bool bend_positive = true;  // the chain bends turning +x towards +y (clockwise on screen)
    float weight = 1.0f;        // 0: the animated pose, 1: the full solution
    int driver = -1;            // a joint whose rotation a clip keys to change weight and bend; -1: none

    /// Turns the joints towards the target joint, or towards `point` (skeleton space)
    /// when given; false (nothing changed) when a joint is missing, the pose is not
    /// finite, or a lone joint's target is its own origin. Allocates nothing.
    bool solve(Skeleton& skeleton, const core::Vector<float>* point = nullptr) const;
    /// The same with the weight and bend given (what the driver joint says, see
    /// `drive`).
    bool solve(Skeleton& skeleton, const core::Vector<float>* point, float weight, bool bend_positive) const;

    /// A driver joint's rotation for a weight in 0..1 and a bend: 1 + weight, negative
    /// for a negative bend. A rotation within 0.5 of 0 (the driver at rest) leaves the
    /// chain's own weight and bend.
    static float drive(float weight, bool bend_positive) { return (bend_positive ? 1.0f : -1.0f) * (1.0f + weight); }
};

}  // namespace engine::graphics
