#pragma once

#include "engine/graphics/Particle.h"
#include "engine/graphics/ParticleSystem.h"
#include "engine/graphics/Texture.h"
#include "engine/window/VertexBuffer.h"

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace engine::graphics {

/// The particles of one texture in one system, with the vertex buffer they are drawn
/// from. Records live in fixed blocks, so a growing pool never moves the ones it has.
/// Script thread only.
class ParticlePool {
public:
    explicit ParticlePool(const std::string& texture_path) : texture_path_(texture_path) {
        if (!texture_path.empty()) texture_.emplace(texture_path);
    }

    const std::string& get_texture_path() const { return texture_path_; }
    const Texture* get_texture() const { return texture_ ? &*texture_ : nullptr; }

    /// A new record at the end; allocates a block when the last one is full.
    Particle& take() {
        if (count_ == blocks_.size() * ParticleSystem::kBlockSize) blocks_.push_back(std::make_unique<Block>());
        Particle& p = (*blocks_[count_ / ParticleSystem::kBlockSize])[count_ % ParticleSystem::kBlockSize];
        ++count_;
        return p;
    }

    std::size_t size() const { return count_; }
    Particle& operator[](std::size_t i) { return (*blocks_[i / ParticleSystem::kBlockSize])[i % ParticleSystem::kBlockSize]; }
    const Particle& operator[](std::size_t i) const {
        return (*blocks_[i / ParticleSystem::kBlockSize])[i % ParticleSystem::kBlockSize];
    }

    /// Calls `f` on every record in order, block by block.
    template <class F>
    void for_each(F&& f) {
        std::size_t left = count_;
        for (auto& block : blocks_) {
            const std::size_t n = left < ParticleSystem::kBlockSize ? left : ParticleSystem::kBlockSize;
            for (std::size_t i = 0; i < n; ++i) f((*block)[i]);
            left -= n;
        }
    }

    /// The pool's vertex buffer, made at its first update; null before.
    std::unique_ptr<window::VertexBuffer> buffer;

private:
    using Block = std::array<Particle, ParticleSystem::kBlockSize>;

    std::string texture_path_;                  // key of the pool; empty: untextured
    std::optional<Texture> texture_;            // shares the texture database's data
    std::vector<std::unique_ptr<Block>> blocks_;  // records, kBlockSize per block
    std::size_t count_ = 0;                     // records taken, live or dead
};

}  // namespace engine::graphics
