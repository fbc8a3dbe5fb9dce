#include "scene/SceneObjectWrapper.h"

#include "engine/graphics/SceneObjectAnimator.h"

namespace engine::graphics {

namespace script {
namespace {

using python::bp::object;

void add_animator(SceneObject& o, const std::string& name, SceneObjectAnimator* animator) {
    o.add_animator(name, &core::python::require(animator, "The animator"));
}

object get_animator(const SceneObject& o, const std::string& name) { return python::to_python(o.get_animator(name)); }

// "remove_animator" takes a name or the animator itself.
void remove_animator(SceneObject& o, object key) {
    python::bp::extract<std::string> name(key);
    if (name.check()) return o.remove_animator(name());
    python::bp::extract<SceneObjectAnimator*> animator(key);
    if (animator.check() && animator()) return o.remove_animator(animator());
    python::raise(PyExc_TypeError, "remove_animator() takes a name or an animator.");
}

python::bp::dict animators(const SceneObject& o) {
    python::bp::dict result;
    for (const auto& [name, animator] : o.get_animators()) result[name] = python::to_python(animator);
    return result;
}

}  // namespace
}  // namespace script

void SceneObject::define_interface() {
    namespace bp = python::bp;
    bp::object cls =
        bp::class_<SceneObject, python::SceneObjectWrapper<SceneObject>, bp::bases<Transform>, boost::noncopyable>(
            "SceneObject", bp::init<>())
            .add_property("id",
                          bp::make_function(&SceneObject::get_id, bp::return_value_policy<bp::copy_const_reference>()),
                          &SceneObject::set_id)
            .add_property(
                "layer",
                bp::make_function(&SceneObject::get_layer, bp::return_value_policy<bp::copy_const_reference>()),
                &SceneObject::set_layer)
            .add_property("visible", &SceneObject::is_visible, &SceneObject::set_visibility)
            .add_property("z", &SceneObject::get_z, &SceneObject::set_z)
            .add_property("scale_flags", &SceneObject::get_scale_flags, &SceneObject::set_scale_flags)
            .def("add_animator", &script::add_animator, (bp::arg("name"), bp::arg("animator")))
            .def("get_animator", &script::get_animator, bp::arg("name"))
            .def("remove_animator", &script::remove_animator, bp::arg("name_or_animator"))
            // Addition: the animators by name.
            .add_property("animators", &script::animators);
    python::register_with_factory(cls, "SceneObject");
}

void SceneObjectAnimator::define_interface() {
    namespace bp = python::bp;
    // Animators are made by their concrete classes; the base has no constructor.
    bp::class_<SceneObjectAnimator, boost::noncopyable>("SceneObjectAnimator", bp::no_init)
        .add_property("delay", &SceneObjectAnimator::get_delay, &SceneObjectAnimator::set_delay)
        .add_property(
            "object", +[](const SceneObjectAnimator& a) { return python::to_python(a.get_object()); });
}

}  // namespace engine::graphics
