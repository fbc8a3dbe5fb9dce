#pragma once

#include "engine/graphics/SceneObjectAnimator.h"

namespace engine::graphics {

/// Makes a sprite's alpha swing from `alpha_start` to `alpha_peak` and back once per
/// `period` seconds, for ever (a script removes it). Every step sets the whole colour to
/// white with that alpha: a tinted sprite shows its texture's own colours while it
/// pulses (the pulse is for glows and highlights), and a tint set meanwhile is replaced
/// at the next step rather than mixed in (SceneObjectAnimatorAlphaPulse.
/// PulsesTheAlphaOfAWhiteSprite). On an object that is not a sprite it changes nothing,
/// but its clock keeps running. Script thread only.
///
///     glow = SceneObjectAnimatorAlphaPulse(0.2, 1.0, 1.5)
///     sprite.add_animator("glow", glow)
class SceneObjectAnimatorAlphaPulse : public SceneObjectAnimator {
public:
    /// A zero period gives NaN alphas (not validated).
    SceneObjectAnimatorAlphaPulse(float alpha_start, float alpha_peak, float period);

    /// Seconds into the current period.
    float get_time() const { return time_; }

protected:
    void on_update(float dt) override;

private:
    float alpha_start_;  // alpha at the start of each period
    float alpha_peak_;   // alpha half way through each period
    float time_ = 0.0f;  // seconds into the current period
    float period_;       // seconds per pulse
};

}  // namespace engine::graphics
