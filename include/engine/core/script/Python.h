#pragma once

#include "engine/core/script/PythonFwd.h"

#include <string>

namespace engine::core {

// Everything here is for the script thread only: the thread holding the interpreter
// lock, which runs hooks and holds their exceptions.

/// What happens to an ordinary exception (an `Exception`) that a script hook raises.
enum class ScriptErrors {
    Report,  ///< reported through `sys.unraisablehook`; the engine call goes on
    Raise,   ///< comes out of the engine call that ran the hook, like a stop request
};
/// Script thread only; `libcore.set_script_errors("report" | "raise")` for scripts.
void set_script_errors(ScriptErrors mode);
ScriptErrors get_script_errors();

/// Calls the Python method `name` of `self` with the argument tuple `args` (borrowed),
/// or with no arguments when `args` is null. Script thread only. Returns false when
/// the method is missing (silently) or raised.
///
/// An exception the method raises never crosses the native caller. A stop request
/// (`SystemExit`, `KeyboardInterrupt`, `GeneratorExit`), and in `Raise` mode any
/// exception, is held and raised in the script as soon as control is back in script
/// code: right after the engine call that ran the hook returns. Until then
/// `is_script_error_held()` is true, and loops that run hooks stop early; a hook that
/// still runs meanwhile has the same exception raised at its start. Otherwise the
/// exception is reported through `sys.unraisablehook` (printed with its traceback,
/// seen by pytest) and cleared, so that the native caller goes on with its frame.
bool call_method(PyObject* self, const std::string& name, PyObject* args = nullptr);

/// `call_method` for hooks that answer: the method's result (a new reference), or null
/// when the method is missing or raised (the exception handled as `call_method` does).
PyObject* call_method_result(PyObject* self, const std::string& name, PyObject* args = nullptr);

/// Treats the pending Python exception as one a hook raised (held or reported, as
/// `call_method` does); `context` names the hook in the report. Nothing when none is
/// pending. For hooks whose result turned out unusable (a wrong type).
void handle_hook_error(PyObject* context);

/// Whether a hook's exception is waiting to come out of the engine call under way.
bool is_script_error_held();

/// Whether the Python class of `self` defines `name` itself, rather than inheriting
/// it unchanged from `native_class` (the registered class of the native type).
/// Decided once per Python class and remembered.
bool script_overrides(PyObject* self, PyObject* native_class, const char* name);

}  // namespace engine::core
