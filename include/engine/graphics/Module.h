#pragma once

namespace engine::window {
class Window;
}

namespace engine::graphics {

/// The window the graphics module draws into, or null. Setting one installs the
/// module's window listener (which creates and releases the module's GL objects with
/// the context and follows resizes); null detaches it.
void set_window(window::Window* window);
window::Window* get_window();

/// Pixel projection: origin at the top-left corner, x right, y down, one unit a pixel,
/// with alpha blending on. Does nothing while no window is set.
void set_ortho();

/// Whether the window's GL context exists (between its on_create and on_destroy).
bool is_context_open();
/// Whether the current context supports vertex buffer objects.
bool are_vertex_buffer_objects_supported();

}  // namespace engine::graphics
