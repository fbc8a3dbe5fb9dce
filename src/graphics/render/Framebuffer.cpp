#include "engine/graphics/Framebuffer.h"
#include "render/GLCheck.h"

#include "engine/core/Log.h"
#include "engine/graphics/RenderContext.h"
#include "engine/window/OpenGL.h"
#include "engine/window/OpenGLEntryPoints.h"
#include "engine/window/Window.h"

#ifdef ENGINE_HAS_CG
#include <Cg/cgGL.h>
#endif

#include <algorithm>
#include <vector>

namespace engine::graphics {

using namespace engine::window;  // the GL entry points live there

namespace {

// Process-wide render-target state: what is bound, what was saved, what exists.
const Framebuffer* current = nullptr;
std::deque<const Framebuffer*>& saved() {
    static std::deque<const Framebuffer*> stack;
    return stack;
}

core::Vector<int> window_resolution() {
    const Window* w = get_window();
    return w ? w->get_video_mode()->get_resolution() : core::Vector<int>();
}

}  // namespace

Framebuffer::Framebuffer() = default;

Framebuffer::~Framebuffer() {
    if (current == this) current = nullptr;
    std::replace(saved().begin(), saved().end(), static_cast<const Framebuffer*>(this),
                 static_cast<const Framebuffer*>(nullptr));
    if (Window::get_current()) release();
}

bool Framebuffer::is_supported() {
    return is_opengl_extension_supported("GL_EXT_framebuffer_object") &&
           is_opengl_extension_supported("GL_ARB_texture_non_power_of_two");
}

bool Framebuffer::create(const core::Vector<int>& dimensions) {
    // A refused size is forgotten, so that a later create() is not refused again.
    const core::Vector<int> previous = dimensions_;
    dimensions_ = dimensions;
    if (create()) return true;
    dimensions_ = previous;
    return false;
}

bool Framebuffer::create() {
    // The window's context itself, not the module's listener: framebuffers come back
    // with a new context before any listener hears of it.
    if (!Window::get_current() || !glGenFramebuffersEXT) return false;
    if (dimensions_.x == -1 || dimensions_.y == -1) dimensions_ = window_resolution();
    if (framebuffer_ || texture_) release();  // creating twice must not leak
    if (!is_texture_size_supported(dimensions_.x, dimensions_.y)) {
        core::Log::warning("graphics", "Cannot create a framebuffer of %d x %d: each side must be 1 to %d.",
                           dimensions_.x, dimensions_.y, get_max_texture_size());
        return false;
    }

    glGenFramebuffersEXT(1, &framebuffer_);
    glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, framebuffer_);
    glGenTextures(1, &texture_);
    glBindTexture(GL_TEXTURE_2D, texture_);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, dimensions_.x, dimensions_.y, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glFramebufferTexture2DEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT0_EXT, GL_TEXTURE_2D, texture_, 0);
    check_gl_errors("creating a framebuffer");
    const GLenum status = glCheckFramebufferStatusEXT(GL_FRAMEBUFFER_EXT);
    // Leaves the current-framebuffer record as it was.
    glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, 0);
    glBindTexture(GL_TEXTURE_2D, 0);
    if (status == GL_FRAMEBUFFER_COMPLETE_EXT) return true;
    core::Log::warning("graphics", "Framebuffer of %d x %d is incomplete (status 0x%04x): not created.",
                       dimensions_.x, dimensions_.y, unsigned(status));
    release();
    return false;
}

void Framebuffer::release() {
    if (framebuffer_ && glDeleteFramebuffersEXT) glDeleteFramebuffersEXT(1, &framebuffer_);
    if (texture_) glDeleteTextures(1, &texture_);
    framebuffer_ = 0;
    texture_ = 0;
}

void Framebuffer::bind_target(const Framebuffer* target) {
    current = target;
    if (!is_context_open() || !glBindFramebufferEXT) return;
    if (target) {
        glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, target->framebuffer_);
        glViewport(0, 0, target->dimensions_.x, target->dimensions_.y);
    } else {
        glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, 0);
        const core::Vector<int> size = window_resolution();
        glViewport(0, 0, size.x, size.y);
    }
}

void Framebuffer::bind_as_framebuffer() const { bind_target(this); }

void Framebuffer::unbind() { bind_target(nullptr); }

void Framebuffer::bind_as_texture(int unit) const {
    if (unit > 0 && glActiveTexture) glActiveTexture(GL_TEXTURE0 + unit);
    glEnable(GL_TEXTURE_2D);
    glBindTexture(GL_TEXTURE_2D, texture_);
    if (unit > 0 && glActiveTexture) glActiveTexture(GL_TEXTURE0);
}

void Framebuffer::bind_as_texture(CGparameter parameter) const {
#ifdef ENGINE_HAS_CG
    cgGLSetTextureParameter(parameter, texture_);
#else
    (void)parameter;
#endif
}

void Framebuffer::render() const {
    glEnable(GL_TEXTURE_2D);
    glBindTexture(GL_TEXTURE_2D, texture_);
    glColor3f(1.0f, 1.0f, 1.0f);
    glDisable(GL_BLEND);
    glPushMatrix();
    glLoadIdentity();
    glMatrixMode(GL_PROJECTION);
    glPushMatrix();
    glLoadIdentity();
    glBegin(GL_QUADS);
    glTexCoord2f(0, 1);
    glVertex2f(-1, 1);
    glTexCoord2f(1, 1);
    glVertex2f(1, 1);
    glTexCoord2f(1, 0);
    glVertex2f(1, -1);
    glTexCoord2f(0, 0);
    glVertex2f(-1, -1);
    glEnd();
    glPopMatrix();
    glMatrixMode(GL_MODELVIEW);
    glPopMatrix();
    // Blending is switched on, whatever its state: scenes draw with it on.
    glEnable(GL_BLEND);
    check_gl_errors("drawing a framebuffer to the window");
}

void Framebuffer::push() { saved().push_back(current); }

void Framebuffer::pop() {
    if (saved().empty()) {
        core::Log::warning("graphics", "Framebuffer::pop() with nothing pushed.");
        return;
    }
    const Framebuffer* top = saved().back();
    saved().pop_back();
    bind_target(top);
}

const Framebuffer* Framebuffer::get_current_framebuffer() { return current; }

void Framebuffer::release_gpu() { release(); }

// Every live framebuffer is created at its dimensions, whether or not it had GL
// objects: one made before the first context gets them here.
void Framebuffer::restore_gpu() { create(); }

}  // namespace engine::graphics
