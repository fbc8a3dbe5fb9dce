#ifdef ENGINE_TEST_EMBEDS_PYTHON
#include <Python.h>
#endif

#include <gtest/gtest.h>

// Suites of code that talks to Python (script objects, hooks, the log's bridge) run
// with an embedded interpreter so that they can check that too; the others run
// without one, which shows that their code needs none.
int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
#ifdef ENGINE_TEST_EMBEDS_PYTHON
    Py_InitializeEx(0);
#endif
    const int result = RUN_ALL_TESTS();
#ifdef ENGINE_TEST_EMBEDS_PYTHON
    Py_FinalizeEx();
#endif
    return result;
}
