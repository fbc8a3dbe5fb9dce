#pragma once

#include <string>
#include <vector>

namespace engine::graphics {

/// A set of per-vertex spring weights of a mesh (actor database "Jiggle"): vertices of
/// weight above 0 trail their skinned position on a spring. Weights are matched to the
/// mesh's vertices by position in the list. Owned by its ActorMeshData; script thread.
struct Jiggle {
    explicit Jiggle(std::string id_) : id(std::move(id_)) {}

    std::string id;              // name scripts use to scale it
    float stiffness = 1.0f;      // spring stiffness, times 6000
    float damping = 1.0f;        // velocity lost per 1/60 s step, 0 to 1
    std::vector<float> weights;  // one per mesh vertex, in vertex order
};

}  // namespace engine::graphics
