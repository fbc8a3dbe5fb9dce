#include "python/Bindings.h"

#include "engine/core/script/XMLSource.h"

#include "engine/core/Log.h"
#include "engine/core/PathDatabase.h"
#include "engine/graphics/ActorData.h"
#include "engine/graphics/ActorDatabase.h"
#include "engine/graphics/AnimationClip.h"
#include "engine/graphics/Skeleton.h"
#include "engine/graphics/Transform.h"

namespace engine::graphics::python {

namespace {

// The database functions appear to scripts as static methods of "actor_database".
struct ActorDatabaseScope {};

bool load(bp::object source) {
    std::string name = "<stream>";
    if (PyUnicode_Check(source.ptr())) name = "'" + std::string(bp::extract<std::string>(source)) + "'";
    // A source of the wrong kind raises TypeError out of the feed.
    return ActorDatabase::load([&](core::XMLParser& parser) { core::parse_xml_source(parser, source.ptr()); }, name);
}

bp::list to_list(const std::vector<std::string>& items) {
    bp::list result;
    for (const std::string& item : items) result.append(item);
    return result;
}

bp::list actor_ids() { return to_list(ActorDatabase::actor_data_ids()); }
bp::list ik_rig_ids() { return to_list(ActorDatabase::ik_rig_ids()); }
bp::list dynamics_rig_ids() { return to_list(ActorDatabase::dynamics_rig_ids()); }

bp::object get_skeleton(const std::string& id) {
    const ActorData* data = ActorDatabase::find_actor_data(id);
    return data ? to_python(data->get_skeleton()) : bp::object();
}

bp::list mesh_ids(const std::string& id) {
    bp::list result;
    if (const ActorData* data = ActorDatabase::find_actor_data(id))
        for (const auto& mesh : data->get_meshes()) result.append(mesh->id);
    return result;
}

bp::list polygons(const std::string& id) {
    bp::list result;
    if (const ActorData* data = ActorDatabase::find_actor_data(id))
        for (const ActorPolygon& polygon : data->polygons) {
            bp::list points;
            for (const auto& p : polygon.points) points.append(p);
            result.append(bp::make_tuple(polygon.name, polygon.joint, points));
        }
    return result;
}

bp::list clip_ids(const std::string& id) {
    bp::list result;
    if (const ActorData* data = ActorDatabase::find_actor_data(id))
        for (const auto& [name, clip] : data->get_clips()) result.append(name);
    return result;
}

// The text of a path or of a file-like object's read(); false (and `text` empty) for a
// path that cannot be read.
bool source_text(const bp::object& source, const char* what, std::string& text, std::string& name) {
    if (PyUnicode_Check(source.ptr())) {
        name = bp::extract<std::string>(source);
        return core::PathDatabase::read(name, text);
    }
    if (!PyObject_HasAttrString(source.ptr(), "read"))
        raise(PyExc_TypeError, std::string("actor_database.load_dragonbones(): ") + what +
                                   " must be a path or a file-like object with read()");
    name = "<stream>";
    const bp::object content = source.attr("read")();
    if (PyUnicode_Check(content.ptr())) {
        text = bp::extract<std::string>(content);
    } else if (PyBytes_Check(content.ptr())) {
        text.assign(PyBytes_AS_STRING(content.ptr()), std::size_t(PyBytes_GET_SIZE(content.ptr())));
    } else {
        raise(PyExc_TypeError,
              std::string("actor_database.load_dragonbones(): ") + what + ".read() must return str or bytes");
    }
    return true;
}

std::string folder_of(const std::string& path) {
    const std::size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

// One atlas page from a path or a file object; its picture is found beside its file
// unless base_path says otherwise. False for a path that cannot be read.
bool add_atlas(const bp::object& source, const bp::object& base_path,
               std::vector<ActorDatabase::DragonBonesAtlas>& atlases) {
    ActorDatabase::DragonBonesAtlas page;
    if (!source_text(source, "atlas", page.text, page.name)) return false;
    page.base_path = base_path.is_none() ? (page.name == "<stream>" ? std::string() : folder_of(page.name))
                                         : std::string(bp::extract<std::string>(base_path));
    atlases.push_back(std::move(page));
    return true;
}

// The atlas defaults to the one beside a skeleton file ("X_ske.json" beside "X_tex.json",
// or the pages "X_tex_0.json", "X_tex_1.json", ... of a larger one).
bp::list load_dragonbones(bp::object skeleton, bp::object atlas, bp::object base_path) {
    std::string skeleton_text, skeleton_name;
    if (!source_text(skeleton, "skeleton", skeleton_text, skeleton_name)) {
        core::Log::warning("graphics", "DragonBones '%s': cannot be read; nothing loaded.", skeleton_name.c_str());
        return bp::list();
    }
    std::vector<ActorDatabase::DragonBonesAtlas> atlases;
    if (atlas.is_none() && skeleton_name != "<stream>") {
        const std::size_t at = skeleton_name.rfind("_ske.json");
        const std::string stem =
            at == std::string::npos ? skeleton_name.substr(0, skeleton_name.rfind('.')) : skeleton_name.substr(0, at);
        if (!add_atlas(bp::str(stem + "_tex.json"), base_path, atlases))
            for (int page = 0; page < 64 && add_atlas(bp::str(stem + "_tex_" + std::to_string(page) + ".json"),
                                                      base_path, atlases);
                 ++page) {
            }
    } else if (PyList_Check(atlas.ptr()) || PyTuple_Check(atlas.ptr())) {
        for (bp::ssize_t i = 0; i < bp::len(atlas); ++i)
            if (!add_atlas(atlas[i], base_path, atlases))
                core::Log::warning("graphics", "DragonBones '%s': atlas page %d cannot be read (its images skipped).",
                                   skeleton_name.c_str(), int(i));
    } else if (!atlas.is_none()) {
        add_atlas(atlas, base_path, atlases);
    }
    // Pictures of atlases written into the skeleton file lie beside it.
    const std::string folder = base_path.is_none() ? (skeleton_name == "<stream>" ? std::string() : folder_of(skeleton_name))
                                                   : std::string(bp::extract<std::string>(base_path));
    return to_list(ActorDatabase::load_dragonbones_text(skeleton_text, skeleton_name, atlases, folder));
}

void fail(const std::string& why) { raise(PyExc_ValueError, "add_clip(): " + why + "."); }

float number(const bp::object& value) {
    bp::extract<float> x(value);
    if (!x.check()) fail("a number was expected, not " + std::string(Py_TYPE(value.ptr())->tp_name));
    return x();
}

// A key (time, value[, easing[, turns]]): value a number for rotation, (x, y) otherwise;
// easing "step", "linear" or (x1, y1, x2, y2) of a bezier easing.
void add_key(AnimationClip& clip, unsigned joint, ClipChannel channel, const bp::object& item) {
    const bp::ssize_t n = bp::len(item);
    if (n < 2 || n > 4) fail("a key is (time, value[, easing[, turns]])");
    ClipKey key;
    key.time = number(item[0]);
    if (is_single_value_channel(channel)) {
        key.value[0] = number(item[1]);
    } else {
        const bp::object v = item[1];
        const int count = channel_values(channel);
        if (bp::len(v) != count)
            fail(count == 4 ? "a colour value is (r, g, b, a)" : "a position or scale value is (x, y)");
        for (int k = 0; k < count; ++k) key.value[k] = number(v[k]);
    }
    if (n > 2) {
        const bp::object easing = item[2];
        bp::extract<std::string> text(easing);
        if (text.check()) {
            const std::string e = text();
            if (e == "step")
                key.easing = ClipEasing::step;
            else if (e != "linear")
                fail("easing '" + e + "' is not 'step', 'linear' or (x1, y1, x2, y2)");
        } else {
            if (bp::len(easing) != 4) fail("a bezier easing is (x1, y1, x2, y2)");
            key.easing = ClipEasing::bezier;
            for (int k = 0; k < 4; ++k) key.curve[k] = number(easing[k]);
        }
    }
    const int turns = n > 3 ? bp::extract<int>(item[3])() : 0;
    const std::string why = clip.add_key(joint, channel, key, turns);
    if (!why.empty()) fail(why);
}

// Builds the whole clip first, so that a bad value adds nothing.
void add_clip(const std::string& actor, const std::string& name, float duration, int loops, const bp::object& tracks,
              const bp::object& events, const bp::object& parts) {
    ActorData* data = ActorDatabase::find_actor_data(actor);
    if (!data) fail("no actor '" + actor + "' is loaded");
    const std::string why = AnimationClip::check(name, duration, loops);
    if (!why.empty()) fail(why);
    if (data->get_clip(name)) fail("actor '" + actor + "' has a clip '" + name + "' already");
    auto clip = std::make_unique<AnimationClip>(name, duration, loops);
    const Skeleton* skeleton = data->get_skeleton();
    if (!tracks.is_none()) {
        const bp::list joints = bp::dict(tracks).items();
        for (bp::ssize_t i = 0; i < bp::len(joints); ++i) {
            const std::string joint = bp::extract<std::string>(joints[i][0]);
            const int index = skeleton ? skeleton->get_joint_index(joint) : -1;
            if (index < 0) fail("actor '" + actor + "' has no joint '" + joint + "'");
            const bp::list channels = bp::dict(joints[i][1]).items();
            for (bp::ssize_t c = 0; c < bp::len(channels); ++c) {
                const std::string channel = bp::extract<std::string>(channels[c][0]);
                ClipChannel kind = ClipChannel::rotation;
                if (!parse_joint_channel(channel, kind))
                    fail("channel '" + channel + "' is not 'position', 'rotation', 'scale' or 'skew'");
                const bp::object keys = channels[c][1];
                for (bp::ssize_t k = 0; k < bp::len(keys); ++k) add_key(*clip, unsigned(index), kind, keys[k]);
            }
        }
    }
    if (!parts.is_none()) {
        const bp::list items = bp::dict(parts).items();
        for (bp::ssize_t i = 0; i < bp::len(items); ++i) {
            const std::string part = bp::extract<std::string>(items[i][0]);
            int index = -1;
            for (size_t m = 0; m < data->get_meshes().size() && index < 0; ++m)
                if (data->get_meshes()[m]->id == part) index = int(m);
            if (index < 0) fail("actor '" + actor + "' has no mesh '" + part + "'");
            const bp::list channels = bp::dict(items[i][1]).items();
            for (bp::ssize_t c = 0; c < bp::len(channels); ++c) {
                const std::string channel = bp::extract<std::string>(channels[c][0]);
                ClipChannel kind = ClipChannel::visible;
                if (!parse_part_channel(channel, kind))
                    fail("part channel '" + channel + "' is not 'visible', 'colour', 'order' or 'offset'");
                const bp::object keys = channels[c][1];
                for (bp::ssize_t k = 0; k < bp::len(keys); ++k) add_key(*clip, unsigned(index), kind, keys[k]);
            }
        }
    }
    if (!events.is_none()) {
        for (bp::ssize_t i = 0; i < bp::len(events); ++i) {
            const bp::object event = events[i];
            if (bp::len(event) != 2) fail("an event is (time, name)");
            const std::string problem = clip->add_event(number(event[0]), bp::extract<std::string>(event[1]));
            if (!problem.empty()) fail(problem);
        }
    }
    data->add_clip(std::move(clip));
}

}  // namespace

void define_actor_database() {
    bp::class_<ActorDatabaseScope>("actor_database",
                                   "actor_database\n\n"
                                   "The actors and rigs loaded from actor files, which Actor(data_id) and the\n"
                                   "controllers use.",
                                   bp::no_init)
        .def("load", &load, bp::arg("source"),
             "load(source: str | IO[str] | IO[bytes]) -> bool\n\n"
             "Reads actors and rigs from a path or a file-like object; returns True.")
        .staticmethod("load")
        .def("load_dragonbones", &load_dragonbones,
             (bp::arg("skeleton"), bp::arg("atlas") = bp::object(), bp::arg("base_path") = bp::object()),
             "load_dragonbones(skeleton: str | IO[str] | IO[bytes], atlas: str | IO[str] | IO[bytes] | "
             "list[str | IO[str] | IO[bytes]] | None = None, base_path: str | None = None) -> list[str]\n\n"
             "Reads a DragonBones 5 export (skeleton JSON and texture atlas JSON, or a list of\n"
             "atlas pages searched in turn; the atlas defaults to the X_tex.json beside\n"
             "X_ske.json, else the pages X_tex_0.json, X_tex_1.json, ...; each picture is found\n"
             "beside its atlas or in base_path) and makes one actor per armature, id the\n"
             "armature's name, with one clip per animation. Returns the ids made; what was\n"
             "skipped is told in one warning. TypeError for a source that is neither a path nor\n"
             "readable.")
        .staticmethod("load_dragonbones")
        .def("unload", &ActorDatabase::unload,
             "unload() -> None\n\n"
             "Forgets every actor, clip and rig.")
        .staticmethod("unload")
        // What is loaded, for scripts and tools.
        .def("actor_ids", &actor_ids,
             "actor_ids() -> list[str]\n\n"
             "The loaded actor ids, sorted.")
        .staticmethod("actor_ids")
        .def("ik_rig_ids", &ik_rig_ids,
             "ik_rig_ids() -> list[str]\n\n"
             "The loaded IK rig ids, sorted.")
        .staticmethod("ik_rig_ids")
        .def("dynamics_rig_ids", &dynamics_rig_ids,
             "dynamics_rig_ids() -> list[str]\n\n"
             "The loaded dynamics rig ids, sorted.")
        .staticmethod("dynamics_rig_ids")
        .def("get_skeleton", &get_skeleton, bp::arg("id"),
             "get_skeleton(id: str) -> Skeleton | None\n\n"
             "The actor's template skeleton (clone it to pose it).")
        .staticmethod("get_skeleton")
        .def("mesh_ids", &mesh_ids, bp::arg("id"),
             "mesh_ids(id: str) -> list[str]\n\n"
             "The actor's mesh ids, in order.")
        .staticmethod("mesh_ids")
        .def("polygons", &polygons, bp::arg("id"),
             "polygons(id: str) -> list[tuple[str, str, list[Vector]]]\n\n"
             "The actor's outlines for hit tests (an imported character's bounding boxes), in\n"
             "order: (name, joint, points in the joint's space). Never drawn.")
        .staticmethod("polygons")
        .def("clip_ids", &clip_ids, bp::arg("id"),
             "clip_ids(id: str) -> list[str]\n\n"
             "The actor's clip names, sorted.")
        .staticmethod("clip_ids")
        .def("add_clip", &add_clip,
             (bp::arg("actor"), bp::arg("name"), bp::arg("duration"), bp::arg("loops") = 1,
              bp::arg("tracks") = bp::object(), bp::arg("events") = bp::object(), bp::arg("parts") = bp::object()),
             "add_clip(actor: str, name: str, duration: float, loops: int = 1, tracks: dict[str, dict[str, "
             "list[tuple[object, ...]]]] | None = None, events: list[tuple[float, str]] | None = None, parts: dict[str, "
             "dict[str, list[tuple[object, ...]]]] | None = None) -> None\n\n"
             "Adds a clip to a loaded actor, as an ActorClip element would: tracks is\n"
             "{joint: {'position' | 'rotation' | 'scale' | 'skew': [(time, value[, easing[, turns]]), ...]}},\n"
             "events [(time, name), ...], parts {mesh: {'visible' | 'colour' | 'offset' | 'order': [keys]}}\n"
             "(visible 1 or 0, colour and offset (r, g, b, a), order the mesh's place in the drawing).\n"
             "ValueError, and nothing\n"
             "added, for any bad value.")
        .staticmethod("add_clip");
}

}  // namespace engine::graphics::python
