#include "engine/graphics/SceneObjectAnimatorRotate.h"

#include "engine/graphics/SceneObject.h"

namespace engine::graphics {

SceneObjectAnimatorRotate::SceneObjectAnimatorRotate(float target_velocity, float acceleration, float duration)
    : acceleration_(acceleration),
      // Without acceleration the object turns at full speed from the first step.
      velocity_(acceleration == 0.0f ? target_velocity : 0.0f),
      target_velocity_(target_velocity),
      duration_(duration) {}

void SceneObjectAnimatorRotate::on_update(float dt) {
    if (!object_) return;
    if (duration_ > 0.0f) {
        duration_ = duration_ - dt;
        // The step in which the time runs out turns nothing: a timed spin never turns
        // past its time (see the header).
        if (duration_ <= 0.0f) {
            finish();
            return;
        }
    }
    if (velocity_ != target_velocity_) {
        if (velocity_ < target_velocity_) {
            velocity_ = velocity_ + dt * acceleration_;
            if (velocity_ > target_velocity_) velocity_ = target_velocity_;
        } else if (velocity_ > target_velocity_) {
            velocity_ = velocity_ - acceleration_ * dt;
            if (velocity_ < target_velocity_) velocity_ = target_velocity_;
        }
    }
    object_->set_rotation(object_->get_local_rotation() + velocity_ * dt);
}

}  // namespace engine::graphics
