#include <Python.h>

#include "engine/core/script/Python.h"

#include "PythonTestSupport.h"

#include <gtest/gtest.h>

using engine::core::call_method;
using engine::core::script_overrides;
using engine::core::test::evaluate;
using engine::core::test::holds;
using engine::core::test::new_namespace;
using engine::core::test::run;

namespace {

// A namespace with a base class standing in for a native class, script subclasses of
// it, and a hook that records what sys.unraisablehook receives.
class PythonCallTest : public ::testing::Test {
protected:
    void SetUp() override {
        globals_ = new_namespace();
        run(globals_,
            "import sys\n"
            "calls = []\n"
            "unraisable = []\n"
            "class Base:\n"
            "    def on_update(self, dt):\n"
            "        calls.append(('base', dt))\n"
            "class Plain(Base):\n"
            "    pass\n"
            "class Custom(Base):\n"
            "    def on_update(self, dt):\n"
            "        calls.append(('custom', dt))\n"
            "    def ping(self):\n"
            "        calls.append('ping')\n"
            "    def fail(self):\n"
            "        raise RuntimeError('hook failed')\n"
            "saved_hook = sys.unraisablehook\n"
            "sys.unraisablehook = lambda info: unraisable.append(info.exc_type)\n");
    }
    void TearDown() override {
        run(globals_, "sys.unraisablehook = saved_hook\n");
        Py_XDECREF(globals_);
    }

    PyObject* make(const char* expression) { return evaluate(globals_, expression); }
    bool check(const char* expression) { return holds(globals_, expression); }

    PyObject* globals_ = nullptr;
};

}  // namespace

TEST_F(PythonCallTest, CallsTheMethodWithoutArguments) {
    PyObject* custom = make("Custom()");
    EXPECT_TRUE(call_method(custom, "ping"));
    EXPECT_TRUE(check("calls == ['ping']"));
    Py_DECREF(custom);
}

TEST_F(PythonCallTest, CallsTheMethodWithAnArgumentTuple) {
    PyObject* custom = make("Custom()");
    PyObject* args = Py_BuildValue("(d)", 0.25);
    EXPECT_TRUE(call_method(custom, "on_update", args));
    Py_DECREF(args);
    EXPECT_TRUE(check("calls == [('custom', 0.25)]"));
    Py_DECREF(custom);
}

TEST_F(PythonCallTest, MissingMethodReturnsFalseSilently) {
    PyObject* custom = make("Custom()");
    EXPECT_FALSE(call_method(custom, "no_such_method"));
    EXPECT_EQ(PyErr_Occurred(), nullptr);
    EXPECT_TRUE(check("unraisable == []"));
    Py_DECREF(custom);
}

TEST_F(PythonCallTest, NullSelfReturnsFalse) { EXPECT_FALSE(call_method(nullptr, "ping")); }

TEST_F(PythonCallTest, RaisingMethodIsReportedAndCleared) {
    PyObject* custom = make("Custom()");
    EXPECT_FALSE(call_method(custom, "fail"));
    EXPECT_EQ(PyErr_Occurred(), nullptr);
    EXPECT_TRUE(check("unraisable == [RuntimeError]"));
    // The caller can go on calling.
    EXPECT_TRUE(call_method(custom, "ping"));
    Py_DECREF(custom);
}

TEST_F(PythonCallTest, ScriptOverridesSeesMethodsDefinedBySubclasses) {
    PyObject* base = PyDict_GetItemString(globals_, "Base");
    PyObject* custom = make("Custom()");
    PyObject* plain = make("Plain()");
    PyObject* native = make("Base()");
    EXPECT_TRUE(script_overrides(custom, base, "on_update"));
    EXPECT_FALSE(script_overrides(plain, base, "on_update"));
    EXPECT_FALSE(script_overrides(native, base, "on_update"));
    // A method the native class does not have counts as overridden when defined.
    EXPECT_TRUE(script_overrides(custom, base, "ping"));
    EXPECT_FALSE(script_overrides(plain, base, "ping"));
    // Asking again gives the remembered answer.
    EXPECT_TRUE(script_overrides(custom, base, "on_update"));
    Py_DECREF(custom);
    Py_DECREF(plain);
    Py_DECREF(native);
}
