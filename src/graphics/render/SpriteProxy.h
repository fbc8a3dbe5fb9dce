#pragma once

#include "module/Bindings.h"

#include "engine/graphics/Sprite.h"

namespace engine::graphics {

namespace bp = python::bp;

/// The four corner colours of a sprite as scripts index them ("colours").
class SpriteProxy : public python::Proxy<Sprite> {
public:
    using python::Proxy<Sprite>::Proxy;

    bp::object get_item(const bp::object& key) const {
        const Sprite& sprite = owner();
        return python::get_item(
            key, 4, [&](long i) { return bp::object(sprite.get_colour(int(i))); },
            [](const std::string&) { return bp::object(); });
    }
    void set_item(const bp::object& key, const core::Colour& colour) const {
        Sprite& sprite = owner();
        python::set_item(
            key, 4, [&](long i) { sprite.set_colour(int(i), colour); }, [](const std::string&) { return -1L; });
    }

    static void define_interface() {
        bp::object cls = bp::class_<SpriteProxy>("SpriteProxy", bp::no_init)
                             .def("__getitem__", &SpriteProxy::get_item)
                             .def("__setitem__", &SpriteProxy::set_item)
                             .def(
                                 "__len__", +[](const SpriteProxy&) { return 4; });
        python::register_with_factory(cls, "SpriteProxy");
    }
};

}  // namespace engine::graphics
