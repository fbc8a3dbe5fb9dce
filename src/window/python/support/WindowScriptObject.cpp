#include <boost/python.hpp>

#include "window/python/support/WindowScriptObject.h"

#include <unordered_map>

namespace engine::window::python {

namespace {
// Window -> its Python object, borrowed. Never destroyed: windows may close at exit.
std::unordered_map<const Window*, PyObject*>& script_objects() {
    static auto* map = new std::unordered_map<const Window*, PyObject*>;
    return *map;
}
}  // namespace

boost::python::object to_python(const Window* window) {
    auto it = script_objects().find(window);
    if (it == script_objects().end()) return boost::python::object();
    return boost::python::object(boost::python::handle<>(boost::python::borrowed(it->second)));
}

void set_script_object(const Window* window, PyObject* self) { script_objects()[window] = self; }

void clear_script_object(const Window* window) { script_objects().erase(window); }

}  // namespace engine::window::python
