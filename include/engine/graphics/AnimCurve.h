#pragma once

#include <utility>
#include <vector>

namespace engine::graphics {

/// A piecewise-linear curve of (key, value) keyframes kept in ascending key order,
/// read from the actor database ("AnimCurve"). A blend shape evaluates it at its driver
/// joint's rotation. A plain value; script thread (it belongs to the actor database).
class AnimCurve {
public:
    using Keyframe = std::pair<float, float>;  // key, value

    /// Inserts before the first keyframe whose key is >= `key`: a repeated key goes in
    /// front of its equals, so the one given last is met first
    /// (AnimCurve.RepeatedKeyGoesInFrontOfItsEquals).
    void add_keyframe(float key, float value);

    /// 0 for an empty curve; the first value at or before the first key, the last value
    /// after the last key, and otherwise the straight line between the two keyframes
    /// around `x`. At an interior key the value of the first keyframe with that key.
    float evaluate(float x) const;

    const std::vector<Keyframe>& get_keyframes() const { return keyframes_; }

private:
    std::vector<Keyframe> keyframes_;  // ascending keys
};

}  // namespace engine::graphics
