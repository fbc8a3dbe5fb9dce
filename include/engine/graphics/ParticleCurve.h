#pragma once

#include "engine/core/Colour.h"

#include <algorithm>
#include <vector>

namespace engine::graphics {

/// Keyframes of a particle's size or colour over its life, read from "SizeCurve" and
/// "ColourCurve" elements. Evaluated at t from 0 (birth) to 1 (death): the first
/// value up to the first key, the last value after the last key, linear in between
/// (colours channel by channel); an empty curve gives a default-constructed value
/// (0 for a size, opaque white for a colour). A plain value: any thread.
template <class T>
class ParticleCurve {
public:
    struct Keyframe {
        float key;
        T value;
    };

    /// Keeps the keys ascending; a repeated key goes in front of its equals.
    void add_keyframe(float key, const T& value) {
        auto at = std::lower_bound(keyframes_.begin(), keyframes_.end(), key,
                                   [](const Keyframe& k, float t) { return k.key < t; });
        keyframes_.insert(at, Keyframe{key, value});
    }

    /// The value at `t`; allocates nothing.
    T evaluate(float t) const {
        if (keyframes_.empty()) return T();
        // The first keyframe whose key is >= t.
        auto next = std::lower_bound(keyframes_.begin(), keyframes_.end(), t,
                                     [](const Keyframe& k, float v) { return k.key < v; });
        if (next == keyframes_.begin()) return next->value;
        if (next == keyframes_.end()) return keyframes_.back().value;
        const Keyframe& before = *(next - 1);
        const float f = (t - before.key) / (next->key - before.key);
        return lerp(before.value, next->value, f);
    }

    const std::vector<Keyframe>& get_keyframes() const { return keyframes_; }

private:
    static float lerp(float a, float b, float f) { return a + (b - a) * f; }
    static core::Colour lerp(const core::Colour& a, const core::Colour& b, float f) {
        return {lerp(a.r, b.r, f), lerp(a.g, b.g, f), lerp(a.b, b.b, f), lerp(a.a, b.a, f)};
    }

    std::vector<Keyframe> keyframes_;  // ascending keys
};

using ParticleSizeCurve = ParticleCurve<float>;
using ParticleColourCurve = ParticleCurve<core::Colour>;

}  // namespace engine::graphics
