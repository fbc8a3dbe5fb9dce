#pragma once

#include "engine/core/Colour.h"
#include "engine/core/Matrix.h"

#include <cstddef>
#include <vector>

namespace engine::graphics {

class Texture;

/// Triangles gathered during a layer's render pass and drawn with one call while their
/// draw state stays the same: the texture they sample (or none) and the layer matrix
/// they are drawn under. Objects add their quads in drawing order, already in world
/// space, as the
/// triangles they would draw on their own; a different state, or an object that draws itself, draws what was gathered
/// first, so the picture is the one drawing each object on its own gives. The scene
/// owns one batch; its vertex memory is kept from frame to frame. Script thread only.
class SpriteBatch {
public:
    /// One corner: 32 bytes, the layout the sprite path draws from as well.
    struct Vertex {
        float position[2];
        core::Colour colour;
        float texcoord[2];
    };

    SpriteBatch() = default;
    SpriteBatch(const SpriteBatch&) = delete;
    SpriteBatch& operator=(const SpriteBatch&) = delete;

    /// Makes `texture` (null: untextured) and `layer_transform` the state of the
    /// triangles that follow; a change draws those gathered under the previous state.
    void set_state(Texture* texture, const core::Matrix& layer_transform);

    /// Room for `count` more triangles (three vertices each), to be filled by the
    /// caller before anything else touches the batch.
    Vertex* add_triangles(std::size_t count);

    /// Draws what was gathered and starts empty.
    void flush();

    bool empty() const { return used_ == 0; }

    /// Draws `count` vertices as triangles from client memory, textured and coloured
    /// by whatever GL state is current: the one drawing call of sprites, batched or not.
    static void draw_triangles(const Vertex* vertices, std::size_t count);

private:
    std::vector<Vertex> vertices_;  // grows to the longest batch and stays
    std::size_t used_ = 0;          // vertices gathered so far
    Texture* texture_ = nullptr;    // state of the gathered quads
    core::Matrix layer_transform_;
};

}  // namespace engine::graphics
