#pragma once

// A script's callable kept by native code and called through the engine's hook
// machinery: an exception it raises behaves like one raised by a hook.
#include "core/python/support/Helpers.h"

#include <functional>
#include <memory>
#include <string>

namespace engine::core::python {

/// Calls `callable` with no arguments, as `call_method` calls a hook: an ordinary
/// exception is reported (or held in "raise" mode), a stop request is held.
struct ScriptCall {
    bp::object callable;
    void operator()() const { call_method(callable.ptr(), "__call__"); }
};

/// A native callback for `value`: null for None, a `ScriptCall` for a callable, and a
/// TypeError naming `what` for anything else. Script thread only.
inline std::shared_ptr<const std::function<void()>> make_script_callback(const bp::object& value, const char* what) {
    if (value.is_none()) return nullptr;
    if (!PyCallable_Check(value.ptr()))
        raise(PyExc_TypeError,
              std::string(what) + " must be callable or None, not " + Py_TYPE(value.ptr())->tp_name + ".");
    return std::make_shared<const std::function<void()>>(ScriptCall{value});
}

/// The callable behind a callback made by `make_script_callback`, or None.
inline bp::object script_callable(const std::shared_ptr<const std::function<void()>>& callback) {
    if (!callback) return bp::object();
    const ScriptCall* call = callback->target<ScriptCall>();
    return call ? call->callable : bp::object();
}

}  // namespace engine::core::python
