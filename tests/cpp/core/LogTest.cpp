#include <Python.h>

#include "engine/core/Log.h"

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <string>
#include <thread>
#include <unistd.h>

namespace Log = engine::core::Log;
using engine::core::test::LogCapture;
using Level = Log::Level;

TEST(Log, SinkReceivesLevelCategoryAndMessage) {
    LogCapture log;
    Log::info("graphics", "loaded %d textures", 3);
    Log::warning("window", "mode %dx%d not available", 640, 480);
    Log::error("core", "%s failed: %.2f", "step", 0.5);
    const auto entries = log.entries();
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[0].level, Level::Info);
    EXPECT_EQ(entries[0].category, "graphics");
    EXPECT_EQ(entries[0].message, "loaded 3 textures");
    EXPECT_EQ(entries[1].level, Level::Warning);
    EXPECT_EQ(entries[1].category, "window");
    EXPECT_EQ(entries[1].message, "mode 640x480 not available");
    EXPECT_EQ(entries[2].level, Level::Error);
    EXPECT_EQ(entries[2].category, "core");
    EXPECT_EQ(entries[2].message, "step failed: 0.50");
}

TEST(Log, LongMessagesArriveWhole) {
    LogCapture log;
    const std::string long_text(1000, 'x');
    Log::info("core", "<%s>", long_text.c_str());
    Log::warning("core", "%s%s", std::string(255, 'a').c_str(), "b");  // exactly 256 characters
    Log::error("core", "%0300d", 7);
    const auto entries = log.entries();
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[0].message, "<" + long_text + ">");
    EXPECT_EQ(entries[1].message, std::string(255, 'a') + "b");
    EXPECT_EQ(entries[2].message, std::string(299, '0') + "7");
}

TEST(Log, MessageWithoutArgumentsIsTakenLiterally) {
    LogCapture log;
    Log::info("core", "plain text");
    Log::info("core", "%s", "100% sure %d");
    const auto entries = log.entries();
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0].message, "plain text");
    EXPECT_EQ(entries[1].message, "100% sure %d");
}

TEST(Log, NullCategoryBecomesEmpty) {
    LogCapture log;
    Log::info(nullptr, "no category");
    ASSERT_EQ(log.entries().size(), 1u);
    EXPECT_EQ(log.entries()[0].category, "");
}

TEST(Log, AnyThreadMayLogToTheSink) {
    LogCapture log;
    std::thread a([] {
        for (int i = 0; i < 100; ++i) Log::info("a", "message %d", i);
    });
    std::thread b([] {
        for (int i = 0; i < 100; ++i) Log::warning("b", "message %d", i);
    });
    a.join();
    b.join();
    const auto entries = log.entries();
    EXPECT_EQ(entries.size(), 200u);
    int from_a = 0;
    for (const auto& e : entries) from_a += e.category == "a";
    EXPECT_EQ(from_a, 100);
}

TEST(Log, EmptySinkRestoresStandardError) {
    { LogCapture log; }
    ::testing::internal::CaptureStderr();
    Log::warning("core", "to standard error");
    const std::string output = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(output.find("to standard error"), std::string::npos) << output;
    EXPECT_NE(output.find("engine.core"), std::string::npos) << output;
}

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
            Log::enable_python_logging();
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
            Log::enable_python_logging();
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
            Log::enable_python_logging();
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
            Log::enable_python_logging();
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
