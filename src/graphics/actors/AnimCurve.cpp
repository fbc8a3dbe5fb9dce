#include "engine/graphics/AnimCurve.h"

#include <algorithm>

namespace engine::graphics {

void AnimCurve::add_keyframe(float key, float value) {
    auto at = std::find_if(keyframes_.begin(), keyframes_.end(), [&](const Keyframe& k) { return k.first >= key; });
    keyframes_.insert(at, {key, value});
}

float AnimCurve::evaluate(float x) const {
    if (keyframes_.empty()) return 0.0f;
    auto at = std::find_if(keyframes_.begin(), keyframes_.end(), [&](const Keyframe& k) { return k.first >= x; });
    if (at == keyframes_.begin()) return at->second;
    if (at == keyframes_.end()) return keyframes_.back().second;
    const Keyframe& before = *(at - 1);
    const float t = (x - before.first) / (at->first - before.first);
    return t * at->second + (1.0f - t) * before.second;
}

}  // namespace engine::graphics
