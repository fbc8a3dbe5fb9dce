#pragma once

// OpenGL entry points beyond version 1.1, resolved whenever a window creates its
// context. This header is for drawing code and does include the GL headers. Resolved
// and called on the thread that created the window, whose context is current.
#include <GL/gl.h>
#include <GL/glext.h>

namespace engine::window {

// Kept in this namespace: the same names at global scope would collide with the
// prototypes and exported symbols of the system's libGL.
extern PFNGLGENFRAMEBUFFERSEXTPROC glGenFramebuffersEXT;
extern PFNGLDELETEFRAMEBUFFERSEXTPROC glDeleteFramebuffersEXT;
extern PFNGLBINDFRAMEBUFFEREXTPROC glBindFramebufferEXT;
extern PFNGLFRAMEBUFFERTEXTURE2DEXTPROC glFramebufferTexture2DEXT;
extern PFNGLCHECKFRAMEBUFFERSTATUSEXTPROC glCheckFramebufferStatusEXT;
extern PFNGLGENBUFFERSPROC glGenBuffers;
extern PFNGLDELETEBUFFERSPROC glDeleteBuffers;
extern PFNGLBINDBUFFERPROC glBindBuffer;
extern PFNGLBUFFERDATAPROC glBufferData;
extern PFNGLACTIVETEXTUREPROC glActiveTexture;
extern PFNGLCLIENTACTIVETEXTUREARBPROC glClientActiveTexture;
extern PFNGLBLENDEQUATIONPROC glBlendEquation;

/// Resolves all of the above from the current context; unavailable ones stay null.
void resolve_opengl_entry_points();

}  // namespace engine::window
