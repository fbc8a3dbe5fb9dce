#include <boost/python.hpp>

#include "actors/FactoryObjects.h"

#include "engine/core/script/Factory.h"
#include "engine/graphics/ActorMesh.h"
#include "engine/graphics/Skeleton.h"
#include "engine/graphics/Transform.h"

namespace engine::graphics {

template <class T>
T* create_through_factory(const char* name) {
    namespace bp = boost::python;
    if (!Py_IsInitialized() || !core::Factory::get_class(name)) return new T;
    PyObject* made = core::Factory::new_object_raw(name, nullptr);
    if (!made || made == Py_None) {
        if (PyErr_Occurred()) PyErr_Print();
        Py_XDECREF(made);
        return nullptr;
    }
    bp::extract<T*> native(made);
    if (!native.check()) {
        PyErr_Format(PyExc_TypeError, "The class registered as '%s' does not make a %s.", name, name);
        PyErr_Print();
        Py_DECREF(made);
        return nullptr;
    }
    return native();  // the new reference is the caller's
}

void release_created(const core::Object* object) {
    if (!object) return;
    if (object->get_python_self())
        object->dec_ref();
    else
        delete object;
}

template Transform* create_through_factory<Transform>(const char*);
template Skeleton* create_through_factory<Skeleton>(const char*);
template ActorMesh* create_through_factory<ActorMesh>(const char*);

}  // namespace engine::graphics
