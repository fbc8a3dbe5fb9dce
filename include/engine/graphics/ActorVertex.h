#pragma once

#include "engine/core/Colour.h"
#include "engine/core/Vector.h"

#include <cstddef>
#include <cstdint>

namespace engine::graphics {

/// One skinned vertex of a mesh, in the interleaved layout that meshes hand to OpenGL
/// as client-side arrays (stride `sizeof(ActorVertex)`): the field order and widths are
/// fixed. Plain value; any thread.
struct ActorVertex {
    core::Vector<float> position;        // model units, in the bind pose
    core::Vector<float> tex_coord;       // texture coordinates
    core::Colour colour;                 // red, green, blue, alpha
    std::uint8_t joint_indices[4] = {};  // skeleton joint of each influence
    float joint_weights[4] = {};         // weight of each influence; the first 0 ends them
};

static_assert(offsetof(ActorVertex, tex_coord) == 8 && offsetof(ActorVertex, colour) == 16 &&
                  offsetof(ActorVertex, joint_indices) == 32 && offsetof(ActorVertex, joint_weights) == 36 &&
                  sizeof(ActorVertex) == 52,
              "ActorVertex is read by OpenGL as interleaved arrays");

}  // namespace engine::graphics
