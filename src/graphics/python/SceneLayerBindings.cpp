#include "python/Bindings.h"
#include "python/SceneLayerProxy.h"

#include "engine/graphics/Scene.h"
#include "engine/graphics/SceneLayer.h"
#include "engine/graphics/SceneObject.h"

namespace engine::graphics::python {

namespace {

bp::list objects(const SceneLayer& layer) {
    bp::list result;
    for (const SceneObject* o : layer.get_objects()) result.append(to_python(o));
    return result;
}

}  // namespace

bp::object SceneLayerProxy::get_item(const bp::object& key) const {
    const Scene& scene = owner();
    return core::python::get_item(
        key, long(scene.get_num_layers()),
        [&](long i) { return to_python(scene.get_layer(static_cast<unsigned int>(i))); },
        [&](const std::string& id) { return to_python(scene.get_layer(id)); });
}

bool SceneLayerProxy::append(SceneLayer* layer) const { return owner().add_layer(&require(layer, "The layer")); }

void define_scene_layer() {
    using Wrapper = ObjectWrapper<SceneLayer, const std::string&, float, int, bool>;
    bp::object cls =
        bp::class_<SceneLayer, Held<Wrapper>, boost::noncopyable>(
            "SceneLayer",
            "SceneLayer(id: str, z: float = 0.0, scale_flags: int = 0, common: bool = True)\n\n"
            "A named layer of a scene, drawn in z order; its scale flags (Scene.ScaleFlag)\n"
            "decide how the scene's scale sizes and moves its objects.",
            bp::init<const std::string&, float, int, bool>(
                (bp::arg("id"), bp::arg("z") = 0.0f, bp::arg("scale_flags") = 0, bp::arg("common") = true)))
            .add_property("id",
                          bp::make_function(&SceneLayer::get_id, bp::return_value_policy<bp::copy_const_reference>()),
                          &SceneLayer::set_id, "id: str")
            .add_property("z", &SceneLayer::get_z, &SceneLayer::set_z,
                          "z: float\n\n"
                          "Drawing order among the layers.")
            .add_property("scale_flags", &SceneLayer::get_scale_flags, &SceneLayer::set_scale_flags,
                          "scale_flags: int\n\n"
                          "Scene.ScaleFlag values for the layer's objects.")
            .add_property("common", &SceneLayer::is_common, &SceneLayer::set_common,
                          "common: bool\n\n"
                          "Drawn by scene.render(); a layer that is not is drawn by render_layer.")
            // The layer's objects in drawing order.
            .add_property("objects", &objects,
                          "objects: list[SceneObject]\n\n"
                          "The layer's objects in z order.");
    register_with_factory(cls, "SceneLayer");

    bp::object proxy =
        bp::class_<SceneLayerProxy>("SceneLayerProxy",
                                    "SceneLayerProxy\n\n"
                                    "The layers of a Scene in z order, by index or by id.",
                                    bp::no_init)
            .def("__getitem__", &SceneLayerProxy::get_item, "__getitem__(key: int | str, /) -> SceneLayer")
            .def("__len__", &SceneLayerProxy::length, "__len__() -> int")
            .def("append", &SceneLayerProxy::append, bp::arg("layer"),
                 "append(layer: SceneLayer) -> bool\n\n"
                 "Adds a layer, as Scene.add_layer.");
    register_with_factory(proxy, "SceneLayerProxy");
}

}  // namespace engine::graphics::python
