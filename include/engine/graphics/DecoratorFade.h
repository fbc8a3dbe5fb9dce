#pragma once

#include "engine/graphics/FinishedCallback.h"

#include <deque>
#include <memory>

namespace engine::graphics {

class Texture;

/// A queue of fades for whatever it decorates: the front fade runs, the others wait.
/// A fade goes from one alpha factor to another over its duration, after a delay, with
/// an optional transition texture for a dissolve. Script thread only (the thread that
/// imported libgraphics and owns the GL context): a fade holds a texture handle.
class DecoratorFade {
public:
    struct Fade {
        float from;                                   // alpha factor at the start
        float to;                                     // alpha factor at the end
        float delay;                                  // seconds still to wait
        float remaining;                              // seconds still to run
        float duration;                               // the whole length
        float progress;                               // 0 to 1
        std::unique_ptr<Texture> transition_texture;  // a copy of the handle given; null: uniform
    };

    DecoratorFade() = default;
    DecoratorFade(const DecoratorFade&) = delete;
    DecoratorFade& operator=(const DecoratorFade&) = delete;
    virtual ~DecoratorFade();

    /// Queues a fade.
    void fade(float from, float to, float delay, float duration, const Texture& transition_texture);
    /// Queues a uniform fade: the whole picture's alpha at once, no transition texture.
    void fade(float from, float to, float delay, float duration);
    /// Steps the front fade; a fade that ends is removed and the next starts on the
    /// following update.
    void update(float dt);
    /// The running fade, or null.
    const Fade* get_fade() const { return fades_.empty() ? nullptr : &fades_.front(); }

    /// Called whenever the queue empties: the last queued fade has ended (during the
    /// update that ends it). It stays set for later fades; null calls nothing.
    void set_on_fades_finished(FinishedCallback callback) { on_fades_finished_ = std::move(callback); }
    const FinishedCallback& get_on_fades_finished() const { return on_fades_finished_; }

protected:
    virtual void on_fade_begin(const Fade& fade);
    virtual void on_fade_end(const Fade& fade);

private:
    std::deque<Fade> fades_;              // front: the running fade
    FinishedCallback on_fades_finished_;  // asked for by a script, or null
};

}  // namespace engine::graphics
