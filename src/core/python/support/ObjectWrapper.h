#pragma once

// Binding support shared by the three extensions; includes Boost.Python.
#include <boost/python.hpp>

#include "engine/core/script/Object.h"

#include <utility>

namespace engine::core::python {

/// The class that Python instantiates for a script-visible class T: it derives from T,
/// knows its own Python object (`self`, borrowed: the Python object owns this one) and
/// is constructed from `self` followed by T's constructor arguments. Expose T with
/// `class_<T, ObjectWrapper<T, Args...>, ...>` so script classes can derive from T.
/// Classes with script-overridable hooks derive their own wrapper from this one and
/// call `call_method` for the hooks the script class overrides (see `overrides`).
template <class T, class... Args>
class ObjectWrapper : public T {
public:
    explicit ObjectWrapper(PyObject* self, Args... args) : T(std::forward<Args>(args)...), self_(self) {
        // T's constructor may have handed itself to a container before it knew self.
        for (int refs = this->take_unbound_refs(); refs > 0; --refs) Py_INCREF(self_);
    }

    PythonObject get_pyobject() const override {
        return boost::python::object(boost::python::handle<>(boost::python::borrowed(self_)));
    }
    PyObject* get_python_self() const noexcept override { return self_; }

protected:
    PyObject* self_;  // the owning Python object, borrowed
};

}  // namespace engine::core::python
