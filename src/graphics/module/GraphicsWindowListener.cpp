#include "module/GraphicsWindowListener.h"

#include "render/RenderContextState.h"

#include "engine/graphics/GLState.h"
#include "engine/graphics/Module.h"
#include "engine/window/OpenGL.h"
#include "engine/window/Window.h"

#include <GL/gl.h>

namespace engine::graphics {

GraphicsWindowListener& window_listener() {
    static GraphicsWindowListener listener;
    return listener;
}

void GraphicsWindowListener::on_create(window::Window*) {
    context_open_ = true;
    on_context_created();
    // Every draw path finds the baseline from the first frame on (blending included,
    // which set_ortho() also switches on for programs that set their own projection).
    GLState::apply();
    restore_projection();
}

void GraphicsWindowListener::on_destroy(window::Window*) {
    context_open_ = false;
    on_context_destroyed();
}

void GraphicsWindowListener::on_resize(window::Window*, const core::Vector<int>& size) {
    // The projection is left alone: scripts call set_ortho() again to follow the size.
    if (context_open_) glViewport(0, 0, size.x, size.y);
}

void set_window(window::Window* window) {
    if (get_window()) window::Window::remove_listener(&window_listener());
    set_current_window(window);
    if (window) window::Window::add_listener(&window_listener());
}

}  // namespace engine::graphics
