#include "engine/graphics/SceneObjectAnimatorSlide.h"

#include "engine/graphics/SceneObject.h"

#include <cmath>

namespace engine::graphics {

SceneObjectAnimatorSlide::SceneObjectAnimatorSlide(const core::Vector<float>& target, float duration, bool ease_in)
    : target_(target),
      duration_(duration),
      phase_a_(ease_in ? 1.0f : 0.0f),
      phase_b_(ease_in ? 0.0f : 1.0f),
      ease_in_(ease_in) {}

void SceneObjectAnimatorSlide::on_update(float dt) {
    if (!object_) return;
    if (!started_) {
        start_ = object_->get_local_position();
        delta_ = target_ - start_;
        started_ = true;
    }
    const float q = dt / duration_;
    if (ease_in_) {
        phase_a_ = phase_a_ - q;
        phase_b_ = q + phase_b_;
    } else {
        phase_a_ = phase_a_ + q;
        phase_b_ = phase_b_ - q;
    }
    const float u = phase_a_ + 1.0f;
    const float w = std::cos(u * u - 1.0f);  // radians, 0 to 3 over the slide
    float k = w * phase_b_ * phase_b_ * phase_b_;
    if (!ease_in_) k = 1.0f - k;
    if (ease_in_ ? phase_b_ >= 1.0f : phase_b_ <= 0.0f) {
        object_->set_position(target_);
        finish();
        return;
    }
    object_->set_position(start_ + delta_ * k);
}

}  // namespace engine::graphics
