#pragma once

#include "engine/core/Colour.h"
#include "engine/core/Vector.h"
#include "engine/graphics/ParticleData.h"

namespace engine::graphics {

/// A particle record: what a system's pool stores for each particle, live or dead.
/// Plain data, stepped by its system on the script thread.
struct Particle {
    const ParticleData* data = nullptr;  // its kind, owned by the system's definition
    core::Vector<float> position;        // world space, pixels
    float size = 0.0f;                   // half extent of its quad
    core::Vector<float> velocity;        // pixels per second
    float speed = 0.0f;                  // at emission
    float life = 0.0f;                   // seconds, total
    float remaining = 0.0f;              // seconds left; at or below 0 the particle is dead
    core::Colour colour;                 // as drawn; all 0 once dead

    /// Ages the particle by `dt`: a live one falls under `gravity`, moves, and takes its
    /// size and colour from its kind at t = 1 - remaining / life. A dead one turns
    /// transparent black (0, 0, 0, 0) and stays where it is: pools never recycle
    /// records, the emission limit bounds how many there are.
    void step(float dt, const core::Vector<float>& gravity) {
        remaining -= dt;
        if (remaining > 0.0f) {
            velocity += gravity * dt;
            position += velocity * dt;
            const float t = 1.0f - remaining / life;
            size = data->size_at(t);
            colour = data->colour_at(t);
        } else {
            colour = core::Colour(0.0f, 0.0f, 0.0f, 0.0f);
        }
    }
};

}  // namespace engine::graphics
