#include "engine/graphics/RenderContext.h"

#include "render/RenderContextState.h"

#include "engine/graphics/Program.h"
#include "engine/window/OpenGL.h"
#include "engine/window/OpenGLEntryPoints.h"
#include "engine/window/VertexBuffer.h"
#include "engine/window/VideoMode.h"
#include "engine/window/Window.h"

namespace engine::graphics {

namespace {
window::Window* current_window = nullptr;  // where the module draws, non-owning
bool context_open = false;                 // between the context's creation and its end
bool vertex_buffer_objects = false;        // the current context supports them
bool ortho_set = false;                    // set_ortho() ran since the window was set
core::Vector<int> ortho_size;              // the size set_ortho() projected
int max_texture_size = 0;                  // GL_MAX_TEXTURE_SIZE of the current context

// Pixels of a `size` picture, origin top left, alpha blended.
void apply_ortho(const core::Vector<int>& size) {
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glOrtho(0.0, size.x, size.y, 0.0, -1.0, 1.0);
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
}
}  // namespace

void set_current_window(window::Window* window) {
    current_window = window;
    ortho_set = false;
}

void on_context_created() {
    context_open = true;
    glClearColor(0.0f, 0.0f, 0.0f, 1.0f);
    glCullFace(GL_BACK);  // culling itself stays off
    Program::on_context_created();
    vertex_buffer_objects = window::is_opengl_extension_supported("GL_ARB_vertex_buffer_object");
    window::VertexBuffer::set_buffer_objects_supported(vertex_buffer_objects);
}

void restore_projection() {
    // The picture fills the new size until set_ortho() is called again.
    if (ortho_set) apply_ortho(ortho_size);
}

void on_context_destroyed() {
    context_open = false;
    max_texture_size = 0;
}

window::Window* get_window() { return current_window; }

void set_ortho() {
    if (!current_window) return;
    ortho_size = current_window->get_video_mode()->get_resolution();
    apply_ortho(ortho_size);
    ortho_set = true;
}

bool is_ortho_set() { return ortho_set; }

int get_max_texture_size() {
    // Asked of the context itself the first time: other listeners (the texture
    // database reloading) may need it before this module hears of a new context.
    if (max_texture_size == 0 && window::Window::get_current()) {
        GLint size = 0;
        glGetIntegerv(GL_MAX_TEXTURE_SIZE, &size);
        max_texture_size = int(size);
    }
    return max_texture_size;
}

bool is_texture_size_supported(int width, int height) {
    const int limit = get_max_texture_size();
    return width >= 1 && height >= 1 && width <= limit && height <= limit;
}

bool is_context_open() { return context_open; }
bool are_vertex_buffer_objects_supported() { return vertex_buffer_objects; }

}  // namespace engine::graphics
