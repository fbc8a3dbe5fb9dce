#pragma once

// Binding support shared by the three extensions; includes Boost.Python.
#include <boost/python.hpp>
#include <boost/python/object/class_detail.hpp>
#include <boost/python/object/instance.hpp>

#include <cstring>
#include <string>

namespace engine::core::python {

/// Makes every Boost.Python function of the process (methods, constructors, property
/// accessors, module functions, whichever module defines them) report a call that
/// matches none of its signatures in script terms: "Sprite.position: expected a pair
/// of numbers or a Vector, got int", or "MySprite.__init__ must call Sprite.__init__"
/// for an instance whose base constructor never ran. The exception stays Boost.Python's
/// ArgumentError (a TypeError). Costs nothing until a call fails. Installed once, by
/// libcore's module entry; script thread only.
void install_argument_errors();

/// For an instance of a script class whose __init__ never ran its engine base's
/// __init__ (so it has no native object): "MyListener.__init__ must call
/// WindowListener.__init__". Empty for any other object.
inline std::string missing_base_init(PyObject* o) {
    namespace bp = boost::python;
    if (!PyObject_TypeCheck(reinterpret_cast<PyObject*>(Py_TYPE(o)), bp::objects::class_metatype().get()) ||
        reinterpret_cast<bp::objects::instance<>*>(o)->objects != nullptr)
        return std::string();
    // The nearest engine class: the first in the MRO whose __init__ is native (a
    // Boost.Python function, like the __init__ of every engine class).
    const bp::object any_native = bp::make_function(static_cast<void (*)()>([] {}));
    PyObject* native_init_type = reinterpret_cast<PyObject*>(Py_TYPE(any_native.ptr()));
    auto name = [](PyTypeObject* t) {
        const char* dot = std::strrchr(t->tp_name, '.');
        return std::string(dot ? dot + 1 : t->tp_name);
    };
    PyObject* mro = Py_TYPE(o)->tp_mro;
    for (Py_ssize_t i = 0; mro && i < PyTuple_GET_SIZE(mro); ++i) {
        auto* base = reinterpret_cast<PyTypeObject*>(PyTuple_GET_ITEM(mro, i));
        PyObject* init = PyDict_GetItemString(base->tp_dict, "__init__");
        if (init && reinterpret_cast<PyObject*>(Py_TYPE(init)) == native_init_type)
            return name(Py_TYPE(o)) + ".__init__ must call " + name(base) + ".__init__";
    }
    return std::string();
}

/// For the few functions that take any object and keep engine ones apart: raises the
/// TypeError of `missing_base_init` when it applies.
inline void require_base_init(const boost::python::object& o) {
    const std::string message = missing_base_init(o.ptr());
    if (message.empty()) return;
    PyErr_SetString(PyExc_TypeError, message.c_str());
    boost::python::throw_error_already_set();
}

/// Defines libcore's private `_seal_value_copies(module)`, which every module's entry
/// calls last (see `seal_value_copies`).
void define_value_copies();

/// The last step of a module's entry: the Vectors, IntVectors and Colours that the
/// module's properties return become copies that refuse a component write
/// (`sprite.position.x = 99` raises "Sprite.position returns a copy: assign the whole
/// value, ..."), instead of changing a temporary silently. Reading costs one C call.
inline void seal_value_copies() {
    namespace bp = boost::python;
    bp::import("libcore").attr("_seal_value_copies")(bp::scope());
}

}  // namespace engine::core::python
