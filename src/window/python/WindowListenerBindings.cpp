#include "python/Bindings.h"

#include "engine/window/Window.h"
#include "engine/window/WindowListener.h"

#include "core/python/support/ObjectWrapper.h"

namespace engine::window::python {

namespace {

// Script subclasses of WindowListener receive the events whose methods they define;
// the others cost no call into Python.
class ListenerWrapper : public core::python::ObjectWrapper<WindowListener> {
public:
    explicit ListenerWrapper(PyObject* self)
        : ObjectWrapper(self),
          create_(overrides<WindowListener>(self, "on_create")),
          destroy_(overrides<WindowListener>(self, "on_destroy")),
          activate_(overrides<WindowListener>(self, "on_activate")),
          close_(overrides<WindowListener>(self, "on_close")),
          resize_(overrides<WindowListener>(self, "on_resize")),
          key_(overrides<WindowListener>(self, "on_key")),
          mouse_button_(overrides<WindowListener>(self, "on_mouse_button")),
          mouse_move_(overrides<WindowListener>(self, "on_mouse_move")),
          mouse_wheel_(overrides<WindowListener>(self, "on_mouse_wheel")),
          text_(overrides<WindowListener>(self, "on_text")) {}

    void on_create(Window* window) override {
        if (!create_) return WindowListener::on_create(window);
        call("on_create", bp::make_tuple(to_python(window)));
    }
    void on_destroy(Window* window) override {
        if (!destroy_) return WindowListener::on_destroy(window);
        call("on_destroy", bp::make_tuple(to_python(window)));
    }
    void on_activate(Window* window, bool active) override {
        if (!activate_) return WindowListener::on_activate(window, active);
        call("on_activate", bp::make_tuple(to_python(window), active));
    }
    void on_close(Window* window) override {
        if (!close_) return WindowListener::on_close(window);
        call("on_close", bp::make_tuple(to_python(window)));
    }
    void on_resize(Window* window, const core::Vector<int>& size) override {
        if (!resize_) return WindowListener::on_resize(window, size);
        call("on_resize", bp::make_tuple(to_python(window), size));
    }
    void on_key(Window* window, key::KeyCode key, bool pressed, bool repeat) override {
        if (!key_) return WindowListener::on_key(window, key, pressed, repeat);
        call("on_key", bp::make_tuple(to_python(window), key, pressed, repeat));
    }
    void on_mouse_button(Window* window, int button, bool pressed) override {
        if (!mouse_button_) return WindowListener::on_mouse_button(window, button, pressed);
        call("on_mouse_button", bp::make_tuple(to_python(window), button, pressed));
    }
    void on_mouse_move(Window* window, const core::Vector<int>& position) override {
        if (!mouse_move_) return WindowListener::on_mouse_move(window, position);
        call("on_mouse_move", bp::make_tuple(to_python(window), position));
    }
    void on_mouse_wheel(Window* window, int delta) override {
        if (!mouse_wheel_) return WindowListener::on_mouse_wheel(window, delta);
        call("on_mouse_wheel", bp::make_tuple(to_python(window), delta));
    }
    // Scripts receive the character as a one-character str.
    void on_text(Window* window, unsigned int character) override {
        if (!text_) return WindowListener::on_text(window, character);
        PyObject* text = PyUnicode_FromOrdinal(int(character));
        if (!text) {  // not a code point: nothing a script could use
            PyErr_Clear();
            return;
        }
        call("on_text", bp::make_tuple(to_python(window), bp::object(bp::handle<>(text))));
    }

private:
    // Script errors are reported (sys.unraisablehook) and do not stop the dispatch.
    void call(const char* name, const bp::tuple& args) { core::call_method(self_, name, args.ptr()); }

    // Which events the script class handles, decided once at construction.
    bool create_, destroy_, activate_, close_, resize_, key_, mouse_button_, mouse_move_, mouse_wheel_, text_;
};

// The native behaviour (nothing), for `super().on_create(window)` in script overrides.
// Called non-virtually: a virtual call would come back to the script's method.
void base_on_create(WindowListener& l, Window* w) { l.WindowListener::on_create(w); }
void base_on_destroy(WindowListener& l, Window* w) { l.WindowListener::on_destroy(w); }
void base_on_activate(WindowListener& l, Window* w, bool active) { l.WindowListener::on_activate(w, active); }
void base_on_close(WindowListener& l, Window* w) { l.WindowListener::on_close(w); }
void base_on_resize(WindowListener& l, Window* w, const core::Vector<int>& size) {
    l.WindowListener::on_resize(w, size);
}
void base_on_key(WindowListener& l, Window* w, key::KeyCode key, bool pressed, bool repeat) {
    l.WindowListener::on_key(w, key, pressed, repeat);
}
void base_on_mouse_button(WindowListener& l, Window* w, int button, bool pressed) {
    l.WindowListener::on_mouse_button(w, button, pressed);
}
void base_on_mouse_move(WindowListener& l, Window* w, const core::Vector<int>& position) {
    l.WindowListener::on_mouse_move(w, position);
}
void base_on_mouse_wheel(WindowListener& l, Window* w, int delta) { l.WindowListener::on_mouse_wheel(w, delta); }
void base_on_text(WindowListener& l, Window* w, bp::object) { l.WindowListener::on_text(w, 0); }

}  // namespace

void define_window_listener() {
    bp::class_<WindowListener, core::python::Held<ListenerWrapper>, boost::noncopyable>(
        "WindowListener",
        "WindowListener()\n\n"
        "Hears the windows' events: subclass it, override the on_... methods needed and\n"
        "add an instance with Window.add_listener (listeners are process-wide).",
        bp::init<>())
        .def("on_create", &base_on_create, bp::arg("window"),
             "on_create(window: Window) -> None\n\n"
             "The window's context was created (again, after a video mode change).")
        .def("on_destroy", &base_on_destroy, bp::arg("window"),
             "on_destroy(window: Window) -> None\n\n"
             "The window's context is about to go.")
        .def("on_activate", &base_on_activate, (bp::arg("window"), bp::arg("active")),
             "on_activate(window: Window, active: bool) -> None\n\n"
             "The window gained or lost the focus.")
        .def("on_close", &base_on_close, bp::arg("window"),
             "on_close(window: Window) -> None\n\n"
             "The user asked to close the window.")
        .def("on_resize", &base_on_resize, (bp::arg("window"), bp::arg("size")),
             "on_resize(window: Window, size: IntVectorLike) -> None\n\n"
             "The window's size changed.")
        .def("on_key", &base_on_key, (bp::arg("window"), bp::arg("key"), bp::arg("pressed"), bp::arg("repeat")),
             "on_key(window: Window, key: key, pressed: bool, repeat: bool) -> None\n\n"
             "A key went down or up; repeat when held down.")
        .def("on_mouse_button", &base_on_mouse_button, (bp::arg("window"), bp::arg("button"), bp::arg("pressed")),
             "on_mouse_button(window: Window, button: int, pressed: bool) -> None\n\n"
             "A mouse button (1 left, 2 middle, 3 right, ...) went down or up.")
        .def("on_mouse_move", &base_on_mouse_move, (bp::arg("window"), bp::arg("position")),
             "on_mouse_move(window: Window, position: IntVectorLike) -> None\n\n"
             "The pointer moved, in pixels from the top left.")
        .def("on_mouse_wheel", &base_on_mouse_wheel, (bp::arg("window"), bp::arg("delta")),
             "on_mouse_wheel(window: Window, delta: int) -> None\n\n"
             "The wheel turned; positive away from the user.")
        .def("on_text", &base_on_text, (bp::arg("window"), bp::arg("character")),
             "on_text(window: Window, character: str) -> None\n\n"
             "One character of text input.");
}

}  // namespace engine::window::python
