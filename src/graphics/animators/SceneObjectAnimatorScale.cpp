#include "engine/graphics/SceneObjectAnimatorScale.h"

#include "engine/graphics/SceneObject.h"

namespace engine::graphics {

SceneObjectAnimatorScale::SceneObjectAnimatorScale(float target_scale, float duration)
    : target_scale_(target_scale), duration_(duration) {}

void SceneObjectAnimatorScale::on_update(float dt) {
    if (!object_) return;
    if (!started_) {
        // Uniform scaling is assumed: y is ignored.
        start_scale_ = object_->get_local_scale().x;
        started_ = true;
    }
    elapsed_ = elapsed_ + dt;
    if (duration_ <= elapsed_) {
        object_->set_scale({target_scale_, target_scale_});
        finish();
        return;
    }
    const float s = elapsed_ / duration_;
    const float v = s * target_scale_ + (1.0f - s) * start_scale_;
    object_->set_scale({v, v});
}

}  // namespace engine::graphics
