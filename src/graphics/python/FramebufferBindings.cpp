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
        bp::class_<Framebuffer, ObjectWrapper<Framebuffer>, boost::noncopyable>("Framebuffer", bp::init<>())
            .def("create", &create, (bp::arg("dimensions") = bp::object()))
            .add_property("dimensions", &dimensions)
            .def("release", &Framebuffer::release)
            // For scripts that manage render targets themselves.
            .def("is_supported", &Framebuffer::is_supported)
            .staticmethod("is_supported")
            .def("bind_as_framebuffer", &Framebuffer::bind_as_framebuffer)
            .def("unbind", &Framebuffer::unbind)
            .staticmethod("unbind")
            .def("push", &Framebuffer::push)
            .staticmethod("push")
            .def("pop", &Framebuffer::pop)
            .staticmethod("pop")
            .def("current", &current_framebuffer)
            .staticmethod("current")
            .def("bind_as_texture", static_cast<void (Framebuffer::*)(int) const>(&Framebuffer::bind_as_texture),
                 bp::arg("unit"))
            .def("render", &Framebuffer::render)
            .add_property("framebuffer_name", &Framebuffer::get_framebuffer_name)
            .add_property("texture_name", &Framebuffer::get_texture_name);
    register_with_factory(cls, "Framebuffer");

    using Wrapper = SceneObjectWrapper<FramebufferDisplay, Framebuffer*>;
    bp::object display = bp::class_<FramebufferDisplay, Wrapper, bp::bases<SceneObject>, boost::noncopyable>(
                             "FramebufferDisplay", bp::init<Framebuffer*>(bp::arg("framebuffer")))
                             .add_property("dimensions", &display_dimensions, &FramebufferDisplay::set_dimensions)
                             .add_property("origin", &origin, &FramebufferDisplay::set_origin)
                             .add_property("colour", &colour, &FramebufferDisplay::set_colour)
                             .add_property("framebuffer", &framebuffer);
    register_with_factory(display, "FramebufferDisplay");
}

}  // namespace engine::graphics::python
