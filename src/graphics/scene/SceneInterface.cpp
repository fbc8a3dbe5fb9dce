#include "scene/SceneLayerProxy.h"

#include "engine/graphics/Framebuffer.h"
#include "engine/graphics/Scene.h"
#include "engine/graphics/SceneLayer.h"
#include "engine/graphics/SceneListener.h"
#include "engine/graphics/SceneObject.h"

namespace engine::graphics {

namespace bp = python::bp;
using core::python::require;

namespace script {

const char* const kSceneDoc =
    "Scene()\n\n"
    "Layers of scene objects, drawn in z order, with listeners and framebuffer redirections.\n\n"
    "The most recently constructed scene is the current one: objects join its layers\n"
    "(obj.layer = \"id\"). Destroying any scene leaves no scene current, even when others\n"
    "live on (a warning says so); scenes are not stacked. Most games use the module's\n"
    "libgraphics.scene and never make another.";
namespace {

bp::object layer_by_index(const Scene& s, unsigned int index) { return python::to_python(s.get_layer(index)); }
bp::object layer_by_id(const Scene& s, const std::string& id) { return python::to_python(s.get_layer(id)); }
bp::object object_by_id(const Scene& s, const std::string& id) { return python::to_python(s.get_object(id)); }
core::Vector<float> scale(const Scene& s) { return s.get_scale(); }
SceneLayerProxy layers(Scene& s) { return SceneLayerProxy(&s); }

bool add_layer(Scene& s, SceneLayer* layer) { return s.add_layer(&require(layer, "The layer")); }

bool add_object(Scene& s, SceneObject* object, const std::string& layer_id) {
    SceneObject& o = require(object, "The object");
    if (!s.add_object(&o, layer_id)) return false;
    return true;
}

bool remove_object(Scene& s, SceneObject* object) { return s.remove_object(&require(object, "The object")); }

// A SceneListener is added as it is; any other object through a SceneListenerPython.
void add_listener(Scene& s, bp::object listener) {
    if (listener.is_none()) python::raise(PyExc_TypeError, "The listener must not be None.");
    bp::extract<SceneListener*> native(listener);
    if (native.check())
        s.add_listener(native());
    else
        s.add_script_listener(listener.ptr());
}

void remove_listener(Scene& s, bp::object listener) {
    bp::extract<SceneListener*> native(listener);
    if (native.check() && native())
        s.remove_listener(native());
    else
        s.remove_script_listener(listener.ptr());
}

void register_framebuffer(Scene& s, SceneObject* object, Framebuffer* framebuffer) {
    s.register_framebuffer(&require(object, "The object"), &require(framebuffer, "The framebuffer"));
}

void render_layer(Scene& s, const std::string& id) { s.render_layer(id); }

core::Matrix layer_transform(const Scene& s, bp::object flags_or_id, const core::Vector<float>& position) {
    bp::extract<std::string> id(flags_or_id);
    if (id.check()) return s.get_layer_transform(id(), position);
    bp::extract<int> flags(flags_or_id);
    if (!flags.check()) python::raise(PyExc_TypeError, "get_layer_transform() takes a layer id or scale flags.");
    return s.get_layer_transform(flags(), position);
}

}  // namespace
}  // namespace script

bp::object SceneLayerProxy::get_item(const bp::object& key) const {
    const Scene& scene = owner();
    return python::get_item(
        key, long(scene.get_num_layers()),
        [&](long i) { return python::to_python(scene.get_layer(static_cast<unsigned int>(i))); },
        [&](const std::string& id) { return python::to_python(scene.get_layer(id)); });
}

bool SceneLayerProxy::append(SceneLayer* layer) const { return owner().add_layer(&require(layer, "The layer")); }

void SceneLayerProxy::define_interface() {
    bp::object cls = bp::class_<SceneLayerProxy>("SceneLayerProxy", bp::no_init)
                         .def("__getitem__", &SceneLayerProxy::get_item)
                         .def("__len__", &SceneLayerProxy::length)
                         .def("append", &SceneLayerProxy::append, bp::arg("layer"));
    python::register_with_factory(cls, "SceneLayerProxy");
}

void Scene::define_interface() {
    bp::scope scene_scope =
        bp::class_<Scene, core::python::ObjectWrapper<Scene>, boost::noncopyable>("Scene", script::kSceneDoc, bp::init<>())
            .def("add_layer", &script::add_layer, bp::arg("layer"))
            .def("begin_frame", &Scene::begin_frame)
            .def("bind_framebuffer", &Scene::bind_framebuffer)
            .def("end_frame", &Scene::end_frame)
            .def("get_layer", &script::layer_by_index, bp::arg("index"))
            .def("get_layer", &script::layer_by_id, bp::arg("id"))
            .def("get_num_layers", &Scene::get_num_layers)
            .def("update", &Scene::update, bp::arg("dt"))
            .def("render", static_cast<void (Scene::*)()>(&Scene::render))
            .add_property("scale", &script::scale, &Scene::set_scale)
            .add_property("layers", &script::layers)
            // Additions.
            .def("add_listener", &script::add_listener, bp::arg("listener"))
            .def("remove_listener", &script::remove_listener, bp::arg("listener"))
            .def("get_object", &script::object_by_id, bp::arg("id"))
            .def("render_layer", &script::render_layer, bp::arg("id"))
            .def("register_framebuffer", &script::register_framebuffer, (bp::arg("object"), bp::arg("framebuffer")))
            .def("add_object", &script::add_object, (bp::arg("object"), bp::arg("layer_id")))
            .def("remove_object", &script::remove_object, bp::arg("object"))
            .def("get_layer_transform", &script::layer_transform, (bp::arg("flags_or_layer_id"), bp::arg("position")));

    bp::enum_<ScaleFlag>("ScaleFlag")
        .value("TRANSLATE", TRANSLATE)
        .value("TRANSLATE_UNIFORM", TRANSLATE_UNIFORM)
        .value("SCALE_MIN", SCALE_MIN)
        .value("SCALE_MAX", SCALE_MAX);
    python::register_with_factory(scene_scope, "Scene");
}

}  // namespace engine::graphics
