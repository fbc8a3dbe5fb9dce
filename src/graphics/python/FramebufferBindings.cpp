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
        bp::class_<Framebuffer, ObjectWrapper<Framebuffer>, boost::noncopyable>("Framebuffer", "Framebuffer()",
                                                                                bp::init<>())
            .def("create", &create, (bp::arg("dimensions") = bp::object()),
                 "create(dimensions: IntVectorLike | None = None) -> bool")
            .add_property("dimensions", &dimensions, "dimensions: IntVector")
            .def("release", &Framebuffer::release, "release() -> None")
            // For scripts that manage render targets themselves.
            .def("is_supported", &Framebuffer::is_supported, "is_supported() -> bool")
            .staticmethod("is_supported")
            .def("bind_as_framebuffer", &Framebuffer::bind_as_framebuffer, "bind_as_framebuffer() -> None")
            .def("unbind", &Framebuffer::unbind, "unbind() -> None")
            .staticmethod("unbind")
            .def("push", &Framebuffer::push, "push() -> None")
            .staticmethod("push")
            .def("pop", &Framebuffer::pop, "pop() -> None")
            .staticmethod("pop")
            .def("current", &current_framebuffer, "current() -> Framebuffer | None")
            .staticmethod("current")
            .def("bind_as_texture", static_cast<void (Framebuffer::*)(int) const>(&Framebuffer::bind_as_texture),
                 bp::arg("unit"), "bind_as_texture(unit: int) -> None")
            .def("render", &Framebuffer::render, "render() -> None")
            .add_property("framebuffer_name", &Framebuffer::get_framebuffer_name, "framebuffer_name: int")
            .add_property("texture_name", &Framebuffer::get_texture_name, "texture_name: int");
    register_with_factory(cls, "Framebuffer");

    using Wrapper = SceneObjectWrapper<FramebufferDisplay, Framebuffer*>;
    bp::object display =
        bp::class_<FramebufferDisplay, Wrapper, bp::bases<SceneObject>, boost::noncopyable>(
            "FramebufferDisplay", "FramebufferDisplay(framebuffer: Framebuffer)",
            bp::init<Framebuffer*>(bp::arg("framebuffer")))
            .add_property("dimensions", &display_dimensions, &FramebufferDisplay::set_dimensions, "dimensions: Vector")
            .add_property("origin", &origin, &FramebufferDisplay::set_origin, "origin: Vector")
            .add_property("colour", &colour, &FramebufferDisplay::set_colour, "colour: Colour")
            .add_property("framebuffer", &framebuffer, "framebuffer: Framebuffer");
    register_with_factory(display, "FramebufferDisplay");
}

}  // namespace engine::graphics::python
