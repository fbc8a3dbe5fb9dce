#pragma once

// The script interface of the window module, one definition function per class or
// family, called in this order by the module entry.
namespace engine::window::python {

void define_key();              // libwindow.key, the key enumeration
void define_video_mode();       // VideoMode
void define_window();           // Window
void define_window_listener();  // WindowListener, subclassable
void define_opengl();           // is_opengl_extension_supported, load_into_opengl

}  // namespace engine::window::python
