#include "engine/window/WindowListener.h"

#include "engine/window/Window.h"

namespace engine::window {

// A native listener destroyed while registered must not be called afterwards. (A script
// listener cannot get here while registered: the list keeps its Python object alive.)
WindowListener::~WindowListener() { Window::remove_listener(this); }

void WindowListener::on_create(Window*) {}
void WindowListener::on_destroy(Window*) {}
void WindowListener::on_activate(Window*, bool) {}
void WindowListener::on_close(Window*) {}
void WindowListener::on_resize(Window*, const core::Vector<int>&) {}
void WindowListener::on_key(Window*, key::KeyCode, bool, bool) {}
void WindowListener::on_mouse_button(Window*, int, bool) {}
void WindowListener::on_mouse_move(Window*, const core::Vector<int>&) {}
void WindowListener::on_mouse_wheel(Window*, int) {}
void WindowListener::on_text(Window*, unsigned int) {}

}  // namespace engine::window
