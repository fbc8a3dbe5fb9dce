#include "python/Bindings.h"

#include "common/FactoryObjects.h"

#include "engine/graphics/ActorControllerIK.h"
#include "engine/graphics/ActorMesh.h"
#include "engine/graphics/IKConstraintPosition.h"
#include "engine/graphics/IKConstraintRotation.h"
#include "engine/graphics/ParticleEmitter.h"
#include "engine/graphics/Skeleton.h"
#include "engine/graphics/Transform.h"

#include <type_traits>
#include <typeindex>

namespace engine::graphics::python {

namespace {

// The native part of a script object, as the native type the engine asked for.
template <class T>
core::Object* native_part(PyObject* made) {
    bp::extract<T*> instance(made);
    return instance.check() ? instance() : nullptr;
}

using NativePart = core::Object* (*)(PyObject*);

NativePart native_part_of(const std::type_info& type) {
    static const std::pair<std::type_index, NativePart> kinds[] = {
        {typeid(Transform), &native_part<Transform>},
        {typeid(Skeleton), &native_part<Skeleton>},
        {typeid(ActorMesh), &native_part<ActorMesh>},
        {typeid(ParticleEmitter), &native_part<ParticleEmitter>},
        {typeid(IKConstraintPosition), &native_part<IKConstraintPosition>},
        {typeid(IKConstraintRotation), &native_part<IKConstraintRotation>},
        {typeid(ActorControllerIK), &native_part<ActorControllerIK>},
    };
    for (const auto& [kind, part] : kinds)
        if (kind == type) return part;
    return nullptr;
}

bp::object to_python(const FactoryArgument& argument) {
    return std::visit(
        [](const auto& value) {
            if constexpr (std::is_same_v<std::decay_t<decltype(value)>, core::Object*>)
                return core::python::to_python(value);
            else
                return bp::object(value);
        },
        argument);
}

bool has_class(const char* name) { return Py_IsInitialized() && core::Factory::get_class(name); }

// Calls the registered class; what goes wrong is printed as the script's error.
core::Ref<core::Object> make(const char* name, const FactoryArguments& arguments, const std::type_info& type) {
    PyObject* made = nullptr;
    try {
        bp::list values;
        for (const FactoryArgument& argument : arguments) values.append(to_python(argument));
        made = core::Factory::new_object_raw(name, arguments.empty() ? nullptr : bp::tuple(values).ptr());
    } catch (const bp::error_already_set&) {
    }
    if (!made || made == Py_None) {
        if (PyErr_Occurred()) PyErr_Print();
        Py_XDECREF(made);
        return nullptr;
    }
    const NativePart part = native_part_of(type);
    core::Object* object = part ? part(made) : nullptr;
    if (!object) {
        PyErr_Format(PyExc_TypeError, "The class registered as '%s' does not make a %s.", name, name);
        PyErr_Print();
    }
    // Held before the call's own reference goes: the object keeps its self from here.
    const core::Ref<core::Object> held(object);
    Py_DECREF(made);
    return held;
}

}  // namespace

void install_object_maker() { set_object_maker({&has_class, &make}); }

}  // namespace engine::graphics::python
