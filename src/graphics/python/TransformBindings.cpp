#include "python/Bindings.h"

#include "engine/graphics/Transform.h"

namespace engine::graphics::python {

namespace {

using core::Matrix;
using core::Vector;

Vector<float> position(const Transform& t) { return t.get_local_position(); }
Vector<float> scale(const Transform& t) { return t.get_local_scale(); }
Matrix local_transform(const Transform& t) { return t.get_local_transform(); }
Vector<float> world_position(const Transform& t) { return t.get_world_position(); }
Matrix world_transform(const Transform& t) { return t.get_world_transform(); }
Matrix bind_transform(const Transform& t) { return t.get_bind_transform(); }
void set_scale(Transform& t, const Vector<float>& scale) { t.set_scale(scale); }
void set_uniform_scale(Transform& t, float scale) { t.set_scale({scale, scale}); }
bp::object parent(const Transform& t) { return to_python(t.get_parent()); }

bp::list children(const Transform& t) {
    bp::list result;
    for (const Transform* child : t.get_children()) result.append(to_python(child));
    return result;
}

bool is_self_or_ancestor(const Transform* candidate, const Transform* of) {
    // A transform without children can only be its own ancestor: building a chain from
    // its root down stays linear.
    if (candidate->get_children().empty()) return candidate == of;
    for (const Transform* t = of; t; t = t->get_parent())
        if (t == candidate) return true;
    return false;
}

void attach(Transform& t, Transform* child) {
    Transform& c = require(child, "The child");
    // A cycle would make every cache walk endless.
    if (is_self_or_ancestor(&c, &t))
        raise(PyExc_ValueError, "Cannot attach a transform to itself or to one of its descendants.");
    t.attach(&c);
}

void detach(Transform& t, Transform* child) { t.detach(&require(child, "The child")); }

}  // namespace

void define_transform() {
    bp::object cls =
        bp::class_<Transform, Held<ObjectWrapper<Transform>>, boost::noncopyable>(
            "Transform",
            "Transform()\n\n"
            "A position, scale and rotation in a hierarchy of transforms: a child's world\n"
            "transform is its parent's world transform times its own.",
            bp::init<>())
            .add_property("position", &position, &Transform::set_position,
                          "position: Vector\n\n"
                          "Position in the parent's space.")
            .add_property("scale", &scale,
                          overloaded("scale(value: VectorLike | float) -> None", &set_scale, &set_uniform_scale),
                          "scale: Vector\n\n"
                          "Scale on each axis; a number sets both.")
            .add_property("rotation", &Transform::get_local_rotation, &Transform::set_rotation,
                          "rotation: float\n\n"
                          "Rotation in radians, relative to the parent, within the rotation constraint.")
            .add_property("skew", &Transform::get_skew, &Transform::set_skew,
                          "skew: float\n\n"
                          "Radians the local y axis turns beyond the rotation (0 keeps the axes square).")
            .add_property("inheritance", &Transform::get_inheritance, &Transform::set_inheritance,
                          "inheritance: int\n\n"
                          "What the world transform takes from the parent's: a sum of 1 (translation),\n"
                          "2 (rotation), 4 (scale and skew) and 8 (reflection, without scale); 15, the\n"
                          "default, takes everything.")
            .add_property("transform", &local_transform,
                          "transform: Matrix\n\n"
                          "The transform in the parent's space.")
            .add_property("world_position", &world_position, "world_position: Vector")
            .add_property("world_transform", &world_transform,
                          "world_transform: Matrix\n\n"
                          "The transform in world space: the parent's world transform times this one.")
            .add_property("world_rotation", &Transform::get_world_rotation, "world_rotation: float")
            .add_property("parent", &parent,
                          "parent: Transform | None\n\n"
                          "The transform this one is attached to.")
            .def("attach", &attach, bp::arg("child"),
                 "attach(child: Transform) -> None\n\n"
                 "Makes child a child of this transform; ValueError for itself or an ancestor.")
            .def("detach", &detach, bp::arg("child"), "detach(child: Transform) -> None")
            // For scripts that pose hierarchies themselves.
            .add_property("children", &children, "children: list[Transform]")
            .def("set_rotation_constraint", &Transform::set_rotation_constraint, (bp::arg("min"), bp::arg("max")),
                 "set_rotation_constraint(min: float, max: float) -> None\n\n"
                 "Limits the rotation to [min, max] radians, from the next rotation set.")
            .add_property("min_rotation", &Transform::get_min_rotation, "min_rotation: float")
            .add_property("max_rotation", &Transform::get_max_rotation, "max_rotation: float")
            .add_property("bind_rotation", &Transform::get_bind_rotation, &Transform::set_bind_rotation,
                          "bind_rotation: float\n\n"
                          "The rotation of the bind pose; call generate_bind_transform() after changing it.")
            .def("generate_bind_transform", &Transform::generate_bind_transform,
                 "generate_bind_transform() -> None\n\n"
                 "Rebuilds the inverse bind matrix from the parent's, which must be generated first.")
            .add_property("bind_transform", &bind_transform, "bind_transform: Matrix")
            .def("load_into_opengl", &Transform::load_into_opengl,
                 "load_into_opengl() -> None\n\n"
                 "Multiplies the current OpenGL matrix by the world transform (for OnRender).");
    register_with_factory(cls, "Transform");
}

}  // namespace engine::graphics::python
