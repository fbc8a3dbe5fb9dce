#include <Python.h>

#include "engine/core/script/Factory.h"

#include <map>

namespace engine::core::Factory {

namespace {
// Owns one reference to each class; never destroyed, since it lives with the interpreter.
std::map<std::string, PyObject*>& classes() {
    static auto* registry = new std::map<std::string, PyObject*>;
    return *registry;
}
}  // namespace

void register_class(const std::string& name, PyObject* python_class) {
    if (!python_class) return;
    Py_INCREF(python_class);
    PyObject*& slot = classes()[name];
    Py_XDECREF(slot);
    slot = python_class;
}

PyObject* get_class(const std::string& name) {
    auto it = classes().find(name);
    return it == classes().end() ? nullptr : it->second;
}

PyObject* new_object_raw(const std::string& name, PyObject* args) {
    PyObject* cls = get_class(name);
    if (!cls) {
        PyErr_Format(PyExc_KeyError, "No class registered under the name '%s'.", name.c_str());
        return nullptr;
    }
    if (!args) return PyObject_CallNoArgs(cls);
    return PyObject_Call(cls, args, nullptr);
}

}  // namespace engine::core::Factory
