#include "engine/graphics/SceneObjectAnimatorSpriteFade.h"

#include "engine/core/Colour.h"
#include "engine/graphics/Sprite.h"

namespace engine::graphics {

SceneObjectAnimatorSpriteFade::SceneObjectAnimatorSpriteFade(float target_alpha, float duration)
    : target_alpha_(target_alpha), rate_(1.0f / duration) {}

void SceneObjectAnimatorSpriteFade::on_update(float dt) {
    if (!object_) return;
    // Meant for sprites only; another object is left alone but the fade still ends on time.
    Sprite* sprite = dynamic_cast<Sprite*>(object_.get());
    if (!started_) {
        if (sprite) {
            for (int i = 0; i < 4; ++i) start_alpha_[i] = sprite->get_colour(i).a;
            sprite->set_visibility(true);
        }
        started_ = true;
    }
    progress_ = rate_ * dt + progress_;
    if (progress_ > 1.0f) progress_ = 1.0f;
    if (sprite) {
        for (int i = 0; i < 4; ++i) {
            core::Colour colour = sprite->get_colour(i);
            colour.a = (1.0f - progress_) * start_alpha_[i] + target_alpha_ * progress_;
            sprite->set_colour(i, colour);
        }
    }
    // The sprite stays visible even when faded out.
    if (progress_ == 1.0f) finish();
}

}  // namespace engine::graphics
