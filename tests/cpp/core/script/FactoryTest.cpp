#include <Python.h>

#include "engine/core/script/Factory.h"

#include "PythonTestSupport.h"

#include <gtest/gtest.h>

#include <string>

namespace Factory = engine::core::Factory;
using engine::core::test::holds;
using engine::core::test::new_namespace;
using engine::core::test::run;

namespace {

// A namespace holding two script classes, Widget and Gadget, that remember their
// constructor arguments.
class FactoryTest : public ::testing::Test {
protected:
    void SetUp() override {
        globals_ = new_namespace();
        run(globals_,
            "class Widget:\n"
            "    def __init__(self, *args):\n"
            "        self.args = args\n"
            "class Gadget(Widget):\n"
            "    pass\n"
            "class Broken:\n"
            "    def __init__(self):\n"
            "        raise ValueError('cannot build')\n");
        widget_ = PyDict_GetItemString(globals_, "Widget");
        gadget_ = PyDict_GetItemString(globals_, "Gadget");
        broken_ = PyDict_GetItemString(globals_, "Broken");
    }
    void TearDown() override { Py_XDECREF(globals_); }

    /// Whether `expression` holds, with `object` named "made" in the namespace.
    bool holds_of(PyObject* object, const char* expression) {
        PyDict_SetItemString(globals_, "made", object);
        return holds(globals_, expression);
    }

    PyObject* globals_ = nullptr;
    PyObject* widget_ = nullptr;  // borrowed from globals_
    PyObject* gadget_ = nullptr;  // borrowed from globals_
    PyObject* broken_ = nullptr;  // borrowed from globals_
};

}  // namespace

TEST_F(FactoryTest, RegisteredClassCanBeLookedUp) {
    Factory::register_class("FactoryTest.Lookup", widget_);
    EXPECT_EQ(Factory::get_class("FactoryTest.Lookup"), widget_);
}

TEST_F(FactoryTest, UnknownNameHasNoClass) { EXPECT_EQ(Factory::get_class("FactoryTest.Unknown"), nullptr); }

TEST_F(FactoryTest, RegistryKeepsAReference) {
    const Py_ssize_t before = Py_REFCNT(widget_);
    Factory::register_class("FactoryTest.Reference", widget_);
    EXPECT_EQ(Py_REFCNT(widget_), before + 1);
    // Registering the same class again under the same name keeps exactly one reference.
    Factory::register_class("FactoryTest.Reference", widget_);
    EXPECT_EQ(Py_REFCNT(widget_), before + 1);
}

TEST_F(FactoryTest, NewObjectCreatesAnInstanceWithoutArguments) {
    Factory::register_class("FactoryTest.Create", widget_);
    PyObject* object = Factory::new_object_raw("FactoryTest.Create", nullptr);
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(PyObject_IsInstance(object, widget_), 1);
    EXPECT_TRUE(holds_of(object, "made.args == ()"));
    Py_DECREF(object);
}

TEST_F(FactoryTest, NewObjectPassesTheArgumentTuple) {
    Factory::register_class("FactoryTest.Arguments", widget_);
    PyObject* args = Py_BuildValue("(isd)", 7, "seven", 7.5);
    PyObject* object = Factory::new_object_raw("FactoryTest.Arguments", args);
    Py_DECREF(args);
    ASSERT_NE(object, nullptr);
    EXPECT_TRUE(holds_of(object, "made.args == (7, 'seven', 7.5)"));
    Py_DECREF(object);
}

TEST_F(FactoryTest, ReplacingARegistrationMakesTheNewClass) {
    Factory::register_class("FactoryTest.Replace", widget_);
    const Py_ssize_t widget_count = Py_REFCNT(widget_);
    Factory::register_class("FactoryTest.Replace", gadget_);
    EXPECT_EQ(Py_REFCNT(widget_), widget_count - 1);  // the old class is released
    EXPECT_EQ(Factory::get_class("FactoryTest.Replace"), gadget_);
    PyObject* object = Factory::new_object_raw("FactoryTest.Replace", nullptr);
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(reinterpret_cast<PyObject*>(Py_TYPE(object)), gadget_);
    Py_DECREF(object);
}

TEST_F(FactoryTest, RegisteringNullChangesNothing) {
    Factory::register_class("FactoryTest.Null", widget_);
    Factory::register_class("FactoryTest.Null", nullptr);
    EXPECT_EQ(Factory::get_class("FactoryTest.Null"), widget_);
    Factory::register_class("FactoryTest.NeverRegistered", nullptr);
    EXPECT_EQ(Factory::get_class("FactoryTest.NeverRegistered"), nullptr);
}

TEST_F(FactoryTest, UnknownNameGivesNullWithKeyError) {
    PyObject* object = Factory::new_object_raw("FactoryTest.Nothing", nullptr);
    EXPECT_EQ(object, nullptr);
    ASSERT_NE(PyErr_Occurred(), nullptr);
    EXPECT_TRUE(PyErr_ExceptionMatches(PyExc_KeyError));
    PyErr_Clear();
}

TEST_F(FactoryTest, ConstructorErrorIsPassedOn) {
    Factory::register_class("FactoryTest.Broken", broken_);
    PyObject* object = Factory::new_object_raw("FactoryTest.Broken", nullptr);
    EXPECT_EQ(object, nullptr);
    ASSERT_NE(PyErr_Occurred(), nullptr);
    EXPECT_TRUE(PyErr_ExceptionMatches(PyExc_ValueError));
    PyErr_Clear();
}

TEST_F(FactoryTest, WrongArgumentCountIsPassedOnAsTypeError) {
    Factory::register_class("FactoryTest.BrokenArgs", broken_);
    PyObject* args = Py_BuildValue("(i)", 1);
    PyObject* object = Factory::new_object_raw("FactoryTest.BrokenArgs", args);
    Py_DECREF(args);
    EXPECT_EQ(object, nullptr);
    EXPECT_TRUE(PyErr_ExceptionMatches(PyExc_TypeError));
    PyErr_Clear();
}
