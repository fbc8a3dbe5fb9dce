#pragma once

#include <cmath>
#include <string>

namespace engine::graphics {

/// An IK constraint an imported character describes (a DragonBones "ik" entry): one
/// joint aiming at a target joint, or a two-joint chain (the end joint's parent and the
/// end joint) whose end joint's tip reaches it. Held by value in its ActorData; when
/// the record is entered in the actor database, its chains become the position handles
/// of an IK rig under the same id (ActorRigIK), which clip players solve after each
/// pose. Script thread only.
struct ActorIKChain {
    std::string name;           // the constraint's name
    int root = -1;              // the end joint's parent for a two-joint chain; -1: the end joint aims alone
    unsigned end = 0;           // the joint that reaches (its origin bends, its x axis aims)
    unsigned target = 0;        // the joint whose world position is the goal
    float length = 0.0f;        // the end joint's length along its x axis, skeleton units
    bool bend_positive = true;  // the chain bends turning +x towards +y (clockwise on screen)
    float weight = 1.0f;        // 0: the animated pose, 1: the full solution
    int driver = -1;            // a joint whose rotation a clip keys to change weight and bend; -1: none

    /// A driver joint's rotation for a weight in 0..1 and a bend: 1 + weight, negative
    /// for a negative bend.
    static float drive(float weight, bool bend_positive) { return (bend_positive ? 1.0f : -1.0f) * (1.0f + weight); }
    /// The weight and bend a driver joint's rotation says; false for a rotation within
    /// 0.5 of 0 (the driver at rest), which leaves the constraint's own.
    static bool driven(float rotation, float& weight, bool& bend_positive) {
        if (!(std::fabs(rotation) >= 0.5f)) return false;
        weight = std::fmin(std::fmax(std::fabs(rotation) - 1.0f, 0.0f), 1.0f);
        bend_positive = rotation > 0.0f;
        return true;
    }
};

}  // namespace engine::graphics
