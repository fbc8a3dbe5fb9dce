#pragma once

#include "engine/core/Vector.h"
#include "engine/window/VideoMode.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace engine::window {

class WindowListener;

/// Pixels read back from a framebuffer: RGBA, 8 bits a channel, rows top first.
struct Pixels {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> data;  // width * height * 4 bytes
};

/// The application window with its OpenGL compatibility context (SDL2). Listeners are
/// process-wide: every listener hears of every window. One window at a time is
/// expected; the OpenGL entry points follow the most recently created context.
class Window {
public:
    /// Opens the window and its context, makes the context current, resolves the
    /// OpenGL entry points and tells every listener `on_create`. Throws
    /// std::runtime_error when no window or context can be created.
    Window(int width = 800, int height = 600, const std::string& title = "", bool fullscreen = false,
           bool vsync = false);
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;
    /// Closes the window (see `close`).
    ~Window();

    /// Registers a listener; one that is already registered is not added twice (false).
    /// While a context exists, the new listener is told `on_create` at once.
    static bool add_listener(WindowListener* listener);
    /// Unregisters a listener; false when it was not registered.
    static bool remove_listener(WindowListener* listener);
    /// The window that currently has a context, or null.
    static Window* get_current();

    const VideoMode* get_video_mode() const { return &video_mode_; }

    /// Re-creates the context at a new size and mode: listeners get `on_destroy`,
    /// then `on_create`, then `on_resize`.
    void set_video_mode(int width, int height, bool fullscreen = false);

    /// Dispatches pending events to the listeners. False once the window was asked to
    /// close (or is closed).
    bool process_events();
    void swap_buffers();
    /// Tells listeners `on_destroy`, then destroys the context and the window. Safe to
    /// call twice.
    void close();
    bool is_open() const;

    /// What has been drawn into the buffer being drawn to (the back buffer): call it
    /// after drawing and before `swap_buffers`.
    Pixels read_pixels() const;
    /// Writes `read_pixels()` as a PNG file; false (and a logged warning) on failure.
    bool save_screenshot(const std::string& path) const;

private:
    struct Impl;
    void create_context();
    void destroy_context();

    std::unique_ptr<Impl> impl_;  // SDL window and GL context
    VideoMode video_mode_;        // current size and mode
    bool close_requested_ = false;
};

}  // namespace engine::window
