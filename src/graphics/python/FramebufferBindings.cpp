#include "python/Bindings.h"
#include "python/SceneObjectWrapper.h"

#include "engine/graphics/Framebuffer.h"
#include "engine/graphics/FramebufferDisplay.h"

namespace engine::graphics::python {

namespace {

// "create" takes optional dimensions.
bool create(Framebuffer& f, bp::object dimensions) {
    if (dimensions.is_none()) return f.create();
    return f.create(bp::extract<core::Vector<int>>(dimensions)());
}

core::Vector<int> dimensions(const Framebuffer& f) { return f.get_dimensions(); }
core::Vector<float> display_dimensions(const FramebufferDisplay& d) { return d.get_dimensions(); }
core::Vector<float> origin(const FramebufferDisplay& d) { return d.get_origin(); }
core::Colour colour(const FramebufferDisplay& d) { return d.get_colour(); }
bp::object framebuffer(const FramebufferDisplay& d) { return to_python(d.get_framebuffer()); }

bp::object current_framebuffer() { return to_python(Framebuffer::get_current_framebuffer()); }

}  // namespace

void define_framebuffer() {
    bp::object cls =
        bp::class_<Framebuffer, Held<ObjectWrapper<Framebuffer>>, boost::noncopyable>(
            "Framebuffer",
            "Framebuffer()\n\n"
            "An off-screen render target with a colour texture: create() it, draw between\n"
            "push() and pop() (or bind_as_framebuffer() and unbind()), then draw its texture.",
            bp::init<>())
            .def("create", &create, (bp::arg("dimensions") = bp::object()),
                 "create(dimensions: IntVectorLike | None = None) -> bool\n\n"
                 "Makes the GL objects, window-sized without dimensions; whether it could.")
            .add_property("dimensions", &dimensions, "dimensions: IntVector")
            .def("release", &Framebuffer::release,
                 "release() -> None\n\n"
                 "Deletes the GL objects.")
            // For scripts that manage render targets themselves.
            .def("is_supported", &Framebuffer::is_supported,
                 "is_supported() -> bool\n\n"
                 "Whether the context has framebuffer objects.")
            .staticmethod("is_supported")
            .def("bind_as_framebuffer", &Framebuffer::bind_as_framebuffer,
                 "bind_as_framebuffer() -> None\n\n"
                 "Draws into this framebuffer from now on.")
            .def("unbind", &Framebuffer::unbind,
                 "unbind() -> None\n\n"
                 "Draws into the window from now on.")
            .staticmethod("unbind")
            .def("push", &Framebuffer::push,
                 "push() -> None\n\n"
                 "Draws into this framebuffer, remembering the current target for pop().")
            .staticmethod("push")
            .def("pop", &Framebuffer::pop,
                 "pop() -> None\n\n"
                 "Draws into the target current before the last push().")
            .staticmethod("pop")
            .def("current", &current_framebuffer,
                 "current() -> Framebuffer | None\n\n"
                 "The framebuffer drawn into, or None for the window.")
            .staticmethod("current")
            .def("bind_as_texture", static_cast<void (Framebuffer::*)(int) const>(&Framebuffer::bind_as_texture),
                 bp::arg("unit"),
                 "bind_as_texture(unit: int) -> None\n\n"
                 "Binds the colour texture on that texture unit.")
            .def("render", &Framebuffer::render,
                 "render() -> None\n\n"
                 "Draws the colour texture over the whole viewport.")
            .add_property("framebuffer_name", &Framebuffer::get_framebuffer_name, "framebuffer_name: int")
            .add_property("texture_name", &Framebuffer::get_texture_name, "texture_name: int");
    register_with_factory(cls, "Framebuffer");

    using Wrapper = SceneObjectWrapper<FramebufferDisplay, Framebuffer*>;
    bp::object display =
        bp::class_<FramebufferDisplay, Held<Wrapper>, bp::bases<SceneObject>, boost::noncopyable>(
            "FramebufferDisplay",
            "FramebufferDisplay(framebuffer: Framebuffer)\n\n"
            "A scene object that draws a framebuffer's texture; registered for redirection\n"
            "(Scene.register_framebuffer) it captures what the layers below it draw.",
            bp::init<Framebuffer*>(bp::arg("framebuffer")))
            .add_property("dimensions", &display_dimensions, &FramebufferDisplay::set_dimensions, "dimensions: Vector")
            .add_property("origin", &origin, &FramebufferDisplay::set_origin, "origin: Vector")
            .add_property("colour", &colour, &FramebufferDisplay::set_colour, "colour: Colour")
            .add_property("framebuffer", &framebuffer,
                          "framebuffer: Framebuffer\n\n"
                          "The framebuffer shown.");
    register_with_factory(display, "FramebufferDisplay");
}

}  // namespace engine::graphics::python
