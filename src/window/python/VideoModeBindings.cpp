#include "python/Bindings.h"

#include "engine/window/VideoMode.h"

#include <string>

namespace engine::window::python {

namespace {

std::string video_mode_repr(const VideoMode& mode) {
    const core::Vector<int>& r = mode.get_resolution();
    return "VideoMode(" + std::to_string(r.x) + "x" + std::to_string(r.y) +
           (mode.is_fullscreen() ? ", fullscreen)" : ", windowed)");
}

bool video_mode_equal(const VideoMode& a, const VideoMode& b) {
    return a.get_resolution() == b.get_resolution() && a.is_fullscreen() == b.is_fullscreen();
}

}  // namespace

void define_video_mode() {
    // A value: `window.video_mode` is a snapshot taken when it is read.
    bp::class_<VideoMode>(
        "VideoMode",
        "VideoMode(resolution: IntVectorLike, fullscreen: bool = False)\n\n"
        "A window size and whether it fills the screen (Window.video_mode).",
        bp::init<const core::Vector<int>&, bool>((bp::arg("resolution"), bp::arg("fullscreen") = false)))
        .add_property(
            "resolution",
            bp::make_function(&VideoMode::get_resolution, bp::return_value_policy<bp::copy_const_reference>()),
            "resolution: IntVector\n\n"
            "Width and height in pixels.")
        .add_property("fullscreen", &VideoMode::is_fullscreen, "fullscreen: bool")
        .def("__eq__", &video_mode_equal, "__eq__(other: object, /) -> bool")
        .def(
            "__ne__", +[](const VideoMode& a, const VideoMode& b) { return !video_mode_equal(a, b); },
            "__ne__(other: object, /) -> bool")
        .def("__repr__", &video_mode_repr, "__repr__() -> str");
}

}  // namespace engine::window::python
