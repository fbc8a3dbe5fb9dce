#include "python/Bindings.h"
#include "python/SceneObjectWrapper.h"
#include "python/SpriteProxy.h"

#include "engine/graphics/Sprite.h"
#include "engine/graphics/SpriteData.h"
#include "engine/graphics/Texture.h"

namespace engine::graphics::python {

namespace {

core::Vector<float> origin(const Sprite& s) { return s.get_origin(); }
core::Vector<float> dimensions(const Sprite& s) { return s.get_dimensions(); }
core::Colour colour(const Sprite& s) { return s.get_colour(); }
void set_colour(Sprite& s, const core::Colour& c) { s.set_colour(c); }
SpriteProxy colours(Sprite& s) { return SpriteProxy(&s); }

bp::list alpha_stops(const Sprite& s) {
    bp::list result;
    for (const auto& [position, alpha] : s.get_alpha_stops()) result.append(bp::make_tuple(position, alpha));
    return result;
}

void fade(Sprite& s, float from, float to, float delay, float duration, const Texture& texture) {
    s.fade(from, to, delay, duration, texture);
}

// The database functions appear to scripts as static methods of "sprite_database".
struct SpriteDatabaseScope {};

bool load(bp::object source, const std::string& base_path) { return SpriteDatabase::load(source.ptr(), base_path); }

}  // namespace

void define_sprite() {
    bp::object proxy = bp::class_<SpriteProxy>("SpriteProxy", bp::no_init)
                           .def("__getitem__", &SpriteProxy::get_item)
                           .def("__setitem__", &SpriteProxy::set_item)
                           .def(
                               "__len__", +[](const SpriteProxy&) { return 4; });
    register_with_factory(proxy, "SpriteProxy");

    using Wrapper = SceneObjectWrapper<Sprite, const std::string&>;
    bp::object cls =
        bp::class_<Sprite, Wrapper, bp::bases<SceneObject>, boost::noncopyable>(
            "Sprite", bp::init<const std::string&>(bp::arg("data_id")))
            .add_property("origin", &origin, &Sprite::set_origin)
            .add_property("dimensions", &dimensions, &Sprite::set_dimensions)
            .add_property("colour", &colour, &set_colour)
            .add_property("colours", &colours)
            .add_property("data_id", &Sprite::get_data_id)
            .def("fade", &fade,
                 (bp::arg("from"), bp::arg("to"), bp::arg("delay"), bp::arg("duration"), bp::arg("texture")))
            // Alpha stops from scripts.
            .def("set_alpha_stop", &Sprite::set_alpha_stop, (bp::arg("position"), bp::arg("alpha")))
            .def("clear_alpha_stops", &Sprite::clear_alpha_stops)
            .add_property("alpha_stops", &alpha_stops);
    register_with_factory(cls, "Sprite");

    bp::class_<SpriteDatabaseScope>("sprite_database", bp::no_init)
        .def("load", &load, (bp::arg("source"), bp::arg("base_path") = std::string()))
        .staticmethod("load")
        .def("unload", &SpriteDatabase::unload)
        .staticmethod("unload");
}

}  // namespace engine::graphics::python
