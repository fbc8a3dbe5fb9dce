#pragma once

#include "engine/core/Vector.h"
#include "engine/graphics/SceneObjectAnimator.h"

namespace engine::graphics {

/// Moves its object at a constant velocity (units per second) until a script removes
/// it. Script thread only.
///
///     cloud.add_animator("drift", SceneObjectAnimatorMoveFixed(Vector(-12, 0)))
class SceneObjectAnimatorMoveFixed : public SceneObjectAnimator {
public:
    explicit SceneObjectAnimatorMoveFixed(const core::Vector<float>& velocity);

protected:
    void on_update(float dt) override;

private:
    core::Vector<float> velocity_;  // units per second
};

}  // namespace engine::graphics
