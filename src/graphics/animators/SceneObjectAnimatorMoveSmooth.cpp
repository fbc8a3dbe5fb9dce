#include "engine/graphics/SceneObjectAnimatorMoveSmooth.h"

#include "engine/graphics/SceneObject.h"

#include <algorithm>
#include <cmath>

namespace engine::graphics {

SceneObjectAnimatorMoveSmooth::SceneObjectAnimatorMoveSmooth(const core::Vector<float>& target, float duration,
                                                             bool ease_in)
    : target_(target), remaining_(duration), duration_(duration), ease_in_(ease_in) {}

void SceneObjectAnimatorMoveSmooth::on_update(float dt) {
    if (!object_) return;
    if (!started_) {
        start_ = object_->get_local_position();
        started_ = true;
    }
    remaining_ = std::max(remaining_ - dt, 0.0f);
    if (remaining_ <= 0.0f) {
        object_->set_position(target_);
        finish();
        return;
    }
    const float t = 1.0f - remaining_ / duration_;
    // The animators' half turn, the float 3.14159, as in AlphaPulse: the expected values
    // of SceneObjectAnimatorMoveSmooth.EaseOutPassesOvershootsAndLands are computed from
    // it, float for float. The curve differs from pi's by under one part in a million.
    constexpr float kPi = 3.14159f;
    float k;
    if (ease_in_)
        k = std::cos(kPi * (1.0f - t)) * t * t;
    else
        k = 1.0f - std::cos(kPi * t) * (1.0f - t) * (1.0f - t);
    object_->set_position(start_ + (target_ - start_) * k);
}

}  // namespace engine::graphics
