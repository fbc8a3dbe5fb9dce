#include "engine/graphics/SceneObjectAnimator.h"

#include "engine/graphics/SceneObject.h"

namespace engine::graphics {

SceneObjectAnimator::~SceneObjectAnimator() {
    if (object_) object_->forget(this);
}

void SceneObjectAnimator::set_object(SceneObject* object) {
    if (object == object_) return;
    if (object_) object_->forget(this);
    object_ = object;
    if (object_) object_->watch(this);
}

void SceneObjectAnimator::update(float dt) {
    if (delay_ > 0.0f) {
        delay_ -= dt;
        if (delay_ > 0.0f) return;
        const float past = -delay_;
        delay_ = 0.0f;
        on_update(past);
        return;
    }
    on_update(dt);  // also for a NaN delay
}

void SceneObjectAnimator::finish() {
    // The object may drop the last reference to us: nothing of ours is used after it,
    // so the callback is taken out first. It runs once the animator has left, so that
    // it may put another under the same name; the object's step tolerates that.
    FinishedCallback on_finished = std::move(on_finished_);
    object_->remove_animator(this);
    if (on_finished && *on_finished) (*on_finished)();
}

}  // namespace engine::graphics
