#include "render/GLCheck.h"

#include "engine/core/Log.h"
#include "engine/graphics/RenderContext.h"

#include <GL/gl.h>

namespace engine::graphics {

#if ENGINE_GL_CHECKS

namespace {

const char* error_name(GLenum error) {
    switch (error) {
        case GL_INVALID_ENUM:
            return "invalid enum";
        case GL_INVALID_VALUE:
            return "invalid value";
        case GL_INVALID_OPERATION:
            return "invalid operation";
        case GL_STACK_OVERFLOW:
            return "stack overflow";
        case GL_STACK_UNDERFLOW:
            return "stack underflow";
        case GL_OUT_OF_MEMORY:
            return "out of memory";
        default:
            return "unknown error";
    }
}

}  // namespace

void check_gl_errors(const char* step, const char* name) {
    if (!is_context_open()) return;
    // A context keeps several flags at most; the bound guards against a lost context,
    // which may report an error for ever.
    for (int i = 0; i < 8; ++i) {
        const GLenum error = glGetError();
        if (error == GL_NO_ERROR) return;
        core::Log::warning("graphics", "OpenGL error 0x%04x (%s) after %s%s%s%s.", unsigned(error), error_name(error),
                           step, name ? " '" : "", name ? name : "", name ? "'" : "");
    }
}

#endif

}  // namespace engine::graphics
