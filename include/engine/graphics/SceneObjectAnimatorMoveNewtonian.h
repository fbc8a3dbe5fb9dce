#pragma once

#include "engine/core/Vector.h"
#include "engine/graphics/SceneObjectAnimator.h"

namespace engine::graphics {

/// Ballistic flight: the object keeps its velocity (units per second) while gravity
/// (686 units per second squared towards increasing y by default) changes its
/// vertical part. With a positive `bounce_target` the object hits the horizontal line
/// y = bounce_target: it bounces `num_bounces` times (the overshoot mirrored about the
/// line, vertical speed reversed and scaled by `bounce_damping`), and on the next hit
/// it is put on the line and the animator removes itself. A bounce target of 0 or less
/// means no line: the flight goes on until a script removes the animator. 0 is the
/// default, and in the pixel projection y grows down from 0 at the window's top edge,
/// so no floor on screen is lost (SceneObjectAnimatorMoveNewtonian.
/// WithoutALineFliesForEver). Script thread only.
///
///     ball = SceneObjectAnimatorMoveNewtonian(Vector(120, -400))
///     ball.bounce_target, ball.num_bounces, ball.bounce_damping = 500, 3, 0.6
///     sprite.add_animator("throw", ball)
class SceneObjectAnimatorMoveNewtonian : public SceneObjectAnimator {
public:
    explicit SceneObjectAnimatorMoveNewtonian(const core::Vector<float>& velocity);

    const core::Vector<float>& get_velocity() const { return velocity_; }

    /// Vertical acceleration, units per second squared; 0 never hits the line.
    float get_gravity() const { return gravity_; }
    void set_gravity(float gravity) { gravity_ = gravity; }
    /// The y of the bounce line; 0 or less: no line.
    float get_bounce_target() const { return bounce_target_; }
    void set_bounce_target(float bounce_target) { bounce_target_ = bounce_target; }
    /// Factor applied to the reversed vertical speed at a bounce.
    float get_bounce_damping() const { return bounce_damping_; }
    void set_bounce_damping(float bounce_damping) { bounce_damping_ = bounce_damping; }
    /// Bounces left before the hit that ends the flight.
    int get_num_bounces() const { return num_bounces_; }
    void set_num_bounces(int num_bounces) { num_bounces_ = num_bounces; }

protected:
    void on_update(float dt) override;

private:
    core::Vector<float> velocity_;  // units per second
    float gravity_ = 686.0f;        // units per second squared, towards increasing y
    float bounce_target_ = 0.0f;    // y of the bounce line; <= 0: none
    float bounce_damping_ = 0.0f;   // vertical speed kept (reversed) at a bounce
    int num_bounces_ = 0;           // bounces left
};

}  // namespace engine::graphics
