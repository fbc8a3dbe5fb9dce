#pragma once

#include "engine/graphics/SceneObjectAnimator.h"

namespace engine::graphics {

/// One pulse of uniform scale: from `scale_start` up to `scale_peak` in the first half
/// of `duration` and back down in the second; then the scale is set to `scale_start`
/// and the animator removes itself. It does not repeat. Script thread only.
///
///     button.add_animator("pop", SceneObjectAnimatorPulse(1.0, 1.3, 0.25))
class SceneObjectAnimatorPulse : public SceneObjectAnimator {
public:
    SceneObjectAnimatorPulse(float scale_start, float scale_peak, float duration);

protected:
    void on_update(float dt) override;

private:
    float scale_start_;     // scale before and after the pulse
    float scale_peak_;      // scale half way through
    float elapsed_ = 0.0f;  // seconds since the first step
    float duration_;        // seconds for the whole pulse
};

}  // namespace engine::graphics
