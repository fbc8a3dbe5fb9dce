#include "python/Bindings.h"

#include "engine/window/Window.h"
#include "engine/window/WindowListener.h"

#include <string>
#include <type_traits>

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

core::Vector<int> mouse_position(const Window& window) { return window.get_mouse_position(); }

// The held buttons as a frozenset of button numbers: `1 in window.mouse_buttons`.
bp::object mouse_buttons(const Window& window) {
    bp::list held;
    const std::uint32_t mask = window.get_mouse_buttons();
    for (int button = 1; button <= 32; ++button)
        if (mask & (std::uint32_t(1) << (button - 1))) held.append(button);
    return bp::object(bp::handle<>(PyFrozenSet_New(held.ptr())));
}

// The keyword arguments of one post_event call: each is taken once, by name, with a
// message naming the field and what it expects when its type is wrong; whatever is
// left over is refused.
class EventFields {
public:
    EventFields(std::string kind, bp::dict fields) : kind_(std::move(kind)), fields_(fields.copy()) {}

    template <class T>
    T take(const char* name, const char* expected, const T* fallback = nullptr) {
        bp::object value = fields_.get(name);
        if (value.is_none()) {
            if (fallback) return *fallback;
            raise(PyExc_TypeError, prefix() + "needs " + name + "=" + expected + ".");
        }
        PyDict_DelItemString(fields_.ptr(), name);
        bp::extract<T> get(value);
        if (!get.check() || (std::is_same_v<T, bool> && !PyBool_Check(value.ptr())))
            raise(PyExc_TypeError,
                  prefix() + name + " must be " + expected + ", not " + Py_TYPE(value.ptr())->tp_name + ".");
        return get();
    }
    // Whether a field is absent or None (it stays to be taken).
    bool take_object_is_none(const char* name) { return fields_.get(name).is_none(); }
    // A str, whole.
    bp::object take_text(const char* name) {
        bp::object value = fields_.get(name);
        if (value.is_none()) raise(PyExc_TypeError, prefix() + "needs " + name + "=a str.");
        PyDict_DelItemString(fields_.ptr(), name);
        if (!PyUnicode_Check(value.ptr()))
            raise(PyExc_TypeError, prefix() + name + " must be a str, not " + Py_TYPE(value.ptr())->tp_name + ".");
        return value;
    }
    // After every field was taken: anything else is a mistake.
    void finish(const char* accepted) {
        if (bp::len(fields_) == 0) return;
        const std::string name = bp::extract<std::string>(bp::str(fields_.keys()[0]));
        raise(PyExc_TypeError, prefix() + "got an unexpected keyword '" + name + "' (it takes " + accepted + ").");
    }

private:
    std::string prefix() const { return "Window.post_event('" + kind_ + "'): "; }
    std::string kind_;
    bp::dict fields_;  // a copy: fields are taken out of it
};

// window.post_event(kind, **fields): see the docstring below.
bp::object post_event(bp::tuple args, bp::dict kwargs) {
    if (bp::len(args) != 2)
        raise(PyExc_TypeError,
              "Window.post_event() takes the kind of event and keyword arguments, e.g. "
              "post_event('key', key=libwindow.key.SPACE, pressed=True).");
    Window& window = bp::extract<Window&>(args[0])();
    bp::extract<std::string> get_kind(args[1]);
    if (!get_kind.check() || !PyUnicode_Check(bp::object(args[1]).ptr()))
        raise(PyExc_TypeError, "Window.post_event(): the kind must be a str such as 'key'.");
    const std::string kind = get_kind();
    EventFields fields(kind, kwargs);
    const bool yes = true, no = false;
    if (kind == "key") {
        const auto key = fields.take<key::KeyCode>("key", "a libwindow.key");
        const bool pressed = fields.take<bool>("pressed", "a bool", &yes);
        const bool repeat = fields.take<bool>("repeat", "a bool", &no);
        fields.finish("key, pressed, repeat");
        window.post_event(WindowEvent::key_event(key, pressed, repeat));
    } else if (kind == "text") {
        bp::object characters = fields.take_text("text");
        fields.finish("text");
        for (Py_ssize_t i = 0, n = PyUnicode_GetLength(characters.ptr()); i < n; ++i)
            window.post_event(WindowEvent::text_event(PyUnicode_ReadChar(characters.ptr(), i)));
    } else if (kind == "mouse_button") {
        const int one = 1;
        const int button = fields.take<int>("button", "an int (1 left, 2 middle, 3 right)", &one);
        const bool pressed = fields.take<bool>("pressed", "a bool", &yes);
        const core::Vector<int> nowhere(0, 0);
        const bool positioned = !fields.take_object_is_none("position");
        const auto position = fields.take<core::Vector<int>>("position", "a pair of ints", &nowhere);
        fields.finish("button, pressed, position");
        if (button < 1 || button > 32)
            raise(PyExc_ValueError, "Window.post_event('mouse_button'): button must be 1 to 32.");
        WindowEvent event = WindowEvent::mouse_button_event(button, pressed, position);
        event.positioned = positioned;  // without one, where the pointer is when handled
        window.post_event(event);
    } else if (kind == "mouse_move") {
        const auto position = fields.take<core::Vector<int>>("position", "a pair of ints");
        fields.finish("position");
        window.post_event(WindowEvent::mouse_move_event(position));
    } else if (kind == "mouse_wheel") {
        const int delta = fields.take<int>("delta", "an int");
        fields.finish("delta");
        window.post_event(WindowEvent::mouse_wheel_event(delta));
    } else if (kind == "resize") {
        const auto size = fields.take<core::Vector<int>>("size", "a pair of ints");
        fields.finish("size");
        const int most = window.get_max_size();
        if (size.x < 1 || size.y < 1 || size.x > most || size.y > most)
            raise(PyExc_ValueError, "Window.post_event('resize'): size must be at least 1x1 and at most " +
                                        std::to_string(most) + "x" + std::to_string(most) + ".");
        window.post_event(WindowEvent::resize_event(size));
    } else if (kind == "close") {
        fields.finish("no keywords");
        window.post_event(WindowEvent::close_event());
    } else if (kind == "activate") {
        const bool active = fields.take<bool>("active", "a bool", &yes);
        fields.finish("active");
        window.post_event(WindowEvent::activate_event(active));
    } else {
        raise(PyExc_ValueError, "Window.post_event(): unknown kind '" + kind +
                                    "' (expected 'key', 'text', 'mouse_button', 'mouse_move', 'mouse_wheel', "
                                    "'resize', 'close' or 'activate').");
    }
    return bp::object();
}

const char* const post_event_doc =
    "post_event(kind: Literal['key'], /, *, key: key, pressed: bool = True, repeat: bool = False) -> None\n"
    "post_event(kind: Literal['text'], /, *, text: str) -> None\n"
    "post_event(kind: Literal['mouse_button'], /, *, button: int = 1, pressed: bool = True, "
    "position: IntVectorLike | None = None) -> None\n"
    "post_event(kind: Literal['mouse_move'], /, *, position: IntVectorLike) -> None\n"
    "post_event(kind: Literal['mouse_wheel'], /, *, delta: int) -> None\n"
    "post_event(kind: Literal['resize'], /, *, size: IntVectorLike) -> None\n"
    "post_event(kind: Literal['close'], /) -> None\n"
    "post_event(kind: Literal['activate'], /, *, active: bool = True) -> None\n\n"
    "Queue an event as if the operating system had sent it. The next process_events()\n"
    "handles it like a real one: listeners hear it and the input state follows.\n\n"
    "  post_event('key', key=libwindow.key.SPACE, pressed=True, repeat=False)\n"
    "  post_event('text', text='hello')          # one on_text per character\n"
    "  post_event('mouse_button', button=1, pressed=True, position=None)\n"
    "                                            # position: where it happened (default: where\n"
    "                                            # the pointer is)\n"
    "  post_event('mouse_move', position=(x, y))\n"
    "  post_event('mouse_wheel', delta=1)        # positive scrolls away from the user\n"
    "  post_event('resize', size=(width, height))\n"
    "  post_event('close')                       # process_events() then returns False\n"
    "  post_event('activate', active=False)      # losing the focus forgets held keys\n";

}  // namespace

void define_window() {
    bp::class_<Window, ScriptWindow, boost::noncopyable>(
        "Window",
        "Window(width: int = 800, height: int = 600, title: str = '', "
        "fullscreen: bool = False, vsync: bool = False)\n\n"
        "A window with an OpenGL compatibility context. process_events() handles its events\n"
        "(False once it is closed), swap_buffers() shows what was drawn; listeners added\n"
        "with add_listener hear its events. Each side is 1 to 16384 pixels (ValueError otherwise).",
        bp::init<int, int, std::string, bool, bool>((bp::arg("width") = 800, bp::arg("height") = 600,
                                                     bp::arg("title") = "", bp::arg("fullscreen") = false,
                                                     bp::arg("vsync") = false)))
        .def("add_listener", &add_listener, bp::arg("listener"),
             "add_listener(listener: WindowListener) -> bool\n\n"
             "Adds a listener to every window, keeping it alive; False when it was added already.")
        .staticmethod("add_listener")
        .def("remove_listener", &remove_listener, bp::arg("listener"),
             "remove_listener(listener: WindowListener) -> bool\n\n"
             "Removes a listener; False when it was not added.")
        .staticmethod("remove_listener")
        .add_property("video_mode", &video_mode,
                      "video_mode: VideoMode\n\n"
                      "The window's size and whether it is fullscreen.")
        .add_property("max_size", &Window::get_max_size,
                      "max_size: int\n\n"
                      "The longest side the window takes, in pixels: 16384, or less when its GL context's\n"
                      "viewport is smaller.")
        .add_property("is_open", &Window::is_open,
                      "is_open: bool\n\n"
                      "False once the window is closed.")
        .def("set_video_mode", &Window::set_video_mode,
             (bp::arg("width"), bp::arg("height"), bp::arg("fullscreen") = false),
             "set_video_mode(width: int, height: int, fullscreen: bool = False) -> None\n\n"
             "Re-creates the context at that size; engine objects come back by themselves and\n"
             "listeners hear on_destroy, on_create and on_resize. ValueError for a side below 1 or\n"
             "above max_size, before anything changes.")
        .def("process_events", &Window::process_events,
             "process_events() -> bool\n\n"
             "Handles the events that arrived (and posted ones); False once the window is closed.")
        .def("swap_buffers", &Window::swap_buffers,
             "swap_buffers() -> None\n\n"
             "Shows what was drawn.")
        .def("clear", &Window::clear, bp::arg("colour") = core::Colour(0.0f, 0.0f, 0.0f),
             "clear(colour: ColourLike = (0, 0, 0)) -> None\n\n"
             "Fills the window's picture with colour (opaque black by default), even while a\n"
             "Framebuffer is bound. Nothing clears the window by itself: call it (or set\n"
             "scene.clear_colour; libgraphics.run clears to black) at the start of each frame.")
        .def("close", &Window::close, "close() -> None")
        .def("read_pixels", &read_pixels,
             "read_pixels() -> tuple[int, int, bytes]\n\n"
             "(width, height, RGBA bytes, top row first) of what was drawn; call it before\n"
             "swap_buffers(). Alpha is what the drawing left in the window (see save_screenshot).")
        .def("save_screenshot", &save_screenshot, bp::arg("path"),
             "save_screenshot(path: str | bytes | PathLike[str]) -> bool\n\n"
             "Writes what was drawn to a PNG file, opaque (alpha 255) as the window shows it;\n"
             "whether it could.")
        .def("is_key_down", &Window::is_key_down, bp::arg("key"),
             "is_key_down(key: key) -> bool\n\n"
             "Whether the key is held down, after the events handled so far (real or posted).")
        .add_property("mouse_position", &mouse_position,
                      "mouse_position: IntVector\n\n"
                      "Where the mouse pointer was last seen, in pixels from the top left.")
        .add_property("mouse_buttons", &mouse_buttons,
                      "mouse_buttons: frozenset[int]\n\n"
                      "The mouse buttons held down (1 left, 2 middle, 3 right, ...).")
        .def("post_event", bp::raw_function(&post_event, 2), post_event_doc);
}

}  // namespace engine::window::python
