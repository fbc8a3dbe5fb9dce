#pragma once

namespace engine::window {
class Window;
}

namespace engine::graphics {

// Told by the module's window listener (module/), which follows the window's context.

/// The window the module now draws into; the projection is no longer set.
void set_current_window(window::Window* window);
/// A context was created: sets up what the module's GL objects need of it.
void on_context_created();
/// Puts back the projection the script chose, after the baseline state is applied: a
/// new context (set_video_mode) keeps it, as a resize does.
void restore_projection();
/// The context is gone.
void on_context_destroyed();

}  // namespace engine::graphics
