#pragma once

#include "engine/core/Colour.h"
#include "engine/core/Vector.h"
#include "engine/window/KeyCode.h"
#include "engine/window/VideoMode.h"
#include "engine/window/WindowEvent.h"

#include <bitset>
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
/// expected; the OpenGL entry points follow the most recently created context. Use a
/// window from the thread that created it (SDL and OpenGL require it); the listener list
/// and `get_current` belong to that thread too. From scripts, that is the script thread.
///
///     Window window(640, 480, "game");
///     while (window.process_events()) { draw(); window.swap_buffers(); }
class Window {
public:
    /// The longest side a window may have, in pixels: SDL's limit for a new window,
    /// which the viewports of common GL drivers reach too. X11 would take a side of
    /// 65536 or more modulo 65536, or end the process for a multiple of it.
    static constexpr int kMaxSize = 16384;

    /// Opens the window and its context, makes the context current, resolves the
    /// OpenGL entry points and tells every listener `on_create`. Throws
    /// std::invalid_argument for a side below 1 or above kMaxSize and
    /// std::runtime_error (with SDL's reason) when no window or context can be created.
    Window(int width = 800, int height = 600, const std::string& title = "", bool fullscreen = false,
           bool vsync = false);
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;
    /// Closes the window (see `close`).
    ~Window();

    /// Registers a listener; one that is already registered is not added twice (false).
    /// While a context exists, the new listener is told `on_create` at once. Held (a
    /// script listener's Python object with it) while registered.
    /// Listeners are told in the order they were added; they may add and remove
    /// listeners, themselves included, from inside a callback.
    static bool add_listener(WindowListener* listener);
    /// Unregisters a listener (letting go of it, which may destroy it); false
    /// when it was not registered. A listener removed during a dispatch is not called
    /// for the rest of it.
    static bool remove_listener(WindowListener* listener);
    /// The window that currently has a context, or null.
    static Window* get_current();

    const VideoMode* get_video_mode() const { return &video_mode_; }

    /// Re-creates the context at a new size and mode: listeners get `on_destroy`,
    /// then `on_create`, then `on_resize` (always, even at an unchanged size). The video
    /// mode then holds the size obtained, which fullscreen may round up to a display
    /// mode. Throws std::runtime_error on a closed window, std::invalid_argument for a
    /// side below 1 or above `get_max_size()`, before anything changes.
    void set_video_mode(int width, int height, bool fullscreen = false);
    /// The longest side this window takes: kMaxSize, or less when its context's
    /// largest viewport is smaller.
    int get_max_size() const;

    /// Dispatches pending events to the listeners. False once the window was asked to
    /// close (or is closed); `on_close` is told once, and asking does not close.
    /// A size change from outside (the window manager) updates the video mode and is
    /// told `on_resize`, without a new context.
    bool process_events();
    /// Queues an event as if the operating system had reported it: the next
    /// `process_events` handles it like a real one (after the system's events pending
    /// then), so the input state follows and listeners hear it. A posted resize sets
    /// the window's size; a posted close asks to close (`on_close`, once). Events
    /// posted while events are being handled wait for the next call. Does nothing once
    /// closed. Throws std::invalid_argument for a resize to a side below 1 or above
    /// `get_max_size()`.
    void post_event(const WindowEvent& event);

    /// Input state, kept from the events handled so far (real or posted): whether a key
    /// is held down, where the mouse pointer was last seen (pixels from the top left)
    /// and which mouse buttons are held (bit `button - 1` for button 1, 2, 3, ...).
    /// Losing the focus forgets held keys and buttons: their release goes elsewhere.
    bool is_key_down(key::KeyCode key) const;
    const core::Vector<int>& get_mouse_position() const { return mouse_position_; }
    std::uint32_t get_mouse_buttons() const { return mouse_buttons_; }

    /// Shows what was drawn; does nothing once closed.
    void swap_buffers();
    /// Fills the window's own picture (the default framebuffer's colour buffer) with
    /// `colour`, whatever framebuffer object is bound; the binding and the clear colour
    /// are left as they were. Nothing else clears the window: a game calls this, or has
    /// the scene or the frame loop do it, at the start of each frame. Throws
    /// std::runtime_error once closed.
    void clear(const core::Colour& colour = core::Colour(0.0f, 0.0f, 0.0f));
    /// Tells listeners `on_destroy`, then destroys the context and the window. Safe to
    /// call twice.
    void close();
    bool is_open() const;

    /// What has been drawn into the buffer being drawn to (the back buffer, or the
    /// bound framebuffer object): call it after drawing and before `swap_buffers`.
    /// Throws std::runtime_error once closed.
    Pixels read_pixels() const;
    /// Writes `read_pixels()` as an RGBA PNG file, opaque (alpha 255) as the window
    /// shows it; false (and a logged warning) on failure.
    bool save_screenshot(const std::string& path) const;

private:
    struct Impl;
    void create_context();
    void destroy_context();
    /// One event, real or posted: updates the input state, then tells the listeners.
    void handle(const WindowEvent& event);

    static constexpr int key_limit = 512;  // key codes at or above this are never held

    std::unique_ptr<Impl> impl_;          // SDL window and GL context, posted events
    VideoMode video_mode_;                // current size and mode
    bool close_requested_ = false;        // the user asked to close, or close() was called
    std::bitset<key_limit> keys_down_;    // by key code
    core::Vector<int> mouse_position_;    // last seen, pixels from the top left
    std::uint32_t mouse_buttons_ = 0;     // bit (button - 1) set while held
};

}  // namespace engine::window
