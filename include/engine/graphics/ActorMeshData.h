#pragma once

#include "engine/core/Colour.h"
#include "engine/graphics/ActorVertex.h"
#include "engine/graphics/BlendShape.h"
#include "engine/graphics/Jiggle.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace engine::graphics {

/// The static description of one mesh of an actor (actor database "ActorMeshData"):
/// vertices, triangles, blend shapes and jiggles. Owned by its ActorData; the
/// ActorMesh of each actor points at it. Script thread only.
struct ActorMeshData {
    explicit ActorMeshData(std::string id_) : id(std::move(id_)) {}

    std::string id;                                         // the mesh's name
    std::vector<ActorVertex> vertices;                      // bind pose
    std::vector<std::uint16_t> indices;                     // three per triangle
    std::vector<std::unique_ptr<BlendShape>> blend_shapes;  // in document order
    std::vector<std::unique_ptr<Jiggle>> jiggles;           // in document order
    std::string texture;                                    // picture path drawn on it; empty: none
    bool visible = true;                                    // shown when an actor is made
    bool uniform_colour = false;                            // drawn in `colour` when an actor is made
    core::Colour colour;                                    // that colour
};

}  // namespace engine::graphics
