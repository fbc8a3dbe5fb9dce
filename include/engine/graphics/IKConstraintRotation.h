#pragma once

#include "engine/core/Object.h"
#include "engine/core/Vector.h"

namespace engine::graphics {

/// The target of an IK rotation handle: a rotation in radians, local to the joint's
/// parent or, with `in_world_space`, in the skeleton's space. Script classes derive
/// from it and override "initialise", "update" and "get_rotation" (which receives the
/// joint's world position, so a subclass can aim). Script thread only.
class IKConstraintRotation : public core::Object {
public:
    explicit IKConstraintRotation(bool in_world_space = false) : in_world_space_(in_world_space) {}

    /// Told the joint's local and world rotation when set on a controller. Nothing here.
    virtual void initialise(float local_rotation, float world_rotation);
    /// Once a frame, before the solve. Does nothing here.
    virtual void update(float dt);
    /// The target rotation. 0 here.
    virtual float get_rotation(const core::Vector<float>& joint_world_position);

    bool is_in_world_space() const { return in_world_space_; }

private:
    bool in_world_space_;  // fixed at construction
};

}  // namespace engine::graphics
