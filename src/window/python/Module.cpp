#include "python/Bindings.h"

#include "core/python/support/ArgumentErrors.h"

#include "engine/window/GpuResource.h"
#include "engine/window/OpenGL.h"

namespace engine::window::python {

namespace {

// The module's functions that belong to no class.
void define_functions() {
    bp::def("is_opengl_extension_supported", &is_opengl_extension_supported, bp::arg("name"),
            "is_opengl_extension_supported(name: str) -> bool");
    bp::def("load_into_opengl", &load_into_opengl, bp::arg("matrix"),
            "load_into_opengl(matrix: Matrix) -> None\n\n"
            "Multiplies the current OpenGL matrix by matrix.");
    // How many textures, framebuffers, programs and vertex buffers are alive: scripts
    // and tests check with it that dropped objects gave their GPU resources back.
    bp::def("gpu_resource_count", &GpuResource::count,
            "gpu_resource_count() -> int\n\n"
            "How many GPU resources (textures, framebuffers, programs,\n"
            "vertex buffers) are alive.");
}

}  // namespace

}  // namespace engine::window::python

BOOST_PYTHON_MODULE(libwindow) {
    namespace bp = boost::python;
    // The value types (IntVector, Matrix) and their converters come from libcore.
    bp::import("libcore");
    using namespace engine::window::python;
    const engine::core::python::ScriptDocstrings docstrings;
    define_key_code();
    define_video_mode();
    define_window();
    define_window_listener();
    define_functions();
    engine::core::python::seal_value_copies();
}
