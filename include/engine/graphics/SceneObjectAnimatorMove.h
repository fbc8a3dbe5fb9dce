#pragma once

#include "engine/core/Vector.h"
#include "engine/graphics/SceneObjectAnimator.h"

namespace engine::graphics {

/// Moves its object in a straight line from where it is at the first step to
/// `target`, speeding up by `acceleration` per second up to `max_speed`, and removes
/// itself on arrival. Its speeds are in units per step: the object advances by its
/// current speed on every step, not by speed times dt, so it covers 60 x `max_speed`
/// units a second at 60 frames a second and less at a lower frame rate. Content made
/// for this animator gives its speeds that way (SceneObjectAnimatorMove.
/// AdvancesItsSpeedPerStepAndLandsOnTheTarget); for units per second use MoveFixed,
/// MoveSmooth or Slide. Script thread only.
///
///     ship.add_animator("go", SceneObjectAnimatorMove(Vector(400, 300), 60.0, 8.0))
class SceneObjectAnimatorMove : public SceneObjectAnimator {
public:
    /// An acceleration of 0 never moves and never finishes (not validated).
    SceneObjectAnimatorMove(const core::Vector<float>& target, float acceleration, float max_speed);

protected:
    void on_update(float dt) override;

private:
    core::Vector<float> start_;      // position at the first step
    core::Vector<float> target_;     // where the move ends
    core::Vector<float> direction_;  // unit vector from start to target
    float travelled_ = 0.0f;         // distance covered so far
    float distance_ = 0.0f;          // distance from start to target
    float acceleration_;             // speed gained per second
    float speed_ = 0.0f;             // units per step
    float max_speed_;                // speed limit, units per step
    bool started_ = false;           // the start has been captured
};

}  // namespace engine::graphics
