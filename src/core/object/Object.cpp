#include <boost/python.hpp>

#include "engine/core/Object.h"

namespace engine::core {

PythonObject Object::get_pyobject() const { return boost::python::object(); }

void Object::inc_ref() const {
    if (PyObject* self = get_python_self()) Py_INCREF(self);
}

void Object::dec_ref() const {
    if (PyObject* self = get_python_self()) Py_DECREF(self);
}

}  // namespace engine::core
