#include "python/Bindings.h"
#include "python/SceneObjectWrapper.h"

#include "core/python/support/ScriptCallback.h"

#include "engine/graphics/SceneObject.h"
#include "engine/graphics/SceneObjectAnimator.h"
#include "engine/core/Vector.h"

namespace engine::graphics::python {

namespace {

void add_animator(SceneObject& o, const std::string& name, SceneObjectAnimator* animator, bp::object on_finished) {
    auto callback = core::python::make_script_callback(on_finished, "add_animator(): on_finished");
    o.add_animator(name, &require(animator, "The animator"), std::move(callback));
}

bp::object get_animator(const SceneObject& o, const std::string& name) { return to_python(o.get_animator(name)); }

// "remove_animator" takes a name or the animator itself.
void remove_animator(SceneObject& o, bp::object key) {
    bp::extract<std::string> name(key);
    if (name.check()) return o.remove_animator(name());
    bp::extract<SceneObjectAnimator*> animator(key);
    if (animator.check() && animator()) return o.remove_animator(animator());
    raise(PyExc_TypeError, "remove_animator() takes a name or an animator.");
}

bool contains(SceneObject& o, const bp::object& point) {
    return o.contains(core::python::point_argument(point, "SceneObject.contains: point"));
}

bool overlaps(SceneObject& o, SceneObject* other) { return o.overlaps(require(other, "The other object")); }

bp::dict animators(const SceneObject& o) {
    bp::dict result;
    for (const auto& [name, animator] : o.get_animators()) result[name] = to_python(animator);
    return result;
}

}  // namespace

void define_scene_object() {
    bp::object cls =
        bp::class_<SceneObject, Held<SceneObjectWrapper<SceneObject>>, bp::bases<Transform>, boost::noncopyable>(
            "SceneObject",
            "SceneObject()\n\n"
            "Something drawn and updated in a scene layer: set layer to a layer's id to add it.\n"
            "Subclasses may define OnAdd(layer_id), OnRemove(layer_id), OnUpdate(dt) and\n"
            "OnRender() to replace the engine's hooks.",
            bp::init<>())
            .add_property("id",
                          bp::make_function(&SceneObject::get_id, bp::return_value_policy<bp::copy_const_reference>()),
                          &SceneObject::set_id,
                          "id: str\n\n"
                          "The name scene.get_object finds it by.")
            .add_property(
                "layer",
                bp::make_function(&SceneObject::get_layer, bp::return_value_policy<bp::copy_const_reference>()),
                &SceneObject::set_layer,
                "layer: str\n\n"
                "The id of the layer holding it ('' when in none); setting it moves it there.")
            .add_property("visible", &SceneObject::is_visible, &SceneObject::set_visibility, "visible: bool")
            .add_property("z", &SceneObject::get_z, &SceneObject::set_z,
                          "z: float\n\n"
                          "Drawing order within the layer.")
            .add_property("scale_flags", &SceneObject::get_scale_flags, &SceneObject::set_scale_flags,
                          "scale_flags: int\n\n"
                          "Scene.ScaleFlag values overriding the layer's; -1 uses the layer's.")
            .def("add_animator", &add_animator,
                 (bp::arg("name"), bp::arg("animator"), bp::arg("on_finished") = bp::object()),
                 "add_animator(name: str, animator: SceneObjectAnimator, "
                 "on_finished: Callable[[], object] | None = None) -> None\n\n"
                 "Animate the object; an animator already under that name is replaced. on_finished,\n"
                 "a callable taking no arguments, is called once when the animator finishes on its\n"
                 "own (during scene.update, after it left: get_animator(name) is then None), not\n"
                 "when it is removed or replaced. Its exceptions behave like a hook's.")
            .def("get_animator", &get_animator, bp::arg("name"),
                 "get_animator(name: str) -> SceneObjectAnimator | None\n\n"
                 "The animator attached under name, or None.")
            .def("remove_animator", &remove_animator, bp::arg("name_or_animator"),
                 "remove_animator(name_or_animator: str | SceneObjectAnimator) -> None\n\n"
                 "Detaches the animator of that name, or that animator.")
            .def("contains", &contains, bp::arg("point"),
                 "contains(point: VectorLike | IntVector) -> bool\n\n"
                 "Whether point, in the object's layer coordinates (the space its position is in,\n"
                 "before the layer's matrix), lies in what it draws, edges included: a sprite's\n"
                 "rectangle, a text's box, an actor's triangles or bounding polygons, a framebuffer\n"
                 "display's rectangle, each under its rotation, scale and parents. False for an\n"
                 "invisible object, one that draws nothing of its own (a plain SceneObject, particles)\n"
                 "and a point at infinity or NaN.")
            .def("overlaps", &overlaps, bp::arg("other"),
                 "overlaps(other: SceneObject) -> bool\n\n"
                 "Whether the two objects' shapes, as drawn (each under its layer's matrix), share\n"
                 "area: exact for rotated rectangles and polygons, not bounding circles. Shapes that\n"
                 "only touch do not overlap. False when either is invisible or draws nothing, and for\n"
                 "an object with itself.")
            // The animators by name.
            .add_property("animators", &animators,
                          "animators: dict[str, SceneObjectAnimator]\n\n"
                          "The attached animators by name.");
    register_with_factory(cls, "SceneObject");
}

}  // namespace engine::graphics::python
