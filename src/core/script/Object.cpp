#include <boost/python.hpp>

#include "engine/core/script/Object.h"

#include <atomic>

namespace engine::core {

namespace {
// Every Object alive; atomic, so that any thread may read it.
std::atomic<std::size_t> live_objects{0};
}  // namespace

Object::Object() noexcept { live_objects.fetch_add(1, std::memory_order_relaxed); }

Object::Object(const Object&) noexcept { live_objects.fetch_add(1, std::memory_order_relaxed); }

Object::~Object() { live_objects.fetch_sub(1, std::memory_order_relaxed); }

std::size_t Object::live_count() noexcept { return live_objects.load(std::memory_order_relaxed); }

PythonObject Object::get_pyobject() const { return boost::python::object(); }

void Object::inc_ref() const {
    if (PyObject* self = get_python_self())
        Py_INCREF(self);
    else
        ++unbound_refs_;
}

void Object::dec_ref() const {
    if (PyObject* self = get_python_self())
        Py_DECREF(self);
    else
        --unbound_refs_;
}

}  // namespace engine::core
