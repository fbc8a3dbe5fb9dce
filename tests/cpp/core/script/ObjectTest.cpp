#include <boost/python.hpp>

#include "engine/core/script/Object.h"
#include "engine/core/SharedObject.h"

#include "core/python/support/ObjectWrapper.h"

#include <gtest/gtest.h>

using engine::core::Object;
using engine::core::python::ObjectWrapper;
using engine::core::SharedObject;

namespace {

// Sets a flag when destroyed.
class Resource : public SharedObject {
public:
    explicit Resource(bool& destroyed) : destroyed_(destroyed) {}
    ~Resource() override { destroyed_ = true; }

private:
    bool& destroyed_;  // the test's flag
};

// An Object that claims a given Python object as its own, as a binding wrapper does.
class ScriptBacked : public Object {
public:
    explicit ScriptBacked(PyObject* self) : self_(self) {}
    PyObject* get_python_self() const noexcept override { return self_; }

private:
    PyObject* self_;  // borrowed
};

// A native class whose constructor hands the new object to a container, which takes
// a reference before the object knows its Python object.
class SelfRegistering : public Object {
public:
    SelfRegistering() { inc_ref(); }
};

// A native class with a constructor argument, as ObjectWrapper wraps them.
class Named : public Object {
public:
    explicit Named(int id) : id(id) {}
    int id;
};

}  // namespace

TEST(SharedObject, NewInstanceHasNoHolders) {
    bool destroyed = false;
    auto* resource = new Resource(destroyed);
    EXPECT_EQ(resource->get_ref_count(), 0);
    resource->inc_ref();
    resource->dec_ref();
    EXPECT_TRUE(destroyed);
}

TEST(SharedObject, CountsHoldersAndDeletesAtZero) {
    bool destroyed = false;
    auto* resource = new Resource(destroyed);
    resource->inc_ref();
    resource->inc_ref();
    resource->inc_ref();
    EXPECT_EQ(resource->get_ref_count(), 3);
    resource->dec_ref();
    resource->dec_ref();
    EXPECT_EQ(resource->get_ref_count(), 1);
    EXPECT_FALSE(destroyed);
    resource->dec_ref();
    EXPECT_TRUE(destroyed);
}

TEST(SharedObject, LiveCountFollowsConstructionAndDeletion) {
    const std::size_t before = SharedObject::live_count();
    bool destroyed = false;
    auto* resource = new Resource(destroyed);
    EXPECT_EQ(SharedObject::live_count(), before + 1);
    resource->inc_ref();
    resource->dec_ref();
    EXPECT_EQ(SharedObject::live_count(), before);
}

TEST(Object, LiveCountFollowsConstructionCopiesAndDestruction) {
    const std::size_t before = Object::live_count();
    {
        const Object object;
        EXPECT_EQ(Object::live_count(), before + 1);
        const Object copy(object);
        EXPECT_EQ(Object::live_count(), before + 2);
        Object assigned;
        assigned = copy;  // assignment makes no new object
        EXPECT_EQ(Object::live_count(), before + 3);
        const Named derived(7);
        EXPECT_EQ(Object::live_count(), before + 4);
    }
    EXPECT_EQ(Object::live_count(), before);
}

TEST(Object, NativeOnlyObjectHasNoPythonObject) {
    const Object object;
    EXPECT_EQ(object.get_python_self(), nullptr);
    EXPECT_TRUE(object.get_pyobject().is_none());
}

TEST(Object, CountingANativeOnlyObjectDoesNotDestroyIt) {
    auto* object = new Object;
    object->inc_ref();
    object->inc_ref();
    object->dec_ref();
    object->dec_ref();  // no Python object: not destroyed, its creator still owns it
    EXPECT_EQ(object->get_python_self(), nullptr);
    EXPECT_TRUE(object->get_pyobject().is_none());
    delete object;
}

TEST(Object, CountingAScriptObjectCountsOnItsPythonObject) {
    PyObject* self = PyList_New(0);
    const Py_ssize_t before = Py_REFCNT(self);
    ScriptBacked object(self);
    object.inc_ref();
    object.inc_ref();
    EXPECT_EQ(Py_REFCNT(self), before + 2);
    object.dec_ref();
    object.dec_ref();
    EXPECT_EQ(Py_REFCNT(self), before);
    Py_DECREF(self);
}

TEST(ObjectWrapper, KnowsItsPythonObject) {
    PyObject* self = PyList_New(0);
    const Py_ssize_t before = Py_REFCNT(self);
    {
        ObjectWrapper<Named, int> wrapper(self, 42);
        EXPECT_EQ(wrapper.id, 42);
        EXPECT_EQ(wrapper.get_python_self(), self);
        EXPECT_EQ(Py_REFCNT(self), before);  // borrowed: the Python object owns the wrapper
        const boost::python::object same = wrapper.get_pyobject();
        EXPECT_EQ(same.ptr(), self);
        EXPECT_EQ(Py_REFCNT(self), before + 1);
        const Object& as_object = wrapper;
        as_object.inc_ref();
        EXPECT_EQ(Py_REFCNT(self), before + 2);
        as_object.dec_ref();
    }
    EXPECT_EQ(Py_REFCNT(self), before);
    Py_DECREF(self);
}

TEST(ObjectWrapper, ReferencesTakenDuringConstructionGoToThePythonObject) {
    PyObject* self = PyList_New(0);
    const Py_ssize_t before = Py_REFCNT(self);
    {
        ObjectWrapper<SelfRegistering> wrapper(self);
        EXPECT_EQ(Py_REFCNT(self), before + 1);
        wrapper.dec_ref();  // the container lets it go
        EXPECT_EQ(Py_REFCNT(self), before);
    }
    EXPECT_EQ(Py_REFCNT(self), before);
    Py_DECREF(self);
}
