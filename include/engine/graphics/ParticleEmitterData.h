#pragma once

#include "engine/graphics/ParticleData.h"

#include <memory>
#include <vector>

namespace engine::graphics {

/// How one emitter of a particle system emits: read from a "ParticleEmitterData"
/// element and owned by its ParticleSystemData. Each ParticleEmitter copies the five
/// numbers at creation, so a script changing one emitter leaves the definition alone.
/// Script thread only.
struct ParticleEmitterData {
    float emission_rate = 0.0f;   // particles per second
    float emission_limit = 0.0f;  // particles in the emitter's life; 0: unlimited
    float spread = 0.0f;          // radians around the emitter's heading
    float min_speed = 0.0f;       // pixels per second
    float max_speed = 0.0f;
    std::vector<std::unique_ptr<ParticleData>> particles;  // in document order
};

}  // namespace engine::graphics
