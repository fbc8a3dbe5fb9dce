#include "module/Bindings.h"

#include "engine/graphics/SceneLayer.h"
#include "engine/graphics/SceneObject.h"

namespace engine::graphics {

namespace script {
namespace {

python::bp::list objects(const SceneLayer& layer) {
    python::bp::list result;
    for (const SceneObject* o : layer.get_objects()) result.append(python::to_python(o));
    return result;
}

}  // namespace
}  // namespace script

void SceneLayer::define_interface() {
    namespace bp = python::bp;
    using Wrapper = core::python::ObjectWrapper<SceneLayer, const std::string&, float, int, bool>;
    bp::object cls =
        bp::class_<SceneLayer, Wrapper, boost::noncopyable>(
            "SceneLayer",
            bp::init<const std::string&, float, int, bool>(
                (bp::arg("id"), bp::arg("z") = 0.0f, bp::arg("scale_flags") = 0, bp::arg("common") = true)))
            .add_property("id",
                          bp::make_function(&SceneLayer::get_id, bp::return_value_policy<bp::copy_const_reference>()),
                          &SceneLayer::set_id)
            .add_property("z", &SceneLayer::get_z, &SceneLayer::set_z)
            .add_property("scale_flags", &SceneLayer::get_scale_flags, &SceneLayer::set_scale_flags)
            .add_property("common", &SceneLayer::is_common, &SceneLayer::set_common)
            // Addition: the layer's objects in drawing order.
            .add_property("objects", &script::objects);
    python::register_with_factory(cls, "SceneLayer");
}

}  // namespace engine::graphics
