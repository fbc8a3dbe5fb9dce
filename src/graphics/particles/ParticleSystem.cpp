#include "engine/graphics/ParticleSystem.h"

#include "particles/ParticlePool.h"

#include "common/FactoryObjects.h"
#include "engine/core/Log.h"
#include "engine/core/Maths.h"
#include "engine/graphics/ParticleEmitter.h"
#include "engine/graphics/ParticleSystemData.h"
#include "engine/window/OpenGLEntryPoints.h"
#include "engine/window/VertexBuffer.h"

#include <cstring>

namespace engine::graphics {

namespace {

constexpr std::size_t kInitialVertices = 4096;  // capacity of a new pool's buffer

// Makes an emitter through the factory, so that a script class registered as
// "ParticleEmitter" is used; natively the class is the native one. Null after a
// reported failure.
core::Ref<ParticleEmitter> make_emitter() { return create_through_factory<ParticleEmitter>("ParticleEmitter"); }

// One quad per particle, s being its half extent: corners clockwise on screen from the
// top left, each with its texture corner.
inline float* write_quad(float* v, const Particle& p) {
    const float x = p.position.x, y = p.position.y, s = p.size;
    const float r = p.colour.r, g = p.colour.g, b = p.colour.b, a = p.colour.a;
    const float corners[4][4] = {{x - s, y - s, 0.0f, 0.0f},
                                 {x + s, y - s, 1.0f, 0.0f},
                                 {x + s, y + s, 1.0f, 1.0f},
                                 {x - s, y + s, 0.0f, 1.0f}};
    for (const auto& c : corners) {
        v[0] = c[0];
        v[1] = c[1];
        v[2] = r;
        v[3] = g;
        v[4] = b;
        v[5] = a;
        v[6] = c[2];
        v[7] = c[3];
        v += 8;
    }
    return v;
}

}  // namespace

static_assert(ParticleSystem::kVertexSize == 8 * sizeof(float), "x, y, r, g, b, a, u, v");

ParticleSystem::ParticleSystem(const std::string& data_id) : data_(ParticleDatabase::acquire(data_id)) {
    if (!data_) {
        core::Log::warning("graphics", "Unknown particle system id '%s': the system has no emitters.",
                           data_id.c_str());
        return;
    }
    gravity_ = data_->gravity;
    emitters_.reserve(data_->emitters.size());
    for (const auto& definition : data_->emitters) {
        core::Ref<ParticleEmitter> emitter = make_emitter();
        if (emitter) {
            emitter->adopt(this, definition.get());
            attach(emitter);
        }
        emitters_.push_back(std::move(emitter));
    }
    set_layer(data_->layer);
}

ParticleSystem::~ParticleSystem() {
    std::vector<core::Ref<ParticleEmitter>> emitters = std::move(emitters_);
    emitters_.clear();
    for (ParticleEmitter* emitter : emitters) {
        if (!emitter) continue;
        detach(emitter);
        emitter->adopt(nullptr, nullptr);  // a script may keep it: it must not reach us or our data
    }
    emitters.clear();
    pools_.clear();  // buffers first, while the records they describe still exist
    data_.reset();
}

std::string ParticleSystem::get_data_id() const { return data_ ? data_->id : std::string(); }

Particle& ParticleSystem::take_particle(const ParticleData& data) {
    if (!last_pool_ || last_pool_->get_texture_path() != data.texture_path) {
        last_pool_ = nullptr;
        for (const auto& pool : pools_)
            if (pool->get_texture_path() == data.texture_path) {
                last_pool_ = pool.get();
                break;
            }
        if (!last_pool_) {
            pools_.push_back(std::make_unique<ParticlePool>(data.texture_path));
            last_pool_ = pools_.back().get();
        }
    }
    return last_pool_->take();
}

std::size_t ParticleSystem::get_particle_count(std::size_t pool) const {
    return pool < pools_.size() ? pools_[pool]->size() : 0;
}

std::size_t ParticleSystem::get_particle_count() const {
    std::size_t n = 0;
    for (const auto& pool : pools_) n += pool->size();
    return n;
}

const Particle& ParticleSystem::get_particle(std::size_t pool, std::size_t index) const {
    return (*pools_.at(pool))[index];
}

const std::string& ParticleSystem::get_pool_texture(std::size_t pool) const {
    return pools_.at(pool)->get_texture_path();
}

const float* ParticleSystem::get_vertices(std::size_t pool) const {
    const auto& buffer = pools_.at(pool)->buffer;
    return buffer ? static_cast<const float*>(buffer->get_data()) : nullptr;
}

std::size_t ParticleSystem::get_vertex_count(std::size_t pool) const {
    const auto& buffer = pools_.at(pool)->buffer;
    return buffer ? buffer->get_vertex_count() : 0;
}

void ParticleSystem::on_update(float dt) {
    if (!core::is_time_step(dt)) {
        // Emitters would bank it and particles jump by it: the frame is left out.
        core::Log::warning("graphics",
                           "ParticleSystem '%s': update(dt) needs a finite time of 0 or more, got %g (the frame is "
                           "ignored).",
                           get_data_id().c_str(), double(dt));
        return;
    }
    for (ParticleEmitter* emitter : emitters_)
        if (emitter) emitter->update(dt);

    // Drawing starts each pool at the vertex count of the pools before it (see
    // on_render), so each buffer is readable that far beyond its own vertices.
    std::size_t first = 0;
    for (const auto& pool : pools_) {
        if (!pool->buffer)
            pool->buffer = std::make_unique<window::VertexBuffer>(kVertexSize, kInitialVertices, GL_DYNAMIC_DRAW);
        const std::size_t count = 4 * pool->size();
        auto* v = static_cast<float*>(pool->buffer->map(count, first + count));
        const core::Vector<float> gravity = gravity_;
        pool->for_each([&](Particle& p) {
            p.step(dt, gravity);
            v = write_quad(v, p);
        });
        pool->buffer->unmap();
        first += count;
    }
}

void ParticleSystem::on_render() {
    // The first vertex of each draw is the running total of the vertices drawn before
    // it, although every pool has a buffer of its own: with one texture (the usual
    // system) this changes nothing; with several, a later pool skips as many of its own
    // vertices as were drawn before it and reads transparent padding in their place
    // (ParticleSystem.LaterPoolsStartAtTheRunningVertexTotal).
    GLint first = 0;
    bool drew = false;
    for (const auto& pool : pools_) {
        window::VertexBuffer* buffer = pool->buffer.get();
        if (!buffer) continue;
        if (!drew) {
            glEnableClientState(GL_VERTEX_ARRAY);
            glEnableClientState(GL_TEXTURE_COORD_ARRAY);
            glEnableClientState(GL_COLOR_ARRAY);
            drew = true;
        }
        if (const Texture* texture = pool->get_texture())
            texture->bind(0);
        else
            glDisable(GL_TEXTURE_2D);
        const auto* base = static_cast<const char*>(buffer->bind());
        glVertexPointer(2, GL_FLOAT, GLsizei(kVertexSize), base);
        glColorPointer(4, GL_FLOAT, GLsizei(kVertexSize), base + 8);
        glTexCoordPointer(2, GL_FLOAT, GLsizei(kVertexSize), base + 24);
        const auto count = GLsizei(buffer->get_vertex_count());
        glDrawArrays(GL_QUADS, first, count);
        window::VertexBuffer::unbind();
        first += count;
    }
    if (drew) {
        glDisableClientState(GL_COLOR_ARRAY);
        glColor4f(1.0f, 1.0f, 1.0f, 1.0f);  // a colour-array draw leaves the current colour undefined
    }
}

}  // namespace engine::graphics
