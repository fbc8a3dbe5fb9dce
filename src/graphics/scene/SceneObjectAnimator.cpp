#include "engine/graphics/SceneObjectAnimator.h"

#include "engine/graphics/SceneObject.h"

namespace engine::graphics {

SceneObjectAnimator::~SceneObjectAnimator() = default;

void SceneObjectAnimator::set_object(SceneObject* object) { object_ = object; }

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
    if (SceneObject* object = object_) object->remove_animator(this);
    if (on_finished && *on_finished) (*on_finished)();
}

}  // namespace engine::graphics
