#include "python/Bindings.h"

#include "engine/core/script/Factory.h"
#include "engine/graphics/Skeleton.h"
#include "engine/graphics/Transform.h"

namespace engine::graphics::python {

namespace {

/// The joints of a skeleton as scripts index them ("joints"): by index or by name.
/// An unknown name raises IndexError, like an index out of range.
class SkeletonJointProxy : public Proxy<Skeleton> {
public:
    using Proxy<Skeleton>::Proxy;

    bp::object get_item(const bp::object& key) const {
        const Skeleton& skeleton = owner();
        return core::python::get_item(
            key, long(skeleton.get_num_joints()), [&](long i) { return to_python(skeleton.get_joint(unsigned(i))); },
            [&](const std::string& name) { return to_python(skeleton.get_joint(name)); });
    }
    long len() const { return long(owner().get_num_joints()); }
    bool contains(const bp::object& key) const {
        PyObject* k = key.ptr();
        if (PyUnicode_Check(k)) return owner().get_joint(std::string(bp::extract<std::string>(key))) != nullptr;
        bp::extract<const Transform*> joint(key);
        if (!joint.check() || key.is_none()) return false;
        for (unsigned i = 0; i < owner().get_num_joints(); ++i)
            if (owner().get_joint(i) == joint()) return true;
        return false;
    }
};

SkeletonJointProxy joints(Skeleton& s) { return SkeletonJointProxy(&s); }

bp::object add_joint(Skeleton& s, const std::string& name) { return to_python(s.add_joint(name)); }

bp::dict joint_names(const Skeleton& s) {
    bp::dict result;
    for (const auto& [name, index] : s.get_joint_names()) result[name] = index;
    return result;
}

// A new skeleton made through the factory (a script subclass registered as "Skeleton"
// is used) with new joints copied from this one: what an actor makes of its template.
bp::object clone(const Skeleton& s) {
    PyObject* made = core::Factory::new_object_raw("Skeleton", nullptr);
    if (!made) bp::throw_error_already_set();
    bp::object result{bp::handle<>(made)};
    bp::extract<Skeleton*> copy(result);
    if (!copy.check()) raise(PyExc_TypeError, "The class registered as 'Skeleton' does not make a Skeleton.");
    *copy() = s;
    return result;
}

}  // namespace

void define_skeleton() {
    bp::object proxy =
        bp::class_<SkeletonJointProxy>("SkeletonJointProxy",
                                       "SkeletonJointProxy\n\n"
                                       "The joints of a Skeleton, by index (negative from the end) or by name.",
                                       bp::no_init)
            .def("__getitem__", &SkeletonJointProxy::get_item,
                 "__getitem__(key: int | str, /) -> Transform | None\n\n"
                 "joints[key]: by index (negative from the end) or by name; IndexError otherwise. None\n"
                 "where the factory's 'Transform' class failed to make the joint.")
            .def("__len__", &SkeletonJointProxy::len, "__len__() -> int")
            .def("__contains__", &SkeletonJointProxy::contains, "__contains__(key: object, /) -> bool");
    register_with_factory(proxy, "SkeletonJointProxy");

    bp::object cls = bp::class_<Skeleton, Held<ObjectWrapper<Skeleton>>, boost::noncopyable>(
                         "Skeleton",
                         "Skeleton()\n\n"
                         "A hierarchy of joints (Transforms) that an actor's meshes are skinned to.",
                         bp::init<>())
                         .add_property("joints", &joints,
                                       "joints: SkeletonJointProxy\n\n"
                                       "The joints, by index or by name (a SkeletonJointProxy).")
                         // For scripts that build or copy skeletons themselves.
                         .def("add_joint", &add_joint, bp::arg("name") = std::string(),
                              "add_joint(name: str = '') -> Transform | None\n\n"
                              "A new last joint; None when the name is taken.")
                         .def("generate_bind_transforms", &Skeleton::generate_bind_transforms,
                              "generate_bind_transforms() -> None\n\n"
                              "The current pose becomes the bind pose, joint 0 first.")
                         .def("clone", &clone,
                              "clone() -> Skeleton\n\n"
                              "New joints at their bind rotations, same names and hierarchy.")
                         .add_property("joint_names", &joint_names,
                                       "joint_names: dict[str, int]\n\n"
                                       "{name: index} of the named joints.");
    register_with_factory(cls, "Skeleton");
}

}  // namespace engine::graphics::python
