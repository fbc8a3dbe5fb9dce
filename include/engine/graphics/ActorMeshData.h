#pragma once

#include "engine/core/Colour.h"
#include "engine/core/Vector.h"
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
/// An actor made along with each actor of the record and carried by the mesh (an
/// imported character's nested armature): it rides on a joint, drawn and updated with
/// the mesh, playing a clip of its own. Plain value; script thread only.
struct CarriedActor {
    std::string id;                // its actor record
    std::string clip;              // the clip it plays from the start; empty: its record's default clip
    int joint = -1;                // the carrying actor's joint it rides on; -1: none (the actor's space)
    core::Vector<float> position;  // its transform relative to that joint
    float rotation = 0.0f;         // radians
    float skew = 0.0f;             // radians
    core::Vector<float> scale{1.0f, 1.0f};
};

/// How a part's colours meet what lies below it, as animation tools blend slots:
/// normal (over it), add (its light added), multiply (darkening by its colour), screen
/// (lightening by it), darken and lighten (the darker or lighter of the two, per
/// channel) and subtract (its light taken away). Each weighs by the part's alpha.
enum class PartBlend : std::uint8_t { normal, add, multiply, screen, darken, lighten, subtract };

/// "normal", "add", ... to a blend; false (and `blend` kept) for any other text.
bool parse_part_blend(const std::string& text, PartBlend& blend);
const char* part_blend_name(PartBlend blend);

struct ActorMeshData {
    explicit ActorMeshData(std::string id_) : id(std::move(id_)) {}

    std::string id;                                         // the mesh's name
    std::vector<ActorVertex> vertices;                      // bind pose
    std::vector<std::uint16_t> indices;                     // three per triangle
    std::vector<std::unique_ptr<BlendShape>> blend_shapes;  // in document order
    std::vector<std::unique_ptr<Jiggle>> jiggles;           // in document order
    std::string texture;                                    // picture path drawn on it; empty: none
    bool visible = true;                                    // shown when an actor is made
    PartBlend blend = PartBlend::normal;                    // how its colours meet what lies below
    bool uniform_colour = false;                            // drawn in `colour` when an actor is made
    core::Colour colour;                                    // that colour
    core::Colour colour_offset{0, 0, 0, 0};                 // added after the colour, each -1..1
    std::vector<CarriedActor> carried;                      // actors made with each actor and carried by it
};

}  // namespace engine::graphics
