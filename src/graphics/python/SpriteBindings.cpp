#include "python/Bindings.h"
#include "python/SceneObjectWrapper.h"
#include "python/SpriteProxy.h"

#include "core/python/support/ScriptCallback.h"

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

// No transition texture (None): a uniform fade of the whole picture.
void fade(Sprite& s, float start, float end, float delay, float duration, const Texture* transition) {
    if (transition)
        s.fade(start, end, delay, duration, *transition);
    else
        s.fade(start, end, delay, duration);
}

bp::object on_fades_finished(const Sprite& s) { return core::python::script_callable(s.get_on_fades_finished()); }
void set_on_fades_finished(Sprite& s, bp::object callback) {
    s.set_on_fades_finished(core::python::make_script_callback(callback, "Sprite.on_fades_finished"));
}

// The database functions appear to scripts as static methods of "sprite_database".
struct SpriteDatabaseScope {};

bool load(bp::object source, const std::string& base_path) { return SpriteDatabase::load(source.ptr(), base_path); }

// A record from keywords, with the XML record's rules and defaults but one: the texture
// rectangle is the whole picture unless given (see the docstring below).
bool add(const std::string& id, const std::string& texture, const core::Vector<float>& dimensions,
         const core::Vector<float>& origin, const core::Vector<float>& top_left, const core::Vector<float>& bottom_right,
         const core::Colour& colour, const std::string& layer, int scale_flags, bool auto_load,
         bool force_full_resolution) {
    if (SpriteDatabase::find(id)) return false;  // the first definition stands
    auto* data = new SpriteData;
    data->id = id;
    // In the XML's order: pinned and resolution known before the texture loads.
    if (auto_load) data->pin();
    data->origin = origin;
    data->dimensions = dimensions;
    data->colour = colour;
    data->force_full_resolution = force_full_resolution;
    data->set_texture_path(texture);
    data->top_left = top_left;
    data->bottom_right = bottom_right;
    data->scale_flags = scale_flags;
    data->layer = layer;
    return SpriteDatabase::add(data);
}

}  // namespace

void define_sprite() {
    bp::object proxy =
        bp::class_<SpriteProxy>("SpriteProxy",
                                "SpriteProxy\n\n"
                                "The four corner colours of a Sprite, by index (0 to 3) or by corner name; items are\n"
                                "copies, so assign a whole colour.",
                                bp::no_init)
            .def("__getitem__", &SpriteProxy::get_item, "__getitem__(key: int | str, /) -> Colour")
            .def("__setitem__", &SpriteProxy::set_item, "__setitem__(key: int | str, colour: ColourLike, /) -> None")
            .def(
                "__len__", +[](const SpriteProxy&) { return 4; }, "__len__() -> int");
    register_with_factory(proxy, "SpriteProxy");

    using Wrapper = SceneObjectWrapper<Sprite, const std::string&>;
    bp::object cls =
        bp::class_<Sprite, Wrapper, bp::bases<SceneObject>, boost::noncopyable>(
            "Sprite",
            "Sprite(data_id: str)\n\n"
            "A textured rectangle from the sprite database's record data_id, in that record's\n"
            "layer. An unknown id gives an empty sprite, with a warning.",
            bp::init<const std::string&>(bp::arg("data_id")))
            .add_property("origin", &origin, &Sprite::set_origin,
                          "origin: Vector\n\n"
                          "The pivot: the point of the rectangle placed at the position, from its first corner.")
            .add_property("dimensions", &dimensions, &Sprite::set_dimensions,
                          "dimensions: Vector\n\n"
                          "Width and height in pixels.")
            .add_property("colour", &colour, &set_colour,
                          "colour: Colour\n\n"
                          "The colour of all four corners (reading gives the first corner's).")
            .add_property("colours", &colours,
                          "colours: SpriteProxy\n\n"
                          "The four corner colours: 0 at the origin corner, then clockwise.")
            .add_property("data_id", &Sprite::get_data_id, "data_id: str")
            .def("fade", &fade,
                 (bp::arg("start"), bp::arg("end"), bp::arg("delay"), bp::arg("duration"),
                  bp::arg("transition") = bp::object()),
                 "fade(start: float, end: float, delay: float, duration: float, transition: Texture | "
                 "None = None) -> None\n\n"
                 "Queue a fade of the alpha factor from start to end over duration seconds, after\n"
                 "delay seconds; with a transition texture it dissolves through that picture, without\n"
                 "one (None) the whole picture fades at once.")
            // Alpha stops from scripts.
            .def("set_alpha_stop", &Sprite::set_alpha_stop, (bp::arg("position"), bp::arg("alpha")),
                 "set_alpha_stop(position: float, alpha: float) -> None\n\n"
                 "Adds a stop to a horizontal alpha gradient: alpha at position (0 left, 1 right).")
            .def("clear_alpha_stops", &Sprite::clear_alpha_stops,
                 "clear_alpha_stops() -> None\n\n"
                 "Removes the alpha gradient.")
            .add_property("alpha_stops", &alpha_stops,
                          "alpha_stops: list[tuple[float, float]]\n\n"
                          "The (position, alpha) stops of the alpha gradient.")
            .add_property("on_fades_finished", &on_fades_finished, &set_on_fades_finished,
                          "on_fades_finished: Callable[[], object] | None\n\n"
                          "Called with no arguments whenever the fade queue empties (the last queued\n"
                          "fade has ended), during scene.update; stays set for later fades. Its\n"
                          "exceptions behave like a hook's.");
    register_with_factory(cls, "Sprite");

    bp::class_<SpriteDatabaseScope>(
        "sprite_database",
        "sprite_database\n\n"
        "The sprite records (texture, size, origin, texture rectangle, colour, layer) that\n"
        "Sprite(data_id) uses, loaded from XML or added one by one.",
        bp::no_init)
        .def("load", &load, (bp::arg("source"), bp::arg("base_path") = std::string()),
             "load(source: str | IO[str] | IO[bytes], base_path: str = '') -> bool\n\n"
             "Reads sprite records from a path or a file-like object; texture paths are joined\n"
             "to base_path.")
        .staticmethod("load")
        .def("unload", &SpriteDatabase::unload,
             "unload() -> None\n\n"
             "Forgets every record; sprites made from them keep theirs.")
        .staticmethod("unload")
        .def("add", &add,
             (bp::arg("id"), bp::arg("texture") = std::string(), bp::arg("dimensions") = core::Vector<float>(),
              bp::arg("origin") = core::Vector<float>(), bp::arg("top_left") = core::Vector<float>(),
              bp::arg("bottom_right") = core::Vector<float>(1.0f, 1.0f), bp::arg("colour") = core::Colour(),
              bp::arg("layer") = std::string(), bp::arg("scale_flags") = -1, bp::arg("auto_load") = false,
              bp::arg("force_full_resolution") = true),
             "add(id: str, texture: str = '', dimensions: VectorLike = (0, 0), origin: VectorLike = (0, 0), "
             "top_left: VectorLike = (0, 0), bottom_right: VectorLike = (1, 1), colour: ColourLike = (1, 1, 1, 1), "
             "layer: str = '', scale_flags: int = -1, auto_load: bool = False, "
             "force_full_resolution: bool = True) -> bool\n\n"
             "Define a sprite record without XML; the keywords mean what the XML attributes\n"
             "mean, with the same defaults but one: the texture rectangle is the whole picture\n"
             "unless given. top_left and bottom_right are texture coordinates, 0 to 1 across the\n"
             "picture whatever its size, so they need no loaded texture. The texture path is\n"
             "found through the PathDatabase. As in XML, the first definition of an id stands:\n"
             "False when the id is already defined.")
        .staticmethod("add");
}

}  // namespace engine::graphics::python
