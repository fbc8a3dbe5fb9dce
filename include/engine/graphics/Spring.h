#pragma once

#include "engine/core/Vector.h"

namespace engine::graphics {

/// A 2D damped spring that pulls a point towards a moving target: a plain value, not
/// reference counted and not visible to scripts (actor meshes keep one per soft
/// vertex). The damping is tuned for steps of 1/60 s: keep dt at or below that. Any
/// thread, one spring per thread at a time: it uses no engine state.
///
///     Spring s(p, {0, 0}, 40.0f, 0.1f, 5.0f, 1.0f);
///     bool moving = s.update(std::min(dt, 1.0f / 60.0f), target);
class Spring {
public:
    /// All values are stored as given. A `max_distance` of 0 or less does not limit
    /// how far the point may trail the target.
    Spring(const core::Vector<float>& position, const core::Vector<float>& velocity, float stiffness, float damping,
           float max_distance, float rest_threshold);

    const core::Vector<float>& get_position() const { return position_; }
    const core::Vector<float>& get_velocity() const { return velocity_; }

    /// One step towards `target`. True while the spring still moves; false once it has
    /// come to rest, in which case the position is the target and the velocity zero.
    bool update(float dt, const core::Vector<float>& target);

private:
    core::Vector<float> position_;  // current point
    core::Vector<float> velocity_;  // units per second
    float stiffness_;               // pull per unit of distance
    float damping_;                 // velocity lost per 1/60 s step, 0 to 1
    float max_distance_;            // furthest the point may trail; <= 0: unlimited
    float rest_threshold_;          // distance (and squared speed) below which it rests
};

}  // namespace engine::graphics
