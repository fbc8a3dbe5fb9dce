#pragma once

#include "engine/core/PythonFwd.h"

#include <string>

namespace engine::core {

/// Calls the Python method `name` of `self` with the argument tuple `args` (borrowed),
/// or with no arguments when `args` is null. Script thread only. Returns false when
/// the method is missing (silently) or raised; a raised exception is reported through
/// `sys.unraisablehook` (printed with its traceback, seen by pytest) and cleared, so
/// that the native caller can go on with its frame.
bool call_method(PyObject* self, const std::string& name, PyObject* args = nullptr);

/// Whether the Python class of `self` defines `name` itself, rather than inheriting
/// it unchanged from `native_class` (the registered class of the native type).
/// Decided once per Python class and remembered.
bool script_overrides(PyObject* self, PyObject* native_class, const char* name);

}  // namespace engine::core
