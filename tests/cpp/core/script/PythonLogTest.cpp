#include <Python.h>

#include "engine/core/Log.h"
#include "engine/core/script/PythonLog.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <string>
#include <thread>
#include <unistd.h>

namespace Log = engine::core::Log;
namespace PythonLog = engine::core::PythonLog;

// Routing into Python's logging cannot be switched off again, so these checks run in
// a child process (a death test that exits normally) and leave this one untouched.
namespace {

// Installs a handler on the "engine" logger that records (logger, level, message).
void install_python_recorder() {
    PyRun_SimpleString(
        "import logging\n"
        "engine_records = []\n"
        "class _Recorder(logging.Handler):\n"
        "    def emit(self, record):\n"
        "        engine_records.append((record.name, record.levelno, record.getMessage()))\n"
        "logging.getLogger('engine').addHandler(_Recorder())\n"
        "logging.getLogger('engine').setLevel(logging.DEBUG)\n"
        "logging.getLogger('engine').propagate = False\n");
}

// Whether the Python expression evaluates true in __main__.
bool python_check(const char* expression) {
    PyObject* main_dict = PyModule_GetDict(PyImport_AddModule("__main__"));
    PyObject* result = PyRun_String(expression, Py_eval_input, main_dict, main_dict);
    if (!result) {
        PyErr_Print();
        return false;
    }
    const bool ok = PyObject_IsTrue(result) == 1;
    Py_DECREF(result);
    if (!ok) PyRun_SimpleString("import sys; print('records:', engine_records, file=sys.stderr)");
    return ok;
}

[[noreturn]] void finish(bool ok, const char* what) {
    std::fprintf(stderr, "%s: %s\n", what, ok ? "passed" : "FAILED");
    std::fflush(stderr);
    std::_Exit(ok ? 0 : 1);
}

}  // namespace

TEST(LogDeathTest, MessagesReachPythonLoggingUnderEngineCategory) {
    EXPECT_EXIT(
        {
            PythonLog::enable();
            install_python_recorder();
            Log::info("graphics", "loaded %d textures", 3);
            Log::warning("window", "careful");
            Log::error("core", "%s", "broken");
            Log::flush();
            finish(python_check("engine_records == ["
                                "('engine.graphics', 20, 'loaded 3 textures'), "
                                "('engine.window', 30, 'careful'), "
                                "('engine.core', 40, 'broken')]"),
                   "python logging");
        },
        ::testing::ExitedWithCode(0), "python logging: passed");
}

TEST(LogDeathTest, LoggingDoesNotDisturbAPendingPythonError) {
    EXPECT_EXIT(
        {
            PythonLog::enable();
            install_python_recorder();
            PyErr_SetString(PyExc_ValueError, "pending");
            Log::warning("core", "while an error is pending");
            const bool kept = PyErr_ExceptionMatches(PyExc_ValueError);
            PyErr_Clear();
            Log::flush();
            finish(kept && python_check("engine_records == [('engine.core', 30, 'while an error is pending')]"),
                   "pending error");
        },
        ::testing::ExitedWithCode(0), "pending error: passed");
}

TEST(LogDeathTest, ThreadLoggingWhileScriptThreadWaitsForItDoesNotDeadlock) {
    EXPECT_EXIT(
        {
            ::alarm(30);  // a deadlock ends the child instead of hanging the suite
            PythonLog::enable();
            install_python_recorder();
            // This thread holds the interpreter lock (it initialised Python) and waits
            // for a thread that logs, as the script thread waits for the texture loader.
            if (!PyGILState_Check()) finish(false, "script thread holds the interpreter lock");
            std::promise<void> logged;
            std::future<void> done = logged.get_future();
            std::thread loader([&logged] {
                Log::warning("graphics", "texture %s failed to load", "missing.png");
                logged.set_value();
            });
            const bool returned = done.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
            if (!returned) finish(false, "logging thread returned");
            loader.join();
            // Queued messages come out on the script thread, before anything it logs itself.
            Log::flush();
            Log::info("graphics", "after the loader");
            Log::flush();
            finish(python_check("engine_records == ["
                                "('engine.graphics', 30, 'texture missing.png failed to load'), "
                                "('engine.graphics', 20, 'after the loader')]"),
                   "thread logging");
        },
        ::testing::ExitedWithCode(0), "thread logging: passed");
}

TEST(LogDeathTest, ManyThreadsLoggingWhileScriptThreadWaitsAreAllDelivered) {
    EXPECT_EXIT(
        {
            ::alarm(30);
            PythonLog::enable();
            install_python_recorder();
            std::thread workers[4];
            for (int t = 0; t < 4; ++t)
                workers[t] = std::thread([t] {
                    for (int i = 0; i < 50; ++i) Log::info("worker", "thread %d message %d", t, i);
                });
            for (std::thread& w : workers) w.join();
            Log::flush();
            finish(python_check("len(engine_records) == 200 and "
                                "all(name == 'engine.worker' for name, _, _ in engine_records) and "
                                "[m for _, _, m in engine_records if m.startswith('thread 2 ')] == "
                                "['thread 2 message %d' % i for i in range(50)]"),
                   "many threads");
        },
        ::testing::ExitedWithCode(0), "many threads: passed");
}
