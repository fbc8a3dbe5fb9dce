#pragma once

#include "engine/core/script/PythonFwd.h"

#include <string>

namespace engine::core {

/// Registry from class names to Python classes. Every script-visible class registers
/// itself under its own name; a script may register a subclass under a native class's
/// name, and from then on every creation by that name makes the subclass.
/// Script thread only.
namespace Factory {

/// Registers (or replaces) the class for `name`; the registry keeps a reference.
void register_class(const std::string& name, PyObject* python_class);

/// The class registered under `name` (borrowed), or null.
PyObject* get_class(const std::string& name);

/// A new instance of the class registered under `name`, made from the argument tuple
/// `args` (null for none). Returns a new reference, or null with a Python error set:
/// `KeyError` for an unknown name, or whatever the class's constructor raised.
PyObject* new_object_raw(const std::string& name, PyObject* args);

}  // namespace Factory
}  // namespace engine::core
