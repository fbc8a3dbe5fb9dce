#pragma once

#include "engine/core/Colour.h"
#include "engine/core/Vector.h"
#include "engine/graphics/ParticleCurve.h"

#include <memory>
#include <string>

namespace engine::graphics {

/// One kind of particle an emitter makes: read from a "ParticleData" element and owned
/// by its ParticleEmitterData. Shared by every system made from the same definition,
/// so it is not changed once loaded. Script thread only, like the database that owns it.
struct ParticleData {
    /// The chance that its emitter picks this kind; an emitter's kinds are meant to sum to 1.
    float frequency = 1.0f;
    /// Seconds: x = min, y = max.
    core::Vector<float> life;
    /// Half extent of the quad in pixels: x is used without a size curve (y is read
    /// and kept, but nothing uses it).
    core::Vector<float> size;
    /// Colour without a colour curve: opaque white.
    core::Colour colour;
    /// Joined to the loader's base path; empty: the quad is drawn untextured.
    std::string texture_path;
    /// Made when its element first occurs, null before.
    std::unique_ptr<ParticleSizeCurve> size_curve;
    std::unique_ptr<ParticleColourCurve> colour_curve;

    /// Size at t (0 at birth, 1 at death): the curve's, or the first value of `size`.
    float size_at(float t) const { return size_curve ? size_curve->evaluate(t) : size.x; }
    /// Colour at t: the curve's, or `colour`.
    core::Colour colour_at(float t) const { return colour_curve ? colour_curve->evaluate(t) : colour; }
};

}  // namespace engine::graphics
