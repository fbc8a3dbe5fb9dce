#pragma once

#include "engine/graphics/SceneObjectAnimator.h"

namespace engine::graphics {

/// Scales its object uniformly and linearly from its scale at the first step (the x
/// component; uniform scaling is assumed) to `target_scale` over `duration` seconds,
/// then removes itself. Script thread only.
///
///     icon.add_animator("grow", SceneObjectAnimatorScale(2.0, 0.5))
class SceneObjectAnimatorScale : public SceneObjectAnimator {
public:
    SceneObjectAnimatorScale(float target_scale, float duration);

protected:
    void on_update(float dt) override;

private:
    float start_scale_ = 0.0f;  // x scale captured at the first step
    float target_scale_;        // scale at the end
    float elapsed_ = 0.0f;      // seconds since the first step
    float duration_;            // seconds for the whole change
    bool started_ = false;      // the start scale has been captured
};

}  // namespace engine::graphics
