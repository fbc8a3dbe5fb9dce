#include "python/Bindings.h"

#include "engine/graphics/GLState.h"
#include "engine/graphics/SceneObject.h"

#include <cstring>

namespace engine::graphics::python {

namespace {

// Reports name a script subclass by its own class ("Ship 'player'"), not by the
// native class it derives from.
std::string script_class_name(const SceneObject& object) {
    PyObject* self = object.get_python_self();
    if (!self) return std::string();
    const char* name = Py_TYPE(self)->tp_name;
    const char* dot = std::strrchr(name, '.');
    return dot ? dot + 1 : name;
}

bp::list differences() {
    bp::list result;
    for (const std::string& difference : GLState::differences()) result.append(difference);
    return result;
}

int violation_count() { return int(GLState::get_violation_count()); }

}  // namespace

void define_gl_state() {
    GLState::set_object_namer(&script_class_name);
    bp::class_<GLState, boost::noncopyable>(
        "GLState",
        "GLState\n\n"
        "The one OpenGL state every draw path finds and leaves: no buffer object bound,\n"
        "vertex and texture-coordinate arrays on and the other client arrays off, texture\n"
        "unit 0 active, blending on with (SRC_ALPHA, ONE_MINUS_SRC_ALPHA), current colour\n"
        "opaque white, modelview matrix mode, no shader program, point size and line width\n"
        "1, depth/stencil/scissor/alpha tests, culling and lighting off. Code drawing with\n"
        "raw OpenGL in OnRender finds this state and must leave it.",
        bp::no_init)
        .def("is_checking", &GLState::is_checking,
             "is_checking() -> bool\n\n"
             "Whether the scene compares the GL state with the baseline after every object's\n"
             "update and render and every listener hook (ENGINE_GL_STATE_CHECK=1 turns it on\n"
             "at start-up).")
        .staticmethod("is_checking")
        .def("set_checking", &GLState::set_checking, bp::arg("on"),
             "set_checking(on: bool) -> None\n\n"
             "Switches the check on or off. A difference is logged as an error naming the\n"
             "object's class and id and the state that differs, and the baseline is restored.")
        .staticmethod("set_checking")
        .def("differences", &differences,
             "differences() -> list[str]\n\n"
             "How the current GL state differs from the baseline, one entry per difference;\n"
             "empty when it matches or no context exists.")
        .staticmethod("differences")
        .def("apply", &GLState::apply,
             "apply() -> None\n\n"
             "Sets the baseline state.")
        .staticmethod("apply")
        .def("violation_count", &violation_count,
             "violation_count() -> int\n\n"
             "How many checks have found a difference since the module was loaded.")
        .staticmethod("violation_count");
}

}  // namespace engine::graphics::python
