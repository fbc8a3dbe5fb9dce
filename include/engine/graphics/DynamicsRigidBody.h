#pragma once

#include "engine/core/Vector.h"

#include <string>

namespace engine::graphics {

/// A rigid body of a dynamics rig ("RigidBody"): what the rig says; the dynamics
/// controller makes a simulated body from it. Owned by its ActorRigDynamics; script
/// thread only.
struct DynamicsRigidBody {
    explicit DynamicsRigidBody(std::string name_) : name(std::move(name_)) {}

    std::string name;              // unique within the rig
    core::Vector<float> position;  // in the actor's space
    float mass = 0.0f;
    float damping = 0.0f;
};

}  // namespace engine::graphics
