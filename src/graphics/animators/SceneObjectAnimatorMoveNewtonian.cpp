#include "engine/graphics/SceneObjectAnimatorMoveNewtonian.h"

#include "engine/graphics/SceneObject.h"

namespace engine::graphics {

SceneObjectAnimatorMoveNewtonian::SceneObjectAnimatorMoveNewtonian(const core::Vector<float>& velocity)
    : velocity_(velocity) {}

void SceneObjectAnimatorMoveNewtonian::on_update(float dt) {
    if (!object_) return;
    velocity_.y = velocity_.y + gravity_ * dt;
    const core::Vector<float> step(velocity_.x * dt, velocity_.y * dt);
    const core::Vector<float> p = object_->get_local_position() + step;
    object_->set_position(p);
    // A target of 0 (the default) or less means no line; see the header.
    if (bounce_target_ <= 0.0f) return;
    const bool hit = (gravity_ > 0.0f && p.y >= bounce_target_) || (gravity_ < 0.0f && p.y <= bounce_target_);
    if (!hit) return;
    if (num_bounces_ == 0) {
        object_->set_position({p.x, bounce_target_});
        finish();
        return;
    }
    // Only exactly 0 ends the flight: a negative count bounces for ever.
    num_bounces_ = num_bounces_ - 1;
    velocity_.y = -bounce_damping_ * velocity_.y;
    object_->set_position({p.x, bounce_target_ - (p.y - bounce_target_)});
}

}  // namespace engine::graphics
