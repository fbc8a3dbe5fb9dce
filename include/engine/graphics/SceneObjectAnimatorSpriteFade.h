#pragma once

#include "engine/graphics/SceneObjectAnimator.h"

namespace engine::graphics {

/// Fades the alpha of each of a sprite's four corners linearly from its value at the
/// first step to `target_alpha` over `duration` seconds, keeping red, green and blue,
/// then removes itself. The sprite is made visible at the first step and stays
/// visible, even when faded to 0. On an object that is not a sprite it changes
/// nothing and still removes itself on time. Script thread only.
///
///     sprite.add_animator("fade", SceneObjectAnimatorSpriteFade(0.0, 1.0))
class SceneObjectAnimatorSpriteFade : public SceneObjectAnimator {
public:
    /// A zero duration gives an infinite rate: done at the first step with dt > 0.
    SceneObjectAnimatorSpriteFade(float target_alpha, float duration);

    /// 0 at the start, 1 at the end.
    float get_progress() const { return progress_; }

protected:
    void on_update(float dt) override;

private:
    float target_alpha_;         // corner alpha at the end
    float rate_;                 // progress per second, 1 / duration
    float progress_ = 0.0f;      // 0 to 1
    float start_alpha_[4] = {};  // corner alphas captured at the first step
    bool started_ = false;       // the start alphas have been captured
};

}  // namespace engine::graphics
