#include <Python.h>

#include "engine/core/Python.h"

#include <map>
#include <string>
#include <tuple>

namespace engine::core {

bool call_method(PyObject* self, const std::string& name, PyObject* args) {
    if (!self) return false;
    PyObject* method = PyObject_GetAttrString(self, name.c_str());
    if (!method) {
        PyErr_Clear();
        return false;
    }
    PyObject* result = args ? PyObject_Call(method, args, nullptr) : PyObject_CallNoArgs(method);
    if (!result) {
        PyErr_WriteUnraisable(method);
        Py_DECREF(method);
        return false;
    }
    Py_DECREF(result);
    Py_DECREF(method);
    return true;
}

bool script_overrides(PyObject* self, PyObject* native_class, const char* name) {
    // Keyed by (script class, native class, hook name). The script class is kept alive
    // by a reference of the cache, so its address can never be reused by another class.
    using Key = std::tuple<PyObject*, PyObject*, std::string>;
    static auto* cache = new std::map<Key, bool>;  // never destroyed: lives with the interpreter

    PyObject* type = reinterpret_cast<PyObject*>(Py_TYPE(self));
    Key key{type, native_class, name};
    auto it = cache->find(key);
    if (it != cache->end()) return it->second;

    bool overridden = false;
    if (type != native_class) {
        PyObject* mine = PyObject_GetAttrString(type, name);
        if (!mine) {
            PyErr_Clear();
        } else {
            PyObject* native = native_class ? PyObject_GetAttrString(native_class, name) : nullptr;
            if (!native) PyErr_Clear();
            overridden = mine != native;
            Py_XDECREF(native);
            Py_DECREF(mine);
        }
    }
    Py_INCREF(type);
    cache->emplace(std::move(key), overridden);
    return overridden;
}

}  // namespace engine::core
