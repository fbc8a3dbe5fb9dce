#include "engine/graphics/SceneObjectAnimatorMoveSpline.h"

#include "engine/graphics/SceneObject.h"

#include <algorithm>

namespace engine::graphics {

SceneObjectAnimatorMoveSpline::SceneObjectAnimatorMoveSpline(float duration) : duration_(duration) {}

void SceneObjectAnimatorMoveSpline::add_control_point(const core::Vector<float>& point) { points_.push_back(point); }

void SceneObjectAnimatorMoveSpline::on_update(float dt) {
    if (!object_ || points_.empty()) return;
    elapsed_ = std::min(elapsed_ + dt, duration_);
    if (points_.size() == 1) {
        object_->set_position(points_.front());
        return;
    }
    const float t = elapsed_ / duration_;
    const float u = 1.0f - t;
    // De Casteljau in place: each level overwrites point i with the blend of points i
    // and i + 1, which is not yet overwritten. The scratch array keeps its capacity, so
    // steps allocate only after a control point was added.
    work_.assign(points_.begin(), points_.end());
    for (std::size_t k = work_.size() - 1; k >= 1; --k)
        for (std::size_t i = 0; i < k; ++i) work_[i] = work_[i] * u + work_[i + 1] * t;
    object_->set_position(work_.front());
}

}  // namespace engine::graphics
