#pragma once

#include "engine/core/Vector.h"
#include "engine/graphics/SceneObject.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace engine::graphics {

class ParticleEmitter;
class ParticlePool;
class ParticleSystemData;
struct Particle;
struct ParticleData;

/// Fire, smoke, sparks: a scene object made from a particle system definition of the
/// particle database. It owns one ParticleEmitter child per emitter definition, keeps
/// its particles in pools by texture and draws each pool as quads from one vertex
/// buffer (a GPU resource: it goes with the GL context and comes back with the next).
/// Particles live in world space, so emitters attached to moving objects leave trails.
/// Script thread only (the thread that imported libgraphics and owns the GL context).
///
///     particle_database.load("particles.xml", "images")
///     fire = ParticleSystem("fire")   # joins the definition's layer
///     fire.position = (320, 400)
class ParticleSystem : public SceneObject {
public:
    /// Records in a pool's storage block; pools grow a block at a time.
    static constexpr std::size_t kBlockSize = 4096;
    /// Bytes per vertex: x, y, r, g, b, a, u, v as floats.
    static constexpr std::size_t kVertexSize = 32;

    /// Takes one reference to the definition `data_id`, makes its emitters and joins its
    /// layer. An unknown id gives a system with no emitters (and a warning).
    explicit ParticleSystem(const std::string& data_id);
    /// Releases the definition, detaches and releases every emitter, deletes every
    /// vertex buffer and the pools.
    ~ParticleSystem() override;

    /// The definition's id, empty without one.
    std::string get_data_id() const;

    const core::Vector<float>& get_gravity() const { return gravity_; }
    void set_gravity(const core::Vector<float>& gravity) { gravity_ = gravity; }

    /// The emitters in definition order; an entry the factory failed to make is null.
    /// Each is held by one reference and is a child transform of the system.
    const std::vector<core::Ref<ParticleEmitter>>& get_emitters() const { return emitters_; }

    /// A new particle record in the pool of `data`'s texture, for an emitter to fill.
    /// Allocates only when the pool needs a new block or the texture a new pool.
    Particle& take_particle(const ParticleData& data);

    /// Pools in order of first use, each with the records of one texture.
    std::size_t get_pool_count() const { return pools_.size(); }
    /// Records in pool `pool`, dead ones included (they are never recycled).
    std::size_t get_particle_count(std::size_t pool) const;
    /// Records in every pool.
    std::size_t get_particle_count() const;
    /// Record `index` of pool `pool`.
    const Particle& get_particle(std::size_t pool, std::size_t index) const;
    /// The texture path of pool `pool` (empty: untextured).
    const std::string& get_pool_texture(std::size_t pool) const;
    /// The vertices written for pool `pool` by the last update (4 per particle), or
    /// null before its first update.
    const float* get_vertices(std::size_t pool) const;
    /// Vertices the last update wrote for pool `pool`.
    std::size_t get_vertex_count(std::size_t pool) const;

    /// Emits from every emitter, steps every particle and writes the vertex buffers. A
    /// dt that is not a finite number of 0 or more is ignored with a warning (the
    /// particles stand still for that frame).
    void on_update(float dt) override;
    /// Draws each pool from its buffer, in order of first use.
    void on_render() override;

private:
    core::Ref<ParticleSystemData> data_;            // or null
    core::Vector<float> gravity_{0.0f, 9.8f};       // pixels per second squared
    std::vector<core::Ref<ParticleEmitter>> emitters_;  // each may be null
    std::vector<std::unique_ptr<ParticlePool>> pools_;  // by texture, in order of first use
    ParticlePool* last_pool_ = nullptr;             // the pool the last take used
};

}  // namespace engine::graphics
