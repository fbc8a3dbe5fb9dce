#include "engine/graphics/SceneObjectAnimatorMoveFixed.h"

#include "engine/graphics/SceneObject.h"

namespace engine::graphics {

SceneObjectAnimatorMoveFixed::SceneObjectAnimatorMoveFixed(const core::Vector<float>& velocity) : velocity_(velocity) {}

void SceneObjectAnimatorMoveFixed::on_update(float dt) {
    if (!object_) return;
    object_->set_position(object_->get_local_position() + velocity_ * dt);
}

}  // namespace engine::graphics
