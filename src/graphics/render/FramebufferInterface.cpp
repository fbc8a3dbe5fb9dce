#include "scene/SceneObjectWrapper.h"

#include "engine/graphics/Framebuffer.h"
#include "engine/graphics/FramebufferDisplay.h"

namespace engine::graphics {

namespace bp = python::bp;

namespace script {
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
bp::object framebuffer(const FramebufferDisplay& d) { return python::to_python(d.get_framebuffer()); }

bp::object current_framebuffer() { return python::to_python(Framebuffer::get_current_framebuffer()); }

}  // namespace
}  // namespace script

void Framebuffer::define_interface() {
    bp::object cls =
        bp::class_<Framebuffer, core::python::ObjectWrapper<Framebuffer>, boost::noncopyable>("Framebuffer", bp::init<>())
            .def("create", &script::create, (bp::arg("dimensions") = bp::object()))
            .add_property("dimensions", &script::dimensions)
            .def("release", &Framebuffer::release)
            // Additions for scripts that manage render targets themselves.
            .def("is_supported", &Framebuffer::is_supported)
            .staticmethod("is_supported")
            .def("bind_as_framebuffer", &Framebuffer::bind_as_framebuffer)
            .def("unbind", &Framebuffer::unbind)
            .staticmethod("unbind")
            .def("push", &Framebuffer::push)
            .staticmethod("push")
            .def("pop", &Framebuffer::pop)
            .staticmethod("pop")
            .def("current", &script::current_framebuffer)
            .staticmethod("current")
            .def("bind_as_texture", static_cast<void (Framebuffer::*)(int) const>(&Framebuffer::bind_as_texture),
                 bp::arg("unit"))
            .def("render", &Framebuffer::render)
            .add_property("framebuffer_name", &Framebuffer::get_framebuffer_name)
            .add_property("texture_name", &Framebuffer::get_texture_name);
    python::register_with_factory(cls, "Framebuffer");
}

void FramebufferDisplay::define_interface() {
    using Wrapper = python::SceneObjectWrapper<FramebufferDisplay, Framebuffer*>;
    bp::object cls = bp::class_<FramebufferDisplay, Wrapper, bp::bases<SceneObject>, boost::noncopyable>(
                         "FramebufferDisplay", bp::init<Framebuffer*>(bp::arg("framebuffer")))
                         .add_property("dimensions", &script::display_dimensions, &FramebufferDisplay::set_dimensions)
                         .add_property("origin", &script::origin, &FramebufferDisplay::set_origin)
                         .add_property("colour", &script::colour, &FramebufferDisplay::set_colour)
                         .add_property("framebuffer", &script::framebuffer);
    python::register_with_factory(cls, "FramebufferDisplay");
}

}  // namespace engine::graphics
