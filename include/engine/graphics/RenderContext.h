#pragma once

namespace engine::window {
class Window;
}

namespace engine::graphics {

// What the graphics module knows of the GL context it draws with: the window set with
// `set_window` (Module.h) and what its context supports. Script thread only: the
// thread that imported libgraphics and owns the GL context.

/// The window the graphics module draws into, or null.
window::Window* get_window();

/// Pixel projection: origin at the top-left corner, x right, y down, one unit a pixel,
/// with alpha blending on, for the window's size now. Resizes and new contexts
/// (set_video_mode) keep it: the picture then fills the new size until it is called
/// again. Does nothing while no window is set.
void set_ortho();

/// Whether set_ortho() has set the projection since the window was set.
bool is_ortho_set();

/// The largest texture (and framebuffer) side the current context accepts; 0 while
/// no context is open.
int get_max_texture_size();
/// Whether a texture or framebuffer of these dimensions may be handed to the context:
/// both sides between 1 and get_max_texture_size(). Sizes are checked before any GL
/// call, since some drivers abort the process on sizes far beyond their limits.
bool is_texture_size_supported(int width, int height);

/// Whether the window's GL context exists (between its on_create and on_destroy).
bool is_context_open();
/// Whether the current context supports vertex buffer objects.
bool are_vertex_buffer_objects_supported();

}  // namespace engine::graphics
