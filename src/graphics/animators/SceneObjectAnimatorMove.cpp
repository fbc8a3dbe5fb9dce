#include "engine/graphics/SceneObjectAnimatorMove.h"

#include "engine/graphics/SceneObject.h"

#include <algorithm>

namespace engine::graphics {

SceneObjectAnimatorMove::SceneObjectAnimatorMove(const core::Vector<float>& target, float acceleration, float max_speed)
    : target_(target), acceleration_(acceleration), max_speed_(max_speed) {}

void SceneObjectAnimatorMove::on_update(float dt) {
    if (!object_) return;
    if (!started_) {
        start_ = object_->get_local_position();
        direction_ = target_ - start_;
        distance_ = direction_.length();
        direction_ = direction_.normalised();  // a zero direction stays zero
        started_ = true;
    }
    speed_ = std::min(speed_ + acceleration_ * dt, max_speed_);
    // The advance per step is the speed itself, not speed * dt: speeds are in units per
    // step (see the header).
    travelled_ = travelled_ + speed_;
    if (distance_ > travelled_) {
        object_->set_position(start_ + direction_ * travelled_);
        return;
    }
    object_->set_position(target_);
    finish();
}

}  // namespace engine::graphics
