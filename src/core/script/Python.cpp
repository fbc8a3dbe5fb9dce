#include <Python.h>

#include "engine/core/script/Python.h"

#include <map>
#include <string>
#include <tuple>

namespace engine::core {

namespace {

ScriptErrors script_errors = ScriptErrors::Report;

// An exception a hook raised that must come out of the engine call that ran the hook.
// Held here (one strong reference each) until the interpreter's next pending-call
// check, which happens as soon as control is back in script code: right after the
// engine call returns, or at the start of the next hook the same engine call runs.
struct HeldError {
    PyObject* type = nullptr;
    PyObject* value = nullptr;
    PyObject* traceback = nullptr;
    bool scheduled = false;
};
HeldError held;

int raise_held(void*) {
    held.scheduled = false;
    if (!held.type) return 0;
    PyErr_Restore(held.type, held.value, held.traceback);
    held = HeldError{};
    return -1;  // the interpreter raises the restored exception where it stands
}

// Takes the current exception; false when it must be reported here instead.
bool hold_current_error() {
    if (held.type) return false;  // the first one wins; later ones are reported
    PyErr_Fetch(&held.type, &held.value, &held.traceback);
    PyErr_NormalizeException(&held.type, &held.value, &held.traceback);
    if (held.traceback && held.value) PyException_SetTraceback(held.value, held.traceback);
    if (!held.scheduled) {
        held.scheduled = true;
        if (Py_AddPendingCall(raise_held, nullptr) != 0) {
            held.scheduled = false;
            PyErr_Restore(held.type, held.value, held.traceback);
            held = HeldError{};
            return false;
        }
    }
    return true;
}

// SystemExit, KeyboardInterrupt and GeneratorExit: the ones a script means to stop with.
bool is_stop_request() {
    return PyErr_Occurred() && !PyErr_ExceptionMatches(PyExc_Exception);
}

}  // namespace

void set_script_errors(ScriptErrors mode) { script_errors = mode; }
ScriptErrors get_script_errors() { return script_errors; }
bool is_script_error_held() { return held.type != nullptr; }

PyObject* call_method_result(PyObject* self, const std::string& name, PyObject* args) {
    if (!self) return nullptr;
    PyObject* method = PyObject_GetAttrString(self, name.c_str());
    if (!method) {
        PyErr_Clear();
        return nullptr;
    }
    PyObject* result = args ? PyObject_Call(method, args, nullptr) : PyObject_CallNoArgs(method);
    if (!result) handle_hook_error(method);
    Py_DECREF(method);
    return result;
}

bool call_method(PyObject* self, const std::string& name, PyObject* args) {
    PyObject* result = call_method_result(self, name, args);
    Py_XDECREF(result);
    return result != nullptr;
}

void handle_hook_error(PyObject* context) {
    if (!PyErr_Occurred()) return;
    const bool hold = is_stop_request() || script_errors == ScriptErrors::Raise;
    if (!hold || !hold_current_error()) PyErr_WriteUnraisable(context);
}

namespace {

// Which hooks each script class overrides, keyed by (script class, native class, hook
// name). A class is watched through a weak reference: when it dies its entries go, so
// classes made at run time are not kept alive and an address reused by a new class
// never finds stale answers.
using OverrideKey = std::tuple<PyObject*, PyObject*, std::string>;

struct OverrideCache {
    std::map<OverrideKey, bool> answers;
    std::map<PyObject*, PyObject*> watches;  // script class -> its weak reference (owned)
};

OverrideCache& override_cache() {
    static auto* cache = new OverrideCache;  // never destroyed: lives with the interpreter
    return *cache;
}

PyObject* forget_class(PyObject*, PyObject* weakref) {
    OverrideCache& cache = override_cache();
    for (auto it = cache.watches.begin(); it != cache.watches.end(); ++it) {
        if (it->second != weakref) continue;
        PyObject* type = it->first;
        auto first = cache.answers.lower_bound(OverrideKey{type, nullptr, std::string()});
        auto last = first;
        while (last != cache.answers.end() && std::get<0>(last->first) == type) ++last;
        cache.answers.erase(first, last);
        cache.watches.erase(it);
        Py_DECREF(weakref);
        break;
    }
    Py_RETURN_NONE;
}

PyMethodDef forget_class_def = {"_forget_script_class", forget_class, METH_O, nullptr};

// Starts watching `type`; false when it cannot be watched (then nothing is cached).
bool watch_class(PyObject* type) {
    OverrideCache& cache = override_cache();
    if (cache.watches.count(type)) return true;
    static PyObject* callback = PyCFunction_New(&forget_class_def, nullptr);
    PyObject* weakref = callback ? PyWeakref_NewRef(type, callback) : nullptr;
    if (!weakref) {
        PyErr_Clear();
        return false;
    }
    cache.watches.emplace(type, weakref);
    return true;
}

bool defines_itself(PyObject* type, PyObject* native_class, const char* name) {
    if (type == native_class) return false;
    PyObject* mine = PyObject_GetAttrString(type, name);
    if (!mine) {
        PyErr_Clear();
        return false;
    }
    PyObject* native = native_class ? PyObject_GetAttrString(native_class, name) : nullptr;
    if (!native) PyErr_Clear();
    const bool overridden = mine != native;
    Py_XDECREF(native);
    Py_DECREF(mine);
    return overridden;
}

}  // namespace

bool script_overrides(PyObject* self, PyObject* native_class, const char* name) {
    PyObject* type = reinterpret_cast<PyObject*>(Py_TYPE(self));
    OverrideCache& cache = override_cache();
    OverrideKey key{type, native_class, name};
    auto it = cache.answers.find(key);
    if (it != cache.answers.end()) return it->second;

    const bool overridden = defines_itself(type, native_class, name);
    if (watch_class(type)) cache.answers.emplace(std::move(key), overridden);
    return overridden;
}

}  // namespace engine::core
