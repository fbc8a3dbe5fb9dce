#include "engine/graphics/SceneObjectAnimatorAlphaPulse.h"

#include "engine/core/Colour.h"
#include "engine/graphics/Sprite.h"

#include <cmath>

namespace engine::graphics {

SceneObjectAnimatorAlphaPulse::SceneObjectAnimatorAlphaPulse(float alpha_start, float alpha_peak, float period)
    : alpha_start_(alpha_start), alpha_peak_(alpha_peak), period_(period) {}

void SceneObjectAnimatorAlphaPulse::on_update(float dt) {
    if (!object_) return;
    time_ = std::fmod(time_ + dt, period_);
    // The animators' half turn is the float 3.14159, not pi (as in MoveSmooth): one
    // figure for all of them, which the expected values of
    // SceneObjectAnimatorAlphaPulse.BlendsBetweenStartAndPeak and
    // test_alpha_pulse_follows_the_curve are computed from, float for float. The phase
    // differs from pi's by under one part in a million.
    const float phase = time_ / period_ * 2.0f * 3.14159f;
    const float k = std::cos(phase) * -1.0f * 0.5f + 0.5f;
    const float alpha = (alpha_peak_ - alpha_start_) * k + alpha_start_;
    // Not a sprite: nothing to change, but the clock above keeps running.
    if (Sprite* sprite = dynamic_cast<Sprite*>(object_.get()))
        sprite->set_colour(core::Colour(1.0f, 1.0f, 1.0f, alpha));  // the whole colour: see the header
}

}  // namespace engine::graphics
