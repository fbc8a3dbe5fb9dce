#include <boost/python.hpp>

#include "python/Interfaces.h"

#include "engine/window/OpenGL.h"

namespace engine::window::python {

namespace bp = boost::python;

void define_opengl() {
    bp::def("is_opengl_extension_supported", &is_opengl_extension_supported, bp::arg("name"));
    bp::def("load_into_opengl", &load_into_opengl, bp::arg("matrix"));
}

}  // namespace engine::window::python
