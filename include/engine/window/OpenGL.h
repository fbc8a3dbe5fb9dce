#pragma once

#include "engine/core/Matrix.h"

#include <string>

namespace engine::window {

// For the thread whose context is current: the thread that created the window.

/// Multiplies the current OpenGL matrix by a 2D affine matrix (embedded in a 4x4
/// matrix with z untouched), as glMultMatrix does.
void load_into_opengl(const core::Matrix& matrix);

/// True when the current context advertises the extension.
bool is_opengl_extension_supported(const std::string& name);

}  // namespace engine::window
