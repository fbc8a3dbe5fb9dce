#include "engine/graphics/DecoratorFade.h"

#include "engine/graphics/Texture.h"

namespace engine::graphics {

DecoratorFade::~DecoratorFade() = default;

void DecoratorFade::fade(float from, float to, float delay, float duration, const Texture& transition_texture) {
    fades_.push_back(Fade{from, to, delay, duration, duration, 0.0f, std::make_unique<Texture>(transition_texture)});
}

void DecoratorFade::fade(float from, float to, float delay, float duration) {
    fades_.push_back(Fade{from, to, delay, duration, duration, 0.0f, nullptr});
}

void DecoratorFade::update(float dt) {
    if (fades_.empty()) return;
    Fade& fade = fades_.front();
    float left = dt;
    if (fade.delay > 0.0f) {
        fade.delay -= dt;
        if (fade.delay <= 0.0f) {
            left = -fade.delay;
            fade.delay = 0.0f;
        } else {
            left = 0.0f;
        }
    }
    if (fade.delay == 0.0f && fade.remaining == fade.duration && left > 0.0f) on_fade_begin(fade);
    fade.remaining -= left;
    if (fade.remaining <= 0.0f) {
        fade.progress = 1.0f;
        on_fade_end(fade);
        fades_.pop_front();  // the next fade starts on the next update
        if (fades_.empty() && on_fades_finished_) {
            // Kept alive through the call, which may replace it or queue more fades.
            const FinishedCallback call = on_fades_finished_;
            if (*call) (*call)();
        }
    } else {
        fade.progress = 1.0f - fade.remaining / fade.duration;
    }
}

void DecoratorFade::on_fade_begin(const Fade&) {}
void DecoratorFade::on_fade_end(const Fade&) {}

}  // namespace engine::graphics
