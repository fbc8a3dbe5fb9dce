#include <boost/python.hpp>

#include "actors/FactoryObjects.h"

#include "engine/core/script/Factory.h"
#include "engine/graphics/ActorMesh.h"
#include "engine/graphics/IKConstraintPositionFixed.h"
#include "engine/graphics/IKConstraintRotationFixed.h"
#include "engine/graphics/Skeleton.h"
#include "engine/graphics/Transform.h"

namespace engine::graphics {

namespace {

// The instance the factory makes from `args` (a tuple, or null for none), or null
// after printing why; `native` makes the object when no class is registered.
template <class T, class Native>
core::Ref<T> create_with(const char* name, Native native, PyObject* (*make_args)(const void*), const void* context) {
    namespace bp = boost::python;
    if (!Py_IsInitialized() || !core::Factory::get_class(name)) return native();
    PyObject* args = make_args ? make_args(context) : nullptr;
    PyObject* made = core::Factory::new_object_raw(name, args);
    Py_XDECREF(args);
    if (!made || made == Py_None) {
        if (PyErr_Occurred()) PyErr_Print();
        Py_XDECREF(made);
        return nullptr;
    }
    bp::extract<T*> instance(made);
    if (!instance.check()) {
        PyErr_Format(PyExc_TypeError, "The class registered as '%s' does not make a %s.", name, name);
        PyErr_Print();
        Py_DECREF(made);
        return nullptr;
    }
    // Held here before the call's own reference goes: the object keeps its self.
    core::Ref<T> held(instance());
    Py_DECREF(made);
    return held;
}

}  // namespace

template <class T>
core::Ref<T> create_through_factory(const char* name) {
    return create_with<T>(name, [] { return new T; }, nullptr, nullptr);
}

core::Ref<IKConstraintPosition> create_fixed_position_constraint(const core::Vector<float>& position) {
    auto args = [](const void* p) -> PyObject* {
        return boost::python::incref(boost::python::make_tuple(*static_cast<const core::Vector<float>*>(p)).ptr());
    };
    return create_with<IKConstraintPosition>(
        "IKConstraintPositionFixed", [&]() -> IKConstraintPosition* { return new IKConstraintPositionFixed(position); },
        args, &position);
}

core::Ref<IKConstraintRotation> create_fixed_rotation_constraint(float rotation, bool in_world_space) {
    struct Args {
        float rotation;
        bool world;
    } values{rotation, in_world_space};
    auto args = [](const void* p) -> PyObject* {
        const Args& a = *static_cast<const Args*>(p);
        return boost::python::incref(boost::python::make_tuple(a.rotation, a.world).ptr());
    };
    return create_with<IKConstraintRotation>(
        "IKConstraintRotationFixed",
        [&]() -> IKConstraintRotation* { return new IKConstraintRotationFixed(rotation, in_world_space); }, args,
        &values);
}

template core::Ref<Transform> create_through_factory<Transform>(const char*);
template core::Ref<Skeleton> create_through_factory<Skeleton>(const char*);
template core::Ref<ActorMesh> create_through_factory<ActorMesh>(const char*);

}  // namespace engine::graphics
