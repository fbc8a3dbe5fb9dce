#pragma once

// Running small pieces of Python in the tests' embedded interpreter.
#include <Python.h>

#include <gtest/gtest.h>

namespace engine::core::test {

/// A fresh namespace with the builtins, for code run with `run` and `evaluate`. Owned
/// by the caller (a new reference).
inline PyObject* new_namespace() {
    PyObject* globals = PyDict_New();
    PyDict_SetItemString(globals, "__builtins__", PyEval_GetBuiltins());
    return globals;
}

/// Runs statements in `globals`; fails the test when they raise.
inline void run(PyObject* globals, const char* code) {
    PyObject* result = PyRun_String(code, Py_file_input, globals, globals);
    if (!result) {
        PyErr_Print();
        ADD_FAILURE() << "Python code raised:\n" << code;
        return;
    }
    Py_DECREF(result);
}

/// The value of an expression in `globals` (a new reference), or null with the error printed.
inline PyObject* evaluate(PyObject* globals, const char* expression) {
    PyObject* result = PyRun_String(expression, Py_eval_input, globals, globals);
    if (!result) {
        PyErr_Print();
        ADD_FAILURE() << "Python expression raised: " << expression;
    }
    return result;
}

/// Whether an expression in `globals` is true (false when it raises).
inline bool holds(PyObject* globals, const char* expression) {
    PyObject* result = evaluate(globals, expression);
    const bool value = result && PyObject_IsTrue(result) == 1;
    Py_XDECREF(result);
    return value;
}

}  // namespace engine::core::test
