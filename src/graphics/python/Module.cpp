#include "python/Bindings.h"

#include "core/python/support/ArgumentErrors.h"

#include "engine/graphics/Module.h"
#include "engine/graphics/TextureLoader.h"
#include "module/GraphicsWindowListener.h"

#include "engine/window/Window.h"

namespace engine::graphics::python {

namespace {

// The script object of the current window, kept alive while it is set. A raw
// reference, since the module state outlives the interpreter.
PyObject* window_object = nullptr;

void set_window_object(bp::object window) {
    window::Window* native = nullptr;
    if (!window.is_none()) {
        bp::extract<window::Window*> get(window);
        if (!get.check()) raise(PyExc_TypeError, "set_window() takes a libwindow.Window or None.");
        native = get();
    }
    set_window(native);
    Py_XINCREF(native ? window.ptr() : nullptr);
    Py_XDECREF(window_object);
    window_object = native ? window.ptr() : nullptr;
}

bp::object get_window_object() {
    return window_object ? bp::object(bp::handle<>(bp::borrowed(window_object))) : bp::object();
}

// A singleton made through the factory, so that a script subclass registered under
// the same name is used. A failure is printed, and the attribute is None.
void create_singleton(const char* class_name, const char* attribute) {
    PyObject* instance = core::Factory::new_object_raw(class_name, nullptr);
    if (!instance || instance == Py_None) {
        if (PyErr_Occurred()) PyErr_Print();
        Py_XDECREF(instance);
        bp::scope().attr(attribute) = bp::object();
        return;
    }
    bp::scope().attr(attribute) = bp::object(bp::handle<>(instance));
}

// The module's functions that belong to no class.
void define_functions() {
    bp::def("set_window", &set_window_object, bp::arg("window"),
            "set_window(window: Window | None) -> None\n\n"
            "The window the module draws into and follows through video mode changes.");
    bp::def("get_window", &get_window_object,
            "get_window() -> Window | None\n\n"
            "The window set with set_window.");
    bp::def("set_ortho", &engine::graphics::set_ortho,
            "set_ortho() -> None\n\n"
            "A projection in pixels of the window: (0, 0) at the top left, y downwards.");
}

// Run by the interpreter's atexit, while the module's state is still intact: the
// loader thread is joined before anything it uses goes away.
void stop_background_work() { TextureLoader::shutdown(); }

void create_singletons() {
    create_singleton("Scene", "scene");
    create_singleton("TextureDatabase", "texture_database");
    create_singleton("TextureLoader", "texture_loader");
}

}  // namespace

}  // namespace engine::graphics::python

BOOST_PYTHON_MODULE(libgraphics) {
    namespace bp = boost::python;
    // The value types' converters and the Window class come from the sibling modules.
    bp::import("libcore");
    bp::import("libwindow");
    using namespace engine::graphics::python;
    const engine::core::python::ScriptDocstrings docstrings;
    // Classes in dependency order: a base class always before the classes derived from it.
    install_object_maker();
    define_transform();
    define_skeleton();
    define_scene_object();
    define_actor_mesh();
    define_actor();
    define_actor_database();
    define_particle_system();
    define_sprite();
    define_animator();
    define_scene();
    define_scene_layer();
    define_scene_listener();
    define_texture();
    define_actor_controller();
    define_actor_controller_dynamics();
    define_actor_controller_ik();
    define_actor_controller_shared_skeleton();
    define_actor_controller_animation();
    define_actor_controller_stack();
    define_ik_constraint();
    define_framebuffer();
    define_text();
    define_functions();
    define_run();
    define_gl_state();
    engine::core::python::seal_value_copies();
    create_singletons();
    bp::import("atexit").attr("register")(bp::make_function(&stop_background_work));
}
