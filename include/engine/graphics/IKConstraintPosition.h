#pragma once

#include "engine/core/Object.h"
#include "engine/core/Vector.h"

namespace engine::graphics {

/// The target of an IK position handle, in the skeleton's space (the actor's local
/// space). Script classes derive from it and override "initialise", "update" and
/// "get_position": "get_position" is then called every frame the handle is solved.
/// An ActorControllerIK holds one reference on each of its constraints. Script thread only.
class IKConstraintPosition : public core::Object {
public:
    IKConstraintPosition() = default;

    /// Told the effector's world position when set on a controller. Does nothing here.
    virtual void initialise(const core::Vector<float>& current_position);
    /// Once a frame, before the solve. Does nothing here.
    virtual void update(float dt);
    /// The target. The origin here.
    virtual core::Vector<float> get_position();

    bool is_enabled() const { return enabled_; }
    void set_enabled(bool enabled) { enabled_ = enabled; }
    /// Mirrors a chain's bend.
    bool is_reversed() const { return reversed_; }
    void set_reversed(bool reversed) { reversed_ = reversed; }
    /// How much of the solution replaces the pose, 0..1: 1 (the default) poses the
    /// limb wholly, 0 leaves the pose alone. Refused (false, kept) outside 0..1 or NaN.
    float get_weight() const { return weight_; }
    bool set_weight(float weight);

private:
    bool enabled_ = true;    // solved only when true
    bool reversed_ = false;  // flips a chain's bend direction
    float weight_ = 1.0f;    // mix of the solution into the pose
};

}  // namespace engine::graphics
