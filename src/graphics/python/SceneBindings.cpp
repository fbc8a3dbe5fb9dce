#include "python/Bindings.h"

#include "core/python/support/ArgumentErrors.h"
#include "python/SceneLayerProxy.h"
#include "python/ScriptSceneListener.h"

#include "engine/graphics/Framebuffer.h"
#include "engine/graphics/Scene.h"
#include "engine/graphics/SceneLayer.h"
#include "engine/graphics/SceneListener.h"
#include "engine/graphics/SceneObject.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <vector>

namespace engine::graphics::python {

namespace {

const char* const kSceneDoc =
    "Scene()\n\n"
    "Layers of scene objects, drawn in z order, with listeners and framebuffer redirections.\n\n"
    "The most recently constructed scene is the current one: objects join its layers\n"
    "(obj.layer = \"id\"). Destroying any scene leaves no scene current, even when others\n"
    "live on (a warning says so); scenes are not stacked. Most games use the module's\n"
    "libgraphics.scene and never make another.";

bp::object layer_by_index(const Scene& s, unsigned int index) { return to_python(s.get_layer(index)); }
bp::object layer_by_id(const Scene& s, const std::string& id) { return to_python(s.get_layer(id)); }
bp::object object_by_id(const Scene& s, const std::string& id) { return to_python(s.get_object(id)); }
core::Vector<float> scale(const Scene& s) { return s.get_scale(); }
void set_scale(Scene& s, const core::Vector<float>& scale) { s.set_scale(scale); }
void set_uniform_scale(Scene& s, float scale) { s.set_scale({scale, scale}); }
SceneLayerProxy layers(Scene& s) { return SceneLayerProxy(&s); }

bool add_layer(Scene& s, SceneLayer* layer) { return s.add_layer(&require(layer, "The layer")); }

bool add_object(Scene& s, SceneObject* object, const std::string& layer_id) {
    SceneObject& o = require(object, "The object");
    if (!s.add_object(&o, layer_id)) return false;
    return true;
}

// A layer given by id or as itself (None: every layer); one the scene does not have is
// an error, since an empty answer would hide the typo.
const SceneLayer* layer_argument(const Scene& s, bp::object layer, const char* function) {
    if (layer.is_none()) return nullptr;
    bp::extract<std::string> id(layer);
    if (id.check()) {
        if (const SceneLayer* found = s.get_layer(id())) return found;
        raise(PyExc_ValueError, std::string("Scene.") + function + ": the scene has no layer '" + id() + "'.");
    }
    bp::extract<SceneLayer*> given(layer);
    if (given.check() && given()) {
        for (unsigned i = 0; i < s.get_num_layers(); ++i)
            if (s.get_layer(i) == given()) return given();
        raise(PyExc_ValueError, std::string("Scene.") + function + ": that layer is not in the scene.");
    }
    raise(PyExc_TypeError, std::string("Scene.") + function + ": layer must be a layer id, a SceneLayer or None.");
}

bp::list as_list(const std::vector<SceneObject*>& objects) {
    bp::list result;
    for (SceneObject* object : objects) result.append(to_python(object));
    return result;
}

// Reused by every question: the answers become a list before any script code runs.
std::vector<SceneObject*>& found() {
    static std::vector<SceneObject*> objects;
    return objects;
}

bp::list objects_at(Scene& s, const bp::object& position, bp::object layer, bp::object alpha_threshold) {
    const core::Vector<float> point = core::python::point_argument(position, "Scene.objects_at: point");
    const SceneLayer* only = layer_argument(s, layer, "objects_at");
    // Below zero natively means "the shapes alone"; every alpha exceeds such a threshold anyway.
    const float threshold =
        std::max(core::python::number_or_none(alpha_threshold, -1.0f, "Scene.objects_at: alpha_threshold"), -1.0f);
    s.objects_at(point, only, threshold, found());
    return as_list(found());
}

bp::list overlapping(Scene& s, SceneObject* object, bp::object layer) {
    SceneObject& o = require(object, "The object");
    s.overlapping(o, layer_argument(s, layer, "overlapping"), found());
    return as_list(found());
}

bp::list overlapping_pairs(Scene& s, bp::object first, bp::object second) {
    static std::vector<std::pair<SceneObject*, SceneObject*>> pairs;  // reused, as found() is
    const SceneLayer* a = layer_argument(s, first, "overlapping_pairs");
    const SceneLayer* b = layer_argument(s, second, "overlapping_pairs");
    if (b && !a) raise(PyExc_ValueError, "Scene.overlapping_pairs: other_layer needs layer too.");
    s.overlapping_pairs(a, b, pairs);
    bp::list result;
    for (const auto& [x, y] : pairs) result.append(bp::make_tuple(to_python(x), to_python(y)));
    return result;
}

bool remove_object(Scene& s, SceneObject* object) { return s.remove_object(&require(object, "The object")); }

// A SceneListener is added as it is; any other object through a SceneListenerPython.
void add_listener(Scene& s, bp::object listener) {
    if (listener.is_none()) raise(PyExc_TypeError, "The listener must not be None.");
    core::python::require_base_init(listener);  // a SceneListener subclass that skipped its base __init__
    bp::extract<SceneListener*> native(listener);
    if (native.check())
        s.add_listener(native());
    else
        s.add_keyed_listener(listener.ptr(), new SceneListenerPython(listener.ptr()));
}

void remove_listener(Scene& s, bp::object listener) {
    bp::extract<SceneListener*> native(listener);
    if (native.check() && native())
        s.remove_listener(native());
    else
        s.remove_keyed_listener(listener.ptr());
}

void register_framebuffer(Scene& s, SceneObject* object, Framebuffer* framebuffer) {
    s.register_framebuffer(&require(object, "The object"), &require(framebuffer, "The framebuffer"));
}

void render_layer(Scene& s, const std::string& id) { s.render_layer(id); }

bp::object clear_colour(const Scene& s) {
    const std::optional<core::Colour>& colour = s.get_clear_colour();
    return colour ? bp::object(*colour) : bp::object();
}

void set_clear_colour(Scene& s, bp::object value) {
    if (value.is_none()) {
        s.set_clear_colour(std::nullopt);
        return;
    }
    bp::extract<core::Colour> colour(value);
    if (!colour.check())
        raise(PyExc_TypeError, std::string("Scene.clear_colour: expected a Colour, a tuple of 3 or 4 numbers, a "
                                           "colour string or None, got ") +
                                   Py_TYPE(value.ptr())->tp_name);
    s.set_clear_colour(colour());
}

core::Matrix layer_transform(const Scene& s, bp::object flags_or_id, const core::Vector<float>& position) {
    bp::extract<std::string> id(flags_or_id);
    if (id.check()) return s.get_layer_transform(id(), position);
    bp::extract<int> flags(flags_or_id);
    if (!flags.check()) raise(PyExc_TypeError, "get_layer_transform() takes a layer id or scale flags.");
    return s.get_layer_transform(flags(), position);
}

}  // namespace

void define_scene() {
    bp::scope scene_scope =
        bp::class_<Scene, Held<ObjectWrapper<Scene>>, boost::noncopyable>("Scene", kSceneDoc, bp::init<>())
            .def("add_layer", &add_layer, bp::arg("layer"),
                 "add_layer(layer: SceneLayer) -> bool\n\n"
                 "Adds a layer; False, with a warning, when its id is taken.")
            .def("begin_frame", &Scene::begin_frame,
                 "begin_frame() -> None\n\n"
                 "Starts a frame: clears the window when clear_colour is set, then binds and clears\n"
                 "the first redirection's framebuffer.")
            .def("bind_framebuffer", &Scene::bind_framebuffer, "bind_framebuffer() -> None")
            .def("end_frame", &Scene::end_frame,
                 "end_frame() -> None\n\n"
                 "Ends a frame: drawing goes to the window again.")
            // Each overload documents its own signature; Boost.Python joins them in order.
            .def("get_layer", &layer_by_index, bp::arg("index"), "get_layer(index: int) -> SceneLayer | None")
            .def("get_layer", &layer_by_id, bp::arg("id"),
                 "get_layer(id: str) -> SceneLayer | None\n\n"
                 "The layer at that position in z order, or with that id; None when there is none.")
            .def("get_num_layers", &Scene::get_num_layers,
                 "get_num_layers() -> int\n\n"
                 "How many layers the scene has.")
            .def("update", &Scene::update, bp::arg("dt"),
                 "update(dt: float) -> None\n\n"
                 "Steps animators, then OnUpdate of every object, with the listeners' hooks around.")
            .def("render", static_cast<void (Scene::*)()>(&Scene::render),
                 "render() -> None\n\n"
                 "Draws every common layer in z order.")
            .add_property("scale", &scale,
                          overloaded("scale(value: VectorLike | float) -> None", &set_scale, &set_uniform_scale),
                          "scale: Vector\n\n"
                          "The scale of the whole scene; each layer's scale flags decide what it does.")
            .add_property("layers", &layers,
                          "layers: SceneLayerProxy\n\n"
                          "The layers by position in z order or by id.")
            .add_property("clear_colour", &clear_colour, &set_clear_colour,
                          "clear_colour: Colour | None\n\n"
                          "The colour begin_frame() fills the window with, or None (the default): then the\n"
                          "window keeps what the last frame drew, and the game clears it (window.clear())\n"
                          "or draws over all of it.")
            .add_property("batching", &Scene::is_batching, &Scene::set_batching,
                          "batching: bool\n\n"
                          "Gather consecutive sprites of one texture and layer matrix into one draw call\n"
                          "(default True); the picture is the same either way.")
            // Listeners, objects by id, single layers and redirections for scripts.
            .def("add_listener", &add_listener, bp::arg("listener"),
                 "add_listener(listener: SceneListener | object) -> None\n\n"
                 "Adds a listener (a SceneListener or any object with some of its hooks,\n"
                 "OnPreUpdate(dt), OnPostRender(), ...), kept alive until removed.")
            .def("remove_listener", &remove_listener, bp::arg("listener"),
                 "remove_listener(listener: SceneListener | object) -> None")
            .def("get_object", &object_by_id, bp::arg("id"),
                 "get_object(id: str) -> SceneObject | None\n\n"
                 "The object with that id in any layer, or None.")
            .def("render_layer", &render_layer, bp::arg("id"),
                 "render_layer(id: str) -> None\n\n"
                 "Draws one layer (a layer that is not common, such as a HUD).")
            .def("register_framebuffer", &register_framebuffer, (bp::arg("object"), bp::arg("framebuffer")),
                 "register_framebuffer(object: SceneObject, framebuffer: Framebuffer) -> None\n\n"
                 "Everything drawn before object in the frame goes into framebuffer.")
            .def("objects_at", &objects_at,
                 (bp::arg("point"), bp::arg("layer") = bp::object(), bp::arg("alpha_threshold") = bp::object()),
                 "objects_at(point: VectorLike | IntVector, layer: str | SceneLayer | None = None, "
                 "alpha_threshold: float | None = None) -> list[SceneObject]\n\n"
                 "The visible objects drawn at point, top-most first (the reverse of drawing order),\n"
                 "from every layer or only from layer. point is in window coordinates (what\n"
                 "set_ortho projects: pixels, origin top left), mapped through each object's layer\n"
                 "matrix, so a click's position can be passed as it comes. Each object's own shape\n"
                 "counts (see SceneObject.contains); with alpha_threshold, sprites count only where\n"
                 "their texture's alpha is greater. A point at infinity or NaN hits nothing; a layer\n"
                 "id the scene does not have is a ValueError.")
            .def("overlapping", &overlapping, (bp::arg("obj"), bp::arg("layer") = bp::object()),
                 "overlapping(obj: SceneObject, layer: str | SceneLayer | None = None) -> list[SceneObject]\n\n"
                 "The visible objects whose shapes, as drawn, overlap obj's (see SceneObject.overlaps),\n"
                 "obj excepted, top-most first, from every layer or only from layer. obj need not\n"
                 "be in the scene. The scene keeps an index of its shapes, built at the first\n"
                 "question after something moved or changed and reused until something does: ask\n"
                 "about every object after moving them all, and the frame builds it once.")
            .def("overlapping_pairs", &overlapping_pairs,
                 (bp::arg("layer") = bp::object(), bp::arg("other_layer") = bp::object()),
                 "overlapping_pairs(layer: str | SceneLayer | None = None, other_layer: str | SceneLayer | None = "
                 "None) -> list[tuple[SceneObject, SceneObject]]\n\n"
                 "Every pair of visible objects whose shapes, as drawn, overlap, each pair once, in one\n"
                 "call: (an object of layer, an object of other_layer) when both are given (shots\n"
                 "against aliens), else the pairs within layer, or within the whole scene. Ordered\n"
                 "by the first object, top-most first. It answers what calling overlapping for every\n"
                 "object would, without a script call per object.")
            .def("add_object", &add_object, (bp::arg("object"), bp::arg("layer_id")),
                 "add_object(object: SceneObject, layer_id: str) -> bool\n\n"
                 "Puts object into that layer; False for an unknown layer.")
            .def("remove_object", &remove_object, bp::arg("object"),
                 "remove_object(object: SceneObject) -> bool\n\n"
                 "Takes object out of its layer; False when it was in none.")
            .def("get_layer_transform", &layer_transform, (bp::arg("flags_or_layer_id"), bp::arg("position")),
                 "get_layer_transform(flags_or_layer_id: int | str, position: VectorLike) -> Matrix\n\n"
                 "The matrix the scene scale gives an object at position under those scale flags\n"
                 "or that layer's.");

    // Inside the class's scope: libgraphics.Scene.ScaleFlag.
    bp::enum_<Scene::ScaleFlag>("ScaleFlag",
                                "ScaleFlag\n\n"
                                "How the scene scale sizes and moves a layer's objects: TRANSLATE,\n"
                                "TRANSLATE_UNIFORM, SCALE_MIN and SCALE_MAX, combined with |.")
        .value("TRANSLATE", Scene::TRANSLATE)
        .value("TRANSLATE_UNIFORM", Scene::TRANSLATE_UNIFORM)
        .value("SCALE_MIN", Scene::SCALE_MIN)
        .value("SCALE_MAX", Scene::SCALE_MAX);
    register_with_factory(scene_scope, "Scene");
}

}  // namespace engine::graphics::python
