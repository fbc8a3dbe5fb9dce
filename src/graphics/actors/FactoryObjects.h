#pragma once

#include "engine/core/script/Object.h"

namespace engine::graphics {

/// A new instance of the class registered with the core factory under `name`, holding
/// one reference for the caller; `T` is its native type. Script thread only.
/// - A registered class is called with no arguments; a failure (an exception, None, an
///   object that is not a T) is printed as the script's error and gives null.
/// - With no class under that name (a native program that never imported libgraphics,
///   like the C++ tests and benchmarks) a plain native T is made instead; it has no
///   script object and belongs to the caller alone.
template <class T>
T* create_through_factory(const char* name);

/// Drops the reference that `create_through_factory` gave: a script object loses one
/// reference, a native-only object is deleted. Null is ignored.
void release_created(const core::Object* object);

}  // namespace engine::graphics
