#pragma once

#include "engine/graphics/SceneObjectAnimator.h"

namespace engine::graphics {

/// Wipes a sprite in (`reveal` true) or out from left to right: a soft edge 0.2 of
/// the sprite's width wide sweeps across it through the sprite's alpha stops. The edge
/// starts wholly outside the sprite, 0.2 before its left side, so the first frame shows
/// no hard edge; it moves at one sprite width per `duration`, so the whole wipe takes
/// 1.2 times `duration` (SceneObjectAnimatorSpriteWipe.
/// RevealTakesAboutOnePointTwoTimesItsDuration). The sprite is made visible at the
/// first step; a finished wipe-out hides it and a finished reveal leaves it without
/// stops (fully opaque); then the animator removes itself. On an object that is not a
/// sprite it changes nothing and still removes itself on time. Script thread only.
///
///     title.add_animator("in", SceneObjectAnimatorSpriteWipe(True, 0.8))
class SceneObjectAnimatorSpriteWipe : public SceneObjectAnimator {
public:
    /// A zero duration gives an infinite rate: done at the first step with dt > 0.
    SceneObjectAnimatorSpriteWipe(bool reveal, float duration);

    /// Position of the edge's left side, from -0.2 to 1 across the sprite.
    float get_edge() const { return edge_; }

protected:
    void on_update(float dt) override;

private:
    bool reveal_;           // true: transparent to opaque
    float edge_ = 0.0f;     // left side of the wipe band, set to -0.2 at the first step
    float rate_;            // edge advance per second, 1 / duration
    bool started_ = false;  // the first step has been made
};

}  // namespace engine::graphics
