#pragma once

#include "engine/graphics/SceneObjectAnimator.h"

namespace engine::graphics {

/// Turns its object at a velocity (radians per second) that approaches
/// `target_velocity` at `acceleration` (radians per second squared). An acceleration
/// of exactly 0 turns at the target velocity from the first step. A positive
/// `duration` is the time after which the animator removes itself; the step in which
/// that time runs out turns nothing, so a timed spin never turns past its time
/// (SceneObjectAnimatorRotate.PositiveDurationEndsWithoutTurningTheLastStep). 0 or less
/// turns until a script removes it. The object's rotation limits apply to every step.
/// Script thread only.
///
///     wheel.add_animator("spin", SceneObjectAnimatorRotate(6.0, 2.0, 0.0))
class SceneObjectAnimatorRotate : public SceneObjectAnimator {
public:
    SceneObjectAnimatorRotate(float target_velocity, float acceleration, float duration);

    /// Sets the target velocity; the current velocity approaches it at the acceleration.
    void set_velocity(float target_velocity) { target_velocity_ = target_velocity; }
    /// The current velocity (not the target).
    float get_velocity() const { return velocity_; }
    float get_target_velocity() const { return target_velocity_; }

protected:
    void on_update(float dt) override;

private:
    float acceleration_;     // radians per second squared
    float velocity_;         // current velocity, radians per second
    float target_velocity_;  // approached at the acceleration
    float duration_;         // seconds left; <= 0: for ever
};

}  // namespace engine::graphics
