#include "python/Bindings.h"

#include "engine/core/script/XMLSource.h"
#include "python/SceneObjectWrapper.h"
#include "python/SpriteProxy.h"

#include "core/python/support/ScriptCallback.h"

#include "engine/core/Log.h"
#include "engine/core/PathDatabase.h"

#include "engine/graphics/Sprite.h"
#include "engine/graphics/SpriteData.h"
#include "engine/graphics/Texture.h"

#include <map>
#include <cmath>
#include <string>
#include <vector>

namespace engine::graphics::python {

namespace {

core::Vector<float> origin(const Sprite& s) { return s.get_origin(); }
core::Vector<float> dimensions(const Sprite& s) { return s.get_dimensions(); }
core::Colour colour(const Sprite& s) { return s.get_colour(); }
void set_colour(Sprite& s, const core::Colour& c) { s.set_colour(c); }
SpriteProxy colours(Sprite& s) { return SpriteProxy(&s); }

core::Vector<float> top_left(const Sprite& s) { return s.get_top_left(); }
core::Vector<float> bottom_right(const Sprite& s) { return s.get_bottom_right(); }

[[noreturn]] void raise(PyObject* type, const std::string& message) {
    PyErr_SetString(type, message.c_str());
    bp::throw_error_already_set();
    throw;  // not reached
}

// Shows frame `index` of the record's sequence `animation`.
void show_frame(Sprite& s, int index, const std::string& animation) {
    const SpriteAnimation* a = s.get_data() ? s.get_data()->find_animation(animation) : nullptr;
    if (!a)
        raise(PyExc_KeyError,
              "Sprite.show_frame(): sprite '" + s.get_data_id() + "' has no frame sequence '" + animation + "'");
    const int n = int(a->frames.size());
    if (index < -n || index >= n)
        raise(PyExc_IndexError,
              "Sprite.show_frame(): frame " + std::to_string(index) + " of a sequence of " + std::to_string(n));
    s.show_frame(a->frames[std::size_t(index < 0 ? index + n : index)]);
}

bp::list animations(const Sprite& s) {
    bp::list result;
    if (s.get_data())
        for (const auto& [name, animation] : s.get_data()->animations) result.append(name);
    return result;
}

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

bool load(bp::object source, const std::string& base_path) {
    return SpriteDatabase::load([&](core::XMLParser& parser) { core::parse_xml_source(parser, source.ptr()); },
                                base_path);
}

// A record from keywords, with the XML record's rules and defaults but one: the texture
// rectangle is the whole picture unless given (see the docstring below).
bool add(const std::string& id, const std::string& texture, const core::Vector<float>& dimensions,
         const core::Vector<float>& origin, const core::Vector<float>& top_left, const core::Vector<float>& bottom_right,
         const core::Colour& colour, const std::string& layer, int scale_flags, bool auto_load,
         bool force_full_resolution) {
    if (SpriteDatabase::find(id)) return false;  // the first definition stands
    const core::Ref<SpriteData> data = core::make_ref<SpriteData>();
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

std::string text_of(const bp::object& content, const char* what) {
    if (PyUnicode_Check(content.ptr())) return bp::extract<std::string>(content);
    if (PyBytes_Check(content.ptr()))
        return std::string(PyBytes_AS_STRING(content.ptr()), std::size_t(PyBytes_GET_SIZE(content.ptr())));
    raise(PyExc_TypeError, std::string(what) + ": read() must return str or bytes");
}

SpriteDatabase::SheetOptions sheet_options(const std::string& id, const std::string& layer,
                                           const core::Vector<float>& pivot, float frame_duration, bool auto_load) {
    SpriteDatabase::SheetOptions options;
    options.id = id;
    options.layer = layer;
    options.pivot = pivot;
    options.frame_duration = frame_duration;
    options.auto_load = auto_load;
    return options;
}

// A path names the sheet's records after the file and finds the picture beside it; a
// file-like object needs both said.
int load_sheet(bp::object source, bp::object id, const std::string& image, bp::object base_path,
               const std::string& layer, const core::Vector<float>& pivot, float frame_duration, bool auto_load) {
    std::string document, name, folder;
    if (PyUnicode_Check(source.ptr())) {
        name = bp::extract<std::string>(source);
        const std::size_t slash = name.find_last_of('/');
        folder = slash == std::string::npos ? std::string() : name.substr(0, slash);
        if (!core::PathDatabase::read(name, document)) {
            core::Log::warning("graphics", "Sprite sheet '%s': cannot be read; nothing loaded.", name.c_str());
            return 0;
        }
    } else if (PyObject_HasAttrString(source.ptr(), "read")) {
        name = "<stream>";
        document = text_of(source.attr("read")(), "sprite_database.load_sheet()");
    } else {
        raise(PyExc_TypeError, "sprite_database.load_sheet(): source must be a path or a file-like object with read()");
    }
    std::string record_id;
    if (!id.is_none()) {
        record_id = bp::extract<std::string>(id);
    } else if (name != "<stream>") {
        const std::string file = name.substr(name.find_last_of('/') + 1);
        record_id = file.substr(0, file.rfind('.'));
    } else {
        raise(PyExc_ValueError, "sprite_database.load_sheet(): a sheet read from a file-like object needs an id");
    }
    if (!base_path.is_none()) folder = bp::extract<std::string>(base_path);
    return SpriteDatabase::load_sheet_text(document, name, image, folder,
                                           sheet_options(record_id, layer, pivot, frame_duration, auto_load));
}

int load_grid(const std::string& id, const std::string& image, int columns, int rows, const core::Vector<int>& cell,
              int margin, int spacing, bp::object animation_cells, const std::string& layer,
              const core::Vector<float>& pivot, float frame_duration, bool auto_load) {
    std::map<std::string, std::vector<int>> animations;
    if (!animation_cells.is_none()) {
        const bp::list items = bp::dict(animation_cells).items();
        for (bp::ssize_t i = 0; i < bp::len(items); ++i) {
            const bp::object cells = items[i][1];
            std::vector<int>& out = animations[bp::extract<std::string>(items[i][0])];
            for (bp::ssize_t c = 0; c < bp::len(cells); ++c) out.push_back(bp::extract<int>(cells[c]));
        }
    }
    return SpriteDatabase::load_grid(image, columns, rows, cell, margin, spacing, animations,
                                     sheet_options(id, layer, pivot, frame_duration, auto_load));
}

}  // namespace

// alpha_threshold is a number from 0 to 1, or None for the rectangle alone.
bool contains(Sprite& s, const bp::object& position, const bp::object& alpha_threshold) {
    const core::Vector<float> point = core::python::point_argument(position, "Sprite.contains: point");
    if (alpha_threshold.is_none()) return s.contains(point);
    return s.contains(point, core::python::number_or_none(alpha_threshold, 0.0f, "Sprite.contains: alpha_threshold"));
}

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
        bp::class_<Sprite, Held<Wrapper>, bp::bases<SceneObject>, boost::noncopyable>(
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
            .add_property("top_left", &top_left, &Sprite::set_top_left,
                          "top_left: Vector\n\n"
                          "The texture rectangle's first corner, in texture coordinates (0 to 1 across\n"
                          "the picture, top row first); starts as the record's.")
            .add_property("bottom_right", &bottom_right, &Sprite::set_bottom_right,
                          "bottom_right: Vector\n\n"
                          "The texture rectangle's opposite corner.")
            .add_property("rotated", &Sprite::is_rotated, &Sprite::set_rotated,
                          "rotated: bool\n\n"
                          "Whether the texture rectangle holds the picture turned 90 degrees clockwise\n"
                          "(a packed sheet's rotated frame); it is drawn upright.")
            .add_property("flip_x", &Sprite::get_flip_x, &Sprite::set_flip_x,
                          "flip_x: bool\n\n"
                          "Mirrors the sprite left for right about its origin.")
            .add_property("flip_y", &Sprite::get_flip_y, &Sprite::set_flip_y,
                          "flip_y: bool\n\n"
                          "Mirrors the sprite top for bottom about its origin.")
            .add_property("animations", &animations,
                          "animations: list[str]\n\n"
                          "The names of the record's frame sequences ('' is every frame of a sheet).")
            .def("show_frame", &show_frame, (bp::arg("index"), bp::arg("animation") = std::string()),
                 "show_frame(index: int, animation: str = '') -> None\n\n"
                 "Shows frame index of the record's sequence animation (negative counts from the\n"
                 "end): its texture rectangle, rotation, dimensions and origin. KeyError for an\n"
                 "unknown sequence, IndexError for a frame outside it.")
            .def("fade", &fade,
                 (bp::arg("start"), bp::arg("end"), bp::arg("delay"), bp::arg("duration"),
                  bp::arg("transition") = bp::object()),
                 "fade(start: float, end: float, delay: float, duration: float, transition: Texture | "
                 "None = None) -> None\n\n"
                 "Queue a fade of the alpha factor from start to end over duration seconds, after\n"
                 "delay seconds; with a transition texture it dissolves through that picture, without\n"
                 "one (None) the whole picture fades at once.")
            // Alpha stops from scripts.
            .def("contains", &contains, (bp::arg("point"), bp::arg("alpha_threshold") = bp::object()),
                 "contains(point: VectorLike | IntVector, alpha_threshold: float | None = None) -> bool\n\n"
                 "Whether point, in the sprite's layer coordinates (the space its position is in,\n"
                 "before the layer's matrix), lies in its rectangle as drawn (rotation, scale, flips\n"
                 "and parents included, edges too). With alpha_threshold, only where the texture's\n"
                 "alpha (0 to 1) there is greater than it: alpha_threshold=0 hits every pixel not\n"
                 "fully transparent. The colours, alpha stops and fades do not count. The first such\n"
                 "question about a texture keeps a copy of its alpha, one byte a pixel. False when\n"
                 "invisible and for a point at infinity or NaN.")
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
        .staticmethod("add")
        .def("load_sheet", &load_sheet,
             (bp::arg("source"), bp::arg("id") = bp::object(), bp::arg("image") = std::string(),
              bp::arg("base_path") = bp::object(), bp::arg("layer") = std::string(),
              bp::arg("pivot") = core::Vector<float>(), bp::arg("frame_duration") = 0.1f, bp::arg("auto_load") = false),
             "load_sheet(source: str | IO[str] | IO[bytes], id: str | None = None, image: str = '', "
             "base_path: str | None = None, layer: str = '', pivot: VectorLike = (0, 0), "
             "frame_duration: float = 0.1, auto_load: bool = False) -> int\n\n"
             "Reads a sprite sheet exported as JSON by Aseprite or TexturePacker (frames as a\n"
             "hash or an array; trimmed and rotated frames; Aseprite's durations and frame tags\n"
             "with their directions; TexturePacker's animations). Record 'id' shows the first\n"
             "frame and holds the sequences: '' (every frame in order) and one per tag; each\n"
             "frame is also record 'id/N' (N its number) and 'id/NAME'. id defaults to the\n"
             "file's name without extension; the picture is image, or the sheet's meta.image\n"
             "joined to base_path (default: the sheet's folder). pivot: the origin as a\n"
             "fraction of the untrimmed frame, unless a frame gives its own. Frames without a\n"
             "duration show for frame_duration seconds. Whatever is wrong is skipped with one\n"
             "warning; returns the number of frames loaded.")
        .staticmethod("load_sheet")
        .def("load_grid", &load_grid,
             (bp::arg("id"), bp::arg("image"), bp::arg("columns"), bp::arg("rows"),
              bp::arg("cell") = core::Vector<int>(), bp::arg("margin") = 0, bp::arg("spacing") = 0,
              bp::arg("animations") = bp::object(), bp::arg("layer") = std::string(),
              bp::arg("pivot") = core::Vector<float>(), bp::arg("frame_duration") = 0.1f, bp::arg("auto_load") = false),
             "load_grid(id: str, image: str, columns: int, rows: int, cell: IntVectorLike = (0, 0), "
             "margin: int = 0, spacing: int = 0, animations: dict[str, list[int]] | None = None, "
             "layer: str = '', pivot: VectorLike = (0, 0), frame_duration: float = 0.1, "
             "auto_load: bool = False) -> int\n\n"
             "Cuts a PNG into columns x rows cells, numbered left to right, top to bottom: margin\n"
             "pixels round the grid, spacing between cells, each cell pixels in size ((0, 0):\n"
             "what is left, shared evenly). Records and sequences as load_sheet makes them;\n"
             "animations names lists of cell numbers. Returns the number of frames loaded.")
        .staticmethod("load_grid");
}

}  // namespace engine::graphics::python
