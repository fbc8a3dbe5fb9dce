#pragma once

#include "engine/core/Vector.h"
#include "engine/graphics/SceneObjectAnimator.h"

namespace engine::graphics {

/// Slides its object from where it is at the first step to `target` in `duration`
/// seconds, then puts it exactly on the target and removes itself. Eased out
/// (`ease_in` false), it starts fast and overshoots by under one percent before
/// arriving; eased in, it starts with a small backward dip and accelerates into the
/// target. Script thread only.
///
///     card.add_animator("deal", SceneObjectAnimatorSlide(Vector(320, 400), 0.4, False))
class SceneObjectAnimatorSlide : public SceneObjectAnimator {
public:
    SceneObjectAnimatorSlide(const core::Vector<float>& target, float duration, bool ease_in);

protected:
    void on_update(float dt) override;

private:
    core::Vector<float> start_;   // position at the first step
    core::Vector<float> target_;  // where the slide ends
    core::Vector<float> delta_;   // target - start
    float duration_;              // seconds for the whole slide
    float phase_a_;               // 0 to 1 (ease out) or 1 to 0 (ease in)
    float phase_b_;               // share still to go (ease out) or gone (ease in)
    bool ease_in_;                // which of the two curves
    bool started_ = false;        // the start has been captured
};

}  // namespace engine::graphics
