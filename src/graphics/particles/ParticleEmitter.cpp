#include "engine/graphics/ParticleEmitter.h"

#include "engine/core/Log.h"
#include "engine/core/Maths.h"
#include "engine/graphics/Particle.h"
#include "engine/graphics/ParticleEmitterData.h"
#include "engine/graphics/ParticleSystem.h"

#include <algorithm>
#include <cmath>

namespace engine::graphics {

namespace {
// The half turn of the spread rule: the float literal 3.14159, not pi. A spread of
// exactly pi (3.1415927) is therefore already "every direction"
// (ParticleEmitter.SpreadOfFloatPiEmitsInEveryDirection).
constexpr float kHalfTurn = 3.14159f;
constexpr float kFullTurn = 6.28318f;
}  // namespace

void ParticleEmitter::adopt(ParticleSystem* system, const ParticleEmitterData* data) {
    system_ = system;
    data_ = data;
    if (!data) return;
    emission_rate_ = data->emission_rate;
    emission_limit_ = data->emission_limit;
    spread_ = data->spread;
    min_speed_ = data->min_speed;
    max_speed_ = data->max_speed;
    longest_life_ = 0.0f;
    for (const auto& kind : data->particles) longest_life_ = std::max({longest_life_, kind->life.x, kind->life.y});
}

void ParticleEmitter::update(float dt) {
    if (!core::is_time_step(dt)) return;
    // Owing is one-way: a negative or NaN rate for a frame banks no debt that later
    // frames would have to pay back in silence.
    const float owed = emission_rate_ * dt;
    if (owed > 0.0f) accumulator_ += owed;
    if (emission_limit_ > 0.0f && accumulator_ > emission_limit_) accumulator_ = emission_limit_;
    const double due = std::floor(double(accumulator_)) - double(emitted_);
    if (due >= 1.0) {
        float window = dt;
        const unsigned int count = bound(due, dt, window);
        for (unsigned int i = 0; i < count; ++i) {
            emit(dt, window);
            ++emitted_;  // counted even without a particle kind
        }
        if (double(count) < due) accumulator_ = float(emitted_);  // the dropped ones are owed no more
    }
    last_position_ = get_world_position();
    last_position_valid_ = true;
}

unsigned int ParticleEmitter::bound(double due, float dt, float& window) {
    window = dt;
    if (due <= double(kMaxEmittedPerUpdate)) return unsigned(due);
    // A particle born more than the longest life before the frame's end is dead at it:
    // only the particles of that last stretch can be seen.
    double made = due;
    if (longest_life_ > 0.0f && longest_life_ < dt) {
        window = longest_life_;
        made = std::round(due * (double(window) / double(dt)));
    }
    made = std::min(made, double(kMaxEmittedPerUpdate));
    if (!warned_dropped_) {
        warned_dropped_ = true;
        core::Log::warning("graphics",
                           "ParticleEmitter: one update owed %.6g particles (rate %g over %g s); it made %.0f, as "
                           "many as can be alive at the frame's end and at most %u, and dropped the rest (said once "
                           "per emitter).",
                           due, double(emission_rate_), double(dt), made, kMaxEmittedPerUpdate);
    }
    return unsigned(made);
}
const ParticleData* ParticleEmitter::pick() const {
    if (!data_ || data_->particles.empty()) return nullptr;
    const auto& kinds = data_->particles;
    if (kinds.size() == 1) return kinds.front().get();
    float r = core::random(1.0f);
    for (std::size_t i = 0; i + 1 < kinds.size(); ++i) {
        if (r < kinds[i]->frequency) return kinds[i].get();
        r -= kinds[i]->frequency;
    }
    return kinds.back().get();
}

void ParticleEmitter::emit(float dt, float window) {
    const ParticleData* kind = pick();
    if (!kind || !system_) return;
    Particle& p = system_->take_particle(*kind);
    p.data = kind;

    // Particles of one frame start spread along the path the emitter moved since the
    // last frame, each as far back as its share of the frame.
    const core::Vector<float>& here = get_world_position();
    float r = window > 0.0f ? core::random(window) : 0.0f;
    if (r > 0.0f && last_position_valid_) {
        const float f = r / dt;
        p.position = here * (1.0f - f) + last_position_ * f;
    } else {
        p.position = here;
        r = 0.0f;
    }

    float angle;
    if (spread_ <= 0.0f) {
        angle = get_world_rotation();
    } else if (spread_ < kHalfTurn) {
        // Squaring bunches particles towards the heading.
        const float u = 1.0f - core::random(1.0f);
        float a = u * u * spread_;
        if (core::random(2u) == 0) a = -a;
        angle = core::normalise_angle(get_world_rotation() + a);
    } else {
        angle = core::random(kFullTurn) - kHalfTurn;
    }
    const core::Vector<float> direction = core::Vector<float>(0.0f, -1.0f).rotate(angle);

    const float min_life = kind->life.x, max_life = kind->life.y;
    p.life = max_life == min_life ? min_life : core::random(max_life - min_life) + min_life;
    p.remaining = p.life;
    p.speed = core::random(max_speed_ - min_speed_) + min_speed_;
    p.velocity = direction * p.speed;
    p.size = kind->size.x;
    p.colour = kind->colour;
    p.step(r, system_->get_gravity());
}

}  // namespace engine::graphics
