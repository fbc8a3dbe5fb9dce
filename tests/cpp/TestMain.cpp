#include <Python.h>

#include <gtest/gtest.h>

// The engine's objects and log speak to Python when it runs; the tests run with an
// embedded interpreter so that they can check that too.
int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    Py_InitializeEx(0);
    const int result = RUN_ALL_TESTS();
    Py_FinalizeEx();
    return result;
}
