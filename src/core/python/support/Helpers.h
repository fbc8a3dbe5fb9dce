#pragma once

// Binding support shared by the three extensions; includes Boost.Python.
#include <boost/python.hpp>
#include <boost/python/object/function.hpp>

#include "engine/core/Vector.h"
#include "engine/core/script/Factory.h"
#include "engine/core/Object.h"
#include "engine/core/Ref.h"
#include "engine/core/script/Python.h"

#include <string>

namespace engine::core::python {

namespace bp = boost::python;

/// Held by each module's entry while it defines the module's members: help() and the
/// stub generator (scripts/make-stubs) see only the docstrings written at the
/// definitions, whose first line is a Python signature, never Boost.Python's generated
/// C++ signatures.
struct ScriptDocstrings : bp::docstring_options {
    ScriptDocstrings() : bp::docstring_options(true, false, false) {}
};

/// The script object of a native object (the same Python object every time), or None
/// for a natively made one.
inline bp::object to_python(const Object* object) {
    PyObject* self = object ? object->get_python_self() : nullptr;
    return self ? bp::object(bp::handle<>(bp::borrowed(self))) : bp::object();
}

/// Raises a Python exception of `type` with `message` from native binding code.
[[noreturn]] inline void raise(PyObject* type, const std::string& message) {
    PyErr_SetString(type, message.c_str());
    bp::throw_error_already_set();
    __builtin_unreachable();
}

/// The Python class registered for the native type T.
template <class T>
PyObject* class_object() {
    const bp::converter::registration* r = bp::converter::registry::query(bp::type_id<T>());
    return r && r->m_class_object ? reinterpret_cast<PyObject*>(r->m_class_object) : nullptr;
}

/// Whether the script class of `self` overrides the hook `name` of native class T.
template <class T>
bool overrides(PyObject* self, const char* name) {
    return script_overrides(self, class_object<T>(), name);
}

/// A Python argument that must not be None.
template <class T>
T& require(T* pointer, const char* what) {
    if (!pointer) raise(PyExc_TypeError, std::string(what) + " must not be None.");
    return *pointer;
}

/// One script function over several native ones, tried in turn: the first whose
/// parameters accept the arguments runs (a scale setter taking a Vector or one number).
/// `doc` is its docstring; a property setter's, "scale(value: VectorLike | float) -> None",
/// tells the stubs what the property accepts.
template <class... Functions>
bp::object overloaded(const char* doc, Functions... functions) {
    bp::object scope(bp::handle<>(PyModule_New("overloads")));
    (bp::objects::function::add_to_namespace(scope, "f", bp::make_function(functions)), ...);
    bp::object function = scope.attr("f");
    bp::setattr(function, "__doc__", bp::str(doc));
    return function;
}

/// The last step of a class's definition when data files or the module create it by
/// name: the class becomes creatable through the factory under `name`.
/// An optional threshold or factor: None gives `none`, a Python int or float its value
/// (bool is refused: True is no threshold); anything else is a TypeError and NaN a
/// ValueError, each naming `what` ("Sprite.contains: alpha_threshold").
inline float number_or_none(const bp::object& value, float none, const std::string& what) {
    if (value.is_none()) return none;
    PyObject* p = value.ptr();
    if (PyBool_Check(p) || !(PyFloat_Check(p) || PyLong_Check(p)))
        raise(PyExc_TypeError, what + " must be a number or None.");
    const double number = PyFloat_AsDouble(p);
    if (number == -1.0 && PyErr_Occurred()) bp::throw_error_already_set();
    if (number != number) raise(PyExc_ValueError, what + " is NaN.");
    return float(number);
}

/// A point from a Vector, a pair of numbers or an IntVector (a mouse position, as the
/// window gives it); anything else is a TypeError naming `what` ("Scene.objects_at: point").
inline Vector<float> point_argument(const bp::object& value, const std::string& what) {
    bp::extract<Vector<float>> point(value);
    if (point.check()) return point();
    bp::extract<Vector<int>> pixel(value);
    if (pixel.check()) return Vector<float>(float(pixel().x), float(pixel().y));
    raise(PyExc_TypeError, what + ": expected a pair of numbers, a Vector or an IntVector, got " +
                               std::string(Py_TYPE(value.ptr())->tp_name));
}

inline void register_with_factory(const bp::object& cls, const char* name) { Factory::register_class(name, cls.ptr()); }

}  // namespace engine::core::python
