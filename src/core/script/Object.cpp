#include <boost/python.hpp>

#include "engine/core/script/Object.h"

namespace engine::core {

PythonObject Object::get_pyobject() const { return boost::python::object(); }

void Object::inc_ref() const {
    if (PyObject* self = get_python_self())
        Py_INCREF(self);
    else
        ++unbound_refs_;
}

void Object::dec_ref() const {
    if (PyObject* self = get_python_self())
        Py_DECREF(self);
    else
        --unbound_refs_;
}

}  // namespace engine::core
