#include <SDL.h>

#include "engine/window/OpenGL.h"
#include "engine/window/OpenGLEntryPoints.h"
#include "engine/window/Window.h"

#include <cstdio>
#include <cstring>

namespace engine::window {

PFNGLGENFRAMEBUFFERSEXTPROC glGenFramebuffersEXT = nullptr;
PFNGLDELETEFRAMEBUFFERSEXTPROC glDeleteFramebuffersEXT = nullptr;
PFNGLBINDFRAMEBUFFEREXTPROC glBindFramebufferEXT = nullptr;
PFNGLFRAMEBUFFERTEXTURE2DEXTPROC glFramebufferTexture2DEXT = nullptr;
PFNGLCHECKFRAMEBUFFERSTATUSEXTPROC glCheckFramebufferStatusEXT = nullptr;
PFNGLGENBUFFERSPROC glGenBuffers = nullptr;
PFNGLDELETEBUFFERSPROC glDeleteBuffers = nullptr;
PFNGLBINDBUFFERPROC glBindBuffer = nullptr;
PFNGLBUFFERDATAPROC glBufferData = nullptr;
PFNGLACTIVETEXTUREPROC glActiveTexture = nullptr;
PFNGLCLIENTACTIVETEXTUREARBPROC glClientActiveTexture = nullptr;
PFNGLBLENDEQUATIONPROC glBlendEquation = nullptr;

namespace {

// Whether the current context's GL version is at least major.minor.
bool has_version(int major, int minor) {
    const auto* version = reinterpret_cast<const char*>(::glGetString(GL_VERSION));
    int have_major = 0, have_minor = 0;
    if (!version || std::sscanf(version, "%d.%d", &have_major, &have_minor) != 2) return false;
    return have_major > major || (have_major == major && have_minor >= minor);
}

template <class Pointer>
Pointer lookup(const char* name) {
    return reinterpret_cast<Pointer>(SDL_GL_GetProcAddress(name));
}

// The core name where the version has it, else the extension's (same signature).
template <class Pointer>
Pointer lookup(bool core, const char* core_name, bool extension, const char* extension_name) {
    if (core) return lookup<Pointer>(core_name);
    if (extension) return lookup<Pointer>(extension_name);
    return nullptr;
}

}  // namespace

void load_into_opengl(const core::Matrix& matrix) {
    if (!Window::get_current()) return;
    const float* m = matrix.data();
    // Column-major 4x4 with z passed through: (a b 0 0, c d 0 0, 0 0 1 0, tx ty 0 1).
    const GLfloat gl[16] = {m[0], m[1], 0.0f, 0.0f, m[2], m[3], 0.0f, 0.0f,
                            0.0f, 0.0f, 1.0f, 0.0f, m[4], m[5], 0.0f, 1.0f};
    ::glMultMatrixf(gl);
}

bool is_opengl_extension_supported(const std::string& name) {
    if (!Window::get_current() || name.empty() || name.find(' ') != std::string::npos) return false;
    const auto* extensions = reinterpret_cast<const char*>(::glGetString(GL_EXTENSIONS));
    if (!extensions) return false;
    // A whole token only: GL_EXT_texture must not match GL_EXT_texture3D.
    for (const char* p = extensions; (p = std::strstr(p, name.c_str())) != nullptr; p += name.size()) {
        const bool starts = p == extensions || p[-1] == ' ';
        const char end = p[name.size()];
        if (starts && (end == ' ' || end == '\0')) return true;
    }
    return false;
}

void resolve_opengl_entry_points() {
    // GL libraries hand out a stub for any name asked, so availability is decided by
    // the version and the extension string, not by a null pointer.
    const bool fbo = is_opengl_extension_supported("GL_EXT_framebuffer_object");
    glGenFramebuffersEXT = fbo ? lookup<PFNGLGENFRAMEBUFFERSEXTPROC>("glGenFramebuffersEXT") : nullptr;
    glDeleteFramebuffersEXT = fbo ? lookup<PFNGLDELETEFRAMEBUFFERSEXTPROC>("glDeleteFramebuffersEXT") : nullptr;
    glBindFramebufferEXT = fbo ? lookup<PFNGLBINDFRAMEBUFFEREXTPROC>("glBindFramebufferEXT") : nullptr;
    glFramebufferTexture2DEXT = fbo ? lookup<PFNGLFRAMEBUFFERTEXTURE2DEXTPROC>("glFramebufferTexture2DEXT") : nullptr;
    glCheckFramebufferStatusEXT =
        fbo ? lookup<PFNGLCHECKFRAMEBUFFERSTATUSEXTPROC>("glCheckFramebufferStatusEXT") : nullptr;

    const bool vbo_core = has_version(1, 5);
    const bool vbo_arb = is_opengl_extension_supported("GL_ARB_vertex_buffer_object");
    glGenBuffers = lookup<PFNGLGENBUFFERSPROC>(vbo_core, "glGenBuffers", vbo_arb, "glGenBuffersARB");
    glDeleteBuffers = lookup<PFNGLDELETEBUFFERSPROC>(vbo_core, "glDeleteBuffers", vbo_arb, "glDeleteBuffersARB");
    glBindBuffer = lookup<PFNGLBINDBUFFERPROC>(vbo_core, "glBindBuffer", vbo_arb, "glBindBufferARB");
    glBufferData = lookup<PFNGLBUFFERDATAPROC>(vbo_core, "glBufferData", vbo_arb, "glBufferDataARB");

    glActiveTexture =
        lookup<PFNGLACTIVETEXTUREPROC>(has_version(1, 3), "glActiveTexture",
                                       is_opengl_extension_supported("GL_ARB_multitexture"), "glActiveTextureARB");
    glClientActiveTexture =
        lookup<PFNGLCLIENTACTIVETEXTUREARBPROC>(has_version(1, 3), "glClientActiveTexture",
                                       is_opengl_extension_supported("GL_ARB_multitexture"), "glClientActiveTextureARB");
    glBlendEquation = lookup<PFNGLBLENDEQUATIONPROC>(has_version(1, 4), "glBlendEquation",
                                                     is_opengl_extension_supported("GL_EXT_blend_minmax"),
                                                     "glBlendEquationEXT");
}

}  // namespace engine::window
