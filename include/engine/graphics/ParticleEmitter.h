#pragma once

#include "engine/core/Vector.h"
#include "engine/graphics/Transform.h"

namespace engine::graphics {

struct ParticleData;
struct ParticleEmitterData;
class ParticleSystem;

/// Where and how a particle system emits: a child transform of its system, made by the
/// system through the factory under "ParticleEmitter" (so a script subclass registered
/// under that name is used). Each frame it turns its rate into whole particles,
/// spreading the frame's particles along the path it moved since the last frame.
/// Script thread only (the thread that imported libgraphics and owns the GL context).
///
///     fire = ParticleSystem("fire")
///     fire.emitters[0].emission_rate = 200   # this emitter only
///     fire.emitters[0].position = (0, -10)
class ParticleEmitter : public Transform {
public:
    /// An emitter with no definition and no system: it emits nothing until a system
    /// adopts it.
    ParticleEmitter() = default;
    ~ParticleEmitter() override = default;

    /// Called by the system that owns the emitter: the definition (owned by the
    /// system's data) and the system whose pools receive the particles; the five
    /// emission numbers are copied from `data`. Null for both when the system goes.
    void adopt(ParticleSystem* system, const ParticleEmitterData* data);
    const ParticleEmitterData* get_data() const { return data_; }
    ParticleSystem* get_system() const { return system_; }

    /// Particles one update makes at most: 4 of the pools' blocks.
    static constexpr unsigned int kMaxEmittedPerUpdate = 16384;

    /// One frame of emission: adds rate x dt to the accumulator (clamped to the limit,
    /// when there is one) and emits one particle for each whole unit it holds beyond
    /// those emitted so far; then remembers the world position. A rate x dt that is not
    /// above 0 (a rate of 0 or less, NaN) owes nothing, and a dt that is not a finite
    /// number of 0 or more changes nothing (the system warns about it). When more than
    /// kMaxEmittedPerUpdate particles are owed (an infinite rate, a frame of hours),
    /// the update makes at most that many, only as many as can still be alive at the
    /// frame's end (those born within the longest life before it), and drops the rest
    /// with one warning in the emitter's life. Allocates only when a pool of the
    /// system has to grow.
    void update(float dt);

    float get_emission_rate() const { return emission_rate_; }
    void set_emission_rate(float rate) { emission_rate_ = rate; }
    /// 0: unlimited. With a limit the emitter emits at most that many particles in its life.
    float get_emission_limit() const { return emission_limit_; }
    void set_emission_limit(float limit) { emission_limit_ = limit; }
    /// Radians: 0 emits along the heading, 3.14159 or more in every direction.
    float get_spread() const { return spread_; }
    void set_spread(float spread) { spread_ = spread; }
    float get_min_speed() const { return min_speed_; }
    void set_min_speed(float speed) { min_speed_ = speed; }
    float get_max_speed() const { return max_speed_; }
    void set_max_speed(float speed) { max_speed_ = speed; }

    /// Particles emitted so far (those made and, without particle kinds, those counted).
    unsigned int get_emitted() const { return emitted_; }
    float get_accumulator() const { return accumulator_; }

private:
    const ParticleData* pick() const;
    /// One particle, born within the last `window` seconds of a frame of `dt`.
    void emit(float dt, float window);
    /// How many of `owed` particles an update of `dt` makes, and the seconds before
    /// the frame's end they are born within; warns the first time it drops some.
    unsigned int bound(double owed, float dt, float& window);

    ParticleSystem* system_ = nullptr;            // non-owning; the system owns this emitter
    const ParticleEmitterData* data_ = nullptr;   // owned by the system's data
    float emission_rate_ = 0.0f;                  // particles per second
    float emission_limit_ = 0.0f;                 // 0: unlimited
    float spread_ = 0.0f;                         // radians
    float min_speed_ = 0.0f;                      // pixels per second
    float max_speed_ = 0.0f;
    float accumulator_ = 0.0f;                    // particles owed since creation
    unsigned int emitted_ = 0;                    // particles emitted since creation
    core::Vector<float> last_position_;           // world position at the end of the last update
    bool last_position_valid_ = false;            // false until the first update
    float longest_life_ = 0.0f;                   // of the definition's kinds, seconds
    bool warned_dropped_ = false;                 // the drop warning is given once
};

}  // namespace engine::graphics
