#pragma once

#include "engine/core/Vector.h"
#include "engine/graphics/AnimCurve.h"

#include <memory>
#include <string>
#include <vector>

namespace engine::graphics {

/// A per-vertex offset field of a mesh, faded in by the local rotation of a driver
/// joint through a curve (actor database "BlendShape"). Offsets are matched to the
/// mesh's vertices by position in the list. Owned by its ActorMeshData; script thread.
struct BlendShape {
    std::string joint_driver_id;               // name of the driving joint; empty: none
    std::unique_ptr<AnimCurve> curve;          // rotation (radians) to weight; null: none
    std::vector<core::Vector<float>> offsets;  // one per mesh vertex, in vertex order
};

}  // namespace engine::graphics
