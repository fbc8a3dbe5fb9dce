#pragma once

#include "engine/core/Vector.h"
#include "engine/graphics/SceneObjectAnimator.h"

namespace engine::graphics {

/// Moves its object from where it is at the first step to `target` in `duration`
/// seconds along an eased curve, then puts it exactly on the target and removes
/// itself. Eased out (`ease_in` false), it passes the target half way, overshoots it by
/// about 4.4 percent and settles; eased in, it first dips slightly backwards.
/// Script thread only.
///
///     panel.add_animator("show", SceneObjectAnimatorMoveSmooth(Vector(0, 0), 0.6, False))
class SceneObjectAnimatorMoveSmooth : public SceneObjectAnimator {
public:
    SceneObjectAnimatorMoveSmooth(const core::Vector<float>& target, float duration, bool ease_in);

protected:
    void on_update(float dt) override;

private:
    core::Vector<float> start_;   // position at the first step
    core::Vector<float> target_;  // where the move ends
    float remaining_;             // seconds left
    float duration_;              // seconds for the whole move
    bool started_ = false;        // the start has been captured
    bool ease_in_;                // which of the two curves
};

}  // namespace engine::graphics
