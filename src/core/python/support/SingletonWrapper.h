#pragma once

// Binding support shared by the three extensions; includes Boost.Python.
#include "core/python/support/Helpers.h"
#include "core/python/support/ObjectWrapper.h"

#include <string>

namespace engine::core::python {

/// The script side of a module singleton (`libgraphics.texture_database`,
/// `libgraphics.texture_loader`). The module makes the one instance; a script making
/// another gets TypeError, since a second one would take the shared state over and
/// tear it down when dropped. `T::exists()` says whether the one instance is alive;
/// `name` is the instance's name for scripts, with its module.
template <class T>
class SingletonWrapper : public ObjectWrapper<T> {
public:
    SingletonWrapper(PyObject* self, const char* name) : ObjectWrapper<T>((refuse_second(name), self)) {}

private:
    static void refuse_second(const char* name) {
        if (T::exists())
            raise(PyExc_TypeError,
                  std::string(name) + " is the module's only instance: use it rather than making another");
    }
};

}  // namespace engine::core::python
