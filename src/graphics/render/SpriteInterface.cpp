#include "render/SpriteProxy.h"
#include "scene/SceneObjectWrapper.h"

#include "engine/graphics/Sprite.h"
#include "engine/graphics/SpriteData.h"
#include "engine/graphics/Texture.h"

namespace engine::graphics {

namespace bp = python::bp;

namespace script {
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
}  // namespace script

void Sprite::define_interface() {
    using Wrapper = python::SceneObjectWrapper<Sprite, const std::string&>;
    bp::object cls =
        bp::class_<Sprite, Wrapper, bp::bases<SceneObject>, boost::noncopyable>(
            "Sprite", bp::init<const std::string&>(bp::arg("data_id")))
            .add_property("origin", &script::origin, &Sprite::set_origin)
            .add_property("dimensions", &script::dimensions, &Sprite::set_dimensions)
            .add_property("colour", &script::colour, &script::set_colour)
            .add_property("colours", &script::colours)
            .add_property("data_id", &Sprite::get_data_id)
            .def("fade", &script::fade,
                 (bp::arg("from"), bp::arg("to"), bp::arg("delay"), bp::arg("duration"), bp::arg("texture")))
            // Additions: alpha stops from scripts.
            .def("set_alpha_stop", &Sprite::set_alpha_stop, (bp::arg("position"), bp::arg("alpha")))
            .def("clear_alpha_stops", &Sprite::clear_alpha_stops)
            .add_property("alpha_stops", &script::alpha_stops);
    python::register_with_factory(cls, "Sprite");
}

namespace SpriteDatabase {

void define_interface() {
    bp::class_<script::SpriteDatabaseScope>("sprite_database", bp::no_init)
        .def("load", &script::load, (bp::arg("source"), bp::arg("base_path") = std::string()))
        .staticmethod("load")
        .def("unload", &SpriteDatabase::unload)
        .staticmethod("unload");
}

}  // namespace SpriteDatabase
}  // namespace engine::graphics
