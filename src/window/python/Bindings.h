#pragma once

// The script interface of the window module: one define function per binding file
// (<Name>Bindings.cpp defines define_<name>()), called in this order by Module.cpp.
#include "core/python/support/Helpers.h"
#include "window/python/support/WindowScriptObject.h"

namespace engine::window::python {

void define_key_code();         // libwindow.key, the key enumeration
void define_video_mode();       // VideoMode
void define_window();           // Window
void define_window_listener();  // WindowListener, subclassable

// The shared helpers by their short names, beside the windows' own to_python.
namespace bp = boost::python;
using core::python::overrides;
using core::python::raise;
using core::python::require;
using core::python::to_python;

}  // namespace engine::window::python
