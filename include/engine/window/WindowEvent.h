#pragma once

#include "engine/core/Vector.h"
#include "engine/window/KeyCode.h"

#include <cstdint>

namespace engine::window {

/// One event of a window in the engine's terms: what the operating system reports,
/// translated, or what a game or test feeds in with `Window::post_event`. Both take the
/// same path: the window's input state follows them and listeners hear them. A plain
/// value; built on any thread, posted on the window's thread.
///
///     window.post_event(WindowEvent::key_event(key::SPACE, true));
struct WindowEvent {
    enum class Type {
        Key,          // `key`, `pressed`, `repeat`
        Text,         // `character`: one Unicode code point
        MouseButton,  // `button` (1 left, 2 middle, 3 right, ...), `pressed`, `position`
        MouseMove,    // `position`, in pixels from the top left
        MouseWheel,   // `delta`: positive scrolls away from the user
        Resize,       // `size` of the drawing surface, in pixels
        Close,        // the user asked to close the window
        Activate,     // `pressed`: the window gained (true) or lost (false) the focus
    };

    Type type = Type::Close;
    key::KeyCode key = key::UNKNOWN;
    bool pressed = false;
    bool repeat = false;
    std::uint32_t character = 0;
    int button = 0;
    int delta = 0;
    core::Vector<int> position;  // MouseButton, MouseMove
    bool positioned = true;      // MouseButton: false keeps the pointer where it is
    core::Vector<int> size;      // Resize

    static WindowEvent key_event(key::KeyCode key, bool pressed, bool repeat = false) {
        WindowEvent e;
        e.type = Type::Key;
        e.key = key;
        e.pressed = pressed;
        e.repeat = repeat;
        return e;
    }
    static WindowEvent text_event(std::uint32_t character) {
        WindowEvent e;
        e.type = Type::Text;
        e.character = character;
        return e;
    }
    static WindowEvent mouse_button_event(int button, bool pressed, const core::Vector<int>& position) {
        WindowEvent e;
        e.type = Type::MouseButton;
        e.button = button;
        e.pressed = pressed;
        e.position = position;
        return e;
    }
    static WindowEvent mouse_move_event(const core::Vector<int>& position) {
        WindowEvent e;
        e.type = Type::MouseMove;
        e.position = position;
        return e;
    }
    static WindowEvent mouse_wheel_event(int delta) {
        WindowEvent e;
        e.type = Type::MouseWheel;
        e.delta = delta;
        return e;
    }
    static WindowEvent resize_event(const core::Vector<int>& size) {
        WindowEvent e;
        e.type = Type::Resize;
        e.size = size;
        return e;
    }
    static WindowEvent close_event() { return WindowEvent(); }
    static WindowEvent activate_event(bool active) {
        WindowEvent e;
        e.type = Type::Activate;
        e.pressed = active;
        return e;
    }
};

}  // namespace engine::window
