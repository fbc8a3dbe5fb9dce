#pragma once

#include "engine/core/Object.h"
#include "engine/core/Ref.h"
#include "engine/core/Vector.h"

namespace engine::graphics {

class IKConstraintPosition;
class IKConstraintRotation;

/// A new instance of the class registered with the core factory under `name`, held for
/// the caller; `T` is its native type. Script thread only.
/// - A registered class is called with no arguments; a failure (an exception, None, an
///   object that is not a T) is printed as the script's error and gives null.
/// - With no class under that name (a native program that never imported libgraphics,
///   like the C++ tests and benchmarks) a plain native T is made instead; it has no
///   script object.
template <class T>
core::Ref<T> create_through_factory(const char* name);

/// The fixed IK targets of a bind pose, made the same way under
/// "IKConstraintPositionFixed" and "IKConstraintRotationFixed" with their constructor
/// arguments; natively a plain object. Null after a printed failure.
core::Ref<IKConstraintPosition> create_fixed_position_constraint(const core::Vector<float>& position);
core::Ref<IKConstraintRotation> create_fixed_rotation_constraint(float rotation, bool in_world_space);

}  // namespace engine::graphics
