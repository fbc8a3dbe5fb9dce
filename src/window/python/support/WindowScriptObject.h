#pragma once

// Binding support shared by the window and graphics extensions; includes Boost.Python.
// Built into the window library, so that both extensions see the same script objects.
#include <boost/python.hpp>

namespace engine::window {
class Window;
}

namespace engine::window::python {

/// The script object of `window`: the Python object a script created it as (the same
/// object every time), or None for a window made by native code or whose script object
/// is being destroyed. Script thread only.
boost::python::object to_python(const Window* window);

/// Records the script object of a window made from a script (borrowed: that Python
/// object owns the window). The binding of `Window` calls this before the window
/// opens, so that listeners told `on_create` already receive the script object.
void set_script_object(const Window* window, PyObject* self);
/// Forgets the script object of `window`; from then on `to_python` gives None.
void clear_script_object(const Window* window);

}  // namespace engine::window::python
