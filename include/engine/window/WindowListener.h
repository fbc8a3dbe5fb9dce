#pragma once

#include "engine/core/Object.h"
#include "engine/core/Vector.h"
#include "engine/window/KeyCode.h"

namespace engine::window {

class Window;

/// Receives a window's events. Register with `Window::add_listener`; the window does
/// not own its listeners. Every operation does nothing by default. Called on the thread
/// that created the window, from inside its calls (`process_events`, `set_video_mode`,
/// `close`, the constructor, `add_listener`).
class WindowListener : public core::Object {
public:
    WindowListener() = default;
    /// Unregisters itself if still registered.
    ~WindowListener() override;

    /// The window and its OpenGL context have just been created (also after a
    /// re-creation by `set_video_mode`, and at once for a listener added while a
    /// context exists).
    virtual void on_create(Window* window);
    /// The OpenGL context is about to be destroyed.
    virtual void on_destroy(Window* window);
    virtual void on_activate(Window* window, bool active);
    /// The user asked to close the window.
    virtual void on_close(Window* window);
    /// The drawing surface has a new size in pixels.
    virtual void on_resize(Window* window, const core::Vector<int>& size);
    virtual void on_key(Window* window, key::KeyCode key, bool pressed, bool repeat);
    virtual void on_mouse_button(Window* window, int button, bool pressed);
    virtual void on_mouse_move(Window* window, const core::Vector<int>& position);
    virtual void on_mouse_wheel(Window* window, int delta);
    /// One character of text input, as a Unicode code point (scripts receive a
    /// one-character str).
    virtual void on_text(Window* window, unsigned int character);
};

}  // namespace engine::window
