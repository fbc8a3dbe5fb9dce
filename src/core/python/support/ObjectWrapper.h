#pragma once

// Binding support shared by the three extensions; includes Boost.Python.
#include <boost/python.hpp>

#include "engine/core/Object.h"
#include "engine/core/Ref.h"

#include <utility>

namespace engine::core::python {

/// The class that Python instantiates for a script-visible class T: it derives from T,
/// is the object's self's native part and is constructed from `self` followed by T's
/// constructor arguments. Expose T with `class_<T, Ref<ObjectWrapper<T, Args...>>, ...>`
/// (the `Held<...>` alias): the script object holds its native object through a `Ref`,
/// one holder among the others. Classes with script-overridable hooks derive their own
/// wrapper from this one and call `call_method` for the hooks the script class
/// overrides (see `overrides`).
template <class T, class... Args>
class ObjectWrapper : public T {
public:
    explicit ObjectWrapper(PyObject* self, Args... args) : T(std::forward<Args>(args)...), self_(self) {
        this->bind_python_self(self);
    }

protected:
    PyObject* self_;  // the script object, borrowed: alive as long as this object is used
};

/// Lets engine objects keep their selves: every extension calls this in its module
/// entry (the same hooks each time), so that whichever is imported first installs them.
inline void install_self_hooks() {
    Object::set_self_hooks({[](PyObject* self) { Py_INCREF(self); }, [](PyObject* self) { Py_DECREF(self); }});
}

/// The held type of a script-visible class whose Python class is made from `Wrapper`.
template <class Wrapper>
using Held = Ref<Wrapper>;

}  // namespace engine::core::python
