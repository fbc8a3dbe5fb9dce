#include "engine/graphics/SceneObjectAnimatorPulse.h"

#include "engine/graphics/SceneObject.h"

namespace engine::graphics {

SceneObjectAnimatorPulse::SceneObjectAnimatorPulse(float scale_start, float scale_peak, float duration)
    : scale_start_(scale_start), scale_peak_(scale_peak), duration_(duration) {}

void SceneObjectAnimatorPulse::on_update(float dt) {
    if (!object_) return;
    elapsed_ = elapsed_ + dt;
    const float half = duration_ * 0.5f;
    float s;
    if (half > elapsed_) {
        s = elapsed_ / half;
    } else if (duration_ > elapsed_) {
        s = 1.0f - (elapsed_ - half) / half;
    } else {
        object_->set_scale({scale_start_, scale_start_});
        finish();
        return;
    }
    const float v = (1.0f - s) * scale_start_ + s * scale_peak_;
    object_->set_scale({v, v});
}

}  // namespace engine::graphics
