#pragma once

#include "engine/core/Vector.h"
#include "engine/graphics/SceneObjectAnimator.h"

#include <vector>

namespace engine::graphics {

/// Moves its object along the Bezier curve of its control points in `duration`
/// seconds: the curve starts at the first point and ends at the last, the others
/// attract it. At the end the object stays on the last point, and the animator stays
/// until a script removes it. Without control points it does nothing; with one, it
/// puts the object there. Script thread only.
///
///     path = SceneObjectAnimatorMoveSpline(2.0)
///     for p in [(0, 0), (200, -150), (400, 0)]: path.add_control_point(p)
///     bird.add_animator("path", path)
class SceneObjectAnimatorMoveSpline : public SceneObjectAnimator {
public:
    explicit SceneObjectAnimatorMoveSpline(float duration);

    /// Appends a control point at the end of the curve.
    void add_control_point(const core::Vector<float>& point);
    const std::vector<core::Vector<float>>& get_control_points() const { return points_; }

protected:
    void on_update(float dt) override;

private:
    float elapsed_ = 0.0f;                     // seconds along the curve, at most duration
    float duration_;                           // seconds for the whole curve
    std::vector<core::Vector<float>> points_;  // control points in insertion order
    std::vector<core::Vector<float>> work_;    // de Casteljau scratch, reused every step
};

}  // namespace engine::graphics
