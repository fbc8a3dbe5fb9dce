#include "engine/graphics/SceneObjectAnimatorSpriteWipe.h"

#include "engine/graphics/Sprite.h"

#include <algorithm>

namespace engine::graphics {

namespace {
constexpr float kBand = 0.2f;  // width of the soft edge, in sprite widths
}  // namespace

SceneObjectAnimatorSpriteWipe::SceneObjectAnimatorSpriteWipe(bool reveal, float duration)
    : reveal_(reveal), rate_(1.0f / duration) {}

void SceneObjectAnimatorSpriteWipe::on_update(float dt) {
    if (!object_) return;
    // Meant for sprites only; another object is left alone but the wipe still ends on time.
    Sprite* sprite = dynamic_cast<Sprite*>(object_.get());
    if (!started_) {
        // One band before the left side, so the first frame shows no hard edge; the wipe
        // then lasts 1.2 times the duration (see the header).
        edge_ = -kBand;
        if (sprite) {
            sprite->set_visibility(true);
            sprite->clear_alpha_stops();
            const float alpha = reveal_ ? 0.0f : 1.0f;
            sprite->set_alpha_stop(0.0f, alpha);
            sprite->set_alpha_stop(1.0f, alpha);
        }
        started_ = true;
    }
    edge_ = rate_ * dt + edge_;
    if (sprite) sprite->clear_alpha_stops();
    if (edge_ >= 1.0f) {
        // A finished reveal keeps no stops: fully opaque.
        if (sprite && !reveal_) sprite->set_visibility(false);
        finish();
        return;
    }
    if (!sprite) return;
    const float far = std::min(edge_ + kBand, 1.0f);
    // Behind the band: `behind`; ahead of it: `ahead`.
    const float behind = reveal_ ? 1.0f : 0.0f;
    const float ahead = reveal_ ? 0.0f : 1.0f;
    if (edge_ >= 0.0f) {
        sprite->set_alpha_stop(0.0f, behind);
        sprite->set_alpha_stop(edge_, behind);
    } else {
        // The band still overlaps the left side: its alpha there.
        sprite->set_alpha_stop(0.0f, reveal_ ? 1.0f + edge_ / kBand : -edge_ / kBand);
    }
    sprite->set_alpha_stop(far, ahead);
    sprite->set_alpha_stop(1.0f, ahead);
}

}  // namespace engine::graphics
