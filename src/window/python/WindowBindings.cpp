#include "python/Bindings.h"

#include "engine/window/Window.h"
#include "engine/window/WindowListener.h"

#include <string>

namespace engine::window::python {

namespace {

// Records the script object before the window base is constructed, since the window
// tells listeners `on_create` from its constructor; forgets it after the window is gone.
class ScriptObjectSlot {
public:
    ScriptObjectSlot(const Window* window, PyObject* self) : window_(window) { set_script_object(window, self); }
    ScriptObjectSlot(const ScriptObjectSlot&) = delete;
    ScriptObjectSlot& operator=(const ScriptObjectSlot&) = delete;
    ~ScriptObjectSlot() { clear_script_object(window_); }

private:
    const Window* window_;  // the window of this slot, not owned
};

// The class Python instantiates for Window: the script object owns it.
class ScriptWindow : private ScriptObjectSlot, public Window {
public:
    ScriptWindow(PyObject* self, int width, int height, const std::string& title, bool fullscreen, bool vsync)
        : ScriptObjectSlot(this, self), Window(width, height, title, fullscreen, vsync) {}
    ScriptWindow(const ScriptWindow&) = delete;
    ScriptWindow& operator=(const ScriptWindow&) = delete;

    // Runs while Python deallocates the script object, so listeners told of the close
    // get None rather than an object that is going away (deliberate).
    ~ScriptWindow() {
        clear_script_object(this);
        close();
    }
};

bool add_listener(WindowListener* listener) { return Window::add_listener(&require(listener, "The listener")); }

bool remove_listener(WindowListener* listener) { return Window::remove_listener(&require(listener, "The listener")); }

VideoMode video_mode(const Window& window) { return *window.get_video_mode(); }

bp::tuple read_pixels(const Window& window) {
    const Pixels pixels = window.read_pixels();
    bp::object data(bp::handle<>(
        PyBytes_FromStringAndSize(reinterpret_cast<const char*>(pixels.data.data()), Py_ssize_t(pixels.data.size()))));
    return bp::make_tuple(pixels.width, pixels.height, data);
}

// Any path-like object: str, bytes or os.PathLike.
bool save_screenshot(const Window& window, bp::object path) {
    bp::object fs_path(bp::handle<>(PyOS_FSPath(path.ptr())));
    std::string native;
    if (PyBytes_Check(fs_path.ptr())) {
        native.assign(PyBytes_AS_STRING(fs_path.ptr()), std::size_t(PyBytes_GET_SIZE(fs_path.ptr())));
    } else {
        bp::object encoded(bp::handle<>(PyUnicode_EncodeFSDefault(fs_path.ptr())));
        native.assign(PyBytes_AS_STRING(encoded.ptr()), std::size_t(PyBytes_GET_SIZE(encoded.ptr())));
    }
    return window.save_screenshot(native);
}

}  // namespace

void define_window() {
    bp::class_<Window, ScriptWindow, boost::noncopyable>(
        "Window", bp::init<int, int, std::string, bool, bool>((bp::arg("width") = 800, bp::arg("height") = 600,
                                                               bp::arg("title") = "", bp::arg("fullscreen") = false,
                                                               bp::arg("vsync") = false)))
        .def("add_listener", &add_listener, bp::arg("listener"))
        .staticmethod("add_listener")
        .def("remove_listener", &remove_listener, bp::arg("listener"))
        .staticmethod("remove_listener")
        .add_property("video_mode", &video_mode)
        .add_property("is_open", &Window::is_open)
        .def("set_video_mode", &Window::set_video_mode,
             (bp::arg("width"), bp::arg("height"), bp::arg("fullscreen") = false))
        .def("process_events", &Window::process_events)
        .def("swap_buffers", &Window::swap_buffers)
        .def("close", &Window::close)
        .def("read_pixels", &read_pixels)
        .def("save_screenshot", &save_screenshot, bp::arg("path"));
}

}  // namespace engine::window::python
