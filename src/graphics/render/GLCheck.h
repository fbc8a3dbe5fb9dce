#pragma once

// Checks OpenGL's error flag after the drawing steps of the render paths, in builds
// made with ENGINE_GL_CHECKS (every build but Release): an error is logged once per
// occurrence with the step it followed, so a GL mistake of the engine or of a
// script's OnRender is named where it happened instead of surfacing frames later.
// Script thread only, with a context current.

namespace engine::graphics {

#if ENGINE_GL_CHECKS
/// Logs every pending GL error as "OpenGL error 0x0502 (invalid operation) after
/// <step>." or, with a name, "... after <step> '<name>'."
void check_gl_errors(const char* step, const char* name = nullptr);
#else
inline void check_gl_errors(const char*, const char* = nullptr) {}
#endif

}  // namespace engine::graphics
